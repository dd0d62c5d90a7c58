// Reading ".xmd" map data files: checks of the layout, the records built
// over the mapping, tile lookup and the cache of inflated grid tiles.
#include "map/mapdatafile.h"

#include "map/mapdataformat_p.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/filemap.h"

#include <QByteArray>
#include <QMutex>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

static_assert(std::endian::native == std::endian::little, "map data files are read in place on little-endian hosts");

// One inflated tile; its bytes never move while it is cached.
struct HLMapDataCacheEntry
{
    QByteArray bytes;
    std::atomic<unsigned long> last_use{0};
};

// Inflated tiles by resolution and tile index.  A slot is read without the
// lock (a tile once cached stays until cleanCache(), which never runs with
// a fill); filling a slot and trimming take the lock.
struct HLMapDataCache_p
{
    mutable QMutex mutex;
    std::vector<std::unique_ptr<std::atomic<HLMapDataCacheEntry*>[]>> tile_slots;  // per resolution, ntiles each
    std::vector<long> nslots;
    long total_bytes = 0;
    std::atomic<unsigned long> use_clock{0};

    ~HLMapDataCache_p()
    {
        for (size_t r = 0; r < tile_slots.size(); r++)
            for (long t = 0; t < nslots[r]; t++)
                delete tile_slots[r][t].load(std::memory_order_relaxed);
    }
};

// All records of one loaded file, owned together.
struct HLMapDataRecords_p
{
    std::vector<HLMapDataResolution> resolutions;
    std::vector<std::unique_ptr<HLMapDataGrid>> grids;
    std::vector<std::unique_ptr<HLMapDataVector>> vectors;
    std::vector<std::vector<HLMapDataGridTile>> grid_tiles;
    std::vector<std::vector<HLMapDataVectorTile>> vector_tiles;
    std::vector<std::vector<HLMapDataVectorSegment>> segments;
};

namespace {

using namespace hl_xmd;
using Records = HLMapDataRecords_p;

class Parser
{
public:
    Parser(const unsigned char* data, size_t size, const char* source) : data(data), size(size), source(source) {}

    int fail(const char* what, unsigned long long offset)
    {
        hl_register_error(0, "HLMapData::setInput: %s: %s at byte %llu.\n", source, what, offset);
        return -1;
    }
    // [offset, offset + n*each) lies inside the file
    bool inside(uint64_t offset, uint64_t n, uint64_t each) const
    {
        if (offset > size)
            return false;
        if (each != 0 && n > (size - offset) / each)
            return false;
        return true;
    }

    int parse(Records* rec, unsigned char magic[8]);

private:
    int parseGrid(Records* rec, HLMapDataResolution& res, uint64_t offset, uint64_t at);
    int parseVector(Records* rec, HLMapDataResolution& res, uint64_t offset, uint64_t at);

