/// @file
/// A calibration dialog with a camera on the virtual bench, for the dialog's tests.
#pragma once

#include "calibration/benchcamera.h"
#include "calibration/magcalibdlgprobe.h"
#include "calibration/messageboxes.h"

#include <QtTest>

#include <memory>
#include <vector>

/// One camera that answers without new readings until feed() adds some, and one dialog that uses
/// it.
class DialogFixture
{
public:
    /// @param withDialog false: open() creates the dialog
    explicit DialogFixture(bool withDialog = true, om::MODEL model = om::MODEL::TIV_Q,
                           unsigned int number = benchcamera::serial)
        : bench(benchcamera::setUp(model, number)), serial(number)
    {
        bench.camera(serial)->readerScript().set({benchcamera::record(1, 1)});
        bench.camera(serial)->poseScript().set({benchcamera::pose(2, 0.5F, 33.0, 77.5)});
        if (withDialog) {
            open();
        }
    }

    ~DialogFixture() { close(); }
    DialogFixture(const DialogFixture&) = delete;
    DialogFixture& operator=(const DialogFixture&) = delete;

    void open()
    {
        dialog = std::make_unique<MagCalibDlg>(static_cast<int>(serial), nullptr);
        probe = std::make_unique<MagCalibDlgProbe>(MagCalibDlgProbe{*dialog});
        if (!probe->mcuClosed) {
            waitForThread();
        }
    }

    /// The thread is in its loop, as a dialog that is left before would not join it, and has read:
    /// a link that is stopped before the first reading has none to repeat, and counts as lost.
    void waitForThread()
    {
        QTRY_VERIFY(running());
        settle();
    }

    bool running() const { return probe->running(); }
    void setCalibrating(bool on) { probe->setCalibrating(on); }

    /// Deletes the dialog. A thread that gave up is joined first, which the dialog itself does not.
    void close()
    {
        if (probe && !running() && probe->grabThread.joinable()) {
            probe->grabThread.join();
        }
        probe.reset();
        dialog.reset();
    }

    /// Passes these records to the thread and waits until it has handled them. After them nothing
    /// is new.
    void feed(std::vector<om::IMUReaderData> records)
    {
        records.push_back(benchcamera::record(1, 1));
        settle(); // nothing of before is left
        const std::uint64_t total =
            bench.camera(serial)->readerScript().status().delivered + records.size();
        bench.camera(serial)->readerScript().append(std::move(records));
        QTRY_VERIFY(bench.camera(serial)->readerScript().status().delivered == total);
        settle();
    }

    /// Waits for two more reads, after which everything read before has been handled.
    void settle()
    {
        const std::uint64_t calls = bench.camera(serial)->readerScript().status().calls;
        QTRY_VERIFY(bench.camera(serial)->readerScript().status().calls > calls + 1);
    }

    /// Waits for more reads than a thread without a link outlives, unless it ends before.
    void readOn()
    {
        constexpr auto read = om::bench::CALL::MCU_GET_READER_DATA; // of a stopped link too
        bench.log().setHighRate(true);
        const std::uint64_t calls = bench.log().count(read);
        QTRY_VERIFY(bench.log().count(read) > calls + 150 || !running());
        bench.log().setHighRate(false);
    }

    om::bench::Bench& bench;
    const unsigned int serial;
    MessageBoxes boxes;
    std::unique_ptr<MagCalibDlg> dialog;
    std::unique_ptr<MagCalibDlgProbe> probe;
};
