// Graphics contexts: coding texts, codings of items, and item values.
#include "glyphs/graphicscontext.h"

#include "foundation/values.h"
#include "glyphs/graphicscontext_p.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"

#include <QByteArray>
#include <QStringList>

#include <climits>
#include <cmath>
#include <cstring>

namespace {

const char* utf8(const QString& s, QByteArray& keep)
{
    keep = s.toUtf8();
    return keep.constData();
}

// A point "in,out" (commas 1) or a lone number (commas 0) of a coding text.
int parse_coding_point(const QString& field, const QString& text, int commas, double* a, double* b)
{
    QByteArray f8, t8;
    qsizetype have = field.count(QLatin1Char(','));
    if (commas == 1 && have != 1) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "vxgraphicscontext_parse_coding_point: parse error for '%s' - should have one ',' "
                          "characters.\n",
                          utf8(field, f8));
        return -1;
    }
    if (commas == 0 && have != 0) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "vxgraphicscontext_parse_coding_point: parse error for '%s' - should have no ',' "
                          "characters.\n",
                          utf8(field, f8));
        return -1;
    }
    QStringList parts = field.split(QLatin1Char(','));
    double values[2] = {0.0, 0.0};
    for (qsizetype i = 0; i < parts.size(); i++) {
        if (!vxgc::parseNumber(parts[i], &values[i])) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "vxgraphicscontext_parse_coding_point: strtod error for '%s' in '%s' - strtod() "
                              "error.\n",
                              utf8(parts[i], f8), utf8(text, t8));
            return -1;
        }
    }
    *a = values[0];
    if (b)
        *b = values[1];
    return 0;
}

bool finiteCoding(const VxGraphicsContextCoding& c)
{
    return std::isfinite(c.in_0) && std::isfinite(c.out_0) && std::isfinite(c.out_scale) &&
           std::isfinite(c.out_min) && std::isfinite(c.out_max);
}

// The three channels at input; the limits count only when the first
// coding's are in force, and then each channel keeps to its own (a channel
// whose own pair is off, as with a constant, is left alone).
void hslAt(const VxGraphicsContextCoding* c, double input, double hsl[3])
{
    bool limits = c[0].out_max > c[0].out_min;
    for (int i = 0; i < 3; i++) {
        double v = c[i].out_scale == 0.0 ? c[i].out_0 : c[i].out_0 + c[i].out_scale * (input - c[i].in_0);
        if (limits && c[i].out_max > c[i].out_min)
            v = v < c[i].out_min ? c[i].out_min : (v > c[i].out_max ? c[i].out_max : v);
        hsl[i] = v;
    }
}

bool scalarType(int type)
{
    return type == VX_GC_PEN_WIDTH || vxgc::kindOfType(type) == vxgc::KIND_DOUBLE;
}

bool colorType(int type)
{
    return type == VX_GC_PEN_COLOR || type == VX_GC_BRUSH_COLOR;
}

} // namespace

// ---------------------------------------------------------------------------
// coding texts

int vxgraphicscontext_parse_coding(const QString& text, VxGraphicsContextCoding* coding)
{
    QByteArray t8, f8;
    if (!coding) {
        hl_register_error(HL_SEVERITY_NORMAL, "vxgraphicscontext_parse_coding: null coding.\n");
        return -1;
    }
    // count before splitting: a text of many fields is refused at once
    qsizetype colons = text.count(QLatin1Char(':'));
    if (colons != 0 && colons != 1 && colons != 3) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "vxgraphicscontext_parse_coding: parse error for '%s' - only 0, 1, or 3 ':' characters "
                          "allowed.\n",
                          utf8(text, t8));
        return -1;
    }
    QStringList fields = text.split(QLatin1Char(':'));
    double in1 = 0.0, out1 = 0.0, in2 = 1.0, out2 = 0.0, outmin = 1.0, outmax = -1.0;
    int r = 0;
    int failed = 0;
    if (fields.size() == 1) {
        r = parse_coding_point(fields[0], text, 0, &out1, nullptr);
        out2 = out1;
    } else {
        r = parse_coding_point(fields[0], text, 1, &in1, &out1);
        if (r == 0 && (r = parse_coding_point(fields[1], text, 1, &in2, &out2)) < 0)
            failed = 1;
        if (r == 0 && fields.size() == 4) {
            if ((r = parse_coding_point(fields[2], text, 0, &outmin, nullptr)) < 0)
                failed = 2;
            else if ((r = parse_coding_point(fields[3], text, 0, &outmax, nullptr)) < 0)
                failed = 3;
        }
    }
    if (r < 0) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "vxgraphicscontext_parse_coding: vxgraphicscontect_parse_coding_point(%s) error.\n",
                          utf8(fields[failed], f8));
        return -1;
    }
    VxGraphicsContextCoding c;
    VXGraphicsContext::setGcCoding(&c, in1, out1, in2, out2, outmin, outmax);
    if (!finiteCoding(c)) {  // finite points can still give an infinite slope
        hl_register_error(HL_SEVERITY_NORMAL, "vxgraphicscontext_parse_coding: slope out of range in '%s'.\n",
                          utf8(text, t8));
        return -1;
    }
    *coding = c;
    return 0;
}

