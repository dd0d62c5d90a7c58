// Byte layout of ".xmd" map data files, shared by the reader and the
// writer.  docs/mapdata.md describes the same layout for people.
//
// All integers and doubles are little-endian; records start on multiples
// of 8 bytes.  Offsets are from the start of the file.
#pragma once

#include <cstdint>
#include <cstring>

namespace hl_xmd {

inline constexpr uint32_t FORMAT_VERSION = 1;

// File header: magic[8], u32 version, u32 nresolutions, u64 file_size,
// u64 offset of the resolution table, 32 bytes zero.
inline constexpr uint64_t FILE_HEADER_SIZE = 64;

// One resolution header.
inline constexpr uint64_t R_SOURCE_FNAME = 0;         // char[512]
inline constexpr uint64_t R_SOURCE_DATA_TYPE = 512;   // i64
inline constexpr uint64_t R_SOURCE_MAP_TYPE = 520;    // i64
inline constexpr uint64_t R_SOURCE_LON_START = 528;   // f64
inline constexpr uint64_t R_SOURCE_DLON = 536;
inline constexpr uint64_t R_SOURCE_LAT_START = 544;
inline constexpr uint64_t R_SOURCE_DLAT = 552;
inline constexpr uint64_t R_SOURCE_NLON = 560;        // i64
inline constexpr uint64_t R_SOURCE_NLAT = 568;
inline constexpr uint64_t R_DATA_TYPE = 576;          // i64
inline constexpr uint64_t R_MAP_TYPE = 584;           // i64: 1 grid, 2 vector
inline constexpr uint64_t R_NAME = 592;               // char[128]
inline constexpr uint64_t R_RESOLUTION = 720;         // char[64]
inline constexpr uint64_t R_DEGREES_PER_PIXEL = 784;  // f64
inline constexpr uint64_t R_LON_START_TILES = 792;
inline constexpr uint64_t R_LAT_START_TILES = 800;
inline constexpr uint64_t R_DLON_TILES = 808;
inline constexpr uint64_t R_DLAT_TILES = 816;
inline constexpr uint64_t R_NLON_TILES = 824;         // i64
inline constexpr uint64_t R_NLAT_TILES = 832;
inline constexpr uint64_t R_NTILES = 840;
inline constexpr uint64_t R_DATA_OFFSET = 848;        // u64: grid or vector header
inline constexpr uint64_t RESOLUTION_SIZE = 864;

// Grid header.
inline constexpr uint64_t G_DECIMATION = 0;   // i64
inline constexpr uint64_t G_COMPRESSED = 8;
inline constexpr uint64_t G_CONTENT = 16;
inline constexpr uint64_t G_ZMIN = 24;
inline constexpr uint64_t G_ZMAX = 32;
inline constexpr uint64_t G_LON_START = 40;   // f64
inline constexpr uint64_t G_DLON = 48;
inline constexpr uint64_t G_LAT_START = 56;
inline constexpr uint64_t G_DLAT = 64;
inline constexpr uint64_t G_NLON = 72;        // i64
inline constexpr uint64_t G_NLAT = 80;
inline constexpr uint64_t G_NLON_PER_TILE = 88;
inline constexpr uint64_t G_NLAT_PER_TILE = 96;
inline constexpr uint64_t G_TILES_OFFSET = 104;  // u64: ntiles grid tile entries
inline constexpr uint64_t GRID_HEADER_SIZE = 112;

// Grid tile entry: i64 zmin, i64 zmax, u64 nbuf, u64 offset of the buffer.
inline constexpr uint64_t GT_ZMIN = 0;
inline constexpr uint64_t GT_ZMAX = 8;
inline constexpr uint64_t GT_NBUF = 16;
inline constexpr uint64_t GT_OFFSET = 24;
inline constexpr uint64_t GRID_TILE_SIZE = 32;

// Vector header: f64 lonmin, lonmax, latmin, latmax, u64 offset of the
// ntiles vector tile entries.
inline constexpr uint64_t V_LONMIN = 0;
inline constexpr uint64_t V_LONMAX = 8;
inline constexpr uint64_t V_LATMIN = 16;
inline constexpr uint64_t V_LATMAX = 24;
inline constexpr uint64_t V_TILES_OFFSET = 32;
inline constexpr uint64_t VECTOR_HEADER_SIZE = 40;

// Vector tile entry.
inline constexpr uint64_t VT_LONMIN = 0;   // f64
inline constexpr uint64_t VT_LONMAX = 8;
inline constexpr uint64_t VT_LATMIN = 16;
inline constexpr uint64_t VT_LATMAX = 24;
inline constexpr uint64_t VT_FILL = 32;    // i64
inline constexpr uint64_t VT_NSEGMENTS = 40;
inline constexpr uint64_t VT_SEGMENTS_OFFSET = 48;  // u64
inline constexpr uint64_t VECTOR_TILE_SIZE = 56;

// Segment entry: i32 level, fill, lonmin, lonmax, latmin, latmax
// (microdegrees), i64 npts, u64 offset of the points (a multiple of 4).
inline constexpr uint64_t S_LEVEL = 0;
inline constexpr uint64_t S_FILL = 4;
inline constexpr uint64_t S_LONMIN = 8;
inline constexpr uint64_t S_LONMAX = 12;
inline constexpr uint64_t S_LATMIN = 16;
inline constexpr uint64_t S_LATMAX = 20;
inline constexpr uint64_t S_NPTS = 24;
inline constexpr uint64_t S_PTS_OFFSET = 32;
inline constexpr uint64_t SEGMENT_SIZE = 40;

// A point: i32 lon, i32 lat in microdegrees.
inline constexpr uint64_t POINT_SIZE = 8;

inline uint32_t get_u32(const unsigned char* p)
{
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
           static_cast<uint32_t>(p[3]) << 24;
}
inline int32_t get_i32(const unsigned char* p)
{
    return static_cast<int32_t>(get_u32(p));
}
inline uint64_t get_u64(const unsigned char* p)
{
    return static_cast<uint64_t>(get_u32(p)) | static_cast<uint64_t>(get_u32(p + 4)) << 32;
}
inline int64_t get_i64(const unsigned char* p)
{
    return static_cast<int64_t>(get_u64(p));
}
inline double get_f64(const unsigned char* p)
{
    uint64_t u = get_u64(p);
    double d;
    memcpy(&d, &u, 8);
    return d;
}

inline void put_u32(unsigned char* p, uint32_t v)
{
    for (int i = 0; i < 4; i++)
        p[i] = static_cast<unsigned char>(v >> (8 * i));
}
inline void put_u64(unsigned char* p, uint64_t v)
{
    for (int i = 0; i < 8; i++)
        p[i] = static_cast<unsigned char>(v >> (8 * i));
}
inline void put_f64(unsigned char* p, double d)
{
    uint64_t u;
    memcpy(&u, &d, 8);
    put_u64(p, u);
}
// big-endian, for the points of data_type 4
inline void put_be32(unsigned char* p, int32_t v)
{
    const uint32_t u = static_cast<uint32_t>(v);
    p[0] = static_cast<unsigned char>(u >> 24);
    p[1] = static_cast<unsigned char>(u >> 16);
    p[2] = static_cast<unsigned char>(u >> 8);
    p[3] = static_cast<unsigned char>(u);
}

} // namespace hl_xmd
