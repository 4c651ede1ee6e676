#include "analysis/spectrum.h"

#include "analysis/arithmetic.h"

#include <unsupported/Eigen/FFT>

#include <algorithm>
#include <cmath>
#include <complex>

namespace analysis {

namespace {

constexpr std::size_t leastSegment = 8;
/// Number of bins on either side of a line that are used as the noise around it, and number of bins
/// that the line itself may occupy under the window.
constexpr std::size_t neighbours = 40;
constexpr std::size_t lineReach = 3;
constexpr double lowestLineHz = 1.0;
constexpr double lineFactor = 30.0;        // of a line over the noise around it
constexpr std::size_t longestBlock = 8192; // in which a line is removed as one sine

/// Subtracts the sine of that angle per sample that fits the samples best.
void subtractSine(double* samples, std::size_t count, double angle)
{
    constexpr double leastPeriods = 4.0;
    if (!(static_cast<double>(count) * angle > leastPeriods * 2.0 * pi)) {
        return;
    }
    double mean = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        mean += samples[i];
    }
    mean /= static_cast<double>(count);
    const std::complex<double> turn = std::polar(1.0, angle);
    std::complex<double> basis(1.0, 0.0);
    double xc = 0.0;
    double xs = 0.0;
    double cc = 0.0;
    double cs = 0.0;
    double ss = 0.0;
    for (std::size_t i = 0; i < count; ++i, basis *= turn) {
        const double x = samples[i] - mean;
        xc += x * basis.real();
        xs += x * basis.imag();
        cc += basis.real() * basis.real();
        cs += basis.real() * basis.imag();
        ss += basis.imag() * basis.imag();
    }
    const double determinant = cc * ss - cs * cs;
    if (!(determinant > 0.0)) {
        return;
    }
    const double cosine = (xc * ss - xs * cs) / determinant;
    const double sine = (xs * cc - xc * cs) / determinant;
    basis = {1.0, 0.0};
    for (std::size_t i = 0; i < count; ++i, basis *= turn) {
        samples[i] -= cosine * basis.real() + sine * basis.imag();
    }
}

} // namespace

Spectrum welch(const Stretches& stretches, double rateHz, std::size_t segment)
{
    Spectrum spectrum;
    std::size_t longest = 0;
    for (const std::vector<double>& stretch : stretches) {
        longest = std::max(longest, stretch.size());
    }
    while (segment > longest) {
        segment /= 2;
    }
    if (segment < leastSegment) {
        return spectrum;
    }

    std::vector<double> window(segment);
    double windowPower = 0.0;
    for (std::size_t i = 0; i < segment; ++i) {
        const double s = std::sin(pi * static_cast<double>(i) / static_cast<double>(segment));
        window[i] = s * s;
        windowPower += window[i] * window[i];
    }

    Eigen::FFT<double> fft;
    fft.SetFlag(Eigen::FFT<double>::HalfSpectrum);
    std::vector<double> samples(segment);
    std::vector<std::complex<double>> transform;
    const std::size_t bins = segment / 2 + 1;
    spectrum.density.assign(bins, 0.0);
    for (const std::vector<double>& stretch : stretches) {
        for (std::size_t begin = 0; begin + segment <= stretch.size(); begin += segment / 2) {
            double mean = 0.0;
            for (std::size_t i = 0; i < segment; ++i) {
                mean += stretch[begin + i];
            }
            mean /= static_cast<double>(segment);
            for (std::size_t i = 0; i < segment; ++i) {
                samples[i] = (stretch[begin + i] - mean) * window[i];
            }
            fft.fwd(transform, samples);
            for (std::size_t i = 0; i < bins; ++i) {
                spectrum.density[i] += std::norm(transform[i]);
            }
            ++spectrum.averages;
        }
    }
    spectrum.resolutionHz = rateHz / static_cast<double>(segment);
    for (std::size_t i = 0; i < bins; ++i) {
        // Negative frequencies have the same density, except for zero and the highest one.
        const double sides = i == 0 || i + 1 == bins ? 1.0 : 2.0;
        spectrum.density[i] *=
            sides / (rateHz * windowPower * static_cast<double>(spectrum.averages));
    }
    return spectrum;
}

std::vector<SpectralLine> spectralLines(const Spectrum& spectrum)
{
    std::vector<SpectralLine> lines;
    const std::vector<double>& density = spectrum.density;
    if (density.size() < 2 * lineReach + 2) {
        return lines;
    }
    const auto lowest = static_cast<std::size_t>(
        std::max(std::ceil(lowestLineHz / spectrum.resolutionHz), double{lineReach + 1}));
    std::vector<double> around;
    for (std::size_t i = lowest; i + 1 < density.size(); ++i) {
        if (density[i] < density[i - 1] || density[i] <= density[i + 1]) {
            continue;
        }
        around.clear();
        for (std::size_t k = i > neighbours ? i - neighbours : 1;
             k < std::min(density.size() - 1, i + neighbours + 1); ++k) {
            if (k + lineReach < i || k > i + lineReach) {
                around.push_back(density[k]);
            }
        }
        if (around.empty()) {
            continue;
        }
        const auto middle = around.begin() + static_cast<std::ptrdiff_t>(around.size() / 2);
        std::nth_element(around.begin(), middle, around.end());
        const double noise = *middle;
        if (!(density[i] > lineFactor * noise)) {
            continue;
        }
        // Under a Hann window the ratio of the line's two largest bins determines its position
        // between them.
        const bool upward = density[i + 1] > density[i - 1];
        const double ratio =
            std::sqrt(std::max(upward ? density[i + 1] : density[i - 1], 0.0) / density[i]);
        const double offset = (2.0 * ratio - 1.0) / (ratio + 1.0);
        double power = 0.0;
        for (std::size_t k = i - lineReach; k <= std::min(i + lineReach, density.size() - 1); ++k) {
            power += std::max(density[k] - noise, 0.0);
        }
        SpectralLine line;
        line.frequencyHz =
            (static_cast<double>(i) + (upward ? offset : -offset)) * spectrum.resolutionHz;
        line.amplitude = std::sqrt(2.0 * power * spectrum.resolutionHz);
        // The noise changes the ratio by its share of the peak.
        const double error =
            spectrum.resolutionHz *
            std::max(0.01, std::sqrt(noise / density[i] / static_cast<double>(spectrum.averages)));
        line.low = line.frequencyHz - error;
        line.high = line.frequencyHz + error;
        lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end(), [](const SpectralLine& a, const SpectralLine& b) {
        return a.amplitude > b.amplitude;
    });
    return lines;
}

void removeLines(Stretches& stretches, double rateHz, const std::vector<SpectralLine>& lines)
{
    for (std::vector<double>& stretch : stretches) {
        // Equal blocks: a short last one could have too few periods.
        const std::size_t blocks = stretch.size() / longestBlock + 1;
        for (std::size_t i = 0; i < blocks; ++i) {
            const std::size_t begin = i * stretch.size() / blocks;
            const std::size_t count = (i + 1) * stretch.size() / blocks - begin;
            for (const SpectralLine& line : lines) {
                subtractSine(stretch.data() + begin, count, 2.0 * pi * line.frequencyHz / rateHz);
            }
        }
    }
}

} // namespace analysis
