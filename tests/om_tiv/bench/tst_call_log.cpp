#include "support/sidethread.h"

#include "bench/call_log.h"

#include <QtTest>

#include <thread>
#include <vector>

using namespace om;
using namespace om::bench;

namespace {

CallRecord call(CALL kind, int value = 0)
{
    CallRecord record;
    record.call = kind;
    record.value = value;
    return record;
}

} // namespace

class TestCallLog : public QObject
{
    Q_OBJECT

private slots:
    void everyKindHasAName();
    void aLogIsOffAtFirst();
    void callsAreKeptInOrder();
    void callsOfAHighRateAreKeptOnRequest_data();
    void callsOfAHighRateAreKeptOnRequest();
    void theBoundHoldsForEachKind();
    void clearForgetsTheCallsAndGoesOnNumbering();
    void theLastCallOfAKind();
    void theCallersThreadIsKept();
    void theHookSeesWhatIsKept();
    void theHookRunsWithoutALock();
    void manyThreadsMayLog();
};

void TestCallLog::everyKindHasAName()
{
    QSet<QString> names;
    for (int i = 0; i < static_cast<int>(CALL::COUNT); ++i) {
        names.insert(om::bench::toString(static_cast<CALL>(i)));
    }
    QCOMPARE(names.size(), static_cast<int>(CALL::COUNT));
    QVERIFY(!names.contains(QString()));
    QVERIFY(names.contains("GET_DEVICE_LIST"));
}

void TestCallLog::aLogIsOffAtFirst()
{
    CallLog log;
    QVERIFY(!log.wants(CALL::OPEN));
    log.setHighRate(true);
    QVERIFY(!log.wants(CALL::GET_SENSORS_DATA));
    log.add(call(CALL::OPEN));
    log.add(call(CALL::GRAB));
    QCOMPARE(log.records().size(), std::size_t{0});
    QCOMPARE(log.count(CALL::GRAB), std::uint64_t{0});
}

void TestCallLog::callsAreKeptInOrder()
{
    CallLog log;
    log.setOn(true);
    log.add(call(CALL::OPEN, 1));
    log.add(call(CALL::GRAB, 2));
    log.add(call(CALL::OPEN, 3));
    const auto all = log.records();
    QCOMPARE(all.size(), std::size_t{3});
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(all[static_cast<std::size_t>(i)].value, i + 1);
        QCOMPARE(all[static_cast<std::size_t>(i)].number, static_cast<std::uint64_t>(i + 1));
    }
    const auto opens = log.records(CALL::OPEN);
    QCOMPARE(opens.size(), std::size_t{2});
    QCOMPARE(opens[0].value, 1);
    QCOMPARE(opens[1].value, 3);
    QCOMPARE(log.count(CALL::OPEN), std::uint64_t{2});
    QCOMPARE(log.count(CALL::CLOSE), std::uint64_t{0});
}

void TestCallLog::callsOfAHighRateAreKeptOnRequest_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("high");
    for (int i = 0; i < static_cast<int>(CALL::COUNT); ++i) {
        const CALL kind = static_cast<CALL>(i);
        const bool high = kind == CALL::GET_SENSORS_DATA || kind == CALL::MCU_GET_READER_DATA ||
                          kind == CALL::MCU_GET_POSE || kind == CALL::MCU_CALC_MAG_HEADING ||
                          kind == CALL::GET_INIT_PARAMETERS || kind == CALL::GET_CUDA_CONTEXT;
        QTest::newRow(om::bench::toString(kind)) << i << high;
    }
}

void TestCallLog::callsOfAHighRateAreKeptOnRequest()
{
    QFETCH(int, kind);
    QFETCH(bool, high);
    CallLog log;
    log.setOn(true);
    const CALL which = static_cast<CALL>(kind);
    QCOMPARE(log.wants(which), !high);
    log.add(call(which));
    QCOMPARE(log.count(which), std::uint64_t{high ? 0U : 1U});
    log.setHighRate(true);
    log.add(call(which));
    QCOMPARE(log.count(which), std::uint64_t{high ? 1U : 2U});
    log.setHighRate(false);
    QCOMPARE(log.wants(which), !high);
}

