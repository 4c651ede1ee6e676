#include "calibration/Compass.h"

#include <QImage>
#include <QMouseEvent>
#include <QPushButton>
#include <QWheelEvent>
#include <QtTest>

#include <qwt_dial_needle.h>
#include <qwt_round_scale_draw.h>

namespace {

class NoticedNeedle : public QwtCompassMagnetNeedle
{
public:
    explicit NoticedNeedle(int& deleted) : m_deleted(deleted) {}
    ~NoticedNeedle() override { ++m_deleted; }

private:
    int& m_deleted;
};

class NoticedScale : public QwtCompassScaleDraw
{
public:
    explicit NoticedScale(int& deleted) : m_deleted(deleted) {}
    ~NoticedScale() override { ++m_deleted; }

private:
    int& m_deleted;
};

/// The colour of the dial within the scale, beside the needle.
QColor faceColour(Compass& compass)
{
    compass.resize(160, 160);
    const QImage picture = compass.grab().toImage();
    return picture.pixelColor(110, 80);
}

} // namespace

class TestCompass : public QObject
{
    Q_OBJECT

private slots:
    void untouchedCompassIsDarkBlueAtNorth();
    void looksDifferInTheirFaceOnly_data();
    void looksDifferInTheirFaceOnly();
    void frameIsSunken();
    void scaleHasLabelsAndTicksWithoutABackbone();
    void needleIsRedAndWhite();
    void newLookGoesBackToNorth();
    void newLookReplacesNeedleAndScale();
    void lookCanBeTakenBack();
    void headingBeyondATurnIsWrapped_data();
    void headingBeyondATurnIsWrapped();
    void handsDoNotTurnIt_data();
    void handsDoNotTurnIt();
    void keysPassItBy();
    void metaObjectAddsNothing();
};

void TestCompass::untouchedCompassIsDarkBlueAtNorth()
{
    Compass compass;
    QCOMPARE(compass.palette().color(QPalette::Base), QColor(Qt::darkBlue));
    QCOMPARE(compass.value(), 0.0);
    QCOMPARE(faceColour(compass).rgb(), QColor(Qt::darkBlue).darker(120).rgb());
    // The needle's red end points up, its white end down.
    const QImage picture = compass.grab().toImage();
    int redAbove = 0;
    int redBelow = 0;
    for (int y = 30; y < 130; ++y) {
        for (int x = 70; x < 90; ++x) {
            const QColor c = picture.pixelColor(x, y);
            if (c.red() > 150 && c.green() < 60 && c.blue() < 60) {
                ++(y < 80 ? redAbove : redBelow);
            }
        }
    }
    QVERIFY2(redAbove > 100 && redAbove > 10 * redBelow,
             qPrintable(QString("%1 above, %2 below").arg(redAbove).arg(redBelow)));
}

void TestCompass::looksDifferInTheirFaceOnly_data()
{
    QTest::addColumn<bool>("raw");
    QTest::addColumn<QColor>("face");
    QTest::newRow("uncalibrated") << true << QColor(Qt::darkRed);
    QTest::newRow("calibrated") << false << QColor(Qt::darkBlue);
}

void TestCompass::looksDifferInTheirFaceOnly()
{
    QFETCH(bool, raw);
    QFETCH(QColor, face);
    Compass compass;
    const QPalette before = compass.palette();
    compass.setRaw(raw);
    const QPalette after = compass.palette();
    for (const auto group : {QPalette::Active, QPalette::Disabled, QPalette::Inactive}) {
        QCOMPARE(after.color(group, QPalette::Base), face);
        QCOMPARE(after.color(group, QPalette::WindowText), face.darker(120));
        QCOMPARE(after.color(group, QPalette::Text), QColor(Qt::white));
        QCOMPARE(after.color(group, QPalette::Dark), face.darker(170));
        QCOMPARE(after.color(group, QPalette::Light), face.lighter(170));
        QCOMPARE(after.color(group, QPalette::Mid), face.lighter(110));
        for (const auto role : {QPalette::Window, QPalette::Button, QPalette::Highlight,
                                QPalette::ButtonText, QPalette::PlaceholderText}) {
            QCOMPARE(after.color(group, role), before.color(group, role));
        }
    }
    QCOMPARE(faceColour(compass).rgb(), face.darker(120).rgb());
}

void TestCompass::frameIsSunken()
{
    const Compass compass;
    QCOMPARE(compass.lineWidth(), 4);
    QCOMPARE(compass.frameShadow(), QwtDial::Sunken);
}

void TestCompass::scaleHasLabelsAndTicksWithoutABackbone()
{
    Compass compass;
    const QwtRoundScaleDraw* const scale = compass.scaleDraw();
    QVERIFY(dynamic_cast<const QwtCompassScaleDraw*>(scale));
    QVERIFY(scale->hasComponent(QwtAbstractScaleDraw::Ticks));
    QVERIFY(scale->hasComponent(QwtAbstractScaleDraw::Labels));
    QVERIFY(!scale->hasComponent(QwtAbstractScaleDraw::Backbone));
    QCOMPARE(scale->tickLength(QwtScaleDiv::MinorTick), 1.0);
    QCOMPARE(scale->tickLength(QwtScaleDiv::MediumTick), 1.0);
    QCOMPARE(scale->tickLength(QwtScaleDiv::MajorTick), 3.0);
    QCOMPARE(compass.scaleMaxMajor(), 36);
    QCOMPARE(compass.scaleMaxMinor(), 5);
    const auto labels = static_cast<const QwtCompassScaleDraw*>(scale)->labelMap();
    QCOMPARE(labels.value(0.0), QString("N"));
    QCOMPARE(labels.value(90.0), QString("E"));
    QCOMPARE(labels.value(225.0), QString("SW"));
}

