// Runs of miniSEED records: the contiguous stretches of each channel in a
// file, as vxmseed2db writes them into wfdisc rows.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// One contiguous run of one channel in one file.
struct MseedRun
{
    std::string net, sta, loc, chan;  // SEED names of the channel
    double time = 0.0;                // epoch seconds of the first sample
    double samprate = 0.0;            // samples per second
    long nsamp = 0;                   // samples in the run
    long foff = 0;                    // byte offset of the run's first record
};

// What a scan found besides the runs.
struct MseedScan
{
    long records = 0;          // records read
    long skipped_bytes = 0;    // bytes stepped over because no record could be read there
    size_t first_fault = 0;    // offset of the first such place
};

// Scan the file path: every record's header, in file order.  A record
// continues its channel's run when its sample rate is the run's and its
// first sample falls within half an interval of the time after the run's
// last; else it begins a new run (a gap or an overlap).  Where no record
// can be read the scan steps on 128 bytes at a time until one can, and the
// runs open there are closed, so that no run crosses a damaged place.
// Runs are appended in the order they end.  Returns 0, or -1 when the
// file cannot be mapped or holds no record at all (message in *error).
int mseed_scan_file(const std::string& path, std::vector<MseedRun>* runs, MseedScan* scan, std::string* error);
