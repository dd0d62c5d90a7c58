// vxseedlinkd's conversation with one client: the commands of protocol
// versions 3 and 4, INFO replies, and the packets of the data stream.
#include "server.h"

#include <libmseed.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <unordered_map>

#include <poll.h>
#include <sys/socket.h>

namespace {

constexpr int kRecordBytes = 512;

double now_s()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::string upper(std::string s)
{
    for (char& c : s)
        c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return s;
}

std::vector<std::string> words(const std::string& line)
{
    std::vector<std::string> w;
    size_t at = 0;
    while (at < line.size()) {
        const size_t b = line.find_first_not_of(" \t", at);
        if (b == std::string::npos)
            break;
        const size_t e = line.find_first_of(" \t", b);
        w.push_back(line.substr(b, e == std::string::npos ? std::string::npos : e - b));
        at = e == std::string::npos ? line.size() : e;
    }
    return w;
}

// A UTC time read by a format of six integer fields (year to second), of
// which at least min_fields must be there, to epoch seconds, or negative.
double parse_utc_fields(const std::string& s, const char* format, int min_fields)
{
    int v[6] = {0, 1, 1, 0, 0, 0};
    if (sscanf(s.c_str(), format, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]) < min_fields || v[0] < 1900 ||
        v[0] > 2500)
        return -1.0;
    struct tm tm {};
    tm.tm_year = v[0] - 1900;
    tm.tm_mon = v[1] - 1;
    tm.tm_mday = v[2];
    tm.tm_hour = v[3];
    tm.tm_min = v[4];
    tm.tm_sec = v[5];
    return static_cast<double>(timegm(&tm));
}

// SELECT patterns: "LLCCC.T", "CCC", "LLCCC", "CCC.T" with ? wildcards.
bool select_matches(const std::string& pattern, const SlRecord& r)
{
    std::string p = pattern, type;
    if (const size_t dot = p.find('.'); dot != std::string::npos) {
        type = p.substr(dot + 1);
        p = p.substr(0, dot);
    }
    if (!type.empty() && type != "D" && type != "?")
        return false;
    std::string loc, chan = p;
    if (p.size() == 5) {
        loc = p.substr(0, 2);
        chan = p.substr(2);
    }
    auto match = [](const std::string& pat, const std::string& s, size_t width) {
        std::string padded = s;
        padded.resize(width, ' ');
        std::string pp = pat;
        pp.resize(width, ' ');
        for (size_t i = 0; i < width; i++)
            if (pp[i] != '?' && pp[i] != padded[i] && !(pp[i] == '-' && padded[i] == ' '))
                return false;
        return true;
    };
    return (p.size() != 5 || match(loc, r.loc, 2)) && match(chan, r.chan, 3);
}

} // namespace

std::string SlServer::infoXml(const std::string& level) const
{
    char started[64];
    const time_t t = static_cast<time_t>(now_s());
    struct tm tm {};
    gmtime_r(&t, &tm);
    strftime(started, sizeof started, "%Y/%m/%d %H:%M:%S.0000", &tm);
    std::string xml = "<?xml version=\"1.0\"?>\n<seedlink software=\"vxseedlinkd 1.0\" organization=\"libvxplot\" "
                      "started=\"" + std::string(started) + "\">\n";
    if (level == "STATIONS" || level == "STREAMS") {
        std::lock_guard<std::mutex> lock(mu_);
        const long first = ring_.empty() ? next_seq_ : ring_.front().first;
        for (const Station& s : stations_) {
            char buf[256];
            snprintf(buf, sizeof buf,
                     " <station name=\"%s\" network=\"%s\" description=\"\" begin_seq=\"%06lX\" end_seq=\"%06lX\" "
                     "stream_check=\"enabled\"%s>\n",
                     s.sta.c_str(), s.net.c_str(), first & 0xFFFFFF, next_seq_ & 0xFFFFFF, level == "STREAMS" ? "" : "/");
            xml += buf;
            if (level != "STREAMS")
                continue;
            for (const auto& [loc, chan] : s.streams)
                xml += "  <stream location=\"" + loc + "\" seedname=\"" + chan + "\" type=\"D\"/>\n";
            xml += " </station>\n";
        }
    }
    return xml + "</seedlink>\n";
}

