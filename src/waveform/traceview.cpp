// VXTraceview: construction, the configuration table, the word setters and
// the display parameters.
#include "waveform/traceview.h"

#include "toolkit/events/qkserver.h"
#include "waveform/traceviewqkclient.h"

#include "items/axes.h"
#include "items/polypoint.h"
#include "items/text.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"
#include "toolkit/params/kv.h"
#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview_image_p.h"

#include <QScrollBar>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

const char default_display_parameters[] =
    "traceview_display_parameters &Arr{\n"
    "main_display &Arr{\n"
    "color_background \\#6060ff\n"
    "color_traces_background \\#000080\n"
    "color_foreground yellow\n"
    "color_time_grids \\#80e0e0e0\n"
    "font_trace_label courier,14,Normal\n"
    "color_trace_label black\n"
    "color_trace_selected_background gray\n"
    "font_trace_amp_label courier,12,Normal\n"
    "color_trace_amp_label \\#808080\n"
    "font_trace_filter_label courier,12,Normal\n"
    "color_trace_filter_label blue\n"
    "color_trace_select_background lightblue\n"
    "font_trace_select_order_label courier,12,Normal\n"
    "color_trace_select_order_label black\n"
    "color_coordinates_status \\#d0ffffff\n"
    "color_origin_status pink\n"
    "color_preferred_origin_status lightblue\n"
    "linewidth 1\n"
    "color_detection_outline 0.0,1.0,0.7\n"
    "color_detection_text 0.0,1.0,0.7\n"
    "color_detection_fill \\#00000000\n"
    "linewidth_detection 3\n"
    "color_predicted_arrival_outline lightblue\n"
    "color_predicted_arrival_text lightblue\n"
    "color_predicted_arrival_fill \\#00000000\n"
    "linewidth_predicted_arrival 3\n"
    "color_arrival_normal_outline \\#ffc0c0c0\n"
    "color_arrival_normal_text \\#ffc0c0c0\n"
    "color_arrival_normal_fill red\n"
    "linewidth_arrival_normal 3\n"
    "color_arrival_defining_outline \\#ffc0c0c0\n"
    "color_arrival_defining_text \\#ffc0c0c0\n"
    "color_arrival_defining_fill blue\n"
    "linewidth_arrival_defining 3\n"
    "color_arrival_nondefining_outline \\#ffc0c0c0\n"
    "color_arrival_nondefining_text \\#ffc0c0c0\n"
    "color_arrival_nondefining_fill green\n"
    "linewidth_arrival_nondefining 3\n"
    "color_arrival_magnitude_outline \\#ffc0c0c0\n"
    "color_arrival_magnitude_text \\#ffc0c0c0\n"
    "color_arrival_magnitude_fill 300.0,0.9,0.2\n"
    "linewidth_arrival_magnitude 3\n"
    "color_arrival_nonassociated_outline \\#ffc0c0c0\n"
    "color_arrival_nonassociated_text \\#ffc0c0c0\n"
    "color_arrival_nonassociated_fill red\n"
    "linewidth_arrival_nonassociated 3\n"
    "arrival_status_line &Arr{\n"
    "format \"%s %s %s arid=%s phase=%s deltim=%s fm=%s auth=%s\"\n"
    "arguments &Tbl{\n"
    "timeformat(time,\"%Y%j:%T\") %s\n"
    "sta %s\n"
    "chan %s\n"
    "arid %ld\n"
    "iphase %s\n"
    "deltim %.2f\n"
    "fm %s\n"
    "auth %s\n"
    "}\n"
    "}\n"
    "}\n"
    "edit_display &Arr{\n"
    "color_background \\#e0e0e0\n"
    "color_foreground \\#d0d0d0\n"
    "color_time_grids \\#80000000\n"
    "linewidth 1\n"
    "color_detection_outline 0.0,1.0,0.7\n"
    "color_detection_text 0.0,1.0,0.7\n"
    "color_detection_fill \\#00000000\n"
    "linewidth_detection 3\n"
    "color_predicted_arrival_outline lightblue\n"
    "color_predicted_arrival_text lightblue\n"
    "color_predicted_arrival_fill \\#00000000\n"
    "linewidth_predicted_arrival 3\n"
    "color_arrival_normal_outline black\n"
    "color_arrival_normal_text black\n"
    "color_arrival_normal_fill pink\n"
    "linewidth_arrival_normal 3\n"
    "color_arrival_defining_outline black\n"
    "color_arrival_defining_text black\n"
    "color_arrival_defining_fill lightblue\n"
    "linewidth_arrival_defining 3\n"
    "color_arrival_nondefining_outline black\n"
    "color_arrival_nondefining_text black\n"
    "color_arrival_nondefining_fill lightgreen\n"
    "linewidth_arrival_nondefining 3\n"
    "color_arrival_nonassociated_outline black\n"
    "color_arrival_nonassociated_text black\n"
    "color_arrival_nonassociated_fill \\#a0a0a0a0\n"
    "linewidth_arrival_nonassociated 3\n"
    "color_arrival_selected_outline black\n"
    "color_arrival_selected_text black\n"
    "color_arrival_selected_fill cyan\n"
    "linewidth_arrival_selected 3\n"
    "color_arrival_edit_outline black\n"
    "color_arrival_edit_text red\n"
    "color_arrival_edit_fill lightblue\n"
    "linewidth_arrival_edit 3\n"
    "color_arrival_defining_tag_outline black\n"
    "color_arrival_defining_tag_text black\n"
    "color_arrival_defining_tag_fill lightblue\n"
    "linewidth_arrival_defining_tag 3\n"
    "color_arrival_nondefining_tag_outline black\n"
    "color_arrival_nondefining_tag_text black\n"
    "color_arrival_nondefining_tag_fill lightgreen\n"
    "linewidth_arrival_nondefining_tag 3\n"
    "color_arrival_residual_outline 0.0,1.0,0.7\n"
    "color_arrival_residual_text 0.0,1.0,0.7\n"
    "color_arrival_residual_fill \"\"\n"
    "linewidth_arrival_residual 5\n"
    "color_arrival_deltime_fill \\#a0a0ffa0\n"
    "arrival_status_line &Arr{\n"
    "format \"%s %s %s arid=%s phase=%s deltim=%s fm=%s auth=%s\"\n"
    "arguments &Tbl{\n"
    "timeformat(time,\"%Y%j:%T\") %s\n"
    "sta %s\n"
    "chan %s\n"
    "arid %ld\n"
    "iphase %s\n"
    "deltim %.2f\n"
    "fm %s\n"
    "auth %s\n"
    "}\n"
    "}\n"
    "}\n"
    "}\n";

