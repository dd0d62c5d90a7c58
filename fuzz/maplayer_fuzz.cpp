// Map layer definitions, stacks and templates on arbitrary input.
//
// The input holds up to three parts separated by lines "----": the value of
// the map's maplayer_definitions, a text given both as its
// define_maplayers_templates and its maplayers, and a definition for a
// layer of its own.  A refused definition must leave that layer as it was.
// The map is then drawn in each projection.
#include <VX.h>
#include "fuzzapp.h"

#include "map/maplayer.h"
#include "map/mapitem.h"
#include "viewport/viewport.h"

#include <QImage>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace {

constexpr size_t max_input = 16384;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz_application();
    if (size > max_input)
        size = max_input;
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QStringList parts = text.split(QStringLiteral("\n----\n"));
    const QByteArray definitions = parts.value(0).toUtf8(), stack = parts.value(1).toUtf8(),
                     lone = parts.value(2).toUtf8();

    auto vp = std::make_unique<VXViewport>(nullptr, 0, 0);
    vp->resize(64, 48);
    vp->configure("map", "geog", "range", "360", nullptr);
    auto map = std::make_unique<VXMap>(vp.get(), 0, 1, nullptr);
    map->configure("maplayer_definitions", definitions.constData(), nullptr);
    map->configure("define_maplayers_templates", stack.constData(), nullptr);
    map->configure("maplayers", stack.constData(), nullptr);
    for (const QString& name : map->vars.maplayers_templates.keys().mid(0, 4))
        map->configure("maplayers_template", name.toUtf8().constData(), nullptr);

    auto layer = std::make_unique<VXMapLayer>(vp.get(), map.get());
    layer->configure("definition", "definition &Arr{\ntype shade\nproj geog,edp\nvx_layer lone\n}\n", nullptr);
    const int type = layer->vars.type;
    const QString lname = layer->getLayerName();
    const int r = layer->configure("definition", lone.constData(), nullptr);
    if (r < 0 && (layer->vars.type != type || layer->getLayerName() != lname))
        abort();  // a refused definition changed the layer

    QImage image(64, 48, QImage::Format_ARGB32_Premultiplied);
    for (const char* projection : {"geog", "edp", "globe", "merc"}) {
        map->configure("projection", projection, nullptr);
        image.fill(0);
        vp->render(&image);
    }
    layer.reset();
    map.reset();
    vp.reset();
    hl_clear_register(0);
    return 0;
}
