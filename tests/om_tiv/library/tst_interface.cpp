// The library's interface as a program is built against it: values, orders, defaults, signatures.

#include <om_tiv/om_tiv.h>

#include <QtTest>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using namespace om;

namespace {

/// Whether the members of a record are in this order.
bool inOrder(std::initializer_list<const void*> members)
{
    return std::adjacent_find(members.begin(), members.end(), std::greater_equal<>()) ==
           members.end();
}

template <auto Operation, typename Signature>
constexpr bool is = std::is_same_v<decltype(Operation), Signature>;

// The arguments that the program passes, in their order, and the results.
static_assert(is<&Camera::open, ERROR_CODE (Camera::*)(InitParameters)>);
static_assert(is<&Camera::close, void (Camera::*)()>);
static_assert(is<&Camera::isOpened, bool (Camera::*)() const>);
static_assert(is<&Camera::grab, ERROR_CODE (Camera::*)(RuntimeParameters)>);
static_assert(is<&Camera::getCameraInformation, CameraInformation (Camera::*)(Resolution)>);
static_assert(is<&Camera::getInitParameters, InitParameters (Camera::*)()>);
static_assert(is<&Camera::getCUDAContext, CUcontext (Camera::*)()>);
static_assert(is<&Camera::getDeviceList, std::vector<DeviceProperties> (*)()>);
static_assert(is<&Camera::getSensorsData, ERROR_CODE (Camera::*)(SensorsData&, TIME_REFERENCE)>);
static_assert(is<&Camera::getTimestamp, std::uint64_t (Camera::*)(TIME_REFERENCE)>);
static_assert(is<&Camera::retrieveImage, ERROR_CODE (Camera::*)(Mat&, VIEW, MEM, Resolution)>);
static_assert(is<&Camera::retrieveMeasure, ERROR_CODE (Camera::*)(Mat&, MEASURE, MEM, Resolution)>);
static_assert(is<&Camera::getQVRPosition, int (Camera::*)()>);
static_assert(is<&Camera::setQVRPosition, void (Camera::*)(int)>);
static_assert(is<&Camera::getQVRNumberOfFrames, int (Camera::*)()>);
static_assert(std::is_default_constructible_v<Camera>);

static_assert(is<&InputType::setFromSerialNumber, void (InputType::*)(unsigned int, BUS_TYPE)>);
static_assert(is<&InputType::setFromCameraID, void (InputType::*)(int, BUS_TYPE)>);
static_assert(is<&InputType::setFromQVRFile, void (InputType::*)(String)>);
static_assert(std::is_default_constructible_v<InputType> &&
              std::is_copy_constructible_v<InputType>);

static_assert(is<&Mat::alloc, void (Mat::*)(Resolution, MAT_TYPE, MEM)>);
static_assert(is<&Mat::free, void (Mat::*)(MEM)>);
static_assert(std::is_default_constructible_v<Mat>);

static_assert(std::is_constructible_v<TIVmcu, bool, unsigned short, MODEL, bool, std::string>);
static_assert(
    is<&TIVmcu::open, int (TIVmcu::*)(unsigned int, bool, _imu_odr, float*, float*, bool, bool)>);
static_assert(is<&TIVmcu::close, void (TIVmcu::*)()>);
static_assert(is<&TIVmcu::startCapture, void (TIVmcu::*)(float)>);
static_assert(is<&TIVmcu::stopCapture, void (TIVmcu::*)()>);
static_assert(is<&TIVmcu::getIMUReaderData, IMUReaderData (TIVmcu::*)()>);
static_assert(is<&TIVmcu::getIMUPose, IMUPose (TIVmcu::*)(int)>);
static_assert(is<&TIVmcu::calcMagHeading, float (TIVmcu::*)(Vector3<float>, Vector3<float>)>);
static_assert(is<&TIVmcu::updateEepromMemory, void (TIVmcu::*)(bool)>);
static_assert(is<&TIVmcu::writeMagCalibInEEprom, int (TIVmcu::*)(_mag_calib_data&)>);
static_assert(std::is_same_v<decltype(TIVmcu::captureRunning), bool>);
static_assert(std::is_same_v<decltype(TIVmcu::storedMagCalib), float[6]>);

static_assert(is<&Translation::normalize, void (Translation::*)()>);
static_assert(is<&Translation::operator*, Translation (Translation::*)(const Orientation&) const>);
static_assert(std::is_constructible_v<Orientation, const Rotation&> &&
              std::is_constructible_v<Orientation, const Translation&, const Translation&>);
static_assert(is<&Orientation::operator*, Orientation (Orientation::*)(const Orientation&) const>);
static_assert(std::is_constructible_v<Rotation, float, const Translation&>);
static_assert(std::is_base_of_v<Matrix4f, Transform>);
static_assert(std::is_constructible_v<Transform, const Matrix4f&> &&
              std::is_constructible_v<Transform, const Orientation&, const Translation&>);
static_assert(is<&Transform::getEulerAngles, Vector3<float> (Transform::*)(bool) const>);

static_assert(is<&Transform::setOrientation, void (Transform::*)(const Orientation&)>);
static_assert(is<&Transform::setTranslation, void (Transform::*)(const Translation&)>);
static_assert(is<&Transform::getOrientation, Orientation (Transform::*)() const>);
static_assert(is<&Transform::getTranslation, Translation (Transform::*)() const>);
static_assert(std::is_default_constructible_v<Transform> &&
              std::is_copy_constructible_v<Transform>);
static_assert(std::is_base_of_v<Vector3<float>, Translation> &&
              std::is_constructible_v<Translation, float, float, float> &&
              std::is_convertible_v<Vector3<float>, Translation> &&
              std::is_default_constructible_v<Translation> &&
              std::is_copy_constructible_v<Translation>);
static_assert(is<&Orientation::setIdentity, void (Orientation::*)()>);
static_assert(std::is_default_constructible_v<Orientation>);
static_assert(is<&Matrix4f::setIdentity, void (Matrix4f::*)()>);
static_assert(is<&Matrix4f::identity, Matrix4f (*)()>);
static_assert(is<&Matrix4f::inverse, Matrix4f (*)(const Matrix4f&)>);
static_assert(is<&Matrix4f::transpose, Matrix4f (*)(const Matrix4f&)>);
static_assert(is<&Matrix4f::operator*, Matrix4f (Matrix4f::*)(const Matrix4f&) const>);
static_assert(std::is_same_v<decltype(std::declval<Matrix4f&>()(0, 0)), float&>);
static_assert(is<&String::c_str, const char* (String::*)() const>);
static_assert(std::is_default_constructible_v<String> && std::is_copy_constructible_v<String> &&
              std::is_copy_assignable_v<String> && std::is_convertible_v<const char*, String>);
static_assert(std::is_same_v<decltype(toString(std::declval<const MODEL&>())), String>);
static_assert(is<&SensorsData::TemperatureData::get,
                 int (SensorsData::TemperatureData::*)(
                     SensorsData::TemperatureData::SENSOR_LOCATION, float&) const>);

// The types of the fields. "size_t" is the unsigned 64-bit type of a resolution.
static_assert(sizeof(std::size_t) == 8);
static_assert(is<&Resolution::width, std::size_t Resolution::*>);
static_assert(is<&Resolution::height, std::size_t Resolution::*>);
static_assert(sizeof(Resolution) == 16);
static_assert(is<&Vector3<float>::x, float Vector3<float>::*> &&
              is<&Vector3<float>::y, float Vector3<float>::*> &&
              is<&Vector3<float>::z, float Vector3<float>::*>);
static_assert(sizeof(Vector3<float>) == 12 && sizeof(Translation) == 12);
static_assert(sizeof(Matrix4f) == 16 * sizeof(float) && sizeof(Transform) == sizeof(Matrix4f));

static_assert(is<&InitParameters::resolution, RESOLUTION InitParameters::*>);
static_assert(is<&InitParameters::fps, int InitParameters::*>);
static_assert(is<&InitParameters::enableRecording, bool InitParameters::*>);
static_assert(is<&InitParameters::depthMode, DEPTH_MODE InitParameters::*>);
static_assert(is<&InitParameters::coordinateUnits, UNIT InitParameters::*>);
static_assert(is<&InitParameters::coordinateSystem, COORDINATE_SYSTEM InitParameters::*>);
static_assert(is<&InitParameters::verbosity, int InitParameters::*>);
static_assert(is<&InitParameters::gpuId, int InitParameters::*>);
static_assert(is<&InitParameters::depthMinimum, float InitParameters::*>);
static_assert(is<&InitParameters::depthMaximum, float InitParameters::*>);
static_assert(is<&InitParameters::disableSelfCalibration, bool InitParameters::*>);
static_assert(is<&InitParameters::imageFlip, int InitParameters::*>);
static_assert(is<&InitParameters::rightSideMeasure, bool InitParameters::*>);
static_assert(is<&InitParameters::logFile, String InitParameters::*>);
static_assert(is<&InitParameters::depthStabilization, int InitParameters::*>);
static_assert(is<&InitParameters::cudaContext, CUcontext InitParameters::*>);
static_assert(is<&InitParameters::input, InputType InitParameters::*>);
static_assert(is<&InitParameters::settingsPath, String InitParameters::*>);
static_assert(is<&InitParameters::sensorsRequired, bool InitParameters::*>);
static_assert(is<&InitParameters::imageEnhancement, bool InitParameters::*>);
static_assert(is<&InitParameters::calibrationPath, String InitParameters::*>);
static_assert(is<&InitParameters::openTimeout, float InitParameters::*>);
static_assert(is<&InitParameters::asyncRecovery, bool InitParameters::*>);
static_assert(is<&InitParameters::grabRateLimit, float InitParameters::*>);
static_assert(is<&InitParameters::imageValidation, bool InitParameters::*>);

static_assert(is<&RuntimeParameters::enableDepth, bool RuntimeParameters::*>);
static_assert(is<&RuntimeParameters::enableFill, bool RuntimeParameters::*>);
static_assert(is<&RuntimeParameters::confidenceThreshold, int RuntimeParameters::*>);
static_assert(is<&RuntimeParameters::textureThreshold, int RuntimeParameters::*>);
static_assert(is<&RuntimeParameters::referenceFrame, REFERENCE_FRAME RuntimeParameters::*>);
static_assert(is<&RuntimeParameters::removeSaturated, bool RuntimeParameters::*>);

static_assert(sizeof(DeviceProperties::state) == 4 && sizeof(DeviceProperties::bus) == 4);
static_assert(is<&DeviceProperties::id, int DeviceProperties::*>);
static_assert(is<&DeviceProperties::path, String DeviceProperties::*>);
static_assert(is<&DeviceProperties::cameraModel, MODEL DeviceProperties::*>);
static_assert(is<&DeviceProperties::serialNumber, unsigned int DeviceProperties::*>);

static_assert(is<&CameraInformation::serialNumber, unsigned int CameraInformation::*>);
static_assert(is<&CameraInformation::cameraModel, MODEL CameraInformation::*>);
static_assert(is<&CameraInformation::firmwareVersion, unsigned int CameraInformation::*>);
static_assert(is<&CameraInformation::resolution, Resolution CameraInformation::*>);

using Barometer = decltype(SensorsData::barometer);
static_assert(is<&Barometer::isAvailable, bool Barometer::*>);
static_assert(is<&Barometer::timestamp, std::uint64_t Barometer::*>);
static_assert(is<&Barometer::pressure, float Barometer::*>);
static_assert(is<&Barometer::relativeAltitude, float Barometer::*>);
static_assert(is<&Barometer::effectiveRate, float Barometer::*>);
static_assert(is<&SensorsData::temperature, SensorsData::TemperatureData SensorsData::*>);
using Magnetometer = decltype(SensorsData::magnetometer);
static_assert(is<&Magnetometer::isAvailable, bool Magnetometer::*>);
static_assert(is<&Magnetometer::timestamp, std::uint64_t Magnetometer::*>);
static_assert(is<&Magnetometer::magneticFieldCalibrated, Vector3<float> Magnetometer::*>);
static_assert(is<&Magnetometer::magneticFieldUncalibrated, Vector3<float> Magnetometer::*>);
static_assert(is<&Magnetometer::effectiveRate, float Magnetometer::*>);
using Imu = decltype(SensorsData::imu);
static_assert(is<&Imu::timestamp, std::uint64_t Imu::*>);
static_assert(is<&Imu::pose, Transform Imu::*>);
static_assert(is<&Imu::angularVelocity, Vector3<float> Imu::*>);
static_assert(is<&Imu::linearAcceleration, Vector3<float> Imu::*>);
static_assert(is<&Imu::effectiveRate, float Imu::*>);
static_assert(is<&SensorsData::cameraMovingState, int SensorsData::*>);

// The packed records, byte by byte. The neighbours of fields that the program does not read
// determine their place.
template <auto Field, typename Type, typename Record>
constexpr bool holds = std::is_same_v<decltype(Field), Type Record::*>;

static_assert(holds<&IMUReaderData::linkValid, std::uint8_t, IMUReaderData> &&
              offsetof(IMUReaderData, linkValid) == 0);
static_assert(holds<&IMUReaderData::timestamp, std::uint64_t, IMUReaderData> &&
              offsetof(IMUReaderData, timestamp) == 2);
static_assert(holds<&IMUReaderData::magState, std::uint8_t, IMUReaderData> &&
              offsetof(IMUReaderData, magState) == 30);
static_assert(holds<&IMUReaderData::mag, std::int16_t[3], IMUReaderData> &&
              offsetof(IMUReaderData, mag) == 31);
static_assert(sizeof(IMUReaderData) == 37 && alignof(IMUReaderData) == 1);

static_assert(holds<&IMUPose::acceleration, float[3], IMUPose> &&
              offsetof(IMUPose, acceleration) == 124);
static_assert(holds<&IMUPose::magUncalibrated, float[3], IMUPose> &&
              offsetof(IMUPose, magUncalibrated) == 236);
static_assert(holds<&IMUPose::headingState, std::int32_t, IMUPose> &&
              offsetof(IMUPose, headingState) == 260);
static_assert(holds<&IMUPose::headingAccuracy, float, IMUPose> &&
              offsetof(IMUPose, headingAccuracy) == 264);
static_assert(holds<&IMUPose::heading, float, IMUPose> && offsetof(IMUPose, heading) == 268);
static_assert(sizeof(IMUPose) == 272 && alignof(IMUPose) == 1);

static_assert(sizeof(_mag_calib_data::reserved) == 1 && offsetof(_mag_calib_data, reserved) == 0);
static_assert(holds<&_mag_calib_data::scale, float[3], _mag_calib_data> &&
              offsetof(_mag_calib_data, scale) == 1);
static_assert(holds<&_mag_calib_data::offset, float[3], _mag_calib_data> &&
              offsetof(_mag_calib_data, offset) == 13);
static_assert(sizeof(_mag_calib_data) == 25 && alignof(_mag_calib_data) == 1);

enum Flag {
    ENABLE_RECORDING,
    DISABLE_SELF_CALIBRATION,
    RIGHT_SIDE_MEASURE,
    SENSORS_REQUIRED,
    IMAGE_ENHANCEMENT,
    ASYNC_RECOVERY,
    IMAGE_VALIDATION,
    FLAGS
};

/// Another value for each argument; of the flags only one is true.
InitParameters distinctParameters(Flag flag)
{
    InputType input;
    input.setFromSerialNumber(17, BUS_TYPE::USB);
    return InitParameters(RESOLUTION::HD1200, 2, flag == ENABLE_RECORDING, DEPTH_MODE::NONE,
                          UNIT::METRE, COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP, 7, 8, 9.0F, 10.0F,
                          flag == DISABLE_SELF_CALIBRATION, 12, flag == RIGHT_SIDE_MEASURE, "14",
                          15, reinterpret_cast<CUcontext>(16), input, "18",
                          flag == SENSORS_REQUIRED, flag == IMAGE_ENHANCEMENT, "21", 22.0F,
                          flag == ASYNC_RECOVERY, 24.0F, flag == IMAGE_VALIDATION);
}

} // namespace

