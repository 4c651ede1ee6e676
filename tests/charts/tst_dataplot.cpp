#include "charts/Background.h"
#include "charts/CurveTracker.h"
#include "charts/DataCurve.h"
#include "charts/DataPlot.h"
#include "charts/TimeScaleDraw.h"
#include "charts/value_scale_draw.h"
#include "charts/cached_text_engine.h"
#include "charts/dense_curve.h"
#include "look/Style.h"

#include <QtTest>

#include <qwt_painter.h>
#include <qwt_picker_machine.h>
#include <qwt_plot_canvas.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_layout.h>
#include <qwt_point_data.h>
#include <qwt_scale_widget.h>

#include <algorithm>
#include <memory>

namespace {

/// A DataPlot that counts its replots.
class CountingPlot : public DataPlot
{
public:
    CountingPlot() : DataPlot(nullptr) {}
    void replot() override
    {
        ++replots;
        DataPlot::replot();
    }
    int replots = 0;
};

QVector<QwtPlotCurve*> curvesOf(const DataPlot& plot)
{
    QVector<QwtPlotCurve*> curves;
    for (QwtPlotItem* item : plot.itemList(QwtPlotItem::Rtti_PlotCurve)) {
        curves.append(static_cast<QwtPlotCurve*>(item));
    }
    return curves;
}

QVector<int> visibleCurves(const DataPlot& plot)
{
    QVector<int> visible;
    const QVector<QwtPlotCurve*> curves = curvesOf(plot);
    for (int i = 0; i < curves.size(); ++i) {
        if (curves[i]->isVisible()) {
            visible.append(i);
        }
    }
    return visible;
}

/// Compares everything that Style sets. A widget adds its own resolved family to its font.
void compareFonts(const QFont& font, const QFont& expected)
{
    QCOMPARE(font.toString(), expected.toString());
    QCOMPARE(font.letterSpacing(), expected.letterSpacing());
    QCOMPARE(font.capitalization(), expected.capitalization());
    QCOMPARE(font.styleStrategy(), expected.styleStrategy());
}

/// Labels of an axis in Qwt's own format.
template <typename ScaleDraw>
class PlainTexts : public ScaleDraw
{
public:
    using ScaleDraw::ScaleDraw;
    QwtText label(double value) const override
    {
        return {ScaleDraw::label(value).text(), QwtText::PlainText};
    }
};

constexpr auto unknownSensor = static_cast<DataPlot::SensorType>(6);

} // namespace

class TestDataPlot : public QObject
{
    Q_OBJECT

private slots:
    void startsWithTheAccelerometerAndNoSamples();
    void startsWithTenSecondsFromMidnight();

    void curveHasTitleAndLine_data();
    void curveHasTitleAndLine();
    void modeShowsItsCurvesAndTitle_data();
    void modeShowsItsCurvesAndTitle();
    void barometerHidesACurveThatHoldsData();
    void unknownModeHidesAllCurvesAndKeepsTheTitle_data();
    void unknownModeHidesAllCurvesAndKeepsTheTitle();
    void changeOfModeReplotsOnce();
    void changeOfModeKeepsTheTimeAxisTitle();

    void updateDataSharesTheVectors();
    void updateDataTakesTheShorterLength();
    void updateDataReachesTheCurveOfItsIndex();
    void eachCallReplotsOnlyOnRequest_data();
    void eachCallReplotsOnlyOnRequest();
    void rangesAreSetWithoutMinorTicks();
    void timeAxisFollowsALaterRange();

    void autoReplotStaysOff();
    void canvasKeepsABackingStoreWithoutFrame();
    void longPolylinesAreSplit();
    void gridShowsDottedHorizontalLinesAlone();
    void backgroundLiesBelowGridAndCurves();
    void axesHaveTheirFontsAndColour();
    void ticksAndLabelsOfTheAxes();
    void valueLabelsHaveNoGroupSeparators_data();
    void valueLabelsHaveNoGroupSeparators();
    void axesLookAsWithTheTextsOfQwt_data();
    void axesLookAsWithTheTextsOfQwt();
    void replotMeasuresNoKnownText();
    void timeAxisLeavesRoomForHalfALabel();
    void trackerFollowsTheMouseWithoutAButton();
    void replotReadsNoSamples();
    void hasNoSignalsAndSlotsOfItsOwn();
    void curvesEndWithThePlotInTheirOrder();
};

