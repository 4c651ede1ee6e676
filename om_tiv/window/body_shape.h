/// @file
/// The bodies of the camera models, as faces to paint.
///
/// Body frame: x right, y up, z backward; one unit is half the width of the largest body. The
/// bodies of the models differ, but look like one family; they are not drawn to scale.
#pragma once

#include "world/geometry.h"

#include <QColor>
#include <QString>

#include <array>
#include <vector>

namespace benchwindow {

/// A flat polygon, visible from the side to which its normal points.
struct Face
{
    std::vector<om::bench::Vector> points;
    om::bench::Vector normal; ///< unit length
    QColor colour;
};

/// A stack of discs on the front: ring, glass and reflection.
struct Lens
{
    double x = 0.0;
    double radius = 0.0;
    QColor ring;
    std::vector<Face> barrel; ///< its side
};

struct BodyShape
{
    double width = 2.0;
    double height = 0.4;
    double depth = 0.4;
    std::vector<Face> hull;   ///< convex: no visible face hides another one
    std::vector<Face> marks;  ///< on the hull, in the order of painting
    std::vector<Lens> lenses; ///< in front of the hull
    static constexpr double lensHeight = 0.035;
    std::array<om::bench::Vector, 8> box; ///< corners of the smallest one around all points
};

/// The shape of a model by its name; that of TIV_Q for an unknown name.
const BodyShape& shapeOf(const QString& model);

} // namespace benchwindow