void TestCompass::needleIsRedAndWhite()
{
    Compass compass;
    const auto* const needle = dynamic_cast<const QwtCompassMagnetNeedle*>(compass.needle());
    QVERIFY(needle);
    QCOMPARE(needle->palette().color(QPalette::Light), QColor(Qt::white));
    QCOMPARE(needle->palette().color(QPalette::Dark), QColor(Qt::red));
}

void TestCompass::newLookGoesBackToNorth()
{
    Compass compass;
    compass.setValue(123.4);
    QCOMPARE(compass.value(), 123.4);
    compass.setRaw(true);
    QCOMPARE(compass.value(), 0.0);
}

void TestCompass::newLookReplacesNeedleAndScale()
{
    int needles = 0;
    int scales = 0;
    {
        Compass compass;
        compass.setNeedle(new NoticedNeedle(needles));
        compass.setScaleDraw(new NoticedScale(scales));
        compass.setRaw(true);
        QCOMPARE(needles, 1);
        QCOMPARE(scales, 1);
    }
    QCOMPARE(needles, 1);
    QCOMPARE(scales, 1);
}

void TestCompass::lookCanBeTakenBack()
{
    Compass compass;
    const QPalette first = compass.palette();
    compass.setRaw(true);
    compass.setRaw(false);
    for (const auto role : {QPalette::Base, QPalette::WindowText, QPalette::Text, QPalette::Dark,
                            QPalette::Light, QPalette::Mid}) {
        QCOMPARE(compass.palette().color(role), first.color(role));
    }
}

void TestCompass::headingBeyondATurnIsWrapped_data()
{
    QTest::addColumn<double>("heading");
    QTest::addColumn<double>("value");
    QTest::newRow("north") << 0.0 << 0.0;
    QTest::newRow("a whole turn") << 360.0 << 360.0;
    QTest::newRow("below") << -30.0 << 330.0;
    QTest::newRow("a turn below") << -360.0 << 0.0;
    QTest::newRow("above") << 400.0 << 40.0;
    QTest::newRow("far above") << 7230.0 << 30.0;
}

void TestCompass::headingBeyondATurnIsWrapped()
{
    QFETCH(double, heading);
    QFETCH(double, value);
    Compass compass;
    compass.setValue(123.4);
    compass.setHeading(heading);
    QCOMPARE(compass.value(), value);
    QVERIFY(compass.wrapping());
}

void TestCompass::handsDoNotTurnIt_data()
{
    QTest::addColumn<int>("hand");
    QTest::newRow("drag of the needle") << 0;
    QTest::newRow("wheel") << 1;
    QTest::newRow("arrow key") << 2;
    QTest::newRow("digit, which names a direction") << 3;
}

void TestCompass::handsDoNotTurnIt()
{
    QFETCH(int, hand);
    Compass compass;
    compass.resize(160, 160);
    compass.show();
    QVERIFY(QTest::qWaitForWindowExposed(&compass, waiting::patienceMs));
    compass.setValue(123.0);
    if (hand == 0) {
        QTest::mousePress(&compass, Qt::LeftButton, Qt::NoModifier, {80, 40});
        QTest::mouseMove(&compass, {120, 80});
        QMouseEvent drag(QEvent::MouseMove, QPointF(120, 80), Qt::NoButton, Qt::LeftButton,
                         Qt::NoModifier);
        QCoreApplication::sendEvent(&compass, &drag);
        QTest::mouseRelease(&compass, Qt::LeftButton, Qt::NoModifier, {120, 80});
    } else if (hand == 1) {
        const QPointF middle(80, 80);
        QWheelEvent wheel(middle, compass.mapToGlobal(middle.toPoint()), {}, {0, 120}, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&compass, &wheel);
    } else {
        QTest::keyClick(&compass, hand == 2 ? Qt::Key_Up : Qt::Key_6);
    }
    QCOMPARE(compass.value(), 123.0);
}

void TestCompass::keysPassItBy()
{
    // The focus of a dialog stays with its buttons, and so do the keys.
    QWidget window;
    QPushButton button(&window);
    Compass compass(&window);
    compass.move(0, 50);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window, waiting::patienceMs));
    button.setFocus();
    QTest::keyClick(&button, Qt::Key_Tab);
    QVERIFY(!compass.hasFocus());
    QTest::mouseClick(&compass, Qt::LeftButton);
    QVERIFY(!compass.hasFocus());
    QCOMPARE(compass.focusPolicy(), Qt::NoFocus);
}

void TestCompass::metaObjectAddsNothing()
{
    const QMetaObject& meta = Compass::staticMetaObject;
    QCOMPARE(QString(meta.className()), QString("Compass"));
    QCOMPARE(meta.methodOffset(), meta.methodCount());
    QCOMPARE(meta.propertyOffset(), meta.propertyCount());
    QCOMPARE(sizeof(Compass), sizeof(QwtCompass));
}

QTEST_MAIN(TestCompass)
#include "tst_compass.moc"
