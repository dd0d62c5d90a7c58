// vxmseed2db: index miniSEED files into the wfdisc, sitechan and lastid
// tables of a CSS 3.0 database, so that the library displays them.
#include "scan.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/store/recordstore.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

namespace fs = std::filesystem;

namespace {

void usage(FILE* out)
{
    fputs("Usage: vxmseed2db DATABASE PATH...\n"
          "Indexes the miniSEED files PATH (folders are searched through, as an SDS archive)\n"
          "into the CSS 3.0 database DATABASE: one wfdisc row (datatype sd) per contiguous run\n"
          "of records of a channel, a sitechan row per new station and channel, and the\n"
          "lastid counters.  Rows already present are not written again; a run that has\n"
          "grown since is brought up to date.  sta is the SEED station, chan the SEED channel\n"
          "with _ and the location code added when there is one; dir is relative to the\n"
          "database's folder.  Progress goes to standard error, a summary to standard output.\n"
          "\n"
          "  -h, --help   this text\n"
          "Exit status: 0 done, 1 a PATH or a row could not be read or written, 2 bad arguments.\n",
          out);
}

struct Counts
{
    long records = 0;
    long added = 0, changed = 0, unchanged = 0, sitechan_added = 0;
    long files_bad = 0;
};

// The existing wfdisc rows, keyed by file, offset and channel.
struct Existing
{
    long record;
    long nsamp;
};

std::string row_key(const std::string& file, long foff, const std::string& sta, const std::string& chan)
{
    return file + '\n' + std::to_string(foff) + '\n' + sta + '\n' + chan;
}

std::string full_path(const fs::path& p)
{
    std::error_code ec;
    fs::path c = fs::weakly_canonical(p, ec);
    return ec ? p.lexically_normal().string() : c.string();
}

std::string css_chan(const MseedRun& r)
{
    if (r.loc.empty() || r.loc == "--")
        return r.chan;
    return r.chan + "_" + r.loc;
}

// Orientation of a channel from the last letter of its SEED code.
void orientation(const std::string& chan, double* hang, double* vang)
{
    const char c = chan.empty() ? ' ' : chan.back();
    *hang = -1.0;
    *vang = -1.0;
    if (c == 'Z') {
        *vang = 0.0;
    } else if (c == 'N' || c == '1') {
        *hang = 0.0;
        *vang = 90.0;
    } else if (c == 'E' || c == '2') {
        *hang = 90.0;
        *vang = 90.0;
    }
}

class Indexer
{
public:
    Indexer(Rsptr db, const fs::path& db_folder) : db_(db), folder_(full_path(db_folder)) {}

    int loadExisting()
    {
        Rsptr wf = rslookup(db_, nullptr, "wfdisc", nullptr, nullptr);
        long n = 0;
        if (rsisinvalid(wf) || rsquery(wf, RS_RECORD_COUNT, &n) < 0)
            return -1;
        for (wf.record = 0; wf.record < n; wf.record++) {
            char sta[RS_STRSZ], chan[RS_STRSZ], file[RS_STRSZ];
            long foff = 0, nsamp = 0;
            if (rsgetv(wf, nullptr, "sta", sta, "chan", chan, "foff", &foff, "nsamp", &nsamp, nullptr) < 0)
                return -1;
            if (rsextfile(wf, nullptr, file) < 0) {
                hl_clear_register(0);
                continue;
            }
            wfdisc_[row_key(full_path(file), foff, sta, chan)] = Existing{wf.record, nsamp};
        }
        Rsptr sc = rslookup(db_, nullptr, "sitechan", nullptr, nullptr);
        if (rsisinvalid(sc) || rsquery(sc, RS_RECORD_COUNT, &n) < 0)
            return -1;
        for (sc.record = 0; sc.record < n; sc.record++) {
            char sta[RS_STRSZ], chan[RS_STRSZ];
            long chanid = -1;
            if (rsgetv(sc, nullptr, "sta", sta, "chan", chan, "chanid", &chanid, nullptr) < 0)
                return -1;
            chanid_.emplace(std::string(sta) + '\n' + chan, chanid);
        }
        return 0;
    }

