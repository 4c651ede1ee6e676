#include "camera/fps_counter.h"

Interval::~Interval() = default;

double Interval::milliseconds(std::chrono::system_clock::time_point now) const
{
    const auto passed = std::chrono::duration_cast<std::chrono::nanoseconds>(now - start);
    return static_cast<double>(passed.count()) / 1e9 * 1000.0;
}

void countFrame(FpsCounter& counter, std::chrono::system_clock::time_point now)
{
    ++counter.frames;
    if (counter.interval.milliseconds(now) > 1000.0) {
        counter.framesPerSecond = counter.frames;
        counter.frames = 0;
        counter.interval.start = now;
    }
}
