#include "tools/answer_text.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <iomanip>
#include <sstream>
#include <string>

namespace om::bench {

using nlohmann::json;

namespace {

/// One line with the true values, and one with the values that the program has last received.
void addTruth(Text& out, const json& camera)
{
    const auto values = [](const json& of) {
        return "  field uT " + triple(of.at("field"), 7, 2) + "  acc m/s^2 " +
               triple(of.at("specificForce"), 7, 3) + "  gyro deg/s " +
               triple(of.at("angularVelocity"), 7, 2);
    };
    const std::string name = std::to_string(count(camera, "serialNumber")) + " " +
                             padded(camera.at("state").get<std::string>(), 9);
    const json& truth = camera.at("truth");
    out.add(name + "  true  " + padded("heading " + fixed(truth.at("heading"), 6, 2), 14) +
            values(truth));
    if (const json& reading = camera.at("reading"); !reading.is_null()) {
        out.add(name + "  read  " + padded("", 14) + values(reading) + "  samples " +
                std::to_string(count(camera, "samplesRead")) + "/" +
                std::to_string(count(camera, "samplesProduced")));
    }
}

void addCalibration(Text& out, const json& eeprom)
{
    for (const char* name : {"scale", "offset"}) {
        std::ostringstream line;
        line << name;
        for (const json& value : elements(eeprom, name)) {
            // JSON cannot represent values that are not numbers; a failed fit stores such values.
            line << " " << std::setprecision(9)
                 << (value.is_number() ? value.get<double>() : std::nan(""));
        }
        out.add(line.str());
    }
    out.add(eeprom.at("neutral").get<bool>() ? "neutral yes" : "neutral no");
}

} // namespace

void addCameras(Text& out, const json::array_t& cameras)
{
    std::array<char, 160> line;
    std::snprintf(line.data(), line.size(), "%-10s %-6s %3s  %-10s %-9s %9s %9s  ", "SERIAL",
                  "MODEL", "ID", "STATE", "MOTION", "PRODUCED", "READ");
    out.add(line.data() + std::string("FAULTS"));
    for (const json& camera : cameras) {
        std::string faults;
        for (const auto& [name, value] : members(camera, "faults")) {
            faults += (faults.empty() ? "" : ",") + name;
            if (!value.is_boolean()) {
                faults += "=" + value.dump();
            }
        }
        std::snprintf(line.data(), line.size(), "%-10llu %-6s %3llu  %-10s %-9s %9llu %9llu  ",
                      static_cast<unsigned long long>(count(camera, "serialNumber")),
                      camera.at("model").get<std::string>().c_str(),
                      static_cast<unsigned long long>(count(camera, "id")),
                      camera.at("state").get<std::string>().c_str(),
                      camera.at("motion").get<std::string>().c_str(),
                      static_cast<unsigned long long>(count(camera, "samplesProduced")),
                      static_cast<unsigned long long>(count(camera, "samplesRead")));
        out.add(line.data() + (faults.empty() ? "-" : faults));
    }
}

void addAnswer(Text& out, const json& answer, const Command& command)
{
    if (command.asJson) {
        out.addJson(answer, 2);
    } else if (answer.contains("cameras")) {
        addCameras(out, elements(answer, "cameras"));
    } else if (answer.contains("scale") && command.dumpFile.empty()) {
        addCalibration(out, answer);
    } else if (answer.contains("field")) {
        const json& now = answer.at("field");
        out.add("strength " + now.at("strength").dump() + " uT, inclination " +
                now.at("inclination").dump() + ", declination " + now.at("declination").dump());
    } else if (answer.contains("temperature")) {
        out.add("temperature " + answer.at("temperature").dump());
    } else if (answer.contains("firmware")) {
        out.add("firmware " + answer.at("firmware").dump());
    } else if (answer.contains("faults")) {
        for (const auto& [name, value] : members(answer, "faults")) {
            out.add(name + " " + value.dump());
        }
    }
}

bool addWatched(Text& out, const json::array_t& cameras, const Command& command)
{
    bool found = false;
    for (const json& camera : cameras) {
        const auto& serial = command.watch->serial;
        const bool wanted =
            serial ? count(camera, "serialNumber") == *serial : camera.at("state") != "unplugged";
        if (wanted) {
            found = true;
            if (command.asJson) {
                out.addJson(camera, -1);
            } else {
                addTruth(out, camera);
            }
        }
    }
    return found;
}

} // namespace om::bench
