// The pictures from which VXMap composes the frames of a pan.
#pragma once

#include "map/mapitem.h"
#include "viewport/layerpan_p.h"

#include <QList>

#include <unordered_map>

class VXLayer;
class VXMapLayer;

struct VXMap::PanPictures
{
    // One picture per cache, or per layer drawing without a cache.
    struct Slot
    {
        VXLayer* layer = nullptr;      // the cache, null for a layer without one
        QList<VXMapLayer*> members;    // the layers drawn into the picture, bottom first
        VXLayerPan picture;
    };
    // keyed by the cache, or by the layer without one
    std::unordered_map<const void*, Slot> pictures;
};
