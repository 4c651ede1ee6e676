/// The example bench files of docs/bench: each is loaded as the program loads it, and matches its
/// text.

#include "om_tiv/benchtest.h"

#include "calibration/mag_calib.h"
#include "world/heading.h"

#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <vector>

using namespace om;
using namespace om::bench;
using namespace std::chrono_literals;

using LOCATION = SensorsData::TemperatureData::SENSOR_LOCATION;

namespace {

constexpr double degree = pi / 180.0;
constexpr unsigned short vendorId = 0x7C15;

/// The heading states of the microcontroller.
enum STATE { GOOD = 0, OK = 1, NOT_GOOD = 2, NOT_CALIBRATED = 3 };

struct Readings
{
    std::vector<double> axes[3]; ///< uT, sensor axes
    int saturated = 0;
};

/// The link as the calibration dialog opens it.
class Link : public TIVmcu
{
public:
    explicit Link(MODEL model) : TIVmcu(false, vendorId, model, false, "") {}

    int openIt(unsigned int serial)
    {
        return open(serial, false, IMU_ODR_400_HZ, nullptr, nullptr, true, false);
    }
};

} // namespace

class TestBenchExamples : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void laboratoryHasOneOfEachModelAndOfEachMotion();
    void laboratoryShowsTheSensorsOfEachModel();
    void laboratoryMovesAsItsTextSays();

    void faultyCameraIsRefusedTenTimesAndThenOpens();
    void faultyCameraLacksSensorsAndRepeatsTimes();
    void faultyCameraStoresAtTheFourthRead();
    void faultyCamerasCompanyIsOldOrCantBeCalibrated();

    void messAlongTheAxesIsCorrected();
    void messAskewIsNot();
    void messOfAMotorIsCorrectedOnceItStops();
    void messOfAMagnetIsBeyondTheSensor();

    void imusAreAsGoodAsTheirTextSays_data();
    void imusAreAsGoodAsTheirTextSays();

private:
    void load(const char* name);
    static Camera& opened(Camera& camera, unsigned int serial, BUS_TYPE bus = BUS_TYPE::USB);
    /// Advances the bench's time and reads every reading of the link.
    Readings sample(Link& link, std::chrono::milliseconds time);
    /// Like the dialog: gathers samples for a minute, fits and stores. False if the fit fails.
    bool calibrate(Link& link);
    /// The largest errors of the two headings over a level turn, degrees.
    std::pair<double, double> levelTurn(Link& link, unsigned int serial);

    Bench& m_bench = theBench();
    QTemporaryDir m_state;
    int m_run = 0;
};

void TestBenchExamples::init()
{
    qputenv("OM_TIV_STATE_DIR", m_state.path().toLocal8Bit() + "/" + QByteArray::number(m_run++));
    benchtest::stoppedBench();
}

void TestBenchExamples::load(const char* name)
{
    std::string error;
    const std::string path = std::string(SOURCE_DIR) + "/docs/bench/" + name;
    QVERIFY2(m_bench.loadFile(path, error), error.c_str());
    QVERIFY(error.empty());
    m_bench.clock().advance(1s);
}

Camera& TestBenchExamples::opened(Camera& camera, unsigned int serial, BUS_TYPE bus)
{
    InitParameters parameters = benchtest::parametersFor(serial);
    if (bus == BUS_TYPE::SERIAL) {
        parameters.input.setFromCameraID(theBench().config(serial).id, bus);
    }
    const ERROR_CODE result = camera.open(parameters);
    if (result != ERROR_CODE::SUCCESS) {
        qFatal("%u: %d", serial, static_cast<int>(result));
    }
    return camera;
}

Readings TestBenchExamples::sample(Link& link, std::chrono::milliseconds time)
{
    Readings readings;
    for (std::chrono::milliseconds passed(0); passed < time; passed += 10ms) {
        m_bench.clock().advance(10ms);
        const IMUReaderData data = link.getIMUReaderData();
        if (data.linkValid == 1 && data.magState == 2) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                readings.axes[axis].push_back(data.mag[axis] * 0.0625);
            }
            readings.saturated += data.mag[2] == INT16_MIN ? 1 : 0;
        }
        link.getIMUPose(6);
    }
    return readings;
}

bool TestBenchExamples::calibrate(Link& link)
{
    Readings readings = sample(link, 60s);
    MagCalib fit;
    if (!fit.ellipsoidCalibration(readings.axes[0], readings.axes[1], readings.axes[2], 1.0)) {
        return false;
    }
    _mag_calib_data record{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        record.scale[axis] = static_cast<float>(fit.scale[axis]);
        record.offset[axis] = static_cast<float>(fit.center[axis]);
    }
    return link.writeMagCalibInEEprom(record) == 0;
}

