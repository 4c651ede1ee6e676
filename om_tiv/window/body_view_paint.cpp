// How a body and its figures are painted.

#include "window/body_view.h"
#include "window/hint_box.h"
#include "window/look.h"
#include "world/degrees.h"

#include <QPaintEvent>
#include <QPainter>

#include <algorithm>

namespace benchwindow {

namespace {

using om::bench::length;

QString stateText(const QString& state)
{
    if (state == QLatin1String("streaming")) {
        return BodyView::tr("streaming");
    }
    if (state == QLatin1String("open")) {
        return BodyView::tr("open");
    }
    return state == QLatin1String("unplugged") ? BodyView::tr("unplugged")
                                               : BodyView::tr("plugged in");
}

QColor stateColour(const QString& state)
{
    if (state == QLatin1String("streaming")) {
        return look::lime;
    }
    return state == QLatin1String("unplugged") ? look::charcoal : look::iron;
}

} // namespace

void BodyView::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    // Part by part, because each has a rectangle as its clip, which is the fastest one.
    for (const QRect& part : event->region()) {
        painter.save();
        painter.setClipRect(part);
        paintPart(painter, part);
        painter.restore();
    }
}

void BodyView::paintPart(QPainter& painter, const QRect& part)
{
    m_layer.show(painter, size(), [this](QPainter& layer) { paintGround(layer); });
    if (m_camera.serial == 0) {
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    if (part.intersects(bodyRect())) {
        BodyPainter(painter, projection()).paintBody(shapeOf(m_camera.model), m_painted);
    }
    if (!m_camera.isPlugged()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(25, 25, 25, 130));
        painter.drawRoundedRect(QRectF(rect()).adjusted(2.0, 2.0, -2.0, -2.0), 6.0, 6.0);
    }
    if (part.intersects(nameRect())) {
        paintName(painter);
    }
    if (m_kind == KIND::STAGE) {
        paintFigures(painter, part);
        paintHint(painter, part);
    }
}

BodyView::Ground BodyView::ground() const
{
    Ground ground;
    ground.camera = m_camera.serial != 0;
    ground.declination = m_declination;
    if (m_kind == KIND::CARD) {
        const bool lively = m_chosen || m_hovered || m_held;
        ground.edge = m_focusShown ? look::pearl
                      : m_chosen   ? look::lime
                      : lively     ? look::ash
                                   : look::steel;
        ground.edgeWidth = m_focusShown || m_chosen ? 1.5 : 1.0;
    } else if (m_held || m_hovered || m_focusShown) {
        ground.edge = m_held || m_focusShown ? look::ash : look::charcoal;
        ground.edgeWidth = 1.0;
    }
    return ground;
}

void BodyView::paintGround(QPainter& painter)
{
    painter.fillRect(rect(), look::soil);
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_kind == KIND::CARD) {
        painter.setPen(QPen(m_ground.edge, m_ground.edgeWidth));
        painter.setBrush(QColor(30, 30, 31));
        painter.drawRoundedRect(QRectF(rect()).adjusted(1.0, 1.0, -1.0, -1.0), 6.0, 6.0);
        return;
    }
    if (!m_ground.camera) {
        return;
    }
    BodyPainter(painter, projection()).paintFloor(m_ground.declination, true);
    if (m_ground.edge.isValid()) {
        painter.setPen(QPen(m_ground.edge, m_ground.edgeWidth, Qt::DotLine));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(ballCentre(), ballRadius(), ballRadius());
    }
}

/// Contains the body in every pose.
QRect BodyView::bodyRect() const
{
    return projection()
        .ball(shapeOf(m_camera.model).reach)
        .adjusted(-2.0, -2.0, 2.0, 2.0)
        .toAlignedRect();
}

QRect BodyView::nameRect() const
{
    return m_kind == KIND::CARD ? QRect(0, height() - 28, width(), 20) : QRect(0, 16, width(), 78);
}

QRect BodyView::valuesRect() const
{
    return {0, height() - 36, width(), 22};
}

