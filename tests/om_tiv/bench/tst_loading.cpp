// Recordings that are read in the background.

#include "support/sidethread.h"
#include "support/waiting.h"

#include "library/the_bench.h"
#include "control/control.h"
#include "bench/loader.h"
#include "bench/virtual_camera.h"

#include <om_tiv/camera.h>

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <nlohmann/json.hpp>

#include <atomic>
#include <future>

using namespace om;
using namespace om::bench;
using nlohmann::json;

namespace {

constexpr unsigned int serial = 20000001;

json ask(const json& request)
{
    return json::parse(answerControl(theBench(), request.dump()));
}

} // namespace

class TestLoading : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;
    std::promise<void> m_release;
    std::atomic<int> m_readings{0};
    bool m_released = false;

    std::string write(const char* name, const QByteArray& text)
    {
        QFile file(m_folder->filePath(QString::fromLatin1(name)));
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
            qFatal("no temporary file");
        }
        return file.fileName().toStdString();
    }

    std::string recording()
    {
        QByteArray text = "idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],\n";
        for (int i = 0; i < 100; ++i) {
            text += QByteArray::number(i) + "," + QByteArray::number(5.0 + i * 0.005, 'f', 6) +
                    ",1.0,2.0,3.0,\n";
        }
        return write("recording.csv", text);
    }

    /// Readings wait for letGo().
    void hold()
    {
        m_release = std::promise<void>();
        m_released = false;
        m_readings = 0;
        theBench().loader().setHook([this, until = m_release.get_future().share()] {
            ++m_readings;
            until.wait_for(waiting::patience);
        });
    }

    void letGo()
    {
        if (!m_released) {
            m_released = true;
            m_release.set_value();
        }
    }

    json add(const std::string& path, unsigned int number = serial)
    {
        return ask({{"command", "add"},
                    {"camera", {{"model", "TIV_Q"}, {"serialNumber", number}, {"replay", path}}}});
    }

    static json loading(unsigned int number = serial)
    {
        return ask({{"command", "loading"}, {"serialNumber", number}});
    }

    /// The answer once nothing is being read.
    static json awaitLoading()
    {
        json answer;
        if (!QTest::qWaitFor(
                [&answer] {
                    answer = loading();
                    return !answer.contains("loading");
                },
                waiting::patienceMs)) {
            qFatal("the reading does not end");
        }
        return answer;
    }

