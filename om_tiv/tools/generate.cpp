#include "tools/generate.h"

#include "base/files.h"
#include "replay/recording_row.h"
#include "world/physics.h"
#include "world/standard_air.h"

#include <om_tiv/sensors.h>
#include <om_tiv/transform.h>

#include <cerrno>
#include <cmath>
#include <memory>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace om::bench {

namespace {

using LOCATION = SensorsData::TemperatureData::SENSOR_LOCATION;

constexpr std::size_t buffer = std::size_t{1} << 20U;
constexpr Nanoseconds temperatureSlot = 40 * nsPerMs;

/// The newest sample of a stream as time goes on.
class Newest
{
public:
    Newest(const PhysicsSource& source, STREAM stream)
        : m_source(source), m_stream(stream), m_nextTime(source.timeOf(stream, 0))
    {}

    const std::optional<std::uint64_t>& at(Nanoseconds time)
    {
        while (m_nextTime <= time) {
            if (!m_source.isLost(m_stream, m_next)) {
                m_number = m_next;
            }
            m_nextTime = m_source.timeOf(m_stream, ++m_next);
        }
        return m_number;
    }

private:
    const PhysicsSource& m_source;
    const STREAM m_stream;
    std::uint64_t m_next = 0;
    Nanoseconds m_nextTime;
    std::optional<std::uint64_t> m_number;
};

std::array<float, 3> floats(const Vector& v)
{
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

double recordedSeconds(Nanoseconds time)
{
    const Nanoseconds microseconds = time / 1000;
    return static_cast<double>(microseconds) / 1e6;
}

/// The rows that the program makes of a camera's samples.
class Rows
{
public:
    Rows(const CameraConfig& config, const Field& field)
        : m_faults(config.faults), m_environment(environmentOf(config, field)),
          m_source(config, std::make_shared<MotionTimeline>(config.motion, config.pose, start),
                   m_environment, start),
          m_magnetometer(m_source, STREAM::MAGNETOMETER), m_barometer(m_source, STREAM::BAROMETER)
    {
        if (hasBarometer()) {
            m_groundPressure = m_source.barometer(0).pressure;
        }
    }

    static constexpr Nanoseconds start = generatedStartSeconds * nsPerS;

    Nanoseconds timeOf(std::uint64_t number) const { return m_source.timeOf(STREAM::IMU, number); }

    /// @return the row of an IMU sample; none where the program makes none
    const RecordingRow* rowOf(std::uint64_t number)
    {
        if (m_source.isLost(STREAM::IMU, number)) {
            return nullptr;
        }
        const Nanoseconds reported = reportedTime(STREAM::IMU, number);
        const std::uint64_t former = m_lastMicroseconds;
        m_lastMicroseconds = reported / 1000;
        if (former == 0 || former == m_lastMicroseconds) {
            return nullptr;
        }
        const Nanoseconds time = timeOf(number);
        m_row.index = m_rows++;
        m_row.imuTime = recordedSeconds(reported);
        fillImu(m_source.imu(number));
        fillMagnetometer(time);
        fillBarometer(time);
        fillTemperatures(time);
        return &m_row;
    }

    std::uint64_t count() const { return m_rows; }

private:
    static std::shared_ptr<const Environment> environmentOf(const CameraConfig& config,
                                                            const Field& field)
    {
        auto environment = std::make_shared<Environment>();
        environment->field = [field] { return field; };
        environment->magneticDisturbance.store(config.faults.magneticDisturbance);
        environment->magnetometerSaturated.store(config.faults.magnetometerSaturated);
        return environment;
    }

    bool hasBarometer() const
    {
        return m_source.has(STREAM::BAROMETER) && !m_faults.barometerAbsent;
    }

    Nanoseconds reportedTime(STREAM stream, std::uint64_t number) const
    {
        const bool repeats = m_faults.repeatedTimestamps && number % 2 == 1;
        return m_source.timeOf(stream, repeats ? number - 1 : number);
    }

    void fillImu(const ImuSample& sample)
    {
        m_row.acceleration = floats(sample.linearAcceleration);
        m_row.angularVelocity = floats(sample.angularVelocity);
        Orientation orientation;
        orientation.ow = static_cast<float>(sample.pose.w);
        orientation.ox = static_cast<float>(sample.pose.x);
        orientation.oy = static_cast<float>(sample.pose.y);
        orientation.oz = static_cast<float>(sample.pose.z);
        const Vector3<float> angles = Transform(orientation, Translation()).getEulerAngles(true);
        const auto degrees = [](float radians) {
            return static_cast<float>(static_cast<double>(radians) * 180.0 / pi);
        };
        m_row.orientation = {degrees(angles.x), degrees(angles.y), degrees(angles.z)};
        m_row.movingState = sample.movingState;
    }

    void fillMagnetometer(Nanoseconds time)
    {
        if (!m_source.has(STREAM::MAGNETOMETER) || m_faults.magnetometerAbsent) {
            return;
        }
        const auto& number = m_magnetometer.at(time);
        if (number && number != m_fieldNumber) {
            m_fieldNumber = number;
            m_row.field = floats(m_source.magnetometer(*number).body());
            m_row.magnetometerTime = recordedSeconds(reportedTime(STREAM::MAGNETOMETER, *number));
        }
    }

    void fillBarometer(Nanoseconds time)
    {
        if (!hasBarometer()) {
            return;
        }
        const auto& number = m_barometer.at(time);
        if (number && number != m_pressureNumber) {
            m_pressureNumber = number;
            const double pressure = m_source.barometer(*number).pressure;
            m_row.pressure =
                static_cast<float>(static_cast<double>(static_cast<float>(pressure)) / 100.0);
            m_row.altitude = static_cast<float>(heightAbove(m_groundPressure, pressure));
            m_row.barometerTime = recordedSeconds(reportedTime(STREAM::BAROMETER, *number));
        }
    }

    void fillTemperatures(Nanoseconds time)
    {
        const Nanoseconds slot = time / temperatureSlot;
        if (slot == m_slot) {
            return;
        }
        m_slot = slot;
        auto values = m_source.temperatures(slot * temperatureSlot);
        const auto at = [&values](LOCATION location) -> std::optional<double>& {
            return values.at(static_cast<std::size_t>(location));
        };
        std::optional<double>& left = at(LOCATION::LEFT);
        std::optional<double>& right = at(LOCATION::RIGHT);
        std::optional<double>& imu = at(LOCATION::IMU);
        if (m_faults.boardTemperaturesAbsent) {
            left.reset();
            right.reset();
        }
        if (m_faults.imuTemperatureAbsent) {
            imu.reset();
        }
        const auto put = [](const std::optional<double>& from, float& to) {
            if (from) {
                to = static_cast<float>(*from);
            }
        };
        // Without sensors on the board the IMU's temperature is used for both.
        const bool onBoard = left && right;
        put(onBoard ? left : imu, m_row.tempLeft);
        put(onBoard ? right : imu, m_row.tempRight);
        m_row.tempImu = 0.0F;
        put(imu, m_row.tempImu);
        m_row.tempBarometer = m_row.tempImu; // without a barometer the IMU's
        put(at(LOCATION::BAROMETER), m_row.tempBarometer);
    }

    const Faults m_faults;
    const std::shared_ptr<const Environment> m_environment;
    const PhysicsSource m_source;
    Newest m_magnetometer;
    Newest m_barometer;
    double m_groundPressure = 0.0; ///< Pa
    std::uint64_t m_lastMicroseconds = 0;
    std::uint64_t m_rows = 0;
    std::optional<std::uint64_t> m_fieldNumber;
    std::optional<std::uint64_t> m_pressureNumber;
    Nanoseconds m_slot = 0;
    RecordingRow m_row; ///< slow sensors keep their values until their next sample
};

/// A file that is removed again unless it is kept.
class NewFile
{
public:
    explicit NewFile(std::string path)
        : m_path(std::move(path)),
          m_file(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)),
          m_isOurs(m_file.valid())
    {}
    ~NewFile()
    {
        if (m_isOurs) {
            ::unlink(m_path.c_str());
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    bool isOpen() const { return m_isOurs; }
    bool write(const std::string& text) { return writeAll(m_file, text); }
    bool keep()
    {
        m_isOurs = !m_file.close();
        return !m_isOurs;
    }

private:
    const std::string m_path;
    Descriptor m_file;
    bool m_isOurs; ///< removed by the destructor
};

std::string lastError()
{
    return std::generic_category().message(errno);
}

} // namespace

bool generateRecording(const CameraConfig& camera, const Field& field, double seconds,
                       const std::string& path, const std::function<bool(double)>& proceed,
                       Generated& generated, std::string& error)
{
    const std::string name = "camera " + std::to_string(camera.serialNumber) + ": ";
    if (!hasImu(camera.model)) {
        error = name + "has no sensors; choose another camera";
        return false;
    }
    if (!camera.replay.empty()) {
        error = name + "plays a recording; choose another camera, or remove \"replay\"";
        return false;
    }
    if (camera.faults.frozenTimestamps) {
        error = name + "its timestamps do not change, which gives no row; remove "
                       "\"frozenTimestamps\"";
        return false;
    }
    NewFile file(path);
    if (!file.isOpen()) {
        error = path + ": " +
                (errno == EEXIST ? "exists already; choose another name or remove it"
                                 : "cannot be written: " + lastError());
        return false;
    }
    Rows rows(camera, field);
    const auto length = static_cast<Nanoseconds>(std::llround(seconds * 1e9));
    std::string text = recordingHeader();
    text.reserve(buffer + 4096);
    bool isWritten = true;
    for (std::uint64_t number = 0; isWritten; ++number) {
        const Nanoseconds elapsed = rows.timeOf(number) - Rows::start;
        if (elapsed > length) {
            break;
        }
        if (const RecordingRow* const row = rows.rowOf(number)) {
            appendRow(text, *row);
        }
        if (text.size() >= buffer) {
            isWritten = file.write(text);
            text.clear();
            if (isWritten && !proceed(static_cast<double>(elapsed) / static_cast<double>(length))) {
                error = path + ": interrupted; the file was removed";
                return false;
            }
        }
    }
    if (!isWritten || !file.write(text) || !file.keep()) {
        error = path + ": cannot be written: " + lastError() + "; the file was removed";
        return false;
    }
    generated = {camera.serialNumber, rows.count(), seconds};
    return true;
}

} // namespace om::bench
