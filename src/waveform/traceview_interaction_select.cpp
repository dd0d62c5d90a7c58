// Selecting events and origins of the view's database, the origin status
// line, following the newest event, and the animated time window.
//
// Selections fail softly: the reason (the same words whatever the caller)
// goes to output and to the origin status line, and one line
// "VXTraceview::getEvent: <reason>" is registered.
#include "waveform/traceview.h"

#include "items/text.h"
#include "toolkit/base/errors.h"
#include "waveform/traceview_interaction_p.h"
#include "toolkit/base/hltime.h"
#include "toolkit/events/qkclient.h"
#include "viewport/viewport.h"
#include "waveform/traceviewqkclient.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>

namespace {

constexpr double no_time = -2e30;

QString formatTime(double epoch, const char* format)
{
    char* t = timeformat(epoch, format);
    const QString s = QString::fromUtf8(t ? t : "-");
    free(t);
    return s;
}

// "+n" or "-n" (relative) or "n": the number into *n; false when the text
// is none of these.
bool parseIndex(const QString& text, long* n, bool* relative)
{
    bool ok = false;
    *relative = text.startsWith(QLatin1Char('+')) || text.startsWith(QLatin1Char('-'));
    *n = text.toLong(&ok);
    return ok;
}

long clampIndex(long i, long count)
{
    return std::clamp(i, 0L, count - 1);
}

} // namespace

int VXTraceview::selectionFailed(const char* who, const QString& text, QString& output)
{
    output = text;
    drawOriginStatus(text, 0);
    hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::%s: %s\n", who, text.toUtf8().constData());
    return -1;
}

int VXTraceview::getEvent(QString event_string, QString& output)
{
    output.clear();
    VXTraceviewQKClient* client = selected_ev.qkclient;
    if (!client)
        return selectionFailed("getEvent", QStringLiteral("No QK specified"), output);
    const QString word = event_string.trimmed();
    if (word == QLatin1String("noev")) {
        current_event = QKEvent();
        event_index = origin_index = -1;
        current_associations.clear();
        current_stamags.clear();
        output = QStringLiteral("No event selected");
        drawOriginStatus(output, 0);
        refresh(1);
        callback(QStringLiteral("type select_event\nevid -1\n"));
        return 0;
    }
    QKEvent event;
    long evid = -1;
    if (word.startsWith(QLatin1Char('e')) && word.size() > 1) {
        bool ok = false;
        evid = word.mid(1).toLong(&ok);
        if (!ok || client->getEvent(evid, event) != 1)
            return selectionFailed("getEvent", QString::asprintf("Cannot find evid %ld", evid), output);
    } else if (word == QLatin1String("dw")) {
        // the event of the earliest arrival in the display window
        const VxTraceArrival* earliest = nullptr;
        for (auto it = arrivals_hash.cbegin(); it != arrivals_hash.cend(); ++it)
            for (const VxTraceArrival& a : it.value())
                if (a.time >= tleft && a.time <= tright && a.arrival.associated_orids.max() > 0
                    && (!earliest || a.time < earliest->time))
                    earliest = &a;
        if (!earliest || client->getEventFromOrid(earliest->arrival.associated_orids.get(0), event) != 1)
            return selectionFailed("getEvent", QStringLiteral("Cannot find event in display window"), output);
    } else if (word == QLatin1String("mostrecent") || word == QLatin1String("lastmodified")) {
        const int found = word == QLatin1String("mostrecent") ? client->getMostRecentEvent(event)
                                                               : client->getLastModifiedEvent(event);
        if (found != 1)
            return selectionFailed("getEvent", QStringLiteral("No events in database"), output);
    } else {
        long n = 0;
        bool relative = false;
        if (!parseIndex(word, &n, &relative))
            return selectionFailed("getEvent", QStringLiteral("Cannot parse event '%1'").arg(word), output);
        const std::shared_ptr<const Table<QKEvent>> events = client->getEvents();
        const long count = events ? events->max() : 0;
        if (count < 1)
            return selectionFailed("getEvent", QStringLiteral("No events in database"), output);
        // a move goes from the event shown, staying in range; so does an index
        const long index = clampIndex(relative ? (event_index < 0 ? (n > 0 ? -1 : count) : event_index) + n : n,
                                      count);
        event = events->get(index);
    }
    // the list holds the preferred origin only: the whole tree for the origins
    evid = event.evid;
    {
        const VxQuietRegister quiet;  // the list's entry serves when this fails
        client->grabEventsLock();
        QKEvent expanded;
        const int found = client->getExpandedEvent(evid, expanded);
        client->releaseEventsLock();
        if (found == 1) {
            expanded.order = event.order;
            event = expanded;
        }
    }
    displayEvent(event, output);
    callback(QString::asprintf("type select_event\nevid %ld\n", evid));
    QString origin_output;
    const int r = getOrigin(QStringLiteral("pref"), origin_output, 1);
    output += origin_output;
    return r < 0 ? -1 : 0;
}

