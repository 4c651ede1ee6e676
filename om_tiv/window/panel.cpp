#include "window/panel.h"

#include "window/look.h"
#include "world/ranges.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QEvent>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>

#include <array>
#include <cstring>

namespace benchwindow {

namespace {

using nlohmann::json;
using Fault = FaultRow::Fault;
using KIND = Fault::KIND;
namespace range = om::bench::range;

struct Motion
{
    const char* name; ///< on the bench
    const char* text;
};

constexpr std::array<Motion, 5> motions = {{{"posed", QT_TRANSLATE_NOOP("Panel", "Manual")},
                                            {"at rest", QT_TRANSLATE_NOOP("Panel", "At rest")},
                                            {"hand-held", QT_TRANSLATE_NOOP("Panel", "Hand-held")},
                                            {"tumble", QT_TRANSLATE_NOOP("Panel", "Tumbling")},
                                            {"fall", QT_TRANSLATE_NOOP("Panel", "Falling")}}};

/// The heading is placed before the row of this key.
struct Heading
{
    const char* before;
    const char* title;
};

constexpr std::array<Heading, 4> headings = {{{"openResult", "Opening"},
                                              {"grabFailures", "Stream"},
                                              {"barometerAbsent", "Sensors"},
                                              {"mcuSilent", "Microcontroller"}}};

int numberOf(const json& value)
{
    return value.is_boolean() ? static_cast<int>(value.get<bool>()) : value.get<int>();
}

} // namespace

const std::vector<Fault>& faultTable()
{
    static const std::vector<Fault> table = {
        {"openResult", "Open refused", "The camera refuses to open with this code", KIND::NUMBER, 1,
         ""},
        {"openRefusals", "Times", "Number of refusals", KIND::SETTING, -1, ""},
        {"openDelay", "Slow to open", "Delay of opening", KIND::NUMBER, 3000, " ms"},
        {"littleGpuMemory", "Too little GPU memory", "GPU allocations fail while it is open",
         KIND::SWITCH, 1, ""},
        {"grabFailures", "Failing grabs", "Number of next grabs that fail", KIND::COUNT, 100, ""},
        {"grabFailureResult", "Code", "Result code of these failures", KIND::SETTING, 1, ""},
        {"frozenTimestamps", "Frozen timestamps", "The sensors' timestamps do not change",
         KIND::SWITCH, 1, ""},
        {"repeatedTimestamps", "Repeated timestamps", "Each pair of samples has the same timestamp",
         KIND::SWITCH, 1, ""},
        {"barometerAbsent", "No barometer", "", KIND::SWITCH, 1, ""},
        {"magnetometerAbsent", "No magnetometer", "", KIND::SWITCH, 1, ""},
        {"imuTemperatureAbsent", "No IMU temperature", "", KIND::SWITCH, 1, ""},
        {"boardTemperaturesAbsent", "No board temperatures", "No left and right temperature",
         KIND::SWITCH, 1, ""},
        {"magnetometerSaturated", "Magnetometer saturated", "Its reading is out of range",
         KIND::SWITCH, 1, ""},
        {"mcuSilent", "Silent", "The microcontroller sends no valid records", KIND::SWITCH, 1, ""},
        {"mcuOpenRefused", "Link refused", "The link to the microcontroller cannot be opened",
         KIND::SWITCH, 1, ""},
        {"eepromWriteRefused", "EEPROM write refused", "A calibration cannot be stored",
         KIND::SWITCH, 1, ""},
        {"eepromReadbackDiffers", "EEPROM reads differ",
         "Number of next reads after a write that return other data", KIND::COUNT, 1, ""}};
    return table;
}

Panel::Panel(Sender send, QWidget* parent) : QFrame(parent), m_send(std::move(send))
{
    setObjectName(QStringLiteral("panel"));
    setFixedWidth(348);
    auto* const content = new QWidget;
    m_rows = new QVBoxLayout(content);
    m_rows->setContentsMargins(20, 14, 20, 20);
    m_rows->setSpacing(6);
    addCameraControls();
    addSurroundings();
    addField();
    addFaults();
    m_rows->addStretch();

    auto* const area = new QScrollArea;
    area->setWidget(content);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFocusPolicy(Qt::NoFocus); // it follows the focus of its controls
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, 0, 0, 0);
    layout->addWidget(area);
    for (QWidget* const control : content->findChildren<QWidget*>()) {
        control->installEventFilter(this);
    }
}

bool Panel::eventFilter(QObject* watched, QEvent* event)
{
    const bool changes = qobject_cast<QSlider*>(watched) != nullptr ||
                         qobject_cast<QSpinBox*>(watched) != nullptr ||
                         qobject_cast<QComboBox*>(watched) != nullptr;
    if (event->type() == QEvent::Wheel && changes) {
        event->ignore();
        return true;
    }
    return QFrame::eventFilter(watched, event);
}

void Panel::addSection(const QString& title)
{
    if (m_rows->count() > 0) {
        m_rows->addSpacing(8);
        auto* const rule = new QFrame;
        rule->setProperty("role", "rule");
        m_rows->addWidget(rule);
        m_rows->addSpacing(2);
    }
    auto* const label = new QLabel(title);
    label->setProperty("role", "section");
    m_rows->addWidget(label);
}

