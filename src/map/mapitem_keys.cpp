// VXMap: the configure keys.
#include "map/mapitem.h"

#include "items/taskbar.h"
#include "map/maplayer.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/lists.h"
#include "toolkit/base/strings.h"
#include "toolkit/params/kv.h"
#include "viewport/layer.h"
#include "viewport/viewport.h"

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct KvDeleter
{
    void operator()(Kv* kv) const { kvfree(kv); }
};
using KvPtr = std::unique_ptr<Kv, KvDeleter>;

// A text of the library's allocation, freed on scope exit.
struct Text
{
    char* s;
    explicit Text(char* s) : s(s) {}
    ~Text() { free(s); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
};

enum {
    opt_maplayer_definitions,
    opt_maplayers,
    opt_define_template,
    opt_define_templates,
    opt_maplayers_template,
    opt_show,
    opt_hide,
    opt_toggle,
    opt_buttons_definitions,
    opt_buttons,
    opt_set_state,
    opt_projection,
    opt_zoom,
    opt_show_nav,
    opt_latr,
    opt_lonr,
    opt_range,
    opt_nthreads,
    opt_cache_maxsize,
};

VXMap* mapOf(void* object_ptr)
{
    return static_cast<VXMap*>(static_cast<VXConfigure*>(object_ptr));
}

// A count key: a whole number from least up.
int parseCount(const char* key, const char* value, long least, int* out)
{
    const char* s = value ? value : "";
    char* end = nullptr;
    errno = 0;
    const long v = strtol(s, &end, 10);
    while (end && (*end == ' ' || *end == '\t'))
        end++;
    if (end == s || !end || *end || errno || v < least || v > INT_MAX) {
        hl_register_error(0, "map_parse_%s: %s must be a whole number from %ld, not '%s'.\n", key, key, least, s);
        return -1;
    }
    *out = static_cast<int>(v);
    return 0;
}

int parseOption(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset,
                void* object_ptr)
{
    VXMap* map = mapOf(object_ptr);
    VxMap* vars = reinterpret_cast<VxMap*>(paramRec);
    int ret = 0;
    switch (offset) {
    case opt_maplayer_definitions: ret = map->parseMaplayerDefinitions(value); break;
    case opt_maplayers: ret = map->parseMaplayers(value); break;
    case opt_define_template: ret = map->parseDefineMaplayersTemplate(value); break;
    case opt_define_templates: ret = map->parseDefineMaplayersTemplates(value); break;
    case opt_maplayers_template: ret = map->parseMaplayersTemplate(value); break;
    case opt_show: ret = map->parseMaplayerVisibility(value, 1); break;
    case opt_hide: ret = map->parseMaplayerVisibility(value, 0); break;
    case opt_toggle: ret = map->parseMaplayerVisibility(value, -1); break;
    case opt_buttons_definitions: ret = map->parseButtonsDefinitions(value); break;
    case opt_buttons: ret = map->parseButtons(value); break;
    case opt_set_state: ret = map->parseSetState(value); break;
    case opt_projection: {
        VXViewport* viewport = map->getViewportParent();
        ret = viewport ? map_parse_projection(viewport, value) : 0;
        if (ret == 0 && value && viewport)
            map->setMaplayersStale();
        break;
    }
    case opt_zoom: ret = map->parseZoom(value); break;
    case opt_show_nav: ret = map->parseShowNav(value); break;
    case opt_latr: ret = map->parseViewportKey("latr", value); break;
    case opt_lonr: ret = map->parseViewportKey("lonr", value); break;
    case opt_range: ret = map->parseViewportKey("range", value); break;
    case opt_nthreads: ret = parseCount("nthreads", value, 1, &vars->nthreads); break;
    case opt_cache_maxsize: ret = parseCount("cache_maxsize", value, 0, &vars->cache_maxsize); break;
    default: return -1;
    }
    if (ret < 0)
        return -1;
    spec->specFlags |= HL_SPEC_CHANGED;
    return 0;
}

char* printOption(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    const VxMap* vars = reinterpret_cast<const VxMap*>(paramRec);
    switch (offset) {
    case opt_buttons_definitions: return strdup(vars->taskbar_buttons_definitions_string.toUtf8().constData());
    case opt_buttons: return strdup(vars->taskbar_buttons_string.toUtf8().constData());
    case opt_maplayers: return strdup(vars->maplayers.join(QLatin1Char('\n')).toUtf8().constData());
    case opt_nthreads: return strdup(QByteArray::number(vars->nthreads).constData());
    case opt_cache_maxsize: return strdup(QByteArray::number(vars->cache_maxsize).constData());
    case opt_maplayer_definitions:
    case opt_define_template:
    case opt_define_templates:
    case opt_maplayers_template:
    case opt_show:
    case opt_hide:
    case opt_toggle:
    case opt_set_state:
    case opt_projection:
    case opt_zoom:
    case opt_show_nav:
    case opt_latr:
    case opt_lonr:
    case opt_range: return strdup("");
    default: return strdup("Illegal offset value");
    }
}

HL_CustomOption opt_map = {parseOption, printOption, nullptr};

#define MAP_OFFSET(field) static_cast<int>(offsetof(VxMap, field))

} // namespace

