// Attacks on the control socket: on its place in the file system, and by hostile clients.

#include "base/files.h"
#include "control/bench_client.h"
#include "control/control_server.h"

#include "om_tiv/control/socketclient.h"
#include "support/otheruser.h"
#include "support/sidethread.h"
#include "support/waiting.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <nlohmann/json.hpp>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <functional>
#include <vector>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace om::bench;
using namespace std::chrono_literals;
using nlohmann::json;
using socketclient::addressOf;
using socketclient::connectTo;
using socketclient::readLine;
using socketclient::sendAll;

namespace {

std::atomic<int> umaskCalls{0};
std::atomic<bool> withoutDescriptors{false};
std::atomic<int> refusedAccepts{0};
/// So many of the next clients may be silent. The server gets each later one with its first bytes:
/// its time limit begins then, however late the test's thread sends them.
std::atomic<int> silentClients{INT_MAX};

constexpr unsigned int nobody = 65534;

/// Called before a socket listens.
std::function<void()> beforeListening;

} // namespace

// These replace the C library's functions.
extern "C" mode_t umask(mode_t mask) noexcept
{
    ++umaskCalls;
    return static_cast<mode_t>(::syscall(SYS_umask, mask));
}

extern "C" int listen(int fd, int backlog) noexcept
{
    if (beforeListening) {
        beforeListening();
    }
    return static_cast<int>(::syscall(SYS_listen, fd, backlog));
}

extern "C" int accept4(int fd, sockaddr* address, socklen_t* length, int flags)
{
    if (withoutDescriptors) {
        ++refusedAccepts;
        errno = EMFILE;
        return -1;
    }
    const int client = static_cast<int>(::syscall(SYS_accept4, fd, address, length, flags));
    if (client >= 0 && silentClients-- <= 0) {
        pollfd input = {client, POLLIN, 0};
        ::poll(&input, 1, waiting::patienceMs);
    }
    return client;
}

