// Mouse, wheel and keys of the 3D view.

#include "gpu/OGL3DWidget.h"

#include "gpu/CameraGL.h"
#include "gpu/vectors.h"

#include <QMouseEvent>
#include <QWheelEvent>

namespace {

constexpr float mouseRotateDivisor = 5.0F;
constexpr float mouseTranslateDivisor = 50.0F;
constexpr float rotateFactor = 0.015F;  // radians per unit of mouse motion
constexpr float translateFactor = 0.1F; // metres per unit of mouse motion
constexpr float wheelFactor = 0.01F;    // metres per step
constexpr float keyMotion = 0.1F;

} // namespace

OGL3DWidget::Point OGL3DWidget::positionOf(const QMouseEvent& event)
{
    return {static_cast<std::int16_t>(event.x()), static_cast<std::int16_t>(event.y())};
}

OGL3DWidget::Motion OGL3DWidget::motionFrom(const Point& from, const Point& to, float divisor)
{
    return {static_cast<float>(to.x - from.x) / divisor,
            static_cast<float>(to.y - from.y) / divisor};
}

void OGL3DWidget::mousePressEvent(QMouseEvent* event)
{
    if ((event->buttons() & (Qt::LeftButton | Qt::RightButton)) != 0) {
        mousePressed = true;
        previousMouse = positionOf(*event);
    }
}

void OGL3DWidget::mouseReleaseEvent(QMouseEvent* event)
{
    Q_UNUSED(event)
    mousePressed = false;
}

void OGL3DWidget::mouseMoveEvent(QMouseEvent* event)
{
    if (!mousePressed) {
        return;
    }
    if ((event->buttons() & Qt::LeftButton) != 0) {
        currentMouse = positionOf(*event);
        mouseMotion = motionFrom(previousMouse, currentMouse, mouseRotateDivisor);
        rotateCamera();
        previousMouse = currentMouse;
    }
    // With both buttons pressed this pans by zero, because the previous move has just been handled.
    if ((event->buttons() & Qt::RightButton) != 0) {
        currentMouse = positionOf(*event);
        mouseMotion = motionFrom(previousMouse, currentMouse, mouseTranslateDivisor);
        translateCamera();
        previousMouse = currentMouse;
    }
}

void OGL3DWidget::wheelEvent(QWheelEvent* event)
{
    if (camera == nullptr) {
        return;
    }
    // In eighths of a degree; less than a degree moves nothing. Qt sends a diagonal turn as two
    // events, the second one without an angleDelta(): only delta() has one axis in each.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    const int steps = event->delta() / 8;
    QT_WARNING_POP
    camera->translate(
        scaled(scaled(negated(camera->getForward()), static_cast<float>(steps)), wheelFactor));
}

void OGL3DWidget::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Left:
        mouseMotion = {-keyMotion, 0.0F};
        translateCamera();
        break;
    case Qt::Key_Right:
        mouseMotion = {keyMotion, 0.0F};
        translateCamera();
        break;
    case Qt::Key_Up:
        mouseMotion = {0.0F, -keyMotion};
        translateCamera();
        break;
    case Qt::Key_Down:
        mouseMotion = {0.0F, keyMotion};
        translateCamera();
        break;
    case Qt::Key_R:
        ResetPosition();
        break;
    default: // ends here: the base class would forward the key to the parent
        break;
    }
}

void OGL3DWidget::rotateCamera()
{
    if (camera == nullptr) {
        return;
    }
    camera->rotate(om::Rotation(mouseMotion.y * rotateFactor, camera->getRight()));
    camera->rotate(om::Rotation(mouseMotion.x * rotateFactor, negated(camera->getVertical())));
}

void OGL3DWidget::translateCamera()
{
    if (camera == nullptr) {
        return;
    }
    camera->translate(scaled(scaled(camera->getUp(), mouseMotion.y), translateFactor));
    camera->translate(scaled(scaled(camera->getRight(), mouseMotion.x), translateFactor));
}
