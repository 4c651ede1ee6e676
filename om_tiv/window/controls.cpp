#include "window/controls.h"

#include "window/look.h"
#include "world/faults.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPolygonF>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <utility>

namespace benchwindow {

Switch::Switch(const QColor& on, QWidget* parent) : QAbstractButton(parent), m_on(on)
{
    setCheckable(true);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setFocusPolicy(Qt::StrongFocus);
}

QSize Switch::sizeHint() const
{
    return {36, 20};
}

void Switch::paintEvent(QPaintEvent* event)
{
    Q_UNUSED(event)
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track = QRectF(rect()).adjusted(1.0, 2.0, -1.0, -2.0);
    const double radius = track.height() / 2.0;
    QColor ground = isChecked() ? m_on : look::charcoal;
    if (!isEnabled()) {
        ground = look::steel;
    }
    painter.setPen(hasFocus()     ? QPen(look::pearl, 1.2)
                   : underMouse() ? QPen(look::ash, 1.2)
                                  : QPen(Qt::NoPen));
    painter.setBrush(ground);
    painter.drawRoundedRect(track, radius, radius);
    painter.setPen(Qt::NoPen);
    painter.setBrush(isChecked() && isEnabled() ? look::soil : look::iron);
    const double x = isChecked() ? track.right() - radius : track.left() + radius;
    painter.drawEllipse(QPointF(x, track.center().y()), radius - 3.0, radius - 3.0);
}

void Switch::enterEvent(QEvent* event)
{
    Q_UNUSED(event)
    update();
}

void Switch::leaveEvent(QEvent* event)
{
    Q_UNUSED(event)
    update();
}

void ChoiceBox::paintEvent(QPaintEvent* event)
{
    QComboBox::paintEvent(event);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(isEnabled() ? look::iron : look::charcoal, 1.6, Qt::SolidLine, Qt::RoundCap,
                        Qt::RoundJoin));
    const QPointF tip(width() - 12.5, height() / 2.0 + 2.0);
    painter.drawPolyline(
        QVector<QPointF>{tip + QPointF(-4.0, -4.0), tip, tip + QPointF(4.0, -4.0)});
}

namespace {

/// Qt's own interface of a slider knows steps only.
class AccessibleSlider : public QAccessibleWidget, public QAccessibleValueInterface
{
public:
    explicit AccessibleSlider(UnitSlider* slider) : QAccessibleWidget(slider, QAccessible::Slider)
    {}

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ValueInterface ? static_cast<QAccessibleValueInterface*>(this)
                                                   : QAccessibleWidget::interface_cast(type);
    }

    QString text(QAccessible::Text type) const override
    {
        return type == QAccessible::Value ? slider()->valueText() : QAccessibleWidget::text(type);
    }

    QVariant currentValue() const override { return slider()->value() * slider()->unit(); }
    void setCurrentValue(const QVariant& value) override
    {
        slider()->setValue(static_cast<int>(std::lround(value.toDouble() / slider()->unit())));
    }
    QVariant maximumValue() const override { return slider()->maximum() * slider()->unit(); }
    QVariant minimumValue() const override { return slider()->minimum() * slider()->unit(); }
    QVariant minimumStepSize() const override { return slider()->unit(); }

private:
    UnitSlider* slider() const { return static_cast<UnitSlider*>(widget()); }
};

QAccessibleInterface* accessibleSlider(const QString& className, QObject* object)
{
    Q_UNUSED(className)
    auto* const slider = qobject_cast<UnitSlider*>(object);
    return slider == nullptr ? nullptr : new AccessibleSlider(slider);
}

} // namespace

UnitSlider::UnitSlider(double unit, std::function<QString(double)> text, QWidget* parent)
    : QSlider(Qt::Horizontal, parent), m_unit(unit), m_text(std::move(text))
{
    static const bool installed = [] {
        QAccessible::installFactory(accessibleSlider);
        return true;
    }();
    Q_UNUSED(installed)
}