    const unsigned char* data;
    size_t size;
    const char* source;
};

void copyText(char* out, size_t n, const unsigned char* in)
{
    memcpy(out, in, n);
    out[n - 1] = '\0';
}

bool finite(double v)
{
    return std::isfinite(v);
}

int Parser::parse(Records* rec, unsigned char magic[8])
{
    if (size < FILE_HEADER_SIZE)
        return fail("file shorter than its header", size);
    if (memcmp(data, HL_MAPDATA_MAGIC, 8) != 0)
        return fail("wrong magic number", 0);
    memcpy(magic, data, 8);
    if (get_u32(data + 8) != FORMAT_VERSION)
        return fail("unknown format version", 8);
    uint64_t nres = get_u32(data + 12);
    if (get_u64(data + 16) != size)
        return fail("file truncated or extended: stored size differs", 16);
    if (nres < 1 || nres > static_cast<uint64_t>(HL_MAPDATA_MAX_RESOLUTIONS))
        return fail("resolution count out of range", 12);
    uint64_t table = get_u64(data + 24);
    if (!inside(table, nres, RESOLUTION_SIZE))
        return fail("resolution table outside the file", 24);
    rec->resolutions.resize(nres);
    for (uint64_t i = 0; i < nres; i++) {
        uint64_t at = table + i * RESOLUTION_SIZE;
        const unsigned char* p = data + at;
        HLMapDataResolution& res = rec->resolutions[i];
        memset(&res, 0, sizeof(res));
        copyText(res.source.fname, sizeof(res.source.fname), p + R_SOURCE_FNAME);
        res.source.data_type = get_i64(p + R_SOURCE_DATA_TYPE);
        res.source.map_type = get_i64(p + R_SOURCE_MAP_TYPE);
        res.source.lon_start = get_f64(p + R_SOURCE_LON_START);
        res.source.dlon = get_f64(p + R_SOURCE_DLON);
        res.source.lat_start = get_f64(p + R_SOURCE_LAT_START);
        res.source.dlat = get_f64(p + R_SOURCE_DLAT);
        res.source.nlon = get_i64(p + R_SOURCE_NLON);
        res.source.nlat = get_i64(p + R_SOURCE_NLAT);
        res.data_type = get_i64(p + R_DATA_TYPE);
        res.map_type = get_i64(p + R_MAP_TYPE);
        copyText(res.name, sizeof(res.name), p + R_NAME);
        copyText(res.resolution, sizeof(res.resolution), p + R_RESOLUTION);
        res.degrees_per_pixel = get_f64(p + R_DEGREES_PER_PIXEL);
        res.lon_start_tiles = get_f64(p + R_LON_START_TILES);
        res.lat_start_tiles = get_f64(p + R_LAT_START_TILES);
        res.dlon_tiles = get_f64(p + R_DLON_TILES);
        res.dlat_tiles = get_f64(p + R_DLAT_TILES);
        res.nlon_tiles = get_i64(p + R_NLON_TILES);
        res.nlat_tiles = get_i64(p + R_NLAT_TILES);
        res.ntiles = get_i64(p + R_NTILES);
        if (!finite(res.degrees_per_pixel) || !finite(res.lon_start_tiles) || !finite(res.lat_start_tiles) ||
            !finite(res.dlon_tiles) || !finite(res.dlat_tiles) || res.dlon_tiles == 0.0 || res.dlat_tiles == 0.0)
            return fail("tile mesh not finite or of zero size", at + R_DEGREES_PER_PIXEL);
        if (res.nlon_tiles < 1 || res.nlat_tiles < 1 || res.nlon_tiles > HL_MAPDATA_MAX_TILES ||
            res.nlat_tiles > HL_MAPDATA_MAX_TILES || res.nlon_tiles * res.nlat_tiles != res.ntiles ||
            res.ntiles > HL_MAPDATA_MAX_TILES)
            return fail("tile counts out of range", at + R_NLON_TILES);
        uint64_t offset = get_u64(p + R_DATA_OFFSET);
        int r;
        if (res.map_type == HL_MAPDATA_GRID)
            r = parseGrid(rec, res, offset, at + R_DATA_OFFSET);
        else if (res.map_type == HL_MAPDATA_VECTOR)
            r = parseVector(rec, res, offset, at + R_DATA_OFFSET);
        else
            r = fail("unknown map type", at + R_MAP_TYPE);
        if (r < 0)
            return -1;
    }
    return 0;
}

int Parser::parseGrid(Records* rec, HLMapDataResolution& res, uint64_t offset, uint64_t at)
{
    if (!inside(offset, 1, GRID_HEADER_SIZE))
        return fail("grid header outside the file", at);
    const unsigned char* p = data + offset;
    auto grid = std::make_unique<HLMapDataGrid>();
    grid->decimation_factor = get_i64(p + G_DECIMATION);
    grid->compressed = get_i64(p + G_COMPRESSED);
    grid->content = get_i64(p + G_CONTENT);
    grid->zmin = get_i64(p + G_ZMIN);
    grid->zmax = get_i64(p + G_ZMAX);
    grid->lon_start = get_f64(p + G_LON_START);
    grid->dlon = get_f64(p + G_DLON);
    grid->lat_start = get_f64(p + G_LAT_START);
    grid->dlat = get_f64(p + G_DLAT);
    grid->nlon = get_i64(p + G_NLON);
    grid->nlat = get_i64(p + G_NLAT);
    grid->nlon_per_tile = get_i64(p + G_NLON_PER_TILE);
    grid->nlat_per_tile = get_i64(p + G_NLAT_PER_TILE);
    if (!finite(grid->lon_start) || !finite(grid->dlon) || !finite(grid->lat_start) || !finite(grid->dlat) ||
        grid->dlon == 0.0 || grid->dlat == 0.0)
        return fail("grid pixel mesh not finite or of zero step", offset + G_LON_START);
    if (grid->nlon_per_tile < 1 || grid->nlat_per_tile < 1 ||
        grid->nlon_per_tile > HL_MAPDATA_MAX_TILE_PIXELS / grid->nlat_per_tile)
        return fail("pixels per tile out of range", offset + G_NLON_PER_TILE);
    if (grid->nlon < 1 || grid->nlat < 1 || grid->nlon > grid->nlon_per_tile * res.nlon_tiles ||
        grid->nlat > grid->nlat_per_tile * res.nlat_tiles)
        return fail("pixel counts do not fit the tile mesh", offset + G_NLON);
    uint64_t tiles = get_u64(p + G_TILES_OFFSET);
    if (!inside(tiles, res.ntiles, GRID_TILE_SIZE))
        return fail("grid tile table outside the file", offset + G_TILES_OFFSET);
    const unsigned long raw = static_cast<unsigned long>(grid->nlon_per_tile * grid->nlat_per_tile *
                                                         hl_mapdata_pixel_bytes(grid.get()));
    std::vector<HLMapDataGridTile> list(res.ntiles);
    for (long t = 0; t < res.ntiles; t++) {
        const uint64_t e = tiles + static_cast<uint64_t>(t) * GRID_TILE_SIZE;
        const unsigned char* q = data + e;
        HLMapDataGridTile& tile = list[t];
        tile.zmin = get_i64(q + GT_ZMIN);
        tile.zmax = get_i64(q + GT_ZMAX);
        uint64_t nbuf = get_u64(q + GT_NBUF), boff = get_u64(q + GT_OFFSET);
        if (!inside(boff, nbuf, 1))
            return fail("grid tile buffer outside the file", e + GT_OFFSET);
        if (!grid->compressed && nbuf != raw)
            return fail("uncompressed grid tile of the wrong size", e + GT_NBUF);
        tile.nbuf = nbuf;
        tile.buf = const_cast<unsigned char*>(data + boff);
    }
    grid->tiles = list.data();
    rec->grid_tiles.push_back(std::move(list));
    res.data = grid.get();
    rec->grids.push_back(std::move(grid));
    return 0;
}

int Parser::parseVector(Records* rec, HLMapDataResolution& res, uint64_t offset, uint64_t at)
{
    if (!inside(offset, 1, VECTOR_HEADER_SIZE))
        return fail("vector header outside the file", at);
    const unsigned char* p = data + offset;
    auto vec = std::make_unique<HLMapDataVector>();
    vec->lonmin = get_f64(p + V_LONMIN);
    vec->lonmax = get_f64(p + V_LONMAX);
    vec->latmin = get_f64(p + V_LATMIN);
    vec->latmax = get_f64(p + V_LATMAX);
    uint64_t tiles = get_u64(p + V_TILES_OFFSET);
    if (!inside(tiles, res.ntiles, VECTOR_TILE_SIZE))
        return fail("vector tile table outside the file", offset + V_TILES_OFFSET);
    std::vector<HLMapDataVectorTile> list(res.ntiles);
    for (long t = 0; t < res.ntiles; t++) {
        const uint64_t e = tiles + static_cast<uint64_t>(t) * VECTOR_TILE_SIZE;
        const unsigned char* q = data + e;
        HLMapDataVectorTile& tile = list[t];
        tile.lonmin = get_f64(q + VT_LONMIN);
        tile.lonmax = get_f64(q + VT_LONMAX);
        tile.latmin = get_f64(q + VT_LATMIN);
        tile.latmax = get_f64(q + VT_LATMAX);
        tile.fill = get_i64(q + VT_FILL);
        int64_t nseg = get_i64(q + VT_NSEGMENTS);
        uint64_t soff = get_u64(q + VT_SEGMENTS_OFFSET);
        if (nseg < 0 || !inside(soff, static_cast<uint64_t>(nseg), SEGMENT_SIZE))
            return fail("vector segments outside the file", e + VT_NSEGMENTS);
        tile.nsegments = nseg;
        std::vector<HLMapDataVectorSegment> segs(nseg);
        for (int64_t s = 0; s < nseg; s++) {
            const uint64_t se = soff + static_cast<uint64_t>(s) * SEGMENT_SIZE;
            const unsigned char* r = data + se;
            HLMapDataVectorSegment& seg = segs[s];
            seg.level = get_i32(r + S_LEVEL);
            seg.fill = get_i32(r + S_FILL);
            seg.lonmin = get_i32(r + S_LONMIN);
            seg.lonmax = get_i32(r + S_LONMAX);
            seg.latmin = get_i32(r + S_LATMIN);
            seg.latmax = get_i32(r + S_LATMAX);
            int64_t npts = get_i64(r + S_NPTS);
            uint64_t poff = get_u64(r + S_PTS_OFFSET);
            if (npts < 0 || poff % 4 != 0 || !inside(poff, static_cast<uint64_t>(npts), POINT_SIZE))
                return fail("segment points outside the file or misaligned", se + S_NPTS);
            seg.npts = npts;
            seg.pts = reinterpret_cast<HLMapDataXY*>(const_cast<unsigned char*>(data + poff));
        }
        tile.segments = segs.data();
        rec->segments.push_back(std::move(segs));
    }
    vec->tiles = list.data();
    rec->vector_tiles.push_back(std::move(list));
    res.data = vec.get();
    rec->vectors.push_back(std::move(vec));
    return 0;
}

// Bring lon into [start, start + 360) when the span covers the globe.
double wrapInto(double lon, double start, double span)
{
    if (std::fabs(span) < 359.999 || !std::isfinite(lon))
        return lon;
    const double lo = span > 0 ? start : start + span;
    if (lon >= lo && lon < lo + 360.0)
        return lon;
    double d = std::fmod(lon - lo, 360.0);
    if (d < 0)
        d += 360.0;
    return lo + d;
}

} // namespace

