#include "bench/call_log.h"

#include <algorithm>

namespace om::bench {

const char* toString(CALL call)
{
    switch (call) {
    case CALL::GET_DEVICE_LIST:
        return "GET_DEVICE_LIST";
    case CALL::OPEN:
        return "OPEN";
    case CALL::CLOSE:
        return "CLOSE";
    case CALL::GRAB:
        return "GRAB";
    case CALL::RETRIEVE_IMAGE:
        return "RETRIEVE_IMAGE";
    case CALL::RETRIEVE_MEASURE:
        return "RETRIEVE_MEASURE";
    case CALL::SET_QVR_POSITION:
        return "SET_QVR_POSITION";
    case CALL::MCU_CONSTRUCT:
        return "MCU_CONSTRUCT";
    case CALL::MCU_OPEN:
        return "MCU_OPEN";
    case CALL::MCU_CLOSE:
        return "MCU_CLOSE";
    case CALL::MCU_START_CAPTURE:
        return "MCU_START_CAPTURE";
    case CALL::MCU_STOP_CAPTURE:
        return "MCU_STOP_CAPTURE";
    case CALL::MCU_UPDATE_EEPROM:
        return "MCU_UPDATE_EEPROM";
    case CALL::MCU_WRITE_MAG_CALIB:
        return "MCU_WRITE_MAG_CALIB";
    case CALL::GET_SENSORS_DATA:
        return "GET_SENSORS_DATA";
    case CALL::MCU_GET_READER_DATA:
        return "MCU_GET_READER_DATA";
    case CALL::MCU_GET_POSE:
        return "MCU_GET_POSE";
    case CALL::MCU_CALC_MAG_HEADING:
        return "MCU_CALC_MAG_HEADING";
    case CALL::GET_INIT_PARAMETERS:
        return "GET_INIT_PARAMETERS";
    case CALL::GET_CUDA_CONTEXT:
        return "GET_CUDA_CONTEXT";
    case CALL::COUNT:
        break;
    }
    return "";
}

void CallLog::add(CallRecord record)
{
    if (!wants(record.call)) {
        return;
    }
    record.thread = std::this_thread::get_id();
    const auto kind = static_cast<std::size_t>(record.call);
    std::unique_lock<std::mutex> lock(m_mutex);
    record.number = ++m_number;
    ++m_counts[kind];
    if (m_records[kind].size() == maxPerKind) {
        m_records[kind].pop_front();
    }
    m_records[kind].push_back(record);
    const auto hook = m_hook;
    lock.unlock();
    if (hook) {
        (*hook)(record);
    }
}

void CallLog::setHook(std::function<void(const CallRecord&)> hook)
{
    using Hook = std::function<void(const CallRecord&)>;
    auto kept = hook ? std::make_shared<const Hook>(std::move(hook)) : nullptr;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_hook.swap(kept);
}

std::uint64_t CallLog::count(CALL call) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_counts[static_cast<std::size_t>(call)];
}

std::vector<CallRecord> CallLog::records(CALL call) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto& kind = m_records[static_cast<std::size_t>(call)];
    return {kind.begin(), kind.end()};
}

std::vector<CallRecord> CallLog::records() const
{
    std::vector<CallRecord> all;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& kind : m_records) {
            all.insert(all.end(), kind.begin(), kind.end());
        }
    }
    std::sort(all.begin(), all.end(),
              [](const CallRecord& a, const CallRecord& b) { return a.number < b.number; });
    return all;
}

std::optional<CallRecord> CallLog::last(CALL call) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto& kind = m_records[static_cast<std::size_t>(call)];
    return kind.empty() ? std::nullopt : std::optional<CallRecord>(kind.back());
}

void CallLog::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& kind : m_records) {
        kind.clear();
    }
    m_counts = {};
}

} // namespace om::bench
