// om-bench: control of the virtual bench of a running program, from the command line.
//
// Exit status: 0 done, 1 refused by the bench, 2 wrong usage, 3 no running bench.

#include "tools/bench_client.h"
#include "tools/command_line.h"

#include "bench/hex.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <thread>

using nlohmann::json;
using om::bench::BenchClient;
using om::bench::Order;

namespace {

enum Exit { DONE = 0, REFUSED = 1, NO_BENCH = 3 };

int fail(Exit status, const std::string& reason)
{
    std::cerr << "om-bench: " << reason << "\n";
    return status;
}

// ---- Output -------------------------------------------------------------------------------------

std::string fixed(double value, int width, int precision)
{
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%*.*f", width, precision, value);
    return text.data();
}

std::string padded(const std::string& text, std::size_t width)
{
    return text + std::string(text.size() < width ? width - text.size() : 0, ' ');
}

/// Three numbers, or dashes where there is no such sensor.
std::string triple(const json& values, int width, int precision)
{
    std::string text;
    for (std::size_t i = 0; i < 3; ++i) {
        text += i == 0 ? "" : " ";
        text += values.is_array() ? fixed(values.at(i), width, precision)
                                  : std::string(static_cast<std::size_t>(width) - 1, ' ') + "-";
    }
    return text;
}

void printCameras(const json& cameras)
{
    std::array<char, 160> line;
    std::snprintf(line.data(), line.size(), "%-10s %-6s %3s  %-10s %-9s %9s %9s  ", "SERIAL",
                  "MODEL", "ID", "STATE", "MOTION", "PRODUCED", "READ");
    std::cout << line.data() << "FAULTS\n";
    for (const json& camera : cameras) {
        std::string faults;
        for (const auto& [name, value] : camera.at("faults").items()) {
            faults += (faults.empty() ? "" : ",") + name;
            if (!value.is_boolean()) {
                faults += "=" + value.dump();
            }
        }
        std::snprintf(line.data(), line.size(), "%-10u %-6s %3d  %-10s %-9s %9llu %9llu  ",
                      camera.at("serialNumber").get<unsigned>(),
                      camera.at("model").get<std::string>().c_str(), camera.at("id").get<int>(),
                      camera.at("state").get<std::string>().c_str(),
                      camera.at("motion").get<std::string>().c_str(),
                      camera.at("samplesProduced").get<unsigned long long>(),
                      camera.at("samplesRead").get<unsigned long long>());
        std::cout << line.data() << (faults.empty() ? "-" : faults) << "\n";
    }
}

/// One line of what is true, and below it one of what the program was given last.
void printTruth(const json& camera)
{
    const auto values = [](const json& of) {
        return "  field uT " + triple(of.at("field"), 7, 2) + "  acc m/s^2 " +
               triple(of.at("specificForce"), 7, 3) + "  gyro deg/s " +
               triple(of.at("angularVelocity"), 7, 2);
    };
    const std::string name = std::to_string(camera.at("serialNumber").get<unsigned>()) + " " +
                             padded(camera.at("state").get<std::string>(), 9);
    const json& truth = camera.at("truth");
    std::cout << name << "  true  " << padded("heading " + fixed(truth.at("heading"), 6, 2), 14)
              << values(truth) << "\n";
    if (const json& reading = camera.at("reading"); !reading.is_null()) {
        std::cout << name << "  read  " << padded("", 14) << values(reading) << "  samples "
                  << camera.at("samplesRead") << "/" << camera.at("samplesProduced") << "\n";
    }
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

void printAnswer(const json& answer, const Order& order)
{
    if (order.asJson) {
        std::cout << answer.dump(2) << "\n";
    } else if (answer.contains("cameras")) {
        printCameras(answer.at("cameras"));
    } else if (answer.contains("scale") && order.dumpFile.empty()) {
        printCalibration(answer);
    } else if (answer.contains("field")) {
        const json& now = answer.at("field");
        std::cout << "strength " << now.at("strength") << " uT, inclination "
                  << now.at("inclination") << ", declination " << now.at("declination") << "\n";
    } else if (answer.contains("temperature")) {
        std::cout << "temperature " << answer.at("temperature") << "\n";
    } else if (answer.contains("firmware")) {
        std::cout << "firmware " << answer.at("firmware") << "\n";
    } else if (answer.contains("faults")) {
        for (const auto& [name, value] : answer.at("faults").items()) {
            std::cout << name << " " << value << "\n";
        }
    }
}

/// @return whether there was a camera to show
bool printWatched(const json& cameras, const Order& order)
{
    bool found = false;
    for (const json& camera : cameras) {
        const auto& serial = order.watch->serial;
        const bool wanted = serial ? camera.at("serialNumber").get<unsigned>() == *serial
                                   : camera.at("state") != "unplugged";
        if (wanted) {
            found = true;
            if (order.asJson) {
                std::cout << camera.dump() << "\n";
            } else {
                printTruth(camera);
            }
        }
    }
    return found;
}

int flushed()
{
    std::cout.flush();
    return std::cout ? DONE : fail(REFUSED, "standard output can't be written");
}

bool writeImage(const json& answer, const std::string& path)
{
    const std::string image = om::bench::fromHex(answer.at("image").get<std::string>());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(image.data(), static_cast<std::streamsize>(image.size()));
    out.close();
    return static_cast<bool>(out);
}

// ---- Dialogue with the bench --------------------------------------------------------------------

/// DONE with the answer, or the exit status with the reason on standard error.
int ask(BenchClient& client, const json& request, json& answer)
{
    std::string problem;
    if (!client.ask(request, answer, problem)) {
        return fail(NO_BENCH, problem);
    }
    return answer.value("ok", false)
               ? DONE
               : fail(REFUSED, answer.value("error", "refused without a reason"));
}

int askOnce(BenchClient& client, const Order& order)
{
    json answer;
    if (const int status = ask(client, order.request, answer); status != DONE) {
        return status;
    }
    if (!order.dumpFile.empty() && !writeImage(answer, order.dumpFile)) {
        return fail(REFUSED, order.dumpFile + ": cannot be written");
    }
    printAnswer(answer, order);
    return flushed();
}

int watch(BenchClient& client, const Order& order)
{
    const Order::Watch& wanted = *order.watch;
    for (int round = 1;; ++round) {
        json answer;
        if (const int status = ask(client, order.request, answer); status != DONE) {
            return status;
        }
        if (!printWatched(answer.at("cameras"), order) && wanted.serial) {
            return fail(REFUSED, "no camera with serial number " + std::to_string(*wanted.serial) +
                                     " on the bench");
        }
        if (const int status = flushed(); status != DONE || round == wanted.count) {
            return status;
        }
        std::this_thread::sleep_for(std::chrono::duration<double>(wanted.interval));
    }
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what is out of memory ends here
int main(int argc, char** argv)
{
    int status = DONE;
    const auto order = om::bench::readCommandLine(argc, argv, status);
    if (!order) {
        return status;
    }
    std::string problem;
    const auto client = BenchClient::connect(order->socket, problem);
    if (!client) {
        return fail(NO_BENCH, problem);
    }
    return order->watch ? watch(*client, *order) : askOnce(*client, *order);
}
