#include "calibration/sharp_symbol.h"

#include <QImage>
#include <QPainter>
#include <QtTest>

namespace {

constexpr int side = 40; // logical pixels
const QPolygonF middles(QVector<QPointF>{{8.0, 9.0}, {20.0, 20.0}, {31.0, 12.0}});

QImage painted(const QwtSymbol& symbol, qreal ratio)
{
    QImage image(qRound(side * ratio), qRound(side * ratio), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::black);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    symbol.drawSymbols(&painter, middles);
    return image;
}

} // namespace

class TestSharpSymbol : public QObject
{
    Q_OBJECT

private slots:
    void looksAsIfPaintedAtEachSample_data()
    {
        QTest::addColumn<int>("style");
        QTest::addColumn<qreal>("ratio");
        for (const auto style : {QwtSymbol::Diamond, QwtSymbol::Star1}) {
            for (const qreal ratio : {1.0, 2.0}) {
                QTest::addRow("style %d, factor %g", style, ratio) << int(style) << ratio;
            }
        }
    }
    void looksAsIfPaintedAtEachSample()
    {
        QFETCH(int, style);
        QFETCH(qreal, ratio);
        const auto kind = static_cast<QwtSymbol::Style>(style);
        const QPen pen(QColor(255, 60, 60), 1.0);
        const QSize size(9, 9);
        QwtSymbol single(kind, QBrush(Qt::red), pen, size);
        single.setCachePolicy(QwtSymbol::NoCache);
        QCOMPARE(painted(SharpSymbol(kind, QBrush(Qt::red), pen, size), ratio),
                 painted(single, ratio));
    }

    void isDrawnAtWholeDevicePixels()
    {
        const SharpSymbol symbol(QwtSymbol::Diamond, QBrush(Qt::red), QPen(Qt::red), QSize(5, 5));
        QImage image(60, 60, QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(1.5);
        const auto pictureAt = [&](const QPointF& middle, const QPoint& pixel) {
            image.fill(Qt::black);
            QPainter painter(&image);
            painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
            symbol.drawSymbol(&painter, middle);
            painter.end();
            return image.copy(QRect(pixel - QPoint(8, 8), QSize(16, 16)));
        };
        // A sample at two thirds of a logical pixel is one device pixel further.
        QCOMPARE(pictureAt({10.0 + 2.0 / 3.0, 20.0}, {16, 30}), pictureAt({10.0, 20.0}, {15, 30}));
        // Between device pixels the nearest one counts.
        QCOMPARE(pictureAt({10.2, 19.9}, {15, 30}), pictureAt({10.0, 20.0}, {15, 30}));
        QCOMPARE(pictureAt({10.4, 20.0}, {16, 30}), pictureAt({10.0, 20.0}, {15, 30}));
    }

    void followsTheScaleFactorOfTheDevice()
    {
        const SharpSymbol symbol(QwtSymbol::Diamond, QBrush(Qt::red), QPen(Qt::red), QSize(9, 9));
        const QImage small = painted(symbol, 1.0);
        const QImage large = painted(symbol, 2.0);
        QCOMPARE(painted(symbol, 1.0), small);
        QVERIFY(large != small.scaled(large.size()));
    }
};

QTEST_MAIN(TestSharpSymbol)
#include "tst_sharp_symbol.moc"
