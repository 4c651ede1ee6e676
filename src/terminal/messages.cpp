#include "terminal/messages.h"

#include <QString>

#include <iostream>

namespace terminal {

std::string printable(const std::string& text)
{
    QString line = QString::fromStdString(text);
    for (QChar& c : line) {
        const bool breaksLine = c == QChar::LineSeparator || c == QChar::ParagraphSeparator;
        if (breaksLine || (!c.isPrint() && !c.isSurrogate())) {
            c = QLatin1Char(' ');
        }
    }
    return line.toStdString();
}

void printError(const std::string& text)
{
    std::cerr << "gravimon-log: " << printable(text) << "\n";
}

} // namespace terminal
