/// @file
/// The colours of the program.
#pragma once

#include <QColor>
#include <QString>

// Style builds the style sheets from the texts; palettes and painters use the QColor values. Each
// translation unit has its own constants, so that they are initialised
// before any static object of the same unit uses them.
namespace clr {

// The colour in the form of a style sheet, "rgb(r,g,b)" in decimal, without alpha.
inline QString toStr(const QColor& c)
{
    return "rgb(" + QString::number(c.red()) + "," + QString::number(c.green()) + "," +
           QString::number(c.blue()) + ")";
}

const QColor blue_clr(0, 190, 255);
const QColor green_clr(48, 214, 149);
const QColor dark(58, 58, 58);
const QColor soft_black_clr(72, 72, 72);
const QColor med_black_clr(130, 130, 130);
const QColor grey_clr(210, 210, 210);
const QColor om_black_clr(5, 5, 5);
const QColor om_soil_clr(25, 25, 25);

// An entry that copies another one must follow it: the order is the order of initialisation.
const QString asphalt = "rgb(52,73,94)";
const QString concrete = "rgb(149,165,166)";
const QString silver = "rgb(189,195,199)";
const QString clouds = "rgb(236,240,241)";
const QString blue = toStr(blue_clr);
const QString blue_h = "rgb(00,149,243)";
const QString blue_light = "rgba(44,201,255,123)";
const QString green = toStr(green_clr);
const QString green_h = "rgb(38,171,119)";
const QString red = "rgb(255,87,87)";
const QString red_h = "rgb(204,70,70)";
const QString xAxis = red;
const QString yAxis = green;
const QString zAxis = blue;
const QString singleAxis = "rgb(255,87,48)";
const QString white = "rgb(255,255,255)";
const QString transparent = "rgba(255,255,255,0)";
const QString black = toStr(dark);
const QString soft_black = toStr(soft_black_clr);
const QString med_black = toStr(med_black_clr);
const QString grey = toStr(grey_clr);
const QString lightgrey = "rgb(235,235,235)";
const QString yellow = "rgb(255, 205, 0)";
const QString om_lime = "rgb(217,255,66)";
const QString om_dark_lime = "rgb(187,225,36)";
const QString om_white = "rgb(255,255,255)";
const QString om_pearl = "rgb(242,242,242)";
const QString om_iron = "rgb(194,194,194)";
const QString om_ash = "rgb(137,137,137)";
const QString om_charcoal = "rgb(60,60,60)";
const QString om_steel = "rgb(45,45,45)";
const QString om_soil = "rgb(25,25,25)";
const QString om_black = "rgb(5,5,5)";
const QString om_demo_red = "rgb(255,100,100)";
const QString company_clr = om_lime;
const QString company_clr_h = om_dark_lime;

} // namespace clr
