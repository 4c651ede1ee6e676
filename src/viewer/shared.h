/// @file
/// Scalars that the sensor thread and the interface thread share without a lock.
#pragma once

#include <atomic>

/// A value that one thread writes and others read; each reader gets an old or a new value. It reads
/// and assigns like a plain T. By default it does not order other memory accesses; with acquire and
/// release, the reader of a value also sees everything that the writer did before.
template <typename T, std::memory_order LoadOrder = std::memory_order_relaxed,
          std::memory_order StoreOrder = std::memory_order_relaxed>
class Shared
{
public:
    constexpr Shared(T value = T()) noexcept : m_value(value) {}
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    operator T() const noexcept { return m_value.load(LoadOrder); }
    T load() const noexcept { return m_value.load(LoadOrder); }

    /// For a shared pointer. The object is not kept alive.
    T operator->() const noexcept { return load(); }

    T operator=(T value) noexcept
    {
        m_value.store(value, StoreOrder);
        return value;
    }

private:
    std::atomic<T> m_value;
};

/// A value whose reader also sees what the writer did before.
template <typename T>
using Published = Shared<T, std::memory_order_acquire, std::memory_order_release>;
