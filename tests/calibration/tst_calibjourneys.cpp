/// Journeys through the dialog: each one is a sequence of steps; after each step every label,
/// caption, enabled state and message box is checked.

#include "calibration/dialogfixture.h"

#include "look/Style.h"

#include <QIcon>
#include <QtTest>

using om::bench::Faults;

namespace {

enum class Do {
    OpenDialog,
    PressStart,
    PressClear,
    PressStore,
    PressReset,
    PressExit,
    PressEscape,
    Feed20,        ///< readings, continued from the last ones
    Feed150,       ///< the same
    Unplug,        ///< and wait for the effect
    UnplugQuietly, ///< without a dialog to notice
    Plug,
    RefuseOpen,
    RefuseWrites,
    DifferNineTimes,
    DifferTenTimes,
    MendFaults,
    WaitALittle, ///< longer than a thread without a link lasts
};

/// A row of the table of message boxes.
struct Box
{
    const char* title;
    const char* text;
    QMessageBox::Icon icon;
    QStringList buttons; ///< the first of two is red, the last one green
};

const Box starting{"Calibration starting...",
                   "For a good calibration, start with three full rotations of the camera around "
                   "the three main axes, then continue rotating it in the space, covering all the "
                   "possible orientations.\nPress 'STOP CALIBRATION' when completed.",
                   QMessageBox::Information,
                   {"Ok"}};
const Box stopped{"Calibration stopped",
                  "Press 'Store Calibration' to save the parameters on the camera and to apply the "
                  "new calibration.",
                  QMessageBox::Information,
                  {"Ok"}};
const Box storing{"Warning!",
                  "Pressing OK the current Magnetometer Calibration setting will be overwritten. "
                  "Continue?",
                  QMessageBox::Warning,
                  {"Cancel", "Ok"}};
const Box storeError{"Warning!",
                     "An error occurred while saving calibration parameters. Please retry.",
                     QMessageBox::Critical,
                     {"Ok"}};
const Box resetting{"Warning!",
                    "Pressing OK the current Magnetometer Calibration setting will be lost.\n"
                    "Continue?",
                    QMessageBox::Warning,
                    {"No", "Yes"}};
const Box resetError{"Warning!",
                     "An error occurred while saving calibration parameters. Please retry.",
                     QMessageBox::Warning,
                     {"Ok"}};
const Box leaving{"TIV Magnetometer Calibration",
                  "Calibration parameters have not been saved on camera.\nClosing the window all "
                  "the data will be lost.\nContinue?",
                  QMessageBox::Question,
                  {"No", "Yes"}};
const Box lost{"TIV Camera error", "Error retrieving sensors data", QMessageBox::Critical, {"Ok"}};
const Box notDetected{"TIV Camera error",
                      "TIV_P/TIV_Q with serial number 30123456 not detected. Please verify the "
                      "connections and retry",
                      QMessageBox::Critical,
                      {"Ok"}};
const Box cannotOpen{"TIV Camera error",
                     "Cannot open the TIV_P/TIV_Q camera. Please verify the connections and "
                     "restart",
                     QMessageBox::Critical,
                     {"Ok"}};

struct Answer
{
    Box box;
    const char* button;
};

struct Looks
{
    const char* caption; ///< of the start button
    bool stopIcon;
    bool checked;
    bool store; ///< enabled
    bool reset; ///< enabled
    const char* status;
    bool headings; ///< shown, not dashes
    bool open = true;
};

constexpr const char* start = " Start Calibration";
constexpr const char* stop = " Stop Calibration";
constexpr const char* goOn = " Continue Calibration";
constexpr const char* toBeStored = "CALIBRATION TO BE STORED";
constexpr const char* stateWord = "NOT GOOD"; // as the link of these tests reports

constexpr Looks noCamera{goOn, false, false, false, true, "---", false};
constexpr Looks leftWatching{goOn, false, false, false, true, stateWord, true, false};
constexpr Looks watching{start, false, false, false, true, stateWord, true};
constexpr Looks calibrating{stop, true, true, false, false, "CALIBRATING", true};
constexpr Looks pending{goOn, false, false, true, true, toBeStored, true};
constexpr Looks storedLooks{goOn, false, false, true, true, stateWord, true};
constexpr Looks cleared{start, false, false, true, true, stateWord, true};

constexpr Looks closed(Looks looks)
{
    looks.open = false;
    return looks;
}

struct Step
{
    Do what;
    std::vector<Answer> boxes;
    Looks looks;
};

using Journey = std::vector<Step>;

} // namespace