double vxgraphicscontext_apply_coding(const VxGraphicsContextCoding& c, double input)
{
    // a zero slope is the constant even for an infinite input
    double v = c.out_scale == 0.0 ? c.out_0 : c.out_0 + c.out_scale * (input - c.in_0);
    if (c.out_max > c.out_min)
        v = v < c.out_min ? c.out_min : (v > c.out_max ? c.out_max : v);
    return v;
}

void VXGraphicsContext::setGcCoding(VxGraphicsContextCoding* coding, double in1, double out1, double in2,
                                    double out2, double outmin, double outmax)
{
    if (!coding)
        return;
    coding->in_0 = in1;
    coding->out_0 = out1;
    coding->out_scale = in1 == in2 ? 0.0 : (out2 - out1) / (in2 - in1);
    coding->out_min = outmin;
    coding->out_max = outmax;
}

int VXGraphicsContext::parseCodings(const QString& text, int ncodings, VxGraphicsContextCoding* codings)
{
    QByteArray t8, p8;
    if (!codings || ncodings < 1 || ncodings > 3) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::parseCodings: bad arguments for '%s'.\n",
                          utf8(text, t8));
        return -1;
    }
    if (text.count(QLatin1Char(';')) != ncodings - 1) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXGraphicsContext::parseCodings: parse error for '%s' - %d codings expected.\n",
                          utf8(text, t8), ncodings);
        return -1;
    }
    QStringList parts = text.split(QLatin1Char(';'));
    VxGraphicsContextCoding parsed[3];
    for (int i = 0; i < ncodings; i++) {
        if (vxgraphicscontext_parse_coding(parts[i], &parsed[i]) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXGraphicsContext::parseCodings: vxgraphicscontext_parse_coding(%s) error.\n",
                              utf8(parts[i], p8));
            return -1;
        }
    }
    std::copy(parsed, parsed + ncodings, codings);
    return 0;
}

int VXGraphicsContext::parseColorCoding(const QString& text, QColor** color, VxGraphicsContextCoding** codings)
{
    if (!color || !codings) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::parseColorCoding: null argument.\n");
        return -1;
    }
    QColor plain;
    VxGraphicsContextCoding parsed[3];
    bool coded = false;
    if (!vxgc::parseColorText(text, "VXGraphicsContext::parseColorCoding", &plain, parsed, &coded))
        return -1;
    *color = new QColor(plain);
    *codings = nullptr;
    if (coded) {
        *codings = new VxGraphicsContextCoding[3];
        std::copy(parsed, parsed + 3, *codings);
    }
    return coded ? 1 : 0;
}

// ---------------------------------------------------------------------------
// codings of items

int VXGraphicsContext::setGcItemCoding(const QString& name, int coding_type, VxGraphicsContextCoding coding)
{
    QByteArray n8;
    if (coding_type == VX_GC_CODING_COLOR) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXGraphicsContext::setGcItemCoding: a colour coding of '%s' needs three codings.\n",
                          utf8(name, n8));
        return -1;
    }
    return setGcItemCoding(name, coding_type, &coding);
}

