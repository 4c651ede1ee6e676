#include "report/json_file.h"
#include "report/model.h"
#include "report/page.h"
#include "report/verdicts.h"
#include "report/yaml_file.h"

#include "report/recordings.h"
#include "support/amount.h"

#include <QtTest>

#include <cmath>

using namespace report;
using json = nlohmann::ordered_json;

namespace {

json asJson(const analysis::Recording& recording, const Options& options = {})
{
    return json::parse(jsonText({analyse(recording, options)}));
}

const Verdict* find(const RecordingReport& report, const std::string& id)
{
    for (const Verdict& verdict : report.verdicts) {
        if (verdict.id == id) {
            return &verdict;
        }
    }
    return nullptr;
}

/// Every number below the value is finite, and each null has its reason beside it.
QString unsoundIn(const json& value, const QString& path)
{
    if (value.is_object()) {
        for (const auto& [name, member] : value.items()) {
            const bool explained = value.contains("reason") && value["reason"].contains(name) &&
                                   !value["reason"][name].get<std::string>().empty();
            const QString memberPath = path + QLatin1Char('.') + QString::fromStdString(name);
            if (member.is_null() && !explained && name != "warning") {
                return memberPath + QStringLiteral(" is null without a reason");
            }
            QString problem = unsoundIn(member, memberPath);
            if (!problem.isEmpty()) {
                return problem;
            }
        }
    } else if (value.is_array()) {
        for (const json& element : value) {
            if (element.is_null()) {
                return path + QStringLiteral(" holds null");
            }
            QString problem = unsoundIn(element, path + QStringLiteral("[]"));
            if (!problem.isEmpty()) {
                return problem;
            }
        }
    }
    return {};
}

} // namespace

class TestReportNumbers : public QObject
{
    Q_OBJECT

private slots:
    void knownNoiseIsFoundOnEveryAxis();
    void intervalsHoldTheTruth();
    void coefficientThatIsNotThereIsNullWithReason();
    void allanArraysAreOfOneLength();
    void timingHasItsFixedNames();
    void missingRowsAreCounted();
    void removedRowCountsWhateverItsNumber();
    void decimatedFileSaysSoFirst_data();
    void decimatedFileSaysSoFirst();
    void magnetometerComesBack();
    void magnetometerClasses_data();
    void magnetometerClasses();
    void noiseIsTakenFromTheRestAlone();
    void movingCameraHasNoNoise();
    void shortRecordingRestsUnlessItMoves_data();
    void shortRecordingRestsUnlessItMoves();
    void lengthOfTheAccelerationHasAllAxes();
    void meanAndDeviationAreThoseOfTheRest();
    void meanAndDeviationOfAMovingCameraAreThoseOfAllRows();
    void slowWalkIsNoMotion();
    void verdictsTellSensorsApart_data();
    void verdictsTellSensorsApart();
    void stuckAxisFails();
    void saturatedAxisFails();
    void axisThatIsCutOffAtItsRangeFails();
    void coarseStepsAreNoEndOfTheRange();
    void spikesAreCounted();
    void spikesDoNotRaiseTheNoise();
    void gapsInAVibrationDoNotRaiseTheNoise();
    void spikesBesideGapsDoNotRaiseTheNoise();
    void vibrationIsNamed();
    void spectralLineHasItsUnit_data();
    void spectralLineHasItsUnit();
    void temperatureSlopeIsFound();
    void missingTemperatureSlopeHasItsReason_data();
    void missingTemperatureSlopeHasItsReason();
    void driftOfTheTemperatureIsNoWalk();
    void walkIsNoEffectOfTheTemperature();
    void magnetometerAtRestIsNotJudged();
    void saturatedReadingsHaveNoEffectOnTheFit();
    void saturatedMagnetometerIsNotJudged();
    void magnetometerWithoutAFitHasTheKeysOfAFit();
    void shortRecordingWarns();
    void missingReadingsAreAShareOfAllReadings();
    void noiseOfFilledGapsSaysSo();
    void sixPositionsAreSolved();
    void severalRecordingsAreAnArray();
    void hostileNameStaysValid();
    void yamlHasTheNamesAndUnits();
    void yamlLeavesOutWhatIsNotObservable();
    void yamlHasTheValuesOfAllAxesBesideTheHighest();
};

