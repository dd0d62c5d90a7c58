// The network: broadband stations of southern California, around the San
// Andreas fault system, each with a vertical and two horizontal channels.
#include "generator.h"
#include "rng.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"

#include <cstdio>

namespace {

struct StationDef
{
    const char* sta;
    const char* staname;
    double lat, lon, elev_km;
};

// The first twelve spread over the whole region; the rest fill it in.
const StationDef kStations[] = {
    {"PAS", "Pasadena, California", 34.1484, -118.1711, 0.295},
    {"PFO", "Pinon Flat Observatory, California", 33.6117, -116.4594, 1.280},
    {"BAR", "Barrett Dam, California", 32.6800, -116.6722, 0.496},
    {"GSC", "Goldstone, California", 35.3018, -116.8057, 1.035},
    {"ISA", "Isabella, California", 35.6628, -118.4739, 0.873},
    {"SBC", "Santa Barbara, California", 34.4408, -119.7149, 0.061},
    {"NEE2", "Needles, California", 34.7671, -114.6188, 0.139},
    {"CWC", "Cottonwood Creek, California", 36.4394, -118.0802, 1.554},
    {"RPV", "Rancho Palos Verdes, California", 33.7435, -118.4040, 0.066},
    {"HEC", "Hector, California", 34.8294, -116.3350, 0.934},
    {"SDD", "Saddleback, California", 33.5526, -117.6617, 0.120},
    {"VTV", "Victorville, California", 34.5668, -117.3330, 0.830},
    {"SLA", "Slate Range, California", 35.8909, -117.2833, 1.174},
    {"MWC", "Mount Wilson, California", 34.2236, -118.0583, 1.706},
    {"DGR", "Domenigoni Reservoir, California", 33.6500, -117.0095, 0.700},
    {"OSI", "Osito Audit, California", 34.6145, -118.7235, 0.700},
    {"CIA", "Catalina Island, California", 33.4020, -118.4152, 0.477},
    {"CLC", "China Lake, California", 35.8157, -117.5975, 0.775},
    {"MPM", "Manly Peak, California", 36.0580, -117.4890, 1.839},
    {"BBR", "Big Bear, California", 34.2623, -116.9210, 2.083},
};

constexpr double kCalibs[] = {0.0625, 0.1, 0.125, 0.25};

} // namespace

int vxgen_station_count()
{
    return static_cast<int>(sizeof kStations / sizeof kStations[0]);
}

int vxgen_make_network(VxgenData& data)
{
    VxgenRandom rnd(VxgenRandom::mix(data.opt.seed, 1));
    data.stations.clear();
    for (int i = 0; i < data.opt.stations && i < vxgen_station_count(); i++) {
        const StationDef& d = kStations[i];
        VxgenStation s{};
        s.sta = d.sta;
        s.staname = d.staname;
        s.lat = d.lat;
        s.lon = d.lon;
        s.elev_km = d.elev_km;
        // coastal and island sites are noisier than the desert
        const bool coastal = d.lon < -118.3 && d.lat < 34.6;
        s.noise_nm = (coastal ? 3.0 : 1.2) * rnd.uniform(0.8, 1.25);
        s.calib = kCalibs[rnd.next() % 4];
        for (long& id : s.chanid)
            id = ++data.last_chanid;
        data.stations.push_back(s);
    }
    return 0;
}

int vxgen_write_network(const VxgenData& data, Rsptr db)
{
    const long ondate = timejdate(data.opt.start - 5.0 * 365.25 * 86400.0);
    for (const VxgenStation& s : data.stations) {
        Rsptr site = vxgen_scratch(db, "site");
        if (rsisinvalid(site) ||
            rsputv(site, nullptr, "sta", s.sta, "ondate", ondate, "lat", s.lat, "lon", s.lon, "elev", s.elev_km,
                   "staname", s.staname, "statype", "ss", "refsta", s.sta, "dnorth", 0.0, "deast", 0.0, nullptr) < 0 ||
            vxgen_add(site, data.lddate) < 0) {
            hl_register_error(0, "vxgen_write_network: Cannot write the site of %s.\n", s.sta);
            return -1;
        }
        for (int c = 0; c < 3; c++) {
            const double hang = c == 2 ? 90.0 : 0.0;
            const double vang = c == 0 ? 0.0 : 90.0;
            char descrip[64];
            snprintf(descrip, sizeof descrip, "broadband seismometer, %s", c == 0 ? "vertical" : c == 1 ? "north" : "east");
            Rsptr sc = vxgen_scratch(db, "sitechan");
            if (rsisinvalid(sc) ||
                rsputv(sc, nullptr, "sta", s.sta, "chan", kVxgenChannels[c], "ondate", ondate, "chanid", s.chanid[c],
                       "ctype", "n", "edepth", 0.0, "hang", hang, "vang", vang, "descrip", descrip, nullptr) < 0 ||
                vxgen_add(sc, data.lddate) < 0) {
                hl_register_error(0, "vxgen_write_network: Cannot write channel %s of %s.\n", kVxgenChannels[c],
                                  s.sta);
                return -1;
            }
        }
        Rsptr aff = vxgen_scratch(db, "affiliation");
        if (rsisinvalid(aff) || rsputv(aff, nullptr, "net", "CI", "sta", s.sta, nullptr) < 0 ||
            vxgen_add(aff, data.lddate) < 0) {
            hl_register_error(0, "vxgen_write_network: Cannot write the affiliation of %s.\n", s.sta);
            return -1;
        }
    }
    return 0;
}