SliderRow::SliderRow(const QString& name, const Range& range, QWidget* parent)
    : QWidget(parent), m_range(range), m_value(new QLabel),
      m_slider(new UnitSlider(range.step, [this](double value) { return textOf(value); }))
{
    auto* const top = new QHBoxLayout;
    top->addWidget(new QLabel(name));
    top->addStretch();
    m_value->setProperty("role", "value");
    top->addWidget(m_value);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 2, 0, 2);
    layout->setSpacing(4);
    layout->addLayout(top);
    layout->addWidget(m_slider);
    m_slider->setRange(static_cast<int>(std::lround(range.least / range.step)),
                       static_cast<int>(std::lround(range.most / range.step)));
    m_slider->setAccessibleName(name);
    m_slider->setMinimumHeight(18);
    m_slider->setFocusPolicy(Qt::StrongFocus);
    connect(m_slider, &QSlider::valueChanged, this, [this](int value) {
        if (!m_showing) {
            showText(value * m_range.step);
            emit moved(value * m_range.step);
        }
    });
    showText(0.0);
}

QString SliderRow::textOf(double value) const
{
    return QString::number(value, 'f', m_range.decimals) + QLatin1Char(' ') + m_range.unit;
}

void SliderRow::showText(double value)
{
    m_value->setText(textOf(value));
}

void SliderRow::showValue(double value, std::uint64_t ticket)
{
    if (ticket < m_awaited || m_slider->isSliderDown()) {
        return;
    }
    m_showing = true;
    m_slider->setValue(static_cast<int>(std::lround(value / m_range.step)));
    m_showing = false;
    // The value may be between two steps or outside the slider's range.
    showText(value);
}

FaultRow::FaultRow(const Fault& fault, QWidget* parent)
    : QWidget(parent), m_fault(fault),
      m_current(fault.kind == Fault::KIND::SETTING ? fault.usual : 0), m_onNumber(fault.usual)
{
    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    const bool isSetting = fault.kind == Fault::KIND::SETTING;
    auto* const label = new QLabel(tr(fault.name));
    label->setIndent(isSetting ? 14 : 0);
    if (isSetting) {
        label->setProperty("role", "value");
    }
    layout->addWidget(label);
    layout->addStretch();
    setToolTip(tr(fault.tip));
    if (fault.kind != Fault::KIND::SWITCH) {
        m_number = new QSpinBox;
        const om::bench::FaultKey& range = om::bench::faultKey(fault.key);
        // 0 is the switch that is off.
        m_number->setRange(isSetting ? range.least : std::max(range.least, 1), range.most);
        m_number->setValue(fault.usual);
        m_number->setSuffix(QString::fromUtf8(fault.unit));
        m_number->setFixedWidth(86);
        m_number->setAlignment(Qt::AlignRight);
        m_number->setKeyboardTracking(false);
        m_number->setAccessibleName(tr(fault.name));
        m_number->setAccessibleDescription(tr(fault.tip));
        if (range.least < 0) {
            m_number->setSpecialValueText(tr("always"));
        }
        layout->addWidget(m_number);
        connect(m_number, QOverload<int>::of(&QSpinBox::valueChanged), this, [this](int value) {
            if (m_showing) {
                return;
            }
            m_onNumber = value;
            if (!isOff()) {
                request(value);
            }
        });
        // The number may have changed while it had the focus.
        connect(m_number, &QSpinBox::editingFinished, this, &FaultRow::showCurrent);
    }
    if (isSetting) {
        layout->addSpacing(46);
    } else {
        m_switch = new Switch(look::red);
        m_switch->setAccessibleName(tr(fault.name));
        m_switch->setAccessibleDescription(tr(fault.tip));
        layout->addWidget(m_switch);
        connect(m_switch, &QAbstractButton::clicked, this, [this](bool on) {
            request(on ? m_onNumber : 0);
            showCurrent();
        });
    }
}

void FaultRow::request(int number)
{
    m_current = number;
    emit requested(number);
}

void FaultRow::leaveCamera()
{
    if (m_number != nullptr) {
        m_number->clearFocus();
    }
    m_awaited = 0;
}

void FaultRow::showNumber(int number, std::uint64_t ticket)
{
    if (ticket < m_awaited) {
        return;
    }
    m_current = number;
    if (m_fault.kind == Fault::KIND::NUMBER && !isOff()) {
        m_onNumber = number; // that of a count is already on its way down
    }
    showCurrent();
}

/// A number with the focus stays, because the user may be typing.
void FaultRow::showCurrent()
{
    const int number = isOff() ? m_onNumber : m_current;
    m_showing = true;
    if (m_switch != nullptr) {
        m_switch->setChecked(!isOff());
    }
    // A spin box repaints itself also when it is set to the value that it has.
    if (m_number != nullptr && !m_number->hasFocus() && m_number->value() != number) {
        m_number->setValue(number);
    }
    m_showing = false;
}

} // namespace benchwindow