void TestDataPlot::startsWithTheAccelerometerAndNoSamples()
{
    const DataPlot plot(nullptr);
    QCOMPARE(visibleCurves(plot), (QVector<int>{0, 1, 2}));
    QCOMPARE(plot.axisTitle(QwtPlot::yLeft).text(), QString::fromUtf8("Accelerations [m/s²]"));
    for (const QwtPlotCurve* curve : curvesOf(plot)) {
        QCOMPARE(curve->dataSize(), std::size_t(0));
    }
}

void TestDataPlot::startsWithTenSecondsFromMidnight()
{
    const DataPlot plot(nullptr);
    const QwtScaleDiv& axis = plot.axisScaleDiv(QwtPlot::xBottom);
    QCOMPARE(axis.lowerBound(), 0.0);
    QCOMPARE(axis.upperBound(), 10.0);
    const QwtScaleDraw* draw = plot.axisScaleDraw(QwtPlot::xBottom);
    QCOMPARE(draw->label(axis.lowerBound()).text(), QString("00:00:00"));
    QCOMPARE(draw->label(axis.upperBound()).text(), QString("00:00:10"));
    QCOMPARE(plot.axisTitle(QwtPlot::xBottom).text(), QString("Timestamp [h:m:s]"));
}

void TestDataPlot::curveHasTitleAndLine_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("colour");
    QTest::newRow("AccX") << 0 << int(DataPlot::AccX) << "Acc. X"
                          << "#ff5757";
    QTest::newRow("AccY") << 1 << int(DataPlot::AccY) << "Acc. Y"
                          << "#30d695";
    QTest::newRow("AccZ") << 2 << int(DataPlot::AccZ) << "Acc. Z"
                          << "#00beff";
    QTest::newRow("GyrX") << 3 << int(DataPlot::GyrX) << "Gyr. X"
                          << "#ff5757";
    QTest::newRow("GyrY") << 4 << int(DataPlot::GyrY) << "Gyr. Y"
                          << "#30d695";
    QTest::newRow("GyrZ") << 5 << int(DataPlot::GyrZ) << "Gyr. Z"
                          << "#00beff";
    QTest::newRow("MagX") << 6 << int(DataPlot::MagX) << "Mag. X"
                          << "#ff5757";
    QTest::newRow("MagY") << 7 << int(DataPlot::MagY) << "Mag. Y"
                          << "#30d695";
    QTest::newRow("MagZ") << 8 << int(DataPlot::MagZ) << "Mag. Z"
                          << "#00beff";
    QTest::newRow("OrX") << 9 << int(DataPlot::OrX) << "Or. X"
                         << "#ff5757";
    QTest::newRow("OrY") << 10 << int(DataPlot::OrY) << "Or. Y"
                         << "#30d695";
    QTest::newRow("OrZ") << 11 << int(DataPlot::OrZ) << "Or. Z"
                         << "#00beff";
    QTest::newRow("RelAltitude") << 12 << int(DataPlot::RelAltitude) << "Rel. Altitude"
                                 << "#ff5730";
    QTest::newRow("TempLeft") << 13 << int(DataPlot::TempLeft) << "Temperature Camera Left"
                              << "#30d695";
    QTest::newRow("TempRight") << 14 << int(DataPlot::TempRight) << "Temperature Camera Right"
                               << "#00beff";
}

void TestDataPlot::curveHasTitleAndLine()
{
    QFETCH(int, index);
    QFETCH(int, type);
    QFETCH(QString, title);
    QFETCH(QString, colour);
    const DataPlot plot(nullptr);
    const QVector<QwtPlotCurve*> curves = curvesOf(plot);
    QCOMPARE(curves.size(), DataPlot::curveCount);
    QCOMPARE(curves.size(), 15);
    QCOMPARE(type, index);
    const QwtPlotCurve* curve = curves[index];
    QVERIFY(dynamic_cast<const DenseCurve*>(curve) != nullptr);
    QCOMPARE(curve->title().text(), title);
    QCOMPARE(curve->pen().color().name(), colour);
    QCOMPARE(curve->pen().color().alpha(), 255);
    QCOMPARE(curve->pen().widthF(), 2.0);
    QCOMPARE(curve->pen().style(), Qt::SolidLine);
}

