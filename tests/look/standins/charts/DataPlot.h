#pragma once

#include <QWidget>

// Replaces the real DataPlot in tests of the form around it.
class DataPlot : public QWidget
{
public:
    using QWidget::QWidget;
};
