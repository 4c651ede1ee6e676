#include "calibration/dialogfixture.h"

#include <QtTest>

#include <qwt_plot_shapeitem.h>
#include <qwt_scale_div.h>

#include <algorithm>
#include <array>
#include <limits>
#include <set>
#include <thread>

struct CalibPlotProbe
{
    static QRectF ellipse(const CalibPlot* plot, CalibPlot::_plane plane)
    {
        return plot->fitEllipses[plane]->shape().boundingRect();
    }
};

namespace {

using Samples = QVector<QPointF>;

Samples samplesOf(const QwtPlotCurve* curve)
{
    Samples samples;
    for (std::size_t i = 0; i < curve->dataSize(); ++i) {
        samples.append(curve->sample(static_cast<int>(i)));
    }
    return samples;
}

void setSamples(MagCalibDlgProbe& probe, const QVector<double>& x, const QVector<double>& y,
                const QVector<double>& z)
{
    probe.rawX = x;
    probe.rawY = y;
    probe.rawZ = z;
}

/// Fifteen distinguishable values.
void setThreeSamples(MagCalibDlgProbe& probe)
{
    setSamples(probe, {1.0, 2.0, 3.0}, {11.0, 12.0, 13.0}, {21.0, 22.0, 23.0});
    probe.calX = {0.1, 0.2, 0.3};
    probe.calY = {0.4, 0.5, 0.6};
    probe.calZ = {0.7, 0.8, 0.9};
}

void compareScale(const CalibPlot* plot, double lower, double upper)
{
    for (const int axis : {QwtPlot::yLeft, QwtPlot::xBottom}) {
        QVERIFY(plot->axisScaleDiv(axis).lowerBound() == lower);
        QVERIFY(plot->axisScaleDiv(axis).upperBound() == upper);
        QCOMPARE(plot->axisStepSize(axis), 0.0); // Qwt chooses the ticks
        QVERIFY(!plot->axisAutoScale(axis));
    }
}

/// Records the plots whose canvas is painted, which is the cost of a replot, in their order. The
/// dialog must be visible.
class Paints : public QObject
{
public:
    explicit Paints(const MagCalibDlgProbe& probe)
    {
        QCoreApplication::processEvents(); // those of before
        for (QwtPlot* const plot : probe.plots()) {
            plot->canvas()->installEventFilter(this);
        }
    }
    bool eventFilter(QObject* canvas, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) {
            plots.append(canvas->parent()->objectName());
        }
        return false;
    }
    QStringList plots;
};

const QStringList eachPlotOnce{"widget_plot_calibrated", "widget_plot_mixed_raw", "widget_plot_XY",
                               "widget_plot_XZ", "widget_plot_YZ"};

bool autoscaled(const CalibPlot* plot)
{
    return plot->axisAutoScale(QwtPlot::yLeft) && plot->axisAutoScale(QwtPlot::xBottom);
}

} // namespace

class TestCalibCharts : public QObject
{
    Q_OBJECT

private slots:
    void curvesAndSymbolsFollowTheTable_data();
    void curvesAndSymbolsFollowTheTable();
    void eachCurveHasASymbolOfItsOwn();
    void curvesAreAttachedInTheirOrder();
    void updateShowsEachCurvesVectors();
    void updateWithoutSamplesChangesNothing();
    void oneSampleHasItsStarOnItsDiamond();
    void starIsACopyOfTheLastSample();
    void ellipsesFillTheBoundingBoxes();
    void planePlotsUseOneEllipse();
    void samplesOnOneValueGiveAFlatEllipse();
    void ellipsesFollowThePeriodicFitOnly();
    void clearLeavesThePointsOnShow();
    void firstSampleAfterAClearStandsAlone();
    void clearForgetsTheCalibration();
    void autoscaleGoesToAllPlots();
    void stopScalesAreSquareAndCentred();
    void scalesWithoutSamplesAreFinite();
    void scalesOfADegenerateFitAreFinite();
    void startOrClearFreesTheScales();
    void startGoesStepByStep();
    void plotsChangeInTheirOrder_data();
    void plotsChangeInTheirOrder();
    void clearLeavesToTheCurvesWhatTheyShare();
    void clearKeepsTheMemoryOfUnsharedSamples();
    void updateReplotsOnce();
    void tickWithAFitReplotsOnce();
    void tickWithoutSamplesReplotsNothing();
};