void TestDataPlot::modeShowsItsCurvesAndTitle_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QVector<int>>("visible");
    QTest::newRow("Accelerometer")
        << 0 << int(DataPlot::Accelerometer) << QString::fromUtf8("Accelerations [m/s²]")
        << QVector<int>{0, 1, 2};
    QTest::newRow("Gyroscope") << 1 << int(DataPlot::Gyroscope)
                               << QString::fromUtf8("Angular velocities [°/s]")
                               << QVector<int>{3, 4, 5};
    QTest::newRow("Magnetometer") << 2 << int(DataPlot::Magnetometer)
                                  << QString::fromUtf8("Magnetic fields [µT]")
                                  << QVector<int>{6, 7, 8};
    QTest::newRow("Orientation") << 3 << int(DataPlot::Orientation)
                                 << QString::fromUtf8("Orientation [°]") << QVector<int>{9, 10, 11};
    QTest::newRow("Barometer") << 4 << int(DataPlot::Barometer)
                               << QString("Atmospheric Pressure [hPa]") << QVector<int>{12};
    QTest::newRow("Temperature") << 5 << int(DataPlot::Temperature)
                                 << QString::fromUtf8("Camera temperatures [°C]")
                                 << QVector<int>{13, 14};
}

void TestDataPlot::modeShowsItsCurvesAndTitle()
{
    QFETCH(int, value);
    QFETCH(int, type);
    QFETCH(QString, title);
    QFETCH(QVector<int>, visible);
    QCOMPARE(type, value);
    DataPlot plot(nullptr);
    for (int before = 0; before < 6; ++before) {
        plot.setSensorType(static_cast<DataPlot::SensorType>(before));
        plot.setSensorType(static_cast<DataPlot::SensorType>(value));
        QCOMPARE(visibleCurves(plot), visible);
        QCOMPARE(plot.axisTitle(QwtPlot::yLeft).text(), title);
    }
}

void TestDataPlot::barometerHidesACurveThatHoldsData()
{
    DataPlot plot(nullptr);
    plot.setSensorType(DataPlot::Barometer);
    plot.updateData(DataPlot::RelAltitude, {1.0, 2.0}, {1000.0, 1001.0}, false);
    plot.updateData(DataPlot::TempLeft, {1.0, 2.0}, {1000.0, 1001.0}, true);
    QCOMPARE(visibleCurves(plot), QVector<int>{12});
    QCOMPARE(curvesOf(plot)[13]->dataSize(), std::size_t(2));
}

void TestDataPlot::unknownModeHidesAllCurvesAndKeepsTheTitle_data()
{
    QTest::addColumn<int>("value");
    QTest::newRow("beyond the last") << 6;
    QTest::newRow("far beyond") << 1000;
    QTest::newRow("negative") << -1;
}

void TestDataPlot::unknownModeHidesAllCurvesAndKeepsTheTitle()
{
    QFETCH(int, value);
    DataPlot plot(nullptr);
    plot.setSensorType(DataPlot::Gyroscope);
    plot.setSensorType(static_cast<DataPlot::SensorType>(value));
    QCOMPARE(visibleCurves(plot), QVector<int>());
    QCOMPARE(plot.axisTitle(QwtPlot::yLeft).text(), QString::fromUtf8("Angular velocities [°/s]"));
    plot.setSensorType(DataPlot::Barometer);
    QCOMPARE(visibleCurves(plot), QVector<int>{12});
}

void TestDataPlot::changeOfModeReplotsOnce()
{
    CountingPlot plot;
    plot.setSensorType(DataPlot::Orientation);
    QCOMPARE(plot.replots, 1);
    plot.setSensorType(unknownSensor);
    QCOMPARE(plot.replots, 2);
}

void TestDataPlot::changeOfModeKeepsTheTimeAxisTitle()
{
    DataPlot plot(nullptr);
    const QFont font = plot.axisTitle(QwtPlot::xBottom).font();
    plot.setSensorType(DataPlot::Temperature);
    QCOMPARE(plot.axisTitle(QwtPlot::xBottom).text(), QString("Timestamp [h:m:s]"));
    QCOMPARE(plot.axisTitle(QwtPlot::xBottom).font(), font);
}

