// Recording from the main window: the button, the file, what ends a recording and what does not.

#include "support/fulldisk.h"
#include "support/viewersession.h"
#include "support/waiting.h"
#include "support/wallclock.h"

#include "bench/virtual_camera.h"
#include "calibration/magcalibdlgprobe.h"
#include "look/Style.h"
#include "recording/line_file.h"
#include "recording/recoptiondlg.h"
#include "recording/recorder.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontMetrics>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QToolButton>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>

#include <pthread.h>
#include <sys/stat.h>

using namespace std::chrono_literals;
using namespace viewersession;

namespace {

constexpr int serialQ = 31415926;
constexpr int serialP = 27182818;
constexpr int serialR = 42000001;

QStringList linesOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
}

QString nine(double value)
{
    return QString::asprintf("%.9f", value);
}

/// The rows of a recording as lists of fields.
QList<QStringList> rowsOf(const QString& path)
{
    QList<QStringList> rows;
    for (const QString& line : linesOf(path).mid(1)) {
        if (!line.isEmpty()) {
            rows << line.split(QLatin1Char(','));
        }
    }
    return rows;
}

/// Fields of a row that depend on the time of recording: the index and three times.
constexpr int ownFields = 4;

void press(QAbstractButton* button)
{
    QTest::mouseClick(button, Qt::LeftButton);
}

} // namespace

class TestRecording : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Viewer> m_viewer;
    std::unique_ptr<QTemporaryDir> m_folder;

    void open(om::MODEL model = om::MODEL::TIV_Q, int serial = serialQ,
              om::bench::MOTION motion = om::bench::MOTION::AT_REST)
    {
        om::bench::CameraConfig config = camera(model, static_cast<unsigned int>(serial));
        config.motion = motion;
        bench().addCamera(config);
        m_viewer = std::make_unique<Viewer>();
        m_viewer->probe.recOptions.saveFolder = m_folder->path();
        QTRY_VERIFY(m_viewer->streams(serial));
    }

    QString filePath() const { return m_viewer->probe.recFile.fileName(); }
    int rows() const
    {
        return linesOf(filePath()).size() - 2;
    } // without header and the last line's end

    /// Starts a recording whose rows come from the test instead of the sensor thread.
    void recordByHand()
    {
        m_viewer->probe.joinSensorThread();
        press(m_viewer->ui->toolButton_save);
        QVERIFY(m_viewer->probe.recording && m_viewer->probe.recFile.isOpen());
    }

    /// Whether the newest sample that the program took is the one with this number.
    bool hasTaken(unsigned int serial, std::uint64_t number)
    {
        const auto time = bench().camera(serial)->reportedTime(om::bench::STREAM::IMU, number);
        const QMutexLocker lock(&m_viewer->probe.dataMutex);
        const QVector<double>& times = m_viewer->probe.imuTime;
        const auto microseconds = time / 1000;
        return !times.isEmpty() && times.last() == static_cast<double>(microseconds) / 1e6;
    }

    /// Stops the bench, and waits until the program took the newest sample, whose number it
    /// returns.
    std::uint64_t stopTheBench(unsigned int serial)
    {
        om::bench::Clock& clock = bench().clock();
        clock.setManual();
        const auto number =
            bench().camera(serial)->source()->newest(om::bench::STREAM::IMU, clock.now()).value();
        [&] { QTRY_VERIFY(hasTaken(serial, number)); }();
        return number;
    }

    /// Lets the program read the next sample of the stopped bench and waits until it has.
    void giveSample(unsigned int serial, std::uint64_t number)
    {
        wallclock::advance(4ms); // which determines the rate of the rows
        const int before = m_viewer->samples();
        om::bench::Clock& clock = bench().clock();
        const auto source = bench().camera(serial)->source();
        clock.advance(source->timeOf(om::bench::STREAM::IMU, number) - clock.now());
        QVERIFY(waiting::waitFor([&] { return hasTaken(serial, number); }));
        QVERIFY2(m_viewer->samples() == before + 1, qPrintable(QString::number(number)));
    }

    /// Records this number of samples one by one.
    void recordSampleBySample(unsigned int serial, int count)
    {
        std::uint64_t number = stopTheBench(serial);
        press(m_viewer->ui->toolButton_save);
        QVERIFY(m_viewer->probe.recording);
        giveSample(serial, ++number);
        if (rows() == 0) { // the first call in the process writes none
            giveSample(serial, ++number);
        }
        QCOMPARE(rows(), 1);
        for (int i = 1; i < count && !QTest::currentTestFailed(); ++i) {
            giveSample(serial, ++number);
        }
        press(m_viewer->ui->toolButton_save);
        bench().clock().setReal();
    }

