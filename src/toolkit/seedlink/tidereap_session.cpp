// The reader's connection: the socket, and the conversation with the
// server from HELLO to the end of the data stream.
#include "toolkit/base/errors.h"
#include "toolkit/seedlink/pktchan.h"
#include "toolkit/seedlink/tidereap_p.h"

#include <libmseed.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

int TidereapThr::connectTo()
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* res = nullptr;
    const int gai = getaddrinfo(host.c_str(), port.c_str(), &hints, &res);
    if (gai != 0) {
        hl_register_error(0, "TidereapThr::connectTo: Cannot resolve '%s': %s.\n", host.c_str(), gai_strerror(gai));
        return -1;
    }
    int err = 0;
    for (addrinfo* a = res; a; a = a->ai_next) {
        fd = socket(a->ai_family, a->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, a->ai_protocol);
        if (fd < 0) {
            err = errno;
            continue;
        }
        if (connect(fd, a->ai_addr, a->ai_addrlen) == 0) {
            freeaddrinfo(res);
            return 0;
        }
        err = errno;
        if (err == EINPROGRESS) {
            pollfd p[2] = {{fd, POLLOUT, 0}, {wake[0], POLLIN, 0}};
            const int n = poll(p, 2, kConnectTimeout_ms);
            if (n > 0 && (p[1].revents & POLLIN)) {
                closeSocket();
                freeaddrinfo(res);
                return kWoken;
            }
            socklen_t len = sizeof err;
            if (n > 0 && getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len) == 0 && err == 0) {
                freeaddrinfo(res);
                return 0;
            }
            if (n == 0)
                err = ETIMEDOUT;
        }
        closeSocket();
    }
    freeaddrinfo(res);
    hl_register_error(0, "TidereapThr::connectTo: Cannot connect to %s: %s.\n", ring.c_str(), strerror(err));
    return -1;
}

int TidereapThr::sendLine(const std::string& line)
{
    const std::string text = line + "\r\n";
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = send(fd, text.data() + done, text.size() - done, MSG_NOSIGNAL);
        if (n > 0) {
            done += static_cast<size_t>(n);
            continue;
        }
        if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
            pollfd p = {fd, POLLOUT, 0};
            if (poll(&p, 1, kReplyTimeout_ms) > 0)
                continue;
        }
        hl_register_error(0, "TidereapThr::sendLine: Cannot send to %s: %s.\n", ring.c_str(),
                          n < 0 ? strerror(errno) : "closed");
        return -1;
    }
    return 0;
}

// Read what is there into in; 1 when bytes came, 0 on time-out, SESSION_WOKEN
// when woken, negative when the connection is gone.
int TidereapThr::fill(int timeout_ms)
{
    pollfd p[2] = {{fd, POLLIN, 0}, {wake[0], POLLIN, 0}};
    const int n = poll(p, 2, timeout_ms);
    if (n < 0 && errno != EINTR) {
        hl_register_error(0, "TidereapThr::fill: poll: %s.\n", strerror(errno));
        return -1;
    }
    if (n > 0 && (p[1].revents & POLLIN)) {
        char drain[64];
        while (read(wake[0], drain, sizeof drain) > 0) {
        }
        if (woken())
            return kWoken;
    }
    if (n <= 0 || !(p[0].revents & (POLLIN | POLLHUP | POLLERR)))
        return 0;
    char buf[65536];
    const ssize_t got = recv(fd, buf, sizeof buf, 0);
    if (got > 0) {
        in.append(buf, static_cast<size_t>(got));
        return 1;
    }
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return 0;
    if (got == 0 && !in.empty())
        hl_register_error(0, "TidereapThr::fill: %s closed the connection in the middle of a packet.\n", ring.c_str());
    else
        hl_register_error(0, "TidereapThr::fill: %s closed the connection%s%s.\n", ring.c_str(), got < 0 ? ": " : "",
                          got < 0 ? strerror(errno) : "");
    return -1;
}

int TidereapThr::readLine(std::string* line, int timeout_ms)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    for (;;) {
        const size_t eol = in.find('\n');
        if (eol != std::string::npos) {
            *line = in.substr(0, eol);
            if (!line->empty() && line->back() == '\r')
                line->pop_back();
            in.erase(0, eol + 1);
            return 0;
        }
        if (in.size() > 4096) {
            hl_register_error(0, "TidereapThr::readLine: %s sent a line longer than 4096 bytes.\n", ring.c_str());
            return -1;
        }
        const int left = static_cast<int>(
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count());
        if (left <= 0) {
            hl_register_error(0, "TidereapThr::readLine: No answer from %s.\n", ring.c_str());
            return -1;
        }
        const int rc = fill(std::min(left, 1000));
        if (rc < 0)
            return rc;
    }
}

