/// @file
/// Viewport arithmetic of the GPU views, without OpenGL.
#pragma once

#include <QRect>

/// The largest rectangle of the image's aspect ratio inside a widget of w by h, centred; x and y
/// round down. Widget and image in pixels, the image's sides above 0.
QRect letterbox(int w, int h, int imageWidth, int imageHeight);

/// The centred square whose side is the larger dimension, in whole pixels. It exceeds the drawable
/// along the shorter side, with a negative x or y there. The side is truncated to whole pixels
/// before the centring.
QRect squareViewport(float width, float height);

/// The same, but centred with the exact side.
QRect squareViewportOfExactSide(float width, float height);
