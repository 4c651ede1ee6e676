/// @file
/// A cache for the texts of the axes.
#pragma once

#include <QCache>
#include <QFont>
#include <QObject>
#include <QSizeF>
#include <QString>
#include <QTextLayout>

#include <qwt_text.h>
#include <qwt_text_engine.h>

/// Qwt's engine for plain text, with the sizes and the glyphs of the last texts kept.
///
/// An axis measures and draws the same texts with every replot. Without Qt's cache of glyphs
/// (QT_NO_FT_CACHE) each time loads every glyph from the font file. The picture is the same as that
/// of QwtPlainTextEngine. Only a single line that is aligned by left or centre, left to right, on a
/// raster painter of the screen's resolution is drawn from the cache.
///
/// Interface thread only. Texts are kept by text, font and resolution until the font database
/// changes, or `capacity` other ones were used since.
class CachedTextEngine : public QwtPlainTextEngine
{
public:
    static constexpr int capacity = 128; // texts

    /// The format of texts that are to be measured and drawn by this engine. The first call
    /// registers it with QwtText, which owns it; call it after the application was created.
    static QwtText::TextFormat format();

    CachedTextEngine();

    double heightForWidth(const QFont& font, int flags, const QString& text,
                          double width) const override;
    QSizeF textSize(const QFont& font, int flags, const QString& text) const override;
    void textMargins(const QFont& font, const QString& text, double& left, double& right,
                     double& top, double& bottom) const override;
    void draw(QPainter* painter, const QRectF& rect, int flags, const QString& text) const override;

    /// How often a text that was not in the cache was measured, and laid out for painting.
    struct Misses
    {
        int measured = 0;
        int laidOut = 0;
    };
    Misses misses() const { return m_misses; }

private:
    struct Key
    {
        QString text;
        QFont font;
        int dpi; // not part of QFont's comparison

        friend bool operator==(const Key& a, const Key& b)
        {
            return a.dpi == b.dpi && a.text == b.text && a.font == b.font;
        }
        friend uint qHash(const Key& key, uint seed = 0) { return ::qHash(key.text, seed); }
    };

    struct Margins
    {
        double left, right, top, bottom;
    };

    struct Entry
    {
        QSizeF size;
        Margins margins;
        QTextLayout layout; // of one line, without lines until the first draw()
    };

    Entry& entry(const QFont& font, const QString& text) const;

    mutable QCache<Key, Entry> m_entries{capacity};
    mutable Misses m_misses;
    QObject m_receiver; // of the change of the font database
};
