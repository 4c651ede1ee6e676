#include "calibration/magcalibdlg.h"

#include "calibration/calibplot.h"
#include "calibration/chart_math.h"
#include "calibration/sharp_symbol.h"
#include "ui_magcalibdlg.h"

#include <QBrush>
#include <QColor>
#include <QPen>

#include <qwt_plot_curve.h>
#include <qwt_symbol.h>

/// One curve of the plots.
struct MagCalibDlg::CurveRow
{
    QwtPlotCurve* MagCalibDlg::*curve;
    QwtSymbol* MagCalibDlg::*symbol;
    const char* title;
    QVector<double> MagCalibDlg::*x;
    QVector<double> MagCalibDlg::*y;
    CalibPlot::_plane plane; // determines the colour of the diamonds
    bool lastOnly;           // a star on the last sample
    CalibPlot* Ui_MagCalibDlg::*plot;
};

/// In the order of attachment, which is that of painting within a plot.
const std::array<MagCalibDlg::CurveRow, 12>& MagCalibDlg::curveTable()
{
    using D = MagCalibDlg;
    using P = CalibPlot;
    using U = Ui_MagCalibDlg;
    constexpr bool all = false;
    constexpr bool last = true;
    static const std::array<CurveRow, 12> table = {{
        {&D::curveMixedRawXY, &D::symbolMixedRawXY, "RAW Mag XY", &D::rawX, &D::rawY, P::PLANE_XY,
         all, &U::widget_plot_mixed_raw},
        {&D::curveMixedRawXZ, &D::symbolMixedRawXZ, "RAW Mag XZ", &D::rawX, &D::rawZ, P::PLANE_XZ,
         all, &U::widget_plot_mixed_raw},
        {&D::curveMixedRawYZ, &D::symbolMixedRawYZ, "RAW Mag YZ", &D::rawY, &D::rawZ, P::PLANE_YZ,
         all, &U::widget_plot_mixed_raw},
        {&D::curveCalXY, &D::symbolCalXY, "Calibrated Mag XY", &D::calX, &D::calY, P::PLANE_XY, all,
         &U::widget_plot_calibrated},
        {&D::curveCalXZ, &D::symbolCalXZ, "Calibrated Mag Xz", &D::calX, &D::calZ, P::PLANE_XZ, all,
         &U::widget_plot_calibrated},
        {&D::curveCalYZ, &D::symbolCalYZ, "Calibrated Mag YZ", &D::calY, &D::calZ, P::PLANE_YZ, all,
         &U::widget_plot_calibrated},
        {&D::curveRawXY, &D::symbolRawXY, "Raw Mag XY", &D::rawX, &D::rawY, P::PLANE_XY, all,
         &U::widget_plot_XY},
        {&D::curveLastXY, &D::symbolLastXY, "LastRaw Mag XY", &D::rawX, &D::rawY, P::PLANE_XY, last,
         &U::widget_plot_XY},
        {&D::curveRawXZ, &D::symbolRawXZ, "Raw Mag XZ", &D::rawX, &D::rawZ, P::PLANE_XZ, all,
         &U::widget_plot_XZ},
        {&D::curveLastXZ, &D::symbolLastXZ, "LastRaw Mag XZ", &D::rawX, &D::rawZ, P::PLANE_XZ, last,
         &U::widget_plot_XZ},
        {&D::curveRawYZ, &D::symbolRawYZ, "Raw Mag YZ", &D::rawY, &D::rawZ, P::PLANE_YZ, all,
         &U::widget_plot_YZ},
        {&D::curveLastYZ, &D::symbolLastYZ, "LastRaw Mag YZ", &D::rawY, &D::rawZ, P::PLANE_YZ, last,
         &U::widget_plot_YZ},
    }};
    return table;
}

std::array<CalibPlot*, 5> MagCalibDlg::plots() const
{
    return {ui->widget_plot_calibrated, ui->widget_plot_mixed_raw, ui->widget_plot_XY,
            ui->widget_plot_XZ, ui->widget_plot_YZ};
}

