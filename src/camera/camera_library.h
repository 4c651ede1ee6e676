/// @file
/// The camera library as the program uses it. No other file of src includes the library's headers
/// or depends on what its interface leaves open, such as how it is split into headers and the names
/// of the enumerators (docs/architecture.md has the list). For a library that differs in a name or
/// in its headers, this file is edited and no other one.
///
/// The rest of src uses the names that the interface gives: those of types, operations and fields,
/// and x, y and z of a vector. Each value that the program passes or compares is checked below.
#pragma once

#include <om_tiv/om_tiv.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace omlib {

template <typename Enumeration>
constexpr int valueOf(Enumeration enumerator)
{
    return static_cast<int>(enumerator);
}

// Results: 0 is success, 4 means that the camera is gone, and any other one is a failure without a
// name.
inline constexpr om::ERROR_CODE success = om::ERROR_CODE::SUCCESS;
inline constexpr om::ERROR_CODE cameraGone = om::ERROR_CODE::CAMERA_GONE;
static_assert(valueOf(success) == 0);
static_assert(valueOf(cameraGone) == 4);

inline constexpr om::MODEL tiv = om::MODEL::TIV;
inline constexpr om::MODEL tivN = om::MODEL::TIV_N;
inline constexpr om::MODEL tivP = om::MODEL::TIV_P;
inline constexpr om::MODEL tivQ = om::MODEL::TIV_Q;
inline constexpr om::MODEL tivR = om::MODEL::TIV_R;
inline constexpr om::MODEL tivS = om::MODEL::TIV_S;
inline constexpr om::MODEL noModel = om::MODEL::UNKNOWN; ///< of a record that no open has filled
static_assert(valueOf(tiv) == 0);
static_assert(valueOf(tivN) == 1);
static_assert(valueOf(tivP) == 2);
static_assert(valueOf(tivQ) == 3);
static_assert(valueOf(tivR) == 4);
static_assert(valueOf(tivS) == 5);
static_assert(valueOf(noModel) == 32);

inline constexpr om::BUS_TYPE serialBus = om::BUS_TYPE::SERIAL; ///< cameras by their id
inline constexpr om::BUS_TYPE usbBus = om::BUS_TYPE::USB;       ///< cameras by their serial number
static_assert(valueOf(serialBus) == 1);
static_assert(valueOf(usbBus) == 2);

inline constexpr om::RESOLUTION serialResolution = om::RESOLUTION::HD1200; ///< of tivR and tivS
inline constexpr om::RESOLUTION usbResolution = om::RESOLUTION::HD720; ///< of tivN, tivP and tivQ
inline constexpr om::RESOLUTION defaultResolution = om::RESOLUTION::AUTO;
static_assert(valueOf(serialResolution) == 3);
static_assert(valueOf(usbResolution) == 6);
static_assert(valueOf(defaultResolution) == 7);

inline constexpr om::DEPTH_MODE noDepth = om::DEPTH_MODE::NONE;
inline constexpr om::DEPTH_MODE defaultDepth = om::DEPTH_MODE::STANDARD;
static_assert(valueOf(noDepth) == 0);
static_assert(valueOf(defaultDepth) == 1);

inline constexpr om::UNIT defaultUnit = om::UNIT::MILLIMETRE;
inline constexpr om::UNIT metre = om::UNIT::METRE;
static_assert(valueOf(defaultUnit) == 0);
static_assert(valueOf(metre) == 2);

inline constexpr om::COORDINATE_SYSTEM defaultSystem = om::COORDINATE_SYSTEM::IMAGE;
inline constexpr om::COORDINATE_SYSTEM poseSystem = om::COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP;
static_assert(valueOf(defaultSystem) == 0);
static_assert(valueOf(poseSystem) == 2);

inline constexpr om::REFERENCE_FRAME cameraFrame = om::REFERENCE_FRAME::CAMERA;
static_assert(valueOf(cameraFrame) == 1);

inline constexpr om::TIME_REFERENCE lastImage = om::TIME_REFERENCE::IMAGE;
/// gravimon-log also asks for the current time with it, which advances as the samples' times do, or
/// is 0.
inline constexpr om::TIME_REFERENCE current = om::TIME_REFERENCE::CURRENT;
static_assert(valueOf(lastImage) == 0);
static_assert(valueOf(current) == 1);

