/// @file
/// Samples that are missing from a stream, found by the times of those that came.
#pragma once

#include <cstdint>
#include <vector>

namespace samplelog {

/// What is known of a stream so far.
struct StreamState
{
    std::uint64_t samples = 0;
    std::uint64_t missing = 0;        ///< samples that fit between those that came
    std::uint64_t gaps = 0;           ///< places where they are missing
    std::uint64_t longestGapUs = 0;   ///< time from sample to sample over the longest gap
    std::uint64_t longestGapAtUs = 0; ///< time of the sample before it
    std::uint64_t firstUs = 0;        ///< time of the first sample
    std::uint64_t lastUs = 0;         ///< time of the newest sample
    double periodUs = 0.0;            ///< of the sensor; 0 until it is known

    double seconds() const { return static_cast<double>(lastUs - firstUs) * 1e-6; }
};

/// Counts with constant memory. The period follows the sensor slowly, so that a clock that drifts
/// does no harm; a sample may come up to half a period early or late.
///
/// Until `settling` samples have come the period is unknown, and nothing counts as missing; then
/// the first ones are counted after the fact. One thread at a time.
class GapCounter
{
public:
    /// Samples from which the period is found.
    static constexpr std::size_t settling = 64;

    /// @param timeUs        of the sample; one that is not later than the last counts as a sample
    /// only
    /// @param effectiveRate of the sensor as the camera reports it, Hz; 0 where it does not
    void add(std::uint64_t timeUs, float effectiveRate);

    /// Of all samples; finds the period in fewer than `settling` ones where need be.
    StreamState finish();

    const StreamState& state() const { return m_state; }

private:
    void settle(float effectiveRate);
    void count(std::uint64_t beforeUs, std::uint64_t timeUs);

    StreamState m_state;
    std::vector<std::uint64_t> m_first; ///< times until the period is known
    float m_effectiveRate = 0.0F;
};

} // namespace samplelog
