/// @file
/// A plot as an SVG element for a page.
#pragma once

#include <QByteArray>
#include <QString>

class QwtPlot;

namespace report {

/// The element without declaration, size and font, which the page's style sets. All names in it
/// start with the prefix, so that one page can contain several elements.
/// @param label description for screen readers; plain text
QByteArray svgOf(QwtPlot& plot, const QString& prefix, const QString& label);

} // namespace report
