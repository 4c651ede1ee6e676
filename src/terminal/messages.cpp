#include "terminal/messages.h"

#include <QString>

#include <iostream>

namespace terminal {

std::string oneLine(const std::string& text)
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

void printError(const std::string& text)
{
    std::cerr << "gravimon-log: " << oneLine(text) << "\n";
}

} // namespace terminal
