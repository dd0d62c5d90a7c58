#include "foundation/values.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"

#include <QBrush>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QPainter>
#include <QPen>
#include <QStringList>

#include <algorithm>
#include <cmath>

namespace {

// A part of an HSL(A) text as a finite double; false when it is not one.
bool hslPart(const QString& text, double* value)
{
    bool ok = false;
    double v = text.toDouble(&ok);
    if (!ok || !std::isfinite(v))
        return false;
    *value = v;
    return true;
}

// Three or four parts: hue (degrees), saturation, lightness, alpha.
QColor hslColor(const QStringList& parts)
{
    double hsla[4] = {0.0, 0.0, 0.0, 1.0};
    for (qsizetype i = 0; i < parts.size(); i++)
        if (!hslPart(parts[i], &hsla[i]))
            return QColor();
    // fmod rather than repeated steps of 360: the hue may be any size
    double hue = std::fmod(hsla[0], 360.0);
    if (hue < 0.0)
        hue += 360.0;
    if (hue >= 360.0 || hue == 0.0)  // -tiny + 360 rounds to 360; -0 to 0
        hue = 0.0;
    QColor color;
    color.setHslF(static_cast<float>(hue / 360.0), static_cast<float>(std::clamp(hsla[1], 0.0, 1.0)),
                  static_cast<float>(std::clamp(hsla[2], 0.0, 1.0)),
                  static_cast<float>(std::clamp(hsla[3], 0.0, 1.0)));
    return color;
}

struct WeightWord
{
    const char* word;
    int weight;
};

constexpr WeightWord weight_words[] = {
    {"Light", 300}, {"Normal", 400}, {"DemiBold", 600}, {"Bold", 700}, {"Black", 900},
};

// Size field: empty is the default -1; otherwise an integer up to the
// largest pixel size.
bool parseSize(const QString& field, int* size)
{
    QString t = field.trimmed();
    if (t.isEmpty()) {
        *size = -1;
        return true;
    }
    bool ok = false;
    int v = t.toInt(&ok);
    if (!ok || v < -1 || v > VX_FONT_MAX_PIXEL_SIZE)
        return false;
    *size = v;
    return true;
}

// Weight field: empty is the default -1; a weight word in any case; or an
// integer from -1 to 1000.
bool parseWeight(const QString& field, int* weight)
{
    QString t = field.trimmed();
    if (t.isEmpty()) {
        *weight = -1;
        return true;
    }
    for (const WeightWord& w : weight_words) {
        if (t.compare(QLatin1String(w.word), Qt::CaseInsensitive) == 0) {
            *weight = w.weight;
            return true;
        }
    }
    bool ok = false;
    int v = t.toInt(&ok);
    if (!ok || v < -1 || v > 1000)
        return false;
    *weight = v;
    return true;
}

// Italic field: empty is 0, otherwise a boolean word.
bool parseItalic(const QString& field, int* italic)
{
    QString t = field.trimmed();
    if (t.isEmpty()) {
        *italic = 0;
        return true;
    }
    int v = 0;
    if (HL_ParseBoolean(t.toUtf8().constData(), &v) < 0)
        return false;
    *italic = v;
    return true;
}

// The Qt pen styles a caller may name.
bool isPenStyle(int style)
{
    return style >= Qt::NoPen && style <= Qt::CustomDashLine;
}

bool isJoinStyle(int style)
{
    return style == Qt::MiterJoin || style == Qt::BevelJoin || style == Qt::RoundJoin || style == Qt::SvgMiterJoin;
}

bool isCapStyle(int style)
{
    return style == Qt::FlatCap || style == Qt::SquareCap || style == Qt::RoundCap;
}

void applyPenStyles(QPen& pen, int linestyle, int joinstyle, int capstyle)
{
    pen.setStyle(isPenStyle(linestyle) ? static_cast<Qt::PenStyle>(linestyle) : Qt::SolidLine);
    if (joinstyle >= 0 && isJoinStyle(joinstyle))
        pen.setJoinStyle(static_cast<Qt::PenJoinStyle>(joinstyle));
    if (capstyle >= 0 && isCapStyle(capstyle))
        pen.setCapStyle(static_cast<Qt::PenCapStyle>(capstyle));
}

} // namespace

int VX_Strcmp(const QString& a, const QString& b)
{
    if (a.isEmpty() && b.isEmpty())
        return 0;
    if (a.isEmpty() || b.isEmpty())
        return 1;
    return QString::compare(a, b, Qt::CaseSensitive);
}

int VX_ParseColor(const QString& value, VX_Color& color)
{
    if (VX_Strcmp(value, color.color_name) == 0)
        return 0;
    VX_ClearColor(color);
    if (value.isEmpty())
        return 1;

    QStringList parts = value.split(QLatin1Char(','), Qt::KeepEmptyParts);
    QColor parsed = (parts.size() == 3 || parts.size() == 4) ? hslColor(parts) : QColor(value);
    if (!parsed.isValid()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_ParseColor: Cannot parse color '%s'\n", value.toUtf8().constData());
        return -1;
    }
    color.color = parsed;
    color.color_name = value;
    return 1;
}

void VX_ClearColor(VX_Color& color)
{
    color.color_name.clear();
    color.color = QColor();
}

