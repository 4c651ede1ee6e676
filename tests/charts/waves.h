/// @file
/// Signals for the tests and benchmarks of the time charts: always the same, from a fixed seed.
#pragma once

#include <QVector>

namespace waves {

enum class Shape { SineWithNoise, WhiteNoise, Steps, Spikes, Gaps, NotANumber, Constant };

/// Half the height of the value axis that the shapes fit in, spikes included.
constexpr double range = 15.0;

/// Time of the first sample, seconds: far from 0, as a clock of seconds since 1970 has it.
constexpr double startTime = 1706711000.25;

struct Series
{
    QVector<double> time; ///< seconds, ascending
    QVector<double> values;
};

/// `seconds` of samples at `rate` Hz, the times jittered by up to a tenth of their distance.
/// `channel` 0, 1, 2 gives different curves of the same shape.
Series make(Shape shape, double rate, double seconds, int channel);

/// Indices of the samples that Shape::Spikes raises above all others.
QVector<int> spikes(int sampleCount, int channel);

} // namespace waves