void TestCalibCharts::curvesAndSymbolsFollowTheTable_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("plot");
    QTest::addColumn<QColor>("colour");
    QTest::addColumn<bool>("star");
    const QColor red(255, 53, 53, 100);
    const QColor blue(77, 156, 210, 100);
    const QColor green(105, 199, 85, 100);
    const QColor black(0, 0, 0, 255);
    const auto row = [](const char* title, const char* plot, const QColor& colour, bool star) {
        QTest::newRow(title) << QString(title) << QString(plot) << colour << star;
    };
    row("RAW Mag XY", "widget_plot_mixed_raw", red, false);
    row("RAW Mag XZ", "widget_plot_mixed_raw", blue, false);
    row("RAW Mag YZ", "widget_plot_mixed_raw", green, false);
    row("Calibrated Mag XY", "widget_plot_calibrated", red, false);
    row("Calibrated Mag Xz", "widget_plot_calibrated", blue, false);
    row("Calibrated Mag YZ", "widget_plot_calibrated", green, false);
    row("Raw Mag XY", "widget_plot_XY", red, false);
    row("Raw Mag XZ", "widget_plot_XZ", blue, false);
    row("Raw Mag YZ", "widget_plot_YZ", green, false);
    row("LastRaw Mag XY", "widget_plot_XY", black, true);
    row("LastRaw Mag XZ", "widget_plot_XZ", black, true);
    row("LastRaw Mag YZ", "widget_plot_YZ", black, true);
}

void TestCalibCharts::curvesAndSymbolsFollowTheTable()
{
    QFETCH(QString, title);
    QFETCH(QString, plot);
    QFETCH(QColor, colour);
    QFETCH(bool, star);
    DialogFixture f;
    auto* const widget = f.dialog->findChild<QwtPlot*>(plot);
    QVERIFY(widget);
    const QwtPlotCurve* curve = nullptr;
    for (const QwtPlotItem* const item : widget->itemList(QwtPlotItem::Rtti_PlotCurve)) {
        if (item->title().text() == title) {
            curve = static_cast<const QwtPlotCurve*>(item);
        }
    }
    QVERIFY(curve);
    QCOMPARE(curve->style(), QwtPlotCurve::NoCurve);
    const QwtSymbol* const symbol = curve->symbol();
    QVERIFY(symbol);
    QCOMPARE(symbol->style(), star ? QwtSymbol::Star1 : QwtSymbol::Diamond);
    QCOMPARE(symbol->size(), star ? QSize(9, 9) : QSize(5, 5));
    QCOMPARE(symbol->brush().color(), colour);
    QCOMPARE(symbol->brush().style(), Qt::SolidPattern);
    QCOMPARE(symbol->pen().color(), colour);
    QCOMPARE(symbol->pen().widthF(), 1.0);
    QCOMPARE(symbol->pen().style(), Qt::SolidLine);
    QCOMPARE(symbol->pen().capStyle(), Qt::SquareCap);
    QCOMPARE(symbol->pen().joinStyle(), Qt::BevelJoin);
}

void TestCalibCharts::eachCurveHasASymbolOfItsOwn()
{
    DialogFixture f;
    std::set<const QwtSymbol*> symbols;
    int curves = 0;
    for (const CalibPlot* const plot : f.probe->plots()) {
        for (const QwtPlotItem* const item : plot->itemList(QwtPlotItem::Rtti_PlotCurve)) {
            symbols.insert(static_cast<const QwtPlotCurve*>(item)->symbol());
            ++curves;
        }
    }
    QCOMPARE(curves, 12);
    QCOMPARE(symbols.size(), std::size_t{12});
}

