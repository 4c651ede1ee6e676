// One row of each sample, with the values of the main program's recordings.

#include "log/row_maker.h"

#include <QTest>

using samplelog::RowMaker;
using Location = om::SensorsData::TemperatureData::SENSOR_LOCATION;

namespace {

om::SensorsData record(std::uint64_t timeNs)
{
    om::SensorsData data;
    data.imu.timestamp = timeNs;
    data.imu.effectiveRate = 400.0F;
    data.imu.linearAcceleration = {0.1F, -9.8F, 0.2F};
    data.imu.angularVelocity = {1.5F, 2.5F, -3.5F};
    data.magnetometer.isAvailable = true;
    data.magnetometer.timestamp = 1'700'000'000'120'000'999;
    data.magnetometer.magneticFieldUncalibrated = {10.0F, 20.0F, 30.0F};
    data.magnetometer.magneticFieldCalibrated = {1.0F, 2.0F, 3.0F};
    data.barometer.isAvailable = true;
    data.barometer.timestamp = 1'700'000'000'100'000'000;
    data.barometer.pressure = 101325.0F;
    data.barometer.relativeAltitude = -1.5F;
    data.temperature.values = {{Location::LEFT, 30.5F},
                               {Location::RIGHT, 31.5F},
                               {Location::IMU, 36.5F},
                               {Location::BAROMETER, 29.5F}};
    data.cameraMovingState = 2;
    return data;
}

constexpr std::uint64_t first = 1'700'000'000'123'456'789;

} // namespace

class TestRowMaker : public QObject
{
    Q_OBJECT

private slots:
    void theFirstSampleHasARowAndRepeatsHaveNone()
    {
        RowMaker maker;
        QVERIFY(!maker.take(record(0)));
        QVERIFY(!maker.take(record(999)));
        const auto one = maker.take(record(first));
        QVERIFY(one);
        QCOMPARE(one->row.index, 0);
        QCOMPARE(one->timeUs, first / 1000);
        QCOMPARE(one->effectiveRate, 400.0F);
        QVERIFY(!maker.take(record(first)));
        QVERIFY(!maker.take(record(first + 200))); // the same microsecond
        const auto two = maker.take(record(first + 2'500'000));
        QVERIFY(two);
        QCOMPARE(two->row.index, 1);
    }

    void valuesAreInTheUnitsOfTheFile()
    {
        const recorder::Row row = RowMaker().take(record(first))->row;
        QCOMPARE(row.imuTime, 1'700'000'000'123'456.0 / 1e6);
        QCOMPARE(row.magTime, 1'700'000'000'120'000.0 / 1e6);
        QCOMPARE(row.baroTime, 1'700'000'000'100'000.0 / 1e6);
        QCOMPARE(row.acceleration,
                 (std::array<double, 3>{double{0.1F}, double{-9.8F}, double{0.2F}}));
        QCOMPARE(row.angularVelocity, (std::array<double, 3>{1.5, 2.5, -3.5}));
        QCOMPARE(row.magneticField, (std::array<double, 3>{10.0, 20.0, 30.0}));
        QCOMPARE(row.orientation, (std::array<double, 3>{0.0, 0.0, 0.0}));
        QCOMPARE(row.pressure, 1013.25);
        QCOMPARE(row.relativeAltitude, -1.5);
        QCOMPARE(row.movingState, 2.0);
        QCOMPARE(row.tempLeft, 30.5);
        QCOMPARE(row.tempRight, 31.5);
        QCOMPARE(row.tempImu, 36.5F);
        QCOMPARE(row.tempBarometer, 29.5F);
    }

    void anglesAreInDegrees()
    {
        om::SensorsData data = record(first);
        data.imu.pose.setOrientation(
            om::Orientation(om::Rotation(0.5F, om::Translation(1.0F, 0.0F, 0.0F))));
        const recorder::Row row = RowMaker().take(data)->row;
        QVERIFY(std::abs(row.orientation[0] - 28.64789) < 1e-4);
        QVERIFY(std::abs(row.orientation[1]) < 1e-4);
    }

    void withoutASensorItsTimeIsZero()
    {
        om::SensorsData data = record(first);
        data.magnetometer = {};
        data.barometer.isAvailable = false;
        const recorder::Row row = RowMaker().take(data)->row;
        QCOMPARE(row.magTime, 0.0);
        QCOMPARE(row.baroTime, 0.0);
        QCOMPARE(row.pressure, 1013.25); // whatever the record holds
    }

    void withoutTheBoardsTemperaturesThatOfTheImuTakesTheirPlace()
    {
        om::SensorsData data = record(first);
        data.temperature.values.erase(Location::RIGHT);
        data.temperature.values.erase(Location::BAROMETER);
        const recorder::Row row = RowMaker().take(data)->row;
        QCOMPARE(row.tempLeft, 36.5);
        QCOMPARE(row.tempRight, 36.5);
        QCOMPARE(row.tempBarometer, 36.5F);
    }

    void withoutAnyTemperatureTheLastOnesStay()
    {
        RowMaker maker;
        om::SensorsData data = record(first);
        QVERIFY(maker.take(data));
        data.imu.timestamp += 2'500'000;
        data.temperature.values.clear();
        const recorder::Row row = maker.take(data)->row;
        QCOMPARE(row.tempLeft, 30.5);
        QCOMPARE(row.tempRight, 31.5);
        QCOMPARE(row.tempImu, 0.0F);
    }
};

QTEST_APPLESS_MAIN(TestRowMaker)
#include "tst_row_maker.moc"