class TestInterface : public QObject
{
    Q_OBJECT

private slots:
    void enumeratorHasItsValue_data();
    void enumeratorHasItsValue();
    void modelNames_data();
    void modelNames();
    void stringOwnsItsCharacters();
    void nullTextIsAnEmptyString();

    void initParametersTakeTheir25ArgumentsInOrder();
    void initParametersHaveTheirDefaults();
    void initParametersAreARecordInTheOrderOfTheArguments();
    void runtimeParametersTakeTheirSixArgumentsInOrder();
    void runtimeParametersHaveTheirDefaults();

    void devicePropertiesAreARecordInOrder();
    void cameraInformationIsARecordInOrder();
    void newCameraInformationHoldsModel32();
    void sensorsDataIsARecordInOrder();
    void newSensorsDataHoldsNothing();
    void temperatureIsThereOrNot();
};

void TestInterface::enumeratorHasItsValue_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("expected");
    const auto row = [](const char* name, auto enumerator, int expected) {
        QTest::newRow(name) << static_cast<int>(enumerator) << expected;
    };
    row("success", ERROR_CODE::SUCCESS, 0);
    row("camera gone", ERROR_CODE::CAMERA_GONE, 4);
    row("TIV", MODEL::TIV, 0);
    row("TIV_N", MODEL::TIV_N, 1);
    row("TIV_P", MODEL::TIV_P, 2);
    row("TIV_Q", MODEL::TIV_Q, 3);
    row("TIV_R", MODEL::TIV_R, 4);
    row("TIV_S", MODEL::TIV_S, 5);
    row("model of a default record", MODEL::UNKNOWN, 32);
    row("bus of the camera ids", BUS_TYPE::SERIAL, 1);
    row("bus of the serial numbers", BUS_TYPE::USB, 2);
    row("resolution of TIV_R and TIV_S", RESOLUTION::HD1200, 3);
    row("resolution of the others", RESOLUTION::HD720, 6);
    row("resolution of the constructor", RESOLUTION::AUTO, 7);
    row("depth off", DEPTH_MODE::NONE, 0);
    row("depth on", DEPTH_MODE::STANDARD, 1);
    row("unit of the constructor", UNIT::MILLIMETRE, 0);
    row("metre", UNIT::METRE, 2);
    row("coordinate system of the constructor", COORDINATE_SYSTEM::IMAGE, 0);
    row("coordinate system of the poses", COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP, 2);
    row("reference frame", REFERENCE_FRAME::CAMERA, 1);
    row("time of the image", TIME_REFERENCE::IMAGE, 0);
    row("current time", TIME_REFERENCE::CURRENT, 1);
    row("left view", VIEW::LEFT, 0);
    row("right view", VIEW::RIGHT, 1);
    row("third view", VIEW::SIDE_BY_SIDE, 8);
    row("measure of one float", MEASURE::DEPTH, 1);
    row("measure of four floats", MEASURE::XYZ, 4);
    row("one float", MAT_TYPE::F32_C1, 0);
    row("four floats", MAT_TYPE::F32_C4, 3);
    row("four bytes", MAT_TYPE::U8_C4, 7);
    row("host memory", MEM::CPU, 1);
    row("GPU memory", MEM::GPU, 2);
    row("both memories", MEM::BOTH, 3);
    using LOCATION = SensorsData::TemperatureData::SENSOR_LOCATION;
    row("temperature of the IMU", LOCATION::IMU, 0);
    row("temperature of the barometer", LOCATION::BAROMETER, 1);
    row("temperature on the left", LOCATION::LEFT, 2);
    row("temperature on the right", LOCATION::RIGHT, 3);
    row("output data rate", IMU_ODR_400_HZ, 2);
}