void TestCalibCharts::curvesAreAttachedInTheirOrder()
{
    DialogFixture f;
    const auto titles = [](const CalibPlot* plot) {
        QStringList all;
        for (const QwtPlotItem* const item : plot->itemList(QwtPlotItem::Rtti_PlotCurve)) {
            all.append(item->title().text());
        }
        return all;
    };
    const Ui_MagCalibDlg* const ui = f.probe->ui;
    QCOMPARE(titles(ui->widget_plot_mixed_raw),
             (QStringList{"RAW Mag XY", "RAW Mag XZ", "RAW Mag YZ"}));
    QCOMPARE(titles(ui->widget_plot_calibrated),
             (QStringList{"Calibrated Mag XY", "Calibrated Mag Xz", "Calibrated Mag YZ"}));
    QCOMPARE(titles(ui->widget_plot_XY), (QStringList{"Raw Mag XY", "LastRaw Mag XY"}));
    QCOMPARE(titles(ui->widget_plot_XZ), (QStringList{"Raw Mag XZ", "LastRaw Mag XZ"}));
    QCOMPARE(titles(ui->widget_plot_YZ), (QStringList{"Raw Mag YZ", "LastRaw Mag YZ"}));
}

void TestCalibCharts::updateShowsEachCurvesVectors()
{
    DialogFixture f;
    setThreeSamples(*f.probe);
    f.probe->updatePlots();
    const Samples rawXY{{1.0, 11.0}, {2.0, 12.0}, {3.0, 13.0}};
    const Samples rawXZ{{1.0, 21.0}, {2.0, 22.0}, {3.0, 23.0}};
    const Samples rawYZ{{11.0, 21.0}, {12.0, 22.0}, {13.0, 23.0}};
    QCOMPARE(samplesOf(f.probe->curveMixedRawXY()), rawXY);
    QCOMPARE(samplesOf(f.probe->curveMixedRawXZ()), rawXZ);
    QCOMPARE(samplesOf(f.probe->curveMixedRawYZ()), rawYZ);
    QCOMPARE(samplesOf(f.probe->curveRawXY()), rawXY);
    QCOMPARE(samplesOf(f.probe->curveRawXZ()), rawXZ);
    QCOMPARE(samplesOf(f.probe->curveRawYZ()), rawYZ);
    QCOMPARE(samplesOf(f.probe->curveCalXY()), (Samples{{0.1, 0.4}, {0.2, 0.5}, {0.3, 0.6}}));
    QCOMPARE(samplesOf(f.probe->curveCalXZ()), (Samples{{0.1, 0.7}, {0.2, 0.8}, {0.3, 0.9}}));
    QCOMPARE(samplesOf(f.probe->curveCalYZ()), (Samples{{0.4, 0.7}, {0.5, 0.8}, {0.6, 0.9}}));
    QCOMPARE(samplesOf(f.probe->curveLastXY()), (Samples{{3.0, 13.0}}));
    QCOMPARE(samplesOf(f.probe->curveLastXZ()), (Samples{{3.0, 23.0}}));
    QCOMPARE(samplesOf(f.probe->curveLastYZ()), (Samples{{13.0, 23.0}}));
}

void TestCalibCharts::updateWithoutSamplesChangesNothing()
{
    DialogFixture f;
    setThreeSamples(*f.probe);
    f.probe->updatePlots();
    setSamples(*f.probe, {}, {}, {});
    f.probe->calX.clear();
    f.probe->updatePlots();
    QCOMPARE(samplesOf(f.probe->curveRawXY()).size(), 3);
    QCOMPARE(samplesOf(f.probe->curveCalXY()).size(), 3);
    QCOMPARE(samplesOf(f.probe->curveLastYZ()), (Samples{{13.0, 23.0}}));
}

void TestCalibCharts::oneSampleHasItsStarOnItsDiamond()
{
    DialogFixture f;
    setSamples(*f.probe, {-12.5}, {6.25}, {18.75});
    f.probe->updatePlots();
    QCOMPARE(samplesOf(f.probe->curveRawXY()), (Samples{{-12.5, 6.25}}));
    QCOMPARE(samplesOf(f.probe->curveRawXZ()), (Samples{{-12.5, 18.75}}));
    QCOMPARE(samplesOf(f.probe->curveRawYZ()), (Samples{{6.25, 18.75}}));
    QCOMPARE(samplesOf(f.probe->curveLastXY()), samplesOf(f.probe->curveRawXY()));
    QCOMPARE(samplesOf(f.probe->curveLastXZ()), samplesOf(f.probe->curveRawXZ()));
    QCOMPARE(samplesOf(f.probe->curveLastYZ()), samplesOf(f.probe->curveRawYZ()));
}

