#include "analysis/mapped_file.h"

#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <fstream>

using namespace analysis;

namespace {

constexpr std::size_t size = 1 << 20;

/// The signal of an access to this place whose page can't be read.
void failAt(const char* place)
{
    siginfo_t about = {};
    about.si_signo = SIGBUS;
    about.si_code = BUS_ADRERR;
    about.si_addr = const_cast<char*>(place);
    ::syscall(SYS_rt_tgsigqueueinfo, ::getpid(), ::gettid(), SIGBUS, &about);
}

/// The wait status of a child that does this and then ends with 0.
template <typename Work>
int statusOf(const Work& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit none = {};
        ::setrlimit(RLIMIT_CORE, &none);
        work();
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

} // namespace

class TestMappedFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void fileThatStaysIsWhole();
    void fileThatGrowsIsWhole();
    void partThatWasCutOffReadsAsZeros();
    void cutWithinTheLastPageIsReported();
    void lossIsKeptWhenTheFileGrowsAgain();
    void pageThatCannotBeReadReadsAsZeros();
    void eachFileHasItsOwnLoss();
    void descriptor0IsADescriptorLikeAnyOther();
    void otherAccessesEndTheProgram();

private:
    std::string path(const char* name) const
    {
        return m_folder->filePath(QString::fromLatin1(name)).toStdString();
    }
    std::string written(const char* name) const
    {
        std::ofstream(path(name)) << std::string(size, 'a');
        return path(name);
    }
    static std::string cut(const std::string& name)
    {
        return name + ": was cut short while it was read: wait until nobody writes it";
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::string m_error;
};

void TestMappedFile::initTestCase()
{
    std::signal(SIGBUS, SIG_DFL); // not Qt Test's handler, before the first file is mapped
}

void TestMappedFile::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_error.clear();
}

void TestMappedFile::fileThatStaysIsWhole()
{
    MappedFile file(written("a"), m_error);
    QVERIFY2(file.valid(), m_error.c_str());
    QCOMPARE(std::string(file.begin(), file.end()), std::string(size, 'a'));
    file.release(0.5);
    QCOMPARE(file.begin()[0], 'a');
    QVERIFY(file.remainedWhole(m_error));
    QCOMPARE(m_error, std::string());
}

void TestMappedFile::fileThatGrowsIsWhole()
{
    const std::string name = written("a");
    MappedFile file(name, m_error);
    std::ofstream(name, std::ios::app) << "more";
    QCOMPARE(static_cast<std::size_t>(file.end() - file.begin()), size);
    QVERIFY(file.remainedWhole(m_error));
}

void TestMappedFile::partThatWasCutOffReadsAsZeros()
{
    const std::string name = written("a");
    MappedFile file(name, m_error);
    QCOMPARE(file.begin()[size - 1], 'a');
    QCOMPARE(::truncate(name.c_str(), size / 2), 0);
    QCOMPARE(file.begin()[size - 1], '\0');
    QVERIFY(std::memchr(file.begin() + size / 2, 'a', size / 2) == nullptr);
    QVERIFY(!file.remainedWhole(m_error));
    QCOMPARE(m_error, cut(name));
}

void TestMappedFile::cutWithinTheLastPageIsReported()
{
    const std::string name = written("a");
    MappedFile file(name, m_error);
    QCOMPARE(::truncate(name.c_str(), size - 1), 0);
    QVERIFY(!file.remainedWhole(m_error));
    QCOMPARE(m_error, cut(name));
}

void TestMappedFile::lossIsKeptWhenTheFileGrowsAgain()
{
    const std::string name = written("a");
    MappedFile file(name, m_error);
    QCOMPARE(::truncate(name.c_str(), 0), 0);
    QVERIFY(!file.remainedWhole(m_error));
    written("a");
    m_error.clear();
    QVERIFY(!file.remainedWhole(m_error));
    QCOMPARE(m_error, cut(name));
}

void TestMappedFile::pageThatCannotBeReadReadsAsZeros()
{
    const std::string name = written("a");
    MappedFile file(name, m_error);
    failAt(file.begin() + size / 2);
    QCOMPARE(file.begin()[size / 2], '\0');
    QVERIFY(!file.remainedWhole(m_error));
    QCOMPARE(m_error, name + ": cannot be read: Input/output error");
}

void TestMappedFile::eachFileHasItsOwnLoss()
{
    MappedFile before(written("before"), m_error);
    const std::string name = written("a");
    auto file = std::make_unique<MappedFile>(name, m_error);
    auto other = std::make_unique<MappedFile>(written("other"), m_error);
    failAt(file->begin());
    QVERIFY(!file->remainedWhole(m_error));
    QVERIFY(other->remainedWhole(m_error));
    file.reset();
    failAt(before.begin());
    QVERIFY(!before.remainedWhole(m_error));
    QVERIFY(other->remainedWhole(m_error));
    QCOMPARE(*other->begin(), 'a');
}

/// As in a program that was started without standard input.
void TestMappedFile::descriptor0IsADescriptorLikeAnyOther()
{
    const std::string name = written("a");
    const int standardInput = ::dup(STDIN_FILENO);
    ::close(STDIN_FILENO);
    auto file = std::make_unique<MappedFile>(name, m_error);
    const bool isTaken = ::fcntl(STDIN_FILENO, F_GETFD) != -1;
    const bool isWhole = file->valid() && file->remainedWhole(m_error);
    file.reset();
    const bool isLeft = ::fcntl(STDIN_FILENO, F_GETFD) != -1;
    ::dup2(standardInput, STDIN_FILENO);
    ::close(standardInput);
    QVERIFY(isTaken); // it is the lowest one that is free
    QVERIFY2(isWhole, m_error.c_str());
    QVERIFY(!isLeft);
}

void TestMappedFile::otherAccessesEndTheProgram()
{
    const MappedFile file(written("a"), m_error);
    QCOMPARE(statusOf([&] { failAt(file.begin()); }), 0);
    const int elsewhere = statusOf([&] { failAt(file.end()); });
    QVERIFY(WIFSIGNALED(elsewhere));
    QCOMPARE(WTERMSIG(elsewhere), SIGBUS);
    const int sent = statusOf([] { ::raise(SIGBUS); });
    QVERIFY(WIFSIGNALED(sent));
    QCOMPARE(WTERMSIG(sent), SIGBUS);
}

QTEST_APPLESS_MAIN(TestMappedFile)
#include "tst_mapped_file.moc"
