// Requests of a user at the bench over the socket: poses that continue to turn, the air
// temperature, the firmware.

#include "bench/virtual_camera.h"
#include "control/control.h"
#include "library/the_bench.h"
#include "world/physics.h"

#include <om_tiv/om_tiv.h>

#include <QTest>

#include <nlohmann/json.hpp>

#include <array>
#include <cmath>

using namespace om;
using namespace om::bench;
using nlohmann::json;

namespace {

constexpr unsigned int serial = 20000001;
constexpr Nanoseconds startTime = 1'000 * nsPerS;
constexpr double degree = pi / 180.0;

json ask(json request)
{
    request["serialNumber"] = serial;
    return json::parse(answerControl(theBench(), request.dump()));
}

std::string refusal(const json& request)
{
    const json answer = ask(request);
    return answer.at("ok").get<bool>() ? "not refused" : answer.at("error").get<std::string>();
}

json poseOrder(const Quaternion& pose, double glide, const Vector& spin = {})
{
    return {{"command", "pose"},
            {"pose", {{"quaternion", {pose.x, pose.y, pose.z, pose.w}}}},
            {"glide", glide},
            {"spin", {spin.x, spin.y, spin.z}}};
}

/// Degrees between two poses.
double between(const Quaternion& a, const Quaternion& b)
{
    return length(toRotationVector(conjugate(a) * b)) / degree;
}

double between(const Vector& a, const Vector& b)
{
    return length(a - b);
}

void step(double seconds)
{
    theBench().clock().advance(static_cast<Nanoseconds>(seconds * 1e9));
}

} // namespace