void TestDataPlot::updateDataSharesTheVectors()
{
    DataPlot plot(nullptr);
    QVector<double> x{1.0, 2.0, 3.0};
    QVector<double> y{4.0, 5.0, 6.0};
    const double* xStorage = x.constData();
    const double* yStorage = y.constData();
    plot.updateData(DataPlot::GyrY, x, y, false);

    const auto* data = dynamic_cast<const QwtPointArrayData*>(curvesOf(plot)[4]->data());
    QVERIFY(data != nullptr);
    QCOMPARE(data->xData().constData(), xStorage);
    QCOMPARE(data->yData().constData(), yStorage);

    x.append(4.0); // goes to a copy
    y.append(7.0);
    QCOMPARE(data->size(), std::size_t(3));
    QCOMPARE(data->sample(2), QPointF(3.0, 6.0));
}

void TestDataPlot::updateDataTakesTheShorterLength()
{
    DataPlot plot(nullptr);
    plot.updateData(DataPlot::AccX, {1.0, 2.0, 3.0}, {4.0, 5.0}, true);
    QCOMPARE(curvesOf(plot)[0]->dataSize(), std::size_t(2));
    plot.updateData(DataPlot::AccX, {1.0}, {4.0, 5.0}, true);
    QCOMPARE(curvesOf(plot)[0]->dataSize(), std::size_t(1));
    plot.updateData(DataPlot::AccX, {}, {4.0, 5.0}, true);
    QCOMPARE(curvesOf(plot)[0]->dataSize(), std::size_t(0));
}

void TestDataPlot::updateDataReachesTheCurveOfItsIndex()
{
    DataPlot plot(nullptr);
    for (int i = 0; i < DataPlot::curveCount; ++i) {
        plot.updateData(static_cast<DataPlot::DataType>(i), {1.0}, {double(i)}, false);
    }
    const QVector<QwtPlotCurve*> curves = curvesOf(plot);
    for (int i = 0; i < DataPlot::curveCount; ++i) {
        QCOMPARE(curves[i]->sample(0), QPointF(1.0, i));
    }
}

void TestDataPlot::eachCallReplotsOnlyOnRequest_data()
{
    QTest::addColumn<int>("call");
    QTest::newRow("updateData") << 0;
    QTest::newRow("setValRange") << 1;
    QTest::newRow("setTimeRange") << 2;
    QTest::newRow("showCurve") << 3;
}

void TestDataPlot::eachCallReplotsOnlyOnRequest()
{
    QFETCH(int, call);
    CountingPlot plot;
    const auto run = [&](bool replot) {
        switch (call) {
        case 0:
            plot.updateData(DataPlot::AccX, {1.0}, {1.0}, replot);
            break;
        case 1:
            plot.setValRange(-1.0, 1.0, replot);
            break;
        case 2:
            plot.setTimeRange(5.0, 15.0, replot);
            break;
        default:
            plot.showCurve(curvesOf(plot)[3], replot, replot);
            QCOMPARE(curvesOf(plot)[3]->isVisible(), replot);
        }
    };
    run(false);
    QCOMPARE(plot.replots, 0);
    run(true);
    QCOMPARE(plot.replots, 1);
}

void TestDataPlot::rangesAreSetWithoutMinorTicks()
{
    DataPlot plot(nullptr);
    plot.setAxisMaxMinor(QwtPlot::yLeft, 5);
    plot.setAxisMaxMinor(QwtPlot::xBottom, 5);
    plot.setValRange(-16.5, 16.5, false);
    plot.setTimeRange(100.0, 130.0, true);
    const QwtScaleDiv& values = plot.axisScaleDiv(QwtPlot::yLeft);
    QCOMPARE(values.lowerBound(), -16.5);
    QCOMPARE(values.upperBound(), 16.5);
    QVERIFY(values.ticks(QwtScaleDiv::MinorTick).isEmpty());
    QVERIFY(!values.ticks(QwtScaleDiv::MajorTick).isEmpty());
    QCOMPARE(plot.axisStepSize(QwtPlot::yLeft), 0.0);
    const QwtScaleDiv& times = plot.axisScaleDiv(QwtPlot::xBottom);
    QCOMPARE(times.lowerBound(), 100.0);
    QCOMPARE(times.upperBound(), 130.0);
    QVERIFY(times.ticks(QwtScaleDiv::MinorTick).isEmpty());
    QVERIFY(!times.ticks(QwtScaleDiv::MajorTick).isEmpty());
    QCOMPARE(plot.axisStepSize(QwtPlot::xBottom), 0.0);
    QCOMPARE(plot.axisMaxMinor(QwtPlot::yLeft), 0);
    QCOMPARE(plot.axisMaxMinor(QwtPlot::xBottom), 0);
}