enum {
    opt_display_parameters,
    opt_preserve_time,
    opt_preserve_traces,
    opt_ampscale_mode,
    opt_clip,
    opt_antialias,
    opt_filter_string,
    opt_predicted_phases,
    opt_default_phase,
    opt_units,
    opt_buttons_definitions,
    opt_buttons,
    opt_aliases,
    opt_hotkeys,
    opt_arrivals_menus,
    opt_animate_interval,
    opt_auto_select_event,
    opt_interaction,
};

const char* const ampscale_words[] = {"fixed", "auto", "auto0", "autop", "auton"};

int setText(HL_ConfigureSpec* spec, QString& field, const char* value)
{
    const QString text = QString::fromUtf8(value ? value : "");
    if (field != text) {
        field = text;
        spec->specFlags |= HL_SPEC_CHANGED;
    }
    return 0;
}

int setBool(HL_ConfigureSpec* spec, int& field, const char* value)
{
    int v;
    if (HL_ParseBoolean(value ? value : "", &v) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::configure: %s: Unable to parse boolean from '%s'.\n",
                          spec->name, value ? value : "");
        return -1;
    }
    if (field != v) {
        field = v;
        spec->specFlags |= HL_SPEC_CHANGED;
    }
    return 0;
}

int parseOption(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset,
                void* object_ptr)
{
    VxTraceview* vars = reinterpret_cast<VxTraceview*>(paramRec);
    auto* tv = static_cast<VXTraceview*>(static_cast<VXConfigure*>(object_ptr));
    switch (offset) {
    case opt_display_parameters: {
        const QString text = QString::fromUtf8(value ? value : "");
        if (tv && text != tv->display_parameters.text) {
            if (tv->parseDisplayParameters(text) < 0)
                return -1;
            spec->specFlags |= HL_SPEC_CHANGED;
        }
        return 0;
    }
    case opt_preserve_time: return setBool(spec, vars->preserve_time_scale_on_resize, value);
    case opt_preserve_traces: return setBool(spec, vars->preserve_traces_scale_on_resize, value);
    case opt_clip: return setBool(spec, vars->clip, value);
    case opt_antialias: return setBool(spec, vars->antialias, value);
    case opt_auto_select_event: return setBool(spec, vars->auto_select_event, value);
    case opt_ampscale_mode:
        for (int i = 0; i < 5; i++)
            if (value && strcmp(value, ampscale_words[i]) == 0) {
                if (vars->ampscale_mode != i) {
                    vars->ampscale_mode = i;
                    spec->specFlags |= HL_SPEC_CHANGED;
                }
                return 0;
            }
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::configure: ampscale_mode: bad mode '%s'.\n",
                          value ? value : "");
        return -1;
    case opt_filter_string: {
        QString filter, label;
        const QString text = QString::fromUtf8(value ? value : "");
        if (!text.trimmed().isEmpty() && trace_process_filter_string(text, filter, label) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::configure: filter_string: bad filter '%s'.\n",
                              value);
            return -1;
        }
        return setText(spec, vars->filter_string, value);
    }
    case opt_predicted_phases: return setText(spec, vars->predicted_phases, value);
    case opt_default_phase: return setText(spec, vars->default_phase, value);
    case opt_units: {
        const QString u = QString::fromUtf8(value ? value : "");
        if (u != QLatin1String("source") && u != QLatin1String("counts") && u != QLatin1String("sm")) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::configure: units: bad units '%s'.\n",
                              value ? value : "");
            return -1;
        }
        return setText(spec, vars->units, value);
    }
    case opt_buttons_definitions:
        if (tv && tv->parseButtonsDefinitions(value) < 0)
            return -1;
        return setText(spec, vars->traceview_buttons_definitions, value);
    case opt_buttons:
        if (tv && tv->parseButtons(value) < 0)
            return -1;
        return setText(spec, vars->traceview_buttons, value);
    case opt_aliases: return setText(spec, vars->aliases, value);
    case opt_hotkeys: return setText(spec, vars->hotkeys, value);
    case opt_arrivals_menus: return setText(spec, vars->arrivals_menus, value);
    case opt_interaction: {
        // the pointer is locked or freed at once; an empty text leaves it alone
        const QString word = QString::fromUtf8(value ? value : "");
        if (tv && !word.isEmpty() && word != vars->interaction && tv->setInteraction(word) < 0)
            return -1;
        return setText(spec, vars->interaction, value);
    }
    case opt_animate_interval: {
        char* end = nullptr;
        const double v = strtod(value ? value : "", &end);
        if (!value || end == value || *end) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::configure: animate_interval: bad number '%s'.\n",
                              value ? value : "");
            return -1;
        }
        if (vars->animate_interval != v) {
            // the animation timer starts or stops with the new interval
            if (tv)
                tv->setAnimateInterval(v);
            vars->animate_interval = v;
            spec->specFlags |= HL_SPEC_CHANGED;
        }
        return 0;
    }
    default: return 0;
    }
}

