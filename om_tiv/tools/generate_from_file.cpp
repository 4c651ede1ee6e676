#include "tools/generate_from_file.h"

#include "bench/bench_file.h"

#include <algorithm>
#include <csignal>
#include <iostream>

#include <unistd.h>

namespace om::bench {

namespace {

volatile std::sig_atomic_t interrupted = 0;

void interrupt(int /*signal*/)
{
    interrupted = 1;
}

} // namespace

bool generateFromFile(const Command::Generate& command, Generated& generated, std::string& problem)
{
    BenchDescription bench;
    if (!parseBenchFile(command.benchFile, bench, problem)) {
        return false;
    }
    const auto camera =
        std::find_if(bench.cameras.begin(), bench.cameras.end(), [&](const CameraConfig& config) {
            return !command.serial || config.serialNumber == *command.serial;
        });
    if (camera == bench.cameras.end()) {
        problem =
            command.benchFile + ": " +
            (command.serial ? "no camera with serial number " + std::to_string(*command.serial)
                            : "no cameras; add one to \"cameras\"");
        return false;
    }
    // No incomplete file remains: a signal ends the work, which then removes the file, and a file
    // size limit only makes a write fail.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        // Ignored by nohup, or by a script for its background jobs: it stays ignored.
        struct sigaction former = {};
        if (::sigaction(signal, nullptr, &former) == 0 && former.sa_handler != SIG_IGN) {
            std::signal(signal, interrupt);
        }
    }
    std::signal(SIGXFSZ, SIG_IGN);
    const bool shown = ::isatty(STDERR_FILENO) != 0;
    const auto proceed = [&](double share) {
        if (shown) {
            std::cerr << "\r" << static_cast<int>(100.0 * share) << " %" << std::flush;
        }
        return interrupted == 0;
    };
    const bool done = generateRecording(*camera, bench.field, 3600.0 * command.hours, command.file,
                                        proceed, generated, problem);
    if (shown) {
        std::cerr << "\r\x1b[K" << std::flush;
    }
    return done;
}

} // namespace om::bench
