// vxgen: a deterministic CSS 3.0 sample database of a regional network.
//
// vxgen_write() builds the whole data set in memory from the options (the
// network, the events with their origins, picks and magnitudes, the signal
// of every event at every station), then writes the tables through the
// record store and the waveform files beside them.  Every random number
// comes from the seed, and every load date is the end of the recorded
// window, so one seed gives byte-identical files.
#pragma once

#include "toolkit/store/recordstore.h"

#include <cstdint>
#include <string>
#include <vector>

struct VxgenOptions
{
    uint64_t seed = 1;
    int stations = 12;          // 1 to vxgen_station_count()
    int events = 5;             // 0 to 1000
    double start = 0.0;         // first sample, epoch seconds
    double hours = 1.0;         // length of the recording
    double samprate = 40.0;     // samples per second
    std::string outbase;        // the database's path base
};

// A station of the network with its three channels.
struct VxgenStation
{
    const char* sta;
    const char* staname;
    double lat, lon, elev_km;
    double noise_nm;        // rms of the background noise, nm
    double calib;           // nm per count at calper
    long chanid[3];         // BHZ, BHN, BHE
};

// The channels of every station, in sitechan and wfdisc order.
constexpr const char* kVxgenChannels[3] = {"BHZ", "BHN", "BHE"};

// A pick of one phase at one station.
struct VxgenPick
{
    int station;
    char phase;               // 'P' or 'S'
    int channel;              // index into kVxgenChannels
    long arid;
    double time;              // observed
    double deltim, azimuth, delaz, slow_s_deg, delslo, ema, rect;
    double amp_nm, per_s, snr;
    const char* fm;           // first motion, "-" for none
    const char* qual;         // "i" impulsive or "e" emergent
};

// An association of a pick with an origin.
struct VxgenAssoc
{
    int pick;                 // index into the event's picks
    double delta_deg, seaz, esaz, timeres, azres, slores, emares, wgt;
    const char* timedef;
};

// A station magnitude.
struct VxgenStamag
{
    int pick;
    double magnitude;
};

struct VxgenOrigin
{
    long orid;
    bool automatic;           // a first, automatic solution; not preferred
    double lat, lon, depth_km, time;
    const char* dtype;
    std::vector<VxgenAssoc> assocs;
    double sdobs, smajax, sminax, strike, sdepth, stime;
    long mlid = -1;           // netmag of ml, or -1
    double ml = -999.0, ml_uncertainty = -1.0;
    std::vector<VxgenStamag> stamags;
};

// A wavelet of one phase at one station.
struct VxgenSignal
{
    double time;              // onset, epoch
    double amp_nm;            // nominal peak ground displacement
    double freq_hz;           // dominant frequency
    double rise_s, decay_s;   // envelope
    double weight[3];         // share of BHZ, BHN, BHE
    double phase_rad[3];      // of the three partials of the carrier
};

struct VxgenEvent
{
    long evid;
    double lat, lon, depth_km, time, ml;  // the true source
    std::vector<VxgenPick> picks;
    std::vector<VxgenOrigin> origins;     // the preferred one last
};

struct VxgenData
{
    VxgenOptions opt;
    std::string lddate;
    std::vector<VxgenStation> stations;
    std::vector<VxgenEvent> events;
    std::vector<std::vector<VxgenSignal>> signals;  // per station, by time
    long last_evid = 0, last_orid = 0, last_arid = 0, last_wfid = 0, last_chanid = 0, last_magid = 0;
};

// The number of stations the network has.
int vxgen_station_count();

// Fill data.stations from the options.  0.
int vxgen_make_network(VxgenData& data);

// Write site, sitechan and affiliation.  0 or negative.
int vxgen_write_network(const VxgenData& data, Rsptr db);

// Make the events with their origins, picks and magnitudes, and the signals
// at every station.  0 or negative.
int vxgen_make_events(VxgenData& data);

// Write event, origin, origerr, netmag, stamag, arrival and assoc.  0 or
// negative.
int vxgen_write_events(const VxgenData& data, Rsptr db);

// Write the waveform files and wfdisc; wfids count on from data.last_wfid.
// 0 or negative.
int vxgen_write_waveforms(VxgenData& data, Rsptr db);

// The scratch row of table, emptied.  rsinvalid() on failure.
Rsptr vxgen_scratch(Rsptr db, const char* table);

// Set lddate of the scratch row and append it.  0 or negative.
int vxgen_add(Rsptr scratch, const std::string& lddate);

// The whole database.  0, or negative with registered errors.
int vxgen_write(const VxgenOptions& opt);
