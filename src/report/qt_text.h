/// @file
/// Texts of the model as Qt's.
#pragma once

#include <QString>

#include <string>

namespace report {

inline QString text(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

} // namespace report