HLMapData::HLMapData()
{
    memset(&frame, 0, sizeof(frame));
}

HLMapData::~HLMapData()
{
    release();
}

void HLMapData::release()
{
    delete records;
    records = nullptr;
    memset(&frame, 0, sizeof(frame));
    delete cache;
    cache = nullptr;
    filemap_close(file_stream);
    file_stream = nullptr;
    file_data = nullptr;
    file_size = 0;
    free(fname);
    fname = nullptr;
}

int HLMapData::setInputBuffer(const unsigned char* data, size_t size, const char* source)
{
    if (!source)
        source = "(buffer)";
    auto rec = std::make_unique<Records>();
    unsigned char magic[8];
    Parser parser(data, size, source);
    if (!data || parser.parse(rec.get(), magic) < 0) {
        if (!data)
            hl_register_error(0, "HLMapData::setInput: %s: no data.\n", source);
        return -1;
    }
    release();
    memcpy(frame.magic, magic, 8);
    frame.nresolutions = static_cast<long>(rec->resolutions.size());
    frame.resolutions = rec->resolutions.data();
    records = rec.release();
    cache = new HLMapDataCache_p;
    for (long r = 0; r < frame.nresolutions; r++) {
        const HLMapDataResolution& res = frame.resolutions[r];
        const bool inflated =
            res.map_type == HL_MAPDATA_GRID && static_cast<const HLMapDataGrid*>(res.data)->compressed;
        const long n = inflated ? res.ntiles : 0;
        cache->tile_slots.emplace_back(new std::atomic<HLMapDataCacheEntry*>[n]());
        cache->nslots.push_back(n);
    }
    file_data = data;
    file_size = size;
    fname = strdup(source);
    return 0;
}

