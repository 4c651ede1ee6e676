/// @file
/// What the parts of the page share. Everything is HTML unless it says otherwise.
#pragma once

#include "report/model.h"
#include "report/qt_text.h"

#include <QString>

#include <string>
#include <vector>

namespace report {

/// The style sheet: CSS.
extern const char* const pageStyle;

QString escaped(const std::string& utf8);

/// Name of the style's class.
const char* classOf(STATE state);

/// A sign and a word: the state does not show by its colour alone. Plain text.
QString stateText(STATE state);

/// Heads of a table with one column a recording.
QString headsOf(const std::vector<RecordingReport>& reports);

} // namespace report
