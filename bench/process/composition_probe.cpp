/// @file
/// Loaded into a program by LD_PRELOAD: writes a line for each replot of a chart and for each
/// composition of a window to the file that GRAVIMON_COMPOSITIONS names. "replot BEGIN END" and
/// "composition BEGIN END", in nanoseconds of CLOCK_MONOTONIC. Both functions are called by the
/// interface thread only.

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

// The names are those of the compiled functions: Qt installs no header for a backing store with its
// other ones.
#define COMPOSITION                                                                                \
    "_ZN21QPlatformBackingStore15composeAndFlushEP7QWindowRK7QRegionRK6QPointP20QPlatformTextureL" \
    "istb"
#define REPLOT "_ZN7QwtPlot6replotEv"

namespace {

long long now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<long long>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

void write(const char* what, long long begin)
{
    static const char* const path = std::getenv("GRAVIMON_COMPOSITIONS");
    static const int file =
        path != nullptr ? ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600) : -1;
    if (file < 0) {
        return;
    }
    char line[80];
    const int length = std::snprintf(line, sizeof line, "%s %lld %lld\n", what, begin, now());
    if (::write(file, line, static_cast<std::size_t>(length)) != length) {
        std::perror("composition_probe: the file of GRAVIMON_COMPOSITIONS");
        std::abort();
    }
}

template <typename Function>
Function next(const char* name)
{
    void* const found = ::dlsym(RTLD_NEXT, name);
    if (found == nullptr) {
        std::fprintf(stderr, "composition_probe: no %s\n", name);
        std::abort();
    }
    return reinterpret_cast<Function>(found);
}

using Compose = void(void*, void*, const void*, const void*, void*, bool);
using Replot = void(void*);

} // namespace

Compose composition __asm__(COMPOSITION);
Replot replot __asm__(REPLOT);

void composition(void* store, void* window, const void* region, const void* offset, void* textures,
                 bool translucent)
{
    static const auto original = next<Compose*>(COMPOSITION);
    const long long begin = now();
    original(store, window, region, offset, textures, translucent);
    write("composition", begin);
}

void replot(void* plot)
{
    static const auto original = next<Replot*>(REPLOT);
    const long long begin = now();
    original(plot);
    write("replot", begin);
}