int VXGraphicsContext::setGcItemCoding(const QString& name, int coding_type, const VxGraphicsContextCoding* codings)
{
    QByteArray n8;
    VxGraphicsContextItem item = get_item(name, 0, 0);
    if (!item) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItemCoding: get_item(%s) error.\n",
                          utf8(name, n8));
        return -1;
    }
    if (setGcItemCoding(item, coding_type, codings) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItemCoding: Cannot set coding of '%s'.\n",
                          utf8(name, n8));
        return -1;
    }
    return 0;
}

int VXGraphicsContext::setGcItemCoding(const VxGraphicsContextItem& item, int coding_type,
                                       const VxGraphicsContextCoding* codings)
{
    QByteArray n8;
    if (!item || !item->item) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItemCoding: null item.\n");
        return -1;
    }
    VxGraphicsContextItemParams& p = *item->item;
    if (coding_type == VX_GC_CODING_NONE) {
        vxgc::storeCoding(p, VX_GC_CODING_NONE, nullptr);
        return 0;
    }
    int n = coding_type == VX_GC_CODING_SCALAR ? 1 : coding_type == VX_GC_CODING_COLOR ? 3 : 0;
    if (n == 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItemCoding: Unrecognized coding type %d.\n",
                          coding_type);
        return -1;
    }
    if ((n == 1 && !scalarType(p.type)) || (n == 3 && !colorType(p.type))) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXGraphicsContext::setGcItemCoding: coding type %d does not fit item '%s' of type %d.\n",
                          coding_type, utf8(p.name, n8), p.type);
        return -1;
    }
    if (!codings) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItemCoding: null coding.\n");
        return -1;
    }
    for (int i = 0; i < n; i++) {
        if (!finiteCoding(codings[i])) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXGraphicsContext::setGcItemCoding: coding values must be finite.\n");
            return -1;
        }
    }
    vxgc::storeCoding(p, coding_type, codings);
    return 0;
}

// ---------------------------------------------------------------------------
// values

namespace vxgc {

bool parseNumber(const QString& field, double* value)
{
    QByteArray bytes = field.toUtf8();
    const char* s = bytes.constData();
    char* end = nullptr;
    double v = fixed_strtod(s, &end);
    if (end == s)
        return false;
    while (end < s + bytes.size() && (*end == ' ' || *end == '\t' || *end == '\n' || *end == '\r'))
        end++;
    if (end != s + bytes.size() || !std::isfinite(v))
        return false;
    *value = v;
    return true;
}

bool colorAt(const VxGraphicsContextCoding* codings, double input, QColor* color)
{
    double hsl[3];
    hslAt(codings, input, hsl);
    for (double v : hsl)
        if (!std::isfinite(v))
            return false;
    VX_Color parsed;
    if (VX_ParseColor(QString::asprintf("%f,%f,%f", hsl[0], hsl[1], hsl[2]), parsed) < 0)
        return false;
    *color = parsed.color;
    return true;
}

bool parseColorText(const QString& text, const char* who, QColor* plain, VxGraphicsContextCoding codings[3],
                    bool* coded)
{
    QByteArray t8;
    qsizetype semicolons = text.count(QLatin1Char(';'));
    if (semicolons == 0) {
        VX_Color color;
        if (VX_ParseColor(text, color) < 0 || !color.color.isValid()) {
            const char* t = utf8(text, t8);
            hl_register_error(HL_SEVERITY_NORMAL, "%s: VX_ParseColor(%s) error in '%s'.\n", who, t, t);
            return false;
        }
        *plain = color.color;
        *coded = false;
        return true;
    }
    if (semicolons != 2) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: parse error for '%s' - only 0 or 2 ';' characters allowed.\n", who,
                          utf8(text, t8));
        return false;
    }
    VxGraphicsContextCoding parsed[3];
    QColor first;
    if (VXGraphicsContext::parseCodings(text, 3, parsed) < 0 || !colorAt(parsed, parsed[0].in_0, &first)) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: parseColorHslCoding(%s) error.\n", who, utf8(text, t8));
        return false;
    }
    std::copy(parsed, parsed + 3, codings);
    *plain = first;
    *coded = true;
    return true;
}