QWidget* Panel::addLine(const QString& name, QWidget* control)
{
    auto* const line = new QWidget;
    auto* const layout = new QHBoxLayout(line);
    layout->setContentsMargins(0, 2, 0, 2);
    auto* const label = new QLabel(name);
    // A combo box has its value as its accessible name; its label names it.
    label->setBuddy(control);
    layout->addWidget(label);
    layout->addStretch();
    layout->addWidget(control);
    m_rows->addWidget(line);
    control->setAccessibleName(name);
    return line;
}

SliderRow* Panel::addSlider(const QString& name, const SliderRow::Range& range)
{
    auto* const row = new SliderRow(name, range);
    m_rows->addWidget(row);
    return row;
}

void Panel::addCameraControls()
{
    addSection(tr("CAMERA"));
    m_plug = new Switch(look::lime);
    m_plug->setObjectName(QStringLiteral("plug"));
    m_ofCamera.push_back(addLine(tr("Plugged in"), m_plug));
    connect(m_plug, &QAbstractButton::clicked, this, [this](bool on) {
        m_awaitedSwitches = sendForCamera({{"command", on ? "plug" : "unplug"}}, "");
    });

    m_motion = new ChoiceBox;
    m_motion->setObjectName(QStringLiteral("motion"));
    for (const Motion& motion : motions) {
        m_motion->addItem(tr(motion.text), QString::fromLatin1(motion.name));
    }
    m_ofCamera.push_back(addLine(tr("Motion"), m_motion));
    connect(m_motion, QOverload<int>::of(&QComboBox::activated), this, [this](int index) {
        const std::string name = m_motion->itemData(index).toString().toStdString();
        m_awaitedSwitches = sendForCamera({{"command", "motion"}, {"motion", name}}, "");
    });

    auto* const buttons = new QWidget;
    auto* const layout = new QHBoxLayout(buttons);
    layout->setContentsMargins(0, 2, 0, 2);
    auto* const stop = new QPushButton(tr("Stop"));
    stop->setObjectName(QStringLiteral("stop"));
    stop->setToolTip(tr("Stops the camera in its pose"));
    auto* const level = new QPushButton(tr("Level, to the north"));
    level->setObjectName(QStringLiteral("level"));
    level->setToolTip(tr("Turns the camera level, facing north"));
    layout->addWidget(stop, 1);
    layout->addWidget(level, 1);
    m_rows->addWidget(buttons);
    m_ofCamera.push_back(buttons);
    connect(stop, &QPushButton::clicked, this, &Panel::stopPressed);
    connect(level, &QPushButton::clicked, this, &Panel::levelPressed);
}

void Panel::addSurroundings()
{
    addSection(tr("AROUND THE CAMERA"));
    m_temperature = addSlider(tr("Air temperature"), {-20.0, 60.0, 0.5, 1, tr("°C")});
    m_temperature->setObjectName(QStringLiteral("temperature"));
    m_temperature->setToolTip(tr("The camera follows with a time constant of 20 s"));
    connect(m_temperature, &SliderRow::moved, this, [this](double value) {
        m_temperature->awaitTicket(
            sendForCamera({{"command", "temperature"}, {"temperature", value}}, "temperature"));
    });
    m_disturbance = addSlider(tr("Magnetic disturbance"), {0.0, 200.0, 1.0, 0, tr("µT")});
    m_disturbance->setObjectName(QStringLiteral("magneticDisturbance"));
    m_disturbance->setToolTip(tr("An oscillating field like that of a motor nearby"));
    connect(m_disturbance, &SliderRow::moved, this, [this](double value) {
        m_disturbance->awaitTicket(
            sendForCamera({{"command", "fault"}, {"faults", {{"magneticDisturbance", value}}}},
                          "magneticDisturbance"));
    });
    m_ofCamera.push_back(m_temperature);
    m_ofCamera.push_back(m_disturbance);
}

void Panel::addField()
{
    addSection(tr("EARTH'S FIELD"));
    m_strength = addSlider(tr("Strength"), {0.0, 100.0, 0.5, 1, tr("µT")});
    m_inclination = addSlider(tr("Inclination"), {range::fieldInclination.least,
                                                  range::fieldInclination.most, 0.5, 1, tr("°")});
    m_declination = addSlider(tr("Declination"), {range::fieldDeclination.least,
                                                  range::fieldDeclination.most, 0.5, 1, tr("°")});
    m_strength->setObjectName(QStringLiteral("strength"));
    m_inclination->setObjectName(QStringLiteral("inclination"));
    m_declination->setObjectName(QStringLiteral("declination"));
    m_strength->setToolTip(tr("The field is the same for all cameras"));
    m_inclination->setToolTip(tr("Below the horizon"));
    m_declination->setToolTip(tr("Magnetic north east of geographic north"));
    connect(m_strength, &SliderRow::moved, this, [this](double value) {
        m_field.strength = value;
        sendField();
    });
    connect(m_inclination, &SliderRow::moved, this, [this](double value) {
        m_field.inclination = value;
        sendField();
    });
    connect(m_declination, &SliderRow::moved, this, [this](double value) {
        m_field.declination = value;
        sendField();
    });
}

