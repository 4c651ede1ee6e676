#include "charts/cached_text_engine.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPaintEngine>
#include <QPainter>
#include <QScreen>

#include <algorithm>

namespace {

constexpr int widestLine = 0x01000000; // as QPainter::drawText() lays out a line that does not wrap

/// One line without tabs and without a text for another width.
bool isOneLine(const QString& text)
{
    return !text.isEmpty() && std::none_of(text.cbegin(), text.cend(), [](QChar character) {
        return character.category() == QChar::Other_Control ||
               character.category() == QChar::Separator_Line ||
               character.category() == QChar::Separator_Paragraph;
    });
}

/// The size of a line depends on no such alignment.
bool isOnlyAligned(int flags)
{
    constexpr int alignments = Qt::AlignLeft | Qt::AlignHCenter | Qt::AlignVertical_Mask;
    return (flags & ~alignments) == 0 && (flags & Qt::AlignBaseline) == 0;
}

bool isPlain(const QFont& font)
{
    return !font.underline() && !font.overline() && !font.strikeOut();
}

/// Qwt draws with another font on a device of another resolution.
bool hasTheResolutionOfTheScreen(const QPaintDevice& device)
{
    const QScreen* const screen = QGuiApplication::primaryScreen();
    return screen != nullptr && device.logicalDpiX() == qRound(screen->logicalDotsPerInchX()) &&
           device.logicalDpiY() == qRound(screen->logicalDotsPerInchY());
}

void layOut(QTextLayout& layout, const QString& text, const QFont& font)
{
    QTextOption option(Qt::AlignLeft); // draw() aligns
    option.setTextDirection(Qt::LeftToRight);
    layout.setText(text);
    layout.setFont(font);
    layout.setTextOption(option);
    layout.setCacheEnabled(true);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    line.setLineWidth(widestLine);
    line.setPosition(QPointF());
    layout.endLayout();
}

} // namespace

QwtText::TextFormat CachedTextEngine::format()
{
    static const QwtText::TextFormat format = [] {
        constexpr auto ownFormat = static_cast<QwtText::TextFormat>(QwtText::OtherFormat + 1);
        QwtText::setTextEngine(ownFormat, new CachedTextEngine);
        return ownFormat;
    }();
    return format;
}

CachedTextEngine::CachedTextEngine()
{
    // Another font may be found for the same request, whose glyphs have other numbers.
    QObject::connect(qGuiApp, &QGuiApplication::fontDatabaseChanged, &m_receiver,
                     [this] { m_entries.clear(); });
}

double CachedTextEngine::heightForWidth(const QFont& font, int flags, const QString& text,
                                        double width) const
{
    if (!isOnlyAligned(flags) || !isOneLine(text)) {
        return QwtPlainTextEngine::heightForWidth(font, flags, text, width);
    }
    return entry(font, text).size.height();
}

QSizeF CachedTextEngine::textSize(const QFont& font, int flags, const QString& text) const
{
    if (!isOnlyAligned(flags) || !isOneLine(text)) {
        return QwtPlainTextEngine::textSize(font, flags, text);
    }
    return entry(font, text).size;
}

void CachedTextEngine::textMargins(const QFont& font, const QString& text, double& left,
                                   double& right, double& top, double& bottom) const
{
    if (!isOneLine(text)) {
        QwtPlainTextEngine::textMargins(font, text, left, right, top, bottom);
        return;
    }
    const Margins& margins = entry(font, text).margins;
    left = margins.left;
    right = margins.right;
    top = margins.top;
    bottom = margins.bottom;
}

void CachedTextEngine::draw(QPainter* painter, const QRectF& rect, int flags,
                            const QString& text) const
{
    const QFont font = painter->font();
    if (!isOnlyAligned(flags) || !isOneLine(text) || !isPlain(font) ||
        painter->layoutDirection() != Qt::LeftToRight || painter->pen().style() == Qt::NoPen ||
        painter->paintEngine()->type() != QPaintEngine::Raster ||
        !hasTheResolutionOfTheScreen(*painter->device())) {
        QwtPlainTextEngine::draw(painter, rect, flags, text);
        return;
    }

    // From here on as QPainter::drawText() does it.
    Entry& cached = entry(font, text);
    if (cached.layout.lineCount() == 0) {
        ++m_misses.laidOut;
        layOut(cached.layout, text, font);
    }
    const QTextLine line = cached.layout.lineAt(0);
    const auto xOffset = [&](double width) {
        return (flags & Qt::AlignHCenter) != 0 ? (rect.width() - width) / 2.0 : 0.0;
    };
    const double height = cached.size.height();
    double yOffset = 0.0;
    if ((flags & Qt::AlignBottom) != 0) {
        yOffset = rect.height() - height;
    } else if ((flags & Qt::AlignVCenter) != 0) {
        yOffset = (rect.height() - height) / 2.0;
    }
    const double width = line.naturalTextWidth();
    const bool clips =
        !rect.contains(QRectF(rect.x() + xOffset(width), rect.y() + yOffset, width, height));
    if (clips) {
        painter->save();
        painter->setClipRect(rect, Qt::IntersectClip);
    }
    line.draw(painter, {rect.x() + xOffset(line.horizontalAdvance()), rect.y() + yOffset});
    if (clips) {
        painter->restore();
    }
}

CachedTextEngine::Entry& CachedTextEngine::entry(const QFont& font, const QString& text) const
{
    const Key key{text, font, qRound(QFontMetricsF(font).fontDpi())};
    if (!m_entries.contains(key)) {
        ++m_misses.measured;
        auto* const made = new Entry;
        made->size = QwtPlainTextEngine::textSize(font, 0, text);
        Margins& margins = made->margins;
        QwtPlainTextEngine::textMargins(font, text, margins.left, margins.right, margins.top,
                                        margins.bottom);
        m_entries.insert(key, made);
    }
    return *m_entries.object(key);
}
