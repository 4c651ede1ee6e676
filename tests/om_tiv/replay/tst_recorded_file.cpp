#include "om_tiv/benchtest.h"

#include "replay/recorded_file.h"

#include <QFile>
#include <QTemporaryDir>

#include <sys/stat.h>
#include <unistd.h>

using namespace om;
using namespace om::bench;
using namespace benchtest;

namespace {

RecordedFile sampleRecording(int frames = 5)
{
    RecordedFile recording;
    recording.model = MODEL::TIV_P;
    recording.serialNumber = 20000007;
    recording.firmwareVersion = 1150;
    recording.width = 640;
    recording.height = 480;
    recording.frameRate = 29.97;
    for (int i = 0; i < frames; ++i) {
        recording.frameTimes.push_back(1'000'000'000ULL +
                                       static_cast<Nanoseconds>(i) * 33'366'667ULL);
    }
    return recording;
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void putContent(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), static_cast<qint64>(content.size()));
}

} // namespace

class TestRecordedFile : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void whatIsWrittenIsRead();
    void theFormatIsAsDocumented();
    void damagedFilesAreRefused_data();
    void damagedFilesAreRefused();
    void aMissingFileIsRefused();
    void aFolderIsRefused();
    void aFifoIsRefusedAtOnce();
    void aFailedWriteLeavesTheOldFile();

    void openShowsWhatTheFileHolds();
    void openOfADamagedFileIsInvalid();
    void framesComeOneAfterTheOther();
    void theLastFrameComesAgain();
    void aChosenFrameIsTheNext();
    void aPositionIsClampedToTheFile();
    void aFrameWithoutATimeHasTimeZero();
    void aFileHasNoSensors();
    void aFileIsNotLostWithACamera();
    void twoCamerasMayReadOneFile();
    void imagesHaveTheFilesSize();

private:
    QString path(const char* name) const { return m_folder.filePath(name); }
    QString write(const RecordedFile& recording);

    QTemporaryDir m_folder;
};

void TestRecordedFile::init()
{
    stoppedBench();
}

QString TestRecordedFile::write(const RecordedFile& recording)
{
    QString file = path("recording.qvr");
    std::string error;
    if (!writeRecordedFile(file.toStdString(), recording, error)) {
        qFatal("%s", error.c_str());
    }
    return file;
}

void TestRecordedFile::whatIsWrittenIsRead()
{
    const RecordedFile written = sampleRecording();
    const QString file = write(written);
    RecordedFile read;
    std::string error;
    QVERIFY2(readRecordedFile(file.toStdString(), read, error), error.c_str());
    QVERIFY(read.model == written.model);
    QCOMPARE(read.serialNumber, written.serialNumber);
    QCOMPARE(read.firmwareVersion, written.firmwareVersion);
    QCOMPARE(read.width, written.width);
    QCOMPARE(read.height, written.height);
    QCOMPARE(read.frameRate, 29.97);
    QVERIFY(read.frameTimes == written.frameTimes);
}

void TestRecordedFile::theFormatIsAsDocumented()
{
    RecordedFile recording = sampleRecording(1);
    recording.frameTimes[0] = 0x0102030405060708ULL;
    const QByteArray expected = QByteArray::fromHex("4f4d5156520d0a1a" // OMQVR CR LF EOF
                                                    "01000000"         // version
                                                    "30000000"         // header bytes
                                                    "01000000"         // frames
                                                    "12750000"         // 29.970 Hz
                                                    "80020000"         // width
                                                    "e0010000"         // height
                                                    "02000000"         // model
                                                    "072d3101"         // serial number
                                                    "7e040000"         // firmware
                                                    "00000000"         // reserved
                                                    "0807060504030201");
    QCOMPARE(contentOf(write(recording)).toHex(), expected.toHex());
}

