// The options of a recording: store, dialog, appearance.

#include "recording/recoptiondlg.h"

#include "look/Style.h"
#include "support/fonts.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTextDocument>
#include <QTimer>
#include <QToolButton>

namespace {

const char* const keys[] = {"save_folder",  "accelerometer", "gyroscope",
                            "magnetometer", "barometer",     "temperatures",
                            "orientation",  "movement",      "sample_freq"};

struct SwitchRow
{
    const char* key;
    const char* box;
    bool RecOptions::*field;
};

const SwitchRow switchRows[] = {
    {"accelerometer", "checkBox_accel", &RecOptions::accelerometer},
    {"gyroscope", "checkBox_gyro", &RecOptions::gyroscope},
    {"magnetometer", "checkBox_mag", &RecOptions::magnetometer},
    {"orientation", "checkBox_orient", &RecOptions::orientation},
    {"barometer", "checkBox_baro", &RecOptions::barometer},
    {"temperatures", "checkBox_temp", &RecOptions::temperatures},
    {"movement", "checkBox_mov", &RecOptions::movement},
};

struct Store : QSettings
{
    Store() : QSettings(QStringLiteral("Ombrelux"), QStringLiteral("TIVSensorData")) {}
};

template <typename T>
T* child(QWidget& parent, const char* name)
{
    T* found = parent.findChild<T*>(QLatin1String(name));
    if (found == nullptr) {
        qFatal("no child %s", name);
    }
    return found;
}

} // namespace

