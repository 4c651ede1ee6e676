#include "tools/command_line.h"

#include "base/one_line.h"
#include "tools/arguments.h"
#include "version/gravimon_version.h"

#include <CLI/CLI.hpp>

#include <array>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

namespace om::bench {

namespace {

using nlohmann::json;

constexpr int wrongUsage = 2;

class CommandLine
{
public:
    CommandLine()
    {
        m_app.require_subcommand(1);
        m_app.fallthrough(); // general options may follow a command
        m_app.get_formatter()->column_width(34);
        m_app
            .add_option("--socket", m_command.socket,
                        "Control socket, or the number of the process; by default the one "
                        "running bench is found")
            ->check(someText());
        m_app.add_flag("--json", m_command.asJson, "Print the bench's answer as JSON");
        m_app.set_version_flag("--version", std::string("om-bench ") + gravimonVersion);
        m_app.footer(
            "SERIAL is a camera's serial number, as in the list. Angles are in degrees.\n"
            "Exit status: 0 done, 1 refused, 2 wrong usage, 3 no running bench, 4 the bench "
            "reports a problem.");

        addList(*command("list", "Show the cameras with state, motion, samples and faults"));
        addAdd(*command("add", "Add a camera to the bench, plugged in"));
        takeSerial(*command("remove", "Remove a camera from the bench"));
        takeSerial(*command("plug", "Plug a camera in"));
        takeSerial(*command("unplug", "Unplug a camera"));
        addMotion(*command("motion", "Set how a camera moves"));
        addPose(*command("pose", "Turn a camera to a pose and hold it there"));
        addField(*command("field", "Show or set the geomagnetic field of the bench"));
        addDisturbance(
            *command("disturbance", "Set the strength of a magnetic disturbance at a camera"));
        addTemperature(*command("temperature", "Show or set the air's temperature at a camera"));
        addFirmware(*command("firmware", "Show or set a camera's firmware version"));
        addFault(*command("fault", "Show, set or clear faults of a camera"));
        addEeprom(*command(
            "eeprom", "Show, save or erase the magnetometer calibration in a camera's EEPROM"));
        addWatch(*command("watch", "Show true values and what the program has read, line by line"));
        addGenerate(*command("generate", "Write the samples of a camera of a bench file into a CSV "
                                         "file, without a running bench"));
    }

    std::optional<Command> read(int argc, const char* const* argv, int& status)
    {
        try {
            m_app.parse(argc, argv);
            return m_command;
        } catch (const CLI::ParseError& error) {
            if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
                status = m_app.exit(error); // help or version
            } else {
                status = wrongUsage;
                std::cerr << oneLine("om-bench: " + reason(error)) << "\n";
            }
            return std::nullopt;
        }
    }

private:
    CLI::App* command(const std::string& name, const std::string& help)
    {
        CLI::App* const sub = m_app.add_subcommand(name, help);
        sub->parse_complete_callback([this, name] { m_command.request["command"] = name; });
        return sub;
    }

    void addList(CLI::App& sub)
    {
        sub.add_flag("--all", m_command.all,
                     "Show the cameras of all running benches, each below its socket");
        sub.callback([this] {
            if (m_command.all && !m_command.socket.empty()) {
                throw CLI::ValidationError("--all", "takes no --socket");
            }
        });
    }

    void takeSerial(CLI::App& sub)
    {
        sub.add_option("SERIAL", m_serial, "Serial number")->required()->transform(serialNumber());
        sub.callback([this] { m_command.request["serialNumber"] = m_serial; });
    }

    void addAdd(CLI::App& sub)
    {
        sub.add_option("MODEL", m_model, "TIV, TIV_N, TIV_P, TIV_Q, TIV_R or TIV_S")->required();
        sub.add_option("SERIAL", m_serial, "Serial number")->required()->transform(serialNumber());
        sub.add_option("--id", m_id, "Camera id; by default the smallest that is free")
            ->transform(wholeNumber(0, 255));
        sub.add_option("--firmware", m_firmware, "Firmware version")
            ->transform(wholeNumber(0, 65535));
        sub.add_option("--motion", m_motion, "Motion at the start")->capture_default_str();
        CLI::Option* const replay =
            sub.add_option("--replay", m_replay, "CSV recording to play instead of the physics")
                ->check(someText());
        sub.add_flag("--once", m_once,
                     "End the recording at its last row instead of starting again")
            ->needs(replay);
        sub.add_flag("--unplugged", m_unplugged, "Do not plug it in");
        sub.callback([this] {
            json camera{{"model", m_model},
                        {"serialNumber", m_serial},
                        {"motion", m_motion},
                        {"plugged", !m_unplugged}};
            if (m_id) {
                camera["id"] = *m_id;
            }
            if (m_firmware) {
                camera["firmware"] = *m_firmware;
            }
            if (!m_replay.empty()) {
                // The program that plays it has another current folder.
                std::error_code problem;
                const auto path = std::filesystem::absolute(m_replay, problem);
                if (problem) {
                    throw CLI::ValidationError("--replay", "current folder: " + problem.message() +
                                                               "; give the whole path");
                }
                camera["replay"] = path.string();
                camera["replayLoop"] = !m_once;
            }
            m_command.request["camera"] = camera;
        });
    }

