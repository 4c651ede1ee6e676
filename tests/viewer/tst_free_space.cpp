#include "viewer/free_space.h"

#include <QLocale>
#include <QTest>

class TestFreeSpace : public QObject
{
    Q_OBJECT

private slots:
    void freeSpaceWarnsByTheValueNotByTheText()
    {
        constexpr double gibibytes = 10683731149.0 / (1 << 30); // 9.95, the last byte rounded up
        QCOMPARE(freespace::text(gibibytes, QStringLiteral("/d")),
                 QStringLiteral("Disk Free Space: 10.0 Gb  on /d"));
        QCOMPARE(freespace::style(gibibytes), QStringLiteral("color : rgb(250,20,20);"));
        QCOMPARE(freespace::style(10.0), QStringLiteral("color : rgb(20,20,20);"));
        QCOMPARE(freespace::text(3.0, QStringLiteral("/d")),
                 QStringLiteral("Disk Free Space:  3.0 Gb  on /d"));
    }

    void pathWithPercentSignsStays()
    {
        QCOMPARE(freespace::text(100.0, QStringLiteral("/a%1b")),
                 QStringLiteral("Disk Free Space: 100.0 Gb  on /a%1b"));
    }

    void aLanguageWithACommaChangesNothing()
    {
        const QLocale before;
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        const QString german = freespace::text(12.34, QStringLiteral("/x"));
        QLocale::setDefault(before);
        QCOMPARE(german, QStringLiteral("Disk Free Space: 12.3 Gb  on /x"));
    }
};

QTEST_GUILESS_MAIN(TestFreeSpace)
#include "tst_free_space.moc"
