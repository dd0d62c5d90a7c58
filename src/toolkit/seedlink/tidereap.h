// The real-time packet reader: a SeedLink client on its own thread.
//
// tidereapthr_new2() starts a thread that connects to a SeedLink server
// ("host:port"), asks it for its stations and their streams (INFO STREAMS,
// else INFO STATIONS), subscribes to every station with a stream that the
// expressions take or whose streams are not listed (STATION and DATA per
// station; a server without a station list is read in its single-station
// mode), and queues the data packets whose source name
// "NET_STA_CHAN" or "NET_STA_CHAN_LOC" the accept expression matches and
// the reject expression does not.  The consumer
// takes them with tidereapthr_get() and decodes them with pktDecode().
//
// Protocol version 3 by default.  When the greeting offers version 4
// ("SLPROTO:4.0" among its capabilities) and the server lists its
// stations, the reader asks for the list first, then switches with
// "SLPROTO 4.0" and subscribes with version 4's commands ("STATION
// NET_STA", "DATA" with a decimal sequence number or an ISO time); its
// packets carry "SE" headers with 64-bit sequence numbers.  Only 512-byte
// miniSEED 2 data records are taken; other packets are skipped (records of
// another length with a message).
//
// A dropped connection is retried after 0.5 s, doubling up to 30 s; the
// reader then asks each station for the packet after the last one it got,
// so nothing is lost or repeated.  Packets whose sequence number goes back
// are dropped as repeats unless they begin after what the channel already
// delivered (a restarted server).  What goes wrong is logged through the
// error log (toolkit/base/errors.h); the reader never gives up until it is
// stopped.
#pragma once

#include "vxplot_export.h"

struct TidereapThr;

// Results of tidereapthr_get().
enum {
    TIDEREAP_NONE = 0,     // nothing arrived within the wait
    TIDEREAP_PACKET = 1,   // a packet was handed out
    TIDEREAP_STOPPED = 3,  // the reader was stopped
};

// Size the srcname buffer of tidereapthr_get() must have.
constexpr int TIDEREAP_SRCNAME_SIZE = 64;

// Queue bounds, in packets: a queue_depth below the minimum is raised to
// it so that the first burst of a large network fits (4096 packets are
// about 2 MB); above the maximum it is cut.  When the queue is full the
// oldest packet is dropped and that is logged.
constexpr int TIDEREAP_QUEUE_MIN = 4096;
constexpr int TIDEREAP_QUEUE_MAX = 65536;

// Start a reader on tidename, "host:port" ("host" alone: port 18000).
// accept and reject are POSIX extended regular expressions matched against
// the whole source name; null or empty accept takes all, null or empty
// reject refuses none.  after: an epoch time to start from (the server's
// TIME), or negative for the live stream.  timeout: the longest wait of
// tidereapthr_get in seconds; negative means 0.5 s, so that a consumer
// loop can look at its own flags.  Null with a registered error when the
// ring name or an expression is bad or the thread cannot start.
VXPLOT_EXPORT TidereapThr* tidereapthr_new2(const char* tidename, const char* accept, const char* reject,
                                            int queue_depth, double after, double timeout);

// Hand out the next packet: its sequence number (the low 31 bits of a
// version 4 one), source name (at least
// TIDEREAP_SRCNAME_SIZE bytes at srcname), the time of its first sample
// and its bytes in *packet, a malloc'ed buffer of *bufsize bytes that is
// grown as needed (start with null and 0; the caller frees it).  Returns
// TIDEREAP_PACKET, TIDEREAP_NONE after the wait, TIDEREAP_STOPPED once the
// reader is stopped; negative with a registered error on a null handle or
// a failed allocation.
VXPLOT_EXPORT int tidereapthr_get(TidereapThr* reap, int* pktid, char* srcname, double* pkttime, char** packet,
                                  int* nbytes, int* bufsize);

// Restart from an epoch time: the queue is emptied, the sequence numbers
// forgotten and the reader reconnects at once asking for data from that
// time on.  0, or negative with a registered error.
VXPLOT_EXPORT int tidereapthr_after(TidereapThr* reap, double time);

// Stop the reader and join its thread, also when it is blocked in connect
// or recv.  tidereapthr_get returns TIDEREAP_STOPPED from then on.  May be
// called from any thread but the reader's own, more than once.
VXPLOT_EXPORT void tidereapthr_stop(TidereapThr* reap);

// Stop the reader and free it; *reap becomes null.  Null is ignored.  Not
// from a thread that may still be inside tidereapthr_get.
VXPLOT_EXPORT void tidereapthr_free(TidereapThr** reap);

// Counters of a reader, for logs and tests.
struct TidereapStats
{
    long packets = 0;            // queued for the consumer
    long dropped_full = 0;       // oldest dropped from a full queue
    long dropped_repeat = 0;     // sequence number went back, data already delivered
    long dropped_rejected = 0;   // by the accept and reject expressions
    long dropped_time = 0;       // far in the future or before 1970
    long connects = 0;           // sessions that reached the data stream
    long failures = 0;           // connections refused, lost or broken
    int protocol = 0;            // SeedLink version of the last session: 3, or 4 where the server offers it
};

// The counters so far.  0, or negative on a null handle.
VXPLOT_EXPORT int tidereapthr_stats(TidereapThr* reap, TidereapStats* stats);