void TestRecordedFile::damagedFilesAreRefused_data()
{
    QTest::addColumn<int>("keep");   // bytes of the file, -1 for all
    QTest::addColumn<int>("offset"); // where to overwrite
    QTest::addColumn<QByteArray>("with");
    QTest::addColumn<QString>("reason");
    const auto hex = [](const char* text) { return QByteArray::fromHex(text); };
    QTest::newRow("empty") << 0 << 0 << QByteArray() << "byte 0: the file ends within its header";
    QTest::newRow("cut header") << 47 << 0 << QByteArray()
                                << "byte 47: the file ends within its header";
    QTest::newRow("another kind of file")
        << -1 << 0 << QByteArray("RIFF") << "byte 0: not a recorded file";
    QTest::newRow("changed line ends") << -1 << 5 << hex("0a0a") << "byte 0: not a recorded file";
    QTest::newRow("later version")
        << -1 << 8 << hex("02") << "byte 8: format version 2, expected 1";
    QTest::newRow("longer header")
        << -1 << 12 << hex("40") << "byte 12: header of 64 bytes, expected 48";
    QTest::newRow("no frames") << -1 << 16 << hex("00000000")
                               << "byte 16: 0 frames, expected 1 to 10000000";
    QTest::newRow("too many frames")
        << -1 << 16 << hex("ffffffff") << "byte 16: 4294967295 frames, expected 1 to 10000000";
    QTest::newRow("no rate") << -1 << 20 << hex("00000000") << "byte 20: frame rate out of range";
    QTest::newRow("wild rate") << -1 << 20 << hex("ffffffff") << "byte 20: frame rate out of range";
    QTest::newRow("no width") << -1 << 24 << hex("00000000")
                              << "byte 24: image size 0 x 480 out of range";
    QTest::newRow("wild height") << -1 << 28 << hex("ffffff7f")
                                 << "byte 24: image size 640 x 2147483647 out of range";
    QTest::newRow("unknown model")
        << -1 << 32 << hex("06000000") << "byte 32: model 6, expected 0 to 5";
    QTest::newRow("reserved bytes in use")
        << -1 << 44 << hex("01") << "byte 44: reserved bytes are not 0";
    QTest::newRow("cut frames") << 48 + 20 << 0 << QByteArray()
                                << "byte 64: the file ends after 2 of 5 frames";
    QTest::newRow("claimed frames")
        << -1 << 16 << hex("80969800") << "byte 88: the file ends after 5 of 10000000 frames";
    QTest::newRow("unclaimed frames")
        << -1 << 16 << hex("04000000") << "byte 80: bytes after the last frame";
    QTest::newRow("time runs backward")
        << -1 << 48 + 16 << hex("0100000000000000")
        << "byte 64: the time of frame 2 lies before that of a former frame";
}

void TestRecordedFile::damagedFilesAreRefused()
{
    QFETCH(int, keep);
    QFETCH(int, offset);
    QFETCH(QByteArray, with);
    QFETCH(QString, reason);
    const QString file = write(sampleRecording());
    QByteArray content = contentOf(file);
    content = keep >= 0 ? content.left(keep) : content;
    content.replace(offset, with.size(), with);
    putContent(file, content);

    RecordedFile untouched;
    untouched.serialNumber = 5;
    std::string error;
    QVERIFY(!readRecordedFile(file.toStdString(), untouched, error));
    QCOMPARE(QString::fromStdString(error), file + ": " + reason);
    QCOMPARE(untouched.serialNumber, 5U);
}

void TestRecordedFile::aMissingFileIsRefused()
{
    RecordedFile recording;
    std::string error;
    const QString file = path("none.qvr");
    QVERIFY(!readRecordedFile(file.toStdString(), recording, error));
    QCOMPARE(QString::fromStdString(error), file + ": cannot be read: No such file or directory");
}

void TestRecordedFile::aFolderIsRefused()
{
    RecordedFile recording;
    std::string error;
    QVERIFY(!readRecordedFile(m_folder.path().toStdString(), recording, error));
    QCOMPARE(QString::fromStdString(error), m_folder.path() + ": cannot be read: Is a directory");
}

