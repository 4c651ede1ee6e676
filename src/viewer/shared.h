/// @file
/// Scalars that the sensor thread and the interface thread share without a lock.
#pragma once

#include <atomic>

/// A value that one thread writes and others read, each seeing an old or a new one. Reads and
/// assigns as a plain T. No order against other memory comes with it by default; with acquire and
/// release whoever reads the value also sees what the writer did before it wrote.
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

    /// Of a shared pointer. The object is not kept alive.
    T operator->() const noexcept { return load(); }

    T operator=(T value) noexcept
    {
        m_value.store(value, StoreOrder);
        return value;
    }

private:
    std::atomic<T> m_value;
};

/// A value whose reader takes over what the writer did before.
template <typename T>
using Published = Shared<T, std::memory_order_acquire, std::memory_order_release>;
