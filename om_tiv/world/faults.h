/// @file
/// The faults of a camera, and their keys.
#pragma once

#include <om_tiv/types.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <string_view>
#include <variant>

namespace om::bench {

/// The faults of a camera; by default there are none.
struct Faults
{
    /// Camera::open() is refused with this code, unless it is SUCCESS.
    ERROR_CODE openResult = ERROR_CODE::SUCCESS;
    int openRefusals = -1; ///< number of refusals, counts down; -1: no limit
    /// open() takes this much longer. This is real time even if the clock is stepped, because the
    /// caller of open() is often the one who steps it.
    std::chrono::milliseconds openDelay{0};

    int grabFailures = 0; ///< number of next grabs that fail immediately; counts down
    ERROR_CODE grabFailureResult = ERROR_CODE::FAILURE;

    bool frozenTimestamps = false;   ///< all timestamps stop, the values continue
    bool repeatedTimestamps = false; ///< an odd sample has its predecessor's time

    bool barometerAbsent = false;
    bool magnetometerAbsent = false;
    bool boardTemperaturesAbsent = false; ///< locations 2 and 3
    bool imuTemperatureAbsent = false;    ///< location 0

    bool magnetometerSaturated = false; ///< body z reads exactly 2048.0 (sensor axis 3: -32768)
    /// uT: amplitude of an oscillating field at the camera, like that of a motor nearby.
    double magneticDisturbance = 0.0;

    bool littleGpuMemory = false; ///< GPU allocations fail while this camera is open

    bool mcuSilent = false;          ///< the microcontroller's records are invalid
    bool mcuOpenRefused = false;     ///< TIVmcu::open() fails
    bool eepromWriteRefused = false; ///< TIVmcu::writeMagCalibInEEprom() fails
    int eepromReadbackDiffers = 0;   ///< next reads after a write that differ; counts down
};

/// The key of a fault in bench files and requests, and its member of Faults.
struct FaultKey
{
    using Place = std::variant<bool Faults::*, int Faults::*, double Faults::*,
                               ERROR_CODE Faults::*, std::chrono::milliseconds Faults::*>;

    const char* key;
    Place place;
    int least; ///< range of a number, in the unit of the member
    int most;
};

constexpr int mostTimes = 1'000'000; ///< maximum of faults that count down

inline constexpr std::array<FaultKey, 18> faultKeys = {{
    {"openResult", &Faults::openResult, 0, 255},
    {"openRefusals", &Faults::openRefusals, -1, mostTimes},
    {"openDelay", &Faults::openDelay, 0, 600'000},
    {"grabFailures", &Faults::grabFailures, 0, mostTimes},
    {"grabFailureResult", &Faults::grabFailureResult, 1, 255},
    {"frozenTimestamps", &Faults::frozenTimestamps, 0, 1},
    {"repeatedTimestamps", &Faults::repeatedTimestamps, 0, 1},
    {"barometerAbsent", &Faults::barometerAbsent, 0, 1},
    {"magnetometerAbsent", &Faults::magnetometerAbsent, 0, 1},
    {"boardTemperaturesAbsent", &Faults::boardTemperaturesAbsent, 0, 1},
    {"imuTemperatureAbsent", &Faults::imuTemperatureAbsent, 0, 1},
    {"magnetometerSaturated", &Faults::magnetometerSaturated, 0, 1},
    {"magneticDisturbance", &Faults::magneticDisturbance, 0, 2000},
    {"littleGpuMemory", &Faults::littleGpuMemory, 0, 1},
    {"mcuSilent", &Faults::mcuSilent, 0, 1},
    {"mcuOpenRefused", &Faults::mcuOpenRefused, 0, 1},
    {"eepromWriteRefused", &Faults::eepromWriteRefused, 0, 1},
    {"eepromReadbackDiffers", &Faults::eepromReadbackDiffers, 0, mostTimes},
}};

/// The entry of a key, which must be in the table.
constexpr const FaultKey& faultKey(std::string_view key)
{
    std::size_t i = 0;
    while (faultKeys[i].key != key) {
        ++i;
    }
    return faultKeys[i];
}

} // namespace om::bench
