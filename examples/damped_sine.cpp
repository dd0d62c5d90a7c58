// A client of the graphics server that draws a damped sine on a time axis.
//
// The drawing is done by text commands sent from the client's own thread,
// which knows nothing of widgets: a window, a viewport, axes with grids, a
// title and the curve.  With a display the window stays open until it is
// closed; without one the picture is written to damped_sine.png (or to the
// file named as the first argument).
//
//   damped_sine [picture.png]
#include <VX.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

const double t0 = 1795248000.0;  // 2026-11-21 08:00:00 UTC
bool headless = false;
int status = 0;

// Send one command; print the server's text and remember the failure.
QString send(VX_GraphicsServer* server, const char* word, const QString& handle, const QStringList& args = {},
             const QStringList& config = {})
{
    VX_GraphicsServer_response* response = nullptr;
    QString answer;
    if (VX_GraphicsServer_send2(server, 0, &response, QString::fromLatin1(word), handle, &args, &config) < 0) {
        fprintf(stderr, "damped_sine: %s %s failed:\n%s", word, qPrintable(handle), hl_errlog_string(0));
        hl_clear_register(0);
        status = 1;
    } else if (response) {
        answer = response->handle;
    }
    delete response;
    return answer;
}

// The client thread: build the plot, then hand the session to the user or
// end it at once for the picture.
void client(VX_GraphicsServer* server, int, char**)
{
    const QString w = send(server, "mainwindow", "none");
    send(server, "window_title", w, {"Damped sine"});
    send(server, "geometry", w, {"720", "420"});

    const QString v = send(server, "viewport", w);
    send(server, "configure", v, {},
         {QString("xleft %1").arg(t0, 0, 'f', 0), QString("xright %1").arg(t0 + 60.0, 0, 'f', 0), "ybottom -1.1",
          "ytop 1.1", "mleft 76", "mright 44", "mtop 44", "mbottom 80"});

    const QString a = send(server, "axes", v);
    send(server, "configure", a, {},
         {"xformat time", "ylabel amplitude (counts x 1000)", "color_grids_y #d8d8d8", "linewidth_grids_x -1",
          "color_time_axis #c8c8c8"});

    const QString title = send(server, "text", v, {"Damped sine, 2026-11-21", "0.5v", "1.0v+12"});
    send(server, "configure", title, {}, {"justification s", "font Helvetica,16,Bold"});

    // y = exp(-t / 15) sin(2 pi t / 6), every 0.25 s for a minute
    QString points;
    for (int i = 0; i <= 240; i++) {
        const double t = 0.25 * i;
        points += QString::asprintf("%.2f %.6f\n", t0 + t, std::exp(-t / 15.0) * std::sin(2.0 * M_PI * t / 6.0));
    }
    const QString p = send(server, "polyline", v);
    QStringList line{"color_outline #1f4e9a", "linewidth 2"};
    send(server, "configure", p, {}, line);
    // a value with new lines goes as a key/value pair, not as a line
    VX_GraphicsServer_response* response = nullptr;
    const QByteArray text = points.toUtf8();
    if (VX_GraphicsServer_send(server, 0, &response, "configure", p, nullptr, "points", text.constData(), nullptr) < 0) {
        fprintf(stderr, "damped_sine: points failed:\n%s", hl_errlog_string(0));
        status = 1;
    }
    delete response;

    send(server, "show", w);
    send(server, headless || status ? "quit" : "exec", "none");
    // Returning would end the process at once; the session ends instead
    // when the window is closed (or with the quit above), and main() ends
    // the process after writing the picture.
    for (;;)
        pause();
}

} // namespace

int main(int argc, char** argv)
{
    if (!getenv("QT_QPA_PLATFORM") && !getenv("DISPLAY") && !getenv("WAYLAND_DISPLAY"))
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    const char* platform = getenv("QT_QPA_PLATFORM");
    headless = platform && !strcmp(platform, "offscreen");
    const QString picture = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("damped_sine.png");

    char* qt_args[] = {argv[0], nullptr};
    // runs the Qt thread here until the session ends
    VX_GraphicsServer* server = VX_GraphicsServer_create(1, qt_args, "damped_sine", client, 1);
    if (!server) {
        fprintf(stderr, "damped_sine: %s", hl_errlog_string(0));
        return 1;
    }
    if (headless && status == 0) {
        if (VX_GraphicsServer_snapshot(server, picture) < 0) {
            fprintf(stderr, "damped_sine: %s", hl_errlog_string(0));
            return 1;
        }
        printf("damped_sine: wrote %s\n", qPrintable(picture));
    }
    fflush(stdout);
    // the client thread has ended its part; the process ends here
    _exit(status);
}
