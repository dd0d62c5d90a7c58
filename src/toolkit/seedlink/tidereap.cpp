#include "toolkit/seedlink/tidereap.h"

#include "toolkit/base/errors.h"
#include "toolkit/seedlink/pktchan.h"
#include "toolkit/seedlink/tidereap_p.h"

#include <libmseed.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

// Parse "host:port", "[v6]:port", "host" or ":port".
int split_ring(const std::string& ring, std::string* host, std::string* port)
{
    std::string h = ring, p = std::to_string(kDefaultPort);
    if (!ring.empty() && ring[0] == '[') {
        const size_t close = ring.find(']');
        if (close == std::string::npos)
            return -1;
        h = ring.substr(1, close - 1);
        if (close + 1 < ring.size()) {
            if (ring[close + 1] != ':')
                return -1;
            p = ring.substr(close + 2);
        }
    } else if (const size_t colon = ring.rfind(':'); colon != std::string::npos) {
        h = ring.substr(0, colon);
        p = ring.substr(colon + 1);
    }
    if (h.empty())
        h = "localhost";
    if (p.empty() || p.size() > 5 || p.find_first_not_of("0123456789") != std::string::npos || std::stoi(p) == 0 ||
        std::stoi(p) > 65535)
        return -1;
    *host = h;
    *port = p;
    return 0;
}

int compile(regex_t* re, const char* expr, const char* what)
{
    const std::string anchored = std::string("^(") + expr + ")$";
    const int rc = regcomp(re, anchored.c_str(), REG_EXTENDED | REG_NOSUB);
    if (rc != 0) {
        char msg[256];
        regerror(rc, re, msg, sizeof msg);
        hl_register_error(0, "tidereapthr_new2: Bad %s expression '%s': %s.\n", what, expr, msg);
        return -1;
    }
    return 0;
}

} // namespace

void TidereapThr::closeSocket()
{
    if (fd >= 0)
        close(fd);
    fd = -1;
    in.clear();
}

bool TidereapThr::woken()
{
    std::lock_guard<std::mutex> lock(mu);
    return stopping || after_pending;
}

void TidereapThr::push(const Queued& q)
{
    std::lock_guard<std::mutex> lock(mu);
    if (stopping || generation != session_generation)
        return;  // asked for another start time meanwhile: the old stream is not wanted
    if (queue.size() >= queue_max) {
        queue.pop_front();
        stats.dropped_full++;
        full_since_log++;
        const double t = now_s();
        if (t - last_full_log >= 10.0) {
            hl_complain(0, "TidereapThr: Queue of %s full (%zu packets): %ld oldest dropped.\n", ring.c_str(),
                        queue_max, full_since_log);
            last_full_log = t;
            full_since_log = 0;
        }
    }
    queue.push_back(q);
    stats.packets++;
    cv.notify_one();
}

bool TidereapThr::wentBack(int64_t seq, int64_t last) const
{
    if (v4)
        return seq <= last;
    // version 3 numbers count on modulo 2^24; half the circle back is "back"
    const int64_t d = (seq - last) & (kSlSeqModulus - 1);
    return d == 0 || d >= kSlSeqModulus / 2;
}

