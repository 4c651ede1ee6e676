#include "tools/om_bench.h"

#include "base/bytes.h"
#include "base/files.h"
#include "base/one_line.h"
#include "control/bench_client.h"
#include "tools/answer_text.h"
#include "tools/generate_from_file.h"
#include "tools/text.h"
#include "world/eeprom_image.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <iostream>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <unistd.h>

namespace om::bench {

using nlohmann::json;

namespace {

int fail(Exit status, const std::string& reason)
{
    std::cerr << oneLine("om-bench: " + reason) << "\n";
    return status;
}

int write(const Text& out)
{
    std::cout << out.text() << std::flush;
    return std::cout ? DONE : fail(REFUSED, "standard output cannot be written");
}

/// Only a valid image of this camera is written to the file.
int writeImage(const json& answer, const Command& command)
{
    const std::string image = fromHex(answer.at("image").get<std::string>());
    const std::string damage =
        imageDamage(image, command.request.at("serialNumber").get<unsigned int>());
    if (!damage.empty()) {
        return fail(REFUSED, "the image from the bench is damaged: " + damage);
    }
    // A file size limit then only makes the write fail.
    std::signal(SIGXFSZ, SIG_IGN);
    if (!replaceContent(command.dumpFile, image)) {
        return fail(REFUSED, command.dumpFile +
                                 ": cannot be written: " + std::generic_category().message(errno));
    }
    return DONE;
}

/// DONE with the answer, or the exit status after printing the reason to standard error.
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

/// Waits until a camera has read its recording, and shows the progress on a terminal.
int awaitRecording(BenchClient& client, const Command& command, json& answer)
{
    const bool shown = ::isatty(STDERR_FILENO) != 0;
    const json request{{"command", "loading"},
                       {"serialNumber", command.request.at("camera").at("serialNumber")}};
    int status = DONE;
    while (status == DONE && answer.contains("loading")) {
        if (shown) {
            std::cerr << "\rreading the recording: "
                      << fixed(100.0 * answer.at("loading").get<double>(), 3, 0) << " %"
                      << std::flush;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (shown) {
            std::cerr << "\r\x1b[K" << std::flush;
        }
        status = ask(client, request, answer);
    }
    return status;
}

/// Prints to standard error the problems of the bench, and why cameras may be missing in the list.
/// @return PROBLEMS or DONE
int reportState(const json& answer)
{
    int status = DONE;
    if (answer.contains("complaints")) {
        for (const json& complaint : elements(answer, "complaints")) {
            status = fail(PROBLEMS, complaint.get<std::string>());
        }
    }
    if (answer.contains("loading")) {
        std::cerr << "om-bench: recordings are being read, "
                  << fixed(100.0 * answer.at("loading").get<double>(), 0, 0) << " % so far\n";
    }
    return status;
}

int askOnce(BenchClient& client, const Command& command)
{
    json answer;
    if (const int status = ask(client, command.request, answer); status != DONE) {
        return status;
    }
    if (command.request.at("command") == "add") {
        if (const int status = awaitRecording(client, command, answer); status != DONE) {
            return status;
        }
    }
    if (!command.dumpFile.empty()) {
        if (const int status = writeImage(answer, command); status != DONE) {
            return status;
        }
    }
    Text out;
    addAnswer(out, answer, command);
    if (const int status = write(out); status != DONE) {
        return status;
    }
    return reportState(answer);
}

/// The answer of one of several benches, and its cameras as a text. None if the program has ended
/// meanwhile, or after printing the reason with the path to standard error and raising the exit
/// status.
std::optional<json> askOneOfAll(const std::string& path, const Command& command, Text& cameras,
                                int& status)
{
    const auto failed = [&](Exit how, const std::string& reason) {
        status = std::max(status, fail(how, reason));
        return std::nullopt;
    };
    std::string problem;
    json answer;
    const auto client = BenchClient::connect(path, problem, BenchClient::WAIT::NO);
    if (!client || !client->ask(command.request, answer, problem)) {
        const std::vector<std::string> now = BenchClient::running();
        const bool ended = std::find(now.begin(), now.end(), path) == now.end();
        return ended ? std::nullopt : failed(NO_BENCH, client ? path + ": " + problem : problem);
    }
    try {
        if (!answer.value("ok", false)) {
            return failed(REFUSED, path + ": " + answer.value("error", "refused without a reason"));
        }
        addCameras(cameras, elements(answer, "cameras"));
    } catch (const json::exception&) {
        return failed(NO_BENCH, path + ": " + invalidAnswer);
    }
    return answer;
}

/// The answers of all running benches, each below its socket.
int listAll(const Command& command)
{
    int status = DONE;
    Text out;
    json benches = json::array();
    for (const std::string& path : BenchClient::running()) {
        Text cameras;
        std::optional<json> answer = askOneOfAll(path, command, cameras, status);
        if (!answer) {
            continue; // the others are listed all the same
        }
        if (!benches.empty()) {
            out.add("");
        }
        out.add(path);
        out.add(cameras);
        (*answer)["socket"] = path;
        benches.push_back(*answer);
    }
    if (benches.empty()) {
        return status != DONE ? status : fail(NO_BENCH, noRunningBench());
    }
    if (command.asJson) {
        out = Text();
        out.addJson({{"benches", benches}}, 2);
    }
    status = std::max(status, write(out));
    int problems = DONE;
    for (const json& bench : benches) {
        try {
            problems = std::max(problems, reportState(bench));
        } catch (const json::exception&) {
            status = std::max(status, fail(NO_BENCH, bench.at("socket").get<std::string>() + ": " +
                                                         invalidAnswer));
        }
    }
    return status != DONE ? status : problems; // with PROBLEMS the list is complete
}

int watch(BenchClient& client, const Command& command)
{
    const Command::Watch& wanted = *command.watch;
    for (int round = 1;; ++round) {
        json answer;
        if (const int status = ask(client, command.request, answer); status != DONE) {
            return status;
        }
        Text out;
        if (!addWatched(out, elements(answer, "cameras"), command) && wanted.serial) {
            return fail(REFUSED, "no camera with serial number " + std::to_string(*wanted.serial) +
                                     " on the bench");
        }
        if (const int status = write(out); status != DONE || round == wanted.count) {
            return status;
        }
        std::this_thread::sleep_for(std::chrono::duration<double>(wanted.interval));
    }
}

int generate(const Command& command)
{
    Generated generated;
    std::string problem;
    if (!generateFromFile(*command.generate, generated, problem)) {
        return fail(REFUSED, problem);
    }
    const std::string& file = command.generate->file;
    Text out;
    if (command.asJson) {
        out.addJson({{"file", file},
                     {"serialNumber", generated.serialNumber},
                     {"rows", generated.rows},
                     {"seconds", generated.seconds}},
                    2);
    } else {
        out.add(file + ": " + std::to_string(generated.rows) + " rows of camera " +
                std::to_string(generated.serialNumber) + ", " + fixed(generated.seconds, 0, 3) +
                " s");
    }
    return write(out);
}

} // namespace

int run(const Command& command)
{
    if (command.generate) {
        return generate(command);
    }
    try {
        if (command.all) {
            return listAll(command);
        }
        std::string problem;
        const auto client = BenchClient::connect(command.socket, problem);
        if (!client) {
            return fail(NO_BENCH, problem);
        }
        return command.watch ? watch(*client, command) : askOnce(*client, command);
    } catch (const json::exception&) {
        return fail(NO_BENCH, invalidAnswer);
    }
}

} // namespace om::bench
