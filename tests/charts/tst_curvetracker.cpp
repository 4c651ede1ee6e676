#include "charts/CurveTracker.h"
#include "charts/DataCurve.h"
#include "charts/DataPlot.h"

#include <QRegularExpression>
#include <QScreen>
#include <QtTest>

#include <qwt_picker_machine.h>
#include <qwt_text.h>

#include <cmath>

namespace {

constexpr double startTime = 1706711000.25;

/// Values in the tracker's text, with their colours, top to bottom.
QVector<QPair<QString, double>> valuesIn(const QString& text)
{
    QVector<QPair<QString, double>> values;
    if (text.isEmpty()) {
        return values;
    }
    static const QRegularExpression form(
        QStringLiteral("^<font color=(#[0-9a-f]{6})> *(-?[0-9]+\\.[0-9]{3})</font>$"));
    const QStringList lines = text.split(QStringLiteral("<br>"));
    for (const QString& line : lines) {
        const QRegularExpressionMatch match = form.match(line);
        if (!match.hasMatch()) {
            qWarning("not a line of the tracker: %s", qPrintable(line));
            continue;
        }
        values.append({match.captured(1), match.captured(2).toDouble()});
    }
    return values;
}

struct Curve
{
    QVector<double> x;
    QVector<double> y;
};

double interpolated(const Curve& curve, double x)
{
    for (int i = 1; i < curve.x.size(); ++i) {
        if (curve.x[i - 1] <= x && x <= curve.x[i]) {
            const double part = (x - curve.x[i - 1]) / (curve.x[i] - curve.x[i - 1]);
            return (1.0 - part) * curve.y[i - 1] + part * curve.y[i];
        }
    }
    return std::nan("");
}

/// Three curves over 10 s at 400 Hz.
Curve wave(int channel)
{
    Curve curve;
    for (int i = 0; i <= 4000; ++i) {
        const double t = i / 400.0;
        curve.x.append(startTime + t + 0.0003 * std::sin(i * 1.7));
        curve.y.append(8.0 * std::sin(t + 2.0 * channel) + 0.2 * std::sin(i * 2.3));
    }
    return curve;
}

/// Counts the paint events of the widget that it filters.
class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget* widget) { widget->installEventFilter(this); }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        count += event->type() == QEvent::Paint ? 1 : 0;
        return QObject::eventFilter(watched, event);
    }
    int count = 0;
};

/// Processes all requested updates, and those that these request.
void settle()
{
    for (int round = 0; round < 20; ++round) {
        QCoreApplication::processEvents();
    }
}

bool isNear(const QColor& a, const QColor& b, int tolerance)
{
    return std::abs(a.red() - b.red()) <= tolerance &&
           std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

} // namespace

class TestCurveTracker : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void startsWithADragPointMachineAndAVerticalLine();

    void segmentSpansThePosition_data();
    void segmentSpansThePosition();
    void segmentOfAnUnevenSeries();
    void noSegmentWithoutTwoSamples();
    void noSegmentWithoutWidth();
    void lastTwoSamplesOfEqualTimeAndValueAreLeftOut();
    void segmentShorterThanRoundingIsLeftOut();
    void noSegmentOfSamplesOutOfOrder_data();
    void noSegmentOfSamplesOutOfOrder();
    void searchTouchesFewSamples();

    void infoIsTheInterpolatedValueInTheCurvesColour();
    void infoIsPaddedToFiveCharacters_data();
    void infoIsPaddedToFiveCharacters();
    void infoIsEmptyBesideTheCurve();

    void textListsTheVisibleCurvesInOrder();
    void textSkipsAHiddenCurveThatHoldsSamples();
    void textSkipsACurveWithoutAValueThere();
    void textIsEmptyWithoutCurves();
    void textStandsInABox();
    void valuesAgreeWithLinearInterpolation_data();
    void valuesAgreeWithLinearInterpolation();

    void boxStandsFivePixelsAboveTheCursor();
    void boxStaysBelowTheTopOfTheCanvas();
    void boxStaysWhereThePickerPutItWithoutAVisibleCurve();
    void boxStaysWhereThePickerPutItBesideTheFirstVisibleCurve();
    void noBoxWithoutAValue();

    void mouseOverTheChartShowsLineBoxAndColours();
    void lineAndBoxGoWithTheMouse();
    void lineAndBoxStayTogetherInAChartOfAnotherSize();

    void boxUnderARestingMouseFollowsTheData_data();
    void boxUnderARestingMouseFollowsTheData();
    void boxOfTheSameShapeCostsNoFurtherPaint();
    void boxOfAnotherShapeIsSetOnce();
    void livesAsLongAsTheCanvas();

