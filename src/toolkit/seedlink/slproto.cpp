#include "toolkit/seedlink/slproto_p.h"

#include "toolkit/base/errors.h"

#include <libmseed.h>

#include <cmath>
#include <cstring>
#include <ctime>

namespace {

int hex_value(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

// 0 when the 512 bytes are a record of that length, else negative with a
// registered error.
int check_record(const char* record)
{
    // ms_detect wants a writable buffer but only reads it
    const int reclen = ms_detect(const_cast<char*>(record), kSlRecordBytes);
    if (reclen < 0) {
        hl_register_error(0, "sl_next_frame: Packet does not hold a miniSEED record.\n");
        return -1;
    }
    if (reclen > 0 && reclen != kSlRecordBytes) {
        hl_register_error(0, "sl_next_frame: Record of %d bytes where SeedLink carries 512.\n", reclen);
        return -1;
    }
    return 0;
}

void trim_code(const char* in, size_t n, char* out)
{
    size_t k = 0;
    for (size_t i = 0; i < n; i++)
        if (in[i] != ' ' && in[i] != '\0')
            out[k++] = in[i];
    out[k] = '\0';
}

// The value of attribute name inside one element's text.
std::string attribute(std::string_view element, std::string_view name)
{
    size_t at = 0;
    while ((at = element.find(name, at)) != std::string_view::npos) {
        const bool start_ok = at > 0 && (element[at - 1] == ' ' || element[at - 1] == '\t' || element[at - 1] == '\n');
        const size_t eq = at + name.size();
        if (start_ok && eq + 1 < element.size() && element[eq] == '=' && (element[eq + 1] == '"' || element[eq + 1] == '\'')) {
            const char quote = element[eq + 1];
            const size_t end = element.find(quote, eq + 2);
            if (end == std::string_view::npos)
                return {};
            return std::string(element.substr(eq + 2, end - eq - 2));
        }
        at = eq;
    }
    return {};
}

} // namespace

int sl_next_frame(const char* buf, size_t len, SlFrame* frame)
{
    *frame = SlFrame();
    static constexpr char kEnd[] = "END";
    static constexpr char kError[] = "ERROR\r\n";
    const size_t n_end = sizeof kEnd - 1, n_error = sizeof kError - 1;
    if (len == 0)
        return 0;
    if (buf[0] == 'E') {
        if (len >= 2 && buf[1] == 'N') {
            if (len < n_end)
                return memcmp(buf, kEnd, len) == 0 ? 0 : -1;
            if (memcmp(buf, kEnd, n_end) == 0) {
                frame->type = SL_FRAME_END;
                return static_cast<int>(n_end);
            }
        } else {
            const size_t k = len < n_error ? len : n_error;
            if (memcmp(buf, kError, k) == 0) {
                if (k < n_error)
                    return 0;
                frame->type = SL_FRAME_ERROR;
                return static_cast<int>(n_error);
            }
        }
        hl_register_error(0, "sl_next_frame: Unexpected bytes where a packet should begin.\n");
        return -1;
    }
    if (buf[0] != 'S' || (len >= 2 && buf[1] != 'L')) {
        hl_register_error(0, "sl_next_frame: Unexpected bytes where a packet should begin.\n");
        return -1;
    }
    if (len < static_cast<size_t>(kSlPacketBytes))
        return 0;
    if (memcmp(buf, "SLINFO", 6) == 0) {
        if (check_record(buf + kSlHeaderBytes) < 0)
            return -1;
        frame->type = buf[7] == '*' ? SL_FRAME_INFO : SL_FRAME_INFO_LAST;
        frame->record = buf + kSlHeaderBytes;
        return kSlPacketBytes;
    }
    int seq = 0;
    for (int i = 2; i < kSlHeaderBytes; i++) {
        const int v = hex_value(buf[i]);
        if (v < 0) {
            hl_register_error(0, "sl_next_frame: Bad sequence number in packet header.\n");
            return -1;
        }
        seq = seq * 16 + v;
    }
    if (check_record(buf + kSlHeaderBytes) < 0)
        return -1;
    frame->type = SL_FRAME_DATA;
    frame->seq = seq;
    frame->record = buf + kSlHeaderBytes;
    return kSlPacketBytes;
}

double sl_greeting_version(std::string_view line)
{
    constexpr std::string_view kPrefix = "SeedLink v";
    if (line.substr(0, kPrefix.size()) != kPrefix)
        return -1.0;
    double v = 0.0, scale = 0.0;
    bool digits = false;
    for (size_t i = kPrefix.size(); i < line.size() && i < kPrefix.size() + 8; i++) {
        const char c = line[i];
        if (c >= '0' && c <= '9') {
            digits = true;
            if (scale == 0.0)
                v = v * 10.0 + (c - '0');
            else {
                v += (c - '0') * scale;
                scale /= 10.0;
            }
        } else if (c == '.' && scale == 0.0) {
            scale = 0.1;
        } else {
            break;
        }
    }
    return digits ? v : -1.0;
}

std::vector<SlStationId> sl_info_stations(std::string_view xml, size_t max_stations)
{
    constexpr size_t kMaxStreams = 1000;
    std::vector<SlStationId> out;
    bool in_station = false;  // the last <station> taken is open
    auto is_tag = [](std::string_view element, std::string_view tag) {
        return element.substr(0, tag.size()) == tag && element.size() > tag.size() &&
               (element[tag.size()] == ' ' || element[tag.size()] == '\t' || element[tag.size()] == '\n' ||
                element[tag.size()] == '\r');
    };
    size_t at = 0;
    while ((at = xml.find('<', at)) != std::string_view::npos) {
        const size_t end = xml.find('>', at);
        if (end == std::string_view::npos)
            break;
        const std::string_view element = xml.substr(at, end - at);
        at = end;
        if (is_tag(element, "<station")) {
            in_station = false;
            if (out.size() >= max_stations)
                break;
            SlStationId id{attribute(element, "network"), attribute(element, "name"), {}};
            if (!id.net.empty() && !id.sta.empty() && id.net.size() <= 2 && id.sta.size() <= 5) {
                out.push_back(std::move(id));
                in_station = element.back() != '/';
            }
        } else if (element.substr(0, 9) == "</station") {
            in_station = false;
        } else if (is_tag(element, "<stream") && in_station && out.back().streams.size() < kMaxStreams) {
            const std::string type = attribute(element, "type");
            SlStreamId s{attribute(element, "seedname"), attribute(element, "location")};
            if ((type.empty() || type == "D") && !s.chan.empty() && s.chan.size() <= 3 && s.loc.size() <= 2)
                out.back().streams.push_back(std::move(s));
        }
    }
    return out;
}

namespace {

// The whole second of epoch in UTC, through a format of six integer fields
// (year, month, day, hour, minute, second).
std::string utcWord(double epoch, const char* format)
{
    const time_t t = static_cast<time_t>(std::floor(epoch));
    struct tm tm {};
    gmtime_r(&t, &tm);
    char buf[64];
    snprintf(buf, sizeof buf, format, tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min,
             tm.tm_sec);
    return buf;
}

} // namespace

std::string sl_time_word(double epoch)
{
    return utcWord(epoch, "%04d,%02d,%02d,%02d,%02d,%02d");
}

int sl_record_codes(const char* record, char net[3], char sta[6], char loc[3], char chan[4])
{
    // fixed header: station 8-12, location 13-14, channel 15-17, network 18-19
    if (!MS_ISVALIDHEADER(record))
        return -1;
    trim_code(record + 8, 5, sta);
    trim_code(record + 13, 2, loc);
    trim_code(record + 15, 3, chan);
    trim_code(record + 18, 2, net);
    return 0;
}

namespace {

uint64_t read_le(const char* p, int n)
{
    uint64_t v = 0;
    for (int i = n - 1; i >= 0; i--)
        v = v << 8 | static_cast<unsigned char>(p[i]);
    return v;
}

void put_le(std::string* out, uint64_t v, int n)
{
    for (int i = 0; i < n; i++, v >>= 8)
        out->push_back(static_cast<char>(v & 0xFF));
}

} // namespace

int sl_next_frame4(const char* buf, size_t len, SlFrame* frame)
{
    *frame = SlFrame();
    if (len == 0)
        return 0;
    if (buf[0] == 'E') {
        // "END", or an ERROR line with its text
        if (len < 3 && (len < 2 || buf[1] == 'N' || buf[1] == 'R'))
            return 0;
        if (len >= 3 && buf[1] == 'N' && buf[2] == 'D') {
            frame->type = SL_FRAME_END;
            return 3;
        }
        constexpr std::string_view kError = "ERROR";
        const std::string_view v(buf, len < 1024 ? len : 1024);
        if (v.substr(0, kError.size()) == kError.substr(0, v.size() < kError.size() ? v.size() : kError.size())) {
            const size_t eol = v.find('\n');
            if (eol != std::string_view::npos) {
                frame->type = SL_FRAME_ERROR;
                return static_cast<int>(eol + 1);
            }
            if (len < 1024)
                return 0;
        }
        hl_register_error(0, "sl_next_frame4: Unexpected bytes where a packet should begin.\n");
        return -1;
    }
    if (buf[0] != 'S' || (len >= 2 && buf[1] != 'E')) {
        hl_register_error(0, "sl_next_frame4: Unexpected bytes where a packet should begin.\n");
        return -1;
    }
    if (len < static_cast<size_t>(kSl4FixedBytes))
        return 0;
    const uint32_t payload = static_cast<uint32_t>(read_le(buf + 4, 4));
    const size_t id_len = static_cast<unsigned char>(buf[16]);
    if (payload > kSl4MaxPayload) {
        hl_register_error(0, "sl_next_frame4: Packet of %u bytes, more than %u.\n", payload, kSl4MaxPayload);
        return -1;
    }
    const size_t total = kSl4FixedBytes + id_len + payload;
    if (len < total)
        return 0;
    frame->format = buf[2];
    frame->subformat = buf[3];
    frame->payload_bytes = payload;
    frame->seq = static_cast<int64_t>(read_le(buf + 8, 8) & 0x7FFFFFFFFFFFFFFFull);
    frame->station = std::string_view(buf + kSl4FixedBytes, id_len);
    const char* body = buf + kSl4FixedBytes + id_len;
    frame->type = SL_FRAME_OTHER;
    if (frame->format == '2' && frame->subformat == 'D' && payload == static_cast<uint32_t>(kSlRecordBytes)) {
        if (check_record(body) < 0)
            return -1;
        frame->type = SL_FRAME_DATA;
        frame->record = body;
    } else if (frame->format == '2' && frame->subformat == 'D') {
        frame->record = body;  // a record of another length: the caller says so and skips it
    }
    return static_cast<int>(total);
}

std::string sl4_header(char format, char subformat, uint32_t payload_bytes, uint64_t seq, std::string_view station)
{
    std::string h = "SE";
    h.push_back(format);
    h.push_back(subformat);
    put_le(&h, payload_bytes, 4);
    put_le(&h, seq, 8);
    const size_t n = station.size() < 255 ? station.size() : 255;
    h.push_back(static_cast<char>(n));
    h.append(station.substr(0, n));
    return h;
}

bool sl_greeting_offers_v4(std::string_view line)
{
    const size_t caps = line.find("::");
    if (caps == std::string_view::npos)
        return false;
    std::string_view rest = line.substr(caps + 2);
    while (!rest.empty()) {
        const size_t b = rest.find_first_not_of(" \t");
        if (b == std::string_view::npos)
            break;
        rest.remove_prefix(b);
        const size_t e = rest.find_first_of(" \t");
        const std::string_view word = rest.substr(0, e);
        if (word == "SLPROTO:4.0" || word == "SLPROTO:4")
            return true;
        rest.remove_prefix(e == std::string_view::npos ? rest.size() : e);
    }
    return false;
}

std::string sl4_time_word(double epoch)
{
    return utcWord(epoch, "%04d-%02d-%02dT%02d:%02d:%02dZ");
}
