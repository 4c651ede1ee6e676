#include "recording/recoptions.h"

#include <QDir>
#include <QSettings>

#include <array>

namespace {

struct Switch
{
    const char* key;
    bool RecOptions::*field;
};

/// The switches in the order of the store.
constexpr std::array<Switch, 7> switches{{
    {"accelerometer", &RecOptions::accelerometer},
    {"gyroscope", &RecOptions::gyroscope},
    {"magnetometer", &RecOptions::magnetometer},
    {"barometer", &RecOptions::barometer},
    {"temperatures", &RecOptions::temperatures},
    {"orientation", &RecOptions::orientation},
    {"movement", &RecOptions::movement},
}};

class Store : public QSettings
{
public:
    Store() : QSettings(QStringLiteral("Ombrelux"), QStringLiteral("TIVSensorData")) {}
};

const auto folderKey = QStringLiteral("save_folder");
const auto frequencyKey = QStringLiteral("sample_freq");

} // namespace

RecOptions::RecOptions() : saveFolder(QDir::homePath())
{
    loadRecSettings();
}

RecOptions::RecOptions(RecOptions& other)
{
    *this = other;
}

void RecOptions::loadRecSettings()
{
    Store store;
    saveFolder = store.value(folderKey, QDir::homePath()).toString();
    for (const Switch& each : switches) {
        this->*each.field = store.value(QLatin1String(each.key), true).toBool();
    }
    sampleFreq = store.value(frequencyKey, defaultSampleFreq).toInt();
}

void RecOptions::saveRecSettings()
{
    Store store;
    store.setValue(folderKey, saveFolder);
    for (const Switch& each : switches) {
        store.setValue(QLatin1String(each.key), this->*each.field);
    }
    store.setValue(frequencyKey, sampleFreq);
    store.sync();
}
