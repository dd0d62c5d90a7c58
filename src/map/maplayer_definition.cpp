// VXMapLayer: the definition key and the width lists of levels.
#include "map/maplayer.h"

#include "map/mapitem.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/lists.h"
#include "toolkit/base/strings.h"
#include "toolkit/params/kv.h"
#include "viewport/layer.h"
#include "viewport/viewport.h"

#include <QRegularExpression>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

const char* const proc = "maplayer_parse_definition";

struct KvDeleter
{
    void operator()(Kv* kv) const { kvfree(kv); }
};

// The rows of an &Tbl of strings, trimmed.
QList<QString> takeRows(Tbl* tbl)
{
    QList<QString> rows;
    for (long i = 0; i < seqcount(tbl); i++)
        rows.append(QString::fromUtf8(static_cast<const char*>(seqget(tbl, i))).trimmed());
    seqfree(tbl, free);
    return rows;
}

QStringList fieldsOf(const QString& row)
{
    static const QRegularExpression blanks(QStringLiteral("\\s+"));
    return row.split(blanks, Qt::SkipEmptyParts);
}

// A colour word of a definition: the empty word leaves color as it is,
// "$FILL_WATER" and "$FILL_LAND" copy the map's colours as they are now.
int maplayer_get_color(VXMap* map, const QString& word, VX_Color& color)
{
    if (word.isEmpty())
        return 0;
    if (word == QLatin1String("$FILL_WATER")) {
        VX_CopyColor(map->vars.fill_water, color);
        return 0;
    }
    if (word == QLatin1String("$FILL_LAND")) {
        VX_CopyColor(map->vars.fill_land, color);
        return 0;
    }
    VX_Color parsed;
    if (VX_ParseColor(word, parsed) < 0) {
        hl_register_error(0, "map_get_color: Illegal color specification \"%s\"\n", word.toUtf8().constData());
        return -1;
    }
    color = parsed;
    return 0;
}

// An optional string key; *present tells whether it was given.
bool readString(Kv* arr, const char* key, int required, QString* out, bool* present = nullptr)
{
    char* s = nullptr;
    if (kvparam(arr, key, KV_STRING, required, &s) < 0) {
        hl_register_error(0, "%s: kvparam(%s) error.\n", proc, key);
        return false;
    }
    if (present)
        *present = s != nullptr;
    if (s) {
        *out = QString::fromUtf8(s).trimmed();
        free(s);
    }
    return true;
}

bool readDouble(Kv* arr, const char* key, double* out)
{
    if (kvparam(arr, key, KV_DOUBLE, 0, out) < 0) {
        hl_register_error(0, "%s: kvparam(%s) error.\n", proc, key);
        return false;
    }
    return true;
}

bool readColor(VXMap* map, Kv* arr, const char* key, VX_Color* out)
{
    QString word;
    if (!readString(arr, key, 0, &word))
        return false;
    if (maplayer_get_color(map, word, *out) < 0) {
        hl_register_error(0, "%s: map_get_color(%s) error.\n", proc, word.toUtf8().constData());
        return false;
    }
    return true;
}

bool readRows(Kv* arr, const char* key, QList<QString>* rows)
{
    Tbl* tbl = nullptr;
    if (kvparam(arr, key, KV_TBL_STRINGS, 0, &tbl) < 0) {
        hl_register_error(0, "%s: kvparam(%s) error.\n", proc, key);
        return false;
    }
    if (tbl)
        *rows = takeRows(tbl);
    return true;
}

bool skipRow(const QString& row)
{
    return row.isEmpty() || row.startsWith(QLatin1Char('#'));
}

