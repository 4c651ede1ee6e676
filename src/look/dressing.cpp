#include "look/dressing.h"

#include "look/Style.h"
#include "look/clr.h"

#include <QBrush>
#include <QLabel>
#include <QMessageBox>
#include <QPalette>
#include <QPixmap>
#include <QPushButton>

namespace dressing {

void showLogo(QLabel& label)
{
    const qreal ratio = label.devicePixelRatioF();
    const QPixmap image(QStringLiteral(":/images/TIV_white.png"));
    QPixmap logo = image.scaledToHeight(qRound(label.height() * ratio), Qt::SmoothTransformation);
    logo.setDevicePixelRatio(ratio);
    label.setPixmap(logo);
}

void fillBackground(QWidget& widget)
{
    QPalette colours = widget.palette();
    colours.setBrush(QPalette::All, QPalette::Window, QBrush(clr::om_soil_clr));
    widget.setAutoFillBackground(true);
    widget.setPalette(colours);
}

void dress(QWidget* widget, const QString& sheet, const QFont& font)
{
    widget->setStyleSheet(sheet);
    widget->setFont(font);
}

QFont largeButtonFont(const Style& style)
{
    QFont font = style.fontPro9;
    font.setPointSize(12);
    return font;
}

void dressBox(QMessageBox& box, const Style& style)
{
    dress(&box, style.splashStyle, style.fontPro9);
}

QPushButton* addButton(QMessageBox& box, const QString& text, const QString& sheet,
                       const Style& style)
{
    QPushButton* const button = box.addButton(text, QMessageBox::AcceptRole);
    dress(button, sheet, style.fontPro9);
    return button;
}

} // namespace dressing
