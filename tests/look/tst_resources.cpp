// The bundle is checked without a Style: it registers itself in every program that links it.
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFontDatabase>
#include <QIcon>
#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QProcess>
#include <QRawFont>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include <dlfcn.h>

namespace {

// Formats of this program's bundles, which register themselves before main().
std::vector<int>& bundleFormats()
{
    static std::vector<int> formats;
    return formats;
}

// Qt's libraries have bundles of their own.
bool isOfThisProgram(const void* address)
{
    static const char ownData = 0;
    Dl_info place{};
    Dl_info own{};
    return dladdr(address, &place) != 0 && dladdr(&ownData, &own) != 0 &&
           place.dli_fbase == own.dli_fbase;
}

} // namespace

// Replaces Qt's own function and calls it.
bool qRegisterResourceData(int format, const unsigned char* tree, const unsigned char* name,
                           const unsigned char* data)
{
    using Function =
        bool (*)(int, const unsigned char*, const unsigned char*, const unsigned char*);
    static const auto original =
        reinterpret_cast<Function>(dlsym(RTLD_NEXT, "_Z21qRegisterResourceDataiPKhS0_S0_"));
    if (isOfThisProgram(tree)) {
        bundleFormats().push_back(format);
    }
    return original(format, tree, name, data);
}

