// TopoJSON decoding with Qt's JSON classes: arcs (quantized and
// delta-encoded, or plain), polygons and multipolygons, shared arcs.
#include "topojson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

#include <cmath>
#include <map>

namespace {

struct Decoder
{
    QString source;
    QString error;
    std::vector<std::vector<HLMapDataXY>> arcs;  // microdegrees

    bool fail(const QString& what)
    {
        if (error.isEmpty())
            error = source + ": " + what;
        return false;
    }

    static bool number(const QJsonValue& v, double* out)
    {
        if (!v.isDouble() || !std::isfinite(v.toDouble()))
            return false;
        *out = v.toDouble();
        return true;
    }

    bool decodeArcs(const QJsonObject& topology)
    {
        double sx = 1.0, sy = 1.0, tx = 0.0, ty = 0.0;
        bool quantized = false;
        if (topology.contains("transform")) {
            const QJsonObject t = topology.value("transform").toObject();
            const QJsonArray scale = t.value("scale").toArray(), translate = t.value("translate").toArray();
            if (scale.size() != 2 || translate.size() != 2 || !number(scale[0], &sx) || !number(scale[1], &sy) ||
                !number(translate[0], &tx) || !number(translate[1], &ty))
                return fail("transform needs two numbers in scale and in translate");
            quantized = true;
        }
        if (!topology.value("arcs").isArray())
            return fail("no arcs array");
        const QJsonArray list = topology.value("arcs").toArray();
        arcs.reserve(list.size());
        for (qsizetype a = 0; a < list.size(); a++) {
            if (!list[a].isArray())
                return fail(QString("arc %1 is not an array").arg(a));
            const QJsonArray positions = list[a].toArray();
            std::vector<HLMapDataXY> pts;
            pts.reserve(positions.size());
            double x = 0.0, y = 0.0;
            for (qsizetype i = 0; i < positions.size(); i++) {
                const QJsonArray p = positions[i].toArray();
                double px, py;
                if (p.size() < 2 || !number(p[0], &px) || !number(p[1], &py))
                    return fail(QString("arc %1, position %2 is not a pair of numbers").arg(a).arg(i));
                double lon, lat;
                if (quantized) {
                    x += px;
                    y += py;
                    lon = x * sx + tx;
                    lat = y * sy + ty;
                } else {
                    lon = px;
                    lat = py;
                }
                if (!(std::fabs(lon) <= 720.0 && std::fabs(lat) <= 90.0))
                    return fail(QString("arc %1, position %2 is not a longitude and latitude").arg(a).arg(i));
                HLMapDataXY xy = {static_cast<int>(std::lround(lon * 1e6)), static_cast<int>(std::lround(lat * 1e6))};
                if (!pts.empty() && pts.back().lon_microdegrees == xy.lon_microdegrees &&
                    pts.back().lat_microdegrees == xy.lat_microdegrees)
                    continue;
                pts.push_back(xy);
            }
            arcs.push_back(std::move(pts));
        }
        return true;
    }

    // A ring from its arc indices: a negative index ~i is arc i reversed;
    // each arc after the first starts where the one before ended.
    bool ring(const QJsonArray& indices, std::vector<HLMapDataXY>* out)
    {
        out->clear();
        for (const QJsonValue& v : indices) {
            double d;
            if (!number(v, &d) || d != std::floor(d) || std::fabs(d) > 1e9)
                return fail("arc index is not an integer");
            long i = static_cast<long>(d);
            const bool reversed = i < 0;
            if (reversed)
                i = ~i;
            if (i >= static_cast<long>(arcs.size()))
                return fail(QString("arc index %1 out of range").arg(i));
            std::vector<HLMapDataXY> arc = arcs[i];
            if (reversed)
                std::reverse(arc.begin(), arc.end());
            const size_t skip = out->empty() ? 0 : 1;
            if (arc.size() > skip)
                out->insert(out->end(), arc.begin() + static_cast<long>(skip), arc.end());
        }
        return true;
    }

