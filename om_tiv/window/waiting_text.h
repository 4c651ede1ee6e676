/// @file
/// What the window shows while it is not connected.
#pragma once

#include <QString>

namespace benchwindow {

struct WaitingText
{
    QString title;
    QString text; ///< what the user can do
};

/// @param reason of BenchLink::searching() without choices, or of BenchLink::lost()
/// @param lostOne whether the window was connected before
WaitingText waitingText(const QString& reason, bool lostOne);

} // namespace benchwindow
