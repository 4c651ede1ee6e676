#include "support/allocations.h"

#if GRAVIMON_COUNTS_ALLOCATIONS

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <sstream>

#include <dlfcn.h>

namespace {

thread_local allocations::Counter* current = nullptr;

void note(void* caller)
{
    if (current != nullptr) {
        current->note(caller);
    }
}

} // namespace

namespace allocations {

Counter* use(Counter* counter)
{
    Counter* const before = current;
    current = counter;
    return before;
}

void Counter::note(void* caller)
{
    const std::size_t number = m_count++;
    if (number < m_callers.size()) {
        m_callers[number] = caller;
    }
}

std::size_t Counter::kept() const
{
    return std::min<std::size_t>(m_count, m_callers.size());
}

std::size_t Counter::ofTheProgramAndQt() const
{
    Dl_info program{};
    dladdr(reinterpret_cast<void*>(&::note), &program);
    std::size_t count = 0;
    for (std::size_t i = 0; i < kept(); ++i) {
        Dl_info caller{};
        if (dladdr(m_callers[i], &caller) != 0) {
            const std::string name(caller.dli_fname);
            count += caller.dli_fbase == program.dli_fbase ||
                             name.find("libQt5") != std::string::npos ||
                             name.find("libstdc++") != std::string::npos
                         ? 1
                         : 0;
        }
    }
    return count;
}

std::string Counter::callers() const
{
    constexpr std::size_t shown = 5;
    std::ostringstream text;
    text << all() << " requests of memory";
    for (std::size_t i = 0; i < std::min(shown, kept()); ++i) {
        void* const place = m_callers[i];
        Dl_info caller{};
        if (dladdr(place, &caller) != 0) {
            text << ", " << caller.dli_fname << "+0x" << std::hex
                 << reinterpret_cast<std::uintptr_t>(place) -
                        reinterpret_cast<std::uintptr_t>(caller.dli_fbase)
                 << std::dec;
        }
    }
    return text.str();
}

} // namespace allocations

// These replace the C library's functions, which are available under these names.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier)
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
// NOLINTEND(bugprone-reserved-identifier)

void* malloc(std::size_t bytes) noexcept
{
    note(__builtin_return_address(0));
    return __libc_malloc(bytes);
}
void* calloc(std::size_t count, std::size_t bytes) noexcept
{
    note(__builtin_return_address(0));
    return __libc_calloc(count, bytes);
}
void* realloc(void* block, std::size_t bytes) noexcept
{
    note(__builtin_return_address(0));
    return __libc_realloc(block, bytes);
}
void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept
{
    note(__builtin_return_address(0));
    return __libc_memalign(alignment, bytes);
}
int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) noexcept
{
    note(__builtin_return_address(0));
    *block = __libc_memalign(alignment, bytes);
    return *block == nullptr ? ENOMEM : 0;
}
}

#endif
