/// @file
/// Converts texts of the model to Qt's.
#pragma once

#include <QString>

#include <string>

namespace report {

inline QString text(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

} // namespace report
