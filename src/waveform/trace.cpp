// VXTrace: configuration, amplitude modes, units, selection, visibility
// and alignment.
#include "waveform/trace.h"

#include "items/polypoint.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"
#include "toolkit/geo/geo.h"
#include "toolkit/geo/traveltime.h"
#include "toolkit/signal/wffilter.h"

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

enum {
    opt_show_arrivals,
    opt_show_predicted_arrivals,
    opt_show_detections,
    opt_show_residuals,
    opt_label_visible,
    opt_ampscale_visible,
    opt_ampscale_mode,
    opt_clip,
    opt_channel_label,
    opt_filter_string,
    opt_units,
    opt_filter_label,
    opt_arrivals_menus,
};

const char* const mode_words[] = {"fixed", "auto", "auto0", "autop", "auton"};

VXTrace* traceOf(void* object_ptr)
{
    return static_cast<VXTrace*>(static_cast<VXConfigure*>(object_ptr));
}

// "default" -1, a boolean word 1 or 0; false for other text.
bool booleanOrDefault(const char* text, int* value)
{
    if (!strcmp(text, "default")) {
        *value = -1;
        return true;
    }
    return HL_ParseBoolean(text, value) == 0;
}

void setInt(HL_ConfigureSpec* spec, int* field, int value)
{
    if (*field != value)
        spec->specFlags |= HL_SPEC_CHANGED;
    *field = value;
}

void setText(HL_ConfigureSpec* spec, QString* field, const QString& value)
{
    if (*field != value)
        spec->specFlags |= HL_SPEC_CHANGED;
    *field = value;
}

int parseOption(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset,
                void* object_ptr)
{
    VXTrace* t = traceOf(object_ptr);
    VxTrace* vars = reinterpret_cast<VxTrace*>(paramRec);
    switch (offset) {
    case opt_show_arrivals:
    case opt_show_predicted_arrivals:
    case opt_show_detections:
    case opt_show_residuals:
    case opt_label_visible: {
        int v = -1;
        if (value && !booleanOrDefault(value, &v)) {
            hl_register_error(HL_SEVERITY_NORMAL, "trace_parse_booleans: VX_ParseBoolean(%s) error.\n", value);
            return -1;
        }
        int* field = offset == opt_show_arrivals             ? &vars->show_arrivals
                     : offset == opt_show_predicted_arrivals ? &vars->show_predicted_arrivals
                     : offset == opt_show_detections         ? &vars->show_detections
                     : offset == opt_show_residuals          ? &vars->show_residuals
                                                             : &vars->label_visible;
        setInt(spec, field, v);
        return 0;
    }
    case opt_ampscale_visible: {
        int v = -1;
        if (value && !booleanOrDefault(value, &v)) {
            hl_register_error(HL_SEVERITY_NORMAL, "trace_parse_ampscale: VX_ParseBoolean(%s) error.\n", value);
            return -1;
        }
        setInt(spec, &vars->ampscale_visible, v);
        return 0;
    }
    case opt_ampscale_mode: {
        if (!value || !strcmp(value, "default")) {
            setInt(spec, &vars->ampscale_mode, -1);
            return 0;
        }
        for (int i = 0; i < 5; i++)
            if (!strcmp(value, mode_words[i])) {
                setInt(spec, &vars->ampscale_mode, i);
                return 0;
            }
        // the mode stays as it was
        hl_register_error(HL_SEVERITY_NORMAL, "trace_parse_ampscale: Illegal ampscale_mode '%s'.\n", value);
        return -1;
    }
    case opt_clip: {
        if (!value)
            return 0;
        int v = -1;
        if (!booleanOrDefault(value, &v)) {
            hl_register_error(HL_SEVERITY_NORMAL, "trace_parse_clip: VX_ParseBoolean(%s) error.\n", value);
            return -1;
        }
        setInt(spec, &vars->clip, v);
        return 0;
    }
    case opt_channel_label:
        setText(spec, &vars->channel_label, value ? QString::fromUtf8(value) : QString());
        return 0;
    case opt_filter_label:
        setText(spec, &vars->filter_label, value ? QString::fromUtf8(value) : QString());
        return 0;
    case opt_arrivals_menus:
        setText(spec, &vars->arrivals_menus, value ? QString::fromUtf8(value) : QString());
        return 0;
    case opt_units: {
        if (!value) {
            setText(spec, &vars->units, QString());
            vars->units_scale = 0.0;
            return 0;
        }
        if (!strcmp(value, "source") || !strcmp(value, "counts")) {
            setText(spec, &vars->units, QString::fromUtf8(value));
            vars->units_scale = 1.0;
            return 0;
        }
        // a bad word empties the units: the view's apply from then on
        hl_register_error(HL_SEVERITY_NORMAL, "trace_parse_units_string: Unrecognized units value '%s'.\n", value);
        setText(spec, &vars->units, QString());
        vars->units_scale = 0.0;
        return -1;
    }
    case opt_filter_string: {
        if (!value) {
            setText(spec, &vars->filter_string, QString());
            t->filter_string.clear();
            return 0;
        }
        QString filter, label;
        if (trace_process_filter_string(QString::fromUtf8(value), filter, label) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "trace_parse_filter_string: processFilterString() error.\n");
            return -1;
        }
        setText(spec, &vars->filter_string, filter);
        t->filter_string = filter;
        if (!label.isEmpty()) {
            vars->filter_label = label;
            t->filter_label = label;
        }
        return 0;
    }
    default:
        return -1;
    }
}

