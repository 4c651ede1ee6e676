#include "window/body_view.h"

#include "world/degrees.h"

#include <QKeyEvent>
#include <QMouseEvent>

#include <algorithm>
#include <cmath>

namespace benchwindow {

namespace {

using om::bench::conjugate;
using om::bench::length;
using om::bench::normalized;
using om::bench::rotate;

constexpr double holdGlide = 0.05; ///< s, in requests while the user drags
constexpr double stopGlide = 0.15; ///< s
constexpr double levelGlide = 0.9; ///< s
constexpr double keyTurn = om::bench::toRadians(5.0);
constexpr double keyGlide = 0.03;      ///< s
constexpr double longestGuess = 0.5;   ///< s, maximum extrapolation of the shown pose
constexpr double figuresHeight = 64.0; ///< pixels

} // namespace

BodyView::BodyView(KIND kind, QWidget* parent) : QWidget(parent), m_kind(kind)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    setCursor(Qt::OpenHandCursor);
    m_background = background();
    if (kind == KIND::STAGE) {
        setFocusPolicy(Qt::StrongFocus);
        setMinimumSize(360, 260);
        setAccessibleDescription(tr("Arrow keys turn the camera, the space bar stops it"));
    } else {
        setFocusPolicy(Qt::TabFocus); // a click leaves the focus on the large body
        setFixedSize(BodyView::sizeHint());
    }
    connect(&m_clock, &FrameClock::frame, this, &BodyView::tick);
}

QSize BodyView::sizeHint() const
{
    return m_kind == KIND::STAGE ? QSize(860, 560) : QSize(168, 128);
}

void BodyView::setCamera(const CameraView& camera, std::uint64_t ticket)
{
    if (camera.serial != m_camera.serial) {
        letGo();
        m_awaited = 0;
    }
    const bool looksOther = camera.serial != m_camera.serial || camera.state != m_camera.state ||
                            camera.model != m_camera.model;
    m_camera = camera;
    const bool follows = !m_held && ticket >= m_awaited;
    if (follows && !(isSame(camera.pose, m_pose) && isSame(camera.angularVelocity, m_rate))) {
        setShown(camera.pose, camera.angularVelocity);
    } else if (!m_clock.isRunning()) {
        showPose(); // the field may have changed
    }
    if (looksOther) {
        m_nameBounds = {};
        setAccessibleName(camera.model + QLatin1Char(' ') + QString::number(camera.serial));
        showBackground();
        showPose();
        update();
    }
}

void BodyView::setDeclination(double value)
{
    m_declination = value;
    showBackground();
}

void BodyView::setChosen(bool chosen)
{
    if (m_chosen != chosen || accessibleDescription().isEmpty()) {
        m_chosen = chosen;
        setAccessibleDescription(chosen ? tr("Selected") : tr("The space bar selects this camera"));
        showBackground();
        update(); // the colour of its name
    }
}

void BodyView::setOnScreen(bool onScreen)
{
    m_onScreen = onScreen;
    followPose();
}

void BodyView::awaitTicket(std::uint64_t ticket)
{
    m_awaited = ticket;
}

void BodyView::setShown(const Quaternion& pose, const Vector& rate)
{
    m_pose = pose;
    m_rate = rate;
    m_since = m_clock.now();
    showBackground();
    followPose();
}

/// Frames while there is something to follow, otherwise the pose at once.
void BodyView::followPose()
{
    const bool isSeen = m_onScreen && isVisible();
    if (m_held) {
        m_clock.start(heldPeriod);
    } else if (isSeen && m_kind == KIND::STAGE && length(m_rate) > 1e-3) {
        m_clock.start(framePeriod);
    } else if (isSeen && m_kind == KIND::CARD && !isSame(m_pose, m_painted)) {
        m_clock.start(cardPeriod);
    } else {
        m_clock.stop();
        showPose();
    }
}

Quaternion BodyView::shownPose() const
{
    if (m_held) {
        return m_pose;
    }
    const double since = std::min(m_clock.now() - m_since, longestGuess);
    return m_pose * om::bench::fromRotationVector(since * m_rate);
}

/// Repaints what differs from the picture: the body and its figures.
void BodyView::showPose()
{
    const Quaternion pose = m_kind == KIND::STAGE ? shownPose() : m_pose;
    if (!isSame(pose, m_painted)) {
        // One rectangle, also if it changes again before it is painted: each part of the picture
        // takes all faces of the body.
        m_stale |= bodyRect();
        m_painted = pose;
        m_stale |= bodyRect();
        update(m_stale);
    }
    if (m_kind == KIND::STAGE) {
        QStringList now = values();
        if (now != m_values) {
            m_values = std::move(now);
            update(valuesRect());
        }
    }
}

/// Repaints everything if the background differs from the picture.
void BodyView::showBackground()
{
    const Background now = background();
    if (now.camera != m_background.camera || now.declination != m_background.declination ||
        now.edge != m_background.edge || now.edgeWidth != m_background.edgeWidth) {
        m_background = now;
        m_layer.discard();
        update();
    }
}

void BodyView::tick()
{
    if (!m_held && m_kind == KIND::CARD && isSame(m_pose, m_painted)) {
        m_clock.stop(); // until the next state
    }
    showPose();
    if (!m_held) {
        return;
    }
    const Vector rate = m_meter.rateAt(m_clock.now());
    // Sent until the pointer rests, because the body continues to turn with the last rate that was
    // sent.
    if (m_moved || m_turning) {
        requestTurn(rate, holdGlide);
    }
}

