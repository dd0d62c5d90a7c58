// Shapes: focal-mechanism symbols from moment tensors, and their cache.
#include "glyphs/shape.h"

#include "toolkit/base/errors.h"
#include "toolkit/geo/hlmoment.h"

#include <QHash>
#include <QString>

#include <string>

namespace {

// Keyed by the "%g" text of the six values; a null value records a tensor
// that could not be resolved.
QHash<QString, std::shared_ptr<VxShape>>& cache()
{
    static QHash<QString, std::shared_ptr<VxShape>> map;
    return map;
}

// A beachball owns its outline and its second part; the first part is the
// shared unit circle.
void freeBeachball(VxShape* shape)
{
    if (!shape)
        return;
    delete shape->outline;
    for (qsizetype i = 1; i < shape->paths.size(); i++)
        delete shape->paths[i];
    delete shape;
}

// Put back the lines the register held before a call whose own lines are
// not to be reported.
void restoreRegister(const std::string& saved)
{
    hl_clear_register(0);
    size_t start = 0;
    while (start < saved.size()) {
        size_t nl = saved.find('\n', start);
        size_t end = nl == std::string::npos ? saved.size() : nl + 1;
        hl_register_error(HL_SEVERITY_NORMAL, "%s", saved.substr(start, end - start).c_str());
        start = end;
    }
}

std::shared_ptr<VxShape> makeBeachball(const double* tensor)
{
    const std::string saved = hl_errlog_string(0);
    const int saved_count = hl_error_count();
    HLMoment* moment = nullptr;
    if (hlmoment_create(tensor, &moment) < 0) {
        if (hl_error_count() != saved_count)
            restoreRegister(saved);
        return nullptr;
    }
    HLMomentCurve curves[2];
    int found = hlmoment_compute_bb_points(moment, curves);
    hlmoment_destroy(moment);
    if (found < 0) {
        if (hl_error_count() != saved_count)
            restoreRegister(saved);
        return nullptr;
    }

    VxShape* circle = VXShape::getCircle();
    const QPainterPath& unit_circle = *circle->paths[0];
    auto* built = new QPainterPath;  // even-odd: a contour with the circle is the disc without it
    for (const HLMomentCurve& curve : curves) {
        if (curve.points.empty())
            continue;
        if (curve.circle)
            built->addPath(unit_circle);
        built->moveTo(curve.points[0].x, -curve.points[0].y);
        for (size_t i = 1; i < curve.points.size(); i++)
            built->lineTo(curve.points[i].x, -curve.points[i].y);
        built->closeSubpath();
    }
    hlmoment_clear_bb_points(curves);

    std::shared_ptr<VxShape> shape(new VxShape, freeBeachball);
    shape->paths.append(circle->paths[0]);
    shape->paths.append(built);
    shape->outline = new QPainterPath(unit_circle);
    shape->bounding_rect = circle->bounding_rect;
    return shape;
}

} // namespace

std::shared_ptr<VxShape> VXShape::getBeachballShared(const double* tensor)
{
    bpq_shape_make_statics();
    if (!tensor)
        return nullptr;
    QString key = QString::asprintf("%g %g %g %g %g %g", tensor[0], tensor[1], tensor[2], tensor[3], tensor[4],
                                    tensor[5]);
    auto& map = cache();
    auto it = map.constFind(key);
    if (it != map.constEnd())
        return it.value();
    // a full flush: simpler than eviction, and the users that keep a shape
    // hold their own reference to it
    if (map.size() >= VX_SHAPE_BEACHBALL_CACHE_MAX)
        map.clear();
    std::shared_ptr<VxShape> shape = makeBeachball(tensor);
    map.insert(key, shape);
    return shape;
}

VxShape* VXShape::getBeachball(const double* tensor)
{
    return getBeachballShared(tensor).get();
}

int VXShape::beachballCacheCount()
{
    return static_cast<int>(cache().size());
}

void VXShape::clearBeachballCache()
{
    cache().clear();
}
