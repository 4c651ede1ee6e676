/// @file
/// The parts of judge(): each adds the verdicts of one subject.
#pragma once

#include "report/verdicts.h"

#include <string>
#include <vector>

namespace report {

/// Rate, missing samples, gaps and evenness of the rows, and rows that can't be used.
void judgeTiming(const RecordingReport& report, std::vector<Verdict>& verdicts);

/// Accelerometer and gyroscope: rest, gravity, health, noise and vibration.
void judgeInertial(const RecordingReport& report, std::vector<Verdict>& verdicts);

void judgeMagnetometer(const RecordingReport& report, std::vector<Verdict>& verdicts);
void judgeTemperature(const RecordingReport& report, std::vector<Verdict>& verdicts);

/// Adds nothing if the six positions are not requested.
void judgeSixPositions(const RecordingReport& report, std::vector<Verdict>& verdicts);

/// Rate of the sensor's samples in a decimated file, Hz: from their numbers, or from the options if
/// the numbers do not show it.
double sensorRateOf(const RecordingReport& report);

/// Highest factor by which noise densities of a decimated file are too high.
double densityFactorOf(const RecordingReport& report);

/// Missing samples as a share of all that should be there.
double missingShareOf(const RecordingReport& report);

/// With a capital letter and a full stop.
std::string sentence(const std::string& reason);

/// PASSED up to `good`, WARNED up to `usual`, FAILED above.
STATE within(double value, double good, double usual);

} // namespace report
