#include "control/control.h"

#include "base/bytes.h"
#include "base/json_depth.h"
#include "base/one_line.h"
#include "bench/bench.h"
#include "bench/bench_file.h"
#include "bench/eeprom_store.h"
#include "bench/loader.h"
#include "bench/virtual_camera.h"
#include "control/camera_json.h"
#include "control/new_camera.h"
#include "control/request_values.h"
#include "world/degrees.h"
#include "world/ranges.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>
#include <utility>

namespace om::bench {

namespace {

using nlohmann::json;

constexpr range::Range glideRange{0.0, 600.0};                ///< s
constexpr range::Range stepRange{0.0, 3600.0};                ///< s
constexpr Nanoseconds latestTime = 7'258'118'400'000'000'000; ///< the year 2200
constexpr double fastestSpin = 1000.0; ///< degrees per second, range of the gyroscope

class Request
{
public:
    Request(Bench& bench, const json& request) : m_bench(bench), m_request(request) {}

    json answer()
    {
        struct Command
        {
            const char* name;
            json (Request::*run)();
        };
        static constexpr Command commands[] = {
            {"list", &Request::list},         {"add", &Request::add},
            {"remove", &Request::remove},     {"plug", &Request::plug},
            {"unplug", &Request::unplug},     {"motion", &Request::motion},
            {"pose", &Request::pose},         {"field", &Request::field},
            {"fault", &Request::fault},       {"temperature", &Request::temperature},
            {"firmware", &Request::firmware}, {"eeprom", &Request::eeprom},
            {"loading", &Request::loading},   {"clock", &Request::clock},
        };
        const std::string name = text(m_request, "command");
        std::string known;
        for (const Command& command : commands) {
            if (name == command.name) {
                json result = (this->*command.run)();
                result["ok"] = true;
                return result;
            }
            known += (known.empty() ? "" : ", ") + std::string(command.name);
        }
        throw Refusal("no command \"" + name + "\"; there are " + known);
    }

private:
    unsigned int serialNumber() const
    {
        const json& value = member(m_request, "serialNumber");
        if (!value.is_number_unsigned() || value.get<std::uint64_t>() > UINT32_MAX) {
            throw Refusal("\"serialNumber\" must be a whole number");
        }
        return value.get<unsigned int>();
    }

    std::shared_ptr<VirtualCamera> camera() const
    {
        const unsigned int serial = serialNumber();
        auto found = m_bench.camera(serial);
        if (!found) {
            throw Refusal("no camera with serial number " + std::to_string(serial) +
                          " on the bench");
        }
        return found;
    }

    /// A camera that can be moved: not one that plays a recording.
    std::shared_ptr<VirtualCamera> movableCamera() const
    {
        auto found = camera();
        if (found->playsRecording()) {
            throw Refusal(std::to_string(found->serialNumber()) + " plays a recording");
        }
        return found;
    }

    json list()
    {
        json cameras = json::array();
        json complaints = json::array();
        if (const std::string problem = m_bench.problem(); !problem.empty()) {
            complaints.push_back(oneLine("the bench file was not loaded: " + problem +
                                         "; correct the file and start the program again"));
        }
        for (const CameraStatus& status : m_bench.status()) {
            const auto device = m_bench.camera(status.serialNumber);
            if (!device) {
                continue; // removed in the meantime
            }
            cameras.push_back(cameraAsJson(m_bench, status, *device));
            if (const std::string complaint = device->storageComplaint(); !complaint.empty()) {
                complaints.push_back(oneLine(complaint));
            }
        }
        json answer = {{"cameras", cameras}};
        if (const std::string problem = m_bench.problem(); !problem.empty()) {
            answer["problem"] = problem;
        }
        if (!complaints.empty()) {
            answer["complaints"] = complaints;
        }
        if (const auto part = m_bench.loader().part(); part) {
            answer["loading"] = *part;
        }
        return answer;
    }