void TestDataPlot::timeAxisFollowsALaterRange()
{
    DataPlot plot(nullptr);
    plot.setTimeRange(86395.0, 86405.0, true);
    const QwtScaleDraw* draw = plot.axisScaleDraw(QwtPlot::xBottom);
    QStringList labels;
    for (const double tick : plot.axisScaleDiv(QwtPlot::xBottom).ticks(QwtScaleDiv::MajorTick)) {
        labels.append(draw->label(tick).text());
    }
    QVERIFY(labels.contains("23:59:56"));
    QVERIFY(labels.contains("00:00:00"));
    QVERIFY(labels.contains("00:00:04"));
}

void TestDataPlot::autoReplotStaysOff()
{
    DataPlot plot(nullptr);
    QVERIFY(!plot.autoReplot());
    plot.setSensorType(DataPlot::Magnetometer);
    plot.updateData(DataPlot::MagX, {1.0}, {1.0}, true);
    QVERIFY(!plot.autoReplot());
}

void TestDataPlot::canvasKeepsABackingStoreWithoutFrame()
{
    DataPlot plot(nullptr);
    const auto* canvas = qobject_cast<const QwtPlotCanvas*>(plot.canvas());
    QVERIFY(canvas != nullptr);
    QVERIFY(canvas->testPaintAttribute(QwtPlotCanvas::BackingStore));
    QVERIFY(!canvas->testPaintAttribute(QwtPlotCanvas::ImmediatePaint));
    QCOMPARE(canvas->frameStyle(), 0);
    QCOMPARE(canvas->lineWidth(), 0);
    QCOMPARE(canvas->palette().color(QPalette::Button), QColor(Qt::white));
    QVERIFY(plot.plotLayout()->alignCanvasToScale(QwtPlot::xBottom));
    QVERIFY(plot.plotLayout()->alignCanvasToScale(QwtPlot::yLeft));
}

void TestDataPlot::longPolylinesAreSplit()
{
    QwtPainter::setPolylineSplitting(false);
    const DataPlot plot(nullptr);
    QVERIFY(QwtPainter::polylineSplitting());
}

void TestDataPlot::gridShowsDottedHorizontalLinesAlone()
{
    const DataPlot plot(nullptr);
    const QwtPlotItemList items = plot.itemList(QwtPlotItem::Rtti_PlotGrid);
    QCOMPARE(items.size(), 1);
    const auto* grid = static_cast<const QwtPlotGrid*>(items.first());
    QVERIFY(!grid->xEnabled());
    QVERIFY(grid->yEnabled());
    QCOMPARE(grid->majorPen(), QPen(QColor("#C0C0C0"), 1.0, Qt::DotLine));
}

void TestDataPlot::backgroundLiesBelowGridAndCurves()
{
    const DataPlot plot(nullptr);
    const QwtPlotItemList& items = plot.itemList(); // by z
    QCOMPARE(items.size(), 1 + 1 + 15);
    QVERIFY(dynamic_cast<const Background*>(items[0]) != nullptr);
    QCOMPARE(items[1]->rtti(), int(QwtPlotItem::Rtti_PlotGrid));
    for (int i = 2; i < items.size(); ++i) {
        QCOMPARE(items[i]->rtti(), int(QwtPlotItem::Rtti_PlotCurve));
    }
}

void TestDataPlot::axesHaveTheirFontsAndColour()
{
    const Style style;
    const DataPlot plot(nullptr);
    for (const int axis : {QwtPlot::xBottom, QwtPlot::yLeft}) {
        compareFonts(plot.axisTitle(axis).font(), style.fontMonoMedium9);
        compareFonts(plot.axisFont(axis), style.fontMonoLight10);
        QCOMPARE(plot.axisWidget(axis)->styleSheet(), QString("color: rgb(130,130,130)"));
    }
}

