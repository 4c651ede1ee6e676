/// A window with only the image view, with a camera of the bench or, in a build with the vendor's
/// library and CUDA, a real one. Takes a picture like this:
///     tests/support/run-test --display build/debug/bin/image_window --shot image.png
#include "gpu/OGL2DWidget.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QScreen>
#include <QTimer>

#include <om_tiv/om_tiv.h>

#include <cstdio>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QCommandLineParser options;
    options.setApplicationDescription("The image view alone, with the first camera of the bus.");
    options.addHelpOption();
    options.addOptions({
        {"view", "0 left, 1 right, 8 both side by side.", "number", "0"},
        {"size", "Size of the window.", "w,h", "960,540"},
        {"shot", "Writes a screenshot of the display after a second and ends.", "file"},
    });
    options.process(application);

    const std::vector<om::DeviceProperties> devices = om::Camera::getDeviceList();
    if (devices.empty()) {
        std::fprintf(stderr, "image_window: no camera\n");
        return 1;
    }
    om::InputType input;
    input.setFromSerialNumber(devices.front().serialNumber, om::BUS_TYPE::USB);
    om::InitParameters parameters;
    parameters.resolution = om::RESOLUTION::HD720;
    parameters.input = input;
    om::Camera camera;
    if (camera.open(parameters) != om::ERROR_CODE::SUCCESS) {
        std::fprintf(stderr, "image_window: the camera does not open\n");
        return 1;
    }

    om::Mat image;
    OGL2DWidget view(nullptr);
    const QStringList size = options.value("size").split(',');
    view.setGeometry(0, 0, size.value(0).toInt(), size.value(1).toInt());
    view.show();
    view.cudaContext = camera.getCUDAContext();

    bool ready = false;
    QObject::connect(&view, &OGL2DWidget::init, [&ready](bool good) { ready = good; });
    QTimer frames;
    QObject::connect(&frames, &QTimer::timeout, [&] {
        if (camera.grab(om::RuntimeParameters()) != om::ERROR_CODE::SUCCESS) {
            return;
        }
        camera.retrieveImage(image, static_cast<om::VIEW>(options.value("view").toInt()),
                             om::MEM::GPU, om::Resolution());
        if (!ready) {
            const om::Resolution full = image.getResolution();
            view.InitGLProcess(static_cast<int>(full.width), static_cast<int>(full.height),
                               static_cast<int>(image.getStepBytes(om::MEM::GPU)));
        }
        view.gpuImage = image.getPtr(om::MEM::GPU);
        view.Ingest();
        view.update();
    });
    frames.start(0);

    if (options.isSet("shot")) {
        QTimer::singleShot(1000, [&] {
            const QPixmap shot = QApplication::primaryScreen()->grabWindow(
                0, view.x(), view.y(), view.width(), view.height());
            QApplication::exit(ready && shot.save(options.value("shot")) ? 0 : 1);
        });
    }
    const int result = QApplication::exec();
    frames.stop();
    view.Deinit(); // before the image goes
    return result;
}