void VX_CopyColor(const VX_Color& color, VX_Color& color_copy)
{
    if (&color == &color_copy)
        return;
    if (!color.color_name.isEmpty() && !color_copy.color_name.isEmpty() && color.color.isValid() &&
        color_copy.color.isValid() && VX_Strcmp(color.color_name, color_copy.color_name) == 0 &&
        color.color == color_copy.color)
        return;
    color_copy.color_name = color.color_name;
    color_copy.color = color.color;
}

int VX_ParseFont(const QString& value, VX_Font& font)
{
    font.font_name.clear();

    if (value.isEmpty()) {
        // a set font with an empty family counts as a change as well
        int changed = (!font.family.isEmpty() || !font.invalid) ? 1 : 0;
        font.family.clear();
        font.font = QFont();
        font.size = -1;
        font.weight = -1;
        font.italic = 0;
        font.invalid = 1;
        return changed;
    }

    QStringList fields = value.split(QLatin1Char(','), Qt::KeepEmptyParts);
    if (fields.size() >= 5) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_ParseFont: Too many fields in font '%s'\n",
                          value.toUtf8().constData());
        return -1;
    }

    QString family = fields[0].trimmed();
    int size = -1;
    int weight = -1;
    int italic = 0;
    if (fields.size() > 1 && !parseSize(fields[1], &size)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_ParseFont: Unable to parse size from '%s'.\n",
                          fields[1].toUtf8().constData());
        return -1;
    }
    if (fields.size() > 2 && !parseWeight(fields[2], &weight)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_ParseFont: Unable to parse weight from '%s'.\n",
                          fields[2].toUtf8().constData());
        return -1;
    }
    if (fields.size() > 3 && !parseItalic(fields[3], &italic)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_ParseFont: Unable to parse italic from '%s'.\n",
                          fields[3].toUtf8().constData());
        return -1;
    }

    if (!font.invalid && VX_Strcmp(family, font.family) == 0 && size == font.size && weight == font.weight &&
        italic == font.italic)
        return 0;

    font.family = family;
    font.size = size;
    font.weight = weight;
    font.italic = italic;
    font.invalid = 0;
    font.font = family.isEmpty() ? QFont() : QFont(family, size, weight, italic != 0);
    if (size > 0)
        font.font.setPixelSize(size);  // sizes in font texts are pixels
    font.font_name = value;
    return 1;
}

int VX_SetFontSize(int size, VX_Font& font)
{
    font.size = size;
    if (size >= 1)
        font.font.setPixelSize(std::min(size, VX_FONT_MAX_PIXEL_SIZE));
    return 0;
}

int VX_setup_line(QPainter* painter, const VX_Color* color, int linewidth, int linestyle, int joinstyle,
                  int capstyle)
{
    if (!painter) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_setup_line: No painter.\n");
        return -1;
    }
    if (!color || !color->color.isValid() || linewidth < 0) {
        painter->setPen(Qt::NoPen);
        return 0;
    }
    QPen pen(color->color);
    pen.setWidth(linewidth);
    applyPenStyles(pen, linestyle, joinstyle, capstyle);
    painter->setPen(pen);
    return 0;
}

int VX_setup_line(QPainter* painter, const VX_Color* color, double linewidth, int linestyle, int joinstyle,
                  int capstyle)
{
    if (!painter) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_setup_line: No painter.\n");
        return -1;
    }
    if (!color || !color->color.isValid() || !(linewidth >= 0.0) || !std::isfinite(linewidth)) {
        painter->setPen(Qt::NoPen);
        return 0;
    }
    QPen pen(color->color);
    pen.setWidthF(linewidth);
    applyPenStyles(pen, linestyle, joinstyle, capstyle);
    painter->setPen(pen);
    return 0;
}

int VX_setup_fill(QPainter* painter, const VX_Color* color)
{
    if (!painter) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_setup_fill: No painter.\n");
        return -1;
    }
    painter->setPen(Qt::NoPen);
    if (color && color->color.isValid())
        painter->setBrush(QBrush(color->color));
    else
        painter->setBrush(Qt::NoBrush);
    return 0;
}

int VX_setup_text(QPainter* painter, const VX_Color* color, const VX_Font* font)
{
    if (!painter) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_setup_text: No painter.\n");
        return -1;
    }
    if (!color || !color->color.isValid()) {
        painter->setPen(Qt::NoPen);
        return 0;
    }
    painter->setPen(QPen(color->color));
    if (font && !font->invalid)
        painter->setFont(font->font);
    return 0;
}

int VX_get_fontmetrics(const VX_Font* font, const char* text, int* str_w, int* str_h, int* ascent, int* descent)
{
    int w = 0, h = 0, a = 0, d = 0;
    int ret = 0;
    if (font && !font->invalid) {
        if (!qGuiApp) {
            // fonts cannot be measured before the application exists
            hl_register_error(HL_SEVERITY_NORMAL, "VX_get_fontmetrics: No application to measure fonts with.\n");
            ret = -1;
        } else {
            QFontMetrics metrics(font->font);
            QRect box = metrics.boundingRect(QString::fromUtf8(text ? text : ""));
            w = box.width();
            h = box.height();
            a = metrics.ascent();
            d = metrics.descent();
        }
    }
    if (str_w)
        *str_w = w;
    if (str_h)
        *str_h = h;
    if (ascent)
        *ascent = a;
    if (descent)
        *descent = d;
    return ret;
}
