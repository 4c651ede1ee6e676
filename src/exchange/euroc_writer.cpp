#include "exchange/euroc_writer.h"

#include "exchange/output_file.h"
#include "files/files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <memory>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace exchange {

namespace {

namespace fs = std::filesystem;

/// The shortest text that is read as the same number.
void addNumber(std::string& line, double value)
{
    std::array<char, 32> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    line.append(digits.data(), end.ptr);
}

/// A new or empty folder. Unless keep() is called, the destructor removes what was created in it.
class OutputFolder
{
public:
    ~OutputFolder()
    {
        std::error_code ignored;
        if (!m_made.empty()) {
            fs::remove_all(m_root, ignored);
            if (m_made != m_root) {
                ::rmdir(m_made.c_str()); // fails if another program has created something in it
            }
        }
    }
    bool create(const std::string& path, std::string& error)
    {
        std::error_code ignored;
        const bool isNew = ::mkdir(path.c_str(), 0777) == 0;
        const int number = errno;
        if (!isNew &&
            !(number == EEXIST && fs::is_directory(path, ignored) && fs::is_empty(path, ignored))) {
            error = files::whyNotMade(path, number);
            return false;
        }
        m_root = path + "/mav0";
        if (!makeFolder(m_root, error)) {
            if (isNew) {
                ::rmdir(path.c_str()); // fails if another program has created something in it
            }
            return false;
        }
        m_made = isNew ? path : m_root;
        return true;
    }
    bool makeFolder(const std::string& path, std::string& error)
    {
        const bool made = ::mkdir(path.c_str(), 0777) == 0;
        if (!made) {
            error = files::whyNotMade(path, errno);
        }
        return made;
    }
    const std::string& root() const { return m_root; }
    void keep() { m_made.clear(); }

private:
    std::string m_root;
    std::string m_made;
};

/// The files of one sensor.
class SensorFolder
{
public:
    bool create(OutputFolder& folder, const std::string& name, const std::string& header,
                std::string& error)
    {
        m_path = folder.root() + "/" + name;
        if (!folder.makeFolder(m_path, error) || !m_data.create(m_path + "/data.csv", error)) {
            return false;
        }
        m_data.append(header + "\n");
        return true;
    }

    template <typename Numbers>
    void begin(Nanoseconds time, const Numbers& values)
    {
        m_line = std::to_string(time);
        more(values);
        takeDistance(time);
    }
    template <typename Numbers>
    void more(const Numbers& values)
    {
        for (const double value : values) {
            m_line += ',';
            addNumber(m_line, value);
        }
    }
    void end()
    {
        m_line += '\n';
        m_data.append(m_line);
    }

    bool finish(const std::string& type, const std::string& comment, std::string& error)
    {
        OutputFile yaml;
        if (!yaml.create(m_path + "/sensor.yaml", error)) {
            return false;
        }
        std::string text = "sensor_type: " + type + "\ncomment: " + comment +
                           "\n\n# Sensor axes with respect to the body.\n"
                           "T_BS:\n  cols: 4\n  rows: 4\n"
                           "  data: [1.0, 0.0, 0.0, 0.0,\n         0.0, 1.0, 0.0, 0.0,\n"
                           "         0.0, 0.0, 1.0, 0.0,\n         0.0, 0.0, 0.0, 1.0]\n";
        if (const double rate = rateHz(); rate > 0.0) {
            text += "rate_hz: ";
            addNumber(text, rate);
            text += "\n";
        }
        yaml.append(text);
        return yaml.commit(error) && m_data.commit(error);
    }
    bool hasFailed() const { return m_data.hasFailed(); }
    const std::string& error() const { return m_data.error(); }

private:
    void takeDistance(Nanoseconds time)
    {
        constexpr std::size_t enough = 4096;
        if (m_last > 0 && m_distances.size() < enough) {
            m_distances.push_back(static_cast<double>(time - m_last));
        }
        m_last = time;
    }
    /// The rate from the median of the first intervals, which gaps do not affect.
    double rateHz()
    {
        if (m_distances.empty()) {
            return 0.0;
        }
        const auto middle =
            m_distances.begin() + static_cast<std::ptrdiff_t>(m_distances.size() / 2);
        std::nth_element(m_distances.begin(), middle, m_distances.end());
        return 1e9 / *middle;
    }

    std::string m_path;
    OutputFile m_data;
    std::string m_line;
    Nanoseconds m_last = 0;
    std::vector<double> m_distances;
};

class EurocSink : public CountingSink
{
public:
    bool create(OutputFolder& folder, const Contents& has, std::string& error)
    {
        m_has = has;
        return m_imu.create(folder, "imu0",
                            "#timestamp [ns],w_RS_S_x [rad s^-1],w_RS_S_y [rad s^-1],"
                            "w_RS_S_z [rad s^-1],a_RS_S_x [m s^-2],a_RS_S_y [m s^-2],"
                            "a_RS_S_z [m s^-2]",
                            error) &&
               (!has.magneticField ||
                m_magnetometer.create(folder, "mag0",
                                      "#timestamp [ns],m_RS_S_x [T],m_RS_S_y [T],m_RS_S_z [T]",
                                      error)) &&
               (!has.barometer ||
                m_barometer.create(folder, "baro0",
                                   "#timestamp [ns],pressure [Pa],relative_altitude [m]", error));
    }

    void take(const ImuSample& sample) override
    {
        m_imu.begin(sample.time, sample.angularVelocity);
        m_imu.more(sample.acceleration);
        m_imu.end();
        CountingSink::take(sample);
    }
    void take(const MagneticSample& sample) override
    {
        m_magnetometer.begin(sample.time, sample.field);
        m_magnetometer.end();
        CountingSink::take(sample);
    }
    void take(const BarometerSample& sample) override
    {
        m_barometer.begin(sample.time, std::array<double, 2>{sample.pressure, sample.altitude});
        m_barometer.end();
        CountingSink::take(sample);
    }
    void take(const TemperatureSample&) override {} // the layout has no place for them

    const SensorFolder* failed() const
    {
        for (const SensorFolder* const folder : {&m_imu, &m_magnetometer, &m_barometer}) {
            if (folder->hasFailed()) {
                return folder;
            }
        }
        return nullptr;
    }
    bool finish(AXES axes, std::string& error)
    {
        const std::string axesText = "axes " + nameOf(axes);
        return m_imu.finish("imu", axesText, error) &&
               (!m_has.magneticField || m_magnetometer.finish("magnetometer", axesText, error)) &&
               (!m_has.barometer || m_barometer.finish("barometer", "no axes", error));
    }

private:
    Contents m_has;
    SensorFolder m_imu;
    SensorFolder m_magnetometer;
    SensorFolder m_barometer;
};

} // namespace

bool writeEuroc(const Job& job, Counts& counts, analysis::ReadReport& report, std::string& error)
{
    const Contents& has = job.source.contents();
    if (!has.acceleration || !has.angularVelocity) {
        error = job.input + ": lacks the accelerometer or the gyroscope, which the EuRoC layout "
                            "needs";
        return false;
    }
    OutputFolder folder;
    EurocSink sink;
    if (!folder.create(job.output, error) || !sink.create(folder, has, error)) {
        return false;
    }
    const auto progress = [&](double share) {
        return sink.failed() == nullptr && job.progress(share);
    };
    if (!job.source.visit(sink, report, progress, error)) {
        error = sink.failed() != nullptr ? sink.failed()->error() : error;
        return false;
    }
    if (!hasRows(job, report, error) || !sink.finish(job.axes, error)) {
        return false;
    }
    counts = sink.counts();
    folder.keep();
    return true;
}

} // namespace exchange
