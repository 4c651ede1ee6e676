#include "support/qtcalls.h"
#include "support/viewersession.h"
#include "support/waiting.h"

#include "camera/ProgramStates.h"

#include <QComboBox>
#include <QSignalSpy>
#include <QThread>

#include <atomic>
#include <thread>

using namespace viewersession;
using om::MODEL;
using om::bench::CALL;

namespace {

om::DeviceProperties device(int id, unsigned int serial, MODEL model)
{
    om::DeviceProperties properties;
    properties.id = id;
    properties.serialNumber = serial;
    properties.cameraModel = model;
    return properties;
}

/// Counts the paint events of a widget and of all widgets in it.
class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget& root) : m_root(root) { qApp->installEventFilter(this); }

    int count() const { return m_count; }

protected:
    bool eventFilter(QObject* object, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) {
            const auto* const widget = qobject_cast<QWidget*>(object);
            if (widget == &m_root || m_root.isAncestorOf(widget)) {
                ++m_count;
            }
        }
        return false;
    }

private:
    QWidget& m_root;
    int m_count = 0;
};

} // namespace

class TestDeviceList : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Viewer> m_viewer;

    void start() { m_viewer = std::make_unique<Viewer>(); }

    /// The window without its own poll: the test makes the ticks.
    void startWithoutPoll()
    {
        start();
        delete m_viewer->probe.detectTimer;
        m_viewer->probe.detectTimer = nullptr;
    }

    QStringList rows() const
    {
        QStringList texts;
        for (int i = 0; i < m_viewer->ui->comboBox_camera_list->count(); ++i) {
            texts << m_viewer->ui->comboBox_camera_list->itemText(i);
        }
        return texts;
    }

