// The bench's window: its arithmetic, and its widgets with a bench in the process behind a real
// control socket.

#include "om_tiv/window/stoppedprogram.h"
#include "support/accessibility.h"
#include "support/waiting.h"

#include "library/the_bench.h"
#include "control/control.h"
#include "control/control_server.h"
#include "bench/virtual_camera.h"
#include "window/bench_window.h"
#include "window/body_painter.h"
#include "window/body_shape.h"
#include "window/controls.h"
#include "window/panel.h"
#include "window/turning.h"
#include "window/waiting_text.h"

#include <QComboBox>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPaintEngine>
#include <QPaintEvent>
#include <QPainter>
#include <QProcess>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

#include <nlohmann/json.hpp>

#include <atomic>
#include <chrono>
#include <cmath>
#include <memory>

using namespace om;
using namespace om::bench;
using namespace benchwindow;
using namespace std::chrono_literals;
using nlohmann::json;

namespace {

constexpr unsigned int first = 20000001;
constexpr unsigned int second = 30000002;
constexpr double degree = pi / 180.0;

/// Degrees between two poses.
double between(const Quaternion& a, const Quaternion& b)
{
    return length(toRotationVector(conjugate(a) * b)) / degree;
}

double between(const Vector& a, const Vector& b)
{
    return length(a - b);
}

/// The bench, empty, with its clock stopped.
void clearBench()
{
    theBench().reset();
    theBench().clock().setManual(1'000 * nsPerS);
}

/// Longer than any glide of the window's requests.
void passGlide()
{
    theBench().clock().advance(2s);
}

void layOutBench()
{
    clearBench();
    CameraConfig config;
    config.motion = MOTION::AT_REST;
    config.model = MODEL::TIV_Q;
    config.serialNumber = first;
    theBench().addCamera(config);
    config.model = MODEL::TIV_N;
    config.serialNumber = second;
    theBench().addCamera(config);
}

QLabel* label(const BenchWindow& window, const QString& text)
{
    for (QLabel* const candidate : window.findChildren<QLabel*>()) {
        if (candidate->isVisible() && candidate->text() == text) {
            return candidate;
        }
    }
    return nullptr;
}

/// Counts how often a widget is painted.
class Paints : public QObject
{
public:
    explicit Paints(QWidget& widget)
    {
        QCoreApplication::processEvents();
        widget.installEventFilter(this);
    }
    int count() const { return m_count; }
    const QRegion& region() const { return m_region; } ///< of the latest time

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) {
            ++m_count;
            m_region = static_cast<QPaintEvent*>(event)->region();
        }
        return QObject::eventFilter(watched, event);
    }

private:
    int m_count = 0;
    QRegion m_region;
};

/// Collects the texts that are painted on it.
class TextCollector : public QImage
{
public:
    explicit TextCollector(const QSize& size) : QImage(size, Format_RGB32) {}

    const QStringList& texts() const { return m_engine.texts; }

    QPaintEngine* paintEngine() const override { return &m_engine; }

private:
    struct Engine : QPaintEngine
    {
        Engine() : QPaintEngine(AllFeatures) {}
        bool begin(QPaintDevice* device) override
        {
            Q_UNUSED(device)
            return true;
        }
        bool end() override { return true; }
        void updateState(const QPaintEngineState& changed) override { Q_UNUSED(changed) }
        void drawPixmap(const QRectF& to, const QPixmap& pixmap, const QRectF& from) override
        {
            Q_UNUSED(to)
            Q_UNUSED(pixmap)
            Q_UNUSED(from)
        }
        void drawPath(const QPainterPath& path) override { Q_UNUSED(path) }
        using QPaintEngine::drawPolygon;
        void drawPolygon(const QPointF* points, int count, PolygonDrawMode mode) override
        {
            Q_UNUSED(points)
            Q_UNUSED(count)
            Q_UNUSED(mode)
        }
        void drawTextItem(const QPointF& at, const QTextItem& text) override
        {
            Q_UNUSED(at)
            texts << text.text();
        }
        Type type() const override { return User; }

        QStringList texts;
    };

    mutable Engine m_engine;
};

CameraView streamingCamera()
{
    CameraView camera;
    camera.serial = first;
    camera.model = QStringLiteral("TIV_Q");
    camera.state = QStringLiteral("streaming");
    return camera;
}

QStringList paintedTexts(BodyView& view)
{
    TextCollector picture(view.size());
    view.render(&picture);
    return picture.texts();
}

/// A drag in even steps of the view's time; it ends with the button down.
void dragOnly(BodyView* view, const QPointF& from, const QPointF& to, int steps,
              std::chrono::milliseconds step)
{
    view->clock().setManual();
    QTest::mousePress(view, Qt::LeftButton, {}, from.toPoint());
    for (int i = 1; i <= steps; ++i) {
        const QPointF at = from + (to - from) * i / steps;
        QMouseEvent move(QEvent::MouseMove, at, view->mapToGlobal(at.toPoint()), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view, &move);
        view->clock().step(step);
    }
}

} // namespace

class TestBenchWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ControlServer> m_server;
    std::unique_ptr<BenchWindow> m_window;
    QString m_path;
    std::atomic<int> m_poses{0};         ///< requests of a pose that came
    std::atomic<int> m_looks{0};         ///< how often the window asked how the bench stands
    std::atomic<bool> m_answering{true}; ///< else the program keeps the window waiting
    std::atomic<int> m_unanswered{0};    ///< requests that came meanwhile
    std::atomic<bool> m_gaveUp{false};   ///< the window waited for an answer that long

    void serve()
    {
        std::string error;
        m_server = ControlServer::start(
            m_path.toStdString(),
            [this](const std::string& line) {
                m_poses += line.find("\"pose\"") != std::string::npos ? 1 : 0;
                m_looks += line.find("\"list\"") != std::string::npos ? 1 : 0;
                if (!m_answering) {
                    ++m_unanswered;
                    m_gaveUp = !waiting::waitFor([this] { return m_answering.load(); });
                }
                return answerControl(theBench(), line);
            },
            error);
        QVERIFY2(m_server, error.c_str());
    }

    /// From now on the program answers nothing, and the window waits for an answer.
    void stopAnswering()
    {
        m_unanswered = 0;
        m_answering = false;
        QTRY_COMPARE(m_unanswered.load(), 1);
    }

    /// All requests have been carried out, and the window shows how the bench then stood.
    void awaitNews()
    {
        // The first look may have been under way. The second came after the requests, and its
        // answer is there when the third comes.
        const int before = m_looks;
        QTRY_VERIFY(m_looks >= before + 3);
        QCoreApplication::processEvents();
    }

    void open()
    {
        m_window = std::make_unique<BenchWindow>(m_path);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get(), waiting::patienceMs));
    }

    void openConnected()
    {
        serve();
        open();
        QTRY_VERIFY(isConnected());
        // What the display sends after the window was shown, such as its focus, paints once more.
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get(), waiting::patienceMs));
    }

    bool isConnected() const
    {
        return m_window->stage()->isVisible() && m_window->card(first) != nullptr;
    }

    template <class Widget>
    Widget* child(const char* name) const
    {
        auto* const found = m_window->findChild<Widget*>(QString::fromLatin1(name));
        if (found == nullptr) {
            qFatal("no %s", name);
        }
        return found;
    }

    FaultRow* fault(const char* key) const { return child<FaultRow>(key); }

    Truth truth() const { return theBench().truth(first); }

