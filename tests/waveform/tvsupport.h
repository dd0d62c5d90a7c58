// Helpers of the trace view's tests: a view on a viewport of its own, and
// databases of waveform rows with their sample files.
#pragma once

#include "support/testsupport.h"
#include "support/vptest.h"

#include "toolkit/store/recordstore.h"
#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QStringList>
#include <QtEndian>

#include <cmath>
#include <functional>
#include <memory>

namespace tvtest {

// A trace view on a viewport of w by h pixels; what it tells its client is
// kept in messages.
struct View
{
    std::unique_ptr<VXViewport> vp;
    std::unique_ptr<VXTraceview> tv;
    QStringList messages;

    explicit View(int w = 800, int h = 500, int make_taskbar = 0)
    {
        vp = vptest::makeViewport(w, h);
        tv = std::make_unique<VXTraceview>(vp.get(), nullptr, make_taskbar, nullptr);
        tv->init();
        vp->setScales();
        tv->client_callback = [this](const QString& m) { messages.append(m); };
    }
    ~View() { tv.reset(); }

    VXTrace* add(const QString& label) { return tv->getTrace(tv->appendNewTrace(label)); }
    VXTrace* trace(const QString& label) { return tv->getTrace(label); }

    // The channel labels of list, or of the view's traces, in order.
    static QStringList labels(const QList<VXTrace*>& list)
    {
        QStringList out;
        for (VXTrace* t : list)
            out.append(t->channel_label);
        return out;
    }
    QStringList labels() const { return labels(tv->traces); }

    // Pointer and key events sent to the viewport, at pixel positions.
    void mouse(QEvent::Type type, QPointF pos, Qt::MouseButton b, Qt::MouseButtons held, Qt::KeyboardModifiers m)
    {
        QMouseEvent e(type, pos, QPointF(vp->mapToGlobal(pos.toPoint())), b, held, m);
        QCoreApplication::sendEvent(vp.get(), &e);
    }
    void press(QPointF p, Qt::MouseButton b = Qt::LeftButton, Qt::KeyboardModifiers m = {})
    {
        mouse(QEvent::MouseButtonPress, p, b, b, m);
    }
    void release(QPointF p, Qt::MouseButton b = Qt::LeftButton, Qt::KeyboardModifiers m = {})
    {
        mouse(QEvent::MouseButtonRelease, p, b, Qt::NoButton, m);
    }
    void move(QPointF p, Qt::MouseButtons held = Qt::NoButton) { mouse(QEvent::MouseMove, p, Qt::NoButton, held, {}); }
    void click(QPointF p, Qt::MouseButton b = Qt::LeftButton, Qt::KeyboardModifiers m = {})
    {
        press(p, b, m);
        release(p, b, m);
    }
    void key(int qt_key, const QString& text, Qt::KeyboardModifiers m = {})
    {
        QKeyEvent e(QEvent::KeyPress, qt_key, m, text);
        QCoreApplication::sendEvent(vp.get(), &e);
    }
};

// An s4 file at path of the samples value(i), i from 0 to n - 1.
inline void writeS4(const QString& path, long n, const std::function<double(long)>& value)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    for (long i = 0; i < n; i++) {
        uchar s4[4];
        qToBigEndian<qint32>(static_cast<qint32>(value(i)), s4);
        file.write(reinterpret_cast<const char*>(s4), 4);
    }
}

// A CSS 3.0 database at base with a wfdisc row for each "STA CHAN" of
// channels: nsamp s4 samples at 100 Hz from time 1000, in dir/dfile (dir
// taken from the database's folder).  Returns base.
inline QString writeWfdiscs(const QString& base, const QStringList& channels, long nsamp, const char* dir,
                            const char* dfile)
{
    Rsptr db = rsopen(base.toUtf8().constData(), "css3.0", RS_WRITE | RS_NOSYNC);
    Rsptr wf = rslookup(db, nullptr, "wfdisc", nullptr, "rsSCRATCH");
    long wfid = 1;
    for (const QString& c : channels) {
        const QByteArray sta = c.section(' ', 0, 0).toUtf8(), chan = c.section(' ', 1, 1).toUtf8();
        EXPECT_EQ(rsputv(wf, nullptr, "sta", sta.constData(), "chan", chan.constData(), "time", 1000.0, "endtime",
                         1000.0 + (nsamp - 1) / 100.0, "nsamp", nsamp, "samprate", 100.0, "calib", 1.0, "calper", 1.0,
                         "segtype", "V", "datatype", "s4", "dir", dir, "dfile", dfile, "foff", 0L, "wfid", wfid,
                         "chanid", wfid, "jdate", 1970001L, nullptr),
                  0)
            << takeErrors();
        EXPECT_GE(rsaddrecord(wf), 0);
        wfid++;
    }
    rsclose(db);
    return base;
}

// A database in folder of three channels (ABC BHZ, ABC BHN, DEF BHZ) of ten
// seconds of a sine at 100 Hz, amplitude 1000, period 0.5 s.  Returns its base.
inline QString writeSineDatabase(const QString& folder)
{
    writeS4(folder + "/sine.w", 1000, [](long i) { return 1000.0 * std::sin(2.0 * M_PI * i / 50.0); });
    return writeWfdiscs(folder + "/db", {"ABC BHZ", "ABC BHN", "DEF BHZ"}, 1000, ".", "sine.w");
}

} // namespace tvtest