int VXTraceview::displayEvent(QKEvent event, QString& output)
{
    current_event = event;
    event_index = static_cast<int>(std::clamp(event.order, -1L, static_cast<long>(INT_MAX)));
    origin_index = -1;
    output = QString::asprintf("evid = %ld, prefor = %ld, norigins = %lu, mag = %.2f %s\n", event.evid, event.prefor,
                               static_cast<unsigned long>(std::max(0L, event.origins.max())), event.magnitude,
                               event.magtype);
    return 0;
}

int VXTraceview::getOrigin(QString origin_string, QString& output, int do_callback)
{
    output.clear();
    VXTraceviewQKClient* client = selected_ev.qkclient;
    if (!client)
        return selectionFailed("getOrigin", QStringLiteral("No QK specified"), output);
    const long count = current_event.origins.max();
    const long evid = current_event.evid;
    if (count < 1) {
        if (do_callback)
            callback(QStringLiteral("type select_origin\norid -1\n"));
        return selectionFailed("getOrigin", QStringLiteral("No origins in event"), output);
    }
    const QString word = origin_string.trimmed();
    long index = -1;
    if (word == QLatin1String("pref")) {
        int i = -1;
        if (!client->getPreferredOrigin(&current_event, &i) || i < 0 || i >= count)
            return selectionFailed("getOrigin",
                                   QString::asprintf("Cannot find preferred origin with evid %ld", evid), output);
        index = i;
    } else if (word.startsWith(QLatin1Char('o')) && word.size() > 1) {
        bool ok = false;
        const long orid = word.mid(1).toLong(&ok);
        for (long i = 0; ok && i < count && index < 0; i++)
            if (current_event.origins.get(i).orid == orid)
                index = i;
        if (index < 0)
            return selectionFailed("getOrigin",
                                   QString::asprintf("Cannot find orid %ld with evid %ld", orid, evid), output);
    } else {
        long n = 0;
        bool relative = false;
        if (!parseIndex(word, &n, &relative))
            return selectionFailed("getOrigin", QString::asprintf("Cannot find origin with evid %ld", evid),
                                   output);
        index = clampIndex(relative ? (origin_index < 0 ? (n > 0 ? -1 : count) : origin_index) + n : n, count);
    }
    const QKOrigin origin = current_event.origins.get(index);
    origin_index = static_cast<int>(index);
    if (do_callback)
        callback(QString::asprintf("type select_origin\norid %ld\n", origin.orid));
    return displayOrigin(origin, output, origin.preferred || origin.orid == current_event.prefor);
}

int VXTraceview::displayOrigin(QKOrigin origin, QString& output, int preferred)
{
    const VxQuietRegister quiet;  // what goes wrong here is not the caller's
    char auth[RS_STRSZ] = "-";
    long ndef = -1, nass = -1;
    double depth = -999.0, time = origin.time, lat = -999.0, lon = -999.0;
    VXTraceviewQKClient* client = selected_ev.qkclient;
    Rsptr row;
    if (client && client->getRsptr(&origin, &row, nullptr, nullptr) == 0)
        rsgetv(row, nullptr, "auth", auth, "ndef", &ndef, "nass", &nass, "depth", &depth, "time", &time, "lat", &lat,
               "lon", &lon, nullptr);
    double mag = origin.magnitude;
    QByteArray magtype(origin.magtype);
    current_stamags.clear();
    if (QKMagnitude* m = client ? client->getPreferredMagnitude(&origin) : nullptr) {
        mag = m->magnitude;
        magtype = QByteArray(m->magtype);
        current_stamags = m->stamags;
    } else {
        for (long i = 0; i < origin.magnitudes.max(); i++)
            current_stamags.cat(origin.magnitudes.get(i).stamags);
    }
    current_associations = origin.associations;
    defaults.otime = time;
    defaults.olat = lat;
    defaults.olon = lon;
    defaults.odepth = depth;
    need_distance_sort = 1;

    // how long after the origin time its row was written
    QString latency = QStringLiteral("-");
    const double late = origin.lddate_origin - time;
    if (origin.lddate_origin > 0.0 && late >= 0.0 && late < 1e9) {
        const long days = static_cast<long>(late / 86400.0);
        latency = (days > 0 ? QStringLiteral("%1d ").arg(days) : QString()) + formatTime(late, "%T");
    }
    output = QString::asprintf(
        "latency = %s, orid = %ld, nass = %ld, ndef = %ld, mag = %.2f %s, time = %s, lat = %.4f, lon = %.4f, "
        "depth = %.2f, auth = %s\n",
        latency.toUtf8().constData(), origin.orid, nass, ndef, mag, magtype.constData(),
        formatTime(time, "%Y%j:%T").toUtf8().constData(), lat, lon, depth, auth);
    drawOriginStatus(output.trimmed(), preferred);
    // with palign the traces shift at the next layout
    refresh(0);
    return 0;
}

