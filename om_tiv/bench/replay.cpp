#include "bench/replay.h"

#include "bench/one_line.h"
#include "bench/physics.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string_view>
#include <system_error>

namespace om::bench {

namespace {

constexpr std::size_t MOST_BYTES = 512U * 1024 * 1024;
constexpr std::size_t MOST_EARLY_ROWS = 100;
constexpr double NOMINAL_PERIOD = 1.0 / 400.0;
/// s. Times are recorded to the microsecond, and nine digits of a number of their size round them
/// a little; no camera's samples are closer.
constexpr double LEAST_STEP = 0.5e-6;
constexpr double LATEST_TIME = 1e10; ///< s, either way: the year 2286

struct Line
{
    std::string_view text;
    std::size_t number = 0; ///< from 1
    bool whole = false;     ///< it has its end
};

/// The lines of a text, one after the other.
class Lines
{
public:
    explicit Lines(std::string_view text) : m_rest(text) {}

    std::optional<Line> next()
    {
        if (m_rest.empty()) {
            return std::nullopt;
        }
        const std::size_t end = m_rest.find('\n');
        Line line{m_rest.substr(0, end), ++m_number, end != std::string_view::npos};
        m_rest.remove_prefix(line.whole ? end + 1 : m_rest.size());
        if (!line.text.empty() && line.text.back() == '\r') {
            line.text.remove_suffix(1);
        }
        return line;
    }

private:
    std::string_view m_rest;
    std::size_t m_number = 0;
};

bool isRow(std::string_view line)
{
    return !line.empty() && line.front() >= '0' && line.front() <= '9';
}

std::vector<std::string_view> split(std::string_view line)
{
    std::vector<std::string_view> fields;
    for (;;) {
        const std::size_t comma = line.find(',');
        if (comma == std::string_view::npos) {
            break; // every field is followed by a comma, the rest of the line holds none
        }
        std::string_view field = line.substr(0, comma);
        while (!field.empty() && field.front() == ' ') {
            field.remove_prefix(1);
        }
        fields.push_back(field);
        line.remove_prefix(comma + 1);
    }
    return fields;
}

bool toNumber(std::string_view text, double& value)
{
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() &&
           std::isfinite(value);
}

/// Whether it can be a value of a sensor, which all have single precision: a pressure in Pa, too.
bool isSensorValue(double value)
{
    return std::abs(value) <= std::numeric_limits<float>::max() / 100.0;
}

/// Where the columns of the file are; -1 for one that it lacks.
struct Columns
{
    int imuTime = -1;
    int magTime = -1;
    int baroTime = -1;
    std::array<int, 3> acceleration{-1, -1, -1};
    std::array<int, 3> angularVelocity{-1, -1, -1};
    std::array<int, 3> magneticField{-1, -1, -1};
    std::array<int, 3> eulerAngles{-1, -1, -1};
    int pressure = -1;
    int relativeAltitude = -1;
    int movingState = -1;
    std::array<int, 4> temperatures{-1, -1, -1, -1};
};

struct ColumnName
{
    const char* name;
    int* place;
};

bool complete(const std::array<int, 3>& places)
{
    return std::all_of(places.begin(), places.end(), [](int place) { return place >= 0; });
}

/// What is told of a file, on one line.
class Report
{
public:
    explicit Report(std::string name) : m_name(std::move(name)) {}

    void leftOut(std::size_t line, const std::string& why)
    {
        if (m_leftOut++ == 0) {
            m_first = "line " + std::to_string(line) + " " + why;
        }
    }
    void jump(std::size_t line)
    {
        if (m_jumps++ == 0) {
            m_firstJump = line;
        }
    }
    void lacks(const std::string& what) { m_lacking += (m_lacking.empty() ? "" : ", ") + what; }

