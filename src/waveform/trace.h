// VXTrace: one channel of a trace view.
//
// A trace is a pixelator (its data as pixel columns) with keys of its own:
// colours, fonts, the amplitude window and its mode, gain, units, filter
// and label.  Keys left at "default" (see tracedefaults.h) follow the view.
// The trace has no widget: the view asks it for a path (makePath), paints
// it (drawPath), and lets it paint the band behind its data
// (drawTraceBackground) and its labels in the left margin (drawLabel).
//
// Frames.  Paths and background bands are in plot-area pixels (origin at
// the plot area's top left corner; drawPath and drawTraceBackground
// translate for themselves); labels are drawn in widget pixels.  The trace
// occupies the world y band ybottom to ytop of the viewport; amplitudes
// abottom to atop, in raw counts, span that band.
//
// Amplitude modes (ampscale_mode): -1 the view's, 0 fixed, 1 auto (the
// data's extremes), 2 auto0 (symmetric about 0), 3 autop and 4 auton (both
// 0 to the largest value).  Gain zooms about the middle of the window.
//
// Units: "source" shows calibrated units by segment type (A nm/sec**2, D
// nm, V nm/sec), "counts" raw counts, "sm" strong-motion units (A mg, V
// cm/sec); a factor of 0 (calib 0) falls back to counts.
//
// Five point sets carry arrivals, detections, predicted arrivals,
// residuals and deltimes over the trace.
//
// Threads: makePath reads the columns and is called with tide_mutex held
// when a real-time feed writes them; everything else runs on the thread
// that paints.
#pragma once

#include "foundation/configure.h"
#include "foundation/values.h"
#include "toolkit/events/qkrecords.h"
#include "vxplot_export.h"
#include "waveform/pixelator.h"
#include "waveform/tracearrival.h"
#include "waveform/tracedefaults.h"

#include <QList>
#include <QMenu>
#include <QPainterPath>
#include <QString>

#include <functional>
#include <memory>

class QPainter;
class VXEvent;
class VXGlyph;
class VXTraceviewQKClient;
class VXPolypoint;
class VXTraceview;
struct VxPixelatorSource;
struct VxTraceArrival;

struct VxTrace
{
    VxTrace();

    VX_Color color_foreground;
    VX_Color color_background;
    VX_Font font_trace_label;
    VX_Color color_trace_label;
    VX_Font font_trace_amp_label;
    VX_Color color_trace_amp_label;
    VX_Font font_trace_filter_label;
    VX_Color color_trace_filter_label;
    VX_Color color_trace_select_background;
    VX_Font font_trace_select_order_label;
    VX_Color color_trace_select_order_label;
    double linewidth = -1.0;      // pixels; negative: the view's
    double xpixel_factor = 0.0;
    int visible = 1;
    int show_arrivals = -1;       // -1: the view's
    int show_predicted_arrivals = -1;
    int show_detections = -1;
    int show_residuals = -1;
    int label_visible = -1;
    int ampscale_visible = -1;
    int ampscale_mode = -1;       // -1 the view's, 0 fixed ... 4 auton
    int clip = -1;
    QString channel_label;        // shown instead of the trace's name when set
    double ybottom = 0.0;         // world y band of the trace in the viewport
    double ytop = 1.0;
    double stretch_height = 1.0;  // relative height in the view's layout
    double abottom = -1.0;        // amplitude window, raw counts
    double atop = 1.0;
    double gain = 0.0;            // 0: the view's
    QString filter_string;        // empty: the view's
    QString units;                // "source" or "counts"; empty: the view's
    double units_scale = 0.0;     // 1.0 with units set, 0 without
    QString filter_label;
    double filter_tpad = 10.0;
    QString arrivals_menus;       // the menu definitions as given
};

class VXPLOT_EXPORT VXTrace : public VXPixelator, public VXConfigure
{
public:
    // A trace of the view whose defaults record is defaults (may be null
    // until setDefaults()); traceview is kept for the view's own use.  The
    // five point sets are made in the defaults' viewport when there is one.
    explicit VXTrace(VxTraceviewDefaults* defaults = nullptr, VXTraceview* traceview = nullptr);
    ~VXTrace() override;

    void setDefaults(VxTraceviewDefaults* defaults);
    // Set the trace's name ("STA CHAN", ";n" for a copy) and name its
    // point sets after it.
    void setChannelLabel(const QString& label);

    // Set the amplitude mode by word; for "fixed" the window from abottom
    // and atop in display units.  1 changed, 0 the mode was already that
    // (nothing else happens), -1 with a registered error for a bad word.
    int setScale(QString ampscale_mode, double abottom, double atop);
    // Store mode (-1: the view's mode), band and window.
    void setAmpScale(int ampscale_mode, double ybottom, double ytop, double abottom, double atop);
    // The window with gain applied (raw counts), the band, and its pixel
    // rows (widget pixels from the top).  -1 without a viewport.
    int getAmpScales(double& abottom, double& atop, double& ybottom, double& ytop, double& ybottom_pixel,
                     double& ytop_pixel);
    double amp2Viewport(double a);
    double viewport2Amp(double y);
    double amp2Pixel(double a);
    double viewport2Pixel(double y);