void VXTraceview::drawOriginStatus(QString text, int preferred)
{
    const VxQuietRegister quiet;  // what goes wrong here is not the caller's
    VXViewport* vp = getViewportParent();
    if (!vp || !origin_text)
        return;
    if (!vars.show_origin_status) {
        if (origin_text->isShown()) {
            origin_text->hideItem();
            vp->update();
        }
        return;
    }
    if (text.isEmpty())
        text = QStringLiteral("No status");
    const VxTraceviewDisplayMode& mode =
        edit_mode == 1 ? display_parameters.edit_display : display_parameters.main_display;
    const VxTraceviewDisplayMode& main = display_parameters.main_display;
    const VX_Color& fill = preferred ? (mode.color_preferred_origin_status.color.isValid()
                                            ? mode.color_preferred_origin_status
                                            : main.color_preferred_origin_status)
                                     : (mode.color_origin_status.color.isValid() ? mode.color_origin_status
                                                                                 : main.color_origin_status);
    origin_text->configure("text", text.toUtf8().constData(), "color_background",
                           fill.color_name.toUtf8().constData(), nullptr);
    origin_text->showItem();
    vp->update();
}

int VXTraceview::setAutoSelectEvent(QString word)
{
    int value;
    if (word == QLatin1String("no"))
        value = 0;
    else if (word == QLatin1String("mostrecent"))
        value = 1;
    else if (word == QLatin1String("lastmodified"))
        value = 2;
    else {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setAutoSelectEvent: Illegal value '%s'.\n",
                          word.toUtf8().constData());
        return -1;
    }
    vars.auto_select_event = value;
    if (value) {
        // a database without events yet is no failure of the setting
        const VxQuietRegister quiet;
        QString output;
        getEvent(word, output);
    }
    return 0;
}

int VXTraceview::setColorTimeNow(QString color)
{
    VX_Color c;
    if (!color.isEmpty() && VX_ParseColor(color, c) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setColorTimeNow: Unable to parse color '%s'.\n",
                          color.toUtf8().constData());
        return -1;
    }
    vars.color_time_now = c;
    refresh(0);
    return 0;
}

// --- animation

double VXTraceview::animateNow() const
{
    return animate_clock ? animate_clock() : timenow();
}

int VXTraceview::setAnimateInterval(QString seconds)
{
    bool ok = false;
    const double v = seconds.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(v)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setAnimateInterval: Unable to parse '%s'.\n",
                          seconds.toUtf8().constData());
        return -1;
    }
    return setAnimateInterval(v);
}

int VXTraceview::setAnimateInterval(double seconds)
{
    if (!(seconds > 0.0) || !std::isfinite(seconds)) {
        if (animate_timer)
            animate_timer->stop();
        vars.animate_interval = 0.0;
        return 0;
    }
    vars.animate_interval = seconds;
    if (!animate_timer) {
        animate_timer = std::make_unique<QTimer>();
        std::shared_ptr<VXTraceview*> guard = self_guard;
        QObject::connect(animate_timer.get(), &QTimer::timeout, [guard]() {
            if (*guard)
                (*guard)->animateUpdate();
        });
    }
    animate_next_time = animateNow();
    animateUpdate();  // and the next time is 0.9 of an interval on
    // a timer interval is an int of milliseconds
    animate_timer->start(static_cast<int>(std::clamp(seconds * 1000.0, 1.0, static_cast<double>(INT_MAX))));
    return 0;
}

int VXTraceview::setAnimateToffset(QString seconds)
{
    bool ok = false;
    const double v = seconds.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(v)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setAnimateToffset: Unable to parse '%s'.\n",
                          seconds.toUtf8().constData());
        return -1;
    }
    return setAnimateToffset(v);
}

int VXTraceview::setAnimateToffset(double seconds)
{
    if (!std::isfinite(seconds)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setAnimateToffset: Unable to parse '%g'.\n", seconds);
        return -1;
    }
    vars.animate_toffset = seconds;
    return 0;
}

void VXTraceview::animateUpdate()
{
    const VxQuietRegister quiet;  // what goes wrong here is not the caller's
    const double now = animateNow();
    // a gesture in progress keeps its window; the next tick catches up
    if (now < animate_next_time || !(tright > tleft) || (interaction_mode != 0 && interaction_mode < 11))
        return;
    const double width = tright - tleft;
    const double right = now + vars.animate_toffset;
    setTimeWindow(right - width, no_time);
    refresh(1);
    if (vars.animate_interval > 0.0)
        animate_next_time = now + 0.9 * vars.animate_interval;
}
