// Waveform packets: one miniSEED record decoded into channels.
//
// pktDecode() turns the raw bytes of a packet as the real-time reader hands
// them out (tidereap.h) into a Packet holding a table of PktChan, one per
// channel of the record (a miniSEED record always holds one).  Samples are
// 32-bit integers, or floats when isfloat is set (64-bit floats are narrowed
// to float).  Times are epoch seconds.  pktFree() releases the packet.
#pragma once

#include "vxplot_export.h"

#include <vector>

// One channel of a packet.  data points to nsamp samples of datasz bytes
// in all, ints or (isfloat) floats; it is owned by the Packet.
struct PktChan
{
    int* data = nullptr;
    int isfloat = 0;
    char* puser1 = nullptr;
    double time = 0.0;       // first sample, epoch seconds
    double samprate = 0.0;   // samples per second
    double calib = 1.0;      // not carried by miniSEED: 1.0
    double calper = -1.0;    // not carried by miniSEED: -1.0
    double duser1 = 0.0;     // the time of the record's last sample
    double duser2 = 0.0;
    int nsamp = 0;
    int datasz = 0;          // bytes at data
    int iuser1 = 0;          // the record's sequence number from its header
    int iuser2 = 0;          // the record's data encoding
    int iuser3 = 0;
    char net[32] = {};
    char sta[32] = {};
    char chan[32] = {};
    char loc[32] = {};       // empty when the record has none
    char segtype[16] = {};   // units code: "V" for seismometers (?H?, ?L?), "A" for ?N? and ?G?, else "-"
    char cuser1[64] = {};    // the source name, "NET_STA_CHAN" or "NET_STA_CHAN_LOC"
    char cuser2[64] = {};
    void* hook = nullptr;
};

// A decoded packet.
struct Packet
{
    Packet() = default;
    Packet(const Packet&) = delete;
    Packet& operator=(const Packet&) = delete;
    ~Packet();

    char srcname[64] = {};
    double pkttime = 0.0;           // as given to pktDecode
    std::vector<PktChan> channels;  // in record order
    void* samples = nullptr;        // malloc'ed storage behind the channels' data
};

// Results of pktDecode().
enum {
    PKT_NOT_WAVEFORM = 0,  // a valid record without samples (log, info): no channels
    PKT_WAVEFORM = 1,      // integer samples
    PKT_WAVEFORM_FLOAT = 11,  // float samples
};

// Decode nbytes of packet (a whole miniSEED record, at most nbytes long)
// into *pkt, which the caller frees with pktFree.  srcname and pkttime are
// kept in the packet.  Returns PKT_WAVEFORM, PKT_WAVEFORM_FLOAT or
// PKT_NOT_WAVEFORM; negative with a registered error when the bytes are not
// a record, and *pkt is then null.
VXPLOT_EXPORT int pktDecode(const char* srcname, double pkttime, const char* packet, int nbytes, Packet** pkt);

// Free a packet from pktDecode and set *pkt to null; null is ignored.
VXPLOT_EXPORT void pktFree(Packet** pkt);

// "NET_STA_CHAN", with "_LOC" appended unless loc is empty or "-".  Writes
// at most size bytes, always terminated.
VXPLOT_EXPORT void pkt_srcname(const char* net, const char* sta, const char* chan, const char* loc, char* out,
                               int size);
