/// @file
/// A camera that is kept running for its sensors.
#pragma once

#include "camera/camera_library.h"

#include <atomic>
#include <optional>
#include <string>
#include <thread>

namespace samplelog {

/// Opens a camera and grabs its frames, which nobody looks at, so that it goes on. open() and the
/// destructor belong to one thread, next() to one thread at a time.
class CameraStream
{
public:
    CameraStream() = default;
    ~CameraStream(); ///< closes the camera
    CameraStream(const CameraStream&) = delete;
    CameraStream& operator=(const CameraStream&) = delete;

    /// @param serial of the camera; none for the first one with sensors
    /// @param error  one line where it fails
    bool open(const std::optional<unsigned int>& serial, std::string& error);

    const om::CameraInformation& information() const { return m_information; }

    /// Waits up to some milliseconds for the next record of the sensors. A record may come again.
    /// @return false once the camera is lost
    bool next(om::SensorsData& record);

private:
    void grab();

    om::Camera m_camera;
    om::CameraInformation m_information;
    std::atomic<bool> m_ends{false};
    std::thread m_grabber;
};

} // namespace samplelog
