/// The parts of the 3D view around its scene: wheel and keys, border, viewport and overlay.
#include "gpu/scene_view.h"

#include <QApplication>
#include <QPainter>
#include <QSet>
#include <QSurfaceFormat>
#include <QTranslator>
#include <QWheelEvent>
#include <QtTest>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr QRgb bright = qRgb(200, 100, 0);

/// Only the border, on a bright background.
class BorderView : public SceneView
{
public:
    using SceneView::SceneView;

protected:
    void paintGL() override
    {
        ++paints;
        glClearColor(200.0F / 255.0F, 100.0F / 255.0F, 0.0F, 1.0F);
        glClear(GL_COLOR_BUFFER_BIT);
        roundedBorder();
    }
};

/// The same lines, painted with independent numbers for a view of 320 x 220.
class BorderReference : public SceneView
{
public:
    using SceneView::SceneView;

protected:
    void paintGL() override
    {
        ++paints;
        glClearColor(200.0F / 255.0F, 100.0F / 255.0F, 0.0F, 1.0F);
        glClear(GL_COLOR_BUFFER_BIT);
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(QColor(25, 25, 25), 5));
        painter.drawRoundedRect(QRectF(-1, -1, 323, 222), 10, 10);
        painter.setPen(QPen(QColor(60, 60, 60), 1));
        painter.drawRoundedRect(QRectF(1, 1, 319, 219), 10, 10);
    }
};

/// Shows the overlay above the scene.
class OverlayView : public SceneView
{
public:
    using SceneView::SceneView;
    int status = 0;

protected:
    void paintGL() override
    {
        SceneView::paintGL();
        showMovingInfo(status);
    }
};

/// The same boxes and labels as OverlayView for status 1, painted independently.
class OverlayReference : public SceneView
{
public:
    using SceneView::SceneView;

protected:
    void paintGL() override
    {
        SceneView::paintGL();
        const QFontMetrics metrics(
            QFont(QStringLiteral("font-family: Roboto; font-weight: Medium; font-size: 15pt;")));
        const QRect first = metrics.boundingRect(QStringLiteral("Camera Moving"));
        const QRect second = metrics.boundingRect(QStringLiteral("Camera Falling"));
        const double w = 1.3 * std::max(first.width(), second.width());
        const double h = 1.3 * first.height();
        QPainter painter(this);
        const auto show = [&](double top, QRgb fill, const QString& label) {
            const QRectF box(10, top, w, h);
            painter.setBrush(QColor::fromRgba(fill));
            painter.setPen(Qt::NoPen);
            painter.drawRoundedRect(box, 5, 5);
            painter.setBrush(Qt::NoBrush);
            painter.setPen(QPen(QColor(150, 150, 150), 1));
            painter.drawRoundedRect(box, 5, 5);
            painter.setPen(QColor(30, 30, 30));
            painter.drawText(box, Qt::AlignHCenter | Qt::AlignVCenter, label);
        };
        show(10, qRgba(255, 205, 0, 150), QStringLiteral("Camera Moving"));
        show(10 + 1.3 * h, qRgba(255, 255, 255, 150), QStringLiteral("Camera Falling"));
    }
};

/// Stores the texts that the view requests.
class LongFirstLabel : public QTranslator
{
public:
    static QString text() { return QStringLiteral("A camera that is moving now"); }

    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* source, const char*, int) const override
    {
        if (qstrcmp(context, "OGL3DWidget") != 0) {
            return {};
        }
        asked += QString::fromUtf8(source);
        return qstrcmp(source, "Camera Moving") == 0 ? text() : QString();
    }

    mutable QSet<QString> asked;
};

/// A display with two device pixels per pixel, or another number.
class FineView : public SceneView
{
public:
    using SceneView::resizeGL;
    using SceneView::SceneView;

    int ratio = 2;

protected:
    int metric(PaintDeviceMetric name) const override
    {
        return name == PdmDevicePixelRatio ? ratio : SceneView::metric(name);
    }
};

bool isColour(QRgb pixel, QRgb colour, int tolerance)
{
    return std::abs(qRed(pixel) - qRed(colour)) <= tolerance &&
           std::abs(qGreen(pixel) - qGreen(colour)) <= tolerance &&
           std::abs(qBlue(pixel) - qBlue(colour)) <= tolerance;
}