class TestControlHand : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        theBench().reset();
        theBench().clock().setManual(startTime);
        CameraConfig config;
        config.model = MODEL::TIV_Q;
        config.serialNumber = serial;
        config.motion = MOTION::AT_REST;
        config.errors = SensorErrors::none();
        theBench().addCamera(config);
    }

    void cleanup() { theBench().reset(); }

    void quaternionIsThePoseThatTheListShows()
    {
        const Quaternion wanted = normalized({0.3, -0.5, 0.7, 0.2});
        QVERIFY(ask(poseOrder(wanted, 0.0)).at("ok").get<bool>());
        QVERIFY(between(theBench().truth(serial).pose, wanted) < 1e-6);
        const json shown = ask({{"command", "list"}}).at("cameras").at(0).at("truth").at("pose");
        const auto parts = shown.get<std::array<double, 4>>();
        QVERIFY(between(Quaternion{parts[3], parts[0], parts[1], parts[2]}, wanted) < 1e-6);
    }

    void quaternionAndAnglesMeanTheSamePose()
    {
        ask(poseOrder(fromHeading(40.0 * degree, -20.0 * degree, 65.0 * degree), 0.0));
        const Quaternion byQuaternion = theBench().truth(serial).pose;
        ask({{"command", "pose"},
             {"pose", {{"heading", 40}, {"pitch", -20}, {"roll", 65}}},
             {"glide", 0}});
        QVERIFY(between(theBench().truth(serial).pose, byQuaternion) < 1e-6);
    }

    void spinTurnsOnForEverAboutTheBodysAxis()
    {
        const Quaternion start = fromHeading(1.0, 0.4, -0.3);
        for (const double seconds : {0.1, 1.0, 7.2, 400.0}) {
            ask(poseOrder(start, 0.0, {0.0, 30.0, -40.0}));
            step(seconds);
            const Truth truth = theBench().truth(serial);
            const double turn = std::remainder(50.0 * seconds, 360.0) * degree;
            const Quaternion wanted = start * fromRotationVector(turn * Vector{0.0, 0.6, -0.8});
            QVERIFY2(between(truth.pose, wanted) < 1e-4, qPrintable(QString::number(seconds)));
            QVERIFY(between((1.0 / degree) * truth.angularVelocity, {0.0, 30.0, -40.0}) < 1e-3);
        }
        QVERIFY(theBench().config(serial).motion == MOTION::POSED);
    }

    void gyroscopeReadsTheSpinAlsoThroughTheGlide()
    {
        // A uniform turn: at each request the body is where the last one's spin has turned it, so
        // that the rate is constant across requests.
        const Vector rate{0.0, 90.0, 0.0};
        for (int i = 0; i < 60; ++i) {
            const double turned = 90.0 * 0.016 * i * degree;
            ask(poseOrder(fromRotationVector({0.0, turned, 0.0}), i == 0 ? 0.0 : 0.05, rate));
            for (int k = 0; k < 4; ++k) {
                step(0.004);
                const Vector read = (1.0 / degree) * theBench().truth(serial).angularVelocity;
                QVERIFY2(between(read, rate) < 1e-2, qPrintable(QString::number(read.y)));
            }
        }
    }

    void stoppedWhereItIsItHolds()
    {
        ask(poseOrder({}, 0.0, {0.0, 0.0, 120.0}));
        step(1.3);
        const Quaternion there = theBench().truth(serial).pose;
        ask(poseOrder(there, 0.15));
        step(1.0);
        const Truth truth = theBench().truth(serial);
        QVERIFY(between(truth.pose, there) < 1e-6);
        QVERIFY(length(truth.angularVelocity) < 1e-9);
        QCOMPARE(truth.movingState, 0);
    }

    void otherMotionsGoOnFromASpin()
    {
        ask(poseOrder({}, 0.0, {0.0, 60.0, 0.0}));
        step(2.0);
        const Quaternion there = theBench().truth(serial).pose;
        ask({{"command", "motion"}, {"motion", "at rest"}});
        step(5.0);
        QVERIFY(between(theBench().truth(serial).pose, there) < 1e-6);
    }

    void airWarmsTheCameraWithItsTimeConstant()
    {
        const auto camera = theBench().camera(serial);
        const auto temperatures = [&] {
            return camera->source()->temperatures(theBench().clock().now());
        };
        // Compared with a camera in unchanged air.
        CameraConfig other = theBench().config(serial);
        other.serialNumber = serial + 1;
        theBench().addCamera(other);
        const auto reference = [&] {
            return theBench().camera(serial + 1)->source()->temperatures(theBench().clock().now());
        };
        QCOMPARE(ask({{"command", "temperature"}}).at("temperature").get<double>(), 20.0);
        step(1.0);
        QCOMPARE(*temperatures()[0], *reference()[0]);
        const json answer = ask({{"command", "temperature"}, {"temperature", 50}});
        QCOMPARE(answer.at("temperature").get<double>(), 50.0);
        QCOMPARE(*temperatures()[0], *reference()[0]); // no jump
        step(20.0);
        for (std::size_t i = 0; i < 4; ++i) {
            QVERIFY(std::abs(*temperatures()[i] - *reference()[i] - 30.0 * (1.0 - std::exp(-1.0))) <
                    1e-6);
        }
        // Changed again in between: the temperature continues from its current value.
        const double before = *temperatures()[2];
        ask({{"command", "temperature"}, {"temperature", -10}});
        QVERIFY(std::abs(*temperatures()[2] - before) < 1e-9);
        step(400.0);
        QVERIFY(std::abs(*temperatures()[2] - *reference()[2] + 30.0) < 1e-4);
        QCOMPARE(ask({{"command", "list"}}).at("cameras").at(0).at("temperature").get<double>(),
                 -10.0);
        QCOMPARE(ask({{"command", "list"}}).at("cameras").at(1).at("temperature").get<double>(),
                 20.0);
    }

    void firmwareIsSeenAtTheNextOpening()
    {
        theBench().clock().setReal();
        QCOMPARE(ask({{"command", "firmware"}}).at("firmware").get<int>(), 1201);
        Camera camera;
        InitParameters parameters;
        parameters.input.setFromSerialNumber(serial, BUS_TYPE::USB);
        QVERIFY(camera.open(parameters) == ERROR_CODE::SUCCESS);
        ask({{"command", "firmware"}, {"firmware", 1141}});
        QCOMPARE(camera.getCameraInformation().firmwareVersion, 1201U);
        camera.close();
        QVERIFY(camera.open(parameters) == ERROR_CODE::SUCCESS);
        QCOMPARE(camera.getCameraInformation().firmwareVersion, 1141U);
        camera.close();
        QCOMPARE(ask({{"command", "list"}}).at("cameras").at(0).at("firmware").get<int>(), 1141);
        QCOMPARE(theBench().config(serial).firmwareVersion, 1141U);
    }

    void nonsenseGetsAReason_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<QByteArray>("reason");
        const auto row = [](const char* name, const json& request, const char* reason) {
            QTest::newRow(name) << QByteArray::fromStdString(request.dump()) << QByteArray(reason);
        };
        const auto pose = [](const json& quaternion) {
            return json{{"command", "pose"}, {"pose", {{"quaternion", quaternion}}}};
        };
        const auto spun = [](const json& spin) {
            return json{{"command", "pose"},
                        {"pose", {{"heading", 0}, {"pitch", 0}, {"roll", 0}}},
                        {"spin", spin}};
        };
        const char* const four = "\"quaternion\" must be 4 numbers from -1.0 to 1.0";
        row("three parts", pose({0, 0, 1}), four);
        row("a part that is a text", pose({0, 0, 0, "1"}), four);
        row("a part above one", pose({0, 0, 0, 2}), four);
        row("not of length one", pose({0, 0, 0, 0.5}), "\"quaternion\" must have the length 1");
        row("all zero", pose({0, 0, 0, 0}), "\"quaternion\" must have the length 1");
        const char* const three = "\"spin\" must be 3 numbers from -1000.0 to 1000.0";
        row("spin too fast", spun({0, 0, 1001}), three);
        row("spin is a number", spun(5), three);
        row("air too hot", {{"command", "temperature"}, {"temperature", 86}},
            "\"temperature\" must be a number from -40.0 to 85.0");
        row("air is a text", {{"command", "temperature"}, {"temperature", "warm"}},
            "\"temperature\" must be a number from -40.0 to 85.0");
        row("firmware with a fraction", {{"command", "firmware"}, {"firmware", 1.5}},
            "\"firmware\" must be a whole number");
        row("negative firmware", {{"command", "firmware"}, {"firmware", -1}},
            "\"firmware\" must be a number from 0.0 to 65535.0");
    }

    void nonsenseGetsAReason()
    {
        QFETCH(QByteArray, request);
        QFETCH(QByteArray, reason);
        const Quaternion before = theBench().truth(serial).pose;
        QCOMPARE(QByteArray::fromStdString(refusal(json::parse(request.toStdString()))), reason);
        QVERIFY(between(theBench().truth(serial).pose, before) < 1e-9);
        QVERIFY(theBench().config(serial).motion == MOTION::AT_REST);
    }
};

QTEST_GUILESS_MAIN(TestControlHand)
#include "tst_control_hand.moc"
