#include "om_tiv/benchtest.h"
#include "support/sidethread.h"

#include <atomic>
#include <thread>
#include <vector>

using namespace om;
using namespace om::bench;
using namespace benchtest;
using std::chrono::milliseconds;

/// A program uses a camera from several threads while a test changes the camera. Most useful under
/// ThreadSanitizer.
class TestBenchThreads : public QObject
{
    Q_OBJECT

private slots:
    void oneCameraServesManyThreads();
    void theBenchMayBeChangedMeanwhile();
    void openAndCloseBesideAPoller();
    void unplugBesideOpen();
    void scriptsMayBeSetMeanwhile();
};

void TestBenchThreads::oneCameraServesManyThreads()
{
    auto& bench = runningBench();
    CameraConfig config = idealCamera();
    config.motion = MOTION::TUMBLE;
    bench.addCamera(config);
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);

    std::atomic<int> frames{0};
    std::atomic<int> samples{0};
    SideThread input([&](const std::atomic<bool>& stop) {
        Mat left;
        Mat points;
        while (!stop) {
            frames += camera.grab(RuntimeParameters()) == ERROR_CODE::SUCCESS ? 1 : 0;
            camera.retrieveImage(left, VIEW::LEFT, MEM::GPU, Resolution(320, 180));
            camera.retrieveMeasure(points, MEASURE::XYZ, MEM::GPU, Resolution(320, 180));
            camera.getTimestamp(TIME_REFERENCE::IMAGE);
            camera.getInitParameters();
        }
    });
    SideThread sensors([&](const std::atomic<bool>& stop) {
        SensorsData data;
        while (!stop) {
            samples += current(camera, data) == ERROR_CODE::SUCCESS ? 1 : 0;
        }
    });
    SideThread images([&](const std::atomic<bool>& stop) {
        SensorsData data;
        while (!stop) {
            camera.getSensorsData(data, TIME_REFERENCE::IMAGE);
            camera.getTimestamp(TIME_REFERENCE::IMAGE);
            std::this_thread::yield();
        }
    });
    QTRY_VERIFY(frames > 10 && samples > 100);
    input.join();
    sensors.join();
    images.join();
    QVERIFY(camera.isOpened());
}

void TestBenchThreads::theBenchMayBeChangedMeanwhile()
{
    auto& bench = runningBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    std::atomic<int> samples{0};
    SideThread sensors([&](const std::atomic<bool>& stop) {
        SensorsData data;
        while (!stop) {
            current(camera, data);
            ++samples;
        }
    });
    for (int i = 0; i < 200; ++i) {
        bench.setPose(cameraSerial, fromHeading(0.1 * i), milliseconds(5));
        bench.setMotion(cameraSerial, i % 2 == 0 ? MOTION::TUMBLE : MOTION::HAND_HELD);
        bench.setField({40.0 + 0.01 * i, 60.0, 0.0});
        bench.changeFaults(cameraSerial, [&](Faults& f) {
            f.frozenTimestamps = i % 5 == 0;
            f.barometerAbsent = i % 3 == 0;
            f.magneticDisturbance = i;
        });
        bench.truth(cameraSerial);
        bench.imuCounters(cameraSerial);
        bench.status();
    }
    QTRY_VERIFY(samples > 20);
    sensors.join();
}

void TestBenchThreads::openAndCloseBesideAPoller()
{
    auto& bench = runningBench();
    bench.addCamera(idealCamera());
    Camera camera;
    SideThread poller([&](const std::atomic<bool>& stop) {
        SensorsData data;
        while (!stop) {
            if (camera.isOpened()) {
                camera.getCameraInformation();
            }
            current(camera, data);
            camera.getTimestamp(TIME_REFERENCE::IMAGE);
        }
    });
    for (int i = 0; i < 50; ++i) {
        QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
        QVERIFY(camera.isOpened());
        camera.close();
    }
    poller.join();
}

void TestBenchThreads::unplugBesideOpen()
{
    auto& bench = runningBench();
    bench.addCamera(idealCamera());
    SideThread plugger([&](const std::atomic<bool>& stop) {
        while (!stop) {
            bench.unplug(cameraSerial);
            bench.plug(cameraSerial);
        }
    });
    for (int i = 0; i < 200; ++i) {
        Camera camera;
        const ERROR_CODE result = camera.open(parametersFor());
        QVERIFY(result == ERROR_CODE::SUCCESS || result == ERROR_CODE::NOT_DETECTED ||
                result == ERROR_CODE::CAMERA_GONE);
        Camera::getDeviceList();
    }
    plugger.join();
    bench.plug(cameraSerial);
    QVERIFY(!bench.status()[0].inUse);
}

void TestBenchThreads::scriptsMayBeSetMeanwhile()
{
    auto& bench = runningBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    SideThread sensors([&](const std::atomic<bool>& stop) {
        SensorsData data;
        while (!stop) {
            current(camera, data);
        }
    });
    SideThread input([&](const std::atomic<bool>& stop) {
        while (!stop) {
            camera.grab(RuntimeParameters());
        }
    });
    for (int i = 0; i < 100; ++i) {
        std::vector<SensorsEntry> entries(3);
        bench.camera(cameraSerial)->sensorsScript().set(entries, AFTER::PHYSICS);
        bench.camera(cameraSerial)
            ->grabScript()
            .set({ERROR_CODE::SUCCESS, ERROR_CODE::TIMEOUT}, AFTER::PHYSICS);
        bench.camera(cameraSerial)->sensorsScript().append(entries);
        bench.camera(cameraSerial)->sensorsScript().status();
        bench.camera(cameraSerial)->clearScripts();
        bench.log().records();
    }
    sensors.join();
    input.join();
    QVERIFY(camera.isOpened());
}

QTEST_GUILESS_MAIN(TestBenchThreads)
#include "tst_bench_threads.moc"
