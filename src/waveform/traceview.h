// VXTraceview: many traces stacked in one viewport on one time axis.
//
// The view owns its traces (VXTrace) and lays the visible ones out in the
// world y range 0 to 1, top to bottom, at heights proportional to their
// stretch_height; scrolling is a change of the viewport's y window, shown
// by a vertical scroll bar at the left edge.  x is epoch time: the window
// tleft to tright.
//
// Traces are named by their label "STA CHAN", with ";n" for the n-th copy.
// A trace expression names a subset: a comma list of elements
// "sta:chan;copy" whose parts are regular expressions matched whole (each
// part optional), or "*" (all), or "selected" (the selected traces in the
// order of selecting; consumes the selection) or "selected+" (the same,
// keeping it).
//
// Painting goes through the viewport's paint cycle.  The view's image item
// (VXTraceviewImage, listed right under the view) takes the grid from the
// plot width, lays the traces out and paints their paths into an
// off-screen image, which it copies to the plot; the view, in its layer
// "traceview_base", then draws the labels.  With skip_render set, only the
// cached image is copied and the labels drawn.  While a drag lasts the
// image item leaves that layer and the axes have a layer of their own,
// "traceview_axes": both are slid by the drag, and nothing is drawn anew.
//
// Errors: a failing function registers one line "VXTraceview::method: ..."
// and returns -1; the view is unchanged.
//
// Threads: everything runs on the thread that paints, except that a
// real-time feed may add columns to a trace under mutex_traces and the
// trace's tide_mutex (in that order); the paint holds mutex_traces over the
// layout and the painting of the image.  The trace list, the label hash
// and each trace's sources are changed only on the GUI thread and under
// mutex_traces, so the feed reads them under that lock alone.
#pragma once

#include "foundation/configure.h"
#include "foundation/values.h"
#include "viewport/viewportitem.h"
#include "viewport/vxevent.h"
#include "vxplot_export.h"
#include "waveform/tracearrival.h"
#include "waveform/tracedefaults.h"
#include "waveform/tracesources.h"

#include <QHash>
#include <QImage>
#include <QList>
#include <QPointF>
#include <QPointer>
#include <QRubberBand>
#include <QScrollBar>
#include <QTimer>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

#include <pthread.h>

class QMenu;
class QPainter;
class QPoint;
class QResizeEvent;
class VXAxes;
class VXPolypoint;
class VXTaskbar;
class VXText;
class VXTraceviewImage;
class VXCommandConsole;
class VXEvent;
class QRectF;
class VXTrace;
class VXTraceviewQKClient;
class VXTraceviewCommands;
class VXViewport;
struct Kv;
class VXEvent;
struct PktChan;
struct VxTraceviewRealtime;
struct VxTideWorker;

// What runs for each new real-time channel (see setNewChannelCallback).
struct VxTraceviewNewChannelCallback
{
    std::function<void(VXTraceview*, QString, QString, void*, QList<Kv*>&)> callback_proc;
    VXTraceview* traceview = nullptr;
    void* client_data = nullptr;
};

// The look of one display mode (main or edit): the keys of the
// "main_display" or "edit_display" array of the display-parameter document.
// An unset colour or font is one the document did not give.
struct VxTraceviewDisplayMode
{
    VX_Color color_background;         // the plot behind the traces
    VX_Color color_traces_background;  // the band behind each trace's data
    VX_Color color_foreground;         // the waveforms
    VX_Color color_time_grids;
    VX_Font font_trace_label;
    VX_Color color_trace_label;
    VX_Color color_trace_selected_background;
    VX_Font font_trace_amp_label;
    VX_Color color_trace_amp_label;
    VX_Font font_trace_filter_label;
    VX_Color color_trace_filter_label;
    VX_Color color_trace_select_background;
    VX_Font font_trace_select_order_label;
    VX_Color color_trace_select_order_label;
    VX_Color color_coordinates_status;
    VX_Color color_origin_status;
    VX_Color color_preferred_origin_status;
    double linewidth = 1.0;  // pixels
};

struct VxTraceviewDisplayParameters
{
    VxTraceviewDisplayMode main_display;
    VxTraceviewDisplayMode edit_display;
    QString arrival_select_expr;  // regular expressions over phase names; empty for none
    QString arrival_reject_expr;
    QString text;                 // the document as last parsed
};

