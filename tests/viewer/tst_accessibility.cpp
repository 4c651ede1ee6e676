// What assistive programs learn of the program's windows.
#include "viewer/mainwindow.h"

#include "calibration/benchcamera.h"
#include "calibration/magcalibdlg.h"
#include "calibration/magcalibdlgprobe.h"
#include "recording/recoptiondlg.h"
#include "support/accessibility.h"

#include <QLineEdit>
#include <QtTest>

class TestAccessibility : public QObject
{
    Q_OBJECT

private slots:
    void everyControlOfTheMainWindowHasAName()
    {
        MainWindow window;
        int checked = 0;
        QCOMPARE(accessibility::unnamed(window, checked), QStringList());
        // 7 sensor buttons, 2 lists, refresh, record, options, 3 values, 3D view, chart, 2 logos
        QVERIFY2(checked >= 19, qPrintable(QString::number(checked)));
        window.close();
    }

    void everyControlOfTheRecordingOptionsHasAName()
    {
        RecOptionDlg dialog(nullptr);
        int checked = 0;
        QCOMPARE(accessibility::unnamed(dialog, checked), QStringList());
        // folder, 7 check boxes, frequency, 2 buttons
        QVERIFY2(checked >= 11, qPrintable(QString::number(checked)));
    }

    void everyControlOfTheCalibrationHasAName()
    {
        benchcamera::setUp(om::MODEL::TIV_Q, benchcamera::serial);
        MagCalibDlg dialog(static_cast<int>(benchcamera::serial), nullptr);
        const MagCalibDlgProbe probe{dialog};
        QTRY_VERIFY(probe.running()); // a dialog that is left before does not join its thread
        int checked = 0;
        QCOMPARE(accessibility::unnamed(dialog, checked), QStringList());
        // 5 buttons, 2 compasses, 5 charts, logo
        QVERIFY2(checked >= 13, qPrintable(QString::number(checked)));
        dialog.reject();
    }

    void valuesOfASensorAreReadWithTheirName()
    {
        MainWindow window;
        auto* const value = window.findChild<QLineEdit*>(QStringLiteral("lineEdit_value_1"));
        value->setText(QStringLiteral("0.12 m/s²"));
        const QAccessibleInterface* const interface = QAccessible::queryAccessibleInterface(value);
        QCOMPARE(interface->text(QAccessible::Name), QStringLiteral("Second value"));
        QCOMPARE(interface->text(QAccessible::Value), QStringLiteral("0.12 m/s²"));
        QVERIFY(interface->state().readOnly);
        window.close();
    }
};

QTEST_MAIN(TestAccessibility)
#include "tst_accessibility.moc"
