/// @file
/// A real main window with the test's own bench.
#pragma once

#include "support/fonts.h"
#include "support/mainwindowprobe.h"

#include "bench/virtual_camera.h"
#include "library/the_bench.h"
#include "camera/InputThreadModul.h"
#include "ui_mainwindow.h"

#include <QApplication>
#include <QMessageBox>
#include <QTimer>
#include <QtTest>

#include <functional>
#include <memory>

namespace viewersession {

using fonts::fontText;
using fonts::ownFont;

inline om::bench::Bench& bench()
{
    return om::bench::theBench();
}

/// A camera without motion and noise, so that its values do not change.
inline om::bench::CameraConfig camera(om::MODEL model, unsigned int serial)
{
    om::bench::CameraConfig config;
    config.model = model;
    config.serialNumber = serial;
    config.motion = om::bench::MOTION::AT_REST;
    return config;
}

/// A visible window, its probe, and a proper end in every state that the test may leave.
class Viewer
{
public:
    Viewer() { window->show(); }
    ~Viewer() { close(); }
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

    /// Closes it as the user does. A thread left by a loss would end the process.
    void close()
    {
        if (window == nullptr) {
            return;
        }
        window->close();
        if (probe.dataThread != nullptr && probe.dataThread->joinable()) {
            probe.dataThread->join();
        }
        window.reset();
    }

    /// Whether the camera with the serial number streams: images and samples arrive. Without the
    /// image the input thread may not have begun, and a stop before that is lost.
    bool streams(int serial)
    {
        return probe.dataThreadRunning && !probe.cameraLost && probe.cameraSerial == serial &&
               probe.imuEffectiveRate > 0.0 && hasSamples() && probe.inputThread != nullptr &&
               probe.inputThread->isRunning() &&
               probe.inputThread->camera.getTimestamp(omlib::lastImage) != 0;
    }

    bool hasSamples()
    {
        const QMutexLocker lock(&probe.dataMutex);
        return !probe.accX.isEmpty();
    }

    int samples()
    {
        const QMutexLocker lock(&probe.dataMutex);
        return probe.accX.size();
    }

    /// A copy of a series that shares nothing with it.
    QVector<double> copyOf(const QVector<double>& series)
    {
        const QMutexLocker lock(&probe.dataMutex);
        QVector<double> copy = series;
        copy.detach();
        return copy;
    }

    std::unique_ptr<MainWindow> window = std::make_unique<MainWindow>();
    MainWindowProbe probe{*window};
    Ui_MainWindow* const ui = probe.ui;
};

/// Finds each modal widget of the type when it opens, and passes it to the callback repeatedly
/// while it is the active one. The callback closes it with a click when it is done.
template <typename Widget>
class ModalWatcher
{
public:
    explicit ModalWatcher(std::function<void(Widget&)> look)
    {
        QObject::connect(&m_timer, &QTimer::timeout, [this, look = std::move(look)] {
            auto* const modal = qobject_cast<Widget*>(QApplication::activeModalWidget());
            if (modal != nullptr && modal->isVisible()) {
                if (modal != m_last) {
                    m_last = modal;
                    ++m_count;
                }
                look(*modal);
            } else {
                m_last = nullptr;
            }
        });
        m_timer.start(5);
    }

    int count() const { return m_count; }

private:
    QTimer m_timer;
    Widget* m_last = nullptr;
    int m_count = 0;
};

using BoxWatcher = ModalWatcher<QMessageBox>;

inline void clickOk(QMessageBox& box)
{
    QTest::mouseClick(box.buttons().constFirst(), Qt::LeftButton);
}

} // namespace viewersession