void TestReportNumbers::knownNoiseIsFoundOnEveryAxis()
{
    const recordings::Noise noise{1.5e-3, 2e-3, 3e-3, 5e-3, 4};
    const json report = asJson(recordings::atRest(240'000, noise));
    for (const char* axis : axisNames) {
        const json& acceleration = report["accelerometer"][axis];
        const json& rate = report["gyroscope"][axis];
        QCOMPARE(acceleration["noise_density"]["unit"].get<std::string>(), "m/s²/√Hz");
        QCOMPARE(acceleration["random_walk"]["unit"].get<std::string>(), "m/s³/√Hz");
        QCOMPARE(rate["noise_density"]["unit"].get<std::string>(), "deg/s/√Hz");
        QCOMPARE(rate["random_walk"]["unit"].get<std::string>(), "deg/s²/√Hz");
        const auto near = [](const json& value, double truth, double share) {
            return std::abs(value["value"].get<double>() / truth - 1.0) < share;
        };
        QVERIFY(near(acceleration["noise_density"], 1.5e-3, 0.02));
        QVERIFY(near(rate["noise_density"], 3e-3, 0.02));
        QVERIFY(near(acceleration["random_walk"], 2e-3, 0.15));
        QVERIFY(near(rate["random_walk"], 5e-3, 0.15));
    }
}

void TestReportNumbers::intervalsHoldTheTruth()
{
    int held = 0;
    int all = 0;
    for (std::uint64_t seed = 1; seed <= 20 / amount::divisor; ++seed) {
        recordings::Noise noise;
        noise.seed = seed;
        const json report = asJson(recordings::atRest(8000, noise));
        for (const char* axis : axisNames) {
            const json& density = report["gyroscope"][axis]["noise_density"];
            QVERIFY(!density.is_null());
            held += density["low"].get<double>() <= 3e-3 && 3e-3 <= density["high"].get<double>();
            ++all;
        }
    }
    // 68 % of 60; three standard deviations are 11, and the root of the number as large a part.
    QVERIFY2(std::abs(held - 0.68 * all) <= 1.45 * std::sqrt(all),
             qPrintable(QString("%1 of %2").arg(held).arg(all)));
}

void TestReportNumbers::coefficientThatIsNotThereIsNullWithReason()
{
    const json report = asJson(recordings::atRest(8000));
    for (const char* sensor : {"accelerometer", "gyroscope"}) {
        for (const char* axis : axisNames) {
            const json& object = report[sensor][axis];
            QVERIFY(object["random_walk"].is_null());
            const auto reason = object["reason"]["random_walk"].get<std::string>();
            QVERIFY2(reason.find("not observable in 20 seconds: ") == 0, reason.c_str());
        }
    }
    QCOMPARE(unsoundIn(report, ""), QString());
}

void TestReportNumbers::allanArraysAreOfOneLength()
{
    const json report = asJson(recordings::atRest(8000));
    const json& allan = report["gyroscope"]["z"]["allan"];
    const std::size_t points = allan["tau_s"].size();
    QVERIFY(points > 20);
    QCOMPARE(allan["deviation"].size(), points);
    QCOMPARE(allan["low"].size(), points);
    QCOMPARE(allan["high"].size(), points);
    QVERIFY(std::abs(allan["tau_s"][0].get<double>() - 0.0025) < 1e-12);
    for (std::size_t i = 0; i < points; ++i) {
        QVERIFY(allan["low"][i] < allan["deviation"][i] &&
                allan["deviation"][i] < allan["high"][i]);
    }
}

void TestReportNumbers::timingHasItsFixedNames()
{
    const json timing = asJson(recordings::atRest(4001))["timing"];
    QVERIFY(std::abs(timing["rate_hz"].get<double>() - 400.0) < 1e-6);
    QCOMPARE(timing["missing_samples"].get<int>(), 0);
    QCOMPARE(timing["gaps"].get<int>(), 0);
    QCOMPARE(timing["decimated"].get<bool>(), false);
    QCOMPARE(timing["duration_s"].get<double>(), 10.0);
}

void TestReportNumbers::missingRowsAreCounted()
{
    analysis::Recording recording = recordings::atRest(4000);
    recordings::removeRows(recording, 3000, 3080);
    recordings::removeRows(recording, 1000, 1001);
    for (std::size_t i = 0; i < recording.numbers.size(); ++i) {
        recording.numbers[i] = static_cast<std::uint32_t>(i);
    }
    const RecordingReport report = analyse(recording, {});
    const json timing = jsonOf(report)["timing"];
    QCOMPARE(timing["missing_samples"].get<int>(), 81);
    QCOMPARE(timing["gaps"].get<int>(), 2);
    QVERIFY(std::abs(timing["rate_hz"].get<double>() - 400.0) < 1e-6);
    QCOMPARE(find(report, "missing_samples")->state, STATE::FAILED);
    QCOMPARE(find(report, "gaps")->state, STATE::FAILED);
    QCOMPARE(report.overall(), STATE::FAILED);
}

void TestReportNumbers::removedRowCountsWhateverItsNumber()
{
    analysis::Recording recording = recordings::atRest(4000);
    recordings::removeRows(recording, 1000, 1002); // the numbers jump too
    const json timing = asJson(recording)["timing"];
    QCOMPARE(timing["missing_samples"].get<int>(), 2);
    QCOMPARE(timing["gaps"].get<int>(), 1);
}

void TestReportNumbers::decimatedFileSaysSoFirst_data()
{
    QTest::addColumn<bool>("numbered");
    QTest::newRow("the numbers say so") << true;
    QTest::newRow("the rate says so") << false;
}

void TestReportNumbers::decimatedFileSaysSoFirst()
{
    QFETCH(bool, numbered);
    analysis::Recording whole = recordings::atRest(16000);
    analysis::Recording half;
    half.path = whole.path;
    for (std::size_t i = 0; i < whole.times.size(); i += 2) {
        half.times.push_back(whole.times[i]);
        half.numbers.push_back(static_cast<std::uint32_t>(numbered ? i : i / 2));
        for (std::size_t axis = 0; axis < 3; ++axis) {
            half.acceleration.axes[axis].push_back(whole.acceleration.axes[axis][i]);
            half.angularVelocity.axes[axis].push_back(whole.angularVelocity.axes[axis][i]);
        }
    }
    half.report.rows = half.times.size();
    const RecordingReport report = analyse(half, {});
    QVERIFY(report.decimated);
    QVERIFY2(report.warning.find("This file was decimated: its rows come at 200.0 Hz, the sensor's "
                                 "samples at 400.0 Hz.") == 0,
             report.warning.c_str());
    QVERIFY(report.warning.find("up to 1.41 times") != std::string::npos);
    const json object = jsonOf(report);
    QCOMPARE(object["timing"]["decimated"].get<bool>(), true);
    QCOMPARE(object["timing"]["missing_samples"].get<int>(), 0);
    QCOMPARE(object["warning"].get<std::string>(), report.warning);
    QVERIFY(yamlText(report).find("# WARNING: This file was decimated") != std::string::npos);
    QCOMPARE(find(report, "decimated")->state, STATE::WARNED);
}

void TestReportNumbers::magnetometerComesBack()
{
    analysis::Recording recording;
    recordings::addMagnetometer(recording, {18.5, -24.0, 11.5}, {50.88, 44.64, 48.96}, 3000, 0.25);
    const json report = asJson(recording);
    const json& field = report["magnetometer"];
    const std::array<double, 3> offset{18.5, -24.0, 11.5};
    const std::array<double, 3> radii{50.88, 44.64, 48.96};
    for (std::size_t i = 0; i < 3; ++i) {
        QVERIFY(std::abs(field["offset_ut"][i].get<double>() - offset[i]) < 0.05);
        QVERIFY(std::abs(field["radii_ut"][i].get<double>() - radii[i]) < 0.05);
    }
    QVERIFY(std::abs(field["residual_rms_ut"].get<double>() - 0.25) < 0.02);
    QCOMPARE(field["residual_class"].get<std::string>(), "excellent");
    QCOMPARE(field["gaps_percent"].get<double>(), 0.0);
    QCOMPARE(report["timing"]["of"].get<std::string>(), "magnetometer");
    QVERIFY(std::abs(report["timing"]["rate_hz"].get<double>() - 50.0) < 1e-6);
    QVERIFY(report["accelerometer"].is_null());
    QCOMPARE(unsoundIn(report, ""), QString());
}

void TestReportNumbers::magnetometerClasses_data()
{
    QTest::addColumn<double>("rms");
    QTest::addColumn<QString>("name");
    QTest::newRow("0.4") << 0.4 << "excellent";
    QTest::newRow("0.41") << 0.41 << "good";
    QTest::newRow("0.8") << 0.8 << "good";
    QTest::newRow("1.6") << 1.6 << "usable";
    QTest::newRow("1.61") << 1.61 << "poor";
    QTest::newRow("3.2") << 3.2 << "poor";
    QTest::newRow("3.3") << 3.3 << "useless";
}

void TestReportNumbers::magnetometerClasses()
{
    QFETCH(double, rms);
    QTEST(QString(residualNames[residualClass(rms)]), "name");
}

void TestReportNumbers::noiseIsTakenFromTheRestAlone()
{
    analysis::Recording recording = recordings::atRest(40'000);
    // Ten seconds of turning about x at the start.
    for (std::size_t i = 0; i < 4000; ++i) {
        const double angle = 0.5 * std::sin(0.002 * static_cast<double>(i));
        recording.acceleration.axes[1][i] += 9.8 * (std::cos(angle) - 1.0);
        recording.acceleration.axes[2][i] += 9.8 * std::sin(angle);
        recording.angularVelocity.axes[0][i] += 22.9 * std::cos(0.002 * static_cast<double>(i));
    }
    const RecordingReport report = analyse(recording, {});
    QVERIFY(report.rest);
    QVERIFY(!report.rest->whole);
    QVERIFY2(report.rest->startSeconds >= 9.0 && report.rest->startSeconds <= 11.1,
             qPrintable(QString::number(report.rest->startSeconds)));
    QVERIFY(report.rest->seconds > 88.0);
    for (const AxisReport& axis : report.gyroscope->axes) {
        QVERIFY(axis.noise.model.noiseDensity.value);
        QVERIFY(std::abs(*axis.noise.model.noiseDensity.value / 3e-3 - 1.0) < 0.05);
    }
}

void TestReportNumbers::movingCameraHasNoNoise()
{
    analysis::Recording recording = recordings::atRest(20'000);
    for (std::size_t i = 0; i < recording.times.size(); ++i) {
        const double angle = 0.001 * static_cast<double>(i);
        recording.acceleration.axes[1][i] += 9.8 * (std::cos(angle) - 1.0);
        recording.acceleration.axes[2][i] += 9.8 * std::sin(angle);
        recording.angularVelocity.axes[0][i] += 22.9;
    }
    const RecordingReport report = analyse(recording, {});
    QVERIFY(!report.rest);
    const json object = jsonOf(report);
    QVERIFY(object["gyroscope"]["x"]["noise_density"].is_null());
    QCOMPARE(object["gyroscope"]["x"]["reason"]["noise_density"].get<std::string>(),
             "not observable: the camera was never at rest for two seconds");
    QCOMPARE(unsoundIn(object, ""), QString());
}

void TestReportNumbers::shortRecordingRestsUnlessItMoves_data()
{
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("missing"); // rows behind the 300th one
    QTest::addColumn<double>("rate"); // deg/s
    QTest::addColumn<double>("step"); // m/s^2, after the first second
    QTest::addColumn<bool>("rests");
    constexpr double turn = 100.0;
    constexpr double tilt = 5.0;
    // 801 rows last two seconds.
    QTest::newRow("2 s, turns: too short to be judged") << 801 << 0 << turn << 0.0 << true;
    QTest::newRow("2 s, tilts: too short to be judged") << 801 << 0 << 0.0 << tilt << true;
    QTest::newRow("2.0025 s, turns") << 802 << 0 << turn << 0.0 << false;
    QTest::newRow("2.0025 s, tilts") << 802 << 0 << 0.0 << tilt << false;
    QTest::newRow("2.0025 s, rests") << 802 << 0 << 0.0 << 0.0 << true;
    QTest::newRow("2.5 s, turns") << 1001 << 0 << turn << 0.0 << false;
    QTest::newRow("2.5 s, tilts") << 1001 << 0 << 0.0 << tilt << false;
    QTest::newRow("2.5 s, rests") << 1001 << 0 << 0.0 << 0.0 << true;
    QTest::newRow("2.9975 s, turns") << 1200 << 0 << turn << 0.0 << false;
    QTest::newRow("3 s, turns") << 1201 << 0 << turn << 0.0 << false;
    QTest::newRow("3 s, rests") << 1201 << 0 << 0.0 << 0.0 << true;
    // Two parts of less than a second.
    QTest::newRow("3.75 s with a gap, turns") << 1500 << 900 << turn << 0.0 << false;
    QTest::newRow("3.75 s with a gap, tilts") << 1500 << 900 << 0.0 << tilt << false;
    QTest::newRow("3.75 s with a gap, rests") << 1500 << 900 << 0.0 << 0.0 << true;
}

void TestReportNumbers::shortRecordingRestsUnlessItMoves()
{
    QFETCH(int, rows);
    QFETCH(int, missing);
    QFETCH(double, rate);
    QFETCH(double, step);
    analysis::Recording recording = recordings::atRest(static_cast<std::size_t>(rows));
    for (std::size_t row = 0; row < recording.times.size(); ++row) {
        recording.angularVelocity.axes[0][row] += rate;
        recording.acceleration.axes[2][row] += row < 400 ? 0.0 : step;
    }
    recordings::removeRows(recording, 300, 300 + static_cast<std::size_t>(missing));
    const RecordingReport report = analyse(recording, {});
    QTEST(report.rest.has_value(), "rests");
    QVERIFY(!report.rest || report.rest->whole);
    QCOMPARE(find(report, "rest")->state, report.rest ? STATE::PASSED : STATE::UNKNOWN);
}

void TestReportNumbers::lengthOfTheAccelerationHasAllAxes()
{
    analysis::Recording recording = recordings::atRest(4000);
    constexpr std::array<double, 3> parts{2.8, 4.2, 8.4}; // 9.8 together
    for (std::size_t axis = 0; axis < 3; ++axis) {
        recording.acceleration.axes[axis].assign(4000, parts[axis]);
    }
    const RecordingReport report = analyse(recording, {});
    QVERIFY(report.gravity);
    QCOMPARE(report.gravity->mean, 9.8);
    QVERIFY(report.gravity->envelope.lowest.size() >= 10);
    for (const double length : report.gravity->envelope.lowest) {
        QCOMPARE(length, 9.8);
    }
}

void TestReportNumbers::meanAndDeviationAreThoseOfTheRest()
{
    analysis::Recording recording = recordings::atRest(20'000, {0.0, 0.0, 0.0, 0.0, 1});
    for (std::size_t i = 0; i < recording.times.size(); ++i) {
        recording.angularVelocity.axes[2][i] = (i % 2 == 0 ? 0.5 : 0.3) + (i < 4000 ? 40.0 : 0.0);
    }
    const RecordingReport report = analyse(recording, {});
    QVERIFY(report.rest && !report.rest->whole);
    const json axis = jsonOf(report)["gyroscope"]["z"];
    QVERIFY(std::abs(axis["mean"].get<double>() - 0.4) < 1e-4);
    QVERIFY(std::abs(axis["standard_deviation"].get<double>() - 0.1) < 1e-4);
}

void TestReportNumbers::meanAndDeviationOfAMovingCameraAreThoseOfAllRows()
{
    analysis::Recording recording = recordings::atRest(4000, {0.0, 0.0, 0.0, 0.0, 1});
    for (std::size_t i = 0; i < recording.times.size(); ++i) {
        recording.angularVelocity.axes[2][i] = i / 400 % 2 == 0 ? 30.0 : -50.0;
    }
    const RecordingReport report = analyse(recording, {});
    QVERIFY(!report.rest);
    const json axis = jsonOf(report)["gyroscope"]["z"];
    QCOMPARE(axis["mean"].get<double>(), -10.0);
    QCOMPARE(axis["standard_deviation"].get<double>(), 40.0);
}

void TestReportNumbers::slowWalkIsNoMotion()
{
    const recordings::Noise noise{1.5e-3, 5e-3, 3e-3, 5e-2, 7};
    const RecordingReport report = analyse(recordings::atRest(120'000, noise), {});
    QVERIFY(report.rest && report.rest->whole);
}

void TestReportNumbers::verdictsTellSensorsApart_data()
{
    QTest::addColumn<double>("density");
    QTest::addColumn<int>("state");
    QTest::newRow("good") << 3e-3 << static_cast<int>(STATE::PASSED);
    QTest::newRow("consumer") << 1.2e-2 << static_cast<int>(STATE::WARNED);
    QTest::newRow("broken") << 8e-2 << static_cast<int>(STATE::FAILED);
    QTest::newRow("too good to be true") << 1e-5 << static_cast<int>(STATE::WARNED);
}

void TestReportNumbers::verdictsTellSensorsApart()
{
    QFETCH(double, density);
    QFETCH(int, state);
    recordings::Noise noise;
    noise.accelerationDensity = 8e-4;
    noise.rateDensity = density;
    const RecordingReport report = analyse(recordings::atRest(20'000, noise), {});
    QCOMPARE(static_cast<int>(find(report, "gyroscope.noise_density")->state), state);
    QCOMPARE(static_cast<int>(report.overall()), state);
}

void TestReportNumbers::stuckAxisFails()
{
    analysis::Recording recording = recordings::atRest(8000);
    for (std::size_t i = 2000; i < 2400; ++i) {
        recording.acceleration.axes[2][i] = 0.1;
    }
    const RecordingReport report = analyse(recording, {});
    const Verdict* const verdict = find(report, "accelerometer.stuck");
    QCOMPARE(verdict->state, STATE::FAILED);
    QVERIFY2(verdict->value.find("axis z") != std::string::npos, verdict->value.c_str());
    QCOMPARE(find(report, "gyroscope.stuck")->state, STATE::PASSED);
}

void TestReportNumbers::saturatedAxisFails()
{
    analysis::Recording recording = recordings::atRest(8000);
    for (std::size_t i = 2000; i < 2010; ++i) {
        recording.acceleration.axes[0][i] = 19.6133;
    }
    const RecordingReport report = analyse(recording, {});
    QCOMPARE(find(report, "accelerometer.saturation")->state, STATE::FAILED);
    QCOMPARE(report.accelerometer->axes[0].saturated, std::uint64_t{10});
    QCOMPARE(report.accelerometer->axes[1].saturated, std::uint64_t{0});
}

void TestReportNumbers::axisThatIsCutOffAtItsRangeFails()
{
    analysis::Recording recording = recordings::atRest(8000);
    for (std::size_t i = 0; i < recording.times.size(); i += 400) {
        recording.acceleration.axes[1][i] = 10.0;
        recording.acceleration.axes[0][i] = -10.0;
    }
    const RecordingReport report = analyse(recording, {});
    QCOMPARE(find(report, "accelerometer.saturation")->state, STATE::FAILED);
    QCOMPARE(report.accelerometer->axes[0].saturated, std::uint64_t{20});
    QCOMPARE(report.accelerometer->axes[1].saturated, std::uint64_t{20});
    QCOMPARE(report.accelerometer->axes[2].saturated, std::uint64_t{0});
}

void TestReportNumbers::coarseStepsAreNoEndOfTheRange()
{
    for (const double step : {1e-3, 1e-2, 0.1, 1.0}) {
        analysis::Recording recording = recordings::atRest(8000);
        for (std::vector<double>& axis : recording.acceleration.axes) {
            for (double& value : axis) {
                value = std::round(value / step) * step;
            }
        }
        QCOMPARE(find(analyse(recording, {}), "accelerometer.saturation")->state, STATE::PASSED);
    }
}

void TestReportNumbers::spikesAreCounted()
{
    analysis::Recording recording = recordings::atRest(8000);
    QCOMPARE(analyse(recording, {}).gyroscope->axes[1].spikes, std::uint64_t{0});
    for (const std::size_t row : {1000U, 3000U, 7000U}) {
        recording.angularVelocity.axes[1][row] += 30.0;
    }
    const RecordingReport report = analyse(recording, {});
    QCOMPARE(report.gyroscope->axes[1].spikes, std::uint64_t{3});
    QCOMPARE(find(report, "gyroscope.spikes")->state, STATE::FAILED);
    QVERIFY(report.rest && report.rest->whole);
}

void TestReportNumbers::spikesDoNotRaiseTheNoise()
{
    analysis::Recording recording = recordings::atRest(40'000);
    std::vector<double>& axis = recording.acceleration.axes[0];
    for (std::size_t i = 0; i < axis.size(); ++i) {
        axis[i] += 0.8 * std::sin(2.0 * 3.14159265358979 * 61.7 * 0.0025 * static_cast<double>(i));
    }
    // Less than the wave is high, so that they show only without it.
    std::uint64_t count = 0;
    for (std::size_t i = 500; i < axis.size(); i += 1000) {
        axis[i] += 1.0;
        ++count;
    }
    const RecordingReport report = analyse(recording, {});
    const AxisReport& found = report.accelerometer->axes[0];
    QCOMPARE(found.spikes, count);
    const analysis::Coefficient& density = found.noise.model.noiseDensity;
    QVERIFY(density.value);
    QVERIFY2(std::abs(*density.value / 1.5e-3 - 1.0) < 0.02,
             qPrintable(QString::number(*density.value)));
    QVERIFY(!found.allanAsRecorded.empty());
}

void TestReportNumbers::gapsInAVibrationDoNotRaiseTheNoise()
{
    analysis::Recording recording = recordings::atRest(80'000);
    std::vector<double>& axis = recording.acceleration.axes[1];
    for (std::size_t i = 0; i < axis.size(); ++i) {
        axis[i] += 0.8 * std::sin(2.0 * 3.14159265358979 * 61.7 * 0.0025 * static_cast<double>(i));
    }
    for (std::size_t row = 79'500; row > 500; row -= 1000) {
        recordings::removeRows(recording, row, row + 4);
    }
    const RecordingReport report = analyse(recording, {});
    const analysis::Coefficient& density = report.accelerometer->axes[1].noise.model.noiseDensity;
    QVERIFY(density.value);
    QVERIFY2(std::abs(*density.value / 1.5e-3 - 1.0) < 0.03,
             qPrintable(QString::number(*density.value)));
}

void TestReportNumbers::spikesBesideGapsDoNotRaiseTheNoise()
{
    analysis::Recording recording = recordings::atRest(80'000);
    std::vector<double>& axis = recording.acceleration.axes[0];
    std::uint64_t count = 0;
    for (std::size_t row = 78'000; row > 0; row -= 2000) {
        axis[row - 1] += 9.0;
        recordings::removeRows(recording, row, row + 4);
        ++count;
    }
    const RecordingReport report = analyse(recording, {});
    const AxisReport& found = report.accelerometer->axes[0];
    QCOMPARE(found.spikes, count);
    const analysis::Coefficient& density = found.noise.model.noiseDensity;
    QVERIFY(density.value);
    QVERIFY2(std::abs(*density.value / 1.5e-3 - 1.0) < 0.02,
             qPrintable(QString::number(*density.value)));
}

void TestReportNumbers::vibrationIsNamed()
{
    analysis::Recording recording = recordings::atRest(40'000);
    for (std::size_t i = 0; i < recording.times.size(); ++i) {
        recording.acceleration.axes[2][i] +=
            0.2 * std::sin(2.0 * 3.14159265358979 * 87.3 * 0.0025 * static_cast<double>(i));
    }
    const RecordingReport report = analyse(recording, {});
    QVERIFY(!report.accelerometer->axes[2].lines.empty());
    const analysis::SpectralLine& line = report.accelerometer->axes[2].lines.front();
    QVERIFY(line.low <= 87.3 && 87.3 <= line.high);
    // The noise is found as if nothing vibrated.
    const analysis::NoiseModel& model = report.accelerometer->axes[2].noise.model;
    QVERIFY(model.noiseDensity.value);
    QVERIFY2(std::abs(*model.noiseDensity.value / 1.5e-3 - 1.0) < 0.02,
             qPrintable(QString::number(*model.noiseDensity.value)));
    QVERIFY(!model.biasInstability.value);
    const json axis = jsonOf(report)["accelerometer"]["z"];
    QVERIFY(axis["allan"]["deviation"][1] > axis["allan_of_noise"]["deviation"][1]);
    QCOMPARE(find(report, "vibration")->state, STATE::WARNED);
}

void TestReportNumbers::spectralLineHasItsUnit_data()
{
    QTest::addColumn<QString>("sensor");
    QTest::addColumn<QString>("unit");
    QTest::newRow("accelerometer") << "accelerometer"
                                   << "m/s²";
    QTest::newRow("gyroscope") << "gyroscope"
                               << "deg/s";
}

void TestReportNumbers::spectralLineHasItsUnit()
{
    QFETCH(QString, sensor);
    analysis::Recording recording = recordings::atRest(8000);
    for (std::size_t i = 0; i < recording.times.size(); ++i) {
        const double swing =
            0.3 * std::sin(2.0 * 3.14159265358979 * 87.3 * 0.0025 * static_cast<double>(i));
        recording.acceleration.axes[0][i] += swing;
        recording.angularVelocity.axes[0][i] += swing;
    }
    const json spectrum = asJson(recording)[sensor.toStdString()]["x"]["spectrum"];
    QCOMPARE(spectrum["lines"].size(), std::size_t{1});
    const json& line = spectrum["lines"][0];
    QVERIFY(std::abs(line["amplitude"].get<double>() / 0.3 - 1.0) < 0.1);
    QTEST(QString::fromStdString(line.value("unit", "none")), "unit");
}

void TestReportNumbers::temperatureSlopeIsFound()
{
    analysis::Recording recording = recordings::atRest(80'000);
    for (std::size_t i = 0; i < recording.times.size(); i += 16) {
        const double temperature = 25.0 + 4.0 * static_cast<double>(i) / 80'000.0;
        recording.temperatureTimes.push_back(recording.times[i]);
        for (auto& values : recording.temperatures) {
            values.push_back(temperature);
        }
    }
    for (std::size_t i = 0; i < recording.times.size(); ++i) {
        recording.angularVelocity.axes[0][i] += 0.05 * 4.0 * static_cast<double>(i) / 80'000.0;
    }
    const RecordingReport report = analyse(recording, {});
    QVERIFY(report.gyroscope->axes[0].temperatureSlope);
    QVERIFY(std::abs(*report.gyroscope->axes[0].temperatureSlope - 0.05) < 1e-3);
    QCOMPARE(find(report, "temperature")->state, STATE::PASSED);
}

void TestReportNumbers::missingTemperatureSlopeHasItsReason_data()
{
    QTest::addColumn<int>("step"); // rows between two temperatures; 0: there are none
    QTest::addColumn<bool>("moving");
    QTest::addColumn<QString>("reason");
    QTest::newRow("never at rest") << 100 << true << "the camera was never at rest for two seconds";
    QTest::newRow("no temperatures") << 0 << false << "the recording has no temperatures";
    QTest::newRow("two intervals")
        << 3000 << false << "the rest is too short for a slope over the temperature";
    QTest::newRow("the same temperature") << 100 << false
                                          << "the temperature of the IMU did not change by a "
                                             "degree while the camera was at rest";
}

void TestReportNumbers::missingTemperatureSlopeHasItsReason()
{
    QFETCH(int, step);
    QFETCH(bool, moving);
    QFETCH(QString, reason);
    analysis::Recording recording = recordings::atRest(8000);
    for (std::size_t row = 0; row < recording.times.size(); ++row) {
        if (step > 0 && row % static_cast<std::size_t>(step) == 0) {
            recording.temperatureTimes.push_back(recording.times[row]);
            for (std::vector<double>& values : recording.temperatures) {
                values.push_back(25.0);
            }
        }
        recording.angularVelocity.axes[0][row] += moving ? 22.9 : 0.0;
        recording.acceleration.axes[2][row] +=
            moving ? 9.8 * std::sin(0.001 * static_cast<double>(row)) : 0.0;
    }
    const json axis = jsonOf(analyse(recording, {}))["gyroscope"]["z"];
    QVERIFY(axis["temperature_slope"].is_null());
    QCOMPARE(QString::fromStdString(axis["reason"]["temperature_slope"].get<std::string>()),
             reason);
}

void TestReportNumbers::driftOfTheTemperatureIsNoWalk()
{
    constexpr std::size_t rows = 240'000;
    analysis::Recording recording = recordings::atRest(rows);
    const auto celsius = [](std::size_t row) {
        return 39.0 - 12.0 * std::exp(-static_cast<double>(row) / 120'000.0);
    };
    for (std::size_t row = 0; row < rows; ++row) {
        recording.angularVelocity.axes[0][row] += 0.03 * celsius(row);
        if (row % 16 == 0) {
            recording.temperatureTimes.push_back(recording.times[row]);
            for (std::vector<double>& values : recording.temperatures) {
                values.push_back(celsius(row));
            }
        }
    }
    const RecordingReport report = analyse(recording, {});
    const AxisReport& axis = report.gyroscope->axes[0];
    QVERIFY(axis.noise.model.noiseDensity.value);
    QVERIFY(!axis.noise.model.randomWalk.value);
    QVERIFY(!axis.noise.model.biasInstability.value);
    // As recorded, the deviation rises again.
    QVERIFY(axis.allanAsRecorded.back().deviation > 10.0 * axis.noise.allan.back().deviation);
}

void TestReportNumbers::walkIsNoEffectOfTheTemperature()
{
    constexpr std::size_t rows = 240'000;
    recordings::Noise noise;
    noise.accelerationWalk = 2e-3;
    noise.rateWalk = 2e-3;
    analysis::Recording recording = recordings::atRest(rows, noise);
    for (std::size_t row = 0; row < rows; row += 16) {
        recording.temperatureTimes.push_back(recording.times[row]);
        for (std::vector<double>& values : recording.temperatures) {
            values.push_back(39.0 - 12.0 * std::exp(-static_cast<double>(row) / 4000.0));
        }
    }
    const RecordingReport report = analyse(recording, {});
    double squares = 0.0;
    for (const InertialReport* sensor : {&*report.accelerometer, &*report.gyroscope}) {
        for (const AxisReport& axis : sensor->axes) {
            QVERIFY(axis.temperatureSlope);
            squares += *axis.temperatureSlope * *axis.temperatureSlope;
        }
    }
    // The best possible deviation of a slope is 7e-4; least squares without the walk reach 2.4e-3.
    const double slope = std::sqrt(squares / 6.0);
    QVERIFY2(slope < 1.3e-3, qPrintable(QString::number(slope)));
}

void TestReportNumbers::magnetometerAtRestIsNotJudged()
{
    analysis::Recording recording = recordings::atRest(8000);
    recordings::addMagnetometer(recording, {20.0, -60.0, -10.0}, {0.0, 0.0, 0.0}, 1000, 0.25);
    const RecordingReport report = analyse(recording, {});
    const Verdict* const verdict = find(report, "magnetometer.residual");
    QCOMPARE(verdict->state, STATE::UNKNOWN);
    QVERIFY2(verdict->why.find("turn the camera through all orientations") != std::string::npos,
             verdict->why.c_str());
    QVERIFY(jsonOf(report)["magnetometer"]["residual_rms_ut"].is_null());
}

void TestReportNumbers::saturatedReadingsHaveNoEffectOnTheFit()
{
    analysis::Recording recording;
    recordings::addMagnetometer(recording, {20.0, -60.0, -10.0}, {48.0, 48.0, 48.0}, 3000, 0.25);
    const double radius = analyse(recording, {}).magnetometer->fit->aligned.radius;
    for (const std::size_t i : {700U, 1500U, 1501U}) {
        recording.magneticField.values.axes[2][i] = 2048.0;
    }
    const RecordingReport report = analyse(recording, {});
    QVERIFY2(report.magnetometer->fit, report.magnetometer->reason.c_str());
    QVERIFY(std::abs(report.magnetometer->fit->aligned.radius - radius) < 0.1);
    QVERIFY(report.magnetometer->before.row(2).maxCoeff() < 50.0);
    QCOMPARE(report.magnetometer->samples, std::size_t{3000});
    QCOMPARE(find(report, "magnetometer.residual")->state, STATE::PASSED);
}

void TestReportNumbers::saturatedMagnetometerIsNotJudged()
{
    analysis::Recording recording;
    recordings::addMagnetometer(recording, {20.0, -60.0, -10.0}, {48.0, 48.0, 48.0}, 1000, 0.25);
    for (double& z : recording.magneticField.values.axes[2]) {
        z = -2048.0;
    }
    const RecordingReport report = analyse(recording, {});
    const Verdict* const verdict = find(report, "magnetometer.residual");
    QCOMPARE(verdict->state, STATE::UNKNOWN);
    QVERIFY2(verdict->why.find("saturated") != std::string::npos, verdict->why.c_str());
    QCOMPARE(unsoundIn(jsonOf(report), ""), QString());
    QVERIFY(numbersHtml({report}).contains("<tr>"));
}

void TestReportNumbers::magnetometerWithoutAFitHasTheKeysOfAFit()
{
    const auto keysAt = [](const std::array<double, 3>& radii) {
        analysis::Recording recording;
        recordings::addMagnetometer(recording, {20.0, -60.0, -10.0}, radii, 1000, 0.25);
        const json field = asJson(recording)["magnetometer"];
        QStringList keys;
        for (const auto& [key, value] : field.items()) {
            if (key != "reason") {
                keys << QString::fromStdString(key);
            }
        }
        keys.sort();
        return keys << (field["residual_rms_ut"].is_null() ? "no fit" : "a fit");
    };
    QStringList ofAFit = keysAt({48.0, 48.0, 48.0});
    QCOMPARE(ofAFit.takeLast(), QString("a fit"));
    QStringList withoutAFit = keysAt({0.0, 0.0, 0.0});
    QCOMPARE(withoutAFit.takeLast(), QString("no fit"));
    QVERIFY(ofAFit.size() > 10);
    QCOMPARE(withoutAFit, ofAFit);
}

void TestReportNumbers::shortRecordingWarns()
{
    QCOMPARE(find(analyse(recordings::atRest(3900), {}), "length")->state, STATE::WARNED);
    QCOMPARE(find(analyse(recordings::atRest(4100), {}), "length")->state, STATE::PASSED);
}

void TestReportNumbers::missingReadingsAreAShareOfAllReadings()
{
    analysis::Recording recording;
    recordings::addMagnetometer(recording, {20.0, -60.0, -10.0}, {48.0, 48.0, 48.0}, 5000, 0.25);
    recording.report.rows = 5000;
    analysis::VectorSeries& field = recording.magneticField;
    field.times.erase(field.times.begin() + 1000, field.times.begin() + 1003);
    for (std::vector<double>& axis : field.values.axes) {
        axis.erase(axis.begin() + 1000, axis.begin() + 1003);
    }
    const RecordingReport report = analyse(recording, {});
    const Verdict* const verdict = find(report, "missing_samples");
    QCOMPARE(verdict->value, std::string("3 (0.0600 %)"));
    QCOMPARE(verdict->state, STATE::WARNED);
}

void TestReportNumbers::noiseOfFilledGapsSaysSo()
{
    const std::string id = "accelerometer.noise_density";
    const std::string said = "the interpolated ones change the value";
    analysis::Recording recording = recordings::atRest(20'000);
    QVERIFY(find(analyse(recording, {}), id)->why.find(said) == std::string::npos);
    for (std::size_t row = 19'950; row > 100; row -= 50) {
        recordings::removeRows(recording, row, row + 1);
    }
    QVERIFY(find(analyse(recording, {}), id)->why.find(said) != std::string::npos);
}

void TestReportNumbers::sixPositionsAreSolved()
{
    analysis::Recording recording;
    std::uint32_t number = 0;
    const auto noise = noise_samples::whiteAndWalk(6 * 1600 * 3, 1.0, 0.02, 0.0, 3);
    for (std::size_t side = 0; side < 6; ++side) {
        for (std::size_t i = 0; i < 1600; ++i) {
            recording.times.push_back(recordings::begin + number * recordings::period);
            recording.numbers.push_back(number);
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const double truth = axis == side / 2 ? (side % 2 == 0 ? 1.0 : -1.0) : 0.0;
                const double scale = 1.0 + 0.01 * static_cast<double>(axis);
                recording.acceleration.axes[axis].push_back(
                    scale * truth * analysis::standardGravity + 0.1 * static_cast<double>(axis) +
                    noise[3 * number + axis]);
            }
            ++number;
        }
    }
    recording.report.rows = number;
    Options options;
    options.sixPositions = true;
    const json six = asJson(recording, options)["six_positions"];
    QVERIFY(!six.is_null());
    for (std::size_t axis = 0; axis < 3; ++axis) {
        QVERIFY(std::abs(six["bias_mps2"][axis].get<double>() - 0.1 * static_cast<double>(axis)) <
                2e-3);
        QVERIFY(std::abs(six["scale"][axis].get<double>() - 1.0 -
                         0.01 * static_cast<double>(axis)) < 5e-4);
    }
    QCOMPARE(six["rests"].size(), std::size_t{6});

    const json without = asJson(recordings::atRest(4000), options);
    QVERIFY(without["six_positions"].is_null());
    QVERIFY(without["reason"]["six_positions"].get<std::string>().find("no rest of a second") == 0);
}

void TestReportNumbers::severalRecordingsAreAnArray()
{
    const RecordingReport report = analyse(recordings::atRest(2000), {});
    const json object = json::parse(jsonText({report, report}));
    QCOMPARE(object["recordings"].size(), std::size_t{2});
    QVERIFY(object["recordings"][1]["timing"]["rate_hz"].is_number());
}

void TestReportNumbers::hostileNameStaysValid()
{
    analysis::Recording recording = recordings::atRest(2000);
    recording.path = "a\"\\\n<b>\xff.csv";
    const RecordingReport report = analyse(recording, {});
    const json object = json::parse(jsonText({report}));
    QVERIFY(object["file"]["path"].get<std::string>().find("a\"\\\n<b>") == 0);
    const std::string yaml = yamlText(report);
    QVERIFY(yaml.find("\n<b>") == std::string::npos);
}

void TestReportNumbers::yamlHasTheNamesAndUnits()
{
    const recordings::Noise noise{1.5e-3, 2e-3, 3e-3, 5e-3, 4};
    const RecordingReport report = analyse(recordings::atRest(240'000, noise), {});
    std::map<std::string, double> values;
    std::istringstream lines(yamlText(report));
    for (std::string line; std::getline(lines, line);) {
        if (line[0] != '#') {
            values[line.substr(0, line.find(':'))] = std::stod(line.substr(line.find(':') + 1));
        }
    }
    QCOMPARE(values.size(), std::size_t{5});
    const double degree = std::acos(-1.0) / 180.0;
    const auto near = [](double value, double truth, double share) {
        return std::abs(value / truth - 1.0) < share;
    };
    QVERIFY(near(values["accelerometer_noise_density"], 1.5e-3, 0.02));
    QVERIFY(near(values["accelerometer_random_walk"], 2e-3, 0.15));
    QVERIFY(near(values["gyroscope_noise_density"], 3e-3 * degree, 0.02));
    QVERIFY(near(values["gyroscope_random_walk"], 5e-3 * degree, 0.15));
    QVERIFY(near(values["update_rate"], 400.0, 1e-6));
}

void TestReportNumbers::yamlLeavesOutWhatIsNotObservable()
{
    const std::string yaml = yamlText(analyse(recordings::atRest(8000), {}));
    QVERIFY(yaml.find("\n# accelerometer_random_walk: not observable in ") != std::string::npos);
    QVERIFY(yaml.find("\naccelerometer_random_walk:") == std::string::npos);
    QVERIFY(yaml.find("\naccelerometer_noise_density: ") != std::string::npos);
}

void TestReportNumbers::yamlHasTheValuesOfAllAxesBesideTheHighest()
{
    RecordingReport report = analyse(recordings::atRest(8000), {});
    auto& axes = report.accelerometer->axes;
    axes[0].noise.model.noiseDensity.value = 1.25e-3;
    axes[1].noise.model.noiseDensity.value.reset();
    axes[2].noise.model.noiseDensity.value = 1.5e-3;
    QVERIFY(yamlText(report).find("\naccelerometer_noise_density: 1.500000e-03  # m/s^2/sqrt(Hz); "
                                  "x, y, z: 0.00125, not observable, 0.00150\n") !=
            std::string::npos);
}

QTEST_APPLESS_MAIN(TestReportNumbers)
#include "tst_report_numbers.moc"
