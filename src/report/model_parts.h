/// @file
/// The part of analyse() over accelerometer and gyroscope.
#pragma once

#include "report/model.h"
#include "report/rest.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace report {

/// Part of a series; the series itself where the part is all of it.
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

/// Timing of the rows at rest, and those rows.
struct Rest
{
    Rows rows;
    analysis::Timing timing;
};

/// @param rest none where the camera was never at rest: then without noise and spectrum
/// @param leastSaturated a run at one end of an axis is the end of the sensor's range only beyond
/// this value; unit of the sensor
/// @param periodSeconds distance of the samples
InertialReport analyseInertial(const analysis::Recording& recording,
                               const analysis::Vectors& vectors, const std::optional<Rest>& rest,
                               double leastSaturated, double periodSeconds);

/// Needs the acceleration.
GravityReport analyseGravity(const analysis::Recording& recording, const Rows& rest);

} // namespace report