namespace {

int send_all(int fd, const char* data, size_t n)
{
    while (n > 0) {
        const ssize_t k = send(fd, data, n, MSG_NOSIGNAL);
        if (k <= 0) {
            if (k < 0 && errno == EINTR)
                continue;
            return -1;
        }
        data += k;
        n -= static_cast<size_t>(k);
    }
    return 0;
}

int send_text(int fd, const std::string& s)
{
    return send_all(fd, s.data(), s.size());
}

// An INFO reply: the XML in ASCII log records, "SLINFO *" before all but
// the last.
int send_info(int fd, const std::string& xml)
{
    MSRecord* msr = msr_init(nullptr);
    snprintf(msr->network, sizeof msr->network, "XX");
    snprintf(msr->station, sizeof msr->station, "INFO");
    snprintf(msr->channel, sizeof msr->channel, "LOG");
    msr->starttime = static_cast<hptime_t>(now_s() * HPTMODULUS);
    msr->samprate = 0.0;
    msr->sampletype = 'a';
    msr->encoding = DE_ASCII;
    msr->reclen = kRecordBytes;
    msr->byteorder = 1;
    msr->datasamples = const_cast<char*>(xml.data());
    msr->numsamples = static_cast<int64_t>(xml.size());
    std::vector<std::string> records;
    auto handler = [](char* record, int length, void* out) {
        static_cast<std::vector<std::string>*>(out)->emplace_back(record, static_cast<size_t>(length));
    };
    int64_t packed = 0;
    const int rc = msr_pack(msr, handler, &records, &packed, 1, 0);
    msr->datasamples = nullptr;
    msr_free(&msr);
    if (rc < 0)
        return send_text(fd, "ERROR\r\n");
    for (size_t i = 0; i < records.size(); i++) {
        const std::string head = i + 1 < records.size() ? "SLINFO *" : "SLINFO  ";
        if (send_text(fd, head + records[i]) < 0)
            return -1;
    }
    return 0;
}

// A copy of a 512-byte record whose blockette 1000 claims 4096 bytes: a
// record of the wrong length for SeedLink.  The record unchanged when it
// has no blockette 1000.
std::string wrong_length(const char* record)
{
    std::string r(record, kRecordBytes);
    auto* u = reinterpret_cast<unsigned char*>(r.data());
    const bool big = (u[20] << 8 | u[21]) >= 1900 && (u[20] << 8 | u[21]) <= 2500;  // the year
    auto rd16 = [u, big](size_t at) { return big ? u[at] << 8 | u[at + 1] : u[at + 1] << 8 | u[at]; };
    size_t at = static_cast<size_t>(rd16(46));
    for (int hops = 0; at >= 48 && at + 8 <= static_cast<size_t>(kRecordBytes) && hops < 16; hops++) {
        if (rd16(at) == 1000) {
            u[at + 6] = 12;  // the exponent of the record length
            break;
        }
        at = static_cast<size_t>(rd16(at + 2));
    }
    return r;
}

// A version 4 packet header: "SE", format, subformat, then little-endian
// payload length (32 bits) and sequence number (64 bits), the station id's
// length and the id.
std::string v4_header(char format, char subformat, uint32_t bytes, uint64_t seq, const std::string& station)
{
    std::string h = {'S', 'E', format, subformat};
    for (int i = 0; i < 4; i++)
        h.push_back(static_cast<char>(bytes >> (8 * i) & 0xFF));
    for (int i = 0; i < 8; i++)
        h.push_back(static_cast<char>(seq >> (8 * i) & 0xFF));
    h.push_back(static_cast<char>(std::min<size_t>(station.size(), 255)));
    return h + station.substr(0, 255);
}

// A version 4 INFO reply: one JSON packet.
int send_json(int fd, const std::string& json)
{
    return send_text(fd, v4_header('J', 'I', static_cast<uint32_t>(json.size()), 0, "") + json);
}

// "YYYY,MM,DD,hh,mm,ss" to epoch seconds, or negative.
double parse_time_word(const std::string& s)
{
    return parse_utc_fields(s, "%d,%d,%d,%d,%d,%d", 1);
}

// "YYYY-MM-DDThh:mm:ss[.f][Z]" to epoch seconds, or negative.
double parse_iso_time(const std::string& s)
{
    return parse_utc_fields(s, "%d-%d-%dT%d:%d:%d", 3);
}

struct Subscription
{
    std::string net, sta;  // empty: every station (single-station mode)
    std::vector<std::string> selects;
    long seq = -1;             // first sequence number, 24 bits; -1 none
    double begin = -1.0, end = -1.0;
};

} // namespace