void TestInterface::enumeratorHasItsValue()
{
    QFETCH(int, value);
    QFETCH(int, expected);
    QCOMPARE(value, expected);
}

void TestInterface::modelNames_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<QString>("name");
    QTest::newRow("0") << 0 << "TIV";
    QTest::newRow("1") << 1 << "TIV_N";
    QTest::newRow("2") << 2 << "TIV_P";
    QTest::newRow("3") << 3 << "TIV_Q";
    QTest::newRow("4") << 4 << "TIV_R";
    QTest::newRow("5") << 5 << "TIV_S";
    QTest::newRow("beyond the models") << 6 << "Unknown";
    QTest::newRow("of a default record") << 32 << "Unknown";
}

void TestInterface::modelNames()
{
    QFETCH(int, model);
    QFETCH(QString, name);
    QCOMPARE(QString(om::toString(static_cast<MODEL>(model)).c_str()), name);
}

void TestInterface::stringOwnsItsCharacters()
{
    char text[] = "first";
    const String string(text);
    const String copy(string); // NOLINT(performance-unnecessary-copy-initialization)
    String assigned;
    assigned = string;
    text[0] = 'F';
    QCOMPARE(string.c_str(), "first");
    QCOMPARE(copy.c_str(), "first");
    QCOMPARE(assigned.c_str(), "first");
    QVERIFY(copy.c_str() != string.c_str());
}

