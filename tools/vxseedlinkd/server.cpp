#include "server.h"

#include <libmseed.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <unordered_map>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kRecordBytes = 512;
constexpr double kBlock_s = 1.0;  // generated samples per record, in seconds

double now_s()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// Pack a record's samples (int32 'i', float 'f', double 'd') into 512-byte
// records handed to out.
int pack_records(MSRecord* msr, std::vector<SlRecord>* out)
{
    msr->reclen = kRecordBytes;
    msr->byteorder = 1;
    msr->encoding = msr->sampletype == 'i' ? DE_STEIM2 : msr->sampletype == 'f' ? DE_FLOAT32 : DE_FLOAT64;
    struct Ctx
    {
        std::vector<SlRecord>* out;
    } ctx{out};
    auto handler = [](char* record, int length, void* data) {
        if (length != kRecordBytes)
            return;
        SlRecord r;
        memcpy(r.bytes.data(), record, kRecordBytes);
        static_cast<Ctx*>(data)->out->push_back(r);
    };
    int64_t packed = 0;
    return msr_pack(msr, handler, &ctx, &packed, 1, 0) < 0 ? -1 : 0;
}

// Fill the codes and times of a record from its header.
int describe(SlRecord* r)
{
    MSRecord* msr = nullptr;
    if (msr_parse(r->bytes.data(), kRecordBytes, &msr, kRecordBytes, 0, 0) != 0 || !msr) {
        msr_free(&msr);
        return -1;
    }
    r->net = msr->network;
    r->sta = msr->station;
    r->loc = msr->location;
    r->chan = msr->channel;
    r->start = static_cast<double>(msr->starttime) / HPTMODULUS;
    r->end = msr->samprate > 0.0 ? r->start + static_cast<double>(msr->samplecnt) / msr->samprate : r->start;
    msr_free(&msr);
    return 0;
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

// "YYYY,MM,DD,hh,mm,ss" to epoch seconds, or negative.
double parse_time_word(const std::string& s)
{
    int v[6] = {0, 1, 1, 0, 0, 0};
    int n = sscanf(s.c_str(), "%d,%d,%d,%d,%d,%d", &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]);
    if (n < 1 || v[0] < 1900 || v[0] > 2500)
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

void sl_synth_samples(uint64_t seed, int channel, int64_t k0, int n, double samprate, int32_t* out)
{
    const double phase = 0.7 * channel + static_cast<double>(seed % 1000) * 0.01;
    for (int i = 0; i < n; i++) {
        const int64_t k = k0 + i;
        const double t = static_cast<double>(k) / samprate;
        uint64_t h = (static_cast<uint64_t>(k) + 0x9E3779B97F4A7C15ull * (seed + 1)) ^ (static_cast<uint64_t>(channel) << 40);
        h ^= h >> 33;
        h *= 0xff51afd7ed558ccdull;
        h ^= h >> 33;
        const double noise = static_cast<double>(h % 201) - 100.0;
        out[i] = static_cast<int32_t>(std::lround(2000.0 * std::sin(2.0 * M_PI * 0.17 * t + phase) +
                                                  600.0 * std::sin(2.0 * M_PI * 1.3 * t + 2.0 * phase) + noise));
    }
}

struct SlServer::Client
{
    int fd = -1;
    std::thread thread;
    std::atomic<bool> done{false};
};

SlServer::SlServer(const SlServerOptions& opt) : opt_(opt) {}

SlServer::~SlServer()
{
    stop();
}

int SlServer::loadFile(const std::string& path, std::string* error)
{
    if (access(path.c_str(), R_OK) != 0) {
        *error = path + ": " + strerror(errno);
        return -1;
    }
    MSFileParam* msfp = nullptr;
    MSRecord* msr = nullptr;
    int rc;
    size_t before = pending_.size();
    while ((rc = ms_readmsr_r(&msfp, &msr, path.c_str(), 0, nullptr, nullptr, 1, 0, 0)) == MS_NOERROR) {
        if (msr->reclen == kRecordBytes) {
            SlRecord r;
            memcpy(r.bytes.data(), msr->record, kRecordBytes);
            pending_.push_back(r);
            continue;
        }
        // another record length: the samples again in 512-byte records
        MSRecord* copy = nullptr;
        if (msr_unpack(msr->record, msr->reclen, &copy, 1, 0) != MS_NOERROR || !copy ||
            pack_records(copy, &pending_) < 0) {
            msr_free(&copy);
            *error = "cannot repack a record of " + path + " into 512 bytes";
            ms_readmsr_r(&msfp, &msr, nullptr, 0, nullptr, nullptr, 0, 0, 0);
            return -1;
        }
        msr_free(&copy);
    }
    ms_readmsr_r(&msfp, &msr, nullptr, 0, nullptr, nullptr, 0, 0, 0);
    if (rc != MS_ENDOFFILE) {
        *error = path + ": " + ms_errorstr(rc);
        return -1;
    }
    for (size_t i = before; i < pending_.size(); i++) {
        if (describe(&pending_[i]) < 0) {
            *error = path + ": unreadable record header";
            return -1;
        }
        addStream(pending_[i].net, pending_[i].sta, pending_[i].loc, pending_[i].chan);
    }
    if (pending_.size() == before) {
        *error = path + ": no records";
        return -1;
    }
    return 0;
}

void SlServer::addStream(const std::string& net, const std::string& sta, const std::string& loc,
                         const std::string& chan)
{
    auto it = std::find_if(stations_.begin(), stations_.end(),
                           [&](const Station& s) { return s.net == net && s.sta == sta; });
    if (it == stations_.end())
        it = stations_.insert(stations_.end(), Station{net, sta, {}});
    const auto stream = std::make_pair(loc, chan);
    if (std::find(it->streams.begin(), it->streams.end(), stream) == it->streams.end())
        it->streams.push_back(stream);
}

int SlServer::addSynthetic(const SlSynthOptions& s, std::string* error)
{
    if (s.stations < 1 || s.stations > 9999 || s.nchan < 1 || s.nchan > 3 || !(s.samprate > 0.0) ||
        s.samprate > 10000.0 || s.network.empty() || s.network.size() > 2) {
        *error = "bad generated channel options";
        return -1;
    }
    if (opt_.speed == 0.0 && s.duration < 0.0) {
        *error = "generated channels need a duration when played at once (speed 0)";
        return -1;
    }
    SlSynthOptions copy = s;
    if (copy.start < 0.0)
        copy.start = std::floor(now_s());
    synth_.push_back(copy);
    for (int i = 0; i < s.stations; i++) {
        char sta[16];
        snprintf(sta, sizeof sta, "S%04d", (i + 1) % 10000);
        Station station{s.network, sta, {}};
        for (int c = 0; c < s.nchan; c++) {
            station.streams.emplace_back("", (s.samprate > 80.0 ? "HH" : "BH") + std::string(1, "ZNE"[c]));
            synth_next_.push_back(0);
        }
        stations_.push_back(std::move(station));
    }
    return 0;
}

// Release generated blocks that end before clock; false when nothing is left
// to generate.
bool SlServer::generate(double clock)
{
    static const char* kBH[3] = {"BHZ", "BHN", "BHE"};
    static const char* kHH[3] = {"HHZ", "HHN", "HHE"};
    bool more = false;
    size_t ch = 0;
    for (const SlSynthOptions& s : synth_) {
        const int per_block = std::max(1, static_cast<int>(std::lround(s.samprate * kBlock_s)));
        const int64_t total = s.duration < 0.0 ? INT64_MAX : static_cast<int64_t>(std::llround(s.duration * s.samprate));
        std::vector<int32_t> samples(static_cast<size_t>(per_block));
        for (int st = 0; st < s.stations; st++) {
            for (int c = 0; c < s.nchan; c++, ch++) {
                int64_t& k = synth_next_[ch];
                for (;;) {
                    const int n = static_cast<int>(std::min<int64_t>(per_block, total - k));
                    if (n <= 0)
                        break;
                    const double t0 = s.start + static_cast<double>(k) / s.samprate;
                    if (t0 + n / s.samprate > clock) {
                        more = true;
                        break;
                    }
                    sl_synth_samples(s.seed, static_cast<int>(ch), k, n, s.samprate, samples.data());
                    MSRecord* msr = msr_init(nullptr);
                    snprintf(msr->network, sizeof msr->network, "%s", s.network.c_str());
                    snprintf(msr->station, sizeof msr->station, "S%04d", (st + 1) % 10000);
                    snprintf(msr->channel, sizeof msr->channel, "%s", (s.samprate > 80.0 ? kHH : kBH)[c]);
                    msr->starttime = static_cast<hptime_t>(std::llround(t0 * HPTMODULUS));
                    msr->samprate = s.samprate;
                    msr->sampletype = 'i';
                    msr->datasamples = samples.data();
                    msr->numsamples = n;
                    msr->samplecnt = n;
                    std::vector<SlRecord> recs;
                    pack_records(msr, &recs);
                    msr->datasamples = nullptr;  // not libmseed's to free
                    msr_free(&msr);
                    k += n;
                    for (SlRecord& r : recs)
                        if (describe(&r) == 0)
                            release(std::move(r));
                }
            }
        }
    }
    return more;
}

void SlServer::release(SlRecord&& rec)
{
    std::lock_guard<std::mutex> lock(mu_);
    ring_.emplace_back(next_seq_, std::move(rec));
    next_seq_++;
    while (ring_.size() > opt_.buffer_packets)
        ring_.pop_front();
}

long SlServer::released() const
{
    std::lock_guard<std::mutex> lock(mu_);
    return next_seq_;
}

int SlServer::start(std::string* error)
{
    std::stable_sort(pending_.begin(), pending_.end(),
                     [](const SlRecord& a, const SlRecord& b) { return a.end < b.end; });
    if (pipe2(wake_, O_CLOEXEC | O_NONBLOCK) < 0) {
        *error = std::string("pipe: ") + strerror(errno);
        return -1;
    }
    listen_fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int one = 1;
    setsockopt(listen_fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(opt_.port));
    if (inet_pton(AF_INET, opt_.bind.c_str(), &addr.sin_addr) != 1) {
        *error = "bad address to listen on: " + opt_.bind;
        return -1;
    }
    if (bind(listen_fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) < 0 || listen(listen_fd_, 64) < 0) {
        *error = "cannot listen on " + opt_.bind + ":" + std::to_string(opt_.port) + ": " + strerror(errno);
        return -1;
    }
    socklen_t len = sizeof addr;
    getsockname(listen_fd_, reinterpret_cast<sockaddr*>(&addr), &len);
    port_ = ntohs(addr.sin_port);
    play_thread_ = std::thread([this] { playLoop(); });
    accept_thread_ = std::thread([this] { acceptLoop(); });
    return 0;
}

void SlServer::stop()
{
    {
        std::lock_guard<std::mutex> lock(mu_);
        if (stopping_ && !accept_thread_.joinable() && !play_thread_.joinable())
            return;
        stopping_ = true;
        for (Client& c : clients_)
            shutdown(c.fd, SHUT_RDWR);
    }
    cv_.notify_all();
    if (wake_[1] >= 0)
        (void)!write(wake_[1], "s", 1);
    if (accept_thread_.joinable())
        accept_thread_.join();
    if (play_thread_.joinable())
        play_thread_.join();
    for (Client& c : clients_) {
        if (c.thread.joinable())
            c.thread.join();
        close(c.fd);
    }
    clients_.clear();
    for (int* fd : {&listen_fd_, &wake_[0], &wake_[1]})
        if (*fd >= 0) {
            close(*fd);
            *fd = -1;
        }
}

void SlServer::playLoop()
{
    const double wall0 = now_s();
    double data0 = 1e300;
    if (!pending_.empty())
        data0 = pending_.front().start;
    for (const SlSynthOptions& s : synth_)
        data0 = std::min(data0, s.start);
    for (;;) {
        const double clock = opt_.speed == 0.0 ? 1e300 : data0 + opt_.history + (now_s() - wall0) * opt_.speed;
        while (next_pending_ < pending_.size() && pending_[next_pending_].end <= clock)
            release(std::move(pending_[next_pending_++]));
        generate(clock);
        cv_.notify_all();
        std::unique_lock<std::mutex> lock(mu_);
        if (cv_.wait_for(lock, std::chrono::milliseconds(20), [this] { return stopping_; }))
            return;
    }
}

void SlServer::acceptLoop()
{
    for (;;) {
        pollfd p[2] = {{listen_fd_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
        if (poll(p, 2, 1000) < 0 && errno != EINTR)
            return;
        if (p[1].revents & POLLIN)
            return;
        if (!(p[0].revents & POLLIN))
            continue;
        const int fd = accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            continue;
        std::lock_guard<std::mutex> lock(mu_);
        if (stopping_) {
            close(fd);
            return;
        }
        // forget the connections that have ended
        for (auto it = clients_.begin(); it != clients_.end();) {
            if (it->done) {
                it->thread.join();
                close(it->fd);
                it = clients_.erase(it);
            } else {
                ++it;
            }
        }
        Client& c = clients_.emplace_back();
        c.fd = fd;
        c.thread = std::thread([this, &c] { serve(&c); });
    }
}

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
            return send_text(fd, "SeedLink v3.1 (vxseedlinkd 1.0) :: SLPROTO:3.1 CAP\r\nlibvxplot vxseedlinkd\r\n");
        if (cmd == "BYE")
            return -1;
        if (cmd == "INFO") {
            const std::string level = w.size() > 1 ? upper(w[1]) : "";
            if (level != "ID" && level != "STATIONS" && level != "STREAMS" && level != "CAPABILITIES")
                return send_text(fd, "ERROR\r\n");
            if (opt_.refuse_station_list && level != "ID")
                return send_text(fd, "ERROR\r\n");
            return send_info(fd, infoXml(level));
        }
        if (streaming)
            return 0;  // only INFO and BYE once data flows
        if (cmd == "STATION" && w.size() >= 2) {
            Subscription s;
            s.sta = w[1];
            s.net = w.size() > 2 ? w[2] : "";
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
                        f = std::max(full_seq(s.seq), oldest);
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
            char head[16];
            snprintf(head, sizeof head, "SL%06lX", seq & 0xFFFFFF);
            std::string packet = std::string(head, 8) + std::string(rec.bytes.data(), kRecordBytes);
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