    // The waveform of the window as one path, with the x extent of each
    // segment appended to end_points as pairs.  Re-pixelates when the grid
    // changed or force is set.  An empty path when there is nothing to
    // draw (no view, band out of view, flat data in an auto mode).
    QPainterPath makePath(QList<double>& end_points, int force);
    // The columns of one segment into path; xfirst and xlast get the x of
    // its first and last column that holds samples.
    void makeSegmentPath(QPainterPath& path, qreal& xfirst, qreal& xlast, const VxPixelatorSegment& segment);
    // Stroke path in the trace's colour and width (else the view's).
    void drawPath(QPainter* painter, const QPainterPath& path);
    // The band behind each (x1, x2) pair of end_points.
    void drawTraceBackground(QPainter* painter, QList<double> end_points);
    // Selection number, amplitude scale, channel and filter labels.
    void drawLabel(QPainter* painter);

    // Copies of every segment built at the present grid; segments of an
    // earlier grid are removed from their sources.
    QList<VxPixelatorSegment> copySegments();
    // Columns of the window that segments cover.
    int numberPixels();
    // 1 when the trace is to be shown, by its visible key and the view's
    // hide_* switches.
    int getVisibility();
    // Units and factor in force, from the first segment's type and calib.
    void setUnits();
    // Shift the samples by the predicted P time of the view's origin, when
    // the view aligns on P; a change re-pixelates at the next build.
    void setToffset();
    // Empty every source (under tide_mutex).
    void clearTrace();
    // The view's filter when the trace has none of its own, into the
    // pixelator (the view calls this before makePath).
    void takeFilter();

    void setFilterString(QString filter);
    void setFilterLabel(QString label);
    void setFilterTpad(double tpad);

    // "toggle" or a boolean word.  1 changed, 0 not, -1 with a registered
    // error for another word.
    int showTrace(QString word);
    int showArrivals(QString word);
    int showDetections(QString word);
    int selectTrace(QString word);

    // --- arrival editing, written to the database at once
    // queue_counter: 0 makes a new undo entry, above 0 adds to the current
    // one, below 0 none; it is counted up by each queued edit.
    // A new arrival at time on this trace; its arid, or -1.
    long addArrival(double time, int& queue_counter);
    // Change time (-2e30: not), deltime (-2e30: not), phase (empty: not) of arid; its row or -1.
    long editArrival(long arid, double time, double deltime, QString phase, int& queue_counter);
    // Write a whole record back (undo and redo); its row, or -1.
    long editArrival(const QKArrival& arrival);

    // --- arrivals, detections and predicted phases shown (trace_arrivals.cpp)
    // Fetch the arrivals (detections) of the window, shifted by toffset,
    // from every source into source_arrivals (source_detections), counting
    // them in narrivals (ndetections).  Run at every layout: visibility
    // depends on the counts.
    void getArrivals();
    void getArrivalsQk(int source_index);
    void getArrivalsTIDE(int source_index);
    void getDetections();
    void getDetectionsQk(int source_index);
    void getDetectionsTIDE(int source_index);
    // Fill the point sets from what was fetched (at every full paint): the
    // arrivals into arrival_list and the view's arrivals_hash.  0, or -1
    // with the reason registered.
    int drawArrivals();
    int drawArrivalsQk(VXTraceviewQKClient* client, const Table<QKArrival>& table);
    int drawDetections();
    int drawDetectionsQk(VXTraceviewQKClient* client, const Table<QKTableRecord>& table);
    // P, S, ... of the view's origin at this station, inside the window only.
    int drawPredictedArrivals();
    // Residual bars of the arrivals (edit mode), and the deltime bar of arid.
    int drawResiduals();
    int drawDeltimes(long arid);
    void hideDeltimes();
    // Hide every overlay (a trace that is not displayed).
    void hideOverlays();
    void makeResidualPoint(VxTraceArrival& arrival);
    void moveResidualPoint(VxTraceArrival& arrival);
    void makeDeltimePoint(VxTraceArrival& arrival);
    void modifyDeltimePoint(VxTraceArrival& arrival);
    void moveDeltimePoint(VxTraceArrival& arrival);
    // Restyle the arrival's glyph with attributes "{o=... lw=...}".  0 or -1.
    int modifyArrivalPoint(VxTraceArrival& arrival, QString gc);
    // 1 when arid is among this trace's shown arrivals.
    bool isAridInArrivalsList(long arid) const;
    // The menus of the parameter text's array arrivals_menus (keys "left",
    // "middle", "right", each a table of arrays with label and command).
    // 0, or -1 with the reason registered and menus unchanged.
    int parseArrivalsMenus(QString text, VxTraceArrivalMenus& menus);
    // One QMenu per mouse button from the trace's own menus, else the
    // view's; each action sends its command through the view.  Rebuilt
    // only when the definitions changed.
    void makeArrivalsMenus();
    // Height of the trace's band in pixels, truncated; 0 without a viewport.
    int heightPixels();
    // Configure the five point sets (the constructor calls it).
    void setupOverlays();