Q_DECLARE_METATYPE(Journey)

class TestCalibJourneys : public QObject
{
    Q_OBJECT

private slots:
    void everyStepLooksAsItShould_data();
    void everyStepLooksAsItShould();

private:
    void take(Do what, DialogFixture& f);
    void compareBoxes(const std::vector<Answer>& expected, const QVector<SeenBox>& seen);
    void compareLooks(const Looks& looks, DialogFixture& f);

    std::uint64_t m_ticks = 0;
};

void TestCalibJourneys::everyStepLooksAsItShould_data()
{
    QTest::addColumn<Journey>("journey");
    const Journey opened{{Do::OpenDialog, {}, watching}};
    const auto add = [&opened](const char* name, Journey steps) {
        Journey journey = opened;
        journey.insert(journey.end(), steps.begin(), steps.end());
        QTest::newRow(name) << journey;
    };
    const Step begin{Do::PressStart, {{starting, "Ok"}}, calibrating};
    const Step gather{Do::Feed150, {}, calibrating};
    const Step end{Do::PressStart, {{stopped, "Ok"}}, pending};

    add("exit at once", {{Do::PressExit, {}, leftWatching}});
    add("watch", {{Do::Feed20, {}, watching}, {Do::PressExit, {}, leftWatching}});
    add("start, stop, store", {begin,
                               gather,
                               end,
                               {Do::PressStore, {{storing, "Ok"}}, storedLooks},
                               {Do::PressExit, {}, closed(storedLooks)}});
    add("start, stop, continue, stop, store", {begin,
                                               gather,
                                               end,
                                               begin,
                                               gather,
                                               end,
                                               {Do::PressStore, {{storing, "Ok"}}, storedLooks},
                                               {Do::PressExit, {}, closed(storedLooks)}});
    add("store after second thoughts", {begin,
                                        gather,
                                        end,
                                        {Do::PressStore, {{storing, "Cancel"}}, pending},
                                        {Do::PressStore, {{storing, "Ok"}}, storedLooks}});
    add("stop without samples", {begin, end, {Do::PressStore, {{storing, "Ok"}}, storedLooks}});
    add("stop with a few samples", {begin,
                                    {Do::Feed20, {}, calibrating},
                                    end,
                                    {Do::PressStore, {{storing, "Ok"}}, storedLooks}});
    add("clear while watching", {{Do::PressClear, {}, watching}});
    add("clear while calibrating", {begin, gather, {Do::PressClear, {}, calibrating}, gather, end});
    add("exit after a clear while calibrating",
        {begin,
         gather,
         {Do::PressClear, {}, calibrating},
         {Do::PressExit, {}, closed({goOn, false, false, false, false, "CALIBRATING", true})}});
    add("clear after a stop", {begin,
                               gather,
                               end,
                               {Do::PressClear, {}, cleared},
                               {Do::PressExit, {}, closed(storedLooks)}});
    add("clear and calibrate again",
        {begin, gather, end, {Do::PressClear, {}, cleared}, begin, gather, end});
    add("store again after a store", {begin,
                                      gather,
                                      end,
                                      {Do::PressStore, {{storing, "Ok"}}, storedLooks},
                                      {Do::PressStore, {{storing, "Ok"}}, storedLooks}});
    add("reset", {{Do::PressReset, {{resetting, "Yes"}}, watching}});
    add("reset after second thoughts", {{Do::PressReset, {{resetting, "No"}}, watching}});
    add("reset of a pending calibration",
        {begin, gather, end, {Do::PressReset, {{resetting, "Yes"}}, storedLooks}});
    add("exit with a pending calibration", {begin,
                                            gather,
                                            end,
                                            {Do::PressExit, {{leaving, "No"}}, pending},
                                            {Do::Feed20, {}, pending},
                                            {Do::PressExit, {{leaving, "Yes"}}, closed(pending)}});
    add("exit while calibrating without a fit",
        {begin,
         {Do::Feed20, {}, calibrating},
         {Do::PressExit, {}, closed({goOn, false, false, false, false, "CALIBRATING", true})}});
    add("exit while calibrating with a fit",
        {begin,
         gather,
         {Do::PressExit, {{leaving, "No"}}, calibrating},
         {Do::PressExit,
          {{leaving, "Yes"}},
          closed({goOn, false, false, false, false, "CALIBRATING", true})}});
    add("escape", {{Do::PressEscape, {}, watching},
                   begin,
                   {Do::PressEscape, {}, calibrating},
                   gather,
                   end,
                   {Do::PressEscape, {}, pending}});

    QTest::newRow("no camera") << Journey{
        {Do::UnplugQuietly, {}, {}},
        {Do::OpenDialog, {{notDetected, "Ok"}}, noCamera},
        {Do::PressClear, {}, {start, false, false, false, true, "---", false}},
        {Do::PressReset, {{resetting, "Yes"}, {notDetected, "Ok"}, {resetError, "Ok"}}, noCamera},
        {Do::PressExit, {}, closed(noCamera)}};
    QTest::newRow("no camera, start again") << Journey{
        {Do::UnplugQuietly, {}, {}},
        {Do::OpenDialog, {{notDetected, "Ok"}}, noCamera},
        {Do::PressStart, {{notDetected, "Ok"}}, noCamera},
        {Do::Plug, {}, noCamera},
        {Do::PressStart, {{starting, "Ok"}}, {stop, true, true, false, false, "CALIBRATING", true}},
        gather,
        end,
        {Do::PressStore, {{storing, "Ok"}}, storedLooks},
        {Do::PressExit, {}, closed(storedLooks)}};
    QTest::newRow("camera that will not open")
        << Journey{{Do::RefuseOpen, {}, {}},
                   {Do::OpenDialog, {{cannotOpen, "Ok"}}, noCamera},
                   {Do::PressExit, {}, closed(noCamera)}};

    add("link lost while watching",
        {{Do::Unplug, {{lost, "Ok"}}, {goOn, false, false, false, true, stateWord, true}}});
    add("link lost while calibrating",
        {begin,
         {Do::Feed20, {}, calibrating},
         {Do::Unplug, {{lost, "Ok"}}, {goOn, false, false, false, true, "CALIBRATING", true}}});
    add("link lost while pending", {begin, gather, end, {Do::Unplug, {{lost, "Ok"}}, pending}});
    add("link lost, then cleared",
        {begin,
         gather,
         end,
         {Do::Unplug, {{lost, "Ok"}}, pending},
         {Do::PressClear, {}, {start, false, false, true, true, toBeStored, true}}});

    add("EEPROM refusing", {begin,
                            gather,
                            end,
                            {Do::RefuseWrites, {}, pending},
                            {Do::PressStore, {{storing, "Ok"}, {storeError, "Ok"}}, pending},
                            {Do::WaitALittle, {}, pending},
                            {Do::MendFaults, {}, pending},
                            {Do::PressStore, {{storing, "Ok"}}, storedLooks},
                            {Do::PressExit, {}, closed(storedLooks)}});
    add("EEPROM refusing a reset",
        {begin,
         gather,
         end,
         {Do::RefuseWrites, {}, pending},
         {Do::PressReset, {{resetting, "Yes"}, {resetError, "Ok"}}, pending},
         {Do::WaitALittle, {}, pending},
         {Do::PressExit, {{leaving, "Yes"}}, closed(pending)}});
    add("read-back wrong nine times", {begin,
                                       gather,
                                       end,
                                       {Do::DifferNineTimes, {}, pending},
                                       {Do::PressStore, {{storing, "Ok"}}, storedLooks}});
    add("read-back wrong ten times",
        {begin,
         gather,
         end,
         {Do::DifferTenTimes, {}, pending},
         {Do::PressStore, {{storing, "Ok"}, {storeError, "Ok"}}, pending},
         {Do::WaitALittle, {}, pending},
         {Do::PressStore, {{storing, "Ok"}}, storedLooks}});
}

