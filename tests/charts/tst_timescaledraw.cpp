#include "charts/TimeScaleDraw.h"

#include <QtTest>

#include <qwt_text.h>

class TestTimeScaleDraw : public QObject
{
    Q_OBJECT

private slots:
    void labelIsTheTimeOfDay_data();
    void labelIsTheTimeOfDay();
    void labelCountsFromTheBaseTime();
    void labelIsPlainText();
};

void TestTimeScaleDraw::labelIsTheTimeOfDay_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("start") << 0.0 << "00:00:00";
    QTest::newRow("ten seconds") << 10.0 << "00:00:10";
    QTest::newRow("fraction is cut off") << 59.999 << "00:00:59";
    QTest::newRow("all three fields") << 45296.5 << "12:34:56";
    QTest::newRow("last second of the day") << 86399.0 << "23:59:59";
    QTest::newRow("midnight wraps") << 86400.0 << "00:00:00";
    QTest::newRow("next day") << 86400.0 + 3661.0 << "01:01:01";
    QTest::newRow("seconds since 1970, in UTC") << 1706711000.25 << "14:23:20";
    QTest::newRow("past the range of an int") << 4102444799.5 << "23:59:59";
    QTest::newRow("a second below zero wraps") << -1.0 << "23:59:59";
    QTest::newRow("part of a second below zero") << -0.9 << "00:00:00";
    QTest::newRow("days below zero") << -2.0 * 86400.0 - 60.0 << "23:59:00";
}

void TestTimeScaleDraw::labelIsTheTimeOfDay()
{
    QFETCH(double, value);
    QFETCH(QString, text);
    QCOMPARE(TimeScaleDraw(QTime(0, 0, 0, 0)).label(value).text(), text);
}

void TestTimeScaleDraw::labelCountsFromTheBaseTime()
{
    QCOMPARE(TimeScaleDraw(QTime(23, 59, 58)).label(3.7).text(), QString("00:00:01"));
}

void TestTimeScaleDraw::labelIsPlainText()
{
    QCOMPARE(TimeScaleDraw(QTime(0, 0)).label(1.0), QwtText("00:00:01", QwtText::PlainText));
}

QTEST_MAIN(TestTimeScaleDraw)
#include "tst_timescaledraw.moc"
