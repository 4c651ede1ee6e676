/// @file
/// Viewport arithmetic of the GPU views, free of OpenGL.
#pragma once

#include <QRect>

/// The largest rectangle of the image's aspect ratio inside a widget of w by h, centred; x and y
/// round down. Widget and image in pixels, the image's sides above 0.
QRect letterbox(int w, int h, int imageWidth, int imageHeight);

/// The centred square whose side is the larger dimension, in whole pixels; it sticks out of the
/// drawable on the shorter side, with a negative x or y there. Fractions of a pixel of the side go
/// before the centring.
QRect squareViewport(float width, float height);

/// The same, but the fraction of the side takes part in the centring.
QRect squareViewportOfExactSide(float width, float height);
