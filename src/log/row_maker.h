/// @file
/// Rows of a recording from the records of the camera library.
#pragma once

#include "camera/camera_library.h"
#include "recording/recorder.h"
#include "sensors/sensormath.h"

#include <cstdint>
#include <optional>

namespace samplelog {

/// A row with what it was made at.
struct TimedRow
{
    recorder::Row row;
    std::uint64_t timeUs = 0;   ///< of the IMU sample
    float effectiveRate = 0.0F; ///< of the IMU, Hz
};

/// Makes one row of each new IMU sample, the first one included, with the values that the main
/// program writes. One thread uses it.
class RowMaker
{
public:
    /// The row of a record that was just polled; none where its IMU time is below 1 us or that of
    /// the record before. The index counts the rows from 0.
    std::optional<TimedRow> take(const om::SensorsData& record);

private:
    std::uint64_t m_lastUs = 0;
    int m_next = 0;
    sensormath::BoardTemperatures m_boardTemperatures;
};

} // namespace samplelog
