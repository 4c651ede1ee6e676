#include "support/qtcalls.h"
#include "support/sidethread.h"
#include "support/viewersession.h"
#include "support/waiting.h"

#include "gpu/OGL3DWidget.h"
#include "gpu/Simple3DObject.h"
#include "sensors/time_slice.h"
#include "viewer/sensor_sample.h"

#include <QDir>
#include <QSemaphore>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>

using namespace viewersession;
using om::ERROR_CODE;
using om::MODEL;
using om::bench::CALL;
using om::bench::SensorsEntry;
using Location = om::SensorsData::TemperatureData::SENSOR_LOCATION;

namespace {

constexpr unsigned int serial = 20000001;
constexpr std::uint64_t second = 1'000'000'000;
/// 1000 s after the epoch, and 2.5 ms for each sample after that.
constexpr std::uint64_t start = 1000 * second;
constexpr std::uint64_t period = 2'500'000;

/// A record of only the IMU, but with temperatures on the board.
SensorsEntry imuRecord(std::uint64_t timestamp)
{
    SensorsEntry entry;
    entry.data.imu.timestamp = timestamp;
    entry.data.imu.linearAcceleration = {0.0F, 9.75F, 0.0F};
    entry.data.imu.effectiveRate = 400.0F;
    entry.data.barometer.pressure = 102500.0F;
    entry.data.temperature.values = {
        {Location::IMU, 30.0F}, {Location::LEFT, 45.0F}, {Location::RIGHT, 45.0F}};
    return entry;
}

SensorsEntry withBarometer(SensorsEntry entry, std::uint64_t timestamp, float pascals = 102500.0F)
{
    entry.data.barometer.isAvailable = true;
    entry.data.barometer.timestamp = timestamp;
    entry.data.barometer.pressure = pascals;
    entry.data.barometer.effectiveRate = 25.5F;
    return entry;
}

SensorsEntry withMagnetometer(SensorsEntry entry, std::uint64_t timestamp,
                              om::Vector3<float> field = {1.0F, 2.0F, 3.0F})
{
    entry.data.magnetometer.isAvailable = true;
    entry.data.magnetometer.timestamp = timestamp;
    entry.data.magnetometer.magneticFieldUncalibrated = field;
    entry.data.magnetometer.magneticFieldCalibrated = field;
    entry.data.magnetometer.effectiveRate = 50.5F;
    return entry;
}

SensorsEntry result(ERROR_CODE code)
{
    SensorsEntry entry;
    entry.result = code;
    return entry;
}

SensorsEntry changed(SensorsEntry entry, const std::function<void(om::SensorsData&)>& change)
{
    change(entry.data);
    return entry;
}

/// Opens the view's protected camera model.
struct ViewAccess : OGL3DWidget
{
    static Simple3DObject* model(OGL3DWidget& view) { return view.*(&ViewAccess::cameraModel); }
};

using Doubles = QVector<double>;

} // namespace

/// The sensor thread of a real session, with records from the test.
class TestSensorThread : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Viewer> m_viewer;

    /// Streams the records to a new window, until the loop has handled the last one, which is then
    /// repeated.
    void stream(std::vector<SensorsEntry> entries)
    {
        const std::uint64_t count = entries.size();
        bench().addCamera(camera(MODEL::TIV_Q, serial));
        bench().camera(serial)->sensorsScript().set(std::move(entries));
        m_viewer = std::make_unique<Viewer>();
        QTRY_VERIFY(bench().camera(serial)->sensorsScript().status().calls > count);
        quiet();
    }

    /// Further records of the same run.
    void streamMore(std::vector<SensorsEntry> entries)
    {
        const std::uint64_t count = entries.size();
        const auto before = bench().camera(serial)->sensorsScript().status().delivered;
        bench().camera(serial)->sensorsScript().append(std::move(entries));
        QTRY_COMPARE(bench().camera(serial)->sensorsScript().status().delivered, before + count);
        const auto calls = bench().camera(serial)->sensorsScript().status().calls;
        QTRY_VERIFY(bench().camera(serial)->sensorsScript().status().calls > calls + 1);
        quiet();
    }

    /// From now on only the test reads the series: only repeats arrive.
    void quiet() { QVERIFY(m_viewer->probe.dataThreadRunning || m_viewer->probe.cameraLost); }

    /// Three IMU samples are stored from these four records.
    static std::vector<SensorsEntry> fourRecords()
    {
        return {imuRecord(start), imuRecord(start + period), imuRecord(start + 2 * period),
                imuRecord(start + 3 * period)};
    }

