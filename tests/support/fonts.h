/// @file
/// Comparing the fonts of widgets.
#pragma once

#include <QFont>
#include <QString>
#include <QWidget>

namespace fonts {

/// The font that was set on the widget, without the effect of its style sheet.
inline QFont ownFont(QWidget& widget)
{
    const QString sheet = widget.styleSheet();
    widget.setStyleSheet(QString());
    const QFont font = widget.font();
    widget.setStyleSheet(sheet);
    return font;
}

/// The requested properties of a font.
inline QString fontText(const QFont& font)
{
    return QStringLiteral("%1 capitals %2 spacing %3 %4 %5 kerning %6")
        .arg(font.toString())
        .arg(font.capitalization())
        .arg(font.letterSpacingType())
        .arg(font.letterSpacing())
        .arg(font.wordSpacing())
        .arg(font.kerning());
}

} // namespace fonts
