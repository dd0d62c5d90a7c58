// Longitudes moved by whole turns: the one place where a longitude or a
// longitude difference is wrapped.  All values in degrees.
//
// The turn count is computed, not stepped, so that far-out values cost the
// same as near ones; subtracting whole multiples of 360 is exact for every
// longitude a map can hold.
#pragma once

#include <cmath>

// The whole turns to subtract from the difference d so that it lies in
// [-180, 180]; 0 when it already does (so both ends stay as they are).
inline double map_lon_turns(double d)
{
    if (d > 180.0)
        return std::ceil((d - 180.0) / 360.0);
    if (d < -180.0)
        return -std::ceil((-180.0 - d) / 360.0);
    return 0.0;
}

// lon moved to within 180 degrees of ref: unchanged when it already lies in
// [ref - 180, ref + 180].  map_lon_near(d, 0) is a difference taken the short
// way round.
inline double map_lon_near(double lon, double ref)
{
    return lon - 360.0 * map_lon_turns(lon - ref);
}

// lon moved to at most ref (or at least ref), by the fewest whole turns;
// unchanged when already there.
inline double map_lon_at_most(double lon, double ref)
{
    return lon > ref ? lon - 360.0 * std::ceil((lon - ref) / 360.0) : lon;
}

inline double map_lon_at_least(double lon, double ref)
{
    return lon < ref ? lon + 360.0 * std::ceil((ref - lon) / 360.0) : lon;
}

// lon moved into [west, west + 360).
inline double map_lon_from(double lon, double west)
{
    double x = west + std::fmod(lon - west, 360.0);
    if (x < west)
        x += 360.0;
    if (x >= west + 360.0)  // a tiny negative plus 360 rounds to 360
        x = west;
    return x;
}
