/// @file
/// Opening a camera, its frames and its sensor stream.
#pragma once

#include <om_tiv/mat.h>
#include <om_tiv/sensors.h>

#include <cuda.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace om {

/// Selects the camera to open; without a selection the first one on the machine.
class InputType
{
public:
    enum class KIND { NONE, SERIAL_NUMBER, CAMERA_ID, RECORDED_FILE };

    InputType() = default;
    InputType(const InputType&) = default;
    InputType& operator=(const InputType&) = default;

    /// A camera on another bus than the given one is not found.
    void setFromSerialNumber(unsigned int serial, BUS_TYPE bus);
    void setFromCameraID(int id, BUS_TYPE bus);
    void setFromQVRFile(String path); ///< a recorded file

    KIND kind() const { return m_kind; }
    BUS_TYPE bus() const { return m_bus; }
    unsigned int serialNumber() const { return m_serial; }
    int cameraId() const { return m_id; }
    const String& path() const { return m_path; }

private:
    KIND m_kind = KIND::NONE;
    BUS_TYPE m_bus = BUS_TYPE::USB;
    unsigned int m_serial = 0;
    int m_id = -1;
    String m_path;
};

/// Settings of Camera::open(). Members without a documented meaning are accepted, stored and
/// returned by Camera::getInitParameters().
struct InitParameters
{
    InitParameters(RESOLUTION resolution_ = RESOLUTION::AUTO, int fps_ = 0,
                   bool enableRecording_ = false, DEPTH_MODE depthMode_ = DEPTH_MODE::STANDARD,
                   UNIT coordinateUnits_ = UNIT::MILLIMETRE,
                   COORDINATE_SYSTEM coordinateSystem_ = COORDINATE_SYSTEM::IMAGE,
                   int verbosity_ = 1, int gpuId_ = -1, float depthMinimum_ = -1.0F,
                   float depthMaximum_ = -1.0F, bool disableSelfCalibration_ = false,
                   int imageFlip_ = 0, bool rightSideMeasure_ = false, String logFile_ = String(),
                   int depthStabilization_ = 1, CUcontext cudaContext_ = nullptr,
                   InputType input_ = InputType(), String settingsPath_ = String(),
                   bool sensorsRequired_ = false, bool imageEnhancement_ = true,
                   String calibrationPath_ = String(), float openTimeout_ = 5.0F,
                   bool asyncRecovery_ = false, float grabRateLimit_ = 0.0F,
                   bool imageValidation_ = false);

    RESOLUTION resolution;
    /// Requested frames per second, from 15 to the maximum of the resolution (60 for HD720, 30 for
    /// HD1200). Values outside are clamped; 0 or less selects the maximum. After open() the actual
    /// rate.
    int fps;
    bool enableRecording;
    DEPTH_MODE depthMode;
    UNIT coordinateUnits;
    COORDINATE_SYSTEM coordinateSystem;
    int verbosity;
    int gpuId;
    /// In coordinateUnits; negative selects the model's own values. After open() the actual values.
    float depthMinimum;
    float depthMaximum;
    bool disableSelfCalibration;
    int imageFlip;
    bool rightSideMeasure;
    String logFile;
    int depthStabilization;
    CUcontext cudaContext; ///< the context to use; null lets the library create its own
    InputType input;
    String settingsPath;
    bool sensorsRequired;
    bool imageEnhancement;
    String calibrationPath;
    float openTimeout; ///< s; 0 or less for none
    bool asyncRecovery;
    float grabRateLimit; ///< Hz, 0 for none
    bool imageValidation;
};

/// Settings of Camera::grab().
struct RuntimeParameters
{
    RuntimeParameters(bool enableDepth_ = true, bool enableFill_ = false,
                      int confidenceThreshold_ = 95, int textureThreshold_ = 100,
                      REFERENCE_FRAME referenceFrame_ = REFERENCE_FRAME::CAMERA,
                      bool removeSaturated_ = true);

    bool enableDepth; ///< if false the frame has no measures
    bool enableFill;
    int confidenceThreshold; ///< 1 to 100
    int textureThreshold;
    REFERENCE_FRAME referenceFrame;
    bool removeSaturated;
};

/// One detected camera.
struct DeviceProperties
{
    unsigned int state = 0; ///< 0 available, 1 in use
    int id = -1;            ///< camera id, for InputType::setFromCameraID
    String path;            ///< system path of the device
    MODEL cameraModel = MODEL::UNKNOWN;
    unsigned int serialNumber = 0;
    BUS_TYPE bus = BUS_TYPE::USB;
};

