// The connection of the bench's window to programs that do not accept it.

#include "base/files.h"
#include "om_tiv/control/socketclient.h"
#include "window/bench_link.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

using benchwindow::BenchLink;
using om::bench::Descriptor;

namespace {

/// A program that is stopped, and whose queue of connections is full.
class StoppedProgram
{
public:
    explicit StoppedProgram(const QString& path)
        : m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const sockaddr_un address = socketclient::addressOf(path.toStdString());
        if (::bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
                0 ||
            ::listen(m_socket.get(), 0) != 0) {
            qFatal("can't serve %s", qPrintable(path));
        }
        int client = 0;
        while ((client = socketclient::connectTo(path.toStdString(), SOCK_NONBLOCK)) >= 0) {
            m_clients.emplace_back(client);
        }
    }

private:
    Descriptor m_socket;
    std::vector<Descriptor> m_clients;
};

} // namespace

class TestBenchLink : public QObject
{
    Q_OBJECT

private slots:
    void searchAndEndDoNotWaitForAStoppedProgram_data()
    {
        QTest::addColumn<bool>("named");
        QTest::addColumn<int>("programs");
        QTest::newRow("named") << true << 1;
        QTest::newRow("found") << false << 1;
        QTest::newRow("found beside another one") << false << 2;
    }

    void searchAndEndDoNotWaitForAStoppedProgram()
    {
        QFETCH(bool, named);
        QFETCH(int, programs);
        const QTemporaryDir folder;
        QVERIFY(QDir(folder.path()).mkdir("gravimon"));
        std::vector<std::unique_ptr<StoppedProgram>> stopped;
        QStringList paths;
        for (int i = 0; i < programs; ++i) {
            paths << folder.filePath(QStringLiteral("gravimon/bench-%1.sock").arg(i));
            stopped.push_back(std::make_unique<StoppedProgram>(paths.last()));
        }
        const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
        qputenv("XDG_RUNTIME_DIR", folder.path().toUtf8());
        auto link = std::make_unique<BenchLink>(named ? paths.first() : QString());
        QStringList reasons;
        QStringList choices;
        connect(link.get(), &BenchLink::searching, this,
                [&](const QString& reason, const QStringList& found) {
                    reasons << reason;
                    choices = found;
                });
        QElapsedTimer time;
        time.start();
        link->start();
        QTRY_VERIFY(!reasons.isEmpty());
        link.reset();
        qputenv("XDG_RUNTIME_DIR", runtime);
        QVERIFY2(time.elapsed() < 5000, qPrintable(QString::number(time.elapsed())));
        if (programs == 1) {
            QCOMPARE(reasons.first(), paths.first() + ": the bench does not answer");
        } else {
            QCOMPARE(choices, paths);
        }
    }
};

QTEST_GUILESS_MAIN(TestBenchLink)
#include "tst_bench_link.moc"