// The configurable values of a trace view.
struct VxTraceview
{
    double xpixel_factor = 2.0;  // columns per screen pixel (truncated when above 1)
    int show_arrivals = 1;
    int show_predicted_arrivals = 1;
    int show_detections = 1;
    int show_residuals = 1;
    int label_visible = 1;
    int ampscale_visible = 1;
    int show_crosshairs = 1;
    int show_coordinates_status = 1;
    int show_arrival_status = 1;
    int show_origin_status = 1;
    int use_wheel = 0;
    int palign = 0;
    int auto_distance_sort = 0;
    int disable_edits = 0;
    int render_event_info = 1;
    int max_traces = -1;         // most traces in the y window; not above 0: no limit
    int min_pixels_traces = -1;  // least pixels per trace; not above 0: no limit
    int preserve_time_scale_on_resize = 0;
    int preserve_traces_scale_on_resize = 0;
    int ampscale_mode = 1;       // 0 fixed, 1 auto, 2 auto0, 3 autop, 4 auton
    int clip = 0;
    int antialias = 1;
    double gain = 1.0;
    QString filter_string;       // as given, "filter # label"
    QString predicted_phases;
    QString default_phase;
    QString units;               // "source", "counts" or "sm"
    double filter_tpad = 10.0;
    QString traceview_buttons_definitions;
    QString traceview_buttons;
    QString aliases;
    QString hotkeys;
    QString arrivals_menus;
    double animate_interval = 0.0;
    double animate_toffset = 10.0;
    QString interaction;
    VX_Color color_time_now;

    int show_associations = 0;
    int hide_noarrivals = 0;
    int hide_nodetections = 0;
    int hide_nowaveforms = 0;
    int animate_mode = 0;
    double units_scale = 1.0;
    int auto_traces_fit = 0;
    int auto_select_event = 0;
    QString display_expr;
    QString taskbar_buttons_definitions_string;
    QString taskbar_buttons_string;
};

// Most traces a view holds: a request past it is refused with a message.
inline constexpr int VX_TRACEVIEW_MAX_TRACES = 100000;

// The default display-parameter document.
VXPLOT_EXPORT const char* traceview_default_display_parameters();

// A compiled expression of strregmatch(), freed with its holder.
struct VXPLOT_EXPORT VxRegexHook
{
    VxRegexHook() = default;
    VxRegexHook(const VxRegexHook&) = delete;
    VxRegexHook& operator=(const VxRegexHook&) = delete;
    ~VxRegexHook();
    void* hook = nullptr;
};

// How arrivals look in one display mode: the arrival keys of the
// "main_display" or "edit_display" array of the display-parameter document.
struct VxTraceviewArrivalLook
{
    // colour classes by name ("arrival_normal", "arrival_defining",
    // "detection", "predicted_arrival", ...): keys color_<class>_outline,
    // color_<class>_text, color_<class>_fill and linewidth_<class>
    QHash<QString, VxArrivalGlyph> glyphs;
    VX_Color color_arrival_deltime_fill;
    QString arrival_select_expr;  // empty: the document's top-level one
    QString arrival_reject_expr;
    // the status line: a format of %s conversions and, for each, an
    // expression on the arrival row with the format of its value
    QString status_format;
    QList<QPair<QString, QString>> status_arguments;
};

class VXPLOT_EXPORT VXTraceview : public VXViewportItem, public VXConfigure
{
public:
    // A view drawn in master.  cc, make_taskbar and vptaskbar are kept for
    // the command console and the task bar; they may be null or 0.  Call
    // init() before use.
    VXTraceview(VXViewport* master, VXCommandConsole* cc, int make_taskbar, VXViewport* vptaskbar);
    ~VXTraceview() override;

    // Configure the viewport for a time axis, install the keys with their
    // defaults, make the axes and the scroll bar.
    void init();

    int drawViewportItem(QPainter* painter) override;
    void setVisibility() override;
    // Send a message to the client (timespan changes, commands); nothing
    // while nofeedback is set.
    virtual void callback(QString message);
    // Receives what callback() sends; may be empty.
    std::function<void(const QString&)> client_callback;

    // --- time and y window
    // tleft -2e30 keeps the start (the earliest source time, or 0.0 when
    // none is known), twin -2e30 the width; a negative twin ends the window
    // at tleft.  0, or -1 for a width of 0 (nothing changes).
    int setTimeWindow(double tleft, double twin);
    void timeWindow(double& tleft, double& twin);
    // Shift the time window by dt seconds.
    int panX(double dt);
    // Narrow the time window by factor about time tref (-2e30: its middle).
    int zoomX(double tref, double factor);
    int panY(double ytop);
    // Bring a trace (or the index-th displayed trace) to the top of the y window.
    int panY(VXTrace* trace);
    int panY(int index);
    // Show the displayed traces from top to bottom (or the index-th ones), in either order.
    int zoomY(VXTrace* top, VXTrace* bottom);
    int zoomY(int top, int bottom);
    // Show y window [ybottom_view, ytop_view]: ignored when wholly outside 0 to 1, else clamped.
    int setAmpView(double ybottom_view, double ytop_view);
    // What a resize of the viewport does to the view (installed by init()).
    void resizeCallback(QResizeEvent* event);
    // Zoom the y window about yref (negative: the window top) by factor.
    int zoomY(double yref, double factor);
    int zoomY2(double ybottom, double ytop);
    int autoTracesFit();
    // Show y window [ybottom, ytop] (clamped into 0 to 1, height at most
    // 1.0 when coords_set) and set the scroll bar from it.
    void setScroll(double ytop, double ybottom, int coords_set);
    // Lay the visible traces out; the number of traces shown (0: nothing to draw).
    int layoutTraces();
    // Apply max_traces and min_pixels_traces to the y window; 0 when the
    // view is not to be drawn.
    int setDisplayScales();
    // Paint the traces into the image and the image to the plot.
    int draw();
    // Repaint; with wfdiscs the traces re-read their data.  Nothing in batch.
    void refresh(int wfdiscs);
    void refreshPost(int wfdiscs);