// levels rows: "widths colour limit".  One record serves all rows and is
// only overwritten field by field, so a row inherits what the row before
// set and it does not.
bool parseLevels(VXMap* map, const QList<QString>& rows, QHash<int, VxMapLayerLevel>* levels)
{
    VxMapLayerLevel level;
    int number = 1;
    for (const QString& row : rows) {
        if (skipRow(row))
            continue;
        const QStringList f = fieldsOf(row);
        const QByteArray text = row.toUtf8();
        if (f.size() > 3) {
            hl_register_error(0, "%s: Unable to scan %s.\n", proc, text.constData());
            return false;
        }
        if (VXMapLayer::parseLinewidths(f[0], level.linewidths) < 0) {
            hl_register_error(0, "%s: VXMapLayer::parseLinewidths(%s) error.\n", proc, f[0].toUtf8().constData());
            return false;
        }
        if (f.size() > 1 && maplayer_get_color(map, f[1], level.outline) < 0) {
            hl_register_error(0, "%s: map_get_color(%s) error.\n", proc, f[1].toUtf8().constData());
            return false;
        }
        // an absent limit reads as 0, a lowest resolution index
        const QByteArray limit = f.size() > 2 ? f[2].toUtf8() : QByteArray();
        char* end = nullptr;
        if (limit.contains('.')) {
            const double v = fixed_strtod(limit.constData(), &end);
            if (end == limit.constData() || *end) {
                hl_register_error(0, "%s: strtod(%s) error.\n", proc, limit.constData());
                return false;
            }
            level.pixels_per_degree_min = v;
        } else {
            const long v = strtol(limit.constData(), &end, 0);
            if ((!limit.isEmpty() && end == limit.constData()) || *end || v < INT_MIN || v > INT_MAX) {
                hl_register_error(0, "%s: strtol(%s) error.\n", proc, limit.constData());
                return false;
            }
            level.index_min = static_cast<int>(v);
        }
        levels->insert(number++, level);
    }
    return true;
}

bool parseResolutionMap(const QList<QString>& rows, QList<QList<QString>>* map_resolutions)
{
    for (const QString& row : rows) {
        if (skipRow(row))
            continue;
        const QStringList words = fieldsOf(row);
        if (words.size() > 5) {
            hl_register_error(0, "%s: Too many fields for resolution_map.\n", proc);
            return false;
        }
        map_resolutions->append(words);
    }
    return true;
}

} // namespace

int VXMapLayer::parseLinewidths(QString text, QList<VxMapLayerLevelLinewidth>& out)
{
    out.clear();
    const QStringList fields = text.split(QLatin1Char(':'));
    for (qsizetype i = 0; i < fields.size(); i++) {
        const QStringList parts = fields[i].split(QLatin1Char(','));
        VxMapLayerLevelLinewidth row;
        // a number that does not read is taken as 0: only an end pointer
        // left null would count as a failure, and fixed_strtod always sets it
        auto number = [](const QString& s, double* v) {
            const QByteArray b = s.trimmed().toUtf8();
            char* end = nullptr;
            *v = fixed_strtod(b.constData(), &end);
            if (!end) {
                hl_register_error(0, "VXMapLayer::parseLinewidths: strtod(%s) error.\n", b.constData());
                return false;
            }
            return true;
        };
        if (parts.size() == 1) {
            if (i > 0) {
                hl_register_error(0, "VXMapLayer::parseLinewidth: subsequent fields must have x and y values "
                                     "seperated by ','.\n");
                out.clear();
                return -1;
            }
            if (!number(parts[0], &row.linewidth)) {
                out.clear();
                return -1;
            }
        } else if (parts.size() == 2) {
            if (!number(parts[0], &row.pixels_per_degree_min) || !number(parts[1], &row.linewidth)) {
                out.clear();
                return -1;
            }
        } else {
            hl_register_error(0, "VXMapLayer::parseLinewidths: Unrecognized field '%s'.\n",
                              fields[i].toUtf8().constData());
            out.clear();
            return -1;
        }
        out.append(row);
    }
    return 0;
}

