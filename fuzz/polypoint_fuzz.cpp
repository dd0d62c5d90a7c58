// Point entries with labels and their attributes in braces on arbitrary
// input.
//
// Each line of the input is read as a points entry ("x y label {k=v ...}")
// and as a modify_point_gc entry of the first point; a refused line must
// leave the point count and the first point's label and size as they were.
// The points are then drawn in a small view.
#include <VX.h>
#include "fuzzapp.h"

#include "glyphs/glyph.h"
#include "items/polypoint.h"
#include "viewport/viewport.h"

#include <QImage>
#include <QString>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace {

constexpr size_t max_input = 8192;
constexpr int max_lines = 32;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz_application();
    if (size > max_input)
        size = max_input;
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));

    auto vp = std::make_unique<VXViewport>(nullptr, 0, 0);
    vp->resize(64, 48);
    vp->configure("xleft", "-10", "xright", "10", "ybottom", "-10", "ytop", "10", nullptr);
    auto pp = std::make_unique<VXPolypoint>(vp.get());
    pp->configure("points", "0 0 first", nullptr);

    // the splitter never fails and never loses the label's head
    QString label;
    QList<std::pair<QString, QString>> attributes;
    polypoint_split_label(QString::fromUtf8(input), &label, &attributes);
    if (!QString::fromUtf8(input).startsWith(label))
        abort();

    int n = 0;
    for (const QByteArray& line : input.split('\n')) {
        if (n++ >= max_lines)
            break;
        const QByteArray text = line.left(1024);
        const int count = pp->count();
        VXGlyph* first = pp->glyph(0);
        const QString first_label = first->vars.label;
        const double first_size = first->getSize();
        if (pp->configure("points", text.constData(), nullptr) < 0 && pp->count() != count)
            abort();
        const QByteArray gc = "0 " + text;
        if (pp->configure("modify_point_gc", gc.constData(), nullptr) < 0 &&
            (pp->glyph(0)->vars.label != first_label || pp->glyph(0)->getSize() != first_size))
            abort();
        hl_clear_register(0);
    }
    QImage image(64, 48, QImage::Format_ARGB32_Premultiplied);
    image.fill(0);
    vp->render(&image);
    pp.reset();
    vp.reset();
    hl_clear_register(0);
    return 0;
}
