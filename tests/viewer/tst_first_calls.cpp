// The first call in a process: of the live values' display, then of the recorder.

#include "support/viewersession.h"
#include "support/wallclock.h"

#include <QTemporaryDir>

using namespace std::chrono_literals;
using namespace viewersession;

class TestFirstCalls : public QObject
{
    Q_OBJECT

private slots:
    void displayOfALostCameraSetsTheClock()
    {
        constexpr int serial = 27182818;
        bench().reset();
        const wallclock::Held held;
        Viewer viewer;
        QVERIFY(viewer.probe.cameraLost);
        viewer.window->updateDataDisplay();

        wallclock::advance(30ms);
        bench().addCamera(camera(om::MODEL::TIV_Q, serial));
        QTRY_VERIFY(viewer.streams(serial));
        // 30 ms after the first call, and no time passes any more.
        QTRY_VERIFY(viewer.ui->lineEdit_value_0->text() != QStringLiteral("---"));
    }

    void callThatReturnsEarlySetsTheClock()
    {
        constexpr int serial = 31415926;
        bench().reset();
        bench().addCamera(camera(om::MODEL::TIV_Q, serial));
        const QTemporaryDir folder;
        Viewer viewer;
        viewer.probe.recOptions.saveFolder = folder.path();
        QTRY_VERIFY(viewer.streams(serial));
        viewer.probe.joinSensorThread(); // whose place this test takes
        QVERIFY(!viewer.probe.recFile.isOpen());
        viewer.window->saveValues(0);

        wallclock::advance(1s);
        QTest::mouseClick(viewer.ui->toolButton_save, Qt::LeftButton);
        const qint64 header = viewer.probe.recFile.size();
        QVERIFY(header > 0);
        viewer.window->saveValues(0);
        QVERIFY(viewer.probe.recFile.size() > header);
        QTest::mouseClick(viewer.ui->toolButton_save, Qt::LeftButton);
    }
};

QTEST_MAIN(TestFirstCalls)
#include "tst_first_calls.moc"
