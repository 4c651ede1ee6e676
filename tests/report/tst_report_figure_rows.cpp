#include "report/figure_rows.h"

#include <QtTest>

#include <qwt_plot.h>

using namespace report;

namespace {

/// The topics of a recording: an empty one, and one that has plots with the ids, each a letter.
std::vector<Topic> topicsWith(const QString& ids)
{
    std::vector<Topic> topics(2);
    for (const QChar id : ids) {
        Figure figure;
        figure.id = id;
        topics[1].figures.push_back(std::move(figure));
    }
    return topics;
}

/// The ids of the plots, row by row; "." for an empty place.
QString textOf(const std::vector<FigureRow>& rows)
{
    QStringList texts;
    for (const FigureRow& row : rows) {
        QString text;
        for (const Figure* const figure : row) {
            text += figure == nullptr ? QStringLiteral(".") : figure->id;
        }
        texts << text;
    }
    return texts.join(' ');
}

} // namespace

class TestReportFigureRows : public QObject
{
    Q_OBJECT

private slots:
    void plotsStandInPairs_data();
    void plotsStandInPairs();
    void rowsPointIntoTheRecordings();
};

void TestReportFigureRows::plotsStandInPairs_data()
{
    QTest::addColumn<QStringList>("recordings");
    QTest::addColumn<QString>("rows");
    QTest::newRow("no plot") << QStringList{""} << "";
    QTest::newRow("one") << QStringList{"a"} << "a.";
    QTest::newRow("two") << QStringList{"ab"} << "ab";
    QTest::newRow("five") << QStringList{"abcde"} << "ab cd e.";
    QTest::newRow("two recordings") << QStringList{"abc", "abc"} << "aa bb cc";
    QTest::newRow("a plot of one of two") << QStringList{"ac", "bc"} << "a. cc .b";
    QTest::newRow("three recordings") << QStringList{"ab", "ab", "ab"} << "aa a. bb b.";
    QTest::newRow("four recordings") << QStringList{"a", "a", "a", "a"} << "aa aa";
}

void TestReportFigureRows::plotsStandInPairs()
{
    QFETCH(QStringList, recordings);
    std::vector<std::vector<Topic>> topics;
    for (const QString& ids : recordings) {
        topics.push_back(topicsWith(ids));
    }
    QTEST(textOf(figureRows(topics, 1)), "rows");
    QVERIFY(figureRows(topics, 0).empty());
}

void TestReportFigureRows::rowsPointIntoTheRecordings()
{
    std::vector<std::vector<Topic>> topics;
    topics.push_back(topicsWith("ab"));
    topics.push_back(topicsWith("b"));
    const std::vector<FigureRow> rows = figureRows(topics, 1);
    QCOMPARE(rows.size(), std::size_t(2));
    QVERIFY(rows[0] == (FigureRow{&topics[0][1].figures[0], nullptr}));
    QVERIFY(rows[1] == (FigureRow{&topics[0][1].figures[1], &topics[1][1].figures[0]}));
}

QTEST_MAIN(TestReportFigureRows)
#include "tst_report_figure_rows.moc"
