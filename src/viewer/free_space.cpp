#include "viewer/free_space.h"

#include <QCoreApplication>

namespace freespace {

namespace {

constexpr double warningGigabytes = 10.0;

} // namespace

QString text(double gigabytes, const QString& path)
{
    return QCoreApplication::translate("MainWindow", "Disk Free Space: %1 Gb  on %2")
        .arg(gigabytes, 4, 'f', 1, QLatin1Char(' '))
        .arg(path);
}

QString style(double gigabytes)
{
    return gigabytes < warningGigabytes ? QStringLiteral("color : rgb(250,20,20);")
                                        : QStringLiteral("color : rgb(20,20,20);");
}

} // namespace freespace
