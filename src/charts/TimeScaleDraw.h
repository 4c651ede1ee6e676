/// @file
/// The labels of the time axis.
#pragma once

#include <QTime>

#include <qwt_scale_draw.h>

/// Labels a time axis in seconds with the time of day, "hh:mm:ss". For the interface thread.
class TimeScaleDraw : public QwtScaleDraw
{
public:
    /// base is the time of day at value 0.
    explicit TimeScaleDraw(const QTime& base);

    /// The time of day `value` seconds after the base, without the fraction. Wraps at midnight in
    /// both directions.
    QwtText label(double value) const override;

private:
    QTime baseTime;
};
