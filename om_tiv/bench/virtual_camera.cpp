#include "bench/virtual_camera.h"

#include "replay/replay.h"
#include "world/degrees.h"
#include "world/physics.h"

#include <algorithm>
#include <utility>

namespace om::bench {

namespace {

/// The sensors that both the recording and the model have: the file of another model does not add a
/// sensor.
class ModelReplay final : public ReplaySource
{
public:
    ModelReplay(const CameraConfig& config, Nanoseconds start,
                std::shared_ptr<const Environment> environment)
        : ReplaySource(config.recording, config.replayLoop, start, std::move(environment)),
          m_model(config.model)
    {}

    bool has(STREAM stream) const override
    {
        const bool fitted = (stream == STREAM::IMU && hasImu(m_model)) ||
                            (stream == STREAM::MAGNETOMETER && hasMagnetometer(m_model)) ||
                            (stream == STREAM::BAROMETER && hasBarometer(m_model));
        return fitted && ReplaySource::has(stream);
    }

    std::array<std::optional<double>, 4> temperatures(Nanoseconds time) const override
    {
        auto values = ReplaySource::temperatures(time);
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (!hasTemperature(m_model, static_cast<int>(i))) {
                values[i].reset();
            }
        }
        return values;
    }

private:
    const MODEL m_model;
};

} // namespace

VirtualCamera::VirtualCamera(const CameraConfig& config, int id, Clock& clock,
                             std::function<Field()> field, std::shared_ptr<EepromStore> eeproms)
    : m_config(config), m_firmwareVersion(config.firmwareVersion), m_id(id), m_clock(clock),
      m_eeproms(std::move(eeproms)), m_environment(std::make_shared<Environment>()),
      m_motion(std::make_shared<MotionTimeline>(config.motion, config.pose, clock.now()))
{
    m_environment->field = std::move(field);
    m_source = makeSource(m_clock.now(), 0);
    changeFaults([&](Faults& faults) { faults = config.faults; });
    if (config.plugged) {
        plug();
    }
}

CameraConfig VirtualCamera::config() const
{
    CameraConfig config = m_config;
    config.id = m_id;
    config.firmwareVersion = firmwareVersion();
    config.plugged = isPlugged();
    config.motion = m_motion->motion();
    config.pose = m_motion->poseAt(m_clock.now());
    config.faults = faults();
    return config;
}

Faults VirtualCamera::faults() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_faults;
}

void VirtualCamera::changeFaults(const std::function<void(Faults&)>& change)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const bool wasFrozen = m_faults.frozenTimestamps;
    const bool wasRepeated = m_faults.repeatedTimestamps;
    change(m_faults);
    if (m_faults.frozenTimestamps && !wasFrozen) {
        m_frozenAt = m_clock.now();
    }
    if (m_faults.repeatedTimestamps && !wasRepeated) {
        m_repeatedAt = m_clock.now();
    }
    m_environment->magneticDisturbance.store(m_faults.magneticDisturbance);
    m_environment->magnetometerSaturated.store(m_faults.magnetometerSaturated);
}

ERROR_CODE VirtualCamera::takeOpenRefusal()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_faults.openResult == ERROR_CODE::SUCCESS || m_faults.openRefusals == 0) {
        return ERROR_CODE::SUCCESS;
    }
    if (m_faults.openRefusals > 0) {
        --m_faults.openRefusals;
    }
    return m_faults.openResult;
}

ERROR_CODE VirtualCamera::takeGrabFailure()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_faults.grabFailures <= 0) {
        return ERROR_CODE::SUCCESS;
    }
    --m_faults.grabFailures;
    return m_faults.grabFailureResult;
}

bool VirtualCamera::takeReadbackDifference()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_faults.eepromReadbackDiffers <= 0) {
        return false;
    }
    --m_faults.eepromReadbackDiffers;
    return true;
}

std::shared_ptr<SensorSource> VirtualCamera::makeSource(Nanoseconds start,
                                                        std::uint64_t plugCount) const
{
    if (m_config.recording) {
        return std::make_shared<ModelReplay>(m_config, start, m_environment);
    }
    return std::make_shared<PhysicsSource>(m_config, m_motion, m_environment, start, plugCount);
}

void VirtualCamera::plug()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_plugged.load()) {
        return;
    }
    const Nanoseconds now = m_clock.now();
    m_source = makeSource(now, m_plugCount++);
    m_pluggedAt.store(now);
    startCounting(UINT64_MAX);
    m_plugged.store(true);
}

void VirtualCamera::unplug()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_plugged.load()) {
            return;
        }
        m_unpluggedAt.store(m_clock.now());
        m_plugged.store(false);
        const Claim claim = std::exchange(m_claim, Claim());
        if (claim.lost) {
            claim.lost();
        }
    }
    m_clock.wake();
}

ERROR_CODE VirtualCamera::claim(const void* owner, std::function<void()> lost)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_plugged.load()) {
        return ERROR_CODE::NOT_DETECTED;
    }
    if (m_claim.owner != nullptr) {
        return ERROR_CODE::IN_USE;
    }
    m_claim = {owner, std::move(lost)};
    return ERROR_CODE::SUCCESS;
}

