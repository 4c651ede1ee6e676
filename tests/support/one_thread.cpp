/// @file
/// Ends a test program that starts a thread of its own, in place of pthread_create(). Threads of
/// the libraries (Qt's watchdog and its connection to the X server, the software OpenGL) may start:
/// they run no code of the project.
#include <dlfcn.h>
#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

using Routine = void* (*)(void*);
using Create = int (*)(pthread_t*, const pthread_attr_t*, Routine, void*);

const void* imageOf(const void* address)
{
    Dl_info found;
    return dladdr(address, &found) != 0 ? found.dli_fbase : nullptr;
}

bool isOfLibrary(Routine routine, std::string_view name)
{
    Dl_info found;
    return dladdr(reinterpret_cast<const void*>(routine), &found) != 0 &&
           std::string_view(found.dli_fname).find(name) != std::string_view::npos;
}

bool isOwn(Routine routine, const void* argument)
{
    static const char ownData = 0;
    const void* const own = imageOf(&ownData);
    if (imageOf(reinterpret_cast<const void*>(routine)) == own) {
        return true;
    }
    // The argument is an object with virtual functions: the std::thread's state, or the QThread.
    // One of Qt's own class runs a loop of events for objects of the project, or a QRunnable.
    if (isOfLibrary(routine, "/libstdc++.so") || isOfLibrary(routine, "/libQt5Core.so")) {
        const void* const functions = *static_cast<const void* const*>(argument);
        const void* const image = imageOf(functions);
        return image == own || image == imageOf(reinterpret_cast<const void*>(routine));
    }
    return false;
}

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, Routine routine,
                              void* argument)
{
    static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    if (isOwn(routine, argument)) {
        std::fputs("one_thread: the test starts a thread of its own, which ThreadSanitizer has to "
                   "watch: take ONE_THREAD "
                   "from its gravimon_add_test()\n",
                   stderr);
        std::abort();
    }
    return create(thread, attributes, routine, argument);
}