    // Write the runs of one file.  0, or -1 with the reason in the register.
    int write(const fs::path& file, const std::vector<MseedRun>& runs, Counts* counts)
    {
        const std::string full = full_path(file);
        const fs::path p(full);
        const std::string dfile = p.filename().string();
        std::string dir = p.parent_path().lexically_relative(folder_).string();
        if (dir.empty() || dir.size() > 64)
            dir = p.parent_path().string();
        if (dfile.size() > 32 || dir.size() > 64) {
            hl_register_error(0, "vxmseed2db: File name '%s' does not fit the 64 characters of dir and 32 of dfile.\n",
                              full.c_str());
            return -1;
        }
        for (const MseedRun& r : runs) {
            const std::string chan = css_chan(r);
            const std::string key = row_key(full, r.foff, r.sta, chan);
            const double endtime = r.time + static_cast<double>(r.nsamp - 1) / r.samprate;
            auto it = wfdisc_.find(key);
            if (it != wfdisc_.end()) {
                if (it->second.nsamp == r.nsamp) {
                    counts->unchanged++;
                    continue;
                }
                Rsptr wf = rslookup(db_, nullptr, "wfdisc", nullptr, nullptr);
                wf.record = it->second.record;
                if (rsputv(wf, nullptr, "nsamp", r.nsamp, "endtime", endtime, nullptr) < 0)
                    return -1;
                it->second.nsamp = r.nsamp;
                counts->changed++;
                continue;
            }
            const long chanid = channel(r, chan, counts);
            const long wfid = chanid < 0 ? -1 : rsnextid(db_, "wfid");
            if (wfid < 0)
                return -1;
            Rsptr wf = rslookup(db_, nullptr, "wfdisc", nullptr, "rsSCRATCH");
            if (rsload_scratch(rslookup(db_, nullptr, "wfdisc", nullptr, "rsNULL")) < 0 ||
                rsputv(wf, nullptr, "sta", r.sta.c_str(), "chan", chan.c_str(), "time", r.time, "wfid", wfid, "chanid",
                       chanid, "jdate", static_cast<long>(timejdate(r.time)), "endtime", endtime, "nsamp", r.nsamp,
                       "samprate", r.samprate, "calib", 1.0, "datatype", "sd", "dir", dir.c_str(), "dfile",
                       dfile.c_str(), "foff", r.foff, nullptr) < 0)
                return -1;
            const long record = rsaddrecord(wf);
            if (record < 0)
                return -1;
            wfdisc_[key] = Existing{record, r.nsamp};
            counts->added++;
        }
        return 0;
    }

private:
    // The chanid of a station and channel, adding a sitechan row for a new one.
    long channel(const MseedRun& r, const std::string& chan, Counts* counts)
    {
        const std::string key = r.sta + '\n' + chan;
        auto it = chanid_.find(key);
        if (it != chanid_.end())
            return it->second;
        const long chanid = rsnextid(db_, "chanid");
        if (chanid < 0)
            return -1;
        double hang = 0, vang = 0;
        orientation(r.chan, &hang, &vang);
        char descrip[64];
        snprintf(descrip, sizeof descrip, "miniSEED %s.%s.%s.%s", r.net.c_str(), r.sta.c_str(), r.loc.c_str(),
                 r.chan.c_str());
        Rsptr sc = rslookup(db_, nullptr, "sitechan", nullptr, "rsSCRATCH");
        if (rsload_scratch(rslookup(db_, nullptr, "sitechan", nullptr, "rsNULL")) < 0 ||
            rsputv(sc, nullptr, "sta", r.sta.c_str(), "chan", chan.c_str(), "ondate",
                   static_cast<long>(timejdate(r.time)), "chanid", chanid, "ctype", "n", "edepth", 0.0, "hang", hang,
                   "vang", vang, "descrip", descrip, nullptr) < 0 ||
            rsaddrecord(sc) < 0)
            return -1;
        chanid_.emplace(key, chanid);
        counts->sitechan_added++;
        return chanid;
    }

