#include "log/camera_stream.h"

#include <chrono>
#include <vector>

namespace samplelog {

namespace {

bool hasSensors(const om::DeviceProperties& device)
{
    return device.cameraModel != omlib::tiv && static_cast<int>(device.serialNumber) > 0;
}

std::string nameOf(const om::DeviceProperties& device)
{
    return std::to_string(device.serialNumber) + " (" + om::toString(device.cameraModel).c_str() +
           ")";
}

const om::DeviceProperties* find(const std::vector<om::DeviceProperties>& devices,
                                 const std::optional<unsigned int>& serial, std::string& error)
{
    std::string known;
    for (const om::DeviceProperties& device : devices) {
        if (!hasSensors(device)) {
            continue;
        }
        if (!serial || device.serialNumber == *serial) {
            return &device;
        }
        known += (known.empty() ? "" : ", ") + nameOf(device);
    }
    error = "no camera with sensors is connected";
    if (serial) {
        error = "no camera with serial number " + std::to_string(*serial) +
                (known.empty() ? ", and no other one either" : "; there are " + known);
    }
    return nullptr;
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

bool CameraStream::open(const std::optional<unsigned int>& serial, std::string& error)
{
    const std::vector<om::DeviceProperties> devices = om::Camera::getDeviceList();
    const om::DeviceProperties* const device = find(devices, serial, error);
    if (device == nullptr) {
        return false;
    }
    const om::ERROR_CODE result = m_camera.open(parametersFor(*device));
    if (result != omlib::success) {
        error = "camera " + nameOf(*device) + " cannot be opened (code " +
                std::to_string(static_cast<int>(result)) +
                "): end the program that uses it, or plug it in again";
        return false;
    }
    m_information = m_camera.getCameraInformation(om::Resolution(0, 0));
    m_grabber = std::thread(&CameraStream::grab, this);
    return true;
}

bool CameraStream::next(om::SensorsData& record)
{
    // Any other failure is temporary: the record is used as it is, usually without a new sample.
    return m_camera.getSensorsData(record, omlib::latest) != omlib::cameraGone;
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
