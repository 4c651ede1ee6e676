#include "support/qtcalls.h"
#include "support/sidethread.h"
#include "support/viewersession.h"
#include "support/waiting.h"

#include "bench/eeprom_store.h"
#include "calibration/magcalibdlgprobe.h"
#include "camera/ProgramStates.h"
#include "closing/close_signals.h"
#include "look/Style.h"

#include <qwt_plot_curve.h>
#include <qwt_point_data.h>
#include <qwt_scale_div.h>

#include <atomic>
#include <csignal>

using namespace viewersession;
using om::ERROR_CODE;
using om::MODEL;
using om::bench::CALL;

namespace {

constexpr unsigned int first = 20000001;
constexpr unsigned int second = 20000002;

const QString noGpuMemory = QStringLiteral(
    "Not enough GPU memory. Try a lower video resolution and/or a lower depth quality settings.");
const QString oldFirmware =
    QStringLiteral("Your firmware needs to be updated. Please update it in TIV Atlas.");

/// Calls a function when the widget gets an event of the type.
class EventWatcher : public QObject
{
public:
    EventWatcher(QWidget& widget, QEvent::Type type) : m_type(type)
    {
        widget.installEventFilter(this);
    }
    std::function<void()> look;

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == m_type && look) {
            look();
        }
        return QObject::eventFilter(watched, event);
    }

private:
    QEvent::Type m_type;
};

} // namespace

/// From a listed camera to a streaming one and back, in a real window.
class TestSession : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Viewer> m_viewer;

    void start() { m_viewer = std::make_unique<Viewer>(); }

    void startStreaming(MODEL model = MODEL::TIV_Q)
    {
        bench().addCamera(camera(model, first));
        start();
        QTRY_VERIFY(m_viewer->streams(first));
    }

    void choose(int row) { m_viewer->ui->comboBox_camera_list->setCurrentIndex(row); }

    /// Whether the dialog's thread reads, if it has one.
    static bool isReady(MagCalibDlg& dialog)
    {
        const MagCalibDlgProbe probe{dialog};
        return probe.mcuClosed || probe.running();
    }

    /// For the repeated looks of a watcher: does nothing before the dialog is ready.
    static void leave(MagCalibDlg& dialog)
    {
        if (isReady(dialog)) {
            QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("pushButton_exit")),
                              Qt::LeftButton);
        }
    }

    /// Whether the window gets what the input thread sends.
    bool signalsAreConnected() const
    {
        auto* const view = m_viewer->ui->widget_3d_view;
        view->cudaContext = nullptr;
        emit m_viewer->probe.inputThread->sendContext();
        return view->cudaContext != nullptr;
    }

    bool isBusy() const { return m_viewer->window->cursor().shape() == Qt::BusyCursor; }

    QStringList timeRanges() const
    {
        QStringList texts;
        for (int i = 0; i < m_viewer->ui->comboBox_time_range->count(); ++i) {
            texts << m_viewer->ui->comboBox_time_range->itemText(i);
        }
        return texts;
    }

    void verifyBox(QMessageBox& box, const QString& title, QMessageBox::Icon icon,
                   const QString& text)
    {
        const Style& style = *m_viewer->probe.style;
        QCOMPARE(box.windowTitle(), title);
        QVERIFY(box.icon() == icon);
        QCOMPARE(box.text(), text);
        QVERIFY(box.isModal());
        QCOMPARE(box.buttons().size(), 1);
        QAbstractButton* const ok = box.buttons().constFirst();
        QCOMPARE(ok->text(), QStringLiteral("Ok"));
        QCOMPARE(box.styleSheet(), style.splashStyle);
        QCOMPARE(fontText(ownFont(box)), fontText(style.fontPro9));
        QCOMPARE(ok->styleSheet(), style.statusOnStyle);
        QCOMPARE(fontText(ownFont(*ok)), fontText(style.fontPro9));
    }