int HLMapData::setInput(const char* name, int, char*)
{
    if (!name) {
        hl_register_error(0, "HLMapData::setInput: Null file name.\n");
        return -1;
    }
    const void* data = nullptr;
    size_t size = 0;
    Filemap* map = filemap_open(name, 0, &data, &size);
    if (!map) {
        hl_register_error(0, "HLMapData::setInput: Cannot map '%s'.\n", name);
        return -1;
    }
    if (setInputBuffer(static_cast<const unsigned char*>(data), size, name) < 0) {
        filemap_close(map);
        return -1;
    }
    file_stream = map;
    return 0;
}

char* HLMapData::checkInputFile(const char* name, int* found_flags, Kv**, char*)
{
    if (found_flags)
        *found_flags = 0;
    if (!name || !*name) {
        hl_register_error(0, "HLMapData::checkInputFile: Empty file name.\n");
        return nullptr;
    }
    std::vector<std::string> candidates;
    if (strchr(name, '/')) {
        candidates.emplace_back(name);
    } else {
        std::vector<std::string> folders;
        if (const char* path = getenv("VXPLOT_MAPDATA_PATH")) {
            std::string all(path);
            size_t start = 0;
            while (start <= all.size()) {
                size_t colon = all.find(':', start);
                if (colon == std::string::npos)
                    colon = all.size();
                if (colon > start)
                    folders.push_back(all.substr(start, colon - start));
                start = colon + 1;
            }
        }
#ifdef VX_DATADIR
        folders.emplace_back(VX_DATADIR);
#endif
#ifdef VX_BUILD_DATADIR
        folders.emplace_back(VX_BUILD_DATADIR);
#endif
#ifdef VX_SOURCE_DATADIR
        folders.emplace_back(VX_SOURCE_DATADIR);
#endif
        for (const std::string& f : folders)
            candidates.push_back(f + "/" + name);
    }
    for (const std::string& path : candidates) {
        struct stat st;
        if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
            continue;
        if (found_flags)
            *found_flags = 1;
        HLMapData probe;
        if (probe.setInput(path.c_str(), 0, nullptr) < 0) {
            hl_register_error(0, "HLMapData::checkInputFile: '%s' is not a usable map data file.\n", path.c_str());
            return nullptr;
        }
        return strdup(path.c_str());
    }
    hl_register_error(0, "HLMapData::checkInputFile: Cannot find map data file '%s'.\n", name);
    return nullptr;
}

