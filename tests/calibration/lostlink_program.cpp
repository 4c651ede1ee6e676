/// A calibration dialog whose camera is unplugged, for tst_lostlink: it then ends the process, so
/// it needs a separate one.
///
///     lostlink_program STEP    healthy: leaves with a camera that answers, exit status 0
///                              exit, start, destroy: what is done after the link was lost
///                              refused: exit, after a start with a link that would not open

#include "calibration/dialogfixture.h"

#include <QApplication>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

/// A dialog whose link could not be opened is started nevertheless: its thread finds no camera.
int startWithoutALink(om::bench::Bench& bench)
{
    bench.changeFaults(benchcamera::serial,
                       [](om::bench::Faults& faults) { faults.mcuOpenRefused = true; });
    MessageBoxes boxes;
    for (int i = 0; i < 3; ++i) {
        boxes.expect("Ok");
    }
    auto dialog = std::make_unique<MagCalibDlg>(static_cast<int>(benchcamera::serial), nullptr);
    MagCalibDlgProbe probe{*dialog};
    dialog->show();
    QTest::mouseClick(probe.ui->pushButton_start, Qt::LeftButton);
    if (!QTest::qWaitFor([&] { return boxes.seen.size() == 3 && !probe.updateTimer.isActive(); },
                         20000)) {
        return 4;
    }
    // On a slow machine the thread gives up while the start's own box is still open.
    const bool lostWasTold =
        std::any_of(boxes.seen.begin(), boxes.seen.end(),
                    [](const SeenBox& box) { return box.text == "Error retrieving sensors data"; });
    if (probe.running() || !probe.grabThread.joinable() || !probe.mcuClosed || !lostWasTold) {
        return 5;
    }
    std::puts("lost");
    QTest::mouseClick(probe.ui->pushButton_exit, Qt::LeftButton);
    std::puts(dialog->isVisible() ? "still open" : "accepted");
    std::fflush(stdout);
    dialog.reset();
    std::puts("survived");
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    if (argc != 2) {
        return 2;
    }
    const char* const step = argv[1];

    om::bench::Bench& bench = benchcamera::setUp();
    if (std::strcmp(step, "refused") == 0) {
        return startWithoutALink(bench);
    }
    bench.camera(benchcamera::serial)->readerScript().set({benchcamera::record(1, 1)});
    MessageBoxes boxes;
    auto dialog = std::make_unique<MagCalibDlg>(static_cast<int>(benchcamera::serial), nullptr);
    MagCalibDlgProbe probe{*dialog};
    dialog->show();
    if (!QTest::qWaitFor([&] { return probe.running(); }, 20000)) {
        return 3;
    }

    if (std::strcmp(step, "healthy") == 0) {
        QTest::mouseClick(probe.ui->pushButton_exit, Qt::LeftButton);
        dialog.reset();
        return 0;
    }

    boxes.expect("Ok");
    bench.unplug(benchcamera::serial);
    if (!QTest::qWaitFor([&] { return boxes.seen.size() == 1 && !probe.updateTimer.isActive(); },
                         20000)) {
        return 4;
    }
    if (probe.running() || !probe.grabThread.joinable() ||
        boxes.seen[0].text != "Error retrieving sensors data") {
        return 5;
    }
    std::puts("lost");
    std::fflush(stdout);

    if (std::strcmp(step, "start") == 0) {
        bench.plug(benchcamera::serial);
        QTest::mouseClick(probe.ui->pushButton_start, Qt::LeftButton);
    } else {
        if (std::strcmp(step, "exit") == 0) {
            QTest::mouseClick(probe.ui->pushButton_exit, Qt::LeftButton);
            std::puts(dialog->isVisible() ? "still open" : "accepted");
            std::fflush(stdout);
        }
        dialog.reset();
    }
    std::puts("survived");
    return 0;
}