    void addMotion(CLI::App& sub)
    {
        takeSerial(sub);
        sub.add_option("MOTION", m_motion, "\"at rest\", hand-held, tumble, fall or posed")
            ->required();
        sub.callback([this] {
            m_command.request["serialNumber"] = m_serial;
            m_command.request["motion"] = m_motion;
        });
    }

    void addPose(CLI::App& sub)
    {
        takeSerial(sub);
        sub.add_option("HEADING", m_heading, "Clockwise from geographic north")
            ->required()
            ->check(number());
        sub.add_option("PITCH", m_pitch, "Nose up")->required()->check(number());
        sub.add_option("ROLL", m_roll, "Right side down")->required()->check(number());
        sub.add_option("--glide", m_glide, "Seconds that the turn takes")
            ->capture_default_str()
            ->check(number());
        sub.add_option("--spin", m_spin,
                       "Rates about the body's axes with which it continues to turn")
            ->expected(3)
            ->type_name("X Y Z")
            ->check(number());
        sub.callback([this] {
            json& request = m_command.request;
            request["serialNumber"] = m_serial;
            request["pose"] = {{"heading", m_heading}, {"pitch", m_pitch}, {"roll", m_roll}};
            request["glide"] = m_glide;
            if (!m_spin.empty()) {
                request["spin"] = m_spin;
            }
        });
    }

    void addField(CLI::App& sub)
    {
        sub.add_option("STRENGTH", m_field[0], "uT")->check(number());
        sub.add_option("INCLINATION", m_field[1], "Below the horizon")->check(number());
        sub.add_option("DECLINATION", m_field[2], "To the east")->check(number());
        sub.callback([this] {
            if (m_field[2]) {
                m_command.request["field"] = {{"strength", *m_field[0]},
                                              {"inclination", *m_field[1]},
                                              {"declination", *m_field[2]}};
            } else if (m_field[0]) {
                throw CLI::ValidationError(
                    "field", "takes strength, inclination and declination, or nothing");
            }
        });
    }

    void addDisturbance(CLI::App& sub)
    {
        takeSerial(sub);
        sub.add_option("STRENGTH", m_strength, "uT, 0 for none")->required()->check(number());
        sub.callback([this] {
            m_command.request = {{"command", "fault"},
                                 {"serialNumber", m_serial},
                                 {"faults", {{"magneticDisturbance", m_strength}}}};
        });
    }

    void addTemperature(CLI::App& sub)
    {
        takeSerial(sub);
        sub.add_option("CELSIUS", m_celsius,
                       "-40 to 85 degrees Celsius; the sensors follow with a time constant of 20 s")
            ->check(number());
        sub.callback([this] {
            m_command.request["serialNumber"] = m_serial;
            if (m_celsius) {
                m_command.request["temperature"] = *m_celsius;
            }
        });
    }

    void addFirmware(CLI::App& sub)
    {
        takeSerial(sub);
        sub.add_option("VERSION", m_firmware, "Effective when the program next opens the camera")
            ->transform(wholeNumber(0, 65535));
        sub.callback([this] {
            m_command.request["serialNumber"] = m_serial;
            if (m_firmware) {
                m_command.request["firmware"] = *m_firmware;
            }
        });
    }