char* printOption(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void* object_ptr)
{
    const VxTraceview* vars = reinterpret_cast<const VxTraceview*>(paramRec);
    auto* tv = static_cast<VXTraceview*>(static_cast<VXConfigure*>(object_ptr));
    auto text = [](const QString& s) { return strdup(s.toUtf8().constData()); };
    auto word = [](int b) { return strdup(b ? "yes" : "no"); };
    switch (offset) {
    case opt_display_parameters: return text(tv ? tv->display_parameters.text : QString());
    case opt_preserve_time: return word(vars->preserve_time_scale_on_resize);
    case opt_preserve_traces: return word(vars->preserve_traces_scale_on_resize);
    case opt_clip: return word(vars->clip);
    case opt_antialias: return word(vars->antialias);
    case opt_auto_select_event: return word(vars->auto_select_event);
    case opt_ampscale_mode:
        return strdup(vars->ampscale_mode >= 0 && vars->ampscale_mode < 5 ? ampscale_words[vars->ampscale_mode] : "");
    case opt_filter_string: return text(vars->filter_string);
    case opt_predicted_phases: return text(vars->predicted_phases);
    case opt_default_phase: return text(vars->default_phase);
    case opt_units: return text(vars->units);
    case opt_buttons_definitions: return text(vars->traceview_buttons_definitions);
    case opt_buttons: return text(vars->traceview_buttons);
    case opt_aliases: return text(vars->aliases);
    case opt_hotkeys: return text(vars->hotkeys);
    case opt_arrivals_menus: return text(vars->arrivals_menus);
    case opt_interaction: return text(vars->interaction);
    case opt_animate_interval: return text(QString::number(vars->animate_interval, 'g', 17));
    default: return strdup("");
    }
}