void TestCalibCharts::starIsACopyOfTheLastSample()
{
    DialogFixture f;
    setThreeSamples(*f.probe);
    f.probe->updatePlots();
    f.probe->rawX.last() = 99.0;
    f.probe->rawX.append(100.0);
    QCOMPARE(samplesOf(f.probe->curveLastXY()), (Samples{{3.0, 13.0}}));
    QCOMPARE(samplesOf(f.probe->curveRawXY()).last(), QPointF(3.0, 13.0));
}

void TestCalibCharts::ellipsesFillTheBoundingBoxes()
{
    DialogFixture f;
    setSamples(*f.probe, {-1.0, 4.0, 2.0}, {10.0, 20.0, 12.0}, {-7.0, -5.0, -6.0});
    f.probe->calX = {-0.5, 0.25};
    f.probe->calY = {0.0, 1.0};
    f.probe->calZ = {-2.0, 2.0};
    f.probe->updateEllipses();
    const Ui_MagCalibDlg* const ui = f.probe->ui;
    const QRectF xy(-1.0, 10.0, 5.0, 10.0);
    const QRectF xz(-1.0, -7.0, 5.0, 2.0);
    const QRectF yz(10.0, -7.0, 10.0, 2.0);
    QCOMPARE(CalibPlotProbe::ellipse(ui->widget_plot_XY, CalibPlot::PLANE_XY), xy);
    QCOMPARE(CalibPlotProbe::ellipse(ui->widget_plot_XZ, CalibPlot::PLANE_XZ), xz);
    QCOMPARE(CalibPlotProbe::ellipse(ui->widget_plot_YZ, CalibPlot::PLANE_YZ), yz);
    QCOMPARE(CalibPlotProbe::ellipse(ui->widget_plot_mixed_raw, CalibPlot::PLANE_XY), xy);
    QCOMPARE(CalibPlotProbe::ellipse(ui->widget_plot_mixed_raw, CalibPlot::PLANE_XZ), xz);
    QCOMPARE(CalibPlotProbe::ellipse(ui->widget_plot_mixed_raw, CalibPlot::PLANE_YZ), yz);
    QCOMPARE(CalibPlotProbe::ellipse(ui->widget_plot_calibrated, CalibPlot::PLANE_XY),
             QRectF(-0.5, 0.0, 0.75, 1.0));
    QCOMPARE(CalibPlotProbe::ellipse(ui->widget_plot_calibrated, CalibPlot::PLANE_XZ),
             QRectF(-0.5, -2.0, 0.75, 4.0));
    QCOMPARE(CalibPlotProbe::ellipse(ui->widget_plot_calibrated, CalibPlot::PLANE_YZ),
             QRectF(0.0, -2.0, 1.0, 4.0));
}

void TestCalibCharts::planePlotsUseOneEllipse()
{
    DialogFixture f;
    setThreeSamples(*f.probe);
    f.probe->updateEllipses();
    const Ui_MagCalibDlg* const ui = f.probe->ui;
    const std::pair<const CalibPlot*, CalibPlot::_plane> used[] = {
        {ui->widget_plot_XY, CalibPlot::PLANE_XY},
        {ui->widget_plot_XZ, CalibPlot::PLANE_XZ},
        {ui->widget_plot_YZ, CalibPlot::PLANE_YZ}};
    for (const auto& [plot, own] : used) {
        for (const auto plane : {CalibPlot::PLANE_XY, CalibPlot::PLANE_XZ, CalibPlot::PLANE_YZ}) {
            QCOMPARE(CalibPlotProbe::ellipse(plot, plane).isNull(), plane != own);
        }
    }
}

void TestCalibCharts::samplesOnOneValueGiveAFlatEllipse()
{
    DialogFixture f;
    setSamples(*f.probe, {5.0, 5.0, 5.0}, {1.0, 2.0, 3.0}, {4.0, 6.0, 8.0});
    f.probe->calX = f.probe->calY = f.probe->calZ = {0.0, 1.0};
    f.dialog->show();
    f.probe->updateEllipses();
    QCOMPARE(CalibPlotProbe::ellipse(f.probe->ui->widget_plot_XY, CalibPlot::PLANE_XY),
             QRectF(5.0, 1.0, 0.0, 2.0));
    QCOMPARE(CalibPlotProbe::ellipse(f.probe->ui->widget_plot_XZ, CalibPlot::PLANE_XZ),
             QRectF(5.0, 4.0, 0.0, 4.0));
}

