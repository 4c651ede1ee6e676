/// @file
/// Converts the camera library's records to rows of a recording.
#pragma once

#include "camera/camera_library.h"
#include "recording/recorder.h"
#include "sensors/sensor_math.h"

#include <cstdint>
#include <optional>

namespace samplelog {

/// A row, and the time and rate of its sample.
struct TimedRow
{
    recorder::Row row;
    std::uint64_t timeUs = 0;   ///< of the IMU sample
    float effectiveRate = 0.0F; ///< of the IMU, Hz
};

/// Makes one row of each new IMU sample, including the first, with the values that the main program
/// writes. One thread at a time.
class RowMaker
{
public:
    /// The row of a new record; none if its IMU time is below 1 us or equals that of the previous
    /// record. The index counts the rows from 0.
    std::optional<TimedRow> take(const om::SensorsData& record);

private:
    std::uint64_t m_lastUs = 0;
    int m_next = 0;
    sensormath::BoardTemperatures m_boardTemperatures;
};

} // namespace samplelog
