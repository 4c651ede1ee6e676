// The archive's structure, with 32-bit fields and with 64-bit ones.

#include "exchange/npz_file.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using exchange::NpzFile;
using exchange::OutputFile;

namespace {

/// Two arrays, their elements brought alternately.
QByteArray written(const QString& path, std::uint64_t largest)
{
    OutputFile output;
    std::string error;
    if (!output.create(path.toStdString(), error)) {
        return {};
    }
    NpzFile file(output, largest);
    const std::size_t bytes = file.add("bytes", "|u1", 1, {200000});
    const std::size_t pairs = file.add("pairs", "<i8", 8, {3, 2});
    file.begin();
    const std::string block(1000, '\x07');
    const std::string pair{"\x01\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 16};
    for (int i = 0; i < 200; ++i) {
        file.append(bytes, block);
        if (i < 3) {
            file.append(pairs, pair);
        }
    }
    if (!file.end() || !output.commit(error)) {
        return {};
    }
    QFile result(path);
    return result.open(QIODevice::ReadOnly) ? result.readAll() : QByteArray();
}

} // namespace

class TestNpzFile : public QObject
{
    Q_OBJECT

private slots:
    void bothSizesOfFieldsAreReadByPython_data()
    {
        QTest::addColumn<qulonglong>("largest");
        QTest::addColumn<bool>("large");
        QTest::newRow("32 bits") << qulonglong(0xFFFFFFFF) << false;
        QTest::newRow("64 bits for the first array and all offsets") << qulonglong(100000) << true;
        QTest::newRow("64 bits for everything") << qulonglong(0) << true;
    }

    void bothSizesOfFieldsAreReadByPython()
    {
        QFETCH(qulonglong, largest);
        QFETCH(bool, large);
        const QTemporaryDir folder;
        const QString path = folder.filePath("a.npz");
        const QByteArray content = written(path, largest);
        QVERIFY(content.startsWith("PK\x03\x04"));
        QCOMPARE(content.contains("PK\x06\x06"), large);
        QCOMPARE(content.contains("PK\x06\x07"), large);

        QProcess python;
        python.start(GRAVIMON_PYTHON,
                     {"-B", "-c",
                      "import sys, numpy, zipfile\n"
                      "assert zipfile.ZipFile(sys.argv[1]).testzip() is None\n"
                      "a = numpy.load(sys.argv[1])\n"
                      "assert a.files == ['bytes', 'pairs'], a.files\n"
                      "assert a['bytes'].shape == (200000,) and (a['bytes'] == 7).all()\n"
                      "assert a['pairs'].tolist() == [[1, -1]] * 3, a['pairs']\n",
                      path});
        QVERIFY(python.waitForFinished(4 * waiting::patienceMs));
        QCOMPARE(QString(python.readAllStandardError()), QString());
        QCOMPARE(python.exitCode(), 0);
    }

    void elementsStartAtAMultipleOf64BehindTheArraysHeader()
    {
        const QTemporaryDir folder;
        const QByteArray content = written(folder.filePath("a.npz"), 0xFFFFFFFF);
        const int magic = content.indexOf("\x93NUMPY");
        QVERIFY(magic > 0);
        const int length = static_cast<unsigned char>(content[magic + 8]) +
                           256 * static_cast<unsigned char>(content[magic + 9]);
        QCOMPARE((10 + length) % 64, 0);
        QCOMPARE(content[magic + 10 + length - 1], '\n');
        QVERIFY(content.mid(magic, length).contains("'shape': (200000,), }"));
    }

    void anArrayThatIsTooShortOrTooLongIsNoticed_data()
    {
        QTest::addColumn<int>("bytes");
        QTest::newRow("short") << 7;
        QTest::newRow("long") << 9;
    }

    void anArrayThatIsTooShortOrTooLongIsNoticed()
    {
        QFETCH(int, bytes);
        const QTemporaryDir folder;
        const QString path = folder.filePath("a.npz");
        {
            OutputFile output;
            std::string error;
            QVERIFY(output.create(path.toStdString(), error));
            NpzFile file(output);
            file.add("a", "|u1", 1, {8});
            file.begin();
            for (int i = 0; i < bytes; ++i) {
                file.append(0, "x");
            }
            QVERIFY(!file.end());
        }
        QVERIFY(!QFile::exists(path)); // nothing was committed
    }
};

QTEST_GUILESS_MAIN(TestNpzFile)
#include "tst_npz_file.moc"
