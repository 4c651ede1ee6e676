#include "viewer/sensor_sample.h"

#include <QtTest>

#include <cmath>
#include <vector>

using sensorsample::Sample;
using sensorsample::Sampler;
using Location = om::SensorsData::TemperatureData::SENSOR_LOCATION;
using Values = std::vector<float>;

namespace {

constexpr std::uint64_t second = 1'000'000'000;
constexpr std::uint64_t start = 1000 * second;
constexpr std::uint64_t period = 2'500'000;

om::SensorsData record(std::uint64_t timestamp)
{
    om::SensorsData data;
    data.imu.timestamp = timestamp;
    data.imu.effectiveRate = 400.0F;
    data.barometer.pressure = 102500.0F;
    data.temperature.values = {
        {Location::IMU, 30.0F}, {Location::LEFT, 45.0F}, {Location::RIGHT, 45.0F}};
    return data;
}

om::SensorsData withBarometer(om::SensorsData data, std::uint64_t timestamp)
{
    data.barometer.isAvailable = true;
    data.barometer.timestamp = timestamp;
    data.barometer.effectiveRate = 25.5F;
    return data;
}

om::SensorsData withMagnetometer(om::SensorsData data, std::uint64_t timestamp)
{
    data.magnetometer.isAvailable = true;
    data.magnetometer.timestamp = timestamp;
    data.magnetometer.effectiveRate = 50.5F;
    return data;
}

Values valuesOf(const om::Vector3<float>& v)
{
    return {v.x, v.y, v.z};
}

om::Transform turned(float radians, const om::Translation& axis)
{
    return {om::Orientation(om::Rotation(radians, axis)), om::Translation()};
}

/// A sampler with its published values, as the main window creates it.
struct Run
{
    Shared<double> imuRate = 0.0;
    Shared<double> baroRate = 0.0;
    Shared<double> magRate = 0.0;
    std::uint64_t imuStart = 0;
    std::uint64_t baroStart = 0;
    std::uint64_t magStart = 0;
    Sampler sampler{{imuRate, imuStart}, {baroRate, baroStart}, {magRate, magStart}};

    /// The sample of a record after one that only sets the clock.
    Sample only(const om::SensorsData& data)
    {
        sampler.take(record(data.imu.timestamp - period));
        return sampler.take(data).value();
    }
};

} // namespace

class TestSensorSample : public QObject
{
    Q_OBJECT

private slots:
    void theFirstRecordOfARunOnlySetsTheClock()
    {
        Run run;
        QVERIFY(!run.sampler.take(record(start + 999)).has_value());
        QCOMPARE(run.imuStart, static_cast<std::uint64_t>(start / 1000));
        const auto sample = run.sampler.take(record(start + period));
        QVERIFY(sample.has_value());
        QCOMPARE(sample->time, 1000.0025);
        QCOMPARE(sample->rate, 400.0);
        QCOMPARE(run.imuStart, static_cast<std::uint64_t>(start / 1000));
    }

    void aRecordWithoutANewImuTimeIsNoSampleButReportsTheRate_data()
    {
        QTest::addColumn<std::uint64_t>("timestamp");
        QTest::newRow("the same microsecond") << start + period + 999;
        QTest::newRow("below a microsecond") << std::uint64_t(999);
    }

    void aRecordWithoutANewImuTimeIsNoSampleButReportsTheRate()
    {
        QFETCH(std::uint64_t, timestamp);
        Run run;
        run.only(record(start + period));
        auto repeat = withMagnetometer(withBarometer(record(timestamp), start), start);
        repeat.imu.effectiveRate = 123.0F;
        QVERIFY(!run.sampler.take(repeat).has_value());
        QCOMPARE(static_cast<double>(run.imuRate), 123.0);
        // The other streams are not read.
        QCOMPARE(static_cast<double>(run.baroRate), 0.0);
        QCOMPARE(static_cast<double>(run.magRate), 0.0);
        QCOMPARE(run.baroStart, std::uint64_t(0));
    }

    void aSlowStreamHasAClockOfItsOwn_data()
    {
        QTest::addColumn<bool>("barometer");
        QTest::newRow("barometer") << true;
        QTest::newRow("magnetometer") << false;
    }

