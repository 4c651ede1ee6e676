#include "gpu/CameraGL.h"

#include "gpu/vectors.h"

#include <cmath>

const om::Translation CameraGL::ORIGINAL_FORWARD(0.0F, 0.0F, 1.0F);
const om::Translation CameraGL::ORIGINAL_UP(0.0F, 1.0F, 0.0F);
const om::Translation CameraGL::ORIGINAL_RIGHT(1.0F, 0.0F, 0.0F);

CameraGL::CameraGL(om::Translation position, om::Translation direction, om::Translation vertical)
    : position_(position)
{
    setDirection(direction, vertical);
    offset_ = om::Translation(0.0F, 0.0F, 0.0F);
    view_.setIdentity();
    updateView();
    updateVPMatrix();
}

void CameraGL::setProjection(float horizontalFOV, float verticalFOV, float znear, float zfar)
{
    horizontalFieldOfView_ = horizontalFOV;
    verticalFieldOfView_ = verticalFOV;
    znear_ = znear;
    zfar_ = zfar;

    projection_.setIdentity();
    const double a = std::tan(static_cast<double>(horizontalFOV) * 0.5 * M_PI / 180.0);
    const double b = std::tan(static_cast<double>(verticalFOV) * 0.5 * M_PI / 180.0);
    projection_(0, 0) = static_cast<float>(1.0 / a);
    projection_(1, 1) = static_cast<float>(1.0 / b);
    // Depth runs from 0 to 1 and not from -1 to 1. Nothing is depth-tested: depth only determines
    // the clipping of the scene.
    projection_(2, 2) = -zfar / (zfar - znear);
    projection_(2, 3) = -(zfar * znear) / (zfar - znear);
    projection_(3, 2) = -1.0F;
    projection_(3, 3) = 0.0F;
}

const om::Transform& CameraGL::getViewProjectionMatrix() const
{
    return vpMatrix_;
}

float CameraGL::getHorizontalFOV() const
{
    return horizontalFieldOfView_;
}

float CameraGL::getVerticalFOV() const
{
    return verticalFieldOfView_;
}

float CameraGL::getZNear() const
{
    return znear_;
}

float CameraGL::getZFar() const
{
    return zfar_;
}

void CameraGL::setOffsetFromPosition(const om::Translation& offset)
{
    offset_ = offset;
}

const om::Translation& CameraGL::getOffsetFromPosition() const
{
    return offset_;
}

void CameraGL::translate(const om::Translation& t)
{
    position_ = sum(position_, t);
}

void CameraGL::setPosition(const om::Translation& p)
{
    position_ = p;
}

const om::Translation& CameraGL::getPosition() const
{
    return position_;
}

const om::Orientation& CameraGL::getOrientation() const
{
    return rotation_;
}

const om::Translation& CameraGL::getForward() const
{
    return forward_;
}

const om::Translation& CameraGL::getRight() const
{
    return right_;
}

const om::Translation& CameraGL::getUp() const
{
    return up_;
}

const om::Translation& CameraGL::getVertical() const
{
    return vertical_;
}

void CameraGL::rotate(const om::Orientation& rot)
{
    rotation_ = rot * rotation_;
    updateVectors();
}

void CameraGL::rotate(const om::Rotation& rot)
{
    rotate(om::Orientation(rot));
}

void CameraGL::setRotation(const om::Orientation& rot)
{
    rotation_ = rot;
    updateVectors();
}

void CameraGL::setRotation(const om::Rotation& rot)
{
    setRotation(om::Orientation(rot));
}

void CameraGL::setDirection(const om::Translation& direction, const om::Translation& vertical)
{
    om::Translation unit = direction;
    unit.normalize();
    rotation_ = om::Orientation(ORIGINAL_FORWARD, negated(unit));
    updateVectors();
    vertical_ = vertical;
    if (dot(vertical_, up_) < 0.0F) {
        rotate(om::Rotation(3.1415927F, ORIGINAL_FORWARD));
    }
}

void CameraGL::update()
{
    if (dot(vertical_, up_) < 0.0F) {
        vertical_ = negated(vertical_);
    }
    updateView();
    updateVPMatrix();
}

void CameraGL::updateVectors()
{
    forward_ = ORIGINAL_FORWARD * rotation_;
    up_ = ORIGINAL_UP * rotation_;
    right_ = negated(ORIGINAL_RIGHT) * rotation_;
}

void CameraGL::updateView()
{
    const om::Translation eye = sum(offset_ * rotation_, position_);
    view_ = om::Transform(om::Matrix4f::inverse(om::Transform(rotation_, eye)));
}

void CameraGL::updateVPMatrix()
{
    vpMatrix_ = om::Transform(projection_ * view_);
}
