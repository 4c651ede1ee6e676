#include "replay/replay.h"

#include "base/files.h"
#include "base/one_line.h"
#include "world/physics.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace om::bench {

namespace {

constexpr std::uint64_t MOST_BYTES = 512U * 1024 * 1024;
constexpr std::size_t PIECE_BYTES = 1024 * 1024; ///< read at once
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
    bool tooLong = false;
};

/// Cuts bytes that come piece by piece into lines.
class LineCutter
{
public:
    /// Calls take(const Line&) for each line that ends within the bytes.
    template <typename Take>
    void feed(std::string_view bytes, const Take& take)
    {
        for (;;) {
            const std::size_t end = bytes.find('\n');
            if (end == std::string_view::npos) {
                keep(bytes);
                return;
            }
            if (m_begun.empty()) {
                take(line(bytes.substr(0, end), true));
            } else {
                keep(bytes.substr(0, end));
                take(line(m_begun, true));
                m_begun.clear();
            }
            bytes.remove_prefix(end + 1);
        }
    }

    /// The line that has no end.
    template <typename Take>
    void finish(const Take& take)
    {
        if (!m_begun.empty()) {
            take(line(m_begun, false));
        }
    }

private:
    /// Of a line that is too long one byte more is kept than one may have.
    void keep(std::string_view piece)
    {
        m_begun += piece.substr(0, SensorRecording::LONGEST_LINE + 1 - m_begun.size());
    }

    Line line(std::string_view text, bool whole)
    {
        const bool tooLong = text.size() > SensorRecording::LONGEST_LINE;
        if (!text.empty() && text.back() == '\r') {
            text.remove_suffix(1);
        }
        return {text, ++m_number, whole, tooLong};
    }

    std::string m_begun;
    std::size_t m_number = 0;
};

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
            break; // every field is followed by a comma, the rest of the line holds none
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

template <std::size_t N>
bool complete(const std::array<int, N>& places)
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

Columns columnsOf(const std::vector<std::string>& header)
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
            told.lacks(sensor.what);
        }
    }
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

/// The rotation of Euler angles in degrees, X first.
Quaternion rotationOf(const std::array<float, 3>& degrees)
{
    const auto about = [](const Vector& axis, double angle) {
        return fromRotationVector((angle * PI / 180.0) * axis);
    };
    return about({0.0, 0.0, 1.0}, degrees[2]) *
           (about({0.0, 1.0, 0.0}, degrees[1]) * about({1.0, 0.0, 0.0}, degrees[0]));
}

} // namespace

/// Makes a recording of lines, the first of which is the header but for some early rows.
class RecordingParser
{
public:
    explicit RecordingParser(const std::string& name) : m_told(name) {}

    /// How long the file is, so that the memory can be set aside in time.
    void expect(std::uint64_t bytes) { m_expected = bytes; }

    void take(const Line& line)
    {
        m_taken += line.text.size() + 1;
        if (!m_header.empty()) {
            takeRow(line);
        } else if (!m_hopeless) {
            takeHeader(line);
        }
    }

    /// No header came: what follows is of no use.
    bool isHopeless() const { return m_hopeless; }

    std::shared_ptr<const SensorRecording> finish(std::string& report)
    {
        if (m_header.empty()) {
            report = m_told.failure("not a recording: the first line does not begin with \"idx,\"");
            return nullptr;
        }
        if (m_made->size() < 2) {
            report = m_told.failure("nothing to play: less than two sound rows");
            return nullptr;
        }
        forEachColumn([](auto& column) { column.shrink_to_fit(); });
        m_made->m_magneticField.shrink_to_fit();
        m_made->m_magnetometerRows.shrink_to_fit();
        m_made->m_barometerRows.shrink_to_fit();
        report = m_told.text();
        m_made->report = report;
        return std::move(m_made);
    }

private:
    void takeHeader(const Line& line)
    {
        // Rows that were ahead of the header stand above it; they are the first all the same.
        if (isRow(line.text) && m_early.size() < MOST_EARLY_ROWS && !line.tooLong) {
            m_early.push_back({std::string(line.text), line});
            return;
        }
        split(line.text, m_fields);
        if (m_fields.empty() || m_fields.front() != "idx" || line.tooLong) {
            m_hopeless = true;
            return;
        }
        m_header.assign(m_fields.begin(), m_fields.end());
        m_at = columnsOf(m_header);
        noteSensors(m_at, *m_made, m_told);
        m_values.resize(m_header.size());
        for (const auto& [text, early] : m_early) {
            takeRow({text, early.number, early.whole, early.tooLong});
        }
        m_early.clear();
    }

    void takeRow(const Line& line)
    {
        if (!readValues(line)) {
            return;
        }
        // The pace comes from the IMU's time, or what there is in its place; the index counts
        // samples.
        const double time = m_at.imuTime >= 0 ? value(m_at.imuTime) : value(0) * NOMINAL_PERIOD;
        if (const auto placed = m_pace.place(time, line.number, m_told); placed) {
            append(*placed);
            if (m_made->size() == ROWS_OF_ESTIMATE) {
                setAside();
            }
        }
    }

