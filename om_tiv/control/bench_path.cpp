#include "control/bench_path.h"

#include <cstdlib>

#include <unistd.h>

namespace om::bench {

namespace {

constexpr char off[] = "off";

/// Of OM_TIV_CONTROL; empty if it is not set.
std::string valueOfVariable()
{
    const char* const value = std::getenv("OM_TIV_CONTROL");
    return value != nullptr ? value : "";
}

} // namespace

std::string controlFolder()
{
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] == '/') {
        return std::string(runtime) + "/gravimon";
    }
    return "/tmp/gravimon-" + std::to_string(::getuid());
}

std::string namedPath()
{
    const std::string value = valueOfVariable();
    return value == off ? std::string() : value;
}

std::string controlPath()
{
    const std::string value = valueOfVariable();
    if (value.empty()) {
        return controlFolder() + "/bench-" + std::to_string(::getpid()) + ".sock";
    }
    return value == off ? std::string() : value;
}

} // namespace om::bench
