/// @file
/// The heading dial of the calibration dialog.
#pragma once

#include <qwt_compass.h>

/// A compass in one of two styles; setValue() sets it in degrees clockwise from north, in any
/// range. Mouse, wheel and keys do not turn it. Interface thread only.
class Compass : public QwtCompass
{
    Q_OBJECT

public:
    /// Dark blue, at 0 degrees.
    explicit Compass(QWidget* parent = nullptr);

    /// Sets the style of the uncalibrated heading (dark red) or of the calibrated one (dark blue),
    /// and 0 degrees. May be called again; the dial owns and replaces its scale and needle.
    void setRaw(bool raw);
};