    // The polygons (lists of rings) of a geometry and its children.
    bool polygons(const QJsonObject& g, std::vector<QJsonArray>* out, int depth)
    {
        if (depth > 32)
            return fail("geometry collections nest too deep");
        const QString type = g.value("type").toString();
        if (type == "GeometryCollection") {
            for (const QJsonValue& child : g.value("geometries").toArray())
                if (!polygons(child.toObject(), out, depth + 1))
                    return false;
        } else if (type == "Polygon") {
            out->push_back(g.value("arcs").toArray());
        } else if (type == "MultiPolygon") {
            for (const QJsonValue& p : g.value("arcs").toArray())
                out->push_back(p.toArray());
        } else if (type.isEmpty()) {
            return fail("geometry without a type");
        }
        return true;
    }

    // Arc indices of the rings of one geometry.
    static void arcUse(const QJsonValue& v, std::map<long, int>* uses)
    {
        if (v.isArray()) {
            for (const QJsonValue& c : v.toArray())
                arcUse(c, uses);
        } else if (v.isDouble()) {
            long i = static_cast<long>(v.toDouble());
            (*uses)[i < 0 ? ~i : i]++;
        }
    }
};

} // namespace

int vxmapdata_decode_topojson(const QByteArray& text, const QString& source, const QString& land_object,
                              const QString& border_object, std::vector<HLMapDataWriterSegment>* segments,
                              QString* error)
{
    Decoder d;
    d.source = source;
    QJsonParseError perr;
    const QJsonDocument doc = QJsonDocument::fromJson(text, &perr);
    if (doc.isNull()) {
        *error = QString("%1: not JSON: %2 at byte %3").arg(source, perr.errorString()).arg(perr.offset);
        return -1;
    }
    const QJsonObject topology = doc.object();
    if (topology.value("type").toString() != "Topology") {
        *error = source + ": not a TopoJSON topology (type is not \"Topology\")";
        return -1;
    }
    const QJsonObject objects = topology.value("objects").toObject();
    if (!objects.value(land_object).isObject()) {
        *error = QString("%1: no object \"%2\"").arg(source, land_object);
        return -1;
    }
    if (!border_object.isEmpty() && !objects.value(border_object).isObject()) {
        *error = QString("%1: no object \"%2\"").arg(source, border_object);
        return -1;
    }
    std::vector<QJsonArray> polys;
    if (!d.decodeArcs(topology) || !d.polygons(objects.value(land_object).toObject(), &polys, 0)) {
        *error = d.error;
        return -1;
    }
    std::vector<HLMapDataWriterSegment> outer, holes;
    for (const QJsonArray& rings : polys) {
        for (qsizetype r = 0; r < rings.size(); r++) {
            HLMapDataWriterSegment seg;
            if (!d.ring(rings[r].toArray(), &seg.pts)) {
                *error = d.error;
                return -1;
            }
            if (seg.pts.size() < 3)
                continue;
            seg.fill = 1;
            seg.level = r == 0 ? VXMAPDATA_LEVEL_LAND : VXMAPDATA_LEVEL_LAKE;
            (r == 0 ? outer : holes).push_back(std::move(seg));
        }
    }
    std::vector<HLMapDataWriterSegment> lines;
    for (const auto* list : {&outer, &holes})
        for (HLMapDataWriterSegment s : *list) {
            s.fill = 0;
            lines.push_back(std::move(s));
        }
    if (!border_object.isEmpty()) {
        // an arc in the rings of two geometries lies between two countries
        std::map<long, int> shared;
        for (const QJsonValue& g : objects.value(border_object).toObject().value("geometries").toArray()) {
            std::map<long, int> uses;
            Decoder::arcUse(g.toObject().value("arcs"), &uses);
            for (const auto& [arc, n] : uses)
                shared[arc]++;
        }
        for (const auto& [arc, n] : shared) {
            if (n < 2 || arc < 0 || arc >= static_cast<long>(d.arcs.size()) || d.arcs[arc].size() < 2)
                continue;
            HLMapDataWriterSegment seg;
            seg.level = VXMAPDATA_LEVEL_BORDER;
            seg.fill = 0;
            seg.pts = d.arcs[arc];
            lines.push_back(std::move(seg));
        }
    }
    for (auto* list : {&outer, &holes, &lines})
        for (HLMapDataWriterSegment& s : *list)
            segments->push_back(std::move(s));
    return 0;
}
