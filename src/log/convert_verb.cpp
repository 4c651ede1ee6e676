#include "analysis/recording.h"
#include "exchange/convert.h"
#include "log/arguments.h"
#include "log/command_line.h"
#include "log/end_signals.h"
#include "log/progress_line.h"
#include "terminal/messages.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <chrono>
#include <cmath>
#include <future>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace samplelog {

namespace {

const std::map<std::string, exchange::FORMAT> forms{{"mcap", exchange::FORMAT::MCAP},
                                                    {"euroc", exchange::FORMAT::EUROC},
                                                    {"npz", exchange::FORMAT::NPZ}};
const std::map<std::string, exchange::AXES> turns{{"camera", exchange::AXES::CAMERA},
                                                  {"robot", exchange::AXES::ROBOT}};

template <typename Value>
std::vector<std::string> namesOf(const std::map<std::string, Value>& map)
{
    std::vector<std::string> names;
    names.reserve(map.size());
    for (const auto& entry : map) {
        names.push_back(entry.first);
    }
    return names;
}

/// Converts on a thread of its own, because a slow disk accepts the last data long after the last
/// progress; a further signal must end the program then, too.
/// @param interrupted set to whether a signal ended the conversion
exchange::ConvertResult convert(const exchange::ConvertOptions& options, EndSignals& signals,
                                bool& interrupted)
{
    constexpr std::chrono::milliseconds lookPeriod{20};
    constexpr std::chrono::nanoseconds atOnce{0};
    ProgressLine line;
    std::atomic<double> done{0.0};
    std::atomic<bool> ends{signals.wait(atOnce)};
    std::future<exchange::ConvertResult> result = std::async(std::launch::async, [&] {
        return exchange::convert(options, [&](double share) {
            done = share;
            interrupted = ends;
            return !interrupted;
        });
    });
    while (result.wait_for(lookPeriod) != std::future_status::ready) {
        if (signals.wait(atOnce)) {
            ends = true;
        }
        if (line.isDue()) {
            line.show(terminal::printable(options.output) + ": " +
                      std::to_string(std::lround(done * 100.0)) + " %");
        }
    }
    line.clear();
    return result.get();
}

int convert(const exchange::ConvertOptions& options)
{
    EndSignals signals;
    bool interrupted = false;
    const exchange::ConvertResult result = convert(options, signals, interrupted);
    if (!result.done) {
        terminal::printError(interrupted ? options.output + ": interrupted; the output was removed"
                                         : result.error);
        return NOT_DONE;
    }
    const exchange::Counts& counts = result.counts;
    std::cout << terminal::printable(options.output) << ": " << counts.imu
              << " samples of the IMU, " << counts.magneticField << " of the magnetometer, "
              << counts.barometer << " of the barometer, " << counts.temperatures
              << " of the temperatures" << std::endl;
    if (const std::string text = analysis::leftOutText(result.report); !text.empty()) {
        terminal::printError(options.input + ": left out: " + text);
    }
    return analysis::lostShareOf(result.report) > analysis::mostLostRows ? INCOMPLETE : DONE;
}

} // namespace

void addConvert(CLI::App& program, Action& action)
{
    CLI::App* const verb =
        program.add_subcommand("convert", "Write a recording in the form of other programs");
    const auto options = std::make_shared<exchange::ConvertOptions>();
    verb->add_option("FILE", options->input, "Recording to read")->required()->check(someText());
    verb->add_option("OUT", options->output,
                     "File to write, for euroc a folder; it must not exist yet")
        ->required()
        ->check(someText());
    const auto form = std::make_shared<std::string>();
    const auto axes = std::make_shared<std::string>();
    verb->add_option("--to", *form, "Form: mcap, euroc or npz")
        ->required()
        ->type_name("FORM")
        ->check(CLI::IsMember(namesOf(forms)));
    verb->add_option("--axes", *axes,
                     "camera: x right, y up, z backward, by default for npz; robot: x forward, "
                     "y left, z up, by default for mcap and euroc")
        ->type_name("AXES")
        ->check(CLI::IsMember(namesOf(turns)));
    verb->footer("Exit status: 0 converted, 1 not done, 2 wrong usage, 3 converted, but more than "
                 "0.1 % of the rows or of a sensor's samples are lost.");
    verb->callback([options, form, axes, &action] {
        options->format = forms.at(*form);
        options->source = terminal::printable(options->input.substr(options->input.rfind('/') + 1));
        if (!axes->empty()) {
            options->axes = turns.at(*axes);
        }
        action = [options] { return convert(*options); };
    });
}

} // namespace samplelog
