// Glyph graphics-context definitions on arbitrary input.
//
// The input holds up to three parts separated by lines "----": item
// definitions, style definitions and style changes.  Each goes to its
// parser; a failed call must leave the printed definitions as they were.
// Then glyphs are made from every style, fed coding inputs and drawn in a
// small view.
#include <VX.h>
#include "fuzzapp.h"

#include "glyphs/glyph.h"
#include "glyphs/glyphs.h"
#include "glyphs/glyphsgc.h"
#include "viewport/viewport.h"

#include <QImage>
#include <QPainter>
#include <QString>
#include <QStringList>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace {

constexpr size_t max_input = 16384;
constexpr int max_styles = 16;

const double inputs[] = {0.0, 4.5, 650.0, -1.0, 1e30, NAN};

// Run one parser; on failure nothing may have changed.
template <typename F>
void checked(VXGlyphsGraphicsContext& ggc, F parse)
{
    const QString items = ggc.gcItemDefinitionsText(), styles = ggc.gcDefinitionsText();
    const int r = parse();
    if (r != 0 && r != -1)
        abort();
    if (r < 0 && (ggc.gcItemDefinitionsText() != items || ggc.gcDefinitionsText() != styles))
        abort();  // a failure changed the definitions
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz_application();
    if (size > max_input)
        size = max_input;
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QStringList parts = text.split(QStringLiteral("\n----\n"));

    VXGlyphsGraphicsContext ggc;
    checked(ggc, [&] { return ggc.setGcItemDefinitions(parts.value(0)); });
    for (const QString& line : parts.value(0).split(QLatin1Char('\n')).mid(0, 8))
        checked(ggc, [&] { return ggc.setGcItemDefinition(line); });
    checked(ggc, [&] { return ggc.setGcDefinitions(parts.value(1)); });
    checked(ggc, [&] { return ggc.changeGcDefinitions(parts.value(2)); });

    // what was accepted prints as text that loads again
    VXGlyphsGraphicsContext again;
    if (again.setGcItemDefinitions(ggc.gcItemDefinitionsText()) != 0)
        abort();

    auto vp = std::make_unique<VXViewport>(nullptr, 0, 0);
    vp->resize(64, 48);
    vp->configure("xleft", "-180", "xright", "180", "ybottom", "-90", "ytop", "90", nullptr);
    auto set = std::make_unique<VXGlyphs>(vp.get());
    set->setGraphicsContext(&ggc);
    int made = 0;
    for (int gc = 0; gc < max_styles; gc++) {
        VXGlyph* g = set->addGlyph();
        if (g->setGlyphIndex(gc) < 0) {
            set->removeGlyph(g->getIndex());
            continue;
        }
        g->setPosition(made * 20.0 - 150.0, made * 7.0 - 50.0);
        for (double x : inputs) {
            g->setCodingValue(QStringLiteral("depth"), x);
            g->setCodingValue(QStringLiteral("magnitude"), x);
            g->setCodingValue(QStringLiteral("age"), x);
        }
        made++;
    }
    set->updateCoding();
    QImage image(64, 48, QImage::Format_ARGB32_Premultiplied);
    image.fill(0);
    vp->render(&image);
    set.reset();
    vp.reset();
    hl_clear_register(0);
    return 0;
}
