#include "om_tiv/benchtest.h"

#include "library/camera_session.h"

#include <atomic>
#include <future>
#include <thread>

using namespace om;
using namespace om::bench;
using namespace benchtest;
using std::chrono::seconds;

class TestCameraLoss : public QObject
{
    Q_OBJECT

private slots:
    void init() { stoppedBench(); }

    void unplugLosesTheCamera();
    void unplugEndsAWaitingGrab();
    void unplugEndsAWaitForSensors();
    void aLostCameraStaysLostWhenPluggedInAgain();
    void closeEndsAWaitingGrab();
    void closeWaitsForTheReportOfALoss();
    void removingACameraLosesIt();
    void resettingTheBenchLosesTheCamera();
};

void TestCameraLoss::unplugLosesTheCamera()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    bench.clock().advance(seconds(1));
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    bench.unplug(SERIAL);
    QVERIFY(!camera.isOpened());
    SensorsData data;
    Mat mat;
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::CAMERA_GONE);
    QCOMPARE(static_cast<int>(camera.grab(RuntimeParameters())), 4);
    QCOMPARE(current(camera, data), ERROR_CODE::CAMERA_GONE);
    QCOMPARE(camera.retrieveImage(mat, VIEW::LEFT, MEM::CPU, Resolution()),
             ERROR_CODE::CAMERA_GONE);
    camera.close();
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::FAILURE);
}

void TestCameraLoss::unplugEndsAWaitingGrab()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    std::atomic<int> result{-1};
    std::thread grabbing([&] { result = static_cast<int>(camera.grab(RuntimeParameters())); });
    QTRY_VERIFY(bench.clock().waiters() == 1 || result >= 0);
    bench.unplug(SERIAL);
    grabbing.join();
    // 2 where the machine was so slow that the wait had ended before.
    QVERIFY(result == 4 || result == 2);
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::CAMERA_GONE);
}

void TestCameraLoss::unplugEndsAWaitForSensors()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    std::atomic<bool> polling{false};
    std::thread poller([&] {
        SensorsData data;
        while (current(camera, data) == ERROR_CODE::SUCCESS) {
            polling = true;
        }
    });
    QTRY_VERIFY(polling);
    bench.unplug(SERIAL);
    poller.join(); // ends only with the camera gone
    QVERIFY(!camera.isOpened());
}

void TestCameraLoss::aLostCameraStaysLostWhenPluggedInAgain()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    bench.unplug(SERIAL);
    bench.plug(SERIAL);
    QVERIFY(!camera.isOpened());
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::CAMERA_GONE);
    Camera other; // the lost one does not hold it
    QCOMPARE(other.open(parametersFor()), ERROR_CODE::SUCCESS);
    camera.close(); // nor does its close disturb the other
    QVERIFY(other.isOpened());
    Camera third;
    QCOMPARE(third.open(parametersFor()), ERROR_CODE::IN_USE);
}

void TestCameraLoss::closeEndsAWaitingGrab()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    std::atomic<int> result{-1};
    std::thread grabbing([&] { result = static_cast<int>(camera.grab(RuntimeParameters())); });
    QTRY_VERIFY(bench.clock().waiters() == 1 || result >= 0);
    camera.close();
    grabbing.join();
    QVERIFY(result == static_cast<int>(ERROR_CODE::FAILURE) ||
            result == static_cast<int>(ERROR_CODE::TIMEOUT));
}

void TestCameraLoss::closeWaitsForTheReportOfALoss()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    bench.scriptGrab(SERIAL, {ERROR_CODE::CAMERA_GONE}); // seen from within
    std::promise<void> reporting;
    std::promise<void> closed;
    bool closedMeanwhile = true;
    const auto onLost = [&] {
        reporting.set_value();
        closedMeanwhile = closed.get_future().wait_for(std::chrono::milliseconds(200)) ==
                          std::future_status::ready;
    };
    ERROR_CODE result = ERROR_CODE::FAILURE;
    const auto session = CameraSession::open(parametersFor(), onLost, result);
    QVERIFY(session);
    std::thread grabbing([&] { session->grab(RuntimeParameters()); });
    reporting.get_future().wait();
    session->close();
    closed.set_value();
    grabbing.join();
    QVERIFY(!closedMeanwhile);
}

void TestCameraLoss::removingACameraLosesIt()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    QVERIFY(bench.removeCamera(SERIAL));
    QVERIFY(!camera.isOpened());
    QVERIFY(Camera::getDeviceList().empty());
    QVERIFY(!bench.removeCamera(SERIAL));
}

void TestCameraLoss::resettingTheBenchLosesTheCamera()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    bench.reset();
    QVERIFY(!camera.isOpened());
    SensorsData data;
    QCOMPARE(current(camera, data), ERROR_CODE::CAMERA_GONE);
}

QTEST_GUILESS_MAIN(TestCameraLoss)
#include "tst_camera_loss.moc"
