/// What an analysis of a virtual camera's samples finds is what its bench file asked for.

#include "om_tiv/benchtest.h"

#include "analysis/noise_model.h"
#include "analysis/recording.h"
#include "analysis/six_positions.h"
#include "analysis/spectrum.h"
#include "analysis/timing.h"
#include "tools/generate.h"
#include "world/flicker.h"
#include "world/physics.h"
#include "world/random_walk.h"

#include "analysis/noise_samples.h"
#include "support/amount.h"

#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

using namespace om;
using namespace om::bench;

namespace {

constexpr double imuPeriod = 1.0 / PhysicsSource::imuRate;
constexpr double seconds = 1500.0 / amount::divisor; ///< of the recordings whose noise is measured

std::unique_ptr<PhysicsSource> sourceOf(const CameraConfig& config)
{
    const auto environment = std::make_shared<Environment>();
    environment->field = [] { return Field(); };
    return std::make_unique<PhysicsSource>(
        config, std::make_shared<MotionTimeline>(config.motion, config.pose, benchtest::startTime),
        environment, benchtest::startTime);
}

struct Samples
{
    std::array<std::vector<double>, 3> acceleration;
    std::array<std::vector<double>, 3> angularVelocity;
};

Samples samplesOf(const PhysicsSource& source, double duration)
{
    Samples samples;
    const auto count = static_cast<std::uint64_t>(duration / imuPeriod);
    for (std::uint64_t i = 0; i < count; ++i) {
        const ImuSample sample = source.imu(i);
        const Vector& a = sample.linearAcceleration;
        const Vector& w = sample.angularVelocity;
        const double values[2][3] = {{a.x, a.y, a.z}, {w.x, w.y, w.z}};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            samples.acceleration[axis].push_back(values[0][axis]);
            samples.angularVelocity[axis].push_back(values[1][axis]);
        }
    }
    return samples;
}

} // namespace

class TestGeneratedNoise : public QObject
{
    Q_OBJECT

private slots:
    void densityAndWalkAreFound();
    void densityAndInstabilityAreFound();
    void threeHoursShowTheConsumerImusAccelerometer();
    void whiteNoiseHasNoWalkAndNoInstability();
    void biasScaleAndMisalignmentAreFound();
    void vibrationIsFound_data();
    void vibrationIsFound();
    void fileHasRateAndGapsOfTheClockAndTheLosses();

private:
    /// Whether each axis of the sensor has the coefficient, within a share of it, which is for the
    /// whole amount.
    void compare(const std::array<std::vector<double>, 3>& axes, const Vector& truth,
                 analysis::Coefficient analysis::NoiseModel::*coefficient, double share);
};

void TestGeneratedNoise::compare(const std::array<std::vector<double>, 3>& axes,
                                 const Vector& truth,
                                 analysis::Coefficient analysis::NoiseModel::*coefficient,
                                 double share)
{
    const double expected[] = {truth.x, truth.y, truth.z};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const analysis::AxisNoise noise = analysis::analyseNoise({axes[axis]}, imuPeriod);
        const analysis::Coefficient& found = noise.model.*coefficient;
        QVERIFY2(found.value, found.reason.c_str());
        const double ratio = *found.value / expected[axis];
        QVERIFY2(std::abs(ratio - 1.0) < share * std::sqrt(amount::divisor),
                 qPrintable(QString("axis %1: %2").arg(axis).arg(ratio)));
    }
}

void TestGeneratedNoise::densityAndWalkAreFound()
{
    CameraConfig config = benchtest::idealCamera();
    ErrorModel& a = config.errors.accelerometer;
    a.noiseDensity = {0.001, 0.002, 0.003};
    a.randomWalk = {0.004, 0.006, 0.01};
    ErrorModel& w = config.errors.gyroscope;
    w.noiseDensity = {0.004, 0.006, 0.01};
    w.randomWalk = {0.02, 0.02, 0.05};
    const Samples samples = samplesOf(*sourceOf(config), seconds);
    using Model = analysis::NoiseModel;
    compare(samples.acceleration, a.noiseDensity, &Model::noiseDensity, 0.02);
    compare(samples.acceleration, a.randomWalk, &Model::randomWalk, 0.15);
    compare(samples.angularVelocity, w.noiseDensity, &Model::noiseDensity, 0.02);
    compare(samples.angularVelocity, w.randomWalk, &Model::randomWalk, 0.15);
}

void TestGeneratedNoise::densityAndInstabilityAreFound()
{
    CameraConfig config = benchtest::idealCamera();
    ErrorModel& a = config.errors.accelerometer;
    a.noiseDensity = {0.002, 0.002, 0.004};
    a.biasInstability = {0.005, 0.006, 0.01};
    ErrorModel& w = config.errors.gyroscope;
    w.noiseDensity = {0.007, 0.007, 0.007};
    w.biasInstability = {0.02, 0.02, 0.015};
    const Samples samples = samplesOf(*sourceOf(config), seconds);
    using Model = analysis::NoiseModel;
    compare(samples.acceleration, a.noiseDensity, &Model::noiseDensity, 0.02);
    compare(samples.acceleration, a.biasInstability, &Model::biasInstability, 0.15);
    compare(samples.angularVelocity, w.noiseDensity, &Model::noiseDensity, 0.02);
    compare(samples.angularVelocity, w.biasInstability, &Model::biasInstability, 0.15);
}

