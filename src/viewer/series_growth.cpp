#include "viewer/series_growth.h"

#include <QtMath>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

OldSeries::~OldSeries()
{
    if (!m_series.isDetached()) {
        return;
    }
    // The whole pages that hold nothing but elements.
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(m_series.constData());
    const auto end = begin + static_cast<std::uintptr_t>(m_series.capacity()) * sizeof(double);
    constexpr std::uintptr_t piece = 1 << 20;
    for (std::uintptr_t at = (begin + page - 1) / page * page; at + page <= end; at += piece) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the address of a page
        madvise(reinterpret_cast<void*>(at), std::min(piece, (end - at) / page * page),
                MADV_DONTNEED);
    }
}

SeriesGrowth::SeriesGrowth(std::size_t count) : m_places(count) {}

void SeriesGrowth::reset()
{
    std::fill(m_places.begin(), m_places.end(), Place());
    m_replaced.clear();
}

int SeriesGrowth::nextCapacity(int capacity)
{
    constexpr quint64 header = sizeof(QTypedArrayData<double>) / sizeof(double);
    constexpr quint64 largest = ((quint64{1} << 31) - 1) / sizeof(double) - header; // Qt's limit
    const quint64 next =
        std::min(qNextPowerOfTwo(static_cast<quint64>(capacity) + 1 + header) - header, largest);
    return next > static_cast<quint64>(capacity) ? static_cast<int>(next) : 0;
}

std::vector<OldSeries> SeriesGrowth::takeReplaced()
{
    return std::exchange(m_replaced, {});
}

/// From 3/4 to 19/20 of the capacity: a copy that begins there ends before 63/64.
int SeriesGrowth::startOfCopy(std::size_t number, int capacity) const
{
    const double delay = 0.2 * static_cast<double>(number) / static_cast<double>(m_places.size());
    return static_cast<int>((0.75 + delay) * capacity);
}

void SeriesGrowth::advance(std::size_t number, Series& series)
{
    Place& place = m_places[number];
    if (!place.copies) {
        // Also for a series that was reserved or has grown by itself since the last call.
        const int capacity = series.capacity();
        const int next = nextCapacity(capacity);
        place.due =
            next > 0 ? std::max(1, startOfCopy(number, capacity)) : std::numeric_limits<int>::max();
        if (series.size() < place.due) {
            return;
        }
        place.next.reserve(next);
        place.copies = true;
        place.due = 0;
    }

    const int end = std::min(place.next.size() + stride, series.size());
    for (int i = place.next.size(); i < end; ++i) {
        place.next.append(series.at(i));
    }
    if (place.next.size() == series.size()) {
        m_replaced.emplace_back(std::exchange(series, std::exchange(place.next, Series())));
        place.copies = false; // the next step finds out when the next copy is due
    }
}
