// The raster kernel against a pixel-by-pixel reference: for every pixel
// the point of the projection, its tile and pixel found one at a time, the
// height's colour from the table and the lightness shaped in double.  The
// kernel's shortcuts (tables per column and per row, rows copied, shaping
// through tables) must give the same bytes in every projection, on int16
// and RGB grids, inside and beyond the coverage, on any thread count.
#include "map/mapdata_support.h"
#include "support/testsupport.h"

#include "map/projection/maptransform.h"
#include "map/projection/projections.h"
#include "viewport/viewport.h"

#include <gtest/gtest.h>

#include <QImage>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

unsigned int argb(int r, int g, int b)
{
    return 0xff000000u | static_cast<unsigned>(r) << 16 | static_cast<unsigned>(g) << 8 | static_cast<unsigned>(b);
}

unsigned int referenceColour(const unsigned char* p, bool heights, double lightmin, double gamma)
{
    unsigned int pixel;
    if (heights) {
        int16_t z;
        memcpy(&z, p, 2);
        pixel = vxmapdata_cpt[std::clamp(z - vxmapdata_ecpt, 0, vxmapdata_ncpt - 1)];
    } else {
        pixel = argb(p[0], p[1], p[2]);
    }
    if (lightmin == 0.0 && gamma == 1.0)
        return pixel;
    const int r = (pixel >> 16) & 0xff, g = (pixel >> 8) & 0xff, b = pixel & 0xff;
    const int mn = std::min({r, g, b}), mx = std::max({r, g, b}), mid = (mx + mn) / 2;
    const double l = lightmin + (1.0 - lightmin) * std::pow(0.5 * (mx + mn) / 255.0, gamma);
    const int mid2 = static_cast<int>(255.0 * l);
    return argb(std::clamp(mid2 + r - mid, 0, 255), std::clamp(mid2 + g - mid, 0, 255),
                std::clamp(mid2 + b - mid, 0, 255));
}

struct View
{
    const char* name;
    int tran, w, h;
    double x0, x1, y0, y1, lonr, latr, gamma, lightmin;
};

// What the raster of md must hold for view v, pixel by pixel.
std::vector<unsigned int> referenceImage(VXMapData& md, const View& v)
{
    std::vector<unsigned int> out(static_cast<size_t>(v.w) * v.h, 0u);
    HLMapDataResolution* res = &md.frame.resolutions[md.resolution];
    HLMapDataGrid* grid = static_cast<HLMapDataGrid*>(res->data);
    const double gamma = v.gamma <= 0.0 ? 1.0 : v.gamma, lightmin = std::clamp(v.lightmin, 0.0, 1.0);
    const double dx = v.w > 1 ? (v.x1 - v.x0) / (v.w - 1) : 0.0, dy = v.h > 1 ? (v.y1 - v.y0) / (v.h - 1) : 0.0;
    HLMapTransform transform(v.latr, v.lonr);
    for (int i = 0; i < v.h; i++)
        for (int j = 0; j < v.w; j++) {
            const double x = v.x0 + dx * j, y = v.y1 - dy * i;
            double lat = v.tran == VX_MAP_MERC ? VX_mercator_lat(y) : y, lon = x;
            if (v.tran == VX_MAP_EDP) {
                transform.edpDelxy2geopointat(x, y, &lat, &lon);
            } else if (v.tran == VX_MAP_GLOBE && transform.globeDelxy2geopointat(x, y, &lat, &lon) == -1) {
                out[i * v.w + j] = 0xff000000u;
                continue;
            }
            int itile;
            long ilon, ilat, px, py, offset;
            md.findTile(res, lat, lon, &itile, &ilon, &ilat);
            unsigned char* buf;
            if (itile < 0 || md.getTileGrid(md.resolution, itile, &buf) < 0)
                continue;
            md.findPixelWithinTile(res, grid, ilon, ilat, lat, lon, &px, &py, &offset);
            if (offset >= 0)
                out[i * v.w + j] = referenceColour(buf + offset, grid->content == 1, lightmin, gamma);
        }
    return out;
}

// A grid over [lon0, lon0 + nlon*step] x [lat0 - nlat*step, lat0], north
// row first, int16 heights or RGB pixels from f(lon, lat).
QByteArray gridFile(long content, double lon0, double lat0, double step, long nlon, long nlat, long tile,
                    long compressed)
{
    const long bpp = content == 1 ? 2 : 3;
    std::vector<unsigned char> pixels(nlon * nlat * bpp);
    for (long j = 0; j < nlat; j++)
        for (long i = 0; i < nlon; i++) {
            const double lon = lon0 + step * (i + 0.5), lat = lat0 - step * (j + 0.5);
            unsigned char* p = &pixels[(j * nlon + i) * bpp];
            if (content == 1) {
                // every height of the table and beyond it, in both directions
                const int16_t z = static_cast<int16_t>(5000.0 * std::sin(lon * 0.09) * std::cos(lat * 0.05) +
                                                       2000.0 * std::sin(lat * 0.3));
                memcpy(p, &z, 2);
            } else {
                p[0] = static_cast<unsigned char>(i * 7);
                p[1] = static_cast<unsigned char>(j * 11);
                p[2] = static_cast<unsigned char>((i + j) * 3);
            }
        }
    HLMapDataWriter writer;
    HLMapDataWriterGrid g;
    g.content = content;
    g.lon_start = lon0 + 0.5 * step;
    g.dlon = step;
    g.lat_start = lat0 - 0.5 * step;
    g.dlat = -step;
    g.nlon = nlon;
    g.nlat = nlat;
    g.pixels = pixels.data();
    g.nlon_per_tile = g.nlat_per_tile = tile;
    g.compressed = compressed;
    writer.addGrid(g);
    return writer.bytes();
}

} // namespace

