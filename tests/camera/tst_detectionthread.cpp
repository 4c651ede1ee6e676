#include "library/the_bench.h"
#include "camera/DetectionThread.h"
#include "gate.h"
#include "support/qtcalls.h"
#include "support/sidethread.h"
#include "support/waiting.h"

#include <QtTest>

#include <atomic>
#include <type_traits>
#include <vector>

using om::bench::Bench;
using om::bench::CALL;
using om::bench::theBench;

namespace {

Bench& bench()
{
    return theBench();
}

void addCamera(unsigned int serial, om::MODEL model)
{
    om::bench::CameraConfig config;
    config.serialNumber = serial;
    config.model = model;
    config.motion = om::bench::MOTION::AT_REST;
    bench().addCamera(config);
}

} // namespace

class TestDetectionThread : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void listIsEmptyAtFirst();
    void passTakesTheLibrarysList();
    void listKeepsWhatTheViewerWouldFilter();
    void threadEndsAfterOneList();
    void newListReplacesTheOldOne();
    void listIsTakenOnItsOwnThread();
    void mutexIsHeldWhileTheListIsTaken();
    void passGivesUpWhenTheMutexIsHeld();
    void startDuringAPassHasNoEffect();
    void openWaitsForAPass();
    void classHasNoSignalsAndNoSlots();
    void fieldsStandInTheirOrder();
};

void TestDetectionThread::init()
{
    bench().reset();
    addCamera(20000001, om::MODEL::TIV_P);
    addCamera(20000002, om::MODEL::TIV_R);
    bench().log().clear();
}

void TestDetectionThread::cleanup()
{
    bench().reset();
}

void TestDetectionThread::listIsEmptyAtFirst()
{
    DetectionThread detection;
    QVERIFY(detection.devices.empty());
    QVERIFY(!detection.isRunning());
    QVERIFY(detection.mutex.tryLock());
    detection.mutex.unlock();
}

void TestDetectionThread::passTakesTheLibrarysList()
{
    DetectionThread detection;
    detection.start(QThread::InheritPriority);
    QVERIFY(detection.wait(waiting::patienceMs));

    QCOMPARE(detection.devices.size(), std::size_t(2));
    QCOMPARE(detection.devices[0].serialNumber, 20000001U);
    QVERIFY(detection.devices[0].cameraModel == om::MODEL::TIV_P);
    QCOMPARE(detection.devices[0].id, 0);
    QCOMPARE(detection.devices[1].serialNumber, 20000002U);
    QVERIFY(detection.devices[1].cameraModel == om::MODEL::TIV_R);
    QCOMPARE(detection.devices[1].id, 1);
    QVERIFY(detection.mutex.tryLock());
    detection.mutex.unlock();
}

void TestDetectionThread::listKeepsWhatTheViewerWouldFilter()
{
    bench().reset();
    addCamera(20000003, om::MODEL::TIV);
    DetectionThread detection;
    detection.start(QThread::InheritPriority);
    QVERIFY(detection.wait(waiting::patienceMs));
    QCOMPARE(detection.devices.size(), std::size_t(1));
    QVERIFY(detection.devices[0].cameraModel == om::MODEL::TIV);
}

void TestDetectionThread::threadEndsAfterOneList()
{
    DetectionThread detection;
    detection.start(QThread::InheritPriority);
    QVERIFY(detection.wait(waiting::patienceMs));
    QVERIFY(detection.isFinished());
    QCOMPARE(bench().log().count(CALL::GET_DEVICE_LIST), std::uint64_t(1));
    detection.start(QThread::InheritPriority);
    QVERIFY(detection.wait(waiting::patienceMs));
    QCOMPARE(bench().log().count(CALL::GET_DEVICE_LIST), std::uint64_t(2));
}

void TestDetectionThread::newListReplacesTheOldOne()
{
    DetectionThread detection;
    detection.run();
    QCOMPARE(detection.devices.size(), std::size_t(2));
    bench().unplug(20000001);
    detection.run();
    QCOMPARE(detection.devices.size(), std::size_t(1));
    QCOMPARE(detection.devices[0].serialNumber, 20000002U);
    bench().unplug(20000002);
    detection.run();
    QVERIFY(detection.devices.empty());
}

void TestDetectionThread::listIsTakenOnItsOwnThread()
{
    DetectionThread detection;
    detection.start(QThread::InheritPriority);
    QVERIFY(detection.wait(waiting::patienceMs));
    QVERIFY(bench().log().last(CALL::GET_DEVICE_LIST)->thread != std::this_thread::get_id());
}

