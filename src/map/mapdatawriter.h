// Writing ".xmd" map data files: vector resolutions from closed rings and
// lines, grid resolutions from a regular mesh of int16 heights or RGB
// pixels.  Used by the vxmapdata tool and by tests that need files.
//
// Resolutions are written in the order they are added, which must be from
// coarsest to finest.  The writer copies what it is given.
#pragma once

#include "map/mapdatafile.h"
#include "vxplot_export.h"

#include <QByteArray>

#include <string>
#include <vector>

struct HLMapDataWriterSegment
{
    int level = 1;                  // odd land, even water
    int fill = 0;                   // non-zero: a closed area to fill
    std::vector<HLMapDataXY> pts;   // microdegrees, host order
};

// One vector resolution; its segments go into a single tile covering the
// globe, in the order given (a filled tile is drawn in that order).
struct HLMapDataWriterVector
{
    std::string name;               // up to 127 bytes
    std::string resolution;         // the word layers select it by, up to 63 bytes
    std::string source;             // where the data came from, up to 511 bytes
    double degrees_per_pixel = 0.1;
    std::vector<HLMapDataWriterSegment> segments;
};

// One grid resolution.  Pixel (ilon, ilat) has its centre at
// lon_start + ilon*dlon, lat_start + ilat*dlat; pixels holds nlon*nlat of
// them, row by row (ilat outer), 2 bytes each (int16, host order) for
// content 1, else 3 bytes red, green, blue.
struct HLMapDataWriterGrid
{
    std::string name, resolution, source;
    long content = 1;
    double lon_start = 0.0, dlon = 1.0, lat_start = 0.0, dlat = 1.0;
    long nlon = 0, nlat = 0;
    const unsigned char* pixels = nullptr;
    long nlon_per_tile = 256, nlat_per_tile = 256;
    long compressed = 1;            // zlib through qCompress
    long decimation_factor = 1;     // keep every n-th pixel in both directions
};

class VXPLOT_EXPORT HLMapDataWriter
{
public:
    // 0; negative with a registered message for empty or oversized input
    // (nothing is added then).
    int addVector(const HLMapDataWriterVector& vector);
    int addGrid(const HLMapDataWriterGrid& grid);

    // The whole file.
    QByteArray bytes() const;
    // Write it to path (through a temporary file renamed into place).  0;
    // negative with a registered message.
    int write(const char* path) const;

    long resolutionCount() const { return static_cast<long>(resolutions.size()); }

private:
    struct Resolution
    {
        HLMapDataWriterVector vector;  // when is_grid is false
        HLMapDataWriterGrid grid;      // pixels points into grid_pixels
        std::vector<unsigned char> grid_pixels;
        bool is_grid = false;
    };
    std::vector<Resolution> resolutions;
};