/// The outline of a rounded rectangle drawn with a pen.
struct RoundedLine
{
    QRectF rect;
    double radius;
    double width;
    QRgb colour;

    bool covers(QPointF p) const
    {
        const double x = std::abs(p.x() - rect.center().x()) - rect.width() / 2 + radius;
        const double y = std::abs(p.y() - rect.center().y()) - rect.height() / 2 + radius;
        const double outside =
            std::hypot(std::max(x, 0.0), std::max(y, 0.0)) + std::min(std::max(x, y), 0.0) - radius;
        return std::abs(outside) <= width / 2;
    }
};

/// The colour of a pixel: the mean of many points in it, each with the colour of the first line
/// that covers it, or of the background.
QRgb sampled(QPoint pixel, const std::array<RoundedLine, 2>& lines, QRgb ground)
{
    constexpr int points = 16; // along each side of the pixel
    std::array<int, 3> sum{};
    for (int i = 0; i < points * points; ++i) {
        const int column = i % points;
        const int row = i / points;
        const QPointF at(pixel.x() + (column + 0.5) / points, pixel.y() + (row + 0.5) / points);
        const auto* const line = std::find_if(lines.begin(), lines.end(),
                                              [&](const RoundedLine& l) { return l.covers(at); });
        const QRgb colour = line != lines.end() ? line->colour : ground;
        sum[0] += qRed(colour);
        sum[1] += qGreen(colour);
        sum[2] += qBlue(colour);
    }
    const int all = points * points;
    return qRgb(sum[0] / all, sum[1] / all, sum[2] / all);
}

QRect viewport()
{
    std::array<GLint, 4> values{};
    glGetIntegerv(GL_VIEWPORT, values.data());
    return {values[0], values[1], values[2], values[3]};
}

/// As Qt sends a scroll along one axis: the second event of a diagonal scroll has no angleDelta().
void wheel(QWidget& widget, QPoint angleDelta, int delta, Qt::Orientation orientation)
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    QWheelEvent event(QPointF(50, 50), widget.mapToGlobal(QPoint(50, 50)), QPoint(), angleDelta,
                      delta, orientation, Qt::NoButton, Qt::NoModifier);
    QT_WARNING_POP
    QApplication::sendEvent(&widget, &event);
}

} // namespace

class TestOgl3dWidgetWindow : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void wheelMovesAlongTheViewAxis();
    void diagonalTurnOfTheWheelMovesByEachAxisOnce();
    void keysLeaveTheirMotion_data();
    void keysLeaveTheirMotion();
    void borderIsTwoRoundedLinesOnAllFourSides();
    void borderIsPaintedToTheLastPixel();
    void borderSurroundsTheScene();
    void drawableIsMeasuredInDevicePixels();
    void drawableIsMeasuredAgainOnAnotherScreen();
    void resizeSetsTheWholeViewport();
    void viewportIsTheCentredSquare_data();
    void viewportIsTheCentredSquare();
    void overlayColoursFollowTheStatus_data();
    void overlayColoursFollowTheStatus();
    void overlayBoxesAreOutlined();
    void overlayIsTheReference();
    void overlayTranslatesItsLabels();
    void overlayIsNotShownByItself();
};

void TestOgl3dWidgetWindow::cleanup()
{
    ProgramStates::resetStates();
}

void TestOgl3dWidgetWindow::wheelMovesAlongTheViewAxis()
{
    SceneView view;
    QVERIFY(view.showScene(320, 240, 2));
    const auto moved = [&view](int delta) {
        view.ResetPosition();
        const om::Translation before = view.camera->getPosition();
        wheel(view, {0, delta}, delta, Qt::Vertical);
        const om::Translation after = view.camera->getPosition();
        const om::Translation forward = view.camera->getForward();
        return -((after.x - before.x) * forward.x + (after.y - before.y) * forward.y +
                 (after.z - before.z) * forward.z);
    };
    QVERIFY(std::abs(moved(120) - 0.15F) < 1e-5F);
    QVERIFY(std::abs(moved(-120) + 0.15F) < 1e-5F);
    QCOMPARE(moved(7), 0.0F);
    QCOMPARE(moved(-7), 0.0F);
    QVERIFY(std::abs(moved(-8) + 0.01F) < 1e-5F);
    QCOMPARE(moved(0), 0.0F);
}

