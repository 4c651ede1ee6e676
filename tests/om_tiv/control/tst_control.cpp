// The control socket: its requests, and its handling of invalid ones.

#include "base/bytes.h"
#include "base/one_line.h"
#include "bench/eeprom_store.h"
#include "control/bench_client.h"
#include "control/bench_path.h"
#include "control/control.h"
#include "control/control_server.h"
#include "library/the_bench.h"

#include "om_tiv/control/socketclient.h"
#include "support/otheruser.h"
#include "support/waiting.h"

#include <om_tiv/camera.h>

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <nlohmann/json.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <cstring>

#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace om;
using namespace om::bench;
using namespace std::chrono_literals;
using nlohmann::json;
using socketclient::connectTo;
using socketclient::readLine;
using socketclient::sendAll;

namespace {

constexpr unsigned int serial = 20000001;

/// The answer of a thread with a stack as small as on some systems.
std::string answerOnASmallStack(const std::string& request)
{
    struct Call
    {
        const std::string& request;
        std::string answer;
    } call{request, {}};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 1024 * 1024);
    pthread_t thread = 0;
    const auto run = [](void* data) -> void* {
        auto* const which = static_cast<Call*>(data);
        which->answer = answerControl(theBench(), which->request);
        return nullptr;
    };
    const bool started = pthread_create(&thread, &attributes, run, &call) == 0;
    pthread_attr_destroy(&attributes);
    if (started) {
        pthread_join(thread, nullptr);
    }
    return call.answer;
}

json ask(const json& request)
{
    return json::parse(answerControl(theBench(), request.dump()));
}

} // namespace

class TestControl : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ControlServer> m_server;
    std::string m_path;
    std::atomic<pid_t> m_serverThread{0}; ///< since its first request

    /// Without a time limit for its clients.
    void serve()
    {
        std::string error;
        m_server = ControlServer::start(m_path,
                                        [this](const std::string& line) {
                                            m_serverThread =
                                                static_cast<pid_t>(::syscall(SYS_gettid));
                                            return answerControl(theBench(), line);
                                        },
                                        error, {1h, 1h});
        QVERIFY2(m_server, error.c_str());
    }

    static void layOutBench()
    {
        theBench().reset();
        addCamera();
    }

    static void addCamera()
    {
        CameraConfig config;
        config.model = MODEL::TIV_P;
        config.serialNumber = serial;
        config.motion = MOTION::AT_REST;
        theBench().addCamera(config);
    }