void TestCalibJourneys::take(Do what, DialogFixture& f)
{
    const auto press = [&f](QPushButton* (*button)(Ui_MagCalibDlg*)) {
        QPushButton* const pressed = button(f.probe->ui);
        QVERIFY(pressed->isEnabled());
        QTest::mouseClick(pressed, Qt::LeftButton);
    };
    const auto feed = [this, &f](int count) {
        f.feed(benchcamera::readings(count, m_ticks));
        m_ticks += benchcamera::ticksPerReading * static_cast<std::uint64_t>(count);
    };
    const auto change = [&f](const std::function<void(Faults&)>& mend) {
        f.bench.changeFaults(f.serial, mend);
    };
    switch (what) {
    case Do::OpenDialog:
        f.open();
        f.dialog->show();
        QVERIFY(QTest::qWaitForWindowExposed(f.dialog.get(), waiting::patienceMs));
        if (!f.probe->mcuClosed) {
            feed(1); // for a heading and its state
        }
        break;
    case Do::PressStart:
        press([](Ui_MagCalibDlg* ui) { return ui->pushButton_start; });
        if (f.probe->calibrating && f.probe->headingState == 4) {
            f.waitForThread();
            f.setCalibrating(false);
            feed(1); // the first reading of a camera that was plugged in late
            f.setCalibrating(true);
        }
        break;
    case Do::PressClear:
        press([](Ui_MagCalibDlg* ui) { return ui->pushButton_clear_data; });
        break;
    case Do::PressStore:
        press([](Ui_MagCalibDlg* ui) { return ui->pushButton_save_calib; });
        break;
    case Do::PressReset:
        press([](Ui_MagCalibDlg* ui) { return ui->pushButton_reset; });
        break;
    case Do::PressExit:
        press([](Ui_MagCalibDlg* ui) { return ui->pushButton_exit; });
        break;
    case Do::PressEscape:
        QTest::keyClick(f.dialog.get(), Qt::Key_Escape);
        break;
    case Do::Feed20:
        feed(20);
        break;
    case Do::Feed150: {
        const int before = f.probe->samples();
        feed(150);
        QCOMPARE(f.probe->samples(), before + 150);
        // At most 49 samples wait for the next fit.
        QTRY_VERIFY(f.probe->lastFitCount > before + 100);
        break;
    }
    case Do::Unplug: {
        const int boxes = f.boxes.seen.size();
        f.bench.unplug(f.serial);
        QTRY_COMPARE(f.boxes.seen.size(), boxes + 1);
        QTRY_VERIFY(!f.probe->updateTimer.isActive());
        break;
    }
    case Do::UnplugQuietly:
        f.bench.unplug(f.serial);
        break;
    case Do::Plug:
        f.bench.plug(f.serial);
        break;
    case Do::RefuseOpen:
        change([](Faults& faults) { faults.mcuOpenRefused = true; });
        break;
    case Do::RefuseWrites:
        change([](Faults& faults) { faults.eepromWriteRefused = true; });
        break;
    case Do::DifferNineTimes:
        change([](Faults& faults) { faults.eepromReadbackDiffers = 9; });
        break;
    case Do::DifferTenTimes:
        change([](Faults& faults) { faults.eepromReadbackDiffers = 10; });
        break;
    case Do::MendFaults:
        change([](Faults& faults) { faults = Faults(); });
        break;
    case Do::WaitALittle:
        f.readOn();
        QVERIFY(f.running());
        break;
    }
}