void TestInterface::nullTextIsAnEmptyString()
{
    QCOMPARE(String(nullptr).c_str(), "");
    QCOMPARE(String().c_str(), "");
}

void TestInterface::initParametersTakeTheir25ArgumentsInOrder()
{
    for (int flag = 0; flag < FLAGS; ++flag) {
        const InitParameters p = distinctParameters(static_cast<Flag>(flag));
        QVERIFY(p.resolution == RESOLUTION::HD1200);
        QCOMPARE(p.fps, 2);
        QCOMPARE(p.enableRecording, flag == ENABLE_RECORDING);
        QVERIFY(p.depthMode == DEPTH_MODE::NONE);
        QVERIFY(p.coordinateUnits == UNIT::METRE);
        QVERIFY(p.coordinateSystem == COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP);
        QCOMPARE(p.verbosity, 7);
        QCOMPARE(p.gpuId, 8);
        QCOMPARE(p.depthMinimum, 9.0F);
        QCOMPARE(p.depthMaximum, 10.0F);
        QCOMPARE(p.disableSelfCalibration, flag == DISABLE_SELF_CALIBRATION);
        QCOMPARE(p.imageFlip, 12);
        QCOMPARE(p.rightSideMeasure, flag == RIGHT_SIDE_MEASURE);
        QCOMPARE(p.logFile.c_str(), "14");
        QCOMPARE(p.depthStabilization, 15);
        QVERIFY(p.cudaContext == reinterpret_cast<CUcontext>(16));
        QCOMPARE(p.input.serialNumber(), 17U);
        QCOMPARE(p.settingsPath.c_str(), "18");
        QCOMPARE(p.sensorsRequired, flag == SENSORS_REQUIRED);
        QCOMPARE(p.imageEnhancement, flag == IMAGE_ENHANCEMENT);
        QCOMPARE(p.calibrationPath.c_str(), "21");
        QCOMPARE(p.openTimeout, 22.0F);
        QCOMPARE(p.asyncRecovery, flag == ASYNC_RECOVERY);
        QCOMPARE(p.grabRateLimit, 24.0F);
        QCOMPARE(p.imageValidation, flag == IMAGE_VALIDATION);
    }
}

