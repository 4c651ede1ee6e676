#include "support/qtcalls.h"

#include <QMutex>
#include <QSemaphore>
#include <QThread>

#include <dlfcn.h>

#include <climits>
#include <memory>
#include <mutex>

namespace {

using Function = std::function<void(const qtcalls::Call&)>;

struct State
{
    std::mutex mutex;
    std::shared_ptr<const Function> hook;
};

/// Exists until the last thread ends, after all other statics.
State& state()
{
    static auto* const only = new State;
    return *only;
}

void tell(const qtcalls::Call& call)
{
    std::shared_ptr<const Function> hook;
    {
        const std::lock_guard<std::mutex> lock(state().mutex);
        hook = state().hook;
    }
    if (hook) {
        (*hook)(call);
    }
}

/// Qt's own function, which the one of the same name here replaces. A member function takes its
/// object as the first argument.
template <typename Signature>
Signature* inQt(const char* symbol)
{
    return reinterpret_cast<Signature*>(dlsym(RTLD_NEXT, symbol));
}

} // namespace

void qtcalls::setHook(std::function<void(const Call&)> hook)
{
    auto kept = hook ? std::make_shared<const Function>(std::move(hook)) : nullptr;
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().hook.swap(kept);
}

// The executable's definitions have precedence over those of the Qt library.

void QThread::msleep(unsigned long time)
{
    static const auto next = inQt<void(unsigned long)>("_ZN7QThread6msleepEm");
    tell({qtcalls::CALL::MSLEEP, nullptr, static_cast<qint64>(time)});
    next(time);
}

void QThread::usleep(unsigned long time)
{
    static const auto next = inQt<void(unsigned long)>("_ZN7QThread6usleepEm");
    tell({qtcalls::CALL::USLEEP, nullptr, static_cast<qint64>(time)});
    next(time);
}

bool QThread::wait(QDeadlineTimer deadline)
{
    static const auto next =
        inQt<bool(QThread*, QDeadlineTimer)>("_ZN7QThread4waitE14QDeadlineTimer");
    tell({qtcalls::CALL::WAIT, this, deadline.remainingTime()});
    return next(this, deadline);
}

bool QThread::wait(unsigned long time)
{
    static const auto next = inQt<bool(QThread*, unsigned long)>("_ZN7QThread4waitEm");
    tell({qtcalls::CALL::WAIT, this, time == ULONG_MAX ? -1 : static_cast<qint64>(time)});
    return next(this, time);
}

void QThread::start(Priority priority)
{
    static const auto next = inQt<void(QThread*, Priority)>("_ZN7QThread5startENS_8PriorityE");
    next(this, priority);
    tell({qtcalls::CALL::STARTED, this, 0});
}

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto next = inQt<void(QMutex*)>("_ZN6QMutex4lockEv");
    tell({qtcalls::CALL::LOCK, this, 0});
    next(this);
}

bool QMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto next = inQt<bool(QMutex*, int)>("_ZN6QMutex7tryLockEi");
    tell({qtcalls::CALL::TRY_LOCK, this, timeout});
    return next(this, timeout);
}

void QSemaphore::acquire(int n)
{
    static const auto next = inQt<void(QSemaphore*, int)>("_ZN10QSemaphore7acquireEi");
    next(this, n);
    tell({qtcalls::CALL::ACQUIRED, this, 0});
}
