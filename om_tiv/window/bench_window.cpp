#include "window/bench_window.h"

#include "control/bench_path.h"
#include "window/look.h"
#include "window/panel.h"
#include "window/waiting_text.h"

#include <QCloseEvent>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>

namespace benchwindow {

namespace {

constexpr int refusalMs = 6000;

/// "process 1234" for ".../bench-1234.sock", otherwise the file's name.
QString programName(const QString& path)
{
    const QString name = QFileInfo(path).completeBaseName();
    const QString number = name.mid(name.lastIndexOf(QLatin1Char('-')) + 1);
    bool isNumber = false;
    static_cast<void>(number.toUInt(&isNumber));
    return isNumber ? BenchWindow::tr("process %1").arg(number) : QFileInfo(path).fileName();
}

/// A long path may be broken after each of its folders.
QString breakable(QString text)
{
    return text.replace(QLatin1Char('/'), QStringLiteral("/\u200b"));
}

} // namespace

BenchWindow::BenchWindow(const QString& socket, QWidget* parent) : QWidget(parent), m_link(socket)
{
    setWindowTitle(tr("Gravimon bench"));
    setStyleSheet(look::styleSheet());
    resize(1240, 820);
    setMinimumSize(820, 520);

    m_pages = new QStackedWidget;
    m_waiting = makeWaiting();
    m_bench = makeBench();
    m_pages->addWidget(m_waiting);
    m_pages->addWidget(m_bench);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(makeHeader());
    layout->addWidget(m_pages, 1);

    connect(&m_link, &BenchLink::searching, this, &BenchWindow::showSearching);
    connect(&m_link, &BenchLink::connected, this, &BenchWindow::showConnected);
    connect(&m_link, &BenchLink::lost, this, &BenchWindow::showLost);
    connect(&m_link, &BenchLink::refused, this, &BenchWindow::showRefusal);
    connect(&m_link, &BenchLink::changed, this, &BenchWindow::showNews);
    showSearching({}, {});
    m_link.start();
}

QWidget* BenchWindow::makeHeader()
{
    auto* const header = new QWidget;
    header->setObjectName(QStringLiteral("header"));
    header->setAttribute(Qt::WA_StyledBackground);
    header->setFixedHeight(44);
    auto* const title = new QLabel(tr("Virtual bench"));
    title->setObjectName(QStringLiteral("title"));
    m_linkDot = new QLabel;
    m_linkDot->setFixedSize(10, 10);
    m_linkText = new QLabel;
    m_linkText->setObjectName(QStringLiteral("link"));
    auto* const layout = new QHBoxLayout(header);
    layout->setContentsMargins(24, 0, 24, 0);
    layout->setSpacing(8);
    layout->addWidget(title);
    layout->addStretch();
    layout->addWidget(m_linkDot);
    layout->addWidget(m_linkText);
    return header;
}

QWidget* BenchWindow::makeWaiting()
{
    auto* const page = new QWidget;
    m_waitingTitle = new QLabel;
    m_waitingTitle->setProperty("role", "large");
    m_waitingTitle->setAlignment(Qt::AlignCenter);
    m_waitingText = new QLabel;
    m_waitingText->setObjectName(QStringLiteral("hint"));
    m_waitingText->setAlignment(Qt::AlignCenter);
    m_waitingText->setTextFormat(Qt::PlainText);
    m_waitingText->setWordWrap(true);
    auto* const choices = new QWidget;
    choices->setFixedWidth(260);
    m_choices = new QVBoxLayout(choices);
    auto* const layout = new QVBoxLayout(page);
    layout->setSpacing(14);
    layout->addStretch(2);
    layout->addWidget(m_waitingTitle);
    layout->addWidget(m_waitingText);
    layout->addWidget(choices, 0, Qt::AlignHCenter);
    layout->addStretch(3);
    return page;
}

QWidget* BenchWindow::makeBench()
{
    m_stage = new BodyView(BodyView::KIND::STAGE);
    m_stage->setObjectName(QStringLiteral("stage"));
    connect(m_stage, &BodyView::turned, this, [this](const Turn& t) { turn(m_stage, t); });

    m_empty = new QLabel(tr("No cameras on the bench"));
    m_empty->setProperty("role", "large");
    m_empty->setAlignment(Qt::AlignCenter);
    m_empty->hide();

    m_complaints = new QLabel;
    m_complaints->setObjectName(QStringLiteral("complaints"));
    m_complaints->setContentsMargins(24, 12, 24, 12);
    m_complaints->setTextFormat(Qt::PlainText);
    m_complaints->setWordWrap(true);
    m_complaints->hide();

    m_refusal = new QLabel;
    m_refusal->setObjectName(QStringLiteral("refusal"));
    m_refusal->setContentsMargins(24, 0, 24, 0);
    m_refusal->setWordWrap(true);
    m_refusal->hide();
    m_refusalTimer = new QTimer(this);
    m_refusalTimer->setSingleShot(true);
    connect(m_refusalTimer, &QTimer::timeout, m_refusal, &QLabel::hide);

    auto* const row = new QWidget;
    m_cardRow = new QHBoxLayout(row);
    m_cardRow->setContentsMargins(24, 4, 24, 12);
    m_cardRow->setSpacing(12);
    m_cardRow->addStretch();
    m_strip = new QScrollArea;
    m_strip->setWidget(row);
    m_strip->setWidgetResizable(true);
    m_strip->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_strip->setFixedHeight(156);
    m_strip->setFocusPolicy(Qt::NoFocus); // it follows the focus of its cards

    auto* const left = new QVBoxLayout;
    left->setSpacing(0);
    left->addWidget(m_complaints);
    left->addWidget(m_stage, 1);
    left->addWidget(m_empty, 1);
    left->addWidget(m_refusal);
    left->addWidget(m_strip);
    m_panel = new Panel([this](const nlohmann::json& request, const std::string& key) {
        return m_link.send(request, key);
    });
    connect(m_panel, &Panel::stopPressed, m_stage, &BodyView::stop);
    connect(m_panel, &Panel::levelPressed, m_stage, &BodyView::level);
    auto* const page = new QWidget;
    auto* const layout = new QHBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(left, 1);
    layout->addWidget(m_panel);
    return page;
}

void BenchWindow::setLinkText(const QString& text, const QColor& colour)
{
    m_linkText->setText(text);
    m_linkDot->setStyleSheet(
        QStringLiteral("background: %1; border-radius: 5px;").arg(colour.name()));
}

void BenchWindow::showSearching(const QString& reason, const QStringList& choices)
{
    while (QLayoutItem* const item = m_choices->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    if (!choices.isEmpty()) {
        m_waitingTitle->setText(tr("Several programs are running"));
        m_waitingText->setText(
            reason.isEmpty()
                ? tr("Which one do you want to control?")
                : tr("The chosen one cannot be reached. Which one do you want to control?"));
        for (const QString& path : choices) {
            auto* const button = new QPushButton(programName(path));
            button->setToolTip(path);
            connect(button, &QPushButton::clicked, this, [this, path] { m_link.choose(path); });
            m_choices->addWidget(button);
        }
        setLinkText(tr("Several programs"), look::amber);
    } else {
        const WaitingText waiting = waitingText(reason, m_lostOne);
        m_waitingTitle->setText(waiting.title);
        m_waitingText->setText(breakable(waiting.text));
        setLinkText(tr("Not connected"), look::ash);
    }
    m_waitingText->setToolTip(
        reason.isEmpty()
            ? tr("Looked in %1").arg(QString::fromStdString(om::bench::controlFolder()))
            : reason);
    m_pages->setCurrentWidget(m_waiting);
}

void BenchWindow::showConnected(const QString& path)
{
    setLinkText(tr("Connected to %1").arg(programName(path)), look::lime);
    m_linkText->setToolTip(path);
    m_pages->setCurrentWidget(m_bench);
    m_stage->setFocus();
}

void BenchWindow::showLost(const QString& reason)
{
    m_lostOne = true;
    m_stage->letGo();
    showSearching(reason, {});
}

void BenchWindow::showRefusal(const QString& reason)
{
    m_refusal->setText(reason);
    m_refusal->show();
    m_refusalTimer->start(refusalMs);
}

void BenchWindow::showNews()
{
    m_snapshot = m_link.snapshot();
    const std::vector<CameraView>& cameras = m_snapshot.cameras;
    if (chosenCamera() == nullptr) {
        // The camera that the program shows is selected first.
        const auto used = std::find_if(cameras.begin(), cameras.end(), [](const CameraView& c) {
            return c.state == QLatin1String("streaming") || c.state == QLatin1String("open");
        });
        m_chosen.reset();
        if (!cameras.empty()) {
            m_chosen = used != cameras.end() ? used->serial : cameras.front().serial;
        }
    }
    showComplaints(m_snapshot.complaints);
    showCards(m_snapshot);
    const CameraView* const camera = chosenCamera();
    m_stage->setVisible(camera != nullptr);
    m_empty->setVisible(camera == nullptr);
    if (camera != nullptr) {
        m_stage->setDeclination(m_snapshot.field.declination);
        m_stage->setCamera(*camera, m_snapshot.ticket);
    }
    m_panel->showCamera(camera, m_snapshot.field, m_snapshot.ticket);
}

const CameraView* BenchWindow::chosenCamera() const
{
    return m_chosen ? m_snapshot.find(*m_chosen) : nullptr;
}

BodyView* BenchWindow::card(unsigned int serial) const
{
    const auto found = std::find_if(m_cards.begin(), m_cards.end(),
                                    [&](const BodyView* c) { return c->serial() == serial; });
    return found == m_cards.end() ? nullptr : *found;
}

void BenchWindow::showComplaints(const QStringList& complaints)
{
    const QString text = breakable(complaints.join(QLatin1Char('\n')));
    if (text != m_complaints->text()) {
        m_complaints->setText(text);
        m_complaints->setVisible(!text.isEmpty());
    }
}

void BenchWindow::showCards(const Snapshot& snapshot)
{
    while (m_cards.size() > snapshot.cameras.size()) {
        delete m_cards.back();
        m_cards.pop_back();
    }
    while (m_cards.size() < snapshot.cameras.size()) {
        auto* const view = new BodyView(BodyView::KIND::CARD);
        view->setOnScreen(m_onScreen);
        connect(view, &BodyView::pressed, this, &BenchWindow::choose);
        connect(view, &BodyView::turned, this, [this, view](const Turn& t) { turn(view, t); });
        connect(view, &BodyView::focused, this,
                [this, view] { m_strip->ensureWidgetVisible(view); });
        m_cardRow->insertWidget(static_cast<int>(m_cards.size()), view);
        setTabOrder(m_cards.empty() ? m_stage : m_cards.back(), view);
        m_cards.push_back(view);
    }
    for (std::size_t i = 0; i < m_cards.size(); ++i) {
        m_cards[i]->setCamera(snapshot.cameras[i], snapshot.ticket);
        m_cards[i]->setChosen(snapshot.cameras[i].serial == m_chosen);
    }
}

void BenchWindow::choose(unsigned int serial)
{
    if (serial == m_chosen) {
        return;
    }
    m_stage->letGo();
    m_chosen = serial;
    const CameraView* const camera = chosenCamera();
    if (camera != nullptr) {
        m_stage->setCamera(*camera, m_snapshot.ticket);
        m_panel->showCamera(camera, m_snapshot.field, m_snapshot.ticket);
    }
    for (BodyView* const view : m_cards) {
        view->setChosen(view->serial() == serial);
    }
}

void BenchWindow::turn(BodyView* view, const Turn& turn)
{
    view->awaitTicket(m_link.setPose(turn.serial, turn.pose, turn.spin, turn.glide));
}

void BenchWindow::showEvent(QShowEvent* event)
{
    windowHandle()->installEventFilter(this);
    QWidget::showEvent(event);
}

bool BenchWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == windowHandle() && event->type() == QEvent::Expose) {
        setOnScreen(windowHandle()->isExposed());
    }
    return QWidget::eventFilter(watched, event);
}

/// A hidden or minimised window reads the state of the bench only once a second.
void BenchWindow::setOnScreen(bool onScreen)
{
    if (m_onScreen == onScreen) {
        return;
    }
    m_onScreen = onScreen;
    m_link.setWatched(onScreen);
    m_stage->setOnScreen(onScreen);
    for (BodyView* const view : m_cards) {
        view->setOnScreen(onScreen);
    }
}

void BenchWindow::closeEvent(QCloseEvent* event)
{
    // A held body keeps its pose; a spinning one continues to spin.
    m_stage->letGo();
    for (BodyView* const view : m_cards) {
        view->letGo();
    }
    event->accept();
}

} // namespace benchwindow