private slots:
    void init()
    {
        layOutBench();
        m_folder = std::make_unique<QTemporaryDir>();
        m_path = m_folder->filePath(QStringLiteral("it.sock"));
        m_poses = 0;
        m_answering = true;
        m_gaveUp = false;
    }

    void cleanup()
    {
        m_answering = true;
        m_window.reset();
        m_server.reset();
        theBench().reset();
    }

    // Arithmetic.

    void attitudeIsTheInverseOfFromHeading_data()
    {
        QTest::addColumn<double>("heading");
        QTest::addColumn<double>("pitch");
        QTest::addColumn<double>("roll");
        QTest::newRow("level to the north") << 0.0 << 0.0 << 0.0;
        QTest::newRow("east") << 90.0 << 0.0 << 0.0;
        QTest::newRow("nose up") << 200.0 << 75.0 << 0.0;
        QTest::newRow("right side down") << 10.0 << 0.0 << 80.0;
        QTest::newRow("on its head") << 300.0 << -20.0 << 170.0;
        QTest::newRow("left side down") << 123.0 << -45.0 << -100.0;
    }

    void attitudeIsTheInverseOfFromHeading()
    {
        QFETCH(double, heading);
        QFETCH(double, pitch);
        QFETCH(double, roll);
        const Attitude attitude =
            attitudeOf(fromHeading(heading * degree, pitch * degree, roll * degree));
        QVERIFY(std::abs(std::remainder(attitude.heading - heading, 360.0)) < 1e-9);
        QVERIFY(attitude.heading >= 0.0 && attitude.heading < 360.0);
        QVERIFY(std::abs(attitude.pitch - pitch) < 1e-9);
        QVERIFY(std::abs(attitude.roll - roll) < 1e-9);
    }

    void ballTurnsWithThePointerInItsMiddle()
    {
        // To the right: the near side of the ball moves to the right, a rotation about its y axis.
        const Vector right = toRotationVector(ballTurn({0.0, 0.0}, {0.1, 0.0}));
        QVERIFY(right.y > 0.09 && right.y < 0.11 && std::abs(right.x) + std::abs(right.z) < 1e-12);
        const Vector up = toRotationVector(ballTurn({0.0, 0.0}, {0.0, 0.1}));
        QVERIFY(up.x < -0.09 && std::abs(up.y) + std::abs(up.z) < 1e-12);
    }

    void ballRollsAroundItsRim()
    {
        const Vector roll = toRotationVector(ballTurn({3.0, 0.0}, {0.0, 3.0}));
        QVERIFY2(roll.z > 1.4 && std::hypot(roll.x, roll.y) < 0.4,
                 qPrintable(QString::number(roll.z)));
    }

    void ballTurnsForthAndBack()
    {
        const Quaternion there = ballTurn({0.3, -0.2}, {0.9, 0.4});
        QVERIFY(between(ballTurn({0.9, 0.4}, {0.3, -0.2}) * there, {}) < 1e-9);
        QVERIFY(between(ballTurn({0.4, 0.4}, {0.4, 0.4}), {}) < 1e-12);
    }

    void spinMeterReturnsTheRateOfTheLastMoments()
    {
        SpinMeter meter;
        meter.start(10.0);
        QCOMPARE(length(meter.rateAt(10.0)), 0.0);
        for (int i = 1; i <= 50; ++i) {
            meter.add(10.0 + 0.01 * i, {0.0, 0.02, 0.0}); // 2 rad/s
        }
        QVERIFY(between(meter.rateAt(10.5), {0.0, 2.0, 0.0}) < 0.3);
        // After a pause the body does not spin.
        QCOMPARE(length(meter.rateAt(10.5 + SpinMeter::window)), 0.0);
    }

    void spinMeterIsBoundedAndForgets()
    {
        SpinMeter meter;
        meter.start(0.0);
        meter.add(0.001, {3.0, 0.0, 0.0});
        QVERIFY(std::abs(length(meter.rateAt(0.001)) - SpinMeter::fastest) < 1e-9);
        meter.start(0.002);
        QCOMPARE(length(meter.rateAt(0.003)), 0.0);
    }

    void everyModelHasABodyOfItsOwn()
    {
        for (const char* model : {"TIV", "TIV_N", "TIV_P", "TIV_Q", "TIV_R", "TIV_S"}) {
            const BodyShape& shape = shapeOf(QString::fromLatin1(model));
            QCOMPARE(shape.lenses.size(), std::size_t(2));
            QVERIFY(shape.hull.size() > 80);
            for (const Face& face : shape.hull) {
                QVERIFY(std::abs(length(face.normal) - 1.0) < 1e-9);
                // Convex: every other point is behind the face.
                for (const Face& other : shape.hull) {
                    QVERIFY2(dot(face.normal, other.points[0] - face.points[0]) < 1e-6, model);
                }
            }
        }
        QVERIFY(&shapeOf(QStringLiteral("TIV_X")) == &shapeOf(QStringLiteral("TIV_Q")));
    }

    void tableHoldsAllFaultsOfTheBench()
    {
        const json all =
            json::parse(answerControl(theBench(),
                                      json{{"command", "fault"}, {"serialNumber", first}}.dump()))
                .at("faults");
        std::size_t known = 1; // the disturbance has a slider
        QVERIFY(all.contains("magneticDisturbance"));
        for (const FaultRow::Fault& row : faultTable()) {
            QVERIFY2(all.contains(row.key), row.key);
            const json& neutral = all.at(row.key);
            QCOMPARE(neutral.is_boolean(), row.kind == FaultRow::Fault::KIND::SWITCH);
            if (row.kind == FaultRow::Fault::KIND::SETTING) {
                QCOMPARE(neutral.get<int>(), row.usual);
            }
            ++known;
        }
        QCOMPARE(known, all.size());
    }

    void answersOfAnotherBenchAreNoSnapshot()
    {
        const json field = {{"field", {{"strength", 1}, {"inclination", 2}, {"declination", 3}}}};
        QVERIFY_EXCEPTION_THROWN(readSnapshot(json::object(), field), json::exception);
        QVERIFY_EXCEPTION_THROWN(readSnapshot({{"cameras", {{{"serialNumber", "x"}}}}}, field),
                                 json::exception);
        QVERIFY_EXCEPTION_THROWN(readSnapshot({{"cameras", json::array()}}, json::object()),
                                 json::exception);
    }

    void waitingTextNamesTheReasonAndWhatToDo_data()
    {
        QTest::addColumn<QString>("reason");
        QTest::addColumn<bool>("lostOne");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("part");
        QTest::newRow("no program") << "" << false << "Waiting for Gravimon"
                                    << "Start it";
        QTest::newRow("no program any more") << "" << true << "Gravimon has ended"
                                             << "Start it";
        QTest::newRow("end") << "the program with the bench has ended" << true
                             << "Gravimon has ended"
                             << "Start it";
        QTest::newRow("no answer")
            << "the bench does not answer" << true << "Gravimon does not answer"
            << "Let it continue";
        QTest::newRow("no connection")
            << "/r/bench-1.sock: the bench does not answer" << false << "Gravimon does not answer"
            << "Let it continue";
        QTest::newRow("wrong path")
            << "/r/it: No such file or directory" << false << "Waiting for Gravimon"
            << "/r/it: No such file or directory";
        QTest::newRow("another version")
            << "invalid answer: the program has another version, or is not a bench" << true
            << "Gravimon cannot be controlled"
            << "Use the programs of one version";
        QTest::newRow("another user")
            << "/r/it: served by another user (1000)" << true << "Gravimon cannot be controlled"
            << "another user (1000)";
    }

    void waitingTextNamesTheReasonAndWhatToDo()
    {
        QFETCH(QString, reason);
        QFETCH(bool, lostOne);
        QFETCH(QString, title);
        QFETCH(QString, part);
        const WaitingText shown = waitingText(reason, lostOne);
        QCOMPARE(shown.title, title);
        QVERIFY2(shown.text.contains(part), qPrintable(shown.text));
    }

    // Finding the program.

    void withoutAProgramItSaysSoAndConnectsWhenOneStarts()
    {
        open();
        QVERIFY(label(*m_window, QStringLiteral("Waiting for Gravimon")));
        QVERIFY(label(*m_window, QStringLiteral("Not connected")));
        serve();
        QTRY_VERIFY(isConnected());
        QVERIFY(label(*m_window, QStringLiteral("Connected to it.sock")));
    }

    void endOfTheProgramIsSaidAndANewOneIsTaken()
    {
        openConnected();
        m_server.reset();
        QTRY_VERIFY(label(*m_window, QStringLiteral("Gravimon has ended")));
        QVERIFY(!m_window->stage()->isVisible());
        layOutBench();
        serve();
        QTRY_VERIFY(isConnected());
    }

    void programIsFoundInTheRuntimeFolder()
    {
        const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
        qputenv("XDG_RUNTIME_DIR", m_folder->path().toUtf8());
        m_path = m_folder->filePath(QStringLiteral("gravimon/bench-4711.sock"));
        serve();
        m_path.clear();
        open();
        QTRY_VERIFY(isConnected());
        QVERIFY(label(*m_window, QStringLiteral("Connected to process 4711")));
        m_window.reset();
        qputenv("XDG_RUNTIME_DIR", runtime);
    }

    void ofSeveralProgramsOneIsChosen()
    {
        const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
        qputenv("XDG_RUNTIME_DIR", m_folder->path().toUtf8());
        m_path = m_folder->filePath(QStringLiteral("gravimon/bench-1.sock"));
        serve();
        std::string error;
        const auto other = ControlServer::start(
            m_folder->filePath(QStringLiteral("gravimon/bench-2.sock")).toStdString(),
            [](const std::string&) { return std::string("{}"); }, error);
        m_path.clear();
        open();
        QTRY_VERIFY(label(*m_window, QStringLiteral("Several programs are running")));
        QPushButton* wanted = nullptr;
        for (QPushButton* const button : m_window->findChildren<QPushButton*>()) {
            wanted = button->text() == QLatin1String("process 1") ? button : wanted;
        }
        QVERIFY(wanted);
        QTest::mouseClick(wanted, Qt::LeftButton);
        QTRY_VERIFY(isConnected());
        m_window.reset();
        qputenv("XDG_RUNTIME_DIR", runtime);
    }

    void stoppedProgramIsNotSaidToHaveEnded()
    {
        openConnected();
        m_server.reset();
        QTRY_VERIFY(label(*m_window, QStringLiteral("Gravimon has ended")));
        const StoppedProgram stopped(m_path);
        QTRY_VERIFY(label(*m_window, QStringLiteral("Gravimon does not answer")));
        const QString text = child<QLabel>("hint")->text();
        QVERIFY2(text.contains(QLatin1String("stopped")), qPrintable(text));
    }

    void pathWithoutAProgramIsShown()
    {
        open();
        QTRY_VERIFY(child<QLabel>("hint")->text().remove(QChar(0x200b)).contains(m_path));
        QVERIFY(label(*m_window, QStringLiteral("Waiting for Gravimon")));
        // After the end of a program the path is known to be right.
        serve();
        QTRY_VERIFY(isConnected());
        m_server.reset();
        QTRY_VERIFY(label(*m_window, QStringLiteral("Gravimon has ended")));
        QTRY_VERIFY(child<QLabel>("hint")->toolTip().startsWith(m_path)); // the next search failed
        QVERIFY(!child<QLabel>("hint")->text().contains(QLatin1Char('/')));
    }

    void serverThatAnswersNonsenseIsBorne()
    {
        std::string error;
        for (const char* answer : {"rubbish", "{}", "[]", "{\"cameras\":[{\"serialNumber\":-1}]}",
                                   "{\"ok\":true,\"cameras\":3,\"field\":{}}"}) {
            m_server = ControlServer::start(
                m_path.toStdString(), [answer](const std::string&) { return std::string(answer); },
                error);
            QVERIFY2(m_server, error.c_str());
            open();
            QTRY_VERIFY(label(*m_window, QStringLiteral("Gravimon cannot be controlled")));
            const QString text = child<QLabel>("hint")->text();
            QVERIFY2(text.contains(QLatin1String("another version")), qPrintable(text));
            m_window.reset();
            m_server.reset();
        }
    }

    // Turning.

    void dragTurnsTheCameraAsThePointerGoes()
    {
        openConnected();
        BodyView* const stage = m_window->stage();
        const QPointF middle = stage->ballCentre();
        const Quaternion before = stage->shownPose();
        dragOnly(stage, middle, middle + QPointF(0.5 * stage->ballRadius(), 0.0), 20, 8ms);
        QVERIFY(stage->isHeld());
        const Quaternion shown = stage->shownPose();
        // Half a radius to the right from the middle is 30 degrees about the picture's vertical.
        QVERIFY2(std::abs(between(before, shown) - 30.0) < 1.0,
                 qPrintable(QString::number(between(before, shown))));
        const Vector axis = toRotationVector(shown * conjugate(before));
        QVERIFY(between((1.0 / length(axis)) * axis, rotate(viewAttitude(), {0.0, 1.0, 0.0})) <
                0.03);
        stage->clock().step(150ms); // the hand rests
        QTest::mouseRelease(stage, Qt::LeftButton);
        awaitNews();
        passGlide();
        QVERIFY(between(truth().pose, shown) < 0.01);
        QVERIFY(length(truth().angularVelocity) < 1e-6);
        QVERIFY(theBench().config(first).motion == MOTION::POSED);
        QVERIFY2(between(theBench().truth(second).pose, {}) < 1e-6, "the other one lies still");
    }

    void ordersKeepToThePaceOfTheFrames()
    {
        openConnected();
        BodyView* const stage = m_window->stage();
        int requests = 0;
        connect(stage, &BodyView::turned, this, [&requests] { ++requests; });
        const QPointF middle = stage->ballCentre();
        dragOnly(stage, middle, middle + QPointF(150.0, 0.0), 150, 2ms);
        QCOMPARE(requests, 1 + 300 / 16); // the press, and the frames
        awaitNews();
        QVERIFY(m_poses.load() >= 1 && m_poses.load() <= requests);
        QTest::mouseRelease(stage, Qt::LeftButton);
    }

    void releasedInMotionItSpinsOnAndAPressStopsIt()
    {
        openConnected();
        BodyView* const stage = m_window->stage();
        const QPointF middle = stage->ballCentre();
        dragOnly(stage, middle - QPointF(100.0, 0.0), middle + QPointF(80.0, 0.0), 18, 10ms);
        QTest::mouseRelease(stage, Qt::LeftButton, {}, (middle + QPointF(80.0, 0.0)).toPoint());
        QVERIFY(!stage->isHeld());
        awaitNews();
        passGlide();
        const Vector rate = truth().angularVelocity;
        QVERIFY2(length(rate) > 1.0, "it spins on");
        // In the eye's frame it goes on to the right.
        const Vector inEye = rotate(conjugate(viewAttitude()), rotate(truth().pose, rate));
        QVERIFY(inEye.y > 0.9 * length(rate));

        QTest::mousePress(stage, Qt::LeftButton, {}, middle.toPoint());
        awaitNews();
        passGlide();
        QVERIFY(length(truth().angularVelocity) < 1e-6);
        stage->clock().step(120ms);
        QTest::mouseRelease(stage, Qt::LeftButton, {}, middle.toPoint());
        awaitNews();
        passGlide();
        QVERIFY(length(truth().angularVelocity) < 1e-6);
    }

    void shownPoseFollowsTheBenchWhileItSpins()
    {
        openConnected();
        BodyView* const stage = m_window->stage();
        stage->clock().setManual();
        theBench().camera(first)->setPose({}, std::chrono::nanoseconds(0), {0.0, 1.5, 0.0});
        awaitNews();
        for (int i = 0; i < 4; ++i) {
            const Quaternion before = truth().pose;
            stage->clock().step(100ms);
            theBench().clock().advance(100ms);
            QVERIFY(between(before, truth().pose) > 8.0);
            QVERIFY2(between(stage->shownPose(), truth().pose) < 0.01, "without news");
            awaitNews();
            QVERIFY2(between(stage->shownPose(), truth().pose) < 0.01, "with news");
        }
    }

    void handThatComesToRestIsSentUntilItRests()
    {
        openConnected();
        BodyView* const stage = m_window->stage();
        int requests = 0;
        connect(stage, &BodyView::turned, this, [&requests] { ++requests; });
        const QPointF middle = stage->ballCentre();
        dragOnly(stage, middle - QPointF(90.0, 0.0), middle + QPointF(90.0, 0.0), 18, 10ms);
        const Quaternion held = stage->shownPose();
        const int before = requests;
        stage->clock().step(250ms);
        // The last move, the rate as it dies away, and the rest.
        QVERIFY2(requests - before >= 3, qPrintable(QString::number(requests - before)));
        const int atRest = requests;
        stage->clock().step(100ms);
        QCOMPARE(requests, atRest); // a hand that rests sends nothing
        awaitNews();
        passGlide();
        QVERIFY(between(truth().pose, held) < 0.1);
        QTest::mouseRelease(stage, Qt::LeftButton, {}, (middle + QPointF(90.0, 0.0)).toPoint());
    }

    void stopAndLevelButtonsAndTheSpaceBar()
    {
        openConnected();
        const auto spin = [&] {
            theBench().camera(first)->setPose(fromHeading(1.0, 0.5, 0.2),
                                              std::chrono::nanoseconds(0), {0.0, 2.0, 0.5});
            awaitNews();
        };
        spin();
        QTest::mouseClick(child<QPushButton>("stop"), Qt::LeftButton);
        awaitNews();
        passGlide();
        QVERIFY(length(truth().angularVelocity) < 1e-6);
        spin();
        m_window->stage()->setFocus();
        QTest::keyClick(m_window->stage(), Qt::Key_Space);
        awaitNews();
        passGlide();
        QVERIFY(length(truth().angularVelocity) < 1e-6);
        QTest::mouseClick(child<QPushButton>("level"), Qt::LeftButton);
        awaitNews();
        passGlide();
        QVERIFY(between(truth().pose, {}) < 1e-6);
    }

    void bodyThatIsStoppedDuringADragIsNotShownAsHeld_data()
    {
        QTest::addColumn<bool>("levels");
        QTest::newRow("stop") << false;
        QTest::newRow("level") << true;
    }

    void bodyThatIsStoppedDuringADragIsNotShownAsHeld()
    {
        QFETCH(bool, levels);
        openConnected();
        BodyView* const stage = m_window->stage();
        const QPointF middle = stage->ballCentre();
        dragOnly(stage, middle, middle + QPointF(60.0, 0.0), 6, 8ms);
        QCOMPARE(stage->cursor().shape(), Qt::ClosedHandCursor);
        if (levels) {
            stage->level();
        } else {
            QTest::keyClick(stage, Qt::Key_Space);
        }
        QVERIFY(!stage->isHeld());
        QCOMPARE(stage->cursor().shape(), Qt::OpenHandCursor);
        QTest::mouseRelease(stage, Qt::LeftButton, {}, (middle + QPointF(60.0, 0.0)).toPoint());
    }

    void arrowKeysTurnByFiveDegrees()
    {
        openConnected();
        struct Key
        {
            Qt::Key key;
            Vector axis;
        };
        for (const Key& key :
             {Key{Qt::Key_Right, {0.0, 1.0, 0.0}}, Key{Qt::Key_Left, {0.0, -1.0, 0.0}},
              Key{Qt::Key_Up, {-1.0, 0.0, 0.0}}, Key{Qt::Key_Down, {1.0, 0.0, 0.0}}}) {
            theBench().setPose(first, {}, std::chrono::nanoseconds(0));
            awaitNews();
            QVERIFY(between(m_window->stage()->shownPose(), {}) < 1e-6);
            QTest::keyClick(m_window->stage(), key.key);
            awaitNews();
            passGlide();
            const Quaternion wanted =
                fromRotationVector(5.0 * degree * rotate(viewAttitude(), key.axis));
            QVERIFY(between(truth().pose, wanted) < 1e-6);
        }
    }

    void cardChoosesAndTurnsToo()
    {
        openConnected();
        QCOMPARE(m_window->chosen(), first);
        BodyView* const card = m_window->card(second);
        QVERIFY(card);
        const Quaternion before = theBench().truth(second).pose;
        QTest::mouseClick(card, Qt::LeftButton);
        QCOMPARE(m_window->chosen(), second);
        QCOMPARE(m_window->stage()->serial(), second);
        awaitNews();
        QVERIFY2(theBench().config(second).motion == MOTION::AT_REST, "a click turns nothing");
        const QPointF middle = card->ballCentre();
        dragOnly(card, middle, middle + QPointF(0.0, 20.0), 10, 8ms);
        card->clock().step(120ms);
        QTest::mouseRelease(card, Qt::LeftButton, {}, (middle + QPointF(0.0, 20.0)).toPoint());
        awaitNews();
        passGlide();
        QVERIFY(between(theBench().truth(second).pose, before) > 10.0);
    }

    void bodyThatIsHeldAtTheCloseStays()
    {
        openConnected();
        BodyView* const stage = m_window->stage();
        const QPointF middle = stage->ballCentre();
        dragOnly(stage, middle - QPointF(100.0, 0.0), middle + QPointF(80.0, 0.0), 18, 10ms);
        awaitNews();
        passGlide();
        QVERIFY(length(truth().angularVelocity) > 1.0);
        QElapsedTimer time;
        time.start();
        m_window->close();
        m_window.reset();
        // The window gives up a program that does not answer, as on a machine that stood still.
        const bool gaveUp = time.elapsed() >= 1000;
        passGlide();
        QVERIFY(gaveUp || length(truth().angularVelocity) < 1e-6);
    }

    void programThatDoesNotAnswerDelaysNothing()
    {
        openConnected();
        stopAnswering();
        const QPointF middle = m_window->stage()->ballCentre();
        dragOnly(m_window->stage(), middle, middle + QPointF(100.0, 0.0), 50, 4ms);
        QTest::mouseRelease(m_window->stage(), Qt::LeftButton);
        QVERIFY(!m_gaveUp);
        // Requests that wait are replaced by the newest, so that none of them comes late.
        m_answering = true;
        awaitNews();
        QCOMPARE(m_poses.load(), 1);
        stopAnswering();
        m_window.reset();
        QVERIFY(!m_gaveUp);
    }

    // Painting.

    void turningBodyIsPaintedAtThePaceOfTheFrames()
    {
        openConnected();
        BodyView* const stage = m_window->stage();
        stage->clock().setManual();
        theBench().camera(first)->setPose({}, 0ns, {0.0, 1.5, 0.0});
        awaitNews();
        Paints paints(*stage);
        for (int i = 0; i < 10; ++i) { // states and mouse moves between the frames paint nothing
            stage->clock().step(BodyView::framePeriod / 10);
            theBench().clock().advance(4ms);
            awaitNews();
        }
        QCOMPARE(paints.count(), 1);
        QVERIFY2(!paints.region().contains({0, stage->height() / 2}), "the ground is painted");
    }

    void turningBodyOnACardIsPaintedAtItsPace()
    {
        openConnected();
        BodyView* const card = m_window->card(second);
        card->clock().setManual();
        theBench().camera(second)->setPose({}, 0ns, {0.0, 1.5, 0.0});
        awaitNews();
        Paints paints(*card);
        for (int i = 0; i < 4; ++i) {
            theBench().clock().advance(20ms);
            awaitNews();
            QCOMPARE(paints.count(), 0);
        }
        card->clock().step(BodyView::cardPeriod);
        QCoreApplication::processEvents();
        QCOMPARE(paints.count(), 1);
        // The last state is shown, and after it no frame follows.
        theBench().camera(second)->setPose({}, 0ns, {});
        awaitNews();
        card->clock().step(3 * BodyView::cardPeriod);
        QCoreApplication::processEvents();
        QCOMPARE(paints.count(), 2);
        QVERIFY(!card->clock().isRunning());
    }

    void nothingIsPaintedAtRest()
    {
        openConnected();
        awaitNews();
        Paints stage(*m_window->stage());
        Paints card(*m_window->card(first));
        awaitNews();
        QCOMPARE(stage.count() + card.count(), 0);
        QVERIFY(!m_window->stage()->clock().isRunning());
        QVERIFY(!m_window->card(first)->clock().isRunning());
    }

    void turningBodyPaintsNoControl()
    {
        openConnected();
        theBench().camera(first)->setPose({}, 0ns, {0.0, 1.5, 0.0});
        awaitNews();
        std::vector<std::unique_ptr<Paints>> paints;
        for (QWidget* const control : child<Panel>("panel")->findChildren<QWidget*>()) {
            if (control->isVisible()) {
                paints.push_back(std::make_unique<Paints>(*control));
            }
        }
        QVERIFY(paints.size() > 50);
        theBench().clock().advance(100ms);
        awaitNews();
        for (const auto& control : paints) {
            QCOMPARE(control->count(), 0);
        }
    }

    void nothingMovesInAHiddenOrMinimisedWindow_data()
    {
        QTest::addColumn<bool>("minimised");
        QTest::newRow("hidden") << false;
        QTest::newRow("minimised") << true;
    }

    void nothingMovesInAHiddenOrMinimisedWindow()
    {
        QFETCH(bool, minimised);
        openConnected();
        BodyView* const stage = m_window->stage();
        theBench().camera(first)->setPose({}, 0ns, {0.0, 1.5, 0.0});
        QTRY_VERIFY(stage->clock().isRunning());
        // A window manager takes a minimised window off the screen in the same way.
        const auto onScreen = [&](bool on) {
            return QProcess::execute(
                       QStringLiteral("xdotool"),
                       {on ? QStringLiteral("windowmap") : QStringLiteral("windowunmap"),
                        QString::number(m_window->winId())}) == 0;
        };
        if (minimised) {
            QVERIFY(onScreen(false));
        } else {
            m_window->hide();
        }
        QTRY_VERIFY(!m_window->windowHandle()->isExposed());
        QTRY_VERIFY(!stage->clock().isRunning());
        Paints paints(*stage);
        Paints card(*m_window->card(first));
        theBench().clock().advance(100ms);
        awaitNews();
        QVERIFY(!stage->clock().isRunning());
        QVERIFY(!m_window->card(first)->clock().isRunning());
        QCOMPARE(paints.count() + card.count(), 0);
        // Shown again, it shows the present pose.
        theBench().camera(first)->setPose(fromRotationVector({0.0, 1.0, 0.0}), 0ns, {});
        if (minimised) {
            QVERIFY(onScreen(true));
        } else {
            m_window->show();
        }
        QTRY_VERIFY(between(stage->shownPose(), truth().pose) < 0.01);
        QTRY_VERIFY(paints.count() > 0);
    }

    void partsPaintedOneByOneMakeTheWholePicture_data()
    {
        QTest::addColumn<bool>("isCard");
        QTest::addColumn<double>("factor");
        for (const double factor : {1.0, 1.25, 1.5, 2.0}) {
            QTest::addRow("large, %g", factor) << false << factor;
            QTest::addRow("card, %g", factor) << true << factor;
        }
    }

    void partsPaintedOneByOneMakeTheWholePicture()
    {
        QFETCH(bool, isCard);
        QFETCH(double, factor);
        BodyView view(isCard ? BodyView::KIND::CARD : BodyView::KIND::STAGE);
        if (!isCard) {
            view.resize(501, 403);
        }
        CameraView camera = streamingCamera();
        view.setCamera(camera, 0);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view, waiting::patienceMs));
        const auto picture = [&] {
            QImage image(view.size() * factor, QImage::Format_RGB32);
            image.setDevicePixelRatio(factor);
            return image;
        };
        QImage parts = picture();
        view.render(&parts);
        Paints paints(view);
        // On the card it is upright in the picture and reaches the name.
        camera.pose = isCard ? viewAttitude() * fromRotationVector({0.0, 0.0, pi / 2.0})
                             : fromRotationVector({0.4, 1.1, 0.3});
        view.setCamera(camera, 0);
        QTRY_VERIFY(paints.count() > 0);
        // A copy: render() paints, too.
        // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
        const QRegion painted(paints.region());
        QVERIFY(!painted.contains(QPoint(0, 0)));
        QImage whole = picture();
        view.render(&whole);
        QVERIFY(parts != whole);
        for (const QRect& part : painted) {
            view.render(&parts, part.topLeft(), part, QWidget::DrawWindowBackground);
        }
        QCOMPARE(parts, whole);
    }

    void onlyTheFormerAndTheNewOutlineOfABodyArePaintedInOnePart()
    {
        BodyView view(BodyView::KIND::STAGE);
        view.resize(501, 403);
        CameraView camera = streamingCamera();
        view.setCamera(camera, 0);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view, waiting::patienceMs));
        Paints paints(view);
        const auto turnTo = [&](const Vector& turn) {
            camera.pose = fromRotationVector(turn);
            view.setCamera(camera, 0);
        };
        turnTo({0.0, 0.2, 0.0});
        QTRY_COMPARE(paints.count(), 1);
        QCOMPARE(paints.region().rectCount(), 2); // the body and the values
        const QRect body = *paints.region().begin();
        QVERIFY2(body.height() < view.ballRadius(), "a level body is flat");
        QVERIFY(body.width() > 1.5 * view.ballRadius());
        // Two turns before the next picture: along the line of sight, then upright.
        turnTo({0.0, pi / 2.0, 0.0});
        turnTo({0.0, 0.0, pi / 2.0});
        QTRY_COMPARE(paints.count(), 2);
        QCOMPARE(paints.region().rectCount(), 2);
    }

    void bodyIsPaintedInsideTheRectangleAroundIt_data()
    {
        QTest::addColumn<QString>("model");
        for (const char* model : {"TIV", "TIV_N", "TIV_P", "TIV_Q", "TIV_R", "TIV_S"}) {
            QTest::newRow(model) << QString::fromLatin1(model);
        }
    }

    void bodyIsPaintedInsideTheRectangleAroundIt()
    {
        QFETCH(QString, model);
        const BodyShape& shape = shapeOf(model);
        Projection projection;
        projection.centre = {150.3, 149.8};
        for (int i = 0; i < 60; ++i) {
            const Quaternion pose = fromRotationVector({0.11 * i, 0.23 * i, 0.37 * i});
            QImage picture(300, 300, QImage::Format_RGB32);
            picture.fill(Qt::magenta);
            QPainter painter(&picture);
            BodyPainter(painter, projection).paintBody(shape, pose);
            // Two pixels for the lines along its edges.
            const QRect around =
                projection.around(shape, pose).adjusted(-2.0, -2.0, 2.0, 2.0).toAlignedRect();
            painter.fillRect(around, Qt::magenta);
            painter.end();
            QImage empty = picture;
            empty.fill(Qt::magenta);
            QVERIFY2(picture == empty, qPrintable(QString::number(i)));
            QVERIFY2(around.width() < 256 && around.height() < 256, "not the whole picture");
        }
    }

    void turningBodyPaintsNoTextThatItDoesNotReach_data()
    {
        QTest::addColumn<bool>("isCard");
        QTest::newRow("large") << false;
        QTest::newRow("card") << true;
    }

    void turningBodyPaintsNoTextThatItDoesNotReach()
    {
        QFETCH(bool, isCard);
        BodyView view(isCard ? BodyView::KIND::CARD : BodyView::KIND::STAGE);
        if (!isCard) {
            view.resize(860, 560);
        }
        view.setCamera(streamingCamera(), 0);
        TextCollector whole(view.size());
        view.render(&whole);
        QVERIFY(whole.texts().size() >= (isCard ? 1 : 8));
        // As high as the body is while it turns about the vertical.
        const int half = static_cast<int>(0.4 * view.ballRadius());
        const QRect part = QRect(0, view.ballCentre().toPoint().y() - half, view.width(), 2 * half);
        TextCollector body(view.size());
        view.render(&body, part.topLeft(), part, QWidget::DrawWindowBackground);
        QCOMPARE(body.texts(), QStringList());
    }

    void figuresAreRoundedToAnglesOfTheCircle()
    {
        BodyView view(BodyView::KIND::STAGE);
        view.resize(860, 560);
        CameraView camera = streamingCamera();
        camera.pose = fromHeading(359.6 * degree, -0.3 * degree, -0.4 * degree);
        view.setCamera(camera, 0);
        const QStringList texts = paintedTexts(view);
        QCOMPARE(texts.count(QStringLiteral("0°")), 3); // heading, pitch and roll
    }

    void otherFontIsShownAtOnce_data() { turningBodyPaintsNoTextThatItDoesNotReach_data(); }

    void otherFontIsShownAtOnce()
    {
        QFETCH(bool, isCard);
        QFont other = QApplication::font();
        other.setItalic(true);
        other.setLetterSpacing(QFont::AbsoluteSpacing, 9.0); // more lines
        const auto kind = isCard ? BodyView::KIND::CARD : BodyView::KIND::STAGE;
        BodyView changed(kind);
        BodyView fresh(kind);
        fresh.setFont(other);
        QImage before(changed.sizeHint(), QImage::Format_RGB32);
        QImage after = before;
        QImage expected = before;
        for (BodyView* const view : {&changed, &fresh}) {
            view->resize(view->sizeHint());
            view->setCamera(streamingCamera(), 0);
        }
        changed.render(&before);
        changed.setFont(other);
        changed.render(&after);
        fresh.render(&expected);
        QVERIFY(after != before);
        QCOMPARE(after, expected);
    }

    void brushOfABodyFillsAsAnOpaqueOne()
    {
        const QPolygonF face({{3.3, 2.1}, {61.7, 9.4}, {50.2, 57.9}, {8.8, 40.5}});
        for (int level = 0; level < 256; ++level) {
            const QColor colour(level, 255 - level, (7 * level) % 256);
            QImage pictures[2];
            for (int i = 0; i < 2; ++i) {
                pictures[i] = QImage(64, 64, QImage::Format_RGB32);
                QPainter painter(&pictures[i]);
                QLinearGradient ground(0.0, 0.0, 64.0, 64.0);
                ground.setColorAt(0.0, Qt::black);
                ground.setColorAt(1.0, Qt::yellow);
                painter.fillRect(pictures[i].rect(), ground);
                painter.setRenderHint(QPainter::Antialiasing);
                painter.setPen(Qt::NoPen);
                painter.setBrush(i == 0 ? QBrush(colour) : BodyPainter::brush(colour));
                painter.drawPolygon(face);
            }
            QCOMPARE(pictures[1], pictures[0]);
        }
        QVERIFY2(BodyPainter::brush(Qt::red).color().rgba64().alpha() < 0xffff, "the slow way");
    }

    // Switches and sliders.

    void plugSwitchPlugsAndUnplugs()
    {
        openConnected();
        auto* const plug = child<Switch>("plug");
        QVERIFY(plug->isChecked());
        QTest::mouseClick(plug, Qt::LeftButton);
        QTRY_VERIFY(!theBench().config(first).plugged);
        awaitNews();
        QVERIFY(!plug->isChecked());
        QTest::mouseClick(plug, Qt::LeftButton);
        QTRY_VERIFY(theBench().config(first).plugged);
        // Also by another client.
        theBench().unplug(first);
        QTRY_VERIFY(!plug->isChecked());
    }

    void refusedRequestIsReportedInALine()
    {
        openConnected();
        QTRY_VERIFY(child<Switch>("plug")->isChecked());
        stopAnswering(); // so that the window does not learn of it before the press
        theBench().unplug(first);
        QTest::mouseClick(child<Switch>("plug"), Qt::LeftButton);
        m_answering = true;
        QTRY_VERIFY(label(*m_window, QStringLiteral("20000001 is not plugged in")));
        QTRY_VERIFY(!child<Switch>("plug")->isChecked());
    }

    void complaintsOfTheBenchAreShownUntilTheyAreResolved()
    {
        openConnected();
        auto* const complaints = child<QLabel>("complaints");
        awaitNews();
        QVERIFY(!complaints->isVisible());
        theBench().startLoading("/nowhere/bench.json");
        QTRY_VERIFY(complaints->isVisible());
        const QString text = complaints->text().remove(QChar(0x200b));
        QCOMPARE(text, QStringLiteral("the bench file was not loaded: /nowhere/bench.json: cannot "
                                      "be read: No such file or directory; correct the file and "
                                      "start the program again"));
        layOutBench();
        QTRY_VERIFY(!complaints->isVisible());
    }

    void playedCameraTurnsAsRecordedAndNotByTheMouse()
    {
        // Alone on the bench: it stands at 40 degrees about the vertical.
        clearBench();
        QFile file(m_folder->filePath(QStringLiteral("still.csv")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("idx,imu_Timestamp[sec],orX[deg],orY[deg],orZ[deg],\n");
        for (int i = 0; i < 200; ++i) {
            file.write(QByteArray::number(i) + "," + QByteArray::number(5.0 + i * 0.005, 'f', 9) +
                       ",0,40,0,\n");
        }
        file.close();
        CameraConfig config;
        config.model = MODEL::TIV_Q;
        config.serialNumber = first;
        config.replay = file.fileName().toStdString();
        QVERIFY(theBench().addCamera(config));
        openConnected();
        const Quaternion played = fromRotationVector({0.0, 40.0 * pi / 180.0, 0.0});
        QTRY_VERIFY(between(truth().pose, played) < 0.1);
        BodyView* const stage = m_window->stage();
        QTRY_VERIFY(between(stage->shownPose(), played) < 1.0);
        const QPointF middle = stage->ballCentre();
        dragOnly(stage, middle, middle + QPointF(90.0, 0.0), 9, 10ms);
        QTest::mouseRelease(stage, Qt::LeftButton, {}, (middle + QPointF(90.0, 0.0)).toPoint());
        QTRY_VERIFY(label(*m_window, QStringLiteral("20000001 plays a recording")));
        QTRY_VERIFY(between(stage->shownPose(), played) < 1.0);
    }

    void motionIsChosenAndShown()
    {
        openConnected();
        auto* const motion = child<QComboBox>("motion");
        QCOMPARE(motion->currentText(), QStringLiteral("At rest"));
        theBench().setMotion(first, MOTION::TUMBLE);
        QTRY_COMPARE(motion->currentText(), QStringLiteral("Tumbling"));
        motion->setFocus();
        QTest::keyClick(motion, Qt::Key_Up);
        QTRY_VERIFY(theBench().config(first).motion == MOTION::HAND_HELD);
        QCOMPARE(motion->currentText(), QStringLiteral("Hand-held"));
    }

    void everyFaultIsSwitchedOnAndOff_data()
    {
        QTest::addColumn<QByteArray>("key");
        for (const FaultRow::Fault& row : faultTable()) {
            QTest::newRow(row.key) << QByteArray(row.key);
        }
    }

    void everyFaultIsSwitchedOnAndOff()
    {
        QFETCH(QByteArray, key);
        openConnected();
        const auto value = [&] {
            const json all = json::parse(answerControl(
                theBench(), json{{"command", "fault"}, {"serialNumber", first}}.dump()));
            const json& now = all.at("faults").at(key.toStdString());
            return now.is_boolean() ? static_cast<int>(now.get<bool>()) : now.get<int>();
        };
        FaultRow* const row = fault(key.constData());
        const int neutral = value();
        if (row->toggle() == nullptr) {
            row->number()->setValue(7);
            QTRY_COMPARE(value(), 7);
            return;
        }
        const int on = row->number() != nullptr ? row->number()->value() : 1;
        QVERIFY(on != neutral);
        QTest::mouseClick(row->toggle(), Qt::LeftButton);
        QTRY_COMPARE(value(), on);
        awaitNews();
        QVERIFY2(row->toggle()->isChecked(), "it stays on");
        if (row->number() != nullptr) {
            row->number()->setValue(on + 4);
            QTRY_COMPARE(value(), on + 4);
        }
        QTest::mouseClick(row->toggle(), Qt::LeftButton);
        QTRY_COMPARE(value(), neutral);
        awaitNews();
        QVERIFY(!row->toggle()->isChecked());
    }

    void faultsFromOutsideShowAndAllGoOff()
    {
        openConnected();
        theBench().changeFaults(first, [](Faults& f) {
            f.grabFailures = 12;
            f.mcuSilent = true;
            f.magneticDisturbance = 30.0;
        });
        QTRY_VERIFY(fault("mcuSilent")->toggle()->isChecked());
        QVERIFY(fault("grabFailures")->toggle()->isChecked());
        QCOMPARE(fault("grabFailures")->number()->value(), 12);
        QCOMPARE(child<SliderRow>("magneticDisturbance")->slider()->value(), 30);
        theBench().changeFaults(first, [](Faults& f) { f.grabFailures = 0; });
        QTRY_VERIFY(!fault("grabFailures")->toggle()->isChecked());
        QVERIFY2(fault("grabFailures")->number()->value() == 100, "the one of the window");
        QTest::mouseClick(child<QPushButton>("noFaults"), Qt::LeftButton);
        QTRY_VERIFY(!theBench().faults(first).mcuSilent);
        QCOMPARE(theBench().faults(first).magneticDisturbance, 0.0);
        QTRY_VERIFY(!fault("mcuSilent")->toggle()->isChecked());
    }

    void numberOfTheUserComesBackAfterACountdown()
    {
        openConnected();
        FaultRow* const row = fault("grabFailures");
        row->number()->setValue(40);
        QTest::mouseClick(row->toggle(), Qt::LeftButton);
        QTRY_COMPARE(theBench().faults(first).grabFailures, 40);
        const auto countTo = [](int left) {
            theBench().changeFaults(first, [left](Faults& f) { f.grabFailures = left; });
        };
        countTo(19);
        QTRY_COMPARE(row->number()->value(), 19);
        // Also if another camera is looked at meanwhile.
        QTest::mouseClick(m_window->card(second), Qt::LeftButton);
        QCOMPARE(row->number()->value(), 40);
        QTest::mouseClick(m_window->card(first), Qt::LeftButton);
        QCOMPARE(row->number()->value(), 19);
        countTo(0);
        QTRY_VERIFY(!row->toggle()->isChecked());
        QCOMPARE(row->number()->value(), 40);
        QTest::mouseClick(row->toggle(), Qt::LeftButton);
        QTRY_COMPARE(theBench().faults(first).grabFailures, 40);
        countTo(19);
        QTRY_COMPARE(row->number()->value(), 19);
        QTest::mouseClick(row->toggle(), Qt::LeftButton);
        QTRY_COMPARE(theBench().faults(first).grabFailures, 0);
        QCOMPARE(row->number()->value(), 40);
    }

    void numberThatDoesNotCountDownStaysWhenItIsTurnedOff()
    {
        openConnected();
        FaultRow* const row = fault("openDelay");
        theBench().changeFaults(first, [](Faults& f) { f.openDelay = 700ms; });
        QTRY_COMPARE(row->number()->value(), 700);
        QTest::mouseClick(row->toggle(), Qt::LeftButton);
        QTRY_VERIFY(theBench().faults(first).openDelay == 0ms);
        awaitNews();
        QCOMPARE(row->number()->value(), 700);
        QTest::mouseClick(row->toggle(), Qt::LeftButton);
        QTRY_VERIFY(theBench().faults(first).openDelay == 700ms);
    }

    void typedNumberIsSentForTheCameraThatWasSelected_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::newRow("setting") << QByteArray("grabFailureResult");
        QTest::newRow("number") << QByteArray("openResult");
    }

    void typedNumberIsSentForTheCameraThatWasSelected()
    {
        QFETCH(QByteArray, key);
        for (const unsigned int camera : {first, second}) {
            theBench().changeFaults(camera, [&](Faults& f) {
                f.openResult = camera == first ? ERROR_CODE(3) : ERROR_CODE(4);
                f.grabFailureResult = f.openResult;
            });
        }
        const auto value = [&](unsigned int camera) {
            const Faults now = theBench().faults(camera);
            return static_cast<int>(key == "openResult" ? now.openResult : now.grabFailureResult);
        };
        openConnected();
        QSpinBox* const number = fault(key.constData())->number();
        QTRY_COMPARE(number->value(), 3);
        number->setFocus();
        number->selectAll();
        QTest::keyClicks(number, "7");
        QTest::mouseClick(m_window->card(second), Qt::LeftButton);
        QCOMPARE(m_window->chosen(), second);
        QCOMPARE(number->value(), 4);
        m_window->stage()->setFocus();
        awaitNews();
        QCOMPARE(value(first), 7);
        QCOMPARE(value(second), 4);
        QCOMPARE(number->value(), 4);
    }

    void numberOfAnotherProgramIsShownWhenTheFocusLeaves()
    {
        openConnected();
        QSpinBox* const number = fault("grabFailureResult")->number();
        number->setFocus();
        const auto change = [](int code) {
            theBench().changeFaults(first,
                                    [=](Faults& f) { f.grabFailureResult = ERROR_CODE(code); });
        };
        change(9);
        awaitNews();
        QCOMPARE(number->value(), 1); // the user may be about to type
        m_window->stage()->setFocus();
        QCOMPARE(number->value(), 9);
        awaitNews();
        QCOMPARE(static_cast<int>(theBench().faults(first).grabFailureResult), 9);
    }

    void typedNumberStaysWhileItIsRequested()
    {
        openConnected();
        QSpinBox* const number = fault("grabFailureResult")->number();
        stopAnswering();
        number->setFocus();
        number->selectAll();
        QTest::keyClicks(number, "7");
        m_window->stage()->setFocus();
        QCOMPARE(number->value(), 7);
        m_answering = true;
        awaitNews();
        QCOMPARE(number->value(), 7);
        QCOMPARE(static_cast<int>(theBench().faults(first).grabFailureResult), 7);
    }

    void oldFirmwareIsSwitched()
    {
        openConnected();
        QTest::mouseClick(child<Switch>("oldFirmware"), Qt::LeftButton);
        QTRY_COMPARE(theBench().config(first).firmwareVersion, Panel::oldFirmware);
        awaitNews();
        QVERIFY(child<Switch>("oldFirmware")->isChecked());
        QTest::mouseClick(child<Switch>("oldFirmware"), Qt::LeftButton);
        QTRY_COMPARE(theBench().config(first).firmwareVersion, Panel::newFirmware);
    }

    void slidersSetTheFieldAndShowIt()
    {
        openConnected();
        QTRY_COMPARE(child<SliderRow>("strength")->slider()->value(), 96); // steps of 0.5 uT
        child<SliderRow>("strength")->slider()->setValue(60);
        child<SliderRow>("inclination")->slider()->setValue(-40);
        child<SliderRow>("declination")->slider()->setValue(30);
        QTRY_COMPARE(theBench().field().declination, 15.0);
        QCOMPARE(theBench().field().strength, 30.0);
        QCOMPARE(theBench().field().inclination, -20.0);
        theBench().setField({55.0, 10.0, -3.0});
        QTRY_COMPARE(child<SliderRow>("strength")->slider()->value(), 110);
        QCOMPARE(child<SliderRow>("declination")->slider()->value(), -6);
        QCOMPARE(theBench().field().strength, 55.0); // showing requests nothing
    }

    void slidersSetTemperatureAndDisturbanceOfTheChosenCamera()
    {
        openConnected();
        QTest::mouseClick(m_window->card(second), Qt::LeftButton);
        child<SliderRow>("temperature")->slider()->setValue(-14);
        QTRY_COMPARE(theBench().camera(second)->airTemperature(), -7.0);
        QCOMPARE(theBench().camera(first)->airTemperature(), 20.0);
        child<SliderRow>("magneticDisturbance")->slider()->setValue(45);
        QTRY_COMPARE(theBench().faults(second).magneticDisturbance, 45.0);
        QTest::mouseClick(m_window->card(first), Qt::LeftButton);
        QTRY_COMPARE(child<SliderRow>("temperature")->slider()->value(), 40);
        QCOMPARE(child<SliderRow>("magneticDisturbance")->slider()->value(), 0);
    }

    void wheelOverASliderChangesNothing()
    {
        openConnected();
        QSlider* const slider = child<SliderRow>("strength")->slider();
        const QPoint middle = slider->rect().center();
        QWheelEvent wheel(middle, slider->mapToGlobal(middle), {}, {0, 120}, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(slider, &wheel);
        QCOMPARE(slider->value(), 96);
    }

    // The bench's cameras.

    void camerasComeAndGo()
    {
        openConnected();
        CameraConfig config;
        config.model = MODEL::TIV_P;
        config.serialNumber = 20000003;
        theBench().addCamera(config);
        QTRY_VERIFY(m_window->card(20000003));
        QTest::mouseClick(m_window->card(20000003), Qt::LeftButton);
        QCOMPARE(m_window->chosen(), 20000003U);
        theBench().removeCamera(20000003);
        QTRY_VERIFY(!m_window->card(20000003));
        QCOMPARE(m_window->chosen(), first);
        theBench().removeCamera(first);
        theBench().removeCamera(second);
        QTRY_VERIFY(label(*m_window, QStringLiteral("No cameras on the bench")));
        QVERIFY(!child<Switch>("plug")->isEnabled());
        theBench().addCamera(config);
        QTRY_VERIFY(m_window->stage()->isVisible());
        QVERIFY(child<Switch>("plug")->isEnabled());
    }

    void cameraWithTheNumber0IsShownAndSelected()
    {
        CameraConfig config;
        config.model = MODEL::TIV_P;
        config.serialNumber = 0;
        QVERIFY(theBench().addCamera(config));
        openConnected();
        QCOMPARE(m_window->chosen(), first);
        BodyView* const card = m_window->card(0);
        QVERIFY(card != nullptr);
        QCOMPARE(paintedTexts(*card).size(), 1);
        QTest::mouseClick(card, Qt::LeftButton);
        QCOMPARE(m_window->chosen(), 0U);
        QCOMPARE(m_window->stage()->accessibleName(), QStringLiteral("TIV_P 0"));
        QVERIFY(paintedTexts(*m_window->stage()).contains(QStringLiteral("TIV_P")));
        QTest::mouseClick(m_window->card(first), Qt::LeftButton);
        QTest::keyClick(card, Qt::Key_Space);
        QCOMPARE(m_window->chosen(), 0U);
        QTest::keyClick(m_window->stage(), Qt::Key_Right);
        awaitNews();
        QVERIFY(theBench().config(0).motion == MOTION::POSED);
    }

    void everyControlHasAName()
    {
        openConnected();
        int checked = 0;
        QCOMPARE(accessibility::unnamed(*m_window, checked), QStringList());
        // stage, 2 cards, plug, motion, 3 buttons, 5 sliders, firmware, 16 faults or more
        QVERIFY2(checked >= 30, qPrintable(QString::number(checked)));
    }

    void slidersAreReadInTheirUnit()
    {
        openConnected();
        QSlider* const slider = child<SliderRow>("temperature")->slider();
        QAccessibleInterface* const interface = QAccessible::queryAccessibleInterface(slider);
        QCOMPARE(interface->role(), QAccessible::Slider);
        QCOMPARE(interface->text(QAccessible::Name), QStringLiteral("Air temperature"));
        QCOMPARE(interface->text(QAccessible::Value), QStringLiteral("20.0 °C"));
        QAccessibleValueInterface* const value = interface->valueInterface();
        QVERIFY(value != nullptr);
        QCOMPARE(value->currentValue().toDouble(), 20.0);
        QCOMPARE(value->minimumValue().toDouble(), -20.0);
        QCOMPARE(value->maximumValue().toDouble(), 60.0);
        QCOMPARE(value->minimumStepSize().toDouble(), 0.5);
        value->setCurrentValue(21.5);
        QCOMPARE(slider->value(), 43);
    }

    void keyboardReachesTheCardsAfterTheLargeBody()
    {
        openConnected();
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get(), waiting::patienceMs));
        m_window->stage()->setFocus();
        QTest::keyClick(m_window->stage(), Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), m_window->card(first));
        const QImage focused = m_window->card(first)->grab().toImage();
        QTest::keyClick(m_window->card(first), Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), m_window->card(second));
        QVERIFY2(m_window->card(first)->grab().toImage() != focused, "the focus does not show");
        QTest::keyClick(m_window->card(second), Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), child<Switch>("plug"));
    }

    void keyOnACardSelectsItsCamera_data()
    {
        QTest::addColumn<int>("key");
        QTest::newRow("space") << int(Qt::Key_Space);
        QTest::newRow("return") << int(Qt::Key_Return);
        QTest::newRow("enter") << int(Qt::Key_Enter);
    }

    void keyOnACardSelectsItsCamera()
    {
        QFETCH(int, key);
        openConnected();
        QCOMPARE(m_window->chosen(), first);
        QTest::keyClick(m_window->card(second), static_cast<Qt::Key>(key));
        QCOMPARE(m_window->chosen(), second);
        QCOMPARE(m_window->card(second)->accessibleDescription(), QStringLiteral("Selected"));
    }

    void clickOnACardLeavesTheFocusOnTheLargeBody()
    {
        openConnected();
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get(), waiting::patienceMs));
        m_window->stage()->setFocus();
        QTest::mouseClick(m_window->card(second), Qt::LeftButton);
        QCOMPARE(QApplication::focusWidget(), m_window->stage());
    }

    void cameraInUseIsShownFirst()
    {
        Camera camera;
        InitParameters parameters;
        parameters.input.setFromSerialNumber(second, BUS_TYPE::USB);
        QVERIFY(camera.open(parameters) == ERROR_CODE::SUCCESS);
        CameraConfig config;
        config.serialNumber = 0;
        QVERIFY(theBench().addCamera(config));
        openConnected();
        QCOMPARE(m_window->chosen(), second);
        camera.close();
    }
};

QTEST_MAIN(TestBenchWindow)
#include "tst_bench_window.moc"
