// The cost of one frame of the time chart: new data, axes, replot, delivered paint event. The same
// frame is measured for the plot with Qwt's own line drawing, the plot without curves, QCustomPlot
// and Qt Charts, a few frames of each alternately, so that other load on the machine affects all of
// them. An iteration is one round of all charts; a counter is the median frame of one chart, in
// milliseconds of this thread's processor time, which does not depend on other load. ratio is our
// time divided by that of plain, ratio_clock the same by the wall clock, ratio_empty our time
// divided by that of the plot without curves. factor is the number of the screen's pixels per pixel
// of the chart.
//
// Runs on any platform of Qt, for instance under Xvfb and with QT_QPA_PLATFORM=offscreen, and with
// any QT_SCALE_FACTOR.

#include "charts.h"
#include "charts/waves.h"

#include <QApplication>
#include <QEvent>
#include <QWidget>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include <time.h>

namespace {

using benchchart::Chart;
using benchchart::Frame;

constexpr int rate = 400;       // Hz
constexpr double surplus = 1.3; // the feed passes this factor more samples than the window shows
constexpr int samplesPerFrame = 10; // new ones, 25 ms
constexpr int framesInTurn = 5;

/// Counts the paint events of a widget.
class PaintCount : public QObject
{
public:
    explicit PaintCount(QWidget* widget) { widget->installEventFilter(this); }
    int count = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        count += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

/// An endless stream of samples with a window that moves with every frame.
class Stream
{
public:
    explicit Stream(int seconds)
        : m_seconds(seconds), m_count(static_cast<int>(seconds * rate * surplus)), m_end(m_count)
    {
        for (int i = 0; i < benchchart::curveCount; ++i) {
            m_series.push_back(waves::make(waves::Shape::SineWithNoise, rate,
                                           seconds * surplus + storedBeyond, i));
        }
    }

    Frame next()
    {
        m_end += samplesPerFrame;
        if (m_end > m_series[0].time.size()) {
            m_end = m_count;
        }
        Frame frame;
        frame.time = m_series[0].time.mid(m_end - m_count, m_count);
        for (std::size_t i = 0; i < frame.values.size(); ++i) {
            frame.values[i] = m_series[i].values.mid(m_end - m_count, m_count);
        }
        frame.right = frame.time.last();
        frame.left = frame.right - m_seconds;
        return frame;
    }

private:
    static constexpr double storedBeyond = 20.0; // seconds
    int m_seconds;
    int m_count;
    int m_end;
    std::vector<waves::Series> m_series;
};

struct Contestant
{
    const char* name;
    std::unique_ptr<Chart> chart;
    std::unique_ptr<PaintCount> paints;
    std::vector<double> times; // seconds
    std::vector<double> cpuTimes;
};

/// Processor time of this thread, seconds.
double threadSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

double median(std::vector<double> times)
{
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

void frame(Contestant& contestant, Stream& stream)
{
    const double cpuBegin = threadSeconds();
    const auto begin = std::chrono::steady_clock::now();
    contestant.chart->update(stream.next());
    const int painted = contestant.paints->count;
    while (contestant.paints->count == painted) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    contestant.times.push_back(time.count());
    contestant.cpuTimes.push_back(threadSeconds() - cpuBegin);
}

void BM_Frame(benchmark::State& state)
{
    const int seconds = static_cast<int>(state.range(0));
    Stream stream(seconds);

    std::vector<Contestant> contestants;
    const auto enter = [&](const char* name, std::unique_ptr<Chart> chart) {
        chart->widget()->resize(benchchart::width, benchchart::height);
        chart->widget()->move(0, 0);
        chart->widget()->show();
        auto paints = std::make_unique<PaintCount>(chart->canvas());
        contestants.push_back({name, std::move(chart), std::move(paints), {}, {}});
    };
    enter("ours", benchchart::makeDataPlot());
    enter("plain", benchchart::makePlainDataPlot());
    enter("empty", benchchart::makeEmptyDataPlot());
    enter("qcustomplot", benchchart::makeQCustomPlot());
    enter("qtcharts", benchchart::makeQtChart());
    QCoreApplication::processEvents();
    // A covered window is cheaper to paint. Offscreen, none covers another.
    const bool overlapping = QGuiApplication::platformName() != QLatin1String("offscreen");

    for (auto _ : state) {
        for (Contestant& contestant : contestants) {
            if (overlapping) {
                contestant.chart->widget()->raise();
                QCoreApplication::processEvents();
            }
            for (int i = 0; i < framesInTurn; ++i) {
                frame(contestant, stream);
            }
        }
    }

    for (const Contestant& contestant : contestants) {
        state.counters[std::string(contestant.name) + "_ms"] = 1e3 * median(contestant.cpuTimes);
    }
    const Contestant& ours = contestants[0];
    const Contestant& plain = contestants[1];
    const Contestant& empty = contestants[2];
    state.counters["ratio"] = median(ours.cpuTimes) / median(plain.cpuTimes);
    state.counters["ratio_empty"] = median(ours.cpuTimes) / median(empty.cpuTimes);
    state.counters["factor"] = ours.chart->canvas()->devicePixelRatioF();
    state.counters["ratio_clock"] = median(ours.times) / median(plain.times);
}

BENCHMARK(BM_Frame)->ArgName("seconds")->Arg(5)->Arg(10)->Arg(30)->Arg(60)->UseRealTime()->Unit(
    benchmark::kMillisecond);

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
    return 0;
}
