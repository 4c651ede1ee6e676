#include "support/qtcalls.h"
#include "support/sidethread.h"
#include "support/viewersession.h"
#include "support/waiting.h"

#include "charts/DataPlot.h"
#include "look/Style.h"

#include <qwt_plot_curve.h>
#include <qwt_point_data.h>

#include <atomic>
#include <cmath>

using namespace viewersession;

namespace {

constexpr double startTime = 1706711000.25;

/// `count` times at this rate, and the values index * step + offset.
QVector<double> times(int count, double rate, double start = startTime)
{
    QVector<double> series;
    for (int i = 0; i < count; ++i) {
        series.append(start + i / rate);
    }
    return series;
}

QVector<double> ramp(int count, double offset)
{
    QVector<double> series;
    for (int i = 0; i < count; ++i) {
        series.append(offset + i * 0.001);
    }
    return series;
}

QVector<double> lastOf(const QVector<double>& series, int count)
{
    return series.mid(std::max(0, series.size() - count));
}

} // namespace

/// The changes of the window at a selection, and the data of the chart.
class TestChartFeed : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Viewer> m_viewer;

    DataPlot* chart() const { return m_viewer->ui->widget_chart; }

    const QwtPlotCurve* curve(int index) const
    {
        const QwtPlotItemList items = chart()->itemList(QwtPlotItem::Rtti_PlotCurve);
        return static_cast<const QwtPlotCurve*>(items[index]);
    }
    QVector<double> curveTimes(int index) const
    {
        const auto* data = dynamic_cast<const QwtPointArrayData*>(curve(index)->data());
        return data == nullptr ? QVector<double>() : data->xData();
    }
    QVector<double> curveValues(int index) const
    {
        const auto* data = dynamic_cast<const QwtPointArrayData*>(curve(index)->data());
        return data == nullptr ? QVector<double>() : data->yData();
    }
    QVector<int> visibleCurves() const
    {
        QVector<int> visible;
        for (int i = 0; i < DataPlot::curveCount; ++i) {
            if (curve(i)->isVisible()) {
                visible.append(i);
            }
        }
        return visible;
    }
    QVector<int> fedCurves() const
    {
        QVector<int> fed;
        for (int i = 0; i < DataPlot::curveCount; ++i) {
            if (curve(i)->dataSize() > 0) {
                fed.append(i);
            }
        }
        return fed;
    }
    /// As they will be after the next replot.
    QwtInterval valueAxis() const
    {
        chart()->updateAxes();
        return chart()->axisInterval(QwtPlot::yLeft);
    }
    QwtInterval timeAxis() const
    {
        chart()->updateAxes();
        return chart()->axisInterval(QwtPlot::xBottom);
    }

    QPushButton* button(const QString& name) const
    {
        return m_viewer->window->findChild<QPushButton*>(name);
    }

    /// As if a camera had streamed for this number of seconds.
    void store(double seconds, bool withBarometer = true) const
    {
        auto& p = m_viewer->probe;
        const QMutexLocker lock(&p.dataMutex);
        const int imu = static_cast<int>(seconds * 400.0);
        p.imuTime = times(imu, 400.0);
        QVector<double>* const imuSeries[] = {&p.accX,  &p.accY,  &p.accZ, &p.gyroX,
                                              &p.gyroY, &p.gyroZ, &p.orX,  &p.orY,
                                              &p.orZ,   &p.magX,  &p.magY, &p.magZ};
        double offset = 0.0;
        for (QVector<double>* const series : imuSeries) {
            *series = ramp(imu, offset);
            offset += 100.0;
        }
        const int mag = static_cast<int>(seconds * 50.0);
        p.magNewTime = times(mag, 50.0, startTime + 0.004);
        p.magNewX = ramp(mag, 2000.0);
        p.magNewY = ramp(mag, 2100.0);
        p.magNewZ = ramp(mag, 2200.0);
        const int baro = static_cast<int>(seconds * 25.0);
        const int temperature = withBarometer ? baro : imu;
        if (withBarometer) {
            p.baroNewTime = times(baro, 25.0, startTime + 0.016);
            p.baroNewPressure = ramp(baro, 1010.0);
        } else {
            p.tempFallbackTime = times(imu, 400.0);
        }
        p.baroNewTempLeft = ramp(temperature, 30.0);
        p.baroNewTempRight = ramp(temperature, 35.0);
    }

    void startPlotTimer() const
    {
        // The test makes its ticks.
        m_viewer->probe.plotTimer = new QTimer(m_viewer->window.get());
        m_viewer->probe.plotTimer->start(m_viewer->probe.plotPeriodMs);
    }

