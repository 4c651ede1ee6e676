#include "calibration/mag_record.h"

#include "calibration/mag_calib.h"
#include "calibration/sample_math.h"

#include "calibration/clouds.h"

#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>

using magrecord::Calibration;

Q_DECLARE_METATYPE(Calibration)

namespace {

om::_mag_calib_data recordOf(const Calibration& calibration)
{
    om::_mag_calib_data record;
    std::memset(&record, 0xA5, sizeof record);
    magrecord::fill(record, calibration);
    return record;
}

/// The six floats as in the EEPROM image.
std::array<float, 6> stored(const om::_mag_calib_data& record)
{
    std::array<float, 6> floats;
    std::memcpy(floats.data(), reinterpret_cast<const char*>(&record) + 1, sizeof floats);
    return floats;
}

} // namespace

class TestMagRecord : public QObject
{
    Q_OBJECT

private slots:
    void eachValueGoesToItsPlaceInTheRecord_data();
    void eachValueGoesToItsPlaceInTheRecord();
    void firstByteIsLeftAsItIs();
    void neutralCalibrationStoresMinusZero();
    void offsetBelowSinglePrecisionKeepsItsReversedSign();
    void eachStoredFloatComesBackToItsAxis_data();
    void eachStoredFloatComesBackToItsAxis();
    void storedCalibrationLoadsAsItselfInSinglePrecision();
    void rawCountsEndAsTheSensorsOwnOffsetsAndScales();
    void comparisonFindsADifferenceInAnyFloat_data();
    void comparisonFindsADifferenceInAnyFloat();
    void comparisonTakesZerosOfBothSignsAsEqual();
    void comparisonNeverAcceptsNaN_data();
    void comparisonNeverAcceptsNaN();
};

void TestMagRecord::eachValueGoesToItsPlaceInTheRecord_data()
{
    QTest::addColumn<Calibration>("calibration");
    QTest::addColumn<int>("offset");
    QTest::addColumn<float>("value");
    const Calibration distinct{{1.5, -2.5, 3.5}, {0.25, 0.5, 0.125}};
    QTest::newRow("scale of axis 1 is that of Y") << distinct << 1 << 0.5F;
    QTest::newRow("scale of axis 2 is that of X") << distinct << 5 << 0.25F;
    QTest::newRow("scale of axis 3 is that of Z") << distinct << 9 << 0.125F;
    QTest::newRow("offset of axis 1 is that of Y") << distinct << 13 << -2.5F;
    QTest::newRow("offset of axis 2 is minus that of X") << distinct << 17 << -1.5F;
    QTest::newRow("offset of axis 3 is that of Z") << distinct << 21 << 3.5F;
}

void TestMagRecord::eachValueGoesToItsPlaceInTheRecord()
{
    QFETCH(Calibration, calibration);
    QFETCH(int, offset);
    QFETCH(float, value);
    const om::_mag_calib_data record = recordOf(calibration);
    QCOMPARE(sizeof record, std::size_t{25});
    float written = 0.0F;
    std::memcpy(&written, reinterpret_cast<const char*>(&record) + offset, sizeof written);
    QVERIFY(written == value);
}

