/// @file
/// The report as PDF.
#pragma once

#include "report/figures.h"
#include "report/model.h"

#include <QByteArray>

#include <vector>

namespace report {

/// Pages of A4: warnings, verdicts, numbers, plots two beside each other, definitions. Needs a
/// QApplication.
/// @param topics of the reports, in the same order, with axes that are aligned
QByteArray pdfOf(const std::vector<RecordingReport>& reports,
                 std::vector<std::vector<Topic>>& topics);

} // namespace report
