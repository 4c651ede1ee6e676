#include "replay/sensor_recording.h"

#include "base/files.h"
#include "base/one_line.h"
#include "replay/line_cutter.h"
#include "replay/recording_parser.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <sys/stat.h>

namespace om::bench {

namespace {

constexpr std::uint64_t mostBytes = 512U * 1024 * 1024;
constexpr std::size_t pieceBytes = 1024 * 1024; ///< read at once

} // namespace

SensorRecording::Row SensorRecording::row(std::size_t index) const
{
    Row row;
    row.time = m_times[index];
    if (hasAcceleration) {
        row.acceleration = m_acceleration[index];
    }
    if (hasAngularVelocity) {
        row.angularVelocity = m_angularVelocity[index];
    }
    if (hasMagneticField) {
        const auto after =
            std::upper_bound(m_magnetometerRows.begin(), m_magnetometerRows.end(), index);
        if (after != m_magnetometerRows.begin()) {
            row.magneticField =
                m_magneticField[static_cast<std::size_t>(after - m_magnetometerRows.begin()) - 1];
        }
    }
    if (hasEulerAngles) {
        row.eulerAngles = m_eulerAngles[index];
    }
    if (hasBarometer) {
        row.pressure = m_air[index][0];
        row.relativeAltitude = m_air[index][1];
    }
    if (hasMovingState) {
        row.movingState = m_movingStates[index];
    }
    if (hasTemperatures) {
        row.temperatures = m_temperatures[index];
    }
    return row;
}

std::size_t SensorRecording::bytes() const
{
    const auto of = [](const auto& column) { return column.capacity() * sizeof column[0]; };
    return of(m_times) + of(m_acceleration) + of(m_angularVelocity) + of(m_magneticField) +
           of(m_eulerAngles) + of(m_air) + of(m_movingStates) + of(m_temperatures) +
           of(m_magnetometerRows) + of(m_barometerRows);
}

std::shared_ptr<const SensorRecording>
SensorRecording::read(const std::string& path, std::string& report, ReadingProgress* progress)
{
    std::string reason;
    const Descriptor file = openRegularFile(path, reason);
    struct stat status = {};
    if (!file.valid() || ::fstat(file.get(), &status) != 0) {
        report = oneLine(path + ": cannot be read: " +
                         (file.valid() ? std::generic_category().message(errno) : reason));
        return nullptr;
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size > mostBytes) {
        report = oneLine(path) + ": larger than a recording may be (512 MiB)";
        return nullptr;
    }
    // In pieces, not mapped: if the file is truncated in the meantime, only the reading ends, not
    // the program.
    RecordingParser parser(path);
    parser.expect(size);
    LineCutter lines(longestLine);
    const auto take = [&parser](const Line& line) { parser.take(line); };
    std::vector<char> piece(pieceBytes);
    std::uint64_t have = 0; // of a growing file only its initial content is read
    while (have < size && !parser.hasNoHeader()) {
        if (progress != nullptr && progress->cancelled.load()) {
            report.clear();
            return nullptr;
        }
        const auto wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), size - have));
        const auto got = readFully(file, piece.data(), wanted);
        if (!got) {
            report = oneLine(path + ": cannot be read: " + std::generic_category().message(errno));
            return nullptr;
        }
        if (*got == 0) {
            break;
        }
        have += *got;
        lines.feed({piece.data(), *got}, take);
        if (progress != nullptr) {
            progress->read.fetch_add(*got);
        }
    }
    lines.finish(take);
    return parser.finish(report);
}

std::shared_ptr<const SensorRecording>
SensorRecording::parse(const std::string& text, const std::string& name, std::string& report)
{
    RecordingParser parser(name);
    parser.expect(text.size());
    LineCutter lines(longestLine);
    const auto take = [&parser](const Line& line) { parser.take(line); };
    lines.feed(text, take);
    lines.finish(take);
    return parser.finish(report);
}

} // namespace om::bench
