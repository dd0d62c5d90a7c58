// vxmapdata: writes ".xmd" map data files.
//
//   vxmapdata vector OUT.xmd [--borders] WORD DPP TOPOJSON [WORD DPP TOPOJSON ...]
//       one vector resolution per triple, coarsest first: the resolution
//       word (e.g. 110m), its degrees per pixel, a TopoJSON topology with
//       an object "land" (and, with --borders, "countries")
//   vxmapdata grid OUT.xmd [--tile N] [--resolutions K] [--raw] [--name NAME] GRIDFILE
//       a grid of int16 heights or RGB pixels (gridinput.h gives the input
//       format); K resolutions, each coarser by 2, compressed unless --raw
//   vxmapdata info FILE.xmd
//       the resolutions of a file
#include "gridinput.h"
#include "topojson.h"

#include "map/mapdatafile.h"
#include "map/mapdatawriter.h"
#include "toolkit/base/errors.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <cstring>

namespace {

int usage()
{
    fprintf(stderr,
            "usage: vxmapdata vector OUT.xmd [--borders] WORD DPP TOPOJSON [WORD DPP TOPOJSON ...]\n"
            "       vxmapdata grid OUT.xmd [--tile N] [--resolutions K] [--raw] [--name NAME] GRIDFILE\n"
            "       vxmapdata info FILE.xmd\n");
    return 2;
}

bool readFile(const char* path, QByteArray* out)
{
    QFile f(QString::fromLocal8Bit(path));
    if (!f.open(QIODevice::ReadOnly)) {
        fprintf(stderr, "vxmapdata: cannot read %s: %s\n", path, f.errorString().toLocal8Bit().constData());
        return false;
    }
    *out = f.readAll();
    return true;
}

int writeOut(const HLMapDataWriter& writer, const char* out)
{
    if (writer.write(out) < 0) {
        fprintf(stderr, "vxmapdata: %s", hl_errlog_string(0));
        return 1;
    }
    return 0;
}

int vectorCommand(int argc, char** argv)
{
    if (argc < 3)
        return usage();
    const char* out = argv[2];
    int i = 3;
    bool borders = false;
    if (i < argc && strcmp(argv[i], "--borders") == 0) {
        borders = true;
        i++;
    }
    if (argc - i < 3 || (argc - i) % 3 != 0)
        return usage();
    HLMapDataWriter writer;
    for (; i < argc; i += 3) {
        HLMapDataWriterVector v;
        v.resolution = argv[i];
        bool ok = false;
        v.degrees_per_pixel = QString(argv[i + 1]).toDouble(&ok);
        if (!ok || !(v.degrees_per_pixel > 0)) {
            fprintf(stderr, "vxmapdata: degrees per pixel '%s' is not a positive number\n", argv[i + 1]);
            return 1;
        }
        QByteArray text;
        if (!readFile(argv[i + 2], &text))
            return 1;
        const QString source = QFileInfo(QString::fromLocal8Bit(argv[i + 2])).fileName();
        v.source = source.toStdString();
        v.name = "Natural Earth land " + v.resolution;
        QString error;
        if (vxmapdata_decode_topojson(text, source, "land", borders ? "countries" : "", &v.segments, &error) < 0) {
            fprintf(stderr, "vxmapdata: %s\n", error.toLocal8Bit().constData());
            return 1;
        }
        writer.addVector(v);
    }
    return writeOut(writer, out);
}

int gridCommand(int argc, char** argv)
{
    if (argc < 4)
        return usage();
    const char* out = argv[2];
    long tile = 256, nres = 1;
    bool raw = false;
    QString name;
    int i = 3;
    for (; i < argc - 1; i++) {
        bool ok = true;
        if (strcmp(argv[i], "--tile") == 0 && i + 1 < argc - 1)
            tile = QString(argv[++i]).toLong(&ok);
        else if (strcmp(argv[i], "--resolutions") == 0 && i + 1 < argc - 1)
            nres = QString(argv[++i]).toLong(&ok);
        else if (strcmp(argv[i], "--raw") == 0)
            raw = true;
        else if (strcmp(argv[i], "--name") == 0 && i + 1 < argc - 1)
            name = argv[++i];
        else
            return usage();
        if (!ok || tile < 1 || tile > 4096 || nres < 1 || nres > 12)
            return usage();
    }
    QByteArray bytes;
    if (!readFile(argv[argc - 1], &bytes))
        return 1;
    VxGridInput in;
    QString error;
    const QString source = QFileInfo(QString::fromLocal8Bit(argv[argc - 1])).fileName();
    if (vxmapdata_parse_grid(bytes, source, &in, &error) < 0) {
        fprintf(stderr, "vxmapdata: %s\n", error.toLocal8Bit().constData());
        return 1;
    }
    HLMapDataWriter writer;
    for (long r = nres - 1; r >= 0; r--) {
        HLMapDataWriterGrid g;
        g.name = (name.isEmpty() ? source : name).toStdString();
        g.source = source.toStdString();
        g.content = in.content;
        g.lon_start = in.lon_start;
        g.dlon = in.dlon;
        g.lat_start = in.lat_start;
        g.dlat = in.dlat;
        g.nlon = in.nlon;
        g.nlat = in.nlat;
        g.pixels = in.pixels;
        g.nlon_per_tile = g.nlat_per_tile = tile;
        g.compressed = raw ? 0 : 1;
        g.decimation_factor = 1L << r;
        g.resolution = QString("d%1").arg(g.decimation_factor).toStdString();
        if (writer.addGrid(g) < 0) {
            fprintf(stderr, "vxmapdata: %s", hl_errlog_string(0));
            return 1;
        }
    }
    return writeOut(writer, out);
}

int infoCommand(int argc, char** argv)
{
    if (argc != 3)
        return usage();
    HLMapData md;
    if (md.setInput(argv[2], 0, nullptr) < 0) {
        fprintf(stderr, "vxmapdata: %s", hl_errlog_string(0));
        return 1;
    }
    for (long i = 0; i < md.frame.nresolutions; i++) {
        const HLMapDataResolution& r = md.frame.resolutions[i];
        long count = 0;
        if (r.map_type == HL_MAPDATA_VECTOR) {
            const HLMapDataVector* v = static_cast<const HLMapDataVector*>(r.data);
            for (long t = 0; t < r.ntiles; t++)
                for (long s = 0; s < v->tiles[t].nsegments; s++)
                    count += v->tiles[t].segments[s].npts;
        }
        printf("%ld %s %s \"%s\" dpp %g tiles %ldx%ld%s\n", i, r.map_type == HL_MAPDATA_GRID ? "grid" : "vector",
               r.resolution, r.name, r.degrees_per_pixel, r.nlon_tiles, r.nlat_tiles,
               r.map_type == HL_MAPDATA_VECTOR ? QString(" points %1").arg(count).toLatin1().constData() : "");
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2)
        return usage();
    if (strcmp(argv[1], "vector") == 0)
        return vectorCommand(argc, argv);
    if (strcmp(argv[1], "grid") == 0)
        return gridCommand(argc, argv);
    if (strcmp(argv[1], "info") == 0)
        return infoCommand(argc, argv);
    return usage();
}