void TestOgl3dWidgetWindow::diagonalTurnOfTheWheelMovesByEachAxisOnce()
{
    SceneView view;
    QVERIFY(view.showScene(320, 240, 2));
    const om::Translation first = view.camera->getPosition();
    const auto moved = [&] {
        const om::Translation now = view.camera->getPosition();
        const om::Translation forward = view.camera->getForward();
        return -((now.x - first.x) * forward.x + (now.y - first.y) * forward.y +
                 (now.z - first.z) * forward.z);
    };
    wheel(view, {240, 120}, 120, Qt::Vertical);
    QVERIFY2(std::abs(moved() - 0.15F) < 1e-5F, qPrintable(QString::number(double(moved()))));
    wheel(view, {}, 240, Qt::Horizontal);
    QVERIFY2(std::abs(moved() - 0.45F) < 1e-5F, qPrintable(QString::number(double(moved()))));
}

void TestOgl3dWidgetWindow::keysLeaveTheirMotion_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<float>("x");
    QTest::addColumn<float>("y");
    QTest::newRow("Left") << int(Qt::Key_Left) << -0.1F << 0.0F;
    QTest::newRow("Right") << int(Qt::Key_Right) << 0.1F << 0.0F;
    QTest::newRow("Up") << int(Qt::Key_Up) << 0.0F << -0.1F;
    QTest::newRow("Down") << int(Qt::Key_Down) << 0.0F << 0.1F;
}

void TestOgl3dWidgetWindow::keysLeaveTheirMotion()
{
    QFETCH(int, key);
    QFETCH(float, x);
    QFETCH(float, y);
    SceneView view;
    QVERIFY(view.showScene(320, 240, 2));
    QTest::keyClick(&view, static_cast<Qt::Key>(key));
    QCOMPARE(view.mouseMotion.x, x);
    QCOMPARE(view.mouseMotion.y, y);
    const om::Translation now = view.camera->getPosition();
    const double distance =
        std::hypot(double(now.x) + 0.0542544, double(now.y) + 0.109509, double(now.z) + 0.270714);
    QVERIFY(std::abs(distance - 0.01) < 1e-6);
}

void TestOgl3dWidgetWindow::borderIsTwoRoundedLinesOnAllFourSides()
{
    BorderView view;
    QVERIFY(view.showOnScreen(320, 220));
    const QImage picture = view.picture();
    // At the right and the bottom the lines are directly at the edge, and half of the grey one is
    // outside.
    constexpr int alongSides = 10;
    constexpr int atCorners = 80; // the painter draws arcs with few straight pieces
    const RoundedLine dark{QRectF(-1, -1, 323, 222), 10, 5, qRgb(25, 25, 25)};
    const RoundedLine grey{QRectF(1, 1, 319, 219), 10, 1, qRgb(60, 60, 60)};
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QRgb wanted = sampled({x, y}, {grey, dark}, bright);
            const bool corner = (x < 14 || x >= 306) && (y < 14 || y >= 206);
            QVERIFY2(isColour(picture.pixel(x, y), wanted, corner ? atCorners : alongSides),
                     qPrintable(QStringLiteral("%1 %2: %3, not %4")
                                    .arg(x)
                                    .arg(y)
                                    .arg(picture.pixel(x, y), 0, 16)
                                    .arg(wanted, 0, 16)));
        }
    }
}

void TestOgl3dWidgetWindow::borderIsPaintedToTheLastPixel()
{
    QImage reference;
    {
        BorderReference view;
        QVERIFY(view.showOnScreen(320, 220));
        reference = view.picture();
    }
    BorderView view;
    QVERIFY(view.showOnScreen(320, 220));
    QCOMPARE(view.picture(), reference);
}

