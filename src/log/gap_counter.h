/// @file
/// Counts the samples that are missing from a stream, from the times of the received ones.
#pragma once

#include <cstdint>
#include <vector>

namespace samplelog {

/// The counts of a stream so far.
struct StreamState
{
    std::uint64_t samples = 0;
    std::uint64_t missing = 0;        ///< samples that fit between received ones
    std::uint64_t gaps = 0;           ///< number of places with missing samples
    std::uint64_t longestGapUs = 0;   ///< time between the two samples around the longest gap
    std::uint64_t longestGapAtUs = 0; ///< time of the sample before the longest gap
    std::uint64_t firstUs = 0;        ///< time of the first sample
    std::uint64_t lastUs = 0;         ///< the latest time of a sample
    std::uint64_t backward = 0;       ///< samples with a time before that of an earlier sample
    double periodUs = 0.0;            ///< of the sensor; 0 while it is unknown

    double seconds() const { return static_cast<double>(lastUs - firstUs) * 1e-6; }
};

/// Uses constant memory. The period follows the sensor slowly, so that a drifting clock causes no
/// false gaps. A sample may be up to half a period early or late.
///
/// The period is unknown until `settling` samples are received, and nothing counts as missing. The
/// gaps among these samples are counted afterwards. One thread at a time.
class GapCounter
{
public:
    /// Number of samples from which the period is determined.
    static constexpr std::size_t settling = 64;

    /// @param timeUs        time of the sample; a sample that is not later than all before is
    /// counted, but does not affect the gaps
    /// @param effectiveRate rate that the camera reports, Hz; 0 if it reports none
    void add(std::uint64_t timeUs, float effectiveRate);

    /// The counts of all samples. If there are fewer than `settling` samples, determines the period
    /// from these.
    /// @param endUs what fits between the last sample and this time is missing too; a time that is
    /// not later than the last sample has no effect. While the period is unknown, a second or more
    /// counts as one missing sample
    StreamState finish(std::uint64_t endUs = 0);

    const StreamState& state() const { return m_state; }

private:
    void settle(float effectiveRate);
    void count(std::uint64_t beforeUs, std::uint64_t timeUs);
    void addGap(std::uint64_t beforeUs, std::uint64_t timeUs, std::uint64_t missing);

    StreamState m_state;
    std::vector<std::uint64_t> m_first; ///< times of the samples while the period is unknown
    float m_effectiveRate = 0.0F;
};

} // namespace samplelog
