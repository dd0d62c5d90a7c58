#include "toolkit/seedlink/pktchan.h"

#include "toolkit/base/errors.h"

#include <libmseed.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

namespace {

constexpr int kMaxSamples = 1 << 20;  // far more than any record of 2^16 bytes can hold

void copy_code(char* out, size_t size, const char* in)
{
    snprintf(out, size, "%s", in);
}

} // namespace

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
    MSRecord* msr = nullptr;
    const int rc = msr_parse(const_cast<char*>(packet), nbytes, &msr, -1, 1, 0);
    if (rc != 0 || !msr) {
        msr_free(&msr);
        if (rc > 0)
            hl_register_error(0, "pktDecode: Record is longer than the %d bytes of the packet.\n", nbytes);
        else
            hl_register_error(0, "pktDecode: Not a miniSEED record: %s.\n", rc < 0 ? ms_errorstr(rc) : "no record");
        return -1;
    }
    auto* p = new (std::nothrow) Packet;
    if (!p) {
        msr_free(&msr);
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
        copy_code(c.segtype, sizeof c.segtype, "V");
        pkt_srcname(c.net, c.sta, c.chan, c.loc, c.cuser1, sizeof c.cuser1);
        c.time = static_cast<double>(msr->starttime) / HPTMODULUS;
        c.samprate = msr->samprate;
        c.nsamp = static_cast<int>(n);
        c.duser1 = c.time + static_cast<double>(n - 1) / c.samprate;
        c.iuser1 = msr->sequence_number;
        c.iuser2 = msr->encoding;
        c.datasz = c.nsamp * 4;
        if (type == 'i') {
            p->samples.resize(static_cast<size_t>(n));
            memcpy(p->samples.data(), msr->datasamples, static_cast<size_t>(n) * 4);
            c.data = p->samples.data();
            result = PKT_WAVEFORM;
        } else {
            p->fsamples.resize(static_cast<size_t>(n));
            float* f = p->fsamples.data();
            if (type == 'f')
                memcpy(f, msr->datasamples, static_cast<size_t>(n) * 4);
            else
                for (int64_t i = 0; i < n; i++)
                    f[i] = static_cast<float>(static_cast<const double*>(msr->datasamples)[i]);
            c.isfloat = 1;
            // the record's users read the floats back through a float pointer
            c.data = reinterpret_cast<int*>(f);
            result = PKT_WAVEFORM_FLOAT;
        }
        p->channels.push_back(c);
    }
    msr_free(&msr);
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
