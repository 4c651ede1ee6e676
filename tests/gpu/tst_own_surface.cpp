/// An OpenGL view with a native window of its own, inside another window.
#include "gpu/own_surface.h"

#include <QApplication>
#include <QFrame>
#include <QLabel>
#include <QOpenGLFunctions>
#include <QOpenGLWidget>
#include <QScreen>
#include <QSurfaceFormat>
#include <QVBoxLayout>
#include <QWindow>
#include <QtTest>

namespace {

constexpr QRgb viewColour = qRgb(200, 100, 0);
constexpr QRgb windowColour = qRgb(0, 60, 120);

/// One colour.
class FlatView : public QOpenGLWidget
{
public:
    using QOpenGLWidget::QOpenGLWidget;

protected:
    void paintGL() override
    {
        QOpenGLFunctions* const gl = context()->functions();
        gl->glClearColor(200.0F / 255.0F, 100.0F / 255.0F, 0.0F, 1.0F);
        gl->glClear(GL_COLOR_BUFFER_BIT);
    }
};

/// A window with the view in two frames, and a label beside the inner one.
class Window : public QWidget
{
public:
    Window()
    {
        setWindowFlags(Qt::FramelessWindowHint);
        setGeometry(0, 0, 400, 300);
        setPalette(QColor(windowColour));
        outer.setGeometry(20, 10, 300, 250);
        inner.setGeometry(30, 40, 200, 150);
        view.setGeometry(5, 6, 160, 120);
        label.setGeometry(30, 200, 100, 30);
        new OwnSurface(&view);
    }

    QRgb shown(QPoint at) const
    {
        return QGuiApplication::primaryScreen()
            ->grabWindow(0, at.x(), at.y(), 1, 1)
            .toImage()
            .pixel(0, 0);
    }

    QFrame outer{this};
    QFrame inner{&outer};
    FlatView view{&inner};
    QLabel label{&outer};
};

} // namespace

class TestOwnSurface : public QObject
{
    Q_OBJECT

private slots:
    void neitherWindowHasSamplesAndTheViewKeepsItsOwn();
    void onlyTheViewGetsANativeWindow();
    void otherWidgetsAreShownWithoutComposingTheView();
    void viewIsShownInItsPlace_data();
    void viewIsShownInItsPlace();
};

void TestOwnSurface::neitherWindowHasSamplesAndTheViewKeepsItsOwn()
{
    Window window;
    const int wanted = QSurfaceFormat::defaultFormat().samples();
    QCOMPARE(wanted, 16);
    QCOMPARE(window.view.format().samples(), wanted);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window, waiting::patienceMs));
    QCOMPARE(window.windowHandle()->requestedFormat().samples(), 0);
    QCOMPARE(window.view.windowHandle()->requestedFormat(),
             window.windowHandle()->requestedFormat());
    window.view.makeCurrent();
    GLint samples = 0;
    window.view.context()->functions()->glGetIntegerv(GL_SAMPLES, &samples);
    QVERIFY2(samples > 1, qPrintable(QString::number(samples))); // as many as the driver has
}

void TestOwnSurface::onlyTheViewGetsANativeWindow()
{
    Window window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window, waiting::patienceMs));
    QVERIFY(window.view.internalWinId() != 0);
    for (const QWidget* const widget :
         {static_cast<QWidget*>(&window.outer), static_cast<QWidget*>(&window.inner),
          static_cast<QWidget*>(&window.label)}) {
        QVERIFY(widget->internalWinId() == 0);
    }
}

void TestOwnSurface::otherWidgetsAreShownWithoutComposingTheView()
{
    Window window;
    window.label.setAutoFillBackground(true);
    window.show();
    QTRY_COMPARE(window.shown({80, 80}), viewColour);
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    QSignalSpy composed(&window.view, &QOpenGLWidget::aboutToCompose);
    for (const QRgb colour : {qRgb(10, 200, 10), qRgb(200, 10, 200)}) {
        window.label.setPalette(QColor(colour));
        window.label.repaint(); // handles no events of the view
        QCOMPARE(window.shown({60, 220}), colour);
    }
    QCOMPARE(composed.size(), 0);
    window.view.update();
    QTRY_VERIFY(!composed.isEmpty());
}

void TestOwnSurface::viewIsShownInItsPlace_data()
{
    QTest::addColumn<QPoint>("outer");
    QTest::addColumn<QPoint>("inner");
    QTest::addColumn<QPoint>("view");
    const QPoint outer(20, 10);
    const QPoint inner(30, 40);
    const QPoint view(5, 6);
    QTest::newRow("at first") << outer << inner << view;
    QTest::newRow("moved") << outer << inner << QPoint(25, 16);
    QTest::newRow("its frame moved") << outer << QPoint(60, 70) << view;
    QTest::newRow("the frame around that moved") << QPoint(80, 40) << inner << view;
}

void TestOwnSurface::viewIsShownInItsPlace()
{
    QFETCH(QPoint, outer);
    QFETCH(QPoint, inner);
    QFETCH(QPoint, view);
    Window window;
    window.show();
    QTRY_COMPARE(window.shown({80, 80}), viewColour);
    window.outer.move(outer);
    window.inner.move(inner);
    window.view.move(view);
    const QRect place(outer + inner + view, window.view.size());
    QCOMPARE(window.view.windowHandle()->geometry(), place);
    QTRY_COMPARE(window.shown(place.topLeft()), viewColour);
    QTRY_COMPARE(window.shown(place.bottomRight()), viewColour);
    QTRY_COMPARE(window.shown(place.topLeft() - QPoint(1, 1)), windowColour);
    QTRY_COMPARE(window.shown(place.bottomRight() + QPoint(1, 1)), windowColour);
}

int main(int argc, char** argv)
{
    QSurfaceFormat format; // as the program requests it
    format.setSamples(16);
    QSurfaceFormat::setDefaultFormat(format);
    QApplication application(argc, argv);
    TestOwnSurface test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_own_surface.moc"
