#include "library/mcu_link.h"

#include "library/hid.h"
#include "library/the_bench.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

namespace om {

using bench::CALL;
using bench::CallRecord;
using bench::HeadingQuality;
using bench::MagCalibration;
using bench::Nanoseconds;
using bench::STREAM;
using bench::theBench;
using bench::Vector;
using bench::VirtualCamera;

namespace {

constexpr Nanoseconds tick = 39'000;
/// A full-speed bus transfers one report per frame.
constexpr std::chrono::milliseconds usbFrame{1};
constexpr int allSensors = 6; ///< accelerometer, gyroscope and magnetometer
/// Used history of the magnetometer; samples are available for 30 s.
constexpr Nanoseconds past = 29 * bench::nsPerS;

template <typename Count>
Count toCounts(double value, double countsPerUnit)
{
    const double counts = std::round(value * countsPerUnit);
    return static_cast<Count>(std::clamp(counts,
                                         static_cast<double>(std::numeric_limits<Count>::min()),
                                         static_cast<double>(std::numeric_limits<Count>::max())));
}

/// Fields of the packed records are set by value, because a reference to a field may be misaligned.
template <typename Field, typename Value>
void setTriple(Field (&field)[3], const Vector& values, Value convert)
{
    const Field triple[3] = {convert(values.x), convert(values.y), convert(values.z)};
    std::memcpy(&field, triple, sizeof triple);
}

/// @param accelerationBias sensor axes, m/s^2; the microcontroller subtracts it
/// @param angularVelocityBias sensor axes, degrees per second; likewise
void setInertial(IMUReaderData& record, const bench::ImuSample& sample,
                 const Vector& accelerationBias, const Vector& angularVelocityBias)
{
    setTriple(record.acceleration, toSensorAxes(sample.linearAcceleration) - accelerationBias,
              [](double v) { return toCounts<std::int16_t>(v / bench::standardGravity, 4096.0); });
    setTriple(record.angularVelocity, toSensorAxes(sample.angularVelocity) - angularVelocityBias,
              [](double v) { return toCounts<std::int16_t>(v, 32.8); });
}

void setTemperatures(IMUReaderData& record, const bench::SensorSource& source, Nanoseconds now)
{
    const auto celsius = source.temperatures(now);
    record.imuTemperature = toCounts<std::int16_t>(celsius[0].value_or(0.0), 100.0);
    record.barometerTemperature = toCounts<std::int16_t>(celsius[1].value_or(0.0), 100.0);
}

/// Leaves a record as it is if there is no barometer, or no sample yet.
void setPressure(IMUReaderData& record, const bench::SensorSource& source, Nanoseconds now)
{
    if (!source.has(STREAM::BAROMETER)) {
        return;
    }
    if (const auto number = source.newest(STREAM::BAROMETER, now)) {
        record.pressure = toCounts<std::uint32_t>(source.barometer(*number).pressure, 100.0);
    }
}

} // namespace

void TIVmcu::Impl::log(CallRecord record_, CALL call, unsigned int serial) const
{
    bench::CallLog& kept = theBench().log();
    if (kept.wants(call)) {
        record_.call = call;
        record_.serialNumber = serial;
        kept.add(std::move(record_));
    }
}

void TIVmcu::Impl::report(unsigned int serial, const char* what) const
{
    if (verbose) {
        std::fprintf(stderr, "om_tiv: microcontroller %u: %s\n", serial, what);
    }
}

ERROR_CODE TIVmcu::Impl::openSession(unsigned int serial, std::shared_ptr<Session>& opened) const
{
    if (bootloader) {
        return ERROR_CODE::INVALID_INPUT;
    }
    const std::shared_ptr<VirtualCamera> camera = theBench().camera(serial);
    if (vendorId != bench::usbVendorId || !camera || !camera->isPlugged() ||
        bench::usbProductId(camera->model()) == 0 ||
        (!path.empty() && path != bench::hidPath(serial))) {
        return ERROR_CODE::NOT_DETECTED;
    }
    const bench::Faults faults = camera->faults();
    if (faults.mcuOpenRefused) {
        return ERROR_CODE::FAILURE;
    }
    auto made = std::make_shared<Session>();
    made->camera = camera;
    if (camera->claim(made.get(), [link = made.get()] { link->lost = true; }) !=
        ERROR_CODE::SUCCESS) {
        return camera->isPlugged() ? ERROR_CODE::IN_USE : ERROR_CODE::NOT_DETECTED;
    }
    if (faults.mcuSilent) {
        camera->release(made.get());
        return ERROR_CODE::TIMEOUT;
    }
    made->source = camera->source();
    made->start = camera->clock().now();
    opened = std::move(made);
    return ERROR_CODE::SUCCESS;
}

bool TIVmcu::Impl::closeSession()
{
    std::shared_ptr<Session> closed;
    {
        const CommandLock lock(*this);
        closed = std::exchange(session, nullptr);
        capturing = false;
        record = IMUReaderData();
        delivered = IMUReaderData();
        deliveredPose = IMUPose();
        recordMade.reset();
        recordImu.reset();
        deliveredMag.reset();
        monitor.clear();
        monitoredMag.reset();
        quality = HeadingQuality();
        isJudged = false;
    }
    if (closed) {
        closed->camera->release(closed.get());
    }
    return closed != nullptr;
}

unsigned int TIVmcu::Impl::serialNumber()
{
    const CommandLock lock(*this);
    return session ? session->camera->serialNumber() : 0;
}

ERROR_CODE TIVmcu::Impl::writeCalibration(const MagCalibration& calibration)
{
    std::shared_ptr<Session> open;
    {
        const CommandLock lock(*this);
        open = session;
    }
    if (!open) {
        return ERROR_CODE::FAILURE;
    }
    if (open->lost.load()) {
        return ERROR_CODE::CAMERA_GONE;
    }
    const bench::Faults faults = open->camera->faults();
    if (faults.mcuSilent) {
        return ERROR_CODE::TIMEOUT;
    }
    if (faults.eepromWriteRefused) {
        return ERROR_CODE::FAILURE;
    }
    if (!open->camera->storeCalibration(calibration)) {
        return ERROR_CODE::FAILURE;
    }
    writtenSinceRead = true;
    return ERROR_CODE::SUCCESS;
}

std::shared_ptr<TIVmcu::Impl::Session> TIVmcu::Impl::answering()
{
    const CommandLock lock(*this);
    return session && session->answers() ? session : nullptr;
}

std::shared_ptr<TIVmcu::Impl::Session> TIVmcu::Impl::streaming()
{
    const std::unique_lock<std::mutex> lock = readerLock();
    return session && capturing && session->answers() ? session : nullptr;
}

IMUReaderData TIVmcu::Impl::physicalRecord(const std::shared_ptr<Session>& of)
{
    const std::unique_lock<std::mutex> lock = readerLock();
    if (session != of) {
        return {}; // closed meanwhile
    }
    if (!capturing) { // stopped meanwhile
        IMUReaderData known = delivered;
        known.magState = std::min<std::uint8_t>(known.magState, 1);
        return known;
    }
    const VirtualCamera& camera = *of->camera;
    const Nanoseconds now = camera.clock().now();
    const auto imu = of->source->newest(STREAM::IMU, now);
    const auto mag =
        of->hasMagnetometer() ? of->source->newest(STREAM::MAGNETOMETER, now) : std::nullopt;
    const bool newReading = mag && mag != deliveredMag;
    const bool due = !recordMade || now >= *recordMade + period;
    if (!due || (recordMade && !newReading && imu == recordImu &&
                 mag.has_value() == (record.magState != 0))) {
        record.magState = std::min<std::uint8_t>(record.magState, 1);
        return record;
    }

    IMUReaderData made;
    made.linkValid = 1;
    made.sequence = static_cast<std::uint8_t>(record.sequence + (recordMade ? 1 : 0));
    Nanoseconds time = of->start;
    if (imu) {
        time = camera.reportedTime(STREAM::IMU, *imu);
        setInertial(made, of->source->imu(*imu), of->accelerationBias, of->angularVelocityBias);
    }
    setTemperatures(made, *of->source, now);
    if (!camera.faults().barometerAbsent) {
        setPressure(made, *of->source, now);
    }
    if (mag) {
        const bench::MagnetometerSample sample = of->source->magnetometer(*mag);
        made.magState = newReading ? 2 : 1;
        std::memcpy(made.mag, sample.counts.data(), sizeof made.mag);
        if (newReading) {
            // A new reading has its own time, from which a rate can be computed.
            time = camera.reportedTime(STREAM::MAGNETOMETER, *mag);
            deliveredMag = mag;
            feedMonitor(*of, *mag, now);
        }
    }
    made.timestamp = time > of->start ? (time - of->start) / tick : 0;
    record = made;
    recordMade = now;
    recordImu = imu;
    return made;
}

void TIVmcu::Impl::transfer()
{
    {
        const std::unique_lock<std::mutex> lock = readerLock();
        // On a stopped clock a transfer takes no time.
        if (!session || !session->answers() || session->camera->clock().isManual()) {
            return;
        }
    }
    std::this_thread::sleep_for(usbFrame);
}

void TIVmcu::Impl::remember(const std::shared_ptr<Session>& of, const IMUReaderData& data)
{
    const std::unique_lock<std::mutex> lock = readerLock();
    if (session == of) {
        delivered = data;
    }
}

IMUReaderData TIVmcu::Impl::rememberedRecord()
{
    const std::unique_lock<std::mutex> lock = readerLock();
    if (!session || !session->answers()) {
        return {};
    }
    IMUReaderData known = delivered;
    known.magState = std::min<std::uint8_t>(known.magState, 1);
    return known;
}

void TIVmcu::Impl::remember(const std::shared_ptr<Session>& of, const IMUPose& pose)
{
    const std::unique_lock<std::mutex> lock = readerLock();
    if (session == of) {
        deliveredPose = pose;
    }
}

IMUPose TIVmcu::Impl::rememberedPose()
{
    const std::unique_lock<std::mutex> lock = readerLock();
    return session && session->answers() ? deliveredPose : IMUPose();
}

void TIVmcu::Impl::feedMonitor(const Session& of, std::uint64_t newest, Nanoseconds now)
{
    if (monitoredMag == newest) {
        return;
    }
    // The microcontroller reads the sensor since it was plugged in, with or without a link.
    std::uint64_t first = newest;
    while (first > 0 && first - 1 != monitoredMag &&
           of.source->timeOf(STREAM::MAGNETOMETER, first - 1) + past > now) {
        --first;
    }
    for (std::uint64_t number = first; number <= newest; ++number) {
        const bench::MagnetometerSample sample = of.source->magnetometer(number);
        const auto imu = of.source->newest(STREAM::IMU, sample.time);
        const bench::Quaternion pose = imu ? of.source->imu(*imu).pose : bench::Quaternion();
        // Readings before the link have a negative time.
        const auto since = static_cast<std::int64_t>(sample.time - of.start);
        monitor.add({static_cast<double>(since) * 1e-9, toSensorAxes(sample.body()),
                     toSensorAxes(rotate(conjugate(pose), {0.0, 1.0, 0.0})), sample.isSaturated()});
    }
    monitoredMag = newest;
    isJudged = false;
}

HeadingQuality TIVmcu::Impl::judge(const Session& of, std::uint64_t newest, Nanoseconds now)
{
    feedMonitor(of, newest, now);
    const std::uint64_t version = of.camera->calibrationVersion();
    if (!isJudged || qualityVersion != version) {
        quality = monitor.assess(of.camera->calibration());
        qualityVersion = version;
        isJudged = true;
    }
    return quality;
}

void TIVmcu::Impl::catchUp()
{
    const Nanoseconds now = session->camera->clock().now();
    if (session->hasMagnetometer()) {
        if (const auto mag = session->source->newest(STREAM::MAGNETOMETER, now)) {
            feedMonitor(*session, *mag, now);
        }
    }
}

IMUPose TIVmcu::Impl::physicalPose(const std::shared_ptr<Session>& of, int sensors)
{
    const std::unique_lock<std::mutex> lock = readerLock();
    if (session != of) {
        return {}; // closed meanwhile
    }
    if (!capturing) { // stopped meanwhile
        return deliveredPose;
    }
    const VirtualCamera& camera = *of->camera;
    const Nanoseconds now = camera.clock().now();
    const auto imu = of->source->newest(STREAM::IMU, now);
    if (!imu) {
        return {};
    }
    const auto single = [](double v) { return static_cast<float>(v); };
    const bench::ImuSample sample = of->source->imu(*imu);
    const Vector acceleration = toSensorAxes(sample.linearAcceleration) - of->accelerationBias;

    IMUPose pose;
    pose.timestamp = camera.reportedTime(STREAM::IMU, *imu);
    const float orientation[4] = {single(sample.pose.x), single(sample.pose.y),
                                  single(sample.pose.z), single(sample.pose.w)};
    std::memcpy(pose.orientation, orientation, sizeof orientation);
    const Vector columns[3] = {rotate(sample.pose, {1.0, 0.0, 0.0}),
                               rotate(sample.pose, {0.0, 1.0, 0.0}),
                               rotate(sample.pose, {0.0, 0.0, 1.0})};
    for (int column = 0; column < 3; ++column) {
        pose.rotation[column] = single(columns[column].x);
        pose.rotation[3 + column] = single(columns[column].y);
        pose.rotation[6 + column] = single(columns[column].z);
    }
    setTriple(pose.angularVelocity, toSensorAxes(sample.angularVelocity) - of->angularVelocityBias,
              single);
    setTriple(pose.acceleration, acceleration, single);
    const auto mag = of->hasMagnetometer() && sensors == allSensors
                         ? of->source->newest(STREAM::MAGNETOMETER, now)
                         : std::nullopt;
    if (mag) {
        const Vector raw = toSensorAxes(of->source->magnetometer(*mag).body());
        const Vector corrected = bench::correctedField(camera.calibration(), raw);
        const HeadingQuality judged = judge(*of, *mag, now);
        setTriple(pose.magUncalibrated, raw, single);
        setTriple(pose.magCalibrated, corrected, single);
        pose.headingState = judged.state;
        pose.headingAccuracy = judged.accuracy;
        pose.heading = single(bench::tiltCompensatedHeading(corrected, acceleration));
    }
    return pose;
}

} // namespace om