private slots:
    void init()
    {
        bench().reset();
        m_viewer = std::make_unique<Viewer>();
        m_viewer->probe.chartWindowSec = 10;
    }
    void cleanup() { m_viewer.reset(); }

    // Selection.

    void buttonSelectsItsSensor_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("sensor");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("topLabel");
        QTest::newRow("accelerometer") << "pushButton_accel"
                                       << "Accelerometer"
                                       << "Accelerometer @ "
                                       << "Accelerometer";
        QTest::newRow("gyroscope") << "pushButton_gyro"
                                   << "Gyroscope"
                                   << "Gyroscope @ "
                                   << "Gyroscope";
        QTest::newRow("magnetometer") << "pushButton_mag"
                                      << "Magnetometer"
                                      << "Magnetometer @ "
                                      << "Magnetometer [Not Calibrated]";
        QTest::newRow("orientation") << "pushButton_orient"
                                     << "Orientation"
                                     << "Orientation @ "
                                     << "Orientation";
        QTest::newRow("barometer") << "pushButton_baro"
                                   << "Barometer"
                                   << "Barometer @ "
                                   << "Barometer";
        QTest::newRow("temperature") << "pushButton_temper"
                                     << "Camera Temperature"
                                     << "Temperature @ "
                                     << "Temperature";
    }
    void buttonSelectsItsSensor()
    {
        QFETCH(QString, name);
        QFETCH(QString, sensor);
        QFETCH(QString, label);
        QFETCH(QString, topLabel);
        // From another sensor, whichever it is.
        button(name == "pushButton_gyro" ? "pushButton_baro" : "pushButton_gyro")->click();
        QVERIFY(m_viewer->probe.currentSensor != sensor);
        QTest::mouseClick(button(name), Qt::LeftButton);
        QCOMPARE(m_viewer->probe.currentSensor, sensor);
        QCOMPARE(m_viewer->ui->label_sensor_type->text(), label);
        QCOMPARE(m_viewer->ui->label_sensor_type_top->text(), topLabel);
    }

    void buttonThatIsLetGoChangesNothing_data()
    {
        QTest::addColumn<QByteArray>("slot");
        for (const char* button : {"accel", "gyro", "mag", "orient", "baro", "temper"}) {
            QTest::newRow(button) << QByteArray("on_pushButton_") + button + "_clicked";
        }
    }
    void buttonThatIsLetGoChangesNothing()
    {
        QFETCH(QByteArray, slot);
        m_viewer->probe.changeSensor("none of them");
        m_viewer->ui->label_sensor_type->setText("type");
        m_viewer->ui->label_sensor_type_top->setText("top");
        QVERIFY(QMetaObject::invokeMethod(m_viewer->window.get(), slot, Q_ARG(bool, false)));
        QCOMPARE(m_viewer->probe.currentSensor, QString("none of them"));
        QCOMPARE(m_viewer->ui->label_sensor_type->text(), QString("type"));
        QCOMPARE(m_viewer->ui->label_sensor_type_top->text(), QString("top"));
        QVERIFY(QMetaObject::invokeMethod(m_viewer->window.get(), slot, Q_ARG(bool, true)));
        QVERIFY(m_viewer->probe.currentSensor != "none of them");
    }

    void magnetometerTitleIsTakenAtTheClick()
    {
        m_viewer->probe.magCalibrated = true;
        m_viewer->window->on_pushButton_mag_clicked(true);
        QCOMPARE(m_viewer->ui->label_sensor_type_top->text(), QString("Magnetometer [Calibrated]"));
        m_viewer->probe.magCalibrated = false;
        store(1.0);
        startPlotTimer();
        m_viewer->window->updatePlot();
        QCOMPARE(m_viewer->ui->label_sensor_type_top->text(), QString("Magnetometer [Calibrated]"));
        m_viewer->window->on_pushButton_mag_clicked(true);
        QCOMPARE(m_viewer->ui->label_sensor_type_top->text(),
                 QString("Magnetometer [Not Calibrated]"));
    }

    void selectionSetsBoxesModeAndRange_data()
    {
        QTest::addColumn<QString>("sensor");
        QTest::addColumn<QVector<int>>("curves");
        QTest::addColumn<double>("min");
        QTest::addColumn<double>("max");
        QTest::addColumn<int>("boxes");
        QTest::addColumn<int>("firstSheet"); // 0 x, 1 y, 3 single axis
        QTest::addColumn<bool>("calibration");
        QTest::newRow("accelerometer")
            << "Accelerometer" << QVector<int>{0, 1, 2} << -double(20.5F) * 1.1
            << double(20.5F) * 1.1 << 3 << 0 << false;
        QTest::newRow("gyroscope") << "Gyroscope" << QVector<int>{3, 4, 5} << -double(251.3F) * 1.1
                                   << double(251.3F) * 1.1 << 3 << 0 << false;
        QTest::newRow("magnetometer")
            << "Magnetometer" << QVector<int>{6, 7, 8} << -double(48.7F) * 1.1
            << double(48.7F) * 1.1 << 3 << 0 << true;
        QTest::newRow("orientation")
            << "Orientation" << QVector<int>{9, 10, 11} << -double(179.9F) * 1.1
            << double(179.9F) * 1.1 << 3 << 0 << false;
        QTest::newRow("barometer")
            << "Barometer" << QVector<int>{12} << 900.5 << 1110.25 << 1 << 3 << false;
        QTest::newRow("temperature")
            << "Camera Temperature" << QVector<int>{13, 14} << 25.5 << 55.25 << 2 << 1 << false;
    }
    void selectionSetsBoxesModeAndRange()
    {
        QFETCH(QString, sensor);
        QFETCH(QVector<int>, curves);
        QFETCH(double, min);
        QFETCH(double, max);
        QFETCH(int, boxes);
        QFETCH(int, firstSheet);
        QFETCH(bool, calibration);
        auto& probe = m_viewer->probe;
        probe.accelRange = 20.5F;
        probe.gyroRange = 251.3F;
        probe.magRange = 48.7F;
        probe.orientRange = 179.9F;
        probe.pressureMin = 900.5F;
        probe.pressureMax = 1110.25F;
        probe.temperatureMin = 25.5F;
        probe.temperatureMax = 55.25F;

        const QStringList sensors{"Accelerometer", "Gyroscope", "Magnetometer",
                                  "Orientation",   "Barometer", "Camera Temperature"};
        for (const QString& before : sensors) {
            probe.changeSensor(before);
            probe.changeSensor(sensor);
            QCOMPARE(probe.currentSensor, sensor);
            QCOMPARE(visibleCurves(), curves);
            QCOMPARE(valueAxis().minValue(), min);
            QCOMPARE(valueAxis().maxValue(), max);

            const QString sheets[] = {probe.style->xAxisEditStyle, probe.style->yAxisEditStyle,
                                      probe.style->zAxisEditStyle,
                                      probe.style->singleAxisEditStyle};
            QVERIFY(m_viewer->ui->lineEdit_value_0->isVisible());
            QCOMPARE(m_viewer->ui->lineEdit_value_1->isVisible(), boxes > 1);
            QCOMPARE(m_viewer->ui->lineEdit_value_2->isVisible(), boxes > 2);
            QCOMPARE(m_viewer->ui->lineEdit_value_0->styleSheet(), sheets[firstSheet]);
            QCOMPARE(m_viewer->ui->lineEdit_value_1->styleSheet(),
                     sheets[sensor == "Camera Temperature" ? 2 : 1]);
            QCOMPARE(m_viewer->ui->lineEdit_value_2->styleSheet(), sheets[2]);
            QCOMPARE(m_viewer->ui->pushButton_calib_mag->isVisible(), calibration);
        }
    }

    void otherNamesKeepModeAndRange_data()
    {
        QTest::addColumn<QString>("sensor");
        QTest::newRow("unknown") << "Thermometer";
        QTest::newRow("empty") << "";
        QTest::newRow("null") << QString();
        QTest::newRow("another case") << "gyroscope";
        QTest::newRow("title of the temperature") << "Temperature";
    }
    void otherNamesKeepModeAndRange()
    {
        QFETCH(QString, sensor);
        auto& probe = m_viewer->probe;
        probe.changeSensor("Barometer");
        const QwtInterval range = valueAxis();
        probe.changeSensor(sensor);
        QCOMPARE(probe.currentSensor, sensor);
        QCOMPARE(visibleCurves(), QVector<int>{12});
        QCOMPARE(valueAxis(), range);
        QVERIFY(m_viewer->ui->lineEdit_value_1->isVisible());
        QVERIFY(m_viewer->ui->lineEdit_value_2->isVisible());
        QCOMPARE(m_viewer->ui->lineEdit_value_0->styleSheet(), probe.style->xAxisEditStyle);
        QVERIFY(!m_viewer->ui->pushButton_calib_mag->isVisible());
    }

    void selectionNeedsNoLock()
    {
        // Another thread holds the samples, for instance to append some.
        const QMutexLocker lock(&m_viewer->probe.dataMutex);
        m_viewer->window->on_pushButton_mag_clicked(true);
        m_viewer->window->updateChartTimeSize();
        m_viewer->probe.initCharts();
        QCOMPARE(m_viewer->probe.currentSensor, QString());
    }

    // The time range.

    void timeRangeFollowsTheComboBox_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("seconds");
        QTest::newRow("first") << 0 << 5;
        QTest::newRow("second") << 1 << 10;
        QTest::newRow("third") << 2 << 30;
        QTest::newRow("fourth") << 3 << 60;
    }
    void timeRangeFollowsTheComboBox()
    {
        QFETCH(int, row);
        QFETCH(int, seconds);
        auto* const box = m_viewer->ui->comboBox_time_range;
        box->setCurrentIndex(row == 0 ? 3 : 0);
        box->setCurrentIndex(row);
        QCOMPARE(m_viewer->probe.chartWindowSec, seconds);
    }

    void textOfTheTimeRangeIsRead_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("seconds");
        QTest::newRow("minutes") << "Last 2 min" << 120;
        QTest::newRow("hours") << "Last 1 hours" << 3600;
        QTest::newRow("other unit") << "Last 7 days" << 7;
    }
    void textOfTheTimeRangeIsRead()
    {
        QFETCH(QString, text);
        QFETCH(int, seconds);
        m_viewer->ui->comboBox_time_range->setItemText(1, text);
        m_viewer->ui->comboBox_time_range->setCurrentIndex(1);
        m_viewer->window->updateChartTimeSize();
        QCOMPARE(m_viewer->probe.chartWindowSec, seconds);
        // The argument is ignored.
        m_viewer->probe.chartWindowSec = 1;
        m_viewer->window->on_comboBox_time_range_currentIndexChanged("Last 99 sec");
        QCOMPARE(m_viewer->probe.chartWindowSec, seconds);
    }

    void clearedComboBoxKeepsTheTimeRange()
    {
        m_viewer->ui->comboBox_time_range->setCurrentIndex(2);
        QCOMPARE(m_viewer->probe.chartWindowSec, 30);
        m_viewer->ui->comboBox_time_range->clear();
        QCOMPARE(m_viewer->probe.chartWindowSec, 30);
        m_viewer->probe.changeSensor("Gyroscope");
        QCOMPARE(m_viewer->probe.chartWindowSec, 30);
    }

    void selectionReadsTheTimeRange()
    {
        m_viewer->ui->comboBox_time_range->setCurrentIndex(3);
        m_viewer->probe.chartWindowSec = 1;
        m_viewer->probe.changeSensor("Gyroscope");
        QCOMPARE(m_viewer->probe.chartWindowSec, 60);
    }

    void anotherTimeRangeTouchesNoSeries()
    {
        store(20.0);
        startPlotTimer();
        auto& probe = m_viewer->probe;
        m_viewer->window->updatePlot();
        const QVector<double> before = probe.accX;
        const QVector<double> shown = probe.chartY0;
        m_viewer->ui->comboBox_time_range->setCurrentIndex(0);
        QCOMPARE(probe.accX, before);
        QCOMPARE(probe.chartY0, shown); // until the next update
        m_viewer->window->updatePlot();
        QCOMPARE(probe.accX, before);
        QCOMPARE(probe.chartY0.size(), 2600);
    }

    // Clearing.

    void initChartsEmptiesSeriesAndCurves()
    {
        auto& probe = m_viewer->probe;
        for (int i = 0; i < MainWindowProbe::seriesCount; ++i) {
            probe.series(i) = {1.0, 2.0, 3.0};
        }
        for (int i = 0; i < DataPlot::curveCount; ++i) {
            chart()->updateData(static_cast<DataPlot::DataType>(i), {1.0, 2.0}, {3.0, 4.0}, false);
        }
        chart()->setAutoReplot(true);
        probe.changeSensor("Gyroscope");
        probe.initCharts();
        QCOMPARE(MainWindowProbe::seriesCount, 37);
        for (int i = 0; i < MainWindowProbe::seriesCount; ++i) {
            QVERIFY2(probe.series(i).isEmpty(), qPrintable(QString::number(i)));
            QVERIFY2(probe.series(i).capacity() >= 24000, qPrintable(QString::number(i)));
        }
        QCOMPARE(fedCurves(), QVector<int>());
        QVERIFY(!chart()->autoReplot());
        QVERIFY(probe.currentSensor.isNull());
        // The chart keeps the sensor that it showed.
        QCOMPARE(visibleCurves(), (QVector<int>{3, 4, 5}));
    }

    void initChartsReturnsTheMemoryOfALongSession()
    {
        auto& probe = m_viewer->probe;
        for (int i = 0; i < MainWindowProbe::seriesCount; ++i) {
            probe.series(i).resize(200'000);
        }
        probe.initCharts();
        for (int i = 0; i < MainWindowProbe::seriesCount; ++i) {
            QVERIFY2(probe.series(i).isEmpty(), qPrintable(QString::number(i)));
            QVERIFY2(probe.series(i).capacity() == 24000,
                     qPrintable(QString::number(probe.series(i).capacity())));
        }
    }

    void initChartsReplotsTheEmptyChart()
    {
        store(20.0);
        startPlotTimer();
        m_viewer->window->updatePlot();
        const auto hasInk = [this] {
            const QImage image = chart()->canvas()->grab().toImage();
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x) {
                    if (image.pixelColor(x, y) == QColor("#ff5757")) {
                        return true;
                    }
                }
            }
            return false;
        };
        m_viewer->probe.accelRange = 100.0F;
        m_viewer->window->updatePlot();
        QVERIFY(hasInk());
        m_viewer->probe.initCharts();
        QVERIFY(!hasInk());
    }

    // Updates.

    void noSampleLeavesTheTimerRunning()
    {
        startPlotTimer();
        chart()->setAutoReplot(true);
        const QwtInterval before = timeAxis();
        m_viewer->window->updatePlot();
        QVERIFY(m_viewer->probe.plotTimer->isActive());
        QVERIFY(!chart()->autoReplot());
        QCOMPARE(timeAxis(), before);
        QCOMPARE(m_viewer->probe.plotPeriodMs, 15);
        QVERIFY(m_viewer->probe.dataMutex.tryLock());
        m_viewer->probe.dataMutex.unlock();
    }

    void updateEndsWithTimerRunningAndLockReleased()
    {
        store(1.0);
        startPlotTimer();
        m_viewer->window->updatePlot();
        QVERIFY(m_viewer->probe.plotTimer->isActive());
        QVERIFY(m_viewer->probe.dataMutex.tryLock());
        m_viewer->probe.dataMutex.unlock();
    }

    void updateWaitsForTheSamples()
    {
        store(1.0);
        startPlotTimer();
        auto& probe = m_viewer->probe;
        QSemaphore locked;
        QSemaphore asked;
        std::atomic<bool> released{false};
        SideThread producer([&] {
            const QMutexLocker lock(&probe.dataMutex);
            locked.release();
            released = waiting::acquire(asked);
        });
        producer.onJoin([&] { asked.release(); });
        QVERIFY(waiting::acquire(locked));
        const qtcalls::Hook hook([&](const qtcalls::Call& call) {
            if (call.call == qtcalls::CALL::LOCK && call.object == &probe.dataMutex) {
                asked.release();
            }
        });
        m_viewer->window->updatePlot();
        QVERIFY(released);
    }

    void lockAndTimerRestThroughTheReplot()
    {
        // Called for the scales during a replot.
        class Listener : public QwtPlotItem
        {
        public:
            explicit Listener(MainWindowProbe& window) : probe(window)
            {
                setItemInterest(QwtPlotItem::ScaleInterest, true);
            }
            void updateScaleDiv(const QwtScaleDiv&, const QwtScaleDiv&) override
            {
                ++replots;
                timerRan = timerRan || probe.plotTimer->isActive();
                if (probe.dataMutex.tryLock()) {
                    probe.dataMutex.unlock();
                    wasFree = true;
                }
            }
            void draw(QPainter*, const QwtScaleMap&, const QwtScaleMap&,
                      const QRectF&) const override
            {}
            MainWindowProbe& probe;
            int replots = 0;
            bool timerRan = false;
            bool wasFree = false;
        };
        store(20.0);
        startPlotTimer();
        Listener listener(m_viewer->probe);
        listener.attach(chart());
        listener.replots = 0;
        m_viewer->window->updatePlot();
        listener.detach();
        QCOMPARE(listener.replots, 1);
        QVERIFY(!listener.timerRan);
        QVERIFY(!listener.wasFree);
        QVERIFY(m_viewer->probe.plotTimer->isActive());
    }

    void updateReplots()
    {
        store(20.0);
        startPlotTimer();
        m_viewer->window->updatePlot();
        // Only a replot computes the divisions again.
        QCOMPARE(chart()->axisInterval(QwtPlot::xBottom).maxValue(),
                 m_viewer->probe.imuTime.last());
    }

    void sensorFeedsItsCurves_data()
    {
        QTest::addColumn<QString>("sensor");
        QTest::addColumn<QVector<int>>("curves");
        QTest::addColumn<QVector<double>>("first"); // values at index 0 of the series
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("samples"); // of 10 s
        QTest::addColumn<double>("min");
        QTest::addColumn<double>("max");
        QTest::newRow("accelerometer")
            << "Accelerometer" << QVector<int>{0, 1, 2} << QVector<double>{0.0, 100.0, 200.0} << 400
            << 5200 << -double(20.5F) * 1.05 << double(20.5F) * 1.05;
        QTest::newRow("empty name")
            << "" << QVector<int>{0, 1, 2} << QVector<double>{0.0, 100.0, 200.0} << 400 << 5200
            << -double(20.5F) * 1.05 << double(20.5F) * 1.05;
        QTest::newRow("unknown name")
            << "Thermometer" << QVector<int>{0, 1, 2} << QVector<double>{0.0, 100.0, 200.0} << 400
            << 5200 << -double(20.5F) * 1.05 << double(20.5F) * 1.05;
        QTest::newRow("gyroscope")
            << "Gyroscope" << QVector<int>{3, 4, 5} << QVector<double>{300.0, 400.0, 500.0} << 400
            << 5200 << -double(251.3F) * 1.05 << double(251.3F) * 1.05;
        QTest::newRow("magnetometer")
            << "Magnetometer" << QVector<int>{6, 7, 8} << QVector<double>{2000.0, 2100.0, 2200.0}
            << 50 << 500 << -double(48.7F) * 1.05 << double(48.7F) * 1.05;
        QTest::newRow("orientation")
            << "Orientation" << QVector<int>{9, 10, 11} << QVector<double>{600.0, 700.0, 800.0}
            << 400 << 5200 << -double(179.9F) * 1.05 << double(179.9F) * 1.05;
        // The hidden curve of the left temperature also gets the pressure.
        QTest::newRow("barometer")
            << "Barometer" << QVector<int>{12, 13} << QVector<double>{1010.0, 1010.0} << 25 << 250
            << 900.5 << 1110.25;
        QTest::newRow("temperature") << "Camera Temperature" << QVector<int>{13, 14}
                                     << QVector<double>{30.0, 35.0} << 25 << 250 << 25.5 << 55.25;
    }
    void sensorFeedsItsCurves()
    {
        QFETCH(QString, sensor);
        QFETCH(QVector<int>, curves);
        QFETCH(QVector<double>, first);
        QFETCH(int, rate);
        QFETCH(int, samples);
        QFETCH(double, min);
        QFETCH(double, max);
        auto& probe = m_viewer->probe;
        probe.accelRange = 20.5F;
        probe.gyroRange = 251.3F;
        probe.magRange = 48.7F;
        probe.orientRange = 179.9F;
        probe.pressureMin = 900.5F;
        probe.pressureMax = 1110.25F;
        probe.temperatureMin = 25.5F;
        probe.temperatureMax = 55.25F;
        startPlotTimer();

        for (const double stored : {4.0, 40.0}) {
            probe.initCharts();
            store(stored);
            probe.changeSensor(sensor);
            probe.chartWindowSec = 10;
            m_viewer->window->updatePlot();

            const int inSeries = static_cast<int>(stored * rate);
            const int shown = std::min(inSeries, samples);
            QCOMPARE(fedCurves(), curves);
            const QVector<double>& time = rate == 400  ? probe.imuTime
                                          : rate == 50 ? probe.magNewTime
                                                       : probe.baroNewTime;
            QCOMPARE(time.size(), inSeries);
            const QVector<double>* const working[] = {&probe.chartY0, &probe.chartY1,
                                                      &probe.chartY2};
            QCOMPARE(probe.chartTime, lastOf(time, shown));
            for (int i = 0; i < curves.size(); ++i) {
                const QVector<double> expected = lastOf(ramp(inSeries, first[i]), shown);
                QCOMPARE(curveTimes(curves[i]), probe.chartTime);
                QCOMPARE(curveTimes(curves[i]).constData(), probe.chartTime.constData());
                QCOMPARE(curveValues(curves[i]), expected);
                if (curves[i] != 13 || sensor != "Barometer") {
                    QCOMPARE(*working[i], expected);
                    // Shared, without a further copy.
                    QCOMPARE(curveValues(curves[i]).constData(), working[i]->constData());
                }
            }
            QCOMPARE(valueAxis().minValue(), min);
            QCOMPARE(valueAxis().maxValue(), max);
            // Without a surplus the window is a sample short of 10 s, and the axis starts with it.
            const bool scrolls = rate == 400 && stored > 10.0;
            const double left = scrolls ? time.last() - 10.0 : probe.chartTime.first();
            QCOMPARE(timeAxis().minValue(), left);
            QCOMPARE(timeAxis().maxValue(), left + 10.0);
        }
    }

    void sensorSlowerThanItsNominalRateScrolls()
    {
        auto& probe = m_viewer->probe;
        startPlotTimer();
        store(40.0);
        probe.magNewTime = times(2000, 49.9);
        probe.changeSensor("Magnetometer");
        probe.chartWindowSec = 10;
        m_viewer->window->updatePlot();
        QCOMPARE(timeAxis().minValue(), probe.magNewTime.last() - 10.0);
        QCOMPARE(timeAxis().maxValue(), probe.magNewTime.last());
    }

    void emptyNameFeedsTheAccelerometerInTheModeOfTheChart()
    {
        store(20.0);
        startPlotTimer();
        QTest::mouseClick(button("pushButton_gyro"), Qt::LeftButton);
        m_viewer->probe.changeSensor(QString());
        m_viewer->window->updatePlot();
        QCOMPARE(fedCurves(), (QVector<int>{0, 1, 2}));
        QCOMPARE(visibleCurves(), (QVector<int>{3, 4, 5}));
        QVERIFY(button("pushButton_gyro")->isChecked());
        QCOMPARE(valueAxis().maxValue(), 15.0 * 1.05);
    }

    void temperatureWithoutBarometerTakesTheFallbackAtTheImuRate()
    {
        auto& probe = m_viewer->probe;
        startPlotTimer();
        probe.changeSensor("Camera Temperature");
        probe.chartWindowSec = 10;
        store(5.0, false);
        m_viewer->window->updatePlot();
        QCOMPARE(probe.chartTime, probe.tempFallbackTime);
        QCOMPARE(timeAxis().minValue(), probe.tempFallbackTime.first());

        store(40.0, false);
        m_viewer->window->updatePlot();
        QCOMPARE(probe.chartTime, lastOf(probe.tempFallbackTime, 4000)); // no surplus
        QCOMPARE(curveValues(13), lastOf(ramp(16000, 30.0), 4000));
        QCOMPARE(curveValues(14), lastOf(ramp(16000, 35.0), 4000));
        QCOMPARE(timeAxis().minValue(), probe.chartTime.first());
    }

    void temperatureWithBarometerLeavesTheFallbackAlone()
    {
        auto& probe = m_viewer->probe;
        startPlotTimer();
        store(40.0);
        probe.tempFallbackTime = times(4000, 400.0, 5.0);
        probe.changeSensor("Camera Temperature");
        probe.chartWindowSec = 10;
        m_viewer->window->updatePlot();
        QCOMPARE(probe.chartTime, lastOf(probe.baroNewTime, 250));
    }

    void temperaturesLongerThanTheirTimesStartByTheTimes()
    {
        // The board's temperatures were absent for a while: these series grew at the IMU's pace.
        auto& probe = m_viewer->probe;
        startPlotTimer();
        store(40.0);
        probe.baroNewTempLeft = ramp(16000, 30.0);
        probe.baroNewTempRight = ramp(16000, 50.0);
        probe.tempFallbackTime = times(15000, 400.0);
        probe.changeSensor("Camera Temperature");
        probe.chartWindowSec = 10;
        m_viewer->window->updatePlot();
        QCOMPARE(probe.baroNewTime.size(), 1000);
        QCOMPARE(probe.chartTime, lastOf(probe.baroNewTime, 250));
        QCOMPARE(probe.chartY0, ramp(16000, 30.0).mid(750, 250));
        QCOMPARE(probe.chartY1, ramp(16000, 50.0).mid(750, 250));
        QCOMPARE(curve(13)->dataSize(), std::size_t{250});
        QCOMPARE(curveValues(14), probe.chartY1);
    }

    void windowTakesTheMemoryOfItsSamples()
    {
        auto& probe = m_viewer->probe;
        startPlotTimer();
        probe.chartWindowSec = 10;
        for (const double stored : {1.0, 20.0}) { // less and more than the window
            store(stored);
            probe.imuTime.reserve(500'000);
            probe.accX.reserve(500'000);
            m_viewer->window->updatePlot();
            QCOMPARE(probe.chartTime.size(), stored < 10.0 ? 400 : 5200);
            QCOMPARE(probe.chartTime.capacity(), probe.chartTime.size());
            QCOMPARE(probe.chartY0.capacity(), probe.chartY0.size());
        }
    }

    void seriesCutByItsOwnLength_data()
    {
        QTest::addColumn<int>("window");
        QTest::addColumn<int>("samples");
        for (const int window : {5, 10, 30, 60}) {
            QTest::addRow("%d s", window) << window << window * 520;
        }
    }
    void seriesCutByItsOwnLength()
    {
        QFETCH(int, window);
        QFETCH(int, samples);
        auto& probe = m_viewer->probe;
        startPlotTimer();
        store(100.0);
        probe.chartWindowSec = window;
        m_viewer->window->updatePlot();
        QCOMPARE(probe.chartY0.size(), samples);
        // Thirty percent of them are left of the axis.
        QVERIFY(probe.chartTime.first() < timeAxis().minValue());
        QCOMPARE(timeAxis().width(), double(window));
    }

    void periodFollowsTheImuWindow_data()
    {
        QTest::addColumn<QString>("sensor");
        for (const char* sensor :
             {"Accelerometer", "Magnetometer", "Barometer", "Camera Temperature", ""}) {
            QTest::addRow("'%s'", sensor) << sensor;
        }
    }
    void periodFollowsTheImuWindow()
    {
        QFETCH(QString, sensor);
        auto& probe = m_viewer->probe;
        startPlotTimer();
        store(100.0);
        probe.changeSensor(sensor);
        const QPair<int, int> periods[] = {{5, 25}, {10, 25}, {30, 31}, {60, 62}, {5, 25}};
        for (const auto& period : periods) {
            probe.chartWindowSec = period.first;
            m_viewer->window->updatePlot();
            QCOMPARE(probe.plotPeriodMs, period.second);
            QCOMPARE(probe.plotTimer->interval(), period.second);
        }
    }

    void periodOfAShortSeriesIsTheShortest()
    {
        auto& probe = m_viewer->probe;
        startPlotTimer();
        store(5.0);
        probe.chartWindowSec = 60;
        QCOMPARE(probe.plotPeriodMs, 15);
        m_viewer->window->updatePlot();
        QCOMPARE(probe.plotPeriodMs, 25);
        QCOMPARE(probe.plotTimer->interval(), 25);
    }

    void unchangedPeriodLeavesTheTimersIntervalAlone()
    {
        auto& probe = m_viewer->probe;
        startPlotTimer();
        store(5.0);
        probe.plotPeriodMs = 25;
        probe.plotTimer->setInterval(77);
        m_viewer->window->updatePlot();
        QCOMPARE(probe.plotTimer->interval(), 77);
    }

    void timerOfAnotherCameraTakesOverThePeriod()
    {
        m_viewer->probe.plotPeriodMs = 62;
        // Looked at while the camera opens: the first samples adapt it.
        std::atomic<int> interval{0};
        bench().setOpenHook(
            [&](const om::InitParameters&) { interval = m_viewer->probe.plotTimer->interval(); });
        bench().addCamera(camera(om::MODEL::TIV_Q, 31415926));
        QTRY_VERIFY(m_viewer->streams(31415926));
        bench().setOpenHook(nullptr);
        QCOMPARE(interval.load(), 62);
        QTRY_COMPARE(m_viewer->probe.plotTimer->interval(), 25);
    }

    void exactlyTheWindowGivesTheSameAxisByBothRules()
    {
        auto& probe = m_viewer->probe;
        startPlotTimer();
        store(10.0);
        probe.imuTime.last() = probe.imuTime.first() + 10.0;
        m_viewer->window->updatePlot();
        QCOMPARE(timeAxis().minValue(), startTime);
        QCOMPARE(timeAxis().maxValue(), startTime + 10.0);
    }

    void rangeTightensWithTheFirstUpdateAfterASelection()
    {
        auto& probe = m_viewer->probe;
        startPlotTimer();
        store(20.0);
        probe.gyroRange = 100.0F;
        QTest::mouseClick(button("pushButton_gyro"), Qt::LeftButton);
        QCOMPARE(valueAxis().maxValue(), 100.0 * 1.1);
        m_viewer->window->updatePlot();
        QCOMPARE(valueAxis().maxValue(), 100.0 * 1.05);
        m_viewer->window->updatePlot();
        QCOMPARE(valueAxis().maxValue(), 100.0 * 1.05);
        // The axis follows a limit that has grown.
        probe.gyroRange = 300.0F;
        m_viewer->window->updatePlot();
        QCOMPARE(valueAxis().maxValue(), 300.0 * 1.05);
    }

    void spikeWidensTheChartForGood()
    {
        auto& probe = m_viewer->probe;
        startPlotTimer();
        probe.accelRange = 160.0F; // by a sample that no window holds
        const auto axisAfterAnUpdate = [&] {
            probe.changeSensor("Accelerometer");
            probe.chartWindowSec = 10;
            m_viewer->window->updatePlot();
            return valueAxis();
        };
        const QwtInterval wide(-160.0 * 1.05, 160.0 * 1.05);
        store(20.0);
        QCOMPARE(axisAfterAnUpdate(), wide);
        probe.initCharts();
        store(1.0);
        QCOMPARE(axisAfterAnUpdate(), wide);
        m_viewer->window->reset(); // as for another camera
        startPlotTimer();
        QCOMPARE(axisAfterAnUpdate(), wide);
    }

    void sensorWithoutSamplesKeepsTheTimeAxis_data()
    {
        QTest::addColumn<QString>("sensor");
        QTest::addColumn<double>("max");
        QTest::newRow("magnetometer") << "Magnetometer" << 6.5 * 1.05;
        QTest::newRow("barometer") << "Barometer" << 1050.0;
        QTest::newRow("temperature") << "Camera Temperature" << 45.0;
    }
    void sensorWithoutSamplesKeepsTheTimeAxis()
    {
        QFETCH(QString, sensor);
        QFETCH(double, max);
        auto& probe = m_viewer->probe;
        startPlotTimer();
        store(20.0);
        m_viewer->window->updatePlot();
        const QwtInterval before = timeAxis();
        for (auto* series : {&probe.magNewTime, &probe.magNewX, &probe.magNewY, &probe.magNewZ,
                             &probe.baroNewTime, &probe.baroNewPressure, &probe.baroNewTempLeft,
                             &probe.baroNewTempRight, &probe.tempFallbackTime}) {
            series->clear();
        }
        probe.temperatureMin = 20.0F;
        probe.changeSensor(sensor);
        probe.chartWindowSec = 10;
        m_viewer->window->updatePlot();
        QCOMPARE(timeAxis(), before);
        QCOMPARE(valueAxis().maxValue(), max);
        QCOMPARE(fedCurves(), (QVector<int>{0, 1, 2})); // of the update before
        QVERIFY(probe.plotTimer->isActive());
    }

    void changeOfCameraKeepsTheOldSamples()
    {
        auto& probe = m_viewer->probe;
        store(20.0);
        m_viewer->window->reset();
        QCOMPARE(probe.accX.size(), 8000);
        QCOMPARE(probe.currentSensor, QString("Accelerometer"));
        startPlotTimer();
        probe.chartWindowSec = 10;
        m_viewer->window->updatePlot();
        QCOMPARE(curveValues(0).size(), 5200);
    }

    void appendedSamplesDoNotTouchTheChart()
    {
        auto& probe = m_viewer->probe;
        startPlotTimer();
        store(5.0);
        m_viewer->window->updatePlot();
        const QVector<double> shown = curveValues(0);
        const double last = shown.last();
        probe.accX.append(1e6);
        probe.accX[0] = 1e6;
        QCOMPARE(curveValues(0).size(), 2000);
        QCOMPARE(curveValues(0).first(), 0.0);
        QCOMPARE(curveValues(0).last(), last);
    }

    void seriesAreNeverSharedWithTheChart_data()
    {
        QTest::addColumn<QString>("sensor");
        QTest::addColumn<bool>("withBarometer");
        QTest::newRow("accelerometer") << "Accelerometer" << true;
        QTest::newRow("gyroscope") << "Gyroscope" << true;
        QTest::newRow("magnetometer") << "Magnetometer" << true;
        QTest::newRow("orientation") << "Orientation" << true;
        QTest::newRow("barometer") << "Barometer" << true;
        QTest::newRow("temperature") << "Camera Temperature" << true;
        QTest::newRow("temperature of the IMU") << "Camera Temperature" << false;
    }
    void seriesAreNeverSharedWithTheChart()
    {
        // The sensor thread would have to copy a shared series with the next sample, under the
        // lock.
        QFETCH(QString, sensor);
        QFETCH(bool, withBarometer);
        auto& probe = m_viewer->probe;
        startPlotTimer();
        probe.changeSensor(sensor);
        probe.chartWindowSec = 10;
        for (const double stored : {5.0, 20.0}) { // less and more than the window
            store(stored, withBarometer);
            m_viewer->window->updatePlot();
            QVERIFY(!probe.chartTime.isEmpty());
            for (int i = 0; i < MainWindowProbe::seriesCount; ++i) {
                const QVector<double>& series = probe.series(i);
                const bool isWindow = &series == &probe.chartTime || &series == &probe.chartY0 ||
                                      &series == &probe.chartY1 || &series == &probe.chartY2;
                QVERIFY2(isWindow || series.isEmpty() || series.isDetached(),
                         qPrintable(QString::number(i)));
            }
        }
    }

    void emptyWindowShowsNothingAndKeepsTheAxis()
    {
        auto& probe = m_viewer->probe;
        startPlotTimer();
        store(20.0);
        m_viewer->window->updatePlot();
        const QwtInterval before = timeAxis();
        probe.chartWindowSec = 0;
        m_viewer->window->updatePlot();
        QCOMPARE(timeAxis(), before);
        QCOMPARE(fedCurves(), QVector<int>());
    }

    void timerFeedsTheChartOfAStreamingCamera()
    {
        bench().addCamera(camera(om::MODEL::TIV_Q, 31415926));
        QTRY_VERIFY(m_viewer->streams(31415926));
        QCOMPARE(m_viewer->probe.chartWindowSec, 10);
        for (const char* name : {"pushButton_accel", "pushButton_gyro", "pushButton_mag",
                                 "pushButton_orient", "pushButton_baro", "pushButton_temper"}) {
            QTest::mouseClick(button(name), Qt::LeftButton);
            QTRY_VERIFY(curve(visibleCurves().first())->dataSize() > 10);
        }
    }
};

QTEST_MAIN(TestChartFeed)
#include "tst_mainwindow_chartfeed.moc"
