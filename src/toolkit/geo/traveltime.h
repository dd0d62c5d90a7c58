// Regional travel times of P and S in a flat, layered earth.
//
// The model is a stack of horizontal layers of constant velocity over a
// half-space.  A first arrival at a station on the surface is the earlier of
// the direct ray (up from the source through the layers above it, found by
// solving for its ray parameter) and the head waves along the top of every
// faster layer below the source.  Distances are epicentral distances in km
// measured along the surface; the curvature of the earth is ignored, so the
// times are meant for regional distances, up to a few hundred km.
//
// The default model is the southern California crust of Hadley and Kanamori
// (1977): 5.5 km/s to 5.5 km, 6.3 km/s to 16 km, 6.7 km/s to 32 km and a
// 7.8 km/s mantle, with Vp/Vs = 1.73.
#pragma once

#include "vxplot_export.h"

// One layer: from top_km down to the top of the next layer (the last layer
// is a half-space).  Velocities in km/s.
struct TtLayer
{
    double top_km;
    double vp_km_s;
    double vs_km_s;
};

// A first arrival at the surface.
struct TtArrival
{
    double time_s;         // travel time from the source
    double slowness_s_km;  // horizontal slowness (ray parameter), s/km
    double emergence_deg;  // angle of the ray from the vertical at the station
    double takeoff_deg;    // angle of the ray at the source from the downward vertical
    int refractor;         // layer whose top carries the head wave; -1 for the direct ray
};

// The default model and its number of layers (both never null).
VXPLOT_EXPORT const TtLayer* tt_default_model(int* nlayers);

// The first arrival of phase 'P' or 'S' at distance_km (0 to 20000) from the
// epicentre of a source at depth_km (0 to 700) below the surface, in the
// model of nlayers layers (tops increasing from 0, velocities positive).
// 0 and *out on success; negative with a registered error for a bad phase,
// distance, depth or model.
VXPLOT_EXPORT int tt_layered_first_arrival(const TtLayer* layers, int nlayers, char phase, double distance_km,
                                           double depth_km, TtArrival* out);

// tt_layered_first_arrival() in the default model.
VXPLOT_EXPORT int tt_first_arrival(char phase, double distance_km, double depth_km, TtArrival* out);
