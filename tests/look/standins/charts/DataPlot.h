#pragma once

#include <QWidget>

// Takes the place of the real DataPlot where only the form around it is tested.
class DataPlot : public QWidget
{
public:
    using QWidget::QWidget;
};
