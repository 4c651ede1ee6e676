/// @file
/// A camera's body that the mouse turns.
#pragma once

#include "window/body_painter.h"
#include "window/frame_clock.h"
#include "window/layer.h"
#include "window/snapshot.h"
#include "window/turning.h"

#include <QStringList>
#include <QWidget>

#include <chrono>
#include <cstdint>

namespace benchwindow {

/// A turn by the user: the camera turns to the pose within the glide and then continues with the
/// spin.
struct Turn
{
    unsigned int serial = 0;
    Quaternion pose;
    Vector spin;        ///< rad/s, body frame
    double glide = 0.0; ///< s
};

/// Shows a camera in the state of its bench and turns it with the mouse: dragging turns it, after a
/// release in motion it continues to spin, a press stops it. Arrow keys turn it in steps, the space
/// bar stops it. On a card, the space bar and Return select the camera as a click does.
class BodyView : public QWidget
{
    Q_OBJECT

public:
    enum class KIND {
        STAGE, ///< large, with floor and figures
        CARD,  ///< small, with its name
    };

    /// From frame to frame while the body turns: that of Gravimon's 3D view.
    static constexpr std::chrono::milliseconds framePeriod{40};
    static constexpr std::chrono::milliseconds cardPeriod{80}; ///< of a card that is not held
    /// Of a held body: the picture follows the pointer, and each frame sends a request before the
    /// glide of the one before ends.
    static constexpr std::chrono::milliseconds heldPeriod{16};

    explicit BodyView(KIND kind, QWidget* parent = nullptr);

    /// @param ticket all requests up to this ticket have been executed in the state
    void setCamera(const CameraView& camera, std::uint64_t ticket);
    void setDeclination(double degrees);
    void setChosen(bool chosen); ///< a card's frame
    /// Whether the window is on the screen; at first it is. No frames follow while it is not,
    /// unless the body is held.
    void setOnScreen(bool onScreen);
    /// The shown pose stays until a state with this ticket arrives.
    void awaitTicket(std::uint64_t ticket);

    unsigned int serial() const { return m_camera.serial; }
    bool isHeld() const { return m_held; }
    Quaternion shownPose() const;

    QPointF ballCentre() const; ///< pixels
    double ballRadius() const;  ///< pixels

    QSize sizeHint() const override;

    /// Times the movement of the body while it is held or turns.
    FrameClock& clock() { return m_clock; }

    void stop();  ///< at its current pose
    void level(); ///< level, facing north
    void letGo(); ///< releases a held body, which keeps its pose

signals:
    void pressed(unsigned int serial);
    void turned(const benchwindow::Turn& turn);
    void focused(); ///< by the keyboard

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void changeEvent(QEvent* event) override;
    void enterEvent(QEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    /// What is behind the body, as far as it changes.
    struct Background
    {
        bool camera = false;
        double declination = 0.0;
        QColor edge; ///< of a card's frame, or the ring around the body; invalid for none
        double edgeWidth = 0.0;
    };

    bool hasCamera() const { return !m_camera.model.isEmpty(); } ///< 0 is a serial number, too
    void setHeld(bool held);
    void tick();
    void followPose();
    void showPose();
    void showBackground();
    Background background() const;
    QRect bodyRect() const;
    QRect valuesRect() const;
    QStringList values() const;
    BallPoint ballPoint(const QPointF& position) const;
    void turnInWorld(const Quaternion& turn);
    void requestTurn(const Vector& worldRate, double glide);
    void setShown(const Quaternion& pose, const Vector& rate);
    Projection projection() const;
    void paintPart(QPainter& painter, const QRect& part);
    void paintBackground(QPainter& painter);
    void paintFigures(QPainter& painter, const QRect& part);
    void paintHint(QPainter& painter, const QRect& part);
    void paintName(QPainter& painter);
    void forgetTexts();

    const KIND m_kind;
    CameraView m_camera;
    double m_declination = 0.0;
    bool m_chosen = false;
    bool m_hovered = false;
    bool m_focusShown = false; ///< the keyboard moved the focus here

    Quaternion m_pose; ///< at m_since; it continues to turn with m_rate while it is not held
    Vector m_rate;     ///< rad/s, body frame
    double m_since = 0.0;
    std::uint64_t m_awaited = 0;

    bool m_held = false;
    bool m_moved = false;   ///< since the last request
    bool m_turning = false; ///< the last request had a rate
    BallPoint m_last;
    SpinMeter m_meter;

    FrameClock m_clock; ///< its frames follow while something moves
    bool m_onScreen = true;

    Quaternion m_painted;    ///< the pose in the picture
    QRect m_stale;           ///< where the body was and will be, until the picture is painted
    QStringList m_values;    ///< the figures in the picture
    Background m_background; ///< in the layer
    Layer m_layer;           ///< everything behind the body
    QRectF m_hintBox;        ///< of this size; null before it is known
    QRectF m_hintBounds;
    QRectF m_nameBounds; ///< null before they are known
};

} // namespace benchwindow
