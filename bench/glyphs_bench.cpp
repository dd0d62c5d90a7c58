// Glyph sets of 10^4 event symbols, coded by depth (fill colour) and
// magnitude (size), measured against bare baselines in the same run:
//   (a) painting the set against bare QPainter::drawEllipse calls with the
//       same discs, colours and pens worked out beforehand;
//   (b) one pointer move through the set (hit test and selection) against a
//       plain scan of the squared distances to the 10^4 centres.
// The ratios are printed after the table.  Build in Release.
#include <VX.h>

#include "glyphs/glyph.h"
#include "glyphs/glyphs.h"
#include "glyphs/glyphsgc.h"
#include "viewport/viewport.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int nglyphs = 10000;
constexpr int width = 800, height = 600;

const char* const items =
    "gcitem_definitions &Arr{\n"
    "\tsymbol:events\t\tcircle\n"
    "\tsize:magnitude\t\tmagnitude\t4.0,10:7.0,50:10:100\n"
    "\tfill_color:depth\tdepth\t\t0.0,240.0:650.0,0.0;1.0;0.8\n"
    "\toutline_color:events\tconstant\t\\#80000000\n"
    "\toutline_linewidth:0\tconstant\t0.5\n"
    "\topacity:1\t\tconstant\t1.0\n"
    "}\n";
const char* const styles =
    "gc_definitions &Arr{\n"
    "\tevents &Tbl{\n"
    "\t\tsymbol:events\n\t\tsize:magnitude\n\t\tfill_color:depth\n"
    "\t\toutline_linewidth:0\n\t\toutline_color:events\n\t\topacity:1\n"
    "\t}\n"
    "}\n";

struct Event
{
    double lon, lat, depth, magnitude;
};

const std::vector<Event>& events()
{
    static std::vector<Event> list = [] {
        std::vector<Event> e(nglyphs);
        unsigned seed = 4711;
        auto next = [&seed] {
            seed = seed * 1103515245u + 12345u;
            return ((seed >> 8) & 0xffff) / 65535.0;
        };
        for (Event& ev : e) {
            ev.lon = -180.0 + 360.0 * next();
            ev.lat = -80.0 + 160.0 * next();
            ev.depth = 700.0 * next() * next();
            ev.magnitude = 4.0 + 2.0 * next() * next();
        }
        return e;
    }();
    return list;
}

struct Scene
{
    std::unique_ptr<VXViewport> vp;
    VXGlyphsGraphicsContext ggc;
    std::unique_ptr<VXGlyphs> set;

    Scene()
    {
        vp = std::make_unique<VXViewport>(nullptr, 0, 0);
        vp->resize(width, height);
        vp->configure("map", "geog", "lonr", "0", "latr", "0", "range", "360", nullptr);
        vp->setScales();
        if (ggc.configure("gcitem_definitions", items, "gc_definitions", styles, nullptr) < 0) {
            fprintf(stderr, "%s", hl_errlog_string(0));
            exit(1);
        }
        set = std::make_unique<VXGlyphs>(vp.get());
        set->setGraphicsContext(&ggc);
        set->setInteractionMode(1);
        for (const Event& ev : events()) {
            VXGlyph* g = set->addGlyph();
            g->setGlyph("events");
            g->setPosition(ev.lon, ev.lat);
            g->setCodingValue("depth", ev.depth);
            g->setCodingValue("magnitude", ev.magnitude);
        }
    }
    ~Scene() { set.reset(); }
};

void paintSet(Scene& s, QImage* image)
{
    image->fill(Qt::white);
    QPainter painter(image);
    s.set->drawViewportItem(&painter);
}

void BM_GlyphsPaint(benchmark::State& state)
{
    Scene s;
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    paintSet(s, &image);  // pens and brushes made once
    for (auto _ : state) {
        paintSet(s, &image);
        benchmark::ClobberMemory();
    }
    state.counters["glyphs"] = nglyphs;
}
BENCHMARK(BM_GlyphsPaint)->Unit(benchmark::kMillisecond);

void BM_BareEllipses(benchmark::State& state)
{
    // the same discs with their colours, all worked out beforehand
    Scene s;
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    paintSet(s, &image);
    struct Disc
    {
        QRectF box;
        QBrush brush;
    };
    std::vector<Disc> discs;
    for (VXGlyph* g : s.set->vars.glyphs) {
        if (g->vars.skip)
            continue;
        const QRectF box = g->vars.shape_path.boundingRect();
        discs.push_back({box, g->vars.paths.first().brush});
    }
    const QPen pen(QColor::fromRgba(0x80000000), 0.5);
    for (auto _ : state) {
        image.fill(Qt::white);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(pen);
        for (const Disc& d : discs) {
            painter.setBrush(d.brush);
            painter.drawEllipse(d.box);
        }
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_BareEllipses)->Unit(benchmark::kMillisecond);

// Pointer positions across the plot, some on glyphs, some between them.
std::vector<QPointF> pointerPath()
{
    std::vector<QPointF> p;
    for (int i = 0; i < 997; i++)
        p.emplace_back((i * 37) % width, (i * 53) % height);
    return p;
}

void BM_GlyphsMoveEvent(benchmark::State& state)
{
    Scene s;
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    paintSet(s, &image);
    const std::vector<QPointF> path = pointerPath();
    size_t i = 0;
    for (auto _ : state) {
        const QPointF& pt = path[i++ % path.size()];
        QMouseEvent e(QEvent::MouseMove, pt, pt, Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        benchmark::DoNotOptimize(s.set->processEvent(2, &e));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GlyphsMoveEvent)->Unit(benchmark::kMicrosecond);

void BM_BareDistanceScan(benchmark::State& state)
{
    Scene s;
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    paintSet(s, &image);
    std::vector<QPointF> centres;
    std::vector<double> radii2;
    for (VXGlyph* g : s.set->vars.glyphs) {
        centres.emplace_back(g->vars.xp, g->vars.yp);
        const double r = g->vars.shape_path.boundingRect().width() * 0.5;
        radii2.push_back(r * r);
    }
    const std::vector<QPointF> path = pointerPath();
    size_t i = 0;
    for (auto _ : state) {
        const QPointF& pt = path[i++ % path.size()];
        int found = -1;
        for (size_t k = centres.size(); k-- > 0;) {
            const double dx = centres[k].x() - pt.x(), dy = centres[k].y() - pt.y();
            if (dx * dx + dy * dy <= radii2[k]) {
                found = static_cast<int>(k);
                break;
            }
        }
        benchmark::DoNotOptimize(found);
    }
}
BENCHMARK(BM_BareDistanceScan)->Unit(benchmark::kMicrosecond);

class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration)
                cpu_seconds[run.benchmark_name()] = run.GetAdjustedCPUTime();
    }
    std::map<std::string, double> cpu_seconds;
};

} // namespace

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    events();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto ratio = [&reporter](const char* a, const char* b) {
        auto& t = reporter.cpu_seconds;
        return t.count(a) && t.count(b) && t[b] > 0 ? t[a] / t[b] : 0.0;
    };
    printf("(a) paint of 10^4 coded glyphs / bare drawEllipse: %.2fx cpu\n", ratio("BM_GlyphsPaint", "BM_BareEllipses"));
    printf("(b) move event through 10^4 glyphs / bare distance scan: %.2fx cpu\n",
           ratio("BM_GlyphsMoveEvent", "BM_BareDistanceScan"));
    benchmark::Shutdown();
    return 0;
}
