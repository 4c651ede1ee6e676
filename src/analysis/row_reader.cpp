#include "analysis/row_reader.h"

#include "analysis/field_text.h"

#include <algorithm>
#include <cstring>

namespace analysis {

namespace {

constexpr std::array<std::string_view, COLUMNS> names{
    "idx",
    "imu_Timestamp[sec]",
    "mag_Timestamp[sec]",
    "baro_Timestamp[sec]",
    "accX[m/s^2]",
    "accY[m/s^2]",
    "accZ[m/s^2]",
    "gyroX[deg/s]",
    "gyroY[deg/s]",
    "gyroZ[deg/s]",
    "magX[uT]",
    "magY[uT]",
    "magZ[uT]",
    "orX[deg]",
    "orY[deg]",
    "orZ[deg]",
    "press[hPa]",
    "rel_alt[m]",
    "moving",
    "temp_left[C]",
    "temp_right[C]",
    "temp_imu[C]",
    "temp_barom[C]",
};

/// Period of the temperatures without a barometer, which have no rate of their own.
constexpr Nanoseconds temperaturePeriod = 40'000'000;
/// Number of bytes between two calls of progress.
constexpr std::size_t progressStep = std::size_t{1} << 22;

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\r')) {
        text.remove_prefix(1);
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '\r')) {
        text.remove_suffix(1);
    }
    return text;
}

/// The rows of a sensor that is slower than the IMU repeat its last sample.
bool isOfSlowSensor(COLUMN column)
{
    return column == MAG_TIME || column == BARO_TIME || (column >= MAG_X && column <= MAG_Z) ||
           (column >= PRESSURE && column <= TEMP_BAROMETER);
}

bool beginsWith(const char* begin, const char* end, std::string_view text)
{
    return !text.empty() && static_cast<std::size_t>(end - begin) >= text.size() &&
           std::memcmp(begin, text.data(), text.size()) == 0;
}

/// A camera without sensors of temperature, or one that has not measured yet, has four zeros.
bool hasTemperaturesIn(const RecordedRow& row)
{
    return row.values[TEMP_LEFT] != 0.0 || row.values[TEMP_RIGHT] != 0.0 ||
           row.values[TEMP_IMU] != 0.0 || row.values[TEMP_BAROMETER] != 0.0;
}

const char* endOfLine(const char* begin, const char* end)
{
    const void* const feed = std::memchr(begin, '\n', static_cast<std::size_t>(end - begin));
    return feed == nullptr ? end : static_cast<const char*>(feed);
}

/// The line that starts with "idx", without its line feed; empty if there is none.
std::string_view findHeader(const char* begin, const char* end)
{
    for (const char* line = begin; line < end;) {
        const char* const stop = endOfLine(line, end);
        const std::string_view text(line, static_cast<std::size_t>(stop - line));
        if (text.substr(0, 4) == "idx,") {
            return text;
        }
        line = stop == end ? end : stop + 1;
    }
    return {};
}

} // namespace

RowReader::RowReader(const char* begin, const char* end, std::string_view header,
                     const std::string& path)
    : m_begin(begin), m_end(end), m_header(header), m_path(path)
{
    m_has.fill(false);
    while (!header.empty()) {
        const std::size_t comma = header.find(',');
        const std::string_view name = trimmed(header.substr(0, comma));
        header = comma == std::string_view::npos ? std::string_view() : header.substr(comma + 1);
        if (name.empty() && header.empty()) {
            break; // after the last comma
        }
        const auto found = std::find(names.begin(), names.end(), name);
        m_columns.push_back(found == names.end()
                                ? UNKNOWN
                                : static_cast<COLUMN>(std::distance(names.begin(), found)));
        if (found != names.end()) {
            m_has.at(m_columns.back()) = true;
        }
    }
}

std::optional<RowReader> RowReader::of(const char* begin, const char* end, const std::string& path,
                                       std::string& error)
{
    const std::string_view header = findHeader(begin, end);
    if (header.empty()) {
        error = path + ": is not a recording: no line starts with \"idx,\"";
        return std::nullopt;
    }
    return RowReader(begin, end, header, path);
}

std::size_t RowReader::likelyRows() const
{
    const char* const second = endOfLine(m_header.data() + m_header.size(), m_end);
    if (second == m_end) {
        return 0;
    }
    // All rows have about the same length, so the length of the second one is used to estimate
    // their number.
    const auto length = static_cast<std::size_t>(endOfLine(second + 1, m_end) - second);
    return static_cast<std::size_t>(m_end - m_begin) / std::max<std::size_t>(length, 16) + 16;
}

