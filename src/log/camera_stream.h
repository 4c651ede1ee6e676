/// @file
/// A camera that streams so that its sensors can be read.
#pragma once

#include "camera/camera_library.h"

#include <atomic>
#include <optional>
#include <string>
#include <thread>

namespace samplelog {

/// Opens a camera and grabs its frames, which nobody uses, so that the camera keeps running. One
/// thread calls open() and the destructor; next() may be called by one thread at a time.
class CameraStream
{
public:
    CameraStream() = default;
    ~CameraStream(); ///< closes the camera
    CameraStream(const CameraStream&) = delete;
    CameraStream& operator=(const CameraStream&) = delete;

    /// @param serial serial number of the camera; none selects the first camera with sensors
    /// @param error  one line if it fails
    bool open(const std::optional<unsigned int>& serial, std::string& error);

    /// Of the camera that open() opened.
    const om::CameraInformation& information() const { return m_information; }

    /// Waits up to a few milliseconds for the next record of the sensors. The same record may be
    /// returned more than once. True also after a temporary failure, usually without a new sample.
    /// @return false if the camera is lost
    bool next(om::SensorsData& record);

private:
    void grab();

    om::Camera m_camera;
    om::CameraInformation m_information;
    std::atomic<bool> m_ends{false};
    std::thread m_grabber;
};

} // namespace samplelog