private:
    void feedWaves();
    void feedLevels(const QVector<double>& levels);
    void moveTo(const QPoint& position);
    QImage screenshot() const;

    DataPlot* m_plot = nullptr;
    CurveTracker* m_tracker = nullptr;
    QVector<Curve> m_waves;
};

void TestCurveTracker::init()
{
    m_plot = new DataPlot(nullptr);
    m_plot->setWindowFlag(Qt::BypassWindowManagerHint);
    QPalette dark = m_plot->palette();
    dark.setColor(QPalette::Window, QColor(25, 25, 25));
    m_plot->setPalette(dark);
    m_plot->resize(900, 310);
    m_plot->move(20, 20);
    m_plot->setValRange(-10.0, 10.0, false);
    m_plot->setTimeRange(startTime, startTime + 10.0, true);
    // Initially the mouse is outside the chart.
    QCursor::setPos(1500, 900);
    m_plot->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_plot, waiting::patienceMs));
    m_tracker = dynamic_cast<CurveTracker*>(m_plot->canvas()->findChild<QwtPicker*>());
    QVERIFY(m_tracker != nullptr);
}

void TestCurveTracker::cleanup()
{
    delete m_plot;
    m_plot = nullptr;
    m_waves.clear();
}

void TestCurveTracker::feedWaves()
{
    for (int i = 0; i < 3; ++i) {
        m_waves.append(wave(i));
        m_plot->updateData(static_cast<DataPlot::DataType>(i), m_waves[i].x, m_waves[i].y, false);
    }
    m_plot->replot();
}

/// Horizontal lines, one for each curve of the accelerometer; no samples for curves without a given
/// level.
void TestCurveTracker::feedLevels(const QVector<double>& levels)
{
    for (int i = 0; i < 3; ++i) {
        QVector<double> x;
        QVector<double> y;
        if (i < levels.size()) {
            x = {startTime, startTime + 10.0};
            y = {levels[i], levels[i]};
        }
        m_plot->updateData(static_cast<DataPlot::DataType>(i), x, y, false);
    }
    m_plot->replot();
}

void TestCurveTracker::moveTo(const QPoint& position)
{
    QTest::mouseMove(m_plot->canvas(), position);
    QTRY_COMPARE(m_tracker->trackerPosition(), position);
}

QImage TestCurveTracker::screenshot() const
{
    QCoreApplication::processEvents();
    const QPoint corner = m_plot->canvas()->mapToGlobal(QPoint(0, 0));
    const QSize size = m_plot->canvas()->size();
    return QGuiApplication::primaryScreen()
        ->grabWindow(0, corner.x(), corner.y(), size.width(), size.height())
        .toImage();
}

void TestCurveTracker::startsWithADragPointMachineAndAVerticalLine()
{
    const CurveTracker tracker(m_plot->canvas());
    QVERIFY(dynamic_cast<const QwtPickerDragPointMachine*>(tracker.stateMachine()) != nullptr);
    QCOMPARE(tracker.rubberBand(), QwtPicker::VLineRubberBand);
    QCOMPARE(tracker.trackerMode(), QwtPicker::AlwaysOn);
}