HL_CustomOption opt_traceview = {parseOption, printOption, nullptr};

#define TV_OFFSET(f) static_cast<int>(offsetof(VxTraceview, f))
#define CUSTOM(key, def, index) {"custom", key, def, index, 0, &opt_traceview}

HL_ConfigureSpec traceview_specs[] = {
    CUSTOM("traceview_display_parameters", default_display_parameters, opt_display_parameters),
    {"double", "xpixel_factor", "2.0", TV_OFFSET(xpixel_factor), 0, nullptr},
    {"boolean", "show_arrivals", "yes", TV_OFFSET(show_arrivals), 0, nullptr},
    {"boolean", "show_predicted_arrivals", "yes", TV_OFFSET(show_predicted_arrivals), 0, nullptr},
    {"boolean", "show_detections", "yes", TV_OFFSET(show_detections), 0, nullptr},
    {"boolean", "show_residuals", "yes", TV_OFFSET(show_residuals), 0, nullptr},
    {"boolean", "trace_label_visible", "yes", TV_OFFSET(label_visible), 0, nullptr},
    {"boolean", "ampscale_visible", "yes", TV_OFFSET(ampscale_visible), 0, nullptr},
    {"boolean", "show_crosshairs", "yes", TV_OFFSET(show_crosshairs), 0, nullptr},
    {"boolean", "show_coordinates_status", "yes", TV_OFFSET(show_coordinates_status), 0, nullptr},
    {"boolean", "show_arrival_status", "yes", TV_OFFSET(show_arrival_status), 0, nullptr},
    {"boolean", "show_origin_status", "yes", TV_OFFSET(show_origin_status), 0, nullptr},
    {"boolean", "use_wheel", "no", TV_OFFSET(use_wheel), 0, nullptr},
    {"boolean", "palign", "no", TV_OFFSET(palign), 0, nullptr},
    {"boolean", "auto_distance_sort", "no", TV_OFFSET(auto_distance_sort), 0, nullptr},
    {"boolean", "disable_edits", "no", TV_OFFSET(disable_edits), 0, nullptr},
    {"boolean", "render_event_info", "yes", TV_OFFSET(render_event_info), 0, nullptr},
    {"int", "max_traces", "-1", TV_OFFSET(max_traces), 0, nullptr},
    {"int", "min_pixels_traces", "-1", TV_OFFSET(min_pixels_traces), 0, nullptr},
    CUSTOM("preserve_time_scale_on_resize", "no", opt_preserve_time),
    CUSTOM("preserve_traces_scale_on_resize", "no", opt_preserve_traces),
    CUSTOM("ampscale_mode", "auto", opt_ampscale_mode),
    CUSTOM("clip", "no", opt_clip),
    CUSTOM("antialias", "yes", opt_antialias),
    {"double", "gain", "1.0", TV_OFFSET(gain), 0, nullptr},
    CUSTOM("filter_string", nullptr, opt_filter_string),
    CUSTOM("predicted_phases", "P,S", opt_predicted_phases),
    CUSTOM("default_phase", "P", opt_default_phase),
    CUSTOM("units", "source", opt_units),
    {"double", "filter_tpad", "10.0", TV_OFFSET(filter_tpad), 0, nullptr},
    CUSTOM("traceview_buttons_definitions", nullptr, opt_buttons_definitions),
    CUSTOM("traceview_buttons", nullptr, opt_buttons),
    CUSTOM("aliases", nullptr, opt_aliases),
    CUSTOM("hotkeys", nullptr, opt_hotkeys),
    CUSTOM("arrivals_menus", nullptr, opt_arrivals_menus),
    CUSTOM("animate_interval", "0.0", opt_animate_interval),
    CUSTOM("auto_select_event", "no", opt_auto_select_event),
    {"double", "animate_toffset", "10.0", TV_OFFSET(animate_toffset), 0, nullptr},
    CUSTOM("interaction", "normal", opt_interaction),
    {"color", "color_time_now", nullptr, TV_OFFSET(color_time_now), 0, nullptr},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

} // namespace

const char* traceview_default_display_parameters()
{
    return default_display_parameters;
}

