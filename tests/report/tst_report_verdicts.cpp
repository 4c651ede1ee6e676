#include "report/number_text.h"
#include "report/verdicts.h"

#include <QtTest>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace report;

namespace {

void setNoise(InertialReport& sensor, double density, double instability, double walk)
{
    for (std::size_t i = 0; i < 3; ++i) {
        const double share = 1.0 - 0.1 * static_cast<double>(i); // x is the highest
        analysis::NoiseModel& model = sensor.axes[i].noise.model;
        model.noiseDensity.value = density * share;
        model.biasInstability.value = instability * share;
        model.randomWalk.value = walk * share;
    }
}

/// A recording without a fault, whose numbers are given.
RecordingReport soundReport()
{
    RecordingReport report;
    report.hasImu = true;
    report.options.sixPositions = true;
    report.read.rows = 240'000;
    report.timing.durationSeconds = 600.0;
    report.timing.rateHz = 400.0;
    report.timing.periodSeconds = 0.0025;
    report.timing.jitterSeconds = 2.5e-5;
    report.rest = RestReport{0, 240'000, 0.0, 600.0, true};
    report.accelerometer.emplace();
    report.gyroscope.emplace();
    setNoise(*report.accelerometer, 8e-4, 5e-4, 1e-4);
    setNoise(*report.gyroscope, 4e-3, 2e-3, 3e-4);
    report.gravity.emplace();
    report.gravity->mean = 9.8123;
    report.magnetometer.emplace();
    report.magnetometer->fit.emplace();
    report.magnetometer->fit->aligned.radius = 50.0;
    report.magnetometer->fit->aligned.residualRms = 0.5;
    report.magnetometer->fit->quality.gaps = 4.0;
    report.temperatures.emplace();
    report.temperatures->minimum = {20.0, 21.0, 31.5, 23.0};
    report.temperatures->maximum = {30.0, 31.0, 34.25, 33.0};
    report.sixPositions.emplace();
    report.sixPositions->bias = {0.01, -0.02, 0.125};
    report.sixPositions->scale = {1.001, 0.9985, 1.0};
    report.sixPositions->rests.resize(7);
    return report;
}

/// With a warning or a fault on every subject.
RecordingReport badReport()
{
    RecordingReport report = soundReport();
    report.read = {0, 1000, 1, 2, 3, 4, 0, {}, {}};
    report.timing.durationSeconds = 5.0;
    report.timing.rateHz = 300.0;
    report.timing.jitterSeconds = 5e-4;
    report.timing.missingSamples = 50;
    report.gapCount = 3;
    report.longestGapSeconds = 0.0505;
    report.rest->whole = false;
    report.rest->startSeconds = 1.25;
    report.rest->seconds = 3.0;
    setNoise(*report.accelerometer, 5e-3, 2e-3, 1e-2);
    setNoise(*report.gyroscope, 1e-5, 2e-3, 3e-4);
    report.gyroscope->axes[1].noise.model.biasInstability.value.reset();
    for (AxisReport& axis : report.gyroscope->axes) {
        axis.noise.model.randomWalk.value.reset();
        axis.noise.model.randomWalk.reason = "the recording is too short";
    }
    report.accelerometer->axes[2].longestEqualSeconds = 0.75;
    report.accelerometer->axes[0].saturated = 5;
    report.accelerometer->axes[1].saturated = 6;
    report.gyroscope->axes[1].spikes = 1;
    report.gyroscope->axes[2].spikes = 2;
    analysis::SpectralLine line{};
    line.frequencyHz = 50.25;
    line.amplitude = 0.03;
    report.accelerometer->axes[1].lines = {line};
    report.gravity->mean = 10.1;
    report.magnetometer->fit->aligned.residualRms = 2.0;
    report.magnetometer->fit->quality.gaps = 60.0;
    report.temperatures->maximum[2] = 40.0;
    report.sixPositions->bias.x() = -0.6;
    report.sixPositions->scale.y() = 0.98;
    return report;
}

/// Without a rest, and with a decimated recording.
RecordingReport vagueReport()
{
    RecordingReport report = soundReport();
    report.rest.reset();
    report.restReason = "the camera moved";
    report.gravity.reset();
    report.decimated = true;
    report.timing.numbersSkip = true;
    report.timing.rateHz = 100.0;
    report.timing.sensorRateHz = 401.0;
    report.timing.periodSeconds = 0.01;
    report.magnetometer->fit.reset();
    report.magnetometer->reason = "the directions do not determine an ellipsoid";
    report.sixPositions.reset();
    report.sixPositionsReason = "no rest with +x up";
    for (auto* const sensor : {&*report.accelerometer, &*report.gyroscope}) {
        for (AxisReport& axis : sensor->axes) {
            axis.noise.model = {};
        }
    }
    return report;
}

/// Judges and finds one verdict; an empty one if it is not in the table.
Verdict verdictOf(RecordingReport& report, const std::string& id)
{
    judge(report);
    const auto found = std::find_if(report.verdicts.begin(), report.verdicts.end(),
                                    [&](const Verdict& verdict) { return verdict.id == id; });
    return found != report.verdicts.end() ? *found : Verdict();
}

constexpr int sound = 0;
constexpr int bad = 1;
constexpr int vague = 2;

} // namespace

class TestReportVerdicts : public QObject
{
    Q_OBJECT

private slots:
    void verdictsHaveTheirTexts_data();
    void verdictsHaveTheirTexts();
    void everyVerdictIsInTheTable();
    void rowsAreJudgedByTheShareThatIsLost_data();
    void rowsAreJudgedByTheShareThatIsLost();
    void samplesOfASlowSensorAreJudgedWithTheRows();
    void spikesAreAShareOfTheRest_data();
    void spikesAreAShareOfTheRest();
    void decimationHasOneFactor_data();
    void decimationHasOneFactor();
    void numbersHaveTheirDigits_data();
    void numbersHaveTheirDigits();
    void durationsHaveTheirUnits_data();
    void durationsHaveTheirUnits();
};

void TestReportVerdicts::verdictsHaveTheirTexts_data()
{
    QTest::addColumn<int>("which");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("what");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("limit");
    QTest::addColumn<QString>("why");
    const auto add = [](int which, const char* id, const char* what, STATE state, const char* value,
                        const char* limit, const char* why) {
        const char* const names[] = {"sound", "bad", "vague"};
        QTest::addRow("%s: %s", names[which], id)
            << which << QString(id) << QString(what) << int(state) << QString::fromUtf8(value)
            << QString::fromUtf8(limit) << QString::fromUtf8(why);
    };
    const STATE passed = STATE::PASSED;
    const STATE warned = STATE::WARNED;
    const STATE failed = STATE::FAILED;
    const STATE unknown = STATE::UNKNOWN;

    add(sound, "length", "Length of the recording", passed, "10.0 min", "10 s at least (ours)",
        "Long enough for the noise density; bias instability and random walk take hours.");
    add(bad, "length", "Length of the recording", warned, "5.00 s", "10 s at least (ours)",
        "Too short to say much about a sensor: record some minutes.");
    add(sound, "rate", "Rate of the IMU", passed, "400.00 Hz", "400 Hz ± 2 % (the sensor's own)",
        "Gaps are left out.");
    add(bad, "rate", "Rate of the IMU", failed, "300.00 Hz", "400 Hz ± 2 % (the sensor's own)",
        "Gaps are left out.");
    add(vague, "rate", "Rate of the IMU", passed, "401.00 Hz", "400 Hz ± 2 % (the sensor's own)",
        "From the times and the numbers of the samples; the rows come at 100.0 Hz.");
    add(sound, "decimated", "Every sample has a row", passed, "yes", "yes",
        "Noise densities are those of the sensor.");
    add(vague, "decimated", "Every sample has a row", warned, "no", "yes",
        "Samples were left out without a filter: signals above 50.00 Hz are aliased, and noise "
        "densities are up to 2.00 times too high.");
    add(sound, "missing_samples", "Missing samples of the IMU", passed, "0 (0 %)",
        "none; at most 0.1 % (ours)",
        "Counted from the time stamps: a sample is missing where another one would fit.");
    add(bad, "missing_samples", "Missing samples of the IMU", failed, "50 (4.76 %)",
        "none; at most 0.1 % (ours)",
        "Counted from the time stamps: a sample is missing where another one would fit.");
    add(sound, "gaps", "Gaps", passed, "none", "none; none above 100 ms (ours)",
        "For the noise, short gaps are interpolated linearly; after a longer gap the analysis "
        "starts again.");
    add(bad, "gaps", "Gaps", warned, "3, the longest of 50.5 ms", "none; none above 100 ms (ours)",
        "For the noise, short gaps are interpolated linearly; after a longer gap the analysis "
        "starts again.");
    add(sound, "jitter", "Evenness of the time stamps", passed, "25.0 µs (1.00 % of the period)",
        "10 %; at most 25 % (ours)",
        "Standard deviation of the intervals between rows, without gaps.");
    add(bad, "jitter", "Evenness of the time stamps", warned, "500 µs (20.0 % of the period)",
        "10 %; at most 25 % (ours)",
        "Standard deviation of the intervals between rows, without gaps.");
    add(vague, "jitter", "Evenness of the time stamps", unknown, "25.0 µs (0.250 % of the period)",
        "10 %; at most 25 % (ours)", "The intervals between rows depend on the recorder.");
    add(sound, "rows", "Rows that can be used", passed, "240000 of 240000",
        "all; at most 0.1 % lost (ours)", "No row is torn, repeated or out of order.");
    add(bad, "rows", "Rows that can be used", failed, "1000 of 1010",
        "all; at most 0.1 % lost (ours)",
        "Left out: 1 row with another number of fields than the header, 2 rows with a field that "
        "is "
        "no number from -1e9 to 1e9, 3 rows with the time of the last row that was kept, 4 rows "
        "with a time before that of the last row that was kept. The clock was set back, recordings "
        "were joined, or one time is far too late.");
    add(sound, "rest", "Camera at rest", passed, "10.0 min of 10.0 min", "all of the recording",
        "Noise is judged over all of it.");
    add(bad, "rest", "Camera at rest", unknown, "3.00 s of 5.00 s", "all of the recording",
        "Noise is judged over the longest rest, from 1.250 s to 4.250 s.");
    add(vague, "rest", "Camera at rest", unknown, "no", "all of the recording",
        "the camera moved: noise is not judged.");
    const char* const gravityLimit = "9.80665 ± 0.2 m/s²; ± 0.5 m/s² at most (ours)";
    const char* const gravityWhy =
        "Length of the mean acceleration. Latitude and altitude explain at most 0.05 m/s² of the "
        "difference; the rest is bias and scale.";
    add(sound, "gravity", "Gravity at rest", passed, "9.8123 m/s²", gravityLimit, gravityWhy);
    add(bad, "gravity", "Gravity at rest", warned, "10.100 m/s²", gravityLimit, gravityWhy);
    add(vague, "gravity", "Gravity at rest", unknown, "-", gravityLimit, "There was no rest.");
    const char* const stuckWhy = "An axis whose value does not change has no noise: it is stuck.";
    add(sound, "accelerometer.stuck", "Accelerometer alive", passed, "0 s without a change, axis x",
        "at most 0.5 s (ours)", stuckWhy);
    add(bad, "accelerometer.stuck", "Accelerometer alive", failed,
        "0.750 s without a change, axis z", "at most 0.5 s (ours)", stuckWhy);
    add(bad, "gyroscope.stuck", "Gyroscope alive", passed, "0 s without a change, axis x",
        "at most 0.5 s (ours)", stuckWhy);
    const char* const saturationWhy =
        "Samples at exactly the highest or lowest value of an axis: runs of at least 4 far from "
        "zero, or more than noise leaves there.";
    add(sound, "gyroscope.saturation", "Gyroscope within its range", passed,
        "0 samples at the end of the range", "none", saturationWhy);
    add(bad, "accelerometer.saturation", "Accelerometer within its range", failed,
        "11 samples at the end of the range", "none", saturationWhy);
    const char* const spikeWhy =
        "Samples at rest, one or two in succession, that differ from their neighbours on both "
        "sides by more than 10 standard deviations. They are left out of the noise.";
    const char* const spikeLimit = "none; at most one in 100000 samples (ours)";
    add(sound, "accelerometer.spikes", "Accelerometer without spikes", passed, "0 spikes",
        spikeLimit, spikeWhy);
    add(bad, "gyroscope.spikes", "Gyroscope without spikes", failed, "3 spikes", spikeLimit,
        spikeWhy);

    const char* const densityLimit = "0.001 m/s²/√Hz; at most 0.004 m/s²/√Hz (ours)";
    const char* const instabilityLimit = "0.001 m/s²; at most 0.005 m/s² (ours)";
    const char* const walkLimit = "0.0005 m/s³/√Hz; at most 0.003 m/s³/√Hz (ours)";
    const char* const typical = "Typical of good silicon sensors; highest on axis x.";
    const char* const missing =
        " So many samples are missing that the interpolated ones change the value.";
    add(sound, "accelerometer.noise_density", "Accelerometer: noise density", passed,
        "0.000800 / 0.000720 / 0.000640 m/s²/√Hz", densityLimit, typical);
    add(sound, "accelerometer.bias_instability", "Accelerometer: bias instability", passed,
        "0.000500 / 0.000450 / 0.000400 m/s²", instabilityLimit, typical);
    add(sound, "accelerometer.random_walk", "Accelerometer: random walk", passed,
        "0.000100 / 9.00e-05 / 8.00e-05 m/s³/√Hz", walkLimit, typical);
    add(bad, "accelerometer.noise_density", "Accelerometer: noise density", failed,
        "0.00500 / 0.00450 / 0.00400 m/s²/√Hz", densityLimit,
        qPrintable(QString("Higher than in consumer sensors, on axis x.") + missing));
    add(bad, "accelerometer.bias_instability", "Accelerometer: bias instability", warned,
        "0.00200 / 0.00180 / 0.00160 m/s²", instabilityLimit,
        qPrintable(QString("Typical of consumer sensors; highest on axis x.") + missing));
    add(bad, "accelerometer.random_walk", "Accelerometer: random walk", failed,
        "0.0100 / 0.00900 / 0.00800 m/s³/√Hz", walkLimit,
        qPrintable(QString("Higher than in consumer sensors, on axis x.") + missing));
    const char* const rateDensityLimit = "0.006 °/s/√Hz; at most 0.02 °/s/√Hz (ours)";
    const char* const rateWalkLimit = "0.0005 °/s²/√Hz; at most 0.005 °/s²/√Hz (ours)";
    add(sound, "gyroscope.noise_density", "Gyroscope: noise density", passed,
        "0.00400 / 0.00360 / 0.00320 °/s/√Hz", rateDensityLimit, typical);
    add(bad, "gyroscope.noise_density", "Gyroscope: noise density", warned,
        "1.00e-05 / 9.00e-06 / 8.00e-06 °/s/√Hz", rateDensityLimit,
        qPrintable(QString("Far below the noise of silicon sensors: the samples were smoothed or "
                           "are not those of a sensor.") +
                   missing));
    add(bad, "gyroscope.bias_instability", "Gyroscope: bias instability", passed,
        "0.00200 / - / 0.00160 °/s", "0.005 °/s; at most 0.02 °/s (ours)",
        qPrintable(QString(typical) + missing));
    add(bad, "gyroscope.random_walk", "Gyroscope: random walk", unknown, "-", rateWalkLimit,
        "The recording is too short.");
    add(vague, "gyroscope.random_walk", "Gyroscope: random walk", unknown, "-", rateWalkLimit,
        "Not observable: the camera moved.");
    add(sound, "vibration", "Free of vibration", passed, "no line in the spectrum",
        "no line above 0.02 m/s² (ours)",
        "Vibration raises the Allan deviation and moves its minimum.");
    add(bad, "vibration", "Free of vibration", warned, "0.0300 m/s² at 50.250 Hz, axis y",
        "no line above 0.02 m/s² (ours)",
        "Vibration raises the Allan deviation and moves its minimum.");

    const char* const residualLimit =
        "0.8 µT; 1.6 µT at most (ours; the steps are 0.4, 0.8, 1.6 and 3.2 µT)";
    const char* const coverageLimit = "at most 20 of 100 areas empty (ours)";
    add(sound, "magnetometer.residual", "Magnetometer: residual of the fit", passed,
        "0.500 µT: good", residualLimit,
        "For offset and one radius per axis, as a camera stores them; it changes the direction of "
        "the field by about 0.57°.");
    add(bad, "magnetometer.residual", "Magnetometer: residual of the fit", failed, "2.00 µT: poor",
        residualLimit,
        "For offset and one radius per axis, as a camera stores them; it changes the direction of "
        "the field by about 2.3°.");
    add(vague, "magnetometer.residual", "Magnetometer: residual of the fit", unknown, "-",
        residualLimit, "The directions do not determine an ellipsoid.");
    add(sound, "magnetometer.coverage", "Magnetometer: coverage of the sphere", passed,
        "4.00 areas empty", coverageLimit,
        "Turn the camera through all orientations for a reliable fit.");
    add(bad, "magnetometer.coverage", "Magnetometer: coverage of the sphere", warned,
        "60.0 areas empty", coverageLimit,
        "Turn the camera through all orientations for a reliable fit.");
    add(vague, "magnetometer.coverage", "Magnetometer: coverage of the sphere", unknown, "-",
        coverageLimit, "The directions do not determine an ellipsoid.");
    const char* const temperatureLimit =
        "-40 to 85 °C (the industrial range); a change of 5 °C at most (ours)";
    add(sound, "temperature", "Temperature of the IMU", passed, "31.5 to 34.2 °C", temperatureLimit,
        "The biases change with the temperature. The linear part of their change is left out of "
        "the noise.");
    add(bad, "temperature", "Temperature of the IMU", warned, "31.5 to 40.0 °C", temperatureLimit,
        "The biases change with the temperature. The linear part of their change is left out of "
        "the noise. Let the camera warm up first.");
    const char* const biasLimit = "0.2 m/s²; 0.5 m/s² at most (ours)";
    const char* const scaleLimit = "1 ± 0.01; ± 0.03 at most (ours)";
    add(sound, "six_positions.bias", "Six positions: bias", passed, "0.0100 / -0.0200 / 0.125 m/s²",
        biasLimit, "From 7 rests on the six sides.");
    add(bad, "six_positions.bias", "Six positions: bias", failed, "-0.600 / -0.0200 / 0.125 m/s²",
        biasLimit, "From 7 rests on the six sides.");
    add(vague, "six_positions.bias", "Six positions: bias", unknown, "-", biasLimit,
        "No rest with +x up.");
    add(sound, "six_positions.scale", "Six positions: scale", passed, "1.0010 / 0.99850 / 1.0000",
        scaleLimit, "From 7 rests on the six sides.");
    add(bad, "six_positions.scale", "Six positions: scale", warned, "1.0010 / 0.98000 / 1.0000",
        scaleLimit, "From 7 rests on the six sides.");
    add(vague, "six_positions.scale", "Six positions: scale", unknown, "-", scaleLimit,
        "No rest with +x up.");
}

void TestReportVerdicts::verdictsHaveTheirTexts()
{
    QFETCH(int, which);
    QFETCH(QString, id);
    QFETCH(QString, what);
    QFETCH(int, state);
    QFETCH(QString, value);
    QFETCH(QString, limit);
    QFETCH(QString, why);
    RecordingReport report = which == sound ? soundReport()
                             : which == bad ? badReport()
                                            : vagueReport();
    judge(report);
    int found = 0;
    for (const Verdict& verdict : report.verdicts) {
        if (verdict.id == id.toStdString()) {
            ++found;
            QCOMPARE(QString::fromStdString(verdict.what), what);
            QCOMPARE(QString::fromStdString(verdict.value), value);
            QCOMPARE(QString::fromStdString(verdict.limit), limit);
            QCOMPARE(QString::fromStdString(verdict.why), why);
            QCOMPARE(int(verdict.state), state);
        }
    }
    QCOMPARE(found, 1);
}

void TestReportVerdicts::everyVerdictIsInTheTable()
{
    const QStringList ids{"length",
                          "rate",
                          "decimated",
                          "missing_samples",
                          "gaps",
                          "jitter",
                          "rows",
                          "rest",
                          "gravity",
                          "accelerometer.stuck",
                          "accelerometer.saturation",
                          "accelerometer.spikes",
                          "accelerometer.noise_density",
                          "accelerometer.bias_instability",
                          "accelerometer.random_walk",
                          "gyroscope.stuck",
                          "gyroscope.saturation",
                          "gyroscope.spikes",
                          "gyroscope.noise_density",
                          "gyroscope.bias_instability",
                          "gyroscope.random_walk",
                          "vibration",
                          "magnetometer.residual",
                          "magnetometer.coverage",
                          "temperature",
                          "six_positions.bias",
                          "six_positions.scale"};
    RecordingReport report = soundReport();
    judge(report);
    QStringList found;
    for (const Verdict& verdict : report.verdicts) {
        found << QString::fromStdString(verdict.id);
    }
    QCOMPARE(found, ids); // all passed: in the order in which they were judged
}

void TestReportVerdicts::rowsAreJudgedByTheShareThatIsLost_data()
{
    QTest::addColumn<int>("torn");
    QTest::addColumn<int>("invalid");
    QTest::addColumn<int>("repeated");
    QTest::addColumn<int>("backward");
    QTest::addColumn<int>("state");
    const int warned = int(STATE::WARNED);
    const int failed = int(STATE::FAILED);
    QTest::newRow("all rows") << 0 << 0 << 0 << 0 << int(STATE::PASSED);
    QTest::newRow("one of a thousand") << 1 << 0 << 0 << 0 << warned;
    QTest::newRow("more torn") << 3 << 0 << 0 << 0 << failed;
    QTest::newRow("more without a number") << 0 << 2 << 0 << 0 << failed;
    QTest::newRow("more out of order") << 0 << 0 << 0 << 2 << failed;
    QTest::newRow("one of each") << 1 << 1 << 0 << 1 << failed;
    QTest::newRow("repeated ones lose nothing") << 0 << 0 << 5000 << 0 << warned;
    QTest::newRow("half of the file") << 0 << 0 << 0 << 999 << failed;
}

void TestReportVerdicts::rowsAreJudgedByTheShareThatIsLost()
{
    QFETCH(int, torn);
    QFETCH(int, invalid);
    QFETCH(int, repeated);
    QFETCH(int, backward);
    RecordingReport report = soundReport();
    report.read.rows = 999;
    report.read.tornRows = static_cast<std::uint64_t>(torn);
    report.read.invalidRows = static_cast<std::uint64_t>(invalid);
    report.read.repeatedRows = static_cast<std::uint64_t>(repeated);
    report.read.backwardRows = static_cast<std::uint64_t>(backward);
    QTEST(static_cast<int>(verdictOf(report, "rows").state), "state");
}

void TestReportVerdicts::samplesOfASlowSensorAreJudgedWithTheRows()
{
    RecordingReport report = soundReport();
    report.read.magnetometer = {9999, 1};
    const Verdict warned = verdictOf(report, "rows");
    QVERIFY(warned.state == STATE::WARNED);
    const QString value = QString::fromStdString(warned.value);
    QVERIFY2(value.endsWith("; 9999 of 10000 samples of the magnetometer"), qPrintable(value));
    QCOMPARE(QString::fromStdString(warned.why),
             QString("Left out: 1 sample of the magnetometer with a time before that of its last "
                     "one that was kept. The clock "
                     "was set back, recordings were joined, or one time is far too late."));
    report = soundReport();
    report.read.barometer = {100, 100};
    QVERIFY(verdictOf(report, "rows").state == STATE::FAILED);
}

void TestReportVerdicts::spikesAreAShareOfTheRest_data()
{
    QTest::addColumn<int>("rows"); // at rest, of 1,440,000
    QTest::addColumn<int>("spikes");
    QTest::addColumn<int>("state");
    QTest::newRow("none") << 4000 << 0 << int(STATE::PASSED);
    QTest::newRow("many in a short rest") << 4000 << 10 << int(STATE::FAILED);
    QTest::newRow("one in 100,000") << 100'000 << 1 << int(STATE::WARNED);
    QTest::newRow("two in 100,000") << 100'000 << 2 << int(STATE::FAILED);
    QTest::newRow("all of the recording") << 1'440'000 << 14 << int(STATE::WARNED);
}

void TestReportVerdicts::spikesAreAShareOfTheRest()
{
    QFETCH(int, rows);
    QFETCH(int, spikes);
    RecordingReport report = soundReport();
    report.read.rows = 1'440'000;
    report.rest->first = 1000;
    report.rest->end = 1000 + static_cast<std::size_t>(rows);
    report.gyroscope->axes[0].spikes = static_cast<std::uint64_t>(spikes);
    QTEST(static_cast<int>(verdictOf(report, "gyroscope.spikes").state), "state");
}

void TestReportVerdicts::decimationHasOneFactor_data()
{
    QTest::addColumn<double>("rate");       // of the rows, Hz
    QTest::addColumn<double>("sensorRate"); // as the numbers of the samples show; 0: they do not
    QTest::addColumn<QString>("factor");
    QTest::newRow("faster sensor than expected") << 200.0 << 800.0 << "2.00";
    QTest::newRow("faster rows than expected") << 800.0 << 1600.0 << "1.41";
    QTest::newRow("slower sensor than expected") << 50.0 << 100.0 << "1.41";
    QTest::newRow("without numbers") << 100.0 << 0.0 << "2.00";
}

void TestReportVerdicts::decimationHasOneFactor()
{
    QFETCH(double, rate);
    QFETCH(double, sensorRate);
    QFETCH(QString, factor);
    RecordingReport report = soundReport();
    report.decimated = true;
    report.timing.numbersSkip = sensorRate > 0.0;
    report.timing.rateHz = rate;
    report.timing.sensorRateHz = sensorRate > 0.0 ? sensorRate : rate;
    const QString why = QString::fromStdString(verdictOf(report, "decimated").why);
    const QString text = "are up to " + factor + " times too high.";
    QVERIFY2(why.endsWith(text), qPrintable(why));
    QVERIFY2(report.warning.find(text.toStdString()) != std::string::npos, report.warning.c_str());
}

void TestReportVerdicts::numbersHaveTheirDigits_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<int>("digits");
    QTest::addColumn<QString>("text");
    QTest::newRow("zero") << 0.0 << 4 << "0";
    QTest::newRow("zero with a sign") << -0.0 << 4 << "0";
    QTest::newRow("of four digits") << 12.3456 << 4 << "12.35";
    QTest::newRow("below one") << 0.0123456 << 3 << "0.0123";
    QTest::newRow("with more digits than asked") << 123456.0 << 3 << "123456";
    QTest::newRow("at the upper end") << 999999.0 << 4 << "999999";
    QTest::newRow("above it") << 1e6 << 4 << "1.000e+06";
    QTest::newRow("at the lower end") << 1e-4 << 3 << "0.000100";
    QTest::newRow("below it") << 9.99e-5 << 3 << "9.99e-05";
    QTest::newRow("negative") << -2.5 << 2 << "-2.5";
    QTest::newRow("endless") << std::numeric_limits<double>::infinity() << 4 << "-";
    QTest::newRow("no number") << std::numeric_limits<double>::quiet_NaN() << 4 << "-";
}

void TestReportVerdicts::numbersHaveTheirDigits()
{
    QFETCH(double, value);
    QFETCH(int, digits);
    QFETCH(QString, text);
    QCOMPARE(QString::fromStdString(number(value, digits)), text);
    if (digits == 4) {
        QCOMPARE(number(value), number(value, 4));
    }
}

void TestReportVerdicts::durationsHaveTheirUnits_data()
{
    QTest::addColumn<double>("seconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("seconds") << 119.0 << "119 s";
    QTest::newRow("two minutes") << 120.0 << "2.00 min";
    QTest::newRow("minutes") << 7199.0 << "120 min";
    QTest::newRow("two hours") << 7200.0 << "2.00 h";
    QTest::newRow("hours") << 12'600.0 << "3.50 h";
}

void TestReportVerdicts::durationsHaveTheirUnits()
{
    QFETCH(double, seconds);
    QFETCH(QString, text);
    QCOMPARE(QString::fromStdString(durationText(seconds)), text);
}

QTEST_APPLESS_MAIN(TestReportVerdicts)
#include "tst_report_verdicts.moc"
