// Editing the arrivals of a trace through its event client.
//
// Every edit is one row written to the arrival table at once (appended for
// a new arrival, rewritten in place otherwise), then the event server is
// made to look at the files.  The edit does not wait for the server: the
// row is on the disk when rsputrecord() returns, the trace reads its
// arrivals through the client's own handle (so it shows the change at its
// next layout), and the server's notices about the change follow in the
// order of the writes.  The
// record before and after goes to the view's undo queue; undoing an add
// writes the row again with the phase "del", which hides it: rows are
// never removed.
#include "waveform/trace.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/store/recordstore.h"
#include "waveform/tracearrival.h"
#include "waveform/traceview.h"
#include "waveform/traceviewqkclient.h"

#include <pwd.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace {

constexpr double kNoValue = -2e30;  // a time or deltime that is not given

// The login name of the effective user: its password entry, else $USER,
// else "unknown".
std::string lookUpUserName()
{
    struct passwd pw;
    struct passwd* found = nullptr;
    char buffer[1024];
    if (getpwuid_r(geteuid(), &pw, buffer, sizeof buffer, &found) == 0 && found && found->pw_name &&
        *found->pw_name)
        return found->pw_name;
    const char* user = getenv("USER");
    return user && *user ? user : "unknown";
}

// The user's name for "auth", looked up once per process: the lookup reads
// the password file, which a pick should not do every time.
const std::string& userName()
{
    static const std::string name = lookUpUserName();
    return name;
}

// Width of a field of the arrival table, or -1.
long fieldWidth(Rsptr db, const char* field)
{
    Rsptr f = rslookup(db, nullptr, "arrival", field, nullptr);
    long width = -1;
    if (rsisinvalid(f) || rsquery(f, RS_FIELD_SIZE, &width) < 0)
        return -1;
    return width;
}

// "tv:user:pid", fitted to width characters: the user's name is shortened
// first so that the process id stays readable; only when even "tv::pid"
// is too long is the whole text cut.
std::string authText(long width)
{
    const std::string pid = std::to_string(static_cast<long>(getpid()));
    std::string user = userName();
    const long fixed = static_cast<long>(pid.size()) + 4;  // "tv:" and ":"
    if (width >= fixed && static_cast<long>(user.size()) > width - fixed)
        user.resize(static_cast<size_t>(width - fixed));
    std::string text = "tv:" + user + ":" + pid;
    if (width >= 0 && static_cast<long>(text.size()) > width)
        text.resize(static_cast<size_t>(width));
    return text;
}

// The whole text of a row (a scratch row too) into arrival.
int readRecord(Rsptr row, QKArrival& arrival)
{
    char text[RS_STRSZ];
    row.field = RS_ALL;
    if (rsget(row, text) < 0)
        return -1;
    const size_t n = strnlen(text, sizeof arrival.record_arrival - 1);
    memcpy(arrival.record_arrival, text, n);
    arrival.record_arrival[n] = '\0';
    return 0;
}

// The record of arid as the database holds it now, into arrival.  hint is
// the row where it was last seen (-1 for none).  1 found, 0 not, -1 failed.
int fetchArrival(QKClient* client, long arid, long hint, QKArrival& arrival)
{
    Rsptr db = client->database();
    if (rsisinvalid(db) || rscheck(db) < 0)
        return -1;
    Rsptr t = rslookup(db, nullptr, "arrival", nullptr, nullptr);
    long count = 0;
    if (rsisinvalid(t) || rsquery(t, RS_RECORD_COUNT, &count) < 0)
        return -1;
    auto aridAt = [&](long r) {
        Rsptr row = t;
        row.record = r;
        long a = -1;
        return rsgetv(row, nullptr, "arid", &a, nullptr) < 0 ? -1L : a;
    };
    long found = hint >= 0 && hint < count && aridAt(hint) == arid ? hint : -1;
    // the newest rows first: edits are mostly of recent picks
    for (long r = count - 1; found < 0 && r >= 0; r--)
        if (aridAt(r) == arid)
            found = r;
    if (found < 0)
        return 0;
    t.record = found;
    arrival.arid = arid;
    arrival.recno_arrival = found;
    return readRecord(t, arrival) < 0 ? -1 : 1;
}

