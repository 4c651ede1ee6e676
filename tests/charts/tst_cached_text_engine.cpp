#include "charts/cached_text_engine.h"
#include "look/Style.h"

#include <QImage>
#include <QPainter>
#include <QScreen>
#include <QWidget>
#include <QtTest>

#include <functional>
#include <memory>

namespace {

using Prepare = std::function<void(QPainter&)>;

const QRectF rect(12.3, 7.7, 190.0, 18.0);

/// The text as the engine draws it, on an opaque ground.
QImage picture(const QwtTextEngine& engine, double ratio, const QFont& font, int flags,
               const QString& text, const QRectF& where, const Prepare& prepare)
{
    QImage image(QSize(220, 220) * ratio, QImage::Format_RGB32);
    image.setDevicePixelRatio(ratio);
    const auto dotsPerMeter = [](double perInch) { return qRound(perInch / 0.0254); };
    image.setDotsPerMeterX(dotsPerMeter(QGuiApplication::primaryScreen()->logicalDotsPerInchX()));
    image.setDotsPerMeterY(dotsPerMeter(QGuiApplication::primaryScreen()->logicalDotsPerInchY()));
    image.fill(QColor(25, 25, 25));
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(QColor(130, 130, 130));
    painter.setLayoutDirection(Qt::LeftToRight); // as on a widget
    if (prepare) {
        prepare(painter);
    }
    engine.draw(&painter, where, flags, text);
    painter.fillRect(QRect(60, 60, 9, 9), Qt::white); // shows what is left of a clip
    return image;
}

void addRatios(const std::function<void(const char*, double)>& add)
{
    add("factor 1", 1.0);
    add("factor 1.25", 1.25);
    add("factor 1.5", 1.5);
    add("factor 2", 2.0);
}

void turn(QPainter& painter)
{
    painter.translate(3.4, 205.6);
    painter.rotate(-90.0);
}

} // namespace

Q_DECLARE_METATYPE(Prepare)

class TestCachedTextEngine : public QObject
{
    Q_OBJECT

private slots:
    void picturesAreThoseOfQwt_data();
    void picturesAreThoseOfQwt();
    void whatTheCacheCannotDrawIsLeftToQwt_data();
    void whatTheCacheCannotDrawIsLeftToQwt();
    void deviceOfAnotherResolutionIsLeftToQwt();
    void sizesAreThoseOfQwt_data();
    void sizesAreThoseOfQwt();

    void knownTextIsNeitherMeasuredNorLaidOutAgain();
    void otherTextFontOrResolutionIsMeasuredAnew();
    void changeOfTheFontDatabaseEmptiesTheCache();
    void textsBeyondTheCapacityAreForgotten();
    void formatSelectsThisEngine();

private:
    const Style m_style;
};

void TestCachedTextEngine::picturesAreThoseOfQwt_data()
{
    QTest::addColumn<double>("ratio");
    QTest::addColumn<QFont>("font");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("flags");
    QTest::addColumn<QRectF>("where");
    QTest::addColumn<Prepare>("prepare");
    const Prepare none;
    const Prepare moved = [](QPainter& painter) { painter.translate(0.37, 21.81); };
    addRatios([&](const char* name, double ratio) {
        const auto row = [&](const char* what, const QFont& font, const char* text, int flags,
                             const QRectF& where, const Prepare& prepare) {
            QTest::addRow("%s, %s", name, what)
                << ratio << font << QString::fromUtf8(text) << flags << where << prepare;
        };
        const QFont& light = m_style.fontMonoLight10;
        const QFont& medium = m_style.fontMonoMedium9;
        constexpr int centred = Qt::AlignHCenter;
        row("time", light, "12:34:56", 0, rect, moved);
        row("value", light, "-1234.5", 0, rect, moved);
        row("title", medium, "Timestamp [h:m:s]", centred | Qt::AlignBottom, rect, none);
        row("turned title", medium, "Angular velocities [°/s]", centred | Qt::AlignTop, rect, turn);
        row("in the middle", medium, "Orientation [°]", Qt::AlignCenter, rect, none);
        row("left", light, "left", Qt::AlignLeft | Qt::AlignVCenter, rect, none);
        row("capitals and spacing", m_style.fontMonoCaps9, "Sensor", centred, rect, none);
        row("cut at the sides", light, "00:00:00", centred, QRectF(20, 20, 30.5, 20), none);
        row("cut at the bottom", light, "00:00:00", 0, QRectF(20, 20, 90, 6.5), none);
        row("turned and cut", medium, "Magnetic fields", centred, QRectF(0, 0, 40, 9), turn);
        row("not cut", light, "00:00:00", Qt::TextDontClip, QRectF(20, 20, 20, 6), none);
        row("clipped outside", light, "00:00:00", 0, rect,
            [](QPainter& painter) { painter.setClipRect(QRectF(0, 0, 40.5, 200)); });
        row("symbols of another font", light, "\u2103 \u4e2d", 0, rect, none);
    });
}