/// The values of docs/bench/imu-consumer.json over several seeds (GRAVIMON_NOISE_SEEDS), at 20 Hz.
void TestGeneratedNoise::threeHoursShowTheConsumerImusAccelerometer()
{
    constexpr double density = 0.0015;
    constexpr double instability = 0.0033;
    constexpr double walk = 0.0012;
    constexpr double period = 0.05;
    const int seeds =
        std::max(1, qEnvironmentVariable("GRAVIMON_NOISE_SEEDS", "3").toInt() / amount::divisor);
    using Found = std::vector<double>;
    std::map<std::string, Found> found;
    for (int seed = 1; seed <= seeds; ++seed) {
        const auto number = static_cast<std::uint64_t>(seed);
        RandomWalk wandering(number, 16);
        Flicker flicker(number, 64, 1000.0);
        std::vector<double> samples =
            noise_samples::whiteAndWalk(3 * 3600 * 20, period, density, 0.0, number);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const auto time = static_cast<Nanoseconds>(i) * 50'000'000;
            samples[i] += walk * wandering.at(time) + instability * flicker.at(time);
        }
        const analysis::NoiseModel model = analysis::analyseNoise({samples}, period).model;
        QVERIFY(model.noiseDensity.value && model.biasInstability.value && model.randomWalk.value);
        found["N"].push_back(*model.noiseDensity.value / density);
        found["B"].push_back(*model.biasInstability.value / instability);
        found["K"].push_back(*model.randomWalk.value / walk);
    }
    for (auto& [name, ratios] : found) {
        std::sort(ratios.begin(), ratios.end());
        qInfo("%s: median %.3f, %.3f to %.3f of the truth", name.c_str(), ratios[ratios.size() / 2],
              ratios.front(), ratios.back());
        QVERIFY(std::abs(ratios[ratios.size() / 2] - 1.0) < 0.08);
        QVERIFY(ratios.front() > 0.85 && ratios.back() < 1.15);
    }
}

void TestGeneratedNoise::whiteNoiseHasNoWalkAndNoInstability()
{
    CameraConfig config = benchtest::idealCamera();
    config.errors.accelerometer.noiseDensity = {0.002, 0.002, 0.002};
    const Samples samples = samplesOf(*sourceOf(config), 500.0);
    for (const std::vector<double>& axis : samples.acceleration) {
        const analysis::AxisNoise noise = analysis::analyseNoise({axis}, imuPeriod);
        QVERIFY(noise.model.noiseDensity.value);
        QVERIFY(!noise.model.randomWalk.value);
        QVERIFY(!noise.model.biasInstability.value);
    }
}

void TestGeneratedNoise::biasScaleAndMisalignmentAreFound()
{
    CameraConfig config = benchtest::idealCamera();
    config.errors.accelerationBias = {0.12, -0.05, 0.2};
    ErrorModel& model = config.errors.accelerometer;
    model.noiseDensity = {0.002, 0.002, 0.002};
    model.scaleFactor = {1.01, 0.985, 1.003};
    model.axesMisalignment = {{{0.0, 0.8, -0.5}, {0.3, 0.0, 1.1}, {-0.9, 0.4, 0.0}}};
    const Quaternion poses[] = {fromRotationVector({0.0, 0.0, pi / 2}),
                                fromRotationVector({0.0, 0.0, -pi / 2}),
                                Quaternion(),
                                fromRotationVector({pi, 0.0, 0.0}),
                                fromRotationVector({-pi / 2, 0.0, 0.0}),
                                fromRotationVector({pi / 2, 0.0, 0.0})};
    analysis::Recording recording;
    const auto period = static_cast<analysis::Nanoseconds>(2'500'000);
    for (std::size_t i = 0; i < 6; ++i) {
        config.pose = poses[i];
        config.seed = i + 1;
        const Samples samples = samplesOf(*sourceOf(config), 8.0);
        for (std::size_t k = 0; k < samples.acceleration[0].size(); ++k) {
            recording.times.push_back(
                (static_cast<analysis::Nanoseconds>(recording.times.size()) + 1) * period);
            recording.numbers.push_back(static_cast<std::uint32_t>(recording.numbers.size()));
            for (std::size_t axis = 0; axis < 3; ++axis) {
                recording.acceleration.axes[axis].push_back(samples.acceleration[axis][k]);
            }
        }
    }
    std::string reason;
    const auto found =
        analysis::solveSixPositions(analysis::findRests(recording), standardGravity, reason);
    QVERIFY2(found, reason.c_str());
    const double biases[] = {0.12, -0.05, 0.2};
    const double scales[] = {1.01, 0.985, 1.003};
    for (int i = 0; i < 3; ++i) {
        const double bias = std::abs(found->bias[i] - biases[i]);
        QVERIFY2(bias < 4.0 * found->biasError[i] + 1e-4, qPrintable(QString::number(bias)));
        const double scale = std::abs(found->scale[i] - scales[i]);
        QVERIFY2(scale < 4.0 * found->scaleError[i] + 1e-5, qPrintable(QString::number(scale)));
        for (int k = 0; k < 3; ++k) {
            if (i != k) {
                // What an axis reads of another one, as a share: scaled with the axis itself.
                const double share =
                    0.01 * scales[i] *
                    model
                        .axesMisalignment[static_cast<std::size_t>(i)][static_cast<std::size_t>(k)];
                const double off = std::abs(found->misalignment(i, k) - share);
                QVERIFY2(off < 3e-4, qPrintable(QString("%1 %2: %3").arg(i).arg(k).arg(off)));
            }
        }
    }
}

