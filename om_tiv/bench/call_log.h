/// @file
/// The calls of the program, with their arguments.
#pragma once

#include "base/clock.h"

#include <om_tiv/camera.h>

#include <array>
#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace om::bench {

/// The calls that are logged. Those from GET_SENSORS_DATA on come at a high rate and are logged
/// only on request.
enum class CALL {
    GET_DEVICE_LIST,
    OPEN,             ///< init, result
    CLOSE,            ///< of an open camera, by close() or the destructor
    GRAB,             ///< runtime, result
    RETRIEVE_IMAGE,   ///< view, memory, size, result
    RETRIEVE_MEASURE, ///< measure, memory, size, result
    SET_QVR_POSITION, ///< value: the frame as passed
    MCU_CONSTRUCT,    ///< numbers: verbose, vendor id, model, bootloader; text: path
    MCU_OPEN, ///< numbers: exclusive, odr, bias of acceleration given, of angular velocity given,
              ///< fusion, raw; result
    MCU_CLOSE,
    MCU_START_CAPTURE, ///< numbers: period
    MCU_STOP_CAPTURE,
    MCU_UPDATE_EEPROM,    ///< numbers: all
    MCU_WRITE_MAG_CALIB,  ///< numbers: scale 1 to 3, offset 1 to 3; result
    GET_SENSORS_DATA,     ///< value: reference; result
    MCU_GET_READER_DATA,  ///< value: magnetometer state
    MCU_GET_POSE,         ///< value: sensors
    MCU_CALC_MAG_HEADING, ///< numbers: the two triples
    GET_INIT_PARAMETERS,
    GET_CUDA_CONTEXT,
    COUNT
};

const char* toString(CALL call); ///< "GET_DEVICE_LIST"

/// One call. It is logged when it returns. Members that a kind of call does not have keep their
/// default.
struct CallRecord
{
    CALL call = CALL::COUNT;
    std::uint64_t number = 0;      ///< counts all logged calls, from 1
    std::thread::id thread;        ///< of the caller
    Nanoseconds time = 0;          ///< of the bench's clock
    unsigned int serialNumber = 0; ///< 0 if there is none
    int result = 0;
    int value = 0;
    std::shared_ptr<const InitParameters> init;
    RuntimeParameters runtime;
    VIEW view = VIEW::LEFT;
    MEASURE measure = MEASURE::DEPTH;
    MEM memory = MEM::CPU;
    Resolution size;
    std::vector<double> numbers;
    std::string text;
};

/// The last calls, up to a maximum number of each kind. Any thread.
class CallLog
{
public:
    static constexpr std::size_t maxPerKind = 2000; ///< maximum number of records of each kind

    /// Records the call if its kind is on; sets number, thread and, if it is 0, the time.
    void add(CallRecord record);
    /// Whether add() would record a call of the kind; fast.
    bool wants(CALL call) const
    {
        return m_on.load() && (call < CALL::GET_SENSORS_DATA || m_highRate.load());
    }

    /// Initially off: only tests use the log.
    void setOn(bool on) { m_on.store(on); }
    /// Initially off; effective while the log is on.
    void setHighRate(bool on) { m_highRate.store(on); }

    /// Called with each recorded call, on the caller's thread and without a lock, before the call
    /// returns to the program. It may block, and it may change the state with which the program
    /// continues.
    void setHook(std::function<void(const CallRecord&)> hook);

    /// Number of calls of the kind since the last clear(), including those beyond the maximum.
    std::uint64_t count(CALL call) const;
    std::vector<CallRecord> records(CALL call) const; ///< oldest first
    std::vector<CallRecord> records() const;          ///< all kinds, oldest first
    std::optional<CallRecord> last(CALL call) const;
    void clear(); ///< the numbering continues

private:
    static constexpr std::size_t kinds = static_cast<std::size_t>(CALL::COUNT);

    mutable std::mutex m_mutex;
    std::atomic<bool> m_on{false};
    std::atomic<bool> m_highRate{false};
    std::shared_ptr<const std::function<void(const CallRecord&)>> m_hook;
    std::uint64_t m_number = 0;
    std::array<std::deque<CallRecord>, kinds> m_records;
    std::array<std::uint64_t, kinds> m_counts{};
};

} // namespace om::bench
