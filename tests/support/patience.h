/// @file
/// How long a test waits at most. Every test has this header included first (cmake/GravimonTest):
/// with it QTRY_VERIFY and its kin look every few milliseconds in place of every fifty, and give up
/// by the clock after the patience in place of after a hundred looks.
#pragma once

#include <QDeadlineTimer>
#include <QtTest/qtestcase.h>

#include <chrono>

namespace waiting {

/// For a busy machine and a sanitizer. A wait that succeeds takes a small part of it.
constexpr std::chrono::milliseconds patience{30'000};
constexpr int patienceMs = static_cast<int>(patience.count()); ///< for Qt's calls

} // namespace waiting

#define GRAVIMON_WAIT_WITH_EVENTS(condition)                                                       \
    for (const QDeadlineTimer deadline(waiting::patience);                                         \
         !(condition) && !deadline.hasExpired();) {                                                \
        QTest::qWait(5);                                                                           \
    }

#undef QTRY_VERIFY
#undef QTRY_VERIFY2
#undef QTRY_COMPARE
#define QTRY_VERIFY(condition)                                                                     \
    do {                                                                                           \
        GRAVIMON_WAIT_WITH_EVENTS(condition)                                                       \
        QVERIFY(condition);                                                                        \
    } while (false)
#define QTRY_VERIFY2(condition, text)                                                              \
    do {                                                                                           \
        GRAVIMON_WAIT_WITH_EVENTS(condition)                                                       \
        QVERIFY2(condition, text);                                                                 \
    } while (false)
#define QTRY_COMPARE(value, expected)                                                              \
    do {                                                                                           \
        GRAVIMON_WAIT_WITH_EVENTS((value) == (expected))                                           \
        QCOMPARE(value, expected);                                                                 \
    } while (false)
