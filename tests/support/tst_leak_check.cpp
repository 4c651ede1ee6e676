// The leak check of the sanitizer with the options of run-test.

#include <QTest>

#include <dlfcn.h>
#include <sanitizer/lsan_interface.h>

#include <cstdint>
#include <thread>

/// The check at the end of a process, at other moments.
class TestLeakCheck : public QObject
{
    Q_OBJECT

private slots:
    // The runtime takes a block 16 bytes behind the beginning of a page for one of an old loader,
    // reads its size before it, and ended the process there.
    void variableOfALoadedLibraryMayBeAnywhere()
    {
        void* const library = dlopen(THREAD_LOCAL_BLOCK, RTLD_NOW);
        QVERIFY2(library != nullptr, dlerror());
        const auto block = reinterpret_cast<void* (*)()>(dlsym(library, "threadLocalBlock"));
        QVERIFY(block != nullptr);
        bool begins = false;
        int leaks = 0;
        for (int tries = 0; tries < 2000 && !begins; ++tries) {
            std::thread([&] {
                begins = reinterpret_cast<std::uintptr_t>(block()) % 4096 == 16;
                if (begins) {
                    leaks = __lsan_do_recoverable_leak_check();
                }
            }).join();
        }
        QVERIFY(begins);
        QCOMPARE(leaks, 0);
    }

    void lostBlockIsFound()
    {
        std::uintptr_t hidden = 0;
        // The stack of a thread that has ended keeps no pointer.
        std::thread([&hidden] { hidden = ~reinterpret_cast<std::uintptr_t>(new int(7)); }).join();
        const int leaks = __lsan_do_recoverable_leak_check();
        delete reinterpret_cast<int*>(~hidden);
        QCOMPARE(leaks, 1);
    }
};

QTEST_APPLESS_MAIN(TestLeakCheck)

#include "tst_leak_check.moc"