void TidereapThr::handleData(int64_t seq, const char* record)
{
    char net[3], sta[6], loc[3], chan[4];
    if (sl_record_codes(record, net, sta, loc, chan) < 0)
        return;
    if (msr_parse(const_cast<char*>(record), kSlRecordBytes, &header, kSlRecordBytes, 0, 0) != 0 || !header) {
        hl_complain(0, "TidereapThr: Unreadable record header from %s; packet %06llX dropped.\n", ring.c_str(),
                    static_cast<long long>(seq));
        return;
    }
    Queued q;
    q.seq = seq;
    pkt_srcname(net, sta, chan, loc, q.src, sizeof q.src);
    q.time = static_cast<double>(header->starttime) / HPTMODULUS;
    const double samprate = header->samprate;
    const double end = samprate > 0.0 ? q.time + static_cast<double>(header->samplecnt) / samprate : q.time;
    const std::string station = std::string(net) + "_" + sta;
    got_data = true;

    if (channels.size() >= kMaxChannels && !channels.count(q.src)) {
        hl_complain(0, "TidereapThr: More than %zu channels from %s; their state is started afresh.\n", kMaxChannels,
                    ring.c_str());
        channels.clear();
    }
    auto [it, fresh] = channels.try_emplace(q.src);
    ChannelState& c = it->second;
    if (fresh) {
        c.accepted = (!has_accept || regexec(&accept, q.src, 0, nullptr, 0) == 0) &&
                     !(has_reject && regexec(&reject, q.src, 0, nullptr, 0) == 0);
    }

    const auto known = station_seq.find(station);
    if (known != station_seq.end()) {
        if (wentBack(seq, known->second)) {
            const double half_sample = samprate > 0.0 ? 0.5 / samprate : 0.0;
            if (!fresh && q.time < c.last_end - half_sample) {
                {
                    std::lock_guard<std::mutex> lock(mu);
                    stats.dropped_repeat++;
                }
                if (repeating.insert(station).second)  // a subset of station_seq: bounded
                    hl_complain(0, "TidereapThr: Sequence of %s at %s went back from %06llX to %06llX; packets "
                                "already delivered are dropped.\n", station.c_str(), ring.c_str(),
                                static_cast<long long>(known->second), static_cast<long long>(seq));
                return;
            }
            hl_complain(0, "TidereapThr: Sequence of %s at %s went back from %06llX to %06llX with new data: taken "
                        "as a restarted server.\n", station.c_str(), ring.c_str(),
                        static_cast<long long>(known->second), static_cast<long long>(seq));
        }
    }
    repeating.erase(station);
    if (known != station_seq.end())
        known->second = seq;
    else if (station_seq.size() < kMaxStations)
        station_seq.emplace(station, seq);
    uni_seq = seq;

    if (!(q.time >= 0.0 && q.time <= now_s() + kFuture_s)) {
        long dropped;
        {
            std::lock_guard<std::mutex> lock(mu);
            dropped = ++stats.dropped_time;
        }
        if (dropped <= 10 || dropped % 1000 == 0)
            hl_complain(0, "TidereapThr: Packet %06llX of %s starts at %.0f, %s; dropped (%ld so far).\n",
                        static_cast<long long>(seq), q.src,
                        q.time, q.time < 0.0 ? "before 1970" : "more than a day ahead of the clock", dropped);
        return;
    }
    if (samprate > 0.0 && c.samprate > 0.0 && std::fabs(samprate - c.samprate) > 1e-6 * c.samprate)
        hl_complain(0, "TidereapThr: Sample rate of %s changed from %g to %g per second.\n", q.src, c.samprate,
                    samprate);
    if (samprate > 0.0)
        c.samprate = samprate;
    if (!c.accepted) {
        std::lock_guard<std::mutex> lock(mu);
        stats.dropped_rejected++;
        return;
    }
    c.last_end = std::max(c.last_end, end);
    memcpy(q.record.data(), record, kSlRecordBytes);
    push(q);
}

// Whether a station has a stream that the expressions take; true when its
// streams are not known.
bool TidereapThr::wanted(const SlStationId& s) const
{
    if (s.streams.empty())
        return true;
    for (const SlStreamId& st : s.streams) {
        char src[TIDEREAP_SRCNAME_SIZE];
        pkt_srcname(s.net.c_str(), s.sta.c_str(), st.chan.c_str(), st.loc.c_str(), src, sizeof src);
        if ((!has_accept || regexec(&accept, src, 0, nullptr, 0) == 0) &&
            !(has_reject && regexec(&reject, src, 0, nullptr, 0) == 0))
            return true;
    }
    return false;
}

// 1 when the server ended the stream, SESSION_WOKEN when stopped or asked
// for another start, negative when the connection failed.
void TidereapThr::run()
{
    double backoff = kBackoffFirst_s;
    for (;;) {
        got_data = false;
        const int rc = session();
        closeSocket();
        {
            std::lock_guard<std::mutex> lock(mu);
            if (stopping)
                break;
            if (rc < 0)
                stats.failures++;
            if (after_pending)
                continue;  // a new start time: at once
        }
        if (got_data)
            backoff = kBackoffFirst_s;
        if (rc < 0) {
            hl_register_error(0, "TidereapThr: Retrying %s in %.1f s.\n", ring.c_str(), backoff);
            hl_clear_register(HL_CLEAR_PRINT);
        } else {
            hl_clear_register(HL_CLEAR_QUIET);
        }
        // wait out the back-off, or until woken
        pollfd p = {wake[0], POLLIN, 0};
        if (poll(&p, 1, static_cast<int>(backoff * 1000.0)) > 0) {
            char drain[64];
            while (read(wake[0], drain, sizeof drain) > 0) {
            }
        }
        backoff = std::min(backoff * 2.0, kBackoffMax_s);
    }
    msr_free(&header);
    hl_clear_register(HL_CLEAR_QUIET);
}

