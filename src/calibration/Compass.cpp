#include "calibration/Compass.h"

#include <QPalette>

#include <qwt_compass.h>
#include <qwt_dial_needle.h>

#include <cmath>

Compass::Compass(QWidget* parent) : QwtCompass(parent)
{
    setRaw(false);
    // It shows a heading and accepts no input. A dial with the focus would take the dialog's keys.
    setReadOnly(true);
    setFocusPolicy(Qt::NoFocus);
}

void Compass::setRaw(bool raw)
{
    const QColor face(raw ? Qt::darkRed : Qt::darkBlue);

    // Only roles that get a colour below are set on the widget; the others stay invalid.
    QPalette work;
    for (int role = 0; role < QPalette::NColorRoles; ++role) {
        work.setColor(QPalette::All, static_cast<QPalette::ColorRole>(role), QColor());
    }

    work.setColor(QPalette::All, QPalette::Base, palette().color(backgroundRole()).lighter(120));
    work.setColor(QPalette::All, QPalette::WindowText, work.color(QPalette::Base));

    setLineWidth(4);
    setFrameShadow(QwtDial::Sunken);

    work.setColor(QPalette::All, QPalette::Base, face);
    work.setColor(QPalette::All, QPalette::WindowText, face.darker(120));
    work.setColor(QPalette::All, QPalette::Text, Qt::white);

    auto* const scale = new QwtCompassScaleDraw();
    scale->enableComponent(QwtAbstractScaleDraw::Ticks, true);
    scale->enableComponent(QwtAbstractScaleDraw::Labels, true);
    scale->enableComponent(QwtAbstractScaleDraw::Backbone, false);
    scale->setTickLength(QwtScaleDiv::MinorTick, 1.0);
    scale->setTickLength(QwtScaleDiv::MediumTick, 1.0);
    scale->setTickLength(QwtScaleDiv::MajorTick, 3.0);
    setScaleDraw(scale);
    setScaleMaxMajor(36);
    setScaleMaxMinor(5);

    setNeedle(
        new QwtCompassMagnetNeedle(QwtCompassMagnetNeedle::TriangleStyle, Qt::white, Qt::red));

    setValue(0.0);

    QPalette look = palette();
    for (int i = 0; i < QPalette::NColorRoles; ++i) {
        const auto role = static_cast<QPalette::ColorRole>(i);
        if (work.color(role).isValid()) {
            look.setColor(QPalette::All, role, work.color(role));
        }
    }
    for (int i = 0; i < QPalette::NColorGroups; ++i) {
        const auto group = static_cast<QPalette::ColorGroup>(i);
        const QColor base = look.color(group, QPalette::Base);
        look.setColor(group, QPalette::Dark, base.darker(170));
        look.setColor(group, QPalette::Light, base.lighter(170));
        look.setColor(group, QPalette::Mid,
                      frameShadow() == QwtDial::Raised ? base.darker(110) : base.lighter(110));
    }
    setPalette(look);
}

void Compass::setHeading(double heading)
{
    constexpr double turn = 360.0;
    if (heading < 0.0 || heading > turn) {
        heading = std::fmod(heading, turn);
        if (heading < 0.0) {
            heading += turn;
        }
    }
    setValue(heading);
}
