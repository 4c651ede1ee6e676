/// @file
/// The report as one page for a browser.
#pragma once

#include "report/figures.h"
#include "report/model.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace report {

/// Everything in one file: no script, nothing from the network, plots as SVG inside. Needs a
/// QApplication.
/// @param topics of the reports, in the same order, with axes that are aligned
QByteArray pageOf(const std::vector<RecordingReport>& reports,
                  std::vector<std::vector<Topic>>& topics);

// Parts that other documents take too. They are HTML of tables and paragraphs.

/// Model and serial number, or the file's name where they are not known. Plain text.
QString nameOfRecording(const RecordingReport& report);

/// The warnings that stand above everything else; empty where there are none.
QString warningsHtml(const std::vector<RecordingReport>& reports);

/// The verdicts: of one recording with limit and reason, of several side by side.
QString verdictsHtml(const std::vector<RecordingReport>& reports);

/// Coefficients with their intervals, and the numbers of timing and magnetometer.
QString numbersHtml(const std::vector<RecordingReport>& reports);

/// What the words mean, with formulas.
QString definitionsHtml();

} // namespace report