    // --- the trace set (the view owns every trace)
    // A new trace of label "STA CHAN" (a ";n" suffix is dropped), numbered
    // as a copy when the label exists.  Its index.
    int appendNewTrace(QString channel_label);
    VXTrace* getTrace(int index);
    VXTrace* getTrace(QString channel_label);
    // The displayed trace whose band holds world y, with its place in the
    // display list in *index (may be null); null and -1 when none.
    VXTrace* getTrace(double y, int* index);
    int duplicateTrace(QString& channel_label);
    int deleteTrace(int index);
    int deleteTrace(QString channel_label);
    void clearTraces();
    // Replace the order of traces by list (all of them, each once), setting sort_order.
    int setTraces(QList<VXTrace*> list);
    int numTraces() const { return static_cast<int>(traces.size()); }

    // --- traces from a database, through its event server
    // Traces of the channels of server's waveform rows accepted by accept
    // and not rejected by reject (comma lists of "sta:chan" regular
    // expressions; empty accept takes all), one per channel not shown yet,
    // reading their samples through the view's client of that database.
    // A view without a time window takes its viewport's x range when that
    // meets the data, else the whole span of the channels.  0, or -1 with
    // the reason registered.
    int createTraces(QKServer* server, QString stachan_accept, QString stachan_reject);
    // The record of the view's client of server's database, made on first
    // use; the view owns the client.  The client's notices reach
    // processQKCallback() on the GUI thread.
    VxTraceviewQK registerQKServer(QKServer* server);
    // Make the missing traces of ev's accepted channels; 0 or -1.
    int scanWfdisc(VxTraceviewQK& ev);
    // A trace of label reading through client; its index, or -1.
    int createTraceQk(QString& label, VXTraceviewQKClient* client, int calib_from_db, int index,
                      int free_when_done);
    // Position of the trace's station from the site table, or -999.0.
    void getStaCoords(VXTrace* trace);
    // The event server of the database at path, opened by the view and
    // closed with it (for programs that have no server of their own).  It
    // watches the table files: rows added by other programs reach the view.
    QKServer* openDatabase(const QString& path);
    // A notice of the view's event clients, on the GUI thread: changed
    // waveform rows rescan the channels and re-read the samples, changed
    // arrivals and detections repaint, and with auto_select_event the most
    // recent (1) or last modified (2) event is selected.
    void processQKCallback(VXQKCallbackEvent* event);

    // --- real-time traces from a SeedLink ring (traceview_realtime*.cpp)
    //
    // One accumulate thread per ring key (tidename, accept and reject)
    // takes packets from a reader (toolkit/seedlink/tidereap.h) and folds
    // them into the columns of its traces under mutex_traces, then the
    // trace's tide_mutex.  Everything that changes the trace list runs on
    // the GUI thread: a new channel is named, accepted or refused ("skip")
    // and given its traces there, while its packets wait in a bounded
    // buffer.  Packets are taken only after the first paint (the grid is
    // known then); the thread reads the grid as last painted.
    //
    // Traces of channels of the ring tidename ("host:port") whose source
    // names "NET_STA_CHAN[_LOC]" tide_accept takes and tide_reject does not,
    // and whose name or label "STA CHAN" stachan_accept takes and
    // stachan_reject does not (regular expressions, matched whole; empty
    // accept takes all).  With server, arrivals and detections come from
    // it, and station names from its snetsta and schanloc tables
    // (dbmaster is kept for the sources).  With auto_tide the window is
    // moved to end at now + animate_toffset and the ring is read from a
    // tenth of the window before its start; otherwise from the live end.
    // The same key again reuses its thread.  0, or -1 with the reason
    // registered.
    int createTraces(QString tidename, Rsptr dbmaster, QKServer* server, QString tide_accept, QString tide_reject,
                     QString stachan_accept, QString stachan_reject, int auto_tide);
    // A trace of label reading tide (GUI thread, under mutex_traces): an
    // existing trace of that label gets the source added.  *tideptr takes
    // the source's own record.  Its index, or -1.
    int createTraceTIDE(QString& label, VxTraceviewTIDE tide, VxTraceviewTIDE** tideptr, int calib_from_db,
                        int index);
    // Fold one channel of a packet into the trace "sta chan" and the copies
    // made for it (accumulate thread).  0, or -1 when the trace is gone.
    int processTIDEChannel(PktChan* chan, VxTraceviewTIDE* tide, QString sta, QString chan_name);
    // Read the rings again from a time: empty for a tenth of the window
    // before its start, "now", "now-5m", "-30s" (from tleft), "+1m", or an
    // absolute time.  The real-time columns are emptied first.  Waits for
    // the threads to take the request, at most 2 s each.  0 or -1.
    int tideAfter(QString when);
    // Called on the GUI thread for every new accepted channel, with the
    // view, station, channel and client_data; each parameter document it
    // appends to the list (keys "filter", "label", "tpad"; the view frees
    // them) makes one trace of the channel, the first the original.
    void setNewChannelCallback(std::function<void(VXTraceview*, QString, QString, void*, QList<Kv*>&)> proc,
                               void* client_data);
    // Drop real-time columns before t from every trace.
    void trimTraces(double t);
    // Stop and join every accumulate thread and its reader; the traces stay.
    void stopTides();
    // What the rings decided for a channel "NET_STA_CHAN[_LOC]": "sta chan",
    // "skip", "pending", or empty when never seen.
    QString tideChannelState(const QString& channel_key);
    // The first-paint gate and the grid the threads read (the paint calls it).
    void realtimePainted();