private slots:
    void init()
    {
        bench().reset();
        m_folder = std::make_unique<QTemporaryDir>();
    }

    void cleanup()
    {
        wallclock::onRead(nullptr);
        m_viewer.reset();
        bench().reset();
    }

    // Stays first: it is about the first call in the process.
    void firstCallInTheProcessWritesNoRow()
    {
        open();
        recordByHand();
        const qint64 header = m_viewer->probe.recFile.size();
        const wallclock::Held held;
        m_viewer->window->saveValues(0);
        QCOMPARE(m_viewer->probe.recFile.size(), header);
        // The next call finds time passed.
        wallclock::advance(1s);
        m_viewer->window->saveValues(0);
        QVERIFY(m_viewer->probe.recFile.size() > header);
        press(m_viewer->ui->toolButton_save);
    }

    void periodIsComparedWithWholeMilliseconds()
    {
        open();
        m_viewer->window->saveValues(0); // the first call in the process writes no row
        recordByHand();
        QCOMPARE(m_viewer->probe.recPeriodSec, 0.0025);
        const wallclock::Held held;
        wallclock::advance(1s);
        const auto writes = [this] {
            const qint64 size = m_viewer->probe.recFile.size();
            m_viewer->window->saveValues(0);
            return m_viewer->probe.recFile.size() > size;
        };
        QVERIFY(writes());
        wallclock::advance(2'999'999ns);
        QVERIFY2(!writes(), "2.999999 ms are cut to 2, which is too short");
        wallclock::advance(1ns);
        QVERIFY(writes());
        // Counted from the last row, not from a grid.
        wallclock::advance(4ms);
        QVERIFY(writes());
        wallclock::advance(2ms);
        QVERIFY(!writes());
        press(m_viewer->ui->toolButton_save);
    }

    void wallClockThatIsSetBackHoldsTheRowsBack()
    {
        open();
        press(m_viewer->ui->toolButton_save);
        QTRY_VERIFY(rows() > 5);
        {
            const QMutexLocker lock(&m_viewer->probe.dataMutex); // between two rows
            wallclock::advance(-1h);
        }
        const int before = rows();
        const int samples = m_viewer->samples();
        QTRY_VERIFY(m_viewer->samples() > samples + 100);
        QCOMPARE(rows(), before);
        wallclock::advance(1h);
        QTRY_VERIFY(rows() > before + 5);
        press(m_viewer->ui->toolButton_save);
    }

    void rowsAreWrittenWithTheLockHeld()
    {
        static MainWindowProbe* probe = nullptr;
        static pthread_t sensorThread = {};
        static std::atomic<int> held{0};
        static std::atomic<int> free{0};
        open();
        press(m_viewer->ui->toolButton_save);
        probe = &m_viewer->probe;
        sensorThread = probe->dataThread->native_handle();
        // The sensor thread reads the wall clock for its rows only.
        wallclock::onRead([] {
            if (pthread_equal(pthread_self(), sensorThread) == 0) {
                return;
            }
            if (probe->dataMutex.tryLock()) {
                probe->dataMutex.unlock();
                ++free;
            } else {
                ++held;
            }
        });
        QTRY_VERIFY(held + free > 50);
        wallclock::onRead(nullptr);
        QCOMPARE(free.load(), 0);
        press(m_viewer->ui->toolButton_save);
    }

    void withoutACameraTheButtonStaysCheckedAndNothingRecords()
    {
        m_viewer = std::make_unique<Viewer>();
        m_viewer->probe.recOptions.saveFolder = m_folder->path();
        press(m_viewer->ui->toolButton_save);
        QVERIFY(m_viewer->ui->toolButton_save->isChecked());
        QVERIFY(!m_viewer->probe.recording);
        QVERIFY(!m_viewer->probe.recFile.isOpen());
        QCOMPARE(m_viewer->ui->toolButton_save->text(), QStringLiteral("RECORD"));
        QVERIFY(QDir(m_folder->path()).entryList(QDir::Files).isEmpty());
    }

    void withoutACameraAnEmptyFolderIsNotLookedAt()
    {
        m_viewer = std::make_unique<Viewer>();
        m_viewer->probe.recOptions.saveFolder.clear();
        press(m_viewer->ui->toolButton_save);
        QVERIFY(m_viewer->ui->toolButton_save->isChecked());
    }

    void withARestingInputThreadTheButtonStaysCheckedAndNothingRecords()
    {
        open();
        m_viewer->probe.inputThread->stopGrabbing();
        QVERIFY(m_viewer->probe.inputThread->camera.isOpened());
        m_viewer->probe.freeSpaceLabel.clear();
        press(m_viewer->ui->toolButton_save);
        QVERIFY(m_viewer->ui->toolButton_save->isChecked());
        QVERIFY(!m_viewer->probe.recording);
        QVERIFY(!m_viewer->probe.recFile.isOpen());
        QVERIFY(m_viewer->probe.freeSpaceLabel.text().isEmpty());
        QVERIFY(QDir(m_folder->path()).entryList(QDir::Files).isEmpty());
    }

    void withARestingInputThreadNoRowsAreWritten()
    {
        open();
        press(m_viewer->ui->toolButton_save);
        QTRY_VERIFY(rows() > 5);
        m_viewer->probe.inputThread->stopGrabbing();
        int before = 0;
        int samples = 0;
        {
            const QMutexLocker lock(&m_viewer->probe.dataMutex); // between two rows
            before = rows();
            samples = m_viewer->probe.accX.size();
        }
        QTRY_VERIFY(m_viewer->samples() > samples + 100);
        QCOMPARE(rows(), before);
        m_viewer->probe.inputThread->startGrabbing();
        QTRY_VERIFY(rows() > before + 5);
        press(m_viewer->ui->toolButton_save);
    }

    void emptyFolderUnchecksSilently()
    {
        open();
        m_viewer->probe.recOptions.saveFolder.clear();
        press(m_viewer->ui->toolButton_save);
        QVERIFY(!m_viewer->ui->toolButton_save->isChecked());
        QVERIFY(!m_viewer->probe.recording);
    }

    void fileThatCannotBeOpenedShowsOneBox_data()
    {
        QTest::addColumn<QString>("target");
        QTest::newRow("missing folder") << "/nowhere/at/all";
        QTest::newRow("folder that takes no files") << "/proc";
        QTest::newRow("not a folder") << "/etc/passwd";
    }

    void fileThatCannotBeOpenedShowsOneBox()
    {
        QFETCH(QString, target);
        open();
        m_viewer->probe.recOptions.saveFolder = target;
        const Style style;
        bool isChecked = false; // while the box is open
        const BoxWatcher watcher([&](QMessageBox& box) {
            isChecked = m_viewer->ui->toolButton_save->isChecked();
            QCOMPARE(box.windowTitle(), QStringLiteral("File error"));
            QCOMPARE(box.text(), QStringLiteral("Error while opening file for writing"));
            QCOMPARE(box.icon(), QMessageBox::Warning);
            QCOMPARE(box.styleSheet(), style.splashStyle);
            QCOMPARE(fontText(ownFont(box)), fontText(style.fontPro9));
            QCOMPARE(box.buttons().size(), 1);
            QAbstractButton* ok = box.buttons().constFirst();
            QCOMPARE(ok->text(), QStringLiteral("Ok"));
            QCOMPARE(ok->styleSheet(), style.statusOnStyle);
            QCOMPARE(fontText(ownFont(*ok)), fontText(style.fontPro9));
            QCOMPARE(box.buttonRole(ok), QMessageBox::AcceptRole);
            clickOk(box);
        });
        press(m_viewer->ui->toolButton_save);
        QCOMPARE(watcher.count(), 1);
        QVERIFY(isChecked);
        QVERIFY(!m_viewer->ui->toolButton_save->isChecked());
        QVERIFY(m_viewer->ui->pushButton_rec_option->isEnabled());
        QVERIFY2(m_viewer->probe.recording, "it stays set until the next start or stop");
        QVERIFY(!m_viewer->probe.recFile.isOpen());

        // Samples continue, and the next start corrects it.
        const int before = m_viewer->samples();
        QTRY_VERIFY(m_viewer->samples() > before + 10);
        m_viewer->probe.recOptions.saveFolder = m_folder->path();
        press(m_viewer->ui->toolButton_save);
        QVERIFY(m_viewer->probe.recFile.isOpen());
        press(m_viewer->ui->toolButton_save);
        QVERIFY(!m_viewer->probe.recording);
    }

    // No process reads the FIFO: an open would block the window until one does.
    void fifoInTheFilesPlaceShowsTheBox()
    {
        open();
        const wallclock::Held held;
        const QString name =
            recorder::fileName(QDateTime::currentDateTime(), QStringLiteral("TIV_Q"), serialQ);
        QCOMPARE(::mkfifo(QFile::encodeName(m_folder->filePath(name)).constData(), 0600), 0);
        QString text;
        const BoxWatcher watcher([&](QMessageBox& box) {
            text = box.text();
            clickOk(box);
        });
        press(m_viewer->ui->toolButton_save);
        QCOMPARE(watcher.count(), 1);
        QCOMPARE(text, QStringLiteral("Error while opening file for writing"));
        QVERIFY(!m_viewer->ui->toolButton_save->isChecked());
        QVERIFY(!m_viewer->probe.recFile.isOpen());
    }

    void freeSpaceIsComputedBeforeTheFileIsOpened()
    {
        open();
        m_viewer->probe.recOptions.saveFolder = QStringLiteral("/nowhere");
        m_viewer->probe.freeSpaceLabel.clear();
        QString atTheBox;
        const BoxWatcher watcher([&](QMessageBox& box) {
            atTheBox = m_viewer->probe.freeSpaceLabel.text();
            clickOk(box);
        });
        press(m_viewer->ui->toolButton_save);
        QCOMPARE(watcher.count(), 1);
        QVERIFY2(atTheBox.endsWith(QStringLiteral(" Gb  on /nowhere")), qPrintable(atTheBox));
        m_viewer->window->on_toolButton_save_clicked(false);
    }

    void lossAfterAFailedStartClearsTheFlagAlone()
    {
        open();
        m_viewer->probe.recOptions.saveFolder = QStringLiteral("/nowhere");
        const BoxWatcher watcher(clickOk);
        press(m_viewer->ui->toolButton_save);
        QVERIFY(m_viewer->probe.recording);
        bench().unplug(serialQ);
        QTRY_VERIFY(!m_viewer->probe.recording);
        QCOMPARE(m_viewer->ui->toolButton_save->text(), QStringLiteral("RECORD"));
        QVERIFY(!m_viewer->ui->toolButton_save->isChecked());
        QVERIFY(m_viewer->ui->pushButton_rec_option->isEnabled());
    }

    void fileIsOpenedForWritingAsText()
    {
        open();
        press(m_viewer->ui->toolButton_save);
        QCOMPARE(m_viewer->probe.recFile.openMode(), QIODevice::WriteOnly | QIODevice::Text);
        press(m_viewer->ui->toolButton_save);
    }

    void startTakesItsStepsInOrder()
    {
        open();
        recordByHand();
        press(m_viewer->ui->toolButton_save);
        auto& probe = m_viewer->probe;
        probe.recOptions.sampleFreq = 50;

        // The first: the header, seen as the write that the disk refuses.
        static MainWindowProbe* seen = nullptr;
        static volatile double periodAtTheHeader = 0.0;
        seen = &probe;
        {
            const FullDisk disk(0, [](int) { periodAtTheHeader = seen->recPeriodSec; });
            press(m_viewer->ui->toolButton_save);
        }
        QCOMPARE(double(periodAtTheHeader), 0.0025);
        QCOMPARE(probe.recPeriodSec, 0.02);
        press(m_viewer->ui->toolButton_save);

        // The last: the button of the options, and the text.
        class Watcher : public QObject
        {
        public:
            explicit Watcher(Viewer& window) : viewer(window) {}
            bool eventFilter(QObject*, QEvent* event) override
            {
                if (event->type() == QEvent::EnabledChange) {
                    ++count;
                    period = viewer.probe.recPeriodSec;
                    recording = viewer.probe.recording;
                    size = viewer.probe.recFile.size();
                    text = viewer.ui->toolButton_save->text();
                }
                return false;
            }
            Viewer& viewer;
            int count = 0;
            double period = 0.0;
            bool recording = false;
            qint64 size = 0;
            QString text;
        };
        probe.recOptions.sampleFreq = 5;
        Watcher watcher(*m_viewer);
        m_viewer->ui->pushButton_rec_option->installEventFilter(&watcher);
        press(m_viewer->ui->toolButton_save);
        m_viewer->ui->pushButton_rec_option->removeEventFilter(&watcher);
        QCOMPARE(watcher.count, 1);
        QCOMPARE(watcher.period, 0.2);
        QVERIFY(watcher.recording);
        QCOMPARE(watcher.size, qint64(recorder::header(probe.recOptions).size() + 1));
        QCOMPARE(watcher.text, QStringLiteral("Record"));
        QCOMPARE(m_viewer->ui->toolButton_save->text(), QStringLiteral("Recording..."));
        press(m_viewer->ui->toolButton_save);
    }

    void startsAndStopsTearNoLine()
    {
        open();
        const QString header = recorder::header(m_viewer->probe.recOptions);
        int written = 0;
        for (int round = 0; round < 200; ++round) {
            press(m_viewer->ui->toolButton_save);
            const QString path = filePath();
            const int samples = m_viewer->samples();
            // Stops at all moments.
            QVERIFY(waiting::waitFor([&] { return m_viewer->samples() >= samples + round % 5; }));
            press(m_viewer->ui->toolButton_save);
            const QStringList lines = linesOf(path);
            QCOMPARE(lines.constFirst(), header);
            QVERIFY(lines.constLast().isEmpty());
            for (int i = 1; i + 1 < lines.size(); ++i) {
                QCOMPARE(lines.at(i).count(QLatin1Char(',')), 23);
                ++written;
            }
            // A row may still be on its way, and the next recording may have the same name.
            QVERIFY(QFile::remove(path));
        }
        QVERIFY(written > 50);
    }

    void rowThatIsBeingWrittenAtAStopGoesInWhole()
    {
        open();
        m_viewer->window->saveValues(0); // the first call in the process writes no row
        recordByHand();
        const wallclock::Held held;
        const auto writeRow = [this] {
            wallclock::advance(1s);
            m_viewer->window->saveValues(0);
        };
        writeRow();
        QCOMPARE(rows(), 1);
        const QString first = filePath();
        // As the sensor thread uses it during a row, and in its place: the lines have one user.
        std::unique_ptr<recorder::LineFile> lines = m_viewer->probe.recLines.take();
        QVERIFY(lines != nullptr);
        press(m_viewer->ui->toolButton_save);
        QVERIFY(!m_viewer->probe.recFile.isOpen());
        QFile::rename(first, first + QStringLiteral(".ended")); // or the next may take its name
        press(m_viewer->ui->toolButton_save);
        QVERIFY(m_viewer->probe.recFile.isOpen());
        lines->write("the row\n");
        m_viewer->probe.recLines.giveBack(std::move(lines));
        writeRow();
        writeRow();
        press(m_viewer->ui->toolButton_save);

        const QString header = recorder::header(m_viewer->probe.recOptions);
        const QStringList ended = linesOf(first + QStringLiteral(".ended"));
        QCOMPARE(ended.size() - 2, 2);
        QCOMPARE(ended.at(0), header);
        QCOMPARE(ended.at(2), QStringLiteral("the row"));
        const QStringList next = linesOf(filePath());
        QCOMPARE(next.size() - 2, 2);
        QCOMPARE(next.at(0), header);
        QVERIFY(!next.contains(QStringLiteral("the row")));
    }

    void stopAfterAFailedStartClearsTheFlag()
    {
        open();
        m_viewer->probe.recOptions.saveFolder = QStringLiteral("/nowhere");
        const BoxWatcher watcher(clickOk);
        press(m_viewer->ui->toolButton_save);
        QVERIFY(m_viewer->probe.recording);
        m_viewer->window->on_toolButton_save_clicked(false);
        QVERIFY(!m_viewer->probe.recording);
        QCOMPARE(m_viewer->ui->toolButton_save->text(), QStringLiteral("RECORD"));
    }

    void startAndStopChangeButtonsAndTexts()
    {
        open();
        auto* save = m_viewer->ui->toolButton_save;
        auto* option = m_viewer->ui->pushButton_rec_option;
        QCOMPARE(save->text(), QStringLiteral("RECORD"));
        QVERIFY(option->isEnabled());

        press(save);
        QVERIFY(save->isChecked());
        QVERIFY(m_viewer->probe.recording);
        QVERIFY(m_viewer->probe.recFile.isOpen());
        QCOMPARE(save->text(), QStringLiteral("Recording..."));
        QVERIFY(!option->isEnabled());
        QCOMPARE(m_viewer->probe.recPeriodSec, 0.0025);
        QCOMPARE(m_viewer->probe.recDir.absolutePath(), m_folder->path());

        press(save);
        QVERIFY(!save->isChecked());
        QVERIFY(!m_viewer->probe.recording);
        QVERIFY(!m_viewer->probe.recFile.isOpen());
        QCOMPARE(save->text(), QStringLiteral("Record"));
        QVERIFY(option->isEnabled());
    }

    void theTextOfARunningRecordingFitsItsButton()
    {
        open();
        QToolButton* const save = m_viewer->ui->toolButton_save;
        press(save);
        // In capitals, as the button's font draws them; the button may grow for it.
        const QString text = save->text().toUpper();
        QVERIFY(text.startsWith(QStringLiteral("RECORDING")));
        QTRY_VERIFY(QFontMetrics(save->font()).horizontalAdvance(text) <= save->width());
        // No letter is cut: the columns at both ends are entirely in the button's colour.
        const QImage picture = save->grab().toImage();
        const int middle = picture.height() / 2;
        for (const int column : {0, picture.width() - 1}) {
            for (int row = middle - 4; row <= middle + 4; ++row) {
                QCOMPARE(picture.pixelColor(column, row), picture.pixelColor(column, middle));
            }
        }
        press(save);
    }

    void fileIsNamedByTimeModelAndSerialInTheFolder_data()
    {
        QTest::addColumn<QString>("slash");
        QTest::newRow("without slash") << "";
        QTest::newRow("with slash") << "/";
    }

    void fileIsNamedByTimeModelAndSerialInTheFolder()
    {
        QFETCH(QString, slash);
        open();
        m_viewer->probe.recOptions.saveFolder = m_folder->path() + slash;
        const wallclock::Held held;
        press(m_viewer->ui->toolButton_save);
        press(m_viewer->ui->toolButton_save);
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files),
                 QStringList(recorder::fileName(QDateTime::currentDateTime(),
                                                QStringLiteral("TIV_Q"), serialQ)));
        QCOMPARE(m_viewer->probe.recOptions.saveFolder, m_folder->path() + slash);
    }

    void fileIsNamedByTheRecordThatTheInputThreadKeeps()
    {
        open();
        m_viewer->probe.inputThread->cameraInfo.cameraModel = om::MODEL::TIV_R;
        m_viewer->probe.inputThread->cameraInfo.serialNumber = serialR;
        press(m_viewer->ui->toolButton_save);
        QVERIFY2(filePath().endsWith(QStringLiteral("-TIV_R-sn_42000001-TIVSensorsData.csv")),
                 qPrintable(filePath()));
        press(m_viewer->ui->toolButton_save);
    }

    void rowsHoldTheSeriesAtTheirIndex()
    {
        open(om::MODEL::TIV_Q, serialQ, om::bench::MOTION::TUMBLE);
        press(m_viewer->ui->toolButton_save);
        QTRY_VERIFY(rows() > 100);
        press(m_viewer->ui->toolButton_save);

        const QStringList lines = linesOf(filePath());
        QCOMPARE(lines.constFirst(), recorder::header(m_viewer->probe.recOptions));
        QVERIFY2(lines.constLast().isEmpty(), "the file ends with a line feed");
        auto& probe = m_viewer->probe;
        const QMutexLocker lock(&probe.dataMutex);
        // The steps of the magnetometer make two of its values equal now and then.
        const bool exchangeIsSeen =
            std::any_of(lines.begin() + 1, lines.end() - 1, [](const QString& line) {
                return line.split(QLatin1Char(',')).mid(4, 17).removeDuplicates() == 0;
            });
        QVERIFY2(exchangeIsSeen, "an exchange of two columns would not be seen");
        int lastIndex = -1;
        for (int i = 1; i + 1 < lines.size(); ++i) {
            const QStringList fields = lines.at(i).split(QLatin1Char(','));
            QCOMPARE(fields.size(), 24); // 23 columns, and the text after the last comma
            const int index = fields.at(0).toInt();
            QVERIFY(index > lastIndex);
            lastIndex = index;
            const QVector<double>* const columns[] = {
                &probe.imuTime,     &probe.magTime,     &probe.baroTime, &probe.accX,
                &probe.accY,        &probe.accZ,        &probe.gyroX,    &probe.gyroY,
                &probe.gyroZ,       &probe.magX,        &probe.magY,     &probe.magZ,
                &probe.orX,         &probe.orY,         &probe.orZ,      &probe.pressure,
                &probe.relAltitude, &probe.movingState, &probe.tempLeft, &probe.tempRight};
            int column = 1;
            for (const QVector<double>* series : columns) {
                QCOMPARE(fields.at(column++), nine(series->at(index)));
            }
            QVERIFY(fields.at(column++).toDouble() > 10.0); // IMU
            QVERIFY(fields.at(column++).toDouble() > 10.0); // barometer
        }
    }

    void cameraWithoutBarometerRepeatsTheImuTemperature()
    {
        open(om::MODEL::TIV_R, serialR);
        auto& options = m_viewer->probe.recOptions;
        options.accelerometer = options.gyroscope = options.magnetometer = false;
        options.orientation = options.barometer = options.movement = false;
        press(m_viewer->ui->toolButton_save);
        QTRY_VERIFY(rows() > 5);
        press(m_viewer->ui->toolButton_save);
        const QStringList lines = linesOf(filePath());
        QCOMPARE(lines.constFirst(),
                 QStringLiteral("idx,imu_Timestamp[sec],baro_Timestamp[sec],temp_left[C],"
                                "temp_right[C],temp_imu[C],temp_barom[C],"));
        for (int i = 1; i + 1 < lines.size(); ++i) {
            const QStringList fields = lines.at(i).split(QLatin1Char(','));
            QCOMPARE(fields.at(2), QStringLiteral("0.000000000")); // no barometer, no time
            QVERIFY(fields.at(5).toDouble() > 10.0);
            QCOMPARE(fields.at(6), fields.at(5));
        }
    }

    void missingTemperatureOfTheImuIsZero_data()
    {
        QTest::addColumn<bool>("withBarometer");
        QTest::newRow("with the barometer's") << true;
        QTest::newRow("without any") << false;
    }

    void missingTemperatureOfTheImuIsZero()
    {
        QFETCH(bool, withBarometer);
        const int serial = withBarometer ? serialQ : serialR;
        open(withBarometer ? om::MODEL::TIV_Q : om::MODEL::TIV_R, serial);
        bench().changeFaults(static_cast<unsigned int>(serial),
                             [](om::bench::Faults& faults) { faults.imuTemperatureAbsent = true; });
        auto& options = m_viewer->probe.recOptions;
        options.accelerometer = options.gyroscope = options.magnetometer = false;
        options.orientation = options.barometer = options.movement = false;
        press(m_viewer->ui->toolButton_save);
        QTRY_VERIFY(rows() > 5);
        press(m_viewer->ui->toolButton_save);
        const QStringList fields = linesOf(filePath()).at(2).split(QLatin1Char(','));
        QCOMPARE(fields.at(5), QStringLiteral("0.000000000"));
        if (withBarometer) {
            QVERIFY(fields.at(6).toDouble() > 10.0);
        } else {
            QCOMPARE(fields.at(6), fields.at(5));
        }
    }

    void frequencyOfZeroWritesTheHeaderAlone()
    {
        open();
        m_viewer->probe.recOptions.sampleFreq = 0;
        {
            const QMutexLocker lock(&m_viewer->probe.dataMutex);
            m_viewer->probe.recPeriodSec = 1000.0; // no row of the former period in between
        }
        press(m_viewer->ui->toolButton_save);
        QVERIFY(std::isinf(m_viewer->probe.recPeriodSec));
        const int before = m_viewer->samples();
        QTRY_VERIFY(m_viewer->samples() > before + 100);
        press(m_viewer->ui->toolButton_save);
        QFile file(filePath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        QCOMPARE(text, recorder::header(m_viewer->probe.recOptions) + QLatin1Char('\n'));
    }

    void frequencyOfOneSpacesRowsByASecondOfTheWallClock()
    {
        open();
        m_viewer->probe.recOptions.sampleFreq = 1;
        const wallclock::Held held;
        std::uint64_t number = stopTheBench(serialQ);
        press(m_viewer->ui->toolButton_save);
        const auto giveSamples = [&](int count) {
            for (int i = 0; i < count && !QTest::currentTestFailed(); ++i) {
                giveSample(serialQ, ++number); // 4 ms of the wall clock
            }
        };
        giveSamples(1); // or the first call in the process, which writes none
        const int before = rows();
        giveSamples(249);
        QCOMPARE(rows(), before);
        giveSamples(1);
        QCOMPARE(rows(), before + 1);
        giveSamples(250);
        QCOMPARE(rows(), before + 2);
        press(m_viewer->ui->toolButton_save);
        const QStringList lines = linesOf(filePath());
        const auto index = [&](int row) {
            return lines.at(row).section(QLatin1Char(','), 0, 0).toInt();
        };
        QCOMPARE(index(before + 2) - index(before + 1), 250);
    }

    void oddFrequencyOfTheStoreSetsThePeriod()
    {
        open();
        m_viewer->probe.recOptions.sampleFreq = 30;
        press(m_viewer->ui->toolButton_save);
        QCOMPARE(m_viewer->probe.recPeriodSec, 1.0 / 30.0);
        press(m_viewer->ui->toolButton_save);
    }

    void secondRecordingOfTheSameSecondTakesTheFirstOnesPlace()
    {
        open();
        const wallclock::Held held;
        recordSampleBySample(serialQ, 2);
        const QString first = filePath();
        const qint64 size = QFile(first).size();
        press(m_viewer->ui->toolButton_save);
        QCOMPARE(filePath(), first);
        press(m_viewer->ui->toolButton_save);
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files).size(), 1);
        QVERIFY(QFile(first).size() < size);
        QCOMPARE(linesOf(first).filter(QStringLiteral("idx,")).size(), 1);
    }

    void laterRecordingWritesItsFirstRowAtItsFirstSample()
    {
        open();
        recordSampleBySample(serialQ, 1);
        m_viewer->probe.recOptions.sampleFreq = 1;
        std::uint64_t number = stopTheBench(serialQ);
        wallclock::advance(1s); // since the row that was written before
        const int atStart = m_viewer->samples();
        press(m_viewer->ui->toolButton_save);
        QCOMPARE(rows(), 0);
        giveSample(serialQ, ++number);
        QCOMPARE(rows(), 1);
        const int first = linesOf(filePath()).at(1).section(QLatin1Char(','), 0, 0).toInt();
        press(m_viewer->ui->toolButton_save);
        QCOMPARE(first, atStart);
    }

    void lossOfTheCameraEndsTheRecording()
    {
        open();
        press(m_viewer->ui->toolButton_save);
        QTRY_VERIFY(rows() > 20);
        const QString path = filePath();
        bench().unplug(serialQ);
        QTRY_VERIFY(!m_viewer->probe.recording);
        QVERIFY(!m_viewer->probe.recFile.isOpen());
        QVERIFY(!m_viewer->ui->toolButton_save->isChecked());
        QCOMPARE(m_viewer->ui->toolButton_save->text(), QStringLiteral("Record"));
        QVERIFY(m_viewer->ui->pushButton_rec_option->isEnabled());
        const QStringList lines = linesOf(path);
        QVERIFY(lines.size() > 21);
        QVERIFY(lines.constLast().isEmpty());
        QCOMPARE(lines.at(lines.size() - 2).count(QLatin1Char(',')), 23);
    }

    void changeOfRowGoesOnInTheSameFile()
    {
        bench().addCamera(camera(om::MODEL::TIV_Q, serialQ));
        bench().addCamera(camera(om::MODEL::TIV_P, serialP));
        m_viewer = std::make_unique<Viewer>();
        m_viewer->probe.recOptions.saveFolder = m_folder->path();
        QTRY_VERIFY(m_viewer->streams(serialQ));
        press(m_viewer->ui->toolButton_save);
        QTRY_VERIFY(rows() > 5);
        const QString path = filePath();

        m_viewer->ui->comboBox_camera_list->setCurrentIndex(1);
        QVERIFY(m_viewer->probe.recording);
        QVERIFY(m_viewer->probe.recFile.isOpen());
        QVERIFY(m_viewer->ui->toolButton_save->isChecked());
        QTRY_VERIFY(m_viewer->streams(serialP));
        const int after = rows();
        QTRY_VERIFY(rows() > after + 5);
        QCOMPARE(filePath(), path);
        press(m_viewer->ui->toolButton_save);

        int last = -1;
        const QStringList lines = linesOf(path);
        for (int i = 1; i + 1 < lines.size(); ++i) {
            const int index = lines.at(i).section(QLatin1Char(','), 0, 0).toInt();
            QVERIFY2(index > last, "the index runs on");
            last = index;
        }
    }

    void calibrationGoesOnInTheSameFileFromIndexZero()
    {
        open();
        press(m_viewer->ui->toolButton_save);
        QTRY_VERIFY(rows() > 50);
        const QString path = filePath();
        const ModalWatcher<MagCalibDlg> watcher([&](MagCalibDlg& dialog) {
            QVERIFY(m_viewer->probe.recording);
            QVERIFY(m_viewer->probe.recFile.isOpen());
            QVERIFY(m_viewer->ui->toolButton_save->isChecked());
            if (MagCalibDlgProbe{dialog}.running()) {
                press(dialog.findChild<QPushButton*>(QStringLiteral("pushButton_exit")));
            }
        });
        m_viewer->window->on_pushButton_calib_mag_clicked();
        QCOMPARE(watcher.count(), 1);
        QTRY_VERIFY(m_viewer->streams(serialQ));
        const int after = rows();
        QTRY_VERIFY(rows() > after + 50);
        press(m_viewer->ui->toolButton_save);
        QCOMPARE(filePath(), path);

        int restarts = 0;
        int last = -1;
        const QStringList lines = linesOf(path);
        for (int i = 1; i + 1 < lines.size(); ++i) {
            const int index = lines.at(i).section(QLatin1Char(','), 0, 0).toInt();
            if (index <= last) {
                ++restarts;
                QVERIFY(index < 20);
            }
            last = index;
        }
        QCOMPARE(restarts, 1);
    }

    void closedWindowLeavesWholeRows()
    {
        open();
        press(m_viewer->ui->toolButton_save);
        QTRY_VERIFY(rows() > 20);
        const QString path = filePath();
        m_viewer->window->close();
        QVERIFY2(m_viewer->probe.recFile.isOpen(), "closing stops no recording");
        QVERIFY(m_viewer->probe.recording);
        m_viewer.reset();
        const QStringList lines = linesOf(path);
        QVERIFY(lines.constLast().isEmpty());
        for (int i = 1; i + 1 < lines.size(); ++i) {
            QCOMPARE(lines.at(i).count(QLatin1Char(',')), 23);
        }
    }

    void failingWritesAreNotNoticedAndTheDisplayGoesOn()
    {
        constexpr int count = 40; // some 12 KB
        open();
        std::uint64_t number = stopTheBench(serialQ);
        press(m_viewer->ui->toolButton_save);
        for (int i = 0; i < count && !QTest::currentTestFailed(); ++i) {
            giveSample(serialQ, ++number);
        }
        const QString path = filePath();
        const qint64 size = QFile(path).size();
        {
            const FullDisk disk(size + 4096);
            for (int i = 0; i < count && !QTest::currentTestFailed(); ++i) {
                giveSample(serialQ, ++number);
            }
            QCOMPARE(QFile(path).size(), size + 4096);
            QVERIFY(m_viewer->probe.recording);
            QVERIFY(m_viewer->ui->toolButton_save->isChecked());
            // No sample is being stored: the file is complete as soon as the recording has stopped.
            press(m_viewer->ui->toolButton_save);
        }
        bench().clock().setReal();
        QVERIFY(!m_viewer->probe.recording);
        const QStringList lines = linesOf(path);
        QVERIFY2(QFile(path).size() >= size, "what was written before stays");
        QVERIFY2(lines.constLast().isEmpty(), "the row that did not fit is taken back");
        for (int i = 1; i + 1 < lines.size(); ++i) {
            QCOMPARE(lines.at(i).count(QLatin1Char(',')), 23);
        }
    }

    void rowsOfTheTimeOfAFullDiskFollowInOrder_data()
    {
        QTest::addColumn<int>("room"); // bytes of the disk
        QTest::addColumn<bool>("stopped");
        QTest::newRow("full from the start") << 0 << false;
        QTest::newRow("full amid the header") << 100 << false;
        QTest::newRow("full amid a row") << 2000 << false;
        QTest::newRow("space again just before the stop") << 2000 << true;
    }

    void rowsOfTheTimeOfAFullDiskFollowInOrder()
    {
        QFETCH(int, room);
        QFETCH(bool, stopped);
        constexpr int count = 200; // some 60 KB
        open();
        m_viewer->window->saveValues(0); // the first call in the process writes no row
        std::uint64_t number = stopTheBench(serialQ);
        const int first = m_viewer->samples();
        {
            const FullDisk disk(room);
            press(m_viewer->ui->toolButton_save);
            for (int i = 0; i < count && !QTest::currentTestFailed(); ++i) {
                giveSample(serialQ, ++number);
            }
            QCOMPARE(QFile(filePath()).size(), qint64(room));
        }
        if (!stopped) {
            giveSample(serialQ, ++number);
            QCOMPARE(rows(), count + 1);
        }
        press(m_viewer->ui->toolButton_save);
        bench().clock().setReal();

        QCOMPARE(linesOf(filePath()).constFirst(), recorder::header(m_viewer->probe.recOptions));
        const QList<QStringList> written = rowsOf(filePath());
        QCOMPARE(written.size(), stopped ? count : count + 1);
        for (int i = 0; i < written.size(); ++i) {
            QCOMPARE(written[i].size(), 24);
            QCOMPARE(written[i][0].toInt(), first + i);
        }
    }

    void freeSpaceIsComputedAndNeverShown()
    {
        open();
        QCOMPARE(m_viewer->probe.freeSpaceLabel.parent(), nullptr);
        m_viewer->probe.setFreeSpace(9.96, QStringLiteral("/d"));
        QCOMPARE(m_viewer->probe.freeSpaceLabel.text(),
                 QStringLiteral("Disk Free Space: 10.0 Gb  on /d"));
        QCOMPARE(m_viewer->probe.freeSpaceLabel.styleSheet(),
                 QStringLiteral("color : rgb(250,20,20);"));
        m_viewer->probe.freeSpaceLabel.clear();
        press(m_viewer->ui->toolButton_save);
        QVERIFY(
            m_viewer->probe.freeSpaceLabel.text().startsWith(QStringLiteral("Disk Free Space: ")));
        QVERIFY(m_viewer->probe.freeSpaceLabel.text().endsWith(QStringLiteral(" Gb  on ") +
                                                               m_folder->path()));
        QVERIFY(!m_viewer->probe.freeSpaceLabel.isVisible());
        press(m_viewer->ui->toolButton_save);
    }

    void freeSpaceIsThatOfTheFolderInGibibytes()
    {
        m_viewer = std::make_unique<Viewer>();
        m_viewer->probe.recOptions.saveFolder = m_folder->path();
        const double expected =
            static_cast<double>(QStorageInfo(m_folder->path()).bytesFree()) / (1 << 30);
        m_viewer->probe.printDiskFreeSpace();
        const double shown = m_viewer->probe.freeSpaceLabel.text()
                                 .section(' ', 3, 3, QString::SectionSkipEmpty)
                                 .toDouble();
        // Other processes use the disk at the same time; with 10^9 bytes the value would differ by
        // 7 %.
        QVERIFY2(qAbs(shown - expected) < 0.1 + 0.02 * expected,
                 qPrintable(m_viewer->probe.freeSpaceLabel.text()));
    }

    void changeOfTheStoreLeavesARunningRecordingAlone()
    {
        open();
        press(m_viewer->ui->toolButton_save);
        QSettings store(QStringLiteral("Ombrelux"), QStringLiteral("TIVSensorData"));
        store.setValue(QStringLiteral("magnetometer"), false);
        store.sync();
        const int before = rows();
        QTRY_VERIFY(rows() > before + 20);
        press(m_viewer->ui->toolButton_save);
        store.clear();
        const QStringList lines = linesOf(filePath());
        QCOMPARE(lines.at(lines.size() - 2).count(QLatin1Char(',')), 23);
    }

    void everySampleOfARecordingIsRecordedAgainToTheLastDigit()
    {
        constexpr int count = 800;
        open(om::MODEL::TIV_Q, serialQ, om::bench::MOTION::TUMBLE);
        recordSampleBySample(serialQ, count);
        const QString first = filePath();
        const QList<QStringList> played = rowsOf(first);
        QCOMPARE(played.size(), count);
        m_viewer.reset();

        bench().reset();
        om::bench::CameraConfig config = camera(om::MODEL::TIV_Q, serialP);
        config.replay = first.toStdString();
        bench().addCamera(config);
        m_viewer = std::make_unique<Viewer>();
        m_viewer->probe.recOptions.saveFolder = m_folder->path();
        QTRY_VERIFY(m_viewer->streams(serialP));
        recordSampleBySample(serialP, count);
        QVERIFY(filePath() != first);
        const QList<QStringList> again = rowsOf(filePath());
        QCOMPARE(again.size(), count);

        // It begins within the recording and passes its end once.
        const auto values = [](const QStringList& row) { return row.mid(ownFields); };
        int place = 0;
        while (place < count && values(played[place]) != values(again[0])) {
            ++place;
        }
        QVERIFY2(place < count, "the first row is none of those that are played");
        int magnetometer = 0;
        int barometer = 0;
        for (int i = 0; i < count; ++i) {
            const QStringList& row = played[(place + i) % count];
            QCOMPARE(values(again[i]), values(row));
            if (i == 0 || (place + i) % count == 0) {
                continue;
            }
            // Its times go on as the recorded ones; a number of their size rounds a little.
            const QStringList& former = played[(place + i) % count - 1];
            for (int field = 1; field < ownFields; ++field) {
                const double step = again[i][field].toDouble() - again[i - 1][field].toDouble();
                const double wanted = row[field].toDouble() - former[field].toDouble();
                if (field == 1) {
                    QVERIFY2(std::abs(step - wanted) < 2e-6, qPrintable(QString::number(i)));
                } else {
                    QCOMPARE(step > 0.0, wanted > 0.0); // new readings where they were new
                    (field == 2 ? magnetometer : barometer) += step > 0.0;
                }
            }
        }
        // 50 and 25 readings a second against 400 samples.
        QVERIFY(std::abs(magnetometer - count / 8) < 5);
        QVERIFY(std::abs(barometer - count / 16) < 5);
    }

    void acceptedOptionsReachTheWindow()
    {
        open();
        const ModalWatcher<RecOptionDlg> watcher([](RecOptionDlg& dialog) {
            QCOMPARE(dialog.parent(), nullptr);
            dialog.findChild<QCheckBox*>(QStringLiteral("checkBox_mag"))->setChecked(false);
            dialog.findChild<QComboBox*>(QStringLiteral("comboBox_sample_freq"))
                ->setCurrentIndex(4);
            press(dialog.findChild<QToolButton*>(QStringLiteral("toolButton_accept")));
        });
        m_viewer->probe.freeSpaceLabel.clear();
        press(m_viewer->ui->pushButton_rec_option);
        QCOMPARE(watcher.count(), 1);
        QVERIFY(!m_viewer->probe.recOptions.magnetometer);
        QVERIFY(m_viewer->probe.recOptions.gyroscope);
        QCOMPARE(m_viewer->probe.recOptions.sampleFreq, 25);
        QVERIFY(!m_viewer->probe.freeSpaceLabel.text().isEmpty());
        QCOMPARE(RecOptions().sampleFreq, 25);
    }

    void acceptedOptionsCountForTheNextPress()
    {
        open();
        m_viewer->probe.joinSensorThread();
        RecOptions stored;
        stored.saveFolder = m_folder->path();
        stored.saveRecSettings();
        const ModalWatcher<RecOptionDlg> watcher([this](RecOptionDlg& dialog) {
            dialog.findChild<QCheckBox*>(QStringLiteral("checkBox_mag"))->setChecked(false);
            press(dialog.findChild<QToolButton*>(QStringLiteral("toolButton_accept")));
            press(m_viewer->ui->toolButton_save); // before exec() returns
        });
        press(m_viewer->ui->pushButton_rec_option);
        QVERIFY(m_viewer->probe.recording);
        const wallclock::Held held;
        for (int i = 0; i < 2; ++i) {
            wallclock::advance(1s);
            m_viewer->window->saveValues(0);
        }
        press(m_viewer->ui->toolButton_save);
        const QStringList lines = linesOf(filePath());
        QVERIFY2(!lines.first().contains("mag"), qPrintable(lines.first()));
        QVERIFY(rows() > 0);
        for (int i = 1; i <= rows(); ++i) {
            QCOMPARE(lines[i].count(','), lines.first().count(','));
        }
    }

    void folderThatIsChosenInARejectedDialogChangesNothing()
    {
        open();
        const QTemporaryDir chosen;
        const QString before = m_viewer->probe.recOptions.saveFolder;
        RecOptions().saveRecSettings();
        const QString stored = RecOptions().saveFolder;
        const ModalWatcher<QFileDialog> chooser([&](QFileDialog& dialog) {
            dialog.findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(chosen.path());
            QMetaObject::invokeMethod(&dialog, "accept");
        });
        const ModalWatcher<RecOptionDlg> watcher([&](RecOptionDlg& dialog) {
            if (dialog.options.saveFolder != chosen.path()) {
                press(dialog.findChild<QPushButton*>(QStringLiteral("pushButton_rec_folder")));
                return;
            }
            press(dialog.findChild<QToolButton*>(QStringLiteral("toolButton_reject")));
        });
        m_viewer->probe.freeSpaceLabel.clear();
        press(m_viewer->ui->pushButton_rec_option);
        QCOMPARE(chooser.count(), 1);
        QCOMPARE(m_viewer->probe.recOptions.saveFolder, before);
        QCOMPARE(RecOptions().saveFolder, stored);
        QVERIFY(m_viewer->probe.freeSpaceLabel.text().isEmpty());
    }

    void rejectedOptionsChangeNothing()
    {
        open();
        const ModalWatcher<RecOptionDlg> watcher([](RecOptionDlg& dialog) {
            dialog.findChild<QCheckBox*>(QStringLiteral("checkBox_accel"))->setChecked(false);
            press(dialog.findChild<QToolButton*>(QStringLiteral("toolButton_reject")));
        });
        m_viewer->probe.freeSpaceLabel.clear();
        press(m_viewer->ui->pushButton_rec_option);
        QCOMPARE(watcher.count(), 1);
        QVERIFY(m_viewer->probe.recOptions.accelerometer);
        QVERIFY(m_viewer->probe.freeSpaceLabel.text().isEmpty());
    }
};

QTEST_MAIN(TestRecording)
#include "tst_mainwindow_recording.moc"