void TestCalibJourneys::compareBoxes(const std::vector<Answer>& expected,
                                     const QVector<SeenBox>& seen)
{
    const Style style;
    QCOMPARE(seen.size(), static_cast<int>(expected.size()));
    for (int i = 0; i < seen.size(); ++i) {
        const Box& box = expected[static_cast<std::size_t>(i)].box;
        const SeenBox& now = seen[i];
        QCOMPARE(now.title, QString(box.title));
        QCOMPARE(now.text, QString(box.text));
        QCOMPARE(now.icon, box.icon);
        QCOMPARE(now.buttons, box.buttons);
        QCOMPARE(now.leftToRight, box.buttons);
        QCOMPARE(now.pressed, QString(expected[static_cast<std::size_t>(i)].button));
        QVERIFY(!now.hadParent);
        QCOMPARE(now.sheet, style.splashStyle);
        QCOMPARE(now.font.family(), style.fontPro9.family());
        QCOMPARE(now.font.pointSize(), style.fontPro9.pointSize());
        for (int b = 0; b < now.buttons.size(); ++b) {
            const bool last = b + 1 == now.buttons.size();
            QCOMPARE(now.buttonSheets[b], last ? style.statusOnStyle : style.statusErrorStyle);
            QCOMPARE(now.buttonFonts[b].family(), style.fontPro9.family());
            QCOMPARE(now.buttonFonts[b].pointSize(), style.fontPro9.pointSize());
            QCOMPARE(now.buttonRoles[b], QMessageBox::AcceptRole);
        }
    }
}