VXTraceview::VXTraceview(VXViewport* master, VXCommandConsole* cc, int make_taskbar_, VXViewport* vptaskbar_)
    : VXViewportItem(master, nullptr, QStringLiteral("VXTraceview"), 1), command_console(cc),
      make_taskbar(make_taskbar_), vptaskbar(vptaskbar_)
{
    pthread_mutex_init(&mutex_traces, nullptr);
    defaults.viewport = master;
    defaults.tbuffer = tbuffer;
    defaults.repaint = [this]() { refresh(0); };
    self_guard = std::make_shared<VXTraceview*>(this);
}

VXTraceview::~VXTraceview()
{
    *self_guard = nullptr;
    releaseConfigureStrings();
    clearTraces();
    // the clients before their servers: a client leaves its server
    qDeleteAll(qks);
    qks.clear();
    qDeleteAll(owned_servers);
    owned_servers.clear();
    delete origin_text;
    delete arrival_text;
    delete coordinates_text;
    delete now_time;
    delete crosshairs2;
    delete crosshairs1;
    delete axes;
    delete image_item;
    delete scrollbar;
    strregfree(&regex_hook);
    pthread_mutex_destroy(&mutex_traces);
}

void VXTraceview::init()
{
    setConfigureSpecs(traceview_specs, reinterpret_cast<char*>(&vars), "VXTraceview", static_cast<VXConfigure*>(this),
                      1);
    vars.show_residuals = 1;
    attachCommands();
    VXViewport* vp = getViewportParent();
    if (!vp) {
        syncDefaults();
        return;
    }
    vp->configure("xmode", "time", "default_event_interaction", "no", "xscale_anchor", "0.0", "yscale_anchor", "1.0",
                  "mleft", "150", "mright", "10", "mbottom", "40", "mtop", "60", "ml", "0", nullptr);
    if (!make_taskbar || (vptaskbar && vptaskbar != vp))
        vp->configure("mtop", "40", nullptr);
    hl_clear_register(HL_CLEAR_QUIET);
    vp->setWcoordsY(0.0, 1.0);
    std::shared_ptr<VXTraceview*> guard = self_guard;
    vp->setResizeCallback(
        [guard](void*, QResizeEvent* event, void*) {
            if (*guard)
                (*guard)->resizeCallback(event);
        },
        this, nullptr);
    // the image item first: it goes right under the view, and the view's
    // layer, which it shares, then right above the view
    image_item = new VXTraceviewImage(this);
    image_item->setLayer(QStringLiteral("traceview_base"));
    setLayer(QStringLiteral("traceview_base"));
    // the pointer and the keys (traceview_interaction.cpp); moves without a
    // button draw the crosshairs and the rubber bands
    vp->setMouseTracking(true);
    vp->setEventCallback(
        [guard](void*, VXEvent* event, void*) {
            if (*guard)
                VXTraceview::eventCallback(*guard, event, nullptr);
        },
        this, nullptr);

    axes = new VXAxes(vp);
    axes->setLayer(QStringLiteral("traceview_base"));
    static const char* const axes_keys[][2] = {
        {"xformat", "time"},        {"yformat", ""},         {"linewidth_box", "-1"},
        {"linewidth_tics", "2"},    {"linewidth_tics_small", "-1"}, {"axis_style", "sw"},
        {"tic_style", "snwnnnen"},  {"color_time_axis", "#80808080"},
        {"linewidth_grids_x", "-1"}, {"linewidth_grids_y", "-1"}, {"linewidth_grids_x_small", "-1"},
        {"linewidth_grids_y_small", "-1"},
    };
    for (const auto& kv : axes_keys)
        axes->configure(kv[0], kv[1], nullptr);
    hl_clear_register(HL_CLEAR_QUIET);

    // the crosshairs: two dashed crosses of the plot's size, light over dark
    crosshairs1 = new VXPolypoint(vp);
    crosshairs2 = new VXPolypoint(vp);
    const char* const outlines[] = {"#a0ffffff", "#a0000000"};
    const char* const dash_keys[] = {"linestylec1", "linestylec2"};
    VXPolypoint* crosses[] = {crosshairs1, crosshairs2};
    for (int i = 0; i < 2; i++) {
        crosses[i]->configure("symbol", "cross", "size", "2.0d", "linewidth", "2", dash_keys[i], "CustomDashLine",
                              "color_outline", outlines[i], nullptr);
        crosses[i]->setLayer(QStringLiteral("traceview"));
        crosses[i]->hideItem();
    }
    now_time = new VXPolypoint(vp);
    now_time->configure("symbol", "vertical_line", "linewidth", "1", "linestyle", "SolidLine", "interaction", "none",
                        nullptr);
    now_time->hideItem();
    coordinates_text = new VXText(vp, "", "left", "top+20");
    arrival_text = new VXText(vp, "", "left", "top+20");
    origin_text = new VXText(vp, "", "left", "top");
    for (VXText* t : {coordinates_text, arrival_text, origin_text}) {
        t->configure("font", "Helvetica,12", "justification", "swb", nullptr);
        t->hideItem();
    }
    hl_clear_register(HL_CLEAR_QUIET);

    scrollbar = new QScrollBar(Qt::Vertical, vp);
    scrollbar->setRange(0, 0);
    scrollbar->setGeometry(0, vp->vars.mtop, 20, std::max(1, vp->height() - vp->vars.mtop - vp->vars.mbottom));
    scrollbar->hide();
    QObject::connect(scrollbar, &QScrollBar::valueChanged, vp, [this](int value) {
        VXViewport* v = getViewportParent();
        if (!v || !scrollbar->isVisible())
            return;
        const double height = v->vars.ytop - v->vars.ybottom;
        const double ytop = 1.0 - value / 10000.0;
        v->setWcoordsY(ytop - height, ytop);
        refresh(0);
    });
    initTaskbarAndMenu();
    syncDefaults();
}

