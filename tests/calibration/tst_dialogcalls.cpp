/// The dialog's calls of hidapi, of its link and of its own parts, and its state at each call. The
/// linker redirects these calls here (--wrap); all except those of hidapi are forwarded.

#include "calibration/dialogfixture.h"

#include "calibration/mag_calib.h"
#include "look/Style.h"

#include <QFont>
#include <QMap>
#include <QtTest>

#include <hidapi/hidapi.h>

#include <array>
#include <atomic>
#include <functional>
#include <list>

#include <ctime>

using benchcamera::reading;
using benchcamera::readings;
using benchcamera::record;

namespace {

constexpr unsigned short vendor = 0x7C15;

/// The devices of the machine, and the calls on them.
struct Hidapi
{
    void clear()
    {
        devices.clear();
        asked.clear();
        freed.clear();
    }

    /// @param serial null for a device that cannot be opened
    hid_device_info& add(unsigned short vendorId, unsigned short productId, const wchar_t* serial)
    {
        hid_device_info device{};
        device.vendor_id = vendorId;
        device.product_id = productId;
        device.serial_number = const_cast<wchar_t*>(serial);
        device.release_number = 0x0103;
        devices.push_back(device);
        return devices.back();
    }

    std::list<hid_device_info> devices;
    std::vector<std::array<unsigned short, 2>> asked; ///< vendor and product of each enumeration
    std::vector<const hid_device_info*> freed;
};

Hidapi hidapi;

/// Called instead of the link's stopCapture(), which it then calls.
std::function<void()> onStopCapture;
/// Called instead of the link's getIMUPose(), on the reading thread; then calls it.
std::function<void()> onPose;
/// Called instead of the fit, which it then calls.
std::function<void()> onFit;
/// Called instead of a plot's replot(), which it then calls.
std::function<void()> onReplot;
/// Called instead of the coverage counter's percentage, which it then calls.
std::function<void()> onCoverage;
/// Called instead of a widget's setFont(), which it then calls.
std::function<void(const QWidget& widget, const QFont& font)> onSetFont;

/// The mutex whose locks are counted, by the thread that takes it.
std::atomic<pthread_mutex_t*> watched{nullptr};
std::thread::id ownThread;
std::atomic<int> locksOfOwnThread{0};
std::atomic<int> locksOfOtherThreads{0};
bool heldByOwnThread = false;
std::atomic<bool> held{false};

/// Sleeps of all threads except the own one, and the sum of their requested lengths in ns.
std::atomic<int> sleepsOfOtherThreads{0};
std::atomic<long> sleepOfOtherThreads{0};

class WatchedMutex
{
public:
    explicit WatchedMutex(std::mutex& mutex)
    {
        locksOfOwnThread = 0;
        locksOfOtherThreads = 0;
        watched = mutex.native_handle();
    }
    ~WatchedMutex() { watched = nullptr; }
    WatchedMutex(const WatchedMutex&) = delete;
    WatchedMutex& operator=(const WatchedMutex&) = delete;
};

} // namespace

// Not extern "C": they return an object with constructors.
om::IMUPose realPose(om::TIVmcu* link, int sensors) asm("__real__ZN2om6TIVmcu10getIMUPoseEi");
om::IMUPose wrappedPose(om::TIVmcu* link, int sensors) asm("__wrap__ZN2om6TIVmcu10getIMUPoseEi");
om::IMUPose wrappedPose(om::TIVmcu* link, int sensors)
{
    if (onPose) {
        onPose();
    }
    return realPose(link, sensors);
}

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the linker makes these names
hid_device_info* __wrap_hid_enumerate(unsigned short vendorId, unsigned short productId);
hid_device_info* __wrap_hid_enumerate(unsigned short vendorId, unsigned short productId)
{
    hidapi.asked.push_back({vendorId, productId});
    hid_device_info* first = nullptr;
    hid_device_info** end = &first;
    for (hid_device_info& device : hidapi.devices) {
        // A device whose ids could not be read is in every list.
        const bool hasIds = device.vendor_id != 0;
        if (hasIds && ((vendorId != 0 && vendorId != device.vendor_id) ||
                       (productId != 0 && productId != device.product_id))) {
            continue;
        }
        device.next = nullptr;
        *end = &device;
        end = &device.next;
    }
    return first;
}

