#include "charts/DataPlot.h"

#include "charts/Background.h"
#include "charts/CurveTracker.h"
#include "charts/TimeScaleDraw.h"
#include "charts/cached_text_engine.h"
#include "charts/dense_curve.h"
#include "charts/plot_canvas.h"
#include "charts/plot_grid.h"
#include "charts/value_scale_draw.h"
#include "look/Style.h"
#include "look/clr.h"

#include <QFontMetrics>
#include <QPen>

#include <qwt_painter.h>
#include <qwt_picker_machine.h>
#include <qwt_plot_layout.h>
#include <qwt_scale_widget.h>

namespace {

constexpr double curveWidth = 2.0; // pixels

struct CurveRow
{
    const char* title;
    const char* colour;
    DataPlot::SensorType mode;
};

// By DataPlot::DataType.
constexpr CurveRow curveTable[DataPlot::curveCount] = {
    {"Acc. X", "#ff5757", DataPlot::Accelerometer},
    {"Acc. Y", "#30d695", DataPlot::Accelerometer},
    {"Acc. Z", "#00beff", DataPlot::Accelerometer},
    {"Gyr. X", "#ff5757", DataPlot::Gyroscope},
    {"Gyr. Y", "#30d695", DataPlot::Gyroscope},
    {"Gyr. Z", "#00beff", DataPlot::Gyroscope},
    {"Mag. X", "#ff5757", DataPlot::Magnetometer},
    {"Mag. Y", "#30d695", DataPlot::Magnetometer},
    {"Mag. Z", "#00beff", DataPlot::Magnetometer},
    {"Or. X", "#ff5757", DataPlot::Orientation},
    {"Or. Y", "#30d695", DataPlot::Orientation},
    {"Or. Z", "#00beff", DataPlot::Orientation},
    {"Rel. Altitude", "#ff5730", DataPlot::Barometer},
    {"Temperature Camera Left", "#30d695", DataPlot::Temperature},
    {"Temperature Camera Right", "#00beff", DataPlot::Temperature},
};

// By DataPlot::SensorType.
constexpr const char* valueTitles[] = {
    "Accelerations [m/s²]", "Angular velocities [°/s]",   "Magnetic fields [µT]",
    "Orientation [°]",      "Atmospheric Pressure [hPa]", "Camera temperatures [°C]",
};
constexpr int modeCount = static_cast<int>(std::size(valueTitles));

/// The same labels, in the format that is measured and laid out only once.
template <typename ScaleDraw>
class CachedLabels : public ScaleDraw
{
public:
    using ScaleDraw::ScaleDraw;
    QwtText label(double value) const override
    {
        return {ScaleDraw::label(value).text(), CachedTextEngine::format()};
    }
};

/// The tracker with its whole line on a screen with a scale factor. Qwt masks the line's widget
/// with the one column of the chart's pixels that the line is on, while the line itself is drawn
/// around the left border of that column: half of it is cut off, or all of it.
class WholeLineTracker : public CurveTracker
{
public:
    using CurveTracker::CurveTracker;
    QRegion rubberBandMask() const override
    {
        const QRegion mask = CurveTracker::rubberBandMask();
        return mask.united(mask.translated(-1, 0)).united(mask.translated(1, 0));
    }
};

} // namespace

