#include "report/figures.h"
#include "report/page.h"
#include "report/page_parts.h"
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
    topics.reserve(reports.size());
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

/// Number of lines of text that are drawn on the pages of a PDF file.
int drawnTextsIn(const QByteArray& pdf)
{
    const QByteArray begin = ">>\nstream\n";
    int count = 0;
    for (int at = pdf.indexOf(begin); at >= 0; at = pdf.indexOf(begin, at)) {
        at += begin.size();
        const QByteArray stream = pdf.mid(at, pdf.indexOf("endstream", at) - at);
        if (stream.startsWith('\x78')) { // compressed, behind a size that need not be exact
            count += qUncompress(QByteArray("\0\x10\0\0", 4) + stream).count("\nBT\n");
        }
    }
    return count;
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
    void numbersHaveTheirUnits_data();
    void numbersHaveTheirUnits();
    void meanOfAMovingCameraIsThatOfAllRows();
    void textsFromTheFileAreEscaped();
    void definitionsHaveFormulas_data();
    void definitionsHaveFormulas();
    void gradesOfTheResidualAreStated();
    void limitsOfRestAreStated();
    void recordingsStandSideBySide();
    void recordingsShareTheirAxes();
    void stuckSensorHasAPage();
    void pdfHasPages();
    void pdfHasTheTitleOfEachTopic();

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
    QVERIFY(m_page.contains(
        QRegularExpression("</svg>\\s*<figcaption>[^<]*" + QRegularExpression::escape(caption))));
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

void TestReportPage::numbersHaveTheirUnits_data()
{
    QTest::addColumn<QString>("unit");
    QTest::addColumn<QString>("value");
    QTest::newRow("rate of the rows") << "Hz"
                                      << "400.000";
    QTest::newRow("missing samples") << ""
                                     << "400";
    QTest::newRow("gaps") << ""
                          << "1";
    QTest::newRow("jitter") << "µs"
                            << "12.5";
    for (const QString axis : {"x", "y", "z"}) {
        for (const auto& [sensor, unit, slope] :
             {std::array<QString, 3>{"Accelerometer ", "m/s²", "m/s³/√Hz"},
              std::array<QString, 3>{"Gyroscope ", "°/s", "°/s²/√Hz"}}) {
            const auto add = [&, head = sensor + axis + ": "](const char* name, const QString& of,
                                                              const char* value) {
                QTest::newRow(qPrintable(head + name)) << of << value;
            };
            add("noise density N", unit + "/√Hz", "0.001250 (0.001125 to 0.001375)");
            add("bias instability B", unit, "not observable");
            add("random walk K", slope, "0.002500 (0.002000 to 0.003000)");
            add("mean at rest", unit, "-0.12346");
            add("standard deviation at rest", unit, "0.01235");
        }
    }
    QTest::newRow("Magnetometer: offset (hard iron) x / y / z") << "µT"
                                                                << "18.50 / -24.00 / 11.50";
    QTest::newRow("Magnetometer: radii x / y / z") << "µT"
                                                   << "50.88 / 44.64 / 48.96";
    QTest::newRow("Magnetometer: residual, one radius per axis") << "µT RMS"
                                                                 << "0.500";
    QTest::newRow("Magnetometer: residual with cross terms") << "µT RMS"
                                                             << "0.125";
    QTest::newRow("Magnetometer: gain of the cross terms, which a camera cannot store") << "%"
                                                                                        << "75.0";
    QTest::newRow("Magnetometer: residual before any correction") << "µT RMS"
                                                                  << "14.2";
    QTest::newRow("Magnetometer: empty areas") << "of 100"
                                               << "4.00";
    QTest::newRow("Magnetometer: relative spread of the strength") << "%"
                                                                   << "1.25";
    QTest::newRow("Magnetometer: wobble") << "%"
                                          << "2.50";
    QTest::newRow("Magnetometer: fit error") << "%"
                                             << "3.75";
    QTest::newRow("Six positions: bias x / y / z")
        << "m/s²"
        << "0.01000 / -0.02000 / 0.1250 ± 0.0010 / 0.0020 / 0.0030";
    QTest::newRow("Six positions: scale x / y / z")
        << ""
        << "1.00100 / 0.998500 / 1.00000 ± 0.00010 / 0.00020 / 0.00030";
    QTest::newRow("Six positions: misalignment of axis x towards x / y / z")
        << "mrad"
        << "0 / 1.000 / 2.000 ± 0.50";
    QTest::newRow("Six positions: misalignment of axis y towards x / y / z")
        << "mrad"
        << "3.000 / 0 / 5.000 ± 0.50";
    QTest::newRow("Six positions: misalignment of axis z towards x / y / z")
        << "mrad"
        << "6.000 / 7.000 / 0 ± 0.50";
    QTest::newRow("Six positions: residual") << "m/s² RMS"
                                             << "0.00125";
}

void TestReportPage::numbersHaveTheirUnits()
{
    RecordingReport report = m_report;
    report.timing.rateHz = 400.0;
    report.timing.missingSamples = 400;
    report.gapCount = 1;
    report.timing.jitterSeconds = 12.5e-6;
    for (auto* const sensor : {&*report.accelerometer, &*report.gyroscope}) {
        for (AxisReport& axis : sensor->axes) {
            axis.noise.model.noiseDensity = {1.25e-3, 1.125e-3, 1.375e-3, {}};
            axis.noise.model.biasInstability = {};
            axis.noise.model.randomWalk = {2.5e-3, 2e-3, 3e-3, {}};
            axis.mean = -0.123456;
            axis.deviation = 0.0123456;
        }
    }
    analysis::MagnetometerReport& fit = *report.magnetometer->fit;
    fit.aligned.offset = {18.5, -24.0, 11.5};
    fit.aligned.radii = {50.88, 44.64, 48.96};
    fit.aligned.residualRms = 0.5;
    fit.full->residualRms = 0.125;
    fit.lengthRmsBefore = 14.2;
    fit.quality.gaps = 4.0;
    fit.quality.variance = 1.25;
    fit.quality.wobble = 2.5;
    fit.quality.fitError = 3.75;
    report.sixPositions.emplace();
    report.sixPositions->bias = {0.01, -0.02, 0.125};
    report.sixPositions->biasError = {0.001, 0.002, 0.003};
    report.sixPositions->scale = {1.001, 0.9985, 1.0};
    report.sixPositions->scaleError = {1e-4, 2e-4, 3e-4};
    report.sixPositions->misalignment << 0.0, 0.001, 0.002, 0.003, 0.0, 0.005, 0.006, 0.007, 0.0;
    report.sixPositions->misalignmentError = 5e-4;
    report.sixPositions->residualRms = 1.25e-3;
    QFETCH(QString, unit);
    QFETCH(QString, value);
    const QString name = QTest::currentDataTag();
    const QString row = "<tr><td>" + name + "</td><td class=\"number\">" + value + "</td><td>" +
                        unit + "</td></tr>\n";
    const QString table = numbersHtml({report});
    const int at = table.indexOf("<td>" + name + "</td>");
    QVERIFY(at > 0);
    QCOMPARE(table.mid(at - 4, table.indexOf('\n', at) + 5 - at), row);
}

void TestReportPage::meanOfAMovingCameraIsThatOfAllRows()
{
    RecordingReport report = m_report;
    AxisReport& axis = report.gyroscope->axes[2];
    axis.mean = -10.0;
    axis.deviation = 40.0;
    const auto cellOf = [&report](const QString& name) {
        const QString table = numbersHtml({report});
        const QString head = "<td>Gyroscope z: " + name + "</td><td class=\"number\">";
        const int begin = table.indexOf(head) + head.size();
        return table.mid(begin, table.indexOf("</td>", begin) - begin);
    };
    QCOMPARE(cellOf("mean at rest"), QString("-10.000"));
    QCOMPARE(cellOf("standard deviation at rest"), QString("40.00"));
    report.rest.reset();
    QCOMPARE(cellOf("mean at rest"), QString("-10.000 (no rest: all rows)"));
    QCOMPARE(cellOf("standard deviation at rest"), QString("40.00 (no rest: all rows)"));
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
                             "Residual", "Relative spread of the strength", "Wobble", "Fit error",
                             "Magnetometer: fit", "Six positions", "68 % interval"}) {
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

void TestReportPage::limitsOfRestAreStated()
{
    QVERIFY(m_page.contains(QStringLiteral("on each axis by no more than 0.3 m/s² and 2 °/s or, if "
                                           "this is more, by no more than the noise explains")));
    QVERIFY(m_page.contains(QStringLiteral("about each axis is at most 20 °/s.")));
}

void TestReportPage::gradesOfTheResidualAreStated()
{
    QVERIFY(m_page.contains(QStringLiteral("Up to 0.4 µT it is excellent, up to 0.8 µT good, up to "
                                           "1.6 µT usable, up to 3.2 µT poor.</dd>")));
}

void TestReportPage::recordingsStandSideBySide()
{
    analysis::Recording other = recordings::atRest(20'000);
    other.angularVelocity = {};
    RecordingReport second = analyse(other, {});
    second.path = "second.csv";
    const QString page = pageOver({m_report, second});
    QVERIFY(page.contains("<th>1: at-rest.csv</th><th>2: second.csv</th>"));
    std::set<std::string> rows;
    for (const Verdict& verdict : second.verdicts) {
        rows.insert(verdict.what);
    }
    QVERIFY(!rows.empty());
    for (const std::string& what : rows) {
        QCOMPARE(page.count("<tr><td>" + QString::fromStdString(what).toHtmlEscaped() + "</td>"),
                 1);
    }
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

void TestReportPage::pdfHasTheTitleOfEachTopic()
{
    std::vector<std::vector<Topic>> topics;
    topics.push_back(topicsOf(m_report));
    const int all = drawnTextsIn(pdfOf({m_report}, topics));
    int shown = 0;
    for (Topic& topic : topics.front()) {
        topic.title.clear();
        shown += topic.figures.empty() ? 0 : 1;
    }
    QVERIFY(shown > 3);
    QCOMPARE(drawnTextsIn(pdfOf({m_report}, topics)), all - shown);
}

QTEST_MAIN(TestReportPage)
#include "tst_report_page.moc"
