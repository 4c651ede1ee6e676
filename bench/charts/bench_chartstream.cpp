// Whether the chart costs samples: a camera of the bench streams into the window, alternately with
// the chart hidden and not updated, and with the chart shown at its longest time range. The bench
// numbers its IMU samples; the counters are the produced ones and those that the window did not
// store. longest_hold_ms and late_holds show the possible part of the samples' lock: an update
// holds it from its first line to its last, and an update that takes longer than the 2.5 ms between
// two samples is late.
//
//     bench_chartstream [--seconds=N] [--without-3d-view]
//
// N seconds of each, 1 by default; from 80 on the window is filled before the count starts. With
// short turns other load on the machine affects both. Without a GPU the 3D view needs most of two
// processors and costs more samples than anything else; --without-3d-view measures only the chart.

#include "support/viewersession.h"

#include <benchmark/benchmark.h>

#include <QEventLoop>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>

namespace {

constexpr unsigned int serial = 31415926;
constexpr int longestTurn = 2; // seconds
constexpr double sampleDistanceMs = 2.5;
constexpr int fillSeconds = 80; // until 60 s are full, with the additional samples of the feed
int countedSeconds = 1;
bool without3dView = false;

void stream(int seconds)
{
    QEventLoop loop;
    QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
    loop.exec();
}

struct Count
{
    qint64 made = 0;
    qint64 stored = 0;

    Count& operator+=(const Count& other)
    {
        made += other.made;
        stored += other.stored;
        return *this;
    }
};

Count countNow(viewersession::Viewer& viewer)
{
    // Under the lock no sample is stored; at most one is produced in this time.
    const QMutexLocker lock(&viewer.probe.dataMutex);
    return {static_cast<qint64>(viewersession::bench().imuCounters(serial).produced),
            viewer.probe.accX.size()};
}

/// Streams, and returns the numbers of produced and stored samples.
Count streamed(viewersession::Viewer& viewer, int seconds)
{
    const Count before = countNow(viewer);
    stream(seconds);
    const Count after = countNow(viewer);
    return {after.made - before.made, after.stored - before.stored};
}

void BM_Stream(benchmark::State& state)
{
    auto& bench = viewersession::bench();
    bench.reset();
    om::bench::CameraConfig config;
    config.model = om::MODEL::TIV_Q;
    config.serialNumber = serial;
    bench.addCamera(config);
    viewersession::Viewer viewer;
    while (!viewer.streams(static_cast<int>(serial))) {
        stream(1);
    }
    viewer.ui->comboBox_time_range->setCurrentIndex(3);
    viewer.ui->frame_ogl->setHidden(without3dView);

    if (countedSeconds >= fillSeconds) {
        stream(fillSeconds);
    }

    Count hidden;
    Count shown;
    int updates = 0;
    int lateHolds = 0;
    double longestHold = 0.0;
    MainWindow* const window = viewer.window.get();
    QTimer* const plotTimer = viewer.probe.plotTimer;
    QObject::disconnect(plotTimer, &QTimer::timeout, window, &MainWindow::updatePlot);
    QObject::connect(plotTimer, &QTimer::timeout, window, [&, window] {
        const auto begin = std::chrono::steady_clock::now();
        window->updatePlot();
        const std::chrono::duration<double, std::milli> held =
            std::chrono::steady_clock::now() - begin;
        ++updates;
        longestHold = std::max(longestHold, held.count());
        lateHolds += held.count() > sampleDistanceMs ? 1 : 0;
    });
    for (auto _ : state) {
        for (int counted = 0; counted < countedSeconds; counted += longestTurn) {
            const int turn = std::min(longestTurn, countedSeconds - counted);
            viewer.probe.plotTimer->stop();
            viewer.ui->widget_chart->hide();
            hidden += streamed(viewer, turn);
            viewer.ui->widget_chart->show();
            viewer.probe.plotTimer->start();
            shown += streamed(viewer, turn);
        }
    }
    state.counters["made_hidden"] = static_cast<double>(hidden.made);
    state.counters["made_shown"] = static_cast<double>(shown.made);
    state.counters["missing_hidden"] = static_cast<double>(hidden.made - hidden.stored);
    state.counters["missing_shown"] = static_cast<double>(shown.made - shown.stored);
    state.counters["updates"] = updates;
    state.counters["longest_hold_ms"] = longestHold;
    state.counters["late_holds"] = lateHolds;
    if (updates == 0) {
        state.SkipWithError("the chart was not fed");
    }
}

BENCHMARK(BM_Stream)->UseRealTime()->Iterations(1)->Unit(benchmark::kSecond);

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    const std::string option = "--seconds=";
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument.rfind(option, 0) == 0) {
            countedSeconds = std::max(1, std::atoi(argument.c_str() + option.size()));
        } else if (argument == "--without-3d-view") {
            without3dView = true;
        } else {
            return benchmark::ReportUnrecognizedArguments(argc, argv) ? 1 : 0;
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
