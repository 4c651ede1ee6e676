/// Generated recordings are, byte for byte, what the program records of the same camera.

#include "om_tiv/benchtest.h"

#include "recording/recorder.h"
#include "replay/recording_row.h"
#include "tools/generate.h"
#include "viewer/sensor_sample.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>

#include <cmath>
#include <csignal>
#include <random>

#include <sys/resource.h>
#include <sys/stat.h>

using namespace om;
using namespace om::bench;
using LOCATION = SensorsData::TemperatureData::SENSOR_LOCATION;

Q_DECLARE_METATYPE(om::bench::CameraConfig)

namespace {

const Field defaultField;

const char* nameOf(MOTION motion)
{
    return motion == MOTION::TUMBLE ? "tumble" : motion == MOTION::FALL ? "fall" : "at rest";
}

/// The rows that the program makes of records: its own sampling and its own recorder.
class Recorded
{
public:
    /// @return whether the record gave a row
    bool take(const SensorsData& data)
    {
        const auto sample = m_sampler.take(data);
        if (!sample) {
            return false;
        }
        recorder::Row row;
        row.index = m_rows++;
        row.imuTime = sample->time;
        row.magTime = sample->magnetometer.time;
        row.baroTime = sample->barometer.time;
        row.acceleration = doubles(sample->acceleration);
        row.angularVelocity = doubles(sample->angularVelocity);
        row.magneticField = doubles(sample->field);
        row.orientation = doubles(sample->angles);
        row.pressure = static_cast<double>(sample->pressure);
        row.relativeAltitude = static_cast<double>(sample->altitude);
        row.movingState = sample->movingState;
        row.tempLeft = static_cast<double>(sample->left);
        row.tempRight = static_cast<double>(sample->right);
        data.temperature.get(LOCATION::IMU, row.tempImu);
        row.tempBarometer = row.tempImu;
        data.temperature.get(LOCATION::BAROMETER, row.tempBarometer);
        QTextStream stream(&m_text, QIODevice::WriteOnly | QIODevice::Append);
        recorder::writeRow(stream, m_options, row);
        return true;
    }

    QByteArray text() const { return (recorder::header(m_options) + '\n').toUtf8() + m_text; }

private:
    static std::array<double, 3> doubles(const Vector3<float>& v)
    {
        return {static_cast<double>(v.x), static_cast<double>(v.y), static_cast<double>(v.z)};
    }

    Shared<double> m_rate;
    std::uint64_t m_start = 0;
    sensorsample::Stream m_stream{m_rate, m_start};
    sensorsample::Sampler m_sampler{m_stream, m_stream, m_stream};
    RecOptions m_options;
    QByteArray m_text;
    int m_rows = 0;
};

/// A camera with everything that its sensors can do wrong.
CameraConfig spoiled()
{
    CameraConfig config;
    config.model = MODEL::TIV_Q;
    config.serialNumber = 30000001;
    SensorErrors& errors = config.errors;
    for (ErrorModel* const model :
         {&errors.accelerometer, &errors.gyroscope, &errors.magnetometer, &errors.barometer}) {
        model->biasInstability = {0.1, 0.2, 0.3};
        model->randomWalk = {0.01, 0.02, 0.03};
        model->turnOnSpread = {1.0, 1.0, 1.0};
        model->temperatureBias = {0.01, 0.02, 0.03};
        model->resolution = 1.0 / 1024.0; // whose multiples lie halfway between nine digits
        model->spikeShare = 1.0;
        model->spikeAmplitude = 3.0;
    }
    errors.clockDrift = -800.0;
    errors.droppedSamples = 3.0;
    errors.droppedTogether = 2;
    return config;
}

} // namespace

class TestGenerate : public QObject
{
    Q_OBJECT

private slots:
    void recordingIsTheProgramsOwn_data();
    void recordingIsTheProgramsOwn();
    void rowsAreThoseOfTheRecorder();
    void sameBenchGivesTheSameFile();
    void refusalsNameWhatToDo_data();
    void refusalsNameWhatToDo();
    void existingFileStaysAsItIs();
    void fullDiskLeavesNoFile();
    void interruptionLeavesNoFile();

private:
    bool generate(const CameraConfig& config, double seconds, std::string& error,
                  bool proceed = true);

    QTemporaryDir m_folder;
    std::string m_path;
    Generated m_generated;
};

bool TestGenerate::generate(const CameraConfig& config, double seconds, std::string& error,
                            bool proceed)
{
    if (m_path.empty()) {
        m_path = m_folder.filePath("out.csv").toStdString();
    }
    error.clear();
    return generateRecording(
        config, defaultField, seconds, m_path, [&](double) { return proceed; }, m_generated, error);
}

namespace {

QByteArray taken(const std::string& path)
{
    QFile file(QString::fromStdString(path));
    QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    file.remove();
    return text;
}

} // namespace

