/// The memory that the sensor thread requests for a sample. The camera library's own requests do
/// not count.
#include "support/allocations.h"
#include "support/viewersession.h"
#include "support/waiting.h"

#include <atomic>

using namespace viewersession;
using om::bench::SensorsEntry;
using Location = om::SensorsData::TemperatureData::SENSOR_LOCATION;

namespace {

constexpr unsigned int serial = 20000001;
constexpr std::uint64_t start = 1'000'000'000'000;
constexpr std::uint64_t period = 2'500'000; // ns

std::atomic<allocations::Counter*> counterOfTheLoop{nullptr};

/// The IMU at 400 Hz, the magnetometer at 50 Hz, the barometer at 25 Hz, and repeats of a sample.
std::vector<SensorsEntry> records(int first, int count)
{
    std::vector<SensorsEntry> entries;
    for (int i = first; i < first + count; ++i) {
        SensorsEntry entry;
        const auto sample = static_cast<std::uint64_t>(i);
        entry.data.imu.timestamp = start + sample * period;
        entry.data.imu.linearAcceleration = {0.0F, 9.75F, static_cast<float>(i % 7)};
        entry.data.imu.effectiveRate = 400.0F;
        entry.data.magnetometer.isAvailable = true;
        entry.data.magnetometer.timestamp = start + sample / 8 * 8 * period;
        entry.data.barometer.isAvailable = true;
        entry.data.barometer.timestamp = start + sample / 16 * 16 * period;
        entry.data.barometer.pressure = 102500.0F;
        entry.data.temperature.values = {
            {Location::IMU, 30.0F}, {Location::LEFT, 45.0F}, {Location::RIGHT, 45.0F}};
        entries.push_back(entry);
        entries.push_back(entry);
    }
    return entries;
}

} // namespace

// The linker redirects the loop's calls of the library here (--wrap) and defines these names.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

om::ERROR_CODE __real__ZN2om6Camera14getSensorsDataERNS_11SensorsDataENS_14TIME_REFERENCEE(
    om::Camera* camera, om::SensorsData& data, om::TIME_REFERENCE reference);
om::ERROR_CODE __wrap__ZN2om6Camera14getSensorsDataERNS_11SensorsDataENS_14TIME_REFERENCEE(
    om::Camera* camera, om::SensorsData& data, om::TIME_REFERENCE reference)
{
    allocations::use(nullptr);
    const om::ERROR_CODE result =
        __real__ZN2om6Camera14getSensorsDataERNS_11SensorsDataENS_14TIME_REFERENCEE(camera, data,
                                                                                    reference);
    allocations::use(counterOfTheLoop);
    return result;
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

class TestSensorThreadCost : public QObject
{
    Q_OBJECT

private:
    /// Delivers further records and returns when the loop has handled all of them.
    static void deliver(std::vector<SensorsEntry> entries)
    {
        auto& script = bench().camera(serial)->sensorsScript();
        const std::uint64_t all = script.status().delivered + entries.size();
        script.append(std::move(entries));
        QTRY_COMPARE(script.status().delivered, all);
        const std::uint64_t calls = script.status().calls;
        QTRY_VERIFY(script.status().calls > calls + 1);
    }

private slots:
    void init() { bench().reset(); }

    // With the charts, the values and the 3D view of a window that is shown meanwhile.
    void sampleRequestsNoMemory()
    {
        bench().addCamera(camera(om::MODEL::TIV_Q, serial));
        bench().camera(serial)->sensorsScript().set(records(0, 10));
        allocations::Counter counter; // outlives the thread
        Viewer viewer;
        QTRY_VERIFY(viewer.samples() == 9); // without the first one of a run
        counterOfTheLoop = &counter;
        for (int i = 0; i < 10; ++i) {
            deliver(records(10 + i * 200, 200));
        }
        counterOfTheLoop = nullptr;
        deliver(records(2010, 1)); // the counter is no longer in use
        QCOMPARE(viewer.samples(), 2010);
        QCOMPARE(viewer.copyOf(viewer.probe.magNewTime).size(), 251);
        QCOMPARE(viewer.copyOf(viewer.probe.baroNewTime).size(), 125);
        QVERIFY2(counter.all() == 0, counter.callers().c_str());
    }
};

QTEST_MAIN(TestSensorThreadCost)
#include "tst_sensorthread_cost.moc"
