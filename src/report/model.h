/// @file
/// The content of a report: all numbers of a recording, and the verdicts on them. Plain data
/// without Qt, from which pages and files are written. All values are finite numbers.
#pragma once

#include "analysis/magnetometer.h"
#include "analysis/noise_model.h"
#include "analysis/recording.h"
#include "analysis/six_positions.h"
#include "analysis/spectrum.h"
#include "analysis/timing.h"

#include <Eigen/Core>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace report {

struct Options
{
    double sensorRateHz = 400.0;                ///< rate of the IMU by its data sheet
    double gravity = analysis::standardGravity; ///< m/s^2, at the place of the recording
    bool sixPositions = false;                  ///< also look for the six rests
};

enum class STATE {
    PASSED,
    WARNED, ///< worth knowing, but no reason to return the sensor
    FAILED,
    UNKNOWN, ///< the recording does not show it
};

/// One row of the table at the top of the report. All texts are without markup.
struct Verdict
{
    std::string id;   ///< stable, for programs
    std::string what; ///< what is judged
    STATE state = STATE::UNKNOWN;
    std::string value; ///< with unit
    std::string limit; ///< with unit
    std::string why;   ///< one sentence
};

/// Lowest and highest values of equal parts of the time, for a chart. A part without a sample is
/// left out.
struct Envelope
{
    std::vector<double> seconds; ///< middle of the part, since the first sample
    std::vector<double> lowest;
    std::vector<double> highest;
};

struct Point
{
    double x = 0.0;
    double y = 0.0;
};

/// Names of the axes of a sensor, in the order of every array of axes.
constexpr std::array<const char*, 3> axisNames{"x", "y", "z"};

/// Minimum number of points for a slope against the temperature.
constexpr std::size_t leastSlopePoints = 3;

/// One axis of accelerometer or gyroscope, in m/s^2 or degrees per second.
struct AxisReport
{
    /// Without lines of the spectrum, spikes, and what follows the temperature.
    analysis::AxisNoise noise;
    /// Of the samples as recorded; empty if nothing was removed from them.
    std::vector<analysis::AllanPoint> allanAsRecorded;
    analysis::Spectrum spectrum;
    std::vector<analysis::SpectralLine> lines;
    Envelope envelope;      ///< of the whole recording
    double mean = 0.0;      ///< of the rest; of the whole recording without one
    double deviation = 0.0; ///< standard deviation, likewise
    double minimum = 0.0;   ///< of the whole recording
    double maximum = 0.0;
    double longestEqualSeconds = 0.0; ///< longest time without a change of the value
    std::uint64_t saturated = 0;      ///< number of samples at the end of the range
    std::uint64_t spikes = 0;         ///< at rest: number of samples in spikes
    std::vector<Point> temperature;   ///< degrees Celsius, mean of the axis at rest
    /// Unit of the axis per degree Celsius; none if there are fewer than leastSlopePoints or the
    /// temperature did not change enough.
    std::optional<double> temperatureSlope;
};

struct InertialReport
{
    std::array<AxisReport, 3> axes;
};

/// The part of the recording in which noise is judged: the longest one without motion.
struct RestReport
{
    std::size_t first = 0;     ///< row
    std::size_t end = 0;       ///< one after the last row
    double startSeconds = 0.0; ///< since the first row
    double seconds = 0.0;      ///< duration
    bool whole = false;        ///< the rest is the whole recording
};

struct GravityReport
{
    double mean = 0.0;      ///< m/s^2, length of the mean acceleration at rest
    double deviation = 0.0; ///< m/s^2, of one sample's length
    Envelope envelope;      ///< length of means over a second or more, during the rest
};

/// The magnetometer's readings under the fits.
struct MagnetometerPart
{
    std::size_t samples = 0;
    double rateHz = 0.0;
    std::optional<analysis::MagnetometerReport> fit;
    std::string reason; ///< why there is no fit
    /// Some of the readings, at most 1000, evenly over the recording; uT.
    Eigen::Matrix3Xd before;
    Eigen::Matrix3Xd after;       ///< the same, corrected by the aligned fit; empty without a fit
    std::vector<Point> residuals; ///< seconds, uT
};

/// Degrees Celsius.
struct TemperatureReport
{
    std::array<Envelope, 4> envelopes; ///< left, right, IMU, barometer
    std::array<double, 4> minimum{};
    std::array<double, 4> maximum{};
};

/// Everything about one file.
struct RecordingReport
{
    std::string path;
    std::string model;
    std::string serial;
    analysis::ReadReport read;
    Options options;

    bool hasImu = false;     ///< if false, the timing is that of the magnetometer
    analysis::Timing timing; ///< it lists the first 1000 gaps; gapCount counts all of them
    std::size_t gapCount = 0;
    /// By the numbers of the samples (timing.numbersSkip), or because the rows come at less than
    /// 0.9 of options.sensorRateHz.
    bool decimated = false;
    double longestGapSeconds = 0.0;
    analysis::Histogram intervals;
    Envelope intervalEnvelope; ///< ms, interval from the previous row
    Envelope drift;            ///< ms, time stamps minus those of an even rate
    std::vector<Point>
        gapSpans; ///< seconds, start and end of gaps; gaps that a chart can't separate are joined

    std::optional<RestReport> rest; ///< none without inertial sensors or without a rest
    std::string restReason;
    std::optional<InertialReport> accelerometer;
    std::optional<InertialReport> gyroscope; ///< degrees per second
    std::optional<GravityReport> gravity;
    std::optional<MagnetometerPart> magnetometer;
    std::optional<TemperatureReport> temperatures;

    std::optional<analysis::SixPositions> sixPositions;
    std::string sixPositionsReason; ///< if they were requested but not found
    Envelope accelerationLength;    ///< m/s^2, only with the six positions

    /// One sentence for the top of the report; empty if there is no warning.
    std::string warning;
    std::vector<Verdict> verdicts;

    /// The worst of the verdicts; UNKNOWN only if all are.
    STATE overall() const;
};

/// Analyses a recording of at least two rows.
RecordingReport analyse(const analysis::Recording& recording, const Options& options);

} // namespace report
