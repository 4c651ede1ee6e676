/// @file
/// Announces to ThreadSanitizer the synchronisation inside Qt, which isn't built for it: locking a
/// QMutex, a QThread's end, and a connection, whose slot another thread's signal may call. Without
/// this it would report everything that a QMutex guards, and everything that a thread did before
/// another one waited for it, as a race.
///
/// The linker redirects the calls of the program's own objects here (--wrap in CMakeLists.txt).
#include <QDeadlineTimer>
#include <QMutex>
#include <QThread>

#include <sanitizer/tsan_interface.h>

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker makes these names
void __real__ZN6QMutex4lockEv(QMutex* mutex);
bool __real__ZN6QMutex7tryLockEi(QMutex* mutex, int timeout);
void __real__ZN6QMutex6unlockEv(QMutex* mutex);
void __real__ZN11QBasicMutex12lockInternalEv(QBasicMutex* mutex);
void __real__ZN11QBasicMutex14unlockInternalEv(QBasicMutex* mutex);
void __real__ZN7QThread5startENS_8PriorityE(QThread* thread, QThread::Priority priority);
bool __real__ZN7QThread4waitEm(QThread* thread, unsigned long time);
bool __real__ZN7QThread4waitE14QDeadlineTimer(QThread* thread, QDeadlineTimer deadline);
bool __real__ZNK7QThread9isRunningEv(const QThread* thread);
bool __real__ZNK7QThread10isFinishedEv(const QThread* thread);
QMetaObject::Connection
__real__ZN7QObject11connectImplEPKS_PPvS1_S3_PN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPKiPK11QMetaObject(
    const QObject* sender, void** signal, const QObject* receiver, void** slot,
    QtPrivate::QSlotObjectBase* slotObject, Qt::ConnectionType type, const int* types,
    const QMetaObject* senderMetaObject);
void __real__ZN11QMetaObject8activateEP7QObjectPKS_iPPv(QObject* sender, const QMetaObject* object,
                                                        int signal, void** arguments);

void __wrap__ZN6QMutex4lockEv(QMutex* mutex)
{
    __real__ZN6QMutex4lockEv(mutex);
    __tsan_acquire(mutex);
}

bool __wrap__ZN6QMutex7tryLockEi(QMutex* mutex, int timeout)
{
    const bool locked = __real__ZN6QMutex7tryLockEi(mutex, timeout);
    if (locked) {
        __tsan_acquire(mutex);
    }
    return locked;
}

void __wrap__ZN6QMutex6unlockEv(QMutex* mutex)
{
    __tsan_release(mutex);
    __real__ZN6QMutex6unlockEv(mutex);
}

void __wrap__ZN11QBasicMutex12lockInternalEv(QBasicMutex* mutex)
{
    __real__ZN11QBasicMutex12lockInternalEv(mutex);
    __tsan_acquire(mutex);
}

void __wrap__ZN11QBasicMutex14unlockInternalEv(QBasicMutex* mutex)
{
    __tsan_release(mutex);
    __real__ZN11QBasicMutex14unlockInternalEv(mutex);
}

void __wrap__ZN7QThread5startENS_8PriorityE(QThread* thread, QThread::Priority priority)
{
    // On the ending thread, after run() and before another thread can see it as finished.
    QObject::connect(
        thread, &QThread::finished, thread, [thread] { __tsan_release(thread); },
        Qt::DirectConnection);
    __real__ZN7QThread5startENS_8PriorityE(thread, priority);
}

bool __wrap__ZN7QThread4waitEm(QThread* thread, unsigned long time)
{
    const bool ended = __real__ZN7QThread4waitEm(thread, time);
    if (ended) {
        __tsan_acquire(thread);
    }
    return ended;
}

bool __wrap__ZN7QThread4waitE14QDeadlineTimer(QThread* thread, QDeadlineTimer deadline)
{
    const bool ended = __real__ZN7QThread4waitE14QDeadlineTimer(thread, deadline);
    if (ended) {
        __tsan_acquire(thread);
    }
    return ended;
}

bool __wrap__ZNK7QThread9isRunningEv(const QThread* thread)
{
    const bool running = __real__ZNK7QThread9isRunningEv(thread);
    if (!running) {
        __tsan_acquire(const_cast<QThread*>(thread));
    }
    return running;
}

bool __wrap__ZNK7QThread10isFinishedEv(const QThread* thread)
{
    const bool finished = __real__ZNK7QThread10isFinishedEv(thread);
    if (finished) {
        __tsan_acquire(const_cast<QThread*>(thread));
    }
    return finished;
}

QMetaObject::Connection
__wrap__ZN7QObject11connectImplEPKS_PPvS1_S3_PN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPKiPK11QMetaObject(
    const QObject* sender, void** signal, const QObject* receiver, void** slot,
    QtPrivate::QSlotObjectBase* slotObject, Qt::ConnectionType type, const int* types,
    const QMetaObject* senderMetaObject)
{
    __tsan_release(const_cast<QObject*>(sender));
    return __real__ZN7QObject11connectImplEPKS_PPvS1_S3_PN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPKiPK11QMetaObject(
        sender, signal, receiver, slot, slotObject, type, types, senderMetaObject);
}

void __wrap__ZN11QMetaObject8activateEP7QObjectPKS_iPPv(QObject* sender, const QMetaObject* object,
                                                        int signal, void** arguments)
{
    __tsan_acquire(sender);
    __real__ZN11QMetaObject8activateEP7QObjectPKS_iPPv(sender, object, signal, arguments);
}
// NOLINTEND(bugprone-reserved-identifier)

} // extern "C"
