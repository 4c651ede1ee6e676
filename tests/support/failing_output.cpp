// A test program that passes: what it prints decides whether CTest takes it as failed
// (tests/tools/test_failing_output.py).

#include <QtTest>

class FailingOutput : public QObject
{
    Q_OBJECT

private slots:
    void silent() {}
    void warning() { qWarning("a warning"); }
    void critical() { qCritical("a critical message"); }
    void info() { qInfo("a message"); }
};

QTEST_APPLESS_MAIN(FailingOutput)
#include "failing_output.moc"
