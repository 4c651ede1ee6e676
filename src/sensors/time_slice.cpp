#include "sensors/time_slice.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>

namespace timeslice {

namespace {

/// The first version of struct sched_attr, which every kernel since 3.14 accepts. Debian's C
/// library does not declare it.
struct Attributes
{
    std::uint32_t size = sizeof(Attributes);
    std::uint32_t policy = 0;
    std::uint64_t flags = 0;
    std::int32_t nice = 0;
    std::uint32_t priority = 0;
    std::uint64_t runtime = 0; // ns; the slice under the normal scheduling policy
    std::uint64_t deadline = 0;
    std::uint64_t period = 0;
};
static_assert(sizeof(Attributes) == 48);

std::optional<Attributes> attributesOf(int threadId)
{
    Attributes attributes;
    if (syscall(SYS_sched_getattr, threadId, &attributes, sizeof(attributes), 0) != 0) {
        return std::nullopt;
    }
    return attributes;
}

} // namespace

bool requestShortest()
{
    // The other attributes, such as the nice value, stay as the user set them.
    std::optional<Attributes> attributes = attributesOf(0);
    if (!attributes) {
        return false;
    }
    attributes->runtime = static_cast<std::uint64_t>(shortest.count());
    return syscall(SYS_sched_setattr, 0, &*attributes, 0) == 0;
}

std::optional<std::chrono::nanoseconds> of(int threadId)
{
    const std::optional<Attributes> attributes = attributesOf(threadId);
    if (!attributes) {
        return std::nullopt;
    }
    return std::chrono::nanoseconds(static_cast<std::int64_t>(attributes->runtime));
}

} // namespace timeslice