    QHash<QString, VxTraceviewTIDE*> tides;  // ring key to its record; GUI thread only
    QList<std::shared_ptr<VxTideWorker>> tide_workers;  // one per key of tides
    double last_scanwfdisc = 0.0;                     // when the waveform rows were last scanned
    VxTraceviewNewChannelCallback new_channel_callback;
    std::shared_ptr<VxTraceviewRealtime> realtime;  // threads' shared state, made on first use
    std::unique_ptr<VXQKCallbackReceiver> qk_receiver;  // hands client notices to processQKCallback

    // --- trace expressions
    int resolveTracesExpressions(QString expressions, int copyok, QList<VXTrace*>& traces_output, int* all);
    // 1 when a trace of that label would match, 0 not, -1 bad expression.
    int isMatchTracesExpressions(QString expressions, QString channel_label, int copyok);
    int checkTracesExpressions(QString expressions, int selectedok);
    int setNaturalSortOrderExpr(QString expr);
    void defaultSort(QList<VXTrace*>& list);
    int naturalSort(int need_scan_wfdisc);
    void distanceSort();
    void makeTracesSorttab();

    // --- setters of words ("toggle" or a boolean word); 1 changed, 0 not, -1 bad word
    int setPreserveTimeScaleOnResize(QString word);
    int setPreserveTracesScaleOnResize(QString word);
    int setPalign(QString word);
    int setAutoDistanceSort(QString word);
    int setAutoTracesFit(QString word);
    int setShowPredictedArrivals(QString word);
    int setShowTracesWithArrivals(QString word);
    int setShowTracesWithDetections(QString word);
    int setShowTracesWithArrivalsOrDetections(QString word);
    int setShowTracesWithWaveforms(QString word);
    int setBatch(QString word);
    int setAntialias(QString word);
    int setClip(QString word);
    void setNofeedback(int nofeedback);
    // Attach cc (null: none): lines sent with send_to_cc go through it, it
    // runs typed lines in the view's language and keeps their history.
    void setCommandConsole(VXCommandConsole* cc);

    // Run a line of the trace view's command language.  nofeedback 0 or
    // above is stored first.  With a console attached and send_to_cc set
    // the line goes to the console (console_command).  Otherwise the line
    // runs through command_processor: on success *output takes its text
    // and the client gets "type command\ncommand <line>\n"; on failure
    // *output takes the error register's text, which is emptied, and the
    // result is -1.  An empty line empties *output.
    int sendCommand(QString command, QString* output, int send_to_cc, int nofeedback);
    // The command language: runs one line, its output into the text; 0 or
    // -1 with the error registered.  Empty until the language is attached.
    std::function<int(const QString& command, QString& output)> command_processor;
    // Hands a line to the attached console, which runs and records it.
    std::function<int(const QString& command)> console_command;
    // Send "alias key value" for each entry of the array "aliases" of the
    // parameter text (a table's rows joined by the two characters "\n"),
    // and "hotkey key value" for the array "hotkeys", without client
    // messages.  0, or -1 at the first failure.
    int parseAliases(QString text);
    int parseHotkeys(QString text);

