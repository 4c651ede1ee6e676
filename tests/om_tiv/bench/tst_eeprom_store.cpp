#include "support/sidethread.h"
#include "support/waiting.h"

#include "base/bytes.h"
#include "bench/eeprom_store.h"

#include <QtTest>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <sys/file.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <thread>
#include <vector>

using om::bench::EepromStore;
using om::bench::MagCalibration;

namespace {

constexpr unsigned int serial = 31415926;
const MagCalibration sample{{0.02F, 0.03F, 0.04F}, {-2.5F, -1.5F, 3.5F}};

bool sameBits(const MagCalibration& a, const MagCalibration& b)
{
    // Also compares the sign of a zero, which == ignores.
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
    return std::memcmp(&a, &b, sizeof a) == 0;
}

/// Sets an environment variable for a scope.
class Environment
{
public:
    Environment(const char* name, const QByteArray& value) : m_name(name), m_old(qgetenv(name))
    {
        if (value.isNull()) {
            qunsetenv(name);
        } else {
            qputenv(name, value);
        }
    }
    ~Environment()
    {
        if (m_old.isNull()) {
            qunsetenv(m_name);
        } else {
            qputenv(m_name, m_old);
        }
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    const char* m_name;
    QByteArray m_old;
};

} // namespace

class EepromTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;
    QStringList m_reports;

