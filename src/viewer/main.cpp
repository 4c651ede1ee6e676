#include "closing/close_signals.h"
#include "desktop/identity.h"
#include "process/standard_descriptors.h"
#include "viewer/mainwindow.h"

#include <QApplication>
#include <QSurfaceFormat>

#include <csignal>

#include <malloc.h>

namespace {

/// Frames and textures of a megabyte and more are allocated and freed with each camera. By default
/// the allocator soon takes them from the heap, where lasting blocks are allocated between them,
/// and the process keeps about 5 MiB more after each opening of a camera. The buffers for painting,
/// which are used many times a second, are smaller and stay on the heap.
void keepFramesOffTheHeap()
{
#ifdef __GLIBC__
    constexpr int mebibyte = 1024 * 1024;
    // Setting one of them turns off the automatic adjustment of the other. There is no other thread
    // yet.
    mallopt(M_MMAP_THRESHOLD, 2 * mebibyte);  // NOLINT(concurrency-mt-unsafe)
    mallopt(M_TRIM_THRESHOLD, 16 * mebibyte); // NOLINT(concurrency-mt-unsafe)
#endif
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): without memory the program ends
int main(int argc, char* argv[])
{
    occupyStandardDescriptors();
    keepFramesOffTheHeap();
    // A file size limit is then handled like a full disk: writes fail.
    std::signal(SIGXFSZ, SIG_IGN);
    // Intended. Without Qt's cache of glyphs each painted text loads its glyphs from the font file,
    // so texts that are painted often keep their layouts (CachedTextEngine, LiveText).
    qputenv("QT_NO_FT_CACHE", "1");
    QSurfaceFormat format;
    format.setSamples(16);
    QSurfaceFormat::setDefaultFormat(format);
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling, true);
    // Icons are drawn in device pixels.
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps, true);
    QApplication application(argc, argv);
    QCoreApplication::addLibraryPath(QStringLiteral("platforms/"));
    setDesktopIdentity(QStringLiteral("gravimon"));
    MainWindow window;
    const CloseSignals closeSignals(&window);
    window.show();
    const int status = QApplication::exec();
    // A session manager can end the event loop without closing the window. Only the close ends the
    // threads that use the window.
    if (window.isVisible()) {
        window.close();
    }
    return status;
}
