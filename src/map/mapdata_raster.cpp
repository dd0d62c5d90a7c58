// VXMapData: the raster kernel.  drawImage() prepares what does not depend
// on the pixel (the grid column of every raster column, the colour tables
// of this draw); the fill threads then walk their rows: in the rectilinear
// projections a row only gathers heights from one grid row and looks up
// their colours, in "edp" and "globe" every pixel is projected back.
#include "map/mapdata.h"

#include "map/projection/maptransform.h"
#include "map/projection/projections.h"
#include "toolkit/base/errors.h"
#include "viewport/viewport.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

inline unsigned int argb(int r, int g, int b)
{
    return 0xff000000u | static_cast<unsigned>(r) << 16 | static_cast<unsigned>(g) << 8 | static_cast<unsigned>(b);
}

// The colour pixel with its lightness replaced by mid_of_sum[max + min]
// and its chroma offsets kept.
inline unsigned int shade(unsigned int pixel, const int* mid_of_sum)
{
    const int r = (pixel >> 16) & 0xff, g = (pixel >> 8) & 0xff, b = pixel & 0xff;
    const int mn = std::min({r, g, b}), mx = std::max({r, g, b});
    const int mid = (mx + mn) / 2;
    const int mid2 = mid_of_sum[mx + mn];
    return argb(std::clamp(mid2 + r - mid, 0, 255), std::clamp(mid2 + g - mid, 0, 255),
                std::clamp(mid2 + b - mid, 0, 255));
}

} // namespace

void VXMapData::prepareRaster()
{
    // lightness: the new middle of a colour depends on its max + min alone
    raster.shaded = !(lightmin == 0.0 && gamma == 1.0);
    if (raster.shaded && (raster.mid_gamma != gamma || raster.mid_lightmin != lightmin)) {
        for (int sum = 0; sum < 511; sum++) {
            double l = 0.5 * sum / 255.0;
            if (gamma > 0.0)
                l = std::pow(l, gamma);
            l = lightmin + (1.0 - lightmin) * l;
            raster.mid_of_sum[sum] = static_cast<int>(255.0 * l);
        }
        raster.mid_gamma = gamma;
        raster.mid_lightmin = lightmin;
        raster.shaded_cpt.clear();
    }
    raster.heights_cpt = vxmapdata_cpt;
    if (raster.shaded) {
        if (raster.shaded_cpt.empty()) {
            raster.shaded_cpt.resize(static_cast<size_t>(vxmapdata_ncpt));
            for (int k = 0; k < vxmapdata_ncpt; k++)
                raster.shaded_cpt[k] = shade(vxmapdata_cpt[k], raster.mid_of_sum);
        }
        raster.heights_cpt = raster.shaded_cpt.data();
    }

    // the grid column of every raster column, as runs of columns in one
    // tile column (-1: no data), for the rectilinear projections
    raster.column_pixel.assign(static_cast<size_t>(width), 0);
    raster.column_runs.clear();
    if (tran == VX_MAP_EDP || tran == VX_MAP_GLOBE)
        return;
    const HLMapDataResolution* res = &frame.resolutions[resolution];
    const HLMapDataGrid* grid = static_cast<const HLMapDataGrid*>(res->data);
    for (int j = 0; j < width; j++) {
        const double x = xmin + dx * j;
        long tx = tileColumn(res, x);
        const long px = tx < 0 ? -1 : pixelColumn(res, grid, tx, x);
        if (px < 0)
            tx = -1;
        else
            raster.column_pixel[j] = static_cast<int>(px);
        const int p = raster.column_pixel[j];
        if (raster.column_runs.empty() || raster.column_runs.back().tile_column != tx) {
            raster.column_runs.push_back({j, j + 1, tx, p, p});
        } else {
            ColumnRun& run = raster.column_runs.back();
            run.end = j + 1;
            run.pixel_lo = std::min(run.pixel_lo, p);
            run.pixel_hi = std::max(run.pixel_hi, p);
        }
    }
}

