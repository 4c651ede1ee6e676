// The user's files: which are opened, and which are refused without a wait.

#include "base/files.h"
#include "support/fulldisk.h"
#include "support/otheruser.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

using namespace om::bench;

namespace {

/// Lets this thread be an ordinary user without the rights of root.
class WithoutRights
{
public:
    WithoutRights()
    {
        if (::syscall(SYS_capget, &m_header, m_former.data()) != 0) {
            qFatal("can't read the rights");
        }
        std::array<__user_cap_data_struct, 2> fewer = m_former;
        fewer[0].effective = 0;
        fewer[1].effective = 0;
        set(fewer);
    }
    ~WithoutRights() { set(m_former); }
    WithoutRights(const WithoutRights&) = delete;
    WithoutRights& operator=(const WithoutRights&) = delete;

private:
    void set(const std::array<__user_cap_data_struct, 2>& rights)
    {
        if (::syscall(SYS_capset, &m_header, rights.data()) != 0) {
            qFatal("can't change the rights");
        }
    }

    __user_cap_header_struct m_header = {_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> m_former = {};
};

} // namespace

class TestFiles : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;

    std::string path(const QString& name) const { return m_folder.filePath(name).toStdString(); }

private slots:
    void initTestCase()
    {
        QFile file(m_folder.filePath("file"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write("content"), qint64(7));
        file.close();
        QVERIFY(QFile::link("file", m_folder.filePath("link")));
        QVERIFY(QFile::link("nothing", m_folder.filePath("dangling link")));
        QCOMPARE(::mkfifo(path("fifo").c_str(), 0600), 0);
        QVERIFY(QFile::link("fifo", m_folder.filePath("link to a fifo")));
        const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const std::string name = path("socket");
        QVERIFY(name.size() < sizeof address.sun_path);
        std::memcpy(address.sun_path, name.c_str(), name.size() + 1);
        QCOMPARE(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                 0);
    }

    void regularFileIsOpened_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("itself") << "file";
        QTest::newRow("by a link") << "link";
    }

    void regularFileIsOpened()
    {
        QFETCH(QString, name);
        std::string reason;
        const Descriptor file = openRegularFile(path(name), reason);
        QVERIFY2(file.valid(), reason.c_str());
        QVERIFY(reason.empty());
        QVERIFY((::fcntl(file.get(), F_GETFD) & FD_CLOEXEC) != 0);
        const auto bytes = readFile(path(name), 16, reason);
        QVERIFY2(bytes, reason.c_str());
        QCOMPARE(QByteArray::fromStdString(*bytes), QByteArray("content"));
        QCOMPARE(readFile(path(name), 4, reason).value_or(""), std::string("cont"));
    }

