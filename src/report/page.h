/// @file
/// The report as one page for a browser.
#pragma once

#include "report/figures.h"
#include "report/model.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace report {

/// Everything in one file: no scripts, nothing from the network, plots as SVG. Needs a
/// QApplication.
/// @param topics the plots of the reports, in the same order, with aligned axes
QByteArray pageOf(const std::vector<RecordingReport>& reports,
                  std::vector<std::vector<Topic>>& topics);

// Parts that the PDF also uses. They are HTML with tables and paragraphs only.

/// Model and serial number, or the file name if they are unknown. Plain text.
QString nameOfRecording(const RecordingReport& report);

/// The warnings for the top of the report; empty if there are none.
QString warningsHtml(const std::vector<RecordingReport>& reports);

/// The verdicts. Those of one recording have limit and reason, those of several are side by side.
QString verdictsHtml(const std::vector<RecordingReport>& reports);

/// Coefficients with their intervals, and the numbers of timing and magnetometer, under a line that
/// says which interval it is.
QString numbersHtml(const std::vector<RecordingReport>& reports);

/// Definitions of the terms, with formulas.
QString definitionsHtml();

} // namespace report
