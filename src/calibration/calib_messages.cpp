#include "calibration/calib_messages.h"

#include "look/Style.h"
#include "look/dressing.h"

#include <QCoreApplication>
#include <QPushButton>

namespace calibmessages {

Message calibrationStarting()
{
    return {"Calibration starting...",
            "For a good calibration, start with three full rotations of the camera around the "
            "three main axes, then continue rotating it in the space, covering all the possible "
            "orientations.\nPress 'STOP CALIBRATION' when completed.",
            QMessageBox::Information,
            {"Ok"}};
}

Message calibrationStopped()
{
    return {"Calibration stopped",
            "Press 'Store Calibration' to save the parameters on the camera and to apply the new "
            "calibration.",
            QMessageBox::Information,
            {"Ok"}};
}

Message confirmStore()
{
    return {"Warning!",
            "Pressing OK the current Magnetometer Calibration setting will be overwritten. "
            "Continue?",
            QMessageBox::Warning,
            {QCoreApplication::translate("MagCalibDlg", "Cancel"),
             QCoreApplication::translate("MagCalibDlg", "Ok")}};
}

Message storeFailed()
{
    return {"Warning!",
            "An error occurred while saving calibration parameters. Please retry.",
            QMessageBox::Critical,
            {"Ok"}};
}

Message confirmReset()
{
    return {"Warning!",
            "Pressing OK the current Magnetometer Calibration setting will be lost.\nContinue?",
            QMessageBox::Warning,
            {"No", "Yes"}};
}

Message resetFailed()
{
    Message message = storeFailed();
    message.icon = QMessageBox::Warning;
    return message;
}

Message confirmExit()
{
    return {"TIV Magnetometer Calibration",
            "Calibration parameters have not been saved on camera.\nClosing the window all the "
            "data will be lost.\nContinue?",
            QMessageBox::Question,
            {"No", "Yes"}};
}

Message cameraFailed(const QString& error)
{
    return {"TIV Camera error", error, QMessageBox::Critical, {"Ok"}};
}

int show(const Message& message, const Style& style)
{
    QMessageBox box;
    box.setWindowTitle(message.title);
    box.setText(message.text);
    box.setIcon(message.icon);
    dressing::dressBox(box, style);

    QVector<QAbstractButton*> buttons;
    for (const QString& text : message.buttons) {
        const bool goesOn = buttons.size() + 1 == message.buttons.size();
        const QString& sheet = goesOn ? style.statusOnStyle : style.statusErrorStyle;
        buttons.append(dressing::addButton(box, text, sheet, style));
    }
    box.exec();
    return buttons.indexOf(box.clickedButton());
}

} // namespace calibmessages
