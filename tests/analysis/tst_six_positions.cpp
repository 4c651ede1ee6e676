#include "analysis/six_positions.h"

#include <QtTest>

#include <Eigen/Dense>

#include <cmath>
#include <random>

using namespace analysis;

namespace {

/// An accelerometer with errors that is put on its sides one after the other.
struct Setup
{
    Eigen::Matrix3d gain = Eigen::Matrix3d::Identity();
    Eigen::Vector3d bias = Eigen::Vector3d::Zero();
    double noise = 0.0; ///< m/s^2
    std::vector<int> sides = {0, 1, 2, 3, 4, 5};
    double restSeconds = 3.0;
    std::mt19937_64 generator{5};

    Recording record()
    {
        Recording recording;
        Eigen::Vector3d last = Eigen::Vector3d::Zero();
        for (const int side : sides) {
            Eigen::Vector3d up = Eigen::Vector3d::Zero();
            up[side / 2] = side % 2 == 0 ? standardGravity : -standardGravity;
            if (!last.isZero()) {
                turn(recording, last, up);
            }
            for (int i = 0; i < static_cast<int>(400.0 * restSeconds); ++i) {
                add(recording, up, 0.0);
            }
            last = up;
        }
        return recording;
    }

private:
    void turn(Recording& recording, const Eigen::Vector3d& from, const Eigen::Vector3d& to)
    {
        for (int i = 0; i < 400; ++i) {
            const double angle = 1.5707963 * i / 400.0;
            add(recording, from * std::cos(angle) + to * std::sin(angle), 90.0);
        }
    }

    void add(Recording& recording, const Eigen::Vector3d& acceleration, double rate)
    {
        std::normal_distribution<double> normal;
        const Eigen::Vector3d reading = gain * acceleration + bias;
        recording.times.push_back(1'000'000'000 +
                                  2'500'000 * static_cast<Nanoseconds>(recording.times.size()));
        recording.numbers.push_back(static_cast<std::uint32_t>(recording.numbers.size()));
        for (std::size_t axis = 0; axis < 3; ++axis) {
            recording.acceleration.axes[axis].push_back(reading[static_cast<Eigen::Index>(axis)] +
                                                        noise * normal(generator));
            recording.angularVelocity.axes[axis].push_back(
                rate * std::sin(0.1 * static_cast<double>(recording.times.size())) +
                2.0 * noise * normal(generator));
        }
    }
};

Eigen::Matrix3d someGain()
{
    Eigen::Matrix3d gain;
    gain << 1.012, 0.004, -0.002, 0.003, 0.991, 0.005, -0.001, 0.002, 1.004;
    return gain;
}

} // namespace

class TestSixPositions : public QObject
{
    Q_OBJECT

private slots:
    void sixRestsAreFound();
    void restsAreFoundInNoise();
    void noiselessParametersComeBack();
    void noisyParametersComeBackWithinTheirErrors();
    void missingSideIsNamed();
    void moreRestsThanSixAreUsed();
    void shortRestIsNone();
    void leaningRestHasNoSide();
    void movingRecordingHasNoRest();
    void recordingWithoutAccelerometerHasNoRest();
};

void TestSixPositions::sixRestsAreFound()
{
    Setup setup;
    const auto rests = findRests(setup.record());
    QCOMPARE(rests.size(), std::size_t{6});
    for (int i = 0; i < 6; ++i) {
        QCOMPARE(rests[static_cast<std::size_t>(i)].side, i);
        QVERIFY(rests[static_cast<std::size_t>(i)].end - rests[static_cast<std::size_t>(i)].first >
                800);
    }
}

void TestSixPositions::restsAreFoundInNoise()
{
    Setup setup;
    setup.noise = 0.05;
    setup.gain = someGain();
    const auto rests = findRests(setup.record());
    QCOMPARE(rests.size(), std::size_t{6});
}

