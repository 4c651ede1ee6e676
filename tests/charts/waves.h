/// @file
/// Signals for the tests and benchmarks of the time charts: always the same, from a fixed seed.
#pragma once

#include <QVector>

namespace waves {

enum class Shape { SineWithNoise, WhiteNoise, Steps, Spikes, Gaps, NotANumber, Constant };

/// Half the height of the value axis into which the shapes fit, spikes included.
constexpr double range = 15.0;

/// Time of the first sample, seconds: far from 0, as of a clock with seconds since 1970.
constexpr double startTime = 1706711000.25;

struct Series
{
    QVector<double> time; ///< seconds, ascending
    QVector<double> values;
};

/// `seconds` of samples at `rate` Hz, the times jittered by up to a tenth of their distance.
/// `channel` 0, 1, 2 selects different curves of the same shape.
Series make(Shape shape, double rate, double seconds, int channel);

/// Indices of the samples that Shape::Spikes raises above all others.
QVector<int> spikes(int sampleCount, int channel);

} // namespace waves
