// The event tables: event, origin, origerr, netmag, stamag, arrival, assoc.
#include "generator.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"

#include <cmath>

namespace {

const char* origin_auth(const VxgenOrigin& o)
{
    return o.automatic ? "vxgen:auto" : "vxgen:review";
}

int write_origin(const VxgenData& data, const VxgenEvent& ev, const VxgenOrigin& o, Rsptr db)
{
    long ndef = 0;
    for (const VxgenAssoc& a : o.assocs)
        ndef += a.timedef[0] == 'd';
    Rsptr r = vxgen_scratch(db, "origin");
    if (rsisinvalid(r) ||
        rsputv(r, nullptr, "lat", o.lat, "lon", o.lon, "depth", o.depth_km, "time", o.time, "orid", o.orid, "evid",
               ev.evid, "jdate", static_cast<long>(timejdate(o.time)), "nass", static_cast<long>(o.assocs.size()),
               "ndef", ndef, "ndp", 0L, "etype", "eq", "dtype", o.dtype, "ml", o.ml, "mlid", o.mlid, "algorithm",
               o.automatic ? "vxgen-auto" : "vxgen-layered", "auth", origin_auth(o), nullptr) < 0 ||
        vxgen_add(r, data.lddate) < 0)
        return -1;

    // the covariances of the 90 per cent ellipse: x east, y north, km and s
    const double k2 = 2.146 * 2.146, kz = 1.645 * 1.645;
    const double a2 = o.smajax * o.smajax / k2, b2 = o.sminax * o.sminax / k2;
    const double st = std::sin(o.strike * M_PI / 180.0), ct = std::cos(o.strike * M_PI / 180.0);
    const double sxx = a2 * st * st + b2 * ct * ct, syy = a2 * ct * ct + b2 * st * st, sxy = (a2 - b2) * st * ct;
    Rsptr e = vxgen_scratch(db, "origerr");
    if (rsisinvalid(e) ||
        rsputv(e, nullptr, "orid", o.orid, "sxx", sxx, "syy", syy, "szz", o.sdepth * o.sdepth / kz, "stt",
               o.stime * o.stime / kz, "sxy", sxy, "sxz", 0.0, "syz", 0.0, "stx", 0.0, "sty", 0.0, "stz", 0.0,
               "sdobs", o.sdobs, "smajax", o.smajax, "sminax", o.sminax, "strike", o.strike, "sdepth", o.sdepth,
               "stime", o.stime, "conf", 0.9, nullptr) < 0 ||
        vxgen_add(e, data.lddate) < 0)
        return -1;

    for (const VxgenAssoc& a : o.assocs) {
        const VxgenPick& pk = ev.picks[static_cast<size_t>(a.pick)];
        const char phase[2] = {pk.phase, 0};
        Rsptr s = vxgen_scratch(db, "assoc");
        if (rsisinvalid(s) ||
            rsputv(s, nullptr, "arid", pk.arid, "orid", o.orid, "sta", data.stations[static_cast<size_t>(pk.station)].sta,
                   "phase", phase, "belief", 1.0, "delta", a.delta_deg, "seaz", a.seaz, "esaz", a.esaz, "timeres",
                   a.timeres, "timedef", a.timedef, "azres", a.azres, "azdef", "n", "slores", a.slores, "slodef", "n",
                   "emares", a.emares, "wgt", a.wgt, "vmodel", "hk1977", nullptr) < 0 ||
            vxgen_add(s, data.lddate) < 0)
            return -1;
    }

    if (o.mlid < 0)
        return 0;
    Rsptr n = vxgen_scratch(db, "netmag");
    if (rsisinvalid(n) ||
        rsputv(n, nullptr, "magid", o.mlid, "net", "CI", "orid", o.orid, "evid", ev.evid, "magtype", "ml", "nsta",
               static_cast<long>(o.stamags.size()), "magnitude", o.ml, "uncertainty", o.ml_uncertainty, "auth",
               origin_auth(o), nullptr) < 0 ||
        vxgen_add(n, data.lddate) < 0)
        return -1;
    for (const VxgenStamag& m : o.stamags) {
        const VxgenPick& pk = ev.picks[static_cast<size_t>(m.pick)];
        Rsptr s = vxgen_scratch(db, "stamag");
        if (rsisinvalid(s) ||
            rsputv(s, nullptr, "magid", o.mlid, "sta", data.stations[static_cast<size_t>(pk.station)].sta, "arid",
                   pk.arid, "orid", o.orid, "evid", ev.evid, "phase", "S", "magtype", "ml", "magnitude", m.magnitude,
                   "uncertainty", 0.3, "auth", origin_auth(o), nullptr) < 0 ||
            vxgen_add(s, data.lddate) < 0)
            return -1;
    }
    return 0;
}

int write_arrival(const VxgenData& data, const VxgenPick& pk, Rsptr db)
{
    const VxgenStation& st = data.stations[static_cast<size_t>(pk.station)];
    const char phase[2] = {pk.phase, 0};
    Rsptr r = vxgen_scratch(db, "arrival");
    if (rsisinvalid(r) ||
        rsputv(r, nullptr, "sta", st.sta, "time", pk.time, "arid", pk.arid, "jdate",
               static_cast<long>(timejdate(pk.time)), "chanid", st.chanid[pk.channel], "chan",
               kVxgenChannels[pk.channel], "iphase", phase, "stype", "l", "deltim", pk.deltim, "azimuth", pk.azimuth,
               "delaz", pk.delaz, "slow", pk.slow_s_deg, "delslo", pk.delslo, "ema", pk.ema, "rect", pk.rect, "amp",
               pk.amp_nm, "per", pk.per_s, "logat", std::log10(pk.amp_nm / pk.per_s), "clip", "n", "fm", pk.fm, "snr",
               pk.snr, "qual", pk.qual, "auth", "vxgen:review", nullptr) < 0 ||
        vxgen_add(r, data.lddate) < 0) {
        hl_register_error(0, "write_arrival: Cannot write arrival %ld.\n", pk.arid);
        return -1;
    }
    return 0;
}

} // namespace

int vxgen_write_events(const VxgenData& data, Rsptr db)
{
    for (const VxgenEvent& ev : data.events) {
        for (const VxgenPick& pk : ev.picks)
            if (write_arrival(data, pk, db) < 0)
                return -1;
        for (const VxgenOrigin& o : ev.origins) {
            if (write_origin(data, ev, o, db) < 0) {
                hl_register_error(0, "vxgen_write_events: Cannot write origin %ld.\n", o.orid);
                return -1;
            }
        }
        Rsptr e = vxgen_scratch(db, "event");
        if (rsisinvalid(e) ||
            rsputv(e, nullptr, "evid", ev.evid, "prefor", ev.origins.back().orid, "auth", "vxgen:review", nullptr) < 0 ||
            vxgen_add(e, data.lddate) < 0) {
            hl_register_error(0, "vxgen_write_events: Cannot write event %ld.\n", ev.evid);
            return -1;
        }
    }
    return 0;
}
