#include "om_tiv/benchtest.h"
#include "support/sidethread.h"
#include "support/waiting.h"

#include "library/camera_session.h"

#include <atomic>

#include <unistd.h>

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
    bench.unplug(cameraSerial);
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
    SideThread grabbing([&] { result = static_cast<int>(camera.grab(RuntimeParameters())); });
    QTRY_VERIFY(bench.clock().waiters() == 1 || result >= 0);
    bench.unplug(cameraSerial);
    grabbing.join();
    // 2 if the machine was so slow that the wait had already ended.
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
    std::atomic<bool> ended{false};
    SideThread poller([&](const std::atomic<bool>& stop) {
        SensorsData data;
        while (!stop && current(camera, data) == ERROR_CODE::SUCCESS) {
            polling = true;
        }
        ended = true;
    });
    QTRY_VERIFY(polling);
    bench.unplug(cameraSerial);
    QTRY_VERIFY(ended); // with the camera gone
    QVERIFY(!camera.isOpened());
}

void TestCameraLoss::aLostCameraStaysLostWhenPluggedInAgain()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    bench.unplug(cameraSerial);
    bench.plug(cameraSerial);
    QVERIFY(!camera.isOpened());
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::CAMERA_GONE);
    Camera other; // the lost object has no claim on it
    QCOMPARE(other.open(parametersFor()), ERROR_CODE::SUCCESS);
    camera.close(); // its close does not affect the other one either
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
    SideThread grabbing([&] { result = static_cast<int>(camera.grab(RuntimeParameters())); });
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
    bench.camera(cameraSerial)
        ->grabScript()
        .set({ERROR_CODE::CAMERA_GONE}); // detected by the library itself
    QSemaphore reporting;
    std::atomic<bool> closing{false};
    std::atomic<bool> closed{false};
    bool closedMeanwhile = true;
    const pid_t closer = ::gettid();
    const auto onLost = [&] {
        reporting.release();
        // The close has come to wait; one that does not would be over.
        const bool waits =
            waiting::waitFor([&] { return closing && (closed || waiting::isAsleep(closer)); });
        closedMeanwhile = !waits || closed;
    };
    ERROR_CODE result = ERROR_CODE::FAILURE;
    const auto session = CameraSession::open(parametersFor(), onLost, result);
    QVERIFY(session);
    SideThread grabbing([&] { session->grab(RuntimeParameters()); });
    QVERIFY(waiting::acquire(reporting));
    closing = true;
    session->close();
    closed = true;
    grabbing.join();
    QVERIFY(!closedMeanwhile);
}

void TestCameraLoss::removingACameraLosesIt()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    QVERIFY(bench.removeCamera(cameraSerial));
    QVERIFY(!camera.isOpened());
    QVERIFY(Camera::getDeviceList().empty());
    QVERIFY(!bench.removeCamera(cameraSerial));
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
