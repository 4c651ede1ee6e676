#include "replay/recording_row.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace om::bench {

namespace {

constexpr int fractionDigits = 9;
constexpr std::uint64_t unitsPerOne = 1'000'000'000;

void appendInteger(std::string& text, std::uint64_t value)
{
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    text.append(digits, end);
}

/// Exact: the digits of the double itself, not of a rounded product.
void appendField(std::string& text, double value)
{
    if (value < 0.0) { // a zero has no sign
        text += '-';
        value = -value;
    }
    if (!std::isfinite(value) || value >= 4e15) {
        char digits[400];
        std::snprintf(digits, sizeof digits, "%.9f", value);
        text += digits;
        text += ',';
        return;
    }
    // value = mantissa / 2^shift
    int exponent = 0;
    const double fraction = std::frexp(value, &exponent);
    const auto mantissa = static_cast<std::uint64_t>(std::ldexp(fraction, 53));
    const int shift = 53 - exponent;
    __extension__ using Wide = unsigned __int128;
    std::uint64_t whole = 0;
    std::uint64_t rest = 0; // in units of the ninth digit
    if (shift < 90) {       // below that it is 0 in all digits
        const Wide scaled = static_cast<Wide>(mantissa) * unitsPerOne;
        const Wide rounded = (scaled + (static_cast<Wide>(1) << (shift - 1))) >> shift;
        whole = static_cast<std::uint64_t>(rounded / unitsPerOne);
        rest = static_cast<std::uint64_t>(rounded % unitsPerOne);
    }
    appendInteger(text, whole);
    char digits[fractionDigits + 2];
    digits[0] = '.';
    for (int i = fractionDigits; i > 0; --i) {
        digits[i] = static_cast<char>('0' + rest % 10);
        rest /= 10;
    }
    digits[fractionDigits + 1] = ',';
    text.append(digits, sizeof digits);
}

template <std::size_t N>
void appendFields(std::string& text, const std::array<float, N>& values)
{
    for (const float value : values) {
        appendField(text, static_cast<double>(value));
    }
}

} // namespace

std::string recordingHeader()
{
    return "idx,imu_Timestamp[sec],mag_Timestamp[sec],baro_Timestamp[sec],"
           "accX[m/s^2],accY[m/s^2],accZ[m/s^2],gyroX[deg/s],gyroY[deg/s],gyroZ[deg/s],"
           "magX[uT],magY[uT],magZ[uT],orX[deg],orY[deg],orZ[deg],press[hPa],rel_alt[m],"
           "moving, temp_left[C],temp_right[C],temp_imu[C],temp_barom[C],\n";
}

void appendRow(std::string& text, const RecordingRow& row)
{
    appendInteger(text, row.index);
    text += ',';
    appendField(text, row.imuTime);
    appendField(text, row.magnetometerTime);
    appendField(text, row.barometerTime);
    appendFields(text, row.acceleration);
    appendFields(text, row.angularVelocity);
    appendFields(text, row.field);
    appendFields(text, row.orientation);
    appendField(text, static_cast<double>(row.pressure));
    appendField(text, static_cast<double>(row.altitude));
    appendField(text, static_cast<double>(row.movingState));
    for (const float celsius : {row.tempLeft, row.tempRight, row.tempImu, row.tempBarometer}) {
        appendField(text, static_cast<double>(celsius));
    }
    text += '\n';
}

} // namespace om::bench