void VXTraceview::setVisibility()
{
}

void VXTraceview::callback(QString message)
{
    if (nofeedback)
        return;
    if (client_callback)
        client_callback(message);
}

void VXTraceview::setNofeedback(int value)
{
    nofeedback = value;
}

int VXTraceview::setWordAndRefresh(const char* who, const QString& word, int* field)
{
    const int r = setWord(who, word, field);
    if (r > 0)
        refresh(0);
    return r;
}

int VXTraceview::setWord(const char* who, const QString& word, int* field, bool allow_auto)
{
    int want;
    if (word == QLatin1String("toggle")) {
        want = *field ? 0 : 1;
    } else if (allow_auto && word == QLatin1String("auto")) {
        want = 1;
    } else if (HL_ParseBoolean(word.toUtf8().constData(), &want) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::%s: Unable to parse boolean from '%s'.\n", who,
                          word.toUtf8().constData());
        return -1;
    }
    if (*field == want)
        return 0;
    *field = want;
    syncDefaults();
    return 1;
}

int VXTraceview::setPreserveTimeScaleOnResize(QString word)
{
    const int r = setWord("setPreserveTimeScaleOnResize", word, &vars.preserve_time_scale_on_resize);
    if (r > 0 && getViewportParent())
        getViewportParent()->vars.preserve_xscale = vars.preserve_time_scale_on_resize;
    return r;
}

int VXTraceview::setPreserveTracesScaleOnResize(QString word)
{
    const int r = setWord("setPreserveTracesScaleOnResize", word, &vars.preserve_traces_scale_on_resize);
    if (r > 0 && getViewportParent())
        getViewportParent()->vars.preserve_yscale = vars.preserve_traces_scale_on_resize;
    return r;
}

int VXTraceview::setPalign(QString word)
{
    const int r = setWord("setPalign", word, &vars.palign);
    if (r > 0)
        refresh(1);
    return r;
}

int VXTraceview::setAutoDistanceSort(QString word)
{
    return setWordAndRefresh("setAutoDistanceSort", word, &vars.auto_distance_sort);
}

int VXTraceview::setAutoTracesFit(QString word)
{
    // this setter has always named itself setAutoTracesSort in its message
    const int r = setWord("setAutoTracesSort", word, &vars.auto_traces_fit, true);
    if (r >= 0 && vars.auto_traces_fit)
        autoTracesFit();
    return r;
}

int VXTraceview::setShowPredictedArrivals(QString word)
{
    return setWordAndRefresh("setShowPredictedArrivals", word, &vars.show_predicted_arrivals);
}

int VXTraceview::setShowTracesWithArrivals(QString word)
{
    return setWordAndRefresh("setShowTracesWithArrivals", word, &vars.hide_noarrivals);
}

