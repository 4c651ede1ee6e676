/// @file
/// The expected and the actual places of the scene's points and the mesh on the display.
#pragma once

#include "gpu/scene_view.h"

#include <QString>

#include <array>

using Vector = std::array<double, 3>;
using Matrix = std::array<Vector, 3>;

/// A rotation about a coordinate axis (0 to 2), computed independently of the program.
Matrix turn(int axis, double degrees);
Vector times(const Matrix& m, const Vector& v);
/// The same rotation in the program's type.
om::Orientation orientation(int axis, double degrees);

/// Position of a point of the world in the view, pixels.
QPointF place(const SceneView& view, const Vector& p);

/// Smallest distance of a colour from the pixels around a place: the sum over the channels.
int distance(const QImage& picture, QPointF at, int r, int g, int b);
/// The same for the pixels 6 to either side of a line's end; the larger of both.
int beside(const SceneView& view, const QImage& picture, const Vector& from, const Vector& to,
           const int (&colour)[3]);

/// Compares outline and lenses of the small model on the display with those of its vertices under
/// the rotation. Empty if they agree to within two pixels, otherwise the difference.
QString differenceFromScreen(SceneView& view, const Matrix& rotation);