    // --- the command language and its console (traceview_commands.cpp)
    // The view's language (tvcommands.h), made by init().
    std::shared_ptr<VXTraceviewCommands> commands;
    // Make the language, fill command_processor and attach the console
    // given at construction (init() calls it).
    void attachCommands();
    // Run the lines of the text file path: through the attached console
    // (queued, one per turn of the event loop, and kept in its history) when
    // there is one, else at once, stopping at the first failing line.  0, or
    // -1 with the reason registered.
    int importCommands(QString path);
    // Write the attached console's history to path, one line each, leaving
    // out empty lines and "main" lines (a file that imported or exported
    // itself again would never end).  0, or -1 with the reason registered.
    int exportCommands(QString path);
    // Filled when a console is attached: queue a file's lines in the
    // console, and its history (oldest first).
    std::function<int(const QString& path)> console_import;
    std::function<QStringList()> console_history;
    // Detaches the console when reset or destroyed.
    std::shared_ptr<void> console_link_guard;
    // Attaches a console to a view; installed by the console's side of the
    // library, which the view cannot include.  Null until then.
    static void (*console_link)(VXTraceview* traceview, VXCommandConsole* cc);
    int import_depth = 0;  // command files being run inside each other

    // --- arrivals and detections shown on the traces
    // The arids of the selected arrivals, with the one selected for a menu
    // (temp_selection_arid) when there is one.
    QList<long> getSelectedArrivals();
    // The arrivals in the copy clipboard, earliest first.
    QList<VxTraceArrival> getClipboard();
    // answer "toggle" or a boolean word; 1 changed, 0 not, -1 bad word
    int setSelectedArrival(long arid, QString answer);
    int setSelectedArrival(long arid);
    int clearSelectedArrival(long arid);
    void clearSelectedArrivals();
    bool arrivalIsSelected(long arid);
    // Select (select 1) or deselect the arrivals whose glyphs meet band
    // (widget pixels), or the band from arrivals_band_origin to the event's
    // point; the number of arrivals changed.
    int setSelectedArrivals(const QRectF& band, int select);
    int setSelectedArrivals(VXEvent* event, int select);
    void setCopyClipboard();
    void clearCopyClipboard();
    bool arrivalIsInClipboard(long arid);
    // Add (add 1) or remove (add 0) tag on arid; 0 or -1.
    int setTags(long arid, QString tag, int add);
    int setSelectedArrivalsTags(QString tag, int add);
    int setAssociatedArrivalsTags(int add);
    void clearAllTags();
    void clearSelectedArrivalsTags();
    void clearTags(long arid);
    QStringList getArrivalTags(long arid);
    // One line "arid association-status" per arrival.
    void outputSelectedArrivals(QString& output);
    void outputTaggedArrivals(QString& output);

    // --- how arrivals look (traceview_arrivals_look.cpp)
    // 1 when an arrival of phase is shown, 0 not ("del" never is), -1 for a
    // bad select or reject expression of the current mode.
    int getArrivalShow(const char* phase);
    // The colours of the arrival's class; the result is its drawing order
    // (0 ordinary, 1 and 2 drawn later).  associated: the arrival has an
    // association row.
    long getArrivalColors(long arid, int associated, VX_Color& outline, VX_Color& text, VX_Color& fill,
                          double& linewidth);
    long getArrivalColors(const QKArrival& arrival, int associated, VX_Color& outline, VX_Color& text,
                          VX_Color& fill, double& linewidth);
    void getDetectionColors(VX_Color& outline, VX_Color& text, VX_Color& fill, double& linewidth);
    void getPredictedArrivalColors(VX_Color& outline, VX_Color& text, VX_Color& fill, double& linewidth);
    // The time residual of arid in the current associations; 1 found, 0 not.
    int getArrivalResidual(long arid, double& residual);
    // The status line definition arrival_status_line of a display mode's
    // array.  0, or -1 with the reason registered.
    int parseArrivalStatusParameters(Kv* kv, QString& format, QList<QPair<QString, QString>>& arguments);
    // The status text of the arrival row db: each conversion of format
    // takes the next argument's expression evaluated on db through
    // client, printed with the argument's own format.  0, or -1.
    int parseArrivalStatusMsg(VXTraceviewQKClient* client, Rsptr db, const QString& format,
                              const QList<QPair<QString, QString>>& arguments, QString& message);
    // The look of the current mode, read again when the document changed.
    const VxTraceviewArrivalLook& arrivalLook();
    // Keep this paint's arrivals as the last paint's and start afresh
    // (tags are kept until cleared).
    void clearArrivalsHash();
    // Fill the overlays of every trace: hidden for traces not displayed.
    void drawOverlays();
    // The view's menus of arrivals_menus, parsed again when the key changed.
    const VxTraceArrivalMenus& viewArrivalsMenus();