void VirtualCamera::release(const void* owner)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_claim.owner == owner) {
        m_claim = Claim();
    }
}

bool VirtualCamera::isInUse() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_claim.owner != nullptr;
}

BodyState VirtualCamera::bodyAt(Nanoseconds time) const
{
    if (!m_config.recording) {
        return m_motion->at(time);
    }
    // The recording has no other information about the body than its rows.
    BodyState body;
    const auto played = source();
    if (const auto number = played->newest(STREAM::IMU, time); number) {
        const ImuSample sample = played->imu(*number);
        body.pose = sample.pose;
        body.angularVelocity = toRadians(1.0) * sample.angularVelocity;
        body.specificForce = sample.linearAcceleration;
        body.movingState = sample.movingState;
    }
    return body;
}

Vector VirtualCamera::fieldInBody(Nanoseconds time) const
{
    if (m_config.recording) {
        const auto played = source();
        if (const auto number = played->newest(STREAM::MAGNETOMETER, time); number) {
            return played->magnetometer(*number).body();
        }
    }
    return rotate(conjugate(bodyAt(time).pose), m_environment->fieldAt(time));
}

double VirtualCamera::airTemperature() const
{
    return m_environment->air.temperature();
}

void VirtualCamera::setAirTemperature(double celsius)
{
    m_environment->air.setTemperature(celsius, m_clock.now());
}

void VirtualCamera::setFirmwareVersion(unsigned int version)
{
    m_firmwareVersion.store(version);
}

std::shared_ptr<SensorSource> VirtualCamera::source() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_source;
}

Nanoseconds VirtualCamera::reportedTime(STREAM stream, std::uint64_t number) const
{
    std::shared_ptr<SensorSource> source;
    bool frozen = false;
    bool repeated = false;
    Nanoseconds frozenAt = 0;
    Nanoseconds repeatedAt = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        source = m_source;
        frozen = m_faults.frozenTimestamps;
        frozenAt = m_frozenAt;
        repeated = m_faults.repeatedTimestamps;
        repeatedAt = m_repeatedAt;
    }
    // A time that was reported before the fault stays valid: time never runs backward.
    if (repeated && number % 2 == 1 && source->timeOf(stream, number) > repeatedAt) {
        --number;
    }
    if (frozen) {
        number = std::min(number, source->newest(stream, frozenAt).value_or(0));
    }
    return source->timeOf(stream, number);
}

MagCalibration VirtualCamera::calibration() const
{
    const std::lock_guard<std::mutex> lock(m_calibrationMutex);
    if (!m_calibration) {
        m_calibration = m_eeproms->read(m_config.serialNumber);
    }
    return *m_calibration;
}

bool VirtualCamera::storeCalibration(const MagCalibration& calibration)
{
    if (!m_eeproms->write(m_config.serialNumber, calibration)) {
        return false;
    }
    const std::lock_guard<std::mutex> lock(m_calibrationMutex);
    m_calibration = calibration;
    m_calibrationVersion.fetch_add(1);
    return true;
}

std::string VirtualCamera::storageComplaint() const
{
    return m_eeproms->complaint(m_config.serialNumber);
}

void VirtualCamera::reloadCalibration()
{
    const MagCalibration calibration = m_eeproms->reload(m_config.serialNumber);
    const std::lock_guard<std::mutex> lock(m_calibrationMutex);
    m_calibration = calibration;
    m_calibrationVersion.fetch_add(1);
}

void VirtualCamera::setMotion(MOTION motion)
{
    m_motion->setMotion(motion, m_clock.now());
}

void VirtualCamera::setPose(const Quaternion& pose, std::chrono::nanoseconds glide,
                            const Vector& spin)
{
    m_motion->setPose(pose, m_clock.now(),
                      static_cast<Nanoseconds>(std::max<std::int64_t>(glide.count(), 0)), spin);
}

void VirtualCamera::clearScripts()
{
    m_sensorsScript.clear();
    m_grabScript.clear();
    m_readerScript.clear();
    m_poseScript.clear();
}

void VirtualCamera::startCounting(std::uint64_t firstNumber)
{
    m_delivered.store(0);
    m_firstCounted.store(firstNumber);
    const std::lock_guard<std::mutex> lock(m_readingMutex);
    m_reading.reset();
}

void VirtualCamera::countDelivered(const Reading& reading)
{
    m_delivered.fetch_add(1, std::memory_order_relaxed);
    const std::lock_guard<std::mutex> lock(m_readingMutex);
    m_reading = reading;
}

std::optional<Reading> VirtualCamera::lastReading() const
{
    const std::lock_guard<std::mutex> lock(m_readingMutex);
    return m_reading;
}

std::uint64_t VirtualCamera::produced() const
{
    const std::uint64_t first = m_firstCounted.load();
    const Nanoseconds until = isPlugged() ? m_clock.now() : m_unpluggedAt.load();
    const auto newest = source()->newest(STREAM::IMU, until);
    return newest && *newest >= first ? *newest - first + 1 : 0;
}

} // namespace om::bench
