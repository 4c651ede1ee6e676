#include "analysis/recording.h"

#include "analysis/mapped_file.h"
#include "analysis/row_reader.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace analysis {

namespace {

/// Adds rows to the recording.
class Collector
{
public:
    Collector(Recording& recording, const RowReader& reader)
        : m_recording(recording), m_hasImu(reader.has(IMU_TIME)),
          m_hasAcceleration(m_hasImu && reader.hasTriple(ACC_X)),
          m_hasGyroscope(m_hasImu && reader.hasTriple(GYRO_X)), m_splitter(reader)
    {}

    void reserve(std::size_t rows)
    {
        if (m_hasImu) {
            m_recording.times.reserve(rows);
            m_recording.numbers.reserve(rows);
        }
        for (Vectors* vectors : {m_hasAcceleration ? &m_recording.acceleration : nullptr,
                                 m_hasGyroscope ? &m_recording.angularVelocity : nullptr}) {
            for (std::size_t i = 0; vectors != nullptr && i < 3; ++i) {
                vectors->axes[i].reserve(rows);
            }
        }
    }

    void take(const RecordedRow& row)
    {
        const SampleSplitter::New found = m_splitter.take(row, m_recording.report);
        if (!found.row) {
            return;
        }
        if (m_hasImu) {
            m_recording.times.push_back(found.time);
            m_recording.numbers.push_back(static_cast<std::uint32_t>(row.values[INDEX]));
        }
        if (m_hasAcceleration) {
            append(m_recording.acceleration, row, ACC_X);
        }
        if (m_hasGyroscope) {
            append(m_recording.angularVelocity, row, GYRO_X);
        }
        takeSlow(row, found);
    }

private:
    /// The sensors with their own rate.
    void takeSlow(const RecordedRow& row, const SampleSplitter::New& found)
    {
        if (found.magnetometer) {
            m_recording.magneticField.times.push_back(*found.magnetometer);
            append(m_recording.magneticField.values, row, MAG_X);
        }
        if (found.barometer) {
            m_recording.barometerTimes.push_back(*found.barometer);
            m_recording.pressure.push_back(row.values[PRESSURE]);
            m_recording.relativeAltitude.push_back(row.values[ALTITUDE]);
        }
        if (found.temperatures) {
            m_recording.temperatureTimes.push_back(*found.temperatures);
            for (std::size_t i = 0; i < m_recording.temperatures.size(); ++i) {
                m_recording.temperatures[i].push_back(row.values[TEMP_LEFT + i]);
            }
        }
    }

    static void append(Vectors& vectors, const RecordedRow& row, COLUMN first)
    {
        for (std::size_t i = 0; i < 3; ++i) {
            vectors.axes[i].push_back(row.values[first + i]);
        }
    }

    Recording& m_recording;
    const bool m_hasImu;
    const bool m_hasAcceleration;
    const bool m_hasGyroscope;
    SampleSplitter m_splitter;
};

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

double shareOf(std::uint64_t part, std::uint64_t all)
{
    return all > 0 ? static_cast<double>(part) / static_cast<double>(all) : 0.0;
}

double lostShareOf(const SlowReport& sensor)
{
    return shareOf(sensor.backward, sensor.samples + sensor.backward);
}

} // namespace

double lostShareOf(const ReadReport& report)
{
    const std::uint64_t torn = report.tornRows - std::min<std::uint64_t>(report.tornRows, 1);
    const std::uint64_t lost = torn + report.invalidRows + report.backwardRows;
    const std::uint64_t all = report.rows + report.repeatedRows + report.slowRows + lost;
    return std::max(
        {shareOf(lost, all), lostShareOf(report.magnetometer), lostShareOf(report.barometer)});
}

std::string leftOutText(const ReadReport& report)
{
    const std::tuple<std::uint64_t, const char*, const char*> reasons[] = {
        {report.tornRows, "row", "with another number of fields than the header"},
        {report.invalidRows, "row", "with a field that is no number from -1e9 to 1e9"},
        {report.repeatedRows, "row", "with the time of the last row that was kept"},
        {report.backwardRows, "row", "with a time before that of the last row that was kept"},
        {report.magnetometer.backward, "sample",
         "of the magnetometer with a time before that of its last one that was kept"},
        {report.barometer.backward, "sample",
         "of the barometer with a time before that of its last one that was kept"},
    };
    std::string text;
    for (const auto& [number, what, why] : reasons) {
        if (number > 0) {
            text += (text.empty() ? "" : ", ") + std::to_string(number) + " " + what +
                    (number == 1 ? " " : "s ") + why;
        }
    }
    return text;
}

std::optional<Recording> parseRecording(const char* begin, const char* end, const std::string& path,
                                        std::string& error,
                                        const std::function<bool(double)>& progress)
{
    const std::optional<RowReader> reader = RowReader::of(begin, end, path, error);
    if (!reader) {
        return std::nullopt;
    }
    if (!reader->has(IMU_TIME) && !reader->has(MAG_TIME)) {
        error = path + ": has neither imu_Timestamp[sec] nor mag_Timestamp[sec]: record with the "
                       "accelerometer, the gyroscope or the magnetometer selected";
        return std::nullopt;
    }

    Recording recording;
    recording.path = path;
    readName(path, recording);
    Collector collector(recording, *reader);
    collector.reserve(reader->likelyRows());
    if (!reader->visit([&collector](const RecordedRow& row) { collector.take(row); },
                       recording.report, progress, error)) {
        return std::nullopt;
    }
    if (recording.report.rows < 2) {
        const std::string leftOut = leftOutText(recording.report);
        error = path + ": has fewer than two usable rows" +
                (leftOut.empty() ? "" : "; left out: " + leftOut);
        return std::nullopt;
    }
    return recording;
}

std::optional<Recording> readRecording(const std::string& path, std::string& error,
                                       const std::function<bool(double)>& progress)
{
    MappedFile file(path, error);
    if (!file.valid()) {
        return std::nullopt;
    }
    auto recording = parseRecording(file.begin(), file.end(), path, error, [&](double share) {
        file.release(share);
        return !progress || progress(share);
    });
    // What the file has lost would be reported as torn rows otherwise.
    if (!file.remainedWhole(error)) {
        return std::nullopt;
    }
    return recording;
}

} // namespace analysis
