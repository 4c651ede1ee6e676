/// A window with only the 3D view, to look at the meshes. Takes a picture of them like this:
///     tests/support/run-test --display build/debug/bin/scene_window --model 1 --shot mesh.png
#include "camera/ProgramStates.h"
#include "gpu/CameraGL.h"
#include "gpu/OGL3DWidget.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QScreen>
#include <QSurfaceFormat>
#include <QTimer>

#include <cmath>
#include <cstdio>

namespace {

class View : public OGL3DWidget
{
public:
    using OGL3DWidget::OGL3DWidget;

    /// Moves the viewer along its axis, as the wheel does.
    void approach(float metres)
    {
        const om::Translation forward = camera->getForward();
        camera->translate(
            om::Translation(-forward.x * metres, -forward.y * metres, -forward.z * metres));
    }
};

om::Vector3<float> triple(const QString& text)
{
    const QStringList parts = text.split(',');
    return {parts.value(0).toFloat(), parts.value(1).toFloat(), parts.value(2).toFloat()};
}

} // namespace

int main(int argc, char** argv)
{
    QSurfaceFormat format;
    format.setSamples(16);
    QSurfaceFormat::setDefaultFormat(format);
    QApplication application(argc, argv);

    QCommandLineParser options;
    options.setApplicationDescription("The 3D view alone.");
    options.addHelpOption();
    options.addOptions({
        {"model", "Camera model, 0 to 5.", "number", "0"},
        {"turn", "Turns of the camera about x, then y, then z, degrees.", "x,y,z", "0,0,0"},
        {"acceleration", "Unit vector.", "x,y,z", "0,0,0"},
        {"still", "The acceleration of a camera that is held still."},
        {"steps", "Steps of the wheel towards the scene, 0.01 m each.", "number", "0"},
        {"size", "Size of the window.", "w,h", "640,480"},
        {"shot", "Writes a screenshot of the display and ends.", "file"},
    });
    options.process(application);

    ProgramStates::setIntAttr(ProgramStates::cameraModel, options.value("model").toInt());
    View view;
    const om::Vector3<float> size = triple(options.value("size"));
    view.resize(static_cast<int>(size.x), static_cast<int>(size.y));
    view.move(0, 0);
    view.show();

    const auto build = [&] {
        view.InitProcess();
        view.approach(options.value("steps").toFloat() * 0.01F);
        om::Orientation pose;
        const om::Vector3<float> turn = triple(options.value("turn"));
        const auto radians = [](float degrees) {
            return degrees * static_cast<float>(M_PI) / 180.0F;
        };
        pose = om::Orientation(om::Rotation(radians(turn.z), om::Translation(0, 0, 1))) *
               om::Orientation(om::Rotation(radians(turn.y), om::Translation(0, 1, 0))) *
               om::Orientation(om::Rotation(radians(turn.x), om::Translation(1, 0, 0)));
        view.setCameraModelOr(pose);
        om::Vector3<float> a = triple(options.value("acceleration"));
        if (options.isSet("still")) {
            om::Orientation back = pose;
            back.ow = -back.ow;
            const om::Translation up = om::Translation(0, 1, 0) * back;
            a = {up.x, up.y, up.z};
        }
        view.setAccStrenght(a.x, a.y, a.z);
        std::printf("%d samples, OpenGL %d.%d\n", view.format().samples(),
                    view.format().majorVersion(), view.format().minorVersion());
    };
    const auto shoot = [&] {
        if (options.isSet("shot")) {
            const QPixmap shot = QApplication::primaryScreen()->grabWindow(
                0, view.x(), view.y(), view.width(), view.height());
            QApplication::exit(shot.save(options.value("shot")) ? 0 : 1);
        }
    };
    QTimer::singleShot(100, build);
    QTimer::singleShot(700, shoot);
    QTimer repaint;
    QObject::connect(&repaint, &QTimer::timeout, &view, QOverload<>::of(&QWidget::update));
    repaint.start(40);
    return QApplication::exec();
}
