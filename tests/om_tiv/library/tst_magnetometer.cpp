#include "om_tiv/library/sensorrig.h"

#include "bench/eeprom_store.h"
#include "world/heading.h"

#include <algorithm>
#include <cmath>

using namespace om;
using namespace om::bench;
using namespace benchtest;
using std::chrono::milliseconds;
using std::chrono::seconds;

class TestMagnetometer : public QObject
{
    Q_OBJECT

private slots:
    void fieldWithoutErrorsIsTheEarths();
    void fieldIsInSixteenthsOfAMicrotesla();
    void readingsLieOnAnEllipsoid();
    void strongFieldSaturates();
    void calibratedEqualsUncalibratedWhileNeutral();
    void storedCalibrationTakesEffectAtOnce();
    void viewerAndMicrocontrollerCorrectAlike();
    void tumbleCoversTheSphereOfTheField();
};

void TestMagnetometer::fieldWithoutErrorsIsTheEarths()
{
    CameraConfig config = idealCamera();
    config.pose = fromHeading(0.6, -0.2, 0.4);
    Rig rig(config);
    Field field;
    field.strength = 52.0;
    field.inclination = -30.0;
    field.declination = 12.0;
    rig.bench.setField(field);
    const SensorsData data = rig.after(seconds(1));
    const Vector expected = rotate(conjugate(config.pose), field.world());
    QVERIFY(near(data.magnetometer.magneticFieldUncalibrated, expected, 1.0 / 32.0 + 1e-9));
    QVERIFY(length(rig.bench.truth(cameraSerial).field - expected) < 1e-9);
}

void TestMagnetometer::fieldIsInSixteenthsOfAMicrotesla()
{
    CameraConfig config = idealCamera();
    config.motion = MOTION::TUMBLE;
    config.errors.magneticNoise = 0.3;
    Rig rig(config);
    for (int i = 0; i < 50; ++i) {
        const SensorsData data = rig.after(milliseconds(20));
        const Vector3<float>& v = data.magnetometer.magneticFieldUncalibrated;
        for (const float value : {v.x, v.y, v.z}) {
            QCOMPARE(value * 16.0F, std::round(value * 16.0F));
        }
    }
}

void TestMagnetometer::readingsLieOnAnEllipsoid()
{
    CameraConfig config = idealCamera();
    config.motion = MOTION::TUMBLE;
    config.hardIron = {20.0, -30.0, 10.0};
    config.softIron = {{{1.2, 0.0, 0.0}, {0.0, 0.8, 0.0}, {0.0, 0.0, 1.1}}};
    stoppedBench().addCamera(config);
    const auto source = theBench().camera(cameraSerial)->source();
    Vector least{1e9, 1e9, 1e9};
    Vector most{-1e9, -1e9, -1e9};
    for (std::uint64_t i = 0; i < 3000; ++i) {
        const Vector r = source->magnetometer(i).body();
        const Vector corrected{(r.x - 20.0) / 1.2, (r.y + 30.0) / 0.8, (r.z - 10.0) / 1.1};
        QVERIFY(std::abs(length(corrected) - 48.0) < 0.1); // the rounding to counts
        least = {std::min(least.x, r.x), std::min(least.y, r.y), std::min(least.z, r.z)};
        most = {std::max(most.x, r.x), std::max(most.y, r.y), std::max(most.z, r.z)};
    }
    // The middle of the extremes is the hard iron, half their distance the radius on the axis.
    QVERIFY(length(0.5 * (least + most) - Vector{20.0, -30.0, 10.0}) < 3.0);
    QVERIFY(length(0.5 * (most - least) - 48.0 * Vector{1.2, 0.8, 1.1}) < 5.0);
}

void TestMagnetometer::strongFieldSaturates()
{
    CameraConfig config = idealCamera();
    config.hardIron = {2100.0, 0.0, 0.0};
    Rig rig(config);
    const SensorsData data = rig.after(seconds(1));
    QCOMPARE(data.magnetometer.magneticFieldUncalibrated.z, 2048.0F);
    QCOMPARE(data.magnetometer.magneticFieldUncalibrated.x, 32767.0F / 16.0F);
    QVERIFY(rig.bench.camera(cameraSerial)->source()->magnetometer(5).isSaturated());
}

