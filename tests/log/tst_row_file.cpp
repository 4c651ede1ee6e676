// The file of a recording: always a new one, whole lines only.

#include "log/row_file.h"
#include "support/fulldisk.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

using samplelog::RowFile;

namespace {

int syncError = 0; // errno of fsync(), 0 for success

RecOptions gyroscopeOnly()
{
    RecOptions columns;
    for (bool RecOptions::*const field :
         {&RecOptions::accelerometer, &RecOptions::magnetometer, &RecOptions::orientation,
          &RecOptions::barometer, &RecOptions::temperatures, &RecOptions::movement}) {
        columns.*field = false;
    }
    columns.gyroscope = true;
    return columns;
}

const QByteArray header = "idx,imu_Timestamp[sec],gyroX[deg/s],gyroY[deg/s],gyroZ[deg/s],\n";

recorder::Row row(int index)
{
    recorder::Row made;
    made.index = index;
    made.imuTime = 1000.5;
    made.angularVelocity = {1.0, -2.0, 0.25};
    return made;
}

QByteArray line(int index)
{
    return QByteArray::number(index) + ",1000.500000000,1.000000000,-2.000000000,0.250000000,\n";
}

QByteArray contents(const std::string& path)
{
    QFile file(QString::fromStdString(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be read");
}

} // namespace

// Replaces the system's function, which fails only on a broken disk.
extern "C" int fsync(int /*descriptor*/)
{
    errno = syncError;
    return syncError == 0 ? 0 : -1;
}

class TestRowFile : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_path = m_folder->filePath("a.csv").toStdString();
        m_error.clear();
    }

    void headerAndRowsAreThoseOfARecording()
    {
        RowFile file(gyroscopeOnly());
        QVERIFY(file.create(m_path, m_error));
        QCOMPARE(contents(m_path), header);
        file.add(row(0));
        file.add(row(1));
        QCOMPARE(contents(m_path), header);
        QVERIFY(file.flush(m_error));
        QCOMPARE(contents(m_path), header + line(0) + line(1));
        file.add(row(2));
        QVERIFY(file.finish(m_error));
        QCOMPARE(contents(m_path), header + line(0) + line(1) + line(2));
        QCOMPARE(file.rows(), std::uint64_t(3));
        QCOMPARE(m_error, std::string());
    }

    void whatIsThereIsLeftAlone_data()
    {
        QTest::addColumn<QByteArray>("kind");
        QTest::addColumn<QByteArray>("reason");
        QTest::newRow("file") << QByteArray("file")
                              << QByteArray(": exists already: choose another name or remove it");
        QTest::newRow("folder") << QByteArray("folder")
                                << QByteArray(": is a folder: give the name of a file in it");
        QTest::newRow("FIFO") << QByteArray("fifo")
                              << QByteArray(": is not a regular file: choose another name");
        QTest::newRow("link to nothing")
            << QByteArray("link")
            << QByteArray(": exists already: choose another name or remove it");
    }

    void whatIsThereIsLeftAlone()
    {
        QFETCH(QByteArray, kind);
        QFETCH(QByteArray, reason);
        if (kind == "file") {
            QFile file(QString::fromStdString(m_path));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("precious");
        } else if (kind == "folder") {
            QCOMPARE(::mkdir(m_path.c_str(), 0777), 0);
        } else if (kind == "fifo") {
            QCOMPARE(::mkfifo(m_path.c_str(), 0666), 0);
        } else {
            QCOMPARE(::symlink("nowhere", m_path.c_str()), 0);
        }
        RowFile file(gyroscopeOnly());
        QVERIFY(!file.create(m_path, m_error));
        QCOMPARE(QByteArray::fromStdString(m_error), QByteArray::fromStdString(m_path) + reason);
        if (kind == "file") {
            QCOMPARE(contents(m_path), QByteArray("precious"));
        }
        struct stat there = {};
        QCOMPARE(::lstat(m_path.c_str(), &there), 0);
    }

    void aFolderThatIsMissingIsReported()
    {
        RowFile file(gyroscopeOnly());
        const std::string path = m_folder->filePath("none/a.csv").toStdString();
        QVERIFY(!file.create(path, m_error));
        QCOMPARE(m_error, path + ": cannot be written: No such file or directory");
    }

