// The example clients: the shell script and the C++ client draw the same
// damped sine, and the curve lands where its numbers say; the event map
// draws a generated database's events inside its plot area.
#include "support/programsupport.h"

#include <QImage>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// The exit status of program, its standard error in err.
int run(const QString& program, const QStringList& args, QString* err)
{
    const ProgramRun r = runProgram(program, args, {}, {"QT_QPA_PLATFORM=offscreen"});
    *err = QString::fromStdString(r.err);
    return r.status;
}

// The curve's colour, #1f4e9a, within a little of antialiasing.
bool isCurve(QRgb c)
{
    return std::abs(qRed(c) - 0x1f) < 40 && std::abs(qGreen(c) - 0x4e) < 40 && std::abs(qBlue(c) - 0x9a) < 40 &&
           qBlue(c) > qRed(c) + 60;
}

// Highest curve pixel (smallest row) in column x, or -1.
int curveTop(const QImage& image, int x)
{
    for (int y = 0; y < image.height(); y++)
        if (isCurve(image.pixel(x, y)))
            return y;
    return -1;
}

} // namespace

TEST(Examples, ScriptAndClientDrawTheSameCurveWhereItsNumbersSay)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString from_client = dir.filePath("client.png"), from_script = dir.filePath("script.png");
    QString err;
    ASSERT_EQ(run(DAMPED_SINE_PATH, {from_client}, &err), 0) << err.toStdString();
    ASSERT_EQ(run(VXSH_PATH, {"-q", "--snapshot", from_script, VX_EXAMPLES_DIR "/damped_sine.vxs"}, &err), 0)
        << err.toStdString();

    QImage client(from_client), script(from_script);
    ASSERT_FALSE(client.isNull());
    ASSERT_EQ(client.size(), QSize(720, 420));
    ASSERT_EQ(script.size(), client.size());

    // the window is the viewport: plot area from x 76 to 676 (margins 76,
    // 44) and y 44 to 340 (margins 44, 80); x is 60 s, y -1.1 to 1.1
    auto px = [](double t) { return 76.0 + t * 600.0 / 60.0; };
    auto py = [](double v) { return 44.0 + (1.1 - v) * 296.0 / 2.2; };
    // the first crests of y = exp(-t/15) sin(2 pi t / 6), at t = 1.5 + 6k
    // nearly (the damping moves them a little earlier)
    for (double t : {1.45, 7.45, 13.45}) {
        SCOPED_TRACE(t);
        const double crest = std::exp(-t / 15.0) * std::sin(2.0 * M_PI * t / 6.0);
        const int x = static_cast<int>(std::lround(px(t)));
        for (const QImage* image : {&client, &script}) {
            const int top = curveTop(*image, x);
            ASSERT_GE(top, 0) << "no curve in column " << x;
            EXPECT_NEAR(top, py(crest), 3.0);
        }
    }
    // no curve outside the plot area
    for (int y = 0; y < client.height(); y++) {
        EXPECT_FALSE(isCurve(client.pixel(60, y)) || isCurve(client.pixel(700, y))) << y;
    }
}

TEST(Examples, EventMapDrawsTheGeneratedEventsInsideThePlot)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    QString err;
    const QString db = dir.filePath("db"), picture = dir.filePath("map.png");
    ASSERT_EQ(run(VXGEN_PATH, {"--seed", "7", "--events", "60", "--hours", "1", "--samprate", "1", db}, &err), 0)
        << err.toStdString();
    ASSERT_EQ(run(EVENT_MAP_PATH, {db, picture}, &err), 0) << err.toStdString();
    QImage image(picture);
    ASSERT_EQ(image.size(), QSize(760, 640));

    // glyph fills are saturated colours; the frame, grid, text and the
    // stations' triangles are greys
    int inside = 0, outside = 0;
    const QRect plot(70, 50, 760 - 70 - 30, 640 - 50 - 60);
    for (int y = 0; y < image.height(); y++)
        for (int x = 0; x < image.width(); x++) {
            const QColor c = image.pixelColor(x, y);
            if (c.hsvSaturation() < 150 || c.value() < 100)
                continue;
            // the logo in the corner is drawn in a pale blue: not saturated
            (plot.contains(x, y) ? inside : outside)++;
        }
    EXPECT_GT(inside, 2000);  // sixty discs of 4 to 28 pixels
    EXPECT_EQ(outside, 0);
    EXPECT_EQ(run(EVENT_MAP_PATH, {dir.filePath("nosuch")}, &err), 1);
    EXPECT_TRUE(err.contains("event_map: no origins and no stations in the database")) << err.toStdString();
}
