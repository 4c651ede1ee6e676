#include "replay/recording_parser.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>
#include <utility>

namespace om::bench {

namespace {

constexpr std::size_t mostEarlyRows = 100;
constexpr double nominalPeriod = 1.0 / 400.0;
/// s. Times are recorded in microseconds and are slightly rounded as numbers of that size; no
/// camera's samples have a smaller interval.
constexpr double leastStep = 0.5e-6;
constexpr double latestTime = 1e10; ///< s, positive or negative: the year 2286

bool isRow(std::string_view line)
{
    return !line.empty() && line.front() >= '0' && line.front() <= '9';
}

void split(std::string_view line, std::vector<std::string_view>& fields)
{
    fields.clear();
    for (;;) {
        const std::size_t comma = line.find(',');
        if (comma == std::string_view::npos) {
            break; // a comma follows every field, and the rest of the line has none
        }
        std::string_view field = line.substr(0, comma);
        while (!field.empty() && field.front() == ' ') {
            field.remove_prefix(1);
        }
        fields.push_back(field);
        line.remove_prefix(comma + 1);
    }
}

bool toNumber(std::string_view text, double& value)
{
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() &&
           std::isfinite(value);
}

/// Whether it can be a value of a sensor: all have single precision, also a pressure in Pa.
bool isSensorValue(double value)
{
    return std::abs(value) <= std::numeric_limits<float>::max() / 100.0;
}

struct ColumnName
{
    const char* name;
    int* place;
};

template <std::size_t N>
bool complete(const std::array<int, N>& places)
{
    return std::all_of(places.begin(), places.end(), [](int place) { return place >= 0; });
}

/// A piece of the file for a message.
std::string printable(std::string_view text)
{
    std::string piece(text.substr(0, 24));
    std::replace_if(
        piece.begin(), piece.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return piece + (text.size() > 24 ? "..." : "");
}

std::string shown(std::string_view text)
{
    return "\"" + printable(text) + "\"";
}

RecordingColumns columnsOf(const std::vector<std::string>& header)
{
    RecordingColumns at;
    const ColumnName names[] = {
        {"imu_Timestamp[sec]", &at.imuTime},      {"mag_Timestamp[sec]", &at.magTime},
        {"baro_Timestamp[sec]", &at.baroTime},    {"accX[m/s^2]", &at.acceleration[0]},
        {"accY[m/s^2]", &at.acceleration[1]},     {"accZ[m/s^2]", &at.acceleration[2]},
        {"gyroX[deg/s]", &at.angularVelocity[0]}, {"gyroY[deg/s]", &at.angularVelocity[1]},
        {"gyroZ[deg/s]", &at.angularVelocity[2]}, {"magX[uT]", &at.magneticField[0]},
        {"magY[uT]", &at.magneticField[1]},       {"magZ[uT]", &at.magneticField[2]},
        {"orX[deg]", &at.eulerAngles[0]},         {"orY[deg]", &at.eulerAngles[1]},
        {"orZ[deg]", &at.eulerAngles[2]},         {"press[hPa]", &at.pressure},
        {"rel_alt[m]", &at.relativeAltitude},     {"moving", &at.movingState},
        {"temp_imu[C]", &at.temperatures[0]},     {"temp_barom[C]", &at.temperatures[1]},
        {"temp_left[C]", &at.temperatures[2]},    {"temp_right[C]", &at.temperatures[3]}};
    for (std::size_t i = 1; i < header.size(); ++i) {
        for (const ColumnName& column : names) {
            if (header[i] == column.name) {
                *column.place = static_cast<int>(i);
            }
        }
    }
    return at;
}

/// Determines the sensors with complete columns, and reports those with missing columns.
void noteSensors(const RecordingColumns& at, SensorRecording& recording, RecordingReport& report)
{
    recording.hasAcceleration = complete(at.acceleration);
    recording.hasAngularVelocity = complete(at.angularVelocity);
    recording.hasMagneticField = complete(at.magneticField) && at.magTime >= 0;
    recording.hasEulerAngles = complete(at.eulerAngles);
    recording.hasBarometer = at.pressure >= 0 && at.baroTime >= 0;
    recording.hasMovingState = at.movingState >= 0;
    recording.hasTemperatures = complete(at.temperatures);
    const struct
    {
        bool there;
        const char* what;
    } sensors[] = {
        {recording.hasAcceleration, "accelerometer"}, {recording.hasAngularVelocity, "gyroscope"},
        {recording.hasMagneticField, "magnetometer"}, {recording.hasEulerAngles, "orientation"},
        {recording.hasBarometer, "barometer"},        {recording.hasMovingState, "moving state"},
        {recording.hasTemperatures, "temperatures"}};
    for (const auto& sensor : sensors) {
        if (!sensor.there) {
            report.lacks(sensor.what);
        }
    }
}

} // namespace

std::optional<double> RecordingPace::place(double time, std::size_t line, RecordingReport& report)
{
    if (std::abs(time) > latestTime) {
        report.leftOut(line, "has a time out of range");
        return std::nullopt;
    }
    const double step = m_before ? time - *m_before : nominalPeriod;
    if (step < leastStep && step > -SensorRecording::mostSetback) {
        report.leftOut(line, "does not come after the row before it");
        return std::nullopt;
    }
    if (!m_before) {
        m_shift = -time;
    } else if (step > SensorRecording::mostGap || step < 0.0) {
        // The clock was set, or one row has a wrong time: the rest is valid.
        report.jump(line);
        m_shift -= step - nominalPeriod;
    }
    m_before = time;
    return time + m_shift;
}

void RecordingParser::take(const Line& line)
{
    m_taken += line.text.size() + 1;
    if (!m_header.empty()) {
        takeRow(line);
    } else if (!m_noHeader) {
        takeHeader(line);
    }
}

std::shared_ptr<const SensorRecording> RecordingParser::finish(std::string& report)
{
    if (m_header.empty()) {
        report = m_report.failure("not a recording: the first line does not begin with \"idx,\"");
        return nullptr;
    }
    if (m_made->size() < 2) {
        report = m_report.failure("nothing to play: fewer than two usable rows");
        return nullptr;
    }
    forEachColumn([](auto& column) { column.shrink_to_fit(); });
    m_made->m_magneticField.shrink_to_fit();
    m_made->m_magnetometerRows.shrink_to_fit();
    m_made->m_barometerRows.shrink_to_fit();
    report = m_report.text();
    m_made->report = report;
    return std::move(m_made);
}

void RecordingParser::takeHeader(const Line& line)
{
    // Rows that were written before the header; they are still the first rows.
    if (isRow(line.text) && m_early.size() < mostEarlyRows && !line.tooLong) {
        m_early.push_back({std::string(line.text), line});
        return;
    }
    split(line.text, m_fields);
    if (m_fields.empty() || m_fields.front() != "idx" || line.tooLong) {
        m_noHeader = true;
        return;
    }
    m_header.assign(m_fields.begin(), m_fields.end());
    m_at = columnsOf(m_header);
    noteSensors(m_at, *m_made, m_report);
    m_values.resize(m_header.size());
    for (const auto& [text, early] : m_early) {
        takeRow({text, early.number, early.whole, early.tooLong});
    }
    m_early.clear();
}

void RecordingParser::takeRow(const Line& line)
{
    if (!readValues(line)) {
        return;
    }
    // The time of a row is the IMU's time or its replacement; without one it follows from the
    // index, which counts samples.
    const double time = m_at.imuTime >= 0 ? value(m_at.imuTime) : value(0) * nominalPeriod;
    if (const auto placed = m_pace.place(time, line.number, m_report); placed) {
        append(*placed);
        if (m_made->size() == rowsOfEstimate) {
            setAside();
        }
    }
}

bool RecordingParser::readValues(const Line& line)
{
    if (line.tooLong) {
        m_report.leftOut(line.number, "is longer than a row may be");
        return false;
    }
    if (!line.whole) {
        m_report.leftOut(line.number, "is torn");
        return false;
    }
    split(line.text, m_fields);
    if (m_fields.size() != m_header.size()) {
        m_report.leftOut(line.number, "has " + std::to_string(m_fields.size()) +
                                          " fields in place of " + std::to_string(m_header.size()));
        return false;
    }
    for (std::size_t i = 0; i < m_fields.size(); ++i) {
        if (!toNumber(m_fields[i], m_values[i]) || !isSensorValue(m_values[i])) {
            m_report.leftOut(line.number, "contains " + shown(m_fields[i]) + " in column " +
                                              printable(m_header[i]));
            return false;
        }
    }
    return true;
}

std::array<float, 3> RecordingParser::triple(const std::array<int, 3>& places) const
{
    return {single(places[0]), single(places[1]), single(places[2])};
}

void RecordingParser::append(double time)
{
    SensorRecording& made = *m_made;
    const auto row = static_cast<std::uint32_t>(made.size());
    made.m_times.push_back(time);
    if (made.hasAcceleration) {
        made.m_acceleration.push_back(triple(m_at.acceleration));
    }
    if (made.hasAngularVelocity) {
        made.m_angularVelocity.push_back(triple(m_at.angularVelocity));
    }
    if (made.hasMagneticField && value(m_at.magTime) != m_magTime) {
        m_magTime = value(m_at.magTime);
        made.m_magnetometerRows.push_back(row);
        made.m_magneticField.push_back(triple(m_at.magneticField));
    }
    if (made.hasEulerAngles) {
        made.m_eulerAngles.push_back(triple(m_at.eulerAngles));
    }
    if (made.hasBarometer) {
        made.m_air.push_back({single(m_at.pressure),
                              m_at.relativeAltitude >= 0 ? single(m_at.relativeAltitude) : 0.0F});
        if (value(m_at.baroTime) != m_baroTime) {
            m_baroTime = value(m_at.baroTime);
            made.m_barometerRows.push_back(row);
        }
    }
    if (made.hasMovingState) {
        made.m_movingStates.push_back(
            static_cast<std::int16_t>(std::clamp(value(m_at.movingState), -1000.0, 1000.0)));
    }
    if (made.hasTemperatures) {
        std::array<float, 4> temperatures{};
        for (std::size_t i = 0; i < temperatures.size(); ++i) {
            temperatures[i] = single(m_at.temperatures[i]);
        }
        made.m_temperatures.push_back(temperatures);
    }
}

void RecordingParser::setAside()
{
    const double rows = static_cast<double>(m_expected) / static_cast<double>(m_taken) *
                        static_cast<double>(m_made->size()) * estimateMargin;
    const auto capacity = static_cast<std::size_t>(rows);
    forEachColumn([capacity](auto& column) { column.reserve(capacity); });
}

} // namespace om::bench