    json add()
    {
        BenchDescription description = describeCamera(member(m_request, "camera"));
        const unsigned int serial = description.cameras.front().serialNumber;
        checkRoomFor(description.cameras.front(), m_bench);
        if (description.replays.empty()) {
            if (!m_bench.addCamera(description.cameras.front())) {
                throw Refusal(duplicateSerialText(serial));
            }
            return json::object();
        }
        Bench& bench = m_bench;
        m_bench.loader().start(
            std::move(description), cameraSource,
            [&bench, serial](const BenchDescription& read, const std::string& error) {
                if (!error.empty()) {
                    return withoutPlace(error);
                }
                return bench.addCamera(read.cameras.front()) ? std::string()
                                                             : duplicateSerialText(serial);
            });
        return {{"loading", 0.0}};
    }

    json loading()
    {
        const auto status = m_bench.loader().takeStatus(serialNumber());
        if (!status) {
            camera();
            return json::object();
        }
        if (!status->error.empty()) {
            throw Refusal(status->error);
        }
        return status->reading ? json{{"loading", status->part}} : json::object();
    }

    json remove()
    {
        const unsigned int serial = serialNumber();
        if (m_bench.loader().cancel(serial)) {
            return json::object();
        }
        // The loader's work ends a moment after its cameras are on the bench.
        if (!m_bench.camera(serial) && m_bench.loader().isReading(serial)) {
            throw Refusal("the recordings of the bench file are still being read; remove " +
                          std::to_string(serial) + " afterwards");
        }
        m_bench.removeCamera(camera()->serialNumber());
        return json::object();
    }

    json plug()
    {
        const auto target = camera();
        if (target->isPlugged()) {
            throw Refusal(std::to_string(target->serialNumber()) + " is plugged in");
        }
        m_bench.plug(target->serialNumber());
        return json::object();
    }

    json unplug()
    {
        const auto target = camera();
        if (!target->isPlugged()) {
            throw Refusal(std::to_string(target->serialNumber()) + " is not plugged in");
        }
        m_bench.unplug(target->serialNumber());
        return json::object();
    }

    json motion()
    {
        const auto target = movableCamera();
        const std::string name = text(m_request, "motion");
        MOTION value = MOTION::AT_REST;
        if (!motionFromName(name, value)) {
            throw Refusal("no motion \"" + name +
                          R"("; there are "at rest", "hand-held", "tumble", "fall", "posed")");
        }
        m_bench.setMotion(target->serialNumber(), value);
        return json::object();
    }

    json pose()
    {
        const auto target = movableCamera();
        const json& angles = member(m_request, "pose");
        if (!angles.is_object()) {
            throw Refusal("\"pose\" must be an object");
        }
        const Quaternion value =
            angles.contains("quaternion")
                ? quaternion(angles)
                : fromHeading(number(angles, "heading", range::heading) / degreesPerRadian,
                              number(angles, "pitch", range::pitch) / degreesPerRadian,
                              number(angles, "roll", range::roll) / degreesPerRadian);
        const double glide =
            m_request.contains("glide") ? number(m_request, "glide", glideRange) : 0.3;
        Vector spin;
        if (m_request.contains("spin")) {
            const auto rates = numbers<3>(m_request, "spin", fastestSpin);
            spin = (1.0 / degreesPerRadian) * Vector{rates[0], rates[1], rates[2]};
        }
        target->setPose(value, std::chrono::nanoseconds(std::llround(glide * 1e9)), spin);
        return json::object();
    }

    json temperature()
    {
        const auto target = m_request.contains("temperature") ? movableCamera() : camera();
        if (m_request.contains("temperature")) {
            target->setAirTemperature(number(m_request, "temperature", range::airTemperature));
        }
        return {{"temperature", target->airTemperature()}};
    }

    json firmware()
    {
        const auto target = camera();
        if (m_request.contains("firmware")) {
            const double version = number(m_request, "firmware", range::firmware);
            if (version != std::floor(version)) {
                throw Refusal("\"firmware\" must be a whole number");
            }
            target->setFirmwareVersion(static_cast<unsigned int>(version));
        }
        return {{"firmware", target->firmwareVersion()}};
    }

