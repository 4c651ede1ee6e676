#include "charts/bar_painter.h"

#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QWidget>
#include <QtTest>

#include <functional>

namespace {

using Setting = void (*)(QPainter&);

const QColor colour(255, 87, 48);

/// Bars inside, outside and across the edges of a picture of 60 by 40 pixels.
std::vector<QRect> bars()
{
    std::vector<QRect> all{{5, 3, 2, 20},  {6, 10, 2, 1},   {7, 0, 2, 40},   {-1, 5, 2, 9},
                           {59, 5, 4, 9},  {20, -8, 2, 20}, {24, 30, 2, 50}, {-9, -9, 2, 2},
                           {80, 10, 2, 2}, {10, 60, 2, 9},  {30, 10, 0, 5},  {33, 10, 25, 3}};
    return all;
}

bool drawByQt(QPainter& painter)
{
    const std::vector<QRect> all = bars();
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    painter.drawRects(all.data(), static_cast<int>(all.size()));
    return false;
}

bool drawByUs(QPainter& painter)
{
    return fillBars(painter, bars(), colour);
}

class Canvas : public QWidget
{
public:
    explicit Canvas(std::function<bool(QPainter&)> draw) : m_draw(std::move(draw))
    {
        resize(60, 40);
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        m_draw(painter);
    }

private:
    std::function<bool(QPainter&)> m_draw;
};

} // namespace

Q_DECLARE_METATYPE(Setting)

class TestBarPainter : public QObject
{
    Q_OBJECT

private slots:
    void pictureIsThatOfQt_data();
    void pictureIsThatOfQt();
    void onlyTheRepaintedPartOfAWidgetChanges_data();
    void onlyTheRepaintedPartOfAWidgetChanges();
    void pictureOnAPixmapIsThatOfQt();
    void transparentColourIsBlended();
};

void TestBarPainter::pictureIsThatOfQt_data()
{
    QTest::addColumn<QImage::Format>("format");
    QTest::addColumn<bool>("written");
    QTest::addColumn<Setting>("setting");
    const Setting plain = +[](QPainter&) {};
    QTest::newRow("RGB32") << QImage::Format_RGB32 << true << plain;
    QTest::newRow("ARGB32, premultiplied") << QImage::Format_ARGB32_Premultiplied << true << plain;
    QTest::newRow("ARGB32") << QImage::Format_ARGB32 << false << plain;
    QTest::newRow("16 bits") << QImage::Format_RGB16 << false << plain;
    QTest::newRow("swapped bytes") << QImage::Format_RGBX8888 << false << plain;
    QTest::newRow("moved") << QImage::Format_RGB32 << true
                           << +[](QPainter& painter) { painter.translate(7, -4); };
    QTest::newRow("off the columns")
        << QImage::Format_RGB32 << false << +[](QPainter& painter) { painter.translate(0.6, 0.0); };
    QTest::newRow("off the rows") << QImage::Format_RGB32 << false
                                  << +[](QPainter& painter) { painter.translate(0.0, 0.6); };
    QTest::newRow("scaled") << QImage::Format_RGB32 << false
                            << +[](QPainter& painter) { painter.scale(1.5, 0.7); };
    QTest::newRow("rotated") << QImage::Format_RGB32 << false
                             << +[](QPainter& painter) { painter.rotate(10); };
    QTest::newRow("clipped") << QImage::Format_RGB32 << false
                             << +[](QPainter& painter) { painter.setClipRect(6, 6, 20, 20); };
    QTest::newRow("opacity") << QImage::Format_RGB32 << false
                             << +[](QPainter& painter) { painter.setOpacity(0.4); };
    QTest::newRow("composition") << QImage::Format_RGB32 << false << +[](QPainter& painter) {
        painter.setCompositionMode(QPainter::CompositionMode_Difference);
    };
}

void TestBarPainter::pictureIsThatOfQt()
{
    QFETCH(QImage::Format, format);
    QFETCH(bool, written);
    QFETCH(Setting, setting);
    bool isWritten = false;
    const auto drawn = [&](bool (*draw)(QPainter&)) {
        QImage picture(60, 40, format);
        picture.fill(QColor(25, 25, 60));
        QPainter painter(&picture);
        setting(painter);
        isWritten = draw(painter) || isWritten;
        return picture;
    };
    QCOMPARE(drawn(drawByUs), drawn(drawByQt));
    QCOMPARE(isWritten, written);
}

void TestBarPainter::onlyTheRepaintedPartOfAWidgetChanges_data()
{
    QTest::addColumn<QRegion>("part");
    QTest::newRow("whole") << QRegion(0, 0, 60, 40);
    QTest::newRow("rectangle") << QRegion(6, 4, 15, 12);
    QTest::newRow("two rectangles") << (QRegion(4, 4, 5, 12) + QRegion(20, 0, 8, 36));
}

void TestBarPainter::onlyTheRepaintedPartOfAWidgetChanges()
{
    QFETCH(QRegion, part);
    const auto drawn = [&](bool (*draw)(QPainter&)) {
        QImage picture(90, 70, QImage::Format_RGB32);
        picture.fill(Qt::blue);
        Canvas canvas(draw);
        canvas.render(&picture, QPoint(11, 13), part);
        return picture;
    };
    QCOMPARE(drawn(drawByUs), drawn(drawByQt));
}

void TestBarPainter::pictureOnAPixmapIsThatOfQt()
{
    const auto drawn = [](bool (*draw)(QPainter&)) {
        QPixmap picture(60, 40);
        picture.fill(Qt::blue);
        QPainter painter(&picture);
        draw(painter);
        painter.end();
        return picture.toImage();
    };
    QCOMPARE(drawn(drawByUs), drawn(drawByQt));
}

void TestBarPainter::transparentColourIsBlended()
{
    const auto drawn = [](bool byUs) {
        QImage picture(60, 40, QImage::Format_RGB32);
        picture.fill(Qt::blue);
        QPainter painter(&picture);
        const QColor pale(255, 87, 48, 100);
        if (byUs) {
            fillBars(painter, bars(), pale);
        } else {
            const std::vector<QRect> all = bars();
            painter.setPen(Qt::NoPen);
            painter.setBrush(pale);
            painter.drawRects(all.data(), static_cast<int>(all.size()));
        }
        return picture;
    };
    QCOMPARE(drawn(true), drawn(false));
}

QTEST_MAIN(TestBarPainter)
#include "tst_bar_painter.moc"
