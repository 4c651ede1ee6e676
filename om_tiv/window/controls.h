/// @file
/// Switches and sliders that show the state of a bench and request changes.
///
/// Each shows a new state only after its own last request has been executed, and not while the user
/// operates it, so that it never jumps back.
#pragma once

#include <QAbstractButton>
#include <QColor>
#include <QComboBox>
#include <QSlider>
#include <QWidget>

#include <cstdint>
#include <functional>

class QLabel;
class QSpinBox;

namespace benchwindow {

/// A button that slides from off to on.
class Switch : public QAbstractButton
{
    Q_OBJECT

public:
    explicit Switch(const QColor& on, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    const QColor m_on;
};

/// A list to choose from, with an arrow in the style of the other controls.
class ChoiceBox : public QComboBox
{
    Q_OBJECT

public:
    using QComboBox::QComboBox;

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// A slider whose value assistive programs read in a unit.
class UnitSlider : public QSlider
{
    Q_OBJECT

public:
    /// @param unit value of one step
    /// @param text of a value, with its unit
    UnitSlider(double unit, std::function<QString(double)> text, QWidget* parent = nullptr);

    double unit() const { return m_unit; }
    QString valueText() const { return m_text(value() * m_unit); }

private:
    const double m_unit;
    const std::function<QString(double)> m_text;
};

/// A name, a value and a slider below them.
class SliderRow : public QWidget
{
    Q_OBJECT

public:
    struct Range
    {
        double least;
        double most;
        double step;
        int decimals;
        QString unit;
    };

    SliderRow(const QString& name, const Range& range, QWidget* parent = nullptr);

    void showValue(double value, std::uint64_t ticket);
    void awaitTicket(std::uint64_t ticket) { m_awaited = ticket; }
    QSlider* slider() const { return m_slider; }

signals:
    void moved(double value); ///< by the user

private:
    QString textOf(double value) const;
    void showText(double value);

    const Range m_range;
    std::uint64_t m_awaited = 0;
    bool m_showing = false;
    QLabel* m_value;
    QSlider* m_slider;
};

/// A fault: its name, its number if it has one, and a switch if it can be off.
///
/// While the fault is on, the number is that of the bench. While it is off, the number is the one
/// with which the switch turns it on.
class FaultRow : public QWidget
{
    Q_OBJECT

public:
    struct Fault
    {
        enum class KIND {
            SWITCH,  ///< true or false
            NUMBER,  ///< a number, 0 for off
            COUNT,   ///< likewise, and it counts down until it is off
            SETTING, ///< a number that belongs to another fault
        };
        const char* key; ///< of bench files
        const char* name;
        const char* tip;
        KIND kind;
        int usual; ///< turns it on at first; of a setting the neutral number
        const char* unit;
    };

    explicit FaultRow(const Fault& fault, QWidget* parent = nullptr);

    const Fault& fault() const { return m_fault; }
    /// @param number 0 and 1 for a switch that is off or on
    void showNumber(int number, std::uint64_t ticket);
    void awaitTicket(std::uint64_t ticket) { m_awaited = ticket; }
    /// Requests a number that is being typed. The next number that is shown is of another camera.
    void leaveCamera();
    Switch* toggle() const { return m_switch; }   ///< null for a setting
    QSpinBox* number() const { return m_number; } ///< null for a switch

signals:
    void requested(int number); ///< by the user

private:
    bool isOff() const { return m_switch != nullptr && m_current == 0; }
    void request(int number);
    void showCurrent();

    const Fault m_fault;
    std::uint64_t m_awaited = 0;
    int m_current;  ///< of the camera, or the one that was requested last
    int m_onNumber; ///< turns the fault on
    bool m_showing = false;
    Switch* m_switch = nullptr;
    QSpinBox* m_number = nullptr;
};

} // namespace benchwindow
