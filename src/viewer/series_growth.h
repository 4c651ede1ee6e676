/// @file
/// Growth of long series in small steps.
#pragma once

#include <QVector>

#include <cstddef>
#include <utility>
#include <vector>

/// A series that is not needed any more. Its destructor returns the memory to the system in pieces:
/// to return that of hours at once would block other threads that map memory for milliseconds.
/// Elements that another vector shares stay.
class OldSeries
{
public:
    explicit OldSeries(QVector<double> series) : m_series(std::move(series)) {}
    ~OldSeries();
    OldSeries(OldSeries&&) = default;
    OldSeries& operator=(OldSeries&&) = delete;

    const QVector<double>& elements() const { return m_series; }

private:
    QVector<double> m_series;
};

/// Doubles the capacity of series before they are full, without copying any of them at once. A
/// vector that grows by itself copies all its elements with one append: milliseconds after minutes
/// at 400 Hz, a second after hours, and all series of the same pace do so with the same sample.
///
/// A series is copied from three quarters of its capacity on, each one a little later than the
/// previous one: a second vector gets the next capacity and, with each step, up to `stride`
/// elements of the series. When it has all of them, it takes the series' place.
///
/// - Between two steps a series holds exactly what was appended to it. It is not shared or changed
///   otherwise.
/// - A series that gets at most one element per step is replaced before it is full, so that no
///   append reallocates. One that gets more may still grow by itself, which costs time only.
/// - Capacities are those that the vector itself would choose. Above 134,217,725 elements it is the
///   largest one, 268,435,452, which a series of 400 Hz reaches after more than a week.
/// - One step takes O(stride) per series, plus an allocation when a copy begins.
/// - If all series have the same length, the copies hold at most a quarter as many elements.
///
/// One thread at a time uses it, with the lock of the series held.
class SeriesGrowth
{
public:
    using Series = QVector<double>;

    /// Elements copied per step. At 32 a copy ends after 1/31 of the length at which it began.
    static constexpr int stride = 32;

    /// @param count of series, at least 1
    explicit SeriesGrowth(std::size_t count);

    /// To be called after each append, always with the same series for the same number.
    /// @param number of the series, below count
    void step(std::size_t number, Series& series)
    {
        if (series.size() >= m_places[number].due) {
            advance(number, series);
        }
    }

    /// Drops all copies. To be called before the next step when a series was cleared or replaced.
    void reset();

    /// The series that were replaced since the last call. To destroy a long one takes milliseconds,
    /// which is why step() leaves this to the caller.
    std::vector<OldSeries> takeReplaced();

    /// Elements of this series that exist twice, replaced series not included.
    int copied(std::size_t number) const { return m_places[number].next.size(); }

    /// The next larger capacity: header and elements fill a power of two of bytes, or the largest
    /// block where that would be 2 GiB. 0 if there is none.
    static int nextCapacity(int capacity);

private:
    struct Place
    {
        int due = 0; ///< size at which advance() is needed
        bool copies = false;
        Series next; ///< the first elements of the series, with the next capacity
    };

    int startOfCopy(std::size_t number, int capacity) const;
    void advance(std::size_t number, Series& series);

    std::vector<Place> m_places;
    std::vector<OldSeries> m_replaced;
};
