#include "camera/ProgramStates.h"

#include <algorithm>
#include <iterator>

bool ProgramStates::bool_attributes[4];
int ProgramStates::int_attributes[19];
double ProgramStates::double_attributes[4];
QString ProgramStates::qstring_attributes[4];

ProgramStates::ProgramStates() = default;

void ProgramStates::resetStates()
{
    std::fill(std::begin(bool_attributes), std::end(bool_attributes), false);
    std::fill(std::begin(int_attributes), std::end(int_attributes), 0);
    std::fill(std::begin(double_attributes), std::end(double_attributes), 0.0);
    for (QString& text : qstring_attributes) {
        text = QString::fromLatin1("");
    }
}

void ProgramStates::setBoolAttr(int number, bool value)
{
    bool_attributes[number] = value;
}

bool ProgramStates::getBoolAttr(int number)
{
    return bool_attributes[number];
}

void ProgramStates::switchBoolAttr(int number)
{
    bool_attributes[number] = !bool_attributes[number];
}

void ProgramStates::setIntAttr(int number, int value)
{
    int_attributes[number] = value;
}

int ProgramStates::getIntAttr(int number)
{
    return int_attributes[number];
}

int& ProgramStates::intAttr(int number)
{
    return int_attributes[number];
}

void ProgramStates::setDoubleAttr(int number, double value)
{
    double_attributes[number] = value;
}

double ProgramStates::getDoubleAttr(int number)
{
    return double_attributes[number];
}

double& ProgramStates::doubleAttr(int number)
{
    return double_attributes[number];
}

QString& ProgramStates::qstringAttr(int number)
{
    return qstring_attributes[number];
}
