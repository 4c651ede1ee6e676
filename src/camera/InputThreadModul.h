/// @file
/// The open camera and the thread that keeps it running.
#pragma once

#include "camera/camera_library.h"
#include "camera/fps_counter.h"

#include <cuda.h>

#include <QElapsedTimer>
#include <QMutex>
#include <QString>
#include <QThread>

#include <cstdint>

class QAbstractSlider;

/// Owns one opening of one camera: opens it, allocates the image buffers, and grabs frames on its
/// own thread while the camera is connected. Other threads read the sensors from `camera` at the
/// same time.
///
/// Order of calls: constructor, enableToStart(), one of live(), gmsl() and qvr(), CreateMemories(),
/// startGrabbing(), destructor; all on the interface thread, and only run() on the new one. After
/// the loss of the camera the sensor thread may call stopGrabbing() and destroy the object instead
/// of the interface thread.
///
/// The flags are plain bools without atomics or a lock, written by the interface thread, the sensor
/// thread and run(). The loop checks `running` only at the end of a pass.
/// run() sets `running` when it begins: a stop before that is lost, and stopGrabbing() then waits
/// until the camera is lost.
class InputThreadModul : public QThread
{
    Q_OBJECT

public:
    InputThreadModul();
    /// Ends the loop, waits for the thread without limit, frees the buffers and closes the camera.
    ~InputThreadModul() override;

    /// Opens the camera with the serial number on USB, with the resolution and frame rate of the
    /// attribute table. The result is that of om::Camera::open(), 0 on success.
    int live(int serial);

    /// Opens the camera with the camera id on the serial bus, always with om::RESOLUTION 3 at 30
    /// frames per second. Result as for live().
    int gmsl(unsigned int id);

    /// Opens a recorded file, which then plays in an endless loop. Result as for live().
    /// `frameSlider` must be set before and have a range that covers the file.
    int qvr(QString path);

    /// Allocates all image buffers on the calling thread, on the camera's CUDA context. False if no
    /// camera is open or a CUDA error occurred.
    bool CreateMemories();

    /// Starts the thread, if a camera is open.
    void startGrabbing();

    /// Ends the loop and waits for the thread without limit. Not from run() itself, and not between
    /// startGrabbing() and the beginning of run(), where the stop would be lost (see above).
    void stopGrabbing();

    /// The settings for an open, from the attribute table; `fps` and `input` are the opener's.
    om::InitParameters getInitParams();

    /// Updates `frameRate` and `droppedFrames` with one image time stamp (ns, 0 is ignored).
    /// Available for future use; the loop doesn't call it.
    void CalcFrameDrop(unsigned long long timestamp);

public slots:
    /// Lets run() continue, whatever the argument.
    void enableToStart(bool enable);

signals:
    // For future use, and never emitted: theEnd(), sendInit2D(), sendNewImage(), send3D(), SendPC()
    // and SendDepth().
    void theEnd();
    void sendInitProcess(); ///< CreateMemories(): context current, sizes known, nothing allocated
    void sendInit2D(int, int, int);
    void sendInit(); ///< CreateMemories(): everything allocated
    void sendNewImage();
    void sendContext(); ///< CreateMemories(): `cudaContext` valid, image buffers allocated
    void send3D(float*);
    void SendPC();
    void SendImage(); ///< run(): once per pass with a successful grab
    void SendDepth();
    void DetectTIVDisconnect(); ///< run(): the camera is gone and the loop ends

protected:
    void run() override;

public:
    om::Mat imageGpu;    ///< view of attribute imageView
    om::Mat image2Gpu;   ///< view of attribute image2View
    om::Mat measureGpu;  ///< measure XYZ
    om::Mat depthHost;   ///< measure DEPTH in host memory, on request
    om::Mat measureHost; ///< measure XYZ in host memory, on request
    om::Mat imageHost;   ///< view LEFT or RIGHT in host memory, on request
    om::Mat image3Host;  ///< view SIDE_BY_SIDE in host memory, on request

    // Each requests one host retrieval at the next frame, which clears it.
    bool requestView0 = false;
    bool requestView1 = false;
    bool requestView8 = false;
    bool requestDepth = false;
    bool requestMeasure = false;

    CUcontext cudaContext = nullptr; ///< the camera's, from CreateMemories() on
    int lastFrame = 0;               ///< last frame number played of a recorded file

    /// Position control of a recorded file, not owned: whoever calls qvr() provides it. run() reads
    /// and moves it on the input thread, so its valueChanged() is emitted there.
    QAbstractSlider* frameSlider = nullptr;

    om::Camera camera;

    QMutex retrieveMutex; ///< held by run() while one frame is retrieved
    QMutex grabMutex;     ///< held by run() around the grab

    std::uint64_t lastImageTime = 0; ///< CalcFrameDrop(): last time stamp, ns
    unsigned int droppedFrames = 0;  ///< CalcFrameDrop(): count
    double frameRate = 0.0;          ///< CalcFrameDrop(): smoothed rate, Hz

    FpsCounter* fpsCounter; ///< owned

    om::CameraInformation cameraInfo; ///< as of live() or gmsl()

    bool enabled = false;     ///< run() waits for it
    bool running = false;     ///< the loop continues while true
    bool opened = false;      ///< a camera or a file is open
    bool playingFile = false; ///< it is a recorded file
    bool liveCamera = false;  ///< it is a live camera
    bool aborted = false;     ///< the object is being destroyed

    om::Resolution imageSize;  ///< of imageGpu
    om::Resolution image2Size; ///< of image2Gpu and measureGpu

    QElapsedTimer playbackTimer;        ///< real time since the last frame of a file
    std::uint64_t lastPlaybackTime = 0; ///< time stamp of the last frame of a file, ns

private:
    /// Sets `aborted` and clears the other flags, perhaps while the loop runs. Not inlined, so that
    /// ThreadSanitizer's reports name it.
    Q_NEVER_INLINE void abort();
    int openLive(om::InitParameters parameters);
    om::ERROR_CODE grabFrame(bool paused, om::ERROR_CODE previous,
                             const om::RuntimeParameters& parameters);
    void retrieveFrame();
    void serveRequests();
    void pacePlayback();
};
