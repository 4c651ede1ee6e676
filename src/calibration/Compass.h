/// @file
/// The heading dial of the calibration dialog.
#pragma once

#include <qwt_compass.h>

/// A compass in one of two styles. Mouse, wheel and keys do not turn it. Interface thread only.
class Compass : public QwtCompass
{
    Q_OBJECT

public:
    /// Dark blue, at 0 degrees.
    explicit Compass(QWidget* parent = nullptr);

    /// Sets the style of the uncalibrated heading (dark red) or of the calibrated one (dark blue),
    /// and 0 degrees. May be called again; the dial owns and replaces its scale and needle.
    void setRaw(bool raw);

    /// Turns the dial to @p heading, in degrees clockwise from north, of any number of turns.
    /// setValue() would limit it to 0 to 360.
    void setHeading(double heading);
};
