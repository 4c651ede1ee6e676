#include "viewer/closesignals.h"
#include "viewer/mainwindow.h"

#include <QApplication>
#include <QSurfaceFormat>

int main(int argc, char* argv[])
{
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
