// The program from its start: its main() runs here under another name.
#define main runProgram
#include "viewer/main.cpp" // NOLINT(bugprone-suspicious-include)
#undef main

#include <QDir>
#include <QTemporaryDir>
#include <QTimer>
#include <QWindow>
#include <QtTest>

namespace {

/// The state of the program while it ran.
struct Seen
{
    QByteArray glyphCache;
    int samples = 0;
    int samplesWhileShown = 0; ///< of the default format
    int samplesOfWindow = -1;  ///< of the main window's surface
    bool highDpi = false;
    bool highDpiPixmaps = false;
    QString firstLibraryPath;
    int windows = 0; ///< shown main windows without a parent
    QString desktopEntry;
    bool ownIconIsEmpty = false;
    QList<QSize> iconSizes; ///< of the icon that the window system gets
    /// Whether there was an application at the end of the window.
    bool windowWentFirst = false;
    int closes = 0; ///< of the window that was open when the loop ended
};
Seen seen;

class CloseWatcher : public QObject
{
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        seen.closes += event->type() == QEvent::Close ? 1 : 0;
        return QObject::eventFilter(watched, event);
    }
};

constexpr int exitCode = 7;

void look()
{
    seen.desktopEntry = QGuiApplication::desktopFileName();
    seen.firstLibraryPath = QCoreApplication::libraryPaths().value(0);
    QGuiApplication::setQuitOnLastWindowClosed(false); // the loop ends with a result of its own
    for (QWidget* const widget : QApplication::topLevelWidgets()) {
        if (qobject_cast<MainWindow*>(widget) != nullptr && widget->isVisible() &&
            widget->parent() == nullptr) {
            ++seen.windows;
            const auto* const window = static_cast<MainWindow*>(widget);
            seen.samplesWhileShown = QSurfaceFormat::defaultFormat().samples();
            seen.samplesOfWindow = window->windowHandle()->requestedFormat().samples();
            seen.ownIconIsEmpty = window->windowIcon().availableSizes().isEmpty();
            seen.iconSizes = window->windowHandle()->icon().availableSizes();
            QObject::connect(widget, &QObject::destroyed, [] {
                seen.windowWentFirst =
                    QCoreApplication::instance() != nullptr && !QCoreApplication::closingDown();
            });
            static CloseWatcher closes;
            widget->installEventFilter(&closes);
        }
    }
    QCoreApplication::exit(exitCode);
}

/// Called by the constructor of the application.
void note()
{
    seen.glyphCache = qgetenv("QT_NO_FT_CACHE");
    seen.samples = QSurfaceFormat::defaultFormat().samples();
    seen.highDpi = QCoreApplication::testAttribute(Qt::AA_EnableHighDpiScaling);
    seen.highDpiPixmaps = QCoreApplication::testAttribute(Qt::AA_UseHighDpiPixmaps);
    QTimer::singleShot(0, look);
}
Q_COREAPP_STARTUP_FUNCTION(note)

} // namespace

class TestMain : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;
    int m_result = 0;

private slots:
    void initTestCase()
    {
        // Only a folder that exists becomes a library path.
        const QString before = QDir::currentPath();
        QVERIFY(QDir(m_folder.path()).mkdir(QStringLiteral("platforms")));
        QVERIFY(QDir::setCurrent(m_folder.path()));
        char name[] = "gravimon";
        // Only the name has a meaning.
        char help[] = "--help";
        char nonsense[] = "nonsense";
        char* arguments[] = {name, help, nonsense, nullptr};
        m_result = runProgram(3, arguments);
        QVERIFY(QDir::setCurrent(before));
    }

    void theGlyphCacheIsOffBeforeTheApplication() { QCOMPARE(seen.glyphCache, QByteArray("1")); }
    void theFormatHasSixteenSamplesBeforeTheApplication() { QCOMPARE(seen.samples, 16); }
    void defaultFormatKeepsItsSamples() { QCOMPARE(seen.samplesWhileShown, 16); }
    void surfaceOfTheWindowHasNoSamples() { QCOMPARE(seen.samplesOfWindow, 0); }
    void highDpiScalingIsOnBeforeTheApplication() { QVERIFY(seen.highDpi); }
    void iconsAreDrawnInDevicePixels() { QVERIFY(seen.highDpiPixmaps); }

    void pluginsAreLookedForBesideTheWorkingFolderToo()
    {
        QCOMPARE(seen.firstLibraryPath,
                 QDir(m_folder.filePath(QStringLiteral("platforms"))).canonicalPath());
    }

    void oneMainWindowIsShown() { QCOMPARE(seen.windows, 1); }
    void shellsFindTheDesktopEntry() { QCOMPARE(seen.desktopEntry, QStringLiteral("gravimon")); }

    void theWindowSystemGetsTheApplicationsIconAndTheWindowHasNone()
    {
        QVERIFY(seen.ownIconIsEmpty);
        QCOMPARE(seen.iconSizes.size(), 7);
        QVERIFY(seen.iconSizes.contains(QSize(16, 16)));
        QVERIFY(seen.iconSizes.contains(QSize(256, 256)));
    }

    void theResultIsTheEventLoops() { QCOMPARE(m_result, exitCode); }
    void theWindowIsDestroyedBeforeTheApplication() { QVERIFY(seen.windowWentFirst); }
    void theWindowIsClosedWhenTheLoopEndsWithoutIt() { QCOMPARE(seen.closes, 1); }
    void theApplicationIsGoneAtTheEnd() { QVERIFY(QCoreApplication::instance() == nullptr); }
};

QTEST_APPLESS_MAIN(TestMain)
#include "tst_main.moc"