// Put the edit into the view's queue by the caller's counter: 0 a new
// entry, above 0 into the current one, below 0 none.
void queueEdit(VXTrace* trace, const QKArrival& before, const QKArrival& after, int& queue_counter)
{
    if (!trace->traceview || queue_counter < 0)
        return;
    VxArrivalEditQueue& queue = trace->traceview->arrival_edit_queue;
    if (queue_counter == 0)
        queue.newEntry(trace, before, after);
    else
        queue.appendEntry(trace, before, after);
    queue_counter++;
}

// A failed write leaves the queue out of step with the database: it is
// emptied, and the register then holds only what the user is to be told.
void dropQueue(VXTrace* trace, long arid)
{
    std::string cause = hl_errlog_string(0);
    hl_clear_register(HL_CLEAR_PRINT);
    // the lowest line names what the system refused
    size_t end = cause.find_last_not_of('\n');
    cause = end == std::string::npos ? std::string() : cause.substr(0, end + 1);
    const size_t nl = cause.find('\n');
    if (nl != std::string::npos)
        cause.resize(nl);
    if (trace->traceview)
        trace->traceview->arrival_edit_queue.clear();
    hl_register_error(0, "VXTrace::editArrival: Arrival %ld was not written (%s); the undo queue is cleared.\n",
                      arid, cause.empty() ? "no reason given" : cause.c_str());
}

}  // namespace

VxPixelatorSource* VXTrace::editSource()
{
    for (VxPixelatorSource* s : sources)
        if (s && s->type == 1 && s->ev.qkclient)
            return s;
    return nullptr;
}

long VXTrace::addArrival(double time, int& queue_counter)
{
    VxPixelatorSource* source = editSource();
    if (!source) {
        hl_register_error(0, "VXTrace::addArrival: %s has no database to write to.\n",
                          channel_label.toUtf8().constData());
        return -1;
    }
    const long arid = addArrivalQk(source, time, queue_counter);
    if (arid < 0)
        hl_register_error(0, "VXTrace::addArrival: addArrivalQk() error.\n");
    return arid;
}

long VXTrace::addArrival(VxTraceArrival& arrival, double time, int& queue_counter)
{
    VxPixelatorSource* source = editSource();
    if (!source) {
        hl_register_error(0, "VXTrace::addArrival: %s has no database to write to.\n",
                          channel_label.toUtf8().constData());
        return -1;
    }
    const long arid = addArrivalQk(source, arrival, time, queue_counter);
    if (arid < 0)
        hl_register_error(0, "VXTrace::addArrival: addArrivalQk() error.\n");
    return arid;
}

long VXTrace::addArrivalQk(VxPixelatorSource* source, double time, int& queue_counter)
{
    VxTraceArrival fresh;  // no record: the null record, with this trace's channel
    return addArrivalQk(source, fresh, time, queue_counter);
}

