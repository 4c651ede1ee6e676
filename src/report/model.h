/// @file
/// What a report says about a recording: all numbers, and the verdicts over them. Plain data
/// without Qt; what writes pages and files takes it from here. No value in it is infinite or not a
/// number.
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
    double sensorRateHz = 400.0;                ///< what the IMU gives by its data sheet
    double gravity = analysis::standardGravity; ///< m/s^2, at the place of the recording
    bool sixPositions = false;                  ///< look for the six rests too
};

enum class STATE {
    PASSED,
    WARNED, ///< to be known, but no reason to send the sensor back
    FAILED,
    UNKNOWN, ///< the recording does not say
};

/// One line of the table at the top of the report. All texts are plain, without markup.
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

/// Of the three axes of a sensor, in their order everywhere.
constexpr std::array<const char*, 3> axisNames{"x", "y", "z"};

/// One axis of accelerometer or gyroscope, in m/s^2 or degrees per second.
struct AxisReport
{
    /// Without lines of the spectrum, spikes, and what follows the temperature.
    analysis::AxisNoise noise;
    /// Of the samples as they are; empty where nothing was taken out of them.
    std::vector<analysis::AllanPoint> allanAsRecorded;
    analysis::Spectrum spectrum;
    std::vector<analysis::SpectralLine> lines;
    Envelope envelope; ///< of the whole recording
    double mean = 0.0; ///< of the rest
    double deviation = 0.0;
    double minimum = 0.0; ///< of the whole recording
    double maximum = 0.0;
    double longestEqualSeconds = 0.0; ///< the value did not change for so long
    std::uint64_t saturated = 0;      ///< samples at the end of the range
    std::uint64_t spikes = 0;         ///< at rest: single samples far off their neighbours
    std::vector<Point> temperature;   ///< degrees Celsius, mean of the axis at rest
    /// Unit of the axis per degree Celsius, where the temperature changed enough to say.
    std::optional<double> temperatureSlope;
};

struct InertialReport
{
    std::array<AxisReport, 3> axes;
};

/// The part of the recording over which noise is judged: the longest one without motion.
struct RestReport
{
    std::size_t first = 0; ///< row
    std::size_t end = 0;   ///< one behind the last row
    double startSeconds = 0.0;
    double seconds = 0.0;
    bool whole = false; ///< all of the recording
};

struct GravityReport
{
    double mean = 0.0;      ///< m/s^2, length of the mean acceleration at rest
    double deviation = 0.0; ///< m/s^2, of one sample's length
    Envelope envelope;      ///< of the length over means of a second, of the rest
};

/// The magnetometer's readings under the fits.
struct MagnetometerPart
{
    std::size_t samples = 0;
    double rateHz = 0.0;
    std::optional<analysis::MagnetometerReport> fit;
    std::string reason; ///< where there is no fit
    /// Some of the readings, at most 1000, evenly over the recording; uT.
    Eigen::Matrix3Xd before;
    Eigen::Matrix3Xd after;       ///< the same under the aligned fit; empty where there is none
    std::vector<Point> residuals; ///< seconds, uT
};

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

    bool hasImu = false;     ///< else the timing is that of the magnetometer
    analysis::Timing timing; ///< its gaps are cut to the first 1000; gapCount counts them all
    std::size_t gapCount = 0;
    bool decimated = false; ///< rows are fewer than the samples that the sensor gave
    double longestGapSeconds = 0.0;
    analysis::Histogram intervals;
    Envelope intervalEnvelope; ///< ms, distance to the row before
    Envelope drift;            ///< ms, time stamps less those of an even rate
    std::vector<Point>
        gapSpans; ///< seconds, start and end of gaps, joined where a chart can't part them

    std::optional<RestReport> rest; ///< none without accelerometer and gyroscope, or without a rest
    std::string restReason;
    std::optional<InertialReport> accelerometer;
    std::optional<InertialReport> gyroscope; ///< degrees per second
    std::optional<GravityReport> gravity;
    std::optional<MagnetometerPart> magnetometer;
    std::optional<TemperatureReport> temperatures;

    std::optional<analysis::SixPositions> sixPositions;
    std::string sixPositionsReason; ///< if they were requested but not found
    Envelope accelerationLength;    ///< m/s^2, with the six positions only

    /// One sentence that has to stand above everything else; empty where there is none.
    std::string warning;
    std::vector<Verdict> verdicts;

    /// The worst of the verdicts; UNKNOWN only where all are.
    STATE overall() const;
};

/// Analyses a recording of at least two rows.
RecordingReport analyse(const analysis::Recording& recording, const Options& options);

} // namespace report
