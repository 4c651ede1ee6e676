/// @file
/// The controls of a camera and of the bench, except for the pose.
#pragma once

#include "window/controls.h"
#include "window/snapshot.h"

#include <QFrame>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

class QComboBox;
class QPushButton;
class QVBoxLayout;

namespace benchwindow {

/// All faults with their own row, in the order of the rows; the magnetic disturbance has a slider.
const std::vector<FaultRow::Fault>& faultTable();

/// Switches and sliders for the chosen camera, and for the field of the bench.
class Panel : public QFrame
{
    Q_OBJECT

public:
    /// Sends a request and returns its ticket, like BenchLink::send().
    using Sender = std::function<std::uint64_t(const nlohmann::json&, const std::string&)>;

    static constexpr unsigned int oldFirmware = 1141; ///< Gravimon requires 1142
    static constexpr unsigned int newFirmware = 1201;
    static constexpr unsigned int oldestGoodFirmware = 1142;

    explicit Panel(Sender send, QWidget* parent = nullptr);

    /// @param camera the selected one, null for none
    void showCamera(const CameraView* camera, const om::bench::Field& field, std::uint64_t ticket);

signals:
    void stopPressed();
    void levelPressed();

protected:
    /// The wheel scrolls the panel; it does not change the control under the pointer.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void addSection(const QString& title);
    void addCameraControls();
    void addSurroundings();
    void addField();
    void addFaults();
    QWidget* addLine(const QString& name, QWidget* control);
    SliderRow* addSlider(const QString& name, const SliderRow::Range& range);
    std::uint64_t sendForCamera(nlohmann::json request, const std::string& key);
    void sendField();
    void leaveCamera();
    void showFaults(const CameraView& camera, std::uint64_t ticket);

    const Sender m_send;
    unsigned int m_serial = 0; ///< of the camera that is shown, or was shown last
    QVBoxLayout* m_rows;
    std::vector<QWidget*> m_ofCamera; ///< disabled without a camera

    Switch* m_plug = nullptr;
    QComboBox* m_motion = nullptr;
    Switch* m_firmware = nullptr;
    SliderRow* m_temperature = nullptr;
    SliderRow* m_disturbance = nullptr;
    SliderRow* m_strength = nullptr;
    SliderRow* m_inclination = nullptr;
    SliderRow* m_declination = nullptr;
    std::vector<FaultRow*> m_faults;
    om::bench::Field m_field;
    std::uint64_t m_awaitedSwitches = 0; ///< ticket of plug, motion and firmware
    std::uint64_t m_awaitedField = 0;
};

} // namespace benchwindow
