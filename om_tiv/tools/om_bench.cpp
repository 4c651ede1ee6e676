// om-bench: control of the virtual bench of a running program, from the command line.
//
// Exit status: 0 done, 1 refused by the bench, 2 wrong usage, 3 no running bench.

#include "tools/bench_client.h"

#include "bench/hex.h"

#include <CLI/CLI.hpp>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <optional>
#include <thread>

using nlohmann::json;

namespace {

enum Exit { DONE = 0, REFUSED = 1, USAGE = 2, NO_BENCH = 3 };

constexpr double degrees = 180.0 / 3.14159265358979323846;

std::string fixed(double value, int width, int precision)
{
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%*.*f", width, precision, value);
    return text.data();
}

void printCameras(const json& cameras)
{
    std::printf("%-10s %-6s %3s  %-10s %-9s %9s %9s  %s\n", "SERIAL", "MODEL", "ID", "STATE",
                "MOTION", "PRODUCED", "READ", "FAULTS");
    for (const json& camera : cameras) {
        std::string faults;
        for (const auto& [name, value] : camera.at("faults").items()) {
            faults += (faults.empty() ? "" : ",") + name;
            if (!value.is_boolean()) {
                faults += "=" + value.dump();
            }
        }
        std::printf("%-10u %-6s %3d  %-10s %-9s %9llu %9llu  %s\n",
                    camera.at("serialNumber").get<unsigned>(),
                    camera.at("model").get<std::string>().c_str(), camera.at("id").get<int>(),
                    camera.at("state").get<std::string>().c_str(),
                    camera.at("motion").get<std::string>().c_str(),
                    camera.at("samplesProduced").get<unsigned long long>(),
                    camera.at("samplesRead").get<unsigned long long>(),
                    faults.empty() ? "-" : faults.c_str());
    }
}

void printTruth(const json& camera)
{
    const json& truth = camera.at("truth");
    const auto triple = [](const json& v, int width, int precision) {
        return fixed(v.at(0), width, precision) + " " + fixed(v.at(1), width, precision) + " " +
               fixed(v.at(2), width, precision);
    };
    std::cout << camera.at("serialNumber") << " " << camera.at("state").get<std::string>()
              << "  heading " << fixed(truth.at("heading"), 6, 2) << "  field uT "
              << triple(truth.at("field"), 7, 2) << "  acc m/s^2 "
              << triple(truth.at("specificForce"), 7, 3) << "  gyro deg/s "
              << triple(truth.at("angularVelocity"), 7, 2) << "  read " << camera.at("samplesRead")
              << "/" << camera.at("samplesProduced") << std::endl;
}

void printCalibration(const json& eeprom)
{
    for (const char* name : {"scale", "offset"}) {
        std::cout << name;
        for (const json& value : eeprom.at(name)) {
            // JSON has no word for what is no number; a fit that failed stores such values.
            std::cout << " " << std::setprecision(9)
                      << (value.is_number() ? value.get<double>() : std::nan(""));
        }
        std::cout << "\n";
    }
    std::cout << "neutral " << (eeprom.at("neutral").get<bool>() ? "yes" : "no") << "\n";
}

/// A fault's value as it stands on the command line: on, off, or what JSON makes of it.
json faultValue(const std::string& text)
{
    if (text == "on" || text == "true") {
        return true;
    }
    if (text == "off" || text == "false") {
        return false;
    }
    json value = json::parse(text, nullptr, false);
    return value.is_discarded() ? json(text) : value;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app{"Controls the virtual bench of a running Gravimon.", "om-bench"};
    app.require_subcommand(1);
    app.get_formatter()->column_width(34);
    std::string socket;
    bool asJson = false;
    app.add_option("--socket", socket, "Control socket; by default the one running bench is found");
    app.add_flag("--json", asJson, "Print the bench's answer as JSON");
    app.set_version_flag("--version", "om-bench " GRAVIMON_VERSION);
    app.footer("SERIAL is a camera's serial number, as in the list. Angles are in degrees.\n"
               "Exit status: 0 done, 1 refused, 2 wrong usage, 3 no running bench.");

    json request;
    unsigned int serial = 0;
    const auto command = [&](const std::string& name, const std::string& help) {
        CLI::App* sub = app.add_subcommand(name, help);
        sub->callback([&request, name] { request["command"] = name; });
        return sub;
    };
    const auto withSerial = [&](CLI::App* sub) {
        sub->add_option("SERIAL", serial, "Serial number")->required();
        sub->callback([&request, &serial, name = sub->get_name()] {
            request["command"] = name;
            request["serialNumber"] = serial;
        });
        return sub;
    };

    command("list", "Cameras with state, motion, samples and faults");

    CLI::App* add = app.add_subcommand("add", "Put a camera on the bench, plugged in");
    std::string model;
    std::string motion = "tumble";
    std::optional<int> id;
    std::optional<unsigned int> firmware;
    bool unplugged = false;
    std::string replay;
    bool once = false;
    add->add_option("MODEL", model, "TIV, TIV_N, TIV_P, TIV_Q, TIV_R or TIV_S")->required();
    add->add_option("SERIAL", serial, "Serial number")->required();
    add->add_option("--id", id, "Camera id; by default the position in the list");
    add->add_option("--firmware", firmware, "Firmware version");
    add->add_option("--motion", motion, "Motion at the start")->capture_default_str();
    add->add_option("--replay", replay, "CSV recording to play in place of the physics");
    add->add_flag("--once", once, "End the recording at its last row in place of beginning anew");
    add->add_flag("--unplugged", unplugged, "Not plugged in");
    add->callback([&] {
        request["command"] = "add";
        json camera{{"model", model},
                    {"serialNumber", serial},
                    {"motion", motion},
                    {"plugged", !unplugged}};
        if (id) {
            camera["id"] = *id;
        }
        if (firmware) {
            camera["firmware"] = *firmware;
        }
        if (!replay.empty()) {
            camera["replay"] = std::filesystem::absolute(replay).string();
            camera["replayLoop"] = !once;
        }
        request["camera"] = camera;
    });

    withSerial(command("remove", "Take a camera off the bench"));
    withSerial(command("plug", "Plug a camera in"));
    withSerial(command("unplug", "Unplug a camera"));

    CLI::App* setMotion = command("motion", "Set how a camera moves");
    setMotion->add_option("SERIAL", serial, "Serial number")->required();
    setMotion->add_option("MOTION", motion, "\"at rest\", hand-held, tumble, fall or posed")
        ->required();
    setMotion->callback([&] {
        request = {{"command", "motion"}, {"serialNumber", serial}, {"motion", motion}};
    });

    CLI::App* pose = command("pose", "Turn a camera to a pose and hold it there");
    double heading = 0.0;
    double pitch = 0.0;
    double roll = 0.0;
    double glide = 0.3;
    pose->add_option("SERIAL", serial, "Serial number")->required();
    pose->add_option("HEADING", heading, "Clockwise from geographic north")->required();
    pose->add_option("PITCH", pitch, "Nose up")->required();
    pose->add_option("ROLL", roll, "Right side down")->required();
    pose->add_option("--glide", glide, "Seconds that the turn takes")->capture_default_str();
    std::vector<double> spin;
    pose->add_option("--spin", spin, "Rates about the body's axes at which it turns on")
        ->expected(3)
        ->type_name("X Y Z");
    pose->callback([&] {
        request = {{"command", "pose"},
                   {"serialNumber", serial},
                   {"pose", {{"heading", heading}, {"pitch", pitch}, {"roll", roll}}},
                   {"glide", glide}};
        if (!spin.empty()) {
            request["spin"] = spin;
        }
    });

    CLI::App* field = command("field", "Show or set the geomagnetic field of the bench");
    std::vector<double> fieldValues;
    field
        ->add_option("VALUES", fieldValues,
                     "Strength in uT, inclination below the horizon, declination to the east")
        ->expected(0, 3);
    field->callback([&] {
        if (!fieldValues.empty() && fieldValues.size() != 3) {
            throw CLI::ValidationError("field",
                                       "takes strength, inclination and declination, or nothing");
        }
        request = {{"command", "field"}};
        if (fieldValues.size() == 3) {
            request["field"] = {{"strength", fieldValues[0]},
                                {"inclination", fieldValues[1]},
                                {"declination", fieldValues[2]}};
        }
    });

    CLI::App* disturbance =
        command("disturbance", "Set the strength of a magnetic disturbance at a camera");
    double strength = 0.0;
    disturbance->add_option("SERIAL", serial, "Serial number")->required();
    disturbance->add_option("STRENGTH", strength, "uT, 0 for none")->required();
    disturbance->callback([&] {
        request = {{"command", "fault"},
                   {"serialNumber", serial},
                   {"faults", {{"magneticDisturbance", strength}}}};
    });

    CLI::App* temperature = command("temperature", "Show or set the air's temperature at a camera");
    std::optional<double> celsius;
    temperature->add_option("SERIAL", serial, "Serial number")->required();
    temperature->add_option("CELSIUS", celsius,
                            "Degrees Celsius; the sensors follow within a minute");
    temperature->callback([&] {
        request = {{"command", "temperature"}, {"serialNumber", serial}};
        if (celsius) {
            request["temperature"] = *celsius;
        }
    });

    CLI::App* setFirmware = command("firmware", "Show or set a camera's firmware version");
    setFirmware->add_option("SERIAL", serial, "Serial number")->required();
    setFirmware->add_option("VERSION", firmware, "Seen when the program next opens the camera");
    setFirmware->callback([&] {
        request = {{"command", "firmware"}, {"serialNumber", serial}};
        if (firmware) {
            request["firmware"] = *firmware;
        }
    });

    CLI::App* fault = command("fault", "Show, set or clear faults of a camera");
    std::string faultName;
    std::string faultText = "on";
    fault->add_option("SERIAL", serial, "Serial number")->required();
    fault->add_option("NAME", faultName,
                      "Name of the fault, or \"none\" to clear all; without it all are shown");
    fault->add_option("VALUE", faultText, "on, off, or the fault's number")->capture_default_str();
    fault->callback([&] {
        request = {{"command", "fault"}, {"serialNumber", serial}};
        if (faultName == "none") {
            request["clear"] = true;
        } else if (!faultName.empty()) {
            request["faults"] = {{faultName, faultValue(faultText)}};
        }
    });

    CLI::App* eeprom =
        app.add_subcommand("eeprom", "The magnetometer calibration in a camera's EEPROM");
    eeprom->require_subcommand(1);
    std::string dumpFile;
    const auto eepromAction = [&](const std::string& name, const std::string& help) {
        CLI::App* sub = eeprom->add_subcommand(name, help);
        sub->add_option("SERIAL", serial, "Serial number")->required();
        sub->callback([&request, &serial, name] {
            request = {{"command", "eeprom"}, {"serialNumber", serial}, {"action", name}};
        });
        return sub;
    };
    eepromAction("show", "Scales and offsets of the sensor axes");
    eepromAction("dump", "Write the image as it is kept")
        ->add_option("FILE", dumpFile, "Target file")
        ->required();
    eepromAction("erase", "Make the calibration neutral");

    CLI::App* watch =
        command("watch", "Show true values and what the program has read, line by line");
    int count = 0;
    double interval = 0.5;
    watch->add_option("SERIAL", serial, "Serial number; by default all plugged cameras");
    watch->add_option("--count", count, "Number of times, 0 for ever")->capture_default_str();
    watch->add_option("--interval", interval, "Seconds between two")
        ->capture_default_str()
        ->check(CLI::Range(0.01, 3600.0));
    watch->callback([&] { request = {{"command", "list"}}; });

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int code = app.exit(error);
        return code == 0 ? DONE : USAGE;
    }