    void onAFullDiskTheFileEndsWithItsLastWholeLine()
    {
        RowFile file(gyroscopeOnly());
        QVERIFY(file.create(m_path, m_error));
        // In the middle of the second row.
        const FullDisk disk(header.size() + line(0).size() + 20);
        file.add(row(0));
        file.add(row(1));
        file.add(row(2));
        QVERIFY(!file.flush(m_error));
        QCOMPARE(m_error, m_path + ": cannot be written: File too large");
        QCOMPARE(contents(m_path), header + line(0));
        QCOMPARE(file.rows(), std::uint64_t(1));
        QCOMPARE(file.remains(), "the rows until then are in the file");
    }

    void anErrorOfTheDiskAtTheEndMakesTheRowsDoubtful()
    {
        RowFile file(gyroscopeOnly());
        QVERIFY(file.create(m_path, m_error));
        file.add(row(0));
        QVERIFY(file.flush(m_error));
        QCOMPARE(file.remains(), "the rows until then are in the file");
        syncError = ENOSPC;
        const bool finished = file.finish(m_error);
        syncError = 0;
        QVERIFY(!finished);
        QCOMPARE(m_error, m_path + ": cannot be written: No space left on device");
        QCOMPARE(file.remains(), "rows at the end of the file may be missing");
    }

    void withoutARowNothingRemains()
    {
        RowFile file(gyroscopeOnly());
        QVERIFY(file.create(m_path, m_error));
        QVERIFY(file.finish(m_error));
        QCOMPARE(file.remains(), "nothing was recorded");
        file.remove();
        QVERIFY(!QFile::exists(QString::fromStdString(m_path)));
    }

    void fileWithTheNameOfTheRenamedOneIsNotRemoved()
    {
        RowFile file(gyroscopeOnly());
        QVERIFY(file.create(m_path, m_error));
        QCOMPARE(::rename(m_path.c_str(), (m_path + ".moved").c_str()), 0);
        QFile other(QString::fromStdString(m_path));
        QVERIFY(other.open(QIODevice::WriteOnly));
        file.remove();
        QVERIFY(QFile::exists(QString::fromStdString(m_path)));
    }

    void onlyTheOwnFileIsRemoved_data()
    {
        QTest::addColumn<bool>("first");
        QTest::newRow("a file that was there before") << true;
        QTest::newRow("a file that took the place of the removed one") << false;
    }

    void onlyTheOwnFileIsRemoved()
    {
        QFETCH(bool, first);
        RowFile file(gyroscopeOnly());
        if (!first) {
            QVERIFY(file.create(m_path, m_error));
            QCOMPARE(::unlink(m_path.c_str()), 0);
        }
        QFile other(QString::fromStdString(m_path));
        QVERIFY(other.open(QIODevice::WriteOnly));
        QVERIFY(first ? !file.create(m_path, m_error) : !file.flush(m_error));
        file.remove();
        QVERIFY(QFile::exists(QString::fromStdString(m_path)));
    }

    void aDiskWithRoomForOneByteIsFull()
    {
        RowFile file(gyroscopeOnly());
        QVERIFY(file.create(m_path, m_error));
        const FullDisk disk(header.size() + 1);
        file.add(row(0));
        errno = 0;
        QVERIFY(!file.flush(m_error));
        QCOMPARE(m_error, m_path + ": cannot be written: File too large");
        QCOMPARE(contents(m_path), header);
    }

    void aDiskThatIsFullAtTheStartLeavesNoFile()
    {
        const FullDisk disk(10);
        RowFile file(gyroscopeOnly());
        QVERIFY(!file.create(m_path, m_error));
        QCOMPARE(m_error, m_path + ": cannot be written: File too large");
        QVERIFY(!QFile::exists(QString::fromStdString(m_path)));
    }

    void aFileThatIsRemovedMeanwhileIsReported()
    {
        RowFile file(gyroscopeOnly());
        QVERIFY(file.create(m_path, m_error));
        file.add(row(0));
        QVERIFY(file.flush(m_error));
        QCOMPARE(::unlink(m_path.c_str()), 0);
        file.add(row(1));
        QVERIFY(!file.flush(m_error));
        QCOMPARE(m_error, m_path + ": was removed while it was written");
        QCOMPARE(file.remains(), "the rows are lost");
    }

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    std::string m_path;
    std::string m_error;
};

QTEST_APPLESS_MAIN(TestRowFile)
#include "tst_row_file.moc"
