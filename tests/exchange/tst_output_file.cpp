#include "exchange/output_file.h"

#include <QtTest>

#include <cerrno>
#include <system_error>

using namespace exchange;

namespace {

int syncError = 0; // errno of fsync(), 0 for success

} // namespace

// In place of the system's, which takes a broken disk to fail.
extern "C" int fsync(int /*descriptor*/)
{
    errno = syncError;
    return syncError == 0 ? 0 : -1;
}

class TestOutputFile : public QObject
{
    Q_OBJECT

private slots:
    void onlyAMissingAbilityToSyncIsNoFailure_data()
    {
        QTest::addColumn<int>("number");
        QTest::addColumn<bool>("kept");
        QTest::newRow("success") << 0 << true;
        QTest::newRow("EINVAL") << EINVAL << true;
        QTest::newRow("EROFS") << EROFS << true;
        QTest::newRow("ENOTSUP") << ENOTSUP << true;
        QTest::newRow("EIO") << EIO << false;
        QTest::newRow("ENOSPC") << ENOSPC << false;
    }

    void onlyAMissingAbilityToSyncIsNoFailure()
    {
        QFETCH(int, number);
        QFETCH(bool, kept);
        const QTemporaryDir folder;
        const QString path = folder.filePath("a");
        syncError = number;
        std::string error;
        {
            OutputFile file;
            QVERIFY(file.create(path.toStdString(), error));
            file.append("text");
            QCOMPARE(file.commit(error), kept);
        }
        syncError = 0;
        QCOMPARE(QFile::exists(path), kept);
        QCOMPARE(error, kept ? std::string()
                             : path.toStdString() + ": cannot be written: " +
                                   std::generic_category().message(number));
    }
};

QTEST_APPLESS_MAIN(TestOutputFile)
#include "tst_output_file.moc"