private slots:
    void init() { bench().reset(); }
    void cleanup()
    {
        m_viewer.reset();
        bench().setOpenHook(nullptr);
    }

    // First, because the flag for the first image time exists once per process.
    void withoutSensorsTheImagesCarryTheTime()
    {
        bench().addCamera(camera(MODEL::TIV_Q, first));
        bench().addCamera(camera(MODEL::TIV_P, second));
        // The camera turns out to be another model than its row said.
        bench().setOpenHook([](const om::InitParameters&) {
            bench().setOpenHook(nullptr);
            bench().removeCamera(first);
            bench().addCamera(camera(MODEL::TIV, first));
        });
        start();
        auto& probe = m_viewer->probe;
        probe.accX = {1.0};
        m_viewer->ui->pushButton_mag->hide();
        QTRY_VERIFY(probe.inputThread != nullptr && !probe.cameraLost);
        QVERIFY(probe.inputThread->cameraInfo.cameraModel == MODEL::TIV);
        QVERIFY(probe.dataThread == nullptr);
        QVERIFY(!m_viewer->ui->comboBox_time_range->isEnabled());
        QVERIFY(!m_viewer->ui->frame_data_options->isEnabled());
        QVERIFY(probe.accX.isEmpty());
        QCOMPARE(probe.currentSensor, QString());
        const DataPlot* const chart = m_viewer->ui->widget_chart;
        QCOMPARE(chart->axisScaleDiv(QwtPlot::yLeft).lowerBound(), -15.0);
        QCOMPARE(chart->axisScaleDiv(QwtPlot::yLeft).upperBound(), 15.0);
        QCOMPARE(chart->axisScaleDiv(QwtPlot::xBottom).lowerBound(), 0.0);
        QCOMPARE(chart->axisScaleDiv(QwtPlot::xBottom).upperBound(), 10.0);
        // The first three curves share the working series.
        const auto curves = chart->itemList(QwtPlotItem::Rtti_PlotCurve);
        const QVector<double>* const values[] = {&probe.accX, &probe.accY, &probe.accZ};
        for (int i = 0; i < 3; ++i) {
            const auto* const curve = static_cast<const QwtPlotCurve*>(curves.at(i));
            const auto* const data = dynamic_cast<const QwtPointArrayData*>(curve->data());
            QVERIFY(data != nullptr);
            QVERIFY(data->xData().constData() == probe.chartTime.constData());
            QVERIFY(data->yData().constData() == values[i]->constData());
        }
        // The buttons have not changed.
        QVERIFY(m_viewer->ui->pushButton_baro->isVisible());
        QVERIFY(!m_viewer->ui->pushButton_mag->isVisible());
        QVERIFY(m_viewer->ui->pushButton_temper->isVisible());

        // The zero is the time of the image at the first tick, if one had been grabbed.
        QTRY_VERIFY(probe.imageTicks > 0);
        const auto firstTime = probe.imuStartTime;
        QTRY_VERIFY(probe.elapsedSec > 0.1);
        QCOMPARE(probe.imuStartTime, firstTime);
        const auto imageTime = [&probe] {
            return probe.inputThread->camera.getTimestamp(om::TIME_REFERENCE::IMAGE) / 1000;
        };
        // Once is enough: a new image may arrive before the next check.
        std::uint64_t time = 0;
        bool isBetween = false;
        const auto updatesBetweenTwoImages = [&] {
            if (!isBetween) {
                time = imageTime();
                m_viewer->window->updateImages();
                isBetween = imageTime() == time;
            }
            return isBetween;
        };
        QTRY_VERIFY(updatesBetweenTwoImages());
        QVERIFY(probe.elapsedSec == static_cast<double>(time - firstTime) / 1e6);

        // A second session continues with the zero of the first.
        m_viewer->window->reset();
        m_viewer->window->createLiveInput();
        m_viewer->window->updateImages();
        QCOMPARE(probe.imuStartTime, firstTime);
        QVERIFY(probe.dataThread == nullptr);
    }

    void aSessionStartsFromAFullReset()
    {
        bench().addCamera(camera(MODEL::TIV_Q, first));
        start();
        auto& probe = m_viewer->probe;
        using P = ProgramStates;
        for (int& attribute : P::int_attributes) {
            attribute = 77;
        }
        P::setBoolAttr(P::inputPaused, true);
        P::setDoubleAttr(P::selectedPointX, 5.0);
        P::qstringAttr(P::inputFilePath) = QStringLiteral("old");
        bool looked = false;
        // The state in which the camera is opened.
        bench().setOpenHook([&](const om::InitParameters&) {
            looked = true;
            const QVector<int> ints(std::begin(P::int_attributes), std::end(P::int_attributes));
            QCOMPARE(ints, QVector<int>({0, 6, 25000, 95, 0, 0, 0, 0, 0, 0, 0, 100, 100, 100, 0, 1,
                                         0, 100, 0}));
            const QVector<bool> bools(std::begin(P::bool_attributes), std::end(P::bool_attributes));
            QCOMPARE(bools, QVector<bool>({false, false, false, true}));
            for (const double attribute : P::double_attributes) {
                QCOMPARE(attribute, 0.0);
            }
            QCOMPARE(P::qstringAttr(0), QStringLiteral(""));
            QCOMPARE(P::qstringAttr(1), QStringLiteral("Sensor Data Viewer"));
            QCOMPARE(P::qstringAttr(2), QStringLiteral(""));
            QCOMPARE(P::qstringAttr(3), QStringLiteral(""));
            QVERIFY(!P::qstringAttr(2).isNull());

            QVERIFY(m_viewer->ui->comboBox_camera_list->isEnabled()); // it was grey without a row
            QVERIFY(isBusy());
            QCOMPARE(timeRanges(),
                     QStringList({"Last 5 sec", "Last 10 sec", "Last 30 sec", "Last 60 sec"}));
            QCOMPARE(m_viewer->ui->comboBox_time_range->currentIndex(), 1);
            QVERIFY(probe.imageTimer->isActive() && probe.plotTimer->isActive() &&
                    probe.displayTimer->isActive());
            QCOMPARE(probe.imageTimer->interval(), 40);
            QCOMPARE(probe.plotTimer->interval(), 15);
            QCOMPARE(probe.displayTimer->interval(), 25);
            for (const QTimer* timer : {probe.imageTimer, probe.plotTimer, probe.displayTimer}) {
                QCOMPARE(timer->parent(), m_viewer->window.get());
                QVERIFY(timer->timerType() == Qt::CoarseTimer);
            }
            QVERIFY(probe.inputThread->enabled);
            QVERIFY(probe.detectTimer == nullptr);
            QVERIFY(probe.cameraLost);
        });
        QTRY_VERIFY(m_viewer->streams(first));
        QVERIFY(looked);
        QVERIFY(!isBusy());
        QVERIFY(!probe.cameraLost);
    }

    void theRequestedRateAndResolutionAreTheWindows()
    {
        bench().addCamera(camera(MODEL::TIV_Q, first));
        start();
        m_viewer->probe.requestedFps = 60;
        m_viewer->probe.requestedResolution = 3;
        // Until the first measurement the rates are the requested one.
        QVector<int> rates;
        using P = ProgramStates;
        bench().setOpenHook([&rates](const om::InitParameters&) {
            rates = {P::getIntAttr(P::measuredFps), P::getIntAttr(P::cameraFps),
                     P::getIntAttr(P::requestedFps)};
        });
        QTRY_VERIFY(m_viewer->streams(first));
        QCOMPARE(rates, QVector<int>({60, 60, 60}));
        const auto open = bench().log().last(CALL::OPEN);
        QCOMPARE(open->init->fps, 60);
        QVERIFY(open->init->resolution == om::RESOLUTION::HD1200);
    }

    void eachModelHasItsButtons_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<bool>("baroAndMag");
        QTest::addColumn<bool>("temper");
        QTest::newRow("TIV_N") << 1 << false << false;
        QTest::newRow("TIV_P") << 2 << true << true;
        QTest::newRow("TIV_Q") << 3 << true << true;
        QTest::newRow("TIV_R") << 4 << false << true;
        QTest::newRow("TIV_S") << 5 << false << true;
    }

    void eachModelHasItsButtons()
    {
        QFETCH(int, model);
        QFETCH(bool, baroAndMag);
        QFETCH(bool, temper);
        // From the opposite state, so that each button has to be set.
        bench().addCamera(camera(static_cast<MODEL>(model), first));
        start();
        const Ui_MainWindow* const ui = m_viewer->ui;
        ui->pushButton_baro->setVisible(!baroAndMag);
        ui->pushButton_mag->setVisible(!baroAndMag);
        ui->pushButton_temper->setVisible(!temper);
        ui->frame_data_options->setEnabled(false);
        ui->comboBox_time_range->setEnabled(false);
        QTRY_VERIFY(m_viewer->streams(first));
        QCOMPARE(ui->pushButton_baro->isVisible(), baroAndMag);
        QCOMPARE(ui->pushButton_mag->isVisible(), baroAndMag);
        QCOMPARE(ui->pushButton_temper->isVisible(), temper);
        QVERIFY(ui->pushButton_accel->isVisible());
        QVERIFY(ui->pushButton_gyro->isVisible());
        QVERIFY(ui->pushButton_orient->isVisible());
        QVERIFY(ui->frame_data_options->isEnabled());
        QVERIFY(ui->comboBox_time_range->isEnabled());
    }

    void anUnknownModelOfTheOpenCameraHasAllButtons()
    {
        bench().addCamera(camera(MODEL::TIV_N, first));
        // The camera turns out to be another model than its row said.
        bench().setOpenHook([](const om::InitParameters&) {
            bench().setOpenHook(nullptr);
            bench().removeCamera(first);
            bench().addCamera(camera(static_cast<MODEL>(6), first));
        });
        start();
        const Ui_MainWindow* const ui = m_viewer->ui;
        ui->pushButton_baro->hide();
        ui->pushButton_mag->hide();
        ui->pushButton_temper->hide();
        QTRY_VERIFY(m_viewer->streams(first));
        QVERIFY(m_viewer->probe.cameraModel == MODEL::TIV_N);
        QVERIFY(ui->pushButton_baro->isVisible());
        QVERIFY(ui->pushButton_mag->isVisible());
        QVERIFY(ui->pushButton_temper->isVisible());
        QVERIFY(ui->frame_data_options->isEnabled());
        QVERIFY(ui->comboBox_time_range->isEnabled());
    }

    void aRefusedOpenIsRetriedSilently()
    {
        auto config = camera(MODEL::TIV_Q, first);
        config.faults.openResult = ERROR_CODE::IN_USE;
        bench().addCamera(config);
        BoxWatcher boxes([](QMessageBox& box) { clickOk(box); });
        start();
        auto& probe = m_viewer->probe;
        QTRY_COMPARE(bench().log().count(CALL::OPEN), 1ULL);
        QVERIFY(probe.inputThread == nullptr);
        QVERIFY(probe.imageTimer == nullptr && probe.plotTimer == nullptr &&
                probe.displayTimer == nullptr);
        QVERIFY(probe.detectTimer != nullptr && probe.detectTimer->isActive());
        QCOMPARE(probe.detectTimer->interval(), 200);
        QVERIFY(!isBusy());
        QVERIFY(probe.cameraLost);
        QCOMPARE(timeRanges(), QStringList());
        QCOMPARE(m_viewer->ui->comboBox_camera_list->currentText(),
                 QStringLiteral("TIV_Q - 20000001"));
        QTRY_VERIFY(bench().log().count(CALL::OPEN) >= 3);
        QCOMPARE(boxes.count(), 0);
        bench().changeFaults(first, [](auto& f) { f.openResult = ERROR_CODE::SUCCESS; });
        QTRY_VERIFY(m_viewer->streams(first));
        QCOMPARE(boxes.count(), 0);
    }

    void aRowOfAModelThatHasNoOpenerIsAFailedOpen_data()
    {
        QTest::addColumn<int>("model");
        QTest::newRow("the first model") << 0;
        QTest::newRow("above the last") << 6;
        QTest::newRow("unknown") << static_cast<int>(MODEL::UNKNOWN);
    }

    void aRowOfAModelThatHasNoOpenerIsAFailedOpen()
    {
        QFETCH(int, model);
        BoxWatcher boxes([](QMessageBox& box) { clickOk(box); });
        start();
        auto& probe = m_viewer->probe;
        probe.deviceIds = {3};
        probe.deviceSerials = {static_cast<int>(first)};
        probe.deviceModels = {static_cast<MODEL>(model)};
        m_viewer->window->createLiveInput();
        QCOMPARE(bench().log().count(CALL::OPEN), 0ULL);
        QVERIFY(probe.inputThread == nullptr);
        QVERIFY(probe.imageTimer == nullptr && probe.plotTimer == nullptr &&
                probe.displayTimer == nullptr);
        QVERIFY(probe.detectTimer != nullptr && probe.detectTimer->isActive());
        QVERIFY(probe.detectionThread.mutex.tryLock());
        probe.detectionThread.mutex.unlock();
        QVERIFY(!isBusy());
        QCOMPARE(boxes.count(), 0);
    }

    void aChosenCameraThatRefusesIsLeftToTheDetection()
    {
        auto config = camera(MODEL::TIV_P, second);
        config.faults.openResult = ERROR_CODE::IN_USE;
        bench().addCamera(camera(MODEL::TIV_Q, first));
        bench().addCamera(config);
        BoxWatcher boxes([](QMessageBox& box) { clickOk(box); });
        start();
        QTRY_VERIFY(m_viewer->streams(first));
        choose(1);
        auto& probe = m_viewer->probe;
        QVERIFY(bench().log().last(CALL::OPEN)->result != 0);
        QVERIFY(probe.inputThread == nullptr && probe.imageTimer == nullptr);
        QVERIFY(probe.detectTimer != nullptr && probe.detectTimer->isActive());
        QCOMPARE(probe.detectTimer->interval(), 200);
        QVERIFY(!isBusy());
        // The first row is opened again.
        QTRY_VERIFY(m_viewer->streams(first));
        QCOMPARE(m_viewer->ui->comboBox_camera_list->currentIndex(), 0);
        QCOMPARE(boxes.count(), 0);
    }

    void aCameraChosenAfterARefusedOpenEndsThePoll()
    {
        auto inUse = camera(MODEL::TIV_Q, first);
        inUse.faults.openResult = ERROR_CODE::IN_USE;
        bench().addCamera(inUse);
        bench().addCamera(camera(MODEL::TIV_P, second));
        start();
        auto& probe = m_viewer->probe;
        QTRY_VERIFY(bench().log().count(CALL::OPEN) >= 1 && probe.detectTimer != nullptr);
        QCOMPARE(m_viewer->ui->comboBox_camera_list->count(), 2);
        const QPointer<QTimer> poll(probe.detectTimer);
        const auto opens = bench().log().count(CALL::OPEN);
        choose(1);
        // A tick that is still to come would open the first row in place of this camera.
        QVERIFY(poll.isNull());
        QVERIFY(probe.detectTimer == nullptr);
        QTRY_VERIFY(m_viewer->streams(second));
        const int samples = m_viewer->samples();
        QTRY_VERIFY(m_viewer->samples() > samples + 120); // 300 ms
        QVERIFY(m_viewer->streams(second));
        QCOMPARE(m_viewer->ui->comboBox_camera_list->currentIndex(), 1);
        QCOMPARE(bench().log().count(CALL::OPEN), opens + 1);
        QCOMPARE(bench().log().last(CALL::OPEN)->serialNumber, second);
    }

    void thePollEndsBeforeAMessageOfTheChosenCamera()
    {
        auto inUse = camera(MODEL::TIV_Q, first);
        inUse.faults.openResult = ERROR_CODE::IN_USE;
        auto poor = camera(MODEL::TIV_P, second);
        poor.faults.littleGpuMemory = true;
        bench().addCamera(inUse);
        bench().addCamera(poor);
        start();
        auto& probe = m_viewer->probe;
        QTRY_VERIFY(bench().log().count(CALL::OPEN) >= 1 && probe.detectTimer != nullptr);
        // As after an earlier camera that was left and not lost. Otherwise the display's tick takes
        // the chosen camera for lost while the message is shown, and opens the first row.
        probe.cameraLost = false;
        bool polls = true;
        BoxWatcher boxes([&](QMessageBox& box) {
            polls = probe.detectTimer != nullptr;
            clickOk(box);
        });
        choose(1);
        QCOMPARE(boxes.count(), 1);
        QVERIFY(!polls);
        QVERIFY(probe.detectTimer == nullptr);
    }

    void tooLittleGpuMemoryIsReportedAndLeavesTheSessionAsItIs()
    {
        auto poor = camera(MODEL::TIV_P, second);
        poor.faults.littleGpuMemory = true;
        startStreaming();
        QVERIFY(m_viewer->probe.detectionThread.wait(waiting::patienceMs)); // for the poll's list
        bench().addCamera(poor);
        m_viewer->window->on_pushButton_refresh_list_clicked();
        QVERIFY(m_viewer->probe.detectionThread.wait(waiting::patienceMs));
        m_viewer->window->on_pushButton_refresh_list_clicked();
        QCOMPARE(m_viewer->ui->comboBox_camera_list->count(), 3);

        auto& probe = m_viewer->probe;
        int ticks = -1;
        BoxWatcher boxes([&](QMessageBox& box) {
            if (ticks < 0) {
                verifyBox(box, QStringLiteral("Error"), QMessageBox::Critical, noGpuMemory);
                QVERIFY(isBusy());
                ticks = probe.imageTicks;
            } else if (probe.imageTicks > ticks + 5) { // the timers run meanwhile
                clickOk(box);
            }
        });
        choose(2);
        QCOMPARE(boxes.count(), 1);
        QVERIFY(!isBusy());
        QVERIFY(probe.inputThread != nullptr && probe.inputThread->camera.isOpened());
        QVERIFY(!probe.inputThread->isRunning());
        QVERIFY(probe.imageTimer != nullptr && probe.plotTimer != nullptr &&
                probe.displayTimer != nullptr);
        QVERIFY(probe.detectTimer == nullptr);
        QVERIFY(!probe.dataThreadRunning);
        QVERIFY(probe.dataThread == nullptr);
        QVERIFY(!probe.cameraLost);
        // The next choice works as usual.
        choose(0);
        QTRY_VERIFY(m_viewer->streams(first));
    }

    void anOldFirmwareIsReportedAndTheCameraStreams()
    {
        auto old = camera(MODEL::TIV_P, second);
        old.firmwareVersion = 1141;
        bench().addCamera(camera(MODEL::TIV_Q, first));
        bench().addCamera(old);
        start();
        QTRY_VERIFY(m_viewer->streams(first));

        auto& probe = m_viewer->probe;
        const InputThreadModul* input = nullptr;
        int ticks = -1;
        bool busy = false; // while the box is open
        BoxWatcher boxes([&](QMessageBox& box) {
            busy = isBusy();
            if (ticks < 0) {
                verifyBox(box, QStringLiteral("Warning"), QMessageBox::Warning, oldFirmware);
                QVERIFY(!probe.inputThread->isRunning());
                input = probe.inputThread;
                ticks = probe.imageTicks;
            } else if (probe.imageTicks > ticks + 5) {
                clickOk(box);
            }
        });
        choose(1);
        QCOMPARE(boxes.count(), 1);
        QVERIFY(busy);
        QVERIFY(probe.inputThread == input);
        QVERIFY(!isBusy());
        QTRY_VERIFY(m_viewer->streams(second));
        QCOMPARE(bench().log().count(CALL::OPEN), 2ULL);
    }

    void theOldestGoodFirmwareIsNotReported()
    {
        auto config = camera(MODEL::TIV_Q, first);
        config.firmwareVersion = 1142;
        bench().addCamera(config);
        BoxWatcher boxes([](QMessageBox& box) { clickOk(box); });
        start();
        QTRY_VERIFY(m_viewer->streams(first));
        QCOMPARE(boxes.count(), 0);
    }

    void atTheFirstOpenATickTakesTheCameraDownBehindTheFirmwareBox()
    {
        auto old = camera(MODEL::TIV_Q, first);
        old.firmwareVersion = 1100;
        bench().addCamera(old);
        start();
        auto& probe = m_viewer->probe;
        bool answered = false;
        BoxWatcher boxes([&](QMessageBox& box) {
            QCOMPARE(box.text(), oldFirmware);
            // While the box is open the camera has been closed and opened again, and streams.
            if (m_viewer->streams(first)) {
                answered = true;
                clickOk(box);
            }
        });
        QTRY_VERIFY(answered);
        QVERIFY(bench().log().count(CALL::OPEN) == 2);
        QCOMPARE(bench().log().count(CALL::CLOSE), 1ULL);
        QCOMPARE(boxes.count(), 1);
        // One sensor thread, and the session continues.
        const int samples = m_viewer->samples();
        QTRY_VERIFY(m_viewer->samples() > samples + 20);
        const QVector<double> times = m_viewer->copyOf(probe.imuTime);
        for (int i = 1; i < times.size(); ++i) {
            QVERIFY(times.at(i) > times.at(i - 1));
        }
        QVERIFY(!isBusy());
    }

    void aCameraThatIsGoneWhenTheFirmwareBoxClosesEndsTheOpen()
    {
        auto old = camera(MODEL::TIV_Q, first);
        old.firmwareVersion = 1100;
        bench().addCamera(old);
        start();
        auto& probe = m_viewer->probe;
        bool answered = false;
        BoxWatcher boxes([&](QMessageBox& box) {
            bench().unplug(first);
            if (probe.inputThread == nullptr && probe.detectTimer != nullptr) {
                answered = true;
                clickOk(box);
            }
        });
        QTRY_VERIFY(answered);
        QTRY_COMPARE(m_viewer->ui->comboBox_camera_list->currentText(),
                     QStringLiteral("No cameras"));
        QVERIFY(probe.inputThread == nullptr);
        QVERIFY(probe.dataThread == nullptr);
        QVERIFY(!isBusy());
        QVERIFY(probe.cameraLost);
    }

    void atTheFirstOpenATickTakesTheCameraDownBehindTheMemoryBox()
    {
        auto poor = camera(MODEL::TIV_Q, first);
        poor.faults.littleGpuMemory = true;
        bench().addCamera(poor);
        start();
        auto& probe = m_viewer->probe;
        auto opens = bench().log().count(CALL::OPEN) + 2;
        int answers = 0;
        int ticks = -1; // the timers' when the camera was taken down
        BoxWatcher boxes([&](QMessageBox& box) {
            QCOMPARE(box.text(), noGpuMemory);
            if (bench().log().count(CALL::OPEN) < opens) {
                return;
            }
            if (ticks < 0) {
                ticks = probe.imageTicks;
            } else if (probe.imageTicks > ticks + 20) {
                // Once for each answer, because each attempt keeps a scene.
                QCOMPARE(bench().log().count(CALL::OPEN), opens);
                ticks = -1;
                opens += 2;
                if (++answers == 2) {
                    bench().changeFaults(first, [](auto& f) { f.littleGpuMemory = false; });
                }
                clickOk(box);
            }
        });
        QTRY_VERIFY(m_viewer->streams(first));
        QCOMPARE(answers, 2);
        QVERIFY(QApplication::activeModalWidget() == nullptr);
    }

    void memoryThatIsFreedBehindTheBoxIsUsed()
    {
        auto poor = camera(MODEL::TIV_Q, first);
        poor.faults.littleGpuMemory = true;
        bench().addCamera(poor);
        start();
        int boxCount = 0;
        BoxWatcher boxes([&](QMessageBox& box) {
            boxCount = boxes.count();
            bench().changeFaults(first, [](auto& f) { f.littleGpuMemory = false; });
            if (m_viewer->streams(first)) {
                clickOk(box);
            }
        });
        QTRY_VERIFY(boxCount == 1 && QApplication::activeModalWidget() == nullptr);
        QVERIFY(m_viewer->streams(first));
    }

    void pressesBehindTheCloseFindNothing()
    {
        startStreaming();
        const auto opens = bench().log().count(CALL::OPEN);
        QVERIFY(m_viewer->window->close());
        QTest::mouseClick(m_viewer->ui->pushButton_gyro, Qt::LeftButton);
        QTest::mouseClick(m_viewer->ui->pushButton_calib_mag, Qt::LeftButton);
        QTest::mouseClick(m_viewer->ui->pushButton_refresh_list, Qt::LeftButton);
        QTest::keyClick(m_viewer->ui->comboBox_camera_list, Qt::Key_Down);
        QCOMPARE(m_viewer->probe.currentSensor, QStringLiteral("Accelerometer"));
        QVERIFY(m_viewer->probe.inputThread == nullptr && m_viewer->probe.detectTimer == nullptr);
        QCOMPARE(bench().log().count(CALL::OPEN), opens);
    }

    void aSignalClosesTheWindowBehindARecurringMessage()
    {
        auto poor = camera(MODEL::TIV_Q, first);
        poor.faults.littleGpuMemory = true;
        bench().addCamera(poor);
        start();
        const CloseSignals closeSignals(m_viewer->window.get());
        bool raised = false;
        BoxWatcher boxes([&](QMessageBox&) {
            if (!raised && bench().log().count(CALL::OPEN) >= 2) {
                raised = true;
                QVERIFY(std::raise(SIGTERM) == 0);
            }
        });
        QTRY_VERIFY(raised);
        QTRY_VERIFY(!m_viewer->window->isVisible());
        QTRY_VERIFY(QApplication::activeModalWidget() == nullptr);
        QVERIFY(m_viewer->probe.style == nullptr);
        QVERIFY(m_viewer->probe.inputThread == nullptr && m_viewer->probe.displayTimer == nullptr);
        QVERIFY(!isBusy());
    }

    void aSignalEndsTheCalibrationDialogBeforeTheWindow()
    {
        startStreaming();
        const CloseSignals closeSignals(m_viewer->window.get());
        bool raised = false;
        bool visible = false;
        ModalWatcher<MagCalibDlg> dialogs([&](MagCalibDlg& dialog) {
            if (!raised && isReady(dialog)) {
                raised = true;
                connect(&dialog, &QDialog::finished, &dialog,
                        [&] { visible = m_viewer->window->isVisible(); });
                QVERIFY(std::raise(SIGTERM) == 0);
            }
        });
        m_viewer->window->on_pushButton_calib_mag_clicked();
        QVERIFY(raised);
        QVERIFY(visible);
        QTRY_VERIFY(!m_viewer->window->isVisible());
        QVERIFY(m_viewer->probe.inputThread == nullptr && m_viewer->probe.dataThread == nullptr);
        QVERIFY(m_viewer->probe.detectTimer == nullptr);
    }

    void allWindowsMayCloseWhileTheCalibrationDialogIsOpen()
    {
        startStreaming();
        const auto opens = bench().log().count(CALL::OPEN);
        bool closed = false;
        ModalWatcher<MagCalibDlg> dialogs([&](MagCalibDlg& dialog) {
            if (!closed && isReady(dialog)) {
                closed = true;
                QApplication::closeAllWindows();
            }
        });
        m_viewer->window->on_pushButton_calib_mag_clicked();
        QVERIFY(closed);
        QVERIFY(!m_viewer->window->isVisible());
        QVERIFY(m_viewer->probe.style == nullptr);
        QVERIFY(m_viewer->probe.inputThread == nullptr && m_viewer->probe.detectTimer == nullptr);
        QCOMPARE(bench().log().count(CALL::OPEN), opens);
    }

    void aSignalIsNoConsentToAQuestionOfTheCalibration_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("question");
        QTest::newRow("store") << "pushButton_save_calib"
                               << "Pressing OK the current Magnetometer Calibration setting will "
                                  "be overwritten. Continue?";
        QTest::newRow("reset") << "pushButton_reset"
                               << "Pressing OK the current Magnetometer Calibration setting will "
                                  "be lost.\nContinue?";
        QTest::newRow("exit") << "pushButton_exit"
                              << "Calibration parameters have not been saved on camera.\nClosing "
                                 "the window all the data will be lost.\nContinue?";
    }

    void aSignalIsNoConsentToAQuestionOfTheCalibration()
    {
        QFETCH(QString, button);
        QFETCH(QString, question);
        auto config = camera(MODEL::TIV_Q, first);
        config.motion = om::bench::MOTION::TUMBLE;
        bench().addCamera(config);
        start();
        QTRY_VERIFY(m_viewer->streams(first));
        const CloseSignals closeSignals(m_viewer->window.get());
        bool asked = false;
        BoxWatcher boxes([&](QMessageBox& box) {
            if (box.text() != question) {
                clickOk(box);
            } else if (!asked) {
                asked = true;
                std::raise(SIGTERM);
            }
        });
        int step = 0;
        int sampled = 0;
        int kept = 0;
        bool wasPending = false;
        bool linkClosed = false;
        ModalWatcher<MagCalibDlg> dialogs([&](MagCalibDlg& dialog) {
            const MagCalibDlgProbe probe{dialog};
            const auto press = [&dialog](const QString& name) {
                QTest::mouseClick(dialog.findChild<QPushButton*>(name), Qt::LeftButton);
            };
            if (step == 0 && isReady(dialog)) {
                step = 1;
                connect(&dialog, &QDialog::finished, &dialog, [&] {
                    const MagCalibDlgProbe left{dialog};
                    kept = left.rawX.size();
                    wasPending = left.calibrationPending;
                    linkClosed = bench().log().count(CALL::MCU_CLOSE) == 1;
                });
                press(QStringLiteral("pushButton_start"));
            } else if (step == 1) {
                {
                    const std::lock_guard<std::mutex> lock(probe.grabMutex);
                    sampled = probe.rawX.size();
                }
                if (sampled > 20) {
                    step = 2;
                    press(QStringLiteral("pushButton_start"));
                }
            } else if (step == 2) {
                step = 3;
                press(button);
            }
        });
        m_viewer->window->on_pushButton_calib_mag_clicked();
        QVERIFY(asked);
        // Nothing was agreed to: the camera keeps its calibration, the dialog had its samples.
        QCOMPARE(bench().log().count(CALL::MCU_WRITE_MAG_CALIB), 0ULL);
        QVERIFY(bench().calibration(first).isNeutral());
        QVERIFY(kept >= sampled);
        QVERIFY(wasPending);
        // The link was closed before the dialog was left, and so before the camera was opened.
        QVERIFY(linkClosed);
        QTRY_VERIFY(!m_viewer->window->isVisible());
        QVERIFY(m_viewer->probe.inputThread == nullptr && m_viewer->probe.detectTimer == nullptr);
    }

    void aSignalAtAMessageBeforeTheCalibrationDialogEndsItAll()
    {
        start();
        QTRY_COMPARE(m_viewer->ui->comboBox_camera_list->currentText(),
                     QStringLiteral("No cameras"));
        const CloseSignals closeSignals(m_viewer->window.get());
        // The dialog does not exist yet: its constructor reports that it finds no camera.
        bool raised = false;
        BoxWatcher boxes([&](QMessageBox&) {
            if (!raised) {
                raised = true;
                std::raise(SIGTERM);
            }
        });
        m_viewer->window->on_pushButton_calib_mag_clicked();
        QVERIFY(raised);
        QVERIFY(m_viewer->window->isVisible());
        QTRY_VERIFY(!m_viewer->window->isVisible());
        QVERIFY(m_viewer->probe.detectTimer == nullptr);
    }

    void theInputThreadSeesTheLossFirst()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        std::thread* const handle = probe.dataThread;
        bool looked = false;
        bool leftBehind = false;
        bench().setOpenHook([&](const om::InitParameters&) {
            bench().setOpenHook(nullptr);
            looked = true;
            bench().camera(first)->clearScripts();
            // The sensor thread found the camera closed and has left by itself, as a rule before
            // the reset would have joined it.
            leftBehind = probe.dataThread == handle;
            QVERIFY(leftBehind || probe.dataThread == nullptr);
            QVERIFY(!probe.dataThreadRunning);
            QVERIFY(probe.cameraLost);
            QVERIFY(probe.accX.isEmpty());
        });
        bench().camera(first)->grabScript().set({ERROR_CODE::SUCCESS, ERROR_CODE::CAMERA_GONE});
        QTRY_VERIFY(looked);
        QTRY_VERIFY(m_viewer->streams(first));
        if (leftBehind) {
            QVERIFY(probe.dataThread != handle);
            handle->join();
            delete handle;
        }
    }

    void aLossThatTheSensorThreadHasNotSeenEndsIt()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        bool looked = false;
        bench().setOpenHook([&](const om::InitParameters&) {
            looked = true;
            QVERIFY(!probe.dataThreadRunning);
            QVERIFY(probe.dataThread == nullptr); // stopped and joined
            QVERIFY(probe.cameraLost);
            QVERIFY(probe.accX.isEmpty());
        });
        emit probe.inputThread->DetectTIVDisconnect();
        QVERIFY(looked); // the list still holds the camera
        QTRY_VERIFY(m_viewer->streams(first));
    }

    void theSensorThreadSeesTheLossFirst()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        std::thread* const handle = probe.dataThread;
        std::atomic<bool> outOfSight{false}; // when the object goes
        connect(
            probe.inputThread.load(), &QObject::destroyed, this,
            [&] { outOfSight = probe.inputThread == nullptr; }, Qt::DirectConnection);
        om::bench::SensorsEntry gone;
        gone.result = ERROR_CODE::CAMERA_GONE;
        bench().camera(first)->sensorsScript().set({gone});
        // Without the event loop only the sensor thread acts.
        QVERIFY(waiting::waitFor([&] { return !probe.dataThreadRunning; }));
        QVERIFY(probe.cameraLost);
        QVERIFY(probe.inputThread == nullptr);
        QVERIFY(outOfSight);
        QCOMPARE(bench().log().count(CALL::CLOSE), 1ULL);
        QVERIFY(probe.dataThread == handle && handle->joinable());
        QVERIFY(m_viewer->hasSamples());
        // A repaint in between finds no input thread.
        const int ticks = probe.imageTicks;
        m_viewer->window->updateImages();
        QCOMPARE(probe.imageTicks, ticks + 1);

        bench().setOpenHook([&](const om::InitParameters&) {
            bench().camera(first)->clearScripts();
            // Ended by itself, the thread was not joined.
            QVERIFY(probe.dataThread == handle && handle->joinable());
            QVERIFY(probe.accX.isEmpty());
            QCOMPARE(m_viewer->ui->lineEdit_value_0->text(), QStringLiteral("---"));
        });
        QTRY_VERIFY(m_viewer->streams(first));
        QVERIFY(probe.dataThread != handle);
        QVERIFY(handle->joinable()); // overwritten, neither joined nor deleted
        handle->join();
        delete handle;
    }

    void unpluggingShowsNoCamerasAndPluggingBringsTheStreamBack()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        BoxWatcher boxes([](QMessageBox& box) { clickOk(box); });
        std::thread* const handle = probe.dataThread;
        // Each list is complete before the next tick of the poll.
        QVERIFY(probe.detectionThread.wait(waiting::patienceMs));
        const qtcalls::Hook hook([&probe](const qtcalls::Call& call) {
            if (call.call == qtcalls::CALL::STARTED && call.object == &probe.detectionThread) {
                probe.detectionThread.wait(waiting::patienceMs);
            }
        });
        bench().unplug(first);
        QTRY_COMPARE(m_viewer->ui->comboBox_camera_list->currentText(),
                     QStringLiteral("No cameras"));
        QVERIFY(!m_viewer->ui->comboBox_camera_list->isEnabled());
        QVERIFY(probe.inputThread == nullptr);
        QVERIFY(probe.cameraLost);
        QVERIFY(probe.accX.isEmpty());
        QCOMPARE(m_viewer->ui->label_sensor_rate->text(), QStringLiteral("---"));
        QVERIFY(probe.detectTimer != nullptr && probe.detectTimer->isActive());
        // The list of the pass before still held the camera: one open failed on the way.
        QCOMPARE(bench().log().count(CALL::OPEN), 2ULL);
        QVERIFY(bench().log().last(CALL::OPEN)->result != 0);

        const bool leftBehind = probe.dataThread == handle;
        bench().plug(first);
        QTRY_VERIFY(m_viewer->streams(first));
        QVERIFY(m_viewer->ui->comboBox_camera_list->isEnabled());
        QCOMPARE(boxes.count(), 0);
        if (leftBehind) {
            handle->join();
            delete handle;
        }
    }

    void aLossThatArrivesTwiceIsHandledTwice()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        bench().unplug(first);
        QVERIFY(waiting::waitFor([&] { return !probe.dataThreadRunning; }));
        std::thread* const handle = probe.dataThread;
        m_viewer->window->cameraDisconnected();
        QVERIFY(probe.inputThread == nullptr);
        m_viewer->window->cameraDisconnected();
        QVERIFY(probe.inputThread == nullptr);
        QVERIFY(probe.detectTimer != nullptr && probe.detectTimer->isActive());
        QVERIFY(probe.imageTimer == nullptr && probe.plotTimer == nullptr &&
                probe.displayTimer == nullptr);
        bench().plug(first);
        QTRY_VERIFY(m_viewer->streams(first));
        handle->join();
        delete handle;
    }

    void aLossThatIsAlreadyPostedIsHandledAfterTheOther()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        // The input thread has reported the loss, and the display's tick comes first.
        SideThread input([&] { emit probe.inputThread->DetectTIVDisconnect(); });
        input.join();
        QCOMPARE(bench().log().count(CALL::OPEN), 1ULL);
        m_viewer->window->cameraDisconnected();
        QCOMPARE(bench().log().count(CALL::OPEN), 2ULL); // the list still holds the camera
        QTRY_COMPARE(bench().log().count(CALL::OPEN), 3ULL);
        QTRY_VERIFY(m_viewer->streams(first));
        QCOMPARE(bench().log().count(CALL::CLOSE), 2ULL);
    }

    void aLossStopsARecording()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        QTemporaryDir folder;
        probe.recOptions.saveFolder = folder.path();
        QTest::mouseClick(m_viewer->ui->toolButton_save, Qt::LeftButton);
        QVERIFY(probe.recording && probe.recFile.isOpen());
        bench().unplug(first);
        QTRY_VERIFY(probe.inputThread == nullptr && probe.detectTimer != nullptr);
        QVERIFY(!probe.recording);
        QVERIFY(!probe.recFile.isOpen());
        QVERIFY(!m_viewer->ui->toolButton_save->isChecked());
    }

    void aChangeOfRowKeepsTheSamples()
    {
        bench().addCamera(camera(MODEL::TIV_Q, first));
        bench().addCamera(camera(MODEL::TIV_P, second));
        start();
        QTRY_VERIFY(m_viewer->streams(first));
        QTRY_VERIFY(m_viewer->samples() > 50);
        const QVector<double> before = m_viewer->copyOf(m_viewer->probe.imuTime);
        choose(1);
        QTRY_VERIFY(m_viewer->streams(second));
        QTRY_VERIFY(m_viewer->samples() > before.size() + 5);
        QCOMPARE(m_viewer->copyOf(m_viewer->probe.imuTime).mid(0, before.size()), before);
    }

    void aChangeOfRowDoesNotStopARecording()
    {
        bench().addCamera(camera(MODEL::TIV_Q, first));
        bench().addCamera(camera(MODEL::TIV_P, second));
        start();
        QTRY_VERIFY(m_viewer->streams(first));
        QTemporaryDir folder;
        m_viewer->probe.recOptions.saveFolder = folder.path();
        QTest::mouseClick(m_viewer->ui->toolButton_save, Qt::LeftButton);
        choose(1);
        QTRY_VERIFY(m_viewer->streams(second));
        QVERIFY(m_viewer->probe.recording);
        QVERIFY(m_viewer->probe.recFile.isOpen());
        QVERIFY(m_viewer->ui->toolButton_save->isChecked());
    }

    void resetTakesTheSessionDownAndLeavesDetectionAlone()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        QTest::mouseClick(m_viewer->ui->pushButton_gyro, Qt::LeftButton);
        QCOMPARE(probe.currentSensor, QStringLiteral("Gyroscope"));
        auto* const detectTimer = new QTimer(m_viewer->window.get());
        probe.detectTimer = detectTimer;
        detectTimer->start(100000);
        ProgramStates::setIntAttr(ProgramStates::depthMaximumMm, 4711);
        m_viewer->window->reset();
        QVERIFY(probe.imageTimer == nullptr && probe.plotTimer == nullptr &&
                probe.displayTimer == nullptr);
        QVERIFY(probe.detectTimer == detectTimer && detectTimer->isActive());
        QVERIFY(probe.inputThread == nullptr);
        QVERIFY(probe.dataThread == nullptr && !probe.dataThreadRunning);
        QVERIFY(probe.stopDataThread);
        QCOMPARE(bench().log().count(CALL::CLOSE), 1ULL);
        using P = ProgramStates;
        for (const int attribute : {P::imageWidth, P::imageHeight, P::image2Width, P::image2Height,
                                    P::measuredFps, P::cameraFps}) {
            QCOMPARE(P::getIntAttr(attribute), 0);
        }
        QCOMPARE(P::getIntAttr(P::depthMaximumMm), 4711);
        QCOMPARE(P::getIntAttr(P::requestedFps), 100);
        QCOMPARE(P::getIntAttr(P::cameraModel), 3);
        QCOMPARE(timeRanges(), QStringList());
        QCOMPARE(probe.currentSensor, QStringLiteral("Accelerometer"));
        QVERIFY(m_viewer->ui->pushButton_accel->isChecked());
        QVERIFY(!m_viewer->ui->pushButton_gyro->isChecked());
        QVERIFY(!probe.cameraLost);
        QVERIFY(m_viewer->hasSamples());
        m_viewer->window->reset(); // finds nothing, and hurts nobody
    }

    void resetTakesTheSessionDownInItsOrder()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        QStringList order;
        const auto note = [&](QObject* object, const QString& name) {
            connect(object, &QObject::destroyed, this,
                    [&, name] { order << name + (signalsAreConnected() ? " connected" : ""); });
        };
        note(probe.imageTimer, QStringLiteral("image"));
        note(probe.plotTimer, QStringLiteral("plot"));
        note(probe.displayTimer, QStringLiteral("display"));
        bool joined = false;
        connect(probe.inputThread.load(), &QObject::destroyed, this, [&] {
            order << QStringLiteral("input");
            joined = probe.dataThread == nullptr && !probe.dataThreadRunning;
        });
        bool samplesCome = false;
        const qtcalls::Hook hook([&](const qtcalls::Call& call) {
            if (call.call == qtcalls::CALL::MSLEEP && QThread::currentThread() == qApp->thread()) {
                order << QStringLiteral("sleep %1").arg(call.limit);
                if (probe.dataThread != nullptr) {
                    const int before = m_viewer->samples();
                    samplesCome =
                        waiting::waitFor([&] { return m_viewer->samples() > before + 10; });
                }
            }
        });
        m_viewer->window->reset();
        QCOMPARE(order,
                 QStringList({"image", "plot", "display", "sleep 100", "sleep 10", "input"}));
        // The request to end the sensor thread follows the wait; it is joined before the camera
        // closes.
        QVERIFY(samplesCome);
        QVERIFY(joined);
    }

    void aLossTakesTheSessionDownInItsOrder()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        QTemporaryDir folder;
        probe.recOptions.saveFolder = folder.path();
        QTest::mouseClick(m_viewer->ui->toolButton_save, Qt::LeftButton);
        probe.detectTimer = new QTimer(m_viewer->window.get());
        QStringList order;
        const auto note = [&](const QString& name) {
            order << name + (signalsAreConnected() ? " connected" : "");
        };
        bool lost = false; // when the recording stops
        connect(m_viewer->ui->toolButton_save, &QAbstractButton::toggled, this, [&] {
            note(QStringLiteral("recording"));
            lost = probe.cameraLost;
        });
        connect(probe.plotTimer, &QObject::destroyed, this, [&] { note(QStringLiteral("plot")); });
        connect(probe.displayTimer, &QObject::destroyed, this,
                [&] { note(QStringLiteral("display")); });
        connect(probe.imageTimer, &QObject::destroyed, this,
                [&] { note(QStringLiteral("image")); });
        connect(probe.detectTimer, &QObject::destroyed, this,
                [&] { note(QStringLiteral("detect")); });
        connect(probe.inputThread.load(), &QObject::destroyed, this,
                [&] { order << QStringLiteral("input"); });
        m_viewer->window->cameraDisconnected();
        QCOMPARE(order, QStringList({"recording connected", "plot", "display", "image", "detect",
                                     "input"}));
        QVERIFY(lost);
    }

    void theTimersAreMadeAfreshForEachCamera()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        const QVector<QPointer<QTimer>> before{probe.imageTimer, probe.plotTimer,
                                               probe.displayTimer};
        bool busy = false; // during the reset
        connect(probe.imageTimer, &QObject::destroyed, this, [&] { busy = isBusy(); });
        m_viewer->window->createLiveInput();
        QVERIFY(busy);
        for (const auto& timer : before) {
            QVERIFY(timer.isNull());
        }
        QTRY_VERIFY(m_viewer->streams(first));
        QCOMPARE(
            m_viewer->window->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly).size(),
            3);
    }

    void aNegativeRowCountsAsTheFirst()
    {
        startStreaming();
        m_viewer->probe.deviceListBusy = true;
        choose(-1);
        m_viewer->probe.deviceListBusy = false;
        m_viewer->window->createLiveInput();
        QTRY_VERIFY(m_viewer->streams(first));
    }

    void theViewGetsTheCamerasContext()
    {
        startStreaming();
        QVERIFY(m_viewer->probe.inputThread->cudaContext != nullptr);
        QVERIFY(m_viewer->ui->widget_3d_view->cudaContext ==
                m_viewer->probe.inputThread->cudaContext);
        m_viewer->ui->widget_3d_view->cudaContext = nullptr;
        m_viewer->window->setContext();
        QVERIFY(m_viewer->ui->widget_3d_view->cudaContext ==
                m_viewer->probe.inputThread->cudaContext);
    }

    void theInputThreadsSignalsAreConnectedAndDisconnected()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        // No other thread uses samples and view at this time.
        probe.inputThread->stopGrabbing();
        probe.stopDataThread = true;
        probe.dataThread->join();
        delete probe.dataThread;
        probe.dataThread = nullptr;
        auto* const view = m_viewer->ui->widget_3d_view;
        // Each signal is visible by its effect.
        const auto contextArrives = [&] {
            view->cudaContext = nullptr;
            emit probe.inputThread->sendContext();
            return view->cudaContext != nullptr;
        };
        QVERIFY(contextArrives());
        // Another connection between the two stays.
        QLabel* const label = m_viewer->ui->label_sensor_type;
        connect(probe.inputThread.load(), &InputThreadModul::sendContext, m_viewer->window.get(),
                [label] { label->setText(QStringLiteral("sent")); });
        probe.disconnectSignals();
        label->clear();
        QVERIFY(!contextArrives());
        QCOMPARE(label->text(), QStringLiteral("sent"));
        probe.accX.append(1.0);
        emit probe.inputThread->DetectTIVDisconnect();
        emit probe.inputThread->sendInit();
        QVERIFY(view->cudaContext == nullptr); // InitProcess() would have set it
        QVERIFY(!m_viewer->probe.accX.isEmpty());
        probe.connectSignals();
        QVERIFY(contextArrives());
        view->cudaContext = nullptr;
        emit probe.inputThread->sendInit();
        QVERIFY(view->cudaContext != nullptr);
        probe.disconnectSignals();
    }

    void connectingWithoutAnInputThreadDoesNothing()
    {
        start();
        m_viewer->probe.connectSignals();
        m_viewer->probe.disconnectSignals();
        QVERIFY(m_viewer->probe.inputThread == nullptr);
    }

    void closingWhileStreamingEndsEverything()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        QElapsedTimer elapsed;
        elapsed.start();
        m_viewer->window->close();
        QVERIFY(elapsed.elapsed() >= 100);
        QVERIFY(probe.imageTimer == nullptr && probe.plotTimer == nullptr &&
                probe.displayTimer == nullptr && probe.detectTimer == nullptr);
        QVERIFY(probe.inputThread == nullptr);
        QVERIFY(probe.dataThread == nullptr && !probe.dataThreadRunning);
        QVERIFY(probe.style == nullptr);
        QCOMPARE(bench().log().count(CALL::CLOSE), 1ULL);
        QVERIFY(!m_viewer->window->isVisible());
    }

    void aLossThatArrivesAfterTheCloseIsIgnored()
    {
        startStreaming();
        m_viewer->window->close();
        m_viewer->window->cameraDisconnected();
        QVERIFY(m_viewer->probe.detectTimer == nullptr);
    }

    void closingDuringARecordingLeavesTheFileToItsDestruction()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        QTemporaryDir folder;
        probe.recOptions.saveFolder = folder.path();
        QTest::mouseClick(m_viewer->ui->toolButton_save, Qt::LeftButton);
        QVERIFY(probe.recFile.isOpen());
        const QString name = probe.recFile.fileName();
        const int before = m_viewer->samples();
        QTRY_VERIFY(m_viewer->samples() > before + 40);
        m_viewer->window->close();
        QVERIFY(probe.recording);
        QVERIFY(probe.recFile.isOpen());
        QVERIFY(m_viewer->ui->toolButton_save->isChecked());
        m_viewer.reset();
        QFile file(name);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = file.readAll().split('\n');
        QVERIFY(lines.size() > 5);
        QVERIFY(lines.constLast().isEmpty());
        QVERIFY(lines.constFirst().startsWith("idx,"));
    }

    void theCalibrationDialogTakesTheCameraAndReturnsIt()
    {
        bench().addCamera(camera(MODEL::TIV_Q, first));
        bench().addCamera(camera(MODEL::TIV_P, second));
        start();
        QTRY_VERIFY(m_viewer->streams(first));
        choose(1);
        QTRY_VERIFY(m_viewer->streams(second));
        auto& probe = m_viewer->probe;
        QTest::mouseClick(m_viewer->ui->pushButton_mag, Qt::LeftButton);

        bool looked = false;
        QPointer<MagCalibDlg> opened;
        ModalWatcher<MagCalibDlg> dialogs([&](MagCalibDlg& dialog) {
            if (looked) {
                leave(dialog);
                return;
            }
            looked = true;
            opened = &dialog;
            // No thread or timer of the viewer runs, and the camera is closed.
            QVERIFY(probe.inputThread == nullptr);
            QVERIFY(probe.dataThread == nullptr && !probe.dataThreadRunning);
            QVERIFY(probe.imageTimer == nullptr && probe.plotTimer == nullptr &&
                    probe.displayTimer == nullptr && probe.detectTimer == nullptr);
            QVERIFY(probe.accX.isEmpty());
            QCOMPARE(m_viewer->ui->label_sensor_rate->text(), QStringLiteral("---"));
            QCOMPARE(dialog.parentWidget(), m_viewer->window.get());
            QCOMPARE(bench().log().count(CALL::OPEN), bench().log().count(CALL::CLOSE));
        });
        // The dialog is destroyed only after the camera has been opened again.
        bool kept = false;
        bench().setOpenHook(
            [&](const om::InitParameters&) { kept = !opened.isNull() && !opened->isVisible(); });
        m_viewer->window->on_pushButton_calib_mag_clicked();
        QVERIFY(looked);
        QVERIFY(kept);
        QVERIFY(opened.isNull());
        QCOMPARE(m_viewer->ui->comboBox_camera_list->currentIndex(), 1);
        QTRY_VERIFY(m_viewer->streams(second));
        QCOMPARE(bench().log().last(CALL::MCU_OPEN)->serialNumber, second);
        QCOMPARE(probe.currentSensor, QStringLiteral("Accelerometer"));
    }

    void thePollRestsWhileTheCalibrationDialogIsOpen()
    {
        bench().addCamera(camera(MODEL::TIV_Q, first));
        bench().unplug(first);
        start();
        auto& probe = m_viewer->probe;
        QTRY_COMPARE(m_viewer->ui->comboBox_camera_list->currentText(),
                     QStringLiteral("No cameras"));
        QVERIFY(probe.detectTimer != nullptr && probe.detectTimer->isActive());
        // The dialog doesn't find its camera, and says so before it opens.
        BoxWatcher boxes([](QMessageBox& box) { clickOk(box); });
        int timers = -1;
        bool listing = true;
        ModalWatcher<MagCalibDlg> dialogs([&](MagCalibDlg& dialog) {
            if (timers < 0) {
                bench().plug(first);
                timers =
                    m_viewer->window->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly)
                        .size();
                listing = probe.detectionThread.isRunning();
            }
            leave(dialog);
        });
        m_viewer->window->on_pushButton_calib_mag_clicked();
        QCOMPARE(timers, 0);
        QVERIFY(!listing);
        QCOMPARE(boxes.count(), 1);
        // "No cameras" is not a row to open: the detection continues.
        QCOMPARE(bench().log().count(CALL::OPEN), 0ULL);
        QVERIFY(probe.detectTimer != nullptr && probe.detectTimer->isActive());
        QTRY_VERIFY(m_viewer->streams(first));
    }

    void aListThatIsUnderWayEndsBeforeTheCalibrationDialog()
    {
        start();
        auto& probe = m_viewer->probe;
        QTRY_COMPARE(m_viewer->ui->comboBox_camera_list->currentText(),
                     QStringLiteral("No cameras"));
        delete probe.detectTimer;
        probe.detectTimer = nullptr;
        QVERIFY(probe.detectionThread.wait(waiting::patienceMs));
        QSemaphore begun;
        QSemaphore awaited;
        bench().setDeviceListHook([&] {
            begun.release();
            (void)waiting::acquire(awaited);
        });
        probe.detectionThread.start();
        QVERIFY(waiting::acquire(begun));
        const qtcalls::Hook hook([&](const qtcalls::Call& call) {
            if (call.call == qtcalls::CALL::WAIT && call.object == &probe.detectionThread) {
                awaited.release();
            }
        });
        bool listing = true;
        BoxWatcher boxes([&](QMessageBox& box) {
            listing = probe.detectionThread.isRunning();
            awaited.release();
            clickOk(box);
        });
        ModalWatcher<MagCalibDlg> dialogs([](MagCalibDlg& dialog) { leave(dialog); });
        m_viewer->window->on_pushButton_calib_mag_clicked();
        bench().setDeviceListHook(nullptr);
        QVERIFY(!listing);
    }

    void aLossThatIsAlreadyPostedDoesNotReachTheCalibration()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        // The input thread has reported a loss that is not handled yet.
        SideThread input([&] { emit probe.inputThread->DetectTIVDisconnect(); });
        input.join();
        bool looked = false;
        bool streams = true;
        ModalWatcher<MagCalibDlg> dialogs([&](MagCalibDlg& dialog) {
            looked = true;
            streams = probe.inputThread != nullptr || probe.detectTimer != nullptr;
            leave(dialog);
        });
        m_viewer->window->on_pushButton_calib_mag_clicked();
        QVERIFY(looked);
        QVERIFY(!streams);
        QCOMPARE(bench().log().count(CALL::OPEN), 2ULL);
        QTRY_VERIFY(m_viewer->streams(first));
    }

    void theCalibrationGoesBackToTheRowWhateverHappenedMeanwhile()
    {
        bench().addCamera(camera(MODEL::TIV_Q, first));
        bench().addCamera(camera(MODEL::TIV_P, second));
        start();
        QTRY_VERIFY(m_viewer->streams(first));
        bool looked = false;
        ModalWatcher<MagCalibDlg> dialogs([&](MagCalibDlg& dialog) {
            if (!looked) {
                looked = true;
                m_viewer->probe.deviceListBusy = true;
                choose(1);
            }
            leave(dialog);
        });
        m_viewer->window->on_pushButton_calib_mag_clicked();
        m_viewer->probe.deviceListBusy = false;
        QCOMPARE(m_viewer->ui->comboBox_camera_list->currentIndex(), 0);
        QTRY_VERIFY(m_viewer->streams(first));
    }

    void anEmptyListRefusesTheOpenQuietly()
    {
        start();
        QTRY_COMPARE(m_viewer->ui->comboBox_camera_list->currentText(),
                     QStringLiteral("No cameras"));
        const QPointer<QTimer> before(m_viewer->probe.detectTimer);
        m_viewer->window->createLiveInput();
        QVERIFY(m_viewer->probe.inputThread == nullptr);
        QVERIFY(before.isNull()); // the poll starts again, once
        QVERIFY(m_viewer->probe.detectTimer != nullptr && m_viewer->probe.detectTimer->isActive());
        QCOMPARE(bench().log().count(CALL::OPEN), 0ULL);
    }

    void theSensorThreadStartsOnceTheCameraGrabs()
    {
        bench().addCamera(camera(MODEL::TIV_Q, first));
        start();
        auto& probe = m_viewer->probe;
        // Changes between the two.
        m_viewer->ui->frame_data_options->setEnabled(false);
        EventWatcher enabled(*m_viewer->ui->frame_data_options, QEvent::EnabledChange);
        bool grabs = false;
        bool reads = true;
        enabled.look = [&] {
            grabs = probe.inputThread != nullptr && probe.inputThread->isRunning();
            reads = probe.dataThread != nullptr;
        };
        QTRY_VERIFY(m_viewer->streams(first));
        QVERIFY(grabs);
        QVERIFY(!reads);
    }

    void imagesCarryNoTimeWhereThereAreSensors()
    {
        startStreaming();
        auto& probe = m_viewer->probe;
        probe.imageTimer->stop();
        probe.stopDataThread = true;
        probe.dataThread->join();
        delete probe.dataThread;
        probe.dataThread = nullptr;
        probe.imuStartTime = 4711;
        probe.elapsedSec = 2.5;
        m_viewer->window->updateImages();
        m_viewer->window->updateImages();
        QCOMPARE(probe.imuStartTime, std::uint64_t{4711});
        QCOMPARE(probe.elapsedSec, 2.5);
    }

    void theViewIsRepaintedByTheImageTimer()
    {
        startStreaming();
        const int ticks = m_viewer->probe.imageTicks;
        QTRY_VERIFY(m_viewer->probe.imageTicks > ticks + 3);
        m_viewer->probe.imageTimer->stop();
        QSignalSpy frames(m_viewer->ui->widget_3d_view, &QOpenGLWidget::frameSwapped);
        m_viewer->window->updateImages();
        QTRY_VERIFY(!frames.isEmpty());
    }
};

QTEST_MAIN(TestSession)
#include "tst_mainwindow_session.moc"