    std::string problem;
    auto client = om::bench::BenchClient::connect(socket, problem);
    if (!client) {
        std::cerr << "om-bench: " << problem << "\n";
        return NO_BENCH;
    }

    for (int round = 1;; ++round) {
        json answer;
        if (!client->ask(request, answer, problem)) {
            std::cerr << "om-bench: " << problem << "\n";
            return NO_BENCH;
        }
        if (!answer.value("ok", false)) {
            std::cerr << "om-bench: " << answer.value("error", "refused without a reason") << "\n";
            return REFUSED;
        }
        if (!watch->parsed()) {
            if (eeprom->parsed() && !dumpFile.empty()) {
                const std::string image = om::bench::fromHex(answer.at("image").get<std::string>());
                std::ofstream out(dumpFile, std::ios::binary | std::ios::trunc);
                out.write(image.data(), static_cast<std::streamsize>(image.size()));
                out.close();
                if (!out) {
                    std::cerr << "om-bench: " << dumpFile << ": cannot be written\n";
                    return REFUSED;
                }
            }
            if (asJson) {
                std::cout << answer.dump(2) << "\n";
            } else if (answer.contains("cameras")) {
                printCameras(answer.at("cameras"));
            } else if (answer.contains("scale") && dumpFile.empty()) {
                printCalibration(answer);
            } else if (answer.contains("field")) {
                const json& now = answer.at("field");
                std::cout << "strength " << now.at("strength") << " uT, inclination "
                          << now.at("inclination") << ", declination " << now.at("declination")
                          << "\n";
            } else if (answer.contains("temperature")) {
                std::cout << "temperature " << answer.at("temperature") << "\n";
            } else if (answer.contains("firmware")) {
                std::cout << "firmware " << answer.at("firmware") << "\n";
            } else if (answer.contains("faults")) {
                for (const auto& [name, value] : answer.at("faults").items()) {
                    std::cout << name << " " << value << "\n";
                }
            }
            return DONE;
        }

        bool found = false;
        for (const json& camera : answer.at("cameras")) {
            const bool wanted = serial == 0 ? camera.at("state") != "unplugged"
                                            : camera.at("serialNumber").get<unsigned>() == serial;
            if (wanted) {
                found = true;
                if (asJson) {
                    std::cout << camera.dump() << std::endl;
                } else {
                    printTruth(camera);
                }
            }
        }
        if (!found && serial != 0) {
            std::cerr << "om-bench: no camera with serial number " << serial << " on the bench\n";
            return REFUSED;
        }
        if (count > 0 && round >= count) {
            return DONE;
        }
        std::this_thread::sleep_for(std::chrono::duration<double>(interval));
    }
}
