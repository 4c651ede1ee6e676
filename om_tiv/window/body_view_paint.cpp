// How a body and its figures are painted.

#include "window/body_view.h"
#include "window/hint_box.h"
#include "window/look.h"
#include "world/degrees.h"

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
    Q_UNUSED(event)
    QPainter painter(this);
    painter.fillRect(rect(), look::soil);
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_kind == KIND::CARD) {
        const bool lively = m_chosen || m_hovered || m_held;
        painter.setPen(QPen(m_focusShown ? look::pearl
                            : m_chosen   ? look::lime
                            : lively     ? look::ash
                                         : look::steel,
                            m_focusShown || m_chosen ? 1.5 : 1.0));
        painter.setBrush(QColor(30, 30, 31));
        painter.drawRoundedRect(QRectF(rect()).adjusted(1.0, 1.0, -1.0, -1.0), 6.0, 6.0);
    }
    if (m_camera.serial == 0) {
        return;
    }
    BodyPainter body(painter, projection());
    if (m_kind == KIND::STAGE) {
        body.paintFloor(m_declination, true);
        paintBall(painter);
    }
    body.paintBody(shapeOf(m_camera.model), shownPose());
    if (!m_camera.isPlugged()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(25, 25, 25, 130));
        painter.drawRoundedRect(QRectF(rect()).adjusted(2.0, 2.0, -2.0, -2.0), 6.0, 6.0);
    }
    paintName(painter);
    if (m_kind == KIND::STAGE) {
        paintFigures(painter);
    }
}

void BodyView::paintBall(QPainter& painter)
{
    if (!m_held && !m_hovered && !m_focusShown) {
        return;
    }
    painter.setPen(QPen(m_held || m_focusShown ? look::ash : look::charcoal, 1.0, Qt::DotLine));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(ballCentre(), ballRadius(), ballRadius());
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

void BodyView::paintFigures(QPainter& painter)
{
    const Attitude attitude = attitudeOf(shownPose());
    const Vector rate = m_held ? m_meter.rateAt(m_clock.now()) : m_rate;
    struct Figure
    {
        QString name;
        QString value;
    };
    const Figure figures[] = {
        {tr("Heading"), QStringLiteral("%1°").arg(attitude.heading, 0, 'f', 0)},
        {tr("Pitch"), QStringLiteral("%1°").arg(attitude.pitch, 0, 'f', 0)},
        {tr("Roll"), QStringLiteral("%1°").arg(attitude.roll, 0, 'f', 0)},
        {tr("Turning"),
         QStringLiteral("%1 °/s").arg(length(rate) * om::bench::degreesPerRadian, 0, 'f', 0)},
        {tr("Field"), QStringLiteral("%1 µT").arg(length(m_camera.field), 0, 'f', 1)}};
    QFont font = painter.font();
    double x = 24.0;
    for (const Figure& figure : figures) {
        font.setPixelSize(12);
        painter.setFont(font);
        painter.setPen(look::ash);
        painter.drawText(QRectF(x, height() - 54.0, 90.0, 18.0), Qt::AlignVCenter, figure.name);
        font.setPixelSize(16);
        painter.setFont(font);
        painter.setPen(look::pearl);
        painter.drawText(QRectF(x, height() - 36.0, 100.0, 22.0), Qt::AlignVCenter, figure.value);
        x += std::min(96.0, (width() - 40.0) / 5.0);
    }
    font.setPixelSize(12);
    painter.setFont(font);
    painter.setPen(look::ash);
    paintHint(painter);
}

/// In the upper right corner, in as many lines as keep it off the ring.
void BodyView::paintHint(QPainter& painter)
{
    const QString hint = tr("Drag to turn, release in motion to spin\n"
                            "Outside the ring: roll.  Space: stop");
    constexpr int flags = Qt::AlignRight | Qt::AlignTop | Qt::TextWordWrap;
    double height = 0.0;
    double needed = 2.0 * painter.fontMetrics().lineSpacing();
    QRectF box;
    while (needed > height && height < this->height()) { // a taller text has less width
        height = needed;
        box = hintBox(size(), ballCentre(), ballRadius(), height);
        needed = painter.boundingRect(box, flags, hint).height();
    }
    painter.drawText(box, flags, hint);
}

} // namespace benchwindow