void TestRecordedFile::aFifoIsRefusedAtOnce()
{
    RecordedFile recording;
    std::string error;
    const QString file = path("fifo.qvr");
    QCOMPARE(::mkfifo(file.toLocal8Bit().constData(), 0600), 0);
    QVERIFY(!readRecordedFile(file.toStdString(), recording, error));
    QCOMPARE(QString::fromStdString(error), file + ": cannot be read: not a regular file");
}

void TestRecordedFile::aFailedWriteLeavesTheOldFile()
{
    std::string error;
    QVERIFY(!writeRecordedFile(path("no/such/folder.qvr").toStdString(), sampleRecording(), error));
    QCOMPARE(QString::fromStdString(error),
             path("no/such/folder.qvr") + ": cannot be written: No such file or directory");
    const QString file = write(sampleRecording(3));
    const QByteArray before = contentOf(file);
    // A folder uses the temporary file's name.
    QVERIFY(QDir().mkdir(file + ".part"));
    QVERIFY(!writeRecordedFile(file.toStdString(), sampleRecording(4), error));
    QCOMPARE(contentOf(file), before);
    QVERIFY(QDir().rmdir(file + ".part") || !QDir(file + ".part").exists());
}

void TestRecordedFile::openShowsWhatTheFileHolds()
{
    InitParameters parameters;
    parameters.input.setFromQVRFile(write(sampleRecording()).toUtf8().constData());
    Camera camera;
    QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
    QVERIFY(camera.isOpened());
    QCOMPARE(camera.getQVRNumberOfFrames(), 5);
    QCOMPARE(camera.getQVRPosition(), 0);
    QCOMPARE(camera.getInitParameters().fps, 30);
    const CameraInformation information = camera.getCameraInformation();
    QCOMPARE(information.serialNumber, 20000007U);
    QVERIFY(information.cameraModel == MODEL::TIV_P);
    QCOMPARE(information.firmwareVersion, 1150U);
    QCOMPARE(information.resolution.width, std::size_t{640});
    QVERIFY(camera.getCUDAContext() != nullptr);
    camera.close();
    QVERIFY(!camera.isOpened());
}

void TestRecordedFile::openOfADamagedFileIsInvalid()
{
    const QString file = path("damaged.qvr");
    putContent(file, "nonsense");

    // One line on standard error.
    const int before = ::dup(2);
    QFile errors(path("errors.txt"));
    QVERIFY(errors.open(QIODevice::WriteOnly));
    ::dup2(errors.handle(), 2);
    InitParameters parameters;
    parameters.input.setFromQVRFile(file.toUtf8().constData());
    Camera camera;
    const ERROR_CODE result = camera.open(parameters);
    ::dup2(before, 2);
    ::close(before);

    QCOMPARE(result, ERROR_CODE::INVALID_INPUT);
    QVERIFY(!camera.isOpened());
    QCOMPARE(QString(contentOf(path("errors.txt"))),
             file + ": byte 8: the file ends within its header\n");
}

void TestRecordedFile::framesComeOneAfterTheOther()
{
    const RecordedFile recording = sampleRecording();
    InitParameters parameters;
    parameters.input.setFromQVRFile(write(recording).toUtf8().constData());
    Camera camera;
    QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
    QCOMPARE(camera.getTimestamp(TIME_REFERENCE::IMAGE), std::uint64_t{0});
    for (int i = 0; i < 5; ++i) {
        QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS); // the clock stands
        QCOMPARE(camera.getQVRPosition(), i);
        QCOMPARE(camera.getTimestamp(TIME_REFERENCE::IMAGE),
                 recording.frameTimes[static_cast<std::size_t>(i)]);
    }
}

