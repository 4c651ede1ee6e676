#include "viewer/disposal.h"
#include "support/waiting.h"

#include <QSemaphore>
#include <QTest>

#include <memory>
#include <thread>

namespace {

/// Counts the destroyed objects and notes the thread. Its destructor waits for a permit.
struct Witness
{
    QSemaphore permits;
    QSemaphore destroyed;
    std::thread::id thread;
};

struct Slow
{
    explicit Slow(Witness& owner) : witness(owner) {}
    ~Slow()
    {
        if (waiting::acquire(witness.permits)) {
            witness.thread = std::this_thread::get_id();
            witness.destroyed.release();
        }
    }
    Slow(const Slow&) = delete;
    Slow& operator=(const Slow&) = delete;

    Witness& witness;
};

using Objects = std::vector<std::unique_ptr<Slow>>;

Objects objects(Witness& witness, int count)
{
    Objects made;
    for (int i = 0; i < count; ++i) {
        made.push_back(std::make_unique<Slow>(witness));
    }
    return made;
}

} // namespace

class TestDisposal : public QObject
{
    Q_OBJECT

private slots:
    void objectsAreDestroyedOnAnotherThread()
    {
        Witness witness;
        witness.permits.release(3);
        {
            Disposal<std::unique_ptr<Slow>> disposal;
            disposal.take(objects(witness, 3));
        }
        QCOMPARE(witness.destroyed.available(), 3);
        QVERIFY(witness.thread != std::this_thread::get_id());
    }

    void takeDoesNotWaitForADestructor()
    {
        Witness witness;
        Disposal<std::unique_ptr<Slow>> disposal;
        // Without a permit the first destructor blocks, and with it whoever calls it.
        disposal.take(objects(witness, 1));
        disposal.take(objects(witness, 2));
        QCOMPARE(witness.destroyed.available(), 0);
        witness.permits.release(3);
        QVERIFY(witness.destroyed.tryAcquire(3, waiting::patienceMs));
    }

    void everyObjectIsDestroyedByTheEnd()
    {
        Witness witness;
        witness.permits.release(100);
        {
            Disposal<std::unique_ptr<Slow>> disposal;
            for (int i = 0; i < 100; ++i) {
                disposal.take(objects(witness, 1));
            }
        }
        QCOMPARE(witness.destroyed.available(), 100);
    }

    void nothingToTakeIsNoError()
    {
        Witness witness;
        Disposal<std::unique_ptr<Slow>> disposal;
        disposal.take({});
        witness.permits.release(1);
        disposal.take(objects(witness, 1));
        QVERIFY(witness.destroyed.tryAcquire(1, waiting::patienceMs));
    }
};

QTEST_GUILESS_MAIN(TestDisposal)
#include "tst_disposal.moc"
