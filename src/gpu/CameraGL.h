/// @file
/// The viewer of the 3D view: attitude, position and the matrices that follow from them.
#pragma once

#include "camera/camera_library.h"

/// A free-flying viewer that circles around a point. Changes of projection, position, offset and
/// rotation take effect in the matrices at the next update(). Interface thread.
class CameraGL
{
public:
    static const om::Translation ORIGINAL_FORWARD; ///< (0, 0, 1)
    static const om::Translation ORIGINAL_UP;      ///< (0, 1, 0)
    static const om::Translation ORIGINAL_RIGHT;   ///< (1, 0, 0)

    /// @param position  point that the viewer circles around, metres
    /// @param direction viewing direction, any length but 0
    /// @param vertical the world's upward direction
    CameraGL(om::Translation position, om::Translation direction, om::Translation vertical);

    /// Angles of the full field of view in degrees, clip distances in metres. The near plane maps
    /// to depth 0 and the far plane to depth 1.
    void setProjection(float horizontalFOV, float verticalFOV, float znear, float zfar);
    const om::Transform& getViewProjectionMatrix() const; ///< projection x view

    float getHorizontalFOV() const; ///< degrees
    float getVerticalFOV() const;   ///< degrees
    float getZNear() const;         ///< metres
    float getZFar() const;          ///< metres

    /// The eye's offset from the position, in the viewer's own frame.
    void setOffsetFromPosition(const om::Translation& offset);
    const om::Translation& getOffsetFromPosition() const;
    void translate(const om::Translation& t);
    void setPosition(const om::Translation& p);
    const om::Translation& getPosition() const;

    const om::Orientation& getOrientation() const;
    const om::Translation& getForward() const; ///< from the scene to the eye
    const om::Translation& getRight() const;   ///< turns with the attitude from (-1, 0, 0)
    const om::Translation& getUp() const;
    const om::Translation& getVertical() const;

    /// The new rotation is multiplied from the left.
    void rotate(const om::Orientation& rot);
    void rotate(const om::Rotation& rot);
    void setRotation(const om::Orientation& rot);
    void setRotation(const om::Rotation& rot);
    /// Sets the viewing direction. If the vertical then points below the viewer's upward axis, the
    /// viewer turns by half a turn around the view axis.
    void setDirection(const om::Translation& direction, const om::Translation& vertical);

    /// Computes the matrices. A vertical that now points below the viewer's upward axis is negated;
    /// unlike in setDirection() the viewer does not turn.
    void update();

private:
    void updateVectors();
    void updateView();
    void updateVPMatrix();

    om::Transform projection_;
    om::Translation offset_;
    om::Translation position_;
    om::Translation forward_;
    om::Translation up_;
    om::Translation right_;
    om::Translation vertical_;
    om::Orientation rotation_;
    om::Transform view_;
    om::Transform vpMatrix_;
    float horizontalFieldOfView_ = 0.0F;
    float verticalFieldOfView_ = 0.0F;
    float znear_ = 0.0F;
    float zfar_ = 0.0F;
};
