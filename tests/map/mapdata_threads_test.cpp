// The raster fill on the worker pool: the same bytes for any thread count,
// in every projection, with and without lightness shaping.
#include "map/mapdata_support.h"
#include "support/testsupport.h"

#include "viewport/viewport.h"

#include <gtest/gtest.h>

#include <QImage>

#include <cmath>

TEST(MapDataThreads, ImagesAreByteIdenticalForAnyThreadCount)
{
    // heights varying in both directions, compressed tiles, so that the
    // threads race to inflate the same tiles
    const QByteArray bytes = mdtest::globalGrid(0.5, 40, 1, [](double lon, double lat) {
        return static_cast<int16_t>(2500.0 * std::sin(lon * 0.05) * std::cos(lat * 0.07));
    });
    struct View { const char* name; int tran, w, h; double x0, x1, y0, y1, lonr, latr, gamma, lightmin; } views[] = {
        {"geog", VX_MAP_GEOG, 301, 157, -180, 180, -90, 90, 0, 0, 1.0, 0.0},
        {"merc shaped", VX_MAP_MERC, 200, 120, -100, 60, -80, 80, 0, 0, 0.7, 0.3},
        {"edp", VX_MAP_EDP, 180, 180, -180, 180, -180, 180, 30, -20, 1.0, 0.0},
        {"globe", VX_MAP_GLOBE, 150, 150, -60, 60, -60, 60, -70, 45, 1.0, 0.0},
        {"fewer rows than threads", VX_MAP_GEOG, 50, 5, -10, 10, -2, 2, 0, 0, 1.0, 0.0},
    };
    for (const View& v : views) {
        SCOPED_TRACE(v.name);
        QByteArray reference;
        for (int threads : {1, 2, 7, 16}) {
            SCOPED_TRACE(threads);
            VXMapData md(threads);
            ASSERT_EQ(mdtest::load(md, bytes, "t"), 0);
            QImage* image = md.drawImage(v.w, v.h, v.tran, v.x0, v.x1, v.y0, v.y1, v.lonr, v.latr, v.gamma,
                                         v.lightmin);
            ASSERT_NE(image, nullptr);
            const QByteArray pixels(reinterpret_cast<const char*>(image->constBits()), image->sizeInBytes());
            if (threads == 1) {
                reference = pixels;
                // the whole raster is filled: the last row too
                EXPECT_EQ(qAlpha(image->pixel(v.w / 2, v.h - 1)), 255);
            } else {
                EXPECT_TRUE(pixels == reference);
            }
            EXPECT_EQ(md.nthreads, threads);
        }
    }
}