void VXMapData::fill_image(long index, long, void* data)
{
    VXMapData* md = static_cast<VXMapData*>(data);
    if (!md->image || !md->fills() || md->height < 1)
        return;
    const long n = std::max(1L, static_cast<long>(md->height / md->nthreads));
    const long start = index * n;
    long end = std::min(start + n, static_cast<long>(md->height));
    if (index == md->nthreads - 1)
        end = md->height;
    if (start < end)
        md->fillRows(start, end);
}

bool VXMapData::fills() const
{
    return resolution >= 0 && resolution < frame.nresolutions && nthreads >= 1 &&
           frame.resolutions[resolution].map_type == HL_MAPDATA_GRID;
}

// The last tile a fill thread used: a tile is looked up when the tile
// changes, and a bad tile complains once per change; its pixels stay
// transparent.
struct VXMapData::TileMemory
{
    HLMapData* md;
    int resolution;
    int last_tile = -1;
    unsigned char* buf = nullptr;

    const unsigned char* get(int itile)
    {
        if (itile == last_tile)
            return buf;
        last_tile = itile;
        if (md->getTileGrid(resolution, itile, &buf) < 0) {
            hl_complain(0, "fill_image: getTileGrid() error.\n%s", hl_errlog_string(0));
            hl_clear_register(0);
            buf = nullptr;
        }
        return buf;
    }
};

namespace {

// One span of a raster row from one grid row: the pixels at the grid
// columns columns[0..n) of src, coloured.
void gatherHeights(unsigned int* out, const int* columns, int n, const unsigned char* src, const unsigned int* cpt)
{
    const int ecpt = vxmapdata_ecpt, last = vxmapdata_ncpt - 1;
    for (int j = 0; j < n; j++) {
        int16_t z;
        memcpy(&z, src + 2 * static_cast<long>(columns[j]), 2);
        out[j] = cpt[std::clamp(z - ecpt, 0, last)];
    }
}

void gatherRgb(unsigned int* out, const int* columns, int n, const unsigned char* src, const int* mid_of_sum)
{
    for (int j = 0; j < n; j++) {
        const unsigned char* p = src + 3 * static_cast<long>(columns[j]);
        out[j] = argb(p[0], p[1], p[2]);
    }
    if (mid_of_sum)
        for (int j = 0; j < n; j++)
            out[j] = shade(out[j], mid_of_sum);
}

} // namespace

