/// @file
/// One opening of a camera or of a recorded file.
#pragma once

#include "library/frame_source.h"
#include "library/picture.h"
#include "library/sensor_reader.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace om::bench {

/// The state and the operations of an opened camera. The settings are the actual ones. Any thread.
class CameraSession
{
public:
    enum class STATE { OPEN, LOST, CLOSED };

    /// Opens the camera or file that the parameters select.
    /// @param onLost called once when the camera is lost, on the thread that unplugged it; close()
    ///               waits for it, and after that it is not called any more. It must not call back
    /// @return null on failure, with the result set
    static std::shared_ptr<CameraSession> open(const InitParameters& parameters,
                                               std::function<void()> onLost, ERROR_CODE& result);

    CameraSession(InitParameters parameters, const CameraInformation& information,
                  std::function<void()> onLost);
    ~CameraSession();
    CameraSession(const CameraSession&) = delete;
    CameraSession& operator=(const CameraSession&) = delete;

    void close();
    bool isOpen() const { return m_state.load() == STATE::OPEN; }

    const InitParameters& parameters() const { return m_parameters; }
    const CameraInformation& information() const { return m_information; }
    CUcontext context() const { return m_context; }

    ERROR_CODE grab(const RuntimeParameters& runtime);
    ERROR_CODE sensors(SensorsData& data, TIME_REFERENCE reference);
    ERROR_CODE image(Mat& image, VIEW view, MEM memory, Resolution size);
    ERROR_CODE measure(Mat& measure, MEASURE kind, MEM memory, Resolution size);
    Nanoseconds imageTime() const { return m_imageTime.load(); } ///< 0 before the first frame
    FrameSource& frames() { return *m_frames; }

private:
    static ERROR_CODE findDevice(const InputType& input, std::shared_ptr<VirtualCamera>& device);
    ERROR_CODE attach(std::shared_ptr<VirtualCamera> device);
    ERROR_CODE attachFile(RecordedFile recording);
    ERROR_CODE makeContext();
    void lose();     ///< called by the library: the camera counts as lost for this opening only
    bool markLost(); ///< false if it is no longer open

    /// The result of an operation in the states LOST and CLOSED; SUCCESS while open.
    ERROR_CODE stateResult() const;
    /// For a moment at most, so that a repeated entry of a script takes no processor.
    void awaitChange(const std::function<bool()>& changed);
    ERROR_CODE endGrab(ERROR_CODE result); ///< of a grab that reads no frame
    void take(const Frame& frame);
    void takeNext(Nanoseconds time); ///< the frame after the last one

    InitParameters m_parameters;
    CameraInformation m_information;
    const std::function<void()> m_onLost;
    std::mutex m_lossMutex; ///< held over the change of the state and m_onLost(), in this order
                            ///< after the device's lock; close() waits for both
    std::atomic<STATE> m_state{STATE::OPEN};
    CUcontext m_context = nullptr;
    std::optional<CUdevice> m_retained; ///< device whose context is to be released

    std::shared_ptr<VirtualCamera> m_device; ///< null for a recorded file
    std::unique_ptr<FrameSource> m_frames;
    std::unique_ptr<SensorReader> m_sensors; ///< null without sensors

    std::atomic<Nanoseconds> m_imageTime{0};
    std::atomic<bool> m_depthOn{true}; ///< of the last grab
    std::mutex m_pictureMutex;         ///< guards the next two
    Picture m_picture;
    std::optional<std::uint64_t> m_frame; ///< last grabbed

    std::mutex m_scriptMutex;
    SensorsEntry m_scripted; ///< stored, so that its map needs no allocation in each call
};

} // namespace om::bench