inline constexpr om::VIEW leftView = om::VIEW::LEFT;
inline constexpr om::VIEW rightView = om::VIEW::RIGHT;
inline constexpr om::VIEW bothViews = om::VIEW::SIDE_BY_SIDE;
static_assert(valueOf(leftView) == 0);
static_assert(valueOf(rightView) == 1);
static_assert(valueOf(bothViews) == 8);

inline constexpr om::MEASURE depthMeasure = om::MEASURE::DEPTH; ///< one float a pixel
inline constexpr om::MEASURE pointMeasure = om::MEASURE::XYZ;   ///< four floats a pixel
static_assert(valueOf(depthMeasure) == 1);
static_assert(valueOf(pointMeasure) == 4);

inline constexpr om::MAT_TYPE oneFloat = om::MAT_TYPE::F32_C1;
inline constexpr om::MAT_TYPE fourFloats = om::MAT_TYPE::F32_C4;
inline constexpr om::MAT_TYPE fourBytes = om::MAT_TYPE::U8_C4;
static_assert(valueOf(oneFloat) == 0);
static_assert(valueOf(fourFloats) == 3);
static_assert(valueOf(fourBytes) == 7);

inline constexpr om::MEM hostMemory = om::MEM::CPU;
inline constexpr om::MEM gpuMemory = om::MEM::GPU;
inline constexpr om::MEM bothMemories = om::MEM::BOTH;
static_assert(valueOf(hostMemory) == 1);
static_assert(valueOf(gpuMemory) == 2);
static_assert(valueOf(bothMemories) == 3);

/// Places of the temperature sensors.
using Location = om::SensorsData::TemperatureData::SENSOR_LOCATION;
inline constexpr Location atImu = Location::IMU;
inline constexpr Location atBarometer = Location::BAROMETER;
inline constexpr Location onLeft = Location::LEFT;
inline constexpr Location onRight = Location::RIGHT;
static_assert(valueOf(atImu) == 0);
static_assert(valueOf(atBarometer) == 1);
static_assert(valueOf(onLeft) == 2);
static_assert(valueOf(onRight) == 3);

// The record of a poll is read as a constant one.
static_assert(std::is_invocable_r_v<int, decltype(&om::SensorsData::TemperatureData::get),
                                    const om::SensorsData::TemperatureData&, Location, float&>);

inline constexpr auto imuRate = om::IMU_ODR_400_HZ; ///< of the link to the microcontroller
static_assert(valueOf(imuRate) == 2);

/// The rotation of a unit quaternion with w as its scalar.
inline om::Orientation orientation(float x, float y, float z, float w)
{
    om::Orientation rotation;
    rotation.ox = x;
    rotation.oy = y;
    rotation.oz = z;
    rotation.ow = w;
    return rotation;
}

/// The settings of an open as the program starts from them.
inline om::InitParameters initParameters()
{
    return om::InitParameters(defaultResolution, 0, false, defaultDepth, defaultUnit, defaultSystem,
                              1, -1, -1.0F, -1.0F, false, 0, false, om::String(), 1, nullptr,
                              om::InputType(), om::String(), false, true, om::String(), 5.0F, false,
                              0.0F, false);
}

/// Which camera to open.
inline om::InputType& inputOf(om::InitParameters& parameters)
{
    return parameters.input;
}

/// The settings of a grab: with depth, in the camera's frame.
inline om::RuntimeParameters runtimeParameters()
{
    om::RuntimeParameters parameters(true, false, 95, 100, cameraFrame, true);
    parameters.referenceFrame = cameraFrame;
    parameters.enableDepth = true;
    return parameters;
}

/// The same without depth, for a caller that does not use the frames.
inline om::RuntimeParameters runtimeParametersWithoutDepth()
{
    return om::RuntimeParameters(false, false, 95, 100, cameraFrame, true);
}