    json field()
    {
        Field value = m_bench.field();
        if (m_request.contains("field")) {
            const json& given = m_request.at("field");
            if (!given.is_object()) {
                throw Refusal("\"field\" must be an object");
            }
            value.strength = number(given, "strength", range::fieldStrength);
            value.inclination = number(given, "inclination", range::fieldInclination);
            value.declination = number(given, "declination", range::fieldDeclination);
            m_bench.setField(value);
        }
        return {{"field",
                 {{"strength", value.strength},
                  {"inclination", value.inclination},
                  {"declination", value.declination}}}};
    }

    json fault()
    {
        const auto target = camera();
        const bool clear = flag(m_request, "clear");
        const json given = m_request.value("faults", json::object());
        if (!given.is_object()) {
            throw Refusal("\"faults\" must be an object");
        }
        if (clear || !given.empty()) {
            // In one step, so that a fault that counts down at the same time is not reset.
            target->changeFaults([&](Faults& faults) {
                json wanted = allFaultsAsJson(clear ? Faults() : faults);
                wanted.update(given);
                faults =
                    describeCamera({{"model", "TIV_Q"}, {"serialNumber", 1}, {"faults", wanted}})
                        .cameras.front()
                        .faults;
            });
        }
        return {{"faults", allFaultsAsJson(target->faults())}};
    }

    json clock()
    {
        Clock& clock = m_bench.clock();
        const bool stopped =
            m_request.contains("stopped") ? flag(m_request, "stopped") : clock.isManual();
        const bool moved = m_request.contains("advance");
        const double step = moved ? number(m_request, "advance", stepRange) : 0.0;
        if (moved && !stopped) {
            throw Refusal("the clock is not stopped");
        }
        if (moved && clock.now() > latestTime) {
            throw Refusal("the clock has reached the end of its range, the year 2200");
        }
        if (m_request.contains("stopped")) {
            stopped ? clock.setManual() : clock.setReal();
        }
        if (moved) {
            clock.advance(static_cast<Nanoseconds>(std::llround(step * 1e9)));
        }
        return {{"stopped", clock.isManual()},
                {"time", clock.now()},
                {"cameras", samplesAsJson(m_bench)}};
    }

    json eeprom()
    {
        const auto target = camera();
        const std::string action = text(m_request, "action");
        if (action == "erase") {
            if (!m_bench.storeCalibration(target->serialNumber(), MagCalibration())) {
                throw Refusal("the image could not be written, and the calibration is as it was; "
                              "the answer of \"list\" has the reason");
            }
        } else if (action == "dump") {
            const EepromStore store;
            std::string problem;
            const std::string image = store.image(target->serialNumber(), problem);
            if (!problem.empty()) {
                throw Refusal(problem);
            }
            return {{"image", toHex(image)}, {"path", store.path(target->serialNumber())}};
        } else if (action != "show") {
            throw Refusal("no action \"" + action + R"("; there are "show", "dump", "erase")");
        }
        const MagCalibration calibration = m_bench.calibration(target->serialNumber());
        return {{"scale", calibration.scale},
                {"offset", calibration.offset},
                {"neutral", calibration.isNeutral()}};
    }

    Bench& m_bench;
    const json& m_request;
};

} // namespace

std::string answerControl(Bench& bench, const std::string& request)
{
    json answer;
    try {
        json parsed;
        if (parseBounded(request, parsed) == JsonText::TOO_DEEP) {
            throw Refusal("nested too deeply");
        }
        if (!parsed.is_object()) {
            throw Refusal("a request is a JSON object on one line");
        }
        answer = Request(bench, parsed).answer();
    } catch (const std::exception& refusal) {
        // Refusals quote the request and may be printed on a terminal.
        answer = {{"ok", false}, {"error", oneLine(refusal.what())}};
    }
    return answer.dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace om::bench
