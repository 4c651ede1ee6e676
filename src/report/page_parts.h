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

/// A sign and a word, so that colour is not the only difference between states. Plain text.
QString stateText(STATE state);

/// Header cells of a table with one column per recording.
QString headsOf(const std::vector<RecordingReport>& reports);

} // namespace report
