#include "analysis/timing.h"

#include <algorithm>
#include <cmath>

namespace analysis {

namespace {

/// More samples than this do not fit into any gap of a time in nanoseconds that is worth counting.
constexpr double mostFitting = 1e15;

std::uint64_t step(const std::vector<std::uint32_t>& numbers, std::size_t row)
{
    return numbers[row] > numbers[row - 1] ? numbers[row] - numbers[row - 1] : 1;
}

/// The median of the steps from row to row.
std::uint64_t usualStep(const std::vector<std::uint32_t>& numbers)
{
    std::vector<std::uint64_t> steps(numbers.size() - 1);
    for (std::size_t row = 1; row < numbers.size(); ++row) {
        steps[row - 1] = step(numbers, row);
    }
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    return *middle;
}

double seconds(Nanoseconds time)
{
    return static_cast<double>(time) * 1e-9;
}

/// Of the samples from `first` to before `end`.
struct Mean
{
    double value = 0.0;
    double place = 0.0;
};

Mean meanOf(const std::vector<double>& samples, std::size_t first, std::size_t end)
{
    Mean mean;
    const auto count = static_cast<double>(end - first);
    for (std::size_t i = first; i < end; ++i) {
        mean.value += samples[i] / count;
        mean.place += static_cast<double>(i) / count;
    }
    return mean;
}

double median(std::vector<double>& values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

Timing analyseTiming(const std::vector<Nanoseconds>& times,
                     const std::vector<std::uint32_t>& numbers)
{
    Timing timing;
    const std::size_t rows = times.size();
    timing.durationSeconds = seconds(times.back() - times.front());

    // Gaps do not change the median: half of the rows are enough.
    double period = 0.0; // of the sensor
    std::uint64_t skippingRows = 0;
    {
        std::vector<double> distances(rows - 1);
        for (std::size_t row = 1; row < rows; ++row) {
            const std::uint64_t samples = step(numbers, row);
            skippingRows += samples > 1 ? 1 : 0;
            distances[row - 1] =
                seconds(times[row] - times[row - 1]) / static_cast<double>(samples);
        }
        period = median(distances);
    }
    timing.numbersSkip = 2 * skippingRows > rows - 1;
    // If nearly every sample has a row, a sample without a row is missing, whatever the reason. If
    // the numbers skip, a step of many times the usual one is a gap too.
    const std::uint64_t usual = timing.numbersSkip ? usualStep(numbers) : 1;
    const auto samplesOf = [&](std::size_t row) {
        const std::uint64_t samples = timing.numbersSkip ? step(numbers, row) : 1;
        return samples > 2 * usual ? usual : samples;
    };

    double sum = 0.0;
    double squares = 0.0;
    double samplesSum = 0.0;
    std::size_t count = 0;
    for (std::size_t row = 1; row < rows; ++row) {
        const double distance = seconds(times[row] - times[row - 1]);
        const std::uint64_t samples = samplesOf(row);
        const auto fitting =
            static_cast<std::uint64_t>(std::llround(std::min(distance / period, mostFitting)));
        if (fitting > samples) {
            timing.gaps.push_back({row, times[row - 1], times[row], fitting - samples});
            timing.missingSamples += fitting - samples;
            continue;
        }
        sum += distance;
        squares += distance * distance;
        samplesSum += static_cast<double>(samples);
        ++count;
    }
    if (count > 0) {
        const auto n = static_cast<double>(count);
        timing.periodSeconds = sum / n;
        timing.samplesPerRow = samplesSum / n;
        timing.jitterSeconds =
            std::sqrt(std::max(0.0, squares / n - timing.periodSeconds * timing.periodSeconds));
        timing.rateHz = 1.0 / timing.periodSeconds;
        timing.sensorRateHz = samplesSum / sum;
    }
    return timing;
}

Stretches stretchesOf(const std::vector<double>& axis, const Timing& timing,
                      std::uint64_t mostFilled, std::vector<FilledGap>* filled)
{
    constexpr std::size_t least = 3;
    Stretches stretches;
    std::vector<double> stretch;
    std::vector<FilledGap> ofStretch;
    const auto close = [&] {
        if (stretch.size() >= least) {
            if (filled != nullptr) {
                filled->insert(filled->end(), ofStretch.begin(), ofStretch.end());
            }
            stretches.push_back(std::move(stretch));
        }
        stretch.clear();
        ofStretch.clear();
    };
    std::size_t begin = 0;
    const auto take = [&](std::size_t end) {
        stretch.insert(stretch.end(), axis.begin() + static_cast<std::ptrdiff_t>(begin),
                       axis.begin() + static_cast<std::ptrdiff_t>(end));
        begin = end;
    };
    if (timing.gaps.empty()) {
        stretch.reserve(axis.size());
    }
    for (const Gap& gap : timing.gaps) {
        take(gap.row);
        // Rows lost in the gap: if each row represents several samples, the samples of several
        // rows.
        const auto rows = static_cast<std::uint64_t>(
            std::llround(static_cast<double>(gap.missing) / timing.samplesPerRow));
        if (rows > mostFilled) {
            close();
            continue;
        }
        const double before = axis[gap.row - 1];
        const double rise = axis[gap.row] - before;
        const std::size_t first = stretch.size();
        for (std::uint64_t i = 1; i <= rows; ++i) {
            stretch.push_back(before +
                              rise * static_cast<double>(i) / static_cast<double>(rows + 1));
        }
        if (rows > 0) {
            ofStretch.push_back({stretches.size(), first, stretch.size()});
        }
    }
    take(axis.size());
    close();
    return stretches;
}

void refillGaps(Stretches& stretches, const std::vector<FilledGap>& filled)
{
    constexpr std::size_t beside = 8;
    for (std::size_t k = 0; k < filled.size(); ++k) {
        const FilledGap& gap = filled[k];
        std::vector<double>& samples = stretches[gap.stretch];
        const bool hasBefore = k > 0 && filled[k - 1].stretch == gap.stretch;
        const bool hasNext = k + 1 < filled.size() && filled[k + 1].stretch == gap.stretch;
        const std::size_t least = hasBefore ? filled[k - 1].end : 0;
        const std::size_t most = hasNext ? filled[k + 1].first : samples.size();
        const Mean before =
            meanOf(samples, gap.first - std::min(beside, gap.first - least), gap.first);
        const Mean after = meanOf(samples, gap.end, std::min(most, gap.end + beside));
        const double slope = (after.value - before.value) / (after.place - before.place);
        for (std::size_t i = gap.first; i < gap.end; ++i) {
            samples[i] = before.value + slope * (static_cast<double>(i) - before.place);
        }
    }
}

Histogram intervalHistogram(const std::vector<Nanoseconds>& times, const Timing& timing,
                            std::size_t bins)
{
    Histogram histogram;
    const double reach = std::max(5.0 * timing.jitterSeconds, 1e-3 * timing.periodSeconds);
    histogram.first = std::max(0.0, timing.periodSeconds - reach);
    histogram.width = (timing.periodSeconds + reach - histogram.first) / static_cast<double>(bins);
    histogram.counts.assign(bins, 0);
    for (std::size_t row = 1; row < times.size(); ++row) {
        const double place =
            (seconds(times[row] - times[row - 1]) - histogram.first) / histogram.width;
        const double bin = std::clamp(std::floor(place), 0.0, static_cast<double>(bins - 1));
        ++histogram.counts[static_cast<std::size_t>(bin)];
    }
    return histogram;
}

} // namespace analysis