const void* evaluate(const VxGraphicsContextItemRaw& raw, int* kind, bool* ok)
{
    *ok = true;
    *kind = KIND_NONE;
    if (!raw.item)
        return nullptr;
    VxGraphicsContextItemParams& p = *raw.item;
    *kind = p.value_kind;
    if (raw.coding_input == VX_GC_NO_INPUT || p.coding_type == VX_GC_CODING_NONE || !p.coding || !p.coding_out)
        return p.value;
    const double input = static_cast<double>(raw.coding_input);
    if (p.coding_type == VX_GC_CODING_SCALAR && p.coding_out_kind == KIND_DOUBLE) {
        double v = vxgraphicscontext_apply_coding(p.coding[0], input);
        if (!std::isfinite(v)) {
            *ok = false;
            return p.value;
        }
        *static_cast<double*>(p.coding_out) = v;
        *kind = KIND_DOUBLE;
        return p.coding_out;
    }
    if (p.coding_type == VX_GC_CODING_COLOR && p.coding_out_kind == KIND_COLOR) {
        QColor c;
        if (!colorAt(p.coding, input, &c)) {
            *ok = false;
            return p.value;
        }
        *static_cast<QColor*>(p.coding_out) = c;
        *kind = KIND_COLOR;
        return p.coding_out;
    }
    return p.value;
}

} // namespace vxgc

int VXGraphicsContext::getValue(const VxGraphicsContextItem& item, void** value)
{
    if (!value || !item || !item->item) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::getValue: null item.\n");
        return -1;
    }
    int kind = 0;
    bool ok = true;
    *value = const_cast<void*>(vxgc::evaluate(*item, &kind, &ok));
    if (!ok) {
        if (item->item->coding_type == VX_GC_CODING_COLOR)
            hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::getValue: VX_ParseColor() error.\n");
        else
            hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::getValue: coded value is not finite.\n");
        return -1;
    }
    return 0;
}

namespace {

// The item's value as a double: 0; -1 with a registered error when a coded
// value could not be computed (*number is the plain value then); -2 with a
// registered error when the item holds no number (*number untouched).
int numberValue(const VxGraphicsContextItem& item, double* number)
{
    QByteArray n8;
    if (!item || !item->item) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::getValue: null item.\n");
        return -2;
    }
    int kind = 0;
    bool ok = true;
    const void* v = vxgc::evaluate(*item, &kind, &ok);
    if (kind == vxgc::KIND_INT && v) {
        *number = *static_cast<const int*>(v);
    } else if (kind == vxgc::KIND_DOUBLE && v) {
        *number = *static_cast<const double*>(v);
    } else {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::getValue: item '%s' holds no number.\n",
                          utf8(item->item->name, n8));
        return -2;
    }
    if (!ok) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::getValue: coded value is not finite.\n");
        return -1;
    }
    return 0;
}

// The value rounded to the nearest integer within lo to hi.
int integerValue(const VxGraphicsContextItem& item, double lo, double hi, double* rounded)
{
    double v = 0.0;
    int r = numberValue(item, &v);
    if (r == -2)
        return -1;
    double n = std::nearbyint(v);
    if (!(n >= lo && n <= hi)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::getValue: value %g out of range.\n", v);
        return -1;
    }
    *rounded = n;
    return r < 0 ? -2 : 0;  // -2: a fallback value was given
}

} // namespace

int VXGraphicsContext::getValue(const VxGraphicsContextItem& item, int* value)
{
    double n = 0.0;
    if (!value)
        return -1;
    int r = integerValue(item, INT_MIN, INT_MAX, &n);
    if (r == -1)
        return -1;
    *value = static_cast<int>(n);
    return r < 0 ? -1 : 0;
}

int VXGraphicsContext::getValue(const VxGraphicsContextItem& item, long* value)
{
    double n = 0.0;
    if (!value)
        return -1;
    // the largest doubles inside the range of a 64-bit long
    int r = integerValue(item, -9223372036854774784.0, 9223372036854774784.0, &n);
    if (r == -1)
        return -1;
    *value = static_cast<long>(n);
    return r < 0 ? -1 : 0;
}

int VXGraphicsContext::getValue(const VxGraphicsContextItem& item, double* value)
{
    double v = 0.0;
    if (!value)
        return -1;
    int r = numberValue(item, &v);
    if (r == -2)
        return -1;
    *value = v;
    return r;
}
