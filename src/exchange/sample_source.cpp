#include "exchange/sample_source.h"

#include <cmath>

namespace exchange {

using namespace analysis;

namespace {

constexpr double radiansPerDegree = 3.14159265358979323846 / 180.0;
constexpr double pascalsPerHectopascal = 100.0;
constexpr double microteslasPerTesla = 1e6;

Vector triple(const RecordedRow& row, COLUMN first)
{
    return {row.values[first], row.values[first + 1], row.values[first + 2]};
}

} // namespace

SampleSource::SampleSource(const RowReader& reader, AXES axes) : m_reader(reader), m_axes(axes)
{
    const SampleSplitter splitter(reader);
    const bool timed = splitter.hasImu();
    m_contents.acceleration = timed && reader.hasTriple(ACC_X);
    m_contents.angularVelocity = timed && reader.hasTriple(GYRO_X);
    m_contents.orientation = timed && reader.hasTriple(OR_X);
    m_contents.movingState = timed && reader.has(MOVING);
    m_contents.magneticField = splitter.hasMagnetometer();
    m_contents.barometer = splitter.hasBarometer();
    m_contents.temperatures = splitter.hasTemperatures();
}

ImuSample SampleSource::imuSample(const RecordedRow& row, Nanoseconds time) const
{
    ImuSample sample;
    sample.time = time;
    sample.acceleration = turned(triple(row, ACC_X), m_axes);
    sample.angularVelocity = turned(triple(row, GYRO_X), m_axes);
    for (double& rate : sample.angularVelocity) {
        rate *= radiansPerDegree;
    }
    if (m_contents.orientation) {
        sample.orientation = turned(fromEulerAngles(triple(row, OR_X)), m_axes);
    }
    sample.movingState = static_cast<int>(std::lround(row.values[MOVING]));
    return sample;
}

bool SampleSource::visit(SampleSink& sink, ReadReport& report,
                         const std::function<bool(double)>& progress, std::string& error) const
{
    SampleSplitter splitter(m_reader);
    const auto take = [&](const RecordedRow& row) {
        const SampleSplitter::New found = splitter.take(row, report);
        if (!found.row) {
            return;
        }
        if (m_contents.imu()) {
            sink.take(imuSample(row, found.time));
        }
        if (found.magnetometer) {
            MagneticSample sample{*found.magnetometer, turned(triple(row, MAG_X), m_axes)};
            for (double& component : sample.field) {
                component /= microteslasPerTesla;
            }
            sink.take(sample);
        }
        if (found.barometer) {
            sink.take(BarometerSample{*found.barometer,
                                      row.values[PRESSURE] * pascalsPerHectopascal,
                                      row.values[ALTITUDE]});
        }
        if (found.temperatures) {
            sink.take(TemperatureSample{*found.temperatures,
                                        {row.values[TEMP_LEFT], row.values[TEMP_RIGHT],
                                         row.values[TEMP_IMU], row.values[TEMP_BAROMETER]}});
        }
    };
    return m_reader.visit(take, report, progress, error);
}

} // namespace exchange