    void aSlowStreamHasAClockOfItsOwn()
    {
        QFETCH(bool, barometer);
        const auto with = [&](std::uint64_t imu, std::uint64_t timestamp) {
            return barometer ? withBarometer(record(imu), timestamp)
                             : withMagnetometer(record(imu), timestamp);
        };
        Run run;
        const auto take = [&](std::uint64_t imu, std::uint64_t timestamp) {
            const Sample sample = run.sampler.take(with(imu, timestamp)).value();
            return barometer ? sample.barometer : sample.magnetometer;
        };
        run.sampler.take(with(start, start - second)); // a record that is no sample

        // Without a time stamp, the first, a repeat, a new one.
        Sample::Slow slow = take(start + period, 999);
        QVERIFY(!slow.isNew);
        QCOMPARE(slow.time, 0.0);
        slow = take(start + 2 * period, start + 1'000);
        QVERIFY(!slow.isNew);
        QCOMPARE(slow.time, 1000.000001);
        QCOMPARE(barometer ? run.baroStart : run.magStart, std::uint64_t(start / 1000 + 1));
        QCOMPARE(barometer ? run.magStart : run.baroStart, std::uint64_t(0));
        slow = take(start + 3 * period, start + 1'999);
        QVERIFY(!slow.isNew);
        QCOMPARE(slow.time, 1000.000001);
        slow = take(start + 4 * period, start + 20'001'000);
        QVERIFY(slow.isNew);
        QCOMPARE(slow.time, 1000.020001);
        QCOMPARE(slow.rate, 50.0);
        QCOMPARE(static_cast<double>(run.baroRate), barometer ? 25.5 : 0.0);
        QCOMPARE(static_cast<double>(run.magRate), barometer ? 0.0 : 50.5);
    }

    void anAbsentBlockHasTimeZeroWhateverItHolds()
    {
        Run run;
        auto data = withMagnetometer(withBarometer(record(start + period), start), start);
        data.barometer.isAvailable = false;
        data.magnetometer.isAvailable = false;
        const Sample sample = run.only(data);
        QCOMPARE(sample.barometer.time, 0.0);
        QCOMPARE(sample.magnetometer.time, 0.0);
        QVERIFY(!sample.barometer.isNew && !sample.magnetometer.isNew);
        QCOMPARE(static_cast<double>(run.baroRate), 0.0);
        QCOMPARE(static_cast<double>(run.magRate), 0.0);
    }

    void eachValueGoesToItsPlace()
    {
        om::SensorsData data = record(start + period);
        data.imu.linearAcceleration = {3.0F, 0.0F, -4.0F};
        data.imu.angularVelocity = {1.5F, 2.5F, 3.5F};
        data.imu.pose = turned(0.25F, {1.0F, 0.0F, 0.0F});
        data.magnetometer.magneticFieldUncalibrated = {4.5F, 5.5F, 6.5F};
        data.barometer.pressure = 101325.0F;
        data.barometer.relativeAltitude = -1.25F;
        data.cameraMovingState = 2;
        data.temperature.values = {
            {Location::IMU, 30.0F}, {Location::LEFT, 31.0F}, {Location::RIGHT, 32.0F}};
        Run run;
        const Sample sample = run.only(data);
        QCOMPARE(valuesOf(sample.acceleration), Values({3.0F, 0.0F, -4.0F}));
        QCOMPARE(valuesOf(sample.direction), Values({0.6F, 0.0F, -0.8F}));
        QCOMPARE(valuesOf(sample.angularVelocity), Values({1.5F, 2.5F, 3.5F}));
        QCOMPARE(valuesOf(sample.field), Values({4.5F, 5.5F, 6.5F}));
        QVERIFY(qAbs(sample.angles.x - 14.323945F) < 1e-4F);
        QVERIFY(qAbs(sample.angles.y) < 1e-4F && qAbs(sample.angles.z) < 1e-4F);
        const om::Orientation wanted = data.imu.pose.getOrientation();
        QVERIFY(wanted.ox > 0.1F);
        QCOMPARE(sample.orientation.ox, wanted.ox);
        QCOMPARE(sample.orientation.ow, wanted.ow);
        QCOMPARE(sample.pressure, 1013.25F);
        QCOMPARE(sample.altitude, -1.25F);
        QCOMPARE(sample.movingState, 2);
        QCOMPARE(sample.left, 31.0F);
        QCOMPARE(sample.right, 32.0F);
        QVERIFY(!sample.temperatureFallback);
    }

    void anyComponentMakesTriplesDiffer()
    {
        QVERIFY(!sensorsample::differ({1, 2, 3}, {1, 2, 3}));
        QVERIFY(sensorsample::differ({1, 2, 3}, {1.0001F, 2, 3}));
        QVERIFY(sensorsample::differ({1, 2, 3}, {1, 2.0001F, 3}));
        QVERIFY(sensorsample::differ({1, 2, 3}, {1, 2, 3.0001F}));
    }

    void theUnitVectorHasLengthOne()
    {
        const om::Vector3<float> u = sensorsample::unit({2.0F, 3.0F, -6.0F});
        QCOMPARE(u.x, 2.0F / 7.0F);
        QCOMPARE(u.y, 3.0F / 7.0F);
        QCOMPARE(u.z, -6.0F / 7.0F);
    }

    void theUnitOfAZeroVectorIsNotANumber()
    {
        const om::Vector3<float> u = sensorsample::unit({0, 0, 0});
        QVERIFY(std::isnan(u.x) && std::isnan(u.y) && std::isnan(u.z));
    }

    void theFieldIsCalibratedWhereTheTriplesDiffer()
    {
        Run run;
        auto data = record(start + period);
        data.magnetometer.magneticFieldUncalibrated = {1.0F, 2.0F, 3.0F};
        data.magnetometer.magneticFieldCalibrated = {1.0F, 2.0F, 3.0F};
        QVERIFY(!run.only(data).fieldIsCalibrated);
        data.imu.timestamp += period;
        data.magnetometer.magneticFieldCalibrated.y = 2.5F;
        QVERIFY(run.sampler.take(data).value().fieldIsCalibrated);
    }

    void withoutABoardTemperatureTheImusStandsInForBoth_data()
    {
        QTest::addColumn<int>("absent");
        QTest::newRow("left") << static_cast<int>(Location::LEFT);
        QTest::newRow("right") << static_cast<int>(Location::RIGHT);
    }

    void withoutABoardTemperatureTheImusStandsInForBoth()
    {
        QFETCH(int, absent);
        auto data = record(start + period);
        data.temperature.values.erase(static_cast<Location>(absent));
        Run run;
        const Sample sample = run.only(data);
        QVERIFY(sample.temperatureFallback);
        QCOMPARE(sample.left, 30.0F);
        QCOMPARE(sample.right, 30.0F);
    }

    void withoutAnyTemperatureTheLastOnesStand()
    {
        Run run;
        run.only(record(start + period));
        auto data = record(start + 2 * period);
        data.temperature.values.clear();
        const Sample sample = run.sampler.take(data).value();
        QVERIFY(sample.temperatureFallback);
        QCOMPARE(sample.left, 45.0F);
        QCOMPARE(sample.right, 45.0F);
    }
};

QTEST_GUILESS_MAIN(TestSensorSample)
#include "tst_sensor_sample.moc"