// Rectilinear projections: a row has one latitude, so one tile row and one
// grid row, and every raster column has its grid column from
// prepareRaster().  A row only gathers and colours.
void VXMapData::fillRectilinearRows(long row_start, long row_end, TileMemory& tiles)
{
    const HLMapDataResolution* res = &frame.resolutions[resolution];
    const HLMapDataGrid* grid = static_cast<const HLMapDataGrid*>(res->data);
    const bool heights = grid->content == 1;
    const long bpp = hl_mapdata_pixel_bytes(grid);
    const long grid_row_bytes = grid->nlon_per_tile * bpp;
    unsigned int* out = reinterpret_cast<unsigned int*>(image_buf);
    const size_t row_bytes = static_cast<size_t>(width) * 4;
    const std::vector<ColumnRun>& runs = raster.column_runs;
    // the tile row and grid row of a raster row; py -1 without data
    auto gridRow = [&](long i, long* ty, long* py) {
        double y = ymax - dy * i;
        if (tran == VX_MAP_MERC)
            y = VX_mercator_lat(y);
        *ty = tileRow(res, y);
        *py = *ty < 0 ? -1 : pixelRow(grid, *ty, y);
    };
    // the tile of every run in the tile row tiles_ty, looked up when the
    // tile row changes
    std::vector<const unsigned char*> run_tiles(runs.size(), nullptr);
    long tiles_ty = -1;
    long ty, py, last_ty = -1, last_py = -1;
    gridRow(row_start, &ty, &py);
    for (long i = row_start; i < row_end; i++) {
        long next_ty = -1, next_py = -1;
        if (i + 1 < row_end)
            gridRow(i + 1, &next_ty, &next_py);
        unsigned int* row = out + i * width;
        if (py < 0) {
            memset(row, 0, row_bytes);
            last_py = -1;
        } else if (ty == last_ty && py == last_py) {
            // the same grid row as the row above: the same colours
            memcpy(row, row - width, row_bytes);
        } else {
            if (ty != tiles_ty) {
                for (size_t k = 0; k < runs.size(); k++)
                    run_tiles[k] = runs[k].tile_column < 0
                                       ? nullptr
                                       : tiles.get(static_cast<int>(ty * res->nlon_tiles + runs[k].tile_column));
                tiles_ty = ty;
            }
            // the grid row of the next raster row is read from memory
            // while this one is coloured
            if (next_ty == ty && next_py >= 0 && next_py != py)
                for (size_t k = 0; k < runs.size(); k++)
                    if (const unsigned char* b = run_tiles[k]) {
                        const unsigned char* lo = b + next_py * grid_row_bytes + runs[k].pixel_lo * bpp;
                        const unsigned char* hi = b + next_py * grid_row_bytes + runs[k].pixel_hi * bpp;
                        for (const unsigned char* p = lo; p <= hi; p += 64)
                            __builtin_prefetch(p);
                    }
            const long row_offset = py * grid_row_bytes;
            for (size_t k = 0; k < runs.size(); k++) {
                const ColumnRun& run = runs[k];
                const int n = run.end - run.start;
                const unsigned char* b = run_tiles[k];
                if (!b)
                    memset(row + run.start, 0, static_cast<size_t>(n) * 4);
                else if (heights)
                    gatherHeights(row + run.start, &raster.column_pixel[run.start], n, b + row_offset,
                                  raster.heights_cpt);
                else
                    gatherRgb(row + run.start, &raster.column_pixel[run.start], n, b + row_offset,
                              raster.shaded ? raster.mid_of_sum : nullptr);
            }
            last_ty = ty;
            last_py = py;
        }
        ty = next_ty;
        py = next_py;
    }
}

void VXMapData::fillRows(long row_start, long row_end)
{
    HLMapDataResolution* res = &frame.resolutions[resolution];
    HLMapDataGrid* grid = static_cast<HLMapDataGrid*>(res->data);
    const bool heights = grid->content == 1;
    unsigned int* out = reinterpret_cast<unsigned int*>(image_buf);
    const size_t row_bytes = static_cast<size_t>(width) * 4;
    TileMemory tiles{this, resolution};
    if (tran != VX_MAP_EDP && tran != VX_MAP_GLOBE) {
        fillRectilinearRows(row_start, row_end, tiles);
        return;
    }
    // "edp" and "globe": every pixel is projected back to its point
    HLMapTransform transform(latr, lonr);
    for (long i = row_start; i < row_end; i++) {
        const double y = ymax - dy * i;
        unsigned int* row = out + i * width;
        memset(row, 0, row_bytes);
        for (long j = 0; j < width; j++) {
            const double x = xmin + dx * j;
            double lat, lon;
            if (tran == VX_MAP_EDP) {
                transform.edpDelxy2geopointat(x, y, &lat, &lon);
            } else if (transform.globeDelxy2geopointat(x, y, &lat, &lon) == -1) {
                row[j] = 0xff000000u;
                continue;
            }
            int itile;
            long ilon, ilat;
            findTile(res, lat, lon, &itile, &ilon, &ilat);
            if (itile < 0)
                continue;
            const unsigned char* b = tiles.get(itile);
            if (!b)
                continue;
            long ipx, ipy, offset;
            findPixelWithinTile(res, grid, ilon, ilat, lat, lon, &ipx, &ipy, &offset);
            if (offset < 0)
                continue;
            unsigned int pixel;
            if (heights) {
                int16_t z;
                memcpy(&z, b + offset, 2);
                pixel = raster.heights_cpt[std::clamp(z - vxmapdata_ecpt, 0, vxmapdata_ncpt - 1)];
            } else {
                pixel = argb(b[offset], b[offset + 1], b[offset + 2]);
                if (raster.shaded)
                    pixel = shade(pixel, raster.mid_of_sum);
            }
            row[j] = pixel;
        }
    }
}
