#include <om_tiv/camera.h>

#include "library/camera_session.h"
#include "library/hid.h"
#include "library/the_bench.h"

#include <atomic>
#include <mutex>
#include <utility>

namespace om {

using bench::Bench;
using bench::CALL;
using bench::CallRecord;
using bench::CameraSession;
using bench::theBench;

void InputType::setFromSerialNumber(unsigned int serial, BUS_TYPE bus)
{
    *this = InputType();
    m_kind = KIND::SERIAL_NUMBER;
    m_serial = serial;
    m_bus = bus;
}

void InputType::setFromCameraID(int id, BUS_TYPE bus)
{
    *this = InputType();
    m_kind = KIND::CAMERA_ID;
    m_id = id;
    m_bus = bus;
}

// The interface takes its strings and records by value; they have no move.
// NOLINTBEGIN(performance-unnecessary-value-param)
void InputType::setFromQVRFile(String path)
{
    *this = InputType();
    m_kind = KIND::RECORDED_FILE;
    m_path = path;
}

InitParameters::InitParameters(RESOLUTION resolution_, int fps_, bool enableRecording_,
                               DEPTH_MODE depthMode_, UNIT coordinateUnits_,
                               COORDINATE_SYSTEM coordinateSystem_, int verbosity_, int gpuId_,
                               float depthMinimum_, float depthMaximum_,
                               bool disableSelfCalibration_, int imageFlip_, bool rightSideMeasure_,
                               String logFile_, int depthStabilization_, CUcontext cudaContext_,
                               InputType input_, String settingsPath_, bool sensorsRequired_,
                               bool imageEnhancement_, String calibrationPath_, float openTimeout_,
                               bool asyncRecovery_, float grabRateLimit_, bool imageValidation_)
    : resolution(resolution_), fps(fps_), enableRecording(enableRecording_), depthMode(depthMode_),
      coordinateUnits(coordinateUnits_), coordinateSystem(coordinateSystem_), verbosity(verbosity_),
      gpuId(gpuId_), depthMinimum(depthMinimum_), depthMaximum(depthMaximum_),
      disableSelfCalibration(disableSelfCalibration_), imageFlip(imageFlip_),
      rightSideMeasure(rightSideMeasure_), logFile(logFile_),
      depthStabilization(depthStabilization_), cudaContext(cudaContext_), input(input_),
      settingsPath(settingsPath_), sensorsRequired(sensorsRequired_),
      imageEnhancement(imageEnhancement_), calibrationPath(calibrationPath_),
      openTimeout(openTimeout_), asyncRecovery(asyncRecovery_), grabRateLimit(grabRateLimit_),
      imageValidation(imageValidation_)
{}
// NOLINTEND(performance-unnecessary-value-param)

RuntimeParameters::RuntimeParameters(bool enableDepth_, bool enableFill_, int confidenceThreshold_,
                                     int textureThreshold_, REFERENCE_FRAME referenceFrame_,
                                     bool removeSaturated_)
    : enableDepth(enableDepth_), enableFill(enableFill_), confidenceThreshold(confidenceThreshold_),
      textureThreshold(textureThreshold_), referenceFrame(referenceFrame_),
      removeSaturated(removeSaturated_)
{}

class Camera::Impl
{
public:
    /// The current opening; null if there is none. It stays alive for a running call when another
    /// thread closes the camera.
    std::shared_ptr<CameraSession> session() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_session;
    }

    std::shared_ptr<CameraSession> setSession(std::shared_ptr<CameraSession> session)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (session) {
            parameters = session->parameters();
            information = session->information();
        }
        m_session.swap(session);
        return session;
    }

    template <typename T>
    T copy(const T Impl::*member) const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return this->*member;
    }

    /// Logs a call on the camera that is or was open.
    void log(CallRecord record) const
    {
        Bench& bench = theBench();
        if (!bench.log().wants(record.call)) {
            return;
        }
        record.time = bench.clock().now();
        record.serialNumber = copy(&Impl::information).serialNumber;
        bench.log().add(std::move(record));
    }

    /// Logs a call without arguments of a kind that is logged only on request.
    void logHighRate(CALL call) const
    {
        if (theBench().log().wants(call)) {
            CallRecord record;
            record.call = call;
            log(std::move(record));
        }
    }

    std::atomic<bool> opened{false};
    /// Of the last opening.
    InitParameters parameters;
    CameraInformation information;

private:
    mutable std::mutex m_mutex;
    std::shared_ptr<CameraSession> m_session;
};

Camera::Camera() : m_impl(std::make_unique<Impl>()) {}

Camera::~Camera()
{
    close();
}

ERROR_CODE Camera::open(InitParameters parameters)
{
    close();
    Bench& bench = theBench();
    ERROR_CODE result = ERROR_CODE::FAILURE;
    {
        const Bench::OpenScope scope(bench, parameters);
        const auto session = CameraSession::open(
            parameters, [this] { m_impl->opened.store(false); }, result);
        if (session) {
            m_impl->setSession(session);
            m_impl->opened.store(true);
            if (!session->isOpen()) {
                // The camera was lost before the line above, which must not stay in effect.
                m_impl->opened.store(false);
            }
        }
    }
    if (!bench.log().wants(CALL::OPEN)) {
        return result;
    }
    CallRecord record;
    record.call = CALL::OPEN;
    record.time = bench.clock().now();
    record.serialNumber = result == ERROR_CODE::SUCCESS
                              ? m_impl->copy(&Impl::information).serialNumber
                              : parameters.input.serialNumber();
    record.result = static_cast<int>(result);
    record.init = std::make_shared<const InitParameters>(std::move(parameters));
    bench.log().add(std::move(record));
    return result;
}