void TestDataPlot::ticksAndLabelsOfTheAxes()
{
    const DataPlot plot(nullptr);
    const QwtScaleDraw* time = plot.axisScaleDraw(QwtPlot::xBottom);
    QCOMPARE(time->tickLength(QwtScaleDiv::MajorTick), 3.0);
    QCOMPARE(time->labelRotation(), 0.0);
    QCOMPARE(time->labelAlignment(), Qt::AlignHCenter | Qt::AlignBottom);
    QCOMPARE(plot.axisMaxMinor(QwtPlot::xBottom), 0);
    QVERIFY(!plot.axisAutoScale(QwtPlot::xBottom));

    QCOMPARE(plot.axisScaleDraw(QwtPlot::yLeft)->tickLength(QwtScaleDiv::MajorTick), 0.0);
    QCOMPARE(plot.axisMaxMinor(QwtPlot::yLeft), 0);
    QVERIFY(!plot.axisAutoScale(QwtPlot::yLeft));
}

void TestDataPlot::valueLabelsHaveNoGroupSeparators_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("C") << "C" << 1000.0 << "1000";
    QTest::newRow("English") << "en_US" << 1000.0 << "1000";
    QTest::newRow("German") << "de_DE" << 1000.0 << "1000";
    QTest::newRow("German fraction") << "de_DE" << -998.5 << "-998,5";
    QTest::newRow("almost zero") << "C" << 1e-17 << "0";
}

void TestDataPlot::valueLabelsHaveNoGroupSeparators()
{
    QFETCH(QString, language);
    QFETCH(double, value);
    QFETCH(QString, text);
    const QLocale before;
    QLocale::setDefault(QLocale(language));
    const DataPlot plot(nullptr);
    const QString label = plot.axisScaleDraw(QwtPlot::yLeft)->label(value).text();
    QLocale::setDefault(before);
    QCOMPARE(label, text);
}

void TestDataPlot::axesLookAsWithTheTextsOfQwt_data()
{
    QTest::addColumn<double>("ratio");
    QTest::newRow("factor 1") << 1.0;
    QTest::newRow("factor 1.25") << 1.25;
    QTest::newRow("factor 1.5") << 1.5;
    QTest::newRow("factor 2") << 2.0;
}

void TestDataPlot::axesLookAsWithTheTextsOfQwt()
{
    QFETCH(double, ratio);
    const auto picture = [&](DataPlot& plot) {
        QImage image(plot.size() * ratio, QImage::Format_RGB32);
        image.setDevicePixelRatio(ratio);
        image.setDotsPerMeterX(qRound(plot.logicalDpiX() / 0.0254));
        image.setDotsPerMeterY(qRound(plot.logicalDpiY() / 0.0254));
        plot.replot();
        plot.render(&image);
        return image;
    };
    DataPlot plot(nullptr);
    DataPlot plain(nullptr);
    plain.setAxisScaleDraw(QwtPlot::xBottom, new PlainTexts<TimeScaleDraw>(QTime(0, 0)));
    plain.axisScaleDraw(QwtPlot::xBottom)->setTickLength(QwtScaleDiv::MajorTick, 3.0);
    plain.setAxisScaleDraw(QwtPlot::yLeft, new PlainTexts<ValueScaleDraw>);
    plain.axisScaleDraw(QwtPlot::yLeft)->setTickLength(QwtScaleDiv::MajorTick, 0.0);
    for (const int axis : {QwtPlot::xBottom, QwtPlot::yLeft}) {
        QwtText title = plain.axisTitle(axis);
        title.setText(title.text(), QwtText::PlainText);
        plain.setAxisTitle(axis, title);
    }
    for (DataPlot* const each : {&plot, &plain}) {
        each->setAttribute(Qt::WA_DontShowOnScreen);
        each->resize(701, 303);
        each->show();
    }
    // Scrolls from labels that are new to ones that are known.
    for (const double start : {3600.0, 3600.25, 3601.0, 3601.9}) {
        for (DataPlot* const each : {&plot, &plain}) {
            each->setTimeRange(start, start + 10.0, false);
            each->setValRange(-start / 100.0, start / 100.0, false);
        }
        QCOMPARE(picture(plot), picture(plain));
    }
    plot.setTimeRange(7200.0, 7210.0, false);
    QVERIFY(picture(plot) != picture(plain));
}