    Rsptr db_;
    std::string folder_;
    std::map<std::string, Existing> wfdisc_;
    std::map<std::string, long> chanid_;
};

}  // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> args;
    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "-h") == 0 || strcmp(argv[i], "--help") == 0) {
            usage(stdout);
            return 0;
        }
        if (argv[i][0] == '-' && argv[i][1] != '\0') {
            fprintf(stderr, "vxmseed2db: Unknown option '%s'.\n", argv[i]);
            usage(stderr);
            return 2;
        }
        args.emplace_back(argv[i]);
    }
    if (args.size() < 2) {
        usage(stderr);
        return 2;
    }
    const fs::path database(args[0]);
    int status = 0;

    // the files, folders searched through, in name order
    std::vector<fs::path> files;
    for (size_t i = 1; i < args.size(); i++) {
        std::error_code ec;
        const fs::path p(args[i]);
        if (fs::is_directory(p, ec)) {
            std::vector<fs::path> found;
            for (fs::recursive_directory_iterator it(p, fs::directory_options::skip_permission_denied, ec), end;
                 !ec && it != end; it.increment(ec))
                if (it->is_regular_file(ec))
                    found.push_back(it->path());
            std::sort(found.begin(), found.end());
            files.insert(files.end(), found.begin(), found.end());
        } else if (fs::is_regular_file(p, ec)) {
            files.push_back(p);
        } else {
            fprintf(stderr, "vxmseed2db: No file or folder '%s'.\n", args[i].c_str());
            status = 1;
        }
    }

    const fs::path folder = database.parent_path().empty() ? fs::path(".") : database.parent_path();
    Rsptr db = rsopen(database.c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
    if (rsisinvalid(db)) {
        fprintf(stderr, "vxmseed2db: Cannot open database '%s':\n%s", database.c_str(), hl_errlog_string(0));
        return 1;
    }
    Indexer indexer(db, folder);
    if (indexer.loadExisting() < 0) {
        fprintf(stderr, "vxmseed2db: Cannot read the tables of '%s':\n%s", database.c_str(), hl_errlog_string(0));
        rsclose(db);
        return 1;
    }

    Counts counts;
    auto last_report = std::chrono::steady_clock::now();
    for (size_t i = 0; i < files.size(); i++) {
        std::vector<MseedRun> runs;
        MseedScan scan;
        std::string error;
        const std::string name = files[i].string();
        if (mseed_scan_file(name, &runs, &scan, &error) < 0) {
            fprintf(stderr, "vxmseed2db: Skipped '%s': %s.\n", name.c_str(), error.c_str());
            counts.files_bad++;
            continue;
        }
        if (scan.skipped_bytes > 0)
            fprintf(stderr, "vxmseed2db: '%s': %ld bytes without a readable record, the first at byte %zu.\n",
                    name.c_str(), scan.skipped_bytes, scan.first_fault);
        counts.records += scan.records;
        std::sort(runs.begin(), runs.end(), [](const MseedRun& a, const MseedRun& b) {
            return std::tie(a.sta, a.chan, a.loc, a.time) < std::tie(b.sta, b.chan, b.loc, b.time);
        });
        if (indexer.write(files[i], runs, &counts) < 0) {
            fprintf(stderr, "vxmseed2db: Cannot write the rows of '%s':\n%s", name.c_str(), hl_errlog_string(0));
            hl_clear_register(0);
            status = 1;
        }
        const auto now = std::chrono::steady_clock::now();
        if (now - last_report >= std::chrono::seconds(2)) {
            fprintf(stderr, "vxmseed2db: %zu of %zu files, %ld records, %ld rows added\n", i + 1, files.size(),
                    counts.records, counts.added);
            last_report = now;
        }
    }
    rsclose(db);
    printf("vxmseed2db: %zu files (%ld skipped), %ld records: wfdisc %ld rows added, %ld updated, %ld present; "
           "sitechan %ld rows added\n",
           files.size(), counts.files_bad, counts.records, counts.added, counts.changed, counts.unchanged,
           counts.sitechan_added);
    return status;
}
