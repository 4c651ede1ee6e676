#pragma once

#include <QWidget>

// Replaces the real CalibPlot in tests of the form around it.
class CalibPlot : public QWidget
{
public:
    using QWidget::QWidget;
};
