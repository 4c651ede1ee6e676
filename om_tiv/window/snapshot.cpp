#include "window/snapshot.h"

#include "world/degrees.h"

#include <algorithm>
#include <string>

namespace benchwindow {

namespace {

using nlohmann::json;

constexpr double radians = om::bench::toRadians(1.0);

om::bench::Vector vectorOf(const json& value, double scale = 1.0)
{
    return {scale * value.at(0).get<double>(), scale * value.at(1).get<double>(),
            scale * value.at(2).get<double>()};
}

QString textOf(const json& value)
{
    return QString::fromStdString(value.get<std::string>());
}

} // namespace

const CameraView* Snapshot::find(unsigned int serial) const
{
    const auto found = std::find_if(cameras.begin(), cameras.end(),
                                    [&](const CameraView& c) { return c.serial == serial; });
    return found == cameras.end() ? nullptr : &*found;
}

namespace {

bool isSame(const CameraView& a, const CameraView& b)
{
    using om::bench::isSame;
    return a.serial == b.serial && a.model == b.model && a.state == b.state &&
           a.motion == b.motion && a.firmware == b.firmware && a.temperature == b.temperature &&
           isSame(a.pose, b.pose) && isSame(a.angularVelocity, b.angularVelocity) &&
           a.heading == b.heading && isSame(a.field, b.field) && a.faults == b.faults;
}

} // namespace

bool isSame(const Snapshot& a, const Snapshot& b)
{
    return a.ticket == b.ticket && a.complaints == b.complaints &&
           a.field.strength == b.field.strength && a.field.inclination == b.field.inclination &&
           a.field.declination == b.field.declination &&
           std::equal(a.cameras.begin(), a.cameras.end(), b.cameras.begin(), b.cameras.end(),
                      [](const CameraView& x, const CameraView& y) { return isSame(x, y); });
}

Snapshot readSnapshot(const json& list, const json& field)
{
    Snapshot snapshot;
    for (const json& camera : list.at("cameras")) {
        CameraView view;
        view.serial = camera.at("serialNumber").get<unsigned int>();
        view.model = textOf(camera.at("model"));
        view.state = textOf(camera.at("state"));
        view.motion = textOf(camera.at("motion"));
        view.firmware = camera.at("firmware").get<unsigned int>();
        view.temperature = camera.at("temperature").get<double>();
        view.faults = camera.at("faults");
        const json& truth = camera.at("truth");
        const json& pose = truth.at("pose");
        view.pose = om::bench::normalized({pose.at(3).get<double>(), pose.at(0).get<double>(),
                                           pose.at(1).get<double>(), pose.at(2).get<double>()});
        view.angularVelocity = vectorOf(truth.at("angularVelocity"), radians);
        view.heading = truth.at("heading").get<double>();
        view.field = vectorOf(truth.at("field"));
        snapshot.cameras.push_back(std::move(view));
    }
    for (const json& complaint : list.value("complaints", json::array())) {
        snapshot.complaints << textOf(complaint);
    }
    const json& values = field.at("field");
    snapshot.field.strength = values.at("strength").get<double>();
    snapshot.field.inclination = values.at("inclination").get<double>();
    snapshot.field.declination = values.at("declination").get<double>();
    return snapshot;
}

} // namespace benchwindow