    /// The numbers of a line. False, with the reason told, for one that is not sound.
    bool readValues(const Line& line)
    {
        if (line.tooLong) {
            m_told.leftOut(line.number, "is longer than a row may be");
            return false;
        }
        if (!line.whole) {
            m_told.leftOut(line.number, "is torn");
            return false;
        }
        split(line.text, m_fields);
        if (m_fields.size() != m_header.size()) {
            m_told.leftOut(line.number, "has " + std::to_string(m_fields.size()) +
                                            " fields in place of " +
                                            std::to_string(m_header.size()));
            return false;
        }
        for (std::size_t i = 0; i < m_fields.size(); ++i) {
            if (!toNumber(m_fields[i], m_values[i]) || !isSensorValue(m_values[i])) {
                m_told.leftOut(line.number, "holds " + shown(m_fields[i]) + " in column " +
                                                printable(m_header[i]));
                return false;
            }
        }
        return true;
    }

    double value(int place) const { return m_values[static_cast<std::size_t>(place)]; }
    float single(int place) const { return static_cast<float>(value(place)); }
    std::array<float, 3> triple(const std::array<int, 3>& places) const
    {
        return {single(places[0]), single(places[1]), single(places[2])};
    }

    /// A row of the values at hand.
    void append(double time)
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
            made.m_air.push_back({single(m_at.pressure), m_at.relativeAltitude >= 0
                                                             ? single(m_at.relativeAltitude)
                                                             : 0.0F});
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

    /// Those with an element a row that the file has.
    template <typename Change>
    void forEachColumn(const Change& change)
    {
        SensorRecording& made = *m_made;
        const auto ifThere = [&change](bool there, auto& column) {
            if (there) {
                change(column);
            }
        };
        change(made.m_times);
        ifThere(made.hasAcceleration, made.m_acceleration);
        ifThere(made.hasAngularVelocity, made.m_angularVelocity);
        ifThere(made.hasEulerAngles, made.m_eulerAngles);
        ifThere(made.hasBarometer, made.m_air);
        ifThere(made.hasMovingState, made.m_movingStates);
        ifThere(made.hasTemperatures, made.m_temperatures);
    }

    /// Sets memory aside for as many rows as the rest of the file has at the length of the first
    /// ones: a column that grows by doubling is there twice for a moment.
    void setAside()
    {
        const double rows = static_cast<double>(m_expected) / static_cast<double>(m_taken) *
                            static_cast<double>(m_made->size()) * ESTIMATE_MARGIN;
        const auto capacity = static_cast<std::size_t>(rows);
        forEachColumn([capacity](auto& column) { column.reserve(capacity); });
    }

    static constexpr std::size_t ROWS_OF_ESTIMATE = 1000;
    static constexpr double ESTIMATE_MARGIN = 1.05;

    struct EarlyLine
    {
        std::string text;
        Line line; ///< its text has gone
    };

    Report m_told;
    std::uint64_t m_expected = 0; ///< bytes
    std::uint64_t m_taken = 0;
    bool m_hopeless = false;
    std::vector<EarlyLine> m_early;
    std::vector<std::string> m_header;
    Columns m_at;
    std::shared_ptr<SensorRecording> m_made = std::make_shared<SensorRecording>();
    std::vector<std::string_view> m_fields;
    std::vector<double> m_values;
    Pace m_pace;
    double m_magTime = 0.0;
    double m_baroTime = 0.0;
};

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
        report = oneLine(path + ": can't be read: " +
                         (file.valid() ? std::generic_category().message(errno) : reason));
        return nullptr;
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size > MOST_BYTES) {
        report = oneLine(path) + ": larger than a recording may be (512 MiB)";
        return nullptr;
    }
    // Piece by piece, not mapped: a file that is cut short meanwhile ends, and nothing else does.
    RecordingParser parser(path);
    parser.expect(size);
    LineCutter lines;
    const auto take = [&parser](const Line& line) { parser.take(line); };
    std::vector<char> piece(PIECE_BYTES);
    std::uint64_t have = 0; // of a file that grows meanwhile, only what it had at first
    while (have < size && !parser.isHopeless()) {
        if (progress != nullptr && progress->cancelled.load()) {
            report.clear();
            return nullptr;
        }
        const auto wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), size - have));
        const ssize_t got = ::read(file.get(), piece.data(), wanted);
        if (got < 0 && errno != EINTR) {
            report = oneLine(path + ": can't be read: " + std::generic_category().message(errno));
            return nullptr;
        }
        if (got == 0) {
            break;
        }
        if (got > 0) {
            have += static_cast<std::uint64_t>(got);
            lines.feed({piece.data(), static_cast<std::size_t>(got)}, take);
            if (progress != nullptr) {
                progress->read.fetch_add(static_cast<std::uint64_t>(got));
            }
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
    LineCutter lines;
    const auto take = [&parser](const Line& line) { parser.take(line); };
    lines.feed(text, take);
    lines.finish(take);
    return parser.finish(report);
}

