#include "calibration/messageboxes.h"

#include <QAbstractButton>
#include <QApplication>
#include <QtTest>

#include <algorithm>
#include <chrono>

MessageBoxes::MessageBoxes()
{
    connect(&m_timer, &QTimer::timeout, this, &MessageBoxes::look);
    m_timer.start(std::chrono::milliseconds(5));
}

void MessageBoxes::expect(const QString& button, std::function<void()> whileOpen)
{
    m_expected.append({button, std::move(whileOpen)});
}

void MessageBoxes::look()
{
    auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (!box || !box->isVisible() || m_busy) {
        return;
    }
    m_busy = true;

    SeenBox now;
    now.title = box->windowTitle();
    now.text = box->text();
    now.icon = box->icon();
    now.sheet = box->styleSheet();
    now.font = box->font();
    now.hadParent = box->parent() != nullptr;
    for (QAbstractButton* const button : box->buttons()) {
        now.buttons.append(button->text());
        now.buttonSheets.append(button->styleSheet());
        now.buttonFonts.append(button->font());
        now.buttonRoles.append(box->buttonRole(button));
    }

    QList<QAbstractButton*> placed = box->buttons();
    std::sort(placed.begin(), placed.end(), [](const QAbstractButton* a, const QAbstractButton* b) {
        return a->mapToGlobal({}).x() < b->mapToGlobal({}).x();
    });
    for (const QAbstractButton* const button : placed) {
        now.leftToRight.append(button->text());
    }

    Expectation wanted;
    if (m_expected.isEmpty()) {
        ++unexpected;
    } else {
        wanted = m_expected.takeFirst();
    }
    if (wanted.whileOpen) {
        wanted.whileOpen();
    }

    QAbstractButton* answer = box->buttons().constLast();
    if (!wanted.button.isEmpty()) {
        const int index = now.buttons.indexOf(wanted.button);
        if (index < 0) {
            ++unexpected;
        } else {
            answer = box->buttons().at(index);
        }
    }
    now.pressed = answer->text();
    seen.append(now);
    QTest::mouseClick(answer, Qt::LeftButton);
    m_busy = false;
}
