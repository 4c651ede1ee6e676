#include "library/the_bench.h"

#include "bench/loader.h"
#include "control/control.h"

#include <cstdlib>

namespace om::bench {

Bench& theBench()
{
    // Never destroyed: a thread that outlives main() may still use it.
    static Bench* const bench = [] {
        auto* const made = new Bench;
        const char* const file = std::getenv("OM_TIV_BENCH");
        if (file == nullptr || *file == '\0') {
            made->loadDefault();
        } else {
            made->startLoading(file);
        }
        // A recording that is being read must not delay the end of the process.
        std::atexit([] { theBench().loader().end(); });
        startControl(*made);
        return made;
    }();
    return *bench;
}

} // namespace om::bench