void __wrap_hid_free_enumeration(hid_device_info* devices);
void __wrap_hid_free_enumeration(hid_device_info* devices)
{
    hidapi.freed.push_back(devices);
}

void __real__ZN2om6TIVmcu11stopCaptureEv(om::TIVmcu* link);
void __wrap__ZN2om6TIVmcu11stopCaptureEv(om::TIVmcu* link);
void __wrap__ZN2om6TIVmcu11stopCaptureEv(om::TIVmcu* link)
{
    if (onStopCapture) {
        onStopCapture();
    }
    __real__ZN2om6TIVmcu11stopCaptureEv(link);
}

bool __real__ZN8MagCalib20ellipsoidCalibrationERN5Eigen6MatrixIdLin1ELi1ELi0ELin1ELi1EEES3_S3_d(
    MagCalib* fit, Eigen::VectorXd& x, Eigen::VectorXd& y, Eigen::VectorXd& z, double radius);
bool __wrap__ZN8MagCalib20ellipsoidCalibrationERN5Eigen6MatrixIdLin1ELi1ELi0ELin1ELi1EEES3_S3_d(
    MagCalib* fit, Eigen::VectorXd& x, Eigen::VectorXd& y, Eigen::VectorXd& z, double radius);
bool __wrap__ZN8MagCalib20ellipsoidCalibrationERN5Eigen6MatrixIdLin1ELi1ELi0ELin1ELi1EEES3_S3_d(
    MagCalib* fit, Eigen::VectorXd& x, Eigen::VectorXd& y, Eigen::VectorXd& z, double radius)
{
    if (onFit) {
        onFit();
    }
    return __real__ZN8MagCalib20ellipsoidCalibrationERN5Eigen6MatrixIdLin1ELi1ELi0ELin1ELi1EEES3_S3_d(
        fit, x, y, z, radius);
}

void __real__ZN7QwtPlot6replotEv(QwtPlot* plot);
void __wrap__ZN7QwtPlot6replotEv(QwtPlot* plot);
void __wrap__ZN7QwtPlot6replotEv(QwtPlot* plot)
{
    if (onReplot) {
        onReplot();
    }
    __real__ZN7QwtPlot6replotEv(plot);
}

int __real_nanosleep(const timespec* time, timespec* left);
int __wrap_nanosleep(const timespec* time, timespec* left);
int __wrap_nanosleep(const timespec* time, timespec* left)
{
    if (std::this_thread::get_id() != ownThread) {
        ++sleepsOfOtherThreads;
        sleepOfOtherThreads += time->tv_sec * 1'000'000'000 + time->tv_nsec;
    }
    return __real_nanosleep(time, left);
}

float __real__ZN11OrientCount14getPercNotZeroEv(OrientCount* counter);
float __wrap__ZN11OrientCount14getPercNotZeroEv(OrientCount* counter);
float __wrap__ZN11OrientCount14getPercNotZeroEv(OrientCount* counter)
{
    if (onCoverage) {
        onCoverage();
    }
    return __real__ZN11OrientCount14getPercNotZeroEv(counter);
}

void __real__ZN7QWidget7setFontERK5QFont(QWidget* widget, const QFont& font);
void __wrap__ZN7QWidget7setFontERK5QFont(QWidget* widget, const QFont& font);
void __wrap__ZN7QWidget7setFontERK5QFont(QWidget* widget, const QFont& font)
{
    if (onSetFont) {
        onSetFont(*widget, font);
    }
    __real__ZN7QWidget7setFontERK5QFont(widget, font);
}

int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
{
    const int result = __real_pthread_mutex_lock(mutex);
    if (mutex == watched.load()) {
        const bool own = std::this_thread::get_id() == ownThread;
        ++(own ? locksOfOwnThread : locksOfOtherThreads);
        heldByOwnThread = own;
        held = true;
    }
    return result;
}

int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex)
{
    if (mutex == watched.load()) {
        heldByOwnThread = false;
        held = false;
    }
    return __real_pthread_mutex_unlock(mutex);
}
// NOLINTEND(bugprone-reserved-identifier)
}