int VXTraceview::setShowTracesWithDetections(QString word)
{
    return setWordAndRefresh("setShowTracesWithDetections", word, &vars.hide_nodetections);
}

int VXTraceview::setShowTracesWithArrivalsOrDetections(QString word)
{
    int both = vars.hide_noarrivals && vars.hide_nodetections;
    const int r = setWord("setShowTracesWithArrivalsOrDetections", word, &both);
    if (r > 0) {
        vars.hide_noarrivals = vars.hide_nodetections = both;
        syncDefaults();
        refresh(0);
    }
    return r;
}

int VXTraceview::setShowTracesWithWaveforms(QString word)
{
    return setWordAndRefresh("setShowTracesWithWaveforms", word, &vars.hide_nowaveforms);
}

int VXTraceview::setBatch(QString word)
{
    const int r = setWord("setBatch", word, &batch);
    if (r > 0 && !batch)
        refresh(1);
    return r;
}

int VXTraceview::setAntialias(QString word)
{
    return setWordAndRefresh("setAntialias", word, &vars.antialias);
}

int VXTraceview::setClip(QString word)
{
    return setWordAndRefresh("setClip", word, &vars.clip);
}

int VXTraceview::processFilterString(QString filter, QString& filter_string, QString& filter_label)
{
    return trace_process_filter_string(filter, filter_string, filter_label);
}

namespace {

// Read the keys of one display mode; a missing key keeps the old value.
int readDisplayMode(Kv* kv, VxTraceviewDisplayMode& m)
{
    struct ColorKey
    {
        const char* key;
        VX_Color VxTraceviewDisplayMode::*field;
    };
    static const ColorKey colors[] = {
        {"color_background", &VxTraceviewDisplayMode::color_background},
        {"color_traces_background", &VxTraceviewDisplayMode::color_traces_background},
        {"color_foreground", &VxTraceviewDisplayMode::color_foreground},
        {"color_time_grids", &VxTraceviewDisplayMode::color_time_grids},
        {"color_trace_label", &VxTraceviewDisplayMode::color_trace_label},
        {"color_trace_selected_background", &VxTraceviewDisplayMode::color_trace_selected_background},
        {"color_trace_amp_label", &VxTraceviewDisplayMode::color_trace_amp_label},
        {"color_trace_filter_label", &VxTraceviewDisplayMode::color_trace_filter_label},
        {"color_trace_select_background", &VxTraceviewDisplayMode::color_trace_select_background},
        {"color_trace_select_order_label", &VxTraceviewDisplayMode::color_trace_select_order_label},
        {"color_coordinates_status", &VxTraceviewDisplayMode::color_coordinates_status},
        {"color_origin_status", &VxTraceviewDisplayMode::color_origin_status},
        {"color_preferred_origin_status", &VxTraceviewDisplayMode::color_preferred_origin_status},
    };
    struct FontKey
    {
        const char* key;
        VX_Font VxTraceviewDisplayMode::*field;
    };
    static const FontKey fonts[] = {
        {"font_trace_label", &VxTraceviewDisplayMode::font_trace_label},
        {"font_trace_amp_label", &VxTraceviewDisplayMode::font_trace_amp_label},
        {"font_trace_filter_label", &VxTraceviewDisplayMode::font_trace_filter_label},
        {"font_trace_select_order_label", &VxTraceviewDisplayMode::font_trace_select_order_label},
    };
    char buffer[KV_STRING_BUFFER_MIN];
    for (const ColorKey& c : colors) {
        buffer[0] = 0;
        if (kvparambuf(kv, c.key, 0, buffer, sizeof buffer) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseDisplayParameters: kvparam(%s) error.\n", c.key);
            return -1;
        }
        if (buffer[0] && VX_ParseColor(QString::fromUtf8(buffer), m.*c.field) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseDisplayParameters: VX_ParseColor('%s') error\n",
                              buffer);
            return -1;
        }
    }
    for (const FontKey& f : fonts) {
        buffer[0] = 0;
        if (kvparambuf(kv, f.key, 0, buffer, sizeof buffer) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseDisplayParameters: kvparam(%s) error.\n", f.key);
            return -1;
        }
        if (buffer[0] && VX_ParseFont(QString::fromUtf8(buffer), m.*f.field) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseDisplayParameters: kvparam(%s) error.\n", f.key);
            return -1;
        }
    }
    if (kvparam(kv, "linewidth", KV_DOUBLE, 0, &m.linewidth) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseDisplayParameters: kvparam(%s) error.\n",
                          "linewidth");
        return -1;
    }
    return 0;
}

} // namespace

