#include "exchange/npz_writer.h"

#include "exchange/bytes.h"
#include "exchange/npz_file.h"

#include <array>
#include <optional>

namespace exchange {

namespace {

constexpr std::size_t wide = 8; ///< bytes per number

/// An array of the file; does nothing if the recording does not have the quantity.
class Column
{
public:
    Column(NpzFile& file, bool isThere, const std::string& name, std::uint64_t rows,
           std::uint64_t width = 1, const char* type = "<f8", std::size_t size = wide)
        : m_file(file)
    {
        if (isThere) {
            m_array = width == 1 ? file.add(name, type, size, {rows})
                                 : file.add(name, type, size, {rows, width});
        }
    }

    void add(const Bytes& bytes)
    {
        if (m_array) {
            m_file.append(*m_array, bytes.text());
        }
    }
    void time(Nanoseconds value)
    {
        m_bytes.clear();
        m_bytes.u64(static_cast<std::uint64_t>(value));
        add(m_bytes);
    }
    template <typename Numbers>
    void numbers(const Numbers& values)
    {
        m_bytes.clear();
        for (const double value : values) {
            m_bytes.f64(value);
        }
        add(m_bytes);
    }
    void number(double value) { numbers(std::array<double, 1>{value}); }
    void byte(int value)
    {
        m_bytes.clear();
        m_bytes.u8(static_cast<std::uint8_t>(value));
        add(m_bytes);
    }

private:
    NpzFile& m_file;
    std::optional<std::size_t> m_array;
    Bytes m_bytes;
};

class NpzSink : public SampleSink
{
public:
    NpzSink(NpzFile& file, const Contents& has, const Counts& counts)
        : m_imuTime(file, has.imu(), "imu_time_ns", counts.imu, 1, "<i8"),
          m_acceleration(file, has.acceleration, "acceleration_m_s2", counts.imu, 3),
          m_angularVelocity(file, has.angularVelocity, "angular_velocity_rad_s", counts.imu, 3),
          m_orientation(file, has.orientation, "orientation_xyzw", counts.imu, 4),
          m_movingState(file, has.movingState, "moving_state", counts.imu, 1, "|u1", 1),
          m_magneticTime(file, has.magneticField, "magnetic_field_time_ns", counts.magneticField, 1,
                         "<i8"),
          m_magneticField(file, has.magneticField, "magnetic_field_t", counts.magneticField, 3),
          m_barometerTime(file, has.barometer, "barometer_time_ns", counts.barometer, 1, "<i8"),
          m_pressure(file, has.barometer, "pressure_pa", counts.barometer),
          m_altitude(file, has.barometer, "relative_altitude_m", counts.barometer),
          m_temperatureTime(file, has.temperatures, "temperature_time_ns", counts.temperatures, 1,
                            "<i8"),
          m_temperatures(file, has.temperatures, "temperature_left_right_imu_barometer_c",
                         counts.temperatures, 4)
    {}

    void take(const ImuSample& sample) override
    {
        m_imuTime.time(sample.time);
        m_acceleration.numbers(sample.acceleration);
        m_angularVelocity.numbers(sample.angularVelocity);
        m_orientation.numbers(sample.orientation);
        m_movingState.byte(sample.movingState);
    }
    void take(const MagneticSample& sample) override
    {
        m_magneticTime.time(sample.time);
        m_magneticField.numbers(sample.field);
    }
    void take(const BarometerSample& sample) override
    {
        m_barometerTime.time(sample.time);
        m_pressure.number(sample.pressure);
        m_altitude.number(sample.altitude);
    }
    void take(const TemperatureSample& sample) override
    {
        m_temperatureTime.time(sample.time);
        m_temperatures.numbers(sample.celsius);
    }

private:
    Column m_imuTime;
    Column m_acceleration;
    Column m_angularVelocity;
    Column m_orientation;
    Column m_movingState;
    Column m_magneticTime;
    Column m_magneticField;
    Column m_barometerTime;
    Column m_pressure;
    Column m_altitude;
    Column m_temperatureTime;
    Column m_temperatures;
};

/// A single text with four bytes per character.
class Text
{
public:
    Text(NpzFile& file, const std::string& name, const std::string& ascii)
        : m_file(file),
          m_array(file.add(name, "<U" + std::to_string(ascii.size()), 4 * ascii.size(), {}))
    {
        for (const char c : ascii) {
            m_bytes.u32(static_cast<unsigned char>(c));
        }
    }
    void write() { m_file.append(m_array, m_bytes.text()); }

private:
    NpzFile& m_file;
    std::size_t m_array;
    Bytes m_bytes;
};

} // namespace

bool writeNpz(const Job& job, Counts& counts, analysis::ReadReport& report, std::string& error)
{
    OutputFile output;
    if (!output.create(job.output, error)) {
        return false;
    }
    const auto half = [&](double from) {
        return [&job, &output, from](double share) {
            return !output.hasFailed() && job.progress(from + share / 2.0);
        };
    };
    CountingSink counter;
    if (!job.source.visit(counter, report, half(0.0), error) || !hasRows(job, report, error)) {
        return false;
    }
    counts = counter.counts();

    NpzFile file(output);
    NpzSink sink(file, job.source.contents(), counts);
    Text axes(file, "axes", nameOf(job.axes));
    Text world(file, "axes_of_world", nameOfWorld(job.axes));
    file.begin();
    axes.write();
    world.write();
    analysis::ReadReport again;
    if (!job.source.visit(sink, again, half(0.5), error)) {
        error = output.hasFailed() ? output.error() : error;
        return false;
    }
    if (!file.end()) {
        error = job.input + ": was changed while it was read";
        return false;
    }
    return output.commit(error);
}

} // namespace exchange