    // --- editing arrivals: every edit is written at once and queued for undo
    // Undo the entry at current_index; 0, or -1 when a write failed (the
    // index is kept).  Nothing to undo is success.
    int arrivalEditQueueUndo();
    int arrivalEditQueueRedo();
    void arrivalEditQueueClear();
    void arrivalEditQueueSetState(QString state);
    int arrivalEditQueueGotoState(QString state);
    // "toggle" or a boolean word; 0, or -1 with the reason registered
    int setEditMode(QString word);
    int setAddArrivalsMode(QString word);
    // Move the selected arrivals by time_delta (-2e30: not), set deltime
    // (-2e30: not) and phase (empty: not), as one entry of the queue.
    int editSelectedArrivals(double time_delta, double deltime, QString phase);
    // Add the clipboard's arrivals with the earliest at the time of
    // time_string, as one entry of the queue.
    int pasteCopyClipboard(QString time_string, int dont_paste_tags);
    // A pick at world x (time on the display, before the trace's shift) on
    // the trace under world y, in add-arrivals mode; its arid, or -1 (no
    // trace there, not in add mode, or the write failed).
    long addArrivalAt(double x, double y);
    // trace when it is still one of the view's traces, else a trace of the
    // same channel, else null (the queue may outlive a trace).
    VXTrace* liveTrace(VXTrace* trace, const QKArrival& arrival);

    // --- events and origins of the selected database
    // Select an event ("3", "+1", "-1", "e123", "noev", "dw", "mostrecent",
    // "lastmodified") and its preferred origin; its description into output.
    int getEvent(QString event_string, QString& output);
    // Select an origin of the event ("2", "+1", "o456", "pref").
    int getOrigin(QString origin_string, QString& output, int do_callback);
    // "none" or "normal".
    int setInteraction(QString word);

    // --- the pointer and the keys (traceview_interaction*.cpp)
    // The handler of the viewport's events, installed by init(); item is
    // the view.  Pans, zooms, rubber bands, selection, hot keys and the
    // crosshairs: see traceview_interaction.cpp.
    static void eventCallback(void* item, VXEvent* event, HL_ClientData client_data);
    // Make event the current one and describe it into output; 0.
    int displayEvent(QKEvent event, QString& output);
    // Make origin the current one (time and place into defaults, its
    // associations and station magnitudes kept), describe it into output
    // and the origin status line (preferred: in the preferred origin's
    // colour); 0.
    int displayOrigin(QKOrigin origin, QString& output, int preferred);
    // "no", "mostrecent" or "lastmodified"; the last two select at once.
    int setAutoSelectEvent(QString word);
    // Seconds between moves of the window to the present; 0 or less stops.
    int setAnimateInterval(QString seconds);
    int setAnimateInterval(double seconds);
    // Where the right edge stands after the present, seconds.
    int setAnimateToffset(QString seconds);
    int setAnimateToffset(double seconds);
    // Move the window to end at now + animate_toffset once the time for
    // it has come.
    void animateUpdate();
    int setColorTimeNow(QString color);
    // Show (or hide) the crosshairs and the status lines at the pointer's
    // world position x_crosshairs, y_crosshairs.
    void drawCrosshairs();
    void drawCoordinatesStatus();
    // The status line of arrival arid (negative: hidden).
    void drawArrivalStatus(long arid);
    // text ("No status" when empty) on the origin status line.
    void drawOriginStatus(QString text, int preferred);
    // Looks a key press up among the hot keys: 1 with command filled (the
    // pointer's coordinates substituted), 0 for no hot key.  Attached by
    // the command language, like command_processor; empty: no hot keys.
    std::function<int(VXEvent* event, QString& command)> process_hotkeys;
    // The animation's clock, epoch seconds; empty: the system clock.
    std::function<double()> animate_clock;

    // 0 idle, 1 time band, 2 time band zooming out, 3 drag in x, 4 drag in
    // y, 5 y band, 6 y band zooming out, 7 drag in x and y, 8 box band, 9
    // box band zooming out, 10 arrival selection band, 11 adding
    // arrivals, 12 locked (setInteraction("none")).
    // Bands and drags: anchors in world coordinates, the window when the
    // gesture began (tleft in rubberband_xleft), the button that ends a band.
    double rubberband_xleft = 0.0, rubberband_xstart = 0.0;
    double rubberband_ybottom = 0.0, rubberband_ytop = 0.0, rubberband_ystart = 0.0;
    int rubberband_button = 0;
    int rubberband_select = 1;   // mode 10: 1 selects, 0 deselects
    QPointF rubberband_pt;       // where the gesture began, widget pixels
    QPointer<QRubberBand> rubberband;  // a child of the viewport widget
    double x_crosshairs = 2e30, y_crosshairs = 2e30;  // world; 2e30 no position
    QPointF pointer_pt;          // the last mouse position, widget pixels
    int pointer_known = 0;       // a mouse event has set pointer_pt
    int cursor_in_arrival = 0;   // set while an arrival glyph has the pointer
    std::unique_ptr<QTimer> animate_timer;
    double animate_next_time = 0.0;
    int event_index = -1;        // in the service's list; -1 none
    int origin_index = -1;       // in current_event's origins
    QKEvent current_event;       // evid -1 when none

    int parseDisplayParameters(QString text);
    int processFilterString(QString filter, QString& filter_string, QString& filter_label);