void TestGeneratedNoise::vibrationIsFound_data()
{
    QTest::addColumn<double>("frequency");
    QTest::addColumn<double>("seen");
    QTest::newRow("low") << 13.25 << 13.25;
    QTest::newRow("high") << 171.6 << 171.6;
    QTest::newRow("folded") << 230.0 << 170.0;
}

void TestGeneratedNoise::vibrationIsFound()
{
    QFETCH(double, frequency);
    QFETCH(double, seen);
    CameraConfig config = benchtest::idealCamera();
    ErrorModel& model = config.errors.accelerometer;
    model.noiseDensity = {0.002, 0.002, 0.002};
    model.vibrationFrequency = frequency;
    model.vibrationAmplitude = {0.05, 0.0, 0.2};
    const Samples samples = samplesOf(*sourceOf(config), 240.0);
    const double amplitudes[] = {0.05, 0.0, 0.2};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto lines =
            analysis::spectralLines(analysis::welch({samples.acceleration[axis]}, 1.0 / imuPeriod));
        if (amplitudes[axis] == 0.0) {
            QVERIFY(lines.empty());
            continue;
        }
        QVERIFY(!lines.empty());
        const analysis::SpectralLine& line = lines.front();
        const double halfWidth = 0.5 * (line.high - line.low);
        QVERIFY2(std::abs(line.frequencyHz - seen) < 3.0 * halfWidth + 1e-3,
                 qPrintable(
                     QString("%1 (%2 to %3)").arg(line.frequencyHz).arg(line.low).arg(line.high)));
        QVERIFY2(std::abs(line.amplitude / amplitudes[axis] - 1.0) < 0.05,
                 qPrintable(QString::number(line.amplitude)));
    }
}

void TestGeneratedNoise::fileHasRateAndGapsOfTheClockAndTheLosses()
{
    QTemporaryDir folder;
    CameraConfig config = benchtest::idealCamera();
    config.errors.accelerometer.noiseDensity = {0.002, 0.002, 0.002};
    config.errors.clockDrift = 730.0;
    config.errors.droppedSamples = 0.5;
    config.errors.droppedTogether = 3;
    const std::string path = folder.filePath("made.csv").toStdString();
    Generated generated;
    std::string error;
    QVERIFY2(generateRecording(
                 config, Field(), 120.0, path, [](double) { return true; }, generated, error),
             error.c_str());
    const auto recording = analysis::readRecording(path, error);
    QVERIFY2(recording, error.c_str());
    QCOMPARE(std::uint64_t{recording->times.size()}, generated.rows);
    QCOMPARE(recording->report.tornRows + recording->report.invalidRows +
                 recording->report.repeatedRows + recording->report.backwardRows,
             std::uint64_t{0});
    const auto source = sourceOf(config);
    std::uint64_t first = 0;
    while (source->isLost(STREAM::IMU, first)) {
        ++first;
    }
    ++first; // has no row
    while (source->isLost(STREAM::IMU, first)) {
        ++first;
    }
    std::uint64_t lost = 0;
    for (std::uint64_t i = first, rows = 0; rows < generated.rows; ++i) {
        const bool isLost = source->isLost(STREAM::IMU, i);
        lost += isLost ? 1 : 0;
        rows += isLost ? 0 : 1;
    }
    QVERIFY(lost > 50);
    const analysis::Timing timing = analysis::analyseTiming(recording->times, recording->numbers);
    QCOMPARE(timing.missingSamples, lost);
    QVERIFY(!timing.numbersSkip);
    const double rate = timing.sensorRateHz / 400.0 - 1.0;
    QVERIFY2(std::abs(rate - 730e-6) < 20e-6, qPrintable(QString::number(rate)));
}

QTEST_GUILESS_MAIN(TestGeneratedNoise)
#include "tst_generated_noise.moc"
