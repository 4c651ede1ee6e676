/// @file
/// Builds a recording from the lines of its CSV file.
#pragma once

#include "replay/line_cutter.h"
#include "replay/recording_report.h"
#include "replay/sensor_recording.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace om::bench {

/// Positions of the columns in the file; -1 for a missing column.
struct RecordingColumns
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

/// The times of the rows since the first one.
class RecordingPace
{
public:
    /// No value, with the reason in the report, for a time that is not valid for this row.
    std::optional<double> place(double time, std::size_t line, RecordingReport& report);

private:
    std::optional<double> m_before; ///< s, as recorded
    double m_shift = 0.0;           ///< s, difference to the time since the first row
};

/// Builds a recording from lines. The first one is the header, possibly after some early rows.
class RecordingParser
{
public:
    explicit RecordingParser(const std::string& name) : m_report(name) {}

    /// Sets the length of the file, so that memory can be reserved early.
    void expect(std::uint64_t bytes) { m_expected = bytes; }

    void take(const Line& line);

    /// No header was found: the rest is not needed.
    bool hasNoHeader() const { return m_noHeader; }

    std::shared_ptr<const SensorRecording> finish(std::string& report);

private:
    void takeHeader(const Line& line);

    void takeRow(const Line& line);

    /// Reads the numbers of a line. False, with the reason in the report, for an invalid line.
    bool readValues(const Line& line);

    double value(int place) const { return m_values[static_cast<std::size_t>(place)]; }
    float single(int place) const { return static_cast<float>(value(place)); }
    std::array<float, 3> triple(const std::array<int, 3>& places) const;

    /// Appends a row with the values read last.
    void append(double time);

    /// Calls change() for each column with one element per row that the file has.
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

    /// Reserves memory for the rows of the rest of the file, estimated from the length of the first
    /// ones: a column that grows by doubling needs its memory twice for a moment.
    void setAside();

    static constexpr std::size_t rowsOfEstimate = 1000;
    static constexpr double estimateMargin = 1.05;

    struct EarlyLine
    {
        std::string text;
        Line line; ///< its text is no longer valid
    };

    RecordingReport m_report;
    std::uint64_t m_expected = 0; ///< bytes
    std::uint64_t m_taken = 0;
    bool m_noHeader = false;
    std::vector<EarlyLine> m_early;
    std::vector<std::string> m_header;
    RecordingColumns m_at;
    std::shared_ptr<SensorRecording> m_made = std::make_shared<SensorRecording>();
    std::vector<std::string_view> m_fields;
    std::vector<double> m_values;
    RecordingPace m_pace;
    double m_magTime = 0.0;
    double m_baroTime = 0.0;
};

} // namespace om::bench
