#include "log/arguments.h"
#include "log/command_line.h"
#include "log/report_run.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace samplelog {

void addReport(CLI::App& program, Action& action)
{
    CLI::App* const verb = program.add_subcommand("report", "Judge the sensors from recordings");
    const auto command = std::make_shared<ReportCommand>();
    verb->add_option("FILE", command->recordings, "Recording; several are compared")
        ->required()
        ->expected(1, -1)
        ->check(someText());
    verb->add_option("-o,--output", command->htmlPath, "The report, a page for a browser")
        ->check(someText());
    verb->add_option("--json", command->jsonPath, "All numbers as JSON")->check(someText());
    verb->add_option("--pdf", command->pdfPath, "The report as PDF")->check(someText());
    verb->add_option("--yaml", command->yamlPath,
                     "Noise densities and random walks as calibration programs read them")
        ->check(someText());
    verb->add_flag("--six-positions", command->options.sixPositions,
                   "Bias, scale and misalignment of the accelerometer from six rests");
    verb->add_option("--sensor-rate", command->options.sensorRateHz,
                     "Rate of the IMU by its data sheet")
        ->check(numberBetween(1.0, 100000.0, "from 1 to 100000"))
        ->type_name("HZ")
        ->capture_default_str();
    verb->add_option("--gravity", command->options.gravity, "Gravity at the place in m/s^2")
        ->check(numberBetween(9.7, 9.9, "from 9.7 to 9.9"))
        ->type_name("G")
        ->capture_default_str();
    verb->footer(
        "Exit status: 0 no verdict failed, 1 not done, 2 wrong usage, 3 a verdict failed.");
    verb->callback([command, &action] { action = [command] { return runReport(*command); }; });
}

} // namespace samplelog