TEST(MapDataRaster, KernelMatchesThePixelByPixelReference)
{
    struct File { const char* name; QByteArray bytes; } files[] = {
        {"global int16, compressed", gridFile(1, -180, 90, 0.5, 720, 360, 50, 1)},
        {"regional int16, raw", gridFile(1, -30, 40, 0.25, 160, 120, 64, 0)},
        {"regional RGB", gridFile(3, 10, 20, 1.0, 50, 40, 16, 1)},
    };
    const View views[] = {
        {"geog world", VX_MAP_GEOG, 321, 163, -180, 180, -90, 90, 0, 0, 1.0, 0.0},
        {"geog beyond the date line, upsampled", VX_MAP_GEOG, 240, 150, 150, 230, -10, 45, 0, 0, 1.0, 0.0},
        {"geog east to west, south up", VX_MAP_GEOG, 97, 61, 60, -60, 50, -50, 0, 0, 1.0, 0.0},
        {"geog shaped", VX_MAP_GEOG, 200, 100, -50, 50, -10, 60, 0, 0, 0.6, 0.2},
        {"geog lightmin 1, gamma 0", VX_MAP_GEOG, 80, 40, -40, 40, 0, 40, 0, 0, 0.0, 1.0},
        {"geog one column, one row", VX_MAP_GEOG, 1, 1, 15.3, 15.3, 25.1, 25.1, 0, 0, 1.0, 0.0},
        {"none", VX_MAP_NONE, 130, 90, -35, 60, -5, 45, 0, 0, 1.0, 0.0},
        {"merc", VX_MAP_MERC, 200, 160, -100, 100, -100, 100, 0, 0, 1.0, 0.0},
        {"merc shaped", VX_MAP_MERC, 150, 150, -20, 50, -10, 80, 0, 0, 1.8, 0.1},
        {"edp", VX_MAP_EDP, 170, 170, -180, 180, -180, 180, 20, 30, 1.0, 0.0},
        {"edp shaped", VX_MAP_EDP, 120, 100, -40, 40, -30, 30, 5, 25, 0.8, 0.3},
        {"globe", VX_MAP_GLOBE, 140, 140, -60, 60, -60, 60, -10, 35, 1.0, 0.0},
    };
    for (const File& f : files) {
        SCOPED_TRACE(f.name);
        for (int threads : {1, 3}) {
            SCOPED_TRACE(threads);
            VXMapData md(threads);
            ASSERT_EQ(md.setInputBuffer(reinterpret_cast<const unsigned char*>(f.bytes.constData()), f.bytes.size(),
                                        "r"),
                      0);
            md.setResolution(0);
            for (const View& v : views) {
                SCOPED_TRACE(v.name);
                QImage* image = md.drawImage(v.w, v.h, v.tran, v.x0, v.x1, v.y0, v.y1, v.lonr, v.latr, v.gamma,
                                             v.lightmin);
                ASSERT_NE(image, nullptr);
                // VX_MAPDATA_PNG_DIR=folder keeps every raster for a look
                if (const char* dir = getenv("VX_MAPDATA_PNG_DIR"))
                    image->save(QString("%1/%2-%3-%4.png").arg(dir, f.name, v.name).arg(threads));
                const std::vector<unsigned int> expect = referenceImage(md, v);
                long differ = 0, first = -1;
                for (int i = 0; i < v.h; i++)
                    for (int j = 0; j < v.w; j++)
                        if (image->pixel(j, i) != expect[i * v.w + j] && differ++ == 0)
                            first = i * v.w + j;
                EXPECT_EQ(differ, 0) << "first at row " << first / v.w << " column " << first % v.w;
            }
        }
    }
}

TEST(MapDataRaster, LightnessThatIsNotANumberLeavesColoursUnshaped)
{
    const QByteArray bytes = gridFile(1, -180, 90, 2.0, 180, 90, 32, 1);
    VXMapData md(2);
    ASSERT_EQ(md.setInputBuffer(reinterpret_cast<const unsigned char*>(bytes.constData()), bytes.size(), "n"), 0);
    md.setResolution(0);
    const QImage plain = md.drawImage(90, 45, VX_MAP_GEOG, -180, 180, -90, 90, 0, 0, 1.0, 0.0)->copy();
    const double nan = std::nan("");
    EXPECT_EQ(*md.drawImage(90, 45, VX_MAP_GEOG, -180, 180, -90, 90, 0, 0, nan, 0.0), plain);
    EXPECT_EQ(md.gamma, 1.0);
    EXPECT_EQ(*md.drawImage(90, 45, VX_MAP_GEOG, -180, 180, -90, 90, 0, 0, 1.0, nan), plain);
    EXPECT_EQ(md.lightmin, 0.0);
}
