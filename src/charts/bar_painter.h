/// @file
/// Fills many small rectangles with one colour.
#pragma once

#include <QRect>

#include <vector>

class QColor;
class QPainter;

/// Fills the rectangles, which are in pixels of the painter's device but for a translation, with an
/// opaque colour. The picture is that of QPainter::drawRects() without a pen.
///
/// Where the painter draws into an image of 32-bit pixels, and no more than one rectangle of it,
/// the pixels are written by this function: for bars of two pixels the raster engine needs several
/// times as long, because it calls a function for each of their rows.
/// @return true if the pixels were written here, false if QPainter filled the rectangles
bool fillBars(QPainter& painter, const std::vector<QRect>& bars, const QColor& colour);
