/// @file
/// Reads the rows of a recorded CSV file one by one, in constant memory for any length.
#pragma once

#include "analysis/recording.h"

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace analysis {

/// The columns of a recording.
enum COLUMN : std::size_t {
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
    COLUMNS,
    UNKNOWN = COLUMNS
};

/// One row. A column that the file does not have is 0.
struct RecordedRow
{
    std::array<double, COLUMNS> values{};           ///< all columns except the times
    std::array<Nanoseconds, BARO_TIME + 1> times{}; ///< IMU_TIME to BARO_TIME
};

/// Reads the rows of a text that the caller keeps in memory.
class RowReader
{
public:
    /// Finds the header. Rows may precede it.
    /// @param path  for messages
    /// @param error one line if there is no header of a recording
    static std::optional<RowReader> of(const char* begin, const char* end, const std::string& path,
                                       std::string& error);

    bool has(COLUMN column) const { return m_has[column]; }
    bool hasTriple(COLUMN first) const
    {
        return m_has[first] && m_has[first + 1] && m_has[first + 2];
    }

    std::size_t likelyRows() const; ///< an estimate, usually slightly too high

    /// Calls take() with each row that can be read, in the order of the file.
    /// @param report   receives the number of bytes and of rows that can't be read
    /// @param progress is called from time to time with the share that has been read, 0 to 1; false
    /// ends the reading
    /// @return false with the error if progress() ended the reading
    bool visit(const std::function<void(const RecordedRow&)>& take, ReadReport& report,
               const std::function<bool(double)>& progress, std::string& error) const;

private:
    enum class PARSED { ROW, TORN, INVALID };
    using Texts = std::array<std::string_view, COLUMNS>;

    RowReader(const char* begin, const char* end, std::string_view header, const std::string& path);
    /// @param row   has the values of the row before
    /// @param texts of the columns of slow sensors in the row before, each with its comma; empty if
    /// it can't be used again
    PARSED parse(const char* p, const char* end, RecordedRow& row, Texts& texts) const;

    const char* m_begin;
    const char* m_end;
    std::string_view m_header;
    std::string m_path;
    std::vector<COLUMN> m_columns;
    std::array<bool, COLUMNS> m_has{};
};

/// Determines which samples of a row are new, because rows repeat the samples of slow sensors. Pass
/// all rows in their order.
class SampleSplitter
{
public:
    /// The new samples of a row, with their times.
    struct New
    {
        /// False if the row is not later than the last one that was kept, or if the slow sensor
        /// whose times order the rows has no sample.
        bool row = false;
        Nanoseconds time = 0; ///< of the IMU; of the magnetometer or the barometer in files without
        std::optional<Nanoseconds> magnetometer;
        std::optional<Nanoseconds> barometer;
        /// Once per barometer sample; once in 40 ms without a barometer. None while all are 0.
        std::optional<Nanoseconds> temperatures;
    };

    explicit SampleSplitter(const RowReader& reader);

    bool hasImu() const { return m_time == IMU_TIME; }
    bool hasMagnetometer() const { return m_hasMagnetometer; }
    bool hasBarometer() const { return m_hasBarometer; }
    bool hasTemperatures() const { return m_hasTemperatures; }

    /// @param report counts the row, or why it is left out. In a file without the time of the IMU,
    /// a row without a new sample of the slow sensor counts in slowRows
    New take(const RecordedRow& row, ReadReport& report);

private:
    /// The times of a sensor that is slower than the rows.
    class SlowTimes
    {
    public:
        /// @param time of the sensor in the next row; 0 if it has no sample
        /// @return whether this is a new sample that is kept
        bool take(Nanoseconds time, SlowReport& report);

    private:
        Nanoseconds m_last = 0;   ///< of the last sample that was kept
        Nanoseconds m_before = 0; ///< of the one before it
        Nanoseconds m_row = 0;    ///< of the last row
    };

    COLUMN m_time; ///< the time by which the rows are ordered
    bool m_hasMagnetometer;
    bool m_hasBarometer;
    bool m_hasTemperatures;
    bool m_any = false;
    Nanoseconds m_last = 0;
    SlowTimes m_magnetometer;
    SlowTimes m_barometer;
    std::optional<Nanoseconds> m_lastTemperatures;
};

} // namespace analysis
