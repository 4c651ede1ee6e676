#include "exchange/mcap_writer.h"

#include "exchange/cdr.h"
#include "exchange/mcap_file.h"

#include <array>
#include <optional>

namespace exchange {

namespace {

constexpr std::array<const char*, 4> places{"left", "right", "imu", "barometer"};

/// The frame is named after its axes.
std::string frameOf(AXES axes)
{
    return axes == AXES::CAMERA ? "camera_x_right_y_up" : "camera_x_forward_z_up";
}

class McapSink : public CountingSink
{
public:
    McapSink(McapFile& file, const Contents& contents, AXES axes)
        : m_file(file), m_contents(contents), m_frame(frameOf(axes))
    {
        // Readers of the profile "ros2" look for the second one; a recording has no publisher.
        const McapFile::Metadata metadata{{"axes", nameOf(axes)}, {"offered_qos_profiles", ""}};
        const auto channel = [&](const cdr::Schema& schema, const std::string& topic) {
            return addChannel(schema, "/camera/" + topic, metadata);
        };
        if (contents.acceleration || contents.angularVelocity || contents.orientation) {
            m_imu = channel(cdr::imuSchema, "imu");
        }
        if (contents.magneticField) {
            m_magneticField = channel(cdr::magneticFieldSchema, "magnetic_field");
        }
        if (contents.barometer) {
            m_pressure = channel(cdr::fluidPressureSchema, "pressure");
        }
        if (contents.temperatures) {
            for (std::size_t i = 0; i < places.size(); ++i) {
                m_temperatures.at(i) =
                    channel(cdr::temperatureSchema, std::string("temperature/") + places.at(i));
            }
        }
    }

    bool isTooLate() const { return m_isTooLate; }

    void take(const ImuSample& sample) override
    {
        if (m_imu) {
            cdr::imu(sample, m_contents, m_frame, m_text);
            add(*m_imu, sample.time);
            CountingSink::take(sample);
        }
    }
    void take(const MagneticSample& sample) override
    {
        cdr::magneticField(sample, m_frame, m_text);
        add(*m_magneticField, sample.time);
        CountingSink::take(sample);
    }
    void take(const BarometerSample& sample) override
    {
        cdr::fluidPressure(sample, m_frame, m_text);
        add(*m_pressure, sample.time);
        CountingSink::take(sample);
    }
    void take(const TemperatureSample& sample) override
    {
        for (std::size_t i = 0; i < places.size(); ++i) {
            cdr::temperature(sample.time, sample.celsius.at(i), m_frame, m_text);
            add(m_temperatures.at(i), sample.time);
        }
        CountingSink::take(sample);
    }

private:
    std::uint16_t addChannel(const cdr::Schema& schema, const std::string& topic,
                             const McapFile::Metadata& metadata)
    {
        if (m_schema != &schema) {
            m_schema = &schema;
            m_schemaNumber = m_file.addSchema(schema.name, "ros2msg", schema.text);
        }
        return m_file.addChannel(m_schemaNumber, topic, "cdr", metadata);
    }

    void add(std::uint16_t channel, Nanoseconds time)
    {
        m_isTooLate = m_isTooLate || time > cdr::latest;
        m_file.addMessage(channel, static_cast<std::uint64_t>(time), m_text);
    }

    McapFile& m_file;
    const Contents m_contents;
    const std::string m_frame;
    const cdr::Schema* m_schema = nullptr; ///< the schema that was added last
    std::uint16_t m_schemaNumber = 0;
    std::optional<std::uint16_t> m_imu;
    std::optional<std::uint16_t> m_magneticField;
    std::optional<std::uint16_t> m_pressure;
    std::array<std::uint16_t, 4> m_temperatures{};
    bool m_isTooLate = false;
    std::string m_text;
};

} // namespace

bool writeMcap(const Job& job, Counts& counts, analysis::ReadReport& report, std::string& error)
{
    OutputFile output;
    if (!output.create(job.output, error)) {
        return false;
    }
    McapFile file(output);
    file.begin("ros2", "gravimon-log");
    file.addMetadata("recording", {{"axes", nameOf(job.axes)},
                                   {"axes of the world", nameOfWorld(job.axes)},
                                   {"source", job.sourceName}});
    McapSink sink(file, job.source.contents(), job.axes);
    const auto progress = [&](double share) { return !output.hasFailed() && job.progress(share); };
    if (!job.source.visit(sink, report, progress, error)) {
        error = output.hasFailed() ? output.error() : error;
        return false;
    }
    if (!hasRows(job, report, error)) {
        return false;
    }
    if (sink.isTooLate()) {
        error = job.input + ": has times after the year 2038, which messages cannot contain";
        return false;
    }
    file.end();
    counts = sink.counts();
    return output.commit(error);
}

} // namespace exchange
