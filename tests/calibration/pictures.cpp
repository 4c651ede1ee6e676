/// Pictures of the calibration dialog for the documentation, on a camera that is tumbled for a
/// minute of the bench's time:
///
///     calibration_pictures FOLDER    writes calibration-before.png, calibration-while.png,
///                                    calibration-after.png, calibration-store.png (the question)
///                                    and calibration-stored.png
///
/// Run below tests/support/run-test --display.

#include "calibration/dialogfixture.h"
#include "support/waiting.h"

#include "world/sensor_source.h"

#include <QApplication>
#include <QScreen>

#include <cstdio>

using om::bench::Bench;
using om::bench::CALL;
using om::bench::STREAM;
using om::bench::theBench;

namespace {

constexpr unsigned int serial = 31415926;

/// Advances the bench's time, with every reading handled.
void pass(std::chrono::milliseconds time)
{
    Bench& bench = theBench();
    const auto source = bench.camera(serial)->source();
    constexpr std::chrono::milliseconds step(15);
    for (std::chrono::milliseconds passed{0}; passed < time; passed += step) {
        const auto before = source->newest(STREAM::MAGNETOMETER, bench.clock().now());
        bench.log().clear();
        bench.clock().advance(step);
        if (source->newest(STREAM::MAGNETOMETER, bench.clock().now()) == before) {
            continue;
        }
        if (!waiting::waitFor([&] { return bench.log().count(CALL::MCU_CALC_MAG_HEADING) > 0; })) {
            qFatal("no reading comes");
        }
        // The next read means that this reading has been handled.
        const std::uint64_t reads = bench.log().count(CALL::MCU_GET_READER_DATA);
        if (!waiting::waitFor(
                [&] { return bench.log().count(CALL::MCU_GET_READER_DATA) > reads; })) {
            qFatal("no reading comes");
        }
        QCoreApplication::processEvents();
    }
    QTest::qWait(350); // for the labels
}

bool take(const QWidget& window, const QString& path)
{
    const bool written = window.screen()->grabWindow(window.winId()).save(path);
    std::printf("%s %s\n", written ? "wrote" : "cannot write", qPrintable(path));
    return written;
}

} // namespace

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    if (argc != 2) {
        std::fputs("usage: calibration_pictures FOLDER\n", stderr);
        return 2;
    }
    const QString folder = argv[1];

    Bench& bench = theBench();
    bench.reset();
    bench.clock().setManual(1'000 * om::bench::nsPerS);
    om::bench::CameraConfig config;
    config.serialNumber = serial;
    bench.addCamera(config);
    bench.log().setHighRate(true);

    MessageBoxes boxes;
    MagCalibDlg dialog(static_cast<int>(serial), nullptr);
    const MagCalibDlgProbe probe{dialog};
    dialog.show();
    if (!QTest::qWaitForWindowExposed(&dialog) ||
        !QTest::qWaitFor([&probe] { return probe.running(); }, 20000)) {
        return 1;
    }
    const auto press = [&boxes](QPushButton* button, const char* answer) {
        boxes.expect(answer);
        QTest::mouseClick(button, Qt::LeftButton);
    };

    pass(std::chrono::seconds(8));
    bool written = take(dialog, folder + "/calibration-before.png");
    press(probe.ui->pushButton_start, "Ok");
    pass(std::chrono::seconds(30));
    written = take(dialog, folder + "/calibration-while.png") && written;
    pass(std::chrono::seconds(60));
    press(probe.ui->pushButton_start, "Ok");
    pass(std::chrono::seconds(1));
    written = take(dialog, folder + "/calibration-after.png") && written;
    boxes.expect("Ok", [&folder, &written] {
        QWidget* const box = QApplication::activeModalWidget();
        (void)QTest::qWaitForWindowExposed(box);
        QTest::qWait(100);
        written = take(*box, folder + "/calibration-store.png") && written;
    });
    QTest::mouseClick(probe.ui->pushButton_save_calib, Qt::LeftButton);
    pass(std::chrono::seconds(40));
    written = take(dialog, folder + "/calibration-stored.png") && written;
    QTest::mouseClick(probe.ui->pushButton_exit, Qt::LeftButton);
    return written && boxes.unexpected == 0 ? 0 : 1;
}