    std::string text() const
    {
        std::string line;
        const auto add = [&](const std::string& part) {
            line += (line.empty() ? "" : "; ") + part;
        };
        if (m_leftOut > 0) {
            add(std::to_string(m_leftOut) + (m_leftOut == 1 ? " row" : " rows") +
                " left out, the first: " + m_first);
        }
        if (m_jumps > 0) {
            add(std::to_string(m_jumps) + (m_jumps == 1 ? " jump" : " jumps") +
                " of the time closed, the first at line " + std::to_string(m_firstJump));
        }
        if (!m_lacking.empty()) {
            add("not recorded, so not available: " + m_lacking);
        }
        return line.empty() ? line : oneLine(m_name + ": " + line);
    }
    std::string failure(const std::string& why) const
    {
        const std::string rest = text();
        return oneLine(m_name + ": " + why) +
               (rest.empty() ? "" : " (" + rest.substr(m_name.size() + 2) + ")");
    }

private:
    std::string m_name;
    std::size_t m_leftOut = 0;
    std::string m_first;
    std::size_t m_jumps = 0;
    std::size_t m_firstJump = 0;
    std::string m_lacking;
};

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

Columns columnsOf(const std::vector<std::string_view>& header)
{
    Columns at;
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

/// Which sensors the columns make; those that lack some are told.
void noteSensors(const Columns& at, SensorRecording& recording, Report& told)
{
    recording.hasAcceleration = complete(at.acceleration);
    recording.hasAngularVelocity = complete(at.angularVelocity);
    recording.hasMagneticField = complete(at.magneticField) && at.magTime >= 0;
    recording.hasEulerAngles = complete(at.eulerAngles);
    recording.hasBarometer = at.pressure >= 0 && at.baroTime >= 0;
    recording.hasMovingState = at.movingState >= 0;
    recording.hasTemperatures = std::all_of(at.temperatures.begin(), at.temperatures.end(),
                                            [](int place) { return place >= 0; });
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
            told.lacks(sensor.what);
        }
    }
}

/// The numbers of a line. False, with the reason told, for one that is not sound.
bool readValues(const Line& line, const std::vector<std::string_view>& header,
                std::vector<double>& values, Report& told)
{
    const std::vector<std::string_view> fields = split(line.text);
    if (!line.whole) {
        told.leftOut(line.number, "is torn");
        return false;
    }
    if (fields.size() != header.size()) {
        told.leftOut(line.number, "has " + std::to_string(fields.size()) + " fields in place of " +
                                      std::to_string(header.size()));
        return false;
    }
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (!toNumber(fields[i], values[i]) || !isSensorValue(values[i])) {
            told.leftOut(line.number,
                         "holds " + shown(fields[i]) + " in column " + printable(header[i]));
            return false;
        }
    }
    return true;
}

/// A row of these values, but for its time.
SensorRecording::Row rowOf(const std::vector<double>& values, const Columns& at)
{
    const auto value = [&](int place) {
        return place >= 0 ? values[static_cast<std::size_t>(place)] : 0.0;
    };
    const auto single = [&](int place) { return static_cast<float>(value(place)); };
    const auto triple = [&](const std::array<int, 3>& places) {
        return std::array<float, 3>{single(places[0]), single(places[1]), single(places[2])};
    };
    SensorRecording::Row row;
    row.magTime = value(at.magTime);
    row.baroTime = value(at.baroTime);
    row.acceleration = triple(at.acceleration);
    row.angularVelocity = triple(at.angularVelocity);
    row.magneticField = triple(at.magneticField);
    row.eulerAngles = triple(at.eulerAngles);
    row.pressure = single(at.pressure);
    row.relativeAltitude = single(at.relativeAltitude);
    row.movingState = static_cast<int>(std::clamp(value(at.movingState), -1000.0, 1000.0));
    for (std::size_t i = 0; i < row.temperatures.size(); ++i) {
        row.temperatures[i] = single(at.temperatures[i]);
    }
    return row;
}

/// The times of the rows, counted from the first.
class Pace
{
public:
    /// Nothing, with the reason told, for a time that no row can have here.
    std::optional<double> place(double time, std::size_t line, Report& told)
    {
        if (std::abs(time) > LATEST_TIME) {
            told.leftOut(line, "has a time beyond reason");
            return std::nullopt;
        }
        const double step = m_before ? time - *m_before : NOMINAL_PERIOD;
        if (step < LEAST_STEP && step > -SensorRecording::MOST_SETBACK) {
            told.leftOut(line, "does not come after the row before it");
            return std::nullopt;
        }
        if (!m_before) {
            m_shift = -time;
        } else if (step > SensorRecording::MOST_GAP || step < 0.0) {
            // A clock that was set, or one row with a time from nowhere: the rest is sound.
            told.jump(line);
            m_shift -= step - NOMINAL_PERIOD;
        }
        m_before = time;
        return time + m_shift;
    }

private:
    std::optional<double> m_before; ///< s, as recorded
    double m_shift = 0.0;           ///< s, from there to the time since the first row
};

Quaternion poseOf(const SensorRecording::Row& row)
{
    const Orientation orientation = transformOfEulerDegrees(row.eulerAngles).getOrientation();
    return {orientation.ow, orientation.ox, orientation.oy, orientation.oz};
}

} // namespace

