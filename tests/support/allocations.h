/// @file
/// Counts the memory requests of a thread, for code that is to make none. In a program with
/// allocations.cpp; not with a sanitizer, which has its own malloc().
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <string>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define GRAVIMON_COUNTS_ALLOCATIONS 0
#else
#define GRAVIMON_COUNTS_ALLOCATIONS 1
#endif

namespace allocations {

/// The requests of the threads that have it in use. Any thread.
class Counter
{
public:
    static constexpr std::size_t keptAtMost = 10'000;

    std::size_t all() const { return m_count; }

    /// Of the first keptAtMost those of the program itself, of Qt and of operator new: not those of
    /// a driver.
    std::size_t ofTheProgramAndQt() const;

    /// The callers of the first ones, for a message.
    std::string callers() const;

    void note(void* caller);

private:
    std::size_t kept() const;

    std::atomic<std::size_t> m_count{0};
    std::array<std::atomic<void*>, keptAtMost> m_callers{};
};

/// The counter of the calling thread from now on; null: it is not counted. The counter outlives its
/// use.
/// @return the one before
Counter* use(Counter* counter);

/// Has the counter in use during its life.
class Scope
{
public:
    explicit Scope(Counter* counter) : m_before(use(counter)) {}
    ~Scope() { use(m_before); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

private:
    Counter* m_before;
};

} // namespace allocations
