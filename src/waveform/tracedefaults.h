// What a trace takes from the view that shows it.
//
// A VXTrace has no widget: it is drawn in a viewport among other traces,
// and many of its keys say "as the view says" (an unset colour or font, a
// negative linewidth, -1 in a boolean or mode, a gain of 0, an empty units
// or filter text).  Those keys fall back on one VxTraceviewDefaults record
// that the view owns and keeps up to date; every trace holds a pointer to
// it (VXTrace::defaults).  The record also carries the time grid, the
// viewport the traces are drawn in, the current origin for alignment, and
// the selection state shared by the traces of the view.
//
// A trace without a record (a null pointer) builds no path and draws
// nothing.  The record is read and written on the thread that paints.
#pragma once

#include "foundation/values.h"

#include <QList>
#include <QString>

#include <functional>

class VXTrace;
class VXViewport;

// The traces of a view as selection sees them.  selectTrace() numbers a
// newly selected trace after the highest number among traces, and on
// deselection renumbers the traces that follow it in display_list.
struct VxTraceSelection
{
    QList<VXTrace*> traces;        // every trace of the view
    QList<VXTrace*> display_list;  // the visible traces, top to bottom
    VXTrace* last_trace_selected = nullptr;
};

struct VxTraceviewDefaults
{
    VXViewport* viewport = nullptr;  // where the traces are drawn; not owned

    // the time grid: npixels columns of dtperpixel seconds from tleft, with
    // tbuffer seconds kept to the left
    double tleft = 0.0;
    double dtperpixel = 0.0;
    int npixels = 0;
    double tbuffer = 0.0;

    // colours, fonts and line width of the main display
    VX_Color color_foreground;           // the waveform
    VX_Color color_traces_background;    // the band behind the data
    VX_Color color_trace_label;
    VX_Color color_trace_amp_label;
    VX_Color color_trace_filter_label;
    VX_Color color_trace_select_background;
    VX_Color color_trace_select_order_label;
    VX_Font font_trace_label;
    VX_Font font_trace_amp_label;
    VX_Font font_trace_filter_label;
    VX_Font font_trace_select_order_label;
    double linewidth = 1.0;  // pixels
    int edit_mode = 0;       // 1 while arrivals are edited: no band behind traces without their own colour

    // switches and modes (1 on, 0 off)
    int show_arrivals = 1;
    int show_predicted_arrivals = 1;
    int show_detections = 1;
    int show_residuals = 1;
    int label_visible = 1;
    int ampscale_visible = 1;
    int ampscale_mode = 1;  // 0 fixed, 1 auto, 2 auto0, 3 autop, 4 auton
    int clip = 0;
    int hide_nowaveforms = 0;
    int hide_noarrivals = 0;
    int hide_nodetections = 0;

    // amplitude and units
    double gain = 1.0;
    QString units = QStringLiteral("source");  // "source", "counts" or "sm"
    double units_scale = 1.0;

    // the filter of traces that have none of their own
    QString filter_string;
    QString filter_label;
    double filter_tpad = 10.0;

    // alignment on the predicted P of the current origin
    int palign = 0;
    double otime = -999.0, olat = -999.0, olon = -999.0, odepth = -999.0;

    VxTraceSelection selection;

    // Asked for when a trace's look changed (selection, visibility); may be
    // empty.
    std::function<void()> repaint;
};
