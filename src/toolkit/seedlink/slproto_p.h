// The SeedLink wire format, apart from any socket: framing of the server's
// byte stream, the greeting, station lists of INFO replies, and the time
// words of commands.  Pure functions over (pointer, length), never reading
// past the length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

constexpr int kSlHeaderBytes = 8;    // "SL" and six hex digits, or "SLINFO" and two
constexpr int kSlRecordBytes = 512;  // the miniSEED record after it
constexpr int kSlPacketBytes = kSlHeaderBytes + kSlRecordBytes;
constexpr int kSlSeqModulus = 1 << 24;

enum {
    SL_FRAME_DATA = 1,       // a data packet with its sequence number
    SL_FRAME_INFO = 2,       // a piece of an INFO reply, more follow
    SL_FRAME_INFO_LAST = 3,  // the last piece of an INFO reply
    SL_FRAME_END = 4,        // "END": a FETCH has caught up
    SL_FRAME_ERROR = 5,      // "ERROR" and its line end
    SL_FRAME_OTHER = 6,      // version 4: a packet the reader does not take
};

struct SlFrame
{
    int type = 0;
    int64_t seq = -1;              // SL_FRAME_DATA only
    const char* record = nullptr;  // the 512 bytes of the record, in the caller's buffer
    // version 4 only: the format and subformat codes ('2' and 'D' for a
    // miniSEED 2 data record), the payload's length and the station id
    char format = 0, subformat = 0;
    uint32_t payload_bytes = 0;
    std::string_view station;
};

// The next frame at the start of buf.  Returns the bytes it takes, 0 when
// more bytes are needed, or negative with a registered error when the
// bytes are not a frame (bad header, not a miniSEED record, a record of
// another length than 512).
int sl_next_frame(const char* buf, size_t len, SlFrame* frame);

// Protocol version 4: "SE", format, subformat, payload length (32 bits)
// and sequence number (64 bits) little-endian, the station id's length
// (8 bits), the station id "NET_STA", then the payload.
constexpr int kSl4FixedBytes = 17;
constexpr uint32_t kSl4MaxPayload = 1 << 20;

// The next version 4 frame at the start of buf.  A miniSEED 2 data record
// ('2', 'D') of 512 bytes is SL_FRAME_DATA with its record; any other
// payload (JSON replies of INFO, other formats or lengths) is
// SL_FRAME_OTHER, to be skipped whole.  "ERROR" or "END" lines as
// sl_next_frame.  Returns the bytes the frame takes, 0 when more are
// needed, or negative with a registered error when the bytes are not a
// frame or the payload is longer than kSl4MaxPayload.
int sl_next_frame4(const char* buf, size_t len, SlFrame* frame);

// The frame header of a version 4 packet.
std::string sl4_header(char format, char subformat, uint32_t payload_bytes, uint64_t seq, std::string_view station);

// Whether the capabilities of a greeting's first line (the words after
// "::") offer protocol version 4 ("SLPROTO:4.0").
bool sl_greeting_offers_v4(std::string_view line);

// "YYYY-MM-DDThh:mm:ssZ" of an epoch time, as version 4's DATA takes it.
std::string sl4_time_word(double epoch);

// The protocol version of a greeting's first line ("SeedLink v3.1 ..."),
// or negative when the line is not a SeedLink greeting.
double sl_greeting_version(std::string_view line);

struct SlStreamId
{
    std::string chan, loc;
};

struct SlStationId
{
    std::string net, sta;
    std::vector<SlStreamId> streams;  // data streams, from INFO STREAMS only
};

// The stations of an INFO STATIONS or STREAMS reply: the name and network
// attributes of every <station> element, with the seedname and location of
// the data (type "D") <stream> elements inside it.  At most max_stations,
// and 1000 streams a station; elements without both codes are skipped.
std::vector<SlStationId> sl_info_stations(std::string_view xml, size_t max_stations);

// "YYYY,MM,DD,hh,mm,ss" of an epoch time, as DATA and TIME take it.
std::string sl_time_word(double epoch);

// The codes of a record's fixed header, spaces trimmed.  0, or negative when
// the header is not readable.
int sl_record_codes(const char* record, char net[3], char sta[6], char loc[3], char chan[4]);