private slots:
    void init()
    {
        theBench().reset();
        m_folder = std::make_unique<QTemporaryDir>();
        hold();
    }
    void cleanup()
    {
        letGo();
        theBench().reset();
    }

    void addAnswersAtOnceAndTheBenchServesMeanwhile()
    {
        const json answer = add(recording());
        QCOMPARE(QString::fromStdString(answer.dump()),
                 QStringLiteral("{\"loading\":0.0,\"ok\":true}"));
        QTRY_COMPARE(m_readings.load(), 1);
        QVERIFY(loading().contains("loading"));
        const json list = ask({{"command", "list"}});
        QVERIFY(list.at("ok").get<bool>());
        QVERIFY(list.at("cameras").empty());
        QVERIFY(list.contains("loading"));
        QVERIFY(Camera::getDeviceList().empty());
        QVERIFY(ask({{"command", "add"}, {"camera", {{"model", "TIV_P"}, {"serialNumber", 7}}}})
                    .at("ok")
                    .get<bool>());
        letGo();
        QCOMPARE(QString::fromStdString(awaitLoading().dump()), QStringLiteral("{\"ok\":true}"));
        QVERIFY(theBench().camera(serial)->playsRecording());
        QVERIFY(!ask({{"command", "list"}}).contains("loading"));
    }

    void cameraThatIsBeingReadCannotBeAddedAgain()
    {
        add(recording());
        QCOMPARE(QString::fromStdString(add(recording()).dump()),
                 QStringLiteral("{\"error\":\"there is a camera with serial number 20000001 "
                                "already\",\"ok\":false}"));
    }

    void cameraThatCameMeanwhileIsNotReplaced()
    {
        add(recording());
        CameraConfig config;
        config.serialNumber = serial;
        theBench().addCamera(config);
        letGo();
        const json answer = awaitLoading();
        QCOMPARE(QString::fromStdString(answer.at("error").get<std::string>()),
                 QStringLiteral("there is a camera with serial number 20000001 already"));
        QVERIFY(!theBench().camera(serial)->playsRecording());
    }

    void recordingThatCannotBePlayedIsRefusedOnce()
    {
        QVERIFY(add("/nowhere.csv").at("ok").get<bool>());
        letGo();
        const json answer = awaitLoading();
        QCOMPARE(QString::fromStdString(answer.at("error").get<std::string>()),
                 QStringLiteral("camera.replay: /nowhere.csv: cannot be read: No such file or "
                                "directory"));
        QCOMPARE(QString::fromStdString(loading().at("error").get<std::string>()),
                 QStringLiteral("no camera with serial number 20000001 on the bench"));
    }

    void removeEndsTheReading()
    {
        add(recording());
        QTRY_COMPARE(m_readings.load(), 1);
        QVERIFY(ask({{"command", "remove"}, {"serialNumber", serial}}).at("ok").get<bool>());
        QVERIFY(!theBench().loader().isReading(serial));
        letGo();
        const json answer = awaitLoading();
        QCOMPARE(QString::fromStdString(answer.at("error").get<std::string>()),
                 QStringLiteral("it was removed before it had been read"));
        QVERIFY(theBench().serialNumbers().empty());
    }

    void camerasToComeCountAmongThoseOfTheBench()
    {
        const std::string path = recording();
        for (unsigned int i = 0; i < 64; ++i) {
            QVERIFY(add(path, 100 + i).at("ok").get<bool>());
        }
        QCOMPARE(QString::fromStdString(add(path).at("error").get<std::string>()),
                 QStringLiteral("the bench is full: at most 64 cameras are possible"));
    }

    void stopEndsWhatIsBeingReadAndWhatWaits()
    {
        add(recording());
        add(recording(), serial + 1);
        QTRY_COMPARE(m_readings.load(), 1);
        SideThread stopping([] { theBench().loader().stop(); });
        stopping.onJoin([this] { letGo(); });
        QTRY_VERIFY(!theBench().loader().isReading(serial + 1));
        letGo();
        stopping.join();
        QCOMPARE(m_readings.load(), 1);
        QVERIFY(theBench().serialNumbers().empty());
        QVERIFY(!theBench().loader().part());
        QVERIFY(add(recording()).at("ok").get<bool>()); // it can continue
        QTRY_VERIFY(theBench().camera(serial));
    }

    void benchFileWithRecordingsIsLoadedBesideEverythingElse()
    {
        recording();
        const std::string file = write("b.json", R"({"field": {"strength": 30}, "cameras": [
                                {"model": "TIV_P", "serialNumber": 1},
                                {"model": "TIV_Q", "serialNumber": 2, "replay": "recording.csv"}]})");
        theBench().startLoading(file);
        QCOMPARE(theBench().field().strength, 30.0);
        QTRY_COMPARE(m_readings.load(), 1);
        QVERIFY(Camera::getDeviceList().empty());
        letGo();
        QTRY_COMPARE(Camera::getDeviceList().size(), std::size_t(2));
        QVERIFY(theBench().camera(2)->playsRecording());
        QCOMPARE(theBench().problem(), std::string());
    }

    void cameraOfABenchFileIsNotRemovedWhileTheFileIsRead()
    {
        recording();
        const std::string file = write("b.json", R"({"cameras": [
                                {"model": "TIV_P", "serialNumber": 1},
                                {"model": "TIV_Q", "serialNumber": 2, "replay": "recording.csv"}]})");
        theBench().startLoading(file);
        QTRY_COMPARE(m_readings.load(), 1);
        for (const int number : {1, 2}) {
            const json answer = ask({{"command", "remove"}, {"serialNumber", number}});
            QCOMPARE(QString::fromStdString(answer.at("error").get<std::string>()),
                     QStringLiteral("the recordings of the bench file are still being read; remove "
                                    "%1 afterwards")
                         .arg(number));
        }
        letGo();
        QTRY_COMPARE(Camera::getDeviceList().size(), std::size_t(2));
        QVERIFY(ask({{"command", "remove"}, {"serialNumber", 1}}).at("ok").get<bool>());
        QCOMPARE(theBench().serialNumbers(), std::vector<unsigned int>{2});
    }

    void idOfACameraThatIsBeingReadIsNotFree()
    {
        recording();
        const std::string file = write("b.json", R"({"cameras": [
 {"model": "TIV_R", "serialNumber": 1},
 {"model": "TIV_Q", "serialNumber": 2, "id": 0, "replay": "recording.csv"}]})");
        theBench().startLoading(file);
        const auto addCamera = [](unsigned int number, const json& id) {
            json camera = {{"model", "TIV_R"}, {"serialNumber", number}};
            camera.update(id);
            return ask({{"command", "add"}, {"camera", camera}});
        };
        QVERIFY(addCamera(3, json::object()).at("ok").get<bool>());
        QCOMPARE(theBench().config(3).id, 1);
        QCOMPARE(QString::fromStdString(addCamera(4, {{"id", 0}}).at("error").get<std::string>()),
                 QStringLiteral("id 0 is already that of 2; choose another one or none"));
        letGo();
        QTRY_COMPARE(Camera::getDeviceList().size(), std::size_t(3));
        QCOMPARE(theBench().config(2).id, 0);
        QCOMPARE(theBench().config(1).id, 2);
    }

    void benchFileWithARecordingThatCannotBePlayedLeavesNoCameras()
    {
        const std::string file = write("b.json", R"({"cameras": [
 {"model": "TIV_P", "serialNumber": 1},
 {"model": "TIV_Q", "serialNumber": 2, "replay": "recording.csv"}]})");
        theBench().startLoading(file);
        letGo();
        QTRY_VERIFY(!theBench().problem().empty());
        QCOMPARE(theBench().problem(),
                 file + ":3: cameras[1].replay: " + m_folder->path().toStdString() +
                     "/recording.csv: cannot be read: No such file or directory");
        QVERIFY(theBench().serialNumbers().empty());
    }

    void listRepeatsWhatWasWrongWithTheBenchFile()
    {
        QVERIFY(!ask({{"command", "list"}}).contains("problem"));
        theBench().startLoading("/nowhere/b.json");
        const json list = ask({{"command", "list"}});
        QVERIFY(list.at("ok").get<bool>());
        QCOMPARE(QString::fromStdString(list.at("problem").get<std::string>()),
                 QStringLiteral("/nowhere/b.json: cannot be read: No such file or directory"));
        QCOMPARE(
            QString::fromStdString(list.at("complaints").at(0).get<std::string>()),
            QStringLiteral("the bench file was not loaded: /nowhere/b.json: cannot be read: No "
                           "such file or directory; correct the file and start the program "
                           "again"));
        std::string error;
        QVERIFY(theBench().loadFile(write("b.json", R"({"cameras": []})"), error));
        QVERIFY(!ask({{"command", "list"}}).contains("problem"));
        QVERIFY(!ask({{"command", "list"}}).contains("complaints"));
    }
};

QTEST_GUILESS_MAIN(TestLoading)
#include "tst_loading.moc"
