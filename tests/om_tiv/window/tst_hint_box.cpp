// The place of the hint beside the ring of the large view.

#include "window/body_view.h"
#include "window/hint_box.h"

#include <QTest>

#include <cmath>

using namespace benchwindow;

class TestHintBox : public QObject
{
    Q_OBJECT

private slots:
    void boxHasItsFullWidthInAUsualWindow();
    void boxDoesNotTouchTheRing_data();
    void boxDoesNotTouchTheRing();
};

void TestHintBox::boxHasItsFullWidthInAUsualWindow()
{
    BodyView view(BodyView::KIND::STAGE);
    view.resize(892, 616);
    QVERIFY(view.ballCentre().y() - view.ballRadius() < 46.0); // the ring begins beside the text
    QCOMPARE(hintBox(view.size(), view.ballCentre(), view.ballRadius(), 28.0),
             QRectF(568.0, 18.0, 300.0, 28.0));
}

void TestHintBox::boxDoesNotTouchTheRing_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<double>("height");
    QTest::newRow("usual") << QSize(892, 616) << 28.0;
    QTest::newRow("smallest") << QSize(472, 316) << 28.0;
    QTest::newRow("smallest, many lines") << QSize(472, 316) << 84.0;
    QTest::newRow("narrow") << QSize(472, 900) << 28.0;
    QTest::newRow("wide") << QSize(1600, 616) << 28.0;
    QTest::newRow("text down to below the centre") << QSize(892, 616) << 300.0;
}

void TestHintBox::boxDoesNotTouchTheRing()
{
    QFETCH(const QSize, size);
    QFETCH(const double, height);
    BodyView view(BodyView::KIND::STAGE);
    view.resize(size);
    const QPointF centre = view.ballCentre();
    const QRectF box = hintBox(size, centre, view.ballRadius(), height);
    QVERIFY(box.width() > 0.0);
    QCOMPARE(box.right(), size.width() - 24.0);
    QCOMPARE(box.height(), height);
    // The point of the box that is nearest to the centre of the ring.
    const double x = qBound(box.left(), centre.x(), box.right());
    const double y = qBound(box.top(), centre.y(), box.bottom());
    QVERIFY(std::hypot(x - centre.x(), y - centre.y()) >= view.ballRadius() + 9.999);
}

QTEST_MAIN(TestHintBox)
#include "tst_hint_box.moc"
