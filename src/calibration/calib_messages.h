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
    QStringList buttons; ///< in order; the last one continues
};

Message calibrationStarting();
Message calibrationStopped();
Message confirmStore(); ///< buttons "Cancel", "Ok"
Message storeFailed();
Message confirmReset(); ///< buttons "No", "Yes"
Message resetFailed();
Message confirmExit(); ///< buttons "No", "Yes"
Message cameraFailed(const QString& error);

/// Shows the box and waits for the answer; timers and queued calls continue to run.
/// @return index of the pressed button, -1 if a system signal closed the box without a button,
///         which is not a consent
int show(const Message& message, const Style& style);

} // namespace calibmessages
