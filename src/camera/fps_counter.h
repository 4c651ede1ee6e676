/// @file
/// Frames per second, counted over spans of slightly more than a second.
#pragma once

#include <chrono>

/// The time since a start.
class Interval
{
public:
    Interval() = default; ///< starts now
    Interval(const Interval&) = default;
    Interval& operator=(const Interval&) = default;
    virtual ~Interval();

    /// ms from the start to the moment given, (ns / 1e9) * 1000.
    double milliseconds(std::chrono::system_clock::time_point now) const;

    std::chrono::system_clock::time_point start = std::chrono::system_clock::now();
};

struct FpsCounter
{
    unsigned int framesPerSecond = 0; ///< frames of the last complete span; 0 during the first
    unsigned int frames = 0;          ///< frames of the running span
    Interval interval;                ///< the running span
};

/// Counts one frame at the moment given. A frame more than 1000 ms after the start of the span ends
/// it: the count, this frame included, becomes the rate, and the next span starts now.
void countFrame(FpsCounter& counter, std::chrono::system_clock::time_point now);