class TestDialogCalls : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void listAsksForAllDevicesOfTheVendor();
    void deviceOfAnotherVendorIsNotListed();
    void deviceWithoutASerialNumberIsListedWithout_data();
    void deviceWithoutASerialNumberIsListedWithout();
    void entryWithoutAUsableIdGetsThatOfItsSerialNumber_data();
    void entryWithoutAUsableIdGetsThatOfItsSerialNumber();
    void listIsFreedOnce_data();
    void listIsFreedOnce();

    void widgetsAreGivenTheFontsOfTheLook();
    void streamEndsBeforeTheThreadIsStopped();
    void threadTakesTheLockForEachSampleItKeeps();
    void threadHoldsTheLockForTheSampleOnly();
    void tickAsksForTheCoverageUnderTheLock();
    void tickFitsAndDrawsUnderTheLock();
    void stopFitsAndDrawsWhileCalibratingWithoutTheLock();
    void nothingNewIsPolledWithoutAPause_data();
    void nothingNewIsPolledWithoutAPause();
    void failedReadIsFollowedByAMillisecondOfSleep();
};

void TestDialogCalls::init()
{
    ownThread = std::this_thread::get_id();
    hidapi.clear();
    hidapi.add(vendor, 0xA341, L"30123456"); // that of the fixture
}

void TestDialogCalls::cleanup()
{
    onStopCapture = nullptr;
    onPose = nullptr;
    onFit = nullptr;
    onReplot = nullptr;
    onCoverage = nullptr;
    onSetFont = nullptr;
}

void TestDialogCalls::listAsksForAllDevicesOfTheVendor()
{
    DialogFixture f;
    hidapi.asked.clear();
    f.probe->updateOmDevList();
    QCOMPARE(hidapi.asked.size(), std::size_t{1});
    QCOMPARE(hidapi.asked[0][0], vendor);
    QCOMPARE(hidapi.asked[0][1], static_cast<unsigned short>(0));
}

void TestDialogCalls::deviceOfAnotherVendorIsNotListed()
{
    DialogFixture f;
    hidapi.clear();
    hidapi.add(0x046D, 0xA341, L"31000001");
    hidapi.add(vendor, 0xA241, L"21000001");
    hidapi.add(0x046D, 0, L"31000002");
    f.probe->updateOmDevList();
    QCOMPARE(f.probe->devSerials, QStringList{"21000001"});
    QCOMPARE(f.probe->devProductIds, QVector<unsigned short>{0xA241});
}

void TestDialogCalls::deviceWithoutASerialNumberIsListedWithout_data()
{
    QTest::addColumn<ushort>("product");
    QTest::addColumn<QStringList>("serials");
    // Its product id is sufficient; without this too, the device is unknown.
    QTest::newRow("with a product id") << ushort{0xA341} << QStringList{""};
    QTest::newRow("without a product id") << ushort{0} << QStringList{};
}

void TestDialogCalls::deviceWithoutASerialNumberIsListedWithout()
{
    QFETCH(ushort, product);
    QFETCH(QStringList, serials);
    DialogFixture f;
    hidapi.clear();
    hidapi.add(vendor, product, nullptr);
    f.probe->updateOmDevList();
    QCOMPARE(f.probe->devSerials, serials);
    QCOMPARE(f.probe->devProductIds.size(), serials.size());
    QCOMPARE(f.probe->devFirmware.size(), serials.size());
}

void TestDialogCalls::entryWithoutAUsableIdGetsThatOfItsSerialNumber_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<ushort>("product");
    QTest::newRow("3...") << "30123456" << ushort{0xA341};
    QTest::newRow("2...") << "20123456" << ushort{0xA241};
    QTest::newRow("1...") << "10123456" << ushort{0xA141};
    QTest::newRow("4...") << "40123456" << ushort{0};
}

void TestDialogCalls::entryWithoutAUsableIdGetsThatOfItsSerialNumber()
{
    QFETCH(QString, serial);
    QFETCH(ushort, product);
    DialogFixture f;
    const std::wstring text = serial.toStdWString();
    hidapi.clear();
    hid_device_info& device = hidapi.add(0, 0, text.c_str());
    f.probe->updateOmDevList();
    QCOMPARE(device.vendor_id, vendor);
    QCOMPARE(device.product_id, product);
}

void TestDialogCalls::listIsFreedOnce_data()
{
    QTest::addColumn<int>("devices");
    QTest::newRow("no device") << 0;
    QTest::newRow("two devices") << 2;
}