std::pair<double, double> TestBenchExamples::levelTurn(Link& link, unsigned int serial)
{
    double raw = 0.0;
    double calibrated = 0.0;
    for (int heading = 0; heading < 360; heading += 15) {
        m_bench.setPose(serial, fromHeading(heading * degree), 0ns);
        m_bench.clock().advance(200ms);
        const IMUPose pose = link.getIMUPose(6);
        const double truth = m_bench.truth(serial).heading;
        const auto off = [truth](double value) {
            return std::abs(std::remainder(value - truth, 2.0 * pi)) / degree;
        };
        const auto vector = [](const float(&v)[3]) { return Vector3<float>(v[0], v[1], v[2]); };
        raw = std::max(raw, off(static_cast<double>(link.calcMagHeading(
                                vector(pose.magUncalibrated), vector(pose.acceleration)))));
        calibrated = std::max(calibrated, off(static_cast<double>(pose.heading)));
    }
    return {raw, calibrated};
}

void TestBenchExamples::laboratoryHasOneOfEachModelAndOfEachMotion()
{
    load("laboratory.json");
    const auto devices = Camera::getDeviceList();
    QCOMPARE(devices.size(), std::size_t{6});
    QVERIFY(devices.front().cameraModel == MODEL::TIV_Q); // the program opens it
    std::set<MODEL> models;
    std::set<MOTION> motions;
    for (const DeviceProperties& device : devices) {
        models.insert(device.cameraModel);
        motions.insert(m_bench.config(device.serialNumber).motion);
        // The microcontroller's link derives the model from the serial number.
        QCOMPARE(device.serialNumber / 10000000U, static_cast<unsigned int>(device.cameraModel));
    }
    QCOMPARE(models.size(), std::size_t{6});
    QCOMPARE(motions.size(), std::size_t{5});
}

void TestBenchExamples::laboratoryShowsTheSensorsOfEachModel()
{
    load("laboratory.json");
    int seen = 0;
    for (const DeviceProperties& device : Camera::getDeviceList()) {
        if (device.cameraModel == MODEL::TIV) {
            continue; // has no sensors and is never listed
        }
        Camera camera;
        opened(camera, device.serialNumber, device.bus);
        m_bench.clock().advance(500ms);
        SensorsData data;
        QCOMPARE(benchtest::current(camera, data), ERROR_CODE::SUCCESS);
        const bool full = device.cameraModel == MODEL::TIV_P || device.cameraModel == MODEL::TIV_Q;
        QCOMPARE(data.barometer.isAvailable, full);
        QCOMPARE(data.magnetometer.isAvailable, full);
        float temperature = 0.0F;
        QCOMPARE(data.temperature.get(LOCATION::LEFT, temperature) == 0, full);
        QCOMPARE(data.temperature.get(LOCATION::IMU, temperature) == 0,
                 device.cameraModel != MODEL::TIV_N);
        QVERIFY(data.imu.timestamp > 0);
        ++seen;
    }
    QCOMPARE(seen, 5);
}

void TestBenchExamples::laboratoryMovesAsItsTextSays()
{
    load("laboratory.json");
    bool fell = false;
    double swayed = 0.0;
    std::set<int> faces; // axis ends that the tumbling camera turned up
    const Quaternion held = m_bench.truth(10000103).pose;
    for (int i = 0; i < 600; ++i) {
        m_bench.clock().advance(100ms);
        fell = fell || m_bench.truth(40000104).movingState == 2;
        swayed = std::max(swayed,
                          length(toRotationVector(conjugate(held) * m_bench.truth(10000103).pose)));
        const Vector up = rotate(conjugate(m_bench.truth(30000101).pose), {0.0, 1.0, 0.0});
        const double parts[3] = {up.x, up.y, up.z};
        for (int axis = 0; axis < 3; ++axis) {
            if (std::abs(parts[axis]) > 0.9) {
                faces.insert(parts[axis] > 0.0 ? axis : axis + 3);
            }
        }
        QVERIFY(length(m_bench.truth(20000102).angularVelocity) == 0.0);
        QVERIFY(length(m_bench.truth(50000105).angularVelocity) == 0.0);
    }
    QVERIFY(fell);
    QVERIFY(swayed > 2.0 * degree && swayed < 45.0 * degree);
    QCOMPARE(faces.size(), std::size_t{6});
    // The camera on the table faces east; magnetic north is 2.5 degrees east of north.
    QVERIFY(std::abs(m_bench.truth(20000102).heading / degree - 87.5) < 0.01);
    // 190 m higher than the other one with a barometer, which is 22 hPa.
    double pressures[2] = {};
    for (const int which : {0, 1}) {
        Camera camera;
        opened(camera, which == 0 ? 30000101 : 20000102);
        m_bench.clock().advance(500ms);
        SensorsData data;
        QCOMPARE(benchtest::current(camera, data), ERROR_CODE::SUCCESS);
        pressures[which] = static_cast<double>(data.barometer.pressure) / 100.0;
    }
    QVERIFY(std::abs(pressures[0] - pressures[1] - 22.0) < 1.5);
}

