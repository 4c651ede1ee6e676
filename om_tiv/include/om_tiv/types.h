/// @file
/// Basic types of the camera library: result codes, enumerations, strings, sizes, vectors.
///
/// Enumerators have the values of the interface. Only an ERROR_CODE or a MODEL may also have a
/// value without an enumerator.
#pragma once

#include <cstddef>
#include <string>

namespace om {

/// Result of the operations that can fail. 0 is success and 4 means that the camera is gone. Every
/// other value is a failure, also one without an enumerator; the different values only help to find
/// the cause.
enum class ERROR_CODE : int {
    SUCCESS = 0,
    FAILURE = 1,       ///< a failure without a more specific code
    TIMEOUT = 2,       ///< no frame in time; the next call may succeed
    CAMERA_GONE = 4,   ///< unplugged, or lost for another reason; only a new open() helps
    NOT_DETECTED = 5,  ///< open(): no such camera on the bus
    IN_USE = 6,        ///< open(): another object has the camera open
    INVALID_INPUT = 7, ///< an unusable argument or recorded file
};

/// Camera models.
enum class MODEL : int {
    TIV = 0,      ///< first model, without sensors
    TIV_N = 1,    ///< accelerometer, gyroscope and orientation only
    TIV_P = 2,    ///< all sensors
    TIV_Q = 3,    ///< all sensors
    TIV_R = 4,    ///< serial bus; no barometer, no magnetometer
    TIV_S = 5,    ///< serial bus; no barometer, no magnetometer
    UNKNOWN = 32, ///< in a record that no open() has filled
};

enum class BUS_TYPE : int {
    SERIAL = 1, ///< deserialiser bus of TIV_R and TIV_S
    USB = 2,    ///< USB of all other models
};

/// Image size requested in open(). CameraInformation::resolution is the actual size.
enum class RESOLUTION : int {
    HD1200 = 3, ///< 1920 x 1200
    HD720 = 6,  ///< 1280 x 720
    AUTO = 7,   ///< the model's own choice
};

enum class DEPTH_MODE : int { NONE = 0, STANDARD = 1 };
enum class UNIT : int { MILLIMETRE = 0, METRE = 2 };

/// Axes of poses and body-frame sensor values.
enum class COORDINATE_SYSTEM : int {
    IMAGE = 0,             ///< x right, y down, z forward
    RIGHT_HANDED_Y_UP = 2, ///< x right, y up, z backward
};

enum class REFERENCE_FRAME : int { WORLD = 0, CAMERA = 1 };

enum class TIME_REFERENCE : int {
    IMAGE = 0,   ///< the moment of the last grabbed image
    CURRENT = 1, ///< now; the newest values
};

/// Image views. All have four unsigned bytes per pixel in the order blue, green, red, alpha.
enum class VIEW : int { LEFT = 0, RIGHT = 1, SIDE_BY_SIDE = 8 };

/// Measures of a frame.
enum class MEASURE : int {
    DEPTH = 1, ///< one float per pixel, in the unit of InitParameters
    XYZ = 4,   ///< four floats per pixel: x, y, z and a packed colour
};

enum class MAT_TYPE : int {
    F32_C1 = 0, ///< one float per pixel
    F32_C4 = 3, ///< four floats per pixel
    U8_C4 = 7,  ///< four unsigned bytes per pixel
};

/// Memory kinds; a bit mask.
enum class MEM : int { CPU = 1, GPU = 2, BOTH = 3 };

/// An owning character string (UTF-8). Never null: c_str() of an empty one is "".
class String
{
public:
    String() = default;
    String(const char* text); ///< a null pointer counts as empty
    String(const String&) = default;
    String& operator=(const String&) = default;
    ~String() = default;

    /// Valid until the string is changed or destroyed.
    const char* c_str() const { return m_text.c_str(); }

private:
    std::string m_text;
};

/// A size in pixels. As an argument 0 by 0 means the library's full size.
struct Resolution
{
    Resolution() = default;
    Resolution(std::size_t w, std::size_t h) : width(w), height(h) {}

    std::size_t width = 0;
    std::size_t height = 0;
};

/// Three numbers.
template <typename T>
struct Vector3
{
    Vector3() = default;
    Vector3(T vx, T vy, T vz) : x(vx), y(vy), z(vz) {}

    T x{};
    T y{};
    T z{};
};

/// The display name of a model in lists and file names: "TIV_Q". "Unknown" for an unknown model.
String toString(const MODEL& model);

} // namespace om
