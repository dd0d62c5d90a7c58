#include "toolkit/seedlink/pktchan.h"

#include "toolkit/base/errors.h"
#include "toolkit/waveio/wfmseed_p.h"

#include <libmseed.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr int kMaxSamples = 1 << 20;  // far more than any record of 2^16 bytes can hold

// libmseed's record of this thread, reused from packet to packet.
struct ParseSpace
{
    MSRecord* msr = nullptr;
    ~ParseSpace() { msr_free(&msr); }
};

void copy_code(char* out, size_t size, const char* in)
{
    snprintf(out, size, "%s", in);
}

} // namespace

Packet::~Packet()
{
    free(samples);
}

void pkt_srcname(const char* net, const char* sta, const char* chan, const char* loc, char* out, int size)
{
    if (size <= 0)
        return;
    if (loc[0] == '\0' || strcmp(loc, "-") == 0)
        snprintf(out, static_cast<size_t>(size), "%s_%s_%s", net, sta, chan);
    else
        snprintf(out, static_cast<size_t>(size), "%s_%s_%s_%s", net, sta, chan, loc);
}

int pktDecode(const char* srcname, double pkttime, const char* packet, int nbytes, Packet** pkt)
{
    *pkt = nullptr;
    if (!packet || nbytes < MINRECLEN) {
        hl_register_error(0, "pktDecode: Packet of %d bytes is too short for a record.\n", nbytes);
        return -1;
    }
    // libmseed unpacks in place (byte swapping) only into its own buffers;
    // the record itself is read, never written
    thread_local ParseSpace space;
    // the header first: the samples are unpacked only once the record is
    // known to hold what it claims
    const int rc = msr_parse(const_cast<char*>(packet), nbytes, &space.msr, -1, 0, 0);
    MSRecord* msr = space.msr;
    if (rc != 0 || !msr) {
        if (rc > 0)
            hl_register_error(0, "pktDecode: Record is longer than the %d bytes of the packet.\n", nbytes);
        else
            hl_register_error(0, "pktDecode: Not a miniSEED record: %s.\n", rc < 0 ? ms_errorstr(rc) : "no record");
        return -1;
    }
    if (msr->reclen > nbytes || !wfmseed_samples_fit(msr)) {
        hl_register_error(0, "pktDecode: Record claims %lld samples that do not fit in its %d bytes.\n",
                          static_cast<long long>(msr->samplecnt), msr->reclen);
        return -1;
    }
    if (msr->samplecnt > 0) {
        const int swap = (msr->byteorder == 1) != (ms_bigendianhost() != 0) ? 1 : 0;
        const int64_t unpacked = msr_unpack_data(msr, swap, 0);
        if (unpacked < 0 || unpacked > msr->samplecnt) {
            hl_register_error(0, "pktDecode: Cannot decode the samples of the record.\n");
            return -1;
        }
        msr->numsamples = unpacked;
    }
    auto* p = new (std::nothrow) Packet;
    if (!p) {
        hl_register_error(1, "pktDecode: Out of memory.\n");
        return -1;
    }
    copy_code(p->srcname, sizeof p->srcname, srcname ? srcname : "");
    p->pkttime = pkttime;
    int result = PKT_NOT_WAVEFORM;
    const int64_t n = msr->numsamples;
    const char type = msr->sampletype;
    if (n > 0 && n <= kMaxSamples && msr->samprate > 0.0 && std::isfinite(msr->samprate) &&
        (type == 'i' || type == 'f' || type == 'd')) {
        PktChan c;
        copy_code(c.net, sizeof c.net, msr->network);
        copy_code(c.sta, sizeof c.sta, msr->station);
        copy_code(c.chan, sizeof c.chan, msr->channel);
        copy_code(c.loc, sizeof c.loc, msr->location);
        // miniSEED has no units: the channel code's instrument letter says
        // velocity (seismometers) or acceleration (accelerometers, gravimeters)
        const char instrument = c.chan[0] && c.chan[1] ? c.chan[1] : ' ';
        copy_code(c.segtype, sizeof c.segtype,
                  instrument == 'H' || instrument == 'L' ? "V" : instrument == 'N' || instrument == 'G' ? "A" : "-");
        pkt_srcname(c.net, c.sta, c.chan, c.loc, c.cuser1, sizeof c.cuser1);
        c.time = static_cast<double>(msr->starttime) / HPTMODULUS;
        c.samprate = msr->samprate;
        c.nsamp = static_cast<int>(n);
        c.duser1 = c.time + static_cast<double>(n - 1) / c.samprate;
        c.iuser1 = msr->sequence_number;
        c.iuser2 = msr->encoding;
        c.datasz = c.nsamp * 4;
        // the packet takes over libmseed's sample buffer: no copy
        if (type == 'd') {
            // narrowed in place: float i lies at or before double i
            auto* bytes = static_cast<unsigned char*>(msr->datasamples);
            for (int64_t i = 0; i < n; i++) {
                double d;
                memcpy(&d, bytes + 8 * i, sizeof d);
                const float f = static_cast<float>(d);
                memcpy(bytes + 4 * i, &f, sizeof f);
            }
        }
        p->samples = msr->datasamples;
        msr->datasamples = nullptr;
        msr->numsamples = 0;
        c.data = static_cast<int*>(p->samples);
        c.isfloat = type != 'i';
        result = type == 'i' ? PKT_WAVEFORM : PKT_WAVEFORM_FLOAT;
        p->channels.push_back(c);
    }
    *pkt = p;
    return result;
}

void pktFree(Packet** pkt)
{
    if (!pkt)
        return;
    delete *pkt;
    *pkt = nullptr;
}
