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