void TestSixPositions::noiselessParametersComeBack()
{
    Setup setup;
    setup.gain = someGain();
    setup.bias = {0.02, -0.15, 0.3};
    std::string reason;
    const auto result = solveSixPositions(findRests(setup.record()), standardGravity, reason);
    QVERIFY2(result, reason.c_str());
    QVERIFY((result->bias - setup.bias).norm() < 1e-9);
    QVERIFY((result->scale - setup.gain.diagonal()).norm() < 1e-9);
    Eigen::Matrix3d turned = setup.gain;
    turned.diagonal().setZero();
    QVERIFY((result->misalignment - turned).norm() < 1e-9);
    QVERIFY(result->residualRms < 1e-9);
}

void TestSixPositions::noisyParametersComeBackWithinTheirErrors()
{
    Setup setup;
    setup.gain = someGain();
    setup.bias = {0.02, -0.15, 0.3};
    setup.noise = 0.03;
    std::string reason;
    const auto result = solveSixPositions(findRests(setup.record()), standardGravity, reason);
    QVERIFY2(result, reason.c_str());
    for (Eigen::Index axis = 0; axis < 3; ++axis) {
        QVERIFY(result->biasError[axis] > 0.0 && result->biasError[axis] < 0.01);
        QVERIFY(std::abs(result->bias[axis] - setup.bias[axis]) < 0.005);
        QVERIFY(std::abs(result->scale[axis] - setup.gain(axis, axis)) < 5e-4);
    }
    QVERIFY(result->misalignmentError > 0.0 && result->misalignmentError < 1e-3);
}

void TestSixPositions::missingSideIsNamed()
{
    Setup setup;
    setup.sides = {0, 1, 2, 4};
    std::string reason;
    QVERIFY(!solveSixPositions(findRests(setup.record()), standardGravity, reason));
    QCOMPARE(reason, std::string("no rest of a second with these axes up: -y, -z"));
}

void TestSixPositions::moreRestsThanSixAreUsed()
{
    Setup setup;
    setup.sides = {0, 1, 2, 3, 4, 5, 0, 3};
    setup.bias = {0.1, 0.0, 0.0};
    std::string reason;
    const auto result = solveSixPositions(findRests(setup.record()), standardGravity, reason);
    QVERIFY2(result, reason.c_str());
    QCOMPARE(result->rests.size(), std::size_t{8});
    QVERIFY(std::abs(result->bias[0] - 0.1) < 1e-9);
}

void TestSixPositions::shortRestIsNone()
{
    Setup setup;
    setup.restSeconds = 0.8;
    QVERIFY(findRests(setup.record()).empty());
}

void TestSixPositions::leaningRestHasNoSide()
{
    Recording recording;
    for (int i = 0; i < 2000; ++i) {
        recording.times.push_back(Nanoseconds{2'500'000} * (i + 1));
        recording.numbers.push_back(static_cast<std::uint32_t>(i));
        recording.acceleration.axes[0].push_back(standardGravity * std::sqrt(0.5));
        recording.acceleration.axes[1].push_back(standardGravity * std::sqrt(0.5));
        recording.acceleration.axes[2].push_back(0.0);
    }
    QVERIFY(findRests(recording).empty());
}

void TestSixPositions::movingRecordingHasNoRest()
{
    Recording recording;
    for (int i = 0; i < 4000; ++i) {
        recording.times.push_back(Nanoseconds{2'500'000} * (i + 1));
        recording.numbers.push_back(static_cast<std::uint32_t>(i));
        const double angle = 0.003 * i;
        recording.acceleration.axes[0].push_back(standardGravity * std::cos(angle));
        recording.acceleration.axes[1].push_back(standardGravity * std::sin(angle));
        recording.acceleration.axes[2].push_back(0.0);
    }
    QVERIFY(findRests(recording).empty());
}

void TestSixPositions::recordingWithoutAccelerometerHasNoRest()
{
    QVERIFY(findRests(Recording()).empty());
}

QTEST_APPLESS_MAIN(TestSixPositions)
#include "tst_six_positions.moc"
