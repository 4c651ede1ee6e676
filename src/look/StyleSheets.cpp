#include "look/Style.h"

#include "look/clr.h"

#include <QHash>

// The sheets themselves. A palette name in braces stands for the colour's text; all other braces
// belong to the sheet.
namespace {

const QHash<QString, QString>& palette()
{
    static const QHash<QString, QString> entries = {
        {"company_clr", clr::company_clr},
        {"company_clr_h", clr::company_clr_h},
        {"black", clr::black},
        {"concrete", clr::concrete},
        {"om_ash", clr::om_ash},
        {"om_black", clr::om_black},
        {"om_charcoal", clr::om_charcoal},
        {"om_iron", clr::om_iron},
        {"om_pearl", clr::om_pearl},
        {"om_soil", clr::om_soil},
        {"om_steel", clr::om_steel},
        {"singleAxis", clr::singleAxis},
        {"transparent", clr::transparent},
        {"white", clr::white},
        {"xAxis", clr::xAxis},
        {"yAxis", clr::yAxis},
        {"zAxis", clr::zAxis},
    };
    return entries;
}

QString sheet(const QString& text)
{
    QString filled;
    filled.reserve(text.size() * 2);
    int from = 0;
    for (int open = text.indexOf('{'); open >= 0; open = text.indexOf('{', open + 1)) {
        const int close = text.indexOf('}', open);
        const auto colour = palette().constFind(text.mid(open + 1, close - open - 1));
        if (colour == palette().constEnd()) {
            continue;
        }
        filled += text.mid(from, open - from) + colour.value();
        from = close + 1;
    }
    return filled + text.mid(from);
}

QString axisEdit(const QString& axis)
{
    return sheet("border:0px;border-radius: 0px;color:{" + axis +
                 "};background-color:{om_soil};selection-color:{" + axis +
                 "};selection-background-color:{om_soil}");
}

} // namespace

void Style::makeControlStyles()
{
    windowBlackStyle = sheet("QWidget{background-color : {om_black};color : {om_pearl};}");
    windowSoilStyle = sheet("QWidget{background-color : {om_soil};color : {om_pearl};}");
}

void Style::makeImageButtonStyles()
{
    gearStyle = sheet("QToolButton{border:0px solid;color:{white};image:url(:/images/gear.png);}"
                      "QToolButton:hover{image:url(:/images/gear_h.png);}"
                      "QToolButton:disabled{image:url(:/images/gear_off.png);}");
}

void Style::makePanelStyles()
{
    xAxisEditStyle = axisEdit("xAxis");
    yAxisEditStyle = axisEdit("yAxis");
    zAxisEditStyle = axisEdit("zAxis");
    singleAxisEditStyle = axisEdit("singleAxis");
}
