// Travel times of seismic phases through a spherical earth model.
//
// Times come from tau-p integration through the model of
// data/earthmodels/ak135.model (ak135 of Kennett, Engdahl and Buland):
// within each shell between two rows of the model the velocity follows
// v = a r^b, for which the integrals of a ray's distance and delay time
// have closed forms.  The integrals are sampled once over the ray
// parameter for a surface source; a source depth then only needs the part
// of each ray above the source, worked out once per depth and kept in a
// cache, and a call interpolates the branch tables.  docs/traveltimes.md
// describes the phases and the conventions for users.
//
// Phases: "P" (the first P: the direct P, and beyond the core shadow Pdiff,
// the PKP branches and PKiKP), "S" (S and Sdiff), and by name "pP", "sP",
// "PcP", "ScS", "Pdiff", "Sdiff", "PKPab", "PKPbc", "PKPdf" (also "PKIKP"),
// "PKiKP", "PKP" (the three PKP branches and PKiKP).  Each phase answers
// its earliest arrival.
//
// Distances are great-circle degrees, depths km below the surface of the
// model, elevations km above it, times seconds.
#pragma once

#include "vxplot_export.h"

// Most arrivals one call answers (every phase name once).
constexpr int TT_MAX_ARRIVALS = 16;

// One arrival.
struct TtArrival
{
    char phase[16];         // the branch's name: "P", "Pdiff", "PKPdf", ...
    double time_s;          // travel time, with the station elevation's share
    double slowness_s_deg;  // dT/dDelta, seconds per degree
    double takeoff_deg;     // at the source, from the downward vertical (above 90: up-going)
    double emergence_deg;   // at the station, from the vertical, at the surface speed
};

// Arrivals of the comma or blank separated phases at distance_deg (0 to
// 180) from a source at depth_km, at a station elev_km above the surface.
// The elevation adds elev_km * sqrt(1/v^2 - p^2) with v the surface speed
// of the wave that reaches the station (vp_surface_km_s for P, and
// vs_surface_km_s for S; 0 or less takes the model's top velocity) and p
// the ray's slowness in s/km.  Writes at most nmax arrivals to out, sorted
// by time, and returns their number (0 when no phase arrives there), or -1
// with a registered line for an unknown phase, a depth outside the mantle
// of the model, a bad distance, or a model that cannot be read.
// Thread-safe.
VXPLOT_EXPORT int tt_compute(double depth_km, double distance_deg, double elev_km, const char* phases,
                             double vp_surface_km_s, double vs_surface_km_s, TtArrival* out, int nmax);

// Replaces the model by the file at path (the format of
// data/earthmodels/ak135.model), or by that default file when path is null.
// 0, or -1 with a registered line; the old model stays on failure.
VXPLOT_EXPORT int tt_set_model(const char* path);

// The model's P (wave 'P') or S (wave 'S') velocity in km/s at depth_km,
// as the travel times see it (just below a discontinuity at its depth).
// Negative with a registered line when there is no model or no such depth.
VXPLOT_EXPORT double tt_model_velocity(char wave, double depth_km);

// The service as the trace view calls it: the phases and the depth are
// kept between calls, so a caller holds the service's mutex from the first
// setting to its last compute:
//
//     ttp_grab_mutex();
//     ttp_set_phases("P");
//     ttp_set_event_depth(std::max(1.0, depth));
//     n = ttp_compute(olat, olon, lat, lon, elev, 5.0, 3.0, arrivals, TT_MAX_ARRIVALS);
//     ttp_release_mutex();
//
// The mutex is not recursive.
VXPLOT_EXPORT void ttp_grab_mutex();
VXPLOT_EXPORT void ttp_release_mutex();

// Sets the phase list ("P", "P,S,pP", ...).  The number of phases, or -1
// with a registered line naming the unknown phase (the list is kept).
VXPLOT_EXPORT int ttp_set_phases(const char* phases);

// Sets the source depth in km.  0, or -1 with a registered line for a depth
// above the surface or below the mantle of the model (the depth is kept).
VXPLOT_EXPORT int ttp_set_event_depth(double depth_km);

// Arrivals from the source at (olat, olon) to the station at (lat, lon)
// elev_km above the surface (degrees; elevation in km), as tt_compute().
// The count written to out, or -1 with a registered line.
VXPLOT_EXPORT int ttp_compute(double olat, double olon, double lat, double lon, double elev_km,
                              double vp_surface_km_s, double vs_surface_km_s, TtArrival* out, int nmax);
