// The SeedLink wire format, apart from any socket: framing of the server's
// byte stream, the greeting, station lists of INFO replies, and the time
// words of commands.  Pure functions over (pointer, length), never reading
// past the length.
#pragma once

#include <cstddef>
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
};

struct SlFrame
{
    int type = 0;
    int seq = -1;                  // SL_FRAME_DATA only
    const char* record = nullptr;  // the 512 bytes of the record, in the caller's buffer
};

// The next frame at the start of buf.  Returns the bytes it takes, 0 when
// more bytes are needed, or negative with a registered error when the
// bytes are not a frame (bad header, not a miniSEED record, a record of
// another length than 512).
int sl_next_frame(const char* buf, size_t len, SlFrame* frame);

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
