/// After a lost link the reading thread has ended on its own and is not joined: the next start and
/// the end of the dialog end the process.

#include <QProcess>
#include <QtTest>

#include <csignal>
#include <cstdlib>

class TestLostLink : public QObject
{
    Q_OBJECT

private slots:
    void healthyDialogLeavesTheProcessAlone();
    void processTerminatesAfterALostLink_data();
    void processTerminatesAfterALostLink();
};

namespace {

void run(QProcess& process, const QString& step)
{
    process.start(GRAVIMON_LOSTLINK_PROGRAM, {step});
    QVERIFY2(process.waitForFinished(90000), qPrintable(process.errorString()));
}

} // namespace

void TestLostLink::healthyDialogLeavesTheProcessAlone()
{
    QProcess process;
    run(process, "healthy");
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
}

void TestLostLink::processTerminatesAfterALostLink_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("start pressed again") << "start" << QByteArray("lost\n");
    QTest::newRow("exit pressed") << "exit" << QByteArray("lost\naccepted\n");
    QTest::newRow("dialog destroyed") << "destroy" << QByteArray("lost\n");
    QTest::newRow("started without a link, exit pressed")
        << "refused" << QByteArray("lost\naccepted\n");
}

void TestLostLink::processTerminatesAfterALostLink()
{
    QFETCH(QString, step);
    QFETCH(QByteArray, output);
    QProcess process;
    run(process, step);
    QCOMPARE(process.readAllStandardOutput(), output);
    const QByteArray errors = process.readAllStandardError();
    QVERIFY2(errors.contains("terminate called without an active exception"), errors.constData());
    QCOMPARE(process.exitStatus(), QProcess::CrashExit);
    QCOMPARE(process.exitCode(), SIGABRT);
}

QTEST_GUILESS_MAIN(TestLostLink)
#include "tst_lostlink.moc"