    QString folder() const { return m_folder.path() + "/images"; }
    EepromStore makeStore()
    {
        return EepromStore(folder().toStdString(), [this](const std::string& line) {
            m_reports << QString::fromStdString(line);
        });
    }
    QByteArray image(unsigned int number = serial) const
    {
        QFile file(QString("%1/%2.eeprom").arg(folder()).arg(number));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void setImage(const QByteArray& bytes)
    {
        QDir().mkpath(folder());
        QFile file(QString("%1/%2.eeprom").arg(folder()).arg(serial));
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        QCOMPARE(file.write(bytes), bytes.size());
    }
    QStringList filesInTheFolder() const
    {
        return QDir(folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }
    static QByteArray withChecksum(QByteArray bytes)
    {
        const std::uint32_t crc =
            om::bench::crc32(reinterpret_cast<const std::uint8_t*>(bytes.constData()), 40);
        for (int i = 0; i < 4; ++i) {
            bytes[40 + i] = static_cast<char>((crc >> (8 * i)) & 0xFFU);
        }
        return bytes;
    }

private slots:
    void init()
    {
        QVERIFY(QDir(folder()).removeRecursively());
        m_reports.clear();
    }

    void checksumIsThatOfIeee8023()
    {
        // The check value of this checksum in catalogues.
        const std::string text = "123456789";
        QCOMPARE(om::bench::crc32(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()),
                 0xCBF43926U);
    }

    void cameraWithoutAnImageIsNeutralWithoutAReport()
    {
        EepromStore store = makeStore();
        QVERIFY(store.read(serial).isNeutral());
        QCOMPARE(m_reports, QStringList());
        QVERIFY2(!QDir(folder()).exists(), "reading made the folder");
    }

    void calibrationPersistsFromOneStoreToTheNext()
    {
        QVERIFY(makeStore().write(serial, sample));
        QVERIFY(sameBits(makeStore().read(serial), sample));
        QCOMPARE(m_reports, QStringList());
    }

    void camerasHaveImagesOfTheirOwn()
    {
        EepromStore store = makeStore();
        QVERIFY(store.write(serial, sample));
        QVERIFY(store.write(27182818, MagCalibration{{0.1F, 0.1F, 0.1F}, {1.0F, 2.0F, 3.0F}}));
        QVERIFY(sameBits(makeStore().read(serial), sample));
        QCOMPARE(makeStore().read(27182818).offset[1], 2.0F);
        QVERIFY(makeStore().read(14142135).isNeutral());
    }

    void everyBitOfAValuePersists_data()
    {
        QTest::addColumn<float>("value");
        QTest::newRow("negative zero") << -0.0F;
        QTest::newRow("not a number") << std::numeric_limits<float>::quiet_NaN();
        QTest::newRow("infinity") << -std::numeric_limits<float>::infinity();
        QTest::newRow("denormal") << std::numeric_limits<float>::denorm_min();
    }
    void everyBitOfAValuePersists()
    {
        QFETCH(float, value);
        const MagCalibration odd{{value, 1.0F, value}, {value, 0.0F, value}};
        QVERIFY(makeStore().write(serial, odd));
        QVERIFY(sameBits(makeStore().read(serial), odd));
    }

    void imageHasTheDocumentedBytes()
    {
        QVERIFY(makeStore().write(serial, sample));
        const QByteArray expected = QByteArray::fromHex("47564545" // GVEE
                                                        "01000000"
                                                        "1c000000"
                                                        "765edf01" // 31415926
                                                        "0ad7a33c" // 0.02
                                                        "8fc2f53c" // 0.03
                                                        "0ad7233d" // 0.04
                                                        "000020c0" // -2.5
                                                        "0000c0bf" // -1.5
                                                        "00006040" // 3.5
        );
        QCOMPARE(image().size(), 44);
        QCOMPARE(image().left(40).toHex(), expected.toHex());
        QCOMPARE(withChecksum(image()), image());
    }

    void damagedImageIsReportedOnceAndCountsAsNeutral_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("where");
        QVERIFY(makeStore().write(serial, sample));
        const QByteArray good = image();
        const auto changed = [&good](int at, char value) {
            QByteArray bytes = good;
            bytes[at] = value;
            return bytes;
        };
        QTest::newRow("empty") << QByteArray() << "byte 0: the file ends within its header";
        QTest::newRow("cut header") << good.left(7) << "byte 7: the file ends within its header";
        QTest::newRow("cut content")
            << good.left(30) << "byte 30: the file has 30 bytes, expected 44";
        QTest::newRow("too long") << good + "x"
                                  << "byte 44: the file has 45 bytes, expected 44";
        QTest::newRow("far too long") << good + QByteArray(100000, 'x') << "byte 44: the file has ";
        QTest::newRow("other kind of file") << changed(0, 'X') << "byte 0: not an EEPROM image";
        QTest::newRow("other version")
            << withChecksum(changed(4, 2)) << "byte 4: format version 2, expected 1";
        QTest::newRow("other length")
            << withChecksum(changed(8, 29)) << "byte 8: content length 29, expected 28";
        QTest::newRow("flipped bit")
            << changed(20, static_cast<char>(good[20] ^ 0x10)) << "byte 40: checksum 0x";
        QTest::newRow("flipped checksum")
            << changed(41, static_cast<char>(good[41] ^ 1)) << "byte 40: checksum 0x";
        QTest::newRow("other camera")
            << withChecksum(changed(12, 0x77)) << "byte 12: the image of serial number 31415927";
    }
    void damagedImageIsReportedOnceAndCountsAsNeutral()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, where);
        setImage(bytes);
        EepromStore store = makeStore();
        QVERIFY(store.read(serial).isNeutral());
        QVERIFY(store.read(serial).isNeutral());
        QVERIFY(store.reload(serial).isNeutral());
        QCOMPARE(m_reports.size(), 1);
        const QString start = QString("%1/%2.eeprom: %3").arg(folder()).arg(serial).arg(where);
        QVERIFY2(m_reports[0].startsWith(start), qPrintable(m_reports[0]));
        QVERIFY(m_reports[0].endsWith(
            "; the camera counts as not calibrated until a calibration is stored"));
        QVERIFY(!m_reports[0].contains('\n'));
        QCOMPARE(image(), bytes);