void BodyView::paintName(QPainter& painter)
{
    const QString number = QString::number(m_camera.serial);
    QFont font = painter.font();
    font.setBold(false);
    const QColor dot = stateColour(m_camera.state);
    if (m_kind == KIND::CARD) {
        font.setPixelSize(12);
        painter.setFont(font);
        painter.setPen(Qt::NoPen);
        painter.setBrush(dot);
        painter.drawEllipse(QPointF(14.0, height() - 18.0), 3.5, 3.5);
        painter.setPen(m_chosen ? look::pearl : look::iron);
        painter.drawText(QRectF(24.0, height() - 28.0, width() - 28.0, 20.0), Qt::AlignVCenter,
                         m_camera.model + QStringLiteral("  ") + number);
        return;
    }
    font.setPixelSize(24);
    painter.setFont(font);
    painter.setPen(look::pearl);
    painter.drawText(QRectF(24.0, 16.0, width() - 48.0, 32.0), Qt::AlignVCenter, m_camera.model);
    font.setPixelSize(14);
    painter.setFont(font);
    painter.setPen(look::iron);
    painter.drawText(QRectF(24.0, 48.0, width() - 48.0, 22.0), Qt::AlignVCenter, number);
    painter.setPen(Qt::NoPen);
    painter.setBrush(dot);
    painter.drawEllipse(QPointF(29.0, 83.0), 4.0, 4.0);
    painter.setPen(look::iron);
    painter.drawText(QRectF(40.0, 72.0, width() - 64.0, 22.0), Qt::AlignVCenter,
                     stateText(m_camera.state));
}

QStringList BodyView::values() const
{
    const Attitude attitude = attitudeOf(m_painted);
    const Vector rate = m_held ? m_meter.rateAt(m_clock.now()) : m_rate;
    return {QStringLiteral("%1°").arg(attitude.heading, 0, 'f', 0),
            QStringLiteral("%1°").arg(attitude.pitch, 0, 'f', 0),
            QStringLiteral("%1°").arg(attitude.roll, 0, 'f', 0),
            QStringLiteral("%1 °/s").arg(length(rate) * om::bench::degreesPerRadian, 0, 'f', 0),
            QStringLiteral("%1 µT").arg(length(m_camera.field), 0, 'f', 1)};
}

void BodyView::paintFigures(QPainter& painter, const QRect& part)
{
    const QString names[] = {tr("Heading"), tr("Pitch"), tr("Roll"), tr("Turning"), tr("Field")};
    const bool showsNames = part.intersects({0, height() - 54, width(), 18});
    const bool showsValues = part.intersects(valuesRect());
    QFont font = painter.font();
    double x = 24.0;
    for (int i = 0; i < m_values.size(); ++i) {
        if (showsNames) {
            font.setPixelSize(12);
            painter.setFont(font);
            painter.setPen(look::ash);
            painter.drawText(QRectF(x, height() - 54.0, 90.0, 18.0), Qt::AlignVCenter, names[i]);
        }
        if (showsValues) {
            font.setPixelSize(16);
            painter.setFont(font);
            painter.setPen(look::pearl);
            painter.drawText(QRectF(x, height() - 36.0, 100.0, 22.0), Qt::AlignVCenter,
                             m_values[i]);
        }
        x += std::min(96.0, (width() - 40.0) / 5.0);
    }
}

/// In the upper right corner, in as many lines as keep it off the ring.
void BodyView::paintHint(QPainter& painter, const QRect& part)
{
    const QString hint = tr("Drag to turn, release in motion to spin\n"
                            "Outside the ring: roll.  Space: stop");
    constexpr int flags = Qt::AlignRight | Qt::AlignTop | Qt::TextWordWrap;
    QFont font = painter.font();
    font.setPixelSize(12);
    painter.setFont(font);
    painter.setPen(look::ash);
    if (m_hintBox.isNull()) {
        double height = 0.0;
        double needed = 2.0 * painter.fontMetrics().lineSpacing();
        while (needed > height && height < this->height()) { // a taller text has less width
            height = needed;
            m_hintBox = hintBox(size(), ballCentre(), ballRadius(), height);
            m_hintBounds = painter.boundingRect(m_hintBox, flags, hint);
            needed = m_hintBounds.height();
        }
    }
    if (part.intersects(m_hintBounds.toAlignedRect())) {
        painter.drawText(m_hintBox, flags, hint);
    }
}

} // namespace benchwindow
