#include "viewer/live_text.h"

#include "look/Style.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QImage>
#include <QLineEdit>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QWidget>
#include <QtTest>

namespace {

constexpr double factors[] = {1.0, 1.25, 1.5, 2.0}; // pixels of the device per pixel of the box

QImage pictureOf(QWidget& widget, double factor)
{
    QImage image(widget.size() * factor, QImage::Format_RGB32);
    image.setDevicePixelRatio(factor);
    image.fill(Qt::black);
    widget.render(&image);
    return image;
}

} // namespace

/// A box with a live text, beside an ordinary one.
class TestLiveText : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QWidget> m_window;
    QLineEdit* m_box = nullptr;
    QLineEdit* m_ordinary = nullptr;
    LiveText* m_text = nullptr;

    void dress(const QString& sheet, const QFont& font, const QSize& size)
    {
        for (QLineEdit* const box : {m_box, m_ordinary}) {
            box->setStyleSheet(sheet);
            box->setFont(font);
            box->resize(size);
        }
    }

    void show(const QString& text)
    {
        m_text->show(text);
        m_ordinary->setText(text);
    }

    bool isLive() const { return m_box->echoMode() == QLineEdit::NoEcho; }

    bool looksOrdinary(double factor = 1.0) const
    {
        return pictureOf(*m_box, factor) == pictureOf(*m_ordinary, factor);
    }

