// Coding texts and graphics-context item definitions on arbitrary input.
//
// The first line is parsed as a coding, as a list of three codings and as
// a colour text.  Every further line "type name value" sets an item of a
// graphics context from text; a failed setting must leave the context as it
// was.  At the end every context is turned into a pen and brush, fed coding
// inputs, read back and painted on a small image.
#include <VX.h>

#include "glyphs/graphicscontext.h"

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QPainter>
#include <QPainterPath>
#include <QString>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

constexpr size_t max_input = 8192;
constexpr int max_lines = 64;

const double inputs[] = {0.0, -1.0, 0.5, 650.0, 1e30, -1e38, NAN, INFINITY};

void checkCoding(const QString& text)
{
    VxGraphicsContextCoding c = {11.0, 22.0, 33.0, 44.0, 55.0};
    int r = vxgraphicscontext_parse_coding(text, &c);
    if (r != 0 && r != -1)
        abort();
    if (r < 0) {
        if (c.in_0 != 11.0 || c.out_0 != 22.0 || c.out_scale != 33.0 || c.out_min != 44.0 || c.out_max != 55.0)
            abort();  // untouched on failure
        return;
    }
    if (!std::isfinite(c.in_0) || !std::isfinite(c.out_0) || !std::isfinite(c.out_scale))
        abort();
    for (double x : inputs) {
        double v = vxgraphicscontext_apply_coding(c, x);
        if (c.out_max > c.out_min && v == v && (v < c.out_min || v > c.out_max))
            abort();  // limits hold
    }

    VxGraphicsContextCoding three[3];
    VXGraphicsContext::parseCodings(text, 3, three);
    QColor* colour = nullptr;
    VxGraphicsContextCoding* codings = nullptr;
    int k = VXGraphicsContext::parseColorCoding(text, &colour, &codings);
    if (k < -1 || k > 1 || (k >= 0 && !colour) || (k == 1) != (codings != nullptr))
        abort();
    delete colour;
    delete[] codings;
}

void checkItem(VXGraphicsContext& gc, const QString& line, int replace)
{
    int space1 = line.indexOf(QLatin1Char(' '));
    if (space1 < 0)
        return;
    int space2 = line.indexOf(QLatin1Char(' '), space1 + 1);
    bool ok = false;
    int type = line.left(space1).toInt(&ok);
    if (!ok)
        return;
    QString name = space2 < 0 ? line.mid(space1 + 1) : line.mid(space1 + 1, space2 - space1 - 1);
    QString value = space2 < 0 ? QString() : line.mid(space2 + 1);

    const qsizetype items_before = gc.mapgcitem.size();
    VxGraphicsContextItem existing = gc.mapgcitem.value(name.contains(QLatin1Char(':')) ? name : "default:" + name);
    QString shown_before = existing ? VXGraphicsContext::showItem(name, existing) : QString();

    VxGraphicsContextItem item = space2 < 0 ? gc.setGcItem(name, type, nullptr, replace)
                                            : gc.setGcItem(name, type, value, replace);
    if (!item) {
        if (gc.mapgcitem.size() != items_before)
            abort();  // nothing made
        if (existing && VXGraphicsContext::showItem(name, existing) != shown_before)
            abort();  // nothing changed
    } else if (gc.mapgcitem.size() < items_before) {
        abort();
    }
}

void exercise(const VxGraphicsContext& gc)
{
    if (!gc)
        return;
    QImage image(16, 16, QImage::Format_ARGB32);
    image.fill(0);
    QPainterPath path;
    path.addEllipse(2, 2, 12, 12);
    for (double x : inputs) {
        VxGraphicsContext mine = VXGraphicsContext::shareGc(gc);
        for (const VxGraphicsContextItem& item : *mine) {
            VXGraphicsContext::setCodingInput(item, x);
            void* v = nullptr;
            int i = 0;
            long l = 0;
            double d = 0.0;
            VXGraphicsContext::getValue(item, &v);
            VXGraphicsContext::getValue(item, &i);
            VXGraphicsContext::getValue(item, &l);
            VXGraphicsContext::getValue(item, &d);
        }
        QPen pen;
        QBrush brush;
        VXGraphicsContext::makeGcPenBrush(mine, &pen, &brush);
        QPainter painter(&image);
        VXGraphicsContext::drawPainterPath(mine, &painter, path);
        VXGraphicsContext::drawGcPainter(mine, &pen, &brush, &painter);
        painter.end();
    }
    VXGraphicsContext::deepCopy(gc);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > max_input)
        size = max_input;
    QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    QStringList lines = text.split(QLatin1Char('\n'));
    if (lines.size() > max_lines)
        lines.resize(max_lines);

    checkCoding(lines.value(0));

    VXGraphicsContext gc;
    for (qsizetype i = 1; i < lines.size(); i++)
        checkItem(gc, lines[i], static_cast<int>(i % 3 != 0));
    for (const QString& name : gc.getGcNames())
        exercise(gc.mapgc.value(name));
    VXGraphicsContext copy(&gc);
    copy.copy(&gc, 0);

    hl_clear_register(0);
    return 0;
}