    void addFault(CLI::App& sub)
    {
        takeSerial(sub);
        sub.add_option("NAME", m_faultName,
                       "Name of the fault, or \"none\" to clear all; without it all are shown")
            ->check(someText());
        CLI::Option* const value =
            sub.add_option("VALUE", m_faultText, "on, off, or the fault's number")
                ->capture_default_str();
        sub.callback([this, value] {
            m_command.request["serialNumber"] = m_serial;
            if (m_faultName == "none") {
                if (value->count() > 0) {
                    throw CLI::ValidationError("none", "takes no value");
                }
                m_command.request["clear"] = true;
            } else if (!m_faultName.empty()) {
                m_command.request["faults"] = {{m_faultName, faultValue(m_faultText)}};
            }
        });
    }

    void addEeprom(CLI::App& sub)
    {
        sub.require_subcommand(1);
        const auto action = [&](const std::string& name, const std::string& help) {
            CLI::App* const done = sub.add_subcommand(name, help);
            takeSerial(*done);
            done->callback([this, name] {
                m_command.request["serialNumber"] = m_serial;
                m_command.request["action"] = name;
            });
            return done;
        };
        action("show", "Show scales and offsets of the sensor axes");
        action("dump", "Write the stored image to a file")
            ->add_option("FILE", m_command.dumpFile, "Target file")
            ->required()
            ->check(someText());
        action("erase", "Make the calibration neutral");
    }

    void addGenerate(CLI::App& sub)
    {
        sub.add_option("BENCH", m_generate.benchFile, "Bench file")->required()->check(someText());
        sub.add_option("-o,--output", m_generate.file, "CSV file; must not exist yet")
            ->required()
            ->check(someText());
        sub.add_option("--hours", m_generate.hours, "Length of the recording")
            ->capture_default_str()
            ->check(number())
            ->check(CLI::Range(0.0001, 1000.0));
        sub.add_option("--camera", m_generate.serial,
                       "Serial number; by default the first camera of the bench file")
            ->transform(serialNumber());
        sub.callback([this] { m_command.generate = m_generate; });
    }

    void addWatch(CLI::App& sub)
    {
        sub.add_option("SERIAL", m_watch.serial, "Serial number; by default all plugged cameras")
            ->transform(serialNumber());
        sub.add_option("--count", m_watch.count, "Number of times, 0 for endless")
            ->capture_default_str()
            ->transform(wholeNumber(0, 1000000000));
        sub.add_option("--interval", m_watch.interval, "Seconds between two outputs")
            ->capture_default_str()
            ->check(number())
            ->check(CLI::Range(0.01, 3600.0));
        sub.callback([this] {
            m_command.request["command"] = "list";
            m_command.watch = m_watch;
        });
    }

    /// The mistake, and the command that prints the usage.
    std::string reason(const CLI::ParseError& error) const
    {
        const CLI::App* last = &m_app; // the innermost command that was recognised
        std::string name = "om-bench";
        while (!last->get_subcommands().empty()) {
            last = last->get_subcommands().front();
            name += " " + last->get_name();
        }
        std::string known;
        for (const CLI::App* const sub :
             last->get_subcommands([](const CLI::App*) { return true; })) {
            known += (known.empty() ? "" : ", ") + sub->get_name();
        }
        // An unknown argument is reported rather than the missing one.
        const std::vector<std::string> strange = m_app.remaining(true);
        std::string what = error.what();
        if (!known.empty()) {
            what =
                strange.empty() ? "a command is missing" : "no command \"" + strange.front() + "\"";
            what += "; there are " + known;
        } else if (!strange.empty()) {
            what = "\"" + strange.front() + "\" is not expected";
        }
        return what + "; see " + name + " --help";
    }

    CLI::App m_app{"Controls the virtual bench of a running Gravimon.", "om-bench"};
    Command m_command;

    // Filled by the options of the commands; only one command is read.
    unsigned int m_serial = 0;
    std::string m_model;
    std::string m_motion = "tumble";
    std::optional<int> m_id;
    std::optional<unsigned int> m_firmware;
    bool m_unplugged = false;
    std::string m_replay;
    bool m_once = false;
    double m_heading = 0.0;
    double m_pitch = 0.0;
    double m_roll = 0.0;
    double m_glide = 0.3;
    std::vector<double> m_spin;
    std::array<std::optional<double>, 3> m_field; ///< in the order of the arguments
    double m_strength = 0.0;
    std::optional<double> m_celsius;
    std::string m_faultName;
    std::string m_faultText = "on";
    Command::Watch m_watch;
    Command::Generate m_generate;
};

} // namespace

std::optional<Command> readCommandLine(int argc, const char* const* argv, int& status)
{
    return CommandLine().read(argc, argv, status);
}

} // namespace om::bench
