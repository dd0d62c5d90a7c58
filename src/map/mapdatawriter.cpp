// Writing ".xmd" map data files; the layout is in mapdataformat_p.h.
#include "map/mapdatawriter.h"

#include "map/mapdataformat_p.h"
#include "toolkit/base/errors.h"

#include <QFile>
#include <QSaveFile>

#include <algorithm>
#include <climits>
#include <cstring>

using namespace hl_xmd;

namespace {

void putText(unsigned char* p, size_t n, const std::string& s)
{
    memset(p, 0, n);
    memcpy(p, s.data(), std::min(s.size(), n - 1));
}

void pad8(QByteArray& out)
{
    while (out.size() % 8)
        out.append('\0');
}

// Append n zero bytes and return the offset of the first.
uint64_t reserve(QByteArray& out, uint64_t n)
{
    pad8(out);
    const uint64_t at = static_cast<uint64_t>(out.size());
    out.append(static_cast<qsizetype>(n), '\0');
    return at;
}

unsigned char* at(QByteArray& out, uint64_t offset)
{
    return reinterpret_cast<unsigned char*>(out.data()) + offset;
}

void putI32(unsigned char* p, int v)
{
    put_u32(p, static_cast<uint32_t>(v));
}

// The mesh fields of a resolution header.
struct Mesh
{
    double lon_start, lat_start, dlon, dlat;
    long nlon, nlat;
};

void putResolution(QByteArray& out, uint64_t rh, const std::string& name, const std::string& word,
                   const std::string& source, long data_type, long map_type, double dpp, const Mesh& mesh,
                   const Mesh& src, uint64_t data_offset)
{
    unsigned char* p = at(out, rh);
    putText(p + R_SOURCE_FNAME, 512, source);
    put_u64(p + R_SOURCE_DATA_TYPE, static_cast<uint64_t>(data_type));
    put_u64(p + R_SOURCE_MAP_TYPE, static_cast<uint64_t>(map_type));
    put_f64(p + R_SOURCE_LON_START, src.lon_start);
    put_f64(p + R_SOURCE_DLON, src.dlon);
    put_f64(p + R_SOURCE_LAT_START, src.lat_start);
    put_f64(p + R_SOURCE_DLAT, src.dlat);
    put_u64(p + R_SOURCE_NLON, static_cast<uint64_t>(src.nlon));
    put_u64(p + R_SOURCE_NLAT, static_cast<uint64_t>(src.nlat));
    put_u64(p + R_DATA_TYPE, static_cast<uint64_t>(data_type));
    put_u64(p + R_MAP_TYPE, static_cast<uint64_t>(map_type));
    putText(p + R_NAME, 128, name);
    putText(p + R_RESOLUTION, 64, word);
    put_f64(p + R_DEGREES_PER_PIXEL, dpp);
    put_f64(p + R_LON_START_TILES, mesh.lon_start);
    put_f64(p + R_LAT_START_TILES, mesh.lat_start);
    put_f64(p + R_DLON_TILES, mesh.dlon);
    put_f64(p + R_DLAT_TILES, mesh.dlat);
    put_u64(p + R_NLON_TILES, static_cast<uint64_t>(mesh.nlon));
    put_u64(p + R_NLAT_TILES, static_cast<uint64_t>(mesh.nlat));
    put_u64(p + R_NTILES, static_cast<uint64_t>(mesh.nlon * mesh.nlat));
    put_u64(p + R_DATA_OFFSET, data_offset);
}

void writeVector(QByteArray& out, uint64_t rh, const HLMapDataWriterVector& v)
{
    const uint64_t vh = reserve(out, VECTOR_HEADER_SIZE);
    const uint64_t th = reserve(out, VECTOR_TILE_SIZE);
    const uint64_t sh = reserve(out, SEGMENT_SIZE * v.segments.size());
    int tlonmin = INT_MAX, tlonmax = INT_MIN, tlatmin = INT_MAX, tlatmax = INT_MIN;
    int any_fill = 0;
    for (size_t s = 0; s < v.segments.size(); s++) {
        const HLMapDataWriterSegment& seg = v.segments[s];
        const uint64_t po = reserve(out, POINT_SIZE * seg.pts.size());
        int lonmin = INT_MAX, lonmax = INT_MIN, latmin = INT_MAX, latmax = INT_MIN;
        for (size_t i = 0; i < seg.pts.size(); i++) {
            const HLMapDataXY& xy = seg.pts[i];
            put_be32(at(out, po + POINT_SIZE * i), xy.lon_microdegrees);
            put_be32(at(out, po + POINT_SIZE * i + 4), xy.lat_microdegrees);
            lonmin = std::min(lonmin, xy.lon_microdegrees);
            lonmax = std::max(lonmax, xy.lon_microdegrees);
            latmin = std::min(latmin, xy.lat_microdegrees);
            latmax = std::max(latmax, xy.lat_microdegrees);
        }
        if (seg.pts.empty())
            lonmin = lonmax = latmin = latmax = 0;
        unsigned char* p = at(out, sh + SEGMENT_SIZE * s);
        putI32(p + S_LEVEL, seg.level);
        putI32(p + S_FILL, seg.fill);
        putI32(p + S_LONMIN, lonmin);
        putI32(p + S_LONMAX, lonmax);
        putI32(p + S_LATMIN, latmin);
        putI32(p + S_LATMAX, latmax);
        put_u64(p + S_NPTS, seg.pts.size());
        put_u64(p + S_PTS_OFFSET, po);
        tlonmin = std::min(tlonmin, lonmin);
        tlonmax = std::max(tlonmax, lonmax);
        tlatmin = std::min(tlatmin, latmin);
        tlatmax = std::max(tlatmax, latmax);
        any_fill |= seg.fill != 0;
    }
    if (v.segments.empty())
        tlonmin = tlonmax = tlatmin = tlatmax = 0;
    unsigned char* t = at(out, th);
    put_f64(t + VT_LONMIN, tlonmin * 1e-6);
    put_f64(t + VT_LONMAX, tlonmax * 1e-6);
    put_f64(t + VT_LATMIN, tlatmin * 1e-6);
    put_f64(t + VT_LATMAX, tlatmax * 1e-6);
    put_u64(t + VT_FILL, any_fill ? 1 : 0);
    put_u64(t + VT_NSEGMENTS, v.segments.size());
    put_u64(t + VT_SEGMENTS_OFFSET, sh);
    unsigned char* h = at(out, vh);
    put_f64(h + V_LONMIN, tlonmin * 1e-6);
    put_f64(h + V_LONMAX, tlonmax * 1e-6);
    put_f64(h + V_LATMIN, tlatmin * 1e-6);
    put_f64(h + V_LATMAX, tlatmax * 1e-6);
    put_u64(h + V_TILES_OFFSET, th);
    const Mesh mesh = {-180.0, -90.0, 360.0, 180.0, 1, 1};
    putResolution(out, rh, v.name, v.resolution, v.source, HL_MAPDATA_VECTOR_NET, HL_MAPDATA_VECTOR,
                  v.degrees_per_pixel, mesh, mesh, vh);
}

void writeGrid(QByteArray& out, uint64_t rh, const HLMapDataWriterGrid& g)
{
    const long k = g.decimation_factor;
    const long bpp = g.content == 1 ? 2 : 3;
    // the decimated mesh
    const long nlon = (g.nlon + k - 1) / k, nlat = (g.nlat + k - 1) / k;
    const double dlon = g.dlon * k, dlat = g.dlat * k;
    const long ntx = (nlon + g.nlon_per_tile - 1) / g.nlon_per_tile;
    const long nty = (nlat + g.nlat_per_tile - 1) / g.nlat_per_tile;
    const uint64_t gh = reserve(out, GRID_HEADER_SIZE);
    const uint64_t th = reserve(out, GRID_TILE_SIZE * ntx * nty);
    long zmin_all = LONG_MAX, zmax_all = LONG_MIN;
    QByteArray tile(g.nlon_per_tile * g.nlat_per_tile * bpp, '\0');
    for (long ty = 0; ty < nty; ty++) {
        for (long tx = 0; tx < ntx; tx++) {
            tile.fill('\0');
            long zmin = LONG_MAX, zmax = LONG_MIN;
            for (long py = 0; py < g.nlat_per_tile; py++) {
                const long iy = ty * g.nlat_per_tile + py;
                if (iy >= nlat)
                    break;
                for (long px = 0; px < g.nlon_per_tile; px++) {
                    const long ix = tx * g.nlon_per_tile + px;
                    if (ix >= nlon)
                        break;
                    const unsigned char* src = g.pixels + ((iy * k) * g.nlon + ix * k) * bpp;
                    memcpy(tile.data() + (py * g.nlon_per_tile + px) * bpp, src, bpp);
                    if (g.content == 1) {
                        int16_t z;
                        memcpy(&z, src, 2);
                        zmin = std::min<long>(zmin, z);
                        zmax = std::max<long>(zmax, z);
                    }
                }
            }
            if (zmin > zmax)
                zmin = zmax = 0;
            zmin_all = std::min(zmin_all, zmin);
            zmax_all = std::max(zmax_all, zmax);
            const QByteArray stored = g.compressed ? qCompress(tile) : tile;
            const uint64_t bo = reserve(out, stored.size());
            memcpy(at(out, bo), stored.constData(), stored.size());
            unsigned char* e = at(out, th + GRID_TILE_SIZE * (ty * ntx + tx));
            put_u64(e + GT_ZMIN, static_cast<uint64_t>(zmin));
            put_u64(e + GT_ZMAX, static_cast<uint64_t>(zmax));
            put_u64(e + GT_NBUF, stored.size());
            put_u64(e + GT_OFFSET, bo);
        }
    }
    unsigned char* p = at(out, gh);
    put_u64(p + G_DECIMATION, k);
    put_u64(p + G_COMPRESSED, g.compressed ? 1 : 0);
    put_u64(p + G_CONTENT, g.content);
    put_u64(p + G_ZMIN, static_cast<uint64_t>(zmin_all));
    put_u64(p + G_ZMAX, static_cast<uint64_t>(zmax_all));
    put_f64(p + G_LON_START, g.lon_start);
    put_f64(p + G_DLON, dlon);
    put_f64(p + G_LAT_START, g.lat_start);
    put_f64(p + G_DLAT, dlat);
    put_u64(p + G_NLON, nlon);
    put_u64(p + G_NLAT, nlat);
    put_u64(p + G_NLON_PER_TILE, g.nlon_per_tile);
    put_u64(p + G_NLAT_PER_TILE, g.nlat_per_tile);
    put_u64(p + G_TILES_OFFSET, th);
    // tiles start half a pixel before the first pixel centre
    const Mesh mesh = {g.lon_start - 0.5 * dlon, g.lat_start - 0.5 * dlat, dlon * g.nlon_per_tile,
                       dlat * g.nlat_per_tile, ntx, nty};
    const Mesh src = {g.lon_start, g.lat_start, g.dlon, g.dlat, g.nlon, g.nlat};
    putResolution(out, rh, g.name, g.resolution, g.source,
                  g.content == 1 ? HL_MAPDATA_GRID_INT16 : HL_MAPDATA_GRID_RGB, HL_MAPDATA_GRID,
                  std::fabs(dlon), mesh, src, gh);
}

} // namespace

