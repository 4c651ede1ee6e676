#include "support/qtcalls.h"
#include "support/viewersession.h"
#include "support/waiting.h"

#include "camera/InputThreadModul.h"
#include "look/Style.h"
#include "look/clr.h"

#include <QDir>
#include <QThread>

#include <atomic>

using namespace viewersession;
using om::bench::CALL;

/// The window after construction, and its end.
class TestMainWindow : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Viewer> m_viewer;

private slots:
    void init()
    {
        bench().reset();
        m_viewer = std::make_unique<Viewer>();
    }
    void cleanup() { m_viewer.reset(); }

    void theFieldsHaveTheirStartValues()
    {
        const auto& probe = m_viewer->probe;
        QVERIFY(probe.deviceIds.isEmpty() && probe.deviceSerials.isEmpty() &&
                probe.deviceModels.isEmpty());
        QVERIFY(probe.cameraName.isEmpty());
        QVERIFY(probe.imageTimer == nullptr && probe.plotTimer == nullptr &&
                probe.displayTimer == nullptr);
        QCOMPARE(probe.plotPeriodMs, 15);
        QCOMPARE(probe.displayPeriodMs, 25);
        QVERIFY(probe.dataMutex.tryLock());
        QVERIFY(!probe.dataMutex.tryLock()); // not recursive
        probe.dataMutex.unlock();
        QVERIFY(probe.inputThread == nullptr);
        QCOMPARE(probe.imageTicks, 0);
        QCOMPARE(static_cast<float>(probe.accelRange), 15.0F);
        QCOMPARE(static_cast<float>(probe.gyroRange), 15.0F);
        QCOMPARE(static_cast<float>(probe.magRange), 6.5F);
        QCOMPARE(static_cast<float>(probe.orientRange), 45.0F);
        QCOMPARE(static_cast<float>(probe.pressureMax), 1050.0F);
        QCOMPARE(static_cast<float>(probe.pressureMin), 1000.0F);
        QCOMPARE(static_cast<float>(probe.altitudeMax), 5.0F);
        QCOMPARE(static_cast<float>(probe.altitudeMin), 0.0F);
        QCOMPARE(static_cast<float>(probe.temperatureMax), 45.0F);
        QCOMPARE(static_cast<float>(probe.temperatureMin), 45.0F);
        QCOMPARE(probe.imuRateHz, 400.0);
        QCOMPARE(probe.magRateHz, 50.0);
        QCOMPARE(probe.baroRateHz, 25.0);
        QCOMPARE(probe.imuSamplesPerSec, 400);
        QCOMPARE(probe.magSamplesPerSec, 50);
        QCOMPARE(probe.baroSamplesPerSec, 25);
        QVERIFY(probe.dataThread == nullptr);
        QVERIFY(probe.stopDataThread);
        QVERIFY(!probe.dataThreadRunning);
        QVERIFY(probe.cameraLost);
        QVERIFY(!probe.deviceListBusy);
        QVERIFY(!probe.magCalibrated);
        QCOMPARE(static_cast<double>(probe.imuEffectiveRate), 0.0);
        QCOMPARE(static_cast<double>(probe.magEffectiveRate), 0.0);
        QCOMPARE(static_cast<double>(probe.baroEffectiveRate), 0.0);
        QVERIFY(probe.style != nullptr);
        QVERIFY(probe.freeSpaceLabel.parent() == nullptr);
        QVERIFY(!probe.recording);
        QVERIFY(!probe.recFile.isOpen());
        QCOMPARE(probe.recDir, QDir(QDir::homePath()));
        QCOMPARE(probe.requestedFps, 100);
        QCOMPARE(probe.requestedResolution, 6);
        QVERIFY(!probe.detectionThread.isRunning());
        QVERIFY(probe.detectionThread.devices.empty());
        // initCharts() has run, and leaves no sensor selected.
        QCOMPARE(probe.currentSensor, QString());
    }

    void theSeriesAreKnownInTheOrderOfTheirDeclaration()
    {
        const auto& probe = m_viewer->probe;
        const QVector<double>* const order[] = {
            &probe.accX,
            &probe.accY,
            &probe.accZ,
            &probe.gyroX,
            &probe.gyroY,
            &probe.gyroZ,
            &probe.magX,
            &probe.magY,
            &probe.magZ,
            &probe.orX,
            &probe.orY,
            &probe.orZ,
            &probe.pressure,
            &probe.relAltitude,
            &probe.movingState,
            &probe.tempLeft,
            &probe.tempRight,
            &probe.imuRates,
            &probe.baroRates,
            &probe.magRates,
            &probe.tempFallbackTime,
            &probe.magNewX,
            &probe.magNewY,
            &probe.magNewZ,
            &probe.magNewTime,
            &probe.spareSeries,
            &probe.baroNewPressure,
            &probe.baroNewTempRight,
            &probe.baroNewTempLeft,
            &probe.baroNewTime,
            &probe.imuTime,
            &probe.magTime,
            &probe.baroTime,
            &probe.chartTime,
            &probe.chartY0,
            &probe.chartY1,
            &probe.chartY2,
        };
        QCOMPARE(static_cast<int>(std::size(order)), probe.seriesCount);
        for (int i = 0; i < probe.seriesCount; ++i) {
            QVERIFY2(&probe.series(i) == order[i], qPrintable(QString::number(i)));
            QVERIFY(i == 0 || order[i] > order[i - 1]); // in the object, too
            QVERIFY(order[i]->isEmpty());
            QVERIFY(order[i]->capacity() >= 24000);
        }
    }

    void nothingIsOpenedOrListedByTheConstructor()
    {
        QCOMPARE(bench().log().count(CALL::OPEN), 0ULL);
        QCOMPARE(bench().log().count(CALL::GET_DEVICE_LIST), 0ULL);
        const QTimer* const timer = m_viewer->probe.detectTimer;
        QVERIFY(timer->isActive());
        QCOMPARE(timer->interval(), 200);
        QCOMPARE(timer->parent(), m_viewer->window.get());
        QVERIFY(timer->timerType() == Qt::CoarseTimer);
    }

    void theWindowHasItsSizeAndTitle()
    {
        QCOMPARE(m_viewer->window->size(), QSize(1350, 835));
        QCOMPARE(m_viewer->window->windowTitle(), QStringLiteral("Gravimon"));
    }

    void theLogosAreInPlace()
    {
        const Ui_MainWindow* const ui = m_viewer->ui;
        QVERIFY(ui->LogoTitle->hasScaledContents());
        QCOMPARE(ui->LogoTitle->pixmap(Qt::ReturnByValue).toImage(),
                 QPixmap(QStringLiteral(":/images/OM_white.png")).toImage());
        const QPixmap logo = ui->label_logo->pixmap(Qt::ReturnByValue);
        QCOMPARE(logo.height(), ui->label_logo->height());
        QCOMPARE(logo.height(), 20);
        QCOMPARE(logo.width(), 65);
        QVERIFY(ui->statusbar->isHidden());

        const QPixmap source(QStringLiteral(":/images/TIV_white.png"));
        QCOMPARE(logo.toImage(), source.scaledToHeight(20, Qt::SmoothTransformation).toImage());
        QVERIFY(logo.toImage() != source.scaledToHeight(20, Qt::FastTransformation).toImage());
    }

    void theGroundComesFromThePalette()
    {
        QVERIFY(m_viewer->window->autoFillBackground());
        QVERIFY(m_viewer->window->styleSheet().isEmpty());
        for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
            QCOMPARE(m_viewer->window->palette().brush(group, QPalette::Window),
                     QBrush(clr::om_soil_clr));
        }
    }

    void theWidgetsHaveTheirSheetsAndFonts()
    {
        const Ui_MainWindow* const ui = m_viewer->ui;
        const Style& style = *m_viewer->probe.style;
        QFont buttonFont = style.fontPro9;
        buttonFont.setPointSize(12);
        struct Row
        {
            QWidget* widget;
            QString sheet;
            const QFont* font; // null: none set
        };
        const Row table[] = {
            {ui->comboBox_camera_list, style.comboDarkStyle, &style.fontMonoCaps9},
            {ui->comboBox_time_range, style.comboDarkStyle, &style.fontMonoCaps9},
            {ui->frame_data_options, style.comboDarkStyle, nullptr},
            {ui->toolButton_save, style.saveButtonStyle, &style.fontMonoCaps9},
            {ui->pushButton_accel, style.sensorButtonStyle, &buttonFont},
            {ui->pushButton_gyro, style.sensorButtonStyle, &buttonFont},
            {ui->pushButton_baro, style.sensorButtonStyle, &buttonFont},
            {ui->pushButton_mag, style.sensorButtonStyle, &buttonFont},
            {ui->pushButton_orient, style.sensorButtonStyle, &buttonFont},
            {ui->pushButton_temper, style.sensorButtonStyle, &buttonFont},
            {ui->pushButton_calib_mag, style.sensorButtonStyle, &buttonFont},
            {ui->frame_ogl, style.frameRoundedStyle, nullptr},
            {ui->frame_left, style.sideFrameStyle, nullptr},
            {ui->frame_camera_sel, style.frameFlatStyle, nullptr},
            {ui->label_sensor_type, style.labelBaseStyle, &style.fontMonoCaps9},
            {ui->label_sensor_rate, style.labelBaseStyle, &style.fontMonoCaps9},
            {ui->label_sensor_type_top, style.labelBaseStyle, &style.fontMonoCaps9},
        };
        for (const Row& row : table) {
            const QByteArray name = row.widget->objectName().toUtf8();
            QVERIFY2(row.widget->styleSheet() == row.sheet, name.constData());
            const bool isFontSet = row.widget->testAttribute(Qt::WA_SetFont);
            QVERIFY2(isFontSet == (row.font != nullptr), name.constData());
            if (row.font != nullptr) {
                QCOMPARE(QString::fromUtf8(name) + fontText(ownFont(*row.widget)),
                         QString::fromUtf8(name) + fontText(*row.font));
            }
        }
    }

    void oneSensorIsSelectedAtATime()
    {
        const Ui_MainWindow* const ui = m_viewer->ui;
        QPushButton* const buttons[] = {ui->pushButton_accel,  ui->pushButton_gyro,
                                        ui->pushButton_orient, ui->pushButton_baro,
                                        ui->pushButton_mag,    ui->pushButton_temper};
        QVERIFY(ui->pushButton_accel->isChecked());
        for (QPushButton* const pressed : buttons) {
            QTest::mouseClick(pressed, Qt::LeftButton);
            for (const QPushButton* const button : buttons) {
                QCOMPARE(button->isChecked(), button == pressed);
            }
        }
    }

    void theFormFindsItsSlots_data()
    {
        QTest::addColumn<QByteArray>("slot");
        for (const char* name : {"createLiveInput()",
                                 "setContext()",
                                 "cameraDisconnected()",
                                 "reset()",
                                 "detectMultipleDevice()",
                                 "updateImages()",
                                 "updateChartTimeSize()",
                                 "updatePlot()",
                                 "updateDataDisplay()",
                                 "saveValues(int)",
                                 "on_comboBox_camera_list_currentIndexChanged(int)",
                                 "on_comboBox_time_range_currentIndexChanged(QString)",
                                 "on_toolButton_save_clicked(bool)",
                                 "on_pushButton_accel_clicked(bool)",
                                 "on_pushButton_gyro_clicked(bool)",
                                 "on_pushButton_mag_clicked(bool)",
                                 "on_pushButton_orient_clicked(bool)",
                                 "on_pushButton_baro_clicked(bool)",
                                 "on_pushButton_temper_clicked(bool)",
                                 "on_pushButton_refresh_list_clicked()",
                                 "on_pushButton_rec_option_clicked()",
                                 "on_pushButton_calib_mag_clicked()"}) {
            QTest::newRow(name) << QByteArray(name);
        }
    }

    void theFormFindsItsSlots()
    {
        QFETCH(QByteArray, slot);
        const QMetaObject* const meta = m_viewer->window->metaObject();
        const int index = meta->indexOfSlot(slot.constData());
        QVERIFY(index >= 0);
        QCOMPARE(QByteArray(meta->method(index).typeName()),
                 slot == "detectMultipleDevice()" ? QByteArray("bool") : QByteArray("void"));
    }

    void theDestructorWaitsForTheDetectionThread()
    {
        QSemaphore awaited;
        bool listed = false;
        bench().setDeviceListHook([&] { listed = waiting::acquire(awaited); });
        const QThread* const detection = &m_viewer->probe.detectionThread;
        const qtcalls::Hook hook([&](const qtcalls::Call& call) {
            if (call.call == qtcalls::CALL::WAIT && call.object == detection) {
                awaited.release();
            }
        });
        m_viewer->window->detectMultipleDevice();
        m_viewer->close();
        QVERIFY(listed);
    }

    void theDestructorDeletesTheInputThreadBeforeItWaits()
    {
        auto& probe = m_viewer->probe;
        probe.inputThread = new InputThreadModul;
        delete probe.style; // the close event's part
        probe.style = nullptr;
        QSemaphore begun;
        QSemaphore deleted;
        connect(probe.inputThread.load(), &QObject::destroyed, [&] { deleted.release(); });
        std::atomic<bool> inTime{false};
        bench().setDeviceListHook([&] {
            begun.release();
            inTime = waiting::acquire(deleted);
        });
        probe.detectionThread.start();
        QVERIFY(waiting::acquire(begun));
        m_viewer->window.reset();
        bench().setDeviceListHook(nullptr);
        QVERIFY(inTime);
    }

    void theDestructorDeletesWhatWasNeverClosed()
    {
        auto& probe = m_viewer->probe;
        const QPointer<InputThreadModul> input(new InputThreadModul);
        const QPointer<QTimer> timer(probe.detectTimer);
        probe.inputThread = input;
        delete probe.style; // the close event's part
        probe.style = nullptr;
        m_viewer->window.reset();
        QVERIFY(input.isNull());
        QVERIFY(timer.isNull());
    }

    void closingTakesDownInItsOrder()
    {
        bench().addCamera(camera(om::MODEL::TIV_Q, 20000001));
        QTRY_VERIFY(m_viewer->streams(20000001));
        auto& probe = m_viewer->probe;
        probe.detectTimer = new QTimer(m_viewer->window.get());
        auto* const view = m_viewer->ui->widget_3d_view;
        QStringList order;
        const auto note = [&](QObject* object, const QString& name) {
            connect(object, &QObject::destroyed, this, [&, name] { order << name; });
        };
        note(probe.plotTimer, QStringLiteral("plot"));
        note(probe.displayTimer, QStringLiteral("display"));
        note(probe.imageTimer, QStringLiteral("image"));
        note(probe.detectTimer, QStringLiteral("detect"));
        bool connected = true;
        connect(probe.plotTimer, &QObject::destroyed, this, [&] {
            view->cudaContext = nullptr;
            emit probe.inputThread->sendContext();
            connected = view->cudaContext != nullptr;
        });
        bool joined = false;
        bool styled = false;
        connect(probe.inputThread.load(), &QObject::destroyed, this, [&] {
            order << QStringLiteral("input");
            joined = probe.dataThread == nullptr && !probe.dataThreadRunning;
            styled = probe.style != nullptr;
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
        m_viewer->window->close();
        QCOMPARE(order, QStringList({"plot", "display", "image", "detect", "sleep 100", "sleep 10",
                                     "input"}));
        QVERIFY(!connected);
        // The request to end the sensor thread follows the wait; it is joined before the camera
        // closes.
        QVERIFY(samplesCome);
        QVERIFY(joined);
        QVERIFY(styled);
        QVERIFY(probe.style == nullptr);
    }

    void closingBeforeACameraWasFoundEndsEverything()
    {
        m_viewer->window->close();
        QVERIFY(m_viewer->probe.detectTimer == nullptr);
        QVERIFY(m_viewer->probe.style == nullptr);
        QVERIFY(!m_viewer->window->isVisible());
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
