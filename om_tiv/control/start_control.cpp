#include "control/control.h"

#include "base/one_line.h"
#include "control/bench_path.h"
#include "control/control_server.h"
#include "control/socket_file.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

namespace om::bench {

namespace {

/// A second program prints which bench is its own.
void reportOthers(const std::string& path)
{
    std::string others;
    for (const std::string& other : socketsIn(controlFolder())) {
        if (other != path && isServed(other)) {
            others += " " + other;
        }
    }
    if (!others.empty()) {
        std::fprintf(stderr, "om_tiv: the bench of this program is %s; other programs have%s\n",
                     oneLine(path).c_str(), oneLine(others).c_str());
    }
}

} // namespace

void startControl(Bench& bench)
{
    static std::once_flag once;
    std::call_once(once, [&bench] {
        const std::string path = controlPath();
        if (path.empty()) {
            return;
        }
        std::string error;
        auto server = ControlServer::start(
            path, [&bench](const std::string& request) { return answerControl(bench, request); },
            error);
        if (!server) {
            std::fprintf(stderr, "om_tiv: no control socket: %s\n", oneLine(error).c_str());
            return;
        }
        // Ends with the process. The bench's own statics are never destroyed, so it can use them
        // until its end.
        static ControlServer* running = nullptr;
        running = server.release();
        reportOthers(path);
        std::atexit([] { delete running; });
    });
}

} // namespace om::bench