void TestDataPlot::replotMeasuresNoKnownText()
{
    const auto* engine =
        dynamic_cast<const CachedTextEngine*>(QwtText::textEngine(CachedTextEngine::format()));
    QVERIFY(engine != nullptr);
    DataPlot plot(nullptr);
    plot.setAttribute(Qt::WA_DontShowOnScreen);
    plot.resize(700, 300);
    plot.show();
    const auto replotAt = [&](double start) {
        plot.setTimeRange(start, start + 10.0, false);
        plot.replot();
        plot.grab();
        return engine->misses();
    };
    const CachedTextEngine::Misses first = replotAt(80000.0);
    for (int i = 1; i < 40; ++i) {
        replotAt(80000.0 + 0.02 * i); // no further second
    }
    QCOMPARE(engine->misses().measured, first.measured);
    QCOMPARE(engine->misses().laidOut, first.laidOut);

    const CachedTextEngine::Misses later = replotAt(80002.0); // a label every other second
    QCOMPARE(later.measured, first.measured + 1);
    QCOMPARE(later.laidOut, first.laidOut + 1);
}

void TestDataPlot::timeAxisLeavesRoomForHalfALabel()
{
    const DataPlot plot(nullptr);
    const QwtScaleWidget* axis = plot.axisWidget(QwtPlot::xBottom);
    const int width = QFontMetrics(axis->font()).horizontalAdvance("hh:mm:ss");
    int start = 0;
    int end = 0;
    axis->getMinBorderDist(start, end);
    QVERIFY(width > 20);
    QCOMPARE(start, -(width / 2));
    QCOMPARE(end, width / 2);
}

void TestDataPlot::trackerFollowsTheMouseWithoutAButton()
{
    const DataPlot plot(nullptr);
    const auto trackers = plot.canvas()->findChildren<QwtPicker*>();
    QCOMPARE(trackers.size(), 1);
    const auto* tracker = dynamic_cast<const CurveTracker*>(trackers.first());
    QVERIFY(tracker != nullptr);
    QVERIFY(dynamic_cast<const QwtPickerTrackerMachine*>(tracker->stateMachine()) != nullptr);
    QCOMPARE(tracker->rubberBandPen().color(), QColor(186, 85, 211));
    QCOMPARE(tracker->rubberBand(), QwtPicker::VLineRubberBand);
    QCOMPARE(tracker->trackerMode(), QwtPicker::AlwaysOn);
}

void TestDataPlot::replotReadsNoSamples()
{
    // A replot runs while the samples are locked: its cost must not depend on their number.
    class ReadCountingData : public QwtSeriesData<QPointF>
    {
    public:
        std::size_t size() const override { return 1000; }
        QPointF sample(std::size_t i) const override
        {
            ++reads;
            return {0.01 * double(i), 1.0};
        }
        QRectF boundingRect() const override
        {
            ++reads;
            return {0.0, 1.0, 10.0, 0.0};
        }
        mutable int reads = 0;
    };

    DataPlot plot(nullptr);
    plot.resize(900, 310);
    plot.show();
    QVERIFY(QTest::qWaitForWindowExposed(&plot, waiting::patienceMs));
    auto* data = new ReadCountingData; // owned by the curve
    curvesOf(plot)[0]->setSamples(data);
    plot.setValRange(-10.0, 10.0, false);
    plot.setTimeRange(3.0, 13.0, false);
    plot.replot();
    QCOMPARE(data->reads, 0);
    QTRY_VERIFY(data->reads > 0); // by the paint event
}

void TestDataPlot::hasNoSignalsAndSlotsOfItsOwn()
{
    const QMetaObject& meta = DataPlot::staticMetaObject;
    QCOMPARE(meta.className(), "DataPlot");
    QCOMPARE(meta.methodCount(), meta.methodOffset());
}

void TestDataPlot::curvesEndWithThePlotInTheirOrder()
{
    auto plot = std::make_unique<DataPlot>(nullptr);
    const QVector<QwtPlotCurve*> curves = curvesOf(*plot);
    QCOMPARE(curves.size(), DataPlot::curveCount);
    // A curve removes itself from its plot when it is destroyed.
    QVector<int> ended;
    QObject receiver;
    connect(plot.get(), &QwtPlot::itemAttached, &receiver, [&](QwtPlotItem* item, bool attached) {
        if (!attached) {
            ended.append(
                static_cast<int>(std::find(curves.begin(), curves.end(), item) - curves.begin()));
        }
    });
    plot.reset();
    QCOMPARE(ended.mid(0, DataPlot::curveCount),
             (QVector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}));
}

QTEST_MAIN(TestDataPlot)
#include "tst_dataplot.moc"
