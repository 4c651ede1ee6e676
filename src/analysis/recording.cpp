#include "analysis/recording.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

namespace analysis {

namespace {

enum FIELD : std::size_t {
    INDEX,
    IMU_TIME,
    MAG_TIME,
    BARO_TIME,
    ACC_X,
    ACC_Y,
    ACC_Z,
    GYRO_X,
    GYRO_Y,
    GYRO_Z,
    MAG_X,
    MAG_Y,
    MAG_Z,
    OR_X,
    OR_Y,
    OR_Z,
    PRESSURE,
    ALTITUDE,
    MOVING,
    TEMP_LEFT,
    TEMP_RIGHT,
    TEMP_IMU,
    TEMP_BAROMETER,
    FIELDS,
    UNKNOWN = FIELDS
};

constexpr std::array<std::string_view, FIELDS> names{
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

/// No sensor has larger values, and sums of their squares stay finite.
constexpr double mostValue = 1e9;
/// Period of the temperatures without a barometer, which have no rate of their own.
constexpr Nanoseconds temperaturePeriod = 40'000'000;
/// Number of bytes between two calls of progress.
constexpr std::size_t progressStep = std::size_t{1} << 22;

constexpr std::array<double, 16> powersOfTen{1.0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                             1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

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

/// A number up to the comma. Up to 15 digits the quotient of two exact numbers is the double
/// nearest to the text; longer numbers use std::from_chars.
bool parseNumber(const char*& p, const char* end, double& value)
{
    const char* const begin = p;
    const bool negative = p != end && *p == '-';
    const char* digit = negative ? p + 1 : p;
    std::uint64_t mantissa = 0;
    const char* const first = digit;
    while (digit != end && isDigit(*digit)) {
        mantissa = mantissa * 10 + static_cast<std::uint64_t>(*digit++ - '0');
    }
    auto digits = digit - first;
    std::size_t decimals = 0;
    if (digit != end && *digit == '.') {
        const char* const point = ++digit;
        while (digit != end && isDigit(*digit)) {
            mantissa = mantissa * 10 + static_cast<std::uint64_t>(*digit++ - '0');
        }
        decimals = static_cast<std::size_t>(digit - point);
        digits += digit - point;
    }
    if (digits > 0 && digits <= 15 && digit != end && *digit == ',') {
        const double quotient = static_cast<double>(mantissa) / powersOfTen[decimals];
        value = negative ? -quotient : quotient;
        p = digit;
        return quotient <= mostValue;
    }
    const auto [stop, problem] = std::from_chars(begin, end, value);
    p = stop;
    return problem == std::errc() && stop != end && *stop == ',' && std::abs(value) <= mostValue;
}

/// Seconds with decimals as nanoseconds, rounded to whole microseconds: further digits are beyond
/// the resolution of a double of that size.
bool parseTime(const char*& p, const char* end, Nanoseconds& time)
{
    constexpr Nanoseconds second = 1'000'000'000;
    constexpr Nanoseconds most = std::numeric_limits<Nanoseconds>::max() / second - 1;
    const char* digit = p;
    Nanoseconds seconds = 0;
    while (digit != end && isDigit(*digit)) {
        seconds = seconds * 10 + (*digit++ - '0');
        if (seconds > most) {
            return false;
        }
    }
    if (digit == p) {
        return false;
    }
    Nanoseconds fraction = 0;
    if (digit != end && *digit == '.') {
        ++digit;
        Nanoseconds place = second;
        for (; digit != end && isDigit(*digit); ++digit) {
            place /= 10;
            fraction += place * (*digit - '0');
        }
    }
    p = digit;
    time = seconds * second + (fraction + 500) / 1000 * 1000;
    return digit != end && *digit == ',';
}

/// One parsed row.
struct Row
{
    std::array<double, FIELDS> values{};
    std::array<Nanoseconds, BARO_TIME + 1> times{};
};

enum class PARSED { ROW, TORN, INVALID };

/// The field of each column.
class Columns
{
public:
    explicit Columns(std::string_view header)
    {
        m_has.fill(false);
        while (!header.empty()) {
            const std::size_t comma = header.find(',');
            const std::string_view name = trimmed(header.substr(0, comma));
            header =
                comma == std::string_view::npos ? std::string_view() : header.substr(comma + 1);
            if (name.empty() && header.empty()) {
                break; // after the last comma
            }
            const auto found = std::find(names.begin(), names.end(), name);
            m_fields.push_back(found == names.end()
                                   ? UNKNOWN
                                   : static_cast<FIELD>(std::distance(names.begin(), found)));
            if (found != names.end()) {
                m_has.at(m_fields.back()) = true;
            }
        }
    }

    bool has(FIELD field) const { return m_has[field]; }
    bool hasTriple(FIELD first) const
    {
        return m_has[first] && m_has[first + 1] && m_has[first + 2];
    }

    PARSED parse(const char* p, const char* end, Row& row) const
    {
        bool valid = true;
        for (const FIELD field : m_fields) {
            const char* const start = p;
            bool fine = true;
            if (field == UNKNOWN) {
                p = static_cast<const char*>(
                    std::memchr(p, ',', static_cast<std::size_t>(end - p)));
            } else if (field >= IMU_TIME && field <= BARO_TIME) {
                fine = parseTime(p, end, row.times[field]);
            } else {
                fine = parseNumber(p, end, row.values[field]);
            }
            if (!fine) {
                valid = false;
                p = static_cast<const char*>(
                    std::memchr(start, ',', static_cast<std::size_t>(end - start)));
            }
            if (p == nullptr || p == end) {
                return PARSED::TORN;
            }
            ++p; // after the comma
        }
        if (p != end) {
            return PARSED::TORN;
        }
        const double index = row.values[INDEX];
        valid = valid && index >= 0.0 && index <= 4294967295.0 && index == std::floor(index);
        return valid ? PARSED::ROW : PARSED::INVALID;
    }

private:
    std::vector<FIELD> m_fields;
    std::array<bool, FIELDS> m_has{};
};

/// Adds rows to the recording.
class Collector
{
public:
    Collector(Recording& recording, const Columns& columns, const Wanted& wanted)
        : m_recording(recording), m_hasImu(columns.has(IMU_TIME)),
          m_hasAcceleration(m_hasImu && columns.hasTriple(ACC_X)),
          m_hasGyroscope(m_hasImu && columns.hasTriple(GYRO_X)),
          m_hasMagnetometer(columns.has(MAG_TIME) && columns.hasTriple(MAG_X)),
          m_hasOrientation(m_hasImu && wanted.orientation && columns.hasTriple(OR_X)),
          m_hasMoving(m_hasImu && wanted.movingState && columns.has(MOVING)),
          m_hasBarometer(columns.has(BARO_TIME) && columns.has(PRESSURE) && columns.has(ALTITUDE)),
          m_hasTemperatures(columns.has(TEMP_LEFT) && columns.has(TEMP_RIGHT) &&
                            columns.has(TEMP_IMU) && columns.has(TEMP_BAROMETER))
    {}

    void reserve(std::size_t rows)
    {
        if (m_hasImu) {
            m_recording.times.reserve(rows);
            m_recording.numbers.reserve(rows);
        }
        for (Vectors* vectors : {m_hasAcceleration ? &m_recording.acceleration : nullptr,
                                 m_hasGyroscope ? &m_recording.angularVelocity : nullptr,
                                 m_hasOrientation ? &m_recording.orientation : nullptr}) {
            for (std::size_t i = 0; vectors != nullptr && i < 3; ++i) {
                vectors->axes[i].reserve(rows);
            }
        }
    }

    void take(const Row& row)
    {
        const Nanoseconds time = m_hasImu ? row.times[IMU_TIME] : row.times[MAG_TIME];
        if (m_any && time <= m_last) {
            ++(time == m_last ? m_recording.report.repeatedRows : m_recording.report.backwardRows);
            return;
        }
        m_any = true;
        m_last = time;
        ++m_recording.report.rows;
        if (m_hasImu) {
            m_recording.times.push_back(time);
            m_recording.numbers.push_back(static_cast<std::uint32_t>(row.values[INDEX]));
        }
        if (m_hasAcceleration) {
            append(m_recording.acceleration, row, ACC_X);
        }
        if (m_hasGyroscope) {
            append(m_recording.angularVelocity, row, GYRO_X);
        }
        if (m_hasOrientation) {
            append(m_recording.orientation, row, OR_X);
        }
        if (m_hasMoving) {
            m_recording.movingState.push_back(
                static_cast<std::uint8_t>(std::clamp(row.values[MOVING], 0.0, 255.0)));
        }
        takeSlow(row, time);
    }

private:
    /// The sensors with their own rate, whose values are repeated from row to row.
    void takeSlow(const Row& row, Nanoseconds time)
    {
        VectorSeries& field = m_recording.magneticField;
        const Nanoseconds magnetic = row.times[MAG_TIME];
        if (m_hasMagnetometer && magnetic > 0 &&
            (field.times.empty() || magnetic > field.times.back())) {
            field.times.push_back(magnetic);
            append(field.values, row, MAG_X);
        }
        const Nanoseconds barometer = row.times[BARO_TIME];
        const bool newBarometer = barometer > m_lastBarometer;
        m_lastBarometer = std::max(m_lastBarometer, barometer);
        if (m_hasBarometer && newBarometer) {
            m_recording.barometerTimes.push_back(barometer);
            m_recording.pressure.push_back(row.values[PRESSURE]);
            m_recording.relativeAltitude.push_back(row.values[ALTITUDE]);
        }
        std::vector<Nanoseconds>& times = m_recording.temperatureTimes;
        const bool due = barometer > 0 ? newBarometer
                                       : times.empty() || time - times.back() >= temperaturePeriod;
        if (m_hasTemperatures && due) {
            times.push_back(barometer > 0 ? barometer : time);
            for (std::size_t i = 0; i < m_recording.temperatures.size(); ++i) {
                m_recording.temperatures[i].push_back(row.values[TEMP_LEFT + i]);
            }
        }
    }

    static void append(Vectors& vectors, const Row& row, FIELD first)
    {
        for (std::size_t i = 0; i < 3; ++i) {
            vectors.axes[i].push_back(row.values[first + i]);
        }
    }

    Recording& m_recording;
    const bool m_hasImu;
    const bool m_hasAcceleration;
    const bool m_hasGyroscope;
    const bool m_hasMagnetometer;
    const bool m_hasOrientation;
    const bool m_hasMoving;
    const bool m_hasBarometer;
    const bool m_hasTemperatures;
    bool m_any = false;
    Nanoseconds m_last = 0;
    Nanoseconds m_lastBarometer = 0;
};

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

/// "…-TIV_Q-sn_12345678-TIVSensorsData.csv"
void readName(const std::string& path, Recording& recording)
{
    const std::string name = path.substr(path.find_last_of('/') + 1);
    const std::size_t serial = name.find("-sn_");
    const std::size_t model = serial == std::string::npos ? serial : name.rfind('-', serial - 1);
    if (serial == std::string::npos || serial == 0 || model == std::string::npos) {
        return;
    }
    const std::size_t digits = serial + 4;
    const std::size_t behind = name.find_first_not_of("0123456789", digits);
    if (behind > digits) {
        recording.model = name.substr(model + 1, serial - model - 1);
        recording.serial = name.substr(digits, behind - digits);
    }
}

/// A regular file in memory, for reading.
class MappedFile
{
public:
    MappedFile(const std::string& path, std::string& error)
    {
        // Without O_NONBLOCK the open of a FIFO would wait before it can be refused.
        const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (file < 0) {
            error = path + ": cannot be read: " + std::strerror(errno);
            return;
        }
        struct stat about = {};
        if (::fstat(file, &about) != 0 || !S_ISREG(about.st_mode)) {
            error = path + ": is not a regular file";
        } else if (about.st_size == 0) {
            error = path + ": is empty";
        } else {
            m_size = static_cast<std::size_t>(about.st_size);
            m_data = ::mmap(nullptr, m_size, PROT_READ, MAP_PRIVATE, file, 0);
            if (m_data == MAP_FAILED) {
                error = path + ": cannot be mapped into memory: " + std::strerror(errno);
            } else {
                ::madvise(m_data, m_size, MADV_SEQUENTIAL);
            }
        }
        ::close(file);
    }
    ~MappedFile()
    {
        if (m_data != MAP_FAILED) {
            ::munmap(m_data, m_size);
        }
    }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    bool valid() const { return m_data != MAP_FAILED; }
    const char* begin() const { return static_cast<const char*>(m_data); }
    const char* end() const { return begin() + m_size; }

    /// Gives back the memory of what has been read: a share from the begin of the file, 0 to 1.
    void release(double share)
    {
        const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        const auto read = static_cast<std::size_t>(share * static_cast<double>(m_size));
        const std::size_t pages = read / page > 0 ? (read / page - 1) * page : 0;
        if (pages > m_released) {
            ::madvise(static_cast<char*>(m_data) + m_released, pages - m_released, MADV_DONTNEED);
            m_released = pages;
        }
    }

private:
    std::size_t m_released = 0; // bytes
    void* m_data = MAP_FAILED;
    std::size_t m_size = 0;
};

} // namespace

std::optional<Recording> parseRecording(const char* begin, const char* end, const std::string& path,
                                        const Wanted& wanted, std::string& error,
                                        const std::function<bool(double)>& progress)
{
    const std::string_view header = findHeader(begin, end);
    if (header.empty()) {
        error = path + ": is no recording: no line starts with \"idx,\"";
        return std::nullopt;
    }
    const Columns columns(header);
    if (!columns.has(IMU_TIME) && !columns.has(MAG_TIME)) {
        error = path + ": has neither imu_Timestamp[sec] nor mag_Timestamp[sec]: record with the "
                       "accelerometer, the gyroscope or the magnetometer selected";
        return std::nullopt;
    }

    Recording recording;
    recording.path = path;
    readName(path, recording);
    const auto size = static_cast<std::size_t>(end - begin);
    recording.report.bytes = size;
    Collector collector(recording, columns, wanted);
    const char* const second = endOfLine(header.data() + header.size(), end);
    if (second != end) {
        // All rows have about the same length, so the length of the second one is used to estimate
        // their number.
        const auto length = static_cast<std::size_t>(endOfLine(second + 1, end) - second);
        collector.reserve(size / std::max<std::size_t>(length, 16) + 16);
    }

    Row row;
    const char* nextProgress = begin + std::min(progressStep, size);
    for (const char* line = begin; line < end;) {
        const char* stop = endOfLine(line, end);
        const char* const next = stop == end ? end : stop + 1;
        if (line != header.data() && stop != line) {
            if (stop[-1] == '\r') {
                --stop;
            }
            switch (columns.parse(line, stop, row)) {
            case PARSED::ROW:
                collector.take(row);
                break;
            case PARSED::TORN:
                ++recording.report.tornRows;
                break;
            case PARSED::INVALID:
                ++recording.report.invalidRows;
                break;
            }
        }
        line = next;
        if (line >= nextProgress && progress) {
            if (!progress(static_cast<double>(line - begin) / static_cast<double>(size))) {
                error = path + ": reading was ended";
                return std::nullopt;
            }
            nextProgress = line + std::min(progressStep, static_cast<std::size_t>(end - line));
        }
    }
    if (recording.report.rows < 2) {
        error = path + ": has less than two rows that can be used";
        return std::nullopt;
    }
    return recording;
}

std::optional<Recording> readRecording(const std::string& path, const Wanted& wanted,
                                       std::string& error,
                                       const std::function<bool(double)>& progress)
{
    MappedFile file(path, error);
    if (!file.valid()) {
        return std::nullopt;
    }
    return parseRecording(file.begin(), file.end(), path, wanted, error, [&](double share) {
        file.release(share);
        return !progress || progress(share);
    });
}

} // namespace analysis