TidereapThr* tidereapthr_new2(const char* tidename, const char* accept, const char* reject, int queue_depth,
                              double after, double timeout)
{
    auto* r = new TidereapThr;
    r->ring = tidename ? tidename : "";
    if (split_ring(r->ring, &r->host, &r->port) < 0) {
        hl_register_error(0, "tidereapthr_new2: Bad ring name '%s': expected host:port.\n", r->ring.c_str());
        delete r;
        return nullptr;
    }
    if (accept && *accept) {
        if (compile(&r->accept, accept, "accept") < 0) {
            delete r;
            return nullptr;
        }
        r->has_accept = true;
    }
    if (reject && *reject) {
        if (compile(&r->reject, reject, "reject") < 0) {
            if (r->has_accept)
                regfree(&r->accept);
            delete r;
            return nullptr;
        }
        r->has_reject = true;
    }
    r->queue_max = static_cast<size_t>(std::clamp(queue_depth, TIDEREAP_QUEUE_MIN, TIDEREAP_QUEUE_MAX));
    r->wait_s = timeout >= 0.0 ? timeout : 0.5;
    r->after_pending = after >= 0.0;
    r->after_time = after;
    if (pipe2(r->wake, O_NONBLOCK | O_CLOEXEC) < 0) {
        hl_register_error(1, "tidereapthr_new2: pipe: %s.\n", strerror(errno));
        r->wake[0] = r->wake[1] = -1;
        TidereapThr* p = r;
        tidereapthr_free(&p);
        return nullptr;
    }
    try {
        r->thread = std::thread([r] { r->run(); });
    } catch (const std::system_error& e) {
        hl_register_error(1, "tidereapthr_new2: Cannot start the reader thread: %s.\n", e.what());
        TidereapThr* p = r;
        tidereapthr_free(&p);
        return nullptr;
    }
    return r;
}

int tidereapthr_get(TidereapThr* r, int* pktid, char* srcname, double* pkttime, char** packet, int* nbytes,
                    int* bufsize)
{
    if (!r) {
        hl_register_error(0, "tidereapthr_get: No reader.\n");
        return -1;
    }
    if (*bufsize < kSlRecordBytes || !*packet) {
        char* p = static_cast<char*>(realloc(*packet, kSlRecordBytes));
        if (!p) {
            hl_register_error(1, "tidereapthr_get: Out of memory.\n");
            return -1;
        }
        *packet = p;
        *bufsize = kSlRecordBytes;
    }
    std::unique_lock<std::mutex> lock(r->mu);
    r->cv.wait_for(lock, std::chrono::duration<double>(r->wait_s), [r] { return r->stopping || !r->queue.empty(); });
    if (r->stopping)
        return TIDEREAP_STOPPED;
    if (r->queue.empty())
        return TIDEREAP_NONE;
    const Queued& q = r->queue.front();
    *pktid = static_cast<int>(q.seq & 0x7FFFFFFF);
    snprintf(srcname, TIDEREAP_SRCNAME_SIZE, "%s", q.src);
    *pkttime = q.time;
    memcpy(*packet, q.record.data(), kSlRecordBytes);
    *nbytes = kSlRecordBytes;
    r->queue.pop_front();
    return TIDEREAP_PACKET;
}

int tidereapthr_after(TidereapThr* r, double time)
{
    if (!r) {
        hl_register_error(0, "tidereapthr_after: No reader.\n");
        return -1;
    }
    {
        std::lock_guard<std::mutex> lock(r->mu);
        r->after_time = time;
        r->after_pending = true;
        r->generation++;
        r->queue.clear();
    }
    const char c = 'a';
    if (write(r->wake[1], &c, 1) < 0 && errno != EAGAIN) {
        hl_register_error(1, "tidereapthr_after: Cannot wake the reader: %s.\n", strerror(errno));
        return -1;
    }
    return 0;
}

void tidereapthr_stop(TidereapThr* r)
{
    if (!r)
        return;
    {
        std::lock_guard<std::mutex> lock(r->mu);
        r->stopping = true;
    }
    r->cv.notify_all();
    if (r->wake[1] >= 0) {
        const char c = 's';
        (void)!write(r->wake[1], &c, 1);
    }
    if (r->thread.joinable() && r->thread.get_id() != std::this_thread::get_id())
        r->thread.join();
}

void tidereapthr_free(TidereapThr** reap)
{
    if (!reap || !*reap)
        return;
    TidereapThr* r = *reap;
    tidereapthr_stop(r);
    for (int& fd : r->wake)
        if (fd >= 0)
            close(fd);
    if (r->has_accept)
        regfree(&r->accept);
    if (r->has_reject)
        regfree(&r->reject);
    delete r;
    *reap = nullptr;
}

int tidereapthr_stats(TidereapThr* r, TidereapStats* stats)
{
    if (!r || !stats)
        return -1;
    std::lock_guard<std::mutex> lock(r->mu);
    *stats = r->stats;
    return 0;
}