private slots:
    void init() { bench().reset(); }
    void cleanup() { m_viewer.reset(); }

    void theListIsEmptyBeforeTheFirstTick()
    {
        bench().addCamera(camera(MODEL::TIV_P, 20000001));
        start();
        QCOMPARE(rows(), QStringList());
        QCOMPARE(m_viewer->probe.detectTimer->interval(), 200);
        QVERIFY(m_viewer->probe.detectTimer->isActive());
        QCOMPARE(bench().log().count(CALL::GET_DEVICE_LIST), 0ULL);
    }

    void theFirstTickShowsNoCamerasAndTheNextOneFindsIt()
    {
        bench().addCamera(camera(MODEL::TIV_P, 20000001));
        startWithoutPoll();
        auto& probe = m_viewer->probe;
        QVERIFY(!m_viewer->window->detectMultipleDevice());
        QCOMPARE(rows(), QStringList({"No cameras"}));
        QVERIFY(!m_viewer->ui->comboBox_camera_list->isEnabled());
        QVERIFY(probe.deviceIds.isEmpty() && probe.deviceSerials.isEmpty() &&
                probe.deviceModels.isEmpty());
        QVERIFY(!probe.deviceListBusy);
        // The row is not a choice of the user, which would have tried to open it.
        QVERIFY(probe.detectTimer == nullptr);

        QVERIFY(probe.detectionThread.wait(waiting::patienceMs));
        QVERIFY(m_viewer->window->detectMultipleDevice());
        QCOMPARE(rows(), QStringList({"TIV_P - 20000001"}));
        QVERIFY(m_viewer->ui->comboBox_camera_list->isEnabled());
        QVERIFY(!probe.deviceListBusy);
        QTRY_VERIFY(m_viewer->streams(20000001));
    }

    // Five times a second, and each paint composes the whole window.
    void anUnchangedListIsRefilledButNotPainted()
    {
        startWithoutPoll();
        QVERIFY(QTest::qWaitForWindowExposed(m_viewer->window.get(), waiting::patienceMs));
        const auto poll = [this] {
            m_viewer->window->detectMultipleDevice();
            QVERIFY(m_viewer->probe.detectionThread.wait(waiting::patienceMs));
            // Layout requests, and the paints that follow from them.
            QCoreApplication::sendPostedEvents();
            QCoreApplication::processEvents();
        };
        poll();
        PaintCounter paints(*m_viewer->window);
        QSignalSpy changes(m_viewer->ui->comboBox_camera_list,
                           QOverload<int>::of(&QComboBox::currentIndexChanged));
        // The X server's last events of a new window, such as its focus, may still be on their way.
        const auto paintsOfFivePolls = [&] {
            const int before = paints.count();
            changes.clear();
            for (int i = 0; i < 5; ++i) {
                poll();
            }
            return paints.count() - before;
        };
        QVERIFY(waiting::waitFor([&] { return paintsOfFivePolls() == 0; }));
        QCOMPARE(changes.count(), 10); // no row, and the one row again
        QCOMPARE(rows(), QStringList({"No cameras"}));
        // It can still be painted.
        m_viewer->ui->comboBox_camera_list->update();
        QTRY_VERIFY(paints.count() > 0);
    }

    void aChangedListIsPainted_data()
    {
        QTest::addColumn<QString>("row");
        QTest::addColumn<bool>("isEnabled");
        QTest::newRow("another row") << "TIV_P - 20000001" << false;
        QTest::newRow("the same row, enabled") << "No cameras" << true;
    }

    void aChangedListIsPainted()
    {
        QFETCH(QString, row);
        QFETCH(bool, isEnabled);
        startWithoutPoll();
        QVERIFY(QTest::qWaitForWindowExposed(m_viewer->window.get(), waiting::patienceMs));
        QComboBox* const list = m_viewer->ui->comboBox_camera_list;
        m_viewer->probe.deviceListBusy = true; // its changes are no choices
        list->clear();
        list->addItem(row);
        list->setEnabled(isEnabled);
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
        PaintCounter paints(*list);
        QVERIFY(!m_viewer->window->detectMultipleDevice());
        QTRY_VERIFY(paints.count() > 0);
    }

    void thePollFindsACameraByItself()
    {
        bench().addCamera(camera(MODEL::TIV_Q, 20000001));
        start();
        QTRY_VERIFY(m_viewer->streams(20000001));
        QVERIFY(m_viewer->probe.detectTimer == nullptr);
        QCOMPARE(rows(), QStringList({"TIV_Q - 20000001"}));
    }

    void rowsLeaveOutTheFirstModelAndSerialNumbersThatAreNotPositive()
    {
        startWithoutPoll();
        auto& probe = m_viewer->probe;
        probe.detectionThread.devices = {
            device(0, 11, MODEL::TIV),
            device(1, 0, MODEL::TIV_P),
            device(2, 0xFFFFFFFFU, MODEL::TIV_P),
            device(3, 0x80000000U, MODEL::TIV_Q),
            device(4, 14, MODEL::TIV_S),
            device(5, 15, MODEL::TIV_N),
            device(6, 0x7FFFFFFFU, MODEL::TIV_R),
            device(7, 17, static_cast<MODEL>(9)),
        };
        QCOMPARE(probe.updateDeviceList(false), 4);
        QCOMPARE(rows(),
                 QStringList({"TIV_S - 14", "TIV_N - 15", "TIV_R - 2147483647", "Unknown - 17"}));
        QCOMPARE(probe.deviceIds, QVector<int>({4, 5, 6, 7}));
        QCOMPARE(probe.deviceSerials, QVector<int>({14, 15, 2147483647, 17}));
        QCOMPARE(probe.deviceModels,
                 QVector<MODEL>({MODEL::TIV_S, MODEL::TIV_N, MODEL::TIV_R, static_cast<MODEL>(9)}));
        QVERIFY(!probe.deviceListBusy);
    }

    void onlyFirstModelCamerasGiveNoCameras()
    {
        startWithoutPoll();
        m_viewer->probe.detectionThread.devices = {device(0, 11, MODEL::TIV),
                                                   device(1, 12, MODEL::TIV)};
        QVERIFY(!m_viewer->window->detectMultipleDevice());
        QCOMPARE(rows(), QStringList({"No cameras"}));
    }

    void aRebuiltListIsThatOfThePassBefore()
    {
        bench().addCamera(camera(MODEL::TIV_P, 20000001));
        startWithoutPoll();
        auto& probe = m_viewer->probe;
        // Each pass is over before its start returns.
        const qtcalls::Hook hook([&probe](const qtcalls::Call& call) {
            if (call.call == qtcalls::CALL::STARTED && call.object == &probe.detectionThread) {
                probe.detectionThread.wait(waiting::patienceMs);
            }
        });
        QCOMPARE(probe.updateDeviceList(false), 0);
        QVERIFY(probe.detectionThread.wait(waiting::patienceMs));
        bench().unplug(20000001);
        QCOMPARE(probe.updateDeviceList(false), 1);
        QVERIFY(probe.detectionThread.wait(waiting::patienceMs));
        QCOMPARE(probe.updateDeviceList(false), 0);
        QVERIFY(probe.detectionThread.wait(waiting::patienceMs));
        QCOMPARE(bench().log().count(CALL::GET_DEVICE_LIST), 3ULL);
    }

    void theFirstOfTwoCamerasIsOpenedAndTheOtherByItsRow()
    {
        bench().addCamera(camera(MODEL::TIV_Q, 20000001));
        bench().addCamera(camera(MODEL::TIV_P, 20000002));
        start();
        QTRY_VERIFY(m_viewer->streams(20000001));
        QCOMPARE(rows(), QStringList({"TIV_Q - 20000001", "TIV_P - 20000002"}));
        QCOMPARE(m_viewer->ui->comboBox_camera_list->currentIndex(), 0);

        QElapsedTimer elapsed;
        elapsed.start();
        m_viewer->ui->comboBox_camera_list->setCurrentIndex(1);
        // The camera is closed twice: once for the choice, once by the open.
        QVERIFY(elapsed.elapsed() >= 200);
        QTRY_VERIFY(m_viewer->streams(20000002));

        QStringList sessions;
        for (const auto& call : bench().log().records()) {
            if (call.call == CALL::OPEN || call.call == CALL::CLOSE) {
                sessions << QStringLiteral("%1 %2").arg(toString(call.call)).arg(call.serialNumber);
            }
        }
        QCOMPARE(sessions, QStringList({"OPEN 20000001", "CLOSE 20000001", "OPEN 20000002"}));
        for (const auto& call : bench().log().records(CALL::OPEN)) {
            QVERIFY(call.thread == std::this_thread::get_id());
        }
    }

    void thePollsOpenIsShieldedFromChangesOfTheRow()
    {
        bench().addCamera(camera(MODEL::TIV_Q, 20000001));
        bench().addCamera(camera(MODEL::TIV_P, 20000002));
        start();
        QVector<bool> busy;
        bench().setOpenHook([&](const om::InitParameters&) {
            busy << m_viewer->probe.deviceListBusy;
            // The row of the other camera, and back: not a choice of the user.
            if (m_viewer->probe.deviceListBusy) {
                m_viewer->ui->comboBox_camera_list->setCurrentIndex(1);
                m_viewer->ui->comboBox_camera_list->setCurrentIndex(0);
            }
        });
        QTRY_VERIFY(m_viewer->streams(20000001));
        QVERIFY(!m_viewer->probe.deviceListBusy);
        QCOMPARE(busy, QVector<bool>({true}));

        m_viewer->ui->comboBox_camera_list->setCurrentIndex(1);
        QTRY_VERIFY(m_viewer->streams(20000002));
        QCOMPARE(busy, QVector<bool>({true, false}));
        bench().setOpenHook(nullptr);
    }

    void aChangeOfRowWhileTheListIsRebuiltIsNoChoice()
    {
        bench().addCamera(camera(MODEL::TIV_Q, 20000001));
        bench().addCamera(camera(MODEL::TIV_P, 20000002));
        start();
        QTRY_VERIFY(m_viewer->streams(20000001));
        m_viewer->probe.deviceListBusy = true;
        m_viewer->ui->comboBox_camera_list->setCurrentIndex(1);
        m_viewer->probe.deviceListBusy = false;
        QVERIFY(m_viewer->streams(20000001));
        QCOMPARE(bench().log().count(CALL::OPEN), 1ULL);
    }

    void eachModelIsOpenedInItsWay_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<bool>("bySerial");
        QTest::newRow("TIV_N") << 1 << true;
        QTest::newRow("TIV_P") << 2 << true;
        QTest::newRow("TIV_Q") << 3 << true;
        QTest::newRow("TIV_R") << 4 << false;
        QTest::newRow("TIV_S") << 5 << false;
    }

    void eachModelIsOpenedInItsWay()
    {
        QFETCH(int, model);
        QFETCH(bool, bySerial);
        auto config = camera(static_cast<MODEL>(model), 20000001);
        config.id = 3;
        bench().addCamera(config);
        start();
        QTRY_VERIFY(m_viewer->streams(20000001));
        const auto open = bench().log().last(CALL::OPEN);
        QVERIFY(open && open->init);
        const om::InputType& input = open->init->input;
        if (bySerial) {
            QVERIFY(input.kind() == om::InputType::KIND::SERIAL_NUMBER);
            QCOMPARE(input.serialNumber(), 20000001U);
            QVERIFY(input.bus() == om::BUS_TYPE::USB);
            QCOMPARE(open->init->fps, 100);
        } else {
            QVERIFY(input.kind() == om::InputType::KIND::CAMERA_ID);
            QCOMPARE(input.cameraId(), 3);
            QVERIFY(input.bus() == om::BUS_TYPE::SERIAL);
            QCOMPARE(open->init->fps, 30);
        }
        QCOMPARE(m_viewer->probe.cameraId, 3);
        QCOMPARE(static_cast<int>(m_viewer->probe.cameraModel), model);
        QCOMPARE(ProgramStates::getIntAttr(ProgramStates::cameraModel), model);
    }

    void aModelAboveTheKnownOnesIsRefusedAtEveryTick()
    {
        bench().addCamera(camera(static_cast<MODEL>(6), 20000001));
        BoxWatcher boxes([](QMessageBox& box) { clickOk(box); });
        start();
        QTRY_VERIFY(bench().log().count(CALL::GET_DEVICE_LIST) >= 5);
        QCOMPARE(rows(), QStringList({"Unknown - 20000001"}));
        QCOMPARE(bench().log().count(CALL::OPEN), 0ULL);
        QVERIFY(m_viewer->probe.inputThread == nullptr);
        QVERIFY(m_viewer->probe.detectTimer != nullptr);
        QCOMPARE(boxes.count(), 0);
    }

    void refreshWithAnOpenCameraKeepsItStreamingInTheFirstRow()
    {
        bench().addCamera(camera(MODEL::TIV_Q, 20000001));
        start();
        QTRY_VERIFY(m_viewer->streams(20000001));
        auto& probe = m_viewer->probe;
        const InputThreadModul* const input = probe.inputThread;
        QVERIFY(probe.detectionThread.wait(waiting::patienceMs)); // for the poll's last list
        bench().addCamera(camera(MODEL::TIV_P, 20000002));
        // The camera itself is asked whether it is open.
        probe.inputThread.load()->opened = false;

        // The new camera is known after one more pass.
        QTest::mouseClick(m_viewer->ui->pushButton_refresh_list, Qt::LeftButton);
        QCOMPARE(rows(), QStringList({" - 20000001", "TIV_Q - 20000001"}));
        QCOMPARE(m_viewer->ui->comboBox_camera_list->currentIndex(), 0);
        QVERIFY(probe.detectionThread.wait(waiting::patienceMs));
        QTest::mouseClick(m_viewer->ui->pushButton_refresh_list, Qt::LeftButton);
        QCOMPARE(rows(), QStringList({" - 20000001", "TIV_Q - 20000001", "TIV_P - 20000002"}));
        QCOMPARE(probe.deviceSerials, QVector<int>({20000001, 20000001, 20000002}));
        QCOMPARE(probe.deviceModels, QVector<MODEL>({MODEL::TIV_Q, MODEL::TIV_Q, MODEL::TIV_P}));

        QVERIFY(probe.inputThread == input);
        QVERIFY(m_viewer->streams(20000001));
        QCOMPARE(bench().log().count(CALL::OPEN), 1ULL);
        QVERIFY(probe.cameraName.isEmpty());
    }

    void theKeptRowCountsAndHoldsTheOpenCamera()
    {
        startWithoutPoll();
        auto& probe = m_viewer->probe;
        probe.cameraId = 3;
        probe.cameraSerial = 42;
        probe.cameraModel = MODEL::TIV_R;
        probe.cameraName = QStringLiteral("kept");
        QCOMPARE(probe.updateDeviceList(true), 1);
        QCOMPARE(rows(), QStringList({"kept - 42"}));
        QCOMPARE(probe.deviceIds, QVector<int>({3}));
        QCOMPARE(probe.deviceSerials, QVector<int>({42}));
        QCOMPARE(probe.deviceModels, QVector<MODEL>({MODEL::TIV_R}));

        QVERIFY(probe.detectionThread.wait(waiting::patienceMs));
        probe.detectionThread.devices = {device(7, 15, MODEL::TIV_P), device(8, 0, MODEL::TIV_P)};
        QCOMPARE(probe.updateDeviceList(true), 2);
        QCOMPARE(probe.deviceIds, QVector<int>({3, 7}));
    }

    void theKeptRowOfACameraOnTheSerialBusOpensItAgain()
    {
        auto config = camera(MODEL::TIV_R, 20000001);
        config.id = 3;
        bench().addCamera(config);
        start();
        QTRY_VERIFY(m_viewer->streams(20000001));
        QTest::mouseClick(m_viewer->ui->pushButton_refresh_list, Qt::LeftButton);
        QCOMPARE(m_viewer->probe.deviceIds, QVector<int>({3, 3}));
        QCOMPARE(m_viewer->ui->comboBox_camera_list->currentIndex(), 0);
        m_viewer->window->createLiveInput();
        QCOMPARE(bench().log().count(CALL::OPEN), 2ULL);
        QCOMPARE(bench().log().last(CALL::OPEN)->init->input.cameraId(), 3);
        QTRY_VERIFY(m_viewer->streams(20000001));
    }

    void theSecondRowOfTheOpenCameraReopensIt()
    {
        bench().addCamera(camera(MODEL::TIV_Q, 20000001));
        start();
        QTRY_VERIFY(m_viewer->streams(20000001));
        QTest::mouseClick(m_viewer->ui->pushButton_refresh_list, Qt::LeftButton);
        QCOMPARE(rows(), QStringList({" - 20000001", "TIV_Q - 20000001"}));
        m_viewer->ui->comboBox_camera_list->setCurrentIndex(1);
        QCOMPARE(bench().log().count(CALL::OPEN), 2ULL);
        QTRY_VERIFY(m_viewer->streams(20000001));
    }

    void aCameraPluggedInWhileStreamingAppearsOnlyAfterRefresh()
    {
        bench().addCamera(camera(MODEL::TIV_Q, 20000001));
        start();
        QTRY_VERIFY(m_viewer->streams(20000001));
        QVERIFY(m_viewer->probe.detectionThread.wait(waiting::patienceMs)); // for the poll's list
        const auto lists = bench().log().count(CALL::GET_DEVICE_LIST);
        bench().addCamera(camera(MODEL::TIV_P, 20000002));
        // Nothing is left that would look for it.
        QVERIFY(m_viewer->probe.detectTimer == nullptr);
        QCoreApplication::processEvents();
        QVERIFY(!m_viewer->probe.detectionThread.isRunning());
        QCOMPARE(rows(), QStringList({"TIV_Q - 20000001"}));
        QCOMPARE(bench().log().count(CALL::GET_DEVICE_LIST), lists);
    }

    void refreshWithoutAnOpenCameraRunsTheWholeLossPath_data()
    {
        QTest::addColumn<QString>("input");
        QTest::newRow("no input thread") << "none";
        QTest::newRow("input thread whose camera was never open") << "closed";
        QTest::newRow("input thread that has not seen the loss yet") << "lost";
    }

    void refreshWithoutAnOpenCameraRunsTheWholeLossPath()
    {
        QFETCH(QString, input);
        startWithoutPoll();
        auto& probe = m_viewer->probe;
        if (input != "none") {
            probe.inputThread = new InputThreadModul;
        }
        if (input == "lost") {
            bench().addCamera(camera(MODEL::TIV_Q, 20000001));
            QCOMPARE(probe.inputThread.load()->live(20000001), 0);
            bench().unplug(20000001);
            QVERIFY(probe.inputThread.load()->opened);
        }
        probe.cameraLost = false;
        probe.accX = {1.0, 2.0};
        m_viewer->ui->lineEdit_value_0->setText(QStringLiteral("old"));
        QTest::mouseClick(m_viewer->ui->pushButton_refresh_list, Qt::LeftButton);
        QVERIFY(probe.cameraLost);
        QVERIFY(probe.inputThread == nullptr);
        QVERIFY(probe.accX.isEmpty());
        QCOMPARE(m_viewer->ui->lineEdit_value_0->text(), QStringLiteral("---"));
        QCOMPARE(probe.currentSensor, QString());
        QCOMPARE(rows(), QStringList({"No cameras"}));
        QVERIFY(probe.detectTimer != nullptr && probe.detectTimer->isActive());
        QCOMPARE(probe.detectTimer->interval(), 200);
    }

    void noListIsTakenWhileACameraOpens()
    {
        auto config = camera(MODEL::TIV_Q, 20000001);
        config.faults.openDelay = std::chrono::milliseconds(150);
        bench().addCamera(config);
        bool held = false;
        start();
        bench().setOpenHook([&](const om::InitParameters&) {
            held = !m_viewer->probe.detectionThread.mutex.tryLock();
            // A pass that starts now gives up.
            m_viewer->probe.detectionThread.start();
        });
        QTRY_VERIFY(m_viewer->streams(20000001));
        QVERIFY(held);
        QVERIFY(m_viewer->probe.detectionThread.wait(waiting::patienceMs));
        QCOMPARE(bench().listsDuringOpen(), 0);
        QVERIFY(m_viewer->probe.detectionThread.mutex.tryLock());
        m_viewer->probe.detectionThread.mutex.unlock();
    }

    void anOpenWaitsForTheListThatIsUnderWay()
    {
        bench().addCamera(camera(MODEL::TIV_Q, 20000001));
        startWithoutPoll();
        auto& probe = m_viewer->probe;
        QVERIFY(!m_viewer->window->detectMultipleDevice());
        QVERIFY(probe.detectionThread.wait(waiting::patienceMs));
        // The list is being read until the open waits for the mutex.
        QSemaphore begun;
        QSemaphore held;
        std::atomic<bool> listed{false};
        bench().setDeviceListHook([&] {
            begun.release();
            listed = waiting::acquire(held);
        });
        const qtcalls::Hook hook([&](const qtcalls::Call& call) {
            if (call.call == qtcalls::CALL::LOCK && call.object == &probe.detectionThread.mutex) {
                held.release();
            }
        });
        probe.detectionThread.start();
        QVERIFY(waiting::acquire(begun));
        bool before = false;
        bench().setOpenHook([&](const om::InitParameters&) { before = listed; });
        QVERIFY(m_viewer->window->detectMultipleDevice());
        bench().setDeviceListHook(nullptr);
        bench().setOpenHook(nullptr);
        QVERIFY(before);
        QTRY_VERIFY(m_viewer->streams(20000001));
    }

    void aSlowListDoesNotHoldUpTheInterface()
    {
        bench().addCamera(camera(MODEL::TIV_Q, 20000001));
        QSemaphore begun;
        QSemaphore listed;
        std::atomic<bool> letGo{false};
        bench().setDeviceListHook([&] {
            begun.release();
            letGo = waiting::acquire(listed);
        });
        startWithoutPoll();
        // The first of these ticks starts a pass, and the others find it at work on its list.
        QVERIFY(!m_viewer->window->detectMultipleDevice());
        QVERIFY(waiting::acquire(begun));
        QVERIFY(!m_viewer->probe.detectionThread.mutex.tryLock());
        for (int tick = 0; tick < 2; ++tick) {
            QVERIFY(!m_viewer->window->detectMultipleDevice());
        }
        QVERIFY(m_viewer->probe.detectionThread.isRunning());
        listed.release();
        QVERIFY(m_viewer->probe.detectionThread.wait(waiting::patienceMs));
        QVERIFY(letGo);
        bench().setDeviceListHook(nullptr);
        QCOMPARE(bench().log().count(CALL::GET_DEVICE_LIST), 1ULL);
        QVERIFY(m_viewer->window->detectMultipleDevice());
    }
};

QTEST_MAIN(TestDeviceList)
#include "tst_mainwindow_devicelist.moc"