namespace {

struct Image
{
    const char* name;
    int width;
    int height;
};

const Image images[] = {
    {"2.6_pdate.png", 128, 128},
    {"CBSUpdate.png", 128, 128},
    {"OM_white.png", 180, 24},
    {"TIV.png", 78, 24},
    {"TIVAtlasCreateStream.png", 128, 128},
    {"TIVAtlasCreateStreamStop.png", 128, 128},
    {"TIVAtlasCreateStreamStop_h.png", 128, 128},
    {"TIVAtlasCreateStream_connecting.png", 128, 128},
    {"TIVAtlasCreateStream_h.png", 128, 128},
    {"TIVAtlasCreateStream_u.png", 128, 128},
    {"TIV_grey.png", 78, 24},
    {"TIV_white.png", 78, 24},
    {"box_off.png", 128, 128},
    {"box_off_hover.png", 128, 128},
    {"box_on.png", 128, 128},
    {"box_u.png", 128, 128},
    {"check_na_off.png", 128, 128},
    {"check_na_on.png", 128, 128},
    {"check_off.png", 128, 128},
    {"check_off_h.png", 128, 128},
    {"check_on.png", 128, 128},
    {"check_on_h.png", 128, 128},
    {"closeCross.png", 240, 240},
    {"closeCross_om_pearl.png", 240, 240},
    {"diagnosticSplash.png", 640, 360},
    {"drop_arrow_om_iron.png", 128, 128},
    {"drop_arrow_om_pearl.png", 128, 128},
    {"fail.png", 128, 128},
    {"folder.png", 128, 128},
    {"folder_h.png", 128, 128},
    {"folder_u.png", 128, 128},
    {"gear.png", 128, 128},
    {"gear_h.png", 128, 128},
    {"gear_off.png", 128, 128},
    {"info.png", 128, 128},
    {"loading.png", 128, 128},
    {"notTested.png", 128, 128},
    {"pause.png", 128, 128},
    {"pause_h.png", 128, 128},
    {"photo.png", 128, 128},
    {"photo_h.png", 128, 128},
    {"photo_u.png", 128, 128},
    {"play.png", 128, 128},
    {"play_h.png", 128, 128},
    {"radio_off.png", 128, 128},
    {"radio_off_h.png", 128, 128},
    {"radio_on.png", 128, 128},
    {"rec.png", 128, 128},
    {"rec_h.png", 128, 128},
    {"rec_on.png", 128, 128},
    {"rec_on_h.png", 128, 128},
    {"rec_u.png", 128, 128},
    {"refresh.png", 128, 128},
    {"refresh_h.png", 128, 128},
    {"restartIcon.png", 128, 128},
    {"saveIcon.png", 128, 128},
    {"skybox_bottom.png", 512, 512},
    {"skybox_side.png", 512, 512},
    {"skybox_top.png", 512, 512},
    {"slider_off.png", 128, 128},
    {"slider_on.png", 128, 128},
    {"slider_on_h.png", 128, 128},
    {"stop.png", 128, 128},
    {"stop_h.png", 128, 128},
    {"stream.png", 128, 128},
    {"stream_connecting.png", 128, 128},
    {"stream_h.png", 128, 128},
    {"success.png", 128, 128},
    {"top_arrow_om_iron.png", 128, 128},
    {"top_arrow_om_pearl.png", 128, 128},
    {"update.png", 128, 128},
    {"video.png", 128, 128},
    {"video_h.png", 128, 128},
    {"video_u.png", 128, 128},
    {"waiting.png", 128, 128},
    {"warning.png", 128, 128},
};

const char* const fontFiles[] = {
    "Audiowide-Regular.ttf",
    "Helvetica-Neue.ttf",
    "NBAkademieMonoPro-Medium.ttf",
    "NBAkademieMonoPro-Regular.ttf",
    "NBAkademiePro-Medium.ttf",
    "NBAkademiePro-Regular.ttf",
    "NunitoSans-Bold.ttf",
    "NunitoSans-Light.ttf",
    "NunitoSans-Regular.ttf",
    "NunitoSans-SemiBold.ttf",
    "Roboto-Bold.ttf",
    "Roboto-Medium.ttf",
    "Roboto-Regular.ttf",
};

// Paths that the program uses and the bundle does not have: they stay blank.
const char* const missing[] = {
    ":/icon/icon/favicon.ico",       ":/images/aspect.png",
    ":/images/aspect_hover.png",     ":/images/combo_arrow_top.png",
    ":/images/drop_arrow_black.png", ":/images/drop_arrow_company_color.png",
    ":/images/top_arrow_black.png",  ":/images/top_arrow_blue.png",
    ":/images/video_on.png",         ":/images/video_on_h.png",
};

QImage load(const QString& name)
{
    return QImage(":/images/" + name + ".png").convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

// The icon as on the screen: reduced to a button's size on the window's background.
QImage onButton(const QString& name)
{
    QImage button(20, 20, QImage::Format_RGB32);
    button.fill(QColor(25, 25, 25));
    QPainter painter(&button);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QRect(0, 0, 20, 20),
                      load(name).scaled(20, 20, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    return button;
}

// Number of pixels with a visible difference.
int differingPixels(const QImage& left, const QImage& right)
{
    int count = 0;
    for (int y = 0; y < left.height(); ++y) {
        for (int x = 0; x < left.width(); ++x) {
            const QColor a = left.pixelColor(x, y);
            const QColor b = right.pixelColor(x, y);
            const int distance = std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) +
                                 std::abs(a.blue() - b.blue());
            count += distance > 60 ? 1 : 0;
        }
    }
    return count;
}

// In steps of a colour channel. Another version of the renderer rounds differently.
int largestDifference(const QImage& left, const QImage& right)
{
    int largest = 0;
    for (int y = 0; y < left.height(); ++y) {
        for (int byte = 0; byte < left.bytesPerLine(); ++byte) {
            largest = std::max(largest, std::abs(int(left.constScanLine(y)[byte]) -
                                                 int(right.constScanLine(y)[byte])));
        }
    }
    return largest;
}

} // namespace

class TestResources : public QObject
{
    Q_OBJECT

private slots:
    void bundleHoldsTheseFilesAndNoOther();
    void bundleIsOfFormatThree();
    void imageSizes_data();
    void imageSizes();
    void everyImageShowsSomething_data();
    void everyImageShowsSomething();
    void statesOfAnIconLookDifferent_data();
    void statesOfAnIconLookDifferent();
    void logosAreWhiteMarksOnNoGround_data();
    void logosAreWhiteMarksOnNoGround();
    void iconsOfLitButtonsStandOutOnLimeAndOnTheGround_data();
    void iconsOfLitButtonsStandOutOnLimeAndOnTheGround();
    void imagesAreThoseOfTheirDrawings();
    void missingPathsStayBlankWithoutAnError_data();
    void missingPathsStayBlankWithoutAnError();
    void fontFilesLoad_data();
    void fontFilesLoad();
};

void TestResources::bundleHoldsTheseFilesAndNoOther()
{
    QStringList expected;
    for (const char* font : fontFiles) {
        expected += QString(":/font/") + font;
    }
    for (const Image& image : images) {
        expected += QString(":/images/") + image.name;
    }
    QStringList found;
    for (QDirIterator it(":/", QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
        const QString path = it.next();
        static const QRegularExpression foldersOfQt("^:/(qt-project\\.org|qpdf|qgradient)/");
        if (!path.contains(foldersOfQt)) {
            found += path;
        }
    }
    expected.sort();
    found.sort();
    QCOMPARE(found, expected);
    QCOMPARE(QDir(":/font").entryList().size(), 13);
    QCOMPARE(QDir(":/images").entryList().size(), 76);
    QVERIFY(!QDir(":/SVG").exists());
}

void TestResources::bundleIsOfFormatThree()
{
    QCOMPARE(bundleFormats(), std::vector<int>{3});
}

void TestResources::imageSizes_data()
{
    QTest::addColumn<QSize>("expected");
    for (const Image& image : images) {
        QTest::newRow(image.name) << QSize(image.width, image.height);
    }
}

void TestResources::imageSizes()
{
    QFETCH(QSize, expected);
    const QString path = QString(":/images/") + QTest::currentDataTag();
    QCOMPARE(QImage(path, "PNG").size(), expected);
    QCOMPARE(QPixmap(path).size(), expected);
}

void TestResources::everyImageShowsSomething_data()
{
    imageSizes_data();
}

void TestResources::everyImageShowsSomething()
{
    const QImage image = QImage(QString(":/images/") + QTest::currentDataTag())
                             .convertToFormat(QImage::Format_ARGB32);
    int shown = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            shown += image.pixelColor(x, y).alpha() > 200 ? 1 : 0;
        }
    }
    // Thin lines cover a thirtieth of their square at least.
    QVERIFY2(shown * 33 > image.width() * image.height(), qPrintable(QString::number(shown)));
}