void TestCurveTracker::segmentSpansThePosition_data()
{
    QTest::addColumn<double>("x");
    QTest::addColumn<int>("first"); // sample where the segment begins, -1 for none
    QTest::newRow("left of the first sample") << 9.999 << -1;
    QTest::newRow("on the first sample") << 10.0 << 0;
    QTest::newRow("in the first segment") << 10.5 << 0;
    QTest::newRow("on an inner sample") << 11.0 << 1;
    QTest::newRow("in an inner segment") << 12.25 << 2;
    QTest::newRow("in the last segment") << 13.999 << 3;
    QTest::newRow("on the last sample") << 14.0 << 3;
    QTest::newRow("right of the last sample") << 14.001 << -1;
}

void TestCurveTracker::segmentSpansThePosition()
{
    QFETCH(double, x);
    QFETCH(int, first);
    DataCurve curve(QStringLiteral("x"));
    const QVector<double> times{10.0, 11.0, 12.0, 13.0, 14.0};
    const QVector<double> values{1.0, -2.0, 3.0, -4.0, 5.0};
    curve.setSamples(times, values);
    const QLineF line = m_tracker->curveLineAt(&curve, x);
    if (first < 0) {
        QVERIFY(line.isNull());
    } else {
        QCOMPARE(line, QLineF(times[first], values[first], times[first + 1], values[first + 1]));
    }
}

void TestCurveTracker::segmentOfAnUnevenSeries()
{
    DataCurve curve(QStringLiteral("x"));
    QVector<double> times;
    for (int i = 0; i < 1000; ++i) {
        times.append(i * i * 0.001);
    }
    curve.setSamples(times, times);
    for (int i = 1; i < times.size(); ++i) {
        const double middle = (times[i - 1] + times[i]) / 2.0;
        QCOMPARE(m_tracker->curveLineAt(&curve, middle),
                 QLineF(times[i - 1], times[i - 1], times[i], times[i]));
    }
}

void TestCurveTracker::noSegmentWithoutTwoSamples()
{
    DataCurve curve(QStringLiteral("x"));
    QVERIFY(m_tracker->curveLineAt(&curve, 0.0).isNull());
    curve.setSamples(QVector<double>{1.0}, QVector<double>{2.0});
    QVERIFY(m_tracker->curveLineAt(&curve, 1.0).isNull());
    QVERIFY(m_tracker->curveInfoAt(&curve, QPointF(1.0, 0.0)).isEmpty());
}

void TestCurveTracker::noSegmentWithoutWidth()
{
    DataCurve curve(QStringLiteral("x"));
    curve.setSamples(QVector<double>{1.0, 1.0}, QVector<double>{2.0, 3.0});
    QVERIFY(m_tracker->curveLineAt(&curve, 1.0).isNull());
    curve.setSamples(QVector<double>{1.0, 1.0}, QVector<double>{2.0, 2.0});
    QVERIFY(m_tracker->curveLineAt(&curve, 1.0).isNull());
    QVERIFY(m_tracker->curveInfoAt(&curve, QPointF(1.0, 0.0)).isEmpty());
}

void TestCurveTracker::lastTwoSamplesOfEqualTimeAndValueAreLeftOut()
{
    DataCurve curve(QStringLiteral("x"));
    curve.setSamples(QVector<double>{1.0, 2.0, 2.0}, QVector<double>{5.0, 6.0, 6.0});
    QVERIFY(m_tracker->curveLineAt(&curve, 2.0).isNull());
    QVERIFY(m_tracker->curveInfoAt(&curve, QPointF(2.0, 0.0)).isEmpty());
    QCOMPARE(m_tracker->curveInfoAt(&curve, QPointF(1.5, 0.0)),
             QString("<font color=#000000>5.500</font>"));
}

void TestCurveTracker::segmentShorterThanRoundingIsLeftOut()
{
    // Ends that agree to twelve digits are the same: a millisecond of the time since 1970.
    const auto infoOf = [&](double distance, double rise) {
        DataCurve curve(QStringLiteral("x"));
        curve.setSamples(QVector<double>{startTime, startTime + distance},
                         QVector<double>{5.0, 5.0 + rise});
        return m_tracker->curveInfoAt(&curve, QPointF(startTime, 0.0));
    };
    QCOMPARE(infoOf(0.001, 0.0), QString());
    QCOMPARE(infoOf(0.001, 1e-13), QString());
    QCOMPARE(infoOf(0.001, 0.5), QString("<font color=#000000>5.000</font>"));
    QCOMPARE(infoOf(0.0025, 0.0), QString("<font color=#000000>5.000</font>")); // the IMU's rate
}