    // An open that waits would never return, because no process writes to the FIFO.
    void whatIsNoRegularFileIsRefusedAtOnce_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("reason");
        QTest::addColumn<int>("error");
        const QString special = "not a regular file";
        QTest::newRow("FIFO") << "fifo" << special << EINVAL;
        QTest::newRow("link to a FIFO") << "link to a fifo" << special << EINVAL;
        QTest::newRow("socket") << "socket" << special << EINVAL;
        QTest::newRow("device") << "/dev/zero" << special << EINVAL;
        QTest::newRow("folder") << "."
                                << "Is a directory" << EISDIR;
        QTest::newRow("nothing") << "none"
                                 << "No such file or directory" << ENOENT;
        QTest::newRow("dangling link") << "dangling link"
                                       << "No such file or directory" << ENOENT;
        QTest::newRow("below a file") << "file/x"
                                      << "Not a directory" << ENOTDIR;
    }

    void whatIsNoRegularFileIsRefusedAtOnce()
    {
        QFETCH(QString, name);
        QFETCH(QString, reason);
        QFETCH(int, error);
        const std::string where = name.startsWith('/') ? name.toStdString() : path(name);
        std::string why;
        QVERIFY(!openRegularFile(where, why).valid());
        QCOMPARE(errno, error);
        QCOMPARE(QString::fromStdString(why), reason);
        QVERIFY(!readFile(where, 16, why));
        QCOMPARE(errno, error);
        QCOMPARE(QString::fromStdString(why), reason);
    }

    void newFileTakesThePlaceOfTheFormerOne()
    {
        std::string reason;
        const std::string temporary = path("replaced.new");
        for (const char* const content : {"first", "second"}) {
            const Descriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600));
            QVERIFY(putInPlace(file, temporary, path("replaced"), content));
            QCOMPARE(readFile(path("replaced"), 16, reason).value_or(reason), std::string(content));
            QVERIFY(!QFile::exists(QString::fromStdString(temporary)));
        }
    }

    void contentIsReplacedAndTheFileStaysWhatItIs()
    {
        std::string reason;
        const std::string name = path("content");
        QVERIFY(replaceContent(name, "first"));
        QCOMPARE(::chmod(name.c_str(), 0640), 0);
        QVERIFY(QFile::link("content", m_folder.filePath("link to the content")));
        QVERIFY(replaceContent(path("link to the content"), "second"));
        QVERIFY(QFileInfo(m_folder.filePath("link to the content")).isSymLink());
        QCOMPARE(readFile(name, 16, reason).value_or(reason), std::string("second"));
        struct stat status = {};
        QCOMPARE(::stat(name.c_str(), &status), 0);
        QCOMPARE(status.st_mode & 07777U, 0640U);
        QCOMPARE(QDir(m_folder.path()).entryList({"content*"}).size(), 1);
    }

    void contentThatCannotBeReplacedStays()
    {
        std::string reason;
        QVERIFY(replaceContent(path("kept"), "first"));
        {
            const FullDisk full(3);
            QVERIFY(!replaceContent(path("kept"), "second"));
            QCOMPARE(errno, EFBIG);
        }
        QCOMPARE(readFile(path("kept"), 16, reason).value_or(reason), std::string("first"));
        QCOMPARE(QDir(m_folder.path()).entryList({"kept*"}).size(), 1);
        QVERIFY(!replaceContent(m_folder.path().toStdString(), "third"));
        QCOMPARE(errno, EISDIR);
    }

    void linkToNothingGetsItsFile()
    {
        std::string reason;
        QVERIFY(QFile::link("later", m_folder.filePath("link to later")));
        {
            const FullDisk full(3);
            QVERIFY(!replaceContent(path("link to later"), "first"));
            QCOMPARE(errno, EFBIG);
        }
        QVERIFY(!QFile::exists(m_folder.filePath("later")));
        QVERIFY(replaceContent(path("link to later"), "first"));
        QVERIFY(QFileInfo(m_folder.filePath("link to later")).isSymLink());
        QCOMPARE(readFile(path("later"), 16, reason).value_or(reason), std::string("first"));
        QCOMPARE(QDir(m_folder.path()).entryList({"later*"}).size(), 1);
    }

    void fileThatCannotBeReplacedIsOverwritten()
    {
        std::string reason;
        QVERIFY(QDir(m_folder.path()).mkdir("closed"));
        QVERIFY(replaceContent(path("closed/file"), "the first content"));
        QCOMPARE(::chmod(path("closed").c_str(), 0555), 0);
        bool isReplaced = false;
        {
            const WithoutRights ordinary;
            isReplaced = replaceContent(path("closed/file"), "second");
            QVERIFY(!replaceContent(path("closed/other"), "content"));
            QCOMPARE(errno, EACCES);
        }
        QCOMPARE(::chmod(path("closed").c_str(), 0755), 0);
        QVERIFY(isReplaced);
        QCOMPARE(readFile(path("closed/file"), 32, reason).value_or(reason), std::string("second"));
    }

    void longestNameIsPossible()
    {
        std::string reason;
        const std::string name = path(QString(255, 'a'));
        for (const char* const content : {"the first content", "second"}) {
            QVERIFY(replaceContent(name, content));
            QCOMPARE(readFile(name, 32, reason).value_or(reason), std::string(content));
        }
    }

    // Without root the file has one owner all the time.
    void fileKeepsItsOwner()
    {
        const std::string name = path("owned");
        QVERIFY(replaceContent(name, "first"));
        QCOMPARE(::chmod(name.c_str(), 0666), 0);
        const bool hasOthers = canBecome(4711);
        const uid_t owner = hasOthers ? 4711 : ::geteuid();
        const gid_t group = hasOthers ? 4712 : ::getegid();
        QCOMPARE(::chown(name.c_str(), owner, group), 0);
        for (const bool ordinary : {false, true}) {
            {
                const auto rights = ordinary ? std::make_unique<WithoutRights>() : nullptr;
                QVERIFY(replaceContent(name, "second"));
            }
            struct stat status = {};
            QCOMPARE(::stat(name.c_str(), &status), 0);
            QCOMPARE(status.st_uid, owner);
            QCOMPARE(status.st_gid, group);
            QCOMPARE(status.st_mode & 07777U, 0666U);
            QCOMPARE(QDir(m_folder.path()).entryList({"owned*"}).size(), 1);
        }
    }

    void restOfAnotherProcessIsNotInTheWay()
    {
        std::string reason;
        const QString rest = QStringLiteral("again.%1.0").arg(::getpid());
        QVERIFY(replaceContent(path(rest), "rest"));
        QVERIFY(replaceContent(path("again"), "content"));
        QCOMPARE(readFile(path("again"), 16, reason).value_or(reason), std::string("content"));
        QCOMPARE(readFile(path(rest), 16, reason).value_or(reason), std::string("rest"));
    }

    void contentIsWrittenToAFifo()
    {
        const Descriptor end(::open(path("fifo").c_str(), O_RDWR | O_CLOEXEC));
        QVERIFY(replaceContent(path("link to a fifo"), "content"));
        std::array<char, 16> bytes;
        QCOMPARE(::read(end.get(), bytes.data(), bytes.size()), ssize_t(7));
        QVERIFY(QFileInfo(m_folder.filePath("link to a fifo")).isSymLink());
    }

    void newFileThatCannotTakeThePlaceIsRemoved()
    {
        QVERIFY(QDir(m_folder.path()).mkpath("taken/by"));
        const std::string temporary = path("taken.new");
        const Descriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600));
        QVERIFY(!putInPlace(file, temporary, path("taken"), "content"));
        QCOMPARE(errno, EISDIR);
        QVERIFY(!QFile::exists(QString::fromStdString(temporary)));
        QVERIFY(QFileInfo::exists(m_folder.filePath("taken/by")));
    }
};

QTEST_GUILESS_MAIN(TestFiles)
#include "tst_files.moc"
