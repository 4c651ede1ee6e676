/// The 3D view in its place in the main window.
#include "support/viewersession.h"

#include <QScreen>
#include <QSurfaceFormat>

using namespace viewersession;

namespace {

constexpr unsigned int first = 20000001;
constexpr unsigned int second = 20000002;

/// Rows of the view's right edge that show the border's grey on the display.
int borderRows(const QWidget& view)
{
    const QPoint corner = view.mapToGlobal(QPoint(0, 0));
    const QImage edge =
        QGuiApplication::primaryScreen()
            ->grabWindow(0, corner.x() + view.width() - 1, corner.y(), 1, view.height())
            .toImage();
    int rows = 0;
    for (int y = 20; y < edge.height() - 20; ++y) {
        const QRgb pixel = edge.pixel(0, y);
        // Half of (60, 60, 60) over (25, 25, 25).
        rows += qRed(pixel) > 35 && qRed(pixel) == qGreen(pixel) && qRed(pixel) == qBlue(pixel);
    }
    return rows;
}

} // namespace

class TestViewFrame : public QObject
{
    Q_OBJECT

private slots:
    void viewStaysInItsFrameWhateverOpens();
};

void TestViewFrame::viewStaysInItsFrameWhateverOpens()
{
    bench().reset();
    bench().addCamera(camera(om::MODEL::TIV_Q, first));
    bench().addCamera(camera(om::MODEL::TIV_P, second));
    Viewer viewer;
    const QWidget& view = *viewer.ui->widget_3d_view;
    const auto check = [&](unsigned int serial) {
        QTRY_VERIFY(viewer.streams(static_cast<int>(serial)));
        QTRY_COMPARE(view.geometry(), viewer.ui->frame_ogl->contentsRect());
        // Grey but for the lines of the floor that end there.
        QTRY_VERIFY(borderRows(view) > (view.height() - 40) * 9 / 10);
    };
    const QSize window = viewer.window->size();
    check(first);
    for (const int row : {1, 0, 1}) {
        if (QTest::currentTestFailed()) {
            return;
        }
        viewer.ui->comboBox_camera_list->setCurrentIndex(row);
        check(row == 0 ? first : second);
    }
    bench().unplug(second);
    check(first);
    QCOMPARE(viewer.window->size(), window);
}

int main(int argc, char** argv)
{
    QSurfaceFormat format; // as the program requests it
    format.setSamples(16);
    QSurfaceFormat::setDefaultFormat(format);
    QApplication application(argc, argv);
    TestViewFrame test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_viewframe.moc"