char* printOption(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    const VxTrace* vars = reinterpret_cast<const VxTrace*>(paramRec);
    auto flag = [](int v) { return strdup(v < 0 ? "default" : v ? "yes" : "no"); };
    switch (offset) {
    case opt_show_arrivals: return flag(vars->show_arrivals);
    case opt_show_predicted_arrivals: return flag(vars->show_predicted_arrivals);
    case opt_show_detections: return flag(vars->show_detections);
    case opt_show_residuals: return flag(vars->show_residuals);
    case opt_label_visible: return flag(vars->label_visible);
    case opt_ampscale_visible: return flag(vars->ampscale_visible);
    case opt_clip: return flag(vars->clip);
    case opt_ampscale_mode:
        return strdup(vars->ampscale_mode >= 0 && vars->ampscale_mode < 5 ? mode_words[vars->ampscale_mode]
                                                                          : "default");
    case opt_channel_label: return strdup(vars->channel_label.toUtf8().constData());
    case opt_filter_string: return strdup(vars->filter_string.toUtf8().constData());
    case opt_units: return strdup(vars->units.toUtf8().constData());
    case opt_filter_label: return strdup(vars->filter_label.toUtf8().constData());
    case opt_arrivals_menus: return strdup(vars->arrivals_menus.toUtf8().constData());
    default: return strdup("Illegal offset value");
    }
}

HL_CustomOption opt_trace = {parseOption, printOption, nullptr};

#define CUSTOM(key, def, index) {"custom", key, def, index, HL_SPEC_KEEP, &opt_trace}
#define FIELD(type, key, def, field) {type, key, def, static_cast<int>(offsetof(VxTrace, field)), HL_SPEC_KEEP, nullptr}

HL_ConfigureSpec trace_specs[] = {
    FIELD("color", "color_foreground", nullptr, color_foreground),
    FIELD("color", "color_background", nullptr, color_background),
    FIELD("font", "font_trace_label", nullptr, font_trace_label),
    FIELD("color", "color_trace_label", nullptr, color_trace_label),
    FIELD("font", "font_trace_amp_label", nullptr, font_trace_amp_label),
    FIELD("color", "color_trace_amp_label", nullptr, color_trace_amp_label),
    FIELD("font", "font_trace_filter_label", nullptr, font_trace_filter_label),
    FIELD("color", "color_trace_filter_label", nullptr, color_trace_filter_label),
    FIELD("color", "color_trace_select_background", nullptr, color_trace_select_background),
    FIELD("font", "font_trace_select_order_label", nullptr, font_trace_select_order_label),
    FIELD("color", "color_trace_select_order_label", nullptr, color_trace_select_order_label),
    FIELD("double", "linewidth", "-1", linewidth),
    FIELD("double", "xpixel_factor", "0.0", xpixel_factor),
    FIELD("boolean", "visible", "yes", visible),
    CUSTOM("show_arrivals", "default", opt_show_arrivals),
    CUSTOM("show_predicted_arrivals", "default", opt_show_predicted_arrivals),
    CUSTOM("show_detections", "default", opt_show_detections),
    CUSTOM("show_residuals", "default", opt_show_residuals),
    CUSTOM("label_visible", "default", opt_label_visible),
    CUSTOM("ampscale_visible", "default", opt_ampscale_visible),
    CUSTOM("ampscale_mode", "default", opt_ampscale_mode),
    CUSTOM("clip", "default", opt_clip),
    CUSTOM("channel_label", nullptr, opt_channel_label),
    FIELD("double", "ybottom", "0.0", ybottom),
    FIELD("double", "ytop", "1.0", ytop),
    FIELD("double", "stretch_height", "1.0", stretch_height),
    FIELD("double", "abottom", "0.0", abottom),
    FIELD("double", "atop", "0.0", atop),
    FIELD("double", "gain", "0.0", gain),
    CUSTOM("filter_string", nullptr, opt_filter_string),
    CUSTOM("units", nullptr, opt_units),
    CUSTOM("filter_label", nullptr, opt_filter_label),
    FIELD("double", "filter_tpad", "10.0", filter_tpad),
    CUSTOM("arrivals_menus", nullptr, opt_arrivals_menus),
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

#undef CUSTOM
#undef FIELD

} // namespace

