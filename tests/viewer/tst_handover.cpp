#include "viewer/handover.h"
#include "support/sidethread.h"
#include "support/waiting.h"

#include <QDeadlineTimer>
#include <QTest>

#include <atomic>

namespace {

/// Counts the objects that live.
struct Counted
{
    explicit Counted(int n) : number(n) { ++alive; }
    ~Counted() { --alive; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    const int number;
    int uses = 0;
    static std::atomic<int> alive;
};

std::atomic<int> Counted::alive{0};

} // namespace

class TestHandover : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QCOMPARE(Counted::alive.load(), 0); }

    void nothingIsThereAtFirst()
    {
        Handover<Counted> place;
        QVERIFY(place.take() == nullptr);
    }

    void objectIsTakenAndGivenBackAgainAndAgain()
    {
        Handover<Counted> place;
        place.provide(std::make_unique<Counted>(1));
        for (int i = 0; i < 3; ++i) {
            auto object = place.take();
            QVERIFY(object != nullptr);
            QCOMPARE(object->uses++, i);
            QVERIFY2(place.take() == nullptr, "it is in use");
            place.giveBack(std::move(object));
        }
        QCOMPARE(Counted::alive.load(), 1);
    }

    void replacedObjectGoesAtOnce()
    {
        Handover<Counted> place;
        place.provide(std::make_unique<Counted>(1));
        place.provide(std::make_unique<Counted>(2));
        QCOMPARE(Counted::alive.load(), 1);
        auto object = place.take();
        QCOMPARE(object->number, 2);
        place.giveBack(std::move(object));
        place.provide(nullptr);
        QCOMPARE(Counted::alive.load(), 0);
        QVERIFY(place.take() == nullptr);
    }

    void objectThatIsReplacedInUseGoesWithItsUser_data()
    {
        QTest::addColumn<bool>("another");
        QTest::newRow("by none") << false;
        QTest::newRow("by another one") << true;
    }

    void objectThatIsReplacedInUseGoesWithItsUser()
    {
        QFETCH(bool, another);
        Handover<Counted> place;
        place.provide(std::make_unique<Counted>(1));
        auto used = place.take();
        place.provide(nullptr);
        if (another) {
            place.provide(std::make_unique<Counted>(2));
        }
        QCOMPARE(used->number, 1);
        QCOMPARE(Counted::alive.load(), another ? 2 : 1);
        place.giveBack(std::move(used));
        QCOMPARE(Counted::alive.load(), another ? 1 : 0);
        const auto next = place.take();
        QCOMPARE(next == nullptr ? 0 : next->number, another ? 2 : 0);
    }

    void objectIsNeverUsedByBothThreads()
    {
        constexpr int rounds = 20000;
        Handover<Counted> place;
        std::atomic<int> taken{0};
        SideThread user([&](const std::atomic<bool>& ended) {
            while (!ended) {
                if (auto object = place.take(); object != nullptr) {
                    ++object->uses;
                    ++taken;
                    place.giveBack(std::move(object));
                }
            }
        });
        const QDeadlineTimer deadline(waiting::patience);
        for (int i = 1; i <= rounds || (taken < 10 && !deadline.hasExpired()); ++i) {
            place.provide(std::make_unique<Counted>(i));
            if (i % 3 == 0) {
                place.provide(nullptr);
            }
        }
        user.join();
        QVERIFY(taken >= 10);
        QVERIFY(Counted::alive <= 1);
    }
};

QTEST_GUILESS_MAIN(TestHandover)
#include "tst_handover.moc"
