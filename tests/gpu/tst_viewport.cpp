#include "gpu/viewport.h"

#include <QtTest>

class TestViewport : public QObject
{
    Q_OBJECT

private slots:
    void letterboxKeepsTheImagesAspect_data();
    void letterboxKeepsTheImagesAspect();
    void squareIsAsLargeAsTheLargerSide_data();
    void squareIsAsLargeAsTheLargerSide();
    void fractionOfTheSideMattersOnlyToTheExactSquare();
};

void TestViewport::letterboxKeepsTheImagesAspect_data()
{
    QTest::addColumn<QSize>("widget");
    QTest::addColumn<QSize>("image");
    QTest::addColumn<QRect>("expected");
    const auto row = [](const char* name, QSize widget, QSize image, QRect expected) {
        QTest::newRow(name) << widget << image << expected;
    };
    row("equal aspect", {640, 360}, {1280, 720}, {0, 0, 640, 360});
    row("equal size", {1280, 720}, {1280, 720}, {0, 0, 1280, 720});
    row("too wide", {1000, 360}, {1280, 720}, {180, 0, 640, 360});
    row("too wide, odd rest", {1001, 360}, {1280, 720}, {180, 0, 640, 360});
    row("too wide, width cut off", {1000, 361}, {1280, 720}, {179, 0, 641, 361});
    row("too tall", {640, 600}, {1280, 720}, {0, 120, 640, 360});
    row("too tall, odd rest", {640, 601}, {1280, 720}, {0, 120, 640, 360});
    row("too tall, height cut off", {641, 600}, {1280, 720}, {0, 120, 641, 360});
    row("upright image in a wide widget", {800, 400}, {300, 600}, {300, 0, 200, 400});
    row("upright image in a tall widget", {100, 400}, {300, 600}, {0, 100, 100, 200});
    row("1920 x 1200 in 960 x 540", {960, 540}, {1920, 1200}, {48, 0, 864, 540});
    row("one pixel", {1, 1}, {1280, 720}, {0, 0, 1, 0});
    row("no height", {640, 0}, {1280, 720}, {320, 0, 0, 0});
    row("no width", {0, 480}, {1280, 720}, {0, 240, 0, 0});
}

void TestViewport::letterboxKeepsTheImagesAspect()
{
    QFETCH(QSize, widget);
    QFETCH(QSize, image);
    QFETCH(QRect, expected);
    QCOMPARE(letterbox(widget.width(), widget.height(), image.width(), image.height()), expected);
}

void TestViewport::squareIsAsLargeAsTheLargerSide_data()
{
    QTest::addColumn<float>("width");
    QTest::addColumn<float>("height");
    QTest::addColumn<QRect>("expected");
    const auto row = [](const char* name, float w, float h, QRect expected) {
        QTest::newRow(name) << w << h << expected;
    };
    row("square", 400, 400, {0, 0, 400, 400});
    row("wide: negative y", 640, 480, {0, -80, 640, 640});
    row("tall: negative x", 480, 640, {-80, 0, 640, 640});
    row("odd difference goes toward zero", 641, 480, {0, -80, 641, 641});
    row("one line", 640, 1, {0, -319, 640, 640});
    row("as constructed", 320, 240, {0, -40, 320, 320});
    row("nothing", 0, 0, {0, 0, 0, 0});
}

void TestViewport::squareIsAsLargeAsTheLargerSide()
{
    QFETCH(float, width);
    QFETCH(float, height);
    QFETCH(QRect, expected);
    QCOMPARE(squareViewport(width, height), expected);
    QCOMPARE(squareViewportOfExactSide(width, height), expected);
}

void TestViewport::fractionOfTheSideMattersOnlyToTheExactSquare()
{
    // (299 - 480) / 2 = -90.5 and (299 - 480.75) / 2 = -90.875: the same after the cut.
    QCOMPARE(squareViewport(480.75F, 299.0F), QRect(0, -90, 480, 480));
    QCOMPARE(squareViewportOfExactSide(480.75F, 299.0F), QRect(0, -90, 480, 480));
    // (298.5 - 480) / 2 = -90.75 and (298.5 - 480.75) / 2 = -91.125
    QCOMPARE(squareViewport(480.75F, 298.5F), QRect(0, -90, 480, 480));
    QCOMPARE(squareViewportOfExactSide(480.75F, 298.5F), QRect(0, -91, 480, 480));
}

QTEST_APPLESS_MAIN(TestViewport)
#include "tst_viewport.moc"
