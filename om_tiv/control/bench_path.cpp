#include "control/bench_path.h"

#include <cstdlib>
#include <cstring>

#include <unistd.h>

namespace om::bench {

std::string controlFolder()
{
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] == '/') {
        return std::string(runtime) + "/gravimon";
    }
    return "/tmp/gravimon-" + std::to_string(::getuid());
}

std::string controlPath()
{
    const char* given = std::getenv("OM_TIV_CONTROL");
    if (given != nullptr && given[0] != '\0') {
        return std::strcmp(given, "off") == 0 ? std::string() : given;
    }
    return controlFolder() + "/bench-" + std::to_string(::getpid()) + ".sock";
}

} // namespace om::bench
