#include "base/json_depth.h"

#include <nlohmann/json.hpp>

namespace om::bench {

JsonText parseBounded(std::string_view text, nlohmann::json& value)
{
    using nlohmann::json;
    bool tooDeep = false;
    const auto keep = [&tooDeep](int depth, json::parse_event_t event, const json&) {
        const bool begins =
            event == json::parse_event_t::object_start || event == json::parse_event_t::array_start;
        // The depth is that of the surrounding value.
        tooDeep = tooDeep || (begins && static_cast<std::size_t>(depth) >= deepestJson);
        return !tooDeep;
    };
    value = json::parse(text.begin(), text.end(), keep, false);
    if (!tooDeep && !value.is_discarded()) {
        return JsonText::SOUND;
    }
    value = nullptr;
    return tooDeep ? JsonText::TOO_DEEP : JsonText::NO_JSON;
}

} // namespace om::bench