    // --- the look in force, the task bar, the traces menu and the size limit
    // The display mode painted now: in edit_mode 1 the edit_display values,
    // with the main_display ones where the edit display leaves a colour or
    // font unset; else the main display.
    VxTraceviewDisplayMode displayMode() const;
    // Hand displayMode()'s colours, fonts and line width to the traces.
    void applyDisplayMode();
    // The view's task bar, made on first use when make_taskbar is set (or
    // by the button keys): in vptaskbar when one was given, else in the
    // view's viewport.  Its "configure" actions configure the view, its
    // "command" actions run as sendCommand() lines.  Owned by the view;
    // null when there is none or no viewport.
    VXTaskbar* getTaskbar();
    // The key traceview_buttons_definitions: a parameter text with the
    // button definitions under "traceview_buttons_definitions" (or
    // "buttons_definitions").  Empty text forgets the stored text only.
    // 0; -1 with the reason registered and the buttons as they were.
    int parseButtonsDefinitions(const char* value);
    // The key traceview_buttons: the placement table under
    // "traceview_buttons" (or "buttons"); needs the definitions first.
    int parseButtons(const char* value);
    // The context menu of the traces ("order selected traces", "zoom
    // selected traces"), made on first use; shown by a context-menu request
    // over the trace labels, left of the plot.  Its entries send their lines
    // through sendCommand().
    QMenu* tracesMenu();
    void popupTracesMenu(const QPoint& global_position);
    // 0 when count more traces fit in the view (VX_TRACEVIEW_MAX_TRACES),
    // else -1 with "VXTraceview::<who>: ..." registered.
    int checkTracesLimit(const char* who, qsizetype count);
    // VXTrace::setAmpScale() of the trace of that index or label (mode -1:
    // the view's ampscale_mode); 0, or -1 for an unknown trace.
    int setAmpScale(int index, int ampscale_mode, double ybottom, double ytop, double abottom, double atop);
    int setAmpScale(QString channel_label, int ampscale_mode, double ybottom, double ytop, double abottom,
                    double atop);

    VxTraceview vars;
    VxTraceviewDisplayParameters display_parameters;
    VxTraceviewDefaults defaults;  // what every trace inherits

    double tleft = 0.0, tright = 0.0;
    double dtperpixel = 0.0;
    int npixels = 0;
    double tbuffer = 50.0;
    int batch = 0;
    QString stachan_accept;
    QHash<QString, int> stachan_hash;
    QPainter* painter = nullptr;
    int nofeedback = 0;
    int skip_render = 0;  // 0 full repaint, else reuse image; negative: once only
    int interaction_mode = 0;
    int edit_mode = 0;
    double ybottom_view_hold = 0.0, ytop_view_hold = 1.0;
    double tstart_sources = -2e30;
    double tend_sources = -2e30;  // the last sample of the database's channels
    double resize_xfactor = 1.0, resize_yfactor = 1.0;
    double minimum_height = 0.0;
    QImage image;
    int image_w = 0, image_h = 0;
    int image_xshift = 0, image_yshift = 0;
    // The image has an item of its own, listed under the view: at rest it
    // draws into the view's layer, while a drag lasts straight onto the
    // widget at every paint, so that a drag move copies it slid and draws
    // nothing else.  It is painted afresh when the view's layer is drawn
    // without skip_render.
    VXTraceviewImage* image_item = nullptr;  // owned; made by init()
    int image_shown = 0;        // the image holds the traces of the last layout
    int axes_xshift_drawn = 0;  // image_xshift when the axes' layer was last drawn
    // Lay the traces out and paint them into the image, at the device pixel
    // ratio of p's device; 1 when something is shown, 0 when nothing is.
    int renderImage(QPainter* p);
    // Paint the laid out traces into the image (and their overlays), at
    // the device pixel ratio of painter's device.
    void paintImage();
    // Copy the image to the plot of p at the drag's shifts, clipped to the plot.
    void blitImage(QPainter* p);
    // While a drag lasts (on) the image item draws straight onto the
    // widget and the axes have a layer of their own, "traceview_axes", both
    // slid by the drag; at rest both draw into the view's layer.  The
    // layers are invalidated.
    void setSliding(bool on);
    QPointer<QScrollBar> scrollbar;  // a child of the viewport widget, gone with it
    VXAxes* axes = nullptr;           // owned, as are the items below
    VXPolypoint* crosshairs1 = nullptr;  // hidden until the pointer shows them
    VXPolypoint* crosshairs2 = nullptr;
    VXPolypoint* now_time = nullptr;     // the present time, with color_time_now set
    VXText* coordinates_text = nullptr;  // status lines, hidden until used
    VXText* arrival_text = nullptr;
    VXText* origin_text = nullptr;
    VXTrace* last_trace_selected = nullptr;
    QList<VXTrace*> traces;
    QList<VXTrace*> traces_display_list;
    QList<int> traces_sorttab;
    QHash<QString, VXTrace*> channel_label_hash;
    pthread_mutex_t mutex_traces;
    VXCommandConsole* command_console = nullptr;
    int make_taskbar = 0;
    VXViewport* vptaskbar = nullptr;
    QHash<QString, VXTraceviewQKClient*> qks;  // one client per database name, owned
    VxTraceviewQK selected_ev;                  // the record of the last registered
    QList<QKServer*> owned_servers;             // opened by openDatabase()
    QString natural_sort_order_expr;
    int need_distance_sort = 1;