void TestCachedTextEngine::picturesAreThoseOfQwt()
{
    QFETCH(double, ratio);
    QFETCH(QFont, font);
    QFETCH(QString, text);
    QFETCH(int, flags);
    QFETCH(QRectF, where);
    QFETCH(Prepare, prepare);

    const CachedTextEngine cached;
    const QImage expected = picture(QwtPlainTextEngine(), ratio, font, flags, text, where, prepare);
    QCOMPARE(picture(cached, ratio, font, flags, text, where, prepare), expected);
    QCOMPARE(picture(cached, ratio, font, flags, text, where, prepare), expected); // as known
    QCOMPARE(cached.misses().laidOut, (flags & Qt::TextDontClip) != 0 ? 0 : 1);

    // The comparison is one of texts.
    QVERIFY(expected != picture(cached, ratio, font, flags, QString(), where, prepare));
}

void TestCachedTextEngine::whatTheCacheCannotDrawIsLeftToQwt_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("flags");
    QTest::addColumn<Prepare>("prepare");
    const Prepare none;
    const auto changeFont = [](void (QFont::*change)(bool)) {
        return [change](QPainter& painter) {
            QFont font = painter.font();
            (font.*change)(true);
            painter.setFont(font);
        };
    };
    QTest::newRow("two lines") << "one\ntwo" << 0 << none;
    QTest::newRow("separated lines") << QStringLiteral("one\u2028two") << 0 << none;
    QTest::newRow("tab") << "one\ttwo" << (int(Qt::TextExpandTabs) | int(Qt::AlignLeft)) << none;
    QTest::newRow("variants") << QStringLiteral("a text that is too long for it\u009cshort") << 0
                              << none;
    QTest::newRow("right") << "right" << int(Qt::AlignRight) << none;
    QTest::newRow("justified") << "a b" << int(Qt::AlignJustify) << none;
    QTest::newRow("wrapped") << "a text of some words that is too long for it"
                             << int(Qt::TextWordWrap) << none;
    QTest::newRow("mnemonic") << "&mnemonic" << int(Qt::TextShowMnemonic) << none;
    QTest::newRow("underlined") << "text" << 0 << Prepare(changeFont(&QFont::setUnderline));
    QTest::newRow("overlined") << "text" << 0 << Prepare(changeFont(&QFont::setOverline));
    QTest::newRow("struck out") << "text" << 0 << Prepare(changeFont(&QFont::setStrikeOut));
    QTest::newRow("no pen") << "text" << 0
                            << Prepare([](QPainter& painter) { painter.setPen(Qt::NoPen); });
    QTest::newRow("direction of the text")
        << "text" << 0
        << Prepare([](QPainter& painter) { painter.setLayoutDirection(Qt::LayoutDirectionAuto); });
    QTest::newRow("from the right")
        << "text." << 0
        << Prepare([](QPainter& painter) { painter.setLayoutDirection(Qt::RightToLeft); });
}

void TestCachedTextEngine::whatTheCacheCannotDrawIsLeftToQwt()
{
    QFETCH(QString, text);
    QFETCH(int, flags);
    QFETCH(Prepare, prepare);

    const CachedTextEngine cached;
    const QwtPlainTextEngine plain;
    const QFont& font = m_style.fontMonoLight10;
    QCOMPARE(picture(cached, 1.5, font, flags, text, rect, prepare),
             picture(plain, 1.5, font, flags, text, rect, prepare));
    QCOMPARE(cached.misses().laidOut, 0);
    QCOMPARE(cached.textSize(font, flags, text), plain.textSize(font, flags, text));
    QCOMPARE(cached.heightForWidth(font, flags, text, 60.0),
             plain.heightForWidth(font, flags, text, 60.0));
}

void TestCachedTextEngine::deviceOfAnotherResolutionIsLeftToQwt()
{
    const auto paint = [this](const QwtTextEngine& engine) {
        QImage image(300, 60, QImage::Format_RGB32);
        image.setDotsPerMeterX(9000);
        image.setDotsPerMeterY(9000);
        image.fill(Qt::white);
        QPainter painter(&image);
        painter.setLayoutDirection(Qt::LeftToRight);
        painter.setFont(m_style.fontMonoLight10);
        engine.draw(&painter, QRectF(image.rect()), 0, "12:34:56");
        return image;
    };
    const CachedTextEngine cached;
    QCOMPARE(paint(cached), paint(QwtPlainTextEngine()));
    QCOMPARE(cached.misses().laidOut, 0);
}

void TestCachedTextEngine::sizesAreThoseOfQwt_data()
{
    QTest::addColumn<QFont>("font");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("flags");
    QTest::newRow("time") << m_style.fontMonoLight10 << "12:34:56" << 0;
    QTest::newRow("title") << m_style.fontMonoMedium9 << "Timestamp [h:m:s]"
                           << int(Qt::AlignHCenter | Qt::AlignBottom);
    QTest::newRow("spaced capitals") << m_style.fontMonoCaps9 << "Sensor" << int(Qt::AlignCenter);
    QTest::newRow("nothing") << m_style.fontMonoLight10 << "" << 0;
}

