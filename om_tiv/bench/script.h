/// @file
/// Exact sequences that a camera delivers instead of its physics.
#pragma once

#include <om_tiv/mcu.h>
#include <om_tiv/sensors.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace om::bench {

/// What follows the last entry of a script.
enum class AFTER {
    REPEAT_LAST, ///< the last entry again and again; getSensorsData() and grab() then take up to
                 ///< 5 ms of real time, as when nothing new comes, and a new entry ends that
    CAMERA_GONE, ///< the camera is unplugged
    PHYSICS,     ///< the camera continues as without a script
};

struct ScriptStatus
{
    bool active = false;         ///< entries, or what follows them, are being delivered
    std::uint64_t delivered = 0; ///< entries, without repeats
    std::uint64_t calls = 0;     ///< calls answered, with repeats. A caller that loops has dealt
                                 ///< with entry n once calls exceeds n.
};

/// A sequence of entries, each for one call. All operations may run on any thread.
template <typename Entry>
class Script
{
public:
    enum class STEP {
        NONE,     ///< no script: physics
        ENTRY,    ///< a new entry
        REPEATED, ///< the last entry again
        GONE,     ///< the camera is to be unplugged
    };

    /// Generates entry number index (from 0); false after the last one. Called on the thread of the
    /// answered call, without a lock: it may block.
    using Generator = std::function<bool(std::uint64_t index, Entry& entry)>;

    /// @param changed is called after each change, without a lock: it wakes those who wait for an
    ///                entry
    explicit Script(std::function<void()> changed = nullptr) : m_changed(std::move(changed)) {}

    void set(std::vector<Entry> entries, AFTER after = AFTER::REPEAT_LAST);
    void set(Generator generator, AFTER after = AFTER::REPEAT_LAST);
    /// Appends entries to those of set(); without an active script like set() with REPEAT_LAST.
    void append(std::vector<Entry> entries);
    void clear(); ///< back to physics
    ScriptStatus status() const;
    bool isActive() const { return m_active.load(std::memory_order_acquire); }
    /// Changes with every set(), append() and clear(); for a waiter that repeats the last entry.
    std::uint64_t version() const { return m_version.load(); }

    /// The answer to one call.
    STEP next(Entry& entry);

private:
    void begin(AFTER after); ///< under the lock
    void reportChange() const;

    const std::function<void()> m_changed;
    mutable std::mutex m_mutex;
    std::atomic<bool> m_active{false};
    std::atomic<std::uint64_t> m_version{0};
    AFTER m_after = AFTER::REPEAT_LAST;
    std::vector<Entry> m_entries;
    std::shared_ptr<const Generator> m_generator; ///< used instead of m_entries
    Entry m_last{};                               ///< of the generator
    bool m_hasLast = false;
    std::uint64_t m_delivered = 0;
    std::uint64_t m_calls = 0;
};

/// One answer of getSensorsData(). After a failure the record is not changed, unless it is to be
/// filled anyway.
struct SensorsEntry
{
    SensorsData data;
    ERROR_CODE result = ERROR_CODE::SUCCESS;
    bool fillsOnFailure = false;
};

extern template class Script<SensorsEntry>;
extern template class Script<ERROR_CODE>;
extern template class Script<IMUReaderData>;
extern template class Script<IMUPose>;

} // namespace om::bench
