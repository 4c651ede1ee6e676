/// @file
/// The message boxes of the calibration dialog.
#pragma once

#include <QMessageBox>
#include <QString>
#include <QStringList>

class Style;

namespace calibmessages {

struct Message
{
    QString title;
    QString text;
    QMessageBox::Icon icon;
    QStringList buttons; ///< in order; the last one is the one that goes on
};

Message calibrationStarting();
Message calibrationStopped();
Message confirmStore(); ///< buttons "Cancel", "Ok"
Message storeFailed();
Message confirmReset(); ///< buttons "No", "Yes"
Message resetFailed();
Message confirmExit(); ///< buttons "No", "Yes"
Message cameraFailed(const QString& error);

/// Shows the box and waits for it; timers and queued calls run on meanwhile.
/// @return index of the pressed button, -1 when a signal of the system closed the box without one,
///         which is no consent
int show(const Message& message, const Style& style);

} // namespace calibmessages
