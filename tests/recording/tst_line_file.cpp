// Writing lines to a file, on disks with and without space.

#include "recording/line_file.h"

#include "support/fulldisk.h"
#include "support/sidethread.h"
#include "support/waiting.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <csignal>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using recorder::LineFile;

namespace {

constexpr int lineSize = 100;

/// "0000042.....\n"
QByteArray line(int number)
{
    return QByteArray::number(number).rightJustified(7, '0').leftJustified(lineSize - 1, '.') +
           '\n';
}

std::atomic<int> signalCount{0};

QByteArray lines(int from, int to)
{
    QByteArray text;
    for (int i = from; i < to; ++i) {
        text += line(i);
    }
    return text;
}

} // namespace

class TestLineFile : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_folder;

    QString path() const { return m_folder->filePath(QStringLiteral("lines.csv")); }

    std::unique_ptr<LineFile> open() const
    {
        QFile file(path());
        // The descriptor of `file` is closed at the end of this function.
        return file.open(QIODevice::WriteOnly | QIODevice::Text) ? LineFile::on(file.handle())
                                                                 : nullptr;
    }

    QByteArray written() const
    {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("no file");
    }

private slots:
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }

    void lineIsInTheFileAtOnce()
    {
        const auto file = open();
        for (int i = 0; i < 10; ++i) {
            file->write(line(i));
            QCOMPARE(written(), lines(0, i + 1));
        }
    }

    /// As in a program that was started without standard input.
    void descriptor0IsADescriptorLikeAnyOther()
    {
        QFile file(path());
        QVERIFY(file.open(QIODevice::WriteOnly));
        const int standardInput = ::dup(STDIN_FILENO);
        ::close(STDIN_FILENO);
        auto lineFile = LineFile::on(file.handle());
        const int flags = ::fcntl(STDIN_FILENO, F_GETFD);
        const bool isMade = lineFile != nullptr;
        lineFile.reset();
        ::dup2(standardInput, STDIN_FILENO);
        ::close(standardInput);
        QVERIFY(isMade);
        QCOMPARE(flags,
                 FD_CLOEXEC); // it is the lowest one that is free, and no other program gets it
    }

    void lineIsWholeWhenSignalsInterruptItsWrites()
    {
        int ends[2];
        QCOMPARE(::pipe(ends), 0);
        const int capacity = ::fcntl(ends[0], F_SETPIPE_SZ, 4096); // at least a page
        QVERIFY(capacity >= 4096);
        struct sigaction interrupt = {};
        interrupt.sa_handler = [](int) { ++signalCount; };
        struct sigaction before = {};
        ::sigaction(SIGUSR1, &interrupt, &before);

        const QByteArray text = lines(0, capacity / 10);
        QByteArray received;
        std::atomic<bool> isWritten{false};
        const pthread_t writer = pthread_self();
        const auto writerId = static_cast<pid_t>(::syscall(SYS_gettid));
        SideThread reader([&] {
            QByteArray piece(capacity, '\0');
            for (ssize_t size = 1; size > 0;) {
                int held = 0;
                bool isInTime = waiting::waitFor([&] {
                    ::ioctl(ends[0], FIONREAD, &held);
                    return isWritten || (held == capacity && waiting::isAsleep(writerId));
                });
                // The first signal cuts the write short, the second one meets a write of which
                // nothing was accepted.
                for (int i = 0; i < 2 && isInTime && !isWritten; ++i) {
                    const int sent = signalCount;
                    pthread_kill(writer, SIGUSR1);
                    isInTime = waiting::waitFor([&] {
                        return isWritten || (signalCount > sent && waiting::isAsleep(writerId));
                    });
                }
                size = ::read(ends[0], piece.data(), static_cast<std::size_t>(capacity));
                received.append(piece.constData(), static_cast<int>(size));
            }
        });
        auto file = LineFile::on(ends[1]);
        ::close(ends[1]);
        file->write(text);
        isWritten = true;
        file.reset();
        reader.join();
        ::close(ends[0]);
        ::sigaction(SIGUSR1, &before, nullptr);
        QVERIFY(signalCount > 10);
        QCOMPARE(received, text);
    }

    void linesOfTheTimeOfAFullDiskFollowInOrder_data()
    {
        QTest::addColumn<int>("before");
        QTest::addColumn<int>("room"); // bytes of the disk
        QTest::addColumn<int>("during");
        QTest::newRow("no room at all, not even for the first line") << 0 << 0 << 5;
        QTest::newRow("room for a part of the first line") << 0 << 30 << 5;
        QTest::newRow("full behind a line") << 3 << 300 << 5;
        QTest::newRow("full amid a line") << 3 << 450 << 5;
        QTest::newRow("full amid a line for long") << 3 << 450 << 50000;
    }

    void linesOfTheTimeOfAFullDiskFollowInOrder()
    {
        QFETCH(int, before);
        QFETCH(int, room);
        QFETCH(int, during);
        const auto file = open();
        int number = 0;
        {
            FullDisk disk(room);
            for (int i = 0; i < before + during; ++i) {
                file->write(line(number++));
            }
            QCOMPARE(written(), lines(0, number).left(room));
            // A little space, then full again.
            disk.fillAt(room + 250);
            for (int i = 0; i < 5; ++i) {
                file->write(line(number++));
            }
            QCOMPARE(written(), lines(0, number).left(room + 250));
        }
        // A long queue needs some lines to be written.
        const int most = 10 + number * lineSize / (128 * 1024);
        for (int i = 0; i < most && written().size() < number * lineSize; ++i) {
            file->write(line(number++));
        }
        QCOMPARE(written(), lines(0, number));
    }

    void lineIsNotHeldUpByAllThatHasWaited()
    {
        const auto file = open();
        constexpr int count = 50000; // 5 MB
        {
            const FullDisk disk(0);
            for (int i = 0; i < count; ++i) {
                file->write(line(i));
            }
        }
        qint64 size = 0;
        while (size < count * lineSize) {
            file->write(line(0));
            const qint64 now = QFile(path()).size();
            QVERIFY2(now > size && now - size <= 256 * 1024,
                     qPrintable(QString::number(now - size)));
            size = now;
        }
    }

    void endWritesWhatWaits()
    {
        constexpr int count = 30000;
        auto file = open();
        {
            const FullDisk disk(250);
            for (int i = 0; i < count; ++i) {
                file->write(line(i));
            }
        }
        file.reset();
        QCOMPARE(written(), lines(0, count));
    }

    void endOnAFullDiskLeavesWholeLines_data()
    {
        QTest::addColumn<int>("room");
        QTest::addColumn<int>("whole");
        QTest::newRow("no room") << 0 << 0;
        QTest::newRow("part of the first line") << 99 << 0;
        QTest::newRow("one line") << 100 << 1;
        QTest::newRow("amid the third line") << 201 << 2;
        QTest::newRow("amid the line behind a block") << 131'150 << 1311;
    }

    void endOnAFullDiskLeavesWholeLines()
    {
        QFETCH(int, room);
        QFETCH(int, whole);
        auto file = open();
        const FullDisk disk(room);
        for (int i = 0; i < 2000; ++i) {
            file->write(line(i));
        }
        file.reset();
        QCOMPARE(written(), lines(0, whole));
    }

    void endLeavesWholeLinesOfABlockThatWasWrittenInPart_data()
    {
        QTest::addColumn<int>("room");
        QTest::addColumn<int>("whole");
        QTest::newRow("amid its first line") << 270 << 2;
        QTest::newRow("behind its first line") << 300 << 3;
        QTest::newRow("amid its third line") << 430 << 4;
    }

    void endLeavesWholeLinesOfABlockThatWasWrittenInPart()
    {
        QFETCH(int, room);
        QFETCH(int, whole);
        auto file = open();
        FullDisk disk(250);
        for (int i = 0; i < 10; ++i) {
            file->write(line(i));
        }
        disk.fillAt(room);
        file->write(line(10));
        QCOMPARE(written(), lines(0, 10).left(room));
        file.reset();
        QCOMPARE(written(), lines(0, whole));
    }

    void endClosesItsDescriptor()
    {
        const auto descriptors = [] {
            return QDir(QStringLiteral("/proc/self/fd"))
                .entryList(QDir::NoDotAndDotDot | QDir::Files | QDir::System)
                .size();
        };
        const int before = descriptors();
        auto file = open();
        QCOMPARE(descriptors(), before + 1);
        file.reset();
        QCOMPARE(descriptors(), before);
    }

    void lineOfAnEndedFileFollowsWhatHasTakenItsPlace()
    {
        // Its name was used again at once.
        const auto former = open();
        former->write(line(0));
        former->write(line(1));
        const auto next = open();
        next->write(line(2));
        former->write(line(3));
        next->write(line(4));
        QCOMPARE(written(), lines(2, 5));
    }

    void endOfAFileLeavesWhatHasTakenItsPlaceAlone_data()
    {
        QTest::addColumn<int>("next"); // lines
        QTest::newRow("a shorter file") << 1;
        QTest::newRow("a longer file") << 5;
    }

    void endOfAFileLeavesWhatHasTakenItsPlaceAlone()
    {
        QFETCH(int, next);
        auto former = open();
        {
            const FullDisk disk(250); // within the third line
            for (int i = 0; i < 10; ++i) {
                former->write(line(i));
            }
        }
        const auto file = open();
        for (int i = 0; i < next; ++i) {
            file->write(line(100 + i));
        }
        const FullDisk disk(next * lineSize);
        former.reset();
        QCOMPARE(written(), lines(100, 100 + next));
    }

    void waitingLinesDoNotFollowIntoAFileThatWasCreatedAgain()
    {
        auto former = open();
        {
            const FullDisk disk(250);
            for (int i = 0; i < 10; ++i) {
                former->write(line(i));
            }
        }
        const auto file = open();
        file->write(line(100));
        former.reset();
        QCOMPARE(written(), line(100));
    }

    void noDescriptorLeftIsNoFile()
    {
        QFile file(path());
        QVERIFY(file.open(QIODevice::WriteOnly));
        rlimit before = {};
        getrlimit(RLIMIT_NOFILE, &before);
        rlimit none = before;
        none.rlim_cur = 3;
        setrlimit(RLIMIT_NOFILE, &none);
        const auto lines = LineFile::on(file.handle());
        setrlimit(RLIMIT_NOFILE, &before);
        QVERIFY(lines == nullptr);
        QVERIFY(LineFile::on(-1) == nullptr);
    }

    void regularFileOrNoneOpensAtOnce_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("atOnce");
        QTest::newRow("none") << "new.csv" << true;
        QTest::newRow("no folder") << "nowhere/new.csv" << true; // the open reports it
        QTest::newRow("a regular one") << "old.csv" << true;
        QTest::newRow("a link to one") << "link.csv" << true;
        QTest::newRow("a link to a FIFO") << "fifo-link.csv" << false;
        QTest::newRow("a FIFO") << "fifo.csv" << false;
        QTest::newRow("a device") << "/dev/null" << false;
        QTest::newRow("a folder") << "." << false;
    }

    void regularFileOrNoneOpensAtOnce()
    {
        QFETCH(QString, name);
        QFETCH(bool, atOnce);
        QVERIFY(QFile(m_folder->filePath("old.csv")).open(QIODevice::WriteOnly));
        QVERIFY(QFile::link("old.csv", m_folder->filePath("link.csv")));
        QCOMPARE(::mkfifo(QFile::encodeName(m_folder->filePath("fifo.csv")).constData(), 0600), 0);
        QVERIFY(QFile::link("fifo.csv", m_folder->filePath("fifo-link.csv")));
        const QString where = name.startsWith('/') ? name : m_folder->filePath(name);
        QCOMPARE(recorder::opensAtOnce(where), atOnce);
    }
};

QTEST_GUILESS_MAIN(TestLineFile)
#include "tst_line_file.moc"