// One frame into frame, its bytes left at the front of in until the next
// call; 1 with a frame, 0 on time-out, negative on error or wake.
int TidereapThr::readFrame(SlFrame* frame, int timeout_ms)
{
    for (;;) {
        const int used = v4 ? sl_next_frame4(in.data(), in.size(), frame) : sl_next_frame(in.data(), in.size(), frame);
        if (used > 0)
            return used;
        if (used < 0) {
            hl_register_error(0, "TidereapThr::readFrame: Garbage from %s; reconnecting.\n", ring.c_str());
            return -1;
        }
        const int rc = fill(timeout_ms);
        if (rc <= 0)
            return rc;
    }
}

int TidereapThr::stationList(const char* level, std::vector<SlStationId>* stations)
{
    if (sendLine(std::string("INFO ") + level) < 0)
        return -1;
    std::string xml;
    MSRecord* msr = nullptr;
    for (;;) {
        SlFrame f;
        const int used = readFrame(&f, kReplyTimeout_ms);
        if (used == 0) {
            hl_register_error(0, "TidereapThr::stationList: No answer to INFO from %s.\n", ring.c_str());
            msr_free(&msr);
            return -1;
        }
        if (used < 0) {
            msr_free(&msr);
            return used;
        }
        const int type = f.type;
        if (type == SL_FRAME_INFO || type == SL_FRAME_INFO_LAST) {
            if (msr_parse(const_cast<char*>(f.record), kSlRecordBytes, &msr, kSlRecordBytes, 1, 0) == 0 &&
                msr->sampletype == 'a' && msr->numsamples > 0 && xml.size() < kMaxInfoBytes)
                xml.append(static_cast<const char*>(msr->datasamples), static_cast<size_t>(msr->numsamples));
        }
        in.erase(0, static_cast<size_t>(used));
        if (type == SL_FRAME_INFO)
            continue;
        if (type == SL_FRAME_DATA) {
            hl_register_error(0, "TidereapThr::stationList: Data from %s before any request.\n", ring.c_str());
            msr_free(&msr);
            return -1;
        }
        break;  // the last piece, or ERROR: no list, single-station mode
    }
    msr_free(&msr);
    *stations = sl_info_stations(xml, kMaxStations);
    return 0;
}

