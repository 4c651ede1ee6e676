// The connection of the bench's window to programs that do not accept it.

#include "base/files.h"
#include "om_tiv/control/socketclient.h"
#include "om_tiv/window/stoppedprogram.h"
#include "window/bench_link.h"

#include <QScopeGuard>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

using benchwindow::BenchLink;
using om::bench::Descriptor;

namespace {

std::atomic<int> waitingConnects{0}; ///< connections that would wait for a stopped program
/// Called before each connection, with the path of the socket.
std::function<void(const char*)> onConnect;

/// A program that takes requests and answers none, and counts the connections.
class SilentProgram
{
public:
    explicit SilentProgram(const QString& path)
        : m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        const sockaddr_un address = socketclient::addressOf(path.toStdString());
        if (::bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
                0 ||
            ::listen(m_socket.get(), 64) != 0) {
            qFatal("can't serve %s", qPrintable(path));
        }
    }

    /// How many connections there were so far.
    std::size_t connections()
    {
        for (int client = 0; (client = ::accept(m_socket.get(), nullptr, nullptr)) >= 0;) {
            m_clients.emplace_back(client);
        }
        return m_clients.size();
    }

    bool hasRequest()
    {
        connections();
        return std::any_of(m_clients.begin(), m_clients.end(), [](const Descriptor& client) {
            char byte = 0;
            return ::recv(client.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 1;
        });
    }

private:
    Descriptor m_socket;
    std::vector<Descriptor> m_clients;
};

} // namespace

// These replace the C library's functions.
extern "C" int connect(int fd, const sockaddr* address, socklen_t length)
{
    if (onConnect) {
        onConnect(reinterpret_cast<const sockaddr_un*>(address)->sun_path);
    }
    waitingConnects += (::fcntl(fd, F_GETFL) & O_NONBLOCK) == 0 ? 1 : 0;
    return static_cast<int>(::syscall(SYS_connect, fd, address, length));
}

extern "C" int poll(pollfd* files, nfds_t count, int timeout)
{
    // Outside the test's own thread this is a wait for an answer. Its time limit does not end it.
    const bool isTest = ::syscall(SYS_gettid) == ::getpid();
    return static_cast<int>(::syscall(SYS_poll, files, count, isTest ? timeout : -1));
}

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
        waitingConnects = 0;
        link->start();
        QTRY_VERIFY(!reasons.isEmpty());
        link.reset();
        qputenv("XDG_RUNTIME_DIR", runtime);
        QCOMPARE(waitingConnects.load(), 0);
        if (programs == 1) {
            QCOMPARE(reasons.first(), paths.first() + ": the bench does not answer");
        } else {
            QCOMPARE(choices, paths);
        }
    }

    void choiceIsReportedOnceAndStaysBesideAStoppedProgram()
    {
        const QTemporaryDir folder;
        QVERIFY(QDir(folder.path()).mkdir("gravimon"));
        const QString first = folder.filePath("gravimon/bench-1.sock");
        const QString second = folder.filePath("gravimon/bench-2.sock");
        const StoppedProgram stopped(first);
        SilentProgram silent(second);
        const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
        qputenv("XDG_RUNTIME_DIR", folder.path().toUtf8());
        const auto restore = qScopeGuard([&] { qputenv("XDG_RUNTIME_DIR", runtime); });
        BenchLink link;
        QStringList reasons;
        QStringList choices;
        connect(&link, &BenchLink::searching, this,
                [&](const QString& reason, const QStringList& found) {
                    reasons << reason;
                    choices = found;
                });
        waitingConnects = 0;
        link.start();
        QTRY_VERIFY(silent.connections() >= 4); // one for each search
        QCoreApplication::processEvents();
        QCOMPARE(reasons, QStringList{QString()});
        QCOMPARE(choices, QStringList({first, second}));

        const QString reason = first + ": the bench does not answer";
        link.choose(first);
        QTRY_COMPARE(reasons, QStringList({QString(), reason}));
        QCOMPARE(choices, QStringList({first, second}));

        // The other choice can be changed too while the answer is still waited for.
        link.choose(second);
        QTRY_VERIFY(silent.hasRequest());
        link.choose(first);
        QTRY_VERIFY(reasons.size() > 2 && reasons.last() == reason);
        QCOMPARE(waitingConnects.load(), 0);
        QCOMPARE(choices, QStringList({first, second}));
    }

    void choiceDuringTheSearchCounts()
    {
        const QTemporaryDir folder;
        QVERIFY(QDir(folder.path()).mkdir("gravimon"));
        const QString first = folder.filePath("gravimon/bench-1.sock");
        const QString second = folder.filePath("gravimon/bench-2.sock");
        SilentProgram former(first);
        SilentProgram chosen(second);
        const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
        qputenv("XDG_RUNTIME_DIR", folder.path().toUtf8());
        const auto restore = qScopeGuard([&] { qputenv("XDG_RUNTIME_DIR", runtime); });
        int connections = 0;
        const auto remove = qScopeGuard([] { onConnect = nullptr; });
        BenchLink link;
        link.choose(first);
        // The search connects to all programs, and then to the chosen one.
        onConnect = [&](const char* path) {
            if (path == first.toStdString() && ++connections == 2) {
                link.choose(second);
            }
        };
        link.start();
        QTRY_VERIFY(chosen.hasRequest());
        QVERIFY(!former.hasRequest());
    }
};

QTEST_GUILESS_MAIN(TestBenchLink)
#include "tst_bench_link.moc"
