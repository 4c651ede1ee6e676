#include "report/page.h"

#include "report/number_text.h"
#include "report/page_parts.h"
#include "report/svg.h"

#include <QFileInfo>

namespace report {

namespace {

QString figureHtml(Figure& figure, const QString& prefix)
{
    return "<figure>\n" + QString::fromUtf8(svgOf(*figure.plot, prefix, figure.caption)) +
           "<figcaption>" + figure.caption.toHtmlEscaped() + "</figcaption></figure>\n";
}

/// The figures of a topic. Those of several recordings are side by side.
QString topicHtml(std::vector<std::vector<Topic>>& recordings, std::size_t topic,
                  const std::vector<RecordingReport>& reports)
{
    const std::vector<QString> ids = figureIdsOf(recordings, topic);
    if (ids.empty()) {
        return {};
    }
    QString html = "<h2 id=\"" + recordings.front()[topic].id + "\">" +
                   recordings.front()[topic].title + "</h2>\n";
    if (recordings.size() == 1) {
        html += "<div class=\"figures\">\n";
        for (const QString& id : ids) {
            html += figureHtml(*findFigure(recordings.front()[topic], id), "r1-" + id);
        }
        return html + "</div>\n";
    }
    for (const QString& id : ids) {
        html += "<div class=\"pair\">\n";
        for (std::size_t i = 0; i < recordings.size(); ++i) {
            const QString head = "<p class=\"about\">" + QString::number(i + 1) + ": " +
                                 nameOfRecording(reports[i]).toHtmlEscaped() + "</p>";
            Figure* const figure = findFigure(recordings[i][topic], id);
            html += "<div>" + head +
                    (figure != nullptr
                         ? figureHtml(*figure, "r" + QString::number(i + 1) + "-" + id)
                         : QString("<p class=\"missing\">The recording has no data for this "
                                   "plot.</p>")) +
                    "</div>\n";
        }
        html += "</div>\n";
    }
    return html;
}

QString aboutHtml(const RecordingReport& report, const QString& count)
{
    const analysis::ReadReport& read = report.read;
    return "<p class=\"about\">" + count + escaped(report.path) +
           (report.model.empty() ? QString() : ": " + escaped(report.model)) +
           (report.serial.empty() ? QString() : ", serial number " + escaped(report.serial)) +
           ". " + escaped(durationText(report.timing.durationSeconds)) + ", " +
           escaped(number(read.rows)) + " rows at " + escaped(number(report.timing.rateHz)) +
           " Hz. Overall: <span class=\"state " + classOf(report.overall()) + "\">" +
           stateText(report.overall()) + "</span></p>\n";
}

} // namespace

QString nameOfRecording(const RecordingReport& report)
{
    return report.serial.empty() ? QFileInfo(text(report.path)).fileName()
                                 : text(report.model) + " " + text(report.serial);
}

QByteArray pageOf(const std::vector<RecordingReport>& reports,
                  std::vector<std::vector<Topic>>& topics)
{
    QString title = "Sensor report";
    if (reports.size() == 1) {
        title += ": " + nameOfRecording(reports.front());
    } else {
        title += ": " + QString::number(reports.size()) + " recordings";
    }
    QString html =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
        "'unsafe-inline'\">\n<title>" +
        title.toHtmlEscaped() + "</title>\n<style>" + pageStyle + "</style>\n</head>\n<body>\n";
    html += warningsHtml(reports);
    html += "<h1>" + title.toHtmlEscaped() + "</h1>\n";
    for (std::size_t i = 0; i < reports.size(); ++i) {
        html +=
            aboutHtml(reports[i], reports.size() > 1 ? QString::number(i + 1) + ": " : QString());
    }
    html += "<h2 id=\"verdicts\">Verdicts</h2>\n" + verdictsHtml(reports);
    html += "<h2 id=\"numbers\">Numbers</h2>\n" + numbersHtml(reports);
    for (std::size_t topic = 0; topic < topics.front().size(); ++topic) {
        html += topicHtml(topics, topic, reports);
    }
    html += "<h2 id=\"definitions\">Definitions</h2>\n" + definitionsHtml();
    html += "</body>\n</html>\n";
    return html.toUtf8();
}

} // namespace report
