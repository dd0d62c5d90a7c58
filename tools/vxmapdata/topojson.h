// TopoJSON topologies (as Natural Earth's world atlases ship them) to the
// segments of a vector map resolution.
#pragma once

#include "map/mapdatawriter.h"

#include <QByteArray>
#include <QString>

#include <vector>

// Segment levels written for a topology.
enum {
    VXMAPDATA_LEVEL_LAND = 1,     // outer rings of land; odd: land
    VXMAPDATA_LEVEL_LAKE = 2,     // holes in land; even: water
    VXMAPDATA_LEVEL_BORDER = 3,   // lines between two countries, never filled
};

// Decode text, a TopoJSON "Topology", and append to segments: the rings of
// the object land_object as filled areas (outer rings first, then holes),
// the same rings again as lines, and, when border_object is not empty, the
// arcs that two geometries of that object share, as lines.  Arcs may be
// quantized (a "transform" with "scale" and "translate", positions
// delta-encoded) or plain.  0; negative with *error set (naming source and
// the place) and segments unchanged.
int vxmapdata_decode_topojson(const QByteArray& text, const QString& source, const QString& land_object,
                              const QString& border_object, std::vector<HLMapDataWriterSegment>* segments,
                              QString* error);