void TestCalibJourneys::compareLooks(const Looks& looks, DialogFixture& f)
{
    const Ui_MagCalibDlg* const ui = f.probe->ui;
    const auto picture = [](const QIcon& icon) { return icon.pixmap(20, 20).toImage(); };
    QCOMPARE(f.dialog->isVisible(), looks.open);
    QTRY_COMPARE(ui->label_mag_calib_quality->text(), QString(looks.status));
    QCOMPARE(ui->pushButton_start->text(), QString(looks.caption));
    QCOMPARE(picture(ui->pushButton_start->icon()),
             picture(QIcon(looks.stopIcon ? ":/images/stop_h.png" : ":/images/play.png")));
    QCOMPARE(ui->pushButton_start->isChecked(), looks.checked);
    QVERIFY(ui->pushButton_start->isEnabled());
    QVERIFY(ui->pushButton_clear_data->isEnabled());
    QCOMPARE(ui->pushButton_save_calib->isEnabled(), looks.store);
    QCOMPARE(ui->pushButton_reset->isEnabled(), looks.reset);
    QVERIFY(ui->pushButton_exit->isEnabled());
    QTRY_COMPARE(ui->label_heading_uncalib->text(),
                 QString(looks.headings ? "Uncalibrated\n 33.00°" : "Uncalibrated\n---.--°"));
    QTRY_COMPARE(ui->label_heading_calib->text(),
                 QString(looks.headings ? "Calibrated\n 77.50°" : "Calibrated\n---.--°"));
    QCOMPARE(ui->Instructionlabel->text(), QString("Describe circles in various directions"));
    QCOMPARE(ui->pushButton_clear_data->text(), QString(" Clear Data"));
    QCOMPARE(ui->pushButton_save_calib->text(), QString(" Store Calibration"));
    QCOMPARE(ui->pushButton_reset->text(), QString(" Reset Calibration"));
    QCOMPARE(ui->pushButton_exit->text(), QString(" Exit Calibration"));
}

void TestCalibJourneys::everyStepLooksAsItShould()
{
    QFETCH(Journey, journey);
    DialogFixture f(false);
    m_ticks = 100'000;
    int number = 0;
    for (const Step& step : journey) {
        ++number;
        const int before = f.boxes.seen.size();
        for (const Answer& answer : step.boxes) {
            f.boxes.expect(answer.button);
        }
        take(step.what, f);
        if (!QTest::currentTestFailed()) {
            compareBoxes(step.boxes, f.boxes.seen.mid(before));
        }
        if (!QTest::currentTestFailed() && f.dialog && step.looks.caption) {
            compareLooks(step.looks, f);
        }
        QCOMPARE(f.boxes.unexpected, 0);
        if (QTest::currentTestFailed()) {
            qInfo("in step %d", number);
            return;
        }
    }
}

QTEST_MAIN(TestCalibJourneys)
#include "tst_calibjourneys.moc"
