/// @file
/// Where the scene's points and the mesh ought to be on the display, and where they are.
#pragma once

#include "gpu/scene_view.h"

#include <QString>

#include <array>

using Vector = std::array<double, 3>;
using Matrix = std::array<Vector, 3>;

/// A turn about a coordinate axis (0 to 2), in plain arithmetic of its own.
Matrix turn(int axis, double degrees);
Vector times(const Matrix& m, const Vector& v);
/// The same turn as the program takes it.
om::Orientation orientation(int axis, double degrees);

/// Where a point of the world shows in the view, pixels.
QPointF place(const SceneView& view, const Vector& p);

/// Smallest distance of a colour from the pixels around a place: the sum over the channels.
int distance(const QImage& picture, QPointF at, int r, int g, int b);
/// The same for the pixels 6 to either side of a line's end; the larger of both.
int beside(const SceneView& view, const QImage& picture, const Vector& from, const Vector& to,
           const int (&colour)[3]);

/// Compares outline and lenses of the small model on the display with those of its vertices under
/// the rotation. Empty where they agree to within two pixels, otherwise what differs.
QString differenceFromScreen(SceneView& view, const Matrix& rotation);