int TidereapThr::session()
{
    {
        std::lock_guard<std::mutex> lock(mu);
        if (after_pending) {
            start_time = after_time;
            after_pending = false;
            station_seq.clear();
            channels.clear();
            repeating.clear();
            uni_seq = -1;
        }
        session_generation = generation;
    }
    int rc = connectTo();
    if (rc < 0)
        return rc == kWoken ? SESSION_WOKEN : -1;
    std::string line;
    if (sendLine("HELLO") < 0 || (rc = readLine(&line, kReplyTimeout_ms)) < 0)
        return rc == kWoken ? SESSION_WOKEN : -1;
    if (sl_greeting_version(line) < 0) {
        hl_register_error(0, "TidereapThr::session: %s is not a SeedLink server: '%.60s'.\n", ring.c_str(),
                          line.c_str());
        return -1;
    }
    v4 = false;
    const bool offers_v4 = sl_greeting_offers_v4(line);
    if ((rc = readLine(&line, kReplyTimeout_ms)) < 0)  // the organisation
        return rc == kWoken ? SESSION_WOKEN : -1;

    // the streams, to ask only for stations with a wanted channel; a server
    // that keeps them to itself may still list its stations
    std::vector<SlStationId> stations;
    if ((rc = stationList("STREAMS", &stations)) < 0)
        return rc == kWoken ? SESSION_WOKEN : -1;
    if (stations.empty() && (rc = stationList("STATIONS", &stations)) < 0)
        return rc == kWoken ? SESSION_WOKEN : -1;
    const size_t listed = stations.size();
    std::erase_if(stations, [this](const SlStationId& s) { return !wanted(s); });
    if (listed > 0 && stations.empty()) {
        hl_register_error(0, "TidereapThr::session: None of the %zu stations of %s has a channel the expressions take.\n",
                          listed, ring.c_str());
        return -1;
    }
    // version 4 where the server offers it, for its station-by-station
    // subscription; the list above was asked for in version 3, as every
    // server answers it
    if (offers_v4 && !stations.empty()) {
        if (sendLine("SLPROTO 4.0") < 0 || (rc = readLine(&line, kReplyTimeout_ms)) < 0)
            return rc == kWoken ? SESSION_WOKEN : -1;
        v4 = line == "OK";
        if (!v4)
            hl_complain(0, "TidereapThr: %s answered '%.40s' to 'SLPROTO 4.0'; staying with version 3.\n",
                        ring.c_str(), line.c_str());
    }
    if (seq_protocol != (v4 ? 4 : 3)) {
        // the other version's numbers mean nothing here: go on from the
        // channels' ends by time instead
        if (seq_protocol != 0 && !station_seq.empty()) {
            double resume = 1e300;
            for (const auto& [name, c] : channels)
                if (c.accepted && c.last_end > -1e299)
                    resume = std::min(resume, c.last_end);
            if (resume < 1e299)
                start_time = resume;
        }
        station_seq.clear();
        repeating.clear();
        uni_seq = -1;
        seq_protocol = v4 ? 4 : 3;
    }
    if (stations.empty()) {
        // single-station mode: the command starts the stream at once
        if (sendLine(dataWord(uni_seq)) < 0)
            return -1;
    } else {
        int accepted = 0;
        for (const SlStationId& s : stations) {
            const auto known = station_seq.find(s.net + "_" + s.sta);
            const std::string cmds[2] = {v4 ? "STATION " + s.net + "_" + s.sta : "STATION " + s.sta + " " + s.net,
                                         dataWord(known == station_seq.end() ? -1 : known->second)};
            bool ok = true;
            for (const std::string& cmd : cmds) {
                if (sendLine(cmd) < 0 || (rc = readLine(&line, kReplyTimeout_ms)) < 0)
                    return rc == kWoken ? SESSION_WOKEN : -1;
                if (line != "OK") {
                    hl_complain(0, "TidereapThr: %s answered '%.40s' to '%s'; station skipped.\n", ring.c_str(),
                                line.c_str(), cmd.c_str());
                    ok = false;
                    break;
                }
            }
            accepted += ok;
        }
        if (accepted == 0) {
            hl_register_error(0, "TidereapThr::session: %s accepted none of its %zu stations.\n", ring.c_str(),
                              stations.size());
            return -1;
        }
        if (sendLine("END") < 0)
            return -1;
    }
    {
        std::lock_guard<std::mutex> lock(mu);
        stats.connects++;
        stats.protocol = v4 ? 4 : 3;
    }
    double last_rx = now_s(), last_keepalive = last_rx;
    for (;;) {
        SlFrame f;
        const int used = readFrame(&f, 1000);
        if (used == kWoken)
            return SESSION_WOKEN;
        if (used < 0)
            return -1;
        const double t = now_s();
        if (used == 0) {
            if (t - last_rx > kNetTimeout_s) {
                hl_register_error(0, "TidereapThr::session: Nothing from %s for %.0f s.\n", ring.c_str(),
                                  kNetTimeout_s);
                return -1;
            }
            if (t - last_keepalive > kKeepalive_s) {
                if (sendLine("INFO ID") < 0)
                    return -1;
                last_keepalive = t;
            }
            continue;
        }
        last_rx = t;
        if (f.type == SL_FRAME_DATA)
            handleData(f.seq, f.record);
        if (f.type == SL_FRAME_OTHER && f.record && (++odd_payloads <= 10 || odd_payloads % 1000 == 0))
            hl_complain(0, "TidereapThr: Record of %u bytes in packet %lld of %s from %s, where SeedLink carries 512; "
                        "skipped (%ld so far).\n", f.payload_bytes, static_cast<long long>(f.seq),
                        std::string(f.station).c_str(), ring.c_str(), odd_payloads);
        in.erase(0, static_cast<size_t>(used));
        if (f.type == SL_FRAME_END)
            return SESSION_ENDED;
        if (f.type == SL_FRAME_ERROR) {
            hl_register_error(0, "TidereapThr::session: %s sent ERROR.\n", ring.c_str());
            return -1;
        }
    }
}


std::string TidereapThr::dataWord(int64_t last_seq) const
{
    char buf[64];
    if (last_seq >= 0) {
        if (v4)
            snprintf(buf, sizeof buf, "DATA %lld", static_cast<long long>(last_seq + 1));
        else
            snprintf(buf, sizeof buf, "DATA %06llX", static_cast<long long>((last_seq + 1) & (kSlSeqModulus - 1)));
        return buf;
    }
    if (start_time < 0.0)
        return "DATA";
    return v4 ? "DATA ALL " + sl4_time_word(start_time) : "TIME " + sl_time_word(start_time);
}
