#pragma once

#include <QWidget>

// Takes the place of the real Compass where only the form around it is tested.
class Compass : public QWidget
{
public:
    using QWidget::QWidget;
};