long HLMapData::tileColumn(const HLMapDataResolution* res, double lon) const
{
    lon = wrapInto(lon, res->lon_start_tiles, res->dlon_tiles * res->nlon_tiles);
    const double fx = (lon - res->lon_start_tiles) / res->dlon_tiles;
    return fx >= 0.0 && fx < static_cast<double>(res->nlon_tiles) ? static_cast<long>(fx) : -1;
}

long HLMapData::tileRow(const HLMapDataResolution* res, double lat) const
{
    const double fy = (lat - res->lat_start_tiles) / res->dlat_tiles;
    return fy >= 0.0 && fy < static_cast<double>(res->nlat_tiles) ? static_cast<long>(fy) : -1;
}

long HLMapData::pixelColumn(const HLMapDataResolution* res, const HLMapDataGrid* grid, long ilon, double lon) const
{
    lon = wrapInto(lon, res->lon_start_tiles, res->dlon_tiles * res->nlon_tiles);
    // pixel centres lie on lon_start + i*dlon; a pixel covers half a step
    // either side
    const double fx = std::floor((lon - grid->lon_start) / grid->dlon + 0.5);
    if (!(fx >= 0.0 && fx < static_cast<double>(grid->nlon)))
        return -1;
    const long px = static_cast<long>(fx) - ilon * grid->nlon_per_tile;
    return px >= 0 && px < grid->nlon_per_tile ? px : -1;
}

long HLMapData::pixelRow(const HLMapDataGrid* grid, long ilat, double lat) const
{
    const double fy = std::floor((lat - grid->lat_start) / grid->dlat + 0.5);
    if (!(fy >= 0.0 && fy < static_cast<double>(grid->nlat)))
        return -1;
    const long py = static_cast<long>(fy) - ilat * grid->nlat_per_tile;
    return py >= 0 && py < grid->nlat_per_tile ? py : -1;
}

int HLMapData::findTile(HLMapDataResolution* res, double lat, double lon, int* itile, long* ilon, long* ilat) const
{
    *itile = -1;
    const long tx = tileColumn(res, lon), ty = tileRow(res, lat);
    if (tx < 0 || ty < 0)
        return 0;
    *ilon = tx;
    *ilat = ty;
    *itile = static_cast<int>(ty * res->nlon_tiles + tx);
    return 0;
}

int HLMapData::findPixelWithinTile(HLMapDataResolution* res, HLMapDataGrid* grid, long ilon, long ilat, double lat,
                                   double lon, long* ipix_lon, long* ipix_lat, long* offset) const
{
    *offset = -1;
    const long px = pixelColumn(res, grid, ilon, lon), py = pixelRow(grid, ilat, lat);
    if (px < 0 || py < 0)
        return 0;
    *ipix_lon = px;
    *ipix_lat = py;
    *offset = (py * grid->nlon_per_tile + px) * hl_mapdata_pixel_bytes(grid);
    return 0;
}

