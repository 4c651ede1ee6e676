// How a body and its figures are painted.

#include "window/body_view.h"
#include "window/hint_box.h"
#include "window/look.h"
#include "world/degrees.h"

#include <QPaintEvent>
#include <QPainter>
#include <QResizeEvent>

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
    m_stale = {};
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
    m_layer.show(painter, size(), [this](QPainter& layer) { paintBackground(layer); });
    if (!hasCamera()) {
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
    if (m_nameBounds.isNull() || m_nameBounds.intersects(part)) {
        paintName(painter);
    }
    if (m_kind == KIND::STAGE) {
        paintFigures(painter, part);
        paintHint(painter, part);
    }
}

BodyView::Background BodyView::background() const
{
    Background background;
    background.camera = hasCamera();
    background.declination = m_declination;
    if (m_kind == KIND::CARD) {
        const bool lively = m_chosen || m_hovered || m_held;
        background.edge = m_focusShown ? look::pearl
                          : m_chosen   ? look::lime
                          : lively     ? look::ash
                                       : look::steel;
        background.edgeWidth = m_focusShown || m_chosen ? 1.5 : 1.0;
    } else if (m_held || m_hovered || m_focusShown) {
        background.edge = m_held || m_focusShown ? look::ash : look::charcoal;
        background.edgeWidth = 1.0;
    }
    return background;
}

void BodyView::paintBackground(QPainter& painter)
{
    painter.fillRect(rect(), look::soil);
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_kind == KIND::CARD) {
        painter.setPen(QPen(m_background.edge, m_background.edgeWidth));
        painter.setBrush(QColor(30, 30, 31));
        painter.drawRoundedRect(QRectF(rect()).adjusted(1.0, 1.0, -1.0, -1.0), 6.0, 6.0);
        return;
    }
    if (!m_background.camera) {
        return;
    }
    BodyPainter(painter, projection()).paintFloor(m_background.declination, true);
    if (m_background.edge.isValid()) {
        painter.setPen(QPen(m_background.edge, m_background.edgeWidth, Qt::DotLine));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(ballCentre(), ballRadius(), ballRadius());
    }
}

/// Of the body in the picture.
QRect BodyView::bodyRect() const
{
    return projection()
        .around(shapeOf(m_camera.model), m_painted)
        .adjusted(-2.0, -2.0, 2.0, 2.0)
        .toAlignedRect();
}

void BodyView::resizeEvent(QResizeEvent* event)
{
    forgetTexts();
    QWidget::resizeEvent(event);
}

void BodyView::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::FontChange) {
        m_layer.discard();
        forgetTexts();
        update();
    }
    QWidget::changeEvent(event);
}

void BodyView::forgetTexts()
{
    m_hintBox = {};
    m_nameBounds = {};
}

QRect BodyView::valuesRect() const
{
    return {0, height() - 36, width(), 22};
}

void BodyView::paintName(QPainter& painter)
{
    const QString number = QString::number(m_camera.serial);
    const bool isCard = m_kind == KIND::CARD;
    QFont font = painter.font();
    font.setBold(false);
    m_nameBounds = {};
    const auto paintText = [&](const QRectF& box, int pixels, const QColor& colour,
                               const QString& text) {
        font.setPixelSize(pixels);
        painter.setFont(font);
        painter.setPen(colour);
        QRectF bounds;
        painter.drawText(box, Qt::AlignVCenter, text, &bounds);
        // A letter may be a little outside the bounds of its text.
        m_nameBounds |= bounds.adjusted(-4.0, -4.0, 4.0, 4.0);
    };
    const auto paintDot = [&](const QPointF& centre, double radius) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(stateColour(m_camera.state));
        painter.drawEllipse(centre, radius, radius);
    };
    if (isCard) {
        paintDot({14.0, height() - 18.0}, 3.5);
        paintText({24.0, height() - 28.0, width() - 28.0, 20.0}, 12,
                  m_chosen ? look::pearl : look::iron,
                  m_camera.model + QStringLiteral("  ") + number);
    } else {
        paintText({24.0, 16.0, width() - 48.0, 32.0}, 24, look::pearl, m_camera.model);
        paintText({24.0, 48.0, width() - 48.0, 22.0}, 14, look::iron, number);
        paintDot({29.0, 83.0}, 4.0);
        paintText({40.0, 72.0, width() - 64.0, 22.0}, 14, look::iron, stateText(m_camera.state));
    }
    m_nameBounds.setLeft(0.0); // with the dot
}

QStringList BodyView::values() const
{
    const Attitude attitude = inWholeDegrees(attitudeOf(m_painted));
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
