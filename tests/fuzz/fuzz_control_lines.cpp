// Requests on the control socket: every line, whatever its content, gets an answer of one line.

#include "fuzz/require.h"

#include "library/the_bench.h"
#include "control/control.h"

#include <nlohmann/json.hpp>

#include <filesystem>

#include <unistd.h>

using namespace om::bench;
using fuzz::require;

namespace {

/// EEPROM images are stored in a folder of this process, which is removed at its end.
class StateFolder
{
public:
    StateFolder()
    {
        std::string folder = fuzz::memoryFolder() + "/gravimon-fuzz.XXXXXX";
        require(::mkdtemp(folder.data()) != nullptr, "a folder for EEPROM images");
        // NOLINTNEXTLINE(concurrency-mt-unsafe): one thread yet
        ::setenv("OM_TIV_STATE_DIR", folder.c_str(), 1);
        m_folder = folder;
    }
    ~StateFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

private:
    std::filesystem::path m_folder;
};

void checkAnswer(const std::string& answer)
{
    require(answer.find('\n') == std::string::npos, "an answer is one line");
    const nlohmann::json parsed = nlohmann::json::parse(answer, nullptr, false);
    require(parsed.is_object(), "an answer is an object: " + answer);
    require(parsed.contains("ok") && parsed["ok"].is_boolean(), "an answer says whether it went");
    if (!parsed["ok"].get<bool>()) {
        require(parsed.contains("error") && parsed["error"].is_string(), "a refusal has a reason");
        fuzz::requireOneLine(parsed["error"].get<std::string>());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const StateFolder folder;
    Bench& bench = theBench();
    bench.reset();
    bench.clock().setManual(1000 * nsPerS);
    CameraConfig config;
    config.serialNumber = 1;
    bench.addCamera(config);

    const std::string text(reinterpret_cast<const char*>(data), size);
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        checkAnswer(answerControl(bench, text.substr(begin, end - begin)));
        bench.clock().advance(std::chrono::milliseconds(13));
        begin = end + 1;
    }
    // The bench still answers after any request.
    const auto list = nlohmann::json::parse(answerControl(bench, R"({"command":"list"})"));
    require(list.at("ok").get<bool>(), "the list can be had");
    bench.reset();
    return 0;
}
