#include "charts/TimeScaleDraw.h"

#include <qwt_text.h>

#include <cmath>

namespace {
constexpr double secondsPerDay = 24.0 * 60.0 * 60.0;
}

TimeScaleDraw::TimeScaleDraw(const QTime& base) : baseTime(base) {}

QwtText TimeScaleDraw::label(double value) const
{
    // Whole days do not change the time of day. Without them the seconds of any clock fit into an
    // int.
    const int seconds = static_cast<int>(std::fmod(std::trunc(value), secondsPerDay));
    return QwtText(baseTime.addSecs(seconds).toString(Qt::TextDate), QwtText::PlainText);
}
