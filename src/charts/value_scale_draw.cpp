#include "charts/value_scale_draw.h"

#include <QLocale>

#include <qwt_text.h>

QwtText ValueScaleDraw::label(double value) const
{
    QLocale locale;
    locale.setNumberOptions(locale.numberOptions() | QLocale::OmitGroupSeparator);
    // A tick computed as almost 0 is 0.
    return QwtText(locale.toString(qFuzzyCompare(value + 1.0, 1.0) ? 0.0 : value));
}
