#pragma once

#include <QWidget>

// Takes the place of the real OGL3DWidget where only the form around it is tested.
class OGL3DWidget : public QWidget
{
public:
    using QWidget::QWidget;
};
