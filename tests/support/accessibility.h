/// @file
/// What assistive programs learn of a window.
#pragma once

#include <QAccessible>
#include <QComboBox>
#include <QLabel>
#include <QStringList>
#include <QWidget>

namespace accessibility {

/// Qt's own parts of a control, which speak for it.
inline bool isInner(const QObject* object)
{
    const QString name = object->objectName();
    return name.startsWith(QLatin1String("qt_")) || object->inherits("QScrollBar") ||
           object->inherits("QAbstractItemView") || object->inherits("QComboBoxPrivateContainer") ||
           object->inherits("QwtPlotCanvas");
}

/// Whether a person operates the widget or reads a picture from it.
inline bool needsName(const QWidget* widget, const QAccessibleInterface* interface)
{
    static const char* const pictures[] = {"QwtPlot", "QwtDial", "QOpenGLWidget"};
    for (const char* const picture : pictures) {
        if (widget->inherits(picture)) {
            return true;
        }
    }
    const auto* const label = qobject_cast<const QLabel*>(widget);
    if (label != nullptr) {
        return label->pixmap(Qt::ReturnByValue).width() > 0;
    }
    switch (interface->role()) {
    case QAccessible::Button:
    case QAccessible::CheckBox:
    case QAccessible::RadioButton:
    case QAccessible::ComboBox:
    case QAccessible::EditableText:
    case QAccessible::Slider:
    case QAccessible::SpinBox:
        return true;
    default:
        return widget->focusPolicy() != Qt::NoFocus;
    }
}

/// On Linux a combo box has its value as its name: a label or a description names it.
inline bool isNamed(const QWidget* widget, const QAccessibleInterface* interface)
{
    if (qobject_cast<const QComboBox*>(widget) != nullptr) {
        return !interface->relations(QAccessible::Label).isEmpty() ||
               !interface->text(QAccessible::Description).isEmpty();
    }
    // The title of the group around it is not the widget's own.
    if (widget->inherits("QwtPlot") || widget->inherits("QwtDial")) {
        return !widget->accessibleName().isEmpty();
    }
    return !interface->text(QAccessible::Name).trimmed().isEmpty();
}

/// The controls of a window without a name, by class and object name, hidden ones included.
/// @param checked counts the controls that were looked at
inline QStringList unnamed(QWidget& window, int& checked)
{
    QStringList found;
    const QList<QWidget*> widgets = window.findChildren<QWidget*>();
    for (QWidget* const widget : widgets) {
        const QAccessibleInterface* const interface = QAccessible::queryAccessibleInterface(widget);
        if (widget->isWindow() || isInner(widget) || interface == nullptr ||
            !needsName(widget, interface)) {
            continue;
        }
        ++checked;
        if (!isNamed(widget, interface)) {
            found += QString::fromLatin1(widget->metaObject()->className()) + QLatin1Char(' ') +
                     widget->objectName();
        }
    }
    return found;
}

} // namespace accessibility