void TestMagnetometer::calibratedEqualsUncalibratedWhileNeutral()
{
    CameraConfig config = idealCamera();
    config.motion = MOTION::TUMBLE;
    Rig rig(config);
    for (int i = 0; i < 50; ++i) {
        const SensorsData::MagnetometerData m = rig.after(milliseconds(20)).magnetometer;
        QCOMPARE(m.magneticFieldCalibrated.x, m.magneticFieldUncalibrated.x);
        QCOMPARE(m.magneticFieldCalibrated.y, m.magneticFieldUncalibrated.y);
        QCOMPARE(m.magneticFieldCalibrated.z, m.magneticFieldUncalibrated.z);
    }
}

void TestMagnetometer::storedCalibrationTakesEffectAtOnce()
{
    Rig rig(idealCamera());
    const SensorsData before = rig.after(seconds(1));
    MagCalibration calibration;
    calibration.scale = {0.02F, 0.02F, 0.02F};
    calibration.offset = {5.0F, -3.0F, 2.0F}; // sensor axes
    QVERIFY(rig.bench.storeCalibration(cameraSerial, calibration));
    SensorsData after = rig.after(milliseconds(0)); // the same sample
    const Vector3<float>& raw = before.magnetometer.magneticFieldUncalibrated;
    // Sensor axis 1 is -y, 2 is -x, 3 is -z; the radius of 50 does not change the size.
    const Vector expected{double{raw.x} - 3.0, double{raw.y} + 5.0, double{raw.z} + 2.0};
    QCOMPARE(after.magnetometer.timestamp, before.magnetometer.timestamp);
    QVERIFY(near(after.magnetometer.magneticFieldCalibrated, expected, 1e-4));
    QVERIFY(near(after.magnetometer.magneticFieldUncalibrated,
                 {double{raw.x}, double{raw.y}, double{raw.z}}, 0.0));

    rig.bench.storeCalibration(cameraSerial, MagCalibration());
    after = rig.after(milliseconds(0));
    QCOMPARE(after.magnetometer.magneticFieldCalibrated.x, raw.x);
}

void TestMagnetometer::viewerAndMicrocontrollerCorrectAlike()
{
    // With radii 40, 50 and 62.5 uT, of mean 50, and with a calibration that can't be used.
    for (const float third : {0.016F, 0.0F}) {
        MagCalibration calibration;
        calibration.scale = {0.025F, 0.020F, third};
        calibration.offset = {5.0F, -3.0F, 2.0F};
        Rig rig(idealCamera());
        QVERIFY(rig.bench.storeCalibration(cameraSerial, calibration));
        const SensorsData::MagnetometerData m = rig.after(seconds(1)).magnetometer;
        const Vector3<float>& raw = m.magneticFieldUncalibrated;
        const Vector expected =
            fromSensorAxes(correctedField(calibration, toSensorAxes({raw.x, raw.y, raw.z})));
        QVERIFY(near(m.magneticFieldCalibrated, expected, 1e-4));
        QCOMPARE(near(m.magneticFieldCalibrated, {raw.x, raw.y, raw.z}, 1.0), third == 0.0F);
    }
}

void TestMagnetometer::tumbleCoversTheSphereOfTheField()
{
    CameraConfig config = idealCamera();
    config.motion = MOTION::TUMBLE;
    Rig rig(config);
    // Cells of 30 by 30 degrees in azimuth and elevation.
    QSet<int> visited;
    std::uint64_t last = 0;
    int samples = 0;
    rig.after(milliseconds(10)); // between two samples, whose times have a jitter
    for (int i = 0; i < 3000; ++i) {
        const SensorsData data = rig.after(milliseconds(20));
        samples += data.magnetometer.timestamp != last ? 1 : 0;
        last = data.magnetometer.timestamp;
        const Vector3<float>& v = data.magnetometer.magneticFieldUncalibrated;
        const double azimuth = std::atan2(double{v.y}, double{v.x}) + pi;
        const double elevation = std::asin(double{v.z} / norm(v)) + pi / 2;
        visited.insert(static_cast<int>(azimuth / (pi / 6) * 0.9999999) * 6 +
                       static_cast<int>(elevation / (pi / 6) * 0.9999999));
    }
    QVERIFY(rig.bench.clock().now() < startTime + 61 * nsPerS);
    QCOMPARE(samples, 3000);
    QCOMPARE(visited.size(), 72);
}

QTEST_GUILESS_MAIN(TestMagnetometer)
#include "tst_magnetometer.moc"
