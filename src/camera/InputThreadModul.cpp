#include "camera/InputThreadModul.h"

#include "camera/ProgramStates.h"
#include "camera/frame_rates.h"

#include <cuda_runtime_api.h>

#include <utility>

InputThreadModul::InputThreadModul() : fpsCounter(new FpsCounter) {}

InputThreadModul::~InputThreadModul()
{
    lastImageTime = 0;
    droppedFrames = 0;
    frameRate = 0.0;

    abort();
    // A thread that still waits to be enabled detects `aborted` within 5 ms.
    msleep(10);
    if (isRunning()) {
        // Plain flags have no order: a thread that has just begun may have set `running` before it
        // could see `aborted`.
        abort();
        wait();
    }

    // The buffers belong to the camera's context, which need not be current on this thread.
    cuCtxSetCurrent(cudaContext);
    for (om::Mat* mat :
         {&imageGpu, &image2Gpu, &measureGpu, &depthHost, &measureHost, &imageHost, &image3Host}) {
        mat->free(omlib::bothMemories);
    }
    delete fpsCounter;
    camera.close();
    cudaGetLastError();
}

void InputThreadModul::abort()
{
    // A thread that sets `running` checks it next.
    aborted = true;
    enabled = false;
    running = false;
    opened = false;
    playingFile = false;
    liveCamera = false;
}

om::InitParameters InputThreadModul::getInitParams()
{
    om::InitParameters parameters = omlib::initParameters();
    parameters.resolution =
        static_cast<om::RESOLUTION>(ProgramStates::getIntAttr(ProgramStates::requestedResolution));
    parameters.imageFlip = 0;
    parameters.depthMode =
        static_cast<om::DEPTH_MODE>(ProgramStates::getIntAttr(ProgramStates::depthMode));
    parameters.depthStabilization =
        ProgramStates::getBoolAttr(ProgramStates::depthStabilization) ? 1 : 0;
    // The library gets the unrounded product in float: 25000 mm are 25.000002 m.
    parameters.depthMinimum =
        static_cast<float>(ProgramStates::getIntAttr(ProgramStates::depthMinimumCm)) * 0.01F;
    parameters.depthMaximum =
        static_cast<float>(ProgramStates::getIntAttr(ProgramStates::depthMaximumMm)) * 0.001F;
    parameters.coordinateUnits = omlib::metre;
    parameters.coordinateSystem = omlib::poseSystem;
    parameters.verbosity = 1;
    return parameters;
}

int InputThreadModul::live(int serial)
{
    om::InitParameters parameters = getInitParams();
    parameters.fps = ProgramStates::getIntAttr(ProgramStates::requestedFps);
    omlib::inputOf(parameters)
        .setFromSerialNumber(static_cast<unsigned int>(serial), omlib::usbBus);
    return openLive(std::move(parameters));
}

int InputThreadModul::gmsl(unsigned int id)
{
    om::InitParameters parameters = getInitParams();
    parameters.resolution = omlib::serialResolution;
    parameters.fps = 30;
    omlib::inputOf(parameters).setFromCameraID(static_cast<int>(id), omlib::serialBus);
    return openLive(std::move(parameters));
}

int InputThreadModul::openLive(om::InitParameters parameters)
{
    const om::ERROR_CODE result = camera.open(std::move(parameters));
    const bool success = result == omlib::success;
    if (success) {
        cameraInfo = camera.getCameraInformation(om::Resolution{0, 0});
    }
    opened = success;
    playingFile = false;
    liveCamera = success;
    return static_cast<int>(result);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the declared interface, and a shared string
int InputThreadModul::qvr(QString path)
{
    ProgramStates::qstringAttr(ProgramStates::inputFilePath) = path;
    om::InitParameters parameters = getInitParams();
    omlib::inputOf(parameters).setFromQVRFile(om::String(path.toUtf8().constData()));
    const om::ERROR_CODE result = camera.open(std::move(parameters));
    if (result == omlib::success) {
        opened = true;
        playingFile = true;
        liveCamera = false;
        lastFrame = camera.getQVRNumberOfFrames() - 2;
    } else {
        opened = false;
        playingFile = false;
    }
    return static_cast<int>(result);
}

bool InputThreadModul::CreateMemories()
{
    if (!opened) {
        return false;
    }
    // An error of earlier calls must not count as one of the allocations below.
    cudaGetLastError();

    const om::CameraInformation information = camera.getCameraInformation(om::Resolution{0, 0});
    ProgramStates::setIntAttr(ProgramStates::cameraModel,
                              static_cast<int>(information.cameraModel));
    lastImageTime = 0;
    droppedFrames = 0;
    frameRate = 0.0;
    ProgramStates::setDoubleAttr(ProgramStates::effectiveDepthMinimum,
                                 static_cast<double>(camera.getInitParameters().depthMinimum));
    cudaContext = camera.getCUDAContext();
    cuCtxSetCurrent(cudaContext);

    imageSize = information.resolution;
    ProgramStates::setIntAttr(ProgramStates::imageWidth, static_cast<int>(imageSize.width));
    ProgramStates::setIntAttr(ProgramStates::imageHeight, static_cast<int>(imageSize.height));
    ProgramStates::setIntAttr(ProgramStates::image2Width, static_cast<int>(imageSize.width));
    ProgramStates::setIntAttr(ProgramStates::image2Height, static_cast<int>(imageSize.height));
    emit sendInitProcess();

    imageGpu.alloc(imageSize, omlib::fourBytes, omlib::gpuMemory);
    image2Size = imageSize;
    image2Gpu.alloc(image2Size, omlib::fourBytes, omlib::gpuMemory);
    emit sendContext();

    measureGpu.alloc(image2Size, omlib::fourFloats, omlib::gpuMemory);
    depthHost.alloc(imageSize, omlib::oneFloat, omlib::hostMemory);
    measureHost.alloc(imageSize, omlib::fourFloats, omlib::hostMemory);
    imageHost.alloc(imageSize, omlib::fourBytes, omlib::hostMemory);
    image3Host.alloc(imageSize, omlib::fourBytes, omlib::hostMemory);

    requestView0 = false;
    requestView1 = false;
    requestView8 = false;
    requestDepth = false;
    requestMeasure = false;
    emit sendInit();

    // The last error stays until it is read, so this one check covers every allocation.
    return cudaGetLastError() == cudaSuccess;
}

void InputThreadModul::startGrabbing()
{
    if (opened) {
        start(QThread::InheritPriority);
    }
}

void InputThreadModul::stopGrabbing()
{
    running = false;
    wait();
}

void InputThreadModul::enableToStart(bool /*enable*/)
{
    enabled = true;
}

void InputThreadModul::CalcFrameDrop(unsigned long long timestamp)
{
    // The first frame needs no period, and a call without a time stamp is not a frame.
    const bool needsPeriod = timestamp != 0 && lastImageTime != 0;
    const double period = needsPeriod ? expectedPeriodMs(camera.getInitParameters().fps) : 0.0;
    const FrameDrops drops =
        afterFrame({lastImageTime, droppedFrames, frameRate}, timestamp, period);
    lastImageTime = drops.lastImageTime;
    droppedFrames = drops.droppedFrames;
    frameRate = drops.frameRate;
}