void SlServer::serve(Client* c)
{
    const int fd = c->fd;
    std::string in;
    std::vector<Subscription> subs;
    Subscription* current = nullptr;
    Subscription uni;
    bool streaming = false, fetch = false;
    bool v4 = false;  // switched to protocol version 4 by SLPROTO 4.0
    auto finish = [c] {
        shutdown(c->fd, SHUT_RDWR);  // the peer sees the end now; the fd is closed when reaped
        c->done = true;
    };

    auto reply = [fd](bool ok) { return send_text(fd, ok ? "OK\r\n" : "ERROR\r\n"); };
    auto handle = [&](const std::string& line) -> int {
        const std::vector<std::string> w = words(line);
        if (w.empty())
            return 0;
        const std::string cmd = upper(w[0]);
        if (cmd == "HELLO")
            return send_text(fd, opt_.offer_v4 ? "SeedLink v4.0 (vxseedlinkd 1.0) :: SLPROTO:3.1 SLPROTO:4.0 CAP\r\n"
                                                 "libvxplot vxseedlinkd\r\n"
                                               : "SeedLink v3.1 (vxseedlinkd 1.0) :: SLPROTO:3.1 CAP\r\n"
                                                 "libvxplot vxseedlinkd\r\n");
        if (cmd == "SLPROTO" && !streaming) {
            const std::string version = w.size() > 1 ? w[1] : "";
            if (version == "3.1" || version == "3.0")
                v4 = false;
            else if (opt_.offer_v4 && (version == "4.0" || version == "4"))
                v4 = true;
            else
                return reply(false);
            return reply(true);
        }
        if (cmd == "BYE")
            return -1;
        if (cmd == "INFO") {
            const std::string level = w.size() > 1 ? upper(w[1]) : "";
            if (level != "ID" && level != "STATIONS" && level != "STREAMS" && level != "CAPABILITIES")
                return send_text(fd, "ERROR\r\n");
            if (opt_.refuse_station_list && level != "ID")
                return send_text(fd, "ERROR\r\n");
            if (v4)  // only what a client needs to know it is answered
                return send_json(fd, "{\"software\":\"vxseedlinkd 1.0\",\"organization\":\"libvxplot\"}");
            return send_info(fd, infoXml(level));
        }
        if (streaming)
            return 0;  // only INFO and BYE once data flows
        if (cmd == "STATION" && w.size() >= 2) {
            Subscription s;
            s.sta = w[1];
            s.net = w.size() > 2 ? w[2] : "";
            if (v4) {  // one word, "NET_STA"
                const size_t us = w[1].find('_');
                if (us == std::string::npos || w.size() > 2)
                    return reply(false);
                s.net = w[1].substr(0, us);
                s.sta = w[1].substr(us + 1);
            }
            bool known = false;
            {
                std::lock_guard<std::mutex> lock(mu_);
                for (const Station& st : stations_)
                    known |= st.sta == s.sta && (s.net.empty() || st.net == s.net);
            }
            if (!known)
                return reply(false);
            subs.push_back(s);
            current = &subs.back();
            return reply(true);
        }
        Subscription* target = current ? current : &uni;
        if (cmd == "SELECT") {
            if (w.size() < 2)
                target->selects.clear();
            else
                target->selects.push_back(upper(w[1]));
            return reply(true);
        }
        if (v4 && cmd == "DATA") {
            // DATA [seq|ALL|-1 [start [end]]], seq decimal, times ISO
            if (w.size() > 1 && w[1] != "ALL" && w[1] != "-1") {
                char* end = nullptr;
                target->seq = strtol(w[1].c_str(), &end, 10);
                if (*end != '\0' || target->seq < 0)
                    return reply(false);
            }
            if (w.size() > 2 && (target->begin = parse_iso_time(w[2])) < 0.0)
                return reply(false);
            if (w.size() > 3 && (target->end = parse_iso_time(w[3])) < 0.0)
                return reply(false);
            return reply(current != nullptr);  // version 4 has no single-station mode
        }
        if (v4 && (cmd == "FETCH" || cmd == "TIME"))
            return reply(false);
        if (cmd == "DATA" || cmd == "FETCH" || cmd == "TIME") {
            if (cmd == "TIME") {
                if (w.size() < 2 || (target->begin = parse_time_word(w[1])) < 0.0)
                    return reply(false);
                target->end = w.size() > 2 ? parse_time_word(w[2]) : -1.0;
            } else {
                fetch = cmd == "FETCH";
                if (w.size() > 1) {
                    char* end = nullptr;
                    target->seq = strtol(w[1].c_str(), &end, 16);
                    if (*end != '\0' || target->seq < 0 || target->seq > 0xFFFFFF)
                        return reply(false);
                }
                if (w.size() > 2)
                    target->begin = parse_time_word(w[2]);
            }
            if (current)
                return reply(true);
            subs.assign(1, uni);  // single-station mode: the stream starts now
            streaming = true;
            return 0;
        }
        if (cmd == "END" && !subs.empty()) {
            streaming = true;
            return 0;
        }
        return send_text(fd, "ERROR\r\n");
    };

    // the full sequence number of a 24-bit one, near the newest
    auto full_seq = [this](long seq24) {
        long full = (next_seq_ & ~0xFFFFFFL) | seq24;
        if (full > next_seq_)
            full -= 0x1000000L;
        return full;
    };
    long cursor = 0, sent = 0;
    bool went_back = false;
    std::vector<long> first;  // per subscription, its first sequence number
    std::unordered_map<std::string, std::vector<size_t>> by_station;  // "NET_STA" or "*_STA" to subscriptions
    std::vector<size_t> any_station;
    for (;;) {
        // commands (and, while streaming, INFO and BYE)
        pollfd p = {fd, POLLIN, 0};
        const int ready = poll(&p, 1, streaming ? 0 : 200);
        if (ready > 0) {
            char buf[4096];
            const ssize_t n = recv(fd, buf, sizeof buf, 0);
            if (n <= 0)
                return finish();
            in.append(buf, static_cast<size_t>(n));
            if (in.size() > 65536)
                return finish();
            size_t eol;
            const bool was_streaming = streaming;
            while ((eol = in.find_first_of("\r\n")) != std::string::npos) {
                const std::string line = in.substr(0, eol);
                in.erase(0, eol + 1);
                if (handle(line) < 0)
                    return finish();
            }
            if (streaming && !was_streaming) {
                std::lock_guard<std::mutex> lock(mu_);
                const long oldest = ring_.empty() ? next_seq_ : ring_.front().first;
                cursor = next_seq_;
                first.clear();
                by_station.clear();
                any_station.clear();
                for (size_t i = 0; i < subs.size(); i++) {
                    const Subscription& s = subs[i];
                    if (s.sta.empty())
                        any_station.push_back(i);
                    else
                        by_station[(s.net.empty() ? "*" : s.net) + "_" + s.sta].push_back(i);
                    long f = next_seq_;  // live
                    if (s.seq >= 0)
                        f = std::max(v4 ? s.seq : full_seq(s.seq), oldest);
                    else if (s.begin >= 0.0)
                        f = oldest;
                    first.push_back(f);
                    cursor = std::min(cursor, f);
                }
            }
        }
        {
            std::lock_guard<std::mutex> lock(mu_);
            if (stopping_)
                return finish();
        }
        if (!streaming)
            continue;
        // send what has been released since the cursor
        std::vector<std::pair<long, SlRecord>> batch;
        {
            std::unique_lock<std::mutex> lock(mu_);
            if (cursor >= next_seq_) {
                if (fetch) {
                    lock.unlock();
                    send_text(fd, "END");
                    return finish();
                }
                cv_.wait_for(lock, std::chrono::milliseconds(100));
                if (stopping_)
                    return finish();
            }
            const long oldest = ring_.empty() ? next_seq_ : ring_.front().first;
            cursor = std::max(cursor, oldest);
            for (; cursor < next_seq_ && batch.size() < 256; cursor++) {
                const auto& [seq, rec] = ring_[static_cast<size_t>(cursor - oldest)];
                const std::vector<size_t>* lists[3] = {&any_station, nullptr, nullptr};
                if (const auto it = by_station.find(rec.net + "_" + rec.sta); it != by_station.end())
                    lists[1] = &it->second;
                if (const auto it = by_station.find("*_" + rec.sta); it != by_station.end())
                    lists[2] = &it->second;
                bool wanted = false;
                for (const std::vector<size_t>* list : lists) {
                    for (size_t k = 0; list && k < list->size() && !wanted; k++) {
                        const size_t i = (*list)[k];
                        const Subscription& s = subs[i];
                        wanted = seq >= first[i] && !(s.begin >= 0.0 && rec.end <= s.begin) &&
                                 !(s.end >= 0.0 && rec.start >= s.end) &&
                                 (s.selects.empty() ||
                                  std::any_of(s.selects.begin(), s.selects.end(),
                                              [&rec](const std::string& p) { return select_matches(p, rec); }));
                    }
                }
                if (wanted)
                    batch.emplace_back(seq, rec);
            }
        }
        for (const auto& [seq, rec] : batch) {
            if (opt_.seq_back_after > 0 && sent == opt_.seq_back_after && !went_back) {
                went_back = true;
                cursor = seq - 3;  // three back; the rest of the batch comes after them again
                break;
            }
            char head[16];
            snprintf(head, sizeof head, "SL%06lX", seq & 0xFFFFFF);
            std::string packet = (v4 ? v4_header('2', 'D', kRecordBytes, static_cast<uint64_t>(seq),
                                                 rec.net + "_" + rec.sta)
                                     : std::string(head, 8)) + (opt_.wrong_length_after > 0 && sent == opt_.wrong_length_after
                                                             ? wrong_length(rec.bytes.data())
                                                             : std::string(rec.bytes.data(), kRecordBytes));
            if (opt_.garbage_after > 0 && sent >= opt_.garbage_after) {
                send_text(fd, std::string(700, '\x5a') + "garbage");
                return finish();
            }
            if (opt_.drop_after > 0 && sent >= opt_.drop_after) {
                if (opt_.cut_mid_packet)
                    send_all(fd, packet.data(), packet.size() / 2);
                return finish();
            }
            if (send_all(fd, packet.data(), packet.size()) < 0)
                return finish();
            sent++;
        }
    }
}
