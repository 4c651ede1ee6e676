/// @file
/// A camera that a request adds to the bench.
#pragma once

#include "bench/bench_file.h"

#include <nlohmann/json.hpp>

#include <string>

namespace om::bench {

class Bench;

constexpr const char* cameraSource = "camera"; ///< in place of a bench file's name

/// An error of the readers of bench files, without the place in a file, which has no meaning here;
/// with the key.
std::string withoutPlace(const std::string& error);

/// Reads a camera as in a bench file, without its recording.
/// @throw Refusal
BenchDescription describeCamera(const nlohmann::json& camera);

/// The reason to refuse a second camera with this serial number.
std::string duplicateSerialText(unsigned int serial);

/// @throw Refusal if the bench is full, or if another camera, also one whose recording is being
///                read, has the serial number or the id
void checkRoomFor(const CameraConfig& camera, Bench& bench);

} // namespace om::bench
