/// @file
/// Samples per second that the loop of the sensor thread processes from scripted records: the poll
/// of the library, the limits, the 3D view and all appends.

#include "support/viewersession.h"

#include <benchmark/benchmark.h>

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

BENCHMARK_CAPTURE(sensorLoop, allSensors, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(sensorLoop, temperatureFallback, false)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