void Camera::close()
{
    const auto session = m_impl->setSession(nullptr);
    m_impl->opened.store(false);
    if (session) {
        session->close();
        CallRecord record;
        record.call = CALL::CLOSE;
        m_impl->log(std::move(record));
    }
}

bool Camera::isOpened() const
{
    return m_impl->opened.load();
}

ERROR_CODE Camera::grab(RuntimeParameters parameters)
{
    const auto session = m_impl->session();
    const ERROR_CODE result = session ? session->grab(parameters) : ERROR_CODE::FAILURE;
    CallRecord record;
    record.call = CALL::GRAB;
    record.runtime = parameters;
    record.result = static_cast<int>(result);
    m_impl->log(std::move(record));
    return result;
}

CameraInformation Camera::getCameraInformation(Resolution imageSize)
{
    CameraInformation information = m_impl->copy(&Impl::information);
    if (imageSize.width != 0 && imageSize.height != 0) {
        information.resolution = imageSize;
    }
    return information;
}

InitParameters Camera::getInitParameters()
{
    m_impl->logHighRate(CALL::GET_INIT_PARAMETERS);
    return m_impl->copy(&Impl::parameters);
}

CUcontext Camera::getCUDAContext()
{
    m_impl->logHighRate(CALL::GET_CUDA_CONTEXT);
    const auto session = m_impl->session();
    return session ? session->context() : nullptr;
}

std::vector<DeviceProperties> Camera::getDeviceList()
{
    Bench& bench = theBench();
    std::vector<DeviceProperties> devices;
    {
        const Bench::ListScope scope(bench);
        for (const auto& camera : bench.cameras()) {
            if (!camera->isPlugged()) {
                continue;
            }
            DeviceProperties device;
            device.state = camera->isInUse() ? 1 : 0;
            device.id = camera->id();
            device.path = bench::hidPath(camera->serialNumber()).c_str();
            device.cameraModel = camera->model();
            device.serialNumber = camera->serialNumber();
            device.bus = bench::busOf(camera->model());
            devices.push_back(device);
        }
    }
    CallRecord record;
    record.call = CALL::GET_DEVICE_LIST;
    record.time = bench.clock().now();
    record.value = static_cast<int>(devices.size());
    bench.log().add(std::move(record));
    return devices;
}

ERROR_CODE Camera::getSensorsData(SensorsData& data, TIME_REFERENCE reference)
{
    const auto session = m_impl->session();
    const ERROR_CODE result = session ? session->sensors(data, reference) : ERROR_CODE::FAILURE;
    if (theBench().log().wants(CALL::GET_SENSORS_DATA)) {
        CallRecord record;
        record.call = CALL::GET_SENSORS_DATA;
        record.value = static_cast<int>(reference);
        record.result = static_cast<int>(result);
        m_impl->log(std::move(record));
    }
    return result;
}

std::uint64_t Camera::getTimestamp(TIME_REFERENCE reference)
{
    if (reference == TIME_REFERENCE::CURRENT) {
        return theBench().clock().now();
    }
    const auto session = m_impl->session();
    return session ? session->imageTime() : 0;
}

ERROR_CODE Camera::retrieveImage(Mat& image, VIEW view, MEM memory, Resolution size)
{
    const auto session = m_impl->session();
    const ERROR_CODE result =
        session ? session->image(image, view, memory, size) : ERROR_CODE::FAILURE;
    CallRecord record;
    record.call = CALL::RETRIEVE_IMAGE;
    record.view = view;
    record.memory = memory;
    record.size = size;
    record.result = static_cast<int>(result);
    m_impl->log(std::move(record));
    return result;
}

ERROR_CODE Camera::retrieveMeasure(Mat& measure, MEASURE kind, MEM memory, Resolution size)
{
    const auto session = m_impl->session();
    const ERROR_CODE result =
        session ? session->measure(measure, kind, memory, size) : ERROR_CODE::FAILURE;
    CallRecord record;
    record.call = CALL::RETRIEVE_MEASURE;
    record.measure = kind;
    record.memory = memory;
    record.size = size;
    record.result = static_cast<int>(result);
    m_impl->log(std::move(record));
    return result;
}

int Camera::getQVRPosition()
{
    const auto session = m_impl->session();
    return session ? session->frames().position() : 0;
}

void Camera::setQVRPosition(int frame)
{
    if (const auto session = m_impl->session(); session) {
        session->frames().setPosition(frame);
    }
    CallRecord record;
    record.call = CALL::SET_QVR_POSITION;
    record.value = frame;
    m_impl->log(std::move(record));
}

int Camera::getQVRNumberOfFrames()
{
    const auto session = m_impl->session();
    return session ? session->frames().length() : -1;
}

} // namespace om
