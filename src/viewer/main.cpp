#include "closing/close_signals.h"
#include "viewer/mainwindow.h"

#include <QApplication>
#include <QSurfaceFormat>

#include <csignal>

#include <malloc.h>

namespace {

/// Frames and textures of a megabyte and more come and go with each camera. Left to itself the
/// allocator soon takes them from the heap, where what stays lies between them, and the process
/// keeps some 5 MiB more after each opening of a camera. What is painted with many times a second
/// is smaller, and stays on the heap.
void keepFramesOffTheHeap()
{
#ifdef __GLIBC__
    constexpr int mebibyte = 1024 * 1024;
    // Setting the one turns the other's own adjustment off. There is no other thread yet.
    mallopt(M_MMAP_THRESHOLD, 2 * mebibyte);  // NOLINT(concurrency-mt-unsafe)
    mallopt(M_TRIM_THRESHOLD, 16 * mebibyte); // NOLINT(concurrency-mt-unsafe)
#endif
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what is out of memory ends here
int main(int argc, char* argv[])
{
    keepFramesOffTheHeap();
    // A recording that meets the limit of a file's size is one on a full disk: its writes fail.
    std::signal(SIGXFSZ, SIG_IGN);
    // Turns off the glyph cache of the FreeType font engine.
    qputenv("QT_NO_FT_CACHE", "1");
    QSurfaceFormat format;
    format.setSamples(16);
    QSurfaceFormat::setDefaultFormat(format);
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling, true);
    QApplication application(argc, argv);
    QCoreApplication::addLibraryPath(QStringLiteral("platforms/"));
    MainWindow window;
    const CloseSignals closeSignals(&window);
    window.show();
    return QApplication::exec();
}