        QVERIFY(store.write(serial, sample));
        QVERIFY(sameBits(makeStore().read(serial), sample));
    }

    void imageThatCannotBeReadIsReported()
    {
        // A folder in its place, because root may read everything else.
        QVERIFY(QDir().mkpath(QString("%1/%2.eeprom").arg(folder()).arg(serial)));
        QVERIFY(makeStore().read(serial).isNeutral());
        QCOMPARE(m_reports.size(), 1);
        QVERIFY2(m_reports[0].contains("Is a directory"), qPrintable(m_reports[0]));
    }

    // No process writes to the FIFO: a wait for it would never end.
    void fifoInPlaceOfAnImageIsReportedAndReplacedByAWrite()
    {
        EepromStore store = makeStore();
        QVERIFY(QDir().mkpath(folder()));
        QCOMPARE(::mkfifo(store.path(serial).c_str(), 0600), 0);
        QVERIFY(store.read(serial).isNeutral());
        QCOMPARE(m_reports.size(), 1);
        QVERIFY2(m_reports[0].contains(".eeprom: not a regular file; "), qPrintable(m_reports[0]));
        QVERIFY(store.write(serial, sample));
        QVERIFY(sameBits(makeStore().read(serial), sample));
    }

    void writeOfAnotherProcessIsSeenByReloadOnly()
    {
        EepromStore store = makeStore();
        QVERIFY(store.read(serial).isNeutral());
        QVERIFY(makeStore().write(serial, sample));
        QVERIFY(store.read(serial).isNeutral());
        QVERIFY(sameBits(store.reload(serial), sample));
        QVERIFY(sameBits(store.read(serial), sample));
    }

    void unwritableFolderIsReportedOnceAndLeavesTheFormerCalibration_data()
    {
        QTest::addColumn<QString>("place");
        QTest::addColumn<QString>("reason");
        // Permissions do not stop root, but a file in the place of a folder does.
        QTest::newRow("a file in the way") << m_folder.path() + "/blocked"
                                           << "/blocked: ";
        QTest::newRow("a file further up") << m_folder.path() + "/blocked/a/b"
                                           << "/blocked: ";
        QTest::newRow("read-only file system") << "/proc/gravimon"
                                               << "/proc/gravimon: ";
        QTest::newRow("no home") << ""
                                 << "no folder for the EEPROM images (set OM_TIV_STATE_DIR)";
    }
    void unwritableFolderIsReportedOnceAndLeavesTheFormerCalibration()
    {
        QFETCH(QString, place);
        QFETCH(QString, reason);
        QFile blocked(m_folder.path() + "/blocked");
        QVERIFY(blocked.open(QIODevice::WriteOnly));
        QStringList reports;
        EepromStore store(place.toStdString(), [&reports](const std::string& line) {
            reports << QString::fromStdString(line);
        });
        store.read(serial);
        reports.clear(); // reports of reading such a place
        QVERIFY(!store.write(serial, sample));
        QVERIFY(store.read(serial).isNeutral());
        QVERIFY(!store.write(27182818, sample));
        QCOMPARE(reports.size(), 1);
        QVERIFY2(reports[0].contains(reason), qPrintable(reports[0]));
        QVERIFY2(reports[0].endsWith("; the calibration was not stored: make the folder writable "
                                     "or set OM_TIV_STATE_DIR, and store it again"),
                 qPrintable(reports[0]));
        QCOMPARE(QString::fromStdString(store.complaint(serial)), reports[0]);
    }

    void complaintOfAFailedWriteStaysUntilAWriteSucceeds()
    {
        QFile blocked(folder());
        QVERIFY(blocked.open(QIODevice::WriteOnly));
        EepromStore store = makeStore();
        QCOMPARE(store.complaint(serial), std::string());
        QVERIFY(!store.write(serial, sample));
        QVERIFY(store.complaint(27182818).empty());
        QVERIFY(blocked.remove());
        store.reload(serial); // a new connection to the camera
        QVERIFY(!store.complaint(serial).empty());
        QVERIFY(store.write(serial, sample));
        QCOMPARE(store.complaint(serial), std::string());
    }

    void complaintOfADamagedImageStaysUntilAGoodOneIsThere()
    {
        EepromStore store = makeStore();
        QVERIFY(store.write(serial, sample));
        const QString path = QString::fromStdString(store.path(serial));
        QFile image(path);
        QVERIFY(image.open(QIODevice::WriteOnly));
        image.write("damaged");
        image.close();
        store.reload(serial);
        QCOMPARE(m_reports.size(), 1);
        QCOMPARE(QString::fromStdString(store.complaint(serial)), m_reports[0]);
        store.reload(serial);
        QCOMPARE(m_reports.size(), 1);
        QVERIFY(image.remove());
        store.reload(serial);
        QCOMPARE(store.complaint(serial), std::string());
    }

    void writeReachesTheDiskOnceTheFolderCanBeMade()
    {
        QFile blocked(folder());
        QVERIFY(blocked.open(QIODevice::WriteOnly));
        EepromStore store = makeStore();
        QVERIFY(!store.write(serial, sample));
        QVERIFY(blocked.remove());
        QVERIFY(store.write(serial, sample));
        QVERIFY(sameBits(makeStore().read(serial), sample));
    }

    void writeThatFailsAfterAGoodOneIsReportedAndLeavesTheGoodOne()
    {
        EepromStore store = makeStore();
        QFile blocked(folder());
        QVERIFY(blocked.open(QIODevice::WriteOnly));
        QVERIFY(!store.write(serial, sample));
        QCOMPARE(m_reports.size(), 1);
        QVERIFY(blocked.remove());
        QVERIFY(store.write(serial, sample));
        // A folder of that name cannot be replaced.
        QVERIFY(QFile::remove(QString::fromStdString(store.path(serial))));
        QVERIFY(QDir().mkpath(QString::fromStdString(store.path(serial)) + "/inside"));
        QVERIFY(!store.write(serial, MagCalibration()));
        QCOMPARE(m_reports.size(), 2);
        QVERIFY(sameBits(store.read(serial), sample));
    }

    void failedWriteLeavesNoFileBehind()
    {
        // The image's name is used by a folder, so that the last step fails.
        QVERIFY(QDir().mkpath(QString("%1/%2.eeprom/inside").arg(folder()).arg(serial)));
        QVERIFY(!makeStore().write(serial, sample));
        QCOMPARE(filesInTheFolder(), QStringList(QString("%1.eeprom").arg(serial)));
    }

    void folderAndImageBelongToTheUserAlone()
    {
        QVERIFY(makeStore().write(serial, sample));
        struct stat status = {};
        QCOMPARE(::stat(folder().toLocal8Bit().constData(), &status), 0);
        QCOMPARE(status.st_mode & 0777U, 0700U);
        const std::string path = makeStore().path(serial);
        QCOMPARE(::stat(path.c_str(), &status), 0);
        QCOMPARE(status.st_mode & 0777U, 0600U);
    }

    // The writer is killed at different moments of the write; afterwards the file is one of the two
    // images that it writes alternately, complete.
    void crashLeavesTheOldImageOrTheNewOne()
    {
        MagCalibration other = sample;
        other.offset = {7.0F, 8.0F, 9.0F};
        QVERIFY(makeStore().write(serial, sample));
        int seen[2] = {0, 0};
        void* const shared = ::mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        QVERIFY(shared != MAP_FAILED);
        auto* const written = new (shared) std::atomic<int>;
        for (int round = 0; round < 60; ++round) {
            *written = 0;
            const pid_t writer = fork();
            QVERIFY(writer >= 0);
            if (writer == 0) {
                ::prctl(PR_SET_PDEATHSIG, SIGKILL); // it has no end of its own
                EepromStore store(folder().toStdString());
                for (;;) {
                    store.write(serial, other);
                    ++*written;
                    store.write(serial, sample);
                    ++*written;
                }
            }
            // During the steps after the first writes.
            const bool writes = waiting::waitFor([&] { return written->load() > round % 4; });
            ::kill(writer, SIGKILL);
            int status = 0;
            QCOMPARE(::waitpid(writer, &status, 0), writer);
            QVERIFY(writes);
            QVERIFY(WIFSIGNALED(status));

            const MagCalibration found = makeStore().read(serial);
            QVERIFY2(m_reports.isEmpty(), qPrintable(m_reports.join('\n')));
            QVERIFY(sameBits(found, sample) || sameBits(found, other));
            ++seen[sameBits(found, sample) ? 0 : 1];
        }
        QVERIFY2(seen[0] > 0 && seen[1] > 0, "the writer was never caught between its writes");
        QCOMPARE(filesInTheFolder(), QStringList("31415926.eeprom"));
    }

    void leftoversOfKilledWritersAreRemoved_data()
    {
        QTest::addColumn<QString>("first");
        QTest::newRow("read") << "read";
        QTest::newRow("reload") << "reload";
        QTest::newRow("write") << "write";
    }

    void leftoversOfKilledWritersAreRemoved()
    {
        QFETCH(QString, first);
        const QStringList others = {"27182818.eeprom",         "31415926.eeprom.bak",
                                    "31415926.eeprom.Ab3xYz9", "31415926.eeprom.Ab3xY~",
                                    "notes.eeprom.Ab3xYz",     ".eeprom.Ab3xYz"};
        QVERIFY(QDir().mkpath(folder()));
        for (const QString& name :
             others + QStringList{"31415926.eeprom.Ab3xYz", "7.eeprom.000000"}) {
            QVERIFY(QFile(folder() + '/' + name).open(QIODevice::WriteOnly));
        }
        EepromStore store = makeStore();
        if (first == "read") {
            store.read(serial);
        } else if (first == "reload") {
            store.reload(serial);
        } else {
            QVERIFY(store.write(serial, sample));
            QVERIFY(QFile::remove(QString::fromStdString(store.path(serial))));
        }
        QStringList left = filesInTheFolder();
        left.sort();
        QStringList expected = others;
        expected.sort();
        QCOMPARE(left, expected);
    }

    void fileOfALivingWriterStays()
    {
        QVERIFY(QDir().mkpath(folder()));
        QFile file(folder() + "/31415926.eeprom.Ab3xYz");
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(::flock(file.handle(), LOCK_EX), 0);
        makeStore().read(serial);
        QVERIFY(file.exists());
        file.close();
        makeStore().read(serial);
        QVERIFY(!file.exists());
    }

    // Each store removes leftovers at its first use, and must not remove the file that is being
    // written.
    void tidyingUpTakesNothingFromAWriter()
    {
        EepromStore store = makeStore();
        SideThread tidier([&](const std::atomic<bool>& done) {
            while (!done) {
                EepromStore(folder().toStdString(), [](const std::string&) {}).read(serial);
            }
        });
        int failures = 0;
        for (int round = 0; round < 300; ++round) {
            failures += store.write(serial, sample) ? 0 : 1;
        }
        tidier.join();
        QCOMPARE(failures, 0);
        makeStore().read(serial);
        QCOMPARE(filesInTheFolder(), QStringList("31415926.eeprom"));
    }

    void storeWorksWithSeveralThreads()
    {
        EepromStore store = makeStore();
        std::vector<std::thread> threads;
        threads.reserve(3);
        for (unsigned int writer = 0; writer < 3; ++writer) {
            threads.emplace_back([&store, writer] {
                for (int i = 0; i < 20; ++i) {
                    MagCalibration calibration = sample;
                    calibration.offset[0] = static_cast<float>(i);
                    store.write(serial + writer % 2, calibration);
                    store.read(serial);
                    store.reload(serial + 1);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        QCOMPARE(makeStore().read(serial).scale, sample.scale);
        QCOMPARE(m_reports, QStringList());
    }

    void folderFollowsTheEnvironment()
    {
        const Environment home("HOME", "/home/somebody");
        const Environment state("XDG_STATE_HOME", "/var/state");
        {
            const Environment own("OM_TIV_STATE_DIR", "/somewhere/else");
            QCOMPARE(om::bench::eepromFolder(), std::string("/somewhere/else"));
        }
        const Environment none("OM_TIV_STATE_DIR", QByteArray());
        QCOMPARE(om::bench::eepromFolder(), std::string("/var/state/gravimon/eeprom"));
        for (const QByteArray& useless : {QByteArray(), QByteArray(""), QByteArray("relative")}) {
            const Environment xdg("XDG_STATE_HOME", useless);
            QCOMPARE(om::bench::eepromFolder(),
                     std::string("/home/somebody/.local/state/gravimon/eeprom"));
        }
    }

    void neutralCalibrationMayHaveANegativeZero()
    {
        MagCalibration calibration;
        QVERIFY(calibration.isNeutral());
        calibration.offset[1] = -0.0F; // as the program stores it
        QVERIFY(calibration.isNeutral());
    }

    void eachValueOfARecordCountsForNeutralAndUsable_data()
    {
        QTest::addColumn<int>("index");
        for (int index = 0; index < 6; ++index) {
            QTest::addRow("%s of axis %d", index < 3 ? "scale" : "offset", index % 3 + 1) << index;
        }
    }
    void eachValueOfARecordCountsForNeutralAndUsable()
    {
        QFETCH(int, index);
        MagCalibration calibration;
        const auto set = [&calibration, index](float value) {
            (index < 3 ? calibration.scale
                       : calibration.offset)[static_cast<std::size_t>(index % 3)] = value;
        };
        QVERIFY(calibration.isUsable());
        set(0.5F);
        QVERIFY(!calibration.isNeutral());
        QVERIFY(calibration.isUsable());
        set(std::numeric_limits<float>::quiet_NaN());
        QVERIFY(!calibration.isNeutral());
        QVERIFY(!calibration.isUsable());
        set(std::numeric_limits<float>::infinity());
        QVERIFY(!calibration.isUsable());
        set(-0.5F);
        QCOMPARE(calibration.isUsable(), index >= 3);
        set(0.0F);
        QCOMPARE(calibration.isUsable(), index >= 3);
    }
};

QTEST_GUILESS_MAIN(EepromTest)
#include "tst_eeprom_store.moc"
