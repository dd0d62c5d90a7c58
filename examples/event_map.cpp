// An application that links the library's classes: the events of a CSS 3.0
// database as glyphs on a map (land, water, coasts and borders), sized by
// magnitude and coloured by depth, with the stations as triangles.
//
//   event_map DATABASE [picture.png]
//
// DATABASE is a path base (DATABASE.origin, DATABASE.event, DATABASE.site),
// for instance one written by vxgen:  vxgen --events 200 /tmp/db/db
// With a display the map opens in a window (hover a glyph to select it);
// with a picture name, or without a display, it is written to the file.
#include <VX.h>

#include "glyphs/glyph.h"
#include "glyphs/glyphs.h"
#include "glyphs/glyphsgc.h"

#include <QApplication>
#include <QImage>
#include <QSet>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

// Events: circles sized by magnitude (ML 0.5 to 4), coloured by depth from
// blue at the surface to red at 20 km.  Stations: black-edged triangles.
const char* const items =
    "gcitem_definitions &Arr{\n"
    "\tsymbol:events\t\tcircle\n"
    "\tsize:magnitude\t\tmagnitude\t0.5,4:4.0,28:4:28\n"
    "\tfill_color:depth\tdepth\t\t0.0,240.0:20.0,0.0;1.0;0.5\n"
    "\toutline_color:events\tconstant\t\\#80000000\n"
    "\toutline_linewidth:0\tconstant\t0.5\n"
    "\topacity:1\t\tconstant\t0.85\n"
    "\tsymbol:stations\t\ttriangle\n"
    "\tsize:stations\t\tconstant\t12\n"
    "\tfill_color:stations\tconstant\t\\#f0f0f0\n"
    "\toutline_color:stations\tconstant\tblack\n"
    "\toutline_linewidth:1\tconstant\t1.0\n"
    "}\n";
const char* const styles =
    "gc_definitions &Arr{\n"
    "\tevents &Tbl{\n"
    "\t\tsymbol:events\n\t\tsize:magnitude\n\t\tfill_color:depth\n"
    "\t\toutline_linewidth:0\n\t\toutline_color:events\n\t\topacity:1\n"
    "\t}\n"
    "\tstations &Tbl{\n"
    "\t\tsymbol:stations\n\t\tsize:stations\n\t\tfill_color:stations\n"
    "\t\toutline_linewidth:1\n\t\toutline_color:stations\n\t\topacity:1\n"
    "\t}\n"
    "}\n";

int fail(const char* what)
{
    fprintf(stderr, "event_map: %s\n%s", what, hl_errlog_string(0));
    return 1;
}

long recordCount(Rsptr table)
{
    long n = 0;
    return rsquery(table, RS_RECORD_COUNT, &n) == 0 ? n : -1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3) {
        fprintf(stderr, "usage: event_map DATABASE [picture.png]\n");
        return 2;
    }
    if (!getenv("QT_QPA_PLATFORM") && !getenv("DISPLAY") && !getenv("WAYLAND_DISPLAY"))
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication app(argc, argv);
    const bool headless = QGuiApplication::platformName() == QLatin1String("offscreen");
    const QString picture = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QStringLiteral("event_map.png");

    Rsptr db = rsopen(argv[1], nullptr, RS_READ);
    if (rsisinvalid(db))
        return fail("cannot open the database");
    Rsptr event = rslookup(db, nullptr, "event", nullptr, nullptr);
    Rsptr origin = rslookup(db, nullptr, "origin", nullptr, nullptr);
    Rsptr site = rslookup(db, nullptr, "site", nullptr, nullptr);
    if (rsisinvalid(event) || rsisinvalid(origin) || rsisinvalid(site))
        return fail("the database lacks an event, origin or site table");
    // a path with no tables opens as an empty database
    if (recordCount(origin) <= 0 && recordCount(site) <= 0)
        return fail("no origins and no stations in the database");

    // the preferred origin of each event
    QSet<long> preferred;
    for (event.record = 0; event.record < recordCount(event); event.record++) {
        long prefor = -1;
        if (rsgetv(event, nullptr, "prefor", &prefor, nullptr) == 0)
            preferred.insert(prefor);
    }

    auto vp = std::make_unique<VXViewport>(nullptr, 0, 1);
    vp->setWindowTitle(QStringLiteral("Events of %1").arg(QString::fromLocal8Bit(argv[1])));
    vp->resize(760, 640);
    if (vp->configure("map", "geog", "lonr", "-117.5", "latr", "34.3", "range", "7.0", "fill", "white",
                      "mleft", "70", "mright", "30", "mtop", "50", "mbottom", "60", nullptr) < 0)
        return fail("viewport configuration");
    // land, water, coasts and borders under everything else, from the
    // library's map data; without it the events stand on the plain fill
    auto map = std::make_unique<VXMap>(vp.get(), 0, 0, nullptr);
    if (map->setDefaults() < 0) {
        fprintf(stderr, "event_map: no map data, a plain background\n%s", hl_errlog_string(0));
        hl_clear_register(0);
    }
    auto axes = std::make_unique<VXAxes>(vp.get());
    axes->configure("xlabel", "longitude (degrees)", "ylabel", "latitude (degrees)", "color_grids", "#e0e0e0",
                    nullptr);
    VXGlyphsGraphicsContext ggc;
    if (ggc.configure("gcitem_definitions", items, "gc_definitions", styles, nullptr) < 0)
        return fail("glyph definitions");
    auto glyphs = std::make_unique<VXGlyphs>(vp.get());
    glyphs->setGraphicsContext(&ggc);

    int shown = 0;
    for (origin.record = 0; origin.record < recordCount(origin); origin.record++) {
        long orid = -1;
        double lat = 0, lon = 0, depth = 0, ml = 0;
        if (rsgetv(origin, nullptr, "orid", &orid, "lat", &lat, "lon", &lon, "depth", &depth, "ml", &ml, nullptr) != 0)
            return fail("reading an origin");
        if (!preferred.contains(orid))
            continue;
        VXGlyph* g = glyphs->addGlyph();
        if (g->setGlyph(QStringLiteral("events")) < 0)
            return fail("making an event glyph");
        g->setPosition(lon, lat);
        g->setCodingValue(QStringLiteral("depth"), depth);
        if (ml > -999.0)  // a null magnitude takes the smallest size
            g->setCodingValue(QStringLiteral("magnitude"), ml);
        shown++;
    }
    for (site.record = 0; site.record < recordCount(site); site.record++) {
        double lat = 0, lon = 0;
        if (rsgetv(site, nullptr, "lat", &lat, "lon", &lon, nullptr) != 0)
            return fail("reading a site");
        VXGlyph* g = glyphs->addGlyph();
        if (g->setGlyph(QStringLiteral("stations")) < 0)
            return fail("making a station glyph");
        g->setPosition(lon, lat);
    }
    const QByteArray title = QStringLiteral("%1 events, %2 stations").arg(shown).arg(recordCount(site)).toUtf8();
    auto text = std::make_unique<VXText>(vp.get(), title.constData(), "0.5v", "1.0v+14");
    text->configure("justification", "s", "font", "Helvetica,16,Bold", nullptr);

    int status = 0;
    if (headless || argc > 2) {
        QImage image = vp->grab().toImage();
        if (!image.save(picture, "PNG"))
            status = fail("cannot write the picture");
        else
            printf("event_map: wrote %s\n", qPrintable(picture));
    } else {
        vp->show();
        status = app.exec();
    }
    // items before their viewport
    text.reset();
    glyphs.reset();
    axes.reset();
    map.reset();
    vp.reset();
    rsclose(db);
    return status;
}
