/// @file
/// Fast painting of a line edit's text.
#pragma once

#include <QAccessible>
#include <QFont>
#include <QHash>
#include <QObject>
#include <QPointF>
#include <QString>
#include <QVector>

#include <memory>

class QLineEdit;
class QTextLayout;

/// The text of a read-only QLineEdit that changes many times a second.
///
/// QLineEdit lays out every text, which without Qt's cache of glyphs (QT_NO_FT_CACHE) loads
/// every glyph from the font file. This class keeps the layouts of single digits and of what is
/// between them, and paints the text itself. The picture is the same.
///
/// Meanwhile the box has QLineEdit::NoEcho, so that it lays out nothing; its text() is always the
/// one that is shown. It is an ordinary box with QLineEdit::Normal while it has the focus or a
/// selection, while assistive programs are active, and for a text from elsewhere, one that does not
/// fit, one that runs from right to left, and one whose glyphs depend on more than the next
/// character.
///
/// Interface thread only.
class LiveText : public QObject, private QAccessible::ActivationObserver
{
public:
    /// The object is a child of the box.
    explicit LiveText(QLineEdit* box);
    ~LiveText() override;

    /// Sets the text of the box.
    void show(const QString& text);

protected:
    bool eventFilter(QObject* box, QEvent* event) override;

private:
    /// A digit, or the characters between two digits.
    struct Piece
    {
        std::shared_ptr<const QTextLayout> layout; // null: cannot be used
        double advance = 0.0;                      // to the next piece
    };
    struct Placed
    {
        std::shared_ptr<const QTextLayout> layout;
        QPointF position;
    };

    void accessibilityActiveChanged(bool active) override;
    bool layOut(const QString& text);
    const Piece& piece(const QString& text, int end);
    Piece measured(const QString& text, int end) const;
    void makeOrdinary();
    void paint();

    QLineEdit* m_box;
    bool m_isRead; // by assistive programs
    QFont m_font;  // m_pieces are those of this font and resolution
    int m_dpi = 0;
    QHash<QString, Piece> m_pieces; // by their characters and the one after them
    QString m_text;                 // the last one that was laid out
    QVector<Placed> m_placed;
};
