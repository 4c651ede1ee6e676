#include "control/request_values.h"

namespace om::bench {

using nlohmann::json;

const json& member(const json& object, const char* key)
{
    const auto found = object.find(key);
    if (found == object.end()) {
        throw Refusal(std::string("\"") + key + "\" is missing");
    }
    return *found;
}

double number(const json& object, const char* key, const range::Range& range)
{
    const auto [least, most] = range;
    const json& value = member(object, key);
    if (!value.is_number() || !(value.get<double>() >= least && value.get<double>() <= most)) {
        throw Refusal(std::string("\"") + key + "\" must be a number from " + json(least).dump() +
                      " to " + json(most).dump());
    }
    return value.get<double>();
}

bool flag(const json& object, const char* key)
{
    const auto found = object.find(key);
    if (found == object.end()) {
        return false;
    }
    if (!found->is_boolean()) {
        throw Refusal(std::string("\"") + key + "\" must be true or false");
    }
    return found->get<bool>();
}

std::string text(const json& object, const char* key)
{
    const json& value = member(object, key);
    if (!value.is_string()) {
        throw Refusal(std::string("\"") + key + "\" must be a text");
    }
    return value.get<std::string>();
}

Quaternion quaternion(const json& object)
{
    const auto parts = numbers<4>(object, "quaternion", 1.0);
    const Quaternion given{parts[3], parts[0], parts[1], parts[2]};
    const double square =
        given.w * given.w + given.x * given.x + given.y * given.y + given.z * given.z;
    if (std::abs(square - 1.0) > 1e-3) {
        throw Refusal("\"quaternion\" must have the length 1");
    }
    return normalized(given);
}

} // namespace om::bench