private slots:
    void init()
    {
        m_window = std::make_unique<QWidget>();
        m_box = new QLineEdit(m_window.get());
        m_ordinary = new QLineEdit(m_window.get());
        for (QLineEdit* const box : {m_box, m_ordinary}) {
            box->setReadOnly(true);
            box->setAlignment(Qt::AlignCenter);
        }
        m_ordinary->move(0, 100);
        m_text = new LiveText(m_box);
        const Style style;
        dress(style.xAxisEditStyle, QApplication::font(), {240, 30});
        m_window->resize(500, 200);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get(), waiting::patienceMs));
        m_window->setFocus();
        QTRY_VERIFY(!m_box->hasFocus());
    }

    void pictureIsThatOfAnOrdinaryBox_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>("family"); // empty: the default font
        for (const char* const format : {"X %1 m/s²", "Y %1 °/s", "Z %1 µT", "X %1°",
                                         "Atmospheric Pressure %1 hPa", "Left %1°C"}) {
            for (const char* const family :
                 {"", "NB Akademie Mono Pro Medium", "Roboto", "NB Akademie Pro Regular"}) {
                QTest::addRow("%s, %s", format, family)
                    << QString::fromUtf8(format) << QString::fromUtf8(family);
            }
        }
    }
    void pictureIsThatOfAnOrdinaryBox()
    {
        QFETCH(const QString, format);
        QFETCH(const QString, family);
        const Style style;
        for (const QString& sheet : {style.xAxisEditStyle, style.singleAxisEditStyle, QString()}) {
            for (const QSize& size : {QSize(440, 30), QSize(441, 9)}) {
                dress(sheet, family.isEmpty() ? QApplication::font() : QFont(family, 11), size);
                int live = 0;
                for (int i = 0; i < 40; ++i) {
                    const double value = (i % 2 == 0 ? 1 : -1) * std::pow(1.7, i - 20) * 1.2345;
                    show(format.arg(value, 5, 'f', 3, QLatin1Char(' ')));
                    live += isLive() ? 1 : 0;
                    QVERIFY2(looksOrdinary(factors[i % 4]), qPrintable(m_box->text()));
                }
                QVERIFY2(live > 30, qPrintable(QString::number(live)));
            }
        }
    }

    void pictureIsThatOfADisabledBoxToo()
    {
        show(QStringLiteral("X 1.250 m/s²"));
        m_box->setEnabled(false);
        m_ordinary->setEnabled(false);
        QVERIFY(looksOrdinary());
    }

    void sheetOfTheStateOfTheBoxApplies()
    {
        dress(QStringLiteral("QLineEdit { padding-left: 4px; } "
                             "QLineEdit:disabled { padding-left: 60px; }"),
              QApplication::font(), {240, 30});
        show(QStringLiteral("X 1.250 m/s²"));
        QVERIFY(isLive());
        QVERIFY(looksOrdinary());
        m_box->setEnabled(false);
        m_ordinary->setEnabled(false);
        show(QStringLiteral("X 1.251 m/s²"));
        QVERIFY(isLive());
        QVERIFY(looksOrdinary());
    }

    void textIsThatOfTheBox()
    {
        QSignalSpy changed(m_box, &QLineEdit::textChanged);
        m_text->show(QStringLiteral("X 1.250 m/s²"));
        QVERIFY(isLive());
        QCOMPARE(m_box->text(), QStringLiteral("X 1.250 m/s²"));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed[0][0].toString(), QStringLiteral("X 1.250 m/s²"));
    }

    void newTextIsPaintedWithoutARequest()
    {
        m_text->show(QStringLiteral("X 1.250 m/s²"));
        QCoreApplication::processEvents();
        struct Paints : QObject
        {
            int count = 0;
            bool eventFilter(QObject*, QEvent* event) override
            {
                count += event->type() == QEvent::Paint ? 1 : 0;
                return false;
            }
        } paints;
        m_box->installEventFilter(&paints); // sees events before the text does
        m_text->show(QStringLiteral("X 1.251 m/s²"));
        QTRY_VERIFY(paints.count > 0);
    }

    void boxIsOrdinaryWithTheFocus()
    {
        show(QStringLiteral("X 1.250 m/s²"));
        QVERIFY(isLive());
        QApplication::setActiveWindow(m_window.get());
        m_box->setFocus();
        QTRY_VERIFY(m_box->hasFocus());
        QVERIFY(!isLive());
        m_text->show(QStringLiteral("X 1.251 m/s²"));
        QVERIFY(!isLive());
        QTest::keySequence(m_box, QKeySequence::SelectAll);
        QTest::keySequence(m_box, QKeySequence::Copy);
        QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("X 1.251 m/s²"));
        m_window->setFocus();
        m_text->show(QStringLiteral("X 1.252 m/s²"));
        QVERIFY(isLive());
    }

    void selectionCanBeCopied()
    {
        show(QStringLiteral("X 1.250 m/s²"));
        m_box->selectAll();
        m_ordinary->selectAll();
        QVERIFY(looksOrdinary());
        m_box->copy();
        QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("X 1.250 m/s²"));
        show(QStringLiteral("X 1.251 m/s²")); // ends the selection
        QVERIFY(isLive());
        QVERIFY(looksOrdinary());
    }

    void textFromElsewhereIsShown()
    {
        show(QStringLiteral("X 1.250 m/s²"));
        m_box->setText(QStringLiteral("---"));
        m_ordinary->setText(QStringLiteral("---"));
        QVERIFY(!isLive());
        QVERIFY(looksOrdinary());
    }

    void whatItCannotPaintIsLeftToTheBox_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << QString();
        QTest::newRow("with a space at its end") << QStringLiteral("X 1.250 ");
        QTest::newRow("too long") << QString(200, QLatin1Char('8'));
        QTest::newRow("from right to left") << QStringLiteral("שלום");
        QTest::newRow("composed") << QStringLiteral("e\u0301x\u0308\u0323");
        QTest::newRow("beyond the first plane") << QStringLiteral("\U0001D54F 1");
    }
    void whatItCannotPaintIsLeftToTheBox()
    {
        QFETCH(const QString, text);
        show(QStringLiteral("X 1.250 m/s²"));
        show(text);
        QVERIFY(!isLive());
        QVERIFY(looksOrdinary());
    }

    void changedBoxIsOrdinaryUntilTheNextText_data()
    {
        QTest::addColumn<int>("change");
        QTest::newRow("size") << 0;
        QTest::newRow("font") << 1;
        QTest::newRow("style sheet") << 2;
        QTest::newRow("direction") << 3;
    }
    void changedBoxIsOrdinaryUntilTheNextText()
    {
        QFETCH(const int, change);
        const Style style; // adds fonts, which also ends a live text
        show(QStringLiteral("X 1.250 m/s²"));
        for (QLineEdit* const box : {m_box, m_ordinary}) {
            switch (change) {
            case 0:
                box->resize(20, 22);
                break;
            case 1:
                box->setFont(style.fontMonoMedium11);
                break;
            case 2:
                box->setStyleSheet(style.yAxisEditStyle + QStringLiteral(";padding-left: 30px"));
                break;
            default:
                box->setLayoutDirection(Qt::RightToLeft);
                break;
            }
        }
        QVERIFY(!isLive());
        QVERIFY(looksOrdinary());
        show(QStringLiteral("X 1.2 m"));
        QVERIFY(looksOrdinary());
        QCOMPARE(isLive(), change == 1 || change == 2);
    }

    void otherAlignmentIsLeftToTheBox()
    {
        m_box->setAlignment(Qt::AlignLeft);
        m_ordinary->setAlignment(Qt::AlignLeft);
        show(QStringLiteral("X 1.250 m/s²"));
        QVERIFY(!isLive());
        QVERIFY(looksOrdinary());
    }

    void assistiveProgramsReadAnOrdinaryBox()
    {
        m_text->show(QStringLiteral("X 1.250 m/s²"));
        QVERIFY(isLive());
        QAccessible::setActive(true);
        const auto restored = qScopeGuard([] { QAccessible::setActive(false); });
        QVERIFY(!isLive());
        const QAccessibleInterface* const interface = QAccessible::queryAccessibleInterface(m_box);
        QVERIFY(interface != nullptr);
        QCOMPARE(interface->text(QAccessible::Value), QStringLiteral("X 1.250 m/s²"));
        QVERIFY(!interface->state().passwordEdit);
        m_text->show(QStringLiteral("X 1.251 m/s²"));
        QCOMPARE(interface->text(QAccessible::Value), QStringLiteral("X 1.251 m/s²"));
        QVERIFY(!interface->state().passwordEdit);
    }
};

QTEST_MAIN(TestLiveText)
#include "tst_live_text.moc"