int HLMapData::getTileGrid(int resolution, int itile, unsigned char** buf)
{
    if (resolution < 0 || resolution >= frame.nresolutions) {
        hl_register_error(0, "HLMapData::getTileGrid: %s: resolution %d outside of range.\n", fname ? fname : "",
                          resolution);
        return -1;
    }
    HLMapDataResolution* res = &frame.resolutions[resolution];
    if (res->map_type != HL_MAPDATA_GRID || itile < 0 || itile >= res->ntiles) {
        hl_register_error(0, "HLMapData::getTileGrid: %s: tile %d of resolution %d not a grid tile.\n", fname,
                          itile, resolution);
        return -1;
    }
    HLMapDataGrid* grid = static_cast<HLMapDataGrid*>(res->data);
    HLMapDataGridTile* tile = &grid->tiles[itile];
    if (!grid->compressed) {
        *buf = tile->buf;
        return 0;
    }
    std::atomic<HLMapDataCacheEntry*>& slot = cache->tile_slots[resolution][itile];
    if (HLMapDataCacheEntry* e = slot.load(std::memory_order_acquire)) {
        e->last_use.store(cache->use_clock.fetch_add(1, std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        *buf = reinterpret_cast<unsigned char*>(e->bytes.data());
        return 0;
    }
    // inflate outside the lock; a thread that loses the race drops its copy
    const long expect = grid->nlon_per_tile * grid->nlat_per_tile * hl_mapdata_pixel_bytes(grid);
    const unsigned char* z = tile->buf;
    if (tile->nbuf < 5 || ((static_cast<unsigned long>(z[0]) << 24) | (z[1] << 16) | (z[2] << 8) | z[3]) !=
                              static_cast<unsigned long>(expect)) {
        hl_register_error(0, "HLMapData::getTileGrid: %s: tile %d of resolution %d has a bad size header.\n", fname,
                          itile, resolution);
        return -1;
    }
    auto entry = std::make_unique<HLMapDataCacheEntry>();
    entry->bytes = qUncompress(z, static_cast<qsizetype>(tile->nbuf));
    if (entry->bytes.size() != expect) {
        hl_register_error(0, "HLMapData::getTileGrid: %s: tile %d of resolution %d does not inflate.\n", fname, itile,
                          resolution);
        return -1;
    }
    QMutexLocker lock(&cache->mutex);
    HLMapDataCacheEntry* e = slot.load(std::memory_order_relaxed);
    if (!e) {
        e = entry.release();
        cache->total_bytes += expect;
        slot.store(e, std::memory_order_release);
    }
    e->last_use.store(cache->use_clock.fetch_add(1, std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    *buf = reinterpret_cast<unsigned char*>(e->bytes.data());
    return 0;
}

long HLMapData::cleanCache(long maxsize, int)
{
    if (!cache)
        return 0;
    QMutexLocker lock(&cache->mutex);
    if (cache->total_bytes < maxsize)
        return cache->total_bytes;
    struct Cached { unsigned long use; size_t r; long t; };
    std::vector<Cached> order;
    for (size_t r = 0; r < cache->tile_slots.size(); r++)
        for (long t = 0; t < cache->nslots[r]; t++)
            if (HLMapDataCacheEntry* e = cache->tile_slots[r][t].load(std::memory_order_relaxed))
                order.push_back({e->last_use.load(std::memory_order_relaxed), r, t});
    std::sort(order.begin(), order.end(), [](const Cached& a, const Cached& b) { return a.use < b.use; });
    for (const Cached& c : order) {
        if (cache->total_bytes < maxsize)
            break;
        HLMapDataCacheEntry* e = cache->tile_slots[c.r][c.t].exchange(nullptr, std::memory_order_relaxed);
        cache->total_bytes -= e->bytes.size();
        delete e;
    }
    return cache->total_bytes;
}

long HLMapData::cacheSize() const
{
    if (!cache)
        return 0;
    QMutexLocker lock(&cache->mutex);
    return cache->total_bytes;
}
