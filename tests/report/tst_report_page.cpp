#include "report/figures.h"
#include "report/page.h"
#include "report/pdf_file.h"

#include "report/recordings.h"

#include <QRegularExpression>
#include <QXmlStreamReader>
#include <QtTest>

#include <qwt_plot.h>

#include <set>

using namespace report;

namespace {

QString pageOver(const std::vector<RecordingReport>& reports)
{
    std::vector<std::vector<Topic>> topics;
    for (const RecordingReport& report : reports) {
        topics.push_back(topicsOf(report));
    }
    alignAxes(topics);
    return QString::fromUtf8(pageOf(reports, topics));
}

/// At rest, with a magnetometer, temperatures and a gap.
analysis::Recording everything()
{
    recordings::Noise noise;
    noise.rateWalk = 5e-3;
    analysis::Recording recording = recordings::atRest(40'000, noise);
    recordings::removeRows(recording, 20'000, 20'400);
    recordings::addMagnetometer(recording, {18.5, -24.0, 11.5}, {50.88, 44.64, 48.96}, 3000, 0.25);
    for (std::size_t i = 0; i < recording.times.size(); i += 16) {
        recording.temperatureTimes.push_back(recording.times[i]);
        for (auto& values : recording.temperatures) {
            values.push_back(27.0 + 3.0 * static_cast<double>(i) / 40'000.0);
        }
    }
    return recording;
}

/// The SVG elements of a page.
QStringList svgsOf(const QString& page)
{
    QStringList all;
    static const QRegularExpression svg("<svg .*?</svg>",
                                        QRegularExpression::DotMatchesEverythingOption);
    for (auto matches = svg.globalMatch(page); matches.hasNext();) {
        all << matches.next().captured();
    }
    return all;
}

} // namespace

class TestReportPage : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void pageHasEveryPlot_data();
    void pageHasEveryPlot();
    void pageLoadsNothing();
    void plotsAreSoundSvg();
    void namesOfPlotsDoNotCollide();
    void noPlotHoldsWhatIsNoNumber();
    void warningIsTheFirstLine();
    void verdictsStandAbovePlots();
    void textsFromTheFileAreEscaped();
    void definitionsHaveFormulas_data();
    void definitionsHaveFormulas();
    void recordingsStandSideBySide();
    void recordingsShareTheirAxes();
    void stuckSensorHasAPage();
    void pdfHasPages();

private:
    RecordingReport m_report;
    QString m_page;
};

void TestReportPage::initTestCase()
{
    m_report = analyse(everything(), {});
    m_page = pageOver({m_report});
}

void TestReportPage::pageHasEveryPlot_data()
{
    QTest::addColumn<QString>("caption");
    for (const char* caption :
         {"Accelerometer x, minus its mean", "Gyroscope z, minus its mean", "Gaps are shaded",
          "Intervals between rows", "Drift: delay of each", "Gyroscope y: amplitude density",
          "Gyroscope x: N 0.00", "Accelerometer z: N 0.00", "Length of the acceleration",
          "Gyroscope against the temperature", "Before, x-y: readings", "After, y-z: corrected",
          "Residuals: length"}) {
        QTest::newRow(caption) << caption;
    }
}

void TestReportPage::pageHasEveryPlot()
{
    QFETCH(QString, caption);
    QVERIFY(m_page.contains("<figcaption>" + caption) || m_page.contains(caption));
}

void TestReportPage::pageLoadsNothing()
{
    QString page = m_page;
    page.remove("http://www.w3.org/2000/svg");
    for (const char* reference :
         {"http:", "https:", "<script", "<link", "<img", "@import", "url("}) {
        QVERIFY2(!page.contains(reference), reference);
    }
}

void TestReportPage::plotsAreSoundSvg()
{
    const QStringList svgs = svgsOf(m_page);
    QVERIFY(svgs.size() > 20);
    QCOMPARE(svgs.size(), m_page.count("<svg"));
    for (const QString& svg : svgs) {
        QXmlStreamReader reader(svg);
        while (!reader.atEnd()) {
            reader.readNext();
        }
        QVERIFY2(!reader.hasError(), qPrintable(reader.errorString()));
        QVERIFY(svg.contains("viewBox=\"0 0 "));
        QVERIFY(svg.contains("role=\"img\" aria-label=\""));
        QVERIFY(!svg.contains("font-family")); // the page's own
    }
}

void TestReportPage::namesOfPlotsDoNotCollide()
{
    std::set<QString> names;
    static const QRegularExpression id("\\sid=\"([^\"]*)\"");
    for (auto matches = id.globalMatch(m_page); matches.hasNext();) {
        const QString name = matches.next().captured(1);
        QVERIFY2(names.insert(name).second, qPrintable(name));
    }
    QVERIFY(!names.empty());
}

void TestReportPage::noPlotHoldsWhatIsNoNumber()
{
    static const QRegularExpression number("[\", ](nan|inf|-nan|-inf)[\", ]");
    for (const QString& svg : svgsOf(m_page)) {
        const auto match = number.match(svg);
        QVERIFY2(!match.hasMatch(), qPrintable(match.captured()));
    }
}

void TestReportPage::warningIsTheFirstLine()
{
    RecordingReport report = m_report;
    QVERIFY(!m_page.contains("<p class=\"warning\">"));
    report.warning = "This file was decimated.";
    const QString page = pageOver({report});
    QVERIFY(page.contains("<body>\n<p class=\"warning\"><strong>Warning.</strong> This file was "
                          "decimated.</p>"));
}

void TestReportPage::verdictsStandAbovePlots()
{
    const int verdicts = m_page.indexOf("<h2 id=\"verdicts\">");
    QVERIFY(verdicts > 0);
    QVERIFY(verdicts < m_page.indexOf("<svg"));
    for (const Verdict& verdict : m_report.verdicts) {
        for (const std::string& text : {verdict.what, verdict.value, verdict.limit, verdict.why}) {
            QVERIFY2(m_page.contains(QString::fromStdString(text).toHtmlEscaped()), text.c_str());
        }
    }
    QVERIFY(m_page.contains("✗ failed")); // the gap, by sign and word
}

void TestReportPage::textsFromTheFileAreEscaped()
{
    RecordingReport report = m_report;
    report.path = "<script>alert(1)</script>&\"'.csv";
    report.model = "<b>TIV</b>";
    report.serial = "<i>1</i>";
    for (const QString& page : {pageOver({report}), pageOver({report, report})}) {
        QVERIFY(!page.contains("<script"));
        QVERIFY(!page.contains("<b>TIV"));
        QVERIFY(!page.contains("<i>1"));
        QVERIFY(page.contains("&lt;script&gt;alert(1)&lt;/script&gt;&amp;&quot;"));
        QVERIFY(page.contains("&lt;b&gt;TIV&lt;/b&gt; &lt;i&gt;1"));
    }
    report.serial.clear(); // then the file's name is the title
    QVERIFY(!pageOver({report}).contains("<script"));
}

void TestReportPage::definitionsHaveFormulas_data()
{
    QTest::addColumn<QString>("term");
    for (const char* term : {"Overlapping Allan deviation", "Noise density N, bias instability B",
                             "Residual", "Variance", "Wobble", "Fit error", "Magnetometer: fit",
                             "Six positions", "68 % interval"}) {
        QTest::newRow(term) << term;
    }
}

void TestReportPage::definitionsHaveFormulas()
{
    QFETCH(QString, term);
    const int begin = m_page.indexOf("<dt>" + term);
    QVERIFY(begin > 0);
    const QString definition = m_page.mid(begin, m_page.indexOf("</dd>", begin) - begin);
    QVERIFY2(definition.contains("class=\"formula\""), qPrintable(definition));
}

void TestReportPage::recordingsStandSideBySide()
{
    analysis::Recording other = recordings::atRest(20'000);
    other.angularVelocity = {};
    RecordingReport second = analyse(other, {});
    second.path = "second.csv";
    const QString page = pageOver({m_report, second});
    QVERIFY(page.contains("<th>1: at-rest.csv</th><th>2: second.csv</th>"));
    QVERIFY(page.contains("The recording has no data for this plot."));
    QVERIFY(page.contains("<div class=\"pair\">"));
}

void TestReportPage::recordingsShareTheirAxes()
{
    recordings::Noise noise;
    noise.rateDensity = 0.3;
    std::vector<std::vector<Topic>> topics;
    topics.push_back(topicsOf(analyse(recordings::atRest(20'000), {})));
    topics.push_back(topicsOf(analyse(recordings::atRest(40'000, noise), {})));
    const auto range = [&](std::size_t recording, int axis) {
        for (const Topic& topic : topics[recording]) {
            for (const Figure& figure : topic.figures) {
                if (figure.id == "allan-gyroscope-x") {
                    return figure.plot->axisInterval(axis);
                }
            }
        }
        return QwtInterval();
    };
    const QwtInterval before = range(0, QwtPlot::yLeft);
    QVERIFY(before.isValid());
    QVERIFY(range(1, QwtPlot::yLeft) != before);
    alignAxes(topics);
    QCOMPARE(range(0, QwtPlot::yLeft), range(1, QwtPlot::yLeft));
    QCOMPARE(range(0, QwtPlot::xBottom), range(1, QwtPlot::xBottom));
    QVERIFY(range(0, QwtPlot::yLeft).contains(before.minValue()));
}

void TestReportPage::stuckSensorHasAPage()
{
    analysis::Recording recording = recordings::atRest(4000);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        recording.acceleration.axes[axis].assign(4000, 0.0);
        recording.angularVelocity.axes[axis].assign(4000, 5.0);
    }
    const QString page = pageOver({analyse(recording, {})});
    QVERIFY(page.contains("Accelerometer alive"));
    QVERIFY(!page.contains("Accelerometer x: N"));
}

void TestReportPage::pdfHasPages()
{
    std::vector<std::vector<Topic>> topics;
    topics.push_back(topicsOf(m_report));
    const QByteArray pdf = pdfOf({m_report}, topics);
    QVERIFY(pdf.startsWith("%PDF-"));
    const int pages = pdf.count("/Type /Page\n");
    QVERIFY2(pages >= 8, qPrintable(QString::number(pages)));
}

QTEST_MAIN(TestReportPage)
#include "tst_report_page.moc"
