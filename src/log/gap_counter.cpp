#include "log/gap_counter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace samplelog {

namespace {

/// Weight of a new interval in the period.
constexpr double share = 1.0 / 1024.0;
/// Maximum relative deviation at which the camera's rate is used.
constexpr double tolerance = 0.05;
/// No sensor has a longer period.
constexpr std::uint64_t longestPeriodUs = 1'000'000;

/// On a slow machine more than half of the samples may be missing. The median interval is then a
/// multiple of the period, which the camera's own rate reveals.
std::uint64_t samplesIn(double distanceUs, float effectiveRate)
{
    const double ratio = distanceUs * 1e-6 * static_cast<double>(effectiveRate);
    const double whole = std::round(ratio);
    const bool fits = whole >= 2.0 && whole < 1e6 && std::fabs(ratio / whole - 1.0) < tolerance;
    return fits ? static_cast<std::uint64_t>(whole) : 1;
}

} // namespace

void GapCounter::add(std::uint64_t timeUs, float effectiveRate)
{
    if (m_state.samples == 0) {
        m_state.firstUs = timeUs;
        m_state.lastUs = timeUs;
    }
    ++m_state.samples;
    if (timeUs < m_state.lastUs) {
        ++m_state.backward;
    }
    m_effectiveRate = effectiveRate;
    if (m_state.periodUs > 0.0) {
        count(m_state.lastUs, timeUs);
    } else {
        m_first.push_back(timeUs);
        if (m_first.size() == settling) {
            settle(effectiveRate);
        }
    }
    m_state.lastUs = std::max(m_state.lastUs, timeUs);
}

StreamState GapCounter::finish(std::uint64_t endUs)
{
    if (!m_first.empty()) {
        settle(m_effectiveRate);
    }
    // The end is no sample: the time up to it says nothing about the period.
    const double period = m_state.periodUs;
    if (period > 0.0) {
        count(m_state.lastUs, endUs);
        m_state.periodUs = period;
    } else if (m_state.samples > 0 && endUs >= m_state.lastUs + longestPeriodUs) {
        addGap(m_state.lastUs, endUs, 1);
    }
    return m_state;
}

void GapCounter::settle(float effectiveRate)
{
    std::vector<double> distances;
    for (std::size_t i = 1; i < m_first.size(); ++i) {
        if (m_first[i] > m_first[i - 1]) {
            distances.push_back(static_cast<double>(m_first[i] - m_first[i - 1]));
        }
    }
    if (!distances.empty()) {
        const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
        std::nth_element(distances.begin(), middle, distances.end());
        m_state.periodUs = *middle / static_cast<double>(samplesIn(*middle, effectiveRate));
        std::uint64_t newest = m_first.front();
        for (const std::uint64_t timeUs : m_first) {
            count(newest, timeUs);
            newest = std::max(newest, timeUs);
        }
    }
    m_first.clear();
}

void GapCounter::count(std::uint64_t beforeUs, std::uint64_t timeUs)
{
    if (timeUs <= beforeUs) {
        return;
    }
    const auto distance = static_cast<double>(timeUs - beforeUs);
    const double fitting = std::max(1.0, std::round(distance / m_state.periodUs));
    if (fitting > 1.0) {
        addGap(beforeUs, timeUs, static_cast<std::uint64_t>(fitting) - 1);
        return;
    }
    m_state.periodUs += share * (distance - m_state.periodUs);
}

void GapCounter::addGap(std::uint64_t beforeUs, std::uint64_t timeUs, std::uint64_t missing)
{
    m_state.missing += missing;
    ++m_state.gaps;
    if (timeUs - beforeUs > m_state.longestGapUs) {
        m_state.longestGapUs = timeUs - beforeUs;
        m_state.longestGapAtUs = beforeUs;
    }
}

} // namespace samplelog