class TestRecOptions : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Store store;
        store.clear();
        store.sync();
    }

    void firstStartTakesTheDefaults()
    {
        const RecOptions options;
        QCOMPARE(options.saveFolder, QDir::homePath());
        for (const SwitchRow& row : switchRows) {
            QVERIFY2(options.*row.field, row.key);
        }
        QCOMPARE(options.sampleFreq, 400);
        QVERIFY2(Store().allKeys().isEmpty(), "reading writes nothing");
    }

    void everyKeyIsReadOnItsOwn_data()
    {
        QTest::addColumn<int>("row");
        for (int i = 0; i < 7; ++i) {
            QTest::newRow(switchRows[i].key) << i;
        }
    }

    void everyKeyIsReadOnItsOwn()
    {
        QFETCH(int, row);
        {
            Store store;
            store.setValue(QLatin1String(switchRows[row].key), false);
        }
        const RecOptions options;
        for (int i = 0; i < 7; ++i) {
            QCOMPARE(options.*switchRows[i].field, i != row);
        }
    }

    void folderAndFrequencyAreRead()
    {
        {
            Store store;
            store.setValue(QStringLiteral("save_folder"), QStringLiteral("/some where"));
            store.setValue(QStringLiteral("sample_freq"), 30);
        }
        RecOptions options;
        QCOMPARE(options.saveFolder, QStringLiteral("/some where"));
        QCOMPARE(options.sampleFreq, 30);
    }

    void saveWritesAllNineKeysAtTopLevel()
    {
        RecOptions options;
        options.saveFolder = QStringLiteral("/tmp/x");
        options.magnetometer = false;
        options.sampleFreq = 25;
        options.saveRecSettings();

        Store store;
        QStringList wanted;
        for (const char* key : keys) {
            wanted << QLatin1String(key);
        }
        wanted.sort();
        QStringList found = store.allKeys();
        found.sort();
        QCOMPARE(found, wanted);
        QCOMPARE(store.value(QStringLiteral("save_folder")).toString(), QStringLiteral("/tmp/x"));
        QCOMPARE(store.value(QStringLiteral("magnetometer")).toBool(), false);
        QCOMPARE(store.value(QStringLiteral("gyroscope")).toBool(), true);
        QCOMPARE(store.value(QStringLiteral("sample_freq")).toInt(), 25);
    }

    void storeIsWhereTheSystemKeepsIt()
    {
        RecOptions().saveRecSettings();
        QFile file(QString::fromLocal8Bit(qgetenv("XDG_CONFIG_HOME")) +
                   QStringLiteral("/Ombrelux/TIVSensorData.conf"));
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
        const QByteArray text = file.readAll();
        QVERIFY(text.contains("accelerometer=true"));
        QVERIFY(text.contains("sample_freq=400"));
    }

    void copyTakesTheFieldsAndLeavesTheStore()
    {
        RecOptions source;
        source.saveFolder = QStringLiteral("/a");
        source.gyroscope = false;
        source.sampleFreq = 5;
        RecOptions copy(source);
        QCOMPARE(copy.saveFolder, QStringLiteral("/a"));
        QCOMPARE(copy.gyroscope, false);
        QCOMPARE(copy.accelerometer, true);
        QCOMPARE(copy.sampleFreq, 5);
        QVERIFY(Store().allKeys().isEmpty());
    }

    void storeThatCannotBeWrittenChangesNothingElse()
    {
        // A store that can't be written: its folder's path contains a plain file.
        QFile blocker(QDir::homePath() + QStringLiteral("/blocker"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope,
                           blocker.fileName() + QStringLiteral("/below"));
        RecOptions options;
        options.sampleFreq = 10;
        options.saveRecSettings();
        QCOMPARE(options.sampleFreq, 10);
        QCOMPARE(RecOptions().sampleFreq, 400);
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope,
                           QString::fromLocal8Bit(qgetenv("XDG_CONFIG_HOME")));
    }

    void frequencyRows_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("frequency");
        QTest::newRow("0") << 0 << "400 Hz" << 400;
        QTest::newRow("1") << 1 << "200 Hz" << 200;
        QTest::newRow("2") << 2 << "100 Hz" << 100;
        QTest::newRow("3") << 3 << "50 Hz" << 50;
        QTest::newRow("4") << 4 << "25 Hz" << 25;
        QTest::newRow("5") << 5 << "10 Hz" << 10;
        QTest::newRow("6") << 6 << "5 Hz" << 5;
        QTest::newRow("7") << 7 << "1 Hz" << 1;
    }

    void frequencyRows()
    {
        QFETCH(int, row);
        QFETCH(QString, text);
        QFETCH(int, frequency);
        {
            Store store;
            store.setValue(QStringLiteral("sample_freq"), frequency);
        }
        RecOptionDlg dialog(nullptr);
        auto* combo = child<QComboBox>(dialog, "comboBox_sample_freq");
        QCOMPARE(combo->count(), 8);
        QCOMPARE(combo->itemText(row), text);
        QCOMPARE(combo->currentIndex(), row);
        QCOMPARE(rowOfSampleFreq(frequency), row);
        QCOMPARE(sampleFreqOfRow(row), frequency);

        combo->setCurrentIndex((row + 1) % 8);
        combo->setCurrentIndex(row);
        dialog.accept();
        QCOMPARE(dialog.options.sampleFreq, frequency);
    }

    void unknownFrequencyShowsTheFirstRowAndIsStoredAsThat()
    {
        {
            Store store;
            store.setValue(QStringLiteral("sample_freq"), 30);
        }
        RecOptionDlg dialog(nullptr);
        QCOMPARE(child<QComboBox>(dialog, "comboBox_sample_freq")->currentText(),
                 QStringLiteral("400 Hz"));
        dialog.accept();
        QCOMPARE(Store().value(QStringLiteral("sample_freq")).toInt(), 400);
    }

    void unexpectedRowReadsAsTheFirst()
    {
        QCOMPARE(sampleFreqOfRow(-1), 400);
        QCOMPARE(sampleFreqOfRow(8), 400);
        RecOptionDlg dialog(nullptr);
        child<QComboBox>(dialog, "comboBox_sample_freq")->setCurrentIndex(-1);
        dialog.accept();
        QCOMPARE(dialog.options.sampleFreq, 400);
    }

    void dialogShowsWhatIsStored()
    {
        {
            Store store;
            store.setValue(QStringLiteral("save_folder"), QStringLiteral("/data"));
            store.setValue(QStringLiteral("orientation"), false);
            store.setValue(QStringLiteral("movement"), false);
        }
        RecOptionDlg dialog(nullptr);
        QCOMPARE(child<QLabel>(dialog, "label_save_path")->text(), QStringLiteral("/data"));
        for (const SwitchRow& row : switchRows) {
            const bool on =
                row.field != &RecOptions::orientation && row.field != &RecOptions::movement;
            QVERIFY2(child<QCheckBox>(dialog, row.box)->isChecked() == on, row.box);
        }
    }

    void everyCheckBoxMovesItsOwnSwitch_data() { everyKeyIsReadOnItsOwn_data(); }

    void everyCheckBoxMovesItsOwnSwitch()
    {
        QFETCH(int, row);
        RecOptionDlg dialog(nullptr);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog, waiting::patienceMs));
        auto* box = child<QCheckBox>(dialog, switchRows[row].box);
        QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(8, box->height() / 2));
        QVERIFY(!box->isChecked());
        QTest::mouseClick(child<QToolButton>(dialog, "toolButton_accept"), Qt::LeftButton);
        QCOMPARE(dialog.result(), 1);
        for (int i = 0; i < 7; ++i) {
            QCOMPARE(dialog.options.*switchRows[i].field, i != row);
            QCOMPARE(Store().value(QLatin1String(switchRows[i].key)).toBool(), i != row);
        }
    }

    void acceptWithoutAChangeWritesAllKeys()
    {
        RecOptionDlg dialog(nullptr);
        QTest::mouseClick(child<QToolButton>(dialog, "toolButton_accept"), Qt::LeftButton);
        QCOMPARE(Store().allKeys().size(), 9);
    }

    void rejectChangesNothing()
    {
        RecOptionDlg dialog(nullptr);
        dialog.show();
        child<QCheckBox>(dialog, "checkBox_baro")->setChecked(false);
        child<QComboBox>(dialog, "comboBox_sample_freq")->setCurrentIndex(7);
        QTest::mouseClick(child<QToolButton>(dialog, "toolButton_reject"), Qt::LeftButton);
        QCOMPARE(dialog.result(), 0);
        QVERIFY(!dialog.isVisible());
        QVERIFY(Store().allKeys().isEmpty());
        QCOMPARE(dialog.options.barometer, true);
        QCOMPARE(dialog.options.sampleFreq, 400);
    }

    void returnPressesOk_data()
    {
        QTest::addColumn<QString>("focus"); // empty: as the dialog opens
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("result");
        QTest::newRow("at first") << QString() << int(Qt::Key_Return) << 1;
        QTest::newRow("of the number pad") << QString() << int(Qt::Key_Enter) << 1;
        for (const char* name : {"pushButton_rec_folder", "checkBox_mag", "comboBox_sample_freq",
                                 "toolButton_accept"}) {
            QTest::newRow(name) << QString::fromLatin1(name) << int(Qt::Key_Return) << 1;
        }
        QTest::newRow("toolButton_reject") << "toolButton_reject" << int(Qt::Key_Return) << 0;
        QTest::newRow("Escape") << QString() << int(Qt::Key_Escape) << 0;
    }

    void returnPressesOk()
    {
        QFETCH(QString, focus);
        QFETCH(int, key);
        QFETCH(int, result);
        RecOptionDlg dialog(nullptr);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowActive(&dialog, waiting::patienceMs));
        if (!focus.isEmpty()) {
            dialog.findChild<QWidget*>(focus)->setFocus();
        }
        bool choosing = false;
        QTimer watch;
        connect(&watch, &QTimer::timeout, this, [&] {
            if (auto* chooser = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
                choosing = true;
                chooser->reject();
            }
        });
        watch.start(20);
        QTest::keyClick(dialog.focusWidget(), static_cast<Qt::Key>(key));
        QVERIFY(!choosing);
        QVERIFY(!dialog.isVisible());
        QCOMPARE(dialog.result(), result);
        QCOMPARE(Store().allKeys().size(), result == 1 ? 9 : 0);
    }

    void longFolderKeepsTheDialogsSize()
    {
        const QString folder = QStringLiteral("/") + QString(60, QLatin1Char('W')) +
                               QStringLiteral("/deeper").repeated(40);
        {
            Store store;
            store.setValue(QStringLiteral("save_folder"), folder);
        }
        RecOptionDlg dialog(nullptr);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog, waiting::patienceMs));
        QCOMPARE(dialog.size(), QSize(500, 320));
        QVERIFY(dialog.minimumSizeHint().width() <= 500);
        auto* label = child<QLabel>(dialog, "label_save_path");
        QVERIFY(label->geometry().right() <
                child<QPushButton>(dialog, "pushButton_rec_folder")->geometry().left());
        QVERIFY2(label->width() > 250, "the path has what the button leaves");
        QVERIFY2(label->toolTip().contains(folder), "all of it is under the mouse");
        dialog.accept();
        QCOMPARE(Store().value(QStringLiteral("save_folder")).toString(), folder);
    }

    void folderWithTagsIsShownAsItIs()
    {
        const QString folder = QStringLiteral("/data/<h1>big</h1> & <i>more</i>");
        {
            Store store;
            store.setValue(QStringLiteral("save_folder"), folder);
        }
        RecOptionDlg dialog(nullptr);
        auto* label = child<QLabel>(dialog, "label_save_path");
        QCOMPARE(label->text(), folder);
        // As high and wide as the same text in a plain label, which rich text is not.
        QLabel plain;
        plain.setTextFormat(Qt::PlainText);
        plain.setFont(label->font());
        plain.setStyleSheet(label->styleSheet());
        plain.setText(folder);
        QCOMPARE(label->sizeHint().width(), plain.sizeHint().width());
        QTextDocument tip;
        tip.setHtml(label->toolTip());
        QCOMPARE(tip.toPlainText(), folder);
        dialog.accept();
        QCOMPARE(Store().value(QStringLiteral("save_folder")).toString(), folder);
    }

    void folderChooser_data()
    {
        QTest::addColumn<bool>("choose");
        QTest::newRow("chosen") << true;
        QTest::newRow("cancelled") << false;
    }

    void folderChooser()
    {
        QFETCH(bool, choose);
        QTemporaryDir before;
        QTemporaryDir after;
        {
            Store store;
            store.setValue(QStringLiteral("save_folder"), before.path());
        }
        RecOptionDlg dialog(nullptr);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog, waiting::patienceMs));

        bool seen = false;
        QTimer answer;
        connect(&answer, &QTimer::timeout, this, [&] {
            auto* chooser = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            if (chooser == nullptr) {
                return;
            }
            answer.stop();
            seen = true;
            // Also after a failed check: an open dialog would keep the test until its time-out.
            const auto close = qScopeGuard([chooser] {
                if (chooser->isVisible()) {
                    chooser->reject();
                }
            });
            QCOMPARE(chooser->windowTitle(), QStringLiteral("Choose the saving folder"));
            QCOMPARE(chooser->parentWidget(), &dialog);
            QCOMPARE(chooser->directory().absolutePath(), before.path());
            QVERIFY(chooser->testOption(QFileDialog::ShowDirsOnly));
            QVERIFY(chooser->testOption(QFileDialog::DontResolveSymlinks));
            QVERIFY(chooser->testOption(QFileDialog::DontUseNativeDialog));
            if (choose) {
                chooser->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))
                    ->setText(after.path());
                QMetaObject::invokeMethod(chooser, "accept");
            }
        });
        answer.start(20);
        QTest::mouseClick(child<QPushButton>(dialog, "pushButton_rec_folder"), Qt::LeftButton);
        QVERIFY(seen);
        const QString wanted = choose ? after.path() : before.path();
        QCOMPARE(dialog.options.saveFolder, wanted);
        QCOMPARE(child<QLabel>(dialog, "label_save_path")->text(), wanted);
        dialog.accept();
        QCOMPARE(Store().value(QStringLiteral("save_folder")).toString(), wanted);
    }

    void dialogWearsItsStyle()
    {
        RecOptionDlg dialog(nullptr);
        const Style style;
        QCOMPARE(dialog.styleSheet(), style.windowSoilStyle);
        const struct
        {
            const char* name;
            QString sheet;
            QFont font;
        } rows[] = {
            {"toolButton_accept", style.saveButtonStyle, style.fontMonoCaps9},
            {"toolButton_reject", style.saveButtonStyle, style.fontMonoCaps9},
            {"label_rec_folder", style.labelBaseStyle, style.fontMonoCaps9},
            {"label_sample_freq", style.labelBaseStyle, style.fontMonoCaps9},
            {"label_save_path", style.lineEditClearStyle, style.fontMono9},
            {"comboBox_sample_freq", style.comboDarkStyle, style.fontMonoCaps9},
            {"checkBox_accel", style.checkBoxLargeStyle, style.fontMonoCaps9},
            {"checkBox_gyro", style.checkBoxLargeStyle, style.fontMonoCaps9},
            {"checkBox_mag", style.checkBoxLargeStyle, style.fontMonoCaps9},
            {"checkBox_orient", style.checkBoxLargeStyle, style.fontMonoCaps9},
            {"checkBox_baro", style.checkBoxLargeStyle, style.fontMonoCaps9},
            {"checkBox_temp", style.checkBoxLargeStyle, style.fontMonoCaps9},
            {"checkBox_mov", style.checkBoxLargeStyle, style.fontMonoCaps9},
            {"groupBox_data_selection", style.groupBoxTitleStyle, style.fontMonoCaps9},
        };
        for (const auto& row : rows) {
            auto* widget = child<QWidget>(dialog, row.name);
            QVERIFY2(widget->styleSheet() == row.sheet, row.name);
            QVERIFY2(fonts::fontText(fonts::ownFont(*widget)) == fonts::fontText(row.font),
                     row.name);
        }
    }

    void dialogIsModalForTheApplication()
    {
        RecOptionDlg dialog(nullptr);
        QCOMPARE(dialog.windowModality(), Qt::ApplicationModal);
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Data recording options"));
        QCOMPARE(dialog.size(), QSize(500, 320));
    }
};

QTEST_MAIN(TestRecOptions)
#include "tst_recoptions.moc"