VxTrace::VxTrace()
{
    // before the table's defaults apply
    abottom = -1.0;
    atop = 1.0;
}

VXTrace::VXTrace(VxTraceviewDefaults* defaults_, VXTraceview* traceview_) : defaults(defaults_), traceview(traceview_)
{
    setConfigureSpecs(trace_specs, reinterpret_cast<char*>(&vars), "VXTrace", static_cast<VXConfigure*>(this), 1);
    VXViewport* vp = defaults ? defaults->viewport : nullptr;
    detections = new VXPolypoint(vp);
    predicted_arrivals = new VXPolypoint(vp);
    residuals = new VXPolypoint(vp);
    deltimes = new VXPolypoint(vp);
    arrivals = new VXPolypoint(vp);
    setupOverlays();
    // presses and drags on a pick: its menus, and time and deltime edits
    arrivals->setGlyphCallback([this](VXGlyph* glyph, VXEvent* event, void*) { return arrivalsCallback(glyph, event); },
                               nullptr);
    setChannelLabel(QString());
}

VXTrace::~VXTrace()
{
    releaseConfigureStrings();
    delete detections;
    delete predicted_arrivals;
    delete residuals;
    delete deltimes;
    delete arrivals;
    if (defaults) {
        defaults->selection.traces.removeAll(this);
        defaults->selection.display_list.removeAll(this);
        if (defaults->selection.last_trace_selected == this)
            defaults->selection.last_trace_selected = nullptr;
    }
}

void VXTrace::setDefaults(VxTraceviewDefaults* d)
{
    defaults = d;
}

void VXTrace::setChannelLabel(const QString& label)
{
    channel_label = label;
    detections->setItemName(label + QStringLiteral(":detections"));
    predicted_arrivals->setItemName(label + QStringLiteral(":predicted_arrivals"));
    residuals->setItemName(label + QStringLiteral(":residuals"));
    deltimes->setItemName(label + QStringLiteral(":deltimes"));
    arrivals->setItemName(label + QStringLiteral(":arrivals"));
}

int VXTrace::viewAmpscaleMode() const
{
    return defaults ? defaults->ampscale_mode : 1;
}

int VXTrace::setScale(QString word, double abottom, double atop)
{
    int mode = -2;
    if (word == QLatin1String("default"))
        mode = -1;
    for (int i = 0; i < 5; i++)
        if (word == QLatin1String(mode_words[i]))
            mode = i;
    if (mode == -2) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTrace::setScale: Illegal ampscale_mode '%s'.\n",
                          word.toUtf8().constData());
        return -1;
    }
    if (mode == vars.ampscale_mode)
        return 0;
    vars.ampscale_mode = mode;
    if (mode == 0) {
        // display units in, raw counts kept; no factor yet means counts
        const double scale = units_scale != 0.0 ? units_scale : 1.0;
        vars.abottom = abottom / scale;
        vars.atop = atop / scale;
    }
    return 1;
}

