#pragma once

#include <QWidget>

// Takes the place of the real CalibPlot where only the form around it is tested.
class CalibPlot : public QWidget
{
public:
    using QWidget::QWidget;
};
