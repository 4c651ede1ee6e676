#include "bench/script.h"

#include <iterator>

namespace om::bench {

template <typename Entry>
void Script<Entry>::begin(AFTER after)
{
    m_hasLast = false;
    m_after = after;
    m_delivered = 0;
    m_calls = 0;
    m_active.store(true, std::memory_order_release);
    m_version.fetch_add(1);
}

template <typename Entry>
void Script<Entry>::reportChange() const
{
    if (m_changed) {
        m_changed();
    }
}

template <typename Entry>
void Script<Entry>::set(std::vector<Entry> entries, AFTER after)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_entries = std::move(entries);
        m_generator.reset();
        begin(after);
    }
    reportChange();
}

template <typename Entry>
void Script<Entry>::set(Generator generator, AFTER after)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_entries.clear();
        m_generator = std::make_shared<const Generator>(std::move(generator));
        begin(after);
    }
    reportChange();
}

template <typename Entry>
void Script<Entry>::append(std::vector<Entry> entries)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (isActive() && !m_generator) {
            m_entries.insert(m_entries.end(), std::make_move_iterator(entries.begin()),
                             std::make_move_iterator(entries.end()));
            m_version.fetch_add(1);
        } else {
            m_entries = std::move(entries);
            m_generator.reset();
            begin(AFTER::REPEAT_LAST);
        }
    }
    reportChange();
}

template <typename Entry>
void Script<Entry>::clear()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_active.store(false, std::memory_order_release);
        m_entries.clear();
        m_generator.reset();
        m_hasLast = false;
        m_version.fetch_add(1);
    }
    reportChange();
}

template <typename Entry>
ScriptStatus Script<Entry>::status() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return {isActive(), m_delivered, m_calls};
}

template <typename Entry>
typename Script<Entry>::STEP Script<Entry>::next(Entry& entry)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!isActive()) {
        return STEP::NONE;
    }
    ++m_calls;
    if (const auto generator = m_generator; generator) {
        const std::uint64_t index = m_delivered;
        lock.unlock();
        const bool made = (*generator)(index, entry);
        lock.lock();
        if (m_generator != generator) {
            // If the script was replaced in the meantime, the entry still belongs to the call that
            // requested it.
            return made ? STEP::ENTRY : STEP::NONE;
        }
        if (made) {
            ++m_delivered;
            m_last = entry;
            m_hasLast = true;
            return STEP::ENTRY;
        }
    } else if (m_delivered < m_entries.size()) {
        entry = m_entries[m_delivered++];
        return STEP::ENTRY;
    } else if (!m_entries.empty()) {
        if (m_after == AFTER::REPEAT_LAST) {
            entry = m_entries.back();
            return STEP::REPEATED;
        }
    }
    if (m_after == AFTER::REPEAT_LAST && m_hasLast) {
        entry = m_last;
        return STEP::REPEATED;
    }
    m_active.store(false, std::memory_order_release);
    return m_after == AFTER::CAMERA_GONE ? STEP::GONE : STEP::NONE;
}

template class Script<SensorsEntry>;
template class Script<ERROR_CODE>;
template class Script<IMUReaderData>;
template class Script<IMUPose>;

} // namespace om::bench
