/// @file
/// What all windows have in common: logo, background, fonts with sheets, and message boxes.
/// Interface thread.
#pragma once

class QFont;
class QLabel;
class QMessageBox;
class QPushButton;
class QString;
class QWidget;
class Style;

namespace dressing {

/// The product's logo, scaled to the label's height.
void showLogo(QLabel& label);

/// Fills the widget's background with the colour of all windows.
void fillBackground(QWidget& widget);

/// Sets the sheet, then the font.
void dress(QWidget* widget, const QString& sheet, const QFont& font);

/// The font of large buttons.
QFont largeButtonFont(const Style& style);

void dressBox(QMessageBox& box, const Style& style);

/// A button of a message box, in the accept role.
/// @return owned by the box
QPushButton* addButton(QMessageBox& box, const QString& text, const QString& sheet,
                       const Style& style);

} // namespace dressing