int VXMapLayer::parseDefinition(const char* value)
{
    if (!value)
        return 0;
    Kv* raw = nullptr;
    if (VX_kvcompile(value, &raw) < 0) {
        hl_register_error(0, "%s: VX_kvcompile(%s) error.\n", proc, value);
        return -1;
    }
    std::unique_ptr<Kv, KvDeleter> kv(raw);
    Kv* arr = nullptr;
    if (kvparam(kv.get(), "definition", KV_ARR, 1, &arr) < 0) {
        hl_register_error(0, "%s: kvparam(definition) error.\n", proc);
        return -1;
    }
    if (kvcount(arr) == 0) {
        hl_clear_register(HL_CLEAR_QUIET);
        return 0;
    }
    VXMap* map = vars.map;

    // everything is read into a fresh record first
    VxMapLayer n;
    QString type_word;
    if (!readString(arr, "type", 1, &type_word))
        return -1;
    static const char* const type_words[] = {"grid", "vector", "vector_fill", "shade"};
    for (int i = 0; i < 4; i++)
        if (type_word == QLatin1String(type_words[i]))
            n.type = VX_MAPLAYER_GRID + i;
    if (n.type == 0) {
        hl_register_error(0, "%s: type = %s not recognized.\n", proc, type_word.toUtf8().constData());
        return -1;
    }
    if (n.type != VX_MAPLAYER_SHADE) {
        QString file;
        if (!readString(arr, "mapdata_source_file", 1, &file))
            return -1;
        const QByteArray name = file.toUtf8();
        char* path = HLMapData::checkInputFile(name.constData(), nullptr, nullptr, nullptr);
        if (!path) {
            hl_register_error(0, "maplayer_parse_definitions: Problem with map source file '%s'.\n",
                              name.constData());
            return -1;
        }
        n.mapdata_source = QString::fromLocal8Bit(path);
        free(path);
    } else {
        QString projs;
        if (!readString(arr, "proj", 1, &projs))
            return -1;
        static const char* const proj_words[] = {"none", "edp", "globe", "merc", "geog"};
        for (const QString& w : projs.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
            const QString word = w.trimmed();
            int found = -1;
            for (int i = 0; i < 5; i++)
                if (word == QLatin1String(proj_words[i]))
                    found = i;
            if (found < 0) {
                hl_register_error(0, "%s: Unrecognized proj '%s'.\n", proc, word.toUtf8().constData());
                return -1;
            }
            n.allowed_projections.append(found);
        }
    }
    if (!readDouble(arr, "opacity", &n.opacity))
        return -1;
    QString vx_layer;
    if (!readString(arr, "vx_layer", 1, &vx_layer))
        return -1;
    if (kvparam(arr, "antialias", KV_INT, 0, &n.antialias) < 0) {
        hl_register_error(0, "%s: kvparam(antialias) error.\n", proc);
        return -1;
    }
    if (n.type == VX_MAPLAYER_GRID &&
        (!readDouble(arr, "gamma", &n.gamma) || !readDouble(arr, "lightmin", &n.lightmin)))
        return -1;
    const bool vector_kind = n.type == VX_MAPLAYER_VECTOR || n.type == VX_MAPLAYER_VECTOR_FILL;
    if (vector_kind) {
        if (!readColor(map, arr, "outline_color", &n.outline_color) ||
            !readDouble(arr, "outline_linewidth", &n.linewidth))
            return -1;
    }
    if (n.type == VX_MAPLAYER_VECTOR) {
        QList<QString> rows;
        if (!readRows(arr, "levels", &rows))
            return -1;
        if (!parseLevels(map, rows, &n.levels))
            return -1;
        rows.clear();
        if (!readRows(arr, "resolution_map", &rows))
            return -1;
        if (!parseResolutionMap(rows, &n.map_resolutions))
            return -1;
    }
    if (n.type == VX_MAPLAYER_VECTOR_FILL) {
        if (!readColor(map, arr, "fill_color", &n.fill_color) ||
            !readColor(map, arr, "background_color", &n.background_color) ||
            !readColor(map, arr, "transparent_color", &n.transparent_color))
            return -1;
    }

    // all is well: apply
    clear();
    // a new file (or the same one again) is tried afresh
    vars.nodata = 0;
    item_process_pvt = 1;
    VXLayer* old_layer = getLayer();
    if (old_layer && old_layer->getMaskColor() == &vars.transparent_color.color)
        old_layer->maskColorTransparent();
    setLayer(vx_layer);
    vars.transparent_color = n.transparent_color;
    if (VXLayer* layer = getLayer()) {
        // the cache stays listed (behind the map until its next paint puts
        // it in place), so that it goes with its viewport
        VXViewport* viewport = getViewportParent();
        if (viewport && !viewport->vars.display_list.contains(layer))
            viewport->addItemAfter(layer, vars.map);
        if (vars.transparent_color.color.isValid())
            layer->maskColorTransparent(&vars.transparent_color.color);
        layer->setStale();
    }
    vars.type = n.type;
    vars.opacity = n.opacity;
    vars.antialias = n.antialias;
    vars.gamma = n.gamma;
    vars.lightmin = n.lightmin;
    setAntialias(vars.antialias != 0);
    vars.mapdata_source = n.mapdata_source;
    vars.allowed_projections = n.allowed_projections;
    vars.outline_color = n.outline_color;
    vars.fill_color = n.fill_color;
    vars.linewidth = n.linewidth;
    vars.background_color = n.background_color;
    vars.levels = n.levels;
    vars.map_resolutions = n.map_resolutions;
    return 0;
}