void TestOgl3dWidgetWindow::borderSurroundsTheScene()
{
    SceneView view;
    QVERIFY(view.showScene(320, 220, 2));
    const QImage picture = view.picture();
    int grey = 0;
    for (int y = 20; y < 200; ++y) {
        const QRgb left = picture.pixel(qRed(picture.pixel(0, y)) > 35 ? 0 : 1, y);
        grey += qRed(left) > 35 && isColour(left, qRgb(50, 50, 50), 14) ? 1 : 0;
    }
    QVERIFY2(grey > 150, qPrintable(QString::number(grey))); // lines of the scene end there
}

void TestOgl3dWidgetWindow::drawableIsMeasuredInDevicePixels()
{
    SceneView view;
    QVERIFY(view.showOnScreen(410, 230));
    QCOMPARE(view.viewWidth, 410.0F);
    QCOMPARE(view.viewHeight, 230.0F);

    FineView fine;
    fine.resizeGL(100, 50);
    QCOMPARE(fine.viewWidth, 200.0F);
    QCOMPARE(fine.viewHeight, 100.0F);
}

void TestOgl3dWidgetWindow::drawableIsMeasuredAgainOnAnotherScreen()
{
    FineView view;
    view.ratio = 1;
    QVERIFY(view.showOnScreen(410, 230));
    QCOMPARE(view.viewWidth, 410.0F);
    view.ratio = 2;
    QEvent otherScreen(QEvent::ScreenChangeInternal);
    QCoreApplication::sendEvent(&view, &otherScreen);
    QCOMPARE(view.viewWidth, 820.0F);
    QCOMPARE(view.viewHeight, 460.0F);
}

void TestOgl3dWidgetWindow::resizeSetsTheWholeViewport()
{
    SceneView view;
    QVERIFY(view.showOnScreen(320, 240));
    view.makeCurrent();
    FineView fine;
    fine.resizeGL(100, 50);
    QCOMPARE(viewport(), QRect(0, 0, 200, 100));
}

void TestOgl3dWidgetWindow::viewportIsTheCentredSquare_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRect>("expected");
    QTest::newRow("wide: higher than the view") << QSize(640, 480) << QRect(0, -80, 640, 640);
    QTest::newRow("tall: wider than the view") << QSize(300, 500) << QRect(-100, 0, 500, 500);
    QTest::newRow("square") << QSize(400, 400) << QRect(0, 0, 400, 400);
}

void TestOgl3dWidgetWindow::viewportIsTheCentredSquare()
{
    QFETCH(QSize, size);
    QFETCH(QRect, expected);
    SceneView view;
    QVERIFY(view.showScene(size.width(), size.height(), 2));
    view.makeCurrent();
    view.visualize();
    QCOMPARE(viewport(), expected);
}

void TestOgl3dWidgetWindow::overlayColoursFollowTheStatus_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("moving");
    QTest::addColumn<bool>("falling");
    QTest::newRow("still") << 0 << false << false;
    QTest::newRow("moving") << 1 << true << false;
    QTest::newRow("falling") << 2 << true << true;
    QTest::newRow("another") << -1 << true << true;
}

void TestOgl3dWidgetWindow::overlayColoursFollowTheStatus()
{
    QFETCH(int, status);
    QFETCH(bool, moving);
    QFETCH(bool, falling);
    OverlayView view;
    view.status = status;
    QVERIFY(view.showOnScreen(320, 220));
    const QImage picture = view.picture();

    const QFont font(QStringLiteral("font-family: Roboto; font-weight: Medium; font-size: 15pt;"));
    const QFontMetrics metrics(font);
    const QRect first = metrics.boundingRect(QStringLiteral("Camera Moving"));
    const QRect second = metrics.boundingRect(QStringLiteral("Camera Falling"));
    const double w = std::max(first.width(), second.width()) * 1.3;
    const double h = first.height() * 1.3;
    const QRectF boxes[] = {QRectF(10, 10, w, h), QRectF(10, h * 1.3 + 10, w, h)};
    const bool lit[] = {moving, falling};
    for (int i = 0; i < 2; ++i) {
        // Beside the text; the fill's alpha of 150 lets the background through.
        const QPoint inside(int(boxes[i].left()) + 5, int(boxes[i].center().y()));
        const QRgb pixel = picture.pixel(inside);
        QVERIFY2(lit[i] ? isColour(pixel, qRgb(160, 131, 10), 4)
                        : isColour(pixel, qRgb(160, 160, 160), 4),
                 qPrintable(QString::number(pixel, 16)));
        int dark = 0;
        for (int y = int(boxes[i].top()) + 2; y < int(boxes[i].bottom()) - 2; ++y) {
            for (int x = int(boxes[i].left()) + 4; x < int(boxes[i].right()) - 4; ++x) {
                dark += isColour(picture.pixel(x, y), qRgb(30, 30, 30), 12) ? 1 : 0;
            }
        }
        QVERIFY2(dark > 20, "no text");
        const QPoint below(int(boxes[i].center().x()), int(std::ceil(boxes[i].bottom())) + 2);
        QVERIFY(isColour(picture.pixel(below), qRgb(25, 25, 25), 2));
    }
}