void TestCalibCharts::ellipsesFollowThePeriodicFitOnly()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    const auto add = [&f](const std::vector<om::IMUReaderData>& records) {
        for (const om::IMUReaderData& one : records) {
            f.probe->rawX.append(-one.mag[1] * 0.0625);
            f.probe->rawY.append(one.mag[0] * 0.0625);
            f.probe->rawZ.append(one.mag[2] * 0.0625);
        }
    };
    const auto ellipse = [&f] {
        return CalibPlotProbe::ellipse(f.probe->ui->widget_plot_XY, CalibPlot::PLANE_XY);
    };
    f.setCalibrating(true);
    add(benchcamera::readings(100));
    f.probe->onUpdateTimer();
    QVERIFY(ellipse().isNull());
    add(benchcamera::readings(1));
    f.probe->onUpdateTimer();
    const QRectF first = ellipse();
    QVERIFY(!first.isNull());
    f.probe->rawX.append(500.0);
    f.probe->rawY.append(0.0);
    f.probe->rawZ.append(0.0);
    f.probe->onUpdateTimer();
    QCOMPARE(ellipse(), first);
    f.probe->calibrateData(); // as at a stop
    QCOMPARE(ellipse(), first);
    f.setCalibrating(false);
}

void TestCalibCharts::clearLeavesThePointsOnShow()
{
    DialogFixture f;
    setThreeSamples(*f.probe);
    f.probe->updatePlots();
    f.probe->scalePlots();
    f.probe->clearPlots();
    QVERIFY(f.probe->rawX.isEmpty() && f.probe->rawY.isEmpty() && f.probe->rawZ.isEmpty());
    QVERIFY(f.probe->calX.isEmpty() && f.probe->calY.isEmpty() && f.probe->calZ.isEmpty());
    QCOMPARE(samplesOf(f.probe->curveMixedRawXY()).size(), 3);
    QCOMPARE(samplesOf(f.probe->curveCalYZ()).size(), 3);
    QCOMPARE(samplesOf(f.probe->curveLastXZ()).size(), 1);
    for (const CalibPlot* const plot : f.probe->plots()) {
        QVERIFY(autoscaled(plot));
    }
}

void TestCalibCharts::firstSampleAfterAClearStandsAlone()
{
    DialogFixture f;
    setThreeSamples(*f.probe);
    f.probe->updatePlots();
    f.probe->clearPlots();
    setSamples(*f.probe, {7.0}, {8.0}, {9.0});
    f.probe->updatePlots();
    for (const QwtPlotCurve* const curve :
         {f.probe->curveMixedRawXY(), f.probe->curveMixedRawXZ(), f.probe->curveMixedRawYZ(),
          f.probe->curveRawXY(), f.probe->curveRawXZ(), f.probe->curveRawYZ(),
          f.probe->curveLastXY(), f.probe->curveLastXZ(), f.probe->curveLastYZ()}) {
        QCOMPARE(samplesOf(curve).size(), 1);
    }
    // There are no corrected samples before the next fit.
    QCOMPARE(samplesOf(f.probe->curveCalXY()).size(), 0);
}

void TestCalibCharts::clearForgetsTheCalibration()
{
    DialogFixture f;
    f.probe->lastFitCount = 170;
    f.probe->magOffset = {1.0, 2.0, 3.0};
    f.probe->magScale = {4.0, 5.0, 6.0};
    f.probe->clearPlots();
    QCOMPARE(f.probe->lastFitCount, 0);
    QCOMPARE(f.probe->magOffset, (std::array<double, 3>{0.0, 0.0, 0.0}));
    QCOMPARE(f.probe->magScale, (std::array<double, 3>{1.0, 1.0, 1.0}));
}

void TestCalibCharts::autoscaleGoesToAllPlots()
{
    DialogFixture f;
    f.probe->setPlotsAutoscale(false);
    for (const CalibPlot* const plot : f.probe->plots()) {
        QVERIFY(!plot->axisAutoScale(QwtPlot::yLeft));
        QVERIFY(!plot->axisAutoScale(QwtPlot::xBottom));
    }
    f.probe->setPlotsAutoscale(true);
    for (const CalibPlot* const plot : f.probe->plots()) {
        QVERIFY(autoscaled(plot));
    }
    const auto plots = f.probe->plots();
    QCOMPARE(std::set<CalibPlot*>(plots.begin(), plots.end()).size(), std::size_t{5});
}

