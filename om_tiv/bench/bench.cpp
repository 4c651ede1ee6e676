#include "bench/bench_file.h"
#include "bench/bench_impl.h"
#include "replay/sensor_recording.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <utility>

namespace om::bench {

void Bench::Impl::clear()
{
    std::vector<CameraPtr> gone;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        gone.swap(cameras);
    }
    for (const CameraPtr& camera : gone) {
        camera->unplug();
    }
}

bool Bench::Impl::add(const CameraConfig& config, const std::vector<CameraConfig>& others)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const bool known = std::any_of(cameras.begin(), cameras.end(), [&](const CameraPtr& c) {
        return c->serialNumber() == config.serialNumber;
    });
    if (known) {
        return false;
    }
    const auto currentField = [this] {
        const std::lock_guard<std::mutex> fieldLock(mutex);
        return field;
    };
    const int id = config.id >= 0 ? config.id : freeId(others);
    cameras.push_back(std::make_shared<VirtualCamera>(config, id, clock, currentField, eeproms));
    if (config.recording && !config.recording->report.empty()) {
        std::fprintf(stderr, "%s\n", config.recording->report.c_str());
    }
    return true;
}

void Bench::Impl::load(const BenchDescription& description)
{
    clear();
    {
        const std::lock_guard<std::mutex> lock(mutex);
        field = description.field;
    }
    for (const CameraConfig& config : description.cameras) {
        add(config, description.cameras);
    }
}

Bench::Bench() : m_impl(std::make_unique<Impl>()) {}
Bench::~Bench() = default;

void Bench::reset()
{
    m_impl->loader.stop();
    m_impl->loader.setHook(nullptr);
    m_impl->clear();
    m_impl->clock.reset();
    m_impl->log.clear();
    m_impl->log.setOn(true);
    m_impl->log.setHighRate(false);
    m_impl->log.setHook(nullptr);
    const std::lock_guard<std::mutex> lock(m_impl->mutex);
    m_impl->field = Field();
    m_impl->eeproms = std::make_shared<EepromStore>();
    m_impl->deviceListHook = nullptr;
    m_impl->openHook = nullptr;
    m_impl->listsDuringOpen = 0;
    m_impl->problem.clear();
}

bool Bench::loadFile(const std::string& path, std::string& error)
{
    m_impl->loader.stop();
    BenchDescription description;
    const bool good = readBenchFile(path, description, error);
    m_impl->load(good ? description : BenchDescription());
    m_impl->setProblem(good ? std::string() : error);
    return good;
}

void Bench::startLoading(const std::string& path)
{
    Impl& impl = *m_impl;
    impl.loader.stop();
    BenchDescription description;
    std::string error;
    const bool good = parseBenchFile(path, description, error);
    const auto failed = [&impl](const std::string& why) {
        impl.setProblem(why);
        std::fprintf(stderr, "%s\n", why.c_str());
        return why;
    };
    if (!good || description.replays.empty()) {
        impl.load(good ? description : BenchDescription());
        if (!good) {
            failed(error);
        }
        return;
    }
    impl.load({description.field, {}, {}});
    impl.loader.start(std::move(description), path,
                      [&impl, failed](const BenchDescription& read, const std::string& why) {
                          if (!why.empty()) {
                              return failed(why);
                          }
                          for (const CameraConfig& config : read.cameras) {
                              impl.add(config);
                          }
                          return std::string();
                      });
}

std::string Bench::problem() const
{
    const std::lock_guard<std::mutex> lock(m_impl->mutex);
    return m_impl->problem;
}

Loader& Bench::loader()
{
    return m_impl->loader;
}

void Bench::loadDefault()
{
    m_impl->load(defaultBench());
}

Clock& Bench::clock()
{
    return m_impl->clock;
}
CallLog& Bench::log()
{
    return m_impl->log;
}

Field Bench::field() const
{
    const std::lock_guard<std::mutex> lock(m_impl->mutex);
    return m_impl->field;
}

void Bench::setField(const Field& field)
{
    const std::lock_guard<std::mutex> lock(m_impl->mutex);
    m_impl->field = field;
}

bool Bench::addCamera(const CameraConfig& config)
{
    CameraConfig whole = config;
    if (!whole.replay.empty() && !whole.recording) {
        std::string report;
        whole.recording = SensorRecording::read(whole.replay, report);
        if (!whole.recording) {
            std::fprintf(stderr, "%s\n", report.c_str());
            return false;
        }
    }
    return m_impl->add(whole);
}

bool Bench::removeCamera(unsigned int serial)
{
    const CameraPtr camera = m_impl->find(serial);
    if (!camera) {
        return false;
    }
    {
        const std::lock_guard<std::mutex> lock(m_impl->mutex);
        auto& cameras = m_impl->cameras;
        cameras.erase(std::remove(cameras.begin(), cameras.end(), camera), cameras.end());
    }
    camera->unplug();
    return true;
}

bool Bench::plug(unsigned int serial)
{
    const CameraPtr camera = m_impl->find(serial);
    if (camera) {
        camera->plug();
    }
    return camera != nullptr;
}

bool Bench::unplug(unsigned int serial)
{
    const CameraPtr camera = m_impl->find(serial);
    if (camera) {
        camera->unplug();
    }
    return camera != nullptr;
}

