// Tiled, multi-resolution map data files (".xmd"): the records of a loaded
// file and the reader that maps it.
//
// A file holds resolutions ordered from coarsest to finest.  Each covers a
// mesh of tiles; a grid resolution holds one buffer of pixels per tile
// (signed 16-bit heights or red, green, blue bytes, optionally compressed
// with zlib), a vector resolution holds per tile a list of segments: lines
// or closed areas with a nesting level (odd land, even water) and integer
// microdegree points.  docs/mapdata.md gives the byte layout.
//
// HLMapData maps the file read-only and builds the records below once;
// vector points and uncompressed grid tiles are used in place, inside the
// mapping.  Compressed grid tiles are inflated on demand into a cache that
// several threads may fill at once (getTileGrid) and that is trimmed only
// by cleanCache(), never while it is being filled.
//
// All coordinates are degrees unless said otherwise.  Integers in the file
// are little-endian; the points of a data_type 4 segment are big-endian
// ("network order") as they came from their source.
#pragma once

#include "vxplot_export.h"

#include <cstddef>
#include <cstdint>

struct Filemap;
struct Kv;

// map_type values.
enum {
    HL_MAPDATA_GRID = 1,
    HL_MAPDATA_VECTOR = 2,
};

// data_type values.  4: vector points in network byte order, longitudes
// that may jump by whole turns.  1: grid of int16 heights, 3: grid of RGB.
enum {
    HL_MAPDATA_GRID_INT16 = 1,
    HL_MAPDATA_GRID_RGB = 3,
    HL_MAPDATA_VECTOR_NET = 4,
};

// Caps that a file must respect; a file beyond them is refused as corrupt.
inline constexpr long HL_MAPDATA_MAX_RESOLUTIONS = 64;
inline constexpr long HL_MAPDATA_MAX_TILES = 4L * 1024 * 1024;
inline constexpr long HL_MAPDATA_MAX_TILE_PIXELS = 16L * 1024 * 1024;

// The eight bytes that open every file.
inline constexpr unsigned char HL_MAPDATA_MAGIC[8] = {'V', 'X', 'M', 'A', 'P', 'D', 0x1a, 1};

struct HLMapDataXY
{
    int lon_microdegrees, lat_microdegrees;
};

struct HLMapDataSource
{
    char fname[512];
    long data_type, map_type;
    double lon_start, dlon, lat_start, dlat;
    long nlon, nlat;
};

struct HLMapDataVectorSegment
{
    int level;                              // nesting level; odd land, even water
    int fill;                               // non-zero: a closed area that may be filled
    int lonmin, lonmax, latmin, latmax;     // bounds, microdegrees
    long npts;
    HLMapDataXY* pts;                       // inside the mapping; byte order by data_type
};

struct HLMapDataVectorTile
{
    double lonmin, lonmax, latmin, latmax;
    long fill;
    long nsegments;
    HLMapDataVectorSegment* segments;
};

struct HLMapDataVector
{
    double lonmin, lonmax, latmin, latmax;
    HLMapDataVectorTile* tiles;             // ntiles of the resolution
};

struct HLMapDataGridTile
{
    long zmin, zmax;
    unsigned long nbuf;                     // bytes of buf
    unsigned char* buf;                     // inside the mapping: compressed or raw pixels
};

struct HLMapDataGrid
{
    long decimation_factor;
    long compressed;                        // non-zero: tile buffers are zlib streams (qCompress form)
    long content;                           // 1: int16 per pixel (host order); else 3 bytes R, G, B
    long zmin, zmax;
    double lon_start, dlon, lat_start, dlat;  // pixel centres: lon_start + i*dlon
    long nlon, nlat;
    long nlon_per_tile, nlat_per_tile;
    HLMapDataGridTile* tiles;
};

struct HLMapDataResolution
{
    HLMapDataSource source;
    long data_type;
    long map_type;
    char name[128];
    char resolution[64];                    // the word that layers' resolution_map rows name
    double degrees_per_pixel;               // may be negative
    double lon_start_tiles, lat_start_tiles;
    double dlon_tiles, dlat_tiles;          // may be negative
    long nlon_tiles, nlat_tiles;
    long ntiles;
    void* data;                             // HLMapDataGrid* or HLMapDataVector*, by map_type
};

