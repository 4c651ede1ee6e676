/// @file
/// A plot as an SVG element for a page.
#pragma once

#include <QByteArray>
#include <QString>

class QwtPlot;

namespace report {

/// The element alone, without declaration, size or font of the machine: the page's style decides on
/// them. Names inside begin with the prefix, so that several elements stand in one page.
/// @param label what a screen reader says; plain text
QByteArray svgOf(QwtPlot& plot, const QString& prefix, const QString& label);

} // namespace report