void TestCurveTracker::noSegmentOfSamplesOutOfOrder_data()
{
    QTest::addColumn<QVector<double>>("times");
    QTest::addColumn<double>("x");
    QTest::newRow("first sample beyond x") << QVector<double>{3.0, 2.5, 2.6, 1.0, 4.0} << 2.0;
    QTest::newRow("last sample before x") << QVector<double>{1.0, 5.0, 3.0} << 4.0;
}

void TestCurveTracker::noSegmentOfSamplesOutOfOrder()
{
    QFETCH(QVector<double>, times);
    QFETCH(double, x);
    DataCurve curve(QStringLiteral("x"));
    curve.setSamples(times, times);
    QVERIFY(m_tracker->curveLineAt(&curve, x).isNull());
}

void TestCurveTracker::searchTouchesFewSamples()
{
    class CountingData : public QwtSeriesData<QPointF>
    {
    public:
        std::size_t size() const override { return 50000; }
        QPointF sample(std::size_t i) const override
        {
            ++reads;
            return {double(i), 1.0};
        }
        QRectF boundingRect() const override { return {0.0, 1.0, 49999.0, 0.0}; }
        mutable int reads = 0;
    };
    DataCurve curve(QStringLiteral("x"));
    auto* data = new CountingData; // owned by the curve
    curve.setSamples(data);
    QCOMPARE(m_tracker->curveLineAt(&curve, 31234.5).x1(), 31234.0);
    QVERIFY2(data->reads <= 25, qPrintable(QString::number(data->reads)));
}

void TestCurveTracker::infoIsTheInterpolatedValueInTheCurvesColour()
{
    DataCurve curve(QStringLiteral("Acc. X"));
    curve.setLine(QColor("#30d695"), 2.0);
    curve.setSamples(QVector<double>{10.0, 20.0}, QVector<double>{100.0, -300.0});
    QCOMPARE(m_tracker->curveInfoAt(&curve, QPointF(12.5, 7.0)),
             QString("<font color=#30d695>0.000</font>"));
    QCOMPARE(m_tracker->curveInfoAt(&curve, QPointF(10.0, 7.0)),
             QString("<font color=#30d695>100.000</font>"));
    QCOMPARE(m_tracker->curveInfoAt(&curve, QPointF(20.0, 7.0)),
             QString("<font color=#30d695>-300.000</font>"));
}

void TestCurveTracker::infoIsPaddedToFiveCharacters_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("fits") << 1.5 << "1.500";
    QTest::newRow("rounded") << 1.23456 << "1.235";
    QTest::newRow("negative") << -1.5 << "-1.500";
    QTest::newRow("wider than the field") << 1013.25 << "1013.250";
    QTest::newRow("no number") << std::nan("") << "  nan";
}

void TestCurveTracker::infoIsPaddedToFiveCharacters()
{
    QFETCH(double, value);
    QFETCH(QString, text);
    DataCurve curve(QStringLiteral("x"));
    curve.setSamples(QVector<double>{1.0, 2.0}, QVector<double>{value, value});
    QCOMPARE(m_tracker->curveInfoAt(&curve, QPointF(1.25, 0.0)),
             QString("<font color=#000000>%1</font>").arg(text));
}

void TestCurveTracker::infoIsEmptyBesideTheCurve()
{
    DataCurve curve(QStringLiteral("x"));
    curve.setSamples(QVector<double>{1.0, 2.0}, QVector<double>{3.0, 4.0});
    QVERIFY(m_tracker->curveInfoAt(&curve, QPointF(0.999, 3.0)).isEmpty());
    QVERIFY(m_tracker->curveInfoAt(&curve, QPointF(2.001, 3.0)).isEmpty());
}