CameraPtr Bench::camera(unsigned int serial) const
{
    return m_impl->find(serial);
}
std::vector<CameraPtr> Bench::cameras() const
{
    return m_impl->all();
}

std::vector<unsigned int> Bench::serialNumbers() const
{
    std::vector<unsigned int> serials;
    for (const CameraPtr& camera : m_impl->all()) {
        serials.push_back(camera->serialNumber());
    }
    return serials;
}

std::vector<CameraStatus> Bench::status() const
{
    std::vector<CameraStatus> all;
    for (const CameraPtr& camera : m_impl->all()) {
        all.push_back({camera->serialNumber(), camera->id(), camera->model(), camera->isPlugged(),
                       camera->isInUse(), camera->motion()});
    }
    return all;
}

CameraConfig Bench::config(unsigned int serial) const
{
    const CameraPtr camera = m_impl->find(serial);
    return camera ? camera->config() : CameraConfig();
}

Truth Bench::truth(unsigned int serial) const
{
    return truthAt(serial, m_impl->clock.now());
}

Truth Bench::truthAt(unsigned int serial, Nanoseconds time) const
{
    Truth truth;
    if (const CameraPtr camera = m_impl->find(serial); camera) {
        const BodyState body = camera->bodyAt(time);
        truth.pose = body.pose;
        truth.heading = magneticHeading(body.pose, camera->field());
        truth.field = camera->fieldInBody(time);
        truth.angularVelocity = body.angularVelocity;
        truth.specificForce = body.specificForce;
        truth.movingState = body.movingState;
    }
    return truth;
}

ImuCounters Bench::imuCounters(unsigned int serial) const
{
    const CameraPtr camera = m_impl->find(serial);
    return camera ? ImuCounters{camera->produced(), camera->delivered()} : ImuCounters();
}

bool Bench::setMotion(unsigned int serial, MOTION motion)
{
    const CameraPtr camera = m_impl->find(serial);
    if (camera) {
        camera->setMotion(motion);
    }
    return camera != nullptr;
}

bool Bench::setPose(unsigned int serial, const Quaternion& pose, std::chrono::nanoseconds glide)
{
    const CameraPtr camera = m_impl->find(serial);
    if (camera) {
        camera->setPose(pose, glide);
    }
    return camera != nullptr;
}

Faults Bench::faults(unsigned int serial) const
{
    const CameraPtr camera = m_impl->find(serial);
    return camera ? camera->faults() : Faults();
}

bool Bench::setFaults(unsigned int serial, const Faults& faults)
{
    return changeFaults(serial, [&](Faults& f) { f = faults; });
}

bool Bench::changeFaults(unsigned int serial, const std::function<void(Faults&)>& change)
{
    const CameraPtr camera = m_impl->find(serial);
    if (camera) {
        camera->changeFaults(change);
    }
    return camera != nullptr;
}

MagCalibration Bench::calibration(unsigned int serial) const
{
    const CameraPtr camera = m_impl->find(serial);
    return camera ? camera->calibration() : MagCalibration();
}

bool Bench::storeCalibration(unsigned int serial, const MagCalibration& calibration)
{
    const CameraPtr camera = m_impl->find(serial);
    return camera && camera->storeCalibration(calibration);
}

bool Bench::isGpuMemoryShort() const
{
    const auto cameras = m_impl->all();
    return std::any_of(cameras.begin(), cameras.end(), [](const CameraPtr& camera) {
        return camera->isInUse() && camera->faults().littleGpuMemory;
    });
}

void Bench::setDeviceListHook(std::function<void()> hook)
{
    const std::lock_guard<std::mutex> lock(m_impl->mutex);
    m_impl->deviceListHook = std::move(hook);
}

void Bench::setOpenHook(std::function<void(const InitParameters&)> hook)
{
    const std::lock_guard<std::mutex> lock(m_impl->mutex);
    m_impl->openHook = std::move(hook);
}

int Bench::listsDuringOpen() const
{
    const std::lock_guard<std::mutex> lock(m_impl->mutex);
    return m_impl->listsDuringOpen;
}

Bench::OpenScope::OpenScope(Bench& bench, const InitParameters& parameters) : m_bench(bench)
{
    std::function<void(const InitParameters&)> hook;
    {
        Impl& impl = *m_bench.m_impl;
        const std::lock_guard<std::mutex> lock(impl.mutex);
        ++impl.opens;
        impl.listsDuringOpen += impl.lists;
        hook = impl.openHook;
    }
    if (hook) {
        hook(parameters);
    }
}

Bench::OpenScope::~OpenScope()
{
    const std::lock_guard<std::mutex> lock(m_bench.m_impl->mutex);
    --m_bench.m_impl->opens;
}

Bench::ListScope::ListScope(Bench& bench) : m_bench(bench)
{
    std::function<void()> hook;
    {
        Impl& impl = *m_bench.m_impl;
        const std::lock_guard<std::mutex> lock(impl.mutex);
        ++impl.lists;
        impl.listsDuringOpen += impl.opens > 0 ? 1 : 0;
        hook = impl.deviceListHook;
    }
    if (hook) {
        hook();
    }
}

Bench::ListScope::~ListScope()
{
    const std::lock_guard<std::mutex> lock(m_bench.m_impl->mutex);
    --m_bench.m_impl->lists;
}

} // namespace om::bench