long VXTrace::addArrivalQk(VxPixelatorSource* source, VxTraceArrival& arrival, double time, int& queue_counter)
{
    if (!source || source->type != 1 || !source->ev.qkclient) {
        hl_register_error(0, "VXTrace::addArrivalQk: The source has no event client.\n");
        return -1;
    }
    if (!(time > -1e11 && time < 1e11)) {
        hl_register_error(0, "VXTrace::addArrivalQk: Time %g is out of range.\n", time);
        return -1;
    }
    QKClient* client = source->ev.qkclient;
    Rsptr db = client->database();
    if (rsisinvalid(db)) {
        hl_register_error(0, "VXTrace::addArrivalQk: No database.\n");
        return -1;
    }
    // a paste copies the record as the database holds it now, else as shown
    QKArrival model = arrival.arrival;
    if (arrival.arid >= 0 && fetchArrival(client, arrival.arid, arrival.arrival.recno_arrival, model) < 0) {
        hl_register_error(0, "VXTrace::addArrivalQk: Cannot read arrival %ld.\n", arrival.arid);
        return -1;
    }
    const bool copy = model.record_arrival[0] != '\0';
    Rsptr row;
    if (client->getRsptr("arrival", copy ? model.record_arrival : nullptr, &row) < 0) {
        hl_register_error(0, "VXTrace::addArrivalQk: QKClient::getRsptr() error.\n");
        return -1;
    }
    const long arid = client->rsnextid("arid");
    if (arid < 0) {
        hl_register_error(0, "VXTrace::addArrivalQk: QKClient::rsnextid() error.\n");
        return -1;
    }
    const std::string auth = authText(fieldWidth(db, "auth"));
    const QByteArray s = sta.toUtf8(), c = chan.toUtf8();
    int put;
    if (copy) {
        // a pasted arrival keeps its phase and measurements; a new load date
        put = rsputv(row, nullptr, "auth", auth.c_str(), "arid", arid, "jdate", static_cast<long>(timejdate(time)),
                     "time", time, "lddate", "", nullptr);
    } else {
        const QByteArray phase = traceview ? traceview->vars.default_phase.toUtf8() : QByteArray();
        put = rsputv(row, nullptr, "auth", auth.c_str(), "arid", arid, "jdate", static_cast<long>(timejdate(time)),
                     "sta", s.constData(), "chan", c.constData(), "time", time, "iphase", phase.constData(), nullptr);
    }
    if (put < 0) {
        hl_register_error(0, "VXTrace::addArrivalQk: rsputv() error.\n");
        return -1;
    }
    QKArrival after;
    after.arid = arid;
    if (readRecord(row, after) < 0) {
        hl_register_error(0, "VXTrace::addArrivalQk: Cannot read the new record.\n");
        return -1;
    }
    const long recno = client->rsputrecord("arrival", -1L);
    if (recno < 0) {
        hl_register_error(0, "VXTrace::addArrivalQk: QKClient::rsputrecord() error.\n");
        return -1;
    }
    after.recno_arrival = recno;
    if (client->checkDatabase(0) < 0) {
        // the row is on the disk: the server sees it at its next look
        hl_clear_register(HL_CLEAR_PRINT);
    }
    // undoing the add writes the same row with the phase "del"
    QKArrival before = after;
    if (rsputv(row, nullptr, "iphase", "del", nullptr) < 0 || readRecord(row, before) < 0) {
        hl_register_error(0, "VXTrace::addArrivalQk: Cannot make the record that undoes arrival %ld.\n", arid);
        return -1;
    }
    queueEdit(this, before, after, queue_counter);
    return arid;
}

long VXTrace::editArrival(long arid, double time, double deltime, QString phase, int& queue_counter)
{
    return writeArrival(arid, time, false, deltime, phase, queue_counter);
}

long VXTrace::shiftArrival(long arid, double time_delta, double deltime, QString phase, int& queue_counter)
{
    return writeArrival(arid, time_delta, true, deltime, phase, queue_counter);
}

