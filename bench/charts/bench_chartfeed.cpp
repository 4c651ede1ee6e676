// How long an update of the chart blocks the sensor thread: MainWindow::updatePlot() holds the lock
// of the samples from its first line to its last, so its duration is that of the lock.
//
// Two windows alternate, one with two minutes of samples stored and one with an hour, both with the
// same time range. Before each update the samples of a period arrive, after it the paint event is
// delivered; neither is measured. held_ms is the median with an hour stored and worst_ms the
// longest, worst_cpu_ms the longest without the time in which the system ran something else, and
// ratio_hour the median divided by that with two minutes. An IMU sample arrives every 2.5 ms.

#include "support/mainwindowprobe.h"

#include "ui_mainwindow.h"

#include <QApplication>
#include <QMutexLocker>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <vector>

#include <time.h>

namespace {

constexpr int rate = 400; // Hz
constexpr double startTime = 1706711000.25;

/// Processor time of this thread.
double threadMs()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return 1e3 * static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_nsec);
}

class Feed
{
public:
    explicit Feed(int storedSeconds)
    {
        m_window->show();
        m_probe.detectTimer->stop(); // there is no camera to find
        m_probe.plotTimer = new QTimer(m_window.get());
        append(storedSeconds * rate);
        QCoreApplication::processEvents();
    }
    ~Feed() { m_window->close(); }
    Feed(const Feed&) = delete;
    Feed& operator=(const Feed&) = delete;

    void select(const QString& sensor) { m_probe.changeSensor(sensor); }
    void setShownSeconds(int seconds) { m_probe.chartWindowSec = seconds; }

    /// Milliseconds of one update.
    struct Cost
    {
        double wall;
        double cpu;
    };
    Cost update()
    {
        append(std::max(1, m_probe.plotPeriodMs * rate / 1000));
        const double cpuBegin = threadMs();
        const auto begin = std::chrono::steady_clock::now();
        m_window->updatePlot();
        const std::chrono::duration<double, std::milli> held =
            std::chrono::steady_clock::now() - begin;
        const double cpu = threadMs() - cpuBegin;
        m_probe.plotTimer->stop(); // this program calls the updates
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
        return {held.count(), cpu};
    }

private:
    void append(int samples)
    {
        const QMutexLocker lock(&m_probe.dataMutex);
        for (int i = 0; i < samples; ++i, ++m_samples) {
            const double t = static_cast<double>(m_samples) / rate;
            m_probe.imuTime.append(startTime + t);
            m_probe.accX.append(9.8 * std::sin(t));
            m_probe.accY.append(9.8 * std::cos(t));
            m_probe.accZ.append(3.0 * std::sin(9.0 * t));
            if (m_samples % 8 == 0) {
                m_probe.magNewTime.append(startTime + t);
                m_probe.magNewX.append(5.0 * std::sin(t));
                m_probe.magNewY.append(5.0 * std::cos(t));
                m_probe.magNewZ.append(2.0 * std::sin(9.0 * t));
            }
        }
    }

    std::unique_ptr<MainWindow> m_window = std::make_unique<MainWindow>();
    MainWindowProbe m_probe{*m_window};
    qint64 m_samples = 0;
};

double median(std::vector<double> times)
{
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

// Windows, so that main() ends them before the application.
std::unique_ptr<Feed> minutes;
std::unique_ptr<Feed> hour;

void BM_UpdatePlot(benchmark::State& state, const char* sensor)
{
    if (minutes == nullptr) {
        minutes = std::make_unique<Feed>(2 * 60);
        hour = std::make_unique<Feed>(60 * 60);
    }
    for (Feed* feed : {minutes.get(), hour.get()}) {
        feed->select(QString::fromLatin1(sensor));
        feed->setShownSeconds(static_cast<int>(state.range(0)));
        for (int i = 0; i < 5; ++i) {
            feed->update(); // warms the caches
        }
    }
    std::vector<double> heldMinutes;
    std::vector<double> heldHour;
    double worstCpu = 0.0;
    for (auto _ : state) {
        heldMinutes.push_back(minutes->update().wall);
        const Feed::Cost cost = hour->update();
        heldHour.push_back(cost.wall);
        worstCpu = std::max(worstCpu, cost.cpu);
    }
    state.counters["held_ms"] = median(heldHour);
    state.counters["worst_ms"] = *std::max_element(heldHour.begin(), heldHour.end());
    state.counters["worst_cpu_ms"] = worstCpu;
    state.counters["ratio_hour"] = median(heldHour) / median(heldMinutes);
}

BENCHMARK_CAPTURE(BM_UpdatePlot, accelerometer, "Accelerometer")
    ->ArgName("seconds")
    ->Arg(5)
    ->Arg(10)
    ->Arg(30)
    ->Arg(60)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_UpdatePlot, magnetometer, "Magnetometer")
    ->ArgName("seconds")
    ->Arg(60)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::AddCustomContext("platform", QGuiApplication::platformName().toStdString());
    benchmark::RunSpecifiedBenchmarks();
    minutes.reset();
    hour.reset();
    return 0;
}
