#include "log/arguments.h"
#include "log/command_line.h"
#include "log/record.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

namespace samplelog {

namespace {

struct Sensor
{
    const char* name;
    bool RecOptions::*field;
};

/// The switches in the order of the columns.
constexpr std::array<Sensor, 7> sensors{{
    {"accelerometer", &RecOptions::accelerometer},
    {"gyroscope", &RecOptions::gyroscope},
    {"magnetometer", &RecOptions::magnetometer},
    {"orientation", &RecOptions::orientation},
    {"barometer", &RecOptions::barometer},
    {"movement", &RecOptions::movement},
    {"temperatures", &RecOptions::temperatures},
}};

std::vector<std::string> names()
{
    std::vector<std::string> all;
    all.reserve(sensors.size());
    for (const Sensor& sensor : sensors) {
        all.emplace_back(sensor.name);
    }
    return all;
}

/// The options that the user chose in the main program are not used here.
void choose(const std::vector<std::string>& chosen, RecOptions& columns)
{
    for (const Sensor& sensor : sensors) {
        columns.*sensor.field =
            chosen.empty() || std::find(chosen.begin(), chosen.end(), sensor.name) != chosen.end();
    }
}

} // namespace

void addRecord(CLI::App& program, Action& action)
{
    CLI::App* const verb =
        program.add_subcommand("record", "Record every sample of a camera's sensors");
    const auto options = std::make_shared<RecordOptions>();
    const auto chosen = std::make_shared<std::vector<std::string>>();
    verb->add_option("FILE", options->path, "CSV file to write; it must not exist yet")
        ->required()
        ->check(someText());
    verb->add_option("--serial", options->serial,
                     "Serial number of the camera; by default the first one is taken")
        ->transform(serialNumber());
    verb->add_option("--seconds", options->seconds,
                     "Length in seconds; by default the recording continues until Ctrl+C")
        ->check(duration());
    verb->add_option("--sensors", *chosen,
                     "Columns, separated by commas; by default all: accelerometer, gyroscope, "
                     "magnetometer, orientation, barometer, movement, temperatures")
        ->delimiter(',')
        ->type_name("NAME,...")
        ->check(CLI::IsMember(names()));
    verb->footer("Exit status: 0 recorded, 1 not done, 2 wrong usage, 3 recorded, but samples are "
                 "missing or over 0.1 % of the times step back.");
    verb->callback([options, chosen, &action] {
        choose(*chosen, options->columns);
        action = [options] { return record(*options); };
    });
}

} // namespace samplelog