void TestResources::statesOfAnIconLookDifferent_data()
{
    QTest::addColumn<QStringList>("states");
    const QList<QStringList> families = {
        {"gear", "gear_h", "gear_off"},
        {"refresh", "refresh_h"},
        {"folder", "folder_h", "folder_u"},
        {"play", "play_h", "pause", "pause_h"},
        {"stop", "stop_h"},
        {"play", "stop_h"},
        {"radio_off", "radio_off_h", "radio_on"},
        {"drop_arrow_om_iron", "drop_arrow_om_pearl"},
        {"top_arrow_om_iron", "top_arrow_om_pearl"},
        {"drop_arrow_om_iron", "top_arrow_om_iron"},
        {"slider_on", "slider_on_h", "slider_off"},
        {"box_on", "box_off", "box_off_hover", "box_u"},
        {"check_on", "check_on_h", "check_off", "check_off_h", "check_na_off", "check_na_on"},
        {"photo", "photo_h", "photo_u"},
        {"video", "video_h", "video_u"},
        {"rec", "rec_h", "rec_u", "rec_on", "rec_on_h"},
        {"stream", "stream_h", "stream_connecting"},
        {"TIVAtlasCreateStream", "TIVAtlasCreateStream_h", "TIVAtlasCreateStream_u",
         "TIVAtlasCreateStream_connecting", "TIVAtlasCreateStreamStop",
         "TIVAtlasCreateStreamStop_h"},
        {"success", "fail", "warning", "info", "waiting", "notTested", "loading", "update"},
    };
    for (const QStringList& family : families) {
        for (int left = 0; left < family.size(); ++left) {
            for (int right = left + 1; right < family.size(); ++right) {
                QTest::newRow(qPrintable(family[left] + " and " + family[right]))
                    << QStringList{family[left], family[right]};
            }
        }
    }
}

void TestResources::statesOfAnIconLookDifferent()
{
    QFETCH(QStringList, states);
    const int count = differingPixels(onButton(states[0]), onButton(states[1]));
    QVERIFY2(count >= 16, qPrintable(QString("%1 of 400 pixels").arg(count)));
}

void TestResources::logosAreWhiteMarksOnNoGround_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("maker") << "OM_white";
    QTest::newRow("camera family") << "TIV_white";
}

void TestResources::logosAreWhiteMarksOnNoGround()
{
    QFETCH(QString, name);
    const QImage image = QImage(":/images/" + name + ".png").convertToFormat(QImage::Format_ARGB32);
    int clear = 0;
    int full = 0;
    int leftmost = image.width();
    int rightmost = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor colour = image.pixelColor(x, y);
            if (colour.alpha() == 0) {
                ++clear;
                continue;
            }
            leftmost = std::min(leftmost, x);
            rightmost = std::max(rightmost, x);
            if (colour.alpha() == 255) {
                ++full;
                QCOMPARE(colour, QColor(Qt::white));
            }
        }
    }
    QVERIFY(clear > image.width() * image.height() / 3);
    QVERIFY(full > 100);
    // The mark uses the whole width, so that it is aligned with the column below it.
    QVERIFY(leftmost <= 2);
    QVERIFY(rightmost >= image.width() - 4);
}

void TestResources::iconsOfLitButtonsStandOutOnLimeAndOnTheGround_data()
{
    QTest::addColumn<QString>("name");
    for (const char* name : {"play", "stop_h", "radio_off", "saveIcon", "refresh", "closeCross"}) {
        QTest::newRow(name) << name;
    }
}

