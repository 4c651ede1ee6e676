/// @file
/// The members of a request, by name.
#pragma once

#include "world/geometry.h"
#include "world/ranges.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <string>

namespace om::bench {

/// A refused request, with the reason for its sender.
class Refusal : public std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// The functions throw Refusal for a member that is missing, of a wrong type or out of range.

const nlohmann::json& member(const nlohmann::json& object, const char* key);

double number(const nlohmann::json& object, const char* key, const range::Range& range);

/// False if it is missing.
bool flag(const nlohmann::json& object, const char* key);

std::string text(const nlohmann::json& object, const char* key);

/// The member "quaternion": x, y, z, w of the length 1.
Quaternion quaternion(const nlohmann::json& object);

/// N numbers from -most to most.
template <std::size_t N>
std::array<double, N> numbers(const nlohmann::json& object, const char* key, double most)
{
    const nlohmann::json& value = member(object, key);
    std::array<double, N> result{};
    bool sound = value.is_array() && value.size() == N;
    for (std::size_t i = 0; sound && i < N; ++i) {
        sound = value[i].is_number() && std::abs(value[i].get<double>()) <= most;
        result[i] = sound ? value[i].get<double>() : 0.0;
    }
    if (!sound) {
        throw Refusal(std::string("\"") + key + "\" must be " + std::to_string(N) +
                      " numbers from " + nlohmann::json(-most).dump() + " to " +
                      nlohmann::json(most).dump());
    }
    return result;
}

} // namespace om::bench