void TestInterface::initParametersHaveTheirDefaults()
{
    const InitParameters p;
    QCOMPARE(static_cast<int>(p.resolution), 7);
    QCOMPARE(p.fps, 0);
    QCOMPARE(p.enableRecording, false);
    QCOMPARE(static_cast<int>(p.depthMode), 1);
    QCOMPARE(static_cast<int>(p.coordinateUnits), 0);
    QCOMPARE(static_cast<int>(p.coordinateSystem), 0);
    QCOMPARE(p.verbosity, 1);
    QCOMPARE(p.gpuId, -1);
    QCOMPARE(p.depthMinimum, -1.0F);
    QCOMPARE(p.depthMaximum, -1.0F);
    QCOMPARE(p.disableSelfCalibration, false);
    QCOMPARE(p.imageFlip, 0);
    QCOMPARE(p.rightSideMeasure, false);
    QCOMPARE(p.logFile.c_str(), "");
    QCOMPARE(p.depthStabilization, 1);
    QVERIFY(p.cudaContext == nullptr);
    QVERIFY(p.input.kind() == InputType::KIND::NONE);
    QCOMPARE(p.settingsPath.c_str(), "");
    QCOMPARE(p.sensorsRequired, false);
    QCOMPARE(p.imageEnhancement, true);
    QCOMPARE(p.calibrationPath.c_str(), "");
    QCOMPARE(p.openTimeout, 5.0F);
    QCOMPARE(p.asyncRecovery, false);
    QVERIFY(p.grabRateLimit == 0.0F);
    QCOMPARE(p.imageValidation, false);
}