void TestCurveTracker::textListsTheVisibleCurvesInOrder()
{
    m_plot->updateData(DataPlot::AccX, {1.0, 2.0}, {1.0, 2.0}, false);
    m_plot->updateData(DataPlot::AccY, {1.0, 2.0}, {-3.0, -4.0}, false);
    m_plot->updateData(DataPlot::AccZ, {1.0, 2.0}, {9.0, 10.0}, false);
    QCOMPARE(m_tracker->trackerTextF(QPointF(1.5, 0.0)).text(),
             QString("<font color=#ff5757>1.500</font><br><font color=#30d695>-3.500</font><br>"
                     "<font color=#00beff>9.500</font>"));
}

void TestCurveTracker::textSkipsAHiddenCurveThatHoldsSamples()
{
    m_plot->setSensorType(DataPlot::Barometer);
    m_plot->updateData(DataPlot::RelAltitude, {1.0, 2.0}, {1000.0, 1010.0}, false);
    m_plot->updateData(DataPlot::TempLeft, {1.0, 2.0}, {1000.0, 1010.0}, false);
    m_plot->updateData(DataPlot::AccX, {1.0, 2.0}, {1.0, 2.0}, false);
    QCOMPARE(m_tracker->trackerTextF(QPointF(1.5, 0.0)).text(),
             QString("<font color=#ff5730>1005.000</font>"));
}

void TestCurveTracker::textSkipsACurveWithoutAValueThere()
{
    m_plot->updateData(DataPlot::AccX, {1.0, 2.0}, {1.0, 2.0}, false);
    m_plot->updateData(DataPlot::AccY, {3.0, 4.0}, {3.0, 4.0}, false);
    m_plot->updateData(DataPlot::AccZ, {1.0, 4.0}, {7.0, 7.0}, false);
    QCOMPARE(valuesIn(m_tracker->trackerTextF(QPointF(1.5, 0.0)).text()),
             (QVector<QPair<QString, double>>{{"#ff5757", 1.5}, {"#00beff", 7.0}}));
    QCOMPARE(valuesIn(m_tracker->trackerTextF(QPointF(3.5, 0.0)).text()),
             (QVector<QPair<QString, double>>{{"#30d695", 3.5}, {"#00beff", 7.0}}));
}

void TestCurveTracker::textIsEmptyWithoutCurves()
{
    QVERIFY(m_tracker->trackerTextF(QPointF(1.5, 0.0)).isEmpty());
    feedWaves();
    QVERIFY(!m_tracker->trackerTextF(QPointF(startTime + 1.5, 0.0)).isEmpty());
    QVERIFY(m_tracker->trackerTextF(QPointF(startTime - 1.5, 0.0)).isEmpty());
    m_plot->setSensorType(DataPlot::Gyroscope);
    QVERIFY(m_tracker->trackerTextF(QPointF(startTime + 1.5, 0.0)).isEmpty());
}

void TestCurveTracker::textStandsInABox()
{
    feedWaves();
    const QwtText text = m_tracker->trackerTextF(QPointF(startTime + 1.5, 0.0));
    QCOMPARE(text.renderFlags(), int(Qt::AlignLeft));
    QCOMPARE(text.color(), QColor(Qt::black));
    const QPen border(QBrush(QColor("#FFFFFF")), 2.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
    QCOMPARE(text.borderPen(), border);
    QCOMPARE(text.backgroundBrush(), QBrush(QColor(255, 255, 255, 200)));
}

void TestCurveTracker::valuesAgreeWithLinearInterpolation_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QVector<int>>("curves");
    QTest::newRow("accelerometer") << int(DataPlot::Accelerometer) << QVector<int>{0, 1, 2};
    QTest::newRow("gyroscope") << int(DataPlot::Gyroscope) << QVector<int>{3, 4, 5};
    QTest::newRow("magnetometer") << int(DataPlot::Magnetometer) << QVector<int>{6, 7, 8};
    QTest::newRow("orientation") << int(DataPlot::Orientation) << QVector<int>{9, 10, 11};
    QTest::newRow("barometer") << int(DataPlot::Barometer) << QVector<int>{12};
    QTest::newRow("temperature") << int(DataPlot::Temperature) << QVector<int>{13, 14};
}

