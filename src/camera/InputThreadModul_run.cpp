#include "camera/InputThreadModul.h"

#include "camera/ProgramStates.h"
#include "camera/frame_rates.h"
#include "camera/playback_pacing.h"
#include "camera/short_sleep.h"

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

void publishRates(const RateReadings<unsigned int>& measured, const RateReadings<int>& reported,
                  bool live)
{
    ProgramStates::setIntAttr(
        ProgramStates::measuredFps,
        publishedRate(measured, live, ProgramStates::getIntAttr(ProgramStates::requestedFps)));
    ProgramStates::setIntAttr(ProgramStates::cameraFps, meanRate(reported));
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

    om::RuntimeParameters parameters = omlib::runtimeParameters();

    ProgramStates::setIntAttr(ProgramStates::image2Width, static_cast<int>(image2Size.width));
    ProgramStates::setIntAttr(ProgramStates::image2Height, static_cast<int>(image2Size.height));

    if (!running || aborted) {
        return;
    }

    RateReadings<unsigned int> measured;
    RateReadings<int> reported;
    om::ERROR_CODE result = omlib::success;
    do {
        // No other code makes the camera's context current on this thread.
        cuCtxSetCurrent(cudaContext);
        parameters.confidenceThreshold =
            ProgramStates::getIntAttr(ProgramStates::confidenceThreshold);

        grabMutex.lock();
        const bool paused = ProgramStates::getBoolAttr(ProgramStates::inputPaused);
        result = grabFrame(paused, result, parameters);
        grabMutex.unlock();

        if (result == omlib::success) {
            // If the lock is busy this frame is not retrieved; the thread never waits.
            if (retrieveMutex.tryLock(0)) {
                retrieveFrame();
                measured.shift(fpsCounter->framesPerSecond);
                reported.shift(camera.getInitParameters().fps);
                retrieveMutex.unlock();
            }
            publishRates(measured, reported, liveCamera);
            emit SendImage();
        } else if (result == omlib::cameraGone) {
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
        // A paused camera keeps the result of the previous pass.
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

    camera.retrieveImage(imageGpu, view(ProgramStates::imageView), omlib::gpuMemory, imageSize);
    camera.retrieveImage(image2Gpu, view(ProgramStates::image2View), omlib::gpuMemory, image2Size);
    if (depthWanted()) {
        camera.retrieveMeasure(measureGpu, omlib::pointMeasure, omlib::gpuMemory, image2Size);
    }
    serveRequests();
    if (playingFile) {
        pacePlayback();
    }
}

void InputThreadModul::serveRequests()
{
    const om::Resolution full{0, 0};
    if (requestView0) {
        requestView0 = false;
        camera.retrieveImage(imageHost, omlib::leftView, omlib::hostMemory, full);
    }
    if (requestView1) {
        requestView1 = false;
        camera.retrieveImage(imageHost, omlib::rightView, omlib::hostMemory, full);
    }
    if (requestView8) {
        requestView8 = false;
        camera.retrieveImage(image3Host, omlib::bothViews, omlib::hostMemory, full);
    }
    if (requestDepth) {
        requestDepth = false;
        camera.retrieveMeasure(depthHost, omlib::depthMeasure, omlib::hostMemory, full);
    }
    if (requestMeasure) {
        requestMeasure = false;
        camera.retrieveMeasure(measureHost, omlib::pointMeasure, omlib::hostMemory, full);
    }
}

void InputThreadModul::pacePlayback()
{
    const std::uint64_t timestamp = camera.getTimestamp(omlib::lastImage);
    if (timestamp == 0) {
        return;
    }
    // The first frame has no frame before it and is therefore not delayed.
    const int elapsedMs = playbackTimer.isValid() ? static_cast<int>(playbackTimer.elapsed())
                                                  : std::numeric_limits<int>::max();
    const unsigned long delay = playbackDelayUs(timestamp, lastPlaybackTime, elapsedMs);
    if (delay > 0) {
        usleep(delay);
    }
    lastPlaybackTime = timestamp;
    playbackTimer.start();
}
