#include <QtTest>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/stat.h>

#include <csignal>

/// The real hidapi with emulated USB devices: real cameras as the program sees them.
class HidbedTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;
    QProcess m_bed;

    QString fifo() const { return m_folder.path() + "/commands"; }

    void start(const QStringList& devices, const QStringList& program)
    {
        m_bed.start(HIDBED, QStringList{"-c", fifo()} + devices + QStringList{"--"} + program);
        QVERIFY(m_bed.waitForStarted(waiting::patienceMs));
    }

    void command(const QByteArray& line)
    {
        QFile file(fifo());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(line + "\n");
    }

    /// The next list that the probe prints, sorted, because the order of USB devices has no
    /// meaning.
    QStringList nextList()
    {
        QStringList lines;
        for (;;) {
            if (!m_bed.canReadLine() && !m_bed.waitForReadyRead(waiting::patienceMs)) {
                return {"no list: " + m_bed.readAllStandardError()};
            }
            while (m_bed.canReadLine()) {
                const QString line = QString::fromUtf8(m_bed.readLine()).trimmed();
                if (line == ".") {
                    lines.sort();
                    return lines;
                }
                lines << line;
            }
        }
    }

    QStringList askForList()
    {
        m_bed.write("\n");
        return nextList();
    }

    /// Repeats the request until the list is the expected one, because the testbed handles commands
    /// asynchronously.
    void waitForList(QStringList expected)
    {
        expected.sort();
        QTRY_COMPARE(askForList(), expected);
    }

    static QString entry(const char* ids, const char* serial)
    {
        return QString("7C15 %1 serial=%2 manufacturer=Example Optics product=Example HID device")
            .arg(ids, serial);
    }

    int end()
    {
        m_bed.closeWriteChannel();
        return m_bed.waitForFinished(waiting::patienceMs) &&
                       m_bed.exitStatus() == QProcess::NormalExit
                   ? m_bed.exitCode()
                   : -1;
    }

private slots:
    void initTestCase() { QCOMPARE(::mkfifo(fifo().toLocal8Bit().constData(), 0600), 0); }
    void cleanup()
    {
        if (m_bed.state() != QProcess::NotRunning) {
            m_bed.terminate();
            m_bed.waitForFinished(waiting::patienceMs);
        }
    }

    void devicesAreListedWithTheirStrings()
    {
        start({"A241:0103:20000001", "A341:0200:30000001", "A141:0001:10000001"}, {HIDPROBE});
        QStringList expected{entry("A241 0103", "20000001"), entry("A341 0200", "30000001"),
                             entry("A141 0001", "10000001")};
        expected.sort();
        QCOMPARE(nextList(), expected);
        QCOMPARE(end(), 7);
    }

    void bedWithoutDevicesIsEmpty()
    {
        start({}, {HIDPROBE});
        QCOMPARE(nextList(), QStringList());
        QCOMPARE(end(), 7);
    }

    void devicesAreAddedAndRemovedWhileTheProgramRuns()
    {
        start({"A241:0103:20000001"}, {HIDPROBE});
        QCOMPARE(nextList(), QStringList{entry("A241 0103", "20000001")});
        command("add A341:0200:30000001");
        waitForList({entry("A241 0103", "20000001"), entry("A341 0200", "30000001")});
        command("del 20000001");
        waitForList({entry("A341 0200", "30000001")});
        command("add A241:0104:20000001");
        waitForList({entry("A241 0104", "20000001"), entry("A341 0200", "30000001")});
        QCOMPARE(end(), 7);
    }

    void manyListsInARowAreComplete()
    {
        start({"A241:0103:20000001", "A341:0200:30000001"}, {HIDPROBE});
        QStringList expected{entry("A241 0103", "20000001"), entry("A341 0200", "30000001")};
        expected.sort();
        QCOMPARE(nextList(), expected);
        for (int i = 0; i < 50; ++i) {
            QCOMPARE(askForList(), expected);
        }
        QCOMPARE(end(), 7);
    }

    void simulatedCamerasStandBehindTheDevicesOfTheMachine()
    {
        start({"A341:0200:30000001"}, {HIDPROBE_WITH_BENCH});
        QStringList serials;
        m_bed.waitForReadyRead(waiting::patienceMs);
        while (m_bed.canReadLine() || m_bed.waitForReadyRead(waiting::patienceMs)) {
            const QString line = QString::fromUtf8(m_bed.readLine());
            if (line.startsWith('.')) {
                break;
            }
            serials << line.section("serial=", 1).section(' ', 0, 0);
        }
        QCOMPARE(serials, (QStringList{"30000001", "31415926", "27182818", "14142135"}));
        QCOMPARE(end(), 7);
    }

    void statusOfTheProgramIsHandedOn_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::newRow("success") << QStringList{"--", "true"} << 0;
        QTest::newRow("failure") << QStringList{"--", "sh", "-c", "exit 42"} << 42;
        QTest::newRow("killed") << QStringList{"--", "sh", "-c", "kill -9 $$"} << 128 + SIGKILL;
        QTest::newRow("not there") << QStringList{"--", "/nonexistent"} << 127;
        QTest::newRow("no program") << QStringList{} << 2;
        QTest::newRow("bad device") << QStringList{"A341", "--", "true"} << 2;
        QTest::newRow("bad number") << QStringList{"A341:xyz:1", "--", "true"} << 2;
        QTest::newRow("same device twice")
            << QStringList{"A341:0100:1", "A341:0100:1", "--", "true"} << 2;
        QTest::newRow("no command pipe")
            << QStringList{"-c", "/nonexistent/pipe", "--", "true"} << 2;
    }
    void statusOfTheProgramIsHandedOn()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        m_bed.start(HIDBED, arguments);
        QCOMPARE(end(), status);
    }

    void terminationGoesOnToTheProgram()
    {
        start({"A341:0200:30000001"}, {HIDPROBE});
        QCOMPARE(nextList().size(), 1);
        m_bed.terminate();
        QVERIFY(m_bed.waitForFinished(waiting::patienceMs));
        QCOMPARE(m_bed.exitCode(), 128 + SIGTERM);
    }
};

QTEST_GUILESS_MAIN(HidbedTest)
#include "tst_hidbed.moc"
