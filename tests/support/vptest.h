// Helpers of the viewport tests: making viewports, rendering, reading pixels.
#pragma once

#include "support/testsupport.h"

#include "viewport/viewport.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPaintEngine>
#include <QPainter>
#include <QRect>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

namespace vptest {

// Apply configure pairs (key, value, ...) to an item or a viewport.
template <typename T>
void configureAll(T* target, const std::vector<const char*>& pairs)
{
    for (size_t i = 0; i + 1 < pairs.size(); i += 2)
        EXPECT_EQ(target->configure(pairs[i], pairs[i + 1], nullptr), 0) << pairs[i] << " " << takeErrors();
}

// A viewport of w by h pixels with no logo, configured with the pairs of
// config then extra, its scales set.
inline std::unique_ptr<VXViewport> makeViewport(int w, int h, std::initializer_list<const char*> config = {},
                                                std::initializer_list<const char*> extra = {})
{
    auto vp = std::make_unique<VXViewport>(nullptr, 0, 0);
    vp->resize(w, h);
    configureAll(vp.get(), config);
    configureAll(vp.get(), extra);
    vp->setScales();
    return vp;
}

// Run f with standard output captured.
template <typename F>
std::string captureStdout(F f)
{
    fflush(stdout);
    char path[] = "/tmp/vptest_stdout_XXXXXX";
    int fd = mkstemp(path), saved = dup(1);
    dup2(fd, 1);
    f();
    fflush(stdout);
    dup2(saved, 1);
    close(saved);
    std::string text;
    char buffer[4096];
    lseek(fd, 0, SEEK_SET);
    for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<size_t>(n));
    close(fd);
    unlink(path);
    return text;
}

// p is about c; small text is antialiased, so any clearly blue pixel is blue.
inline bool isColor(QRgb p, QColor c)
{
    if (c == QColor(0, 0, 255))
        return qBlue(p) - qRed(p) > 60 && qBlue(p) - qGreen(p) > 60;
    return std::abs(qRed(p) - c.red()) < 40 && std::abs(qGreen(p) - c.green()) < 40
           && std::abs(qBlue(p) - c.blue()) < 40;
}

// Run the paint cycle into an image prefilled with background.
inline QImage render(QWidget* w, QColor background = Qt::white)
{
    QImage image(w->size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(background);
    // no window background: what shows is what the viewport paints
    w->render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

// An image for drawing straight through a painter.
inline QImage blank(int w, int h, QColor background = Qt::white)
{
    QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
    image.fill(background);
    return image;
}

// Bounding box of the pixels that differ from background; empty if none.
inline QRect inkBox(const QImage& image, QColor background = Qt::white)
{
    const QRgb bg = background.rgba();
    int x0 = image.width(), y0 = image.height(), x1 = -1, y1 = -1;
    for (int y = 0; y < image.height(); y++)
        for (int x = 0; x < image.width(); x++)
            if (image.pixel(x, y) != bg) {
                x0 = std::min(x0, x);
                y0 = std::min(y0, y);
                x1 = std::max(x1, x);
                y1 = std::max(y1, y);
            }
    return x1 < 0 ? QRect() : QRect(QPoint(x0, y0), QPoint(x1, y1));
}

// Number of pixels of exactly colour c inside r (empty r: the whole image).
inline int countColor(const QImage& image, QColor c, QRect r = QRect())
{
    if (r.isEmpty())
        r = image.rect();
    int n = 0;
    for (int y = r.top(); y <= r.bottom(); y++)
        for (int x = r.left(); x <= r.right(); x++)
            if (image.pixel(x, y) == c.rgba())
                n++;
    return n;
}

// Number of pixels that differ from background outside r.
inline int inkOutside(const QImage& image, QRect r, QColor background = Qt::white)
{
    int n = 0;
    for (int y = 0; y < image.height(); y++)
        for (int x = 0; x < image.width(); x++)
            if (!r.contains(x, y) && image.pixel(x, y) != background.rgba())
                n++;
    return n;
}

// Save an image for a look when VX_TEST_SAVE_IMAGES is set.
inline void keep(const QImage& image, const char* name)
{
    if (getenv("VX_TEST_SAVE_IMAGES"))
        image.save(QString("/tmp/%1.png").arg(name));
}

// A paint device that records the polylines, polygons and lines reaching its engine.
class RecordingEngine : public QPaintEngine
{
public:
    RecordingEngine() : QPaintEngine(QPaintEngine::AllFeatures) {}
    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    void updateState(const QPaintEngineState&) override {}
    void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
    Type type() const override { return QPaintEngine::User; }
    void drawPolygon(const QPointF* points, int n, PolygonDrawMode mode) override
    {
        std::vector<QPointF> p(points, points + n);
        if (mode == PolylineMode)
            polylines.push_back(p);
        else
            polygons.push_back(p);
    }
    void drawLines(const QLineF*, int n) override { lines += n; }

    std::vector<std::vector<QPointF>> polylines;
    std::vector<std::vector<QPointF>> polygons;
    int lines = 0;
};

class RecordingDevice : public QPaintDevice
{
public:
    RecordingDevice(int w, int h) : w_(w), h_(h) {}
    QPaintEngine* paintEngine() const override { return &engine; }
    mutable RecordingEngine engine;

protected:
    int metric(PaintDeviceMetric m) const override
    {
        switch (m) {
        case PdmWidth:
            return w_;
        case PdmHeight:
            return h_;
        case PdmDpiX:
        case PdmDpiY:
        case PdmPhysicalDpiX:
        case PdmPhysicalDpiY:
            return 96;
        case PdmDepth:
            return 32;
        case PdmDevicePixelRatio:
            return 1;
        case PdmDevicePixelRatioScaled:
            return static_cast<int>(devicePixelRatioFScale());
        default:
            return 0;
        }
    }

private:
    int w_, h_;
};

} // namespace vptest