std::shared_ptr<const SensorRecording> SensorRecording::read(const std::string& path,
                                                             std::string& report)
{
    // Only a regular file has a size: a device or a pipe may never come to an end.
    std::error_code reason;
    const std::uintmax_t size = std::filesystem::file_size(path, reason);
    if (reason) {
        report = oneLine(path + ": can't be read: " + reason.message());
        return nullptr;
    }
    if (size > MOST_BYTES) {
        report = oneLine(path) + ": larger than a recording may be (512 MiB)";
        return nullptr;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        report = oneLine(path + ": can't be read: " + std::generic_category().message(errno));
        return nullptr;
    }
    const std::string text((std::istreambuf_iterator<char>(file)),
                           std::istreambuf_iterator<char>());
    return parse(text, path, report);
}

std::shared_ptr<const SensorRecording>
SensorRecording::parse(const std::string& text, const std::string& name, std::string& report)
{
    Report told(name);
    Lines lines(text);
    // Rows that were ahead of the header stand above it; they are the first all the same.
    std::vector<Line> early;
    std::optional<Line> line = lines.next();
    while (line && isRow(line->text) && early.size() < MOST_EARLY_ROWS) {
        early.push_back(*line);
        line = lines.next();
    }
    const std::vector<std::string_view> header =
        line ? split(line->text) : std::vector<std::string_view>();
    if (header.empty() || header.front() != "idx") {
        report = told.failure("not a recording: the first line does not begin with \"idx,\"");
        return nullptr;
    }
    const Columns at = columnsOf(header);
    auto recording = std::make_shared<SensorRecording>();
    noteSensors(at, *recording, told);
    // The pace comes from the IMU's time, or what there is in its place; the index counts samples.
    const auto timeColumn = static_cast<std::size_t>(std::max(at.imuTime, 0));
    const double timeUnit = at.imuTime >= 0 ? 1.0 : NOMINAL_PERIOD;

    std::vector<double> values(header.size());
    Pace pace;
    auto nextRow = [&, given = std::size_t{0}]() mutable {
        return given < early.size() ? std::optional<Line>(early[given++]) : lines.next();
    };
    for (line = nextRow(); line; line = nextRow()) {
        if (!readValues(*line, header, values, told)) {
            continue;
        }
        if (const auto time = pace.place(values[timeColumn] * timeUnit, line->number, told); time) {
            recording->rows.push_back(rowOf(values, at));
            recording->rows.back().time = *time;
        }
    }
    if (recording->rows.size() < 2) {
        report = told.failure("nothing to play: less than two sound rows");
        return nullptr;
    }
    report = told.text();
    return recording;
}

ReplaySource::ReplaySource(std::shared_ptr<const SensorRecording> recording, bool looping,
                           Nanoseconds start, std::shared_ptr<const Environment> environment)
    : m_recording(std::move(recording)), m_looping(looping), m_start(start),
      m_environment(std::move(environment))
{
    const std::vector<SensorRecording::Row>& rows = m_recording->rows;
    double magTime = 0.0;
    double baroTime = 0.0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        m_imuRows.push_back(i);
        if (m_recording->hasMagneticField && rows[i].magTime != magTime) {
            magTime = rows[i].magTime;
            m_magnetometerRows.push_back(i);
        }
        if (m_recording->hasBarometer && rows[i].baroTime != baroTime) {
            baroTime = rows[i].baroTime;
            m_barometerRows.push_back(i);
        }
    }
    const double last = rows.back().time;
    m_period = last + last / static_cast<double>(rows.size() - 1);
}

const std::vector<std::size_t>& ReplaySource::rowsOf(STREAM stream) const
{
    switch (stream) {
    case STREAM::MAGNETOMETER:
        return m_magnetometerRows;
    case STREAM::BAROMETER:
        return m_barometerRows;
    case STREAM::IMU:
        break;
    }
    return m_imuRows;
}

bool ReplaySource::has(STREAM stream) const
{
    return !rowsOf(stream).empty();
}

std::size_t ReplaySource::rowOf(STREAM stream, std::uint64_t number) const
{
    const std::vector<std::size_t>& rows = rowsOf(stream);
    return rows[m_looping ? number % rows.size()
                          : std::min<std::uint64_t>(number, rows.size() - 1)];
}

double ReplaySource::secondsOf(STREAM stream, std::uint64_t number) const
{
    const std::uint64_t round = m_looping ? number / rowsOf(stream).size() : 0;
    return static_cast<double>(round) * m_period + m_recording->rows[rowOf(stream, number)].time;
}

Nanoseconds ReplaySource::timeOf(STREAM stream, std::uint64_t number) const
{
    if (!m_looping && number >= rowsOf(stream).size()) {
        return UINT64_MAX; // never
    }
    return m_start + static_cast<Nanoseconds>(std::llround(secondsOf(stream, number) * 1e9));
}

