#include "log/record.h"

#include "analysis/recording.h"
#include "log/command_line.h"
#include "log/end_signals.h"
#include "log/progress_line.h"
#include "terminal/messages.h"

#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <future>
#include <iostream>

namespace samplelog {

namespace {

constexpr std::chrono::milliseconds signalPeriod{50};

std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string formatted(const char* format, ...)
{
    std::array<char, 160> text;
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    return text.data();
}

std::string gapsText(const StreamState& state)
{
    if (state.gaps == 0) {
        return "no gaps";
    }
    return formatted("%llu gap%s, %llu sample%s missing",
                     static_cast<unsigned long long>(state.gaps), state.gaps == 1 ? "" : "s",
                     static_cast<unsigned long long>(state.missing), state.missing == 1 ? "" : "s");
}

std::string backwardText(const StreamState& state)
{
    return state.backward == 0 ? std::string()
                               : formatted(", %llu row%s with an earlier time",
                                           static_cast<unsigned long long>(state.backward),
                                           state.backward == 1 ? "" : "s");
}

/// By the same limit as that of those who read the file.
bool isIncomplete(const StreamState& state)
{
    return state.missing > 0 || static_cast<double>(state.backward) >
                                    analysis::mostLostRows * static_cast<double>(state.samples);
}

} // namespace

std::string progressText(const StreamState& former, const StreamState& now,
                         std::chrono::duration<double> silence)
{
    const auto whole = static_cast<unsigned long long>(now.seconds());
    const double seconds = static_cast<double>(now.lastUs - former.lastUs) * 1e-6;
    const double rate = former.samples > 0 && seconds > 0.0
                            ? static_cast<double>(now.samples - former.samples) / seconds
                            : 0.0;
    std::string text =
        formatted("%02llu:%02llu:%02llu  %llu rows  %.1f Hz  ", whole / 3600, whole / 60 % 60,
                  whole % 60, static_cast<unsigned long long>(now.samples), rate) +
        gapsText(now) + backwardText(now);
    if (silence.count() >= 1.0) {
        text += formatted("  no sample for %.0f s", std::floor(silence.count()));
    }
    return text;
}

std::string summaryText(const std::string& path, std::uint64_t rows, const StreamState& state)
{
    std::string text = path + ": " +
                       formatted("%llu row%s in %.3f s", static_cast<unsigned long long>(rows),
                                 rows == 1 ? "" : "s", state.seconds());
    if (state.periodUs > 0.0) {
        text += formatted(", %.2f Hz", 1e6 / state.periodUs);
    }
    if (state.periodUs > 0.0 || state.gaps > 0) {
        text += ", " + gapsText(state);
    }
    text += backwardText(state);
    if (state.gaps > 0) {
        text += formatted("; the longest gap is %.4f s long, %.3f s after the start",
                          static_cast<double>(state.longestGapUs) * 1e-6,
                          static_cast<double>(state.longestGapAtUs - state.firstUs) * 1e-6);
    }
    return text;
}

int record(const RecordOptions& options)
{
    EndSignals signals;
    RecordingRun run(options);
    std::string error;
    // Waiting for a camera and opening it takes seconds; a signal is read meanwhile.
    bool isReported = false;
    std::future<bool> started =
        std::async(std::launch::async, [&run, &error] { return run.start(error); });
    while (started.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        if (signals.wait(signalPeriod)) {
            run.requestEnd();
        }
        if (!isReported && run.waitsForCamera()) {
            terminal::printError("no camera yet; waiting up to " +
                                 std::to_string(options.patience.count() / 1000) + " s for it");
            isReported = true;
        }
    }
    if (!started.get()) {
        terminal::printError(error);
        return NOT_DONE;
    }
    ProgressLine line;
    StreamState former;
    while (run.isRunning()) {
        if (signals.wait(signalPeriod)) {
            run.requestEnd();
        }
        if (line.isDue()) {
            const StreamState state = run.state();
            line.show(progressText(former, state, run.silence()));
            former = state;
        }
    }
    line.clear();
    const bool whole = run.finish(error);
    const StreamState state = run.state();
    if (run.rows() > 0) {
        std::cout << terminal::printable(summaryText(options.path, run.rows(), state)) << std::endl;
    }
    if (!whole) {
        terminal::printError(error + "; " + run.remains());
        return NOT_DONE;
    }
    return isIncomplete(state) ? INCOMPLETE : DONE;
}

} // namespace samplelog