void MagCalibDlg::makeSymbols()
{
    for (const CurveRow& row : curveTable()) {
        const QColor colour = row.lastOnly ? QColor(Qt::black) : CalibPlot::planeColour(row.plane);
        const QPen pen(QBrush(colour), 1.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
        const auto shape = row.lastOnly ? QwtSymbol::Star1 : QwtSymbol::Diamond;
        const QSize size = row.lastOnly ? QSize(9, 9) : QSize(5, 5);
        this->*row.symbol = devicePixelRatioF() > 1.0
                                ? new SharpSymbol(shape, QBrush(colour), pen, size)
                                : new QwtSymbol(shape, QBrush(colour), pen, size);
    }
}

void MagCalibDlg::initPlots()
{
    for (const CurveRow& row : curveTable()) {
        auto* const curve = new QwtPlotCurve(QString(row.title));
        curve->setStyle(QwtPlotCurve::NoCurve);
        curve->setSymbol(this->*row.symbol);
        curve->attach(ui->*row.plot);
        this->*row.curve = curve;
    }
}

void MagCalibDlg::updatePlots()
{
    // The previous points stay visible until there is a new one.
    if (rawX.isEmpty()) {
        return;
    }

    const CalibPlot::ReplotHold hold(plots());
    for (const CurveRow& row : curveTable()) {
        if (!row.lastOnly) {
            (this->*row.curve)->setSamples(this->*row.x, this->*row.y);
        }
    }
    for (const CurveRow& row : curveTable()) {
        if (row.lastOnly) {
            const QVector<double>& x = this->*row.x;
            const QVector<double>& y = this->*row.y;
            (this->*row.curve)->setSamples(&x.last(), &y.last(), 1);
        }
    }
}

void MagCalibDlg::updateEllipses()
{
    using chartmath::Extent;
    const auto draw = [](CalibPlot* plot, CalibPlot::_plane plane, const Extent& across,
                         const Extent& up) {
        plot->setFitEllipse(plane, across.start, up.start, across.width, up.width);
    };
    const CalibPlot::ReplotHold hold(plots());

    // The ellipse of a plane fills the bounding box of its points; it is not the fitted one.
    const Extent x = chartmath::extentOf(rawX);
    const Extent y = chartmath::extentOf(rawY);
    const Extent z = chartmath::extentOf(rawZ);
    draw(ui->widget_plot_XY, CalibPlot::PLANE_XY, x, y);
    draw(ui->widget_plot_XZ, CalibPlot::PLANE_XZ, x, z);
    draw(ui->widget_plot_YZ, CalibPlot::PLANE_YZ, y, z);
    draw(ui->widget_plot_mixed_raw, CalibPlot::PLANE_XY, x, y);
    draw(ui->widget_plot_mixed_raw, CalibPlot::PLANE_XZ, x, z);
    draw(ui->widget_plot_mixed_raw, CalibPlot::PLANE_YZ, y, z);

    const Extent cx = chartmath::extentOf(calX);
    const Extent cy = chartmath::extentOf(calY);
    const Extent cz = chartmath::extentOf(calZ);
    draw(ui->widget_plot_calibrated, CalibPlot::PLANE_XY, cx, cy);
    draw(ui->widget_plot_calibrated, CalibPlot::PLANE_XZ, cx, cz);
    draw(ui->widget_plot_calibrated, CalibPlot::PLANE_YZ, cy, cz);
}

void MagCalibDlg::clearPlots()
{
    setPlotsAutoscale(true);
    lastFitCount = 0;
    // clear() would copy a vector that a curve shares; instead the curve keeps this vector. A
    // vector that is not shared keeps its memory. The thread may append to either at the same time.
    for (QVector<double>* const samples : {&rawX, &rawY, &rawZ, &calX, &calY, &calZ}) {
        if (samples->isDetached()) {
            samples->clear();
        } else {
            *samples = QVector<double>();
        }
    }
    updatePlots();
    magOffset = {0.0, 0.0, 0.0};
    magScale = {1.0, 1.0, 1.0};
    updateForms();
}

void MagCalibDlg::setPlotsAutoscale(bool enable)
{
    const CalibPlot::ReplotHold hold(plots());
    for (CalibPlot* const plot : plots()) {
        plot->setAxisAutoScale(QwtPlot::yLeft, enable);
        plot->setAxisAutoScale(QwtPlot::xBottom, enable);
    }
}

void MagCalibDlg::scalePlots()
{
    const double raw = chartmath::symmetricLimit({&rawX, &rawY, &rawZ});
    const double calibrated = chartmath::symmetricLimit({&calX, &calY, &calZ});

    const std::array<CalibPlot*, 5> scaled = {ui->widget_plot_XY, ui->widget_plot_XZ,
                                              ui->widget_plot_YZ, ui->widget_plot_mixed_raw,
                                              ui->widget_plot_calibrated};
    const CalibPlot::ReplotHold hold(scaled);
    for (CalibPlot* const plot : scaled) {
        const double limit = plot == ui->widget_plot_calibrated ? calibrated : raw;
        plot->setAxisScale(QwtPlot::yLeft, -limit, limit, 0.0);
        plot->setAxisScale(QwtPlot::xBottom, -limit, limit, 0.0);
    }
}
