#include "desktop/identity.h"

#include <QEvent>
#include <QGuiApplication>
#include <QIcon>
#include <QWindow>

namespace {

constexpr int iconSizes[] = {16, 24, 32, 48, 64, 128, 256}; // pixels

/// Shows the application's icon on each window. Qt does so by itself only where neither the window
/// nor one of its parents has an icon, and an icon whose file is missing counts as one.
class IconSetter : public QObject
{
public:
    using QObject::QObject;

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show && watched->isWindowType()) {
            auto* const window = static_cast<QWindow*>(watched);
            if (window->type() == Qt::Window || window->type() == Qt::Dialog) {
                window->setIcon(QGuiApplication::windowIcon());
            }
        }
        return false;
    }
};

} // namespace

void setDesktopIdentity(const QString& entry)
{
    Q_INIT_RESOURCE(desktop);
    QIcon icon;
    for (const int size : iconSizes) {
        icon.addFile(QStringLiteral(":/desktop/icons/gravimon-%1.png").arg(size));
    }
    QGuiApplication::setWindowIcon(icon);
    QGuiApplication::setDesktopFileName(entry);
    qGuiApp->installEventFilter(new IconSetter(qGuiApp));
}