// Shared with the task bar, whose buttons configure the map through it.
HL_ConfigureSpec vxmap_specs[] = {
    {"color", "fill_land", "#fff2e5", MAP_OFFSET(fill_land), 0, nullptr},
    {"color", "fill_water", "#e0e0ff", MAP_OFFSET(fill_water), 0, nullptr},
    {"custom", "maplayer_definitions", nullptr, opt_maplayer_definitions, 0, &opt_map},
    {"custom", "maplayers", nullptr, opt_maplayers, 0, &opt_map},
    {"custom", "define_maplayers_template", nullptr, opt_define_template, 0, &opt_map},
    {"custom", "define_maplayers_templates", nullptr, opt_define_templates, 0, &opt_map},
    {"custom", "maplayers_template", nullptr, opt_maplayers_template, 0, &opt_map},
    {"custom", "maplayer_show", nullptr, opt_show, 0, &opt_map},
    {"custom", "maplayer_hide", nullptr, opt_hide, 0, &opt_map},
    {"custom", "maplayer_visibility_toggle", nullptr, opt_toggle, 0, &opt_map},
    {"custom", "map_taskbar_buttons_definitions", nullptr, opt_buttons_definitions, 0, &opt_map},
    {"custom", "map_taskbar_buttons", nullptr, opt_buttons, 0, &opt_map},
    {"custom", "map_taskbar_set_state", nullptr, opt_set_state, 0, &opt_map},
    {"custom", "projection", nullptr, opt_projection, 0, &opt_map},
    {"custom", "zoom", nullptr, opt_zoom, 0, &opt_map},
    {"custom", "show_nav", "auto", opt_show_nav, 0, &opt_map},
    {"custom", "latr", nullptr, opt_latr, 0, &opt_map},
    {"custom", "lonr", nullptr, opt_lonr, 0, &opt_map},
    {"custom", "range", nullptr, opt_range, 0, &opt_map},
    {"custom", "nthreads", "16", opt_nthreads, 0, &opt_map},
    {"custom", "cache_maxsize", "500000000", opt_cache_maxsize, 0, &opt_map},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

int VXMap::parseMaplayerDefinitions(const char* value)
{
    clearMaplayerDefinitions();
    if (!value)
        return 0;
    Kv* raw = nullptr;
    if (kvcompile(value, &raw) < 0) {
        hl_register_error(0, "map_parse_maplayer_definitions: kvcompile(%s) error.\n", value);
        return -1;
    }
    KvPtr kv(raw);
    Kv* arr = nullptr;
    if (kvparam(kv.get(), "maplayer_definitions", KV_ARR, 1, &arr) < 0) {
        hl_register_error(0, "map_parse_maplayer_definitions: kvparam(maplayer_definitions) error.\n");
        return -1;
    }
    Tbl* keys = kvkeys(arr);
    if (!keys || seqcount(keys) == 0) {
        seqfree(keys, nullptr);
        hl_clear_register(HL_CLEAR_QUIET);
        return 0;
    }
    QHash<QString, QString> definitions;
    for (long i = 0; i < seqcount(keys); i++) {
        const char* key = static_cast<const char*>(seqget(keys, i));
        Kv* sub = nullptr;
        if (kvparam(arr, key, KV_ARR, 1, &sub) < 0) {
            hl_register_error(0, "map_parse_maplayer_definitions: kvparam(%s) error.\n", key);
            seqfree(keys, nullptr);
            return -1;
        }
        Text text(kv2string(sub));
        if (!text.s) {
            hl_register_error(0, "map_parse_maplayer_definitions: kv2string(%s) error.\n", key);
            seqfree(keys, nullptr);
            return -1;
        }
        definitions.insert(QString::fromUtf8(key),
                           QStringLiteral("definition &Arr{\n") + QString::fromUtf8(text.s) + QStringLiteral("}\n"));
    }
    seqfree(keys, nullptr);
    vars.maplayer_definitions_string = definitions;
    return 0;
}

int VXMap::parseMaplayers(const char* value)
{
    vars.maplayers.clear();
    if (!value)
        return 0;
    Kv* raw = nullptr;
    if (VX_kvcompile(value, &raw) < 0) {
        hl_register_error(0, "VX_kvcompile(%s) error.\n", value);
        return -1;
    }
    KvPtr kv(raw);
    Kv* tbl = nullptr;
    if (kvparam(kv.get(), "maplayers", KV_TBL, 1, &tbl) < 0) {
        hl_register_error(0, "map_parse_maplayers: kvparam(maplayers) error.\n");
        return -1;
    }
    VXViewport* viewport = getViewportParent();
    for (long i = 0; i < kvcount(tbl); i++) {
        void* v = nullptr;
        const int kind = kvgetindex(tbl, i, &v);
        QString name;
        if (kind == KV_KIND_STRING) {
            name = QString::fromUtf8(static_cast<const char*>(v)).trimmed();
        } else if (kind == KV_KIND_ARR) {
            // a block row defines its layer in place: "name" names it, the
            // other keys are its definition (a name defined before keeps
            // its definition)
            char* n = nullptr;
            if (kvparam(static_cast<Kv*>(v), "name", KV_STRING, 1, &n) < 0) {
                hl_register_error(0, "map_parse_maplayers: kvparam(name) error.\n");
                return -1;
            }
            name = QString::fromUtf8(n).trimmed();
            free(n);
            Text text(kv2string(static_cast<Kv*>(v)));
            if (text.s && !vars.maplayer_definitions_string.contains(name))
                vars.maplayer_definitions_string.insert(
                    name, QStringLiteral("definition &Arr{\n") + QString::fromUtf8(text.s) + QStringLiteral("}\n"));
        }
        if (name.isEmpty())
            continue;
        if (makeMaplayer(name) < 0) {
            hl_register_error(0, "map_parse_maplayers: makeMaplayer error.\n");
            if (viewport)
                viewport->update();
            return -1;
        }
        vars.maplayers.append(name);
    }
    if (viewport)
        viewport->update();
    return 0;
}

int VXMap::parseDefineMaplayersTemplate(const char* value)
{
    if (!value)
        return 0;
    Kv* raw = nullptr;
    if (kvcompile(value, &raw) < 0) {
        hl_clear_register(HL_CLEAR_QUIET);
        hl_complain(0, "map_parse_define_maplayers_template: kvcompile(%s) error.\n", value);
        return -1;
    }
    KvPtr kv(raw);
    char* n = nullptr;
    if (kvparam(kv.get(), "name", KV_STRING, 1, &n) < 0) {
        hl_clear_register(HL_CLEAR_QUIET);
        hl_complain(0, "map_parse_define_maplayers_template: kvparam(name) error.\n");
        return -1;
    }
    const QString name = QString::fromUtf8(n).trimmed();
    free(n);
    Kv* tbl = nullptr;
    if (kvparam(kv.get(), "maplayers", KV_TBL, 1, &tbl) < 0) {
        hl_register_error(0, "map_parse_define_maplayers_template: kvparam(maplayers) error.\n");
        return -1;
    }
    QString text = QStringLiteral("maplayers &Tbl{\n");
    for (long i = 0; i < kvcount(tbl); i++) {
        void* v = nullptr;
        const int kind = kvgetindex(tbl, i, &v);
        if (kind == KV_KIND_STRING) {
            text += QString::fromUtf8(static_cast<const char*>(v)).trimmed() + QLatin1Char('\n');
        } else if (kind == KV_KIND_ARR) {
            Text block(kv2string(static_cast<Kv*>(v)));
            text += QStringLiteral("&Arr{\n") + QString::fromUtf8(block.s ? block.s : "") + QStringLiteral("}\n");
        } else {
            hl_register_error(0,
                              "map_parse_define_maplayers_templates: kvget(maplayers,%ld) returns illegal value %d.\n",
                              i, kind);
            return -1;
        }
    }
    text += QStringLiteral("}\n");
    vars.maplayers_templates.insert(name, text);
    return 0;
}

int VXMap::parseDefineMaplayersTemplates(const char* value)
{
    vars.maplayers_templates.clear();
    if (!value)
        return 0;
    Kv* raw = nullptr;
    if (kvcompile(value, &raw) < 0) {
        hl_register_error(0, "map_parse_define_maplayers_templates: kvcompile(%s) error.\n", value);
        return -1;
    }
    KvPtr kv(raw);
    Kv* arr = nullptr;
    if (kvparam(kv.get(), "maplayers_templates", KV_ARR, 1, &arr) < 0) {
        hl_register_error(0, "map_parse_define_maplayers_templates: kvparam(maplayers_templates) error.\n");
        return -1;
    }
    Tbl* keys = kvkeys(arr);
    for (long i = 0; i < seqcount(keys); i++) {
        const char* key = static_cast<const char*>(seqget(keys, i));
        Kv* sub = nullptr;
        Kv* tbl = nullptr;
        if (kvparam(arr, key, KV_ARR, 1, &sub) < 0) {
            hl_register_error(0, "map_parse_define_maplayers_templates: kvparam(%s) error.\n", key);
            seqfree(keys, nullptr);
            return -1;
        }
        if (kvparam(sub, "maplayers", KV_TBL, 1, &tbl) < 0) {
            hl_register_error(0, "map_parse_define_maplayers_templates: kvparam(maplayers) error.\n");
            seqfree(keys, nullptr);
            return -1;
        }
        // kv2string of a list is its "&Tbl{...}" block
        Text list(kv2string(tbl));
        const QByteArray text = QByteArray("name ") + key + "\nmaplayers " + (list.s ? list.s : "&Tbl{\n}\n");
        if (parseDefineMaplayersTemplate(text.constData()) < 0) {
            seqfree(keys, nullptr);
            return -1;
        }
    }
    seqfree(keys, nullptr);
    return 0;
}

int VXMap::parseMaplayersTemplate(const char* value)
{
    if (!value)
        return 0;
    const QString name = QString::fromUtf8(value).trimmed();
    // an unknown name makes an empty entry, which the stack parser refuses
    const QString text = vars.maplayers_templates[name];
    const QByteArray utf8 = text.toUtf8();
    if (parseMaplayers(utf8.constData()) < 0) {
        if (text.isEmpty())
            hl_register_error(0, "map_parse_maplayers_template: Cannot find maplayers template for '%s'.\n",
                              name.toUtf8().constData());
        return -1;
    }
    setMaplayersStale();
    if (VXViewport* viewport = getViewportParent())
        viewport->update();
    return 0;
}

int VXMap::parseMaplayerVisibility(const char* value, int how)
{
    if (!value)
        return 0;
    VXMapLayer* layer = vars.maplayer_definitions.value(QString::fromUtf8(value).trimmed(), nullptr);
    if (!layer)
        return 0;
    layer->item_process_pvt = how < 0 ? !layer->item_process_pvt : how;
    if (VXLayer* l = layer->getLayer())
        l->setStale();
    if (VXViewport* viewport = getViewportParent())
        viewport->update();
    return 0;
}

int VXMap::parseButtonsDefinitions(const char* value)
{
    vars.taskbar_buttons_definitions_string.clear();
    if (!value)
        return 0;
    if (!vars.taskbar) {
        VXViewport* viewport = getViewportParent();
        try {
            vars.taskbar = new VXTaskbar(viewport);
        } catch (const char* e) {
            hl_register_error(0, "map_parse_buttons_definitions: new VXTaskbar error: %s.\n", e);
            return -1;
        }
        // the map's keys on the task bar, and its actions back to the map
        vars.taskbar->setConfigureSpecs(vxmap_specs, reinterpret_cast<char*>(&vars), "VXMap",
                                        static_cast<VXConfigure*>(this), 0);
        vars.taskbar->setOwner(this);
    }
    Text text(VX_make_kvstring(QString::fromUtf8(value), QStringLiteral("map_buttons_definitions"),
                               QStringLiteral("buttons_definitions")));
    if (!text.s) {
        hl_register_error(0, "map_parse_buttons_definitions: VX_make_kvstring() error.\n");
        return -1;
    }
    if (vars.taskbar->configure("taskbar_buttons_definitions", text.s, nullptr) < 0) {
        hl_register_error(0, "map_parse_buttons_definitions: item->taskbar->configure() error.\n");
        return -1;
    }
    hl_clear_register(HL_CLEAR_QUIET);
    vars.taskbar_buttons_definitions_string = QString::fromUtf8(value);
    return 0;
}

int VXMap::parseButtons(const char* value)
{
    vars.taskbar_buttons_string.clear();
    if (!value)
        return 0;
    if (!vars.taskbar) {
        hl_register_error(0, "map_parse_buttons: Must define taskbar object with taskbar_buttons_definitions "
                             "configuration first\n");
        return -1;
    }
    Text text(VX_make_kvstring(QString::fromUtf8(value), QStringLiteral("map_buttons"), QStringLiteral("buttons")));
    if (!text.s) {
        hl_register_error(0, "map_parse_buttons: VX_make_kvstring() error.\n");
        return -1;
    }
    if (vars.taskbar->configure("taskbar_buttons", text.s, nullptr) < 0) {
        hl_register_error(0, "map_parse_buttons: item->taskbar->configure() error.\n");
        return -1;
    }
    hl_clear_register(HL_CLEAR_QUIET);
    vars.taskbar_buttons_string = QString::fromUtf8(value);
    if (VXViewport* viewport = getViewportParent())
        viewport->update();
    return 0;
}

int VXMap::parseSetState(const char* value)
{
    if (!value)
        return 0;
    if (!vars.taskbar) {
        hl_register_error(0, "map_parse_set_state: Must define taskbar object with taskbar_buttons_definitions "
                             "configuration first\n");
        return -1;
    }
    if (vars.taskbar->configure("taskbar_set_state", value, nullptr) < 0) {
        hl_register_error(0, "map_parse_set_state: item->taskbar->configure() error.\n");
        return -1;
    }
    return 0;
}

int VXMap::parseZoom(const char* value)
{
    if (!value)
        return 0;
    char* end = nullptr;
    const double factor = fixed_strtod(value, &end);
    // nothing read, or a factor that would turn the view inside out
    if (end == value || !std::isfinite(factor) || factor <= 0.0) {
        hl_register_error(0, "map_parse_zoom: Error parsing '%s'\n", value);
        return -1;
    }
    if (factor == 1.0)
        return 0;
    VXViewport* viewport = getViewportParent();
    if (!viewport)
        return 0;
    const VxViewport& v = viewport->vars;
    const int cx = v.mleft + (v.w - v.mleft - v.mright) / 2;
    const int cy = v.mtop + (v.h - v.mtop - v.mbottom) / 2;
    double wx = 0.0, wy = 0.0;
    viewport->getWcoords(cx, cy, &wx, &wy, 0, 0, 0);
    viewport->zoom(wx, wy, 1.0 / factor, 1.0 / factor);
    setMaplayersStale();
    viewport->setStale();
    viewport->update();
    return 0;
}

int VXMap::parseViewportKey(const char* key, const char* value)
{
    VXViewport* viewport = getViewportParent();
    if (!viewport || !value)
        return 0;
    const int ret = viewport->configure(key, value, nullptr);
    viewport->setStale();
    viewport->update();
    return ret;
}

int VXMap::parseShowNav(const char* /*value*/)
{
    // no navigator is made yet: nothing to show
    return 0;
}
