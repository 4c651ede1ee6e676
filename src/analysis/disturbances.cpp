#include "analysis/disturbances.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <tuple>

namespace analysis {

namespace {

constexpr double spikeFactor = 10.0;
/// Approximate maximum number of distances from which the median is determined.
constexpr std::size_t usualSample = 100'000;
constexpr std::size_t leastSamples = 16;
/// Standard deviation of a normal variable divided by the median of its absolute value.
constexpr double ofMedian = 1.4826;
constexpr std::size_t mostParts = 600;

double offNeighbours(const std::vector<double>& samples, std::size_t i)
{
    return samples[i] - 0.5 * (samples[i - 1] + samples[i + 1]);
}

/// Standard deviation of a sample's distance from the mean of its neighbours; 0 if it can't be
/// determined.
double usualDistance(const Stretches& stretches)
{
    std::size_t all = 0;
    for (const std::vector<double>& samples : stretches) {
        all += samples.size();
    }
    if (all < leastSamples) {
        return 0.0;
    }
    const std::size_t step = all / usualSample + 1;
    std::vector<double> distances;
    for (const std::vector<double>& samples : stretches) {
        for (std::size_t i = 1; i + 1 < samples.size(); i += step) {
            distances.push_back(std::abs(offNeighbours(samples, i)));
        }
    }
    if (distances.empty()) {
        return 0.0;
    }
    const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
    std::nth_element(distances.begin(), middle, distances.end());
    return ofMedian * *middle;
}

constexpr std::size_t longestSpike = 2;

/// The recorded samples of a stretch, one after the other, with a view of the next ones.
class RecordedSamples
{
public:
    using Gap = std::vector<FilledGap>::const_iterator;

    /// @param gap the first one of the stretch, or a later one
    RecordedSamples(const std::vector<double>& samples, std::size_t stretch, Gap gap, Gap end)
        : m_samples(samples), m_stretch(stretch), m_gap(gap), m_end(end)
    {
        for (std::size_t& place : m_places) {
            place = m_next;
            advance();
        }
    }

    /// Moves to the next sample. @return false at the end
    bool move()
    {
        std::move(m_places.begin() + 1, m_places.end(), m_places.begin());
        m_places.back() = m_next;
        advance();
        return has(0);
    }

    /// Of the sample that is `ahead` samples after the current one.
    std::size_t place(std::size_t ahead) const { return m_places[ahead]; }
    bool has(std::size_t ahead) const { return m_places[ahead] < m_samples.size(); }
    double value(std::size_t ahead) const { return m_samples[m_places[ahead]]; }

private:
    void advance()
    {
        ++m_next;
        if (m_gap != m_end && m_gap->stretch == m_stretch && m_gap->first == m_next) {
            m_next = m_gap->end;
            ++m_gap;
        }
    }

    const std::vector<double>& m_samples;
    std::size_t m_stretch;
    Gap m_gap;
    Gap m_end;
    std::size_t m_next = 0; ///< the place after those below
    std::array<std::size_t, longestSpike + 1> m_places{};
};

/// Number of samples of the spike that begins at the current one; 0 if there is none.
std::size_t spikeLength(const RecordedSamples& recorded, double before, double most)
{
    for (std::size_t length = 1; length <= longestSpike && recorded.has(length); ++length) {
        const double newest = recorded.value(length - 1);
        if (std::abs(newest - before) <= most) {
            return 0;
        }
        const double after = recorded.value(length);
        bool isSpike = true;
        for (std::size_t i = 0; i < length; ++i) {
            const double rise = recorded.value(i) - before;
            const double fall = recorded.value(i) - after;
            isSpike = isSpike && rise * fall > 0.0 && std::abs(fall) > most;
        }
        if (isSpike) {
            return length;
        }
    }
    return 0;
}

/// Adds the spikes; adjacent ones become one gap.
void addTo(std::vector<FilledGap>& filled, const std::vector<FilledGap>& spikes)
{
    std::vector<FilledGap> all(filled.size() + spikes.size());
    std::merge(filled.begin(), filled.end(), spikes.begin(), spikes.end(), all.begin(),
               [](const FilledGap& a, const FilledGap& b) {
                   return std::tie(a.stretch, a.first) < std::tie(b.stretch, b.first);
               });
    filled.clear();
    for (const FilledGap& gap : all) {
        if (!filled.empty() && filled.back().stretch == gap.stretch &&
            filled.back().end == gap.first) {
            filled.back().end = gap.end;
        } else {
            filled.push_back(gap);
        }
    }
}

/// Mean temperatures of equal parts of its samples.
struct Temperature
{
    std::vector<double> times; ///< ns since the first sample of the axis
    std::vector<double> means;
};

Temperature partsOf(const std::vector<Nanoseconds>& times, const std::vector<double>& temperatures,
                    Nanoseconds start)
{
    Temperature parts;
    const std::size_t step = times.size() / mostParts + 1;
    for (std::size_t first = 0; first < times.size(); first += step) {
        const std::size_t end = std::min(first + step, times.size());
        const auto count = static_cast<double>(end - first);
        double time = 0.0;
        double mean = 0.0;
        for (std::size_t i = first; i < end; ++i) {
            time += static_cast<double>(times[i] - start) / count;
            mean += temperatures[i] / count;
        }
        parts.times.push_back(time);
        parts.means.push_back(mean);
    }
    return parts;
}

} // namespace

std::uint64_t removeSpikes(Stretches& stretches, std::vector<FilledGap>& filled)
{
    const double most = spikeFactor * usualDistance(stretches);
    if (!(most > 0.0)) {
        return 0;
    }
    std::vector<FilledGap> spikes;
    auto gap = filled.cbegin();
    for (std::size_t stretch = 0; stretch < stretches.size(); ++stretch) {
        while (gap != filled.cend() && gap->stretch < stretch) {
            ++gap;
        }
        if (stretches[stretch].empty()) {
            continue;
        }
        RecordedSamples recorded(stretches[stretch], stretch, gap, filled.cend());
        double good = recorded.value(0); // the last sample that is not in a spike
        while (recorded.move()) {
            const std::size_t length = spikeLength(recorded, good, most);
            if (length == 0) {
                good = recorded.value(0);
                continue;
            }
            spikes.push_back({stretch, recorded.place(0), recorded.place(0) + 1});
            for (std::size_t i = 1; i < length; ++i) {
                recorded.move();
                spikes.push_back({stretch, recorded.place(0), recorded.place(0) + 1});
            }
        }
    }
    if (!spikes.empty()) {
        addTo(filled, spikes);
        refillGaps(stretches, filled);
    }
    return spikes.size();
}

void removeTemperature(std::vector<double>& samples, const std::vector<Nanoseconds>& times,
                       const std::vector<Nanoseconds>& temperatureTimes,
                       const std::vector<double>& temperatures, double slope)
{
    if (temperatureTimes.empty() || times.empty()) {
        return;
    }
    const Temperature parts = partsOf(temperatureTimes, temperatures, times.front());
    std::size_t next = 0; // the first part after the sample
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto time = static_cast<double>(times[i] - times.front());
        while (next < parts.times.size() && parts.times[next] <= time) {
            ++next;
        }
        double temperature = parts.means[next == 0 ? 0 : next - 1];
        if (next > 0 && next < parts.times.size()) {
            const double share =
                (time - parts.times[next - 1]) / (parts.times[next] - parts.times[next - 1]);
            temperature += share * (parts.means[next] - parts.means[next - 1]);
        }
        samples[i] -= slope * temperature;
    }
}

} // namespace analysis