ReplaySource::ReplaySource(std::shared_ptr<const SensorRecording> recording, bool looping,
                           Nanoseconds start, std::shared_ptr<const Environment> environment)
    : m_recording(std::move(recording)), m_looping(looping), m_start(start),
      m_environment(std::move(environment)),
      m_period(m_recording->time(m_recording->size() - 1) *
               (1.0 + 1.0 / static_cast<double>(m_recording->size() - 1)))
{}

std::size_t ReplaySource::countOf(STREAM stream) const
{
    switch (stream) {
    case STREAM::MAGNETOMETER:
        return m_recording->magnetometerRows().size();
    case STREAM::BAROMETER:
        return m_recording->barometerRows().size();
    case STREAM::IMU:
        break;
    }
    return m_recording->size();
}

bool ReplaySource::has(STREAM stream) const
{
    return countOf(stream) > 0;
}

std::size_t ReplaySource::rowOf(STREAM stream, std::uint64_t number) const
{
    const std::size_t count = countOf(stream);
    const auto place = static_cast<std::size_t>(
        m_looping ? number % count : std::min<std::uint64_t>(number, count - 1));
    switch (stream) {
    case STREAM::MAGNETOMETER:
        return m_recording->magnetometerRows()[place];
    case STREAM::BAROMETER:
        return m_recording->barometerRows()[place];
    case STREAM::IMU:
        break;
    }
    return place;
}

double ReplaySource::secondsOf(STREAM stream, std::uint64_t number) const
{
    const std::uint64_t round = m_looping ? number / countOf(stream) : 0;
    return static_cast<double>(round) * m_period + m_recording->time(rowOf(stream, number));
}

Nanoseconds ReplaySource::timeOf(STREAM stream, std::uint64_t number) const
{
    if (!m_looping && number >= countOf(stream)) {
        return UINT64_MAX; // never
    }
    return m_start + static_cast<Nanoseconds>(std::llround(secondsOf(stream, number) * 1e9));
}

std::optional<std::uint64_t> ReplaySource::newest(STREAM stream, Nanoseconds time) const
{
    const std::size_t count = countOf(stream);
    if (count == 0 || time < m_start) {
        return std::nullopt;
    }
    const double seconds = static_cast<double>(time - m_start) * 1e-9;
    const auto round = m_looping ? static_cast<std::uint64_t>(seconds / m_period) : 0;
    const double within = seconds - static_cast<double>(round) * m_period;
    std::size_t first = 0; // of the samples after that moment
    for (std::size_t rest = count; rest > 0;) {
        const std::size_t half = rest / 2;
        if (m_recording->time(rowOf(stream, first + half)) <= within) {
            first += half + 1;
            rest -= half + 1;
        } else {
            rest = half;
        }
    }
    std::uint64_t number = round * count + first;
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
    const SensorRecording::Row row = m_recording->row(rowOf(STREAM::IMU, number));
    ImuSample sample;
    sample.number = number;
    sample.time = timeOf(STREAM::IMU, number);
    sample.pose = rotationOf(row.eulerAngles);
    sample.angularVelocity = {row.angularVelocity[0], row.angularVelocity[1],
                              row.angularVelocity[2]};
    sample.linearAcceleration = {row.acceleration[0], row.acceleration[1], row.acceleration[2]};
    sample.movingState = row.movingState;
    return sample;
}

MagnetometerSample ReplaySource::magnetometer(std::uint64_t number) const
{
    const SensorRecording::Row row = m_recording->row(rowOf(STREAM::MAGNETOMETER, number));
    MagnetometerSample sample;
    sample.number = number;
    sample.time = timeOf(STREAM::MAGNETOMETER, number);
    Vector field{row.magneticField[0], row.magneticField[1], row.magneticField[2]};
    if (m_environment) {
        field = field + rotate(conjugate(rotationOf(row.eulerAngles)),
                               m_environment->disturbanceAt(sample.time));
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
    const SensorRecording::Row row = m_recording->row(rowOf(STREAM::BAROMETER, number));
    return {number, timeOf(STREAM::BAROMETER, number), double{row.pressure} * 100.0};
}

std::array<std::optional<double>, 4> ReplaySource::temperatures(Nanoseconds time) const
{
    const auto number = newest(STREAM::IMU, time);
    if (!m_recording->hasTemperatures || !number) {
        return {};
    }
    const SensorRecording::Row row = m_recording->row(rowOf(STREAM::IMU, *number));
    std::array<std::optional<double>, 4> values;
    std::copy(row.temperatures.begin(), row.temperatures.end(), values.begin());
    return values;
}

void ReplaySource::complete(std::uint64_t imuNumber, SensorsData& data) const
{
    // What went another way through the library's arithmetic comes back as it was recorded.
    const SensorRecording::Row row = m_recording->row(rowOf(STREAM::IMU, imuNumber));
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