long VXTrace::writeArrival(long arid, double time, bool relative, double deltime, const QString& phase,
                           int& queue_counter)
{
    const char* who = relative ? "VXTrace::shiftArrival" : "VXTrace::editArrival";
    VxPixelatorSource* source = editSource();
    if (!source) {
        hl_register_error(0, "%s: %s has no database to write to.\n", who, channel_label.toUtf8().constData());
        return -1;
    }
    if (deltime != kNoValue && !(deltime >= 0.0 && deltime < 1e6)) {
        hl_register_error(0, "%s: Bad deltime %g: it must not be negative.\n", who, deltime);
        return -1;
    }
    if (time != kNoValue && !(time > -1e11 && time < 1e11)) {
        hl_register_error(0, "%s: Time %g is out of range.\n", who, time);
        return -1;
    }
    QKClient* client = source->ev.qkclient;
    Rsptr db = client->database();
    if (rsisinvalid(db)) {
        hl_register_error(0, "%s: No database.\n", who);
        return -1;
    }
    const QByteArray p = phase.toUtf8();
    const long phase_width = fieldWidth(db, "iphase");
    if (phase_width >= 0 && p.size() > phase_width) {
        hl_register_error(0, "%s: Phase '%s' is longer than the %ld characters of iphase.\n", who, p.constData(),
                          phase_width);
        return -1;
    }
    // where the view saw it last, as a hint
    long hint = -1;
    if (traceview) {
        for (const VxTraceArrival& a : traceview->arrivals_hash.value(arid))
            if (a.arrival.recno_arrival >= 0)
                hint = a.arrival.recno_arrival;
    }
    QKArrival before;
    const int found = fetchArrival(client, arid, hint, before);
    if (found <= 0) {
        if (found == 0)
            hl_register_error(0, "%s: No arrival %ld in the database.\n", who, arid);
        else
            hl_register_error(0, "%s: Cannot read arrival %ld.\n", who, arid);
        return -1;
    }
    Rsptr row;
    QKArrival after = before;
    if (client->getRsptr(&after, &row) < 0) {
        hl_register_error(0, "%s: QKClient::getRsptr() error.\n", who);
        return -1;
    }
    double new_time = time;
    if (relative && time != kNoValue) {
        double old_time = 0.0;
        if (rsgetv(row, nullptr, "time", &old_time, nullptr) < 0) {
            hl_register_error(0, "%s: Arrival %ld has no time.\n", who, arid);
            return -1;
        }
        new_time = old_time + time;
    }
    const std::string auth = authText(fieldWidth(db, "auth"));
    int put = rsputv(row, nullptr, "auth", auth.c_str(), "lddate", "", nullptr);
    if (put == 0 && new_time != kNoValue)
        put = rsputv(row, nullptr, "time", new_time, "jdate", static_cast<long>(timejdate(new_time)), nullptr);
    if (put == 0 && deltime != kNoValue)
        put = rsputv(row, nullptr, "deltim", deltime, nullptr);
    if (put == 0 && !p.isEmpty())
        put = rsputv(row, nullptr, "iphase", p.constData(), nullptr);
    if (put < 0 || readRecord(row, after) < 0) {
        hl_register_error(0, "%s: Cannot set the fields of arrival %ld.\n", who, arid);
        return -1;
    }
    const long recno = client->rsputrecord("arrival", before.recno_arrival);
    if (recno < 0) {
        dropQueue(this, arid);
        return -1;
    }
    if (client->checkDatabase(0) < 0)
        hl_clear_register(HL_CLEAR_PRINT);
    queueEdit(this, before, after, queue_counter);
    return recno;
}

long VXTrace::editArrival(const QKArrival& arrival)
{
    VxPixelatorSource* source = editSource();
    if (!source) {
        hl_register_error(0, "VXTrace::editArrival: %s has no database to write to.\n",
                          channel_label.toUtf8().constData());
        return -1;
    }
    QKClient* client = source->ev.qkclient;
    QKArrival copy = arrival;
    Rsptr row;
    // a new load date, so that readers of the database see the change
    if (client->getRsptr(&copy, &row) < 0 || rsputv(row, nullptr, "lddate", "", nullptr) < 0) {
        hl_register_error(0, "VXTrace::editArrival: Not a record of arrival %ld.\n", arrival.arid);
        return -1;
    }
    const long recno = client->rsputrecord("arrival", arrival.recno_arrival);
    if (recno < 0) {
        hl_register_error(0, "VXTrace::editArrival: QKClient::rsputrecord() error.\n");
        return -1;
    }
    if (client->checkDatabase(0) < 0)
        hl_clear_register(HL_CLEAR_PRINT);
    return recno;
}