void TestInterface::initParametersAreARecordInTheOrderOfTheArguments()
{
    const InitParameters p;
    QVERIFY(inOrder({&p.resolution,
                     &p.fps,
                     &p.enableRecording,
                     &p.depthMode,
                     &p.coordinateUnits,
                     &p.coordinateSystem,
                     &p.verbosity,
                     &p.gpuId,
                     &p.depthMinimum,
                     &p.depthMaximum,
                     &p.disableSelfCalibration,
                     &p.imageFlip,
                     &p.rightSideMeasure,
                     &p.logFile,
                     &p.depthStabilization,
                     &p.cudaContext,
                     &p.input,
                     &p.settingsPath,
                     &p.sensorsRequired,
                     &p.imageEnhancement,
                     &p.calibrationPath,
                     &p.openTimeout,
                     &p.asyncRecovery,
                     &p.grabRateLimit,
                     &p.imageValidation}));
}

void TestInterface::runtimeParametersTakeTheirSixArgumentsInOrder()
{
    for (int flag = 0; flag < 3; ++flag) {
        const RuntimeParameters p(flag == 0, flag == 1, 3, 4, REFERENCE_FRAME::WORLD, flag == 2);
        QCOMPARE(p.enableDepth, flag == 0);
        QCOMPARE(p.enableFill, flag == 1);
        QCOMPARE(p.confidenceThreshold, 3);
        QCOMPARE(p.textureThreshold, 4);
        QVERIFY(p.referenceFrame == REFERENCE_FRAME::WORLD);
        QCOMPARE(p.removeSaturated, flag == 2);
        QVERIFY(inOrder({&p.enableDepth, &p.enableFill, &p.confidenceThreshold, &p.textureThreshold,
                         &p.referenceFrame, &p.removeSaturated}));
    }
}

