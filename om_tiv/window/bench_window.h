/// @file
/// The window of om-bench-window.
#pragma once

#include "window/bench_link.h"
#include "window/body_view.h"

#include <QPointer>
#include <QWidget>

#include <optional>
#include <vector>

class QHBoxLayout;
class QLabel;
class QScrollArea;
class QStackedWidget;
class QTimer;
class QVBoxLayout;

namespace benchwindow {

class Panel;

/// Shows the cameras of the bench of a running program: one large, all of them in a row below, and
/// their controls on the right. Without a program it shows that it waits for one.
class BenchWindow : public QWidget
{
    Q_OBJECT

public:
    /// @param socket as in BenchLink
    explicit BenchWindow(const QString& socket = {}, QWidget* parent = nullptr);

    BodyView* stage() const { return m_stage; }
    BodyView* card(unsigned int serial) const;                   ///< null if there is none
    unsigned int chosen() const { return m_chosen.value_or(0); } ///< 0 if there is none

    bool eventFilter(QObject* watched, QEvent* event) override;

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    QWidget* makeHeader();
    QWidget* makeBench();
    QWidget* makeWaiting();
    void showSearching(const QString& reason, const QStringList& choices);
    void showConnected(const QString& path);
    void showLost(const QString& reason);
    void showRefusal(const QString& reason);
    void showNews();
    void showComplaints(const QStringList& complaints);
    void showCards(const Snapshot& snapshot);
    const CameraView* chosenCamera() const;
    void setLinkText(const QString& text, const QColor& colour);
    void setOnScreen(bool onScreen);
    void choose(unsigned int serial);
    void turn(BodyView* view, const Turn& turn);

    BenchLink m_link;
    Snapshot m_snapshot;
    std::optional<unsigned int> m_chosen; ///< 0 is a serial number, too
    bool m_lostOne = false;
    bool m_onScreen = true;

    QLabel* m_linkDot = nullptr;
    QLabel* m_linkText = nullptr;
    QStackedWidget* m_pages = nullptr;
    QWidget* m_waiting = nullptr;
    QWidget* m_bench = nullptr;
    QLabel* m_waitingTitle = nullptr;
    QLabel* m_waitingText = nullptr;
    QVBoxLayout* m_choices = nullptr;
    BodyView* m_stage = nullptr;
    QLabel* m_complaints = nullptr;
    QLabel* m_empty = nullptr;
    QScrollArea* m_strip = nullptr;
    QHBoxLayout* m_cardRow = nullptr;
    std::vector<BodyView*> m_cards;
    Panel* m_panel = nullptr;
    QLabel* m_refusal = nullptr;
    QTimer* m_refusalTimer = nullptr;
};

} // namespace benchwindow
