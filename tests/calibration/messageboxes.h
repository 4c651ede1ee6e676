/// @file
/// Answers the message boxes of a program under test and records their appearance.
#pragma once

#include <QFont>
#include <QMessageBox>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVector>

#include <functional>

/// The appearance of an open message box.
struct SeenBox
{
    QString title;
    QString text;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QStringList buttons;      ///< in the order in which they were added
    QStringList leftToRight;  ///< the same as the user sees them
    QStringList buttonSheets; ///< style sheets of the buttons
    QVector<QFont> buttonFonts;
    QVector<QMessageBox::ButtonRole> buttonRoles;
    QString sheet;
    QFont font;
    bool hadParent = false;
    QString pressed; ///< the button that answered it
};

/// Presses the buttons of the message boxes that open, in the order of expect(). A box without an
/// expectation is answered by its last button and counts as unexpected.
class MessageBoxes : public QObject
{
    Q_OBJECT

public:
    MessageBoxes();

    /// The next box is answered by the button of this text; before that whileOpen is called.
    void expect(const QString& button, std::function<void()> whileOpen = nullptr);

    QVector<SeenBox> seen;
    int unexpected = 0; ///< boxes without an expectation, or without the button wanted
    int open() const { return m_expected.size(); } ///< expectations without a box

private:
    struct Expectation
    {
        QString button;
        std::function<void()> whileOpen;
    };

    void look();

    QTimer m_timer;
    QVector<Expectation> m_expected;
    bool m_busy = false;
};