std::optional<std::uint64_t> ReplaySource::newest(STREAM stream, Nanoseconds time) const
{
    const std::vector<std::size_t>& rows = rowsOf(stream);
    if (rows.empty() || time < m_start) {
        return std::nullopt;
    }
    const double seconds = static_cast<double>(time - m_start) * 1e-9;
    const auto round = m_looping ? static_cast<std::uint64_t>(seconds / m_period) : 0;
    const double within = seconds - static_cast<double>(round) * m_period;
    const auto after =
        std::upper_bound(rows.begin(), rows.end(), within, [this](double limit, std::size_t row) {
            return limit < m_recording->rows[row].time;
        });
    std::uint64_t number = round * rows.size() + static_cast<std::uint64_t>(after - rows.begin());
    // The search is in seconds, the times that are told are whole nanoseconds.
    while (number > 0 && timeOf(stream, number - 1) > time) {
        --number;
    }
    while (timeOf(stream, number) <= time) {
        ++number;
    }
    return number > 0 ? std::optional<std::uint64_t>(number - 1) : std::nullopt;
}

ImuSample ReplaySource::imu(std::uint64_t number) const
{
    const SensorRecording::Row& row = m_recording->rows[rowOf(STREAM::IMU, number)];
    ImuSample sample;
    sample.number = number;
    sample.time = timeOf(STREAM::IMU, number);
    sample.pose = poseOf(row);
    sample.angularVelocity = {row.angularVelocity[0], row.angularVelocity[1],
                              row.angularVelocity[2]};
    sample.linearAcceleration = {row.acceleration[0], row.acceleration[1], row.acceleration[2]};
    sample.movingState = row.movingState;
    return sample;
}

MagnetometerSample ReplaySource::magnetometer(std::uint64_t number) const
{
    const SensorRecording::Row& row = m_recording->rows[rowOf(STREAM::MAGNETOMETER, number)];
    MagnetometerSample sample;
    sample.number = number;
    sample.time = timeOf(STREAM::MAGNETOMETER, number);
    Vector field{row.magneticField[0], row.magneticField[1], row.magneticField[2]};
    if (m_environment) {
        field = field + rotate(conjugate(poseOf(row)), m_environment->disturbanceAt(sample.time));
    }
    const Vector sensor = toSensorAxes(field);
    const std::array<double, 3> axes = {sensor.x, sensor.y, sensor.z};
    for (std::size_t i = 0; i < axes.size(); ++i) {
        sample.counts[i] =
            static_cast<std::int16_t>(std::lround(std::clamp(axes[i] * 16.0, -32768.0, 32767.0)));
    }
    if (m_environment && m_environment->magnetometerSaturated.load()) {
        sample.counts[2] = INT16_MIN;
    }
    return sample;
}

BarometerSample ReplaySource::barometer(std::uint64_t number) const
{
    const SensorRecording::Row& row = m_recording->rows[rowOf(STREAM::BAROMETER, number)];
    return {number, timeOf(STREAM::BAROMETER, number), double{row.pressure} * 100.0};
}

std::array<std::optional<double>, 4> ReplaySource::temperatures(Nanoseconds time) const
{
    const auto number = newest(STREAM::IMU, time);
    if (!m_recording->hasTemperatures || !number) {
        return {};
    }
    const SensorRecording::Row& row = m_recording->rows[rowOf(STREAM::IMU, *number)];
    std::array<std::optional<double>, 4> values;
    std::copy(row.temperatures.begin(), row.temperatures.end(), values.begin());
    return values;
}

void ReplaySource::complete(std::uint64_t imuNumber, SensorsData& data) const
{
    // What went another way through the library's arithmetic comes back as it was recorded.
    const SensorRecording::Row& row = m_recording->rows[rowOf(STREAM::IMU, imuNumber)];
    if (m_recording->hasEulerAngles) {
        data.imu.pose = transformOfEulerDegrees(row.eulerAngles);
    }
    if (data.barometer.isAvailable && m_recording->hasBarometer) {
        data.barometer.pressure = pascalsOfHectopascals(row.pressure);
        data.barometer.relativeAltitude = row.relativeAltitude;
    }
    using Location = SensorsData::TemperatureData::SENSOR_LOCATION;
    for (std::size_t i = 0; i < row.temperatures.size(); ++i) {
        const auto present = data.temperature.values.find(static_cast<Location>(i));
        if (present != data.temperature.values.end()) {
            present->second = row.temperatures[i];
        }
    }
}

} // namespace om::bench
