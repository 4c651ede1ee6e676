/// @file
/// Painting a body and the floor below it.
#pragma once

#include "window/body_shape.h"
#include "window/turning.h"

#include <QBrush>
#include <QColor>
#include <QPainter>
#include <QPointF>
#include <QPolygonF>
#include <QRectF>

#include <vector>

namespace benchwindow {

/// The projection from the world to the picture. The world's origin is in the body.
struct Projection
{
    QPointF centre;       ///< of the origin
    double scale = 100.0; ///< pixels per unit at the origin

    /// Of a point in the eye's frame.
    QPointF fromEye(const Vector& v) const;
    QPointF at(const Vector& world) const;
    /// Contains all of a body, except for the width of the lines along its edges.
    QRectF around(const BodyShape& shape, const Quaternion& pose) const;
};

class BodyPainter
{
public:
    BodyPainter(QPainter& painter, const Projection& projection);

    /// Fills the same pixels with the same colours as the opaque colour, in half of the time.
    static QBrush brush(const QColor& opaque);

    /// The compass rose below the body, with a needle to magnetic north.
    /// @param declination degrees
    void paintFloor(double declination, bool letters);
    void paintBody(const BodyShape& shape, const Quaternion& pose);

private:
    void paintCircle(double radius, const QColor& colour, double width);
    void paintFloorPolygon(const std::vector<Vector>& points, const QColor& colour);
    void paintFaces(const std::vector<Face>& faces, const Quaternion& toEye, double seam);
    void paintGlass(const Lens& lens, double front, const Quaternion& toEye);
    void paintDisc(const Vector& centre, double radius, const Quaternion& toEye,
                   const QColor& colour);

    QPainter& m_painter;
    const Projection m_projection;
    QPolygonF m_polygon; ///< of the face that is painted
};

} // namespace benchwindow