void TestGenerate::recordingIsTheProgramsOwn_data()
{
    QTest::addColumn<CameraConfig>("config");
    for (const MODEL model : {MODEL::TIV_N, MODEL::TIV_P, MODEL::TIV_Q, MODEL::TIV_R}) {
        for (const MOTION motion : {MOTION::TUMBLE, MOTION::FALL, MOTION::AT_REST}) {
            CameraConfig config;
            config.model = model;
            config.serialNumber = 30000001;
            config.motion = motion;
            QTest::addRow("model %d, %s", static_cast<int>(model), nameOf(motion)) << config;
        }
    }
    QTest::newRow("spoiled") << spoiled();
    const auto faulty = [](const char* name, const std::function<void(Faults&)>& change) {
        CameraConfig config;
        config.serialNumber = 30000001;
        change(config.faults);
        QTest::newRow(name) << config;
    };
    faulty("repeated timestamps", [](Faults& f) { f.repeatedTimestamps = true; });
    faulty("no barometer", [](Faults& f) { f.barometerAbsent = true; });
    faulty("no magnetometer", [](Faults& f) { f.magnetometerAbsent = true; });
    faulty("no board temperatures", [](Faults& f) { f.boardTemperaturesAbsent = true; });
    faulty("no IMU temperature", [](Faults& f) { f.imuTemperatureAbsent = true; });
    faulty("no temperature at all", [](Faults& f) {
        f.imuTemperatureAbsent = true;
        f.boardTemperaturesAbsent = true;
    });
    faulty("saturated", [](Faults& f) { f.magnetometerSaturated = true; });
    faulty("disturbed", [](Faults& f) { f.magneticDisturbance = 40.0; });
}

void TestGenerate::recordingIsTheProgramsOwn()
{
    QFETCH(CameraConfig, config);
    constexpr double length = 12.0;
    std::string error;
    QVERIFY2(generate(config, length, error), error.c_str());

    Bench& bench = benchtest::runningBench();
    bench.clock().setManual(generatedStartSeconds * nsPerS);
    bench.setField(defaultField);
    bench.addCamera(config);
    Camera camera;
    InitParameters parameters = benchtest::parametersFor(config.serialNumber);
    parameters.input.setFromSerialNumber(config.serialNumber, busOf(config.model));
    QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
    const auto source = bench.camera(config.serialNumber)->source();
    Recorded recorded;
    std::uint64_t rows = 0;
    for (std::uint64_t number = 0;; ++number) {
        const Nanoseconds time = source->timeOf(STREAM::IMU, number);
        if (time > generatedStartSeconds * nsPerS + static_cast<Nanoseconds>(length * 1e9)) {
            break;
        }
        if (!source->isLost(STREAM::IMU, number)) {
            bench.clock().advance(time - bench.clock().now());
            SensorsData data;
            QCOMPARE(benchtest::current(camera, data), ERROR_CODE::SUCCESS);
            rows += recorded.take(data) ? 1 : 0;
        }
    }
    QCOMPARE(m_generated.rows, rows);
    QVERIFY(rows > 2000);
    const QByteArray generated = taken(m_path);
    const QByteArray own = recorded.text();
    const QList<QByteArray> lines = generated.split('\n');
    const QList<QByteArray> ownLines = own.split('\n');
    for (int i = 0; i < std::min(lines.size(), ownLines.size()); ++i) {
        QCOMPARE(lines[i], ownLines[i]);
    }
    QVERIFY(generated == own);
}

/// Any numbers that a float or a time can be, those halfway between two ninth digits among them.
void TestGenerate::rowsAreThoseOfTheRecorder()
{
    std::vector<float> values = {0.0F,        -0.0F,   1.0F / 1024, -1.0F / 1024, 3.0F / 1024,
                                 1e-10F,      -1e-10F, 5e-10F,      1e-38F,       1e-45F,
                                 123456.789F, 3.4e38F, -3.4e38F,    16777216.0F,  2048.0F,
                                 0.99999999F, 1e15F,   5e15F};
    std::mt19937_64 generator(1);
    std::uniform_real_distribution<double> exponent(-35.0, 52.0);
    for (int i = 0; i < 20000; ++i) {
        const double size = std::exp2(exponent(generator));
        values.push_back(static_cast<float>(i % 2 == 0 ? size : -size));
        values.push_back(static_cast<float>(std::round(size)) / 1024.0F);
    }
    RecOptions options;
    for (std::size_t i = 0; i + 19 < values.size(); i += 19) {
        const float* const v = &values[i];
        RecordingRow row;
        row.index = i;
        row.imuTime = 1767225600.0 + static_cast<double>(i) / 1024.0;
        row.magnetometerTime = static_cast<double>(v[0]);
        row.barometerTime = 1e-3 * static_cast<double>(i);
        row.acceleration = {v[1], v[2], v[3]};
        row.angularVelocity = {v[4], v[5], v[6]};
        row.field = {v[7], v[8], v[9]};
        row.orientation = {v[10], v[11], v[12]};
        row.pressure = v[13];
        row.altitude = v[14];
        row.movingState = static_cast<int>(i % 3);
        row.tempLeft = v[15];
        row.tempRight = v[16];
        row.tempImu = v[17];
        row.tempBarometer = v[18];
        std::string text;
        appendRow(text, row);

        recorder::Row own;
        own.index = static_cast<int>(i);
        own.imuTime = row.imuTime;
        own.magTime = row.magnetometerTime;
        own.baroTime = row.barometerTime;
        const auto doubles = [](const std::array<float, 3>& f) {
            return std::array<double, 3>{double{f[0]}, double{f[1]}, double{f[2]}};
        };
        own.acceleration = doubles(row.acceleration);
        own.angularVelocity = doubles(row.angularVelocity);
        own.magneticField = doubles(row.field);
        own.orientation = doubles(row.orientation);
        own.pressure = double{row.pressure};
        own.relativeAltitude = double{row.altitude};
        own.movingState = row.movingState;
        own.tempLeft = double{v[15]};
        own.tempRight = double{v[16]};
        own.tempImu = v[17];
        own.tempBarometer = v[18];
        QByteArray wanted;
        {
            QTextStream stream(&wanted);
            recorder::writeRow(stream, options, own);
        }
        QCOMPARE(QByteArray::fromStdString(text), wanted);
    }
    QCOMPARE(QString::fromStdString(recordingHeader()), recorder::header(options) + '\n');
}

