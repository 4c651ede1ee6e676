#include "support/qtcalls.h"
#include "support/sidethread.h"
#include "support/viewersession.h"
#include "support/waiting.h"
#include "support/wallclock.h"

#include <QSemaphore>
#include <QThread>

#include <chrono>

using namespace viewersession;

namespace {

QSemaphore* readOfClock = nullptr; // of the interface thread

void noteRead()
{
    if (QThread::currentThread() == qApp->thread()) {
        readOfClock->release();
    }
}

} // namespace

/// The value boxes and the rate, with series and rates set by the test.
class TestValueDisplay : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Viewer> m_viewer;

    static void passWallTime(int ms) { wallclock::advance(std::chrono::milliseconds(ms)); }

    /// One refresh, after the minimum time between two of them.
    void refresh()
    {
        passWallTime(30);
        m_viewer->window->updateDataDisplay();
    }

    QString firstValue() const { return m_viewer->ui->lineEdit_value_0->text(); }

    QStringList texts() const
    {
        const Ui_MainWindow* const ui = m_viewer->ui;
        return {ui->lineEdit_value_0->text(), ui->lineEdit_value_1->text(),
                ui->lineEdit_value_2->text(), ui->label_sensor_rate->text()};
    }

private slots:
    void initTestCase() { wallclock::hold(); }

    void init()
    {
        bench().reset();
        m_viewer = std::make_unique<Viewer>();
        auto& probe = m_viewer->probe;
        delete probe.detectTimer;
        probe.detectTimer = nullptr;
        probe.cameraLost = false;
        probe.displayTimer = new QTimer(m_viewer->window.get());
        probe.displayTimer->setInterval(probe.displayPeriodMs);
        probe.currentSensor = QStringLiteral("Accelerometer");
        probe.accX = {9.0, 0.125};
        probe.accY = {9.0, -9.80665};
        probe.accZ = {9.0, 1234.5678};
        probe.gyroX = {1.0, 11.0};
        probe.gyroY = {1.0, -12.5};
        probe.gyroZ = {1.0, 0.0004};
        probe.magX = {1.0, 21.25};
        probe.magY = {1.0, -22.125};
        probe.magZ = {1.0, 2048.0};
        probe.orX = {1.0, 179.9996};
        probe.orY = {1.0, -89.5};
        probe.orZ = {1.0, 0.0};
        probe.pressure = {1.0, 998.756};
        probe.tempLeft = {1.0, 31.256};
        probe.tempRight = {1.0, -4.5};
        probe.imuEffectiveRate = 399.1;
        probe.magEffectiveRate = 49.2;
        probe.baroEffectiveRate = 24.3;
    }

    void cleanup() { m_viewer.reset(); }

    // First, because it checks something that happens once per process.
    void theVeryFirstCallNeverRefreshes()
    {
        passWallTime(60);
        m_viewer->window->updateDataDisplay();
        QCOMPARE(texts(), QStringList({"-", "-", "-", "---"}));
        QVERIFY(m_viewer->probe.displayTimer->isActive());
        refresh();
        QCOMPARE(m_viewer->ui->lineEdit_value_0->text(), QStringLiteral("X 0.125 m/s²"));
    }

    void eachSensorHasItsTexts_data()
    {
        QTest::addColumn<QString>("sensor");
        QTest::addColumn<QStringList>("expected");
        const QStringList acceleration{"X 0.125 m/s²", "Y -9.807 m/s²", "Z 1234.568 m/s²",
                                       "400 Hz"};
        QTest::newRow("accelerometer") << "Accelerometer" << acceleration;
        QTest::newRow("gyroscope")
            << "Gyroscope"
            << QStringList({"X 11.000 °/s", "Y -12.500 °/s", "Z 0.000 °/s", "400 Hz"});
        QTest::newRow("magnetometer")
            << "Magnetometer"
            << QStringList({"X 21.250 µT", "Y -22.125 µT", "Z 2048.000 µT", "50 Hz"});
        QTest::newRow("orientation")
            << "Orientation" << QStringList({"X 180.000°", "Y -89.500°", "Z 0.000°", "400 Hz"});
        QTest::newRow("barometer leaves two boxes alone")
            << "Barometer"
            << QStringList({"Atmospheric Pressure  998.76 hPa", "second", "third", "25 Hz"});
        QTest::newRow("temperatures are crossed and leave one box alone")
            << "Camera Temperature"
            << QStringList({"Right 31.26°C", "Left -4.50°C", "third", "25 Hz"});
        QTest::newRow("no sensor") << "" << acceleration;
        QTest::newRow("unknown sensor") << "Thermometer" << acceleration;
    }

    void eachSensorHasItsTexts()
    {
        QFETCH(QString, sensor);
        QFETCH(QStringList, expected);
        m_viewer->probe.currentSensor = sensor;
        m_viewer->ui->lineEdit_value_1->setText(QStringLiteral("second"));
        m_viewer->ui->lineEdit_value_2->setText(QStringLiteral("third"));
        // The titles are those set at the press of the button.
        m_viewer->ui->label_sensor_type->setText(QStringLiteral("title"));
        m_viewer->ui->label_sensor_type_top->setText(QStringLiteral("top"));
        refresh();
        QCOMPARE(texts(), expected);
        QCOMPARE(m_viewer->ui->label_sensor_type->text(), QStringLiteral("title"));
        QCOMPARE(m_viewer->ui->label_sensor_type_top->text(), QStringLiteral("top"));
    }

    void shortNumbersAreSetToTheWidth_data()
    {
        QTest::addColumn<QString>("sensor");
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        // A width of 5 with 3 digits is filled by any number.
        QTest::newRow("five") << "Accelerometer" << 0.5 << "X 0.500 m/s²";
        QTest::newRow("five, negative") << "Accelerometer" << -0.5 << "X -0.500 m/s²";
        QTest::newRow("five, wide") << "Accelerometer" << -12345.6789 << "X -12345.679 m/s²";
        QTest::newRow("seven") << "Barometer" << 8.5 << "Atmospheric Pressure    8.50 hPa";
        QTest::newRow("seven, full")
            << "Barometer" << 1013.25 << "Atmospheric Pressure 1013.25 hPa";
        QTest::newRow("one") << "Camera Temperature" << 8.5 << "Right 8.50°C";
    }

    void shortNumbersAreSetToTheWidth()
    {
        QFETCH(QString, sensor);
        QFETCH(double, value);
        QFETCH(QString, text);
        auto& probe = m_viewer->probe;
        probe.currentSensor = sensor;
        probe.accX = {value};
        probe.pressure = {value};
        probe.tempLeft = {value};
        refresh();
        QCOMPARE(m_viewer->ui->lineEdit_value_0->text(), text);
    }

    void theRateIsTheSensorsOwnUpToTheNominalOne_data()
    {
        QTest::addColumn<QString>("sensor");
        QTest::addColumn<double>("imu");
        QTest::addColumn<double>("mag");
        QTest::addColumn<double>("baro");
        QTest::addColumn<QString>("text");
        QTest::newRow("IMU above") << "Gyroscope" << 400.2 << 1.0 << 1.0 << "400 Hz";
        QTest::newRow("IMU below") << "Orientation" << 199.01 << 1.0 << 1.0 << "200 Hz";
        QTest::newRow("magnetometer above") << "Magnetometer" << 1.0 << 55.5 << 1.0 << "50 Hz";
        QTest::newRow("magnetometer below") << "Magnetometer" << 1.0 << 12.0 << 1.0 << "12 Hz";
        QTest::newRow("barometer") << "Barometer" << 1.0 << 1.0 << 24.3 << "25 Hz";
        QTest::newRow("temperature") << "Camera Temperature" << 1.0 << 1.0 << 26.0 << "25 Hz";
        QTest::newRow("temperature without barometer")
            << "Camera Temperature" << 400.0 << 50.0 << 0.0 << "0 Hz";
    }

    void theRateIsTheSensorsOwnUpToTheNominalOne()
    {
        QFETCH(QString, sensor);
        QFETCH(double, imu);
        QFETCH(double, mag);
        QFETCH(double, baro);
        QFETCH(QString, text);
        auto& probe = m_viewer->probe;
        probe.currentSensor = sensor;
        probe.imuEffectiveRate = imu;
        probe.magEffectiveRate = mag;
        probe.baroEffectiveRate = baro;
        refresh();
        QCOMPARE(m_viewer->ui->label_sensor_rate->text(), text);
    }

    void withoutASampleNothingIsRefreshed()
    {
        m_viewer->probe.accX.clear();
        refresh();
        QCOMPARE(texts(), QStringList({"-", "-", "-", "---"}));
        QVERIFY(m_viewer->probe.displayTimer->isActive());
        // That call did not count as a refresh: the next one need not wait.
        m_viewer->probe.accX = {1.0};
        m_viewer->window->updateDataDisplay();
        QCOMPARE(m_viewer->ui->lineEdit_value_0->text(), QStringLiteral("X 1.000 m/s²"));
    }

    void twoRefreshesNeverFollowFasterThanThePeriod()
    {
        auto& probe = m_viewer->probe;
        probe.displayPeriodMs = 200;
        passWallTime(200);
        m_viewer->window->updateDataDisplay();
        QCOMPARE(firstValue(), QStringLiteral("X 0.125 m/s²"));
        probe.accX.append(5.0);
        passWallTime(199);
        wallclock::advance(
            std::chrono::nanoseconds(999'999)); // less than a whole millisecond does not count
        m_viewer->window->updateDataDisplay();
        QCOMPARE(firstValue(), QStringLiteral("X 0.125 m/s²"));
        QVERIFY(probe.displayTimer->isActive());
        wallclock::advance(std::chrono::nanoseconds(1));
        m_viewer->window->updateDataDisplay();
        QCOMPARE(firstValue(), QStringLiteral("X 5.000 m/s²"));
    }

    void aWallClockThatIsSetBackHoldsTheRefreshUp()
    {
        auto& probe = m_viewer->probe;
        refresh();
        probe.accX.append(5.0);
        passWallTime(-1000);
        m_viewer->window->updateDataDisplay();
        passWallTime(1024);
        m_viewer->window->updateDataDisplay();
        QCOMPARE(firstValue(), QStringLiteral("X 0.125 m/s²"));
        passWallTime(1);
        m_viewer->window->updateDataDisplay();
        QCOMPARE(firstValue(), QStringLiteral("X 5.000 m/s²"));
    }

    void theTimeOfARefreshIsThatBeforeItsWait()
    {
        auto& probe = m_viewer->probe;
        refresh(); // the first call of a process never does
        probe.accX.append(2.0);
        QSemaphore locked;
        QSemaphore clockRead;
        SideThread owner([&] {
            const QMutexLocker lock(&probe.dataMutex);
            locked.release();
            (void)waiting::acquire(clockRead);
            passWallTime(25);
        });
        owner.onJoin([&] { clockRead.release(); });
        QVERIFY(waiting::acquire(locked));
        readOfClock = &clockRead;
        passWallTime(30);
        wallclock::onRead(noteRead);
        m_viewer->window->updateDataDisplay();
        wallclock::onRead(nullptr);
        owner.join();
        QCOMPARE(firstValue(), QStringLiteral("X 2.000 m/s²"));
        probe.accX.append(5.0);
        m_viewer->window->updateDataDisplay();
        QCOMPARE(firstValue(), QStringLiteral("X 5.000 m/s²"));
    }

    void theTimerRestsDuringARefresh()
    {
        QTimer* const timer = m_viewer->probe.displayTimer;
        timer->start();
        bool rests = false;
        connect(m_viewer->ui->lineEdit_value_0, &QLineEdit::textChanged, this,
                [&] { rests = !timer->isActive(); });
        refresh();
        QVERIFY(rests);
        QVERIFY(timer->isActive());
    }

    void theValuesAreShownUnderTheSensorThreadsLock()
    {
        bool locked = false;
        connect(m_viewer->ui->lineEdit_value_0, &QLineEdit::textChanged, this, [&] {
            locked = !m_viewer->probe.dataMutex.tryLock();
            if (!locked) {
                m_viewer->probe.dataMutex.unlock();
            }
        });
        refresh();
        QVERIFY(locked);
    }

    void theTimerIsRestartedAfterARefresh()
    {
        QVERIFY(!m_viewer->probe.displayTimer->isActive());
        refresh();
        QVERIFY(m_viewer->probe.displayTimer->isActive());
        QCOMPARE(m_viewer->probe.displayTimer->interval(), 25);
    }

    void aRefreshWaitsForTheSensorThreadsLock()
    {
        auto& probe = m_viewer->probe;
        QSemaphore locked;
        QSemaphore asked;
        std::atomic<bool> released{false};
        SideThread owner([&] {
            const QMutexLocker lock(&probe.dataMutex);
            locked.release();
            released = waiting::acquire(asked);
        });
        owner.onJoin([&] { asked.release(); });
        QVERIFY(waiting::acquire(locked));
        const qtcalls::Hook hook([&](const qtcalls::Call& call) {
            if (call.call == qtcalls::CALL::LOCK && call.object == &probe.dataMutex) {
                asked.release();
            }
        });
        refresh();
        QVERIFY(released);
    }

    void aLostCameraIsHandledInPlaceOfARefresh()
    {
        auto& probe = m_viewer->probe;
        probe.cameraLost = true;
        refresh();
        QCOMPARE(texts(), QStringList({"---", "---", "---", "---"}));
        QVERIFY(probe.displayTimer == nullptr);
        QVERIFY(probe.accX.isEmpty());
        QVERIFY(probe.detectTimer != nullptr);
        QVERIFY(probe.detectTimer->isActive());
    }

    void defaultValuesAreDashes()
    {
        refresh();
        m_viewer->probe.displayDefaultValues();
        QCOMPARE(texts(), QStringList({"---", "---", "---", "---"}));
    }

    void theBoxesAreReadOnlyAndCentred()
    {
        for (const QLineEdit* box : {m_viewer->ui->lineEdit_value_0, m_viewer->ui->lineEdit_value_1,
                                     m_viewer->ui->lineEdit_value_2}) {
            QVERIFY(box->isReadOnly());
            QCOMPARE(box->alignment(), Qt::AlignCenter);
        }
    }
};

QTEST_MAIN(TestValueDisplay)
#include "tst_mainwindow_valuedisplay.moc"