void TestMagRecord::firstByteIsLeftAsItIs()
{
    const om::_mag_calib_data record = recordOf({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
    QCOMPARE(int{record.reserved}, 0xA5);
}

void TestMagRecord::neutralCalibrationStoresMinusZero()
{
    const om::_mag_calib_data record = recordOf({{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}});
    for (int i = 0; i < 3; ++i) {
        QVERIFY(record.scale[i] == 1.0F);
        QVERIFY(record.offset[i] == 0.0F);
        QCOMPARE(std::signbit(record.offset[i]), i == 1);
    }
}

void TestMagRecord::offsetBelowSinglePrecisionKeepsItsReversedSign()
{
    // Narrowed to zero, and then the sign changes.
    const double tiny = std::numeric_limits<double>::denorm_min();
    const om::_mag_calib_data record = recordOf({{tiny, 0.0, 0.0}, {1.0, 1.0, 1.0}});
    QVERIFY(record.offset[1] == 0.0F);
    QVERIFY(std::signbit(record.offset[1]));
    const om::_mag_calib_data opposite = recordOf({{-tiny, 0.0, 0.0}, {1.0, 1.0, 1.0}});
    QVERIFY(!std::signbit(opposite.offset[1]));
}

void TestMagRecord::eachStoredFloatComesBackToItsAxis_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("field");
    QTest::addColumn<int>("axis");
    QTest::addColumn<double>("sign");
    QTest::newRow("scale 1") << 0 << "scale" << 1 << 1.0;
    QTest::newRow("scale 2") << 1 << "scale" << 0 << 1.0;
    QTest::newRow("scale 3") << 2 << "scale" << 2 << 1.0;
    QTest::newRow("offset 1") << 3 << "offset" << 1 << 1.0;
    QTest::newRow("offset 2") << 4 << "offset" << 0 << -1.0;
    QTest::newRow("offset 3") << 5 << "offset" << 2 << 1.0;
}

void TestMagRecord::eachStoredFloatComesBackToItsAxis()
{
    QFETCH(int, index);
    QFETCH(QString, field);
    QFETCH(int, axis);
    QFETCH(double, sign);
    float floats[6] = {};
    floats[index] = 0.7F;
    const Calibration calibration = magrecord::fromStored(floats);
    for (int i = 0; i < 3; ++i) {
        const auto at = static_cast<std::size_t>(i);
        const double expected = i == axis ? sign * static_cast<double>(0.7F) : 0.0;
        QVERIFY(calibration.scale[at] == (field == "scale" ? expected : 0.0));
        QVERIFY(calibration.offset[at] == (field == "offset" ? expected : 0.0));
    }
}

void TestMagRecord::storedCalibrationLoadsAsItselfInSinglePrecision()
{
    const Calibration before{{1.5, -2.5, 3.5}, {0.02, 0.03, 0.04}};
    const Calibration after = magrecord::fromStored(stored(recordOf(before)).data());
    for (std::size_t i = 0; i < 3; ++i) {
        QVERIFY(after.offset[i] == static_cast<double>(static_cast<float>(before.offset[i])));
        QVERIFY(after.scale[i] == static_cast<double>(static_cast<float>(before.scale[i])));
    }
}

void TestMagRecord::rawCountsEndAsTheSensorsOwnOffsetsAndScales()
{
    // A sensor whose counts are on an ellipsoid of its own axes; the calibration must be returned
    // in the same axes, whatever the dialog calls them.
    const Eigen::Vector3d offset(11.0, -23.0, 37.0); // uT, sensor axes
    const Eigen::Vector3d radii(41.0, 53.0, 47.0);
    const clouds::Cloud sensor = clouds::onEllipsoid(4000, offset, radii);
    const auto counts = [](double microtesla) {
        return static_cast<std::int16_t>(std::lround(microtesla * 16.0));
    };

    Eigen::VectorXd x(4000);
    Eigen::VectorXd y(4000);
    Eigen::VectorXd z(4000);
    for (int i = 0; i < 4000; ++i) {
        om::IMUReaderData record;
        record.mag[0] = counts(sensor.x[i]);
        record.mag[1] = counts(sensor.y[i]);
        record.mag[2] = counts(sensor.z[i]);
        const samplemath::Sample sample = samplemath::sampleOf(record);
        x[i] = sample.x;
        y[i] = sample.y;
        z[i] = sample.z;
    }
    MagCalib fit;
    QVERIFY(fit.ellipsoidCalibration(x, y, z, 1.0));
    const om::_mag_calib_data record = recordOf({{fit.center[0], fit.center[1], fit.center[2]},
                                                 {fit.scale[0], fit.scale[1], fit.scale[2]}});
    for (int axis = 0; axis < 3; ++axis) {
        QVERIFY(std::abs(static_cast<double>(record.offset[axis]) - offset[axis]) < 0.01);
        QVERIFY(std::abs(static_cast<double>(record.scale[axis]) * radii[axis] - 1.0) < 0.0005);
    }
}

void TestMagRecord::comparisonFindsADifferenceInAnyFloat_data()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < 6; ++i) {
        QTest::addRow("float %d", i) << i;
    }
}

void TestMagRecord::comparisonFindsADifferenceInAnyFloat()
{
    QFETCH(int, index);
    const om::_mag_calib_data record = recordOf({{1.5, -2.5, 3.5}, {0.02, 0.03, 0.04}});
    std::array<float, 6> floats = stored(record);
    QVERIFY(magrecord::equal(floats.data(), record));
    float& value = floats[static_cast<std::size_t>(index)];
    value = std::nextafter(value, 100.0F);
    QVERIFY(!magrecord::equal(floats.data(), record));
}

void TestMagRecord::comparisonTakesZerosOfBothSignsAsEqual()
{
    const om::_mag_calib_data record = recordOf({{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}});
    const float floats[6] = {1.0F, 1.0F, 1.0F, 0.0F, 0.0F, 0.0F};
    QVERIFY(magrecord::equal(floats, record));
}

void TestMagRecord::comparisonNeverAcceptsNaN_data()
{
    comparisonFindsADifferenceInAnyFloat_data();
}

void TestMagRecord::comparisonNeverAcceptsNaN()
{
    QFETCH(int, index);
    om::_mag_calib_data record = recordOf({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    if (index < 3) {
        record.scale[index] = nan;
    } else {
        record.offset[index - 3] = nan;
    }
    QVERIFY(!magrecord::equal(stored(record).data(), record));
}

QTEST_APPLESS_MAIN(TestMagRecord)
#include "tst_mag_record.moc"
