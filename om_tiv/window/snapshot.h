/// @file
/// The state of a bench, as the window shows it.
#pragma once

#include "world/geometry.h"

#include <QString>
#include <QStringList>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <vector>

namespace benchwindow {

// NOLINTNEXTLINE(bugprone-exception-escape): the JSON object's move asserts, it does not throw
struct CameraView
{
    unsigned int serial = 0;
    QString model;
    QString state;  ///< "unplugged", "plugged", "open" or "streaming"
    QString motion; ///< as in a bench file
    unsigned int firmware = 0;
    double temperature = 0.0; ///< degrees Celsius, of the air
    om::bench::Quaternion pose;
    om::bench::Vector angularVelocity; ///< rad/s, body frame
    double heading = 0.0;              ///< degrees clockwise from magnetic north
    om::bench::Vector field;           ///< uT, body frame
    nlohmann::json faults; ///< the ones that are not neutral, by the keys of bench files

    bool isPlugged() const { return state != QLatin1String("unplugged"); }
};

struct Snapshot
{
    std::uint64_t ticket = 0; ///< all requests up to this one had been executed
    std::vector<CameraView> cameras;
    om::bench::Field field;
    QStringList complaints; ///< of the bench, each one line with what to do

    const CameraView* find(unsigned int serial) const;
};

bool isSame(const Snapshot& a, const Snapshot& b);

/// Reads the answers to "list" and "field". Throws nlohmann::json::exception if they are not valid
/// answers of a bench.
Snapshot readSnapshot(const nlohmann::json& list, const nlohmann::json& field);

} // namespace benchwindow