    // arrivals shown: arid to its arrivals on all traces, and to its tags;
    // the _existing twins hold the last paint's, so a selection outlives a redraw
    QHash<long, QList<VxTraceArrival>> arrivals_hash;
    QHash<long, QList<VxTraceArrival>> arrivals_hash_existing;
    QHash<long, QStringList> arrivals_tags_hash;
    QHash<long, QStringList> arrivals_tags_hash_existing;
    QHash<long, QPointF> arrival_coords;  // arid to world position
    QHash<long, double> toffset;          // arid to its trace's time shift
    long temp_selection_arid = -1;        // selected only while its menu is open
    Table<QKAssociation> current_associations;  // of the origin shown
    Table<QKStamag> current_stamags;
    VxTraceArrivalMenus arrivals_menus;
    QPointF arrivals_band_origin;           // where a rubber band started, widget pixels
    QString arrivals_menus_parsed;          // the key's text behind arrivals_menus
    VxTraceviewArrivalLook arrival_looks[2];  // main and edit display
    QString arrival_looks_text;              // the document behind them
    VxRegexHook arrival_select_hook;          // the compiled select and reject expressions
    VxRegexHook arrival_reject_hook;

    // arrival editing
    VxArrivalEditQueue arrival_edit_queue;
    int arrivals_state = 1;          // 1 idle, 2 dragging a time, 6 dragging a deltime
    long drag_arid = -1;             // the arrival under the pointer at the press
    VXTrace* drag_trace = nullptr;   // its trace
    double drag_x0 = 0.0;            // its glyph's world x at the press
    double drag_deltime = 0.0;       // seconds, during a deltime drag
    QList<long> drag_group;          // arids moving together

    // the task bar and the traces menu, made on demand and destroyed with
    // the view (the deleter lives where the classes are complete)
    struct PartDeleter
    {
        void operator()(VXTaskbar* taskbar) const;
        void operator()(QMenu* menu) const;
    };
    std::unique_ptr<VXTaskbar, PartDeleter> taskbar;
    std::unique_ptr<QMenu, PartDeleter> traces_menu;  // no parent: the view alone owns it
    // Called by init(): makes the task bar when make_taskbar is set and
    // listens for context-menu requests over the trace labels.
    void initTaskbarAndMenu();

private:
    int setWord(const char* who, const QString& word, int* field, bool allow_auto = false);
    // setWord(), then a repaint when the value changed
    int setWordAndRefresh(const char* who, const QString& word, int* field);
    // One element "sta:chan;copy" into its three expressions; -1 when malformed.
    int parseElement(const QString& element, QString& sta, QString& chan, QString& copy);
    // 1 when trace matches, 0 not, -1 for a bad regular expression.
    int resolveTrace(const QString& sta_expression, const QString& chan_expression, const QString& copy_expression,
                     int copyok, VXTrace* trace);
    int matchLabel(const QString& sta_expression, const QString& chan_expression, const QString& copy_expression,
                   const QString& sta, const QString& chan, int copy);
    void syncDefaults();
    int sendEntries(const char* who, const char* word, QString text);
    // Show the present time as a line across the plot when color_time_now is set.
    void drawTimeNow(int plot_height);
    void removeFromLists(VXTrace* trace);
    // the pointer and the keys (traceview_interaction*.cpp)
    void processPointerEvent(VXEvent* event);
    void pressIdle(VXEvent* event, QPointF pt, double xw, double yw);
    void pressLabel(VXEvent* event, VXTrace* trace);
    void endRubberBand(double xw, double yw);
    void moveGesture(QPointF pt);
    void releaseDrag(QPointF pt);
    void startGesture(int mode, VXEvent* event, QPointF pt, double xw, double yw);
    void showRubberBand(QPointF pt);
    void selectArrivalsInBand(QPointF pt);
    void backToIdle();
    void processKey(VXEvent* event, QPointF pt, double xw, double yw);
    void processWheel(VXEvent* event);
    int pickArrival(double xw, double yw, int& queue_counter);
    int selectionFailed(const char* who, const QString& text, QString& output);
    double animateNow() const;
    void* regex_hook = nullptr;  // cache of the last compiled expression
    // Cleared by the destructor: viewport callbacks that outlive the view see null.
    std::shared_ptr<VXTraceview*> self_guard;
};
