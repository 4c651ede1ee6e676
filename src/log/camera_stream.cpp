#include "log/camera_stream.h"

#include <vector>

namespace samplelog {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds listPeriod{50};
constexpr std::chrono::seconds shortPatience{1};

bool hasSensors(const om::DeviceProperties& device)
{
    return device.cameraModel != omlib::tiv && static_cast<int>(device.serialNumber) > 0;
}

std::string nameOf(const om::DeviceProperties& device)
{
    return std::to_string(device.serialNumber) + " (" + om::toString(device.cameraModel).c_str() +
           ")";
}

/// @param others set to the names of the cameras with sensors that were not asked for
std::optional<om::DeviceProperties> find(const std::optional<unsigned int>& serial,
                                         std::string& others)
{
    others.clear();
    for (const om::DeviceProperties& device : om::Camera::getDeviceList()) {
        if (!hasSensors(device)) {
            continue;
        }
        if (!serial || device.serialNumber == *serial) {
            return device;
        }
        others += (others.empty() ? "" : ", ") + nameOf(device);
    }
    return std::nullopt;
}

std::string whyNotThere(const std::optional<unsigned int>& serial, const std::string& others)
{
    return serial ? "no camera with serial number " + std::to_string(*serial) +
                        (others.empty() ? ", and no other one either" : "; there are " + others)
                  : "no camera with sensors is connected";
}

om::InitParameters parametersFor(const om::DeviceProperties& device)
{
    om::InitParameters parameters = omlib::initParameters();
    // Frames only keep the camera running, so the cheapest ones at the lowest rate are used.
    parameters.fps = 15;
    parameters.depthMode = omlib::noDepth;
    parameters.depthStabilization = 0;
    parameters.coordinateUnits = omlib::metre;
    parameters.coordinateSystem = omlib::poseSystem;
    if (device.cameraModel == omlib::tivR || device.cameraModel == omlib::tivS) {
        parameters.resolution = omlib::serialResolution;
        parameters.fps = 30;
        omlib::inputOf(parameters).setFromCameraID(device.id, omlib::serialBus);
    } else {
        parameters.resolution = omlib::usbResolution;
        omlib::inputOf(parameters).setFromSerialNumber(device.serialNumber, omlib::usbBus);
    }
    return parameters;
}

} // namespace

CameraStream::~CameraStream()
{
    m_ends = true;
    if (m_grabber.joinable()) {
        m_grabber.join();
    }
    m_camera.close();
}

std::optional<om::DeviceProperties> CameraStream::await(const std::optional<unsigned int>& serial,
                                                        std::chrono::milliseconds patience,
                                                        const std::atomic<bool>& ends,
                                                        std::string& error)
{
    std::string others;
    std::optional<om::DeviceProperties> device = find(serial, others);
    const auto begin = Clock::now(); // so that a list that takes long is not the only look
    while (!device && !ends) {
        const auto waited = Clock::now() - begin;
        if (waited >= patience || (!others.empty() && waited >= shortPatience)) {
            break;
        }
        m_isAwaited = waited >= shortPatience;
        std::this_thread::sleep_for(listPeriod);
        device = find(serial, others);
    }
    if (!device) {
        error = whyNotThere(serial, others);
    }
    return device;
}

bool CameraStream::open(const std::optional<unsigned int>& serial,
                        std::chrono::milliseconds patience, const std::atomic<bool>& ends,
                        std::string& error)
{
    const std::optional<om::DeviceProperties> device = await(serial, patience, ends, error);
    if (!device) {
        return false;
    }
    const om::ERROR_CODE result = m_camera.open(parametersFor(*device));
    if (result != omlib::success) {
        error = "camera " + nameOf(*device) + " cannot be opened (code " +
                std::to_string(static_cast<int>(result)) +
                "): end the program that uses it, or plug it in again";
        return false;
    }
    m_information = m_camera.getCameraInformation(om::Resolution{0, 0});
    if (m_information.serialNumber != device->serialNumber) {
        // A serial bus opens by the id, which may be another camera's since the list was made.
        m_camera.close();
        error = "camera " + nameOf(*device) + " was requested, but camera " +
                std::to_string(m_information.serialNumber) +
                " was opened: unplug that one, or try again";
        return false;
    }
    m_grabber = std::thread(&CameraStream::grab, this);
    return true;
}

bool CameraStream::next(om::SensorsData& record)
{
    // Any other failure is temporary: the record is used as it is, usually without a new sample.
    return m_camera.getSensorsData(record, omlib::current) != omlib::cameraGone;
}

void CameraStream::grab()
{
    const om::RuntimeParameters parameters = omlib::runtimeParametersWithoutDepth();
    while (!m_ends) {
        const om::ERROR_CODE result = m_camera.grab(parameters);
        if (result == omlib::cameraGone) {
            return;
        }
        if (result != omlib::success) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
}

} // namespace samplelog
