// Pictures of a session's windows, for clients that run without a display.
#include "server/graphicsserver.h"
#include "toolkit/base/errors.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QPixmap>
#include <QWidget>

#include <algorithm>
#include <mutex>

int VX_GraphicsServer_snapshot(VX_GraphicsServer* server, const QString& path)
{
    if (!server) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_snapshot: no server.\n");
        return -1;
    }
    // the session's top-level windows in the order of their handles
    QList<QPair<int, QWidget*>> windows;
    {
        std::lock_guard<std::mutex> lock(server->handles_mutex);
        for (auto it = server->handles.cbegin(); it != server->handles.cend(); ++it) {
            auto* w = qobject_cast<QWidget*>(it->guard.data());
            if (!w || !w->isWindow() || (it->type != VX_TYPE_MAINWINDOW && it->type != VX_TYPE_FRAME))
                continue;
            int number = it.key().section(QLatin1Char(':'), 1).toInt();
            windows.append({number, w});
        }
    }
    std::sort(windows.begin(), windows.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    if (windows.isEmpty()) {
        hl_register_error(HL_SEVERITY_NORMAL, "snapshot: The session has no window to write to '%s'.\n", path.toLocal8Bit().constData());
        return -1;
    }
    for (auto& [number, w] : windows)
        if (!w->isVisible())
            w->show();
    // let layouts settle and the first paints happen
    for (int i = 0; i < 5; i++) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }
    QFileInfo info(path);
    int written = 0;
    for (int i = 0; i < windows.size(); i++) {
        QString name = path;
        if (i > 0) {
            QString suffix = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
            QString stem = suffix.isEmpty() ? path : path.left(path.size() - suffix.size());
            name = stem + QLatin1Char('-') + QString::number(i + 1) + suffix;
        }
        QPixmap image = windows[i].second->grab();
        if (!image.save(name, "PNG")) {
            hl_register_error(HL_SEVERITY_NORMAL, "snapshot: Cannot write '%s'.\n", name.toLocal8Bit().constData());
            return -1;
        }
        written++;
    }
    return written;
}