void TestOgl3dWidgetWindow::overlayBoxesAreOutlined()
{
    OverlayView view;
    QVERIFY(view.showOnScreen(320, 220));
    const QImage picture = view.picture();
    const QFontMetrics metrics(
        QFont(QStringLiteral("font-family: Roboto; font-weight: Medium; font-size: 15pt;")));
    const double h = metrics.boundingRect(QStringLiteral("Camera Moving")).height() * 1.3;
    for (const double top : {10.0, h * 1.3 + 10}) {
        // Directly above the inside of the box is the outline instead of the fill.
        const int edge = static_cast<int>(std::round(top));
        bool outlined = false;
        for (int y = edge - 2; y <= edge + 1; ++y) {
            outlined = outlined || isColour(picture.pixel(60, y), qRgb(150, 150, 150), 3);
        }
        QVERIFY(outlined);
        // Rounded: the corner itself is free.
        QVERIFY(isColour(picture.pixel(10, edge), qRgb(25, 25, 25), 3));
    }
}

void TestOgl3dWidgetWindow::overlayIsTheReference()
{
    OverlayView view;
    view.status = 1;
    QVERIFY(view.showOnScreen(320, 220));
    const QImage picture = view.picture();
    view.hide();
    OverlayReference reference;
    QVERIFY(reference.showOnScreen(320, 220));
    QCOMPARE(picture, reference.picture());
}

void TestOgl3dWidgetWindow::overlayTranslatesItsLabels()
{
    LongFirstLabel translator;
    QVERIFY(QCoreApplication::installTranslator(&translator));
    OverlayView view;
    QVERIFY(view.showOnScreen(600, 220));
    const QImage picture = view.picture();
    QCoreApplication::removeTranslator(&translator);
    QCOMPARE(translator.asked,
             (QSet<QString>{QStringLiteral("Camera Moving"), QStringLiteral("Camera Falling")}));
    // Both boxes are as wide as the longer label needs.
    const QFontMetrics metrics(
        QFont(QStringLiteral("font-family: Roboto; font-weight: Medium; font-size: 15pt;")));
    const QRect label = metrics.boundingRect(LongFirstLabel::text());
    const double right = 10 + label.width() * 1.3;
    const double h = label.height() * 1.3;
    QVERIFY(right < 580);
    for (const double middle : {10 + h / 2, h * 1.3 + 10 + h / 2}) {
        const int y = static_cast<int>(middle);
        QVERIFY(isColour(picture.pixel(static_cast<int>(right) - 4, y), qRgb(160, 160, 160), 4));
        QVERIFY(isColour(picture.pixel(static_cast<int>(right) + 4, y), qRgb(25, 25, 25), 2));
    }
}

void TestOgl3dWidgetWindow::overlayIsNotShownByItself()
{
    SceneView view;
    QVERIFY(view.showOnScreen(320, 220));
    const QImage still = view.picture();
    view.setCameraMovingStatus(2);
    QCOMPARE(view.picture(), still);
}

int main(int argc, char** argv)
{
    QSurfaceFormat format; // as the program requests it
    format.setSamples(16);
    QSurfaceFormat::setDefaultFormat(format);
    QApplication application(argc, argv);
    TestOgl3dWidgetWindow test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_ogl3dwidget_window.moc"
