#include "report/page.h"

#include "report/number_text.h"
#include "report/svg.h"
#include "report/verdicts.h"

#include <QFileInfo>

#include <algorithm>
#include <array>
#include <optional>

namespace report {

namespace {

using analysis::Coefficient;
using analysis::NoiseModel;

constexpr std::array<const char*, 3> axisNames{"x", "y", "z"};

const char style[] = R"(
:root { color-scheme: light; }
* { box-sizing: border-box; }
body { margin: 0 auto; padding: 1rem; max-width: 80rem; color: #202020; background: #ffffff;
  font: 1rem/1.45 system-ui, sans-serif; overflow-wrap: break-word; }
h1 { font-size: 1.6rem; margin: 0.4em 0; }
h2 { font-size: 1.25rem; margin: 1.6em 0 0.4em; border-bottom: 1px solid #b0b0b0; }
h3 { font-size: 1.05rem; margin: 1.2em 0 0.3em; }
.warning { border: 2px solid #a04000; background: #fff4e5; padding: 0.6em 0.8em; margin: 0 0 1em; }
.about { color: #404040; margin: 0.2em 0; }
table { border-collapse: collapse; width: 100%; }
caption { text-align: left; color: #404040; padding: 0.3em 0; }
th, td { border: 1px solid #c0c0c0; padding: 0.35em 0.5em; text-align: left; vertical-align: top; }
th { background: #f2f2f2; font-weight: 600; }
td.number { font-variant-numeric: tabular-nums; white-space: nowrap; }
.wide { overflow-x: auto; }
.state { font-weight: 600; white-space: nowrap; }
.passed { color: #00563b; } .warned { color: #7a4300; } .failed { color: #a30000; }
.unknown { color: #4a4a4a; }
.figures { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(27rem, 100%), 1fr)); gap: 1rem; }
.pair { display: grid; gap: 1rem; margin-bottom: 1rem; grid-template-columns: repeat(auto-fit, minmax(min(24rem, 100%), 1fr)); }
figure { margin: 0; border: 1px solid #dddddd; padding: 0.5rem; break-inside: avoid; }
figure svg { display: block; width: 100%; height: auto; font-family: system-ui, sans-serif; }
figcaption { font-size: 0.9rem; margin-top: 0.3em; }
.missing { color: #4a4a4a; padding: 1rem; }
dt { font-weight: 600; margin-top: 0.7em; } dd { margin: 0.1em 0 0 1.2em; }
.formula { font-family: "Cambria Math", "STIX Two Math", Georgia, serif; display: block; margin: 0.2em 0 0.2em 1em; }
@media (max-width: 45rem) {
  body { padding: 0.6rem; }
  table.stack, table.stack tbody, table.stack tr, table.stack td { display: block; width: 100%; }
  table.stack thead { display: none; }
  table.stack tr { border: 1px solid #b0b0b0; margin-bottom: 0.6rem; }
  table.stack td { border: 0; padding: 0.2em 0.5em; }
  table.stack td::before { content: attr(data-label) ": "; color: #4a4a4a; }
  table.stack td.state::before, table.stack td.what::before { content: none; }
  td.number { white-space: normal; }
}
@media print {
  body { max-width: none; padding: 0; font-size: 9.5pt; }
  h2, h3 { break-after: avoid; }
  tr { break-inside: avoid; }
  .figures, .pair { display: block; }
  figure { display: inline-block; width: 48.5%; margin: 0 0.5% 0.6rem; vertical-align: top; }
  .wide { overflow: visible; }
  td.number { white-space: normal; }
}
)";

QString text(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

QString escaped(const std::string& utf8)
{
    return text(utf8).toHtmlEscaped();
}

const char* classOf(STATE state)
{
    switch (state) {
    case STATE::PASSED:
        return "passed";
    case STATE::WARNED:
        return "warned";
    case STATE::FAILED:
        return "failed";
    case STATE::UNKNOWN:
        break;
    }
    return "unknown";
}

/// A sign and a word: the state does not show by its colour alone.
QString stateText(STATE state)
{
    const std::array<const char*, 4> signs{"\u2713", "!", "\u2717", "\u2013"};
    return QString::fromUtf8(signs.at(static_cast<std::size_t>(state))) + " " + nameOf(state);
}

QString stateCell(STATE state)
{
    return QStringLiteral("<td class=\"state %1\">%2</td>").arg(classOf(state), stateText(state));
}

QString cell(const char* label, const QString& escapedText, const char* kind = "")
{
    return QStringLiteral("<td class=\"%1\" data-label=\"%2\">%3</td>")
        .arg(kind, label, escapedText);
}

QString verdictsOfOne(const RecordingReport& report)
{
    QString html =
        "<table class=\"stack\" border=\"1\" cellspacing=\"0\" cellpadding=\"4\"><thead><tr>"
        "<th>Verdict</th><th>What</th><th>Value</th><th>Limit</th><th>Why</th></tr></"
        "thead><tbody>\n";
    for (const Verdict& verdict : report.verdicts) {
        html += "<tr>" + stateCell(verdict.state) + cell("What", escaped(verdict.what), "what") +
                cell("Value", escaped(verdict.value)) + cell("Limit", escaped(verdict.limit)) +
                cell("Why", escaped(verdict.why)) + "</tr>\n";
    }
    return html + "</tbody></table>\n";
}

QString headsOf(const std::vector<RecordingReport>& reports)
{
    QString html;
    for (std::size_t i = 0; i < reports.size(); ++i) {
        html += "<th>" + QString::number(i + 1) + ": " +
                nameOfRecording(reports[i]).toHtmlEscaped() + "</th>";
    }
    return html;
}

/// One row a verdict that any of the recordings has.
QString verdictsOfSeveral(const std::vector<RecordingReport>& reports)
{
    std::vector<const Verdict*> rows;
    const auto find = [](const std::vector<Verdict>& verdicts, const std::string& id) {
        for (const Verdict& verdict : verdicts) {
            if (verdict.id == id) {
                return &verdict;
            }
        }
        return static_cast<const Verdict*>(nullptr);
    };
    for (const RecordingReport& report : reports) {
        for (const Verdict& verdict : report.verdicts) {
            bool known = false;
            for (const Verdict* const row : rows) {
                known = known || row->id == verdict.id;
            }
            if (!known) {
                rows.push_back(&verdict);
            }
        }
    }
    // The worst first, whichever recording has it.
    const auto rank = [&](const std::string& id) {
        int worst = rankOf(STATE::UNKNOWN);
        for (const RecordingReport& report : reports) {
            if (const Verdict* const verdict = find(report.verdicts, id)) {
                worst = std::min(worst, rankOf(verdict->state));
            }
        }
        return worst;
    };
    std::stable_sort(rows.begin(), rows.end(),
                     [&](const Verdict* a, const Verdict* b) { return rank(a->id) < rank(b->id); });
    QString html = "<div class=\"wide\"><table border=\"1\" cellspacing=\"0\" "
                   "cellpadding=\"4\"><thead><tr><th>What</th>" +
                   headsOf(reports) + "<th>Limit</th></tr></thead><tbody>\n";
    for (const Verdict* const row : rows) {
        html += "<tr><td>" + escaped(row->what) + "</td>";
        for (const RecordingReport& report : reports) {
            if (const Verdict* const verdict = find(report.verdicts, row->id)) {
                html += QStringLiteral("<td><span class=\"state %1\">%2</span><br>%3</td>")
                            .arg(classOf(verdict->state), stateText(verdict->state),
                                 escaped(verdict->value));
            } else {
                html += "<td>-</td>";
            }
        }
        html += "<td>" + escaped(row->limit) + "</td></tr>\n";
    }
    return html + "</tbody></table></div>\n";
}

/// What is not observable has its reason in the verdicts.
QString valueHtml(const Coefficient& coefficient)
{
    if (!coefficient.value) {
        return QStringLiteral("not observable");
    }
    return escaped(number(*coefficient.value, 4)) + " (" + escaped(number(coefficient.low, 4)) +
           " to " + escaped(number(coefficient.high, 4)) + ")";
}

struct Row
{
    QString name;
    QString unit;
    std::vector<QString> values; ///< HTML, one a recording
};

template <typename Value>
void addRow(std::vector<Row>& rows, const std::vector<RecordingReport>& reports,
            const QString& name, const QString& unit, const Value& value)
{
    Row row{name, unit, {}};
    bool any = false;
    for (const RecordingReport& report : reports) {
        row.values.push_back(value(report));
        any = any || !row.values.back().isEmpty();
    }
    if (any) {
        rows.push_back(row);
    }
}

QString tableOf(const std::vector<Row>& rows, const std::vector<RecordingReport>& reports)
{
    QString html = "<div class=\"wide\"><table border=\"1\" cellspacing=\"0\" "
                   "cellpadding=\"4\"><thead><tr><th>Number</th>" +
                   (reports.size() > 1 ? headsOf(reports) : QString("<th>Value</th>")) +
                   "<th>Unit</th></tr></thead><tbody>\n";
    for (const Row& row : rows) {
        html += "<tr><td>" + row.name + "</td>";
        for (const QString& value : row.values) {
            html += "<td class=\"number\">" + (value.isEmpty() ? QString("-") : value) + "</td>";
        }
        html += "<td>" + row.unit + "</td></tr>\n";
    }
    return html + "</tbody></table></div>\n";
}

struct Sensor
{
    const char* name;
    const char* unit;
    const char* walkUnit;
    std::optional<InertialReport> RecordingReport::*member;
};

constexpr std::array<Sensor, 2> sensors{
    {{"Accelerometer", "m/s²", "m/s³/√Hz", &RecordingReport::accelerometer},
     {"Gyroscope", "°/s", "°/s²/√Hz", &RecordingReport::gyroscope}}};

void addNoise(std::vector<Row>& rows, const std::vector<RecordingReport>& reports)
{
    for (const Sensor& sensor : sensors) {
        const auto unit = QString::fromUtf8(sensor.unit);
        for (std::size_t i = 0; i < 3; ++i) {
            const auto axisRow = [&](const QString& name, const QString& rowUnit,
                                     const auto& value) {
                addRow(rows, reports, QString(sensor.name) + " " + axisNames.at(i) + ": " + name,
                       rowUnit, [&](const RecordingReport& report) {
                           const auto& inertial = report.*sensor.member;
                           return inertial ? value(inertial->axes.at(i)) : QString();
                       });
            };
            const auto coefficient = [&](const char* name, const QString& rowUnit,
                                         Coefficient NoiseModel::*member) {
                axisRow(name, rowUnit, [&](const AxisReport& axis) {
                    return valueHtml(axis.noise.model.*member);
                });
            };
            coefficient("noise density N", unit + "/√Hz", &NoiseModel::noiseDensity);
            coefficient("bias instability B", unit, &NoiseModel::biasInstability);
            coefficient("random walk K", QString::fromUtf8(sensor.walkUnit),
                        &NoiseModel::randomWalk);
            axisRow("mean", unit,
                    [](const AxisReport& axis) { return escaped(number(axis.mean, 5)); });
            axisRow("standard deviation", unit,
                    [](const AxisReport& axis) { return escaped(number(axis.deviation, 4)); });
        }
    }
}

QString vectorHtml(const Eigen::Vector3d& vector, int digits)
{
    return escaped(number(vector[0], digits) + " / " + number(vector[1], digits) + " / " +
                   number(vector[2], digits));
}

void addMagnetometer(std::vector<Row>& rows, const std::vector<RecordingReport>& reports)
{
    using analysis::MagnetometerReport;
    const auto row = [&](const QString& name, const QString& unit, const auto& value) {
        addRow(rows, reports, "Magnetometer: " + name, unit, [&](const RecordingReport& report) {
            return report.magnetometer && report.magnetometer->fit
                       ? value(*report.magnetometer->fit)
                       : QString();
        });
    };
    row("offset (hard iron) x / y / z", "µT",
        [](const MagnetometerReport& fit) { return vectorHtml(fit.aligned.offset, 4); });
    row("radii x / y / z", "µT",
        [](const MagnetometerReport& fit) { return vectorHtml(fit.aligned.radii, 4); });
    row("residual, one radius an axis", "µT RMS",
        [](const MagnetometerReport& fit) { return escaped(number(fit.aligned.residualRms, 3)); });
    row("residual with cross terms", "µT RMS", [](const MagnetometerReport& fit) {
        return fit.full ? escaped(number(fit.full->residualRms, 3)) : QString("not observable");
    });
    row("gain of the cross terms, which a camera cannot store", "%",
        [](const MagnetometerReport& fit) {
            return fit.full && fit.aligned.residualRms > 0.0
                       ? escaped(number(
                             100.0 * (1.0 - fit.full->residualRms / fit.aligned.residualRms), 3))
                       : QString("not observable");
        });
    row("residual before any correction", "µT RMS",
        [](const MagnetometerReport& fit) { return escaped(number(fit.lengthRmsBefore, 3)); });
    row("gaps", "% of 100 areas",
        [](const MagnetometerReport& fit) { return escaped(number(fit.quality.gaps, 3)); });
    row("variance", "%",
        [](const MagnetometerReport& fit) { return escaped(number(fit.quality.variance, 3)); });
    row("wobble", "%",
        [](const MagnetometerReport& fit) { return escaped(number(fit.quality.wobble, 3)); });
    row("fit error", "%",
        [](const MagnetometerReport& fit) { return escaped(number(fit.quality.fitError, 3)); });
}

void addSixPositions(std::vector<Row>& rows, const std::vector<RecordingReport>& reports)
{
    using analysis::SixPositions;
    const auto row = [&](const QString& name, const QString& unit, const auto& value) {
        addRow(rows, reports, "Six positions: " + name, unit, [&](const RecordingReport& report) {
            return report.sixPositions ? value(*report.sixPositions) : QString();
        });
    };
    const auto withError = [](const Eigen::Vector3d& value, const Eigen::Vector3d& error,
                              int digits) {
        return vectorHtml(value, digits) + " ± " + vectorHtml(error, 2);
    };
    row("bias x / y / z", "m/s²",
        [&](const SixPositions& six) { return withError(six.bias, six.biasError, 4); });
    row("scale x / y / z", "",
        [&](const SixPositions& six) { return withError(six.scale, six.scaleError, 6); });
    constexpr double milli = 1e3;
    for (Eigen::Index i = 0; i < 3; ++i) {
        row(QString("misalignment of axis ") + axisNames.at(static_cast<std::size_t>(i)) +
                " towards x / y / z",
            "mrad", [&](const SixPositions& six) {
                return vectorHtml(milli * six.misalignment.row(i).transpose(), 4) + " ± " +
                       escaped(number(milli * six.misalignmentError, 2));
            });
    }
    row("residual", "m/s² RMS",
        [](const SixPositions& six) { return escaped(number(six.residualRms, 3)); });
}

QString figureHtml(Figure& figure, const QString& prefix)
{
    return "<figure>\n" + QString::fromUtf8(svgOf(*figure.plot, prefix, figure.caption)) +
           "<figcaption>" + figure.caption.toHtmlEscaped() + "</figcaption></figure>\n";
}

Figure* findFigure(std::vector<Topic>& topics, std::size_t topic, const QString& id)
{
    for (Figure& figure : topics[topic].figures) {
        if (figure.id == id) {
            return &figure;
        }
    }
    return nullptr;
}

/// The figures of a topic: of several recordings the same ones side by side.
QString topicHtml(std::vector<std::vector<Topic>>& recordings, std::size_t topic,
                  const std::vector<RecordingReport>& reports)
{
    std::vector<QString> ids;
    for (const std::vector<Topic>& topics : recordings) {
        for (const Figure& figure : topics[topic].figures) {
            if (std::find(ids.begin(), ids.end(), figure.id) == ids.end()) {
                ids.push_back(figure.id);
            }
        }
    }
    if (ids.empty()) {
        return {};
    }
    QString html = "<h2 id=\"" + recordings.front()[topic].id + "\">" +
                   recordings.front()[topic].title + "</h2>\n";
    if (recordings.size() == 1) {
        html += "<div class=\"figures\">\n";
        for (const QString& id : ids) {
            html += figureHtml(*findFigure(recordings.front(), topic, id), "r1-" + id);
        }
        return html + "</div>\n";
    }
    for (const QString& id : ids) {
        html += "<div class=\"pair\">\n";
        for (std::size_t i = 0; i < recordings.size(); ++i) {
            const QString head = "<p class=\"about\">" + QString::number(i + 1) + ": " +
                                 nameOfRecording(reports[i]).toHtmlEscaped() + "</p>";
            Figure* const figure = findFigure(recordings[i], topic, id);
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

QString warningsHtml(const std::vector<RecordingReport>& reports)
{
    QString html;
    for (const RecordingReport& report : reports) {
        if (!report.warning.empty()) {
            const QString name =
                reports.size() > 1 ? nameOfRecording(report).toHtmlEscaped() + ": " : QString();
            html += "<p class=\"warning\"><strong>Warning.</strong> " + name +
                    escaped(report.warning) + "</p>\n";
        }
    }
    return html;
}

QString verdictsHtml(const std::vector<RecordingReport>& reports)
{
    return reports.size() == 1 ? verdictsOfOne(reports.front()) : verdictsOfSeveral(reports);
}

QString numbersHtml(const std::vector<RecordingReport>& reports)
{
    std::vector<Row> rows;
    addRow(rows, reports, "rate of the rows", "Hz",
           [](const RecordingReport& report) { return escaped(number(report.timing.rateHz, 6)); });
    addRow(rows, reports, "missing samples", "", [](const RecordingReport& report) {
        return escaped(number(report.timing.missingSamples));
    });
    addRow(rows, reports, "gaps", "", [](const RecordingReport& report) {
        return escaped(number(std::uint64_t{report.gapCount}));
    });
    addRow(rows, reports, "jitter", "µs", [](const RecordingReport& report) {
        return escaped(number(1e6 * report.timing.jitterSeconds, 3));
    });
    addNoise(rows, reports);
    addMagnetometer(rows, reports);
    addSixPositions(rows, reports);
    return tableOf(rows, reports);
}

QString definitionsHtml()
{
    // The formulas are those that the analysis computes.
    return QStringLiteral(
        "<dl>\n"
        "<dt>Axes</dt><dd>x to the right of the camera, y up, z backward.</dd>\n"
        "<dt>68 % interval</dt><dd>The true value lies in it in 68 of 100 recordings, as within "
        "one standard deviation. For a deviation σ with <i>d</i> equivalent degrees of freedom it "
        "is <span class=\"formula\">σ √(<i>d</i> / χ²(0.84, <i>d</i>)) to "
        "σ √(<i>d</i> / χ²(0.16, <i>d</i>))</span></dd>\n"
        "<dt>Missing sample, gap</dt><dd>A distance of rows Δ<i>t</i> holds round(Δ<i>t</i> / "
        "<i>T</i>) samples, with the median distance <i>T</i>. All but one of them are missing. In "
        "a "
        "decimated file those are not counted that the recorder has left out by its numbers.</dd>\n"
        "<dt>Rest</dt><dd>Seconds in which neither the mean acceleration nor the mean angular "
        "velocity jumps by more than 0.3 m/s² or 2 °/s, or than the noise explains. Noise is "
        "judged over the longest rest.</dd>\n"
        "<dt>Overlapping Allan deviation σ(τ)</dt><dd>With the integral <i>x</i> of the samples, "
        "τ = <i>m</i> τ<sub>0</sub> and <i>n</i> values of <i>x</i>:"
        "<span class=\"formula\">σ²(τ) = Σ (<i>x</i><sub>k+2m</sub> − 2 <i>x</i><sub>k+m</sub> + "
        "<i>x</i><sub>k</sub>)² / (2 τ² (<i>n</i> − 2<i>m</i>))</span>"
        "(W. J. Riley, NIST Special Publication 1065, 2008.)</dd>\n"
        "<dt>Noise density N, bias instability B, random walk K</dt><dd>The fit through σ(τ) is "
        "<span class=\"formula\">σ²(τ) = 3 Q²/τ² + N²/τ + (2 ln 2/π) B² + K² τ/3 + R² τ²/2"
        "</span>(IEEE Std 952-1997, annex C, with quantisation Q and ramp R.) N is its line of "
        "slope "
        "−1/2 at τ = 1 s, K its line of slope +1/2 at τ = 3 s, B the minimum of σ over 0.664. A "
        "coefficient whose slope is not in the data is not observable. Lines of the spectrum, as "
        "of a "
        "vibration, are taken out before: they are no noise.</dd>\n"
        "<dt>Amplitude density</dt><dd>Root of the one-sided power density by Welch's method: "
        "segments of up to 8192 samples that overlap by half, under a Hann window. White noise of "
        "density N has the amplitude density √2 N.</dd>\n"
        "<dt>Magnetometer: fit</dt><dd>Offset <b>o</b> and shape <b>S</b> of the ellipsoid on "
        "which "
        "the readings lie. <b>S</b> is diagonal, as a camera stores it, or symmetric with cross "
        "terms. The correction with the radius <i>r</i> of the sphere of equal volume is"
        "<span class=\"formula\"><b>c</b> = <i>r</i> <b>S</b><sup>−1</sup> (<b>p</b> − <b>o</b>)"
        "</span></dd>\n"
        "<dt>Residual</dt><dd><span class=\"formula\">√( mean of (|<b>c</b>| − <i>r</i>)² )</span>"
        "Up to 0.4 µT it is excellent, up to 0.8 µT good, up to 1.6 µT usable, up to 3.2 µT "
        "poor.</dd>\n"
        "<dt>Gaps</dt><dd>Share of 100 equal areas of the sphere without a reading: 10 slices of "
        "equal height, each in 10 sectors.</dd>\n"
        "<dt>Variance</dt><dd><span class=\"formula\">100 % · standard deviation of |<b>c</b>| / "
        "mean "
        "of |<b>c</b>|</span></dd>\n"
        "<dt>Wobble</dt><dd>With the mean <b>m</b> of the areas' mean readings, over areas that "
        "have "
        "a reading and whose opposite has one: <span class=\"formula\">100 % · 3 |<b>m</b>| / "
        "<i>r</i></span></dd>\n"
        "<dt>Fit error</dt><dd><span class=\"formula\">100 % · residual / <i>r</i></span></dd>\n"
        "<dt>Six positions</dt><dd>Least squares over the means <b>a</b> of the rests, each with "
        "gravity <b>g</b> along its nearest axis: <span class=\"formula\"><b>a</b> = (<b>I</b> + "
        "<b>E</b>) <b>g</b> + <b>b</b></span>The bias is <b>b</b>, the scale of an axis "
        "1 + E<sub>ii</sub>, its misalignment towards another E<sub>ik</sub>.</dd>\n"
        "<dt>Limits</dt><dd>A limit that is marked as ours has no standard behind it. Those of "
        "noise "
        "follow what data sheets of inertial sensors of silicon state: the first is that of the "
        "better ones, the second the worst that is common in devices for consumers.</dd>\n"
        "</dl>\n");
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
        title.toHtmlEscaped() + "</title>\n<style>" + style + "</style>\n</head>\n<body>\n";
    html += warningsHtml(reports);
    html += "<h1>" + title.toHtmlEscaped() + "</h1>\n";
    for (std::size_t i = 0; i < reports.size(); ++i) {
        html +=
            aboutHtml(reports[i], reports.size() > 1 ? QString::number(i + 1) + ": " : QString());
    }
    html += "<h2 id=\"verdicts\">Verdicts</h2>\n" + verdictsHtml(reports);
    html += "<h2 id=\"numbers\">Numbers</h2>\n<p class=\"about\">In brackets the 68 % "
            "interval.</p>\n" +
            numbersHtml(reports);
    for (std::size_t topic = 0; topic < topics.front().size(); ++topic) {
        html += topicHtml(topics, topic, reports);
    }
    html += "<h2 id=\"definitions\">Definitions</h2>\n" + definitionsHtml();
    html += "</body>\n</html>\n";
    return html.toUtf8();
}

} // namespace report
