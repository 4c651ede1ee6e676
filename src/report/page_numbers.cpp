#include "report/inertial_sensors.h"
#include "report/number_text.h"
#include "report/page.h"
#include "report/page_parts.h"

#include <vector>

namespace report {

namespace {

using analysis::Coefficient;
using analysis::NoiseModel;

/// The verdicts have the reason why a coefficient is not observable.
QString valueHtml(const Coefficient& coefficient)
{
    if (!coefficient.value) {
        return QStringLiteral("not observable");
    }
    return escaped(number(*coefficient.value, 4)) + " (" + escaped(number(coefficient.low, 4)) +
           " to " + escaped(number(coefficient.high, 4)) + ")";
}

/// The remark on a value of the rest that is one of all rows.
QString partOf(const RecordingReport& report)
{
    return report.rest ? QString() : QStringLiteral(" (no rest: all rows)");
}

struct Row
{
    QString name;
    QString unit;
    std::vector<QString> values; ///< HTML, one per recording
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

void addNoise(std::vector<Row>& rows, const std::vector<RecordingReport>& reports)
{
    for (const InertialSensor& sensor : inertialSensors) {
        const auto unit = QString::fromUtf8(sensor.unit);
        for (std::size_t i = 0; i < 3; ++i) {
            const auto axisRow = [&](const QString& name, const QString& rowUnit,
                                     const auto& value) {
                addRow(rows, reports, QString(sensor.name) + " " + axisNames.at(i) + ": " + name,
                       rowUnit, [&](const RecordingReport& report) {
                           const auto& inertial = report.*sensor.report;
                           return inertial ? value(report, inertial->axes.at(i)) : QString();
                       });
            };
            const auto coefficient = [&](const char* name, const QString& rowUnit,
                                         Coefficient NoiseModel::*member) {
                axisRow(name, rowUnit, [&](const RecordingReport&, const AxisReport& axis) {
                    return valueHtml(axis.noise.model.*member);
                });
            };
            coefficient("noise density N", unit + "/√Hz", &NoiseModel::noiseDensity);
            coefficient("bias instability B", unit, &NoiseModel::biasInstability);
            coefficient("random walk K", QString::fromUtf8(sensor.walkUnit),
                        &NoiseModel::randomWalk);
            axisRow("mean at rest", unit,
                    [](const RecordingReport& report, const AxisReport& axis) {
                        return escaped(number(axis.mean, 5)) + partOf(report);
                    });
            axisRow("standard deviation at rest", unit,
                    [](const RecordingReport& report, const AxisReport& axis) {
                        return escaped(number(axis.deviation, 4)) + partOf(report);
                    });
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
    row("residual, one radius per axis", "µT RMS",
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
    row("empty areas", "of 100",
        [](const MagnetometerReport& fit) { return escaped(number(fit.quality.gaps, 3)); });
    row("relative spread of the strength", "%",
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

} // namespace

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
    return "<p class=\"about\">In brackets the 68 % interval.</p>\n" + tableOf(rows, reports);
}

} // namespace report
