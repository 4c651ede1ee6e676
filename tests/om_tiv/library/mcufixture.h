/// @file
/// A bench with one uncalibrated camera, and the link to its microcontroller.
#pragma once

#include "bench/eeprom_store.h"
#include "bench/virtual_camera.h"
#include "library/the_bench.h"

#include <om_tiv/om_tiv.h>

#include <QtTest>

#include <QTemporaryDir>

#include <chrono>
#include <functional>
#include <vector>

Q_DECLARE_METATYPE(om::MODEL)

namespace mcutest {

constexpr unsigned short vendorId = 0x7C15;
constexpr unsigned int cameraSerial = 30000001;
constexpr unsigned int otherSerial = 20000001;

constexpr int toInt(om::ERROR_CODE code)
{
    return static_cast<int>(code);
}

/// A link opened as the calibration dialog does it.
class Link : public om::TIVmcu
{
public:
    explicit Link(om::MODEL model = om::MODEL::TIV_Q) : TIVmcu(false, vendorId, model, false, "") {}

    int openIt(unsigned int number = cameraSerial)
    {
        return open(number, false, om::IMU_ODR_400_HZ, nullptr, nullptr, true, false);
    }
    std::vector<float> stored() const { return {storedMagCalib, storedMagCalib + 6}; }
};

/// The bench, with a stepped clock and the camera with cameraSerial (TIV_Q) plugged in 100 ms ago.
class Fixture : public QObject
{
protected:
    om::bench::Bench& m_bench = om::bench::theBench();

    void prepare()
    {
        qputenv("OM_TIV_STATE_DIR",
                m_state.path().toLocal8Bit() + "/" + QByteArray::number(m_run++));
        m_bench.reset();
        m_bench.clock().setManual(1'000 * om::bench::nsPerS);
        addCamera(cameraSerial, om::MODEL::TIV_Q);
        m_bench.clock().advance(std::chrono::milliseconds(100));
    }

    void addCamera(unsigned int number, om::MODEL model,
                   const std::function<void(om::bench::CameraConfig&)>& change = nullptr)
    {
        om::bench::CameraConfig config;
        config.model = model;
        config.serialNumber = number;
        if (change) {
            change(config);
        }
        QVERIFY(m_bench.addCamera(config));
    }

private:
    QTemporaryDir m_state;
    int m_run = 0;
};

} // namespace mcutest
