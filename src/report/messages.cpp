#include "report/messages.h"

#include <QString>

#include <iostream>

namespace report {

std::string plain(const std::string& text)
{
    QString line = QString::fromStdString(text);
    for (QChar& c : line) {
        const bool format = c.category() == QChar::Other_Format;
        if (format || !(c.isPrint() || c.isSurrogate())) {
            c = QLatin1Char(' ');
        }
    }
    return line.toStdString();
}

void complain(const std::string& text)
{
    std::cerr << "gravimon-log: " << plain(text) << "\n";
}

} // namespace report
