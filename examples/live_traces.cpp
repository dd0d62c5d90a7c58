// A trace view following a SeedLink server in real time.
//
//   live_traces [--seconds S] [--png FILE --after S] HOST:PORT
//
// Shows the last S seconds (300) of every channel of the server, the right
// edge following the present time.  With --png the window is not shown:
// after the given seconds one frame is rendered to FILE and the program ends.
#include "viewport/viewport.h"
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv)
{
    double seconds = 300.0, after = 20.0;
    const char* png = nullptr;
    const char* ring = nullptr;
    for (int i = 1; i < argc; i++) {
        if (!strcmp(argv[i], "--seconds") && i + 1 < argc)
            seconds = atof(argv[++i]);
        else if (!strcmp(argv[i], "--png") && i + 1 < argc)
            png = argv[++i];
        else if (!strcmp(argv[i], "--after") && i + 1 < argc)
            after = atof(argv[++i]);
        else if (argv[i][0] != '-')
            ring = argv[i];
    }
    if (!ring || !(seconds > 0.0)) {
        fprintf(stderr, "Usage: live_traces [--seconds S] [--png FILE --after S] HOST:PORT\n");
        return 2;
    }
    if (png)
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);

    VXViewport vp(nullptr, 0, 0);
    vp.resize(1000, 640);
    vp.setWindowTitle(QStringLiteral("live: %1").arg(QString::fromLatin1(ring)));
    VXTraceview tv(&vp, nullptr, 0, nullptr);
    tv.init();
    tv.configure("animate_toffset", "2.0", "color_time_now", "red", nullptr);
    tv.setTimeWindow(timenow() - seconds, seconds);
    // a paint first: channels become traces once the grid is known
    QImage image(vp.size(), QImage::Format_ARGB32_Premultiplied);
    {
        QPainter p(&image);
        vp.render(&p);
    }
    if (tv.createTraces(QString::fromLatin1(ring), Rsptr{-1, -1, -1, -1}, nullptr, QString(), QString(), QString(),
                        QString(), 1) < 0) {
        fprintf(stderr, "%s", hl_errlog_string(0));
        return 1;
    }

    // the animation: the right edge stays animate_toffset seconds after now
    QTimer follow;
    QObject::connect(&follow, &QTimer::timeout, [&] {
        double t0, width;
        tv.timeWindow(t0, width);
        tv.setTimeWindow(timenow() + tv.vars.animate_toffset - width, width);
        hl_clear_register(0);
    });
    follow.start(500);

    if (png) {
        QTimer::singleShot(static_cast<int>(after * 1000), [&] {
            image.fill(Qt::white);
            QPainter p(&image);
            vp.render(&p);
            p.end();
            if (!image.save(QString::fromLocal8Bit(png)))
                fprintf(stderr, "live_traces: cannot write %s\n", png);
            app.quit();
        });
    } else {
        vp.show();
    }
    return app.exec();
}
