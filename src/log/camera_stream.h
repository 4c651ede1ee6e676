/// @file
/// A camera that streams so that its sensors can be read.
#pragma once

#include "camera/camera_library.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

namespace samplelog {

/// Opens a camera and grabs its frames, which nobody uses, so that the camera keeps running. Calls
/// of open(), next() and the destructor do not overlap; they may come from different threads.
class CameraStream
{
public:
    CameraStream() = default;
    ~CameraStream(); ///< closes the camera
    CameraStream(const CameraStream&) = delete;
    CameraStream& operator=(const CameraStream&) = delete;

    /// Waits for a camera that is not in the library's list yet, because it is being plugged in or
    /// its recording is still being read.
    /// @param serial   serial number of the camera; none selects the first camera with sensors
    /// @param patience longest wait; at most one second if there are other cameras with sensors
    /// @param ends     true ends the wait
    /// @param error    one line if it fails
    bool open(const std::optional<unsigned int>& serial, std::chrono::milliseconds patience,
              const std::atomic<bool>& ends, std::string& error);

    /// Whether open() has waited for more than a second because there is no camera. Any thread may
    /// call it.
    bool isAwaited() const { return m_isAwaited; }

    /// Of the camera that open() opened.
    const om::CameraInformation& information() const { return m_information; }

    /// Waits up to a few milliseconds for the next record of the sensors. The same record may be
    /// returned more than once. True also after a temporary failure, usually without a new sample.
    /// @return false if the camera is lost
    bool next(om::SensorsData& record);

    /// Current time of the camera library's clock, ns; 0 if it has none.
    std::uint64_t now() { return m_camera.getTimestamp(omlib::current); }

private:
    std::optional<om::DeviceProperties> await(const std::optional<unsigned int>& serial,
                                              std::chrono::milliseconds patience,
                                              const std::atomic<bool>& ends, std::string& error);
    void grab();

    om::Camera m_camera;
    om::CameraInformation m_information;
    std::atomic<bool> m_isAwaited{false};
    std::atomic<bool> m_ends{false};
    std::thread m_grabber;
};

} // namespace samplelog