/// One sensor record of the microcontroller. Raw, in sensor axes, which count from 0 here.
using McuRecord = om::IMUReaderData;
static_assert(offsetof(McuRecord, linkValid) == 0 && sizeof(McuRecord::linkValid) == 1);
static_assert(offsetof(McuRecord, timestamp) == 2 && sizeof(McuRecord::timestamp) == 8);
static_assert(offsetof(McuRecord, magState) == 30 && sizeof(McuRecord::magState) == 1);
static_assert(offsetof(McuRecord, mag) == 31 && sizeof(McuRecord::mag) == 6);

inline bool isLinkValid(const McuRecord& record)
{
    return record.linkValid == 1;
}

/// Ticks of 39 us.
inline std::uint64_t ticksOf(const McuRecord& record)
{
    return record.timestamp;
}

/// 0 no data of the magnetometer, 1 nothing new, 2 and more a new reading.
inline int magStateOf(const McuRecord& record)
{
    return record.magState;
}

/// 16 counts are 1 uT.
inline std::int16_t magCount(const McuRecord& record, int axis)
{
    return record.mag[axis];
}

/// The pose record of the microcontroller.
using McuPose = om::IMUPose;
static_assert(offsetof(McuPose, acceleration) == 124 && sizeof(McuPose::acceleration) == 12);
static_assert(offsetof(McuPose, magUncalibrated) == 236 && sizeof(McuPose::magUncalibrated) == 12);
static_assert(offsetof(McuPose, headingState) == 260 && sizeof(McuPose::headingState) == 4);
static_assert(offsetof(McuPose, headingAccuracy) == 264 && sizeof(McuPose::headingAccuracy) == 4);
static_assert(offsetof(McuPose, heading) == 268 && sizeof(McuPose::heading) == 4);

/// First argument of om::TIVmcu::calcMagHeading().
inline om::Vector3<float> fieldOf(const McuPose& pose)
{
    return {pose.magUncalibrated[0], pose.magUncalibrated[1], pose.magUncalibrated[2]};
}

/// Second argument of om::TIVmcu::calcMagHeading().
inline om::Vector3<float> accelerationOf(const McuPose& pose)
{
    return {pose.acceleration[0], pose.acceleration[1], pose.acceleration[2]};
}

/// 0 good, 1 acceptable, 2 not good, 3 not calibrated, other not available.
inline int headingStateOf(const McuPose& pose)
{
    return pose.headingState;
}

/// From 0 to 1.
inline float headingAccuracyOf(const McuPose& pose)
{
    return pose.headingAccuracy;
}

/// Radians, with the stored calibration.
inline float headingOf(const McuPose& pose)
{
    return pose.heading;
}

/// The calibration of the EEPROM, in sensor axes, which count from 0 here.
using MagRecord = om::_mag_calib_data;
static_assert(sizeof(MagRecord) == 25);
static_assert(offsetof(MagRecord, scale) == 1 && sizeof(MagRecord::scale) == 12);
static_assert(offsetof(MagRecord, offset) == 13 && sizeof(MagRecord::offset) == 12);

/// 1/uT.
inline float scaleOf(const MagRecord& record, int axis)
{
    return record.scale[axis];
}

/// uT.
inline float offsetOf(const MagRecord& record, int axis)
{
    return record.offset[axis];
}

inline void setScale(MagRecord& record, int axis, float scale)
{
    record.scale[axis] = scale;
}

inline void setOffset(MagRecord& record, int axis, float offset)
{
    record.offset[axis] = offset;
}