void Panel::addFaults()
{
    addSection(tr("FAULTS"));
    const auto group = [this](const char* title) {
        auto* const label = new QLabel(tr(title));
        label->setProperty("role", "group");
        m_rows->addSpacing(4);
        m_rows->addWidget(label);
    };
    for (const Fault& fault : faultTable()) {
        for (const Heading& heading : headings) {
            if (std::strcmp(heading.before, fault.key) == 0) {
                group(heading.title);
            }
        }
        auto* const row = new FaultRow(fault);
        row->setObjectName(QString::fromLatin1(fault.key));
        m_rows->addWidget(row);
        m_faults.push_back(row);
        m_ofCamera.push_back(row);
        connect(row, &FaultRow::requested, this, [this, row](int number) {
            const bool isSwitch = row->fault().kind == KIND::SWITCH;
            row->awaitTicket(sendForCamera(
                {{"command", "fault"},
                 {"faults", {{row->fault().key, isSwitch ? json(number != 0) : json(number)}}}},
                row->fault().key));
        });
        if (std::strcmp(fault.key, "littleGpuMemory") == 0) {
            m_firmware = new Switch(look::red);
            m_firmware->setObjectName(QStringLiteral("oldFirmware"));
            QWidget* const line = addLine(tr("Old firmware"), m_firmware);
            line->layout()->setContentsMargins(0, 0, 0, 0);
            line->setToolTip(
                tr("Version %1; effective when the camera is opened").arg(oldFirmware));
            m_ofCamera.push_back(line);
            connect(m_firmware, &QAbstractButton::clicked, this, [this](bool old) {
                m_awaitedSwitches = sendForCamera(
                    {{"command", "firmware"}, {"firmware", old ? oldFirmware : newFirmware}}, "");
            });
        }
    }
    auto* const none = new QPushButton(tr("All faults off"));
    none->setObjectName(QStringLiteral("noFaults"));
    m_rows->addSpacing(6);
    m_rows->addWidget(none);
    m_ofCamera.push_back(none);
    connect(none, &QPushButton::clicked, this, [this] {
        sendForCamera({{"command", "fault"}, {"clear", true}}, "");
    });
}

std::uint64_t Panel::sendForCamera(json request, const std::string& key)
{
    const std::string serial = std::to_string(m_serial);
    request["serialNumber"] = m_serial;
    return m_send(request, key.empty() ? key : key + " " + serial);
}

void Panel::sendField()
{
    const std::uint64_t ticket = m_send({{"command", "field"},
                                         {"field",
                                          {{"strength", m_field.strength},
                                           {"inclination", m_field.inclination},
                                           {"declination", m_field.declination}}}},
                                        "field");
    m_awaitedField = ticket;
    for (SliderRow* const row : {m_strength, m_inclination, m_declination}) {
        row->awaitTicket(ticket);
    }
}

/// A number that is being typed is for this camera, and its requests do not delay the states of the
/// next one.
void Panel::leaveCamera()
{
    m_awaitedSwitches = 0;
    m_temperature->awaitTicket(0);
    m_disturbance->awaitTicket(0);
    for (FaultRow* const row : m_faults) {
        row->leaveCamera();
    }
}

void Panel::showCamera(const CameraView* camera, const om::bench::Field& field,
                       std::uint64_t ticket)
{
    if (ticket >= m_awaitedField) {
        m_field = field;
    }
    m_strength->showValue(field.strength, ticket);
    m_inclination->showValue(field.inclination, ticket);
    m_declination->showValue(field.declination, ticket);
    if (camera == nullptr || camera->serial != m_serial) {
        leaveCamera();
    }
    for (QWidget* const widget : m_ofCamera) {
        widget->setEnabled(camera != nullptr);
    }
    if (camera == nullptr) {
        return;
    }
    m_serial = camera->serial;
    if (ticket >= m_awaitedSwitches) {
        m_plug->setChecked(camera->isPlugged());
        m_firmware->setChecked(camera->firmware < oldestGoodFirmware);
        const int index = m_motion->findData(camera->motion);
        if (!m_motion->view()->isVisible() && index != m_motion->currentIndex()) {
            m_motion->setCurrentIndex(index);
        }
    }
    m_temperature->showValue(camera->temperature, ticket);
    showFaults(*camera, ticket);
}

void Panel::showFaults(const CameraView& camera, std::uint64_t ticket)
{
    const json& faults = camera.faults;
    const auto disturbance = faults.find("magneticDisturbance");
    m_disturbance->showValue(disturbance == faults.end() ? 0.0 : disturbance->get<double>(),
                             ticket);
    for (FaultRow* const row : m_faults) {
        const auto found = faults.find(row->fault().key);
        const bool isSetting = row->fault().kind == KIND::SETTING;
        row->showNumber(found != faults.end() ? numberOf(*found)
                        : isSetting           ? row->fault().usual
                                              : 0,
                        ticket);
    }
}

} // namespace benchwindow