void TestCurveTracker::valuesAgreeWithLinearInterpolation()
{
    QFETCH(int, mode);
    QFETCH(QVector<int>, curves);
    m_plot->setSensorType(static_cast<DataPlot::SensorType>(mode));
    QVector<Curve> data;
    for (int i = 0; i < DataPlot::curveCount; ++i) {
        data.append(wave(i));
        m_plot->updateData(static_cast<DataPlot::DataType>(i), data[i].x, data[i].y, false);
    }
    m_plot->replot();

    // Over the whole width of the canvas, through the mouse.
    const int width = m_plot->canvas()->width();
    for (int x = 3; x < width - 3; x += 29) {
        const QPoint pixel(x, 100);
        moveTo(pixel);
        const double time = m_plot->invTransform(QwtPlot::xBottom, x);
        const auto shown = valuesIn(m_tracker->trackerTextF(QPointF(time, 0.0)).text());
        QCOMPARE(shown.size(), curves.size());
        for (int i = 0; i < curves.size(); ++i) {
            const double expected = interpolated(data[curves[i]], time);
            QVERIFY2(std::abs(shown[i].second - expected) <= 0.0005 + 1e-9,
                     qPrintable(QString("%1: %2, expected %3")
                                    .arg(time, 0, 'f', 6)
                                    .arg(shown[i].second)
                                    .arg(expected)));
        }
    }
}

void TestCurveTracker::boxStandsFivePixelsAboveTheCursor()
{
    feedWaves();
    const QFont font = m_plot->canvas()->font();
    for (const int y : {100, 150, m_plot->canvas()->height() - 2}) {
        moveTo(QPoint(200, y));
        const QRect box = m_tracker->trackerRect(font);
        QVERIFY(box.height() > 20);
        QCOMPARE(box.bottom(), y - 5);
    }
}

void TestCurveTracker::boxStaysBelowTheTopOfTheCanvas()
{
    feedWaves();
    const QFont font = m_plot->canvas()->font();
    for (const int y : {1, 10, 30}) {
        moveTo(QPoint(200, y));
        const QRect box = m_tracker->trackerRect(font);
        QVERIFY(y - 5 < box.height());
        QCOMPARE(box.bottom(), box.height());
        QVERIFY(box.top() >= 0);
    }
}

void TestCurveTracker::boxStaysWhereThePickerPutItWithoutAVisibleCurve()
{
    class PlainRect : public CurveTracker
    {
    public:
        using CurveTracker::CurveTracker;
        // NOLINTNEXTLINE(bugprone-parent-virtual-call): Qwt's own is what it is compared with
        QRect plain(const QFont& font) const { return QwtPicker::trackerRect(font); }
        QwtText trackerTextF(const QPointF&) const override
        {
            return QwtText(QStringLiteral("a box all the same"));
        }
    };
    PlainRect tracker(m_plot->canvas());
    tracker.setStateMachine(new QwtPickerTrackerMachine);
    m_plot->setSensorType(static_cast<DataPlot::SensorType>(-1));
    feedWaves();
    moveTo(QPoint(200, 20));
    const QFont font = m_plot->canvas()->font();
    QVERIFY(!tracker.plain(font).isEmpty());
    QCOMPARE(tracker.trackerRect(font), tracker.plain(font));
}