void TestBenchExamples::faultyCameraIsRefusedTenTimesAndThenOpens()
{
    load("faulty-camera.json");
    QVERIFY(m_bench.faults(30000201).openDelay == 400ms);
    m_bench.changeFaults(30000201, [](Faults& f) { f.openDelay = 0ms; }); // real time
    Camera camera;
    for (int i = 0; i < 10; ++i) {
        QCOMPARE(camera.open(benchtest::parametersFor(30000201)), ERROR_CODE::FAILURE);
    }
    QCOMPARE(camera.open(benchtest::parametersFor(30000201)), ERROR_CODE::SUCCESS);
    for (int i = 0; i < 20; ++i) {
        QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::FAILURE);
    }
    m_bench.clock().advance(100ms);
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
}

void TestBenchExamples::faultyCameraLacksSensorsAndRepeatsTimes()
{
    load("faulty-camera.json");
    m_bench.changeFaults(30000201, [](Faults& f) {
        f.openDelay = 0ms;
        f.openRefusals = 0;
    });
    Camera camera;
    opened(camera, 30000201);
    std::set<std::uint64_t> times;
    std::set<float> values;
    for (int i = 0; i < 800; ++i) { // twice a sample
        m_bench.clock().advance(1250us);
        SensorsData data;
        QCOMPARE(benchtest::current(camera, data), ERROR_CODE::SUCCESS);
        QVERIFY(!data.barometer.isAvailable);
        QVERIFY(data.magnetometer.isAvailable);
        float temperature = 0.0F;
        QVERIFY(data.temperature.get(LOCATION::LEFT, temperature) != 0);
        QVERIFY(data.temperature.get(LOCATION::RIGHT, temperature) != 0);
        QCOMPARE(data.temperature.get(LOCATION::IMU, temperature), 0);
        times.insert(data.imu.timestamp);
        values.insert(data.imu.linearAcceleration.x);
    }
    QVERIFY(values.size() > 390);
    QVERIFY(times.size() > 195 && times.size() < 205);
}

void TestBenchExamples::faultyCameraStoresAtTheFourthRead()
{
    load("faulty-camera.json");
    Link link(MODEL::TIV_Q);
    QCOMPARE(link.openIt(30000201), 0); // the refusals are the camera's, not the link's
    _mag_calib_data record{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        record.scale[axis] = 0.02F;
        record.offset[axis] = 10.0F * static_cast<float>(axis);
    }
    int writes = 0;
    bool equal = false;
    while (!equal && writes < 10) {
        QCOMPARE(link.writeMagCalibInEEprom(record), 0);
        ++writes;
        link.updateEepromMemory(true);
        // The record is packed, so a loop cannot use the addresses of its floats.
        // NOLINTBEGIN(bugprone-suspicious-memory-comparison)
        equal = std::memcmp(link.storedMagCalib, record.scale, sizeof record.scale) == 0 &&
                std::memcmp(link.storedMagCalib + 3, record.offset, sizeof record.offset) == 0;
        // NOLINTEND(bugprone-suspicious-memory-comparison)
    }
    QVERIFY(equal);
    QCOMPARE(writes, 4);
}

void TestBenchExamples::faultyCamerasCompanyIsOldOrCantBeCalibrated()
{
    load("faulty-camera.json");
    Camera old;
    opened(old, 20000202);
    QCOMPARE(old.getCameraInformation(Resolution()).firmwareVersion, 1140U); // wanted: 1142
    Camera sound;
    opened(sound, 30000203);
    sound.close();
    Link link(MODEL::TIV_Q);
    QVERIFY(link.openIt(30000203) != 0);
}

void TestBenchExamples::messAlongTheAxesIsCorrected()
{
    load("magnetic-mess.json");
    Link link(MODEL::TIV_Q);
    QCOMPARE(link.openIt(30000301), 0);
    link.startCapture(0.0F);
    sample(link, 1s);
    QCOMPARE(int(link.getIMUPose(6).headingState), int(NOT_CALIBRATED));
    QVERIFY(calibrate(link));
    QCOMPARE(int(link.getIMUPose(6).headingState), int(GOOD));
    const auto [raw, calibrated] = levelTurn(link, 30000301);
    QVERIFY2(raw > 90.0, qPrintable(QString::number(raw)));
    QVERIFY2(calibrated < 5.0, qPrintable(QString::number(calibrated)));
}

