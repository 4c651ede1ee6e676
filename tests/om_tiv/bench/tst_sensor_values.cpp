/// The values of the sensors, fixed: a bench file gives the same samples today and tomorrow, bit
/// for bit. Whoever changes them on purpose changes what every recorded run of the bench compares
/// with.

#include "om_tiv/benchtest.h"

#include "bench/bench_file.h"
#include "world/physics.h"

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

using namespace om;
using namespace om::bench;

namespace {

/// FNV-1a over the bits of what is added.
class Digest
{
public:
    void add(std::uint64_t bits)
    {
        for (int shift = 0; shift < 64; shift += 8) {
            m_value = (m_value ^ ((bits >> shift) & 0xFFU)) * 0x100000001B3ULL;
        }
    }
    void add(double value)
    {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        add(bits);
    }
    void add(const Vector& v)
    {
        add(v.x);
        add(v.y);
        add(v.z);
    }
    QString text() const { return QString::number(m_value, 16).rightJustified(16, '0'); }

private:
    std::uint64_t m_value = 0xCBF29CE484222325ULL;
};

/// The physics of a camera that was plugged in at startTime.
PhysicsSource sourceOf(const CameraConfig& config, const Field& field)
{
    const auto environment = std::make_shared<Environment>();
    environment->field = [field] { return field; };
    environment->magneticDisturbance.store(config.faults.magneticDisturbance);
    return {config,
            std::make_shared<MotionTimeline>(config.motion, config.pose, benchtest::startTime),
            environment, benchtest::startTime};
}

/// All streams of a camera, samples of the first minutes and of the third hour.
QString digestOf(const SensorSource& source)
{
    Digest digest;
    std::vector<std::uint64_t> numbers;
    for (std::uint64_t i = 0; i < 200; ++i) {
        numbers.push_back(i);
        numbers.push_back(200 + 37 * i);
        numbers.push_back(4'000'000 + i);
    }
    for (const std::uint64_t number : numbers) {
        if (source.has(STREAM::IMU)) {
            const ImuSample imu = source.imu(number);
            digest.add(imu.time);
            digest.add(imu.angularVelocity);
            digest.add(imu.linearAcceleration);
            digest.add(imu.pose.w);
            digest.add(Vector{imu.pose.x, imu.pose.y, imu.pose.z});
            digest.add(static_cast<std::uint64_t>(imu.movingState));
            for (const auto& temperature : source.temperatures(imu.time)) {
                digest.add(temperature.value_or(-300.0));
            }
            for (const STREAM stream : {STREAM::IMU, STREAM::MAGNETOMETER, STREAM::BAROMETER}) {
                digest.add(source.newest(stream, imu.time).value_or(UINT64_MAX));
            }
        }
        if (source.has(STREAM::MAGNETOMETER)) {
            const MagnetometerSample field = source.magnetometer(number);
            digest.add(field.time);
            for (const std::int16_t count : field.counts) {
                digest.add(static_cast<std::uint64_t>(count));
            }
        }
        if (source.has(STREAM::BAROMETER)) {
            const BarometerSample pressure = source.barometer(number);
            digest.add(pressure.time);
            digest.add(pressure.pressure);
        }
    }
    return digest.text();
}

/// Whether this processor's results are those of the machine on which the digests were taken: the
/// mathematical functions round their last digit as the fused multiplication has it.
bool roundsAlike()
{
#if defined(__x86_64__)
    return __builtin_cpu_supports("fma") != 0;
#else
    return false;
#endif
}

} // namespace

class TestSensorValues : public QObject
{
    Q_OBJECT

private slots:
    void samplesOfABenchAreWhatTheyWere_data();
    void samplesOfABenchAreWhatTheyWere();
    void aSampleOfTheDefaultBenchIsWhatItWas();
};

void TestSensorValues::samplesOfABenchAreWhatTheyWere_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("camera");
    QTest::addColumn<QString>("digest");
    const struct
    {
        const char* file;
        std::vector<const char*> digests;
    } benches[] = {
        {"", {"1a3445b7c858d984", "4ad6adb9bc32f1ed", "0a255fac8e0e875b"}},
        {"laboratory",
         {"e3266763c8424be7", "e16b191b9d486bc3", "fe050bbf4c0d5554", "08c20504ab1e3473",
          "da4600f9fb1e555f", "cbf29ce484222325"}},
        {"faulty-camera", {"798ffb4854d7e694", "7c47a8b581528767", "3e675e41335c4d3f"}},
        {"magnetic-mess",
         {"b868207e2e3b3f50", "0646d527e8847a7a", "720c52adcbacf869", "701b1cea8a266f48"}},
    };
    for (const auto& bench : benches) {
        for (std::size_t i = 0; i < bench.digests.size(); ++i) {
            const int camera = static_cast<int>(i);
            QTest::addRow("%s %d", bench.file[0] != '\0' ? bench.file : "default", camera)
                << QString(bench.file) << camera << QString(bench.digests[i]);
        }
    }
}

void TestSensorValues::samplesOfABenchAreWhatTheyWere()
{
    QFETCH(QString, file);
    QFETCH(int, camera);
    QFETCH(QString, digest);
    if (!roundsAlike()) {
        QSKIP("the last digits depend on the processor");
    }
    BenchDescription bench = defaultBench();
    if (!file.isEmpty()) {
        std::string error;
        const std::string path = SOURCE_DIR "/docs/bench/" + file.toStdString() + ".json";
        QVERIFY2(readBenchFile(path, bench, error), error.c_str());
    }
    const auto at = static_cast<std::size_t>(camera);
    QVERIFY(at < bench.cameras.size());
    QCOMPARE(digestOf(sourceOf(bench.cameras[at], bench.field)), digest);
}

void TestSensorValues::aSampleOfTheDefaultBenchIsWhatItWas()
{
    const BenchDescription bench = defaultBench();
    const PhysicsSource source = sourceOf(bench.cameras[0], bench.field);
    const ImuSample imu = source.imu(4000);
    const auto same = [](double value, double expected) {
        return std::abs(value - expected) <= 1e-9 * std::abs(expected);
    };
    const double seen[] = {imu.angularVelocity.x,          imu.angularVelocity.y,
                           imu.angularVelocity.z,          imu.linearAcceleration.x,
                           imu.linearAcceleration.y,       imu.linearAcceleration.z,
                           source.barometer(250).pressure, *source.temperatures(imu.time)[0]};
    const double expected[] = {0.13634060393081324, 23.991786831768607, 135.17339312536899,
                               7.707139932485048,   5.5186874875128336, 2.4926802221820643,
                               99895.381838908681,  27.49249919910832};
    for (std::size_t i = 0; i < std::size(seen); ++i) {
        QVERIFY2(same(seen[i], expected[i]), qPrintable(QString::number(seen[i], 'g', 17)));
    }
    QVERIFY((source.magnetometer(500).counts == std::array<std::int16_t, 3>{552, 329, 280}));
    QCOMPARE(imu.time - benchtest::startTime, Nanoseconds{10'002'511'224});
}

QTEST_GUILESS_MAIN(TestSensorValues)
#include "tst_sensor_values.moc"