DataPlot::DataPlot(QWidget* parent) : QwtPlot(parent)
{
    setAutoReplot(false);

    auto* plotCanvas = new PlotCanvas;
    plotCanvas->setFrameStyle(0);
    plotCanvas->setLineWidth(0);
    plotCanvas->setPalette(Qt::white);
    plotCanvas->setPaintAttribute(QwtPlotCanvas::BackingStore, true);
    plotCanvas->setPaintAttribute(QwtPlotCanvas::ImmediatePaint, false);
    setCanvas(plotCanvas);

    QwtPainter::setPolylineSplitting(true);
    plotLayout()->setAlignCanvasToScales(true);

    auto* grid = new PlotGrid;
    grid->setPen(QColor("#C0C0C0"), 1.0, Qt::DotLine);
    grid->enableX(false);
    grid->attach(this);

    const Style style;

    timeTitle.setText(tr("Timestamp [h:m:s]"), CachedTextEngine::format());
    timeTitle.setFont(style.fontMonoMedium9);
    setAxisTitle(QwtPlot::xBottom, timeTitle);
    setAxisFont(QwtPlot::xBottom, style.fontMonoLight10);

    setAxisScaleDraw(QwtPlot::xBottom, new CachedLabels<TimeScaleDraw>(QTime(0, 0, 0, 0)));
    axisScaleDraw(QwtPlot::xBottom)->setTickLength(QwtScaleDiv::MajorTick, 3.0);
    setAxisScale(QwtPlot::xBottom, 0.0, 10.0);
    setAxisMaxMinor(QwtPlot::xBottom, 0);
    setAxisLabelRotation(QwtPlot::xBottom, 0.0);
    setAxisLabelAlignment(QwtPlot::xBottom, Qt::AlignHCenter | Qt::AlignBottom);

    const QString axisSheet = tr("color: %1").arg(clr::med_black);
    axisWidget(QwtPlot::xBottom)->setStyleSheet(axisSheet);
    axisWidget(QwtPlot::yLeft)->setStyleSheet(axisSheet);

    // The first label may extend beyond the left end of the axis; the last one has space at the
    // right end.
    QwtScaleWidget* timeAxis = axisWidget(QwtPlot::xBottom);
    const int labelWidth = QFontMetrics(timeAxis->font()).horizontalAdvance("hh:mm:ss");
    timeAxis->setMinBorderDist(-(labelWidth / 2), labelWidth / 2);

    valueTitle.setFont(style.fontMonoMedium9);
    setAxisFont(QwtPlot::yLeft, style.fontMonoLight10);
    setAxisAutoScale(QwtPlot::yLeft, false);
    setAxisMaxMinor(QwtPlot::yLeft, 0);
    setAxisScaleDraw(QwtPlot::yLeft, new CachedLabels<ValueScaleDraw>);
    axisScaleDraw(QwtPlot::yLeft)->setTickLength(QwtScaleDiv::MajorTick, 0.0);

    auto* background = new Background;
    background->attach(this);

    createCurves();
    setSensorType(Accelerometer);

    auto* tracker = new WholeLineTracker(canvas());
    tracker->setStateMachine(new QwtPickerTrackerMachine);
    tracker->setRubberBandPen(QColor("MediumOrchid"));
    // The mouse and the box do not move with the size of the canvas, and the line stays with them.
    tracker->setResizeMode(QwtPicker::KeepSize);
}

DataPlot::~DataPlot()
{
    for (DataCurve*& curve : curves) {
        delete curve;
        curve = nullptr;
    }
}

void DataPlot::createCurves()
{
    for (int i = 0; i < curveCount; ++i) {
        const CurveRow& row = curveTable[i];
        auto* curve = new DenseCurve(tr(row.title));
        curve->setLine(QColor(row.colour), curveWidth);
        curve->attach(this);
        curves[static_cast<std::size_t>(i)] = curve;
    }
}

void DataPlot::setSensorType(SensorType type)
{
    for (DataCurve* curve : curves) {
        showCurve(curve, false, false);
    }
    if (type >= 0 && type < modeCount) {
        valueTitle.setText(tr(valueTitles[type]), CachedTextEngine::format());
        for (std::size_t i = 0; i < curves.size(); ++i) {
            if (curveTable[i].mode == type) {
                showCurve(curves[i], true, false);
            }
        }
    }
    setAxisTitle(QwtPlot::yLeft, valueTitle);
    setAxisTitle(QwtPlot::xBottom, timeTitle);
    replot();
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the declared interface, and shared vectors
void DataPlot::updateData(DataType curve, QVector<double> x, QVector<double> y, bool replot)
{
    curves[static_cast<std::size_t>(curve)]->setSamples(x, y);
    if (replot) {
        this->replot();
    }
}

void DataPlot::setValRange(double min, double max, bool replot)
{
    setRange(QwtPlot::yLeft, min, max, replot);
}

void DataPlot::setTimeRange(double min, double max, bool replot)
{
    setRange(QwtPlot::xBottom, min, max, replot);
}

void DataPlot::showCurve(QwtPlotItem* item, bool visible, bool replot)
{
    item->setVisible(visible);
    if (replot) {
        this->replot();
    }
}

void DataPlot::setRange(int axis, double min, double max, bool replot)
{
    setAxisScale(axis, min, max, 0.0);
    setAxisMaxMinor(axis, 0);
    if (replot) {
        this->replot();
    }
}