int HLMapDataWriter::addVector(const HLMapDataWriterVector& vector)
{
    if (resolutions.size() >= static_cast<size_t>(HL_MAPDATA_MAX_RESOLUTIONS)) {
        hl_register_error(0, "HLMapDataWriter::addVector: Too many resolutions.\n");
        return -1;
    }
    Resolution r;
    r.vector = vector;
    resolutions.push_back(std::move(r));
    return 0;
}

int HLMapDataWriter::addGrid(const HLMapDataWriterGrid& grid)
{
    if (resolutions.size() >= static_cast<size_t>(HL_MAPDATA_MAX_RESOLUTIONS)) {
        hl_register_error(0, "HLMapDataWriter::addGrid: Too many resolutions.\n");
        return -1;
    }
    if (!grid.pixels || grid.nlon < 1 || grid.nlat < 1 || grid.decimation_factor < 1 || grid.nlon_per_tile < 1 ||
        grid.nlat_per_tile < 1 || grid.nlon_per_tile > HL_MAPDATA_MAX_TILE_PIXELS / grid.nlat_per_tile ||
        grid.dlon == 0.0 || grid.dlat == 0.0 || grid.nlon > (1L << 24) || grid.nlat > (1L << 24)) {
        hl_register_error(0, "HLMapDataWriter::addGrid: Empty grid or bad mesh.\n");
        return -1;
    }
    const long bpp = grid.content == 1 ? 2 : 3;
    Resolution r;
    r.is_grid = true;
    r.grid = grid;
    r.grid_pixels.assign(grid.pixels, grid.pixels + grid.nlon * grid.nlat * bpp);
    r.grid.pixels = r.grid_pixels.data();
    resolutions.push_back(std::move(r));
    return 0;
}

QByteArray HLMapDataWriter::bytes() const
{
    QByteArray out(FILE_HEADER_SIZE, '\0');
    const uint64_t table = reserve(out, RESOLUTION_SIZE * resolutions.size());
    for (size_t i = 0; i < resolutions.size(); i++) {
        const uint64_t rh = table + RESOLUTION_SIZE * i;
        if (resolutions[i].is_grid)
            writeGrid(out, rh, resolutions[i].grid);
        else
            writeVector(out, rh, resolutions[i].vector);
    }
    pad8(out);
    unsigned char* p = at(out, 0);
    memcpy(p, HL_MAPDATA_MAGIC, 8);
    put_u32(p + 8, FORMAT_VERSION);
    put_u32(p + 12, static_cast<uint32_t>(resolutions.size()));
    put_u64(p + 16, out.size());
    put_u64(p + 24, table);
    return out;
}

int HLMapDataWriter::write(const char* path) const
{
    QSaveFile file(QString::fromLocal8Bit(path));
    const QByteArray data = bytes();
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
        hl_register_error(0, "HLMapDataWriter::write: Cannot write '%s': %s.\n", path,
                          file.errorString().toLocal8Bit().constData());
        return -1;
    }
    return 0;
}
