#include "library/camera_session.h"

#include "base/one_line.h"
#include "library/the_bench.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <thread>
#include <utility>

namespace om::bench {

namespace {

/// Duration of the repetition of a script's last entry, as without a new sample.
constexpr std::chrono::milliseconds repeatWait{5};

struct Mode
{
    Resolution size;
    int highestRate; // frames per second
};

constexpr int lowestRate = 15; // frames per second, of all models

/// The modes are the same for all models; AUTO is the usual mode of the model.
Mode modeOf(RESOLUTION resolution, MODEL model)
{
    const Mode hd720 = {Resolution(1280, 720), 60};
    const Mode hd1200 = {Resolution(1920, 1200), 30};
    switch (resolution) {
    case RESOLUTION::HD720:
        return hd720;
    case RESOLUTION::HD1200:
        return hd1200;
    default:
        return busOf(model) == BUS_TYPE::SERIAL ? hd1200 : hd720;
    }
}

/// The model's own depth limits, metres.
float ownDepthMinimum(MODEL model)
{
    switch (model) {
    case MODEL::TIV:
        return 0.7F;
    case MODEL::TIV_R:
    case MODEL::TIV_S:
        return 0.2F;
    default:
        return 0.3F;
    }
}

constexpr float ownDepthMaximum = 20.0F;

/// Sets the actual values where the library selects them.
void settle(InitParameters& parameters, const Mode& mode, MODEL model)
{
    parameters.fps = parameters.fps <= 0 ? mode.highestRate
                                         : std::clamp(parameters.fps, lowestRate, mode.highestRate);
    const float unit = parameters.coordinateUnits == UNIT::MILLIMETRE ? 1000.0F : 1.0F;
    if (!(parameters.depthMinimum >= 0.0F)) {
        parameters.depthMinimum = ownDepthMinimum(model) * unit;
    }
    if (!(parameters.depthMaximum >= 0.0F)) {
        parameters.depthMaximum = ownDepthMaximum * unit;
    }
}

/// Waits for the delay of a slow camera, in real time.
bool waitForOpen(const VirtualCamera& device, float timeout)
{
    const std::chrono::duration<float> delay = device.faults().openDelay;
    const std::chrono::duration<float> limit(timeout > 0.0F ? timeout : 1e6F);
    std::this_thread::sleep_for(std::min(delay, limit));
    return delay <= limit;
}

} // namespace

std::shared_ptr<CameraSession> CameraSession::open(const InitParameters& asked,
                                                   std::function<void()> onLost, ERROR_CODE& result)
{
    InitParameters parameters = asked;
    CameraInformation information;
    if (asked.input.kind() == InputType::KIND::RECORDED_FILE) {
        RecordedFile recording;
        std::string error;
        if (!readRecordedFile(asked.input.path().c_str(), recording, error)) {
            std::fprintf(stderr, "%s\n", oneLine(error).c_str());
            result = ERROR_CODE::INVALID_INPUT;
            return nullptr;
        }
        settle(parameters, modeOf(asked.resolution, recording.model), recording.model);
        parameters.fps = std::max(static_cast<int>(std::lround(recording.frameRate)), 1);
        information = {recording.serialNumber, recording.model, recording.firmwareVersion,
                       Resolution(recording.width, recording.height)};
        auto session = std::make_shared<CameraSession>(parameters, information, std::move(onLost));
        result = session->attachFile(std::move(recording));
        return result == ERROR_CODE::SUCCESS ? session : nullptr;
    }

    std::shared_ptr<VirtualCamera> device;
    result = findDevice(asked.input, device);
    if (result != ERROR_CODE::SUCCESS) {
        return nullptr;
    }
    if (!waitForOpen(*device, asked.openTimeout)) {
        result = ERROR_CODE::TIMEOUT;
        return nullptr;
    }
    result = device->takeOpenRefusal();
    if (result != ERROR_CODE::SUCCESS) {
        return nullptr;
    }
    const Mode mode = modeOf(asked.resolution, device->model());
    settle(parameters, mode, device->model());
    information = {device->serialNumber(), device->model(), device->config().firmwareVersion,
                   mode.size};
    auto session = std::make_shared<CameraSession>(parameters, information, std::move(onLost));
    result = session->attach(std::move(device));
    return result == ERROR_CODE::SUCCESS ? session : nullptr;
}

ERROR_CODE CameraSession::findDevice(const InputType& input, std::shared_ptr<VirtualCamera>& device)
{
    for (const auto& camera : theBench().cameras()) {
        if (!camera->isPlugged()) {
            continue;
        }
        const bool onBus = busOf(camera->model()) == input.bus();
        switch (input.kind()) {
        case InputType::KIND::SERIAL_NUMBER:
            if (!onBus || camera->serialNumber() != input.serialNumber()) {
                continue;
            }
            break;
        case InputType::KIND::CAMERA_ID:
            if (!onBus || camera->id() != input.cameraId()) {
                continue;
            }
            break;
        case InputType::KIND::NONE: // the first camera
        case InputType::KIND::RECORDED_FILE:
            break;
        }
        device = camera;
        return ERROR_CODE::SUCCESS;
    }
    return ERROR_CODE::NOT_DETECTED;
}

CameraSession::CameraSession(InitParameters parameters, const CameraInformation& information,
                             std::function<void()> onLost)
    : m_parameters(std::move(parameters)), m_information(information), m_onLost(std::move(onLost)),
      m_picture(m_parameters)
{}

CameraSession::~CameraSession()
{
    close();
}

ERROR_CODE CameraSession::attach(std::shared_ptr<VirtualCamera> device)
{
    m_device = std::move(device);
    if (const ERROR_CODE claimed = m_device->claim(this, [this] { markLost(); });
        claimed != ERROR_CODE::SUCCESS) {
        return claimed;
    }
    if (makeContext() != ERROR_CODE::SUCCESS) {
        return ERROR_CODE::FAILURE;
    }
    m_frames =
        std::make_unique<LiveFrames>(m_device->clock(), m_device->serialNumber(), m_parameters.fps);
    if (hasImu(m_device->model())) {
        m_sensors = std::make_unique<SensorReader>(m_device, m_parameters.coordinateSystem);
    }
    return stateResult();
}

ERROR_CODE CameraSession::attachFile(RecordedFile recording)
{
    m_frames = std::make_unique<RecordedFrames>(std::move(recording));
    return makeContext();
}

ERROR_CODE CameraSession::makeContext()
{
    if (m_parameters.cudaContext != nullptr) {
        m_context = m_parameters.cudaContext;
    } else {
        CUdevice device = 0;
        if (cuInit(0) != CUDA_SUCCESS ||
            cuDeviceGet(&device, std::max(m_parameters.gpuId, 0)) != CUDA_SUCCESS ||
            cuDevicePrimaryCtxRetain(&m_context, device) != CUDA_SUCCESS) {
            return ERROR_CODE::FAILURE;
        }
        m_retained = device;
    }
    return cuCtxSetCurrent(m_context) == CUDA_SUCCESS ? ERROR_CODE::SUCCESS : ERROR_CODE::FAILURE;
}

void CameraSession::close()
{
    {
        const std::lock_guard<std::mutex> lock(m_lossMutex);
        m_state.store(STATE::CLOSED);
    }
    if (m_device) {
        m_device->release(this);
        m_device->clock().wake();
    }
    if (const auto device = std::exchange(m_retained, std::nullopt); device) {
        cuDevicePrimaryCtxRelease(*device);
    }
}

bool CameraSession::markLost()
{
    const std::lock_guard<std::mutex> lock(m_lossMutex);
    STATE open = STATE::OPEN;
    const bool lost = m_state.compare_exchange_strong(open, STATE::LOST);
    if (lost) {
        m_onLost();
    }
    return lost;
}

void CameraSession::lose()
{
    if (markLost()) {
        m_device->release(this);
        m_device->clock().wake();
    }
}

ERROR_CODE CameraSession::stateResult() const
{
    switch (m_state.load()) {
    case STATE::OPEN:
        return ERROR_CODE::SUCCESS;
    case STATE::LOST:
        return ERROR_CODE::CAMERA_GONE;
    case STATE::CLOSED:
        break;
    }
    return ERROR_CODE::FAILURE;
}

void CameraSession::take(const Frame& frame)
{
    const std::lock_guard<std::mutex> lock(m_pictureMutex);
    m_frame = frame.number;
    m_imageTime.store(frame.time);
}

void CameraSession::takeNext(Nanoseconds time)
{
    const std::lock_guard<std::mutex> lock(m_pictureMutex);
    m_frame = m_frame ? *m_frame + 1 : 0;
    m_imageTime.store(time);
}

ERROR_CODE CameraSession::grab(const RuntimeParameters& runtime)
{
    m_depthOn.store(runtime.enableDepth);
    if (const ERROR_CODE state = stateResult(); state != ERROR_CODE::SUCCESS) {
        return state;
    }
    std::uint64_t script = 0;
    if (m_device) {
        script = m_device->grabScript().version();
        ERROR_CODE scripted = ERROR_CODE::SUCCESS;
        switch (m_device->grabScript().next(scripted)) {
        case Script<ERROR_CODE>::STEP::NONE:
            break;
        case Script<ERROR_CODE>::STEP::ENTRY:
            return endGrab(scripted);
        case Script<ERROR_CODE>::STEP::REPEATED:
            awaitChange([&] { return m_device->grabScript().version() != script; });
            return endGrab(scripted);
        case Script<ERROR_CODE>::STEP::GONE:
            m_device->unplug();
            return ERROR_CODE::CAMERA_GONE;
        }
        if (const ERROR_CODE failure = m_device->takeGrabFailure();
            failure != ERROR_CODE::SUCCESS) {
            return endGrab(failure);
        }
    }
    Frame frame;
    const bool got = m_frames->next(frame, [this, script] {
        return !isOpen() || (m_device && m_device->grabScript().version() != script);
    });
    if (const ERROR_CODE state = stateResult(); state != ERROR_CODE::SUCCESS) {
        return state;
    }
    if (!got) {
        return m_device && m_device->grabScript().isActive() ? grab(runtime) : ERROR_CODE::TIMEOUT;
    }
    take(frame);
    return ERROR_CODE::SUCCESS;
}

void CameraSession::awaitChange(const std::function<bool()>& changed)
{
    m_device->clock().waitUntil(UINT64_MAX, repeatWait, [&] { return !isOpen() || changed(); });
}

ERROR_CODE CameraSession::endGrab(ERROR_CODE result)
{
    if (result == ERROR_CODE::CAMERA_GONE) {
        lose();
    } else if (result == ERROR_CODE::SUCCESS) {
        takeNext(m_device->clock().now());
    }
    return result;
}

ERROR_CODE CameraSession::sensors(SensorsData& data, TIME_REFERENCE reference)
{
    if (const ERROR_CODE state = stateResult(); state != ERROR_CODE::SUCCESS) {
        return state;
    }
    if (!m_device) {
        return ERROR_CODE::FAILURE;
    }
    auto& script = m_device->sensorsScript();
    if (script.isActive()) {
        using STEP = Script<SensorsEntry>::STEP;
        std::unique_lock<std::mutex> lock(m_scriptMutex);
        const std::uint64_t version = script.version();
        const STEP step = script.next(m_scripted);
        if (step == STEP::GONE) {
            lock.unlock();
            m_device->unplug();
            return ERROR_CODE::CAMERA_GONE;
        }
        if (step != STEP::NONE) {
            const ERROR_CODE result = m_scripted.result;
            if (result == ERROR_CODE::SUCCESS || m_scripted.fillsOnFailure) {
                data = m_scripted.data;
            }
            lock.unlock();
            if (step == STEP::REPEATED) {
                awaitChange([&] { return script.version() != version; });
            }
            if (result == ERROR_CODE::CAMERA_GONE) {
                lose();
            }
            return result;
        }
    }
    if (!m_sensors) {
        return ERROR_CODE::FAILURE;
    }
    if (reference == TIME_REFERENCE::IMAGE) {
        const Nanoseconds time = m_imageTime.load();
        if (time == 0) {
            return ERROR_CODE::FAILURE;
        }
        m_sensors->at(time, data);
        return ERROR_CODE::SUCCESS;
    }
    m_sensors->current(data, [this, &script] { return !isOpen() || script.isActive(); });
    return stateResult();
}

ERROR_CODE CameraSession::image(Mat& image, VIEW view, MEM memory, Resolution size)
{
    if (const ERROR_CODE state = stateResult(); state != ERROR_CODE::SUCCESS) {
        return state;
    }
    const std::lock_guard<std::mutex> lock(m_pictureMutex);
    return m_frame
               ? m_picture.writeImage(image, view, memory, size, m_information.resolution, *m_frame)
               : ERROR_CODE::FAILURE;
}

ERROR_CODE CameraSession::measure(Mat& measure, MEASURE kind, MEM memory, Resolution size)
{
    if (const ERROR_CODE state = stateResult(); state != ERROR_CODE::SUCCESS) {
        return state;
    }
    const std::lock_guard<std::mutex> lock(m_pictureMutex);
    const bool depth = m_parameters.depthMode != DEPTH_MODE::NONE && m_depthOn.load();
    return m_frame && depth ? m_picture.writeMeasure(measure, kind, memory, size,
                                                     m_information.resolution, *m_frame)
                            : ERROR_CODE::FAILURE;
}

} // namespace om::bench
