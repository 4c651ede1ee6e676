// Signals after the last row of a conversion. The program is this one, with another fsync().

#include "log/command_line.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

namespace {

const char* const modeVariable = "SIGNALS_WITHIN_FSYNC"; // "one", or "many": until the end

} // namespace

// The disk of the program that converts: a signal comes while it stores the output.
extern "C" int fsync(int /*descriptor*/)
{
    const QByteArray mode = qgetenv(modeVariable);
    if (!mode.isEmpty()) {
        ::kill(::getpid(), SIGTERM);
    }
    constexpr unsigned int limitSeconds = 60;
    ::alarm(mode == "many" ? limitSeconds : 0);
    while (mode == "many") {
        constexpr int pauseMs = 10;
        ::poll(nullptr, 0, pauseMs);
        ::kill(::getpid(), SIGTERM);
    }
    return 0;
}

class TestConvertVerb : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_input = m_folder->filePath("in.csv");
        m_output = m_folder->filePath("out.npz");
        std::ofstream(m_input.toStdString())
            << "idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],\n0,1000.5,1,2,3,\n";
    }

    void aSignalAfterTheLastRowChangesNothing()
    {
        QProcess program;
        convert(program, "one");
        QCOMPARE(program.readAllStandardError(), QByteArray());
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), static_cast<int>(samplelog::DONE));
        QVERIFY(program.readAllStandardOutput().startsWith(m_output.toLocal8Bit() + ": 1 samples"));
        QVERIFY(QFile::exists(m_output));
    }

    void aFurtherSignalDoesNotWaitForTheDisk()
    {
        QProcess program;
        convert(program, "many");
        QCOMPARE(program.exitStatus(), QProcess::CrashExit);
        QCOMPARE(program.exitCode(), SIGTERM);
    }

private:
    void convert(QProcess& program, const QString& mode)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(modeVariable, mode);
        program.setProcessEnvironment(environment);
        program.start(QCoreApplication::applicationFilePath(),
                      {"convert", m_input, m_output, "--to", "npz"});
        QTRY_COMPARE(program.state(), QProcess::NotRunning);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_input;
    QString m_output;
};

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsSet(modeVariable)) {
        int status = 0;
        const auto action = samplelog::readCommandLine(argc, argv, status);
        return action ? (*action)() : status;
    }
    const QCoreApplication application(argc, argv);
    TestConvertVerb test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_convert_verb.moc"
