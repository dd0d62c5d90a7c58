#include "gridinput.h"

#include <QStringList>

#include <cmath>

int vxmapdata_parse_grid(const QByteArray& bytes, const QString& source, VxGridInput* grid, QString* error)
{
    VxGridInput g;
    qsizetype pos = 0;
    int line_no = 0;
    bool have[8] = {};
    auto fail = [&](const QString& what) {
        *error = QString("%1: line %2: %3").arg(source).arg(line_no).arg(what);
        return -1;
    };
    while (true) {
        const qsizetype nl = bytes.indexOf('\n', pos);
        line_no++;
        if (nl < 0 || nl - pos > 200)
            return fail("header line missing or too long");
        const QString line = QString::fromLatin1(bytes.mid(pos, nl - pos)).trimmed();
        pos = nl + 1;
        const QStringList w = line.split(' ', Qt::SkipEmptyParts);
        if (line_no == 1) {
            if (w.size() != 2 || w[0] != "VXGRID" || w[1] != "1")
                return fail("not a grid input (first line must be \"VXGRID 1\")");
            continue;
        }
        if (w.size() == 1 && w[0] == "data")
            break;
        if (w.size() != 2)
            return fail("expected a key and a value");
        bool ok = true;
        if (w[0] == "content") {
            if (w[1] == "int16")
                g.content = 1;
            else if (w[1] == "rgb")
                g.content = 3;
            else
                return fail("content must be int16 or rgb");
            have[0] = true;
        } else if (w[0] == "nlon" || w[0] == "nlat") {
            const long n = w[1].toLong(&ok);
            if (!ok || n < 1 || n > (1L << 20))
                return fail(w[0] + " must be an integer from 1 to 1048576");
            (w[0] == "nlon" ? g.nlon : g.nlat) = n;
            have[w[0] == "nlon" ? 1 : 2] = true;
        } else {
            const double v = w[1].toDouble(&ok);
            if (!ok || !std::isfinite(v))
                return fail("not a number: " + w[1]);
            if (w[0] == "lon_start")
                g.lon_start = v, have[3] = true;
            else if (w[0] == "dlon")
                g.dlon = v, have[4] = true;
            else if (w[0] == "lat_start")
                g.lat_start = v, have[5] = true;
            else if (w[0] == "dlat")
                g.dlat = v, have[6] = true;
            else
                return fail("unknown key " + w[0]);
        }
    }
    for (int i = 0; i < 7; i++)
        if (!have[i])
            return fail("header lacks one of content, nlon, nlat, lon_start, dlon, lat_start, dlat");
    if (g.dlon == 0.0 || g.dlat == 0.0)
        return fail("dlon and dlat must not be 0");
    const qint64 need = static_cast<qint64>(g.nlon) * g.nlat * (g.content == 1 ? 2 : 3);
    if (bytes.size() - pos != need)
        return fail(QString("%1 bytes of pixels expected after \"data\", %2 found").arg(need).arg(bytes.size() - pos));
    g.pixels = reinterpret_cast<const unsigned char*>(bytes.constData() + pos);
    *grid = g;
    return 0;
}
