#include <om_tiv/mcu.h>

#include "bench/virtual_camera.h"
#include "library/mcu_link.h"
#include "library/the_bench.h"
#include "world/heading.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <utility>
#include <vector>

namespace om {

using bench::CALL;
using bench::CallRecord;
using bench::MagCalibration;
using bench::Nanoseconds;
using bench::theBench;
using bench::Vector;
using bench::VirtualCamera;

namespace {

MagCalibration fromRecord(const _mag_calib_data& data)
{
    MagCalibration calibration;
    std::memcpy(calibration.scale.data(), data.scale, sizeof data.scale);
    std::memcpy(calibration.offset.data(), data.offset, sizeof data.offset);
    return calibration;
}

std::vector<double> numbersOf(std::initializer_list<double> numbers)
{
    return numbers;
}

} // namespace

TIVmcu::TIVmcu(bool verbose, unsigned short vendorId, MODEL model, bool bootloader,
               std::string path)
    : m_impl(std::make_unique<Impl>(verbose, vendorId, bootloader, std::move(path)))
{
    CallRecord call;
    call.numbers = numbersOf({verbose ? 1.0 : 0.0, static_cast<double>(vendorId),
                              static_cast<double>(model), bootloader ? 1.0 : 0.0});
    call.text = m_impl->path;
    m_impl->log(std::move(call), CALL::MCU_CONSTRUCT, 0);
}

TIVmcu::~TIVmcu()
{
    const std::shared_ptr<Impl::Session> open = m_impl->session;
    if (m_impl->closeSession()) {
        m_impl->log({}, CALL::MCU_CLOSE, open->camera->serialNumber());
    }
}

int TIVmcu::open(unsigned int serial, bool exclusive, _imu_odr odr, float* accelBias,
                 float* gyroBias, bool fusion, bool raw)
{
    const std::lock_guard<std::mutex> commands(m_impl->commands);
    m_impl->closeSession();
    captureRunning = false;
    std::shared_ptr<Impl::Session> opened;
    const int result = static_cast<int>(m_impl->openSession(serial, opened));
    if (opened) {
        const auto triple = [](const float* v) {
            return v != nullptr ? Vector{v[0], v[1], v[2]} : Vector();
        };
        opened->poses = fusion && !raw;
        opened->accelerationBias = triple(accelBias);
        opened->angularVelocityBias = triple(gyroBias);
        // Another process may have written the EEPROM since this one last read it.
        opened->camera->reloadCalibration();
        const Impl::CommandLock lock(*m_impl);
        m_impl->session = opened;
    }
    m_impl->writtenSinceRead = false;
    m_impl->report(serial, result == 0 ? "opened" : "cannot be opened");
    CallRecord call;
    call.numbers = numbersOf({exclusive ? 1.0 : 0.0, static_cast<double>(odr),
                              accelBias != nullptr ? 1.0 : 0.0, gyroBias != nullptr ? 1.0 : 0.0,
                              fusion ? 1.0 : 0.0, raw ? 1.0 : 0.0});
    call.result = result;
    m_impl->log(std::move(call), CALL::MCU_OPEN, serial);
    return result;
}

void TIVmcu::close()
{
    const std::lock_guard<std::mutex> commands(m_impl->commands);
    const unsigned int serial = m_impl->serialNumber();
    if (m_impl->closeSession()) {
        m_impl->report(serial, "closed");
    }
    captureRunning = false;
    m_impl->log({}, CALL::MCU_CLOSE, serial);
}

void TIVmcu::startCapture(float period)
{
    const std::lock_guard<std::mutex> commands(m_impl->commands);
    {
        const Impl::CommandLock lock(*m_impl);
        if (m_impl->session && !m_impl->session->lost.load()) {
            m_impl->period = period > 0.0F
                                 ? static_cast<Nanoseconds>(static_cast<double>(period) *
                                                            static_cast<double>(bench::nsPerMs))
                                 : 0;
            m_impl->catchUp();
            m_impl->capturing = true;
        }
        captureRunning = true;
    }
    CallRecord call;
    call.numbers = {static_cast<double>(period)};
    m_impl->log(std::move(call), CALL::MCU_START_CAPTURE, m_impl->serialNumber());
}

void TIVmcu::stopCapture()
{
    const std::lock_guard<std::mutex> commands(m_impl->commands);
    {
        const Impl::CommandLock lock(*m_impl);
        m_impl->capturing = false;
        captureRunning = false;
    }
    m_impl->log({}, CALL::MCU_STOP_CAPTURE, m_impl->serialNumber());
}

IMUReaderData TIVmcu::getIMUReaderData()
{
    IMUReaderData data;
    m_impl->transfer();
    const std::shared_ptr<Impl::Session> session = m_impl->streaming();
    if (session) {
        // Without a lock: the script may block its caller.
        switch (session->camera->readerScript().next(data)) {
        case bench::Script<IMUReaderData>::STEP::NONE:
            data = m_impl->physicalRecord(session);
            break;
        case bench::Script<IMUReaderData>::STEP::GONE:
            session->camera->unplug();
            data = IMUReaderData();
            break;
        case bench::Script<IMUReaderData>::STEP::ENTRY:
        case bench::Script<IMUReaderData>::STEP::REPEATED:
            break;
        }
        m_impl->remember(session, data);
    } else {
        data = m_impl->rememberedRecord();
    }
    if (theBench().log().wants(CALL::MCU_GET_READER_DATA)) {
        CallRecord call;
        call.value = data.magState;
        m_impl->log(std::move(call), CALL::MCU_GET_READER_DATA,
                    session ? session->camera->serialNumber() : 0);
    }
    return data;
}

IMUPose TIVmcu::getIMUPose(int sensors)
{
    IMUPose pose;
    const std::shared_ptr<Impl::Session> session = m_impl->streaming();
    if (session && session->poses) {
        switch (session->camera->poseScript().next(pose)) {
        case bench::Script<IMUPose>::STEP::NONE:
            pose = m_impl->physicalPose(session, sensors);
            break;
        case bench::Script<IMUPose>::STEP::GONE:
            session->camera->unplug();
            pose = IMUPose();
            break;
        case bench::Script<IMUPose>::STEP::ENTRY:
        case bench::Script<IMUPose>::STEP::REPEATED:
            break;
        }
        m_impl->remember(session, pose);
    } else if (!session) {
        pose = m_impl->rememberedPose();
    }
    if (theBench().log().wants(CALL::MCU_GET_POSE)) {
        CallRecord call;
        call.value = sensors;
        m_impl->log(std::move(call), CALL::MCU_GET_POSE,
                    session ? session->camera->serialNumber() : 0);
    }
    return pose;
}

float TIVmcu::calcMagHeading(Vector3<float> mag, Vector3<float> acceleration)
{
    if (theBench().log().wants(CALL::MCU_CALC_MAG_HEADING)) {
        CallRecord call;
        call.numbers =
            numbersOf({mag.x, mag.y, mag.z, acceleration.x, acceleration.y, acceleration.z});
        m_impl->log(std::move(call), CALL::MCU_CALC_MAG_HEADING, m_impl->serialNumber());
    }
    return static_cast<float>(bench::tiltCompensatedHeading(
        {mag.x, mag.y, mag.z}, {acceleration.x, acceleration.y, acceleration.z}));
}

void TIVmcu::updateEepromMemory(bool all)
{
    const std::lock_guard<std::mutex> commands(m_impl->commands);
    if (const std::shared_ptr<Impl::Session> session = m_impl->answering()) {
        VirtualCamera& camera = *session->camera;
        camera.reloadCalibration();
        const MagCalibration stored = camera.calibration();
        std::copy(stored.scale.begin(), stored.scale.end(), storedMagCalib);
        std::copy(stored.offset.begin(), stored.offset.end(), storedMagCalib + 3);
        if (std::exchange(m_impl->writtenSinceRead, false) && camera.takeReadbackDifference()) {
            // One bit, in another of the six values each time.
            float& value = storedMagCalib[m_impl->differences++ % 6];
            std::uint32_t bits = 0;
            std::memcpy(&bits, &value, sizeof bits);
            bits ^= 1U;
            std::memcpy(&value, &bits, sizeof bits);
        }
        m_impl->report(session->camera->serialNumber(), "EEPROM read");
    }
    CallRecord call;
    call.numbers = {all ? 1.0 : 0.0};
    m_impl->log(std::move(call), CALL::MCU_UPDATE_EEPROM, m_impl->serialNumber());
}

int TIVmcu::writeMagCalibInEEprom(_mag_calib_data& data)
{
    const std::lock_guard<std::mutex> commands(m_impl->commands);
    const MagCalibration calibration = fromRecord(data);
    const ERROR_CODE code = m_impl->writeCalibration(calibration);
    m_impl->report(m_impl->serialNumber(),
                   code == ERROR_CODE::SUCCESS ? "EEPROM written" : "EEPROM write failed");
    CallRecord call;
    call.numbers.assign(calibration.scale.begin(), calibration.scale.end());
    call.numbers.insert(call.numbers.end(), calibration.offset.begin(), calibration.offset.end());
    call.result = static_cast<int>(code);
    m_impl->log(std::move(call), CALL::MCU_WRITE_MAG_CALIB, m_impl->serialNumber());
    return static_cast<int>(code);
}

} // namespace om
