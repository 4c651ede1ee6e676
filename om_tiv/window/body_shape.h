/// @file
/// The bodies of the camera models, as faces to paint.
///
/// Body frame: x right, y up, z backward; one unit is half the width of the largest body. The
/// bodies tell the models apart and look alike enough to be one family; they are no drawings to
/// scale.
#pragma once

#include "world/geometry.h"

#include <QColor>
#include <QString>

#include <vector>

namespace benchwindow {

/// A flat polygon, seen from the side that its normal points to.
struct Face
{
    std::vector<om::bench::Vector> points;
    om::bench::Vector normal; ///< unit length
    QColor colour;
};

/// A disc stack on the front: ring, glass and what glints in it.
struct Lens
{
    double x = 0.0;
    double radius = 0.0;
    QColor ring;
};

struct BodyShape
{
    double width = 2.0;
    double height = 0.4;
    double depth = 0.4;
    std::vector<Face> hull;   ///< convex: no face hides another that is seen
    std::vector<Face> marks;  ///< lie on the hull, in the order of painting
    std::vector<Lens> lenses; ///< stand out of the front
    static constexpr double LENS_HEIGHT = 0.035;
};

/// The shape of a model by its name; that of TIV_Q for a name that is not known.
const BodyShape& shapeOf(const QString& model);

} // namespace benchwindow