void TestDetectionThread::mutexIsHeldWhileTheListIsTaken()
{
    Gate gate;
    bench().setDeviceListHook([&gate] { gate.pass(); });
    DetectionThread detection;
    detection.start(QThread::InheritPriority);
    QVERIFY(gate.waitForArrival());
    const bool locked = !detection.mutex.tryLock();
    QVERIFY(detection.devices.empty());
    gate.open();
    QVERIFY(detection.wait(waiting::patienceMs));
    QVERIFY(locked);
    QCOMPARE(detection.devices.size(), std::size_t(2));
    QVERIFY(detection.mutex.tryLock());
    detection.mutex.unlock();
}

void TestDetectionThread::passGivesUpWhenTheMutexIsHeld()
{
    DetectionThread detection;
    detection.run();
    addCamera(20000004, om::MODEL::TIV_Q);
    bench().log().clear();
    std::atomic<qint64> longestWait{-1};
    const qtcalls::Hook hook([&](const qtcalls::Call& call) {
        if (call.call == qtcalls::CALL::TRY_LOCK && QThread::currentThread() == &detection) {
            longestWait = call.limit;
        }
    });

    detection.mutex.lock();
    detection.start(QThread::InheritPriority);
    // The thread comes to its end although the lock stays.
    QVERIFY(detection.wait(waiting::patienceMs));
    QCOMPARE(longestWait.load(), qint64(0));
    QCOMPARE(bench().log().count(CALL::GET_DEVICE_LIST), std::uint64_t(0));
    QCOMPARE(detection.devices.size(), std::size_t(2));
    QVERIFY(!detection.mutex.tryLock());
    detection.mutex.unlock();

    detection.start(QThread::InheritPriority);
    QVERIFY(detection.wait(waiting::patienceMs));
    QCOMPARE(detection.devices.size(), std::size_t(3));
}

void TestDetectionThread::startDuringAPassHasNoEffect()
{
    Gate gate;
    bench().setDeviceListHook([&gate] { gate.pass(); });
    DetectionThread detection;
    detection.start(QThread::InheritPriority);
    QVERIFY(gate.waitForArrival());
    detection.start(QThread::InheritPriority);
    gate.open();
    QVERIFY(detection.wait(waiting::patienceMs));
    QCOMPARE(bench().log().count(CALL::GET_DEVICE_LIST), std::uint64_t(1));
}

void TestDetectionThread::openWaitsForAPass()
{
    Gate gate;
    bench().setDeviceListHook([&gate] { gate.pass(); });
    DetectionThread detection;
    detection.start(QThread::InheritPriority);
    QVERIFY(gate.waitForArrival());

    // As the viewer opens a camera.
    om::Camera camera;
    om::ERROR_CODE result = om::ERROR_CODE::FAILURE;
    bool free = true;
    SideThread opener([&] {
        om::InitParameters parameters;
        parameters.input.setFromSerialNumber(20000001, om::BUS_TYPE::USB);
        free = detection.mutex.tryLock();
        gate.open();
        if (!free) {
            detection.mutex.lock();
        }
        result = camera.open(parameters);
        detection.mutex.unlock();
    });
    opener.join();
    QVERIFY(!free);
    QVERIFY(detection.wait(waiting::patienceMs));
    QVERIFY(result == om::ERROR_CODE::SUCCESS);
    QCOMPARE(bench().listsDuringOpen(), 0);
}

void TestDetectionThread::classHasNoSignalsAndNoSlots()
{
    const QMetaObject& meta = DetectionThread::staticMetaObject;
    QCOMPARE(meta.superClass(), &QThread::staticMetaObject);
    QCOMPARE(meta.methodCount(), meta.methodOffset());
}

void TestDetectionThread::fieldsStandInTheirOrder()
{
    static_assert(std::is_same_v<decltype(DetectionThread::mutex), QMutex>);
    static_assert(
        std::is_same_v<decltype(DetectionThread::devices), std::vector<om::DeviceProperties>>);
    const DetectionThread detection;
    QVERIFY(static_cast<const void*>(&detection.mutex) <
            static_cast<const void*>(&detection.devices));
}

QTEST_GUILESS_MAIN(TestDetectionThread)
#include "tst_detectionthread.moc"