    QList<VxTraceArrival> arrival_list;          // shown, sorted by order
    QList<Table<QKArrival>> source_arrivals;      // per source, of the last fetch
    QList<Table<QKTableRecord>> source_detections;
    VxTraceArrivalMenus arrivals_menus;           // the trace's own, parsed
    std::unique_ptr<QMenu> arrivals_menu_left;    // null without items
    std::unique_ptr<QMenu> arrivals_menu_middle;
    std::unique_ptr<QMenu> arrivals_menu_right;
    QString arrivals_menus_built;                 // the definitions the menus were built from

    // --- arrival editing: adding, pasting and the pointer (trace_edit*.cpp)
    // Paste: a new arrival like arrival (phase, deltime and the other
    // measurements of its record) at time on this trace; its arid, or -1.
    long addArrival(VxTraceArrival& arrival, double time, int& queue_counter);
    // The adds through the event client of source: a new row of the view's
    // default phase, or a copy of arrival's record.  The arid, or -1.
    long addArrivalQk(VxPixelatorSource* source, double time, int& queue_counter);
    long addArrivalQk(VxPixelatorSource* source, VxTraceArrival& arrival, double time, int& queue_counter);
    // Move arid by time_delta seconds (-2e30: not) and set deltime and
    // phase as editArrival() does, from the record as the database holds
    // it now.  Its row, or -1.
    long shiftArrival(long arid, double time_delta, double deltime, QString phase, int& queue_counter);
    // The first source that reaches the database through an event client,
    // or null.
    VxPixelatorSource* editSource();
    // Run action on every shown copy of arid (on all traces of the view);
    // the number of copies.
    int arrivalCallbackAction(long arid, std::function<void(VxTraceArrival&)> action);
    // The glyph callback of the arrivals point set: menus on a press, time
    // drags with the left button, deltime drags with the middle one.  2
    // when the event was used.
    int arrivalsCallback(VXGlyph* glyph, VXEvent* event);
    int arrivalEditInteraction(VXGlyph* glyph, VXEvent* event);
    int arrivalTimeEditInteraction(VXGlyph* glyph, VXEvent* event);
    int arrivalDeltimeEditInteraction(VXGlyph* glyph, VXEvent* event);
    int moveArrivals(VXGlyph* glyph, VXEvent* event);
    // The shown arrival of glyph of the arrivals point set; false when the
    // glyph is not one of this trace's arrivals.
    bool arrivalOfGlyph(VXGlyph* glyph, VxTraceArrival& arrival);
    // editArrival() and shiftArrival(): time absolute, or relative to the record's
    long writeArrival(long arid, double time, bool relative, double deltime, const QString& phase,
                      int& queue_counter);

    void getStaChanCopy(QString& sta, QString& chan, int& copy);
    void copyFrom(VXTrace* other);

    VxTrace vars;
    VxTraceviewDefaults* defaults = nullptr;  // not owned
    VXTraceview* traceview = nullptr;         // not owned
    QString units;              // in force since the last path build
    double units_scale = 0.0;
    int flags_stale = 0;        // the last build re-pixelated
    VXPolypoint* arrivals = nullptr;
    VXPolypoint* detections = nullptr;
    VXPolypoint* predicted_arrivals = nullptr;
    VXPolypoint* residuals = nullptr;
    VXPolypoint* deltimes = nullptr;
    int narrivals = 0;
    int ndetections = 0;
    double arrivals_xoffset = 0.0;
    int index = 0;
    QString channel_label;
    QString sta, chan, seed_net, seed_sta, seed_chan, seed_loc;
    double lat = -999.0, lon = -999.0, elev = -999.0;
    double distance = 999.0;
    int copy = 0;
    QList<VXTrace*> copies;
    VXTrace* original = nullptr;
    QList<long> arids;
    long sort_order = 0;
    long distance_sort_order = -1;
    int select_order = 0;       // 0 unselected, else the place in the order of selecting, from 1
    int force = 0;              // the next build re-reads the data
    QList<VxTraceviewTIDE*> copies_tideptr;  // real-time records of the copies, not owned

protected:
    QString pixelatorStation() const override { return sta; }
    QString pixelatorChannel() const override { return chan; }

private:
    int viewAmpscaleMode() const;
    int showWord(const char* who, const QString& word, int* field, int view_value);
};

// Split a filter text "filter # label" into the filter and its label
// (the character before "#" is dropped; both trimmed).  0, or -1 with the
// filter service's line registered when the filter does not parse.
VXPLOT_EXPORT int trace_process_filter_string(const QString& filter, QString& filter_string, QString& filter_label);

// Nice tick numbers from fstart to fend with at most about maxvals ticks:
// ticks are i * *ninc for i from *istart to *iend.  *ninc is 0 (and the
// others untouched) for an empty range, maxvals below 2, or a range whose
// tick numbers would pass 1e9 (far from zero for its width).
VXPLOT_EXPORT void trace_get_nice_fvals(double fstart, double fend, int maxvals, int* istart, int* iend,
                                        double* ninc);

// An amplitude label for v, digits by magnitude.
VXPLOT_EXPORT QString trace_amplitude_text(double v);