void TestCurveTracker::boxStaysWhereThePickerPutItBesideTheFirstVisibleCurve()
{
    class PlainRect : public CurveTracker
    {
    public:
        using CurveTracker::CurveTracker;
        // NOLINTNEXTLINE(bugprone-parent-virtual-call): Qwt's own is what it is compared with
        QRect plain(const QFont& font) const { return QwtPicker::trackerRect(font); }
    };
    PlainRect tracker(m_plot->canvas());
    tracker.setStateMachine(new QwtPickerTrackerMachine);
    const QFont font = m_plot->canvas()->font();

    // The first visible curve ends before the cursor, the others don't.
    m_plot->updateData(DataPlot::AccX, {startTime, startTime + 1.0}, {1.0, 2.0}, false);
    m_plot->updateData(DataPlot::AccY, {startTime, startTime + 10.0}, {1.0, 2.0}, true);
    moveTo(QPoint(600, 30));
    QVERIFY(!tracker.plain(font).isEmpty());
    QCOMPARE(tracker.trackerRect(font), tracker.plain(font));

    // Where it has a value, the sides stay as they were.
    m_plot->updateData(DataPlot::AccX, {startTime, startTime + 10.0}, {1.0, 2.0}, true);
    QVERIFY(tracker.trackerRect(font) != tracker.plain(font));
    QCOMPARE(tracker.trackerRect(font).left(), tracker.plain(font).left());
    QCOMPARE(tracker.trackerRect(font).size(), tracker.plain(font).size());
}

void TestCurveTracker::noBoxWithoutAValue()
{
    moveTo(QPoint(200, 100));
    QVERIFY(m_tracker->trackerRect(m_plot->canvas()->font()).isEmpty());
}

void TestCurveTracker::mouseOverTheChartShowsLineBoxAndColours()
{
    feedWaves();
    const QImage before = screenshot();
    const QPoint cursor(300, 140);
    moveTo(cursor);
    const QRect box = m_tracker->trackerRect(m_plot->canvas()->font());
    QVERIFY(m_plot->canvas()->rect().contains(box));

    const QColor orchid(186, 85, 211);
    QImage after;
    QTRY_VERIFY((after = screenshot()).pixelColor(cursor.x(), 5) == orchid);
    QVERIFY(before.pixelColor(cursor.x(), 5) != orchid);
    const QByteArray folder = qgetenv("GRAVIMON_KEEP_PICTURES");
    if (!folder.isEmpty()) {
        after.save(QString::fromLocal8Bit(folder) + QStringLiteral("/tracker.png"));
    }

    // The line has the full height. Qwt leaves out the last row.
    for (int y = 0; y < after.height() - 1; ++y) {
        if (!box.adjusted(-2, -2, 2, 2).contains(cursor.x(), y)) {
            QCOMPARE(after.pixelColor(cursor.x(), y), orchid);
        }
    }
    // White, with a little of the background inside.
    QCOMPARE(after.pixelColor(box.left(), box.center().y()), QColor(Qt::white));
    QCOMPARE(after.pixelColor(box.right(), box.center().y()), QColor(Qt::white));
    const QColor ground(205, 205, 205);
    int groundPixels = 0;
    QVector<int> textRows[3];
    const QColor colours[3] = {"#ff5757", "#30d695", "#00beff"};
    const QRect inside = box.adjusted(3, 3, -3, -3);
    for (int y = inside.top(); y <= inside.bottom(); ++y) {
        for (int x = inside.left(); x <= inside.right(); ++x) {
            const QColor pixel = after.pixelColor(x, y);
            groundPixels += isNear(pixel, ground, 3) ? 1 : 0;
            for (int i = 0; i < 3; ++i) {
                if (isNear(pixel, colours[i], 24)) {
                    textRows[i].append(y);
                }
            }
        }
    }
    QVERIFY(groundPixels > inside.width() * inside.height() / 3);
    // One line of text for each colour, in the order of the curves.
    for (const QVector<int>& rows : textRows) {
        QVERIFY(rows.size() > 10);
    }
    QVERIFY(textRows[0].last() < textRows[1].first());
    QVERIFY(textRows[1].last() < textRows[2].first());
}

void TestCurveTracker::lineAndBoxGoWithTheMouse()
{
    feedWaves();
    const QColor orchid(186, 85, 211);
    moveTo(QPoint(300, 140));
    QTRY_VERIFY(screenshot().pixelColor(300, 5) == orchid);
    moveTo(QPoint(500, 140));
    QImage image;
    QTRY_VERIFY((image = screenshot()).pixelColor(500, 5) == orchid);
    QVERIFY(image.pixelColor(300, 5) != orchid);

    QCursor::setPos(1500, 900);
    QTRY_VERIFY(screenshot().pixelColor(500, 5) != orchid);
    QVERIFY(m_tracker->trackerRect(m_plot->canvas()->font()).isEmpty());
}

