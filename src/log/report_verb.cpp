#include "log/command_line.h"

#include "report/command.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace samplelog {

void addReport(CLI::App& program, Action& action)
{
    CLI::App* const verb = program.add_subcommand("report", "Judge the sensors by recordings");
    const auto options = std::make_shared<report::Options>();
    verb->add_option("FILE", options->recordings, "Recording; several are compared")
        ->required()
        ->expected(1, -1);
    verb->add_option("-o,--output", options->htmlPath, "The report, a page for a browser");
    verb->add_option("--json", options->jsonPath, "All numbers as JSON");
    verb->add_option("--pdf", options->pdfPath, "The report as PDF");
    verb->add_option("--yaml", options->yamlPath,
                     "Noise densities and random walks as calibration programs read them");
    verb->add_flag("--six-positions", options->sixPositions,
                   "Bias, scale and misalignment of the accelerometer from six rests");
    verb->callback([options, &action] { action = [options] { return report::run(*options); }; });
}

} // namespace samplelog
