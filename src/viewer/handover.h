/// @file
/// An object that passes between the interface thread and the sensor thread without a lock.
#pragma once

#include <atomic>
#include <memory>
#include <utility>

/// A place for one object. One thread provides it and may replace it at any time; another one takes
/// it for as long as it uses it. Neither takes a lock against the other: an object that is replaced
/// while it is in use is destroyed by its user, with giveBack(), any other one by provide(), and
/// each of the two lasts as long as that destructor.
template <typename T>
class Handover
{
public:
    Handover() = default;
    ~Handover() { provide(nullptr); }
    Handover(const Handover&) = delete;
    Handover& operator=(const Handover&) = delete;

    /// Puts an object, or none, in place of the former one.
    void provide(std::unique_ptr<T> object)
    {
        T* const former = m_place.exchange(object.release(), std::memory_order_acq_rel);
        if (former != inUse()) {
            delete former;
        }
    }

    /// The object, to be given back; null when there is none. One user at a time.
    std::unique_ptr<T> take()
    {
        T* object = m_place.load(std::memory_order_acquire);
        if (object == nullptr || object == inUse() ||
            !m_place.compare_exchange_strong(object, inUse(), std::memory_order_acq_rel)) {
            return nullptr;
        }
        return std::unique_ptr<T>(object);
    }

    /// Puts a taken object back, or destroys it when it was replaced meanwhile.
    void giveBack(std::unique_ptr<T> object)
    {
        T* expected = inUse();
        if (m_place.compare_exchange_strong(expected, object.get(), std::memory_order_acq_rel)) {
            static_cast<void>(object.release()); // owned by the place again
        }
    }

private:
    /// Stands in the place of an object that is in use. Never the address of one.
    T* inUse() { return reinterpret_cast<T*>(this); }

    std::atomic<T*> m_place{nullptr};
};