void VXTrace::setAmpScale(int mode, double ybottom, double ytop, double abottom, double atop)
{
    vars.ampscale_mode = mode < 0 ? viewAmpscaleMode() : mode;
    vars.ybottom = ybottom;
    vars.ytop = ytop;
    vars.abottom = abottom;
    vars.atop = atop;
}

void VXTrace::setUnits()
{
    if (sources.isEmpty() || sources.first()->segments.max() < 1)
        return;
    const VxPixelatorSegment& seg = sources.first()->segments.get(0);
    const char letter = seg.segtype[0];
    const double calib = seg.calib;
    QString word = defaults ? defaults->units : QString();
    double scale = defaults ? defaults->units_scale : 0.0;
    if (!vars.units.isEmpty()) {
        word = vars.units;
        scale = vars.units_scale;
    }
    units = word;
    units_scale = scale;
    if (word == QLatin1String("source")) {
        switch (letter) {
        case 'A': units = QStringLiteral("nm/sec**2"); units_scale = calib; break;
        case 'D': units = QStringLiteral("nm"); units_scale = calib; break;
        case 'V': units = QStringLiteral("nm/sec"); units_scale = calib; break;
        default: units = QStringLiteral("cts"); units_scale = 1.0; break;
        }
    } else if (word == QLatin1String("counts")) {
        units = QStringLiteral("cts");
        units_scale = 1.0;
    } else if (word == QLatin1String("sm")) {
        if (letter == 'A') {
            units = QStringLiteral("mg");
            units_scale = 1.01972e-7 * calib;
        } else if (letter == 'V') {
            units = QStringLiteral("cm/sec");
            units_scale = 1e7 * calib;
        } else {
            units = QStringLiteral("cts");
            units_scale = 1.0;
        }
    }
    // a factor that cannot scale (0, or not a number) shows counts
    if (units_scale == 0.0 || !std::isfinite(units_scale)) {
        units = QStringLiteral("cts");
        units_scale = 1.0;
    }
}

void VXTrace::clearTrace()
{
    pthread_mutex_lock(&tide_mutex);
    for (VxPixelatorSource* source : sources) {
        source->next_time = 0.0;
        source->segments.clear();
    }
    setStats();
    pthread_mutex_unlock(&tide_mutex);
}

void VXTrace::takeFilter()
{
    if (vars.filter_string.isEmpty() && defaults) {
        filter_string = defaults->filter_string;
        filter_label = defaults->filter_label;
        filter_tpad = defaults->filter_tpad;
    } else {
        filter_string = vars.filter_string;
        filter_label = vars.filter_label;
        filter_tpad = vars.filter_tpad;
    }
}

void VXTrace::setFilterString(QString filter)
{
    filter_string = filter;
}

void VXTrace::setFilterLabel(QString label)
{
    filter_label = label;
}

void VXTrace::setFilterTpad(double tpad)
{
    filter_tpad = tpad;
}

int VXTrace::showWord(const char* who, const QString& word, int* field, int view_value)
{
    const int now = *field >= 0 ? *field : view_value;
    int want;
    if (word == QLatin1String("toggle")) {
        want = now ? 0 : 1;
    } else if (HL_ParseBoolean(word.toUtf8().constData(), &want) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTrace::%s: Unable to parse boolean from '%s'.\n", who,
                          word.toUtf8().constData());
        return -1;
    }
    if (*field == want)
        return 0;
    *field = want;
    if (defaults && defaults->repaint)
        defaults->repaint();
    return 1;
}

int VXTrace::showTrace(QString word)
{
    return showWord("showTrace", word, &vars.visible, 1);
}

int VXTrace::showArrivals(QString word)
{
    return showWord("showArrivals", word, &vars.show_arrivals, defaults ? defaults->show_arrivals : 1);
}

int VXTrace::showDetections(QString word)
{
    return showWord("showDetections", word, &vars.show_detections, defaults ? defaults->show_detections : 1);
}

