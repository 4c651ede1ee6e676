// Reports: any recording gives verdicts, and files with finite numbers, in which what is missing
// has a reason. What the reader does with any text: fuzz_recording_csv.

#include "fuzz/require.h"

#include "analysis/recording.h"
#include "report/json_file.h"
#include "report/yaml_file.h"

using fuzz::require;

namespace {

/// A number that is not finite is written as null.
void checkNulls(const nlohmann::ordered_json& value)
{
    for (const auto& [name, member] : value.items()) {
        const bool explained =
            value.is_object() && value.contains("reason") && value["reason"].contains(name);
        require(!member.is_null() || explained || name == "warning",
                "what is null has a reason: " + name);
        if (member.is_structured()) {
            checkNulls(member);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const char* const text = reinterpret_cast<const char*>(data);
    std::string error;
    const auto recording = analysis::parseRecording(text, text + size, "fuzz.csv", error);
    if (!recording) {
        return 0;
    }
    report::Options options;
    options.sixPositions = true;
    const report::RecordingReport report = report::analyse(*recording, options);
    require(!report.verdicts.empty(), "there are verdicts");
    checkNulls(nlohmann::ordered_json::parse(report::jsonText({report})));
    require(report::yamlText(report).rfind("# ", 0) == 0, "YAML begins with its comment");
    return 0;
}