void TestDialogCalls::listIsFreedOnce()
{
    QFETCH(int, devices);
    DialogFixture f;
    hidapi.clear();
    for (int i = 0; i < devices; ++i) {
        hidapi.add(vendor, 0xA341, L"30123456");
    }
    f.probe->updateOmDevList();
    QCOMPARE(f.probe->devSerials.size(), devices);
    const hid_device_info* const first = devices > 0 ? &hidapi.devices.front() : nullptr;
    QCOMPARE(hidapi.freed, std::vector<const hid_device_info*>{first});
}

void TestDialogCalls::widgetsAreGivenTheFontsOfTheLook()
{
    // As they are set: a size in a style sheet overrides what a widget then reports.
    const Style style;
    QFont twelvePoints = style.fontPro9;
    twelvePoints.setPointSize(12);
    const QMap<QString, QFont> fonts{
        {"pushButton_start", twelvePoints},
        {"pushButton_clear_data", twelvePoints},
        {"pushButton_save_calib", twelvePoints},
        {"pushButton_reset", twelvePoints},
        {"pushButton_exit", twelvePoints},
        {"groupBox_check", twelvePoints},
        {"groupBox_mixed_calib", style.fontMonoCaps9},
        {"groupBox_mixed_raw", style.fontMonoCaps9},
        {"groupBox_plane_xy", style.fontMonoCaps9},
        {"groupBox_plane_xz", style.fontMonoCaps9},
        {"groupBox_plane_yz", style.fontMonoCaps9},
        {"label_heading_calib", style.fontMonoCaps9},
        {"label_heading_uncalib", style.fontMonoCaps9},
        {"label_mag_calib_quality", style.fontMonoCaps9},
        {"Instructionlabel", style.fontMono9},
    };
    QMap<QString, QFont> given;
    onSetFont = [&given](const QWidget& widget, const QFont& font) {
        given[widget.objectName()] = font;
    };
    const DialogFixture f;
    onSetFont = nullptr;
    QCOMPARE(given.keys(), fonts.keys());
    for (const QString& name : fonts.keys()) {
        QVERIFY2(given[name] == fonts[name], qPrintable(name));
    }
}

void TestDialogCalls::streamEndsBeforeTheThreadIsStopped()
{
    DialogFixture f;
    QPushButton* const start = f.probe->ui->pushButton_start;
    start->setChecked(true);
    start->setText("x");
    int calls = 0;
    onStopCapture = [&] {
        ++calls;
        QVERIFY(!f.probe->grabStop);
        QVERIFY(f.running());
        QVERIFY(f.probe->grabThread.joinable());
        QVERIFY(f.probe->updateTimer.isActive());
        QVERIFY(start->isChecked());
        QCOMPARE(start->text(), QString("x"));
    };
    f.probe->stopAcquisition();
    onStopCapture = nullptr;
    QCOMPARE(calls, 1);
    QVERIFY(f.probe->grabStop);
}

void TestDialogCalls::threadTakesTheLockForEachSampleItKeeps()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    f.settle();
    const WatchedMutex watch(f.probe->grabMutex);
    f.feed(readings(5));
    QCOMPARE(locksOfOtherThreads.load(), 0);
    f.setCalibrating(true);
    f.feed(readings(7, 900'000));
    f.setCalibrating(false);
    QCOMPARE(locksOfOtherThreads.load(), 7);
    QCOMPARE(locksOfOwnThread.load(), 0);
    QCOMPARE(f.probe->rawX.size(), 7);
}

void TestDialogCalls::threadHoldsTheLockForTheSampleOnly()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    f.settle();
    const WatchedMutex watch(f.probe->grabMutex);
    std::atomic<int> poses{0};
    std::atomic<int> posesUnderTheLock{0};
    onPose = [&] {
        ++poses;
        posesUnderTheLock += held ? 1 : 0;
    };
    f.setCalibrating(true);
    f.feed(readings(7));
    f.setCalibrating(false);
    QCOMPARE(locksOfOtherThreads.load(), 7);
    QCOMPARE(poses.load(), 7);
    QCOMPARE(posesUnderTheLock.load(), 0);
}