private slots:
    void init()
    {
        layOutBench();
        m_folder = std::make_unique<QTemporaryDir>();
        m_path = m_folder->filePath(QStringLiteral("below/it.sock")).toStdString();
    }

    void cleanup()
    {
        m_server.reset();
        theBench().reset();
    }

    void listContainsEveryCamera()
    {
        const json answer = ask({{"command", "list"}});
        QVERIFY(answer.at("ok").get<bool>());
        QCOMPARE(answer.at("cameras").size(), std::size_t(1));
        const json& camera = answer.at("cameras").at(0);
        QCOMPARE(camera.at("serialNumber").get<unsigned>(), serial);
        QCOMPARE(camera.at("model").get<std::string>(), std::string("TIV_P"));
        QCOMPARE(camera.at("state").get<std::string>(), std::string("plugged"));
        QCOMPARE(camera.at("motion").get<std::string>(), std::string("at rest"));
        QVERIFY(camera.at("faults").empty());
        const auto force = camera.at("truth").at("specificForce").get<std::array<double, 3>>();
        QVERIFY(std::abs(force[1] - standardGravity) < 1e-6);
    }

    void readingIsWhatTheProgramWasGivenInTheBodysAxes_data()
    {
        QTest::addColumn<int>("system");
        QTest::newRow("image") << static_cast<int>(COORDINATE_SYSTEM::IMAGE);
        QTest::newRow("y up") << static_cast<int>(COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP);
    }

    void readingIsWhatTheProgramWasGivenInTheBodysAxes()
    {
        QFETCH(int, system);
        const auto reading = [] {
            return ask({{"command", "list"}}).at("cameras").at(0).at("reading");
        };
        theBench().removeCamera(serial);
        theBench().clock().setManual(1000 * nsPerS);
        addCamera();
        QVERIFY(reading().is_null());
        Camera camera;
        InitParameters parameters;
        parameters.coordinateSystem = static_cast<COORDINATE_SYSTEM>(system);
        parameters.input.setFromSerialNumber(serial, BUS_TYPE::USB);
        QVERIFY(camera.open(parameters) == ERROR_CODE::SUCCESS);
        QVERIFY2(reading().is_null(), "nothing is read by opening alone");
        theBench().clock().advance(100 * nsPerMs);
        SensorsData data;
        QVERIFY(camera.getSensorsData(data, TIME_REFERENCE::CURRENT) == ERROR_CODE::SUCCESS);
        const json first = reading();
        const auto force = first.at("specificForce").get<std::array<double, 3>>();
        QCOMPARE(force[0], double{data.imu.linearAcceleration.x});
        QVERIFY2(force[1] > 9.5, "y is up for the bench");
        QCOMPARE(std::abs(force[1]), std::abs(double{data.imu.linearAcceleration.y}));
        QCOMPARE(first.at("field").at(0).get<double>(),
                 double{data.magnetometer.magneticFieldUncalibrated.x});
        QCOMPARE(first.at("angularVelocity").at(0).get<double>(),
                 double{data.imu.angularVelocity.x});
        theBench().changeFaults(serial, [](Faults& faults) { faults.magnetometerAbsent = true; });
        theBench().clock().advance(100 * nsPerMs);
        QVERIFY2(reading() == first, "what is there and was not read is no reading");
        QVERIFY(camera.getSensorsData(data, TIME_REFERENCE::CURRENT) == ERROR_CODE::SUCCESS);
        QVERIFY(reading().at("field").is_null());
        camera.close();
        theBench().unplug(serial);
        theBench().plug(serial);
        QVERIFY(reading().is_null());
    }

    void aBenchHoldsSixtyFourCameras()
    {
        for (unsigned int i = 1; i < 64; ++i) {
            const json camera = {{"model", "TIV"}, {"serialNumber", i}};
            QVERIFY(ask({{"command", "add"}, {"camera", camera}}).at("ok").get<bool>());
        }
        const json one = {{"model", "TIV"}, {"serialNumber", 64}};
        QCOMPARE(ask({{"command", "add"}, {"camera", one}}).at("error").get<std::string>(),
                 std::string("the bench is full: at most 64 cameras are possible"));
        QVERIFY(ask({{"command", "remove"}, {"serialNumber", 1}}).at("ok").get<bool>());
        QVERIFY(ask({{"command", "add"}, {"camera", one}}).at("ok").get<bool>());
    }

    void refusalsQuoteNothingThatATerminalWouldActUpon_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("shown");
        QTest::newRow("control characters") << "a\x1b[2Jb\nc\x7f"
                                            << "a [2Jb c ";
        QTest::newRow("C1 controls") << QString("a\u0080b\u009b2Jc\u009f") << "a b 2Jc ";
        QTest::newRow("marks of direction")
            << QString::fromUtf8("a\u202eb\u2066c\u2069d\u200fe\u061cf") << "a b c d e f";
        QTest::newRow("separators") << QString::fromUtf8("a\u2028b\u2029c") << "a b c";
        QTest::newRow("letters of all kinds")
            << QString::fromUtf8("\u00a0\u00fc\u03bc\u0661\u2713\U0001f600")
            << QString::fromUtf8("\u00a0\u00fc\u03bc\u0661\u2713\U0001f600");
    }

    void refusalsQuoteNothingThatATerminalWouldActUpon()
    {
        QFETCH(QString, name);
        QFETCH(QString, shown);
        const json answer = ask({{"command", name.toStdString()}});
        QVERIFY(!answer.at("ok").get<bool>());
        QCOMPARE(QString::fromStdString(answer.at("error").get<std::string>()).section("; ", 0, 0),
                 "no command \"" + shown + "\"");
    }

    void whatIsNoUtf8IsNotQuotedEither()
    {
        QCOMPARE(oneLine("a\xffz\x9b\xc2"), std::string("a?z??"));
        // An overlong form, a surrogate, and a code after the last character.
        QCOMPARE(oneLine("\xc0\x9b"), std::string("??"));
        QCOMPARE(oneLine("\xed\xa0\x80"), std::string("???"));
        QCOMPARE(oneLine("\xf4\x90\x80\x80"), std::string("????"));
        QCOMPARE(oneLine(std::string("\0\xe2\x80", 3)), std::string(" ??"));
    }

    // Deep enough to overflow the stack of a recursive parser, and within the longest line.
    void deepNestingIsRefusedWhileItIsRead_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("after");
        QTest::newRow("camera") << QByteArray(R"({"command":"add","camera":)") << QByteArray("}");
        QTest::newRow("faults")
            << QByteArray(R"({"command":"fault","serialNumber":20000001,"faults":{"x":)")
            << QByteArray("}}");
        QTest::newRow("the whole") << QByteArray() << QByteArray();
    }

    void deepNestingIsRefusedWhileItIsRead()
    {
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, after);
        const auto refused = [&](int depth, const char* open, const char* close) {
            QByteArray line = before + QByteArray(open).repeated(depth) + "1" +
                              QByteArray(close).repeated(depth) + after;
            const json answer = json::parse(answerOnASmallStack(line.toStdString()));
            return answer.value("error", "") == "nested too deeply";
        };
        QVERIFY(refused(24000, "[", "]"));
        QVERIFY(refused(10000, "{\"a\":", "}"));
        QVERIFY(refused(33, "[", "]"));
        QVERIFY(!refused(30, "[", "]"));
    }

    void imageThatIsNoRegularFileOrDamagedIsNotDumped()
    {
        const auto dump = [] {
            return ask({{"command", "eeprom"}, {"serialNumber", serial}, {"action", "dump"}})
                .at("error")
                .get<std::string>();
        };
        const std::string image = EepromStore().path(serial);
        QFile::remove(QString::fromStdString(image));
        QCOMPARE(dump(), "no image is kept for 20000001 (" + image + ")");
        // A server that waits for a writer of the FIFO would answer no command any more.
        QVERIFY(QDir().mkpath(QString::fromStdString(EepromStore().folder())));
        QCOMPARE(::mkfifo(image.c_str(), 0600), 0);
        QCOMPARE(dump(), image + ": not a regular file");
        QVERIFY(QFile::remove(QString::fromStdString(image)));
        QFile file(QString::fromStdString(image));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("something else altogether");
        file.close();
        QCOMPARE(dump(), image + ": byte 0: not an EEPROM image");
        QVERIFY(file.remove());
    }

    void clockStandsStillUntilItIsAdvancedAndGoesOnFromThere()
    {
        Clock& clock = theBench().clock();
        QVERIFY(!ask({{"command", "clock"}}).at("stopped").get<bool>());
        const json first = ask({{"command", "clock"}, {"stopped", true}});
        QVERIFY(first.at("stopped").get<bool>());
        const auto begin = first.at("time").get<Nanoseconds>();
        QCOMPARE(clock.now(), begin);
        const json second = ask({{"command", "clock"}, {"advance", 0.0025}});
        QVERIFY(second.at("stopped").get<bool>());
        QCOMPARE(second.at("time").get<Nanoseconds>(), begin + 2500000);
        QCOMPARE(clock.now(), begin + 2500000);
        // Far enough ahead that no delay of the test can reach it.
        const json third = ask({{"command", "clock"}, {"advance", 3600}});
        const json last = ask({{"command", "clock"}, {"stopped", false}});
        QVERIFY(!last.at("stopped").get<bool>());
        QVERIFY(last.at("time").get<Nanoseconds>() >= third.at("time").get<Nanoseconds>());
        QVERIFY(!clock.isManual());
    }

    void clockEndsBeforeItsNumbersDo()
    {
        constexpr Nanoseconds secondsUntil2200 = 7'258'118'400;
        theBench().clock().setManual(secondsUntil2200 * nsPerS);
        const auto end = ask({{"command", "clock"}, {"advance", 1}}).at("time").get<Nanoseconds>();
        QCOMPARE(end, (secondsUntil2200 + 1) * nsPerS);
        QCOMPARE(ask({{"command", "clock"}, {"advance", 1}}).at("error").get<std::string>(),
                 std::string("the clock has reached the end of its range, the year 2200"));
        QCOMPARE(theBench().clock().now(), end);
    }

    void clockCountsTheSamplesOfTheCamerasInUse()
    {
        QVERIFY(ask({{"command", "clock"}, {"stopped", true}}).at("cameras").empty());
        Camera camera;
        InitParameters parameters;
        parameters.input.setFromSerialNumber(serial, BUS_TYPE::USB);
        QVERIFY(camera.open(parameters) == ERROR_CODE::SUCCESS);
        const json moved = ask({{"command", "clock"}, {"advance", 1}}).at("cameras");
        QCOMPARE(moved.size(), std::size_t(1));
        QCOMPARE(moved.at(0).at("serialNumber").get<unsigned>(), serial);
        const auto made = moved.at(0).at("samplesProduced").get<int>();
        QVERIFY2(made > 350 && made < 450, "400 a second");
        QCOMPARE(moved.at(0).at("samplesRead").get<int>(), 0);
        SensorsData data;
        QVERIFY(camera.getSensorsData(data, TIME_REFERENCE::CURRENT) == ERROR_CODE::SUCCESS);
        const json read = ask({{"command", "clock"}}).at("cameras");
        QCOMPARE(read.at(0).at("samplesProduced").get<int>(), made);
        QCOMPARE(read.at(0).at("samplesRead").get<int>(), 1);
    }

    void clockThatIsRefusedStaysAsItIs_data()
    {
        QTest::addColumn<QString>("members");
        QTest::addColumn<QString>("reason");
        QTest::newRow("not stopped") << R"("advance":1)"
                                     << "the clock is not stopped";
        QTest::newRow("set going and advanced") << R"("stopped":false,"advance":1)"
                                                << "the clock is not stopped";
        QTest::newRow("backward") << R"("stopped":true,"advance":-1)"
                                  << "\"advance\" must be a number from 0.0 to 3600.0";
        QTest::newRow("too far") << R"("stopped":true,"advance":3601)"
                                 << "\"advance\" must be a number from 0.0 to 3600.0";
        QTest::newRow("neither true nor false") << R"("stopped":1)"
                                                << "\"stopped\" must be true or false";
    }

    void clockThatIsRefusedStaysAsItIs()
    {
        QFETCH(QString, members);
        QFETCH(QString, reason);
        const QString request = "{\"command\":\"clock\"," + members + "}";
        const json answer = json::parse(answerControl(theBench(), request.toStdString()));
        QVERIFY(!answer.at("ok").get<bool>());
        QCOMPARE(QString::fromStdString(answer.at("error").get<std::string>()), reason);
        QVERIFY(!theBench().clock().isManual());
    }

    void plugAndUnplugAndTheirRefusals()
    {
        QVERIFY(ask({{"command", "unplug"}, {"serialNumber", serial}}).at("ok").get<bool>());
        QVERIFY(!theBench().status().front().plugged);
        QCOMPARE(
            ask({{"command", "unplug"}, {"serialNumber", serial}}).at("error").get<std::string>(),
            std::string("20000001 is not plugged in"));
        QVERIFY(ask({{"command", "plug"}, {"serialNumber", serial}}).at("ok").get<bool>());
        QVERIFY(theBench().status().front().plugged);
        QCOMPARE(
            ask({{"command", "plug"}, {"serialNumber", serial}}).at("error").get<std::string>(),
            std::string("20000001 is plugged in"));
    }

    void addTakesACameraAsInABenchFile()
    {
        const json camera = {{"model", "TIV_R"},
                             {"serialNumber", 40000002},
                             {"firmware", 1100},
                             {"faults", {{"mcuSilent", true}}}};
        QVERIFY(ask({{"command", "add"}, {"camera", camera}}).at("ok").get<bool>());
        const CameraConfig config = theBench().config(40000002);
        QVERIFY(config.model == MODEL::TIV_R);
        QCOMPARE(config.firmwareVersion, 1100U);
        QVERIFY(config.faults.mcuSilent);
        QCOMPARE(ask({{"command", "add"}, {"camera", camera}}).at("error").get<std::string>(),
                 std::string("there is a camera with serial number 40000002 already"));
    }

    void addRefusesAnIdOfAnotherCamera()
    {
        json camera = {{"model", "TIV_R"}, {"serialNumber", 40000002}, {"id", 0}};
        QCOMPARE(ask({{"command", "add"}, {"camera", camera}}).at("error").get<std::string>(),
                 std::string("id 0 is already that of 20000001; choose another one or none"));
        QVERIFY(!theBench().camera(40000002));
        camera["id"] = 1;
        QVERIFY(ask({{"command", "add"}, {"camera", camera}}).at("ok").get<bool>());
        QCOMPARE(theBench().config(40000002).id, 1);
    }

    void removeTakesItOff()
    {
        QVERIFY(ask({{"command", "remove"}, {"serialNumber", serial}}).at("ok").get<bool>());
        QVERIFY(theBench().serialNumbers().empty());
    }

    void motionsByName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("motion");
        QTest::newRow("rest") << "at rest" << static_cast<int>(MOTION::AT_REST);
        QTest::newRow("hand") << "hand-held" << static_cast<int>(MOTION::HAND_HELD);
        QTest::newRow("tumble") << "tumble" << static_cast<int>(MOTION::TUMBLE);
        QTest::newRow("fall") << "fall" << static_cast<int>(MOTION::FALL);
        QTest::newRow("posed") << "posed" << static_cast<int>(MOTION::POSED);
    }

    void motionsByName()
    {
        QFETCH(QString, name);
        QFETCH(int, motion);
        QVERIFY(
            ask({{"command", "motion"}, {"serialNumber", serial}, {"motion", name.toStdString()}})
                .at("ok")
                .get<bool>());
        QCOMPARE(static_cast<int>(theBench().config(serial).motion), motion);
    }

    void poseTurnsTheCamera()
    {
        QVERIFY(ask({{"command", "pose"},
                     {"serialNumber", serial},
                     {"pose", {{"heading", 92.5}, {"pitch", 0}, {"roll", 0}}},
                     {"glide", 0}})
                    .at("ok")
                    .get<bool>());
        // 92.5 degrees from geographic north is 90 from magnetic north, 2.5 to the east of it.
        const double heading = theBench().truth(serial).heading * 180.0 / pi;
        QVERIFY2(std::abs(heading - 90.0) < 1e-6, qPrintable(QString::number(heading)));
    }

    void fieldIsShownAndSet()
    {
        QCOMPARE(ask({{"command", "field"}}).at("field").at("strength").get<double>(), 48.0);
        const json values = {{"strength", 30.0}, {"inclination", -20.0}, {"declination", 5.0}};
        QVERIFY(ask({{"command", "field"}, {"field", values}}).at("field") == values);
        QCOMPARE(theBench().field().inclination, -20.0);
    }

    void everyFaultCanBeSetAndCleared_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");
        layOutBench();
        const json faults = ask({{"command", "fault"}, {"serialNumber", serial}}).at("faults");
        QVERIFY(faults.size() >= 18);
        for (const auto& [key, value] : faults.items()) {
            QTest::newRow(key.c_str())
                << QString::fromStdString(key) << (value.is_boolean() ? "true" : "3");
        }
    }

    void everyFaultCanBeSetAndCleared()
    {
        QFETCH(QString, key);
        QFETCH(QString, value);
        const json before = ask({{"command", "fault"}, {"serialNumber", serial}}).at("faults");
        const json wanted = json::parse(value.toStdString());
        const json set = ask({{"command", "fault"},
                              {"serialNumber", serial},
                              {"faults", {{key.toStdString(), wanted}}}});
        QVERIFY2(set.at("ok").get<bool>(), set.dump().c_str());
        for (const auto& [name, now] : set.at("faults").items()) {
            QVERIFY2(name == key.toStdString() ? now == wanted : now == before.at(name),
                     name.c_str());
        }
        const json cleared = ask({{"command", "fault"}, {"serialNumber", serial}, {"clear", true}});
        QVERIFY(cleared.at("faults") == before);
    }

    void eepromIsShownDumpedAndErased()
    {
        MagCalibration calibration;
        calibration.scale = {0.5F, 0.25F, 2.0F};
        calibration.offset = {1.0F, -2.0F, 3.0F};
        QVERIFY(theBench().storeCalibration(serial, calibration));
        const json shown =
            ask({{"command", "eeprom"}, {"serialNumber", serial}, {"action", "show"}});
        QVERIFY(shown.at("scale") == json({0.5, 0.25, 2.0}));
        QVERIFY(shown.at("offset") == json({1.0, -2.0, 3.0}));
        QVERIFY(!shown.at("neutral").get<bool>());
        const json dumped =
            ask({{"command", "eeprom"}, {"serialNumber", serial}, {"action", "dump"}});
        const std::string image = fromHex(dumped.at("image").get<std::string>());
        QCOMPARE(image.substr(0, 4), std::string("GVEE"));
        QFile file(QString::fromStdString(dumped.at("path").get<std::string>()));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll().toStdString(), image);
        QVERIFY(ask({{"command", "eeprom"}, {"serialNumber", serial}, {"action", "erase"}})
                    .at("neutral")
                    .get<bool>());
        QVERIFY(theBench().calibration(serial).isNeutral());
    }

    void nonsenseGetsAReason_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<QByteArray>("reason");
        const auto row = [](const char* name, const char* request, const char* reason) {
            QTest::newRow(name) << QByteArray(request) << QByteArray(reason);
        };
        row("nothing", "", "a request is a JSON object on one line");
        row("no JSON", "plug it in", "a request is a JSON object on one line");
        row("no object", "[1,2]", "a request is a JSON object on one line");
        row("broken off", "{\"command\":\"li", "a request is a JSON object on one line");
        row("no command", "{}", "\"command\" is missing");
        row("command of a wrong type", "{\"command\":3}", "\"command\" must be a text");
        row("unknown command", "{\"command\":\"fly\"}",
            "no command \"fly\"; there are list, add, remove, plug, unplug, motion, pose, field, "
            "fault, temperature, firmware, eeprom, loading, clock");
        row("no serial number", "{\"command\":\"plug\"}", "\"serialNumber\" is missing");
        row("negative serial number", "{\"command\":\"plug\",\"serialNumber\":-1}",
            "\"serialNumber\" must be a whole number");
        row("huge serial number", "{\"command\":\"plug\",\"serialNumber\":4294967296}",
            "\"serialNumber\" must be a whole number");
        row("fractional serial number", "{\"command\":\"plug\",\"serialNumber\":1.5}",
            "\"serialNumber\" must be a whole number");
        row("unknown camera", "{\"command\":\"plug\",\"serialNumber\":7}",
            "no camera with serial number 7 on the bench");
        row("unknown motion",
            "{\"command\":\"motion\",\"serialNumber\":20000001,\"motion\":\"dance\"}",
            "no motion \"dance\"; there are \"at rest\", \"hand-held\", \"tumble\", \"fall\", "
            "\"posed\"");
        row("pose is a number", "{\"command\":\"pose\",\"serialNumber\":20000001,\"pose\":1}",
            "\"pose\" must be an object");
        row("pitch out of range",
            "{\"command\":\"pose\",\"serialNumber\":20000001,\"pose\":{\"heading\":0,\"pitch\":91,"
            "\"roll\":0}}",
            "\"pitch\" must be a number from -90.0 to 90.0");
        row("roll is missing",
            "{\"command\":\"pose\",\"serialNumber\":20000001,\"pose\":{\"heading\":0,\"pitch\":1}}",
            "\"roll\" is missing");
        row("field too strong",
            "{\"command\":\"field\",\"field\":{\"strength\":1e9,\"inclination\":0,\"declination\":"
            "0}}",
            "\"strength\" must be a number from 0.0 to 1000.0");
        row("faults is a text",
            "{\"command\":\"fault\",\"serialNumber\":20000001,\"faults\":\"all\"}",
            "\"faults\" must be an object");
        row("clear is a text",
            "{\"command\":\"fault\",\"serialNumber\":20000001,\"clear\":\"yes\"}",
            "\"clear\" must be true or false");
        row("unknown action",
            "{\"command\":\"eeprom\",\"serialNumber\":20000001,\"action\":\"burn\"}",
            "no action \"burn\"; there are \"show\", \"dump\", \"erase\"");
        row("camera without a model", "{\"command\":\"add\",\"camera\":{\"serialNumber\":5}}",
            "camera");
    }

    void nonsenseGetsAReason()
    {
        QFETCH(QByteArray, request);
        QFETCH(QByteArray, reason);
        const json answer = json::parse(answerControl(theBench(), request.toStdString()));
        QVERIFY(!answer.at("ok").get<bool>());
        const auto error = QByteArray::fromStdString(answer.at("error").get<std::string>());
        QVERIFY2(error == reason || (reason == "camera" && error.startsWith("camera")),
                 error.constData());
    }

    void unknownFaultAndWrongTypeNameTheKey()
    {
        for (const char* request :
             {"{\"command\":\"fault\",\"serialNumber\":20000001,\"faults\":{\"gremlins\":true}}",
              "{\"command\":\"fault\",\"serialNumber\":20000001,\"faults\":{\"mcuSilent\":\"yes\"}"
              "}"}) {
            const json answer = json::parse(answerControl(theBench(), request));
            QVERIFY(!answer.at("ok").get<bool>());
            const std::string error = answer.at("error").get<std::string>();
            QVERIFY2(error.rfind("camera.faults.", 0) == 0, error.c_str());
        }
        QVERIFY(!theBench().faults(serial).mcuSilent);
    }

    void refusedFaultsLeaveAllAsTheyWere()
    {
        theBench().changeFaults(serial, [](Faults& faults) { faults.grabFailures = 3; });
        const json answer = ask({{"command", "fault"},
                                 {"serialNumber", serial},
                                 {"clear", true},
                                 {"faults", {{"mcuSilent", true}, {"gremlins", true}}}});
        QVERIFY(!answer.at("ok").get<bool>());
        QCOMPARE(theBench().faults(serial).grabFailures, 3);
        QVERIFY(!theBench().faults(serial).mcuSilent);
    }

    void clearWithFaultsLeavesJustThese()
    {
        theBench().changeFaults(serial, [](Faults& faults) { faults.grabFailures = 3; });
        const json answer = ask({{"command", "fault"},
                                 {"serialNumber", serial},
                                 {"clear", true},
                                 {"faults", {{"mcuSilent", true}}}});
        QVERIFY(answer.at("ok").get<bool>());
        QCOMPARE(theBench().faults(serial).grabFailures, 0);
        QVERIFY(theBench().faults(serial).mcuSilent);
    }

    void answersToBytesThatAreNoTextAreStillJson()
    {
        const std::string request = std::string("{\"command\":\"\xff\xfe\"}");
        QVERIFY(json::parse(answerControl(theBench(), request), nullptr, false).is_object());
        const std::string deep(60000, '[');
        QVERIFY(json::parse(answerControl(theBench(), deep), nullptr, false).is_object());
    }

    void socketIsTheUsersAlone()
    {
        serve();
        struct stat state = {};
        QCOMPARE(::stat(m_path.c_str(), &state), 0);
        QVERIFY(S_ISSOCK(state.st_mode));
        QCOMPARE(static_cast<int>(state.st_mode & 0777), 0600);
        QCOMPARE(::stat(m_folder->filePath(QStringLiteral("below")).toUtf8().constData(), &state),
                 0);
        QCOMPARE(static_cast<int>(state.st_mode & 0777), 0700);
    }

    void otherUsersAreRefused()
    {
        if (!canBecome(65534)) {
            QSKIP("only root can become another user");
        }
        // Even without the protection of the file's mode.
        const QString open = m_folder->path();
        serve();
        ::chmod(qPrintable(open), 0777);
        ::chmod(qPrintable(open + QStringLiteral("/below")), 0777);
        ::chmod(m_path.c_str(), 0777);
        // The fork copies no lock that the server's thread holds.
        const int own = connectTo(m_path);
        sendAll(own, "{\"command\":\"list\"}\n");
        QVERIFY(!readLine(own).empty());
        ::close(own);
        QVERIFY(waiting::waitFor([this] { return waiting::isAsleep(m_serverThread); }));
        const pid_t child = ::fork();
        if (child == 0) {
            if (::setgid(65534) != 0 || ::setuid(65534) != 0) {
                ::_exit(3);
            }
            const int fd = connectTo(m_path);
            if (fd < 0) {
                ::_exit(4);
            }
            sendAll(fd, "{\"command\":\"list\"}\n");
            ::_exit(readLine(fd).empty() ? 0 : 1);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 0);
    }

    void clientAsksAndIsAnswered()
    {
        serve();
        std::string error;
        auto client = BenchClient::connect(m_path, error);
        QVERIFY2(client, error.c_str());
        for (int i = 0; i < 3; ++i) {
            json answer;
            QVERIFY2(client->ask({{"command", "list"}}, answer, error), error.c_str());
            QVERIFY(answer.at("ok").get<bool>());
        }
    }

    void everyLineOfABatchIsAnswered()
    {
        serve();
        const int fd = connectTo(m_path);
        sendAll(fd, "{\"command\":\"field\"}\nrubbish\n{\"command\":\"list\"}\n");
        QVERIFY(json::parse(readLine(fd)).at("ok").get<bool>());
        QVERIFY(!json::parse(readLine(fd)).at("ok").get<bool>());
        QVERIFY(json::parse(readLine(fd)).at("ok").get<bool>());
        ::close(fd);
    }

    void badClientsHurtNobody()
    {
        serve();
        const int silent = connectTo(m_path);
        const int half = connectTo(m_path);
        sendAll(half, "{\"command\":\"li");
        ::close(half);
        const int garbage = connectTo(m_path);
        std::string bytes(50000, '\0');
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<char>(i * 7919 % 251);
        }
        sendAll(garbage, bytes);
        const int large = connectTo(m_path);
        sendAll(large, std::string(3 * 1024 * 1024, 'x'));
        QCOMPARE(QByteArray::fromStdString(readLine(large)),
                 QByteArray("{\"error\":\"a request of more than 65536 bytes\",\"ok\":false}"));
        QVERIFY2(readLine(large).empty(), "the connection ends");
        ::close(large);

        // A client that sends many requests and never reads.
        const int deaf = connectTo(m_path);
        ::fcntl(deaf, F_SETFL, O_NONBLOCK);
        for (int i = 0; i < 100000; ++i) {
            if (::send(deaf, "{\"command\":\"list\"}\n", 19, MSG_NOSIGNAL) <= 0) {
                break;
            }
        }

        const int good = connectTo(m_path);
        sendAll(good, "{\"command\":\"field\"}\n");
        QVERIFY(!readLine(good).empty());
        for (const int fd : {silent, garbage, deaf, good}) {
            ::close(fd);
        }
    }

    void moreClientsThanSlotsWaitForTheirTurn()
    {
        serve();
        std::vector<int> clients;
        for (std::size_t i = 0; i < ControlServer::maxClients + 2; ++i) {
            clients.push_back(connectTo(m_path));
            QVERIFY(clients.back() >= 0);
        }
        sendAll(clients.back(), "{\"command\":\"field\"}\n");
        ::close(clients[0]);
        ::close(clients[1]);
        QVERIFY(!readLine(clients.back()).empty());
        for (std::size_t i = 2; i < clients.size(); ++i) {
            ::close(clients[i]);
        }
    }

    void socketIsRemovedWithTheServerAndClientsAreDisconnected()
    {
        serve();
        const int fd = connectTo(m_path);
        sendAll(fd, "{\"command\":\"field\"}\n");
        QVERIFY(!readLine(fd).empty());
        m_server.reset();
        QVERIFY(readLine(fd).empty());
        ::close(fd);
        QVERIFY(!QFileInfo::exists(QString::fromStdString(m_path)));
    }

    void deadSocketIsReplacedAndALivingOneIsNot()
    {
        serve();
        std::string error;
        const auto second = ControlServer::start(
            m_path, [](const std::string&) { return std::string("{}"); }, error);
        QVERIFY(!second);
        QVERIFY2(error.find("another process serves this socket") != std::string::npos,
                 error.c_str());
        m_server.reset();

        // The leftover of a killed program.
        const int dead = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, m_path.c_str(), m_path.size() + 1);
        QCOMPARE(::bind(dead, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        ::close(dead);
        serve();
        const int fd = connectTo(m_path);
        QVERIFY(fd >= 0);
        ::close(fd);
    }

    void whatIsNotASocketStays()
    {
        QDir(m_folder->path()).mkdir(QStringLiteral("below"));
        QFile file(QString::fromStdString(m_path));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("precious");
        file.close();
        std::string error;
        QVERIFY(!ControlServer::start(
            m_path, [](const std::string&) { return std::string(); }, error));
        QVERIFY2(error.find("not a socket") != std::string::npos, error.c_str());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("precious"));
    }

    void pathInTheCurrentFolderIsServed()
    {
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder->path()));
        std::string error;
        const auto here = ControlServer::start(
            "here.sock", [](const std::string&) { return std::string("{\"ok\":true}"); }, error);
        qputenv("OM_TIV_CONTROL", "here.sock");
        const auto client = BenchClient::connect({}, error);
        json answer;
        const bool answered = client && client->ask({{"command", "list"}}, answer, error);
        qputenv("OM_TIV_CONTROL", "off");
        QVERIFY(QDir::setCurrent(before));
        QVERIFY2(here, error.c_str());
        QVERIFY2(answered, error.c_str());
    }

    void impossiblePathsGiveAReason_data()
    {
        QTest::addColumn<QString>("where");
        QTest::newRow("too long") << QStringLiteral("/tmp/") + QString(200, QLatin1Char('x'));
        QTest::newRow("below a file") << "/etc/passwd/x.sock";
    }

    void impossiblePathsGiveAReason()
    {
        QFETCH(QString, where);
        std::string error;
        QVERIFY(!ControlServer::start(
            where.toStdString(), [](const std::string&) { return std::string(); }, error));
        QVERIFY(!error.empty());
        QVERIFY(error.find('\n') == std::string::npos);
    }

    void clientWithoutABenchReportsWhereItLooked()
    {
        std::string error;
        QVERIFY(!BenchClient::connect({}, error));
        QVERIFY2(error.rfind("no running bench", 0) == 0, error.c_str());
        QVERIFY(!BenchClient::connect("/nowhere/x.sock", error));
        QVERIFY2(error.rfind("/nowhere/x.sock: ", 0) == 0, error.c_str());
    }

    void pathFollowsTheEnvironment()
    {
        const QByteArray before = qgetenv("OM_TIV_CONTROL");
        const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
        qputenv("OM_TIV_CONTROL", "off");
        QCOMPARE(controlPath(), std::string());
        qputenv("OM_TIV_CONTROL", "/tmp/mine.sock");
        QCOMPARE(controlPath(), std::string("/tmp/mine.sock"));
        qunsetenv("OM_TIV_CONTROL");
        qputenv("XDG_RUNTIME_DIR", "/run/user/1");
        QCOMPARE(controlPath(),
                 "/run/user/1/gravimon/bench-" + std::to_string(::getpid()) + ".sock");
        qunsetenv("XDG_RUNTIME_DIR");
        QCOMPARE(controlFolder(), "/tmp/gravimon-" + std::to_string(::getuid()));
        qputenv("XDG_RUNTIME_DIR", runtime);
        qputenv("OM_TIV_CONTROL", before);
    }

    void hexGoesThereAndBack()
    {
        std::string bytes;
        for (int i = 0; i < 256; ++i) {
            bytes += static_cast<char>(i);
        }
        QCOMPARE(fromHex(toHex(bytes)), bytes);
        QCOMPARE(toHex(std::string("\x00\x7f\xff", 3)), std::string("007fff"));
        QCOMPARE(fromHex("0a0"), std::string("\n"));
        QCOMPARE(fromHex("zz"), std::string());
    }
};

QTEST_GUILESS_MAIN(TestControl)
#include "tst_control.moc"