void TestCalibCharts::stopScalesAreSquareAndCentred()
{
    DialogFixture f;
    setSamples(*f.probe, {10.0, -20.0}, {30.0, 5.0}, {-70.0, 60.0});
    f.probe->calX = {0.5, -0.9};
    f.probe->calY = {0.1, 1.25};
    f.probe->calZ = {-1.0, 1.0};
    f.probe->scalePlots();
    const Ui_MagCalibDlg* const ui = f.probe->ui;
    for (const CalibPlot* const plot :
         {ui->widget_plot_XY, ui->widget_plot_XZ, ui->widget_plot_YZ, ui->widget_plot_mixed_raw}) {
        compareScale(plot, -70.0 * 1.1, 70.0 * 1.1);
    }
    compareScale(ui->widget_plot_calibrated, -1.25 * 1.1, 1.25 * 1.1);
}

void TestCalibCharts::scalesWithoutSamplesAreFinite()
{
    DialogFixture f;
    f.probe->scalePlots();
    for (const CalibPlot* const plot : f.probe->plots()) {
        compareScale(plot, -1.5, 1.5);
    }
    // A few samples, but none corrected.
    setSamples(*f.probe, {1.0, 2.0}, {3.0, 4.0}, {5.0, 6.0});
    f.probe->scalePlots();
    compareScale(f.probe->ui->widget_plot_XY, -6.0 * 1.1, 6.0 * 1.1);
    compareScale(f.probe->ui->widget_plot_calibrated, -1.5, 1.5);
}

void TestCalibCharts::scalesOfADegenerateFitAreFinite()
{
    DialogFixture f;
    f.dialog->show();
    setThreeSamples(*f.probe);
    f.probe->calX = {std::numeric_limits<double>::quiet_NaN(), 0.5, 0.5};
    f.probe->calZ = {0.5, std::numeric_limits<double>::infinity(), 0.5};
    // Qwt finds no scale for infinities, warns and continues.
    for (int axis = 0; axis < 2; ++axis) {
        QTest::ignoreMessage(QtWarningMsg, "QwtLinearScaleEngine::divideScale: overflow");
    }
    f.probe->updatePlots();
    f.probe->updateEllipses();
    f.probe->scalePlots();
    compareScale(f.probe->ui->widget_plot_calibrated, -1.5, 1.5);
    compareScale(f.probe->ui->widget_plot_XY, -23.0 * 1.1, 23.0 * 1.1);
}

void TestCalibCharts::startOrClearFreesTheScales()
{
    DialogFixture f;
    setThreeSamples(*f.probe);
    f.probe->updatePlots();
    f.probe->scalePlots();
    f.probe->stopAcquisition();
    QVERIFY(f.probe->startAcquisition());
    f.waitForThread();
    for (const CalibPlot* const plot : f.probe->plots()) {
        QVERIFY(autoscaled(plot));
    }
    // The view follows the data again.
    QVERIFY(f.probe->ui->widget_plot_XY->axisScaleDiv(QwtPlot::yLeft).lowerBound() > 5.0);
}

void TestCalibCharts::startGoesStepByStep()
{
    DialogFixture f;
    f.probe->scalePlots();
    f.probe->stopAcquisition();
    QStringList seen;
    f.bench.log().setHook([&, own = std::this_thread::get_id()](const om::bench::CallRecord& call) {
        if (call.call != om::bench::CALL::MCU_START_CAPTURE) {
            return;
        }
        const bool isOwn = call.thread == own;
        const std::array<CalibPlot*, 5> plots = f.probe->plots();
        seen << QStringLiteral("%1, %2, %3")
                    .arg(isOwn ? "start" : "thread",
                         std::all_of(plots.begin(), plots.end(), autoscaled) ? "free" : "scaled",
                         f.probe->updateTimer.isActive() ? "ticks" : "no ticks");
        if (isOwn) {
            f.probe->mcu->captureRunning = false; // so that the thread starts it again
            seen << (f.probe->grabThread.joinable() ? "begun" : "not begun");
        }
    });
    const bool starts = f.probe->startAcquisition();
    f.bench.log().setHook(nullptr);
    QVERIFY(starts);
    f.waitForThread();
    QCOMPARE(seen, QStringList({"start, scaled, no ticks", "not begun", "thread, free, no ticks"}));
    QVERIFY(f.probe->updateTimer.isActive());
}

