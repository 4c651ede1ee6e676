/// @file
/// The window's colours, those of Gravimon, and its style sheet.
#pragma once

#include <QColor>
#include <QString>

namespace benchwindow::look {

const QColor black(5, 5, 5);
const QColor soil(25, 25, 25);
const QColor steel(45, 45, 45);
const QColor charcoal(60, 60, 60);
const QColor ash(137, 137, 137);
const QColor iron(194, 194, 194);
const QColor pearl(242, 242, 242);
const QColor lime(217, 255, 66);
const QColor red(255, 87, 87);
const QColor amber(255, 189, 89);

QString styleSheet();

} // namespace benchwindow::look
