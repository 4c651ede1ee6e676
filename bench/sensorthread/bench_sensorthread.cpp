/// @file
/// The sensor thread's work on scripted records: samples per second of its loop (the poll of the
/// library, the limits, the 3D view and all appends), and the longest time of one sample over hours
/// of a stream, compared with series that grow by themselves.

#include "support/viewersession.h"

#include "viewer/chart_limits.h"
#include "viewer/sensor_sample.h"

#include <QFile>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <thread>

#include <sys/resource.h>

using om::bench::SensorsEntry;
using Location = om::SensorsData::TemperatureData::SENSOR_LOCATION;

namespace {

constexpr unsigned int serial = 20000001;
constexpr std::uint64_t samplesPerRun = 100'000; ///< 250 s of a camera's stream

/// Record number i of a camera: the IMU at 400 Hz, the magnetometer at 50 and the barometer at 25.
void fill(std::uint64_t i, bool boardTemperatures, SensorsEntry& entry)
{
    constexpr std::uint64_t start = 1'000'000'000'000;
    constexpr std::uint64_t period = 2'500'000;
    om::SensorsData& data = entry.data;
    const float swing = static_cast<float>(i % 100) / 100.0F;
    data.imu.timestamp = start + i * period;
    data.imu.linearAcceleration = {swing, 9.8F, -swing};
    data.imu.angularVelocity = {swing, -swing, 2.0F * swing};
    data.imu.pose =
        om::Transform(om::Orientation(om::Rotation(swing, {0.0F, 1.0F, 0.0F})), om::Translation());
    data.imu.effectiveRate = 400.0F;
    data.magnetometer.isAvailable = true;
    data.magnetometer.timestamp = start + i / 8 * (8 * period);
    data.magnetometer.magneticFieldUncalibrated = {20.0F + swing, -30.0F, 40.0F};
    data.magnetometer.magneticFieldCalibrated = data.magnetometer.magneticFieldUncalibrated;
    data.barometer.isAvailable = true;
    data.barometer.timestamp = start + i / 16 * (16 * period);
    data.barometer.pressure = 101325.0F + swing;
    data.temperature.values[Location::IMU] = 31.0F;
    if (boardTemperatures) {
        data.temperature.values[Location::LEFT] = 32.0F;
        data.temperature.values[Location::RIGHT] = 33.0F;
    }
    data.cameraMovingState = 1;
}

/// @param boardTemperatures false uses the temperature fallback, with its additional appends
void sensorLoop(benchmark::State& state, bool boardTemperatures)
{
    auto& bench = viewersession::bench();
    bench.reset();
    bench.addCamera(viewersession::camera(om::MODEL::TIV_Q, serial));
    viewersession::Viewer viewer;
    auto& probe = viewer.probe;
    viewer.window->reset();
    delete probe.detectTimer;
    probe.detectTimer = nullptr;

    // An open camera and a built scene, without the other threads of a session.
    probe.inputThread = new InputThreadModul;
    probe.connectSignals();
    if (probe.inputThread->live(static_cast<int>(serial)) != 0 ||
        !probe.inputThread->CreateMemories()) {
        state.SkipWithError("no camera");
        return;
    }
    for (auto _ : state) {
        state.PauseTiming();
        probe.initCharts();
        bench.camera(serial)->sensorsScript().set([&](std::uint64_t i, SensorsEntry& entry) {
            fill(i, boardTemperatures, entry);
            if (i == samplesPerRun) {
                probe.stopDataThread = true; // after this one
            }
            return true;
        });
        state.ResumeTiming();
        probe.dataThreadFunc();
    }
    if (probe.imuTime.size() != static_cast<int>(samplesPerRun)) {
        state.SkipWithError("samples were lost");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samplesPerRun));
}

double milliseconds(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return 1e3 * static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_nsec);
}

/// How often another thread took the processor from this one.
long interruptions()
{
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nivcsw;
}

