#include "camera/InputThreadModul.h"

#include "camera/ProgramStates.h"
#include "camera/framerates.h"
#include "camera/playbackpacing.h"
#include "camera/shortsleep.h"

#include <QAbstractSlider>

#include <limits>

namespace {

bool depthWanted()
{
    return ProgramStates::getIntAttr(ProgramStates::depthMode) != 0;
}

om::VIEW view(int attribute)
{
    return static_cast<om::VIEW>(ProgramStates::getIntAttr(attribute));
}

} // namespace

void InputThreadModul::run()
{
    while (!enabled) {
        msleep(5);
        if (aborted) {
            return;
        }
    }
    running = true;
    cudaContext = camera.getCUDAContext();

    om::RuntimeParameters parameters(true, false, 95, 100, om::REFERENCE_FRAME::CAMERA, true);
    parameters.referenceFrame = om::REFERENCE_FRAME::CAMERA;
    parameters.enableDepth = true;

    ProgramStates::setIntAttr(ProgramStates::image2Width, static_cast<int>(image2Size.width));
    ProgramStates::setIntAttr(ProgramStates::image2Height, static_cast<int>(image2Size.height));

    if (!running) {
        return;
    }

    RateReadings<unsigned int> measured;
    RateReadings<int> reported;
    om::ERROR_CODE result = om::ERROR_CODE::SUCCESS;
    do {
        // Nothing else binds the camera's context to this thread.
        cuCtxSetCurrent(cudaContext);
        parameters.confidenceThreshold =
            ProgramStates::getIntAttr(ProgramStates::confidenceThreshold);

        grabMutex.lock();
        const bool paused = ProgramStates::getBoolAttr(ProgramStates::inputPaused);
        result = grabFrame(paused, result, parameters);
        grabMutex.unlock();

        if (result == om::ERROR_CODE::SUCCESS) {
            // A busy lock costs this frame's retrieval, never a wait.
            if (retrieveMutex.tryLock(0)) {
                retrieveFrame();
                measured.shift(fpsCounter->framesPerSecond);
                reported.shift(camera.getInitParameters().fps);
                retrieveMutex.unlock();
            }
            ProgramStates::setIntAttr(
                ProgramStates::measuredFps,
                publishedRate(measured, liveCamera,
                              ProgramStates::getIntAttr(ProgramStates::requestedFps)));
            ProgramStates::setIntAttr(ProgramStates::cameraFps, meanRate(reported));
            emit SendImage();
        } else if (result == om::ERROR_CODE::CAMERA_GONE) {
            running = false;
            opened = false;
            playingFile = false;
            emit DetectTIVDisconnect();
        } else {
            sleepWhole(std::chrono::milliseconds(1));
        }

        if (playingFile && camera.getQVRPosition() >= lastFrame && !paused) {
            frameSlider->setValue(0);
            camera.setQVRPosition(0);
        }
    } while (running);
}

om::ERROR_CODE InputThreadModul::grabFrame(bool paused, om::ERROR_CODE previous,
                                           const om::RuntimeParameters& parameters)
{
    if (!playingFile) {
        // A paused camera keeps the result of the pass before.
        return paused ? previous : camera.grab(parameters);
    }
    if (paused) {
        camera.setQVRPosition(frameSlider->value());
        return camera.grab(parameters);
    }
    const int step = ProgramStates::getIntAttr(ProgramStates::playbackStep);
    const int position = frameSlider->value() + step;
    if (step != 1) {
        camera.setQVRPosition(position);
    }
    frameSlider->setValue(position);
    return camera.grab(parameters);
}

void InputThreadModul::retrieveFrame()
{
    countFrame(*fpsCounter, std::chrono::system_clock::now());

    camera.retrieveImage(imageGpu, view(ProgramStates::imageView), om::MEM::GPU, imageSize);
    camera.retrieveImage(image2Gpu, view(ProgramStates::image2View), om::MEM::GPU, image2Size);
    if (depthWanted()) {
        camera.retrieveMeasure(measureGpu, om::MEASURE::XYZ, om::MEM::GPU, image2Size);
    }
    serveRequests();
    if (playingFile) {
        pacePlayback();
    }
}

void InputThreadModul::serveRequests()
{
    const om::Resolution full(0, 0);
    if (requestView0) {
        requestView0 = false;
        camera.retrieveImage(imageHost, om::VIEW::LEFT, om::MEM::CPU, full);
    }
    if (requestView1) {
        requestView1 = false;
        camera.retrieveImage(imageHost, om::VIEW::RIGHT, om::MEM::CPU, full);
    }
    if (requestView8) {
        requestView8 = false;
        camera.retrieveImage(image3Host, om::VIEW::SIDE_BY_SIDE, om::MEM::CPU, full);
    }
    if (requestDepth) {
        requestDepth = false;
        camera.retrieveMeasure(depthHost, om::MEASURE::DEPTH, om::MEM::CPU, full);
    }
    if (requestMeasure) {
        requestMeasure = false;
        camera.retrieveMeasure(measureHost, om::MEASURE::XYZ, om::MEM::CPU, full);
    }
}

void InputThreadModul::pacePlayback()
{
    const std::uint64_t timestamp = camera.getTimestamp(om::TIME_REFERENCE::IMAGE);
    if (timestamp == 0) {
        return;
    }
    // Nothing is known of the time before the first frame, which is therefore not held back.
    const int elapsedMs = playbackTimer.isValid() ? static_cast<int>(playbackTimer.elapsed())
                                                  : std::numeric_limits<int>::max();
    const unsigned long delay = playbackDelayUs(timestamp, lastPlaybackTime, elapsedMs);
    if (delay > 0) {
        usleep(delay);
    }
    lastPlaybackTime = timestamp;
    playbackTimer.start();
}
