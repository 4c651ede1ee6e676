/// @file
/// An object that passes between the interface thread and the sensor thread without a lock.
#pragma once

#include <atomic>
#include <memory>
#include <utility>

/// A place for one object. One thread provides it and may replace it at any time; another thread
/// takes it while it uses it. Neither takes a lock against the other. If an object is replaced
/// while it is in use, its user destroys it with giveBack(); otherwise provide() destroys it. Each
/// of the two takes as long as that destructor.
template <typename T>
class Handover
{
public:
    Handover() = default;
    ~Handover() { provide(nullptr); }
    Handover(const Handover&) = delete;
    Handover& operator=(const Handover&) = delete;

    /// Replaces the object by another one or by none.
    void provide(std::unique_ptr<T> object)
    {
        T* const former = m_place.exchange(object.release(), std::memory_order_acq_rel);
        if (former != inUse()) {
            delete former;
        }
    }

    /// The object, which must be given back; null if there is none. One user at a time.
    std::unique_ptr<T> take()
    {
        T* object = m_place.load(std::memory_order_acquire);
        if (object == nullptr || object == inUse() ||
            !m_place.compare_exchange_strong(object, inUse(), std::memory_order_acq_rel)) {
            return nullptr;
        }
        return std::unique_ptr<T>(object);
    }

    /// Gives a taken object back, or destroys it if it was replaced in the meantime.
    void giveBack(std::unique_ptr<T> object)
    {
        T* expected = inUse();
        if (m_place.compare_exchange_strong(expected, object.get(), std::memory_order_acq_rel)) {
            static_cast<void>(object.release()); // owned by the place again
        }
    }

private:
    /// Marks the place while its object is in use. Never the address of an object.
    T* inUse() { return reinterpret_cast<T*>(this); }

    std::atomic<T*> m_place{nullptr};
};