int VXTraceview::parseDisplayParameters(QString text)
{
    const QByteArray bytes = text.toUtf8();
    Kv* kv = nullptr;
    if (kvcompile(bytes.constData(), &kv) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseDisplayParameters: kvcompile(%s) error.\n",
                          bytes.constData());
        return -1;
    }
    Kv* top = nullptr;
    if (kvparam(kv, "traceview_display_parameters", KV_ARR, 1, &top) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceview::parseDisplayParameters: kvparam(traceview_display_parameters) error.\n");
        kvfree(kv);
        return -1;
    }
    // parsed into a copy: a failure leaves the parameters in force
    VxTraceviewDisplayParameters p = display_parameters;
    for (const char* name : {"main_display", "edit_display"}) {
        Kv* mode = nullptr;
        if (kvparam(top, name, KV_ARR, 0, &mode) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseDisplayParameters: kvparam(%s) error.\n", name);
            kvfree(kv);
            return -1;
        }
        if (mode && readDisplayMode(mode, strcmp(name, "main_display") == 0 ? p.main_display : p.edit_display) < 0) {
            kvfree(kv);
            return -1;
        }
    }
    for (const char* name : {"arrival_select_expr", "arrival_reject_expr"}) {
        char* expr = nullptr;
        if (kvparam(top, name, KV_STRING, 0, &expr) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseDisplayParameters: kvparam(%s) error.\n", name);
            kvfree(kv);
            return -1;
        }
        if (!expr)
            continue;
        const int bad = strregmatch("foo", expr, nullptr) < 0;
        if (bad) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXTraceview::parseDisplayParameters: strregmatch(%s) error for %s.\n", expr, name);
            free(expr);
            kvfree(kv);
            return -1;
        }
        (strcmp(name, "arrival_select_expr") == 0 ? p.arrival_select_expr : p.arrival_reject_expr) =
            QString::fromUtf8(expr);
        free(expr);
    }
    kvfree(kv);
    p.text = text;
    display_parameters = p;
    syncDefaults();
    return 0;
}

// Hand the view's keys and the main display's look to the traces' record.
void VXTraceview::syncDefaults()
{
    const VxTraceviewDisplayMode& m = display_parameters.main_display;
    defaults.viewport = getViewportParent();
    defaults.color_foreground = edit_mode ? display_parameters.edit_display.color_foreground : m.color_foreground;
    defaults.color_traces_background = m.color_traces_background;
    defaults.color_trace_label = m.color_trace_label;
    defaults.color_trace_amp_label = m.color_trace_amp_label;
    defaults.color_trace_filter_label = m.color_trace_filter_label;
    defaults.color_trace_select_background = m.color_trace_select_background;
    defaults.color_trace_select_order_label = m.color_trace_select_order_label;
    defaults.font_trace_label = m.font_trace_label;
    defaults.font_trace_amp_label = m.font_trace_amp_label;
    defaults.font_trace_filter_label = m.font_trace_filter_label;
    defaults.font_trace_select_order_label = m.font_trace_select_order_label;
    defaults.linewidth = edit_mode ? display_parameters.edit_display.linewidth : m.linewidth;
    defaults.edit_mode = edit_mode;
    defaults.show_arrivals = vars.show_arrivals;
    defaults.show_predicted_arrivals = vars.show_predicted_arrivals;
    defaults.show_detections = vars.show_detections;
    defaults.show_residuals = vars.show_residuals;
    defaults.label_visible = vars.label_visible;
    defaults.ampscale_visible = vars.ampscale_visible;
    defaults.ampscale_mode = vars.ampscale_mode;
    defaults.clip = vars.clip;
    defaults.hide_nowaveforms = vars.hide_nowaveforms;
    defaults.hide_noarrivals = vars.hide_noarrivals;
    defaults.hide_nodetections = vars.hide_nodetections;
    defaults.gain = vars.gain;
    defaults.units = vars.units;
    defaults.units_scale = vars.units_scale;
    defaults.filter_tpad = vars.filter_tpad;
    defaults.palign = vars.palign;
    trace_process_filter_string(vars.filter_string, defaults.filter_string, defaults.filter_label);
    hl_clear_register(HL_CLEAR_QUIET);
}
