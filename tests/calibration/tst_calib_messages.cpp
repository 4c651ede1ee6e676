#include "calibration/calib_messages.h"

#include <QCoreApplication>
#include <QTest>
#include <QTranslator>

namespace {

/// Translates the texts of the dialog, and no others.
class DialogTranslator : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* text, const char*, int) const override
    {
        return qstrcmp(context, "MagCalibDlg") == 0 ? QString::fromUtf8(text).toUpper() : QString();
    }
};

} // namespace

class TestCalibMessages : public QObject
{
    Q_OBJECT

private slots:
    void theButtonsOfTheQuestionBeforeAStoreAreThoseOfTheDialogsTranslation()
    {
        const calibmessages::Message plain = calibmessages::confirmStore();
        QCOMPARE(plain.buttons, QStringList({"Cancel", "Ok"}));
        DialogTranslator translator;
        QVERIFY(QCoreApplication::installTranslator(&translator));
        const calibmessages::Message translated = calibmessages::confirmStore();
        QCoreApplication::removeTranslator(&translator);
        QCOMPARE(translated.buttons, QStringList({"CANCEL", "OK"}));
        QCOMPARE(translated.text, plain.text);
    }
};

QTEST_GUILESS_MAIN(TestCalibMessages)
#include "tst_calib_messages.moc"
