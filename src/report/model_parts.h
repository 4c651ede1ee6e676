/// @file
/// The part of analyse() for accelerometer and gyroscope.
#pragma once

#include "report/model.h"
#include "report/rest.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace report {

/// A part of a series. A part that is the whole series is not copied; the series must then outlive
/// it.
template <typename T>
class Part
{
public:
    Part(const std::vector<T>& all, const Rows& rows)
    {
        if (rows.first == 0 && rows.end == all.size()) {
            m_values = &all;
        } else {
            m_part.assign(all.begin() + static_cast<std::ptrdiff_t>(rows.first),
                          all.begin() + static_cast<std::ptrdiff_t>(rows.end));
            m_values = &m_part;
        }
    }
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;

    const std::vector<T>& operator*() const { return *m_values; }

private:
    std::vector<T> m_part;
    const std::vector<T>* m_values = nullptr;
};

/// The rows at rest, and their timing.
struct RestRows
{
    Rows rows;
    analysis::Timing timing;
};

/// @param rest none if the camera was never at rest; the result then has no noise and no spectrum
/// @param leastSaturated a run at one end of an axis is the end of the sensor's range only beyond
/// this value; unit of the sensor
/// @param periodSeconds interval of the samples
InertialReport analyseInertial(const analysis::Recording& recording,
                               const analysis::Vectors& vectors,
                               const std::optional<RestRows>& rest, double leastSaturated,
                               double periodSeconds);

/// The recording must have the acceleration, and `rest` at least one row.
GravityReport analyseGravity(const analysis::Recording& recording, const Rows& rest);

} // namespace report