private slots:
    void init() { bench().reset(); }
    void cleanup() { m_viewer.reset(); }

    // The interface thread and the driver's keep the processors for milliseconds at a time.
    void onlyTheSensorThreadAsksForShortSlices()
    {
        const std::chrono::nanoseconds unknown(0);
        if (timeslice::of(0).value_or(unknown) == unknown) {
            QSKIP("this kernel lets nobody choose a slice: before 6.12, or refused");
        }
        const auto threadsWithShortSlices = [] {
            const QStringList threads = QDir(QStringLiteral("/proc/self/task"))
                                            .entryList(QDir::Dirs | QDir::NoDotAndDotDot);
            return std::count_if(threads.begin(), threads.end(), [](const QString& thread) {
                return timeslice::of(thread.toInt()) == timeslice::shortest;
            });
        };
        QCOMPARE(threadsWithShortSlices(), 0);
        stream(fourRecords());
        QTRY_COMPARE(threadsWithShortSlices(), 1);
        QVERIFY(timeslice::of(0) > timeslice::shortest);
        m_viewer.reset();
        QTRY_COMPARE(threadsWithShortSlices(), 0);
    }

    void theFirstImuSampleOfARunIsDropped()
    {
        stream(fourRecords());
        auto& probe = m_viewer->probe;
        QCOMPARE(probe.imuTime, Doubles({1000.0025, 1000.005, 1000.0075}));
        QCOMPARE(probe.imuStartTime, static_cast<std::uint64_t>(start / 1000));
        QCOMPARE(probe.elapsedSec, 1000.0075);
    }

    void aRepeatAppendsNothingToAnySeries()
    {
        auto entries = fourRecords();
        stream(entries);
        auto& probe = m_viewer->probe;
        QVector<int> sizes;
        for (int i = 0; i < probe.seriesCount; ++i) {
            sizes << probe.series(i).size();
        }
        // The same microsecond with other values is still the same sample.
        auto repeat =
            withMagnetometer(withBarometer(imuRecord(start + 3 * period + 999), start), start);
        repeat.data.imu.linearAcceleration = {99.0F, 99.0F, 99.0F};
        repeat.data.imu.effectiveRate = 123.0F;
        streamMore({repeat, repeat});
        for (int i = 0; i < probe.seriesCount; ++i) {
            if (&probe.series(i) != &probe.chartTime && &probe.series(i) != &probe.chartY0 &&
                &probe.series(i) != &probe.chartY1 && &probe.series(i) != &probe.chartY2) {
                QCOMPARE(probe.series(i).size(), sizes.at(i));
            }
        }
        QCOMPARE(static_cast<float>(probe.accelRange), 15.0F);
        // The reported rate is taken on every poll, those of the other blocks with a sample only.
        QCOMPARE(static_cast<double>(probe.imuEffectiveRate), 123.0);
        QCOMPARE(static_cast<double>(probe.baroEffectiveRate), 0.0);
        QCOMPARE(static_cast<double>(probe.magEffectiveRate), 0.0);
    }

    // Otherwise all series of one pace are copied with the same sample.
    void seriesHaveTheNextCapacityBeforeTheyAreFull()
    {
        constexpr int samples = 23'990; // 24000 are reserved
        constexpr int portion = 2'399;  // is handled well within the patience of a wait
        // The first sample of a run is dropped.
        int next = 0;
        const auto entriesTo = [&next](int end) {
            std::vector<SensorsEntry> entries;
            for (; next < end; ++next) {
                const auto time = start + static_cast<std::uint64_t>(next) * period;
                entries.push_back(withMagnetometer(withBarometer(imuRecord(time), start), start));
                entries.back().data.imu.linearAcceleration.x = static_cast<float>(next);
            }
            return entries;
        };
        stream(entriesTo(portion + 1));
        while (next <= samples && !QTest::currentTestFailed()) {
            streamMore(entriesTo(next + portion));
        }
        auto& probe = m_viewer->probe;
        QCOMPARE(probe.accX.size(), samples);
        for (int i = 0; i < samples; ++i) {
            QCOMPARE(probe.accX.at(i), i + 1.0);
        }
        int full = 0;
        for (int i = 0; i < probe.seriesCount; ++i) {
            if (probe.series(i).size() == samples) {
                QCOMPARE(probe.series(i).capacity(), 32'765);
                ++full;
            }
        }
        QCOMPARE(full, 21); // without the temperature fallback
    }

    void clearedSeriesForgetTheGrowthThatWasUnderWay()
    {
        m_viewer = std::make_unique<Viewer>();
        auto& probe = m_viewer->probe;
        sensorsample::Sample sample;
        const auto store = [&](int count, float first) {
            for (int i = 0; i < count; ++i) {
                sample.acceleration.x = first + static_cast<float>(i);
                probe.appendToSeries(sample);
                probe.growSeries();
            }
        };
        store(18'300, 100'000.0F);
        QVERIFY(probe.growth.copied(0) > 0);
        probe.initCharts();
        store(24'000, 0.0F);
        QCOMPARE(probe.accX.size(), 24'000);
        for (int i = 0; i < probe.accX.size(); ++i) {
            QCOMPARE(probe.accX.at(i), static_cast<double>(i));
        }
    }

    void aTimestampBelowAMicrosecondIsNoSample()
    {
        stream({imuRecord(0), imuRecord(999), imuRecord(start), imuRecord(500),
                imuRecord(start + period), imuRecord(0), imuRecord(start + 2 * period)});
        QCOMPARE(m_viewer->probe.imuTime, Doubles({1000.0025, 1000.005}));
        QCOMPARE(m_viewer->probe.imuRates, Doubles({400.0, 400.0}));
    }

    void eachSeriesGetsItsElement()
    {
        auto entry = withMagnetometer(
            withBarometer(imuRecord(start + period), start + second / 2, 101325.0F),
            start + second / 4, {20.5F, -30.25F, 40.125F});
        auto& data = entry.data;
        data.imu.linearAcceleration = {1.5F, -9.5F, 2.25F};
        data.imu.angularVelocity = {10.5F, -20.25F, 30.125F};
        data.imu.pose = om::Transform(om::Orientation(om::Rotation(0.5F, {1.0F, 0.0F, 0.0F})),
                                      om::Translation());
        data.barometer.relativeAltitude = 1.75F;
        data.temperature.values = {{Location::IMU, 30.0F},
                                   {Location::BAROMETER, 31.0F},
                                   {Location::LEFT, 32.5F},
                                   {Location::RIGHT, 33.5F}};
        data.cameraMovingState = 2;
        const float angle = static_cast<float>(
            static_cast<double>(data.imu.pose.getEulerAngles(true).x) * 180.0 / 3.141592653589793);
        // A first record of all three streams, and one whose slow blocks are new.
        stream({withMagnetometer(withBarometer(imuRecord(start), start), start), entry});
        auto& probe = m_viewer->probe;

        struct Expected
        {
            const char* name;
            const Doubles& series;
            Doubles elements;
        };
        const Expected table[] = {
            {"accX", probe.accX, {1.5}},
            {"accY", probe.accY, {-9.5}},
            {"accZ", probe.accZ, {2.25}},
            {"gyroX", probe.gyroX, {10.5}},
            {"gyroY", probe.gyroY, {-20.25}},
            {"gyroZ", probe.gyroZ, {30.125}},
            {"magX", probe.magX, {20.5}},
            {"magY", probe.magY, {-30.25}},
            {"magZ", probe.magZ, {40.125}},
            {"orX", probe.orX, {static_cast<double>(angle)}},
            {"orY", probe.orY, {0.0}},
            {"orZ", probe.orZ, {0.0}},
            {"pressure", probe.pressure, {1013.25}},
            {"relAltitude", probe.relAltitude, {1.75}},
            {"movingState", probe.movingState, {2.0}},
            {"tempLeft", probe.tempLeft, {32.5}},
            {"tempRight", probe.tempRight, {33.5}},
            {"imuRates", probe.imuRates, {400.0}},
            {"baroRates", probe.baroRates, {}}, // the first of a run only sets the clock
            {"magRates", probe.magRates, {}},
            {"tempFallbackTime", probe.tempFallbackTime, {}},
            {"magNewX", probe.magNewX, {}},
            {"spareSeries", probe.spareSeries, {}},
            {"imuTime", probe.imuTime, {1000.0025}},
            {"magTime", probe.magTime, {1000.25}},
            {"baroTime", probe.baroTime, {1000.5}},
        };
        for (const Expected& row : table) {
            QVERIFY2(row.series == row.elements, row.name);
        }
        QVERIFY(std::fabs(angle - 28.6479F) < 1e-3F);
        QCOMPARE(static_cast<double>(probe.baroEffectiveRate), 25.5);
        QCOMPARE(static_cast<double>(probe.magEffectiveRate), 50.5);
        QCOMPARE(probe.baroStartTime, static_cast<std::uint64_t>((start + second / 2) / 1000));
        QCOMPARE(probe.magStartTime, static_cast<std::uint64_t>((start + second / 4) / 1000));
    }

    void theSlowBlocksAreLookedAtOnlyBesideANewImuSample()
    {
        // The first record is not a new IMU sample, so its barometer is not read.
        stream({withBarometer(imuRecord(start), start),
                withBarometer(imuRecord(start + period), start + second),
                withBarometer(imuRecord(start + period), start + 2 * second),
                withBarometer(imuRecord(start + 2 * period), start + 3 * second)});
        QCOMPARE(m_viewer->probe.baroNewTime, Doubles({1003.0}));
        QCOMPARE(m_viewer->probe.baroRates, Doubles({0.5}));
        QCOMPARE(m_viewer->probe.baroStartTime,
                 static_cast<std::uint64_t>((start + second) / 1000));
    }

    void aNewBarometerSampleGrowsItsSeriesByOne()
    {
        stream({imuRecord(start), withBarometer(imuRecord(start + period), start, 100000.0F),
                withBarometer(imuRecord(start + 2 * period), start + second / 25, 100100.0F),
                withBarometer(imuRecord(start + 3 * period), start + second / 25, 100100.0F),
                withBarometer(imuRecord(start + 4 * period), start + 2 * second / 25, 100200.0F)});
        auto& probe = m_viewer->probe;
        QCOMPARE(probe.pressure, Doubles({1000.0, 1001.0, 1001.0, 1002.0}));
        QCOMPARE(probe.baroTime, Doubles({1000.0, 1000.04, 1000.04, 1000.08}));
        QCOMPARE(probe.baroNewPressure, Doubles({1001.0, 1002.0}));
        QCOMPARE(probe.baroNewTime, Doubles({1000.04, 1000.08}));
        QCOMPARE(probe.baroNewTempLeft, Doubles({45.0, 45.0}));
        QCOMPARE(probe.baroNewTempRight, Doubles({45.0, 45.0}));
        QCOMPARE(probe.baroRates, Doubles({25.0, 25.0}));
        QVERIFY(probe.tempFallbackTime.isEmpty());
    }

    void aNewMagnetometerSampleGrowsItsSeriesByOne()
    {
        stream(
            {imuRecord(start), withMagnetometer(imuRecord(start + period), start),
             withMagnetometer(imuRecord(start + 2 * period), start + second / 50, {4, 5, 6}),
             withMagnetometer(imuRecord(start + 3 * period), start + second / 50, {4, 5, 6}),
             withMagnetometer(imuRecord(start + 4 * period), start + 2 * second / 50, {7, 8, 9})});
        auto& probe = m_viewer->probe;
        QCOMPARE(probe.magX, Doubles({1, 4, 4, 7}));
        QCOMPARE(probe.magTime, Doubles({1000.0, 1000.02, 1000.02, 1000.04}));
        QCOMPARE(probe.magNewX, Doubles({4, 7}));
        QCOMPARE(probe.magNewY, Doubles({5, 8}));
        QCOMPARE(probe.magNewZ, Doubles({6, 9}));
        QCOMPARE(probe.magNewTime, Doubles({1000.02, 1000.04}));
        QCOMPARE(probe.magRates, Doubles({50.0, 50.0}));
        QVERIFY(probe.spareSeries.isEmpty());
    }

    void anUnavailableBarometerHasTimeZeroAndKeepsItsPressure()
    {
        stream(fourRecords());
        auto& probe = m_viewer->probe;
        QCOMPARE(probe.baroTime, Doubles({0.0, 0.0, 0.0}));
        QCOMPARE(probe.magTime, Doubles({0.0, 0.0, 0.0}));
        QCOMPARE(probe.pressure, Doubles({1025.0, 1025.0, 1025.0}));
        QVERIFY(probe.baroNewPressure.isEmpty());
        QVERIFY(probe.baroNewTime.isEmpty());
        QVERIFY(probe.magNewTime.isEmpty());
        QCOMPARE(static_cast<double>(probe.baroEffectiveRate), 0.0);
    }

    void anUnavailableBlockIsAbsentWhateverItHolds()
    {
        // With times that differ, and rates.
        const auto absent = [](std::uint64_t imu, std::uint64_t slow) {
            return changed(withMagnetometer(withBarometer(imuRecord(imu), slow), slow),
                           [](om::SensorsData& data) {
                               data.barometer.isAvailable = false;
                               data.magnetometer.isAvailable = false;
                           });
        };
        stream({imuRecord(start), absent(start + period, start),
                absent(start + 2 * period, start + second),
                absent(start + 3 * period, start + 2 * second)});
        auto& probe = m_viewer->probe;
        QCOMPARE(probe.baroTime, Doubles({0.0, 0.0, 0.0}));
        QCOMPARE(probe.magTime, Doubles({0.0, 0.0, 0.0}));
        QVERIFY(probe.baroNewTime.isEmpty() && probe.baroRates.isEmpty());
        QVERIFY(probe.magNewTime.isEmpty() && probe.magRates.isEmpty());
        QCOMPARE(static_cast<double>(probe.baroEffectiveRate), 0.0);
        QCOMPARE(static_cast<double>(probe.magEffectiveRate), 0.0);
        QCOMPARE(probe.baroStartTime, std::uint64_t{0});
        QCOMPARE(probe.magStartTime, std::uint64_t{0});
    }

    void theFieldIsTakenWhetherItIsAvailableOrNot()
    {
        auto entry = imuRecord(start + period);
        entry.data.magnetometer.magneticFieldUncalibrated = {7.5F, -8.5F, 9.5F};
        entry.data.magnetometer.magneticFieldCalibrated = {7.5F, -8.5F, 9.0F};
        QVERIFY(!entry.data.magnetometer.isAvailable);
        stream({imuRecord(start), entry});
        auto& probe = m_viewer->probe;
        QCOMPARE(probe.magX, Doubles({7.5}));
        QCOMPARE(probe.magY, Doubles({-8.5}));
        QCOMPARE(probe.magZ, Doubles({9.5}));
        QCOMPARE(static_cast<float>(probe.magRange), 9.5F);
        QVERIFY(probe.magCalibrated);
    }

    void leftAndRightTemperaturesKeepTheirSides()
    {
        const auto sides = [](SensorsEntry entry) {
            return changed(std::move(entry), [](om::SensorsData& data) {
                data.temperature.values[Location::LEFT] = 32.5F;
                data.temperature.values[Location::RIGHT] = 33.5F;
            });
        };
        stream({imuRecord(start), sides(withBarometer(imuRecord(start + period), start)),
                sides(withBarometer(imuRecord(start + 2 * period), start + second))});
        auto& probe = m_viewer->probe;
        QCOMPARE(probe.tempLeft, Doubles({32.5, 32.5}));
        QCOMPARE(probe.tempRight, Doubles({33.5, 33.5}));
        QCOMPARE(probe.baroNewTempLeft, Doubles({32.5}));
        QCOMPARE(probe.baroNewTempRight, Doubles({33.5}));
    }

    void eachEulerAngleGoesToItsAxis()
    {
        auto entry = imuRecord(start + period);
        entry.data.imu.pose = om::Transform(
            om::Orientation(om::Rotation(0.9F, {0.8F, -0.5F, 0.1F})), om::Translation());
        const om::Vector3<float> angles = entry.data.imu.pose.getEulerAngles(true);
        QVERIFY(std::fabs(angles.x - angles.y) > 0.1F && std::fabs(angles.y - angles.z) > 0.1F);
        stream({imuRecord(start), entry});
        const auto degrees = [](float radians) {
            return static_cast<double>(
                static_cast<float>(static_cast<double>(radians) * 180.0 / 3.141592653589793));
        };
        QCOMPARE(m_viewer->probe.orX, Doubles({degrees(angles.x)}));
        QCOMPARE(m_viewer->probe.orY, Doubles({degrees(angles.y)}));
        QCOMPARE(m_viewer->probe.orZ, Doubles({degrees(angles.z)}));
    }

    void anAvailableBlockWithoutATimestampIsNotNew()
    {
        stream({imuRecord(start), withBarometer(imuRecord(start + period), 0),
                withBarometer(imuRecord(start + 2 * period), 999),
                withBarometer(imuRecord(start + 3 * period), start),
                withBarometer(imuRecord(start + 4 * period), start + second)});
        QCOMPARE(m_viewer->probe.baroTime, Doubles({0.0, 0.0, 1000.0, 1001.0}));
        QCOMPARE(m_viewer->probe.baroNewTime, Doubles({1001.0}));
        QCOMPARE(static_cast<double>(m_viewer->probe.baroEffectiveRate), 25.5);
    }

    void magCalibratedFollowsTheDifferenceOfTheTriples_data()
    {
        QTest::addColumn<float>("x");
        QTest::addColumn<float>("y");
        QTest::addColumn<float>("z");
        QTest::addColumn<bool>("calibrated");
        QTest::newRow("equal") << 1.0F << 2.0F << 3.0F << false;
        QTest::newRow("x differs") << 1.5F << 2.0F << 3.0F << true;
        QTest::newRow("y differs") << 1.0F << 2.5F << 3.0F << true;
        QTest::newRow("z differs") << 1.0F << 2.0F << 3.5F << true;
    }

    void magCalibratedFollowsTheDifferenceOfTheTriples()
    {
        QFETCH(float, x);
        QFETCH(float, y);
        QFETCH(float, z);
        QFETCH(bool, calibrated);
        // From the opposite state.
        const auto opposite =
            changed(withMagnetometer(imuRecord(start + period), start), [&](om::SensorsData& data) {
                if (!calibrated) {
                    data.magnetometer.magneticFieldCalibrated.x = 99.0F;
                }
            });
        stream({imuRecord(start), opposite});
        QCOMPARE(static_cast<bool>(m_viewer->probe.magCalibrated), !calibrated);
        streamMore({changed(withMagnetometer(imuRecord(start + 2 * period), start),
                            [&](om::SensorsData& data) {
                                data.magnetometer.magneticFieldCalibrated = {x, y, z};
                            })});
        QCOMPARE(static_cast<bool>(m_viewer->probe.magCalibrated), calibrated);
    }

    void theLimitsWidenWithTheSamples()
    {
        stream(fourRecords());
        auto& probe = m_viewer->probe;
        QCOMPARE(static_cast<float>(probe.accelRange), 15.0F);
        QCOMPARE(static_cast<float>(probe.gyroRange), 15.0F);
        QCOMPARE(static_cast<float>(probe.magRange), 6.5F);
        QCOMPARE(static_cast<float>(probe.orientRange), 45.0F);
        QCOMPARE(static_cast<float>(probe.pressureMax), 1050.0F);
        QCOMPARE(static_cast<float>(probe.pressureMin), 1000.0F);
        QCOMPARE(static_cast<float>(probe.altitudeMax), 5.0F);
        QCOMPARE(static_cast<float>(probe.altitudeMin), 0.0F);
        QCOMPARE(static_cast<float>(probe.temperatureMax), 45.0F);
        QCOMPARE(static_cast<float>(probe.temperatureMin), 45.0F);

        auto wide = withMagnetometer(imuRecord(start + 4 * period), start, {-7.5F, 1.0F, 2.0F});
        wide.data.imu.linearAcceleration = {1.0F, -16.5F, 2.0F};
        wide.data.imu.angularVelocity = {1.0F, 2.0F, -250.0F};
        wide.data.imu.pose = om::Transform(om::Orientation(om::Rotation(1.5F, {0.0F, 0.0F, -1.0F})),
                                           om::Translation());
        wide.data.barometer.pressure = 110000.0F;
        wide.data.barometer.relativeAltitude = 10.0F;
        wide.data.temperature.values[Location::LEFT] = 50.0F;
        wide.data.temperature.values[Location::RIGHT] = 30.0F;
        streamMore({wide});
        QCOMPARE(static_cast<float>(probe.accelRange), 16.5F);
        QCOMPARE(static_cast<float>(probe.gyroRange), 250.0F);
        QCOMPARE(static_cast<float>(probe.magRange), 7.5F);
        QVERIFY(std::fabs(probe.orientRange - 85.9437F) < 1e-3F);
        QCOMPARE(static_cast<float>(probe.pressureMax), 1200.0F);
        QCOMPARE(static_cast<float>(probe.altitudeMax), 11.0F);
        QCOMPARE(static_cast<float>(probe.temperatureMax), 55.0F);
        QCOMPARE(static_cast<float>(probe.temperatureMin), 25.0F);

        auto low = imuRecord(start + 5 * period);
        low.data.barometer.pressure = 90000.0F;
        low.data.barometer.relativeAltitude = -10.0F;
        low.data.temperature.values[Location::LEFT] = 20.0F;
        low.data.temperature.values[Location::RIGHT] = 35.0F;
        streamMore({low});
        QCOMPARE(static_cast<float>(probe.pressureMin), 800.0F);
        QCOMPARE(static_cast<float>(probe.altitudeMin), -11.0F);
        QCOMPARE(static_cast<float>(probe.temperatureMin), 15.0F);

        // A return to small values narrows nothing.
        streamMore({imuRecord(start + 6 * period)});
        QCOMPARE(static_cast<float>(probe.accelRange), 16.5F);
        QCOMPARE(static_cast<float>(probe.pressureMax), 1200.0F);
        QCOMPARE(static_cast<float>(probe.temperatureMin), 15.0F);
        // Nor does another session.
        m_viewer->window->cameraDisconnected();
        QCOMPARE(static_cast<float>(probe.accelRange), 16.5F);
        QCOMPARE(static_cast<float>(probe.gyroRange), 250.0F);
    }

    void theFirstTemperaturesWidenTheLimitsOneSided()
    {
        auto cool = imuRecord(start + period);
        cool.data.temperature.values[Location::LEFT] = 30.0F;
        cool.data.temperature.values[Location::RIGHT] = 30.0F;
        stream({imuRecord(start), cool});
        QCOMPARE(static_cast<float>(m_viewer->probe.temperatureMin), 25.0F);
        QCOMPARE(static_cast<float>(m_viewer->probe.temperatureMax), 45.0F);
    }

    void aSaturatedReadingIsStoredButWidensNothing_data()
    {
        QTest::addColumn<float>("z");
        QTest::addColumn<float>("range");
        QTest::newRow("2048") << 2048.0F << 6.5F;
        QTest::newRow("-2048") << -2048.0F << 6.5F;
        QTest::newRow("2047.9375") << 2047.9375F << 2047.9375F;
    }

    void aSaturatedReadingIsStoredButWidensNothing()
    {
        QFETCH(float, z);
        QFETCH(float, range);
        stream(
            {imuRecord(start), withMagnetometer(imuRecord(start + period), start),
             withMagnetometer(imuRecord(start + 2 * period), start + second, {100.0F, 2.0F, z})});
        QCOMPARE(static_cast<float>(m_viewer->probe.magRange), range);
        QCOMPARE(m_viewer->probe.magZ, Doubles({3.0, static_cast<double>(z)}));
        QCOMPARE(m_viewer->probe.magNewZ, Doubles({static_cast<double>(z)}));
    }

    void withoutBoardTemperaturesTheImusStandsIn_data()
    {
        QTest::addColumn<bool>("left");
        QTest::addColumn<bool>("right");
        QTest::newRow("neither") << false << false;
        QTest::newRow("left only") << true << false;
        QTest::newRow("right only") << false << true;
    }

    void withoutBoardTemperaturesTheImusStandsIn()
    {
        QFETCH(bool, left);
        QFETCH(bool, right);
        const auto poor = [&](SensorsEntry entry) {
            return changed(std::move(entry), [&](om::SensorsData& data) {
                if (!left) {
                    data.temperature.values.erase(Location::LEFT);
                }
                if (!right) {
                    data.temperature.values.erase(Location::RIGHT);
                }
            });
        };
        stream({poor(imuRecord(start)), poor(withBarometer(imuRecord(start + period), start)),
                poor(withBarometer(imuRecord(start + 2 * period), start + second))});
        auto& probe = m_viewer->probe;
        QCOMPARE(probe.tempLeft, Doubles({30.0, 30.0}));
        QCOMPARE(probe.tempRight, Doubles({30.0, 30.0}));
        QCOMPARE(probe.tempFallbackTime, Doubles({1000.0025, 1000.005}));
        // At IMU pace, and once more with the new barometer sample.
        QCOMPARE(probe.baroNewTempLeft, Doubles({30.0, 30.0, 30.0}));
        QCOMPARE(probe.baroNewTempRight, Doubles({30.0, 30.0, 30.0}));
        QCOMPARE(probe.baroNewTime, Doubles({1001.0}));
    }

    void withoutAnyTemperatureTheLastOnesStand()
    {
        const auto bare = [](SensorsEntry entry) {
            entry.data.temperature.values.clear();
            return entry;
        };
        stream({imuRecord(start), imuRecord(start + period), bare(imuRecord(start + 2 * period)),
                changed(bare(imuRecord(start + 3 * period)), [](om::SensorsData& data) {
                    data.temperature.values[Location::LEFT] = 40.0F;
                })});
        QCOMPARE(m_viewer->probe.tempLeft, Doubles({45.0, 45.0, 40.0}));
        QCOMPARE(m_viewer->probe.tempRight, Doubles({45.0, 45.0, 45.0}));
        QCOMPARE(m_viewer->probe.tempFallbackTime, Doubles({1000.005, 1000.0075}));
    }

    void anyOtherFailureOfThePollIsIgnored()
    {
        stream({imuRecord(start), imuRecord(start + period), result(ERROR_CODE::FAILURE),
                result(ERROR_CODE::NOT_DETECTED), imuRecord(start + 2 * period)});
        QCOMPARE(m_viewer->probe.imuTime, Doubles({1000.0025, 1000.005}));
        QVERIFY(m_viewer->probe.dataThreadRunning);
        QVERIFY(!m_viewer->probe.cameraLost);
    }

    void aFailedPollThatFillsTheRecordBringsASample()
    {
        auto filled = imuRecord(start + 2 * period);
        filled.result = ERROR_CODE::FAILURE;
        filled.fillsOnFailure = true;
        stream({imuRecord(start), imuRecord(start + period), filled});
        QCOMPARE(m_viewer->probe.imuTime, Doubles({1000.0025, 1000.005}));
    }

    void aLossStopsTheGrabBeforeItDestroysTheInputThread()
    {
        stream(fourRecords());
        auto& probe = m_viewer->probe;
        InputThreadModul* const input = probe.inputThread;
        // While the input thread is blocked, the stop waits for it.
        QSemaphore heldUp;
        QSemaphore released;
        connect(
            input, &InputThreadModul::SendImage, input,
            [&] {
                heldUp.release();
                (void)waiting::acquire(released);
            },
            Qt::DirectConnection);
        QVERIFY(waiting::acquire(heldUp));
        bench().camera(serial)->sensorsScript().append({result(ERROR_CODE::CAMERA_GONE)});
        const bool stops = waiting::waitFor([&] { return !input->running; });
        const bool waits = probe.inputThread == input && !input->aborted && input->enabled;
        const bool lost = probe.cameraLost;
        released.release(1000); // more than there can be
        QVERIFY(waiting::waitFor([&] { return !probe.dataThreadRunning; }));
        QVERIFY(stops);
        QVERIFY(waits);
        QVERIFY(lost);
        QVERIFY(probe.inputThread == nullptr);
    }

    void aLossDestroysTheInputThreadOnlyWhenItsSignalsAreNotInUse()
    {
        stream(fourRecords());
        auto& probe = m_viewer->probe;
        InputThreadModul* const input = probe.inputThread;
        // As the interface thread holds it while it disconnects the signals.
        probe.inputThreadMutex.lock();
        std::atomic<bool> waits{false};
        const qtcalls::Hook hook([&](const qtcalls::Call& call) {
            waits = waits ||
                    (call.call == qtcalls::CALL::LOCK && call.object == &probe.inputThreadMutex);
        });
        bench().camera(serial)->sensorsScript().append({result(ERROR_CODE::CAMERA_GONE)});
        const bool goesOn = waiting::waitFor([&] { return waits || probe.inputThread == nullptr; });
        const bool isThere = probe.inputThread == input && !input->aborted;
        probe.inputThreadMutex.unlock();
        QVERIFY(waiting::waitFor([&] { return !probe.dataThreadRunning; }));
        QVERIFY(goesOn);
        QVERIFY(isThere);
        QVERIFY(probe.inputThread == nullptr);
    }

    void theInputThreadIsLookedUpWithTheLock()
    {
        stream(fourRecords());
        auto& probe = m_viewer->probe;
        probe.joinSensorThread(); // whose place the hook takes
        InputThreadModul* const input = probe.inputThread;
        {
            const qtcalls::Hook hook([&](const qtcalls::Call& call) {
                if (call.call == qtcalls::CALL::LOCK && call.object == &probe.inputThreadMutex) {
                    probe.inputThread = nullptr;
                }
            });
            probe.disconnectSignals();
        }
        QVERIFY(probe.inputThread == nullptr);
        probe.inputThread = input;
        QVERIFY(probe.inputThreadMutex.tryLock());
        probe.inputThreadMutex.unlock();
        QVERIFY2(disconnect(input, SIGNAL(DetectTIVDisconnect()), m_viewer->window.get(), nullptr),
                 "the object was not there any more, and must not be used");
    }

    void aLossAtTheFirstPollOutlivesTheOpen()
    {
        bench().addCamera(camera(MODEL::TIV_Q, serial));
        m_viewer = std::make_unique<Viewer>();
        QTRY_VERIFY(m_viewer->streams(serial));
        auto& probe = m_viewer->probe;
        bench().camera(serial)->sensorsScript().set({result(ERROR_CODE::CAMERA_GONE)});
        // The sensor thread, for whose beginning the open waits, ends before the open goes on.
        bool ends = false;
        const qtcalls::Hook hook([&](const qtcalls::Call& call) {
            if (call.call == qtcalls::CALL::ACQUIRED) {
                ends = waiting::waitFor([&] { return !probe.dataThreadRunning; });
            }
        });
        m_viewer->window->createLiveInput();
        QVERIFY(ends);
        QVERIFY(probe.cameraLost);
    }

    void theLossOfTheCameraEndsTheThread()
    {
        stream({imuRecord(start), imuRecord(start + period), imuRecord(start + 2 * period)});
        auto& probe = m_viewer->probe;
        std::thread* const handle = probe.dataThread;
        // The record of the failed poll, which would be a new sample, is not looked at.
        auto gone = imuRecord(start + 3 * period);
        gone.result = ERROR_CODE::CAMERA_GONE;
        gone.fillsOnFailure = true;
        bench().camera(serial)->sensorsScript().append({gone});
        QVERIFY(waiting::waitFor([&] { return !probe.dataThreadRunning; }));
        QVERIFY(probe.cameraLost);
        QVERIFY(probe.inputThread == nullptr);
        QVERIFY(!probe.stopDataThread);
        QCOMPARE(probe.imuTime, Doubles({1000.0025, 1000.005}));
        QVERIFY(handle->joinable());
    }

    void aLossDuringARecordingKeepsTheSamplesAndEndsTheRows()
    {
        stream(fourRecords());
        auto& probe = m_viewer->probe;
        QTemporaryDir folder;
        probe.recOptions.saveFolder = folder.path();
        QTest::mouseClick(m_viewer->ui->toolButton_save, Qt::LeftButton);
        QVERIFY(probe.recording && probe.recFile.isOpen());
        const qint64 header = probe.recFile.size();
        probe.recPeriodSec = 0.0;
        streamMore({imuRecord(start + 4 * period)});
        const qint64 size = probe.recFile.size();
        QVERIFY(size > header);

        bench().camera(serial)->sensorsScript().append({result(ERROR_CODE::CAMERA_GONE)});
        QVERIFY(waiting::waitFor([&] { return !probe.dataThreadRunning; }));
        QVERIFY(probe.inputThread == nullptr);
        QVERIFY(probe.recording && probe.recFile.isOpen());
        QCOMPARE(probe.imuTime.size(), 4);
        m_viewer->window->saveValues(3);
        QCOMPARE(probe.recFile.size(), size);
        m_viewer->window->updateDataDisplay(); // which handles the loss
        QVERIFY(!probe.recording && !probe.recFile.isOpen());
        QVERIFY(probe.imuTime.isEmpty());
    }

    void aSelectionAndARecordingTouchNoSeries()
    {
        stream(fourRecords());
        auto& probe = m_viewer->probe;
        const Ui_MainWindow* const ui = m_viewer->ui;
        for (QAbstractButton* const button :
             {ui->pushButton_gyro, ui->pushButton_mag, ui->pushButton_orient, ui->pushButton_baro,
              ui->pushButton_temper, ui->pushButton_accel}) {
            QTest::mouseClick(button, Qt::LeftButton);
            QCOMPARE(probe.imuTime.size(), 3);
        }
        ui->comboBox_time_range->setCurrentIndex(3);
        QCOMPARE(probe.imuTime.size(), 3);
        QTemporaryDir folder;
        probe.recOptions.saveFolder = folder.path();
        for (const bool recording : {true, false}) {
            QTest::mouseClick(ui->toolButton_save, Qt::LeftButton);
            QCOMPARE(probe.recording, recording);
            QCOMPARE(probe.imuTime, Doubles({1000.0025, 1000.005, 1000.0075}));
            QCOMPARE(probe.accY, Doubles({9.75, 9.75, 9.75}));
        }
    }

    void nothingBoundsTheSeries()
    {
        constexpr std::uint64_t count = 30'000; // beyond what is reserved
        bench().addCamera(camera(MODEL::TIV_Q, serial));
        bench().camera(serial)->sensorsScript().set([](std::uint64_t index, SensorsEntry& entry) {
            entry = imuRecord(start + index * period);
            return index < count;
        });
        m_viewer = std::make_unique<Viewer>();
        constexpr int portion = 2'500; // is stored well within the patience of a wait
        for (int stored = portion; stored < static_cast<int>(count); stored += portion) {
            QTRY_VERIFY(m_viewer->samples() >= stored);
        }
        QTRY_COMPARE(m_viewer->samples(), static_cast<int>(count) - 1);
        auto& probe = m_viewer->probe;
        QCOMPARE(m_viewer->copyOf(probe.imuTime).constFirst(), 1000.0025);
        m_viewer->window->reset(); // leaves them to the next camera
        QCOMPARE(probe.imuTime.size(), static_cast<int>(count) - 1);
        QCOMPARE(probe.imuTime.constLast(), 1000.0 + 29999 * 0.0025);
    }

    void theViewFollowsEverySample()
    {
        auto entry = imuRecord(start + period);
        entry.data.imu.linearAcceleration = {3.0F, 0.0F, -4.0F};
        entry.data.imu.pose = om::Transform(
            om::Orientation(om::Rotation(0.75F, {0.0F, 1.0F, 0.0F})), om::Translation(5, 6, 7));
        entry.data.cameraMovingState = 1;
        stream({imuRecord(start), entry});
        OGL3DWidget& view = *m_viewer->ui->widget_3d_view;
        QCOMPARE(view.accStrength.x, 0.6F);
        QCOMPARE(view.accStrength.y, 0.0F);
        QCOMPARE(view.accStrength.z, -0.8F);
        QCOMPARE(view.movingStatus, 1);
        Simple3DObject* const model = ViewAccess::model(view);
        om::Matrix4f matrix = model->getModelMatrix();
        om::Transform expected(entry.data.imu.pose.getOrientation(), om::Translation());
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 4; ++column) {
                QVERIFY(std::fabs(matrix(row, column) - expected(row, column)) < 1e-5F);
            }
        }
    }

    void aSampleBringsTheCameraBackToTheMiddle()
    {
        stream(fourRecords());
        OGL3DWidget& view = *m_viewer->ui->widget_3d_view;
        view.setCameraModelPos(om::Translation(5.0F, 6.0F, 7.0F));
        streamMore({imuRecord(start + 4 * period)});
        const om::Translation& position = ViewAccess::model(view)->getPosition();
        QCOMPARE(position.x, 0.0F);
        QCOMPARE(position.y, 0.0F);
        QCOMPARE(position.z, 0.0F);
    }

    void aZeroAccelerationReachesTheViewAsNotANumber()
    {
        auto entry = imuRecord(start + period);
        entry.data.imu.linearAcceleration = {0.0F, 0.0F, 0.0F};
        stream({imuRecord(start), entry});
        const OGL3DWidget& view = *m_viewer->ui->widget_3d_view;
        QVERIFY(std::isnan(view.accStrength.x) && std::isnan(view.accStrength.y) &&
                std::isnan(view.accStrength.z));
        QCOMPARE(m_viewer->probe.accX, Doubles({0.0}));
    }

    void theNewestValuesAreAskedFor()
    {
        bench().log().setHighRate(true);
        stream(fourRecords());
        bench().log().setHighRate(false);
        const auto calls = bench().log().records(CALL::GET_SENSORS_DATA);
        QVERIFY(!calls.empty());
        for (const auto& call : calls) {
            QCOMPARE(call.value, 1);
        }
    }

    void aStopTakesEffectWhenTheBlockedPollReturns()
    {
        bench().addCamera(camera(MODEL::TIV_Q, serial));
        QSemaphore blocked;
        QSemaphore released;
        bench().camera(serial)->sensorsScript().set([&](std::uint64_t index, SensorsEntry& entry) {
            if (index == 3) {
                blocked.release();
                (void)waiting::acquire(released);
            }
            entry = imuRecord(start + index * period);
            return index < 100;
        });
        m_viewer = std::make_unique<Viewer>();
        QTRY_VERIFY(blocked.available() == 1);
        auto& probe = m_viewer->probe;
        std::atomic<bool> asked{false};
        SideThread library([&] {
            asked = waiting::waitFor([&]() -> bool { return probe.stopDataThread; });
            released.release();
        });
        m_viewer->window->reset();
        QVERIFY(asked);
        QVERIFY(probe.dataThread == nullptr && !probe.dataThreadRunning);
        // The current pass was finished, and no other one started.
        QCOMPARE(probe.imuTime.size(), 3);
    }

    void theThreadEndsWithoutAnOpenCamera()
    {
        m_viewer = std::make_unique<Viewer>();
        auto& probe = m_viewer->probe;
        QVERIFY(probe.stopDataThread && !probe.dataThreadRunning && probe.cameraLost);
        probe.dataThreadFunc();
        QVERIFY(!probe.dataThreadRunning);
        QVERIFY(!probe.stopDataThread);
        probe.inputThread = new InputThreadModul;
        probe.cameraLost = false;
        probe.dataThreadFunc();
        QVERIFY(!probe.dataThreadRunning);
        QVERIFY(!probe.cameraLost);
        QVERIFY(probe.inputThread != nullptr);
    }

    void theThreadHasBegunWhenTheOpenReturns()
    {
        stream(fourRecords());
        for (int open = 0; open < 3; ++open) {
            m_viewer->window->createLiveInput();
            QVERIFY(m_viewer->probe.dataThreadRunning);
        }
    }

    void aNewRunDropsItsFirstSampleToo()
    {
        stream(fourRecords());
        auto& probe = m_viewer->probe;
        std::vector<SensorsEntry> next{imuRecord(2 * start), imuRecord(2 * start + period)};
        bench().setOpenHook(
            [&](const om::InitParameters&) { bench().camera(serial)->sensorsScript().set(next); });
        m_viewer->window->createLiveInput();
        bench().setOpenHook(nullptr);
        QTRY_VERIFY(bench().camera(serial)->sensorsScript().status().calls > next.size());
        // After the samples of the previous run, which stay.
        QCOMPARE(probe.imuTime.last(), 2000.0025);
        QCOMPARE(probe.imuTime.mid(0, 3), Doubles({1000.0025, 1000.005, 1000.0075}));
        QCOMPARE(probe.imuTime.count(2000.0), 0);
    }

    void theSeriesOfImuPaceStayAligned()
    {
        std::vector<SensorsEntry> entries;
        for (std::uint64_t i = 0; i < 300; ++i) {
            auto entry = imuRecord(start + i * period);
            if (i % 3 != 0) {
                entry = withBarometer(entry, start + i / 16 * second / 25);
            }
            if (i % 5 != 0) {
                entry = withMagnetometer(entry, start + i / 8 * second / 50);
            }
            entries.push_back(entry);
        }
        stream(std::move(entries));
        auto& probe = m_viewer->probe;
        for (const Doubles* series :
             {&probe.accX,      &probe.accY,        &probe.accZ,        &probe.gyroX,
              &probe.gyroY,     &probe.gyroZ,       &probe.magX,        &probe.magY,
              &probe.magZ,      &probe.orX,         &probe.orY,         &probe.orZ,
              &probe.pressure,  &probe.relAltitude, &probe.movingState, &probe.tempLeft,
              &probe.tempRight, &probe.imuRates,    &probe.imuTime,     &probe.magTime,
              &probe.baroTime}) {
            QCOMPARE(series->size(), 299);
        }
        QCOMPARE(probe.baroNewTime.size(), probe.baroRates.size());
        QCOMPARE(probe.baroNewTime.size(), probe.baroNewTempLeft.size());
        QCOMPARE(probe.baroNewTime.size(), 18);
        QCOMPARE(probe.magNewTime.size(), probe.magNewX.size());
        QCOMPARE(probe.magNewTime.size(), 37);
    }

    void aHeldLockHoldsUpTheAppendsOnly()
    {
        stream(fourRecords());
        auto& probe = m_viewer->probe;
        QMutexLocker lock(&probe.dataMutex);
        std::atomic<bool> asks{false}; // ThreadSanitizer does not see the locks of Qt's semaphores
        const QThread* const testThread = QThread::currentThread();
        const qtcalls::Hook hook([&](const qtcalls::Call& call) {
            if (call.call == qtcalls::CALL::LOCK && call.object == &probe.dataMutex &&
                QThread::currentThread() != testThread) {
                asks = true;
            }
        });
        auto loud = imuRecord(start + 4 * period);
        loud.data.imu.linearAcceleration = {50.0F, 0.0F, 0.0F};
        loud.data.cameraMovingState = 2;
        const OGL3DWidget& view = *m_viewer->ui->widget_3d_view;
        QVERIFY(view.accStrength.x != 1.0F && view.movingStatus != 2);
        bench().camera(serial)->sensorsScript().append({loud});
        QVERIFY(waiting::waitFor([&] { return asks.load(); }));
        QCOMPARE(static_cast<float>(probe.accelRange), 50.0F);
        QCOMPARE(probe.elapsedSec, 1000.01);
        QCOMPARE(view.accStrength.x, 1.0F);
        QCOMPARE(view.movingStatus, 2);
        QCOMPARE(probe.accX.size(), 3);
        lock.unlock();
        QTRY_COMPARE(m_viewer->samples(), 4);
    }
};

QTEST_MAIN(TestSensorThread)
#include "tst_mainwindow_sensorthread.moc"