struct HLMapDataFrame
{
    unsigned char magic[8];
    long nresolutions;
    HLMapDataResolution* resolutions;       // coarsest first
};

struct HLMapDataCache_p;
struct HLMapDataRecords_p;

class VXPLOT_EXPORT HLMapData
{
public:
    HLMapData();
    // Releases the mapping, the records and every cached tile.
    virtual ~HLMapData();
    HLMapData(const HLMapData&) = delete;
    HLMapData& operator=(const HLMapData&) = delete;

    // Map and check fname and build frame.  The second and third arguments
    // are reserved (0, null).  0; negative with the reason registered
    // (naming the file and the place) and the object unchanged.
    int setInput(const char* fname, int flags, char* reserved);
    // The same over bytes in memory (not copied: they must outlive the
    // object).  source names them in messages.  For tests and fuzzing.
    int setInputBuffer(const unsigned char* data, size_t size, const char* source);

    // The path of the map data file fname: a name with a '/' is taken as it
    // is; otherwise the folders of the environment variable
    // VXPLOT_MAPDATA_PATH (colon-separated), the installed data folder, the
    // build tree's data folder and the source tree's data folder are
    // searched, first found wins.  The file must open and check.  Allocated
    // (free() it); null with a registered message when it is absent or bad.
    // *found_flags, when given, is set to 1 for a file found, else 0.  The
    // last two arguments are reserved.
    static char* checkInputFile(const char* fname, int* found_flags, Kv** reserved_kv, char* reserved);

    // The tile of res that holds the point: *itile, *ilon, *ilat; *itile
    // is -1 when the point lies outside all tiles.  A grid that spans 360
    // degrees wraps longitudes into its range.  Returns 0.
    int findTile(HLMapDataResolution* res, double lat, double lon, int* itile, long* ilon, long* ilat) const;
    // The byte offset in the tile (ilon, ilat) of grid of the pixel that
    // holds the point; *offset is -1 when the point has no pixel.  Returns 0.
    int findPixelWithinTile(HLMapDataResolution* res, HLMapDataGrid* grid, long ilon, long ilat, double lat,
                            double lon, long* ipix_lon, long* ipix_lat, long* offset) const;
    // The parts of findTile() and findPixelWithinTile(): the tile column
    // of a longitude, the tile row of a latitude, and the pixel column and
    // row within tile column ilon, row ilat; -1 outside.
    long tileColumn(const HLMapDataResolution* res, double lon) const;
    long tileRow(const HLMapDataResolution* res, double lat) const;
    long pixelColumn(const HLMapDataResolution* res, const HLMapDataGrid* grid, long ilon, double lon) const;
    long pixelRow(const HLMapDataGrid* grid, long ilat, double lat) const;
    // The uncompressed pixels of tile itile of grid resolution resolution:
    // *buf stays valid until cleanCache().  Safe to call from several threads
    // at once.  0; negative with a registered message (bad index, a tile that
    // does not inflate or inflates to the wrong size).
    int getTileGrid(int resolution, int itile, unsigned char** buf);
    // Evict decompressed tiles, least recently used first, until their total
    // is below maxsize bytes.  Not to be called while getTileGrid() runs.
    // Returns the number of bytes still cached.
    long cleanCache(long maxsize, int flags);
    // Bytes of decompressed tiles held now.
    long cacheSize() const;

    // The file's name as given to setInput(), empty before.
    const char* fileName() const { return fname; }

    HLMapDataFrame frame;

private:
    void release();

    Filemap* file_stream = nullptr;
    const unsigned char* file_data = nullptr;
    size_t file_size = 0;
    char* fname = nullptr;
    HLMapDataCache_p* cache = nullptr;
    HLMapDataRecords_p* records = nullptr;  // what frame points into
};

// Bytes per pixel of a grid: 2 for int16 content, 3 for RGB.
inline long hl_mapdata_pixel_bytes(const HLMapDataGrid* grid)
{
    return grid->content == 1 ? 2 : 3;
}
