#pragma once

#include <QWidget>

// Replaces the real OGL3DWidget in tests of the form around it.
class OGL3DWidget : public QWidget
{
public:
    using QWidget::QWidget;
};
