#include "analysis/disturbances.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

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

std::uint64_t removeSpikes(Stretches& stretches)
{
    const double most = spikeFactor * usualDistance(stretches);
    if (!(most > 0.0)) {
        return 0;
    }
    std::uint64_t spikes = 0;
    for (std::vector<double>& samples : stretches) {
        for (std::size_t i = 1; i + 1 < samples.size(); ++i) {
            const double before = samples[i] - samples[i - 1];
            const double after = samples[i] - samples[i + 1];
            const bool peak = before * after > 0.0;
            if (peak && std::min(std::abs(before), std::abs(after)) > most) {
                samples[i] -= offNeighbours(samples, i);
                ++spikes;
            }
        }
    }
    return spikes;
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
