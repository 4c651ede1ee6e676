#include "viewer/live_text.h"

#include <QEvent>
#include <QFontMetrics>
#include <QGlyphRun>
#include <QGuiApplication>
#include <QLineEdit>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionFrame>
#include <QTextLayout>

namespace {

constexpr int sideMargin = 2;  // pixels that QLineEdit keeps free beside its text
constexpr int capacity = 1000; // pieces

QRect contentsOf(const QLineEdit& box)
{
    QStyleOptionFrame panel;
    panel.initFrom(&box);
    panel.rect = box.contentsRect();
    panel.lineWidth =
        box.hasFrame() ? box.style()->pixelMetric(QStyle::PM_DefaultFrameWidth, &panel, &box) : 0;
    panel.state |= QStyle::State_Sunken | QStyle::State_ReadOnly;
    return box.style()
        ->subElementRect(QStyle::SE_LineEditContents, &panel, &box)
        .marginsRemoved(box.textMargins());
}

/// The end of the piece of the text that begins at `begin`.
int pieceEnd(const QString& text, int begin)
{
    int end = begin + 1;
    while (!text[begin].isDigit() && end < text.size() && !text[end].isDigit()) {
        ++end;
    }
    return end;
}

/// Lays out one line from left to right.
QTextLine lineOf(QTextLayout& layout)
{
    QTextOption option(Qt::AlignLeft);
    option.setTextDirection(Qt::LeftToRight);
    layout.setTextOption(option);
    layout.setCacheEnabled(true);
    layout.beginLayout();
    const QTextLine line = layout.createLine();
    layout.endLayout();
    return line;
}

/// The glyphs from left to right; empty if some run the other way.
QVector<quint32> glyphsOf(const QTextLayout& layout)
{
    QVector<quint32> glyphs;
    for (const QGlyphRun& run : layout.glyphRuns()) {
        if (run.isRightToLeft()) {
            return {};
        }
        glyphs += run.glyphIndexes();
    }
    return glyphs;
}

} // namespace

LiveText::LiveText(QLineEdit* box) : QObject(box), m_box(box), m_isRead(QAccessible::isActive())
{
    box->installEventFilter(this);
    connect(box, &QLineEdit::selectionChanged, this, [this] {
        if (m_box->hasSelectedText()) {
            makeOrdinary();
        }
    });
    connect(box, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (text != m_text) {
            makeOrdinary();
        }
    });
    // Another font may be found for the same request, whose glyphs have other numbers.
    connect(qGuiApp, &QGuiApplication::fontDatabaseChanged, this, [this] {
        makeOrdinary();
        m_pieces.clear();
    });
    QAccessible::installActivationObserver(this);
}

LiveText::~LiveText()
{
    QAccessible::removeActivationObserver(this);
}

void LiveText::show(const QString& text)
{
    const bool isNew = text != m_box->text();
    if (!m_isRead && !m_box->hasFocus() && layOut(text)) {
        m_box->setEchoMode(QLineEdit::NoEcho);
    } else {
        makeOrdinary();
    }
    m_box->setText(text);
    if (isNew) {
        m_box->update(); // QLineEdit does it only for a text that it lays out
    }
}

bool LiveText::eventFilter(QObject* box, QEvent* event)
{
    switch (event->type()) {
    case QEvent::FocusIn:
    case QEvent::FontChange:
    case QEvent::LayoutDirectionChange:
    case QEvent::Resize:
    case QEvent::StyleChange:
        makeOrdinary(); // until the next text
        break;
    case QEvent::Paint:
        if (m_box->echoMode() == QLineEdit::NoEcho) {
            box->event(event); // the background
            paint();
            return true;
        }
        break;
    default:
        break;
    }
    return QObject::eventFilter(box, event);
}

void LiveText::accessibilityActiveChanged(bool active)
{
    m_isRead = active;
    if (active) {
        makeOrdinary(); // a box without echo is one for passwords
    }
}

// Places the text where QLineEdit places a centred one.
bool LiveText::layOut(const QString& text)
{
    if (text.isEmpty() || text.back().isSpace() || m_box->alignment() != Qt::AlignCenter ||
        m_box->layoutDirection() != Qt::LeftToRight) {
        return false;
    }
    if (m_font != m_box->font() || m_dpi != m_box->logicalDpiX() || m_pieces.size() > capacity) {
        m_pieces.clear();
        m_font = m_box->font();
        m_dpi = m_box->logicalDpiX();
    }
    const QFontMetrics metrics(m_box->fontMetrics());
    QVector<Placed> placed;
    double width = 0.0;
    for (int begin = 0, end = 0; begin < text.size(); begin = end) {
        end = pieceEnd(text, begin);
        const Piece& found = piece(text.mid(begin, end + 1 - begin), end - begin);
        if (found.layout == nullptr) {
            return false;
        }
        const int ascent = qRound(found.layout->lineAt(0).ascent());
        placed.append({found.layout, QPointF(width, metrics.ascent() - ascent)});
        width += found.advance;
    }

    const QRect contents = contentsOf(*m_box);
    const int used = qRound(width) + 1;
    const int space = contents.width() - 2 * sideMargin;
    if (used > space) {
        return false;
    }
    const QPoint origin(contents.x() + sideMargin - (used - space) / 2,
                        contents.y() + (contents.height() - metrics.height() + 1) / 2);
    for (Placed& each : placed) {
        each.position += origin;
    }
    m_placed = placed;
    m_text = text;
    return true;
}

const LiveText::Piece& LiveText::piece(const QString& text, int end)
{
    const auto known = m_pieces.constFind(text);
    return *(known != m_pieces.constEnd() ? known : m_pieces.insert(text, measured(text, end)));
}

// `text` is the piece up to `end`, and the character after it if there is one.
LiveText::Piece LiveText::measured(const QString& text, int end) const
{
    const auto layout = std::make_shared<QTextLayout>(text.left(end), m_font, m_box);
    const QTextLine line = lineOf(*layout);
    const QVector<quint32> glyphs = glyphsOf(*layout);
    if (glyphs.size() != end) {
        return {};
    }
    if (end == text.size()) {
        return {layout, line.naturalTextWidth()};
    }
    QTextLayout together(text, m_font, m_box);
    const QTextLine whole = lineOf(together);
    const QVector<quint32> all = glyphsOf(together);
    QTextLayout next(text.mid(end), m_font, m_box);
    lineOf(next);
    if (all.size() != end + 1 || all != glyphs + glyphsOf(next)) {
        return {};
    }
    return {layout, whole.cursorToX(end)};
}

void LiveText::makeOrdinary()
{
    m_box->setEchoMode(QLineEdit::Normal);
}

void LiveText::paint()
{
    QPainter painter(m_box);
    painter.setClipRect(contentsOf(*m_box));
    painter.setPen(m_box->palette().color(QPalette::Text));
    for (const Placed& each : m_placed) {
        each.layout->draw(&painter, each.position);
    }
}
