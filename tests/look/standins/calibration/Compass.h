#pragma once

#include <QWidget>

// Replaces the real Compass in tests of the form around it.
class Compass : public QWidget
{
public:
    using QWidget::QWidget;
};