// Types: a field of another type could be converted silently.
namespace checks {

template <auto Field>
struct TypeOfField;
template <typename Record, typename Type, Type Record::*Field>
struct TypeOfField<Field>
{
    using type = Type;
};
template <auto Field, typename Type>
constexpr bool is = std::is_same_v<typename TypeOfField<Field>::type, Type>;
template <auto Field>
constexpr bool isUnsigned64 = std::is_unsigned_v<typename TypeOfField<Field>::type> &&
                              sizeof(typename TypeOfField<Field>::type) == 8;
template <auto Field>
constexpr bool isVector =
    std::is_convertible_v<typename TypeOfField<Field>::type, om::Vector3<float>>;

/// An argument that no parameter of another type takes.
template <typename Type>
struct Only
{
    template <typename Parameter, typename = std::enable_if_t<std::is_same_v<Parameter, Type>>>
    operator Parameter() const;
};

static_assert(std::is_constructible_v<
              om::InitParameters, Only<om::RESOLUTION>, Only<int>, Only<bool>, Only<om::DEPTH_MODE>,
              Only<om::UNIT>, Only<om::COORDINATE_SYSTEM>, Only<int>, Only<int>, Only<float>,
              Only<float>, Only<bool>, Only<int>, Only<bool>, Only<om::String>, Only<int>,
              Only<CUcontext>, Only<om::InputType>, Only<om::String>, Only<bool>, Only<bool>,
              Only<om::String>, Only<float>, Only<bool>, Only<float>, Only<bool>>);
static_assert(is<&om::InitParameters::resolution, om::RESOLUTION>);
static_assert(is<&om::InitParameters::fps, int>);
static_assert(is<&om::InitParameters::depthMode, om::DEPTH_MODE>);
static_assert(is<&om::InitParameters::coordinateUnits, om::UNIT>);
static_assert(is<&om::InitParameters::coordinateSystem, om::COORDINATE_SYSTEM>);
static_assert(is<&om::InitParameters::verbosity, int>);
static_assert(is<&om::InitParameters::depthMinimum, float>);
static_assert(is<&om::InitParameters::depthMaximum, float>);
static_assert(is<&om::InitParameters::imageFlip, int>);
static_assert(is<&om::InitParameters::depthStabilization, int>);

static_assert(std::is_constructible_v<om::RuntimeParameters, Only<bool>, Only<bool>, Only<int>,
                                      Only<int>, Only<om::REFERENCE_FRAME>, Only<bool>>);
static_assert(is<&om::RuntimeParameters::confidenceThreshold, int>);

static_assert(isUnsigned64<&om::Resolution::width> && isUnsigned64<&om::Resolution::height>);
static_assert(is<&om::Vector3<float>::x, float> && is<&om::Vector3<float>::y, float> &&
              is<&om::Vector3<float>::z, float>);
static_assert(sizeof(om::Vector3<float>) == 12 && sizeof(om::Translation) == 12);
// OpenGL takes the 16 floats from the first one on.
static_assert(sizeof(om::Matrix4f) == 64 && std::is_base_of_v<om::Matrix4f, om::Transform>);

static_assert(is<&om::DeviceProperties::id, int>);
static_assert(is<&om::DeviceProperties::cameraModel, om::MODEL>);
static_assert(is<&om::DeviceProperties::serialNumber, unsigned int>);
static_assert(is<&om::CameraInformation::serialNumber, unsigned int>);
static_assert(is<&om::CameraInformation::cameraModel, om::MODEL>);
static_assert(is<&om::CameraInformation::firmwareVersion, unsigned int>);
static_assert(is<&om::CameraInformation::resolution, om::Resolution>);

using Barometer = decltype(om::SensorsData::barometer);
static_assert(is<&Barometer::isAvailable, bool> && isUnsigned64<&Barometer::timestamp>);
static_assert(is<&Barometer::pressure, float> && is<&Barometer::relativeAltitude, float> &&
              is<&Barometer::effectiveRate, float>);
using Magnetometer = decltype(om::SensorsData::magnetometer);
static_assert(is<&Magnetometer::isAvailable, bool> && isUnsigned64<&Magnetometer::timestamp>);
static_assert(is<&Magnetometer::magneticFieldCalibrated, om::Vector3<float>> &&
              is<&Magnetometer::magneticFieldUncalibrated, om::Vector3<float>> &&
              is<&Magnetometer::effectiveRate, float>);
using Imu = decltype(om::SensorsData::imu);
static_assert(isUnsigned64<&Imu::timestamp> && is<&Imu::pose, om::Transform>);
static_assert(isVector<&Imu::angularVelocity> && isVector<&Imu::linearAcceleration> &&
              is<&Imu::effectiveRate, float>);
static_assert(is<&om::SensorsData::temperature, om::SensorsData::TemperatureData>);
static_assert(is<&om::SensorsData::cameraMovingState, int>);

static_assert(is<&om::TIVmcu::captureRunning, bool>);
static_assert(is<&om::TIVmcu::storedMagCalib, float[6]>);

} // namespace checks
} // namespace omlib