void TestGenerate::sameBenchGivesTheSameFile()
{
    std::string error;
    QVERIFY2(generate(spoiled(), 10.0, error), error.c_str());
    const QByteArray first = taken(m_path);
    QVERIFY(first.size() > 500'000);
    QVERIFY2(generate(spoiled(), 10.0, error), error.c_str());
    QVERIFY(taken(m_path) == first);
    CameraConfig other = spoiled();
    other.seed = 5;
    QVERIFY2(generate(other, 10.0, error), error.c_str());
    QVERIFY(taken(m_path) != first);
}

void TestGenerate::refusalsNameWhatToDo_data()
{
    QTest::addColumn<CameraConfig>("config");
    QTest::addColumn<QString>("reason");
    CameraConfig config;
    config.serialNumber = 7;
    config.model = MODEL::TIV;
    QTest::newRow("no sensors") << config << "camera 7: has no sensors; choose another camera";
    config.model = MODEL::TIV_Q;
    config.replay = "/some/file.csv";
    QTest::newRow("replay")
        << config << "camera 7: plays a recording; choose another camera, or remove \"replay\"";
    config.replay.clear();
    config.faults.frozenTimestamps = true;
    QTest::newRow("frozen") << config
                            << "camera 7: its timestamps do not change, which gives no row; "
                               "remove \"frozenTimestamps\"";
}

void TestGenerate::refusalsNameWhatToDo()
{
    QFETCH(CameraConfig, config);
    QFETCH(QString, reason);
    std::string error;
    QVERIFY(!generate(config, 1.0, error));
    QCOMPARE(QString::fromStdString(error), reason);
    QVERIFY(!QFile::exists(QString::fromStdString(m_path)));
}

void TestGenerate::existingFileStaysAsItIs()
{
    std::string error;
    m_path = m_folder.filePath("there.csv").toStdString();
    QFile there(QString::fromStdString(m_path));
    QVERIFY(there.open(QIODevice::WriteOnly));
    there.write("mine");
    there.close();
    QVERIFY(!generate(CameraConfig(), 1.0, error));
    QCOMPARE(QString::fromStdString(error),
             QString::fromStdString(m_path) + ": exists already; choose another name or remove it");
    QCOMPARE(taken(m_path), QByteArray("mine"));
    // Nor is a FIFO waited for, nor a folder missed without a word.
    QCOMPARE(::mkfifo(m_path.c_str(), 0600), 0);
    QVERIFY(!generate(CameraConfig(), 1.0, error));
    QVERIFY(error.find("exists already") != std::string::npos);
    QFile::remove(QString::fromStdString(m_path));
    m_path = m_folder.filePath("missing/out.csv").toStdString();
    QVERIFY(!generate(CameraConfig(), 1.0, error));
    QCOMPARE(QString::fromStdString(error),
             QString::fromStdString(m_path) + ": cannot be written: No such file or directory");
    m_path.clear();
}

void TestGenerate::fullDiskLeavesNoFile()
{
    // A limit on the size of files in place of a full disk.
    struct sigaction ignore = {};
    struct sigaction former = {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGXFSZ, &ignore, &former);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small{1'500'000, limit.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    std::string error;
    const bool done = generate(CameraConfig(), 60.0, error);
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ::sigaction(SIGXFSZ, &former, nullptr);
    QVERIFY(!done);
    QCOMPARE(QString::fromStdString(error),
             QString::fromStdString(m_path) +
                 ": cannot be written: File too large; the file was removed");
    QVERIFY(!QFile::exists(QString::fromStdString(m_path)));
}

void TestGenerate::interruptionLeavesNoFile()
{
    std::string error;
    QVERIFY(!generate(CameraConfig(), 60.0, error, false));
    QCOMPARE(QString::fromStdString(error),
             QString::fromStdString(m_path) + ": interrupted; the file was removed");
    QVERIFY(!QFile::exists(QString::fromStdString(m_path)));
}

QTEST_GUILESS_MAIN(TestGenerate)
#include "tst_generate.moc"