void TestResources::iconsOfLitButtonsStandOutOnLimeAndOnTheGround()
{
    QFETCH(QString, name);
    for (const QColor& ground : {QColor(217, 255, 66), QColor(187, 225, 36), QColor(25, 25, 25)}) {
        QImage bare(20, 20, QImage::Format_RGB32);
        bare.fill(ground);
        QImage lit = bare;
        QPainter painter(&lit);
        painter.drawImage(0, 0,
                          load(name).scaled(20, 20, Qt::KeepAspectRatio, Qt::SmoothTransformation));
        painter.end();
        const int count = differingPixels(bare, lit);
        QVERIFY2(count >= 40, qPrintable(QString("%1 of 400 pixels").arg(count)));
    }
}

void TestResources::imagesAreThoseOfTheirDrawings()
{
    const QTemporaryDir folder;
    QVERIFY(folder.isValid());
    QProcess renderer;
    renderer.setProcessChannelMode(QProcess::MergedChannels);
    renderer.start(IMAGES_DIR "/render-images", {folder.path()});
    const bool ended = renderer.waitForFinished(100000);
    QVERIFY2(ended && renderer.exitStatus() == QProcess::NormalExit && renderer.exitCode() == 0,
             renderer.errorString().toUtf8() + ": " + renderer.readAll());

    QStringList names;
    for (const Image& row : images) {
        names += row.name;
    }
    names.sort();
    QStringList rendered = QDir(folder.path()).entryList(QDir::Files);
    rendered.sort();
    QCOMPARE(rendered, names);
    for (const QString& name : names) {
        const auto pixels = [](const QString& path) {
            return QImage(path).convertToFormat(QImage::Format_ARGB32_Premultiplied);
        };
        const QImage held = pixels(":/images/" + name);
        const QImage drawn = pixels(folder.filePath(name));
        QVERIFY2(held.size() == drawn.size(), qPrintable(name));
        QVERIFY2(largestDifference(held, drawn) <= 8, qPrintable(name));
    }
}

void TestResources::missingPathsStayBlankWithoutAnError_data()
{
    QTest::addColumn<QString>("path");
    for (const char* path : missing) {
        QTest::newRow(path) << path;
    }
}

void TestResources::missingPathsStayBlankWithoutAnError()
{
    QFETCH(QString, path);
    QVERIFY(!QFile::exists(path));
    QVERIFY(QPixmap(path).isNull());
    QIcon icon;
    icon.addFile(path, QSize(), QIcon::Normal, QIcon::Off);
    QVERIFY(icon.pixmap(32, 32).isNull());
}

void TestResources::fontFilesLoad_data()
{
    QTest::addColumn<QString>("family");
    QTest::addColumn<QString>("face");
    QTest::newRow("Audiowide-Regular.ttf") << "Audiowide"
                                           << "Regular";
    QTest::newRow("Helvetica-Neue.ttf") << "Inter"
                                        << "Regular";
    QTest::newRow("NBAkademieMonoPro-Medium.ttf") << "IBM Plex Mono"
                                                  << "Medium";
    QTest::newRow("NBAkademieMonoPro-Regular.ttf") << "IBM Plex Mono"
                                                   << "Regular";
    QTest::newRow("NBAkademiePro-Medium.ttf") << "IBM Plex Sans"
                                              << "Medium";
    QTest::newRow("NBAkademiePro-Regular.ttf") << "IBM Plex Sans"
                                               << "Regular";
    QTest::newRow("NunitoSans-Bold.ttf") << "Nunito Sans"
                                         << "Bold";
    QTest::newRow("NunitoSans-Light.ttf") << "Nunito Sans"
                                          << "Light";
    QTest::newRow("NunitoSans-Regular.ttf") << "Nunito Sans"
                                            << "Regular";
    QTest::newRow("NunitoSans-SemiBold.ttf") << "Nunito Sans"
                                             << "SemiBold";
    QTest::newRow("Roboto-Bold.ttf") << "Roboto"
                                     << "Bold";
    QTest::newRow("Roboto-Medium.ttf") << "Roboto"
                                       << "Medium";
    QTest::newRow("Roboto-Regular.ttf") << "Roboto"
                                        << "Regular";
}

void TestResources::fontFilesLoad()
{
    QFETCH(QString, family);
    QFETCH(QString, face);
    const QString path = QString(":/font/") + QTest::currentDataTag();
    const int id = QFontDatabase::addApplicationFont(path);
    QVERIFY(id >= 0);
    QVERIFY2(QFontDatabase::applicationFontFamilies(id).contains(family),
             qPrintable(QFontDatabase::applicationFontFamilies(id).join(", ")));
    const QRawFont font(path, 20);
    QVERIFY(font.isValid());
    QCOMPARE(font.styleName(), face);
    // All characters of the program's texts.
    for (const QChar sign : QString("0123456789-.°²µ[]@ABCxyz")) {
        QVERIFY2(font.supportsCharacter(sign), qPrintable(QString(sign)));
    }
}

QTEST_MAIN(TestResources)
#include "tst_resources.moc"
