// Shapes: the static unit outlines.
#include "glyphs/shape.h"

#include <QPolygonF>
#include <QTransform>

#include <mutex>

namespace {

enum StaticShape {
    SHAPE_POINT,
    SHAPE_CROSS,
    SHAPE_X,
    SHAPE_CIRCLE,
    SHAPE_SQUARE,
    SHAPE_TRIANGLE,
    SHAPE_DIAMOND,
    SHAPE_STAR,
    SHAPE_VERTICAL_LINE,
    SHAPE_HORIZONTAL_LINE,
    SHAPE_COUNT
};

struct Statics
{
    QPainterPath paths[SHAPE_COUNT];
    QPainterPath outlines[SHAPE_COUNT];
    VxShape shapes[SHAPE_COUNT];
};

Statics& statics()
{
    static Statics s;
    return s;
}

QPainterPath closedPolygon(const QPolygonF& points)
{
    QPainterPath path;
    path.addPolygon(points);
    path.closeSubpath();
    return path;
}

VxShape* shape(StaticShape which)
{
    bpq_shape_make_statics();
    return &statics().shapes[which];
}

} // namespace

void bpq_shape_make_statics()
{
    static std::once_flag once;
    std::call_once(once, [] {
        Statics& s = statics();
        QPainterPath* p = s.paths;

        p[SHAPE_CIRCLE].addEllipse(-1.0, -1.0, 2.0, 2.0);
        p[SHAPE_SQUARE].addRect(-1.0, -1.0, 2.0, 2.0);

        p[SHAPE_TRIANGLE] = QTransform::fromScale(1.2, 1.2).map(
            closedPolygon({{0.0, -1.0}, {0.866025403, 0.5}, {-0.866025403, 0.5}}));

        // rotation is applied after the scaling
        QTransform diamond;
        diamond.rotate(45.0);
        diamond.scale(0.8, 0.8);
        p[SHAPE_DIAMOND] = diamond.map(p[SHAPE_SQUARE]);

        p[SHAPE_STAR] = QTransform::fromScale(1.5, 1.5).map(closedPolygon({{0.0, -1.0},
                                                                           {0.22451, -0.30902},
                                                                           {0.95106, -0.30902},
                                                                           {0.36327, 0.11803},
                                                                           {0.58779, 0.80902},
                                                                           {0.0, 0.38197},
                                                                           {-0.58779, 0.80902},
                                                                           {-0.36327, 0.11803},
                                                                           {-0.95106, -0.30902},
                                                                           {-0.22451, -0.30902}}));

        p[SHAPE_POINT] = QTransform::fromScale(0.05, 0.05).map(p[SHAPE_DIAMOND]);

        p[SHAPE_CROSS].moveTo(0.0, -1.0);
        p[SHAPE_CROSS].lineTo(0.0, 1.0);
        p[SHAPE_CROSS].moveTo(-1.0, 0.0);
        p[SHAPE_CROSS].lineTo(1.0, 0.0);

        p[SHAPE_VERTICAL_LINE].moveTo(0.0, -1.0);
        p[SHAPE_VERTICAL_LINE].lineTo(0.0, 1.0);
        p[SHAPE_HORIZONTAL_LINE].moveTo(-1.0, 0.0);
        p[SHAPE_HORIZONTAL_LINE].lineTo(1.0, 0.0);

        QTransform x;
        x.rotate(45.0);
        p[SHAPE_X] = x.map(p[SHAPE_CROSS]);

        for (int i = 0; i < SHAPE_COUNT; i++) {
            s.outlines[i] = p[i];
            s.shapes[i].outline = &s.outlines[i];
            s.shapes[i].paths.append(&p[i]);
            s.shapes[i].bounding_rect = p[i].boundingRect();
        }
    });
}

VXShape::VXShape()
{
    bpq_shape_make_statics();
}

VxShape* VXShape::getPoint()
{
    return shape(SHAPE_POINT);
}

VxShape* VXShape::getCross()
{
    return shape(SHAPE_CROSS);
}

VxShape* VXShape::getX()
{
    return shape(SHAPE_X);
}

VxShape* VXShape::getCircle()
{
    return shape(SHAPE_CIRCLE);
}

VxShape* VXShape::getSquare()
{
    return shape(SHAPE_SQUARE);
}

VxShape* VXShape::getTriangle()
{
    return shape(SHAPE_TRIANGLE);
}

VxShape* VXShape::getDiamond()
{
    return shape(SHAPE_DIAMOND);
}

VxShape* VXShape::getStar()
{
    return shape(SHAPE_STAR);
}

VxShape* VXShape::getVerticalLine()
{
    return shape(SHAPE_VERTICAL_LINE);
}

VxShape* VXShape::getHorizontalLine()
{
    return shape(SHAPE_HORIZONTAL_LINE);
}
