// Synthetic map data files for the map data tests.
#pragma once

#include "map/mapdata.h"
#include "map/mapdatawriter.h"
#include "toolkit/base/errors.h"
#include "viewport/viewport.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QFile>
#include <QImage>
#include <QString>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace mdtest {

// Read a file held in memory, named name: what setInputBuffer returned.
inline int setBytes(HLMapData& md, const QByteArray& bytes, const char* name)
{
    return md.setInputBuffer(reinterpret_cast<const unsigned char*>(bytes.constData()), bytes.size(), name);
}

// Read a file held in memory and choose its first resolution.
inline int load(VXMapData& md, const QByteArray& bytes, const char* name = "test")
{
    const int rc = setBytes(md, bytes, name);
    if (rc == 0)
        md.setResolution(0);
    return rc;
}

// Write bytes to a new file at path; false when it cannot be written.
inline bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// The path of the coastlines file, empty when the build did not make it
// (the register is left empty).
inline QString coastsFile()
{
    char* path = HLMapData::checkInputFile("coasts.vector.xmd", nullptr, nullptr, nullptr);
    hl_clear_register(0);
    const QString out = path ? QString::fromLocal8Bit(path) : QString();
    free(path);
    return out;
}
inline bool haveCoasts()
{
    return !coastsFile().isEmpty();
}

// The pixel of a geographic point.
inline QPoint pixelOf(VXViewport* vp, double lon, double lat)
{
    double x = 0, y = 0;
    vp->getPcoords(lon, lat, &x, &y, 0, 0);
    return QPoint(static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y)));
}

// Whether a pixel darker than grey level below lies within radius of p.
inline bool inkNear(const QImage& image, QPoint p, int radius, int below = 128)
{
    for (int y = p.y() - radius; y <= p.y() + radius; y++)
        for (int x = p.x() - radius; x <= p.x() + radius; x++)
            if (image.valid(x, y) && qGray(image.pixel(x, y)) < below)
                return true;
    return false;
}

// A closed ring from degree pairs (lon, lat, lon, lat, ...).
inline HLMapDataWriterSegment ring(int level, int fill, std::initializer_list<double> lonlat)
{
    HLMapDataWriterSegment s;
    s.level = level;
    s.fill = fill;
    const std::vector<double> v(lonlat);
    for (size_t i = 0; i + 1 < v.size(); i += 2)
        s.pts.push_back({static_cast<int>(v[i] * 1e6), static_cast<int>(v[i + 1] * 1e6)});
    s.pts.push_back(s.pts.front());
    return s;
}

// A global grid, pixel centres every step degrees from -180 + step/2 and
// from 90 - step/2 southward, height f(lon, lat), in tiles of tile pixels.
template <typename F>
QByteArray globalGrid(double step, long tile, int compressed, F height, int resolutions = 1)
{
    const long nlon = static_cast<long>(360.0 / step), nlat = static_cast<long>(180.0 / step);
    std::vector<int16_t> z(nlon * nlat);
    for (long j = 0; j < nlat; j++)
        for (long i = 0; i < nlon; i++)
            z[j * nlon + i] = height(-180.0 + step * (i + 0.5), 90.0 - step * (j + 0.5));
    HLMapDataWriter writer;
    for (int r = resolutions - 1; r >= 0; r--) {
        HLMapDataWriterGrid g;
        g.name = "test grid";
        g.resolution = r == 0 ? "fine" : "coarse";
        g.lon_start = -180.0 + 0.5 * step;
        g.dlon = step;
        g.lat_start = 90.0 - 0.5 * step;
        g.dlat = -step;
        g.nlon = nlon;
        g.nlat = nlat;
        g.pixels = reinterpret_cast<const unsigned char*>(z.data());
        g.nlon_per_tile = g.nlat_per_tile = tile;
        g.compressed = compressed;
        g.decimation_factor = 1L << r;
        writer.addGrid(g);
    }
    return writer.bytes();
}

// Expect ink (a pixel darker than grey level below) within radius of each
// geographic point that should carry a line, and none near the others.
struct Ink { double lon, lat; int radius; bool ink; };
inline void expectInk(const QImage& image, VXViewport* vp, std::initializer_list<Ink> points, int below = 128)
{
    for (const Ink& p : points)
        EXPECT_EQ(inkNear(image, pixelOf(vp, p.lon, p.lat), p.radius, below), p.ink) << p.lon << " " << p.lat;
}

} // namespace mdtest