void TestCallLog::theBoundHoldsForEachKind()
{
    CallLog log;
    log.setOn(true);
    log.add(call(CALL::OPEN, -1));
    const int calls = static_cast<int>(CallLog::maxPerKind) + 10;
    for (int i = 0; i < calls; ++i) {
        log.add(call(CALL::GRAB, i));
    }
    const auto grabs = log.records(CALL::GRAB);
    QCOMPARE(grabs.size(), CallLog::maxPerKind);
    QCOMPARE(grabs.front().value, 10);
    QCOMPARE(grabs.back().value, calls - 1);
    QCOMPARE(log.count(CALL::GRAB), static_cast<std::uint64_t>(calls));
    // The calls at a high rate do not displace the others.
    QCOMPARE(log.records(CALL::OPEN).size(), std::size_t{1});
    QCOMPARE(log.records().size(), CallLog::maxPerKind + 1);
}

void TestCallLog::clearForgetsTheCallsAndGoesOnNumbering()
{
    CallLog log;
    log.setOn(true);
    log.add(call(CALL::OPEN));
    log.clear();
    QVERIFY(log.records().empty());
    QCOMPARE(log.count(CALL::OPEN), std::uint64_t{0});
    log.add(call(CALL::OPEN));
    QCOMPARE(log.records()[0].number, std::uint64_t{2});
}

void TestCallLog::theLastCallOfAKind()
{
    CallLog log;
    log.setOn(true);
    QVERIFY(!log.last(CALL::OPEN));
    log.add(call(CALL::OPEN, 1));
    log.add(call(CALL::OPEN, 2));
    log.add(call(CALL::CLOSE, 3));
    QCOMPARE(log.last(CALL::OPEN)->value, 2);
}

void TestCallLog::theCallersThreadIsKept()
{
    CallLog log;
    log.setOn(true);
    SideThread other([&] { log.add(call(CALL::GRAB)); });
    const auto id = other.id();
    other.join();
    QVERIFY(log.last(CALL::GRAB)->thread == id);
}

void TestCallLog::theHookSeesWhatIsKept()
{
    CallLog log;
    log.setOn(true);
    std::vector<CallRecord> seen;
    log.setHook([&seen](const CallRecord& record) { seen.push_back(record); });
    log.add(call(CALL::OPEN, 7));
    log.add(call(CALL::GET_SENSORS_DATA));
    log.setHighRate(true);
    log.add(call(CALL::GET_SENSORS_DATA, 8));
    log.setHook(nullptr);
    log.add(call(CALL::CLOSE));
    QCOMPARE(seen.size(), std::size_t{2});
    QVERIFY(seen[0].call == CALL::OPEN && seen[1].call == CALL::GET_SENSORS_DATA);
    QCOMPARE(seen[0].value, 7);
    QCOMPARE(seen[1].value, 8);
    QCOMPARE(seen[1].number, std::uint64_t{2});
    QVERIFY(seen[0].thread == std::this_thread::get_id());
}

void TestCallLog::theHookRunsWithoutALock()
{
    CallLog log;
    log.setOn(true);
    std::uint64_t counted = 0;
    log.setHook([&](const CallRecord& record) {
        counted = log.count(record.call);
        log.setHook(nullptr);
    });
    log.add(call(CALL::GRAB));
    log.add(call(CALL::GRAB));
    QCOMPARE(counted, std::uint64_t{1});
}

void TestCallLog::manyThreadsMayLog()
{
    CallLog log;
    log.setOn(true);
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 400; ++i) {
                log.add(call(CALL::GRAB));
                log.records(CALL::GRAB);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    QCOMPARE(log.count(CALL::GRAB), std::uint64_t{1600});
}

QTEST_GUILESS_MAIN(TestCallLog)
#include "tst_call_log.moc"