void TestCalibCharts::plotsChangeInTheirOrder_data()
{
    QTest::addColumn<bool>("scaled");
    QTest::addColumn<QStringList>("order");
    QTest::newRow("autoscale") << false << eachPlotOnce;
    QTest::newRow("fixed scales") << true
                                  << QStringList{"widget_plot_XY", "widget_plot_XZ",
                                                 "widget_plot_YZ", "widget_plot_mixed_raw",
                                                 "widget_plot_calibrated"};
}

void TestCalibCharts::plotsChangeInTheirOrder()
{
    QFETCH(bool, scaled);
    QFETCH(QStringList, order);
    DialogFixture f;
    f.dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.dialog.get(), waiting::patienceMs));
    f.probe->updateTimer.stop();
    setThreeSamples(*f.probe);
    const Paints paints(*f.probe);
    if (scaled) {
        f.probe->scalePlots();
    } else {
        f.probe->setPlotsAutoscale(false);
    }
    QCOMPARE(paints.plots, order);
}

void TestCalibCharts::clearLeavesToTheCurvesWhatTheyShare()
{
    DialogFixture f;
    setThreeSamples(*f.probe);
    f.probe->updatePlots();
    f.probe->clearPlots();
    // A copy would have the capacity for them.
    for (const QVector<double>* const samples : {&f.probe->rawX, &f.probe->rawY, &f.probe->rawZ,
                                                 &f.probe->calX, &f.probe->calY, &f.probe->calZ}) {
        QVERIFY(samples->isEmpty());
        QCOMPARE(samples->capacity(), 0);
    }
    QCOMPARE(samplesOf(f.probe->curveCalYZ()), (Samples{{0.4, 0.7}, {0.5, 0.8}, {0.6, 0.9}}));
}

void TestCalibCharts::clearKeepsTheMemoryOfUnsharedSamples()
{
    // The thread may be appending to it.
    DialogFixture f;
    for (QVector<double>* const samples : {&f.probe->rawX, &f.probe->rawY, &f.probe->rawZ}) {
        samples->reserve(1000);
        samples->append(1.0);
    }
    const double* const memory = f.probe->rawX.constData();
    f.probe->clearPlots();
    QVERIFY(f.probe->rawX.isEmpty() && f.probe->rawY.isEmpty() && f.probe->rawZ.isEmpty());
    QVERIFY(f.probe->rawX.constData() == memory);
    QCOMPARE(f.probe->rawX.capacity(), 1000);
}

void TestCalibCharts::updateReplotsOnce()
{
    DialogFixture f;
    f.dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.dialog.get(), waiting::patienceMs));
    f.probe->updateTimer.stop();
    setThreeSamples(*f.probe);
    const Paints paints(*f.probe);
    f.probe->updatePlots();
    QCOMPARE(paints.plots, eachPlotOnce);
}

void TestCalibCharts::tickWithAFitReplotsOnce()
{
    DialogFixture f;
    f.dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.dialog.get(), waiting::patienceMs));
    f.probe->updateTimer.stop();
    f.setCalibrating(true);
    f.feed(benchcamera::readings(120));
    const Paints paints(*f.probe);
    f.probe->onUpdateTimer();
    f.setCalibrating(false);
    QCOMPARE(f.probe->lastFitCount, 120);
    QCOMPARE(paints.plots, eachPlotOnce);
}

void TestCalibCharts::tickWithoutSamplesReplotsNothing()
{
    DialogFixture f;
    f.dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.dialog.get(), waiting::patienceMs));
    f.probe->updateTimer.stop();
    f.setCalibrating(true);
    const Paints paints(*f.probe);
    f.probe->onUpdateTimer();
    f.setCalibrating(false);
    QCOMPARE(paints.plots, QStringList());
}

QTEST_MAIN(TestCalibCharts)
#include "tst_magcalibdlg_calibcharts.moc"