int VXTrace::selectTrace(QString word)
{
    if (defaults)
        defaults->selection.last_trace_selected = this;
    int want;
    if (word == QLatin1String("toggle")) {
        want = select_order < 1 ? 1 : 0;
    } else if (HL_ParseBoolean(word.toUtf8().constData(), &want) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTrace::selectTrace: Unable to parse boolean from '%s'.\n",
                          word.toUtf8().constData());
        return -1;
    } else if ((want && select_order > 0) || (!want && select_order < 1)) {
        return 0;
    }
    if (want) {
        int highest = 0;
        if (defaults) {
            for (const VXTrace* t : std::as_const(defaults->selection.traces))
                highest = std::max(highest, t->select_order);
            for (const VXTrace* t : std::as_const(defaults->selection.display_list))
                highest = std::max(highest, t->select_order);
        }
        select_order = highest + 1;
    } else {
        select_order = 0;
        // only the traces after this one in the display list move up, and
        // each by one, whatever its number
        if (defaults) {
            bool after = false;
            for (VXTrace* t : std::as_const(defaults->selection.display_list)) {
                if (t == this)
                    after = true;
                else if (after && t->select_order > 0)
                    t->select_order--;
            }
        }
    }
    if (defaults && defaults->repaint)
        defaults->repaint();
    return 1;
}

int VXTrace::getVisibility()
{
    if (!vars.visible)
        return 0;
    if (!defaults)
        return 1;
    if (defaults->hide_nowaveforms && numberPixels() == 0)
        return 0;
    const int a = defaults->hide_noarrivals, d = defaults->hide_nodetections;
    if (!a && !d)
        return 1;
    if (a && !d)
        return narrivals != 0;
    if (!a && d)
        return ndetections != 0;
    return narrivals != 0 || ndetections != 0;
}

void VXTrace::setToffset()
{
    const double before = toffset;
    toffset = 0.0;
    if (lat != -999.0 && defaults && defaults->palign && defaults->olon != -999.0) {
        TtArrival times[TT_MAX_ARRIVALS];
        ttp_grab_mutex();
        int n = ttp_set_phases("P");
        if (n >= 0)
            n = ttp_set_event_depth(std::max(1.0, defaults->odepth));
        if (n >= 0)
            n = ttp_compute(defaults->olat, defaults->olon, lat, lon, elev, 5.0, 3.0, times, TT_MAX_ARRIVALS);
        ttp_release_mutex();
        if (n > 0) {
            double del = 0.0;
            constexpr double rad = M_PI / 180.0;
            geoarc(&del, nullptr, defaults->olat * rad, defaults->olon * rad, lat * rad, lon * rad);
            // beyond 105 degrees the diffracted P is too weak to align on
            if (!strcmp(times[0].phase, "Pdiff") && del / rad > 105.0 && n > 1)
                toffset = times[1].time_s;
            else
                toffset = times[0].time_s;
        }
        hl_clear_register(0);
    }
    if (toffset != before)
        force = 1;
}

void VXTrace::getStaChanCopy(QString& s, QString& c, int& n)
{
    const QStringList parts = channel_label.split(QLatin1Char(';'));
    n = parts.size() > 1 ? parts.at(1).trimmed().toInt() : 0;
    const QString first = parts.value(0);
    const qsizetype blank = first.indexOf(QLatin1Char(' '));
    s = blank < 0 ? first : first.left(blank);
    c = blank < 0 ? QString() : first.mid(blank + 1);
}

void VXTrace::copyFrom(VXTrace* other)
{
    if (!other || other == this)
        return;
    VXPixelator::copyFrom(other);
    filter_string = other->filter_string;
    filter_label = other->filter_label;
    filter_tpad = other->filter_tpad;
    toffset = other->toffset;
    vars = other->vars;
    units = other->units;
    units_scale = other->units_scale;
    arrivals_xoffset = other->arrivals_xoffset;
    sort_order = other->sort_order;
    distance_sort_order = other->distance_sort_order;
    lat = other->lat;
    lon = other->lon;
    elev = other->elev;
    sta = other->sta;
    chan = other->chan;
}

int trace_process_filter_string(const QString& filter, QString& filter_string, QString& filter_label)
{
    const qsizetype i = filter.indexOf(QLatin1Char('#'));
    QString f, label;
    if (i < 1) {
        f = filter.trimmed();
    } else {
        label = filter.mid(i + 1).trimmed();
        f = filter.left(i - 1).trimmed();
    }
    if (wffilter_parse(nullptr, f.toUtf8().constData()) < 0)
        return -1;
    filter_string = f;
    filter_label = label;
    return 0;
}
