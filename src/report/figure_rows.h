/// @file
/// The plots of a topic in rows of two, as a page shows them.
#pragma once

#include "report/figures.h"

#include <array>
#include <cstddef>
#include <vector>

namespace report {

/// Left and right plot; null where a place stays empty.
using FigureRow = std::array<Figure*, 2>;

/// Rows of two plots: the next two of one recording, or the same plot of two recordings. The same
/// plots of three and more recordings take several rows, one after another.
/// @param recordings the topics of each recording, not empty; the rows point into them
/// @param topic index of the topic, the same in every recording
std::vector<FigureRow> figureRows(std::vector<std::vector<Topic>>& recordings, std::size_t topic);

} // namespace report
