#include "charts/whole_number.h"

#include <QtTest>

class TestWholeNumber : public QObject
{
    Q_OBJECT

private slots:
    void onlyAnIntegerInTheRangeOfAnIntIsWhole_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("whole");
        QTest::newRow("zero") << 0.0 << true;
        QTest::newRow("positive") << 2.0 << true;
        QTest::newRow("negative") << -7.0 << true;
        QTest::newRow("fraction") << 1.25 << false;
        QTest::newRow("negative fraction") << -0.5 << false;
        QTest::newRow("nearly whole") << 3.0000000001 << false;
        QTest::newRow("largest int") << 2147483647.0 << true;
        QTest::newRow("beyond an int") << 2147483648.0 << false;
        QTest::newRow("far below an int") << -1e20 << false;
        QTest::newRow("infinite") << qInf() << false;
        QTest::newRow("not a number") << qQNaN() << false;
    }

    void onlyAnIntegerInTheRangeOfAnIntIsWhole()
    {
        QFETCH(double, value);
        QTEST(isWhole(value), "whole");
    }
};

QTEST_APPLESS_MAIN(TestWholeNumber)
#include "tst_whole_number.moc"