/// The longest of many short times.
struct Longest
{
    template <typename Work>
    void measure(Work work)
    {
        const long interruptionsBefore = interruptions();
        const double processorBefore = milliseconds(CLOCK_THREAD_CPUTIME_ID);
        const double elapsedBefore = milliseconds(CLOCK_MONOTONIC);
        work();
        const double took = milliseconds(CLOCK_MONOTONIC) - elapsedBefore;
        processor = std::max(processor, milliseconds(CLOCK_THREAD_CPUTIME_ID) - processorBefore);
        elapsed = std::max(elapsed, took);
        if (took > undisturbed && interruptions() == interruptionsBefore) {
            undisturbed = took;
        }
    }

    double processor = 0.0;   ///< ms
    double elapsed = 0.0;     ///< ms, with the interruptions of a busy machine
    double undisturbed = 0.0; ///< ms, of those without one
};

/// The most memory that the process had since the call before, GiB.
double peakSinceLastCall()
{
    double gibibytes = 0.0;
    QFile status(QStringLiteral("/proc/self/status"));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : status.readAll().split('\n')) {
            if (line.startsWith("VmHWM:")) {
                gibibytes = line.mid(6).trimmed().split(' ').first().toDouble() / (1 << 20);
            }
        }
    }
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    if (reset.open(QIODevice::WriteOnly)) {
        reset.write("5");
    }
    return gibibytes;
}

/// Hours of a stream, from GRAVIMON_STREAM_HOURS. A day takes 7 GiB and some minutes.
double streamHours()
{
    bool isNumber = false;
    const double hours = qEnvironmentVariable("GRAVIMON_STREAM_HOURS").toDouble(&isNumber);
    return isNumber ? hours : 0.1;
}

/// The longest time of one sample, and of its part under the lock of the series.
/// @param inSteps whether the series grow in steps, or each of them at once when it is full
void longestSample(benchmark::State& state, bool inSteps)
{
    viewersession::bench().reset();
    viewersession::Viewer viewer;
    auto& probe = viewer.probe;
    viewer.window->reset();
    const auto samples = static_cast<std::uint64_t>(streamHours() * 3600.0 * 400.0);
    for (auto _ : state) {
        probe.initCharts();
        peakSinceLastCall();
        Longest whole;
        Longest locked;
        // As in a session: memory of another thread comes from another part of the heap.
        std::thread sensorThread([&] {
            sensorsample::Sampler sampler({probe.imuEffectiveRate, probe.imuStartTime},
                                          {probe.baroEffectiveRate, probe.baroStartTime},
                                          {probe.magEffectiveRate, probe.magStartTime});
            const chartlimits::Limits limits{
                probe.accelRange,     probe.gyroRange,     probe.magRange,    probe.orientRange,
                probe.pressureMax,    probe.pressureMin,   probe.altitudeMax, probe.altitudeMin,
                probe.temperatureMax, probe.temperatureMin};
            SensorsEntry entry;
            for (std::uint64_t i = 0; i <= samples; ++i) {
                fill(i, true, entry);
                whole.measure([&] {
                    const auto sample = sampler.take(entry.data);
                    if (!sample.has_value()) {
                        return;
                    }
                    chartlimits::widen(limits, *sample);
                    locked.measure([&] {
                        const QMutexLocker lock(&probe.dataMutex);
                        probe.appendToSeries(*sample);
                        if (inSteps) {
                            probe.growSeries();
                        }
                    });
                    probe.disposal.take(probe.growth.takeReplaced());
                });
            }
        });
        sensorThread.join();
        if (probe.imuTime.size() != static_cast<int>(samples)) {
            state.SkipWithError("samples were lost");
        }
        state.counters["GiB"] = peakSinceLastCall();
        state.counters["locked_ms"] = locked.undisturbed;
        state.counters["locked_ms_busy"] = locked.elapsed;
        state.counters["locked_ms_cpu"] = locked.processor;
        state.counters["whole_ms"] = whole.undisturbed;
        state.counters["whole_ms_busy"] = whole.elapsed;
        state.counters["whole_ms_cpu"] = whole.processor;
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

BENCHMARK_CAPTURE(sensorLoop, allSensors, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(sensorLoop, temperatureFallback, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(longestSample, growthInSteps, true)->Unit(benchmark::kSecond)->Iterations(1);
BENCHMARK_CAPTURE(longestSample, growthAtOnce, false)->Unit(benchmark::kSecond)->Iterations(1);

} // namespace

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