void BodyView::showEvent(QShowEvent* event)
{
    followPose();
    QWidget::showEvent(event);
}

void BodyView::hideEvent(QHideEvent* event)
{
    followPose();
    QWidget::hideEvent(event);
}

QPointF BodyView::ballCentre() const
{
    return projection().centre;
}

double BodyView::ballRadius() const
{
    return 1.12 * projection().scale;
}

Projection BodyView::projection() const
{
    Projection projection;
    if (m_kind == KIND::STAGE) {
        // The values are below the compass rose.
        projection.scale = std::min((height() - figuresHeight) / 3.15, width() / 4.0);
        projection.centre =
            QPointF(width() / 2.0, (height() - figuresHeight) / 2.0 - 0.36 * projection.scale);
    } else {
        projection.scale = std::min(height() / 2.4, width() / 2.6);
        projection.centre = QPointF(width() / 2.0, height() * 0.42);
    }
    return projection;
}

BallPoint BodyView::ballPoint(const QPointF& position) const
{
    const QPointF from = (position - ballCentre()) / ballRadius();
    return {from.x(), -from.y()};
}

/// Requests the shown pose, with a rate in the world's frame.
void BodyView::requestTurn(const Vector& worldRate, double glide)
{
    m_moved = false;
    m_turning = length(worldRate) > 0.0;
    emit turned({m_camera.serial, m_pose, rotate(conjugate(m_pose), worldRate), glide});
}

void BodyView::setHeld(bool held)
{
    m_held = held;
    setCursor(held ? Qt::ClosedHandCursor : Qt::OpenHandCursor);
}

void BodyView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !hasCamera()) {
        return;
    }
    emit pressed(m_camera.serial);
    const Quaternion pose = shownPose();
    setHeld(true);
    setShown(pose, {});
    m_last = ballPoint(event->localPos());
    m_meter.start(m_clock.now());
    if (m_kind == KIND::STAGE) {
        // A press on the large body stops it. A click on a card only selects the camera.
        requestTurn({}, stopGlide);
    }
}

void BodyView::turnInWorld(const Quaternion& turn)
{
    m_pose = normalized(turn * m_pose);
    m_moved = true;
    if (!m_clock.isRunning()) {
        showPose();
    }
}

void BodyView::mouseMoveEvent(QMouseEvent* event)
{
    if (!m_held) {
        return;
    }
    const BallPoint to = ballPoint(event->localPos());
    const Quaternion eye = viewAttitude();
    const Quaternion turn = eye * ballTurn(m_last, to) * conjugate(eye);
    m_last = to;
    m_meter.add(m_clock.now(), om::bench::toRotationVector(turn));
    turnInWorld(turn);
}

void BodyView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !m_held) {
        return;
    }
    setHeld(false);
    Vector rate = m_meter.rateAt(m_clock.now());
    if (length(rate) < SpinMeter::stillBelow) {
        rate = {};
    }
    if (m_moved || m_turning || length(rate) > 0.0) {
        requestTurn(rate, holdGlide);
    }
    setShown(m_pose, rotate(conjugate(m_pose), rate));
}

void BodyView::letGo()
{
    if (!m_held) {
        return;
    }
    setHeld(false);
    requestTurn({}, holdGlide);
    setShown(m_pose, {});
}

void BodyView::stop()
{
    setHeld(false);
    setShown(shownPose(), {});
    requestTurn({}, stopGlide);
}

void BodyView::level()
{
    setHeld(false);
    m_moved = false;
    m_turning = false;
    // The view then follows the states of the bench.
    emit turned({m_camera.serial, {}, {}, levelGlide});
}

void BodyView::keyPressEvent(QKeyEvent* event)
{
    if (m_kind == KIND::CARD) {
        const int key = event->key();
        const bool selects = key == Qt::Key_Space || key == Qt::Key_Return || key == Qt::Key_Enter;
        if (selects && hasCamera()) {
            emit pressed(m_camera.serial);
        } else {
            QWidget::keyPressEvent(event);
        }
        return;
    }
    Vector axis; // in the eye's frame
    switch (event->key()) {
    case Qt::Key_Left:
        axis = {0.0, -1.0, 0.0};
        break;
    case Qt::Key_Right:
        axis = {0.0, 1.0, 0.0};
        break;
    case Qt::Key_Up:
        axis = {-1.0, 0.0, 0.0};
        break;
    case Qt::Key_Down:
        axis = {1.0, 0.0, 0.0};
        break;
    case Qt::Key_Space:
        stop();
        return;
    default:
        QWidget::keyPressEvent(event);
        return;
    }
    if (m_held || !hasCamera()) {
        return;
    }
    setShown(shownPose(), {});
    turnInWorld(om::bench::fromRotationVector(keyTurn * rotate(viewAttitude(), axis)));
    requestTurn({}, keyGlide);
}

void BodyView::focusInEvent(QFocusEvent* event)
{
    m_focusShown =
        event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason;
    if (m_focusShown) {
        emit focused();
    }
    showBackground();
}

void BodyView::focusOutEvent(QFocusEvent* event)
{
    Q_UNUSED(event)
    m_focusShown = false;
    showBackground();
}

void BodyView::enterEvent(QEvent* event)
{
    Q_UNUSED(event)
    m_hovered = true;
    showBackground();
}

void BodyView::leaveEvent(QEvent* event)
{
    Q_UNUSED(event)
    m_hovered = false;
    showBackground();
}

} // namespace benchwindow