class TestControlServer : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ControlServer> m_server;
    std::string m_path;
    std::string m_error;
    bool m_wasThere = false; ///< the socket's file, before the socket listened

    /// Answers with the number of bytes of the request.
    static std::string answer(const std::string& line)
    {
        return json{{"ok", true}, {"bytes", line.size()}}.dump();
    }

    bool serve(const ControlServer::Limits& limits = {1h, 1h},
               const ControlServer::Handler& handler = &TestControlServer::answer)
    {
        m_error.clear();
        m_server = ControlServer::start(m_path, handler, m_error, limits);
        return m_server != nullptr;
    }

    static bool isAnswered(int fd, const std::string& line = "x")
    {
        sendAll(fd, line + "\n");
        return readLine(fd) == answer(line);
    }

    static QStringList filesBeside(const std::string& path)
    {
        return QFileInfo(QString::fromStdString(path))
            .dir()
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

private slots:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_path = m_folder->filePath("below/it.sock").toStdString();
    }

    void cleanup()
    {
        withoutDescriptors = false;
        silentClients = INT_MAX;
        beforeListening = nullptr;
        m_server.reset();
    }

    // What is served.

    void lineOfSixtyFourKibibytesIsServedAndNoLongerOne_data()
    {
        QTest::addColumn<int>("bytes");
        QTest::addColumn<bool>("served");
        QTest::newRow("empty") << 0 << true;
        QTest::newRow("64 KiB") << 65536 << true;
        QTest::newRow("one byte more") << 65537 << false;
        QTest::newRow("80 KiB") << 80 * 1024 << false;
    }

    void lineOfSixtyFourKibibytesIsServedAndNoLongerOne()
    {
        QFETCH(int, bytes);
        QFETCH(bool, served);
        QVERIFY2(serve(), m_error.c_str());
        const Descriptor client(connectTo(m_path));
        const std::string line(static_cast<std::size_t>(bytes), 'x');
        sendAll(client.get(), line + "\n");
        QCOMPARE(readLine(client.get()),
                 served ? answer(line)
                        : R"({"error":"a request of more than 65536 bytes","ok":false})");
        QCOMPARE(isAnswered(client.get()), served);
    }

    // The socket's file.

    void fileIsTheUsersAloneWithoutAChangeOfTheUmask()
    {
        const mode_t before = ::umask(0);
        umaskCalls = 0;
        const bool served = serve();
        const int calls = umaskCalls;
        ::umask(before);
        QVERIFY2(served, m_error.c_str());
        QCOMPARE(calls, 0);
        struct stat state = {};
        QCOMPARE(::stat(m_path.c_str(), &state), 0);
        QCOMPARE(static_cast<int>(state.st_mode & 0777), 0600);
    }

    void fileAppearsWhenTheSocketListens()
    {
        m_wasThere = true;
        beforeListening = [this] { m_wasThere = QFile::exists(QString::fromStdString(m_path)); };
        QVERIFY2(serve(), m_error.c_str());
        QVERIFY(!m_wasThere);
        QCOMPARE(filesBeside(m_path), QStringList("it.sock"));
        const Descriptor client(connectTo(m_path));
        QVERIFY(isAnswered(client.get()));
    }

    void pathWithoutRoomForAnotherNameIsServed()
    {
        m_path = m_folder->path().toStdString() + "/";
        m_path += std::string(sizeof sockaddr_un::sun_path - 3 - m_path.size(), 'x') + "/s";
        QCOMPARE(m_path.size(), sizeof sockaddr_un::sun_path - 1);
        QVERIFY2(serve(), m_error.c_str());
        QCOMPARE(filesBeside(m_path), QStringList("s"));
        const Descriptor client(connectTo(m_path));
        QVERIFY(isAnswered(client.get()));
    }

    void fileThatAnotherProgramMakesMeanwhileStays()
    {
        beforeListening = [this] {
            QFile file(QString::fromStdString(m_path));
            QVERIFY(file.open(QIODevice::WriteOnly));
        };
        QVERIFY(!serve());
        QCOMPARE(m_error, m_path + ": File exists");
        QCOMPARE(filesBeside(m_path), QStringList("it.sock"));
        QVERIFY(QFileInfo(QString::fromStdString(m_path)).isFile());
    }

    void folderInWhichOthersCouldPutTheirSocketIsRefused_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("owner"); // -1: the test's user
        QTest::addColumn<QString>("problem");
        QTest::newRow("own") << "below" << 0700 << -1 << "";
        QTest::newRow("own, others read") << "below" << 0755 << -1 << "";
        QTest::newRow("own, open") << "below" << 0777 << -1 << "can be changed by every user";
        QTest::newRow("own, open and sticky") << "below" << 01777 << -1 << "";
        QTest::newRow("another's")
            << "below" << 0777 << static_cast<int>(nobody) << "belongs to another user";
        QTest::newRow("another's and sticky")
            << "below" << 01777 << static_cast<int>(nobody) << "belongs to another user";
        QTest::newRow("link to an own one") << "link" << 0700 << -1 << "is a symbolic link";
        QTest::newRow("link with a slash") << "link/" << 0700 << -1 << "is a symbolic link";
    }

    void folderInWhichOthersCouldPutTheirSocketIsRefused()
    {
        QFETCH(QString, name);
        QFETCH(int, mode);
        QFETCH(int, owner);
        QFETCH(QString, problem);
        const std::string folder = m_folder->filePath("below").toStdString();
        QCOMPARE(::mkdir(folder.c_str(), 0700), 0);
        QVERIFY(QFile::link("below", m_folder->filePath("link")));
        if (owner >= 0 && ::chown(folder.c_str(), static_cast<uid_t>(owner), nobody) != 0) {
            QSKIP("only root can give a folder away");
        }
        QCOMPARE(::chmod(folder.c_str(), static_cast<mode_t>(mode)), 0);
        m_path = m_folder->filePath(name + "/it.sock").toStdString();
        QCOMPARE(serve(), problem.isEmpty());
        QString where = m_folder->filePath(name);
        where.remove(QRegularExpression("/$"));
        QCOMPARE(QString::fromStdString(m_error), problem.isEmpty() ? "" : where + ": " + problem);
    }

    // The process of another user: a sticky folder is accepted if root owns it, like /tmp.
    void stickyFolderIsRootsOrTheUsersOwn()
    {
        if (!canBecome(nobody)) {
            QSKIP("only root can become another user");
        }
#ifdef __SANITIZE_THREAD__
        QSKIP("the thread sanitizer allows no thread behind a fork");
#endif
        const std::string roots = m_folder->filePath("roots").toStdString();
        const std::string others = m_folder->filePath("others").toStdString();
        for (const std::string& folder : {roots, others}) {
            QCOMPARE(::mkdir(folder.c_str(), 0700), 0);
            QCOMPARE(::chmod(folder.c_str(), 01777), 0);
        }
        QCOMPARE(::chown(others.c_str(), nobody - 1, nobody - 1), 0);
        QCOMPARE(::chmod(m_folder->path().toLocal8Bit().constData(), 0755), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            if (::setgid(nobody) != 0 || ::setuid(nobody) != 0) {
                ::_exit(8);
            }
            std::string error;
            const bool inRoots =
                ControlServer::start(roots + "/it.sock", &answer, error) != nullptr;
            const bool inOthers =
                ControlServer::start(others + "/it.sock", &answer, error) != nullptr;
            ::_exit((inRoots ? 0 : 1) + (inOthers ? 2 : 0));
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 0);
    }

    // Its queue is full: a blocking connection would wait as long as it listens.
    void listenerThatAcceptsNobodyDoesNotDelayTheStart()
    {
        QVERIFY(makeFolders(m_folder->filePath("below").toStdString()).empty());
        const Descriptor deaf(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_un address = addressOf(m_path);
        QCOMPARE(::bind(deaf.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                 0);
        QCOMPARE(::listen(deaf.get(), 0), 0);
        std::vector<Descriptor> waiting;
        do {
            waiting.emplace_back(connectTo(m_path, SOCK_NONBLOCK));
        } while (waiting.back().valid());
        QCOMPARE(errno, EAGAIN);
        QVERIFY(!serve());
        QCOMPARE(m_error, m_path + ": another process serves this socket");
        QVERIFY(QFile::exists(QString::fromStdString(m_path)));
    }

    // Slots.

    void halfOpenClientsGiveTheirSlotsBack_data()
    {
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("half a line") << QByteArray("{\"command\":\"li");
        QTest::newRow("half a line behind a whole one") << QByteArray("x\n{");
    }

    void halfOpenClientsGiveTheirSlotsBack()
    {
        QFETCH(QByteArray, sent);
        QVERIFY2(serve({20ms, 1ms}), m_error.c_str());
        silentClients = sent.isEmpty() ? static_cast<int>(ControlServer::maxClients) : 0;
        std::vector<Descriptor> halfOpen;
        for (std::size_t i = 0; i < ControlServer::maxClients; ++i) {
            halfOpen.emplace_back(connectTo(m_path));
            sendAll(halfOpen.back().get(), sent.toStdString());
        }
        const Descriptor good(connectTo(m_path));
        QVERIFY(isAnswered(good.get()));
        if (sent.contains('\n')) {
            QCOMPARE(readLine(halfOpen.front().get()), answer("x"));
        }
        QCOMPARE(readLine(halfOpen.front().get()),
                 std::string(R"({"error":"no whole request within 20 ms","ok":false})"));
        QVERIFY2(readLine(halfOpen.front().get()).empty(), "the connection ends");
    }

    void clientMayRestBetweenTwoRequests()
    {
        QVERIFY2(serve({20ms, 1ms}), m_error.c_str());
        silentClients = 0;
        const Descriptor resting(connectTo(m_path));
        QVERIFY(isAnswered(resting.get()));
        silentClients = 1;
        // When this one is dropped the other one has been idle for the same time.
        const Descriptor halfOpen(connectTo(m_path));
        QVERIFY(!readLine(halfOpen.get()).empty());
        QVERIFY(isAnswered(resting.get()));
    }

    void clientsThatTakeNoAnswerGiveTheirSlotsBack()
    {
        // The server outlives this function: the handler owns its answer.
        const auto handler = [large = std::string(1024 * 1024, 'x')](const std::string& line) {
            return line == "large" ? large : answer(line);
        };
        QVERIFY2(serve({20ms, 1ms}, handler), m_error.c_str());
        silentClients = 0;
        std::vector<Descriptor> deaf;
        for (std::size_t i = 0; i < ControlServer::maxClients; ++i) {
            deaf.emplace_back(connectTo(m_path));
            sendAll(deaf.back().get(), "large\n");
        }
        const Descriptor good(connectTo(m_path));
        QVERIFY(isAnswered(good.get()));
    }

    // Descriptors.

    void withoutADescriptorTheServerDoesNotTryAgainAtOnce()
    {
        QVERIFY2(serve({1h, 1h}), m_error.c_str());
        const Descriptor first(connectTo(m_path));
        QVERIFY(isAnswered(first.get()));
        refusedAccepts = 0;
        withoutDescriptors = true;
        const Descriptor second(connectTo(m_path));
        QVERIFY(second.valid());
        // Each request is a round of the server, in which it could try again.
        for (int round = 0; round < 200; ++round) {
            QVERIFY(isAnswered(first.get()));
        }
        QCOMPARE(refusedAccepts.load(), 1);
    }

    void waitingClientIsServedOnceThereIsADescriptor_data()
    {
        QTest::addColumn<bool>("anotherGoes");
        QTest::newRow("after the pause") << false;
        QTest::newRow("with the end of another client") << true;
    }

    void waitingClientIsServedOnceThereIsADescriptor()
    {
        QFETCH(bool, anotherGoes);
        QVERIFY2(serve({1h, anotherGoes ? std::chrono::milliseconds(1h) : 1ms}), m_error.c_str());
        Descriptor first(connectTo(m_path));
        QVERIFY(isAnswered(first.get()));
        refusedAccepts = 0;
        withoutDescriptors = true;
        const Descriptor second(connectTo(m_path));
        const QDeadlineTimer deadline(waiting::patience);
        while (refusedAccepts == 0 && !deadline.hasExpired()) {
            QVERIFY(isAnswered(first.get()));
        }
        QVERIFY(refusedAccepts > 0);
        withoutDescriptors = false;
        if (anotherGoes) {
            first.close();
        }
        QVERIFY(isAnswered(second.get()));
    }

    // The client's side.

    void benchOfAnotherUserIsNotSpokenTo()
    {
        if (!canBecome(nobody)) {
            QSKIP("only root can become another user");
        }
        QCOMPARE(::chmod(m_folder->path().toLocal8Bit().constData(), 0777), 0);
        m_path = m_folder->filePath("it.sock").toStdString();
        int ready[2] = {-1, -1};
        QCOMPARE(::pipe(ready), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
            const sockaddr_un address = addressOf(m_path);
            const bool listens = ::setgid(nobody) == 0 && ::setuid(nobody) == 0 &&
                                 ::bind(listener, reinterpret_cast<const sockaddr*>(&address),
                                        sizeof address) == 0 &&
                                 ::listen(listener, 8) == 0 && ::write(ready[1], "1", 1) == 1;
            if (listens) {
                ::prctl(PR_SET_PDEATHSIG, SIGKILL); // after setuid(), which resets it
                ::pause();
            }
            ::_exit(1);
        }
        char byte = 0;
        ::close(ready[1]);
        const bool listens = ::read(ready[0], &byte, 1) == 1;
        std::string error;
        const auto client = BenchClient::connect(m_path, error);
        ::close(ready[0]);
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        QVERIFY(listens);
        QVERIFY(!client);
        QCOMPARE(error, m_path + ": served by another user (65534)");
    }

    void answerThatIsNoneIsReported_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("no JSON") << QByteArray("hello");
        QTest::newRow("no object") << QByteArray("[1]");
        QTest::newRow("not UTF-8") << QByteArray("{\"a\":\"\xff\"}");
        QTest::newRow("nested without end") << "{\"a\":" + QByteArray("[").repeated(500000) +
                                                   QByteArray("]").repeated(500000) + "}";
        QTest::newRow("without end") << QByteArray(9 * 1024 * 1024, 'x'); // and no line feed
    }

    void answerThatIsNoneIsReported()
    {
        QFETCH(QByteArray, answer);
        // Larger than a server stores for a client: sent by a socket that is not a bench.
        QVERIFY(makeFolders(m_folder->filePath("below").toStdString()).empty());
        const Descriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_un address = addressOf(m_path);
        QCOMPARE(
            ::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        QCOMPARE(::listen(listener.get(), 1), 0);
        std::string error;
        const auto client = BenchClient::connect(m_path, error);
        QVERIFY2(client, error.c_str());
        SideThread peer([&] {
            const Descriptor socket(::accept(listener.get(), nullptr, nullptr));
            const bool endless = answer.size() > static_cast<int>(BenchClient::maxAnswer);
            sendAll(socket.get(), answer.toStdString() + (endless ? "" : "\n"));
            readLine(socket.get());
        });
        json received;
        const bool good = client->ask({{"command", "list"}}, received, error);
        client->interrupt();
        peer.join();
        QVERIFY(!good);
        QCOMPARE(error, std::string("invalid answer: the program has another version, or is not a "
                                    "bench"));
    }
};

QTEST_GUILESS_MAIN(TestControlServer)
#include "tst_control_server.moc"