void TestCachedTextEngine::sizesAreThoseOfQwt()
{
    QFETCH(QFont, font);
    QFETCH(QString, text);
    QFETCH(int, flags);

    const CachedTextEngine cached;
    const QwtPlainTextEngine plain;
    for (int time = 0; time < 2; ++time) { // as new and as known
        QCOMPARE(cached.textSize(font, flags, text), plain.textSize(font, flags, text));
        QCOMPARE(cached.heightForWidth(font, flags, text, 20.0),
                 plain.heightForWidth(font, flags, text, 20.0));
        const auto margins = [&](const QwtTextEngine& engine) {
            double left = -1.0, right = -1.0, top = -1.0, bottom = -1.0;
            engine.textMargins(font, text, left, right, top, bottom);
            return QVector<double>{left, right, top, bottom};
        };
        QCOMPARE(margins(cached), margins(plain));
    }
}

void TestCachedTextEngine::knownTextIsNeitherMeasuredNorLaidOutAgain()
{
    const CachedTextEngine engine;
    QWidget widget;
    widget.setFont(m_style.fontMonoLight10);
    const QFont font = widget.font(); // as an axis has it
    for (int time = 0; time < 3; ++time) {
        engine.textSize(font, 0, "00:00:07");
        engine.heightForWidth(font, Qt::AlignHCenter, "00:00:07", 100.0);
        double left = 0.0, right = 0.0, top = 0.0, bottom = 0.0;
        engine.textMargins(font, "00:00:07", left, right, top, bottom);
        picture(engine, 1.0 + time, font, 0, "00:00:07", rect, {}); // a ratio needs no new layout
    }
    QCOMPARE(engine.misses().measured, 1);
    QCOMPARE(engine.misses().laidOut, 1);
}

void TestCachedTextEngine::otherTextFontOrResolutionIsMeasuredAnew()
{
    const CachedTextEngine engine;
    const QwtPlainTextEngine plain;
    QFont font = m_style.fontMonoLight10;
    const auto compare = [&](const QFont& used, const QString& text) {
        QCOMPARE(engine.textSize(used, 0, text), plain.textSize(used, 0, text));
    };
    compare(font, "first");
    compare(font, "second text");
    QCOMPARE(engine.misses().measured, 2);
    font.setPointSize(font.pointSize() + 7);
    compare(font, "first");
    QCOMPARE(engine.misses().measured, 3);
    font.setLetterSpacing(QFont::PercentageSpacing, 150);
    compare(font, "first");
    QCOMPARE(engine.misses().measured, 4);

    QImage fine(10, 10, QImage::Format_RGB32);
    fine.setDotsPerMeterX(12000);
    fine.setDotsPerMeterY(12000);
    const QFont fineFont(font, &fine);
    QCOMPARE(fineFont, font); // the resolution is not compared
    QVERIFY(plain.textSize(fineFont, 0, "first") != plain.textSize(font, 0, "first"));
    compare(fineFont, "first");
    QCOMPARE(engine.misses().measured, 5);
}

void TestCachedTextEngine::changeOfTheFontDatabaseEmptiesTheCache()
{
    const CachedTextEngine engine;
    engine.textSize(m_style.fontMonoLight10, 0, "first");
    const Style another; // adds its font files to the database
    engine.textSize(m_style.fontMonoLight10, 0, "first");
    QCOMPARE(engine.misses().measured, 2);
}

void TestCachedTextEngine::textsBeyondTheCapacityAreForgotten()
{
    const CachedTextEngine engine;
    const QFont& font = m_style.fontMonoLight10;
    for (int i = 0; i < CachedTextEngine::capacity; ++i) {
        engine.textSize(font, 0, QString::number(i));
    }
    engine.textSize(font, 0, "0");
    QCOMPARE(engine.misses().measured, CachedTextEngine::capacity);
    engine.textSize(font, 0, "another"); // takes the place of the one used least recently
    engine.textSize(font, 0, "0");
    QCOMPARE(engine.misses().measured, CachedTextEngine::capacity + 1);
    engine.textSize(font, 0, "1");
    QCOMPARE(engine.misses().measured, CachedTextEngine::capacity + 2);
}

void TestCachedTextEngine::formatSelectsThisEngine()
{
    const QwtTextEngine* const engine = QwtText::textEngine(CachedTextEngine::format());
    QVERIFY(dynamic_cast<const CachedTextEngine*>(engine) != nullptr);
    QCOMPARE(QwtText::textEngine(CachedTextEngine::format()), engine); // registered once
    QVERIFY(QwtText::textEngine(QwtText::PlainText) != engine);
}

QTEST_MAIN(TestCachedTextEngine)

#include "tst_cached_text_engine.moc"