void TestRecordedFile::theLastFrameComesAgain()
{
    InitParameters parameters;
    parameters.input.setFromQVRFile(write(sampleRecording(2)).toUtf8().constData());
    Camera camera;
    QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    }
    QCOMPARE(camera.getQVRPosition(), 1);
}

void TestRecordedFile::aChosenFrameIsTheNext()
{
    const RecordedFile recording = sampleRecording();
    InitParameters parameters;
    parameters.input.setFromQVRFile(write(recording).toUtf8().constData());
    Camera camera;
    QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
    camera.setQVRPosition(3);
    QCOMPARE(camera.getQVRPosition(), 3);
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    QCOMPARE(camera.getTimestamp(TIME_REFERENCE::IMAGE), recording.frameTimes[3]);
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    QCOMPARE(camera.getQVRPosition(), 4);
    camera.setQVRPosition(0);
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    QCOMPARE(camera.getTimestamp(TIME_REFERENCE::IMAGE), recording.frameTimes[0]);
    const auto log = theBench().log().records(CALL::SET_QVR_POSITION);
    QCOMPARE(log.size(), std::size_t{2});
    QCOMPARE(log[0].value, 3);
}

void TestRecordedFile::aPositionIsClampedToTheFile()
{
    InitParameters parameters;
    parameters.input.setFromQVRFile(write(sampleRecording()).toUtf8().constData());
    Camera camera;
    QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
    camera.setQVRPosition(99);
    QCOMPARE(camera.getQVRPosition(), 4);
    camera.setQVRPosition(-3);
    QCOMPARE(camera.getQVRPosition(), 0);
}

void TestRecordedFile::aFrameWithoutATimeHasTimeZero()
{
    RecordedFile recording = sampleRecording();
    recording.frameTimes[2] = 0;
    InitParameters parameters;
    parameters.input.setFromQVRFile(write(recording).toUtf8().constData());
    Camera camera;
    QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
    camera.setQVRPosition(2);
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    QCOMPARE(camera.getTimestamp(TIME_REFERENCE::IMAGE), std::uint64_t{0});
}

void TestRecordedFile::aFileHasNoSensors()
{
    InitParameters parameters;
    parameters.input.setFromQVRFile(write(sampleRecording()).toUtf8().constData());
    Camera camera;
    QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
    SensorsData data;
    QCOMPARE(current(camera, data), ERROR_CODE::FAILURE);
    QVERIFY(camera.isOpened());
}

void TestRecordedFile::aFileIsNotLostWithACamera()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    InitParameters parameters;
    parameters.input.setFromQVRFile(write(sampleRecording()).toUtf8().constData());
    Camera file;
    QCOMPARE(file.open(parameters), ERROR_CODE::SUCCESS);
    bench.unplug(cameraSerial);
    QVERIFY(file.isOpened());
    QCOMPARE(file.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
}

void TestRecordedFile::twoCamerasMayReadOneFile()
{
    InitParameters parameters;
    parameters.input.setFromQVRFile(write(sampleRecording()).toUtf8().constData());
    Camera first;
    Camera second;
    QCOMPARE(first.open(parameters), ERROR_CODE::SUCCESS);
    QCOMPARE(second.open(parameters), ERROR_CODE::SUCCESS);
    first.setQVRPosition(3);
    QCOMPARE(second.getQVRPosition(), 0);
}

void TestRecordedFile::imagesHaveTheFilesSize()
{
    InitParameters parameters;
    parameters.input.setFromQVRFile(write(sampleRecording()).toUtf8().constData());
    Camera camera;
    QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    Mat mat;
    QCOMPARE(camera.retrieveImage(mat, VIEW::LEFT, MEM::CPU, Resolution()), ERROR_CODE::SUCCESS);
    QCOMPARE(mat.getResolution().width, std::size_t{640});
    QCOMPARE(mat.getResolution().height, std::size_t{480});
}

QTEST_GUILESS_MAIN(TestRecordedFile)
#include "tst_recorded_file.moc"
