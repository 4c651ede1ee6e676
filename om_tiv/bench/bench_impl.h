/// @file
/// The members of a bench.
#pragma once

#include "bench/bench.h"
#include "bench/bench_file.h"
#include "bench/eeprom_store.h"
#include "bench/loader.h"
#include "bench/virtual_camera.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace om::bench {

using CameraPtr = std::shared_ptr<VirtualCamera>;

struct Bench::Impl
{
    Clock clock;
    CallLog log;

    mutable std::mutex mutex; ///< guards the following members
    std::vector<CameraPtr> cameras;
    Field field;
    std::shared_ptr<EepromStore> eeproms = std::make_shared<EepromStore>();
    std::function<void()> deviceListHook;
    std::function<void(const InitParameters&)> openHook;
    int opens = 0;
    int lists = 0;
    int listsDuringOpen = 0;
    std::string problem;

    Loader loader; ///< uses the members above

    CameraPtr find(unsigned int serial) const
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto found = std::find_if(cameras.begin(), cameras.end(), [&](const CameraPtr& c) {
            return c->serialNumber() == serial;
        });
        return found != cameras.end() ? *found : nullptr;
    }

    std::vector<CameraPtr> all() const
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return cameras;
    }

    /// Removes all cameras from the bench.
    void clear();

    /// The smallest id that no camera has: none of the bench, of the list or of the loader. The
    /// caller holds the mutex.
    int freeId(const std::vector<CameraConfig>& others) const
    {
        const auto isTaken = [&](int id) {
            return std::any_of(cameras.begin(), cameras.end(),
                               [id](const CameraPtr& c) { return c->id() == id; }) ||
                   std::any_of(others.begin(), others.end(),
                               [id](const CameraConfig& c) { return c.id == id; }) ||
                   loader.cameraWithId(id);
        };
        int id = 0;
        while (isTaken(id)) {
            ++id;
        }
        return id;
    }

    /// @param others cameras of the same bench file, whose ids are not free either
    bool add(const CameraConfig& config, const std::vector<CameraConfig>& others = {});

    void setProblem(const std::string& line)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        problem = line;
    }

    void load(const BenchDescription& description);
};

} // namespace om::bench
