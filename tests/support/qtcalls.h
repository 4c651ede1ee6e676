/// @file
/// The program's calls of Qt's threads and locks, with the limits that it sets.
///
/// In a test whose sources list qtcalls.cpp, these calls go through this file. A test sees a limit
/// at once; a clock could only show that it was not reached yet.
#pragma once

#include <QDeadlineTimer>

#include <functional>

namespace qtcalls {

enum class CALL {
    MSLEEP,   ///< QThread::msleep(), before it; limit: the time, ms
    USLEEP,   ///< QThread::usleep(), before it; limit: the time, us
    TRY_LOCK, ///< QMutex::tryLock(), before it; limit: the longest wait, ms
    LOCK,     ///< QMutex::lock(), before it
    WAIT,     ///< QThread::wait(), before it; limit: ms, -1 for none
    STARTED,  ///< QThread::start(), after it
    ACQUIRED, ///< QSemaphore::acquire(), after it
};

struct Call
{
    CALL call;
    const void* object; ///< mutex, semaphore or thread; null for a sleep
    qint64 limit;       ///< 0 if the call has none
};

/// Calls the function for each call from now on, on the caller's thread and without a lock. It may
/// block. An empty function removes the hook.
void setHook(std::function<void(const Call&)> hook);

/// Sets the hook for the life of the object.
class Hook
{
public:
    explicit Hook(std::function<void(const Call&)> hook) { setHook(std::move(hook)); }
    ~Hook() { setHook(nullptr); }
    Hook(const Hook&) = delete;
    Hook& operator=(const Hook&) = delete;
};

} // namespace qtcalls
