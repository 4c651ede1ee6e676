#include "support/sidethread.h"
#include "support/waiting.h"

#include "bench/script.h"

#include <QtTest>

#include <atomic>
#include <vector>

using namespace om;
using namespace om::bench;

using Results = Script<ERROR_CODE>;
using STEP = Results::STEP;

namespace {

/// The answers to some calls: the code, negative for a repeat, 1000 for none and 2000 for a camera
/// to be unplugged.
std::vector<int> answers(Results& script, int calls)
{
    std::vector<int> all;
    for (int i = 0; i < calls; ++i) {
        ERROR_CODE code = ERROR_CODE::SUCCESS;
        switch (script.next(code)) {
        case STEP::NONE:
            all.push_back(1000);
            break;
        case STEP::ENTRY:
            all.push_back(static_cast<int>(code));
            break;
        case STEP::REPEATED:
            all.push_back(-static_cast<int>(code));
            break;
        case STEP::GONE:
            all.push_back(2000);
            break;
        }
    }
    return all;
}

ERROR_CODE code(int value)
{
    return static_cast<ERROR_CODE>(value);
}

} // namespace

class TestScript : public QObject
{
    Q_OBJECT

private slots:
    void withoutAScriptThereIsNoAnswer();
    void entriesComeInOrder();
    void afterTheLastEntry_data();
    void afterTheLastEntry();
    void anEmptyScriptLeavesThePhysics();
    void appendedEntriesFollow();
    void appendingToNothingBeginsAScript();
    void aNewScriptReplacesTheFormer();
    void clearGoesBackToPhysics();
    void statusCountsEntriesAndCalls();
    void aGeneratorMakesEntriesAsTheyAreDelivered();
    void afterTheLastEntryOfAGenerator_data();
    void afterTheLastEntryOfAGenerator();
    void aGeneratorMayBlockWhileOthersLook();
    void changesShowInTheVersion();
};

void TestScript::withoutAScriptThereIsNoAnswer()
{
    Results script;
    QVERIFY(!script.isActive());
    QCOMPARE(answers(script, 2), (std::vector<int>{1000, 1000}));
    QVERIFY(!script.status().active);
}

void TestScript::entriesComeInOrder()
{
    Results script;
    script.set({code(1), code(0), code(7)}, AFTER::REPEAT_LAST);
    QCOMPARE(answers(script, 3), (std::vector<int>{1, 0, 7}));
}

void TestScript::afterTheLastEntry_data()
{
    QTest::addColumn<int>("after");
    QTest::addColumn<QVector<int>>("expected");
    QTest::newRow("repeat last") << static_cast<int>(AFTER::REPEAT_LAST)
                                 << QVector<int>{2, 3, -3, -3};
    QTest::newRow("camera gone") << static_cast<int>(AFTER::CAMERA_GONE)
                                 << QVector<int>{2, 3, 2000, 1000};
    QTest::newRow("physics") << static_cast<int>(AFTER::PHYSICS) << QVector<int>{2, 3, 1000, 1000};
}

void TestScript::afterTheLastEntry()
{
    QFETCH(int, after);
    QFETCH(QVector<int>, expected);
    Results script;
    script.set({code(2), code(3)}, static_cast<AFTER>(after));
    QCOMPARE(answers(script, 4), std::vector<int>(expected.begin(), expected.end()));
}

void TestScript::anEmptyScriptLeavesThePhysics()
{
    Results script;
    script.set(std::vector<ERROR_CODE>(), AFTER::REPEAT_LAST);
    QCOMPARE(answers(script, 1), (std::vector<int>{1000}));
}

void TestScript::appendedEntriesFollow()
{
    Results script;
    script.set({code(1)}, AFTER::REPEAT_LAST);
    QCOMPARE(answers(script, 2), (std::vector<int>{1, -1}));
    script.append({code(5), code(6)});
    QCOMPARE(answers(script, 3), (std::vector<int>{5, 6, -6}));
}

void TestScript::appendingToNothingBeginsAScript()
{
    Results script;
    script.append({code(5)});
    QCOMPARE(answers(script, 2), (std::vector<int>{5, -5}));
}

void TestScript::aNewScriptReplacesTheFormer()
{
    Results script;
    script.set({code(1), code(2)}, AFTER::REPEAT_LAST);
    answers(script, 1);
    script.set({code(8)}, AFTER::PHYSICS);
    QCOMPARE(answers(script, 2), (std::vector<int>{8, 1000}));
}

void TestScript::clearGoesBackToPhysics()
{
    Results script;
    script.set({code(1)}, AFTER::REPEAT_LAST);
    script.clear();
    QVERIFY(!script.isActive());
    QCOMPARE(answers(script, 1), (std::vector<int>{1000}));
}

void TestScript::statusCountsEntriesAndCalls()
{
    Results script;
    script.set({code(1), code(2)}, AFTER::REPEAT_LAST);
    answers(script, 1);
    QCOMPARE(script.status().delivered, std::uint64_t{1});
    QCOMPARE(script.status().calls, std::uint64_t{1});
    answers(script, 4);
    QVERIFY(script.status().active);
    QCOMPARE(script.status().delivered, std::uint64_t{2});
    QCOMPARE(script.status().calls, std::uint64_t{5});
}

void TestScript::aGeneratorMakesEntriesAsTheyAreDelivered()
{
    Results script;
    int made = 0;
    script.set(
        [&](std::uint64_t index, ERROR_CODE& entry) {
            ++made;
            entry = code(static_cast<int>(index) + 1);
            return true;
        },
        AFTER::REPEAT_LAST);
    QCOMPARE(made, 0);
    QCOMPARE(answers(script, 3), (std::vector<int>{1, 2, 3}));
    QCOMPARE(made, 3);
    QCOMPARE(script.status().delivered, std::uint64_t{3});
}

void TestScript::afterTheLastEntryOfAGenerator_data()
{
    afterTheLastEntry_data();
}

void TestScript::afterTheLastEntryOfAGenerator()
{
    QFETCH(int, after);
    QFETCH(QVector<int>, expected);
    Results script;
    script.set(
        [](std::uint64_t index, ERROR_CODE& entry) {
            entry = code(static_cast<int>(index) + 2);
            return index < 2;
        },
        static_cast<AFTER>(after));
    QCOMPARE(answers(script, 4), std::vector<int>(expected.begin(), expected.end()));
}

void TestScript::aGeneratorMayBlockWhileOthersLook()
{
    Results script;
    std::atomic<bool> inside{false};
    QSemaphore leave;
    script.set(
        [&](std::uint64_t, ERROR_CODE& entry) {
            inside = true;
            (void)waiting::acquire(leave);
            entry = code(9);
            return true;
        },
        AFTER::REPEAT_LAST);
    std::vector<int> got;
    SideThread caller([&] { got = answers(script, 1); });
    caller.onJoin([&leave] { leave.release(); });
    QTRY_VERIFY(inside);
    QCOMPARE(script.status().calls, std::uint64_t{1});
    script.clear(); // does not wait for it either
    caller.join();
    QCOMPARE(got, (std::vector<int>{9}));
}

void TestScript::changesShowInTheVersion()
{
    Results script;
    const auto first = script.version();
    script.set({code(1)}, AFTER::REPEAT_LAST);
    const auto second = script.version();
    script.append({code(2)});
    const auto third = script.version();
    script.clear();
    QVERIFY(first != second && second != third && third != script.version());
}

QTEST_GUILESS_MAIN(TestScript)
#include "tst_script.moc"
