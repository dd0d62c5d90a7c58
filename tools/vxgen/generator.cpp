#include "generator.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The tables vxgen writes; their old files are removed first.
const char* const kTables[] = {"site",   "sitechan", "affiliation", "event",   "origin", "origerr",
                               "netmag", "stamag",   "arrival",     "assoc",   "lastid", "wfdisc"};

int write_lastid(const VxgenData& data, Rsptr db)
{
    const struct
    {
        const char* name;
        long value;
    } ids[] = {
        {"arid", data.last_arid}, {"chanid", data.last_chanid}, {"evid", data.last_evid},
        {"magid", data.last_magid}, {"orid", data.last_orid},     {"wfid", data.last_wfid},
    };
    for (const auto& id : ids) {
        Rsptr r = vxgen_scratch(db, "lastid");
        if (rsisinvalid(r) || rsputv(r, nullptr, "keyname", id.name, "keyvalue", id.value, "lddate",
                                     data.lddate.c_str(), nullptr) < 0 ||
            rsputrecord(r) < 0) {
            hl_register_error(0, "write_lastid: Cannot write the counter %s.\n", id.name);
            return -1;
        }
    }
    return 0;
}

int make_wf_folder(const std::string& outbase)
{
    const size_t slash = outbase.find_last_of('/');
    const std::string dir = (slash == std::string::npos ? std::string(".") : outbase.substr(0, slash)) + "/wf";
    if (mkdir(dir.c_str(), 0777) < 0 && errno != EEXIST) {
        hl_register_error(0, "make_wf_folder: Cannot make %s: %s.\n", dir.c_str(), strerror(errno));
        return -1;
    }
    return 0;
}

} // namespace

Rsptr vxgen_scratch(Rsptr db, const char* table)
{
    Rsptr t = rslookup(db, nullptr, table, nullptr, "rsNULL");
    if (rsisinvalid(t) || rsload_scratch(t) < 0) {
        hl_register_error(0, "vxgen_scratch: No scratch row of %s.\n", table);
        return rsinvalid();
    }
    t.field = RS_ALL;
    t.record = RS_SCRATCH;
    return t;
}

int vxgen_add(Rsptr scratch, const std::string& lddate)
{
    if (rsputv(scratch, nullptr, "lddate", lddate.c_str(), nullptr) < 0 || rsaddrecord(scratch) < 0) {
        hl_register_error(0, "vxgen_add: Cannot add the record.\n");
        return -1;
    }
    return 0;
}

int vxgen_write(const VxgenOptions& opt)
{
    VxgenData data;
    data.opt = opt;
    char* lddate = timeformat(opt.start + opt.hours * 3600.0, "%Y-%m-%dT%H%M%S");
    data.lddate = lddate ? lddate : "-";
    free(lddate);

    if (make_wf_folder(opt.outbase) < 0) {
        hl_register_error(0, "vxgen_write: No folder for the waveforms of %s.\n", opt.outbase.c_str());
        return -1;
    }
    for (const char* table : kTables) {
        const std::string path = opt.outbase + "." + table;
        if (unlink(path.c_str()) < 0 && errno != ENOENT) {
            hl_register_error(0, "vxgen_write: Cannot remove %s: %s.\n", path.c_str(), strerror(errno));
            return -1;
        }
    }
    Rsptr db = rsopen(opt.outbase.c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
    if (rsisinvalid(db)) {
        hl_register_error(0, "vxgen_write: Cannot open the database %s.\n", opt.outbase.c_str());
        return -1;
    }
    int rc = 0;
    if (vxgen_make_network(data) < 0 || vxgen_write_network(data, db) < 0 || vxgen_make_events(data) < 0 ||
        vxgen_write_events(data, db) < 0 || vxgen_write_waveforms(data, db) < 0 || write_lastid(data, db) < 0) {
        hl_register_error(0, "vxgen_write: Cannot write the database %s.\n", opt.outbase.c_str());
        rc = -1;
    }
    rsclose(db);
    // a table without records still gets its (empty) file
    for (size_t i = 0; rc == 0 && i < sizeof kTables / sizeof kTables[0]; i++) {
        const std::string path = opt.outbase + "." + kTables[i];
        const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
        if (fd < 0) {
            hl_register_error(0, "vxgen_write: Cannot make %s: %s.\n", path.c_str(), strerror(errno));
            rc = -1;
        } else {
            close(fd);
        }
    }
    return rc;
}
