#include "sensors/sensor_math.h"

#include <QtTest>

#include <cmath>
#include <map>

namespace sm = sensormath;
using Location = om::SensorsData::TemperatureData::SENSOR_LOCATION;
using Temperatures = std::map<Location, float>;

Q_DECLARE_METATYPE(Temperatures)

namespace {

om::SensorsData recordWith(const Temperatures& temperatures)
{
    om::SensorsData record;
    record.temperature.values = temperatures;
    return record;
}

} // namespace

class TestSensorMath : public QObject
{
    Q_OBJECT

private slots:
    void secondsHaveTheResolutionOfAMicrosecond()
    {
        QCOMPARE(sm::seconds(1'706'711'000'123'456), 1706711000.123456);
        QCOMPARE(sm::seconds(0), 0.0);
        QCOMPARE(sm::seconds(1), 1e-6);
    }

    void degreesAreComputedInDoubleAndRoundedToFloat()
    {
        QCOMPARE(sm::degrees(0.0F), 0.0F);
        QCOMPARE(sm::degrees(static_cast<float>(M_PI)),
                 static_cast<float>(static_cast<double>(static_cast<float>(M_PI)) * 180.0 /
                                    3.141592653589793));
        QCOMPARE(sm::degrees(-0.5F), -28.647890F);
    }

    void eulerAnglesAreInDegrees()
    {
        om::SensorsData record;
        om::Orientation turned; // by a quarter of a turn about x
        turned.ox = static_cast<float>(M_SQRT1_2);
        turned.ow = static_cast<float>(M_SQRT1_2);
        record.imu.pose = om::Transform(turned, om::Translation());
        const om::Vector3<float> angles = sm::eulerDegrees(record);
        QVERIFY(std::fabs(angles.x - 90.0F) < 1e-3F);
        QVERIFY(std::fabs(angles.y) < 1e-3F && std::fabs(angles.z) < 1e-3F);
    }

    void theTemperatureOfTheImuReplacesBothOfTheBoardIfOneIsMissing_data()
    {
        QTest::addColumn<Temperatures>("temperatures");
        QTest::addColumn<bool>("isReplaced");
        QTest::addColumn<float>("left");
        QTest::addColumn<float>("right");
        QTest::newRow("all") << Temperatures{{Location::IMU, 30.0F},
                                             {Location::LEFT, 31.0F},
                                             {Location::RIGHT, 32.0F}}
                             << false << 31.0F << 32.0F;
        QTest::newRow("no left one")
            << Temperatures{{Location::IMU, 30.0F}, {Location::RIGHT, 32.0F}} << true << 30.0F
            << 30.0F;
        QTest::newRow("no right one")
            << Temperatures{{Location::IMU, 30.0F}, {Location::LEFT, 31.0F}} << true << 30.0F
            << 30.0F;
        QTest::newRow("only the right one")
            << Temperatures{{Location::RIGHT, 32.0F}} << true << 20.0F << 32.0F;
        QTest::newRow("none") << Temperatures{} << true << 20.0F << 21.0F;
    }

    void theTemperatureOfTheImuReplacesBothOfTheBoardIfOneIsMissing()
    {
        QFETCH(Temperatures, temperatures);
        sm::BoardTemperatures board;
        QVERIFY(!board.take(recordWith({{Location::LEFT, 20.0F}, {Location::RIGHT, 21.0F}})));
        QTEST(board.take(recordWith(temperatures)), "isReplaced");
        QTEST(board.left(), "left");
        QTEST(board.right(), "right");
    }

    void theTemperatureOfTheImuReplacesThatOfAMissingBarometer_data()
    {
        QTest::addColumn<Temperatures>("temperatures");
        QTest::addColumn<float>("imu");
        QTest::addColumn<float>("barometer");
        QTest::newRow("both") << Temperatures{{Location::IMU, 30.0F}, {Location::BAROMETER, 29.0F}}
                              << 30.0F << 29.0F;
        QTest::newRow("no barometer") << Temperatures{{Location::IMU, 30.0F}} << 30.0F << 30.0F;
        QTest::newRow("only the barometer")
            << Temperatures{{Location::BAROMETER, 29.0F}} << 0.0F << 29.0F;
        QTest::newRow("none") << Temperatures{} << 0.0F << 0.0F;
    }

    void theTemperatureOfTheImuReplacesThatOfAMissingBarometer()
    {
        QFETCH(Temperatures, temperatures);
        const sm::SensorTemperatures inside = sm::sensorTemperatures(recordWith(temperatures));
        QTEST(inside.imu, "imu");
        QTEST(inside.barometer, "barometer");
    }

    void pressureIsShownInHectopascals() { QCOMPARE(sm::hectopascals(101325.0F), 1013.25F); }
};

QTEST_GUILESS_MAIN(TestSensorMath)
#include "tst_sensor_math.moc"
