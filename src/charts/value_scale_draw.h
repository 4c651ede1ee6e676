/// @file
/// The labels of the value axis.
#pragma once

#include <qwt_scale_draw.h>

/// Labels a value axis without group separators: "1.000" for a thousand, as some languages write
/// it, would read as one beside values whose decimal separator is a point. For the
/// interface thread.
class ValueScaleDraw : public QwtScaleDraw
{
public:
    QwtText label(double value) const override;
};
