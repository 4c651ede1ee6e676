#include "exchange/cdr.h"

#include "exchange/bytes.h"

namespace exchange::cdr {

namespace {

#define HEADER_DEFINITIONS                                                                         \
    "================================================================================\n"           \
    "MSG: std_msgs/Header\n"                                                                       \
    "builtin_interfaces/Time stamp\n"                                                              \
    "string frame_id\n"                                                                            \
    "================================================================================\n"           \
    "MSG: builtin_interfaces/Time\n"                                                               \
    "int32 sec\n"                                                                                  \
    "uint32 nanosec\n"
#define VECTOR_DEFINITION                                                                          \
    "================================================================================\n"           \
    "MSG: geometry_msgs/Vector3\n"                                                                 \
    "float64 x\n"                                                                                  \
    "float64 y\n"                                                                                  \
    "float64 z\n"

constexpr std::size_t covariances = 9;
constexpr std::size_t encapsulation = 4; ///< bytes before the first aligned field

/// Numbers start at a multiple of their size.
class Message
{
public:
    Message(Nanoseconds time, const std::string& frame)
    {
        constexpr Nanoseconds second = 1'000'000'000;
        m_bytes.raw({"\x00\x01\x00\x00", encapsulation});
        m_bytes.i32(static_cast<std::int32_t>(time / second));
        m_bytes.u32(static_cast<std::uint32_t>(time % second));
        m_bytes.u32(static_cast<std::uint32_t>(frame.size() + 1));
        m_bytes.raw(frame);
        m_bytes.u8(0);
    }

    void number(double value)
    {
        constexpr std::size_t size = 8;
        m_bytes.zeros((size - (m_bytes.size() - encapsulation) % size) % size);
        m_bytes.f64(value);
    }
    template <typename Numbers>
    void numbers(const Numbers& values)
    {
        for (const double value : values) {
            number(value);
        }
    }
    void covariance(bool known)
    {
        number(known ? 0.0 : -1.0);
        for (std::size_t i = 1; i < covariances; ++i) {
            number(0.0);
        }
    }

    const std::string& text() const { return m_bytes.text(); }

private:
    Bytes m_bytes;
};

} // namespace

const Schema imuSchema{
    "sensor_msgs/msg/Imu",
    "std_msgs/Header header\n"
    "geometry_msgs/Quaternion orientation\n"
    "float64[9] orientation_covariance\n"
    "geometry_msgs/Vector3 angular_velocity\n"
    "float64[9] angular_velocity_covariance\n"
    "geometry_msgs/Vector3 linear_acceleration\n"
    "float64[9] linear_acceleration_covariance\n" HEADER_DEFINITIONS
    "================================================================================\n"
    "MSG: geometry_msgs/Quaternion\n"
    "float64 x\n"
    "float64 y\n"
    "float64 z\n"
    "float64 w\n" VECTOR_DEFINITION};

const Schema magneticFieldSchema{
    "sensor_msgs/msg/MagneticField",
    "std_msgs/Header header\n"
    "geometry_msgs/Vector3 magnetic_field\n"
    "float64[9] magnetic_field_covariance\n" HEADER_DEFINITIONS VECTOR_DEFINITION};

const Schema fluidPressureSchema{"sensor_msgs/msg/FluidPressure",
                                 "std_msgs/Header header\n"
                                 "float64 fluid_pressure\n"
                                 "float64 variance\n" HEADER_DEFINITIONS};

const Schema temperatureSchema{"sensor_msgs/msg/Temperature",
                               "std_msgs/Header header\n"
                               "float64 temperature\n"
                               "float64 variance\n" HEADER_DEFINITIONS};

void imu(const ImuSample& sample, const Contents& contents, const std::string& frame,
         std::string& text)
{
    const Quaternion none{0.0, 0.0, 0.0, 1.0};
    Message message(sample.time, frame);
    message.numbers(contents.orientation ? sample.orientation : none);
    message.covariance(contents.orientation);
    message.numbers(sample.angularVelocity);
    message.covariance(contents.angularVelocity);
    message.numbers(sample.acceleration);
    message.covariance(contents.acceleration);
    text = message.text();
}

void magneticField(const MagneticSample& sample, const std::string& frame, std::string& text)
{
    Message message(sample.time, frame);
    message.numbers(sample.field);
    message.covariance(true);
    text = message.text();
}

void fluidPressure(const BarometerSample& sample, const std::string& frame, std::string& text)
{
    Message message(sample.time, frame);
    message.number(sample.pressure);
    message.number(0.0);
    text = message.text();
}

void temperature(Nanoseconds time, double celsius, const std::string& frame, std::string& text)
{
    Message message(time, frame);
    message.number(celsius);
    message.number(0.0);
    text = message.text();
}

} // namespace exchange::cdr
