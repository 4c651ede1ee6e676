/// @file
/// The report as PDF.
#pragma once

#include "report/figures.h"
#include "report/model.h"

#include <QByteArray>

#include <vector>

namespace report {

/// A4 pages: warnings, verdicts, numbers, plots in pairs, definitions. Needs a QApplication.
/// @param topics the plots of the reports, in the same order, with aligned axes
QByteArray pdfOf(const std::vector<RecordingReport>& reports,
                 std::vector<std::vector<Topic>>& topics);

} // namespace report