void TestBenchExamples::messAskewIsNot()
{
    load("magnetic-mess.json");
    Link link(MODEL::TIV_P);
    QCOMPARE(link.openIt(20000302), 0);
    link.startCapture(0.0F);
    QVERIFY(calibrate(link));
    QCOMPARE(int(link.getIMUPose(6).headingState), int(NOT_GOOD));
    const auto [raw, calibrated] = levelTurn(link, 20000302);
    QVERIFY2(calibrated > 10.0, qPrintable(QString("%1, %2").arg(raw).arg(calibrated)));
}

void TestBenchExamples::messOfAMotorIsCorrectedOnceItStops()
{
    load("magnetic-mess.json");
    Link link(MODEL::TIV_Q);
    QCOMPARE(link.openIt(30000303), 0);
    link.startCapture(0.0F);
    QVERIFY(calibrate(link));
    QCOMPARE(int(link.getIMUPose(6).headingState), int(NOT_GOOD));
    m_bench.changeFaults(30000303, [](Faults& f) { f.magneticDisturbance = 0.0; });
    QVERIFY(calibrate(link));
    QCOMPARE(int(link.getIMUPose(6).headingState), int(GOOD));
}

void TestBenchExamples::messOfAMagnetIsBeyondTheSensor()
{
    load("magnetic-mess.json");
    Link link(MODEL::TIV_P);
    QCOMPARE(link.openIt(20000304), 0);
    link.startCapture(0.0F);
    const Readings readings = sample(link, 10s);
    QVERIFY(readings.axes[0].size() > 400);
    QVERIFY(static_cast<std::size_t>(readings.saturated) == readings.axes[0].size());
    calibrate(link);
    const int state = link.getIMUPose(6).headingState;
    QVERIFY2(state == NOT_GOOD || state == NOT_CALIBRATED, qPrintable(QString::number(state)));
}

void TestBenchExamples::imusAreAsGoodAsTheirTextSays_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<unsigned int>("serial");
    QTest::addColumn<double>("acceleration"); ///< m/s^2, deviation of a sample along z
    QTest::addColumn<double>("rate");         ///< Hz
    QTest::addColumn<bool>("sound");          ///< without spikes, vibration and lost samples
    QTest::newRow("good") << "imu-good.json" << 30000401U << 0.005 << 400.002 << true;
    QTest::newRow("consumer") << "imu-consumer.json" << 30000402U << 0.030 << 401.6 << true;
    QTest::newRow("broken") << "imu-broken.json" << 30000403U << 0.32 << 396.4 << false;
}

void TestBenchExamples::imusAreAsGoodAsTheirTextSays()
{
    QFETCH(QString, file);
    QFETCH(unsigned int, serial);
    QFETCH(double, acceleration);
    QFETCH(double, rate);
    QFETCH(bool, sound);
    load(file.toLatin1());
    const auto source = m_bench.camera(serial)->source();
    constexpr std::uint64_t count = 20000;
    double squares = 0.0;
    double swing = 0.0; // of y: the fan
    int lost = 0;
    int spikes = 0;
    ImuSample before = source->imu(0);
    for (std::uint64_t i = 1; i <= count; ++i) {
        const ImuSample sample = source->imu(i);
        const Vector step = sample.linearAcceleration - before.linearAcceleration;
        before = sample;
        lost += source->isLost(STREAM::IMU, i) ? 1 : 0;
        if (std::abs(step.z) > 6.0 || std::abs(step.x) > 6.0) {
            ++spikes;
        } else {
            squares +=
                0.5 * step.z * step.z / count; // the difference of two has twice the variance
            swing = std::max(swing, std::abs(step.y));
        }
    }
    const double deviation = std::sqrt(squares);
    QVERIFY2(std::abs(deviation / acceleration - 1.0) < 0.1,
             qPrintable(QString::number(deviation)));
    QCOMPARE(spikes == 0, sound);
    QCOMPARE(lost == 0, sound);
    QCOMPARE(swing < 0.4, sound);
    const double seconds =
        static_cast<double>(source->timeOf(STREAM::IMU, count) - source->timeOf(STREAM::IMU, 0)) *
        1e-9;
    QVERIFY2(std::abs(count / seconds / rate - 1.0) < 3e-6,
             qPrintable(QString::number(count / seconds)));
}

QTEST_GUILESS_MAIN(TestBenchExamples)
#include "tst_bench_examples.moc"
