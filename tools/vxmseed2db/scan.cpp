#include "scan.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/filemap.h"

#include <libmseed.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace {

struct Open
{
    MseedRun run;
    double next_time = 0.0;  // time the next record must begin at to continue the run
};

struct RecordHolder
{
    MSRecord* msr = nullptr;
    ~RecordHolder() { msr_free(&msr); }
};

struct MapHolder
{
    Filemap* map = nullptr;
    ~MapHolder() { filemap_close(map); }
};

}  // namespace

int mseed_scan_file(const std::string& path, std::vector<MseedRun>* runs, MseedScan* scan, std::string* error)
{
    MapHolder mh;
    const void* data = nullptr;
    size_t size = 0;
    mh.map = filemap_open(path.c_str(), 0, &data, &size);
    if (!mh.map) {
        *error = hl_errlog_string(0);
        hl_clear_register(0);
        return -1;
    }
    const char* bytes = static_cast<const char*>(data);
    RecordHolder holder;
    std::map<std::string, Open> open;
    auto close_all = [&]() {
        for (auto& [key, o] : open)
            runs->push_back(o.run);
        open.clear();
    };
    size_t offset = 0;
    bool in_fault = false;
    while (offset + MINRECLEN <= size) {
        const int avail = static_cast<int>(std::min<size_t>(size - offset, MAXRECLEN));
        const int rc = msr_parse(const_cast<char*>(bytes + offset), avail, &holder.msr, -1, 0, 0);
        MSRecord* msr = holder.msr;
        if (rc != 0 || !msr || msr->reclen < MINRECLEN || msr->reclen > avail) {
            if (!in_fault) {
                if (scan->skipped_bytes == 0)
                    scan->first_fault = offset;
                close_all();
                in_fault = true;
            }
            scan->skipped_bytes += MINRECLEN;
            offset += MINRECLEN;
            continue;
        }
        in_fault = false;
        scan->records++;
        const size_t reclen = static_cast<size_t>(msr->reclen);
        const double rate = msr->samprate;
        if (msr->samplecnt > 0 && rate > 0.0 && msr->sampletype != 'a' && msr->encoding != DE_ASCII) {
            const double start = static_cast<double>(msr->starttime) / HPTMODULUS;
            const std::string key = std::string(msr->network) + "_" + msr->station + "_" + msr->location + "_" +
                                    msr->channel;
            auto it = open.find(key);
            if (it != open.end()) {
                Open& o = it->second;
                const bool same_rate = std::fabs(rate - o.run.samprate) <= 1e-4 * o.run.samprate;
                if (same_rate && std::fabs(start - o.next_time) <= 0.5 / rate) {
                    o.run.nsamp += static_cast<long>(msr->samplecnt);
                    o.next_time = o.run.time + static_cast<double>(o.run.nsamp) / o.run.samprate;
                    offset += reclen;
                    continue;
                }
                runs->push_back(o.run);
                open.erase(it);
            }
            Open o;
            o.run.net = msr->network;
            o.run.sta = msr->station;
            o.run.loc = msr->location;
            o.run.chan = msr->channel;
            o.run.time = start;
            o.run.samprate = rate;
            o.run.nsamp = static_cast<long>(msr->samplecnt);
            o.run.foff = static_cast<long>(offset);
            o.next_time = start + static_cast<double>(o.run.nsamp) / rate;
            open.emplace(key, o);
        }
        offset += reclen;
    }
    close_all();
    if (scan->records == 0) {
        *error = "no miniSEED record";
        return -1;
    }
    return 0;
}
