/// A calibration dialog whose camera is unplugged, for tst_lostlink: what it does then ends the
/// process, so it needs one of its own.
///
///     lostlink_program STEP    healthy: leaves with a camera that answers, exit status 0
///                              exit, start, destroy: the same after the link was lost

#include "calibration/dialogfixture.h"

#include <QApplication>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    if (argc != 2)
        return 2;
    const char* const step = argv[1];

    om::bench::Bench& bench = benchcamera::setUp();
    bench.scriptReader(benchcamera::serial, {benchcamera::record(1, 1)});
    MessageBoxes boxes;
    auto dialog = std::make_unique<MagCalibDlg>(static_cast<int>(benchcamera::serial), nullptr);
    MagCalibDlgProbe probe{*dialog};
    dialog->show();
    if (!QTest::qWaitFor([&] { return probe.running(); }, 20000))
        return 3;

    if (std::strcmp(step, "healthy") == 0) {
        QTest::mouseClick(probe.ui->pushButton_exit, Qt::LeftButton);
        dialog.reset();
        return 0;
    }

    boxes.expect("Ok");
    bench.unplug(benchcamera::serial);
    if (!QTest::qWaitFor([&] { return boxes.seen.size() == 1 && !probe.updateTimer.isActive(); },
                         20000))
        return 4;
    if (probe.running() || !probe.grabThread.joinable() ||
        boxes.seen[0].text != "Error retrieving sensors data")
        return 5;
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