RowReader::PARSED RowReader::parse(const char* p, const char* end, RecordedRow& row,
                                   Texts& texts) const
{
    bool valid = true;
    for (const COLUMN column : m_columns) {
        const char* const start = p;
        const bool slow = isOfSlowSensor(column);
        if (slow && beginsWith(p, end, texts[column])) {
            p += texts[column].size();
            continue;
        }
        bool fine = true;
        if (column == UNKNOWN) {
            p = static_cast<const char*>(std::memchr(p, ',', static_cast<std::size_t>(end - p)));
        } else if (column >= IMU_TIME && column <= BARO_TIME) {
            fine = parseTime(p, end, row.times[column]);
        } else if (column == INDEX) {
            fine = parseIndex(p, end, row.values[column]);
        } else {
            fine = parseNumber(p, end, row.values[column]);
        }
        if (!fine) {
            valid = false;
            p = static_cast<const char*>(
                std::memchr(start, ',', static_cast<std::size_t>(end - start)));
        }
        if (slow) {
            texts[column] = {};
        }
        if (p == nullptr || p == end) {
            return PARSED::TORN;
        }
        ++p; // after the comma
        if (slow && fine) {
            texts[column] = {start, static_cast<std::size_t>(p - start)};
        }
    }
    if (p != end) {
        return PARSED::TORN;
    }
    return valid ? PARSED::ROW : PARSED::INVALID;
}

bool RowReader::visit(const std::function<void(const RecordedRow&)>& take, ReadReport& report,
                      const std::function<bool(double)>& progress, std::string& error) const
{
    const auto size = static_cast<std::size_t>(m_end - m_begin);
    report.bytes = size;
    RecordedRow row;
    Texts texts;
    const char* nextProgress = m_begin + std::min(progressStep, size);
    for (const char* line = m_begin; line < m_end;) {
        const char* stop = endOfLine(line, m_end);
        const char* const next = stop == m_end ? m_end : stop + 1;
        if (line != m_header.data() && stop != line) {
            if (stop[-1] == '\r') {
                --stop;
            }
            switch (parse(line, stop, row, texts)) {
            case PARSED::ROW:
                take(row);
                break;
            case PARSED::TORN:
                ++report.tornRows;
                break;
            case PARSED::INVALID:
                ++report.invalidRows;
                break;
            }
        }
        line = next;
        if (line >= nextProgress && progress) {
            if (!progress(static_cast<double>(line - m_begin) / static_cast<double>(size))) {
                error = m_path + ": reading was ended";
                return false;
            }
            nextProgress = line + std::min(progressStep, static_cast<std::size_t>(m_end - line));
        }
    }
    return true;
}

SampleSplitter::SampleSplitter(const RowReader& reader)
    : m_time(reader.has(IMU_TIME)   ? IMU_TIME
             : reader.has(MAG_TIME) ? MAG_TIME
                                    : BARO_TIME),
      m_hasMagnetometer(reader.has(MAG_TIME) && reader.hasTriple(MAG_X)),
      m_hasBarometer(reader.has(BARO_TIME) && reader.has(PRESSURE) && reader.has(ALTITUDE)),
      m_hasTemperatures(reader.has(TEMP_LEFT) && reader.has(TEMP_RIGHT) && reader.has(TEMP_IMU) &&
                        reader.has(TEMP_BAROMETER))
{}

bool SampleSplitter::SlowTimes::take(Nanoseconds time, SlowReport& report)
{
    const bool isNew = time > m_last;
    if (isNew) {
        m_before = m_last;
        m_last = time;
        ++report.samples;
    } else if (time != 0 && time != m_last && time != m_row && time != m_before) {
        // A row may repeat an old sample: that one is kept already.
        ++report.backward;
    }
    m_row = time;
    return isNew;
}

SampleSplitter::New SampleSplitter::take(const RecordedRow& row, ReadReport& report)
{
    New found;
    found.time = row.times[m_time];
    if (!hasImu() && (found.time == 0 || (m_any && found.time == m_last))) {
        ++report.slowRows; // the sensor has no sample yet, or no new one
        return found;
    }
    if (m_any && found.time < m_last) {
        ++report.backwardRows;
        return found;
    }
    if (m_any && found.time == m_last) {
        ++report.repeatedRows;
        return found;
    }
    found.row = true;
    m_any = true;
    m_last = found.time;
    ++report.rows;

    const Nanoseconds magnetic = row.times[MAG_TIME];
    if (m_hasMagnetometer && m_magnetometer.take(magnetic, report.magnetometer)) {
        found.magnetometer = magnetic;
    }
    const Nanoseconds barometer = row.times[BARO_TIME];
    const bool newBarometer = m_barometer.take(barometer, report.barometer);
    if (m_hasBarometer && newBarometer) {
        found.barometer = barometer;
    }
    const bool due = barometer > 0 ? newBarometer
                                   : !m_lastTemperatures ||
                                         found.time - *m_lastTemperatures >= temperaturePeriod;
    if (m_hasTemperatures && due && hasTemperaturesIn(row)) {
        found.temperatures = m_lastTemperatures = barometer > 0 ? barometer : found.time;
    }
    return found;
}

} // namespace analysis