void TestDialogCalls::tickAsksForTheCoverageUnderTheLock()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    f.settle();
    const WatchedMutex watch(f.probe->grabMutex);
    int asked = 0;
    onCoverage = [&asked] {
        ++asked;
        QVERIFY(heldByOwnThread);
    };
    f.probe->onUpdateTimer();
    QCOMPARE(asked, 0);
    QCOMPARE(locksOfOwnThread.load(), 0);
    f.setCalibrating(true);
    f.probe->onUpdateTimer();
    f.setCalibrating(false);
    QCOMPARE(asked, 1);
    QCOMPARE(locksOfOwnThread.load(), 1);
    QVERIFY(!heldByOwnThread);
}

void TestDialogCalls::tickFitsAndDrawsUnderTheLock()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    f.setCalibrating(true);
    f.feed(readings(101)); // the least that a tick fits
    const WatchedMutex watch(f.probe->grabMutex);
    int fits = 0;
    int replots = 0;
    onFit = [&fits] {
        ++fits;
        QVERIFY(heldByOwnThread);
    };
    onReplot = [&replots] {
        ++replots;
        QVERIFY(heldByOwnThread);
    };
    f.probe->onUpdateTimer();
    QCOMPARE(fits, 1);
    QCOMPARE(replots, static_cast<int>(f.probe->plots().size()));

    f.feed(readings(1, 900'000));
    f.probe->onUpdateTimer(); // without a fit
    onReplot = nullptr;
    f.setCalibrating(false);
    QCOMPARE(fits, 1);
    QCOMPARE(replots, 2 * static_cast<int>(f.probe->plots().size()));
    QCOMPARE(locksOfOwnThread.load(), 2);
}

void TestDialogCalls::stopFitsAndDrawsWhileCalibratingWithoutTheLock()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    f.boxes.expect("Ok");
    QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    QVERIFY(f.probe->calibrating);
    f.feed(readings(20));
    const WatchedMutex watch(f.probe->grabMutex);
    int fits = 0;
    int replots = 0;
    const auto* const ui = f.probe->ui;
    onFit = [&] {
        ++fits;
        QVERIFY(f.probe->calibrating);
        QCOMPARE(ui->pushButton_start->text(), QString(" Continue Calibration"));
        QVERIFY(!ui->pushButton_save_calib->isEnabled() && !ui->pushButton_reset->isEnabled());
    };
    onReplot = [&] {
        ++replots;
        QVERIFY(f.probe->calibrating);
        QVERIFY(!ui->pushButton_save_calib->isEnabled() && !ui->pushButton_reset->isEnabled());
    };
    f.boxes.expect("Ok");
    QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    onReplot = nullptr;
    QCOMPARE(fits, 1);
    QVERIFY(replots > 0);
    QVERIFY(!f.probe->calibrating);
    QCOMPARE(locksOfOwnThread.load(), 0);
}

void TestDialogCalls::nothingNewIsPolledWithoutAPause_data()
{
    QTest::addColumn<int>("state");
    QTest::newRow("known reading") << 1;
    QTest::newRow("new reading of the same time") << 2;
}

void TestDialogCalls::nothingNewIsPolledWithoutAPause()
{
    QFETCH(int, state);
    DialogFixture f;
    f.bench.clock().setManual(); // the link then answers at once
    f.settle();
    sleepsOfOtherThreads = 0;
    constexpr std::uint64_t now = 52'000;
    f.feed({reading(1000, 1, 2, 3), reading(now, 1, 2, 3)});
    QCOMPARE(sleepsOfOtherThreads.load(), 1); // at 0.5 Hz
    // The last record is repeated for ever.
    f.bench.camera(f.serial)->readerScript().append({record(1, state, now)});
    const std::uint64_t before = f.bench.camera(f.serial)->readerScript().status().calls;
    QTRY_VERIFY(f.bench.camera(f.serial)->readerScript().status().calls > before + 3000);
    QCOMPARE(sleepsOfOtherThreads.load(), 1);
}

void TestDialogCalls::failedReadIsFollowedByAMillisecondOfSleep()
{
    DialogFixture f;
    f.bench.clock().setManual(); // the link then answers at once
    f.settle();
    sleepsOfOtherThreads = 0;
    sleepOfOtherThreads = 0;
    f.feed({record(0, 0), record(0, 0), record(0, 0)});
    QCOMPARE(sleepsOfOtherThreads.load(), 3);
    QCOMPARE(sleepOfOtherThreads.load(), 3'000'000L);
}

QTEST_MAIN(TestDialogCalls)
#include "tst_dialogcalls.moc"