void TestCurveTracker::lineAndBoxStayTogetherInAChartOfAnotherSize()
{
    feedWaves();
    moveTo(QPoint(300, 100));
    QCOMPARE(m_tracker->selection(), QPolygon({QPoint(300, 100)}));
    const int width = m_plot->canvas()->width();
    m_plot->resize(m_plot->width() + 200, m_plot->height() + 50);
    QTRY_COMPARE(m_plot->canvas()->width(), width + 200);
    QCOMPARE(m_tracker->selection(), QPolygon({m_tracker->trackerPosition()}));
    QCOMPARE(m_tracker->trackerPosition(), QPoint(300, 100));
}

void TestCurveTracker::boxUnderARestingMouseFollowsTheData_data()
{
    QTest::addColumn<QVector<double>>("before");
    QTest::addColumn<QVector<double>>("after");
    QTest::newRow("longer values") << QVector<double>{1.0} << QVector<double>{1234.567};
    QTest::newRow("shorter values") << QVector<double>{1234.567} << QVector<double>{1.0};
    QTest::newRow("a minus sign") << QVector<double>{9.999} << QVector<double>{-9.999};
    QTest::newRow("more lines") << QVector<double>{1.0} << QVector<double>{1.0, 2.0, 3.0};
    QTest::newRow("fewer lines") << QVector<double>{1.0, 2.0, 3.0} << QVector<double>{1.0};
    QTest::newRow("no samples at first") << QVector<double>{} << QVector<double>{1.0, 2.0, 3.0};
    QTest::newRow("no samples any more") << QVector<double>{1.0, 2.0, 3.0} << QVector<double>{};
}

void TestCurveTracker::boxUnderARestingMouseFollowsTheData()
{
    QFETCH(QVector<double>, before);
    QFETCH(QVector<double>, after);
    const QPoint cursor(300, 140);
    const QPoint elsewhere(500, 60);

    // Result when the mouse enters a chart that already has data.
    const auto found = [&](const QVector<double>& levels) {
        moveTo(elsewhere);
        feedLevels(levels);
        moveTo(cursor);
        settle();
        return screenshot();
    };
    const QImage expected = found(after);
    const QImage start = found(before);
    QVERIFY(start != expected);

    feedLevels(after);
    QTRY_COMPARE(screenshot(), expected);
}

void TestCurveTracker::boxOfTheSameShapeCostsNoFurtherPaint()
{
    feedLevels({1.0, 2.0, 3.0});
    moveTo(QPoint(300, 140));
    settle();
    const PaintCounter paints(m_plot->canvas());
    feedLevels({4.0, 5.0, 6.0});
    settle();
    QCOMPARE(paints.count, 1);
}

void TestCurveTracker::boxOfAnotherShapeIsSetOnce()
{
    feedLevels({1.0, 2.0, 3.0});
    moveTo(QPoint(300, 140));
    settle();
    const PaintCounter paints(m_plot->canvas());
    feedLevels({1234.567, -1234.567});
    settle();
    // The paint of the replot, and one for the new size.
    QCOMPARE(paints.count, 2);
}

void TestCurveTracker::livesAsLongAsTheCanvas()
{
    feedWaves();
    moveTo(QPoint(300, 140)); // with line and box
    QCOMPARE(m_tracker->parent(), m_plot->canvas());
    const QPointer<QwtPicker> tracker(m_tracker);
    const QPointer<QWidget> canvas(m_plot->canvas());
    delete m_plot;
    m_plot = nullptr;
    QVERIFY(tracker == nullptr);
    QVERIFY(canvas == nullptr);
}

QTEST_MAIN(TestCurveTracker)
#include "tst_curvetracker.moc"