/// Information that an open camera provides.
struct CameraInformation
{
    unsigned int serialNumber = 0;
    MODEL cameraModel = MODEL::UNKNOWN;
    unsigned int firmwareVersion = 0;
    Resolution resolution; ///< of one image
};

/// One camera, or one recorded file.
///
/// Threads: open(), close() and the destructor may be called by one thread at a time and must not
/// run at the same time as other calls, except isOpened(). Between open() and close() every
/// operation may run on any thread, at the same time as any other.
class Camera
{
public:
    Camera();
    ~Camera(); ///< closes
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    /// Blocks until the camera runs or fails. An open camera is closed first. On success the CUDA
    /// context of the camera is current on the calling thread.
    /// @return SUCCESS, NOT_DETECTED, IN_USE, TIMEOUT after openTimeout, INVALID_INPUT for a
    ///         recorded file that cannot be read (with one line on standard error), CAMERA_GONE if
    ///         it was lost during the open, FAILURE if there is no CUDA device, or another code of
    ///         the camera
    ERROR_CODE open(InitParameters parameters);

    /// Closes the camera. No effect if it is not open.
    void close();

    /// True between a successful open() and close() or the loss of the camera. Takes no lock.
    bool isOpened() const;

    /// Waits for the next frame; a late caller gets the newest one. CAMERA_GONE once the camera is
    /// lost, TIMEOUT if no frame arrived within 100 ms, FAILURE if nothing is open. At the end of a
    /// recorded file it delivers the last frame again.
    ERROR_CODE grab(RuntimeParameters parameters);

    /// Before the first open() a default record. The argument only scales the images; 0 by 0 means
    /// no scaling.
    CameraInformation getCameraInformation(Resolution imageSize = Resolution());

    /// The actual settings of the last successful open(), also after close(). Before the first one
    /// the defaults.
    InitParameters getInitParameters();

    /// Valid after a successful open() until close(); null otherwise. Owned by the camera, unless
    /// it is InitParameters::cudaContext.
    CUcontext getCUDAContext();

    /// The cameras on the machine, in the bus's order. May take long. Must not run during an
    /// open().
    static std::vector<DeviceProperties> getDeviceList();

    /// Fills the record. TIME_REFERENCE::CURRENT waits up to 5 ms for a sample newer than the last
    /// one returned by this object, so that a caller that polls without a pause does not use a
    /// whole core; without a newer sample it returns the last one again. IMAGE: as of the last
    /// grabbed frame, no wait.
    /// @return SUCCESS; FAILURE if nothing is open, without sensors (MODEL::TIV, a recorded file)
    ///         and for IMAGE before the first frame; CAMERA_GONE once the camera is lost
    ERROR_CODE getSensorsData(SensorsData& data, TIME_REFERENCE reference);

    /// ns since the epoch of the library's clock, which starts with the system's wall clock and
    /// never runs backward. IMAGE: the last grabbed frame, 0 before the first and if nothing is
    /// open. CURRENT: now, also without an open camera.
    std::uint64_t getTimestamp(TIME_REFERENCE reference);

    /// Writes a view, or a measure, of the last grabbed frame into the buffer. A buffer of another
    /// size or type is allocated again, and missing memory of the kind is allocated; GPU memory is
    /// allocated in the calling thread's context.
    ///
    /// If the buffer has the same view or measure of an earlier frame of this opening, only the
    /// differences between the frames are written. A caller must not change the content of a
    /// buffer.
    /// @param size of the result, to which the picture is scaled. A width or height of 0 selects
    ///             CameraInformation::resolution, for VIEW::SIDE_BY_SIDE twice as wide
    /// @return SUCCESS; FAILURE if nothing is open, before the first frame, without memory, and for
    ///         a measure if depth was off in open() or in the last grab(); CAMERA_GONE once the
    ///         camera is lost; INVALID_INPUT for a view or measure without an enumerator
    ERROR_CODE retrieveImage(Mat& image, VIEW view, MEM memory, Resolution size);
    ERROR_CODE retrieveMeasure(Mat& measure, MEASURE kind, MEM memory, Resolution size);

    /// Frame number of a recorded file that the last grab() delivered or a later setQVRPosition()
    /// selected; 0 before both, for a live camera, and if nothing is open.
    int getQVRPosition();
    /// Sets the frame that the next grab() delivers, clamped to the file. No effect for a live
    /// camera and if nothing is open.
    void setQVRPosition(int frame);
    /// Number of frames of a recorded file; -1 for a live camera and if nothing is open.
    int getQVRNumberOfFrames();

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace om
