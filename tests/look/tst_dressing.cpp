#include "look/dressing.h"

#include <QLabel>
#include <QPixmap>
#include <QtTest>

namespace {

/// A label on a screen with this scale factor.
class ScaledLabel : public QLabel
{
public:
    explicit ScaledLabel(qreal factor) : m_factor(factor) {}

protected:
    int metric(PaintDeviceMetric which) const override
    {
        return which == PdmDevicePixelRatioScaled
                   ? qRound(m_factor * QPaintDevice::devicePixelRatioFScale())
                   : QLabel::metric(which);
    }

private:
    qreal m_factor;
};

} // namespace

class TestDressing : public QObject
{
    Q_OBJECT

private slots:
    void logoHasTheHeightOfItsLabelInDevicePixels_data()
    {
        QTest::addColumn<qreal>("factor");
        QTest::addColumn<int>("height");
        QTest::newRow("1") << 1.0 << 20;
        QTest::newRow("1.25") << 1.25 << 25;
        QTest::newRow("2") << 2.0 << 40;
    }

    void logoHasTheHeightOfItsLabelInDevicePixels()
    {
        QFETCH(qreal, factor);
        QFETCH(int, height);
        ScaledLabel label(factor);
        label.resize(60, 20);
        dressing::showLogo(label);
        const QPixmap logo = label.pixmap(Qt::ReturnByValue);
        QCOMPARE(logo.height(), height);
        QCOMPARE(logo.devicePixelRatioF(), factor);
    }
};

QTEST_MAIN(TestDressing)
#include "tst_dressing.moc"