void TestInterface::runtimeParametersHaveTheirDefaults()
{
    const RuntimeParameters p;
    QCOMPARE(p.enableDepth, true);
    QCOMPARE(p.enableFill, false);
    QCOMPARE(p.confidenceThreshold, 95);
    QCOMPARE(p.textureThreshold, 100);
    QCOMPARE(static_cast<int>(p.referenceFrame), 1);
    QCOMPARE(p.removeSaturated, true);
}

void TestInterface::devicePropertiesAreARecordInOrder()
{
    const DeviceProperties d;
    QVERIFY(inOrder({&d.state, &d.id, &d.path, &d.cameraModel, &d.serialNumber, &d.bus}));
    QCOMPARE(sizeof d.state, std::size_t(4));
    QCOMPARE(sizeof d.bus, std::size_t(4));
}

void TestInterface::cameraInformationIsARecordInOrder()
{
    const CameraInformation c;
    QVERIFY(inOrder({&c.serialNumber, &c.cameraModel, &c.firmwareVersion, &c.resolution}));
}

void TestInterface::newCameraInformationHoldsModel32()
{
    Camera camera;
    for (const CameraInformation& information :
         {CameraInformation(), camera.getCameraInformation(Resolution(0, 0))}) {
        QCOMPARE(static_cast<int>(information.cameraModel), 32);
        QCOMPARE(information.serialNumber, 0U);
        QCOMPARE(information.firmwareVersion, 0U);
        QCOMPARE(information.resolution.width, std::size_t(0));
        QCOMPARE(information.resolution.height, std::size_t(0));
    }
    QVERIFY(!camera.isOpened());
}

void TestInterface::sensorsDataIsARecordInOrder()
{
    const SensorsData d;
    QVERIFY(inOrder({&d.barometer.isAvailable, &d.barometer.timestamp, &d.barometer.pressure,
                     &d.barometer.relativeAltitude, &d.barometer.effectiveRate, &d.temperature,
                     &d.magnetometer.isAvailable, &d.magnetometer.timestamp,
                     &d.magnetometer.magneticFieldCalibrated,
                     &d.magnetometer.magneticFieldUncalibrated, &d.magnetometer.effectiveRate,
                     &d.imu.timestamp, &d.imu.pose, &d.imu.angularVelocity,
                     &d.imu.linearAcceleration, &d.imu.effectiveRate, &d.cameraMovingState}));
}

void TestInterface::newSensorsDataHoldsNothing()
{
    const SensorsData d;
    QVERIFY(!d.barometer.isAvailable && !d.magnetometer.isAvailable);
    QCOMPARE(d.barometer.timestamp + d.magnetometer.timestamp + d.imu.timestamp, std::uint64_t(0));
    QVERIFY(d.temperature.values.empty());
    QCOMPARE(d.imu.pose.getOrientation().ow, 1.0F);
    QCOMPARE(d.cameraMovingState, 0);
}

void TestInterface::temperatureIsThereOrNot()
{
    using LOCATION = SensorsData::TemperatureData::SENSOR_LOCATION;
    SensorsData::TemperatureData temperature;
    float value = 12.5F;
    QVERIFY(temperature.get(LOCATION::LEFT, value) != 0);
    QCOMPARE(value, 12.5F);
    temperature.values[LOCATION::LEFT] = -3.25F;
    QCOMPARE(temperature.get(LOCATION::LEFT, value), 0);
    QCOMPARE(value, -3.25F);
    QVERIFY(temperature.get(LOCATION::RIGHT, value) != 0);
    QCOMPARE(value, -3.25F);
}

QTEST_GUILESS_MAIN(TestInterface)
#include "tst_interface.moc"
