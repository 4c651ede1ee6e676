#include "look/Style.h"

#include <QFontDatabase>
#include <QFontMetrics>

#include <initializer_list>

namespace {

constexpr char monoMedium[] = "NB Akademie Mono Pro Medium";
constexpr char monoRegular[] = "NB Akademie Mono Pro Regular";
constexpr char proRegular[] = "NB Akademie Pro Regular";
constexpr char proMedium[] = "NB Akademie Pro Medium";

// Spacing 0 keeps the font's own letter spacing.
QFont makeFont(const char* family, int pointSize, int weight, int spacingPercent = 0,
               bool upperCase = false)
{
    QFont font;
    font.setFamily(family);
    font.setPointSize(pointSize);
    font.setWeight(weight);
    if (spacingPercent != 0) {
        font.setLetterSpacing(QFont::PercentageSpacing, spacingPercent);
    }
    if (upperCase) {
        font.setCapitalization(QFont::AllUppercase);
    }
    // The second strategy replaces the first.
    font.setStyleStrategy(QFont::NoSubpixelAntialias);
    font.setStyleStrategy(QFont::PreferAntialias);
    return font;
}

QString fontText(const char* family, const char* weight, int pointSize)
{
    return QString("font-family: ") + family + "; font-weight: " + weight +
           "; font-size: " + QString::number(pointSize) + "pt;";
}

// The bundled files keep their makers' family names, as their licences require; the program uses
// the names of its own type plan.
void insertFamilySubstitutions()
{
    QFont::insertSubstitution(monoMedium, "IBM Plex Mono Medium");
    QFont::insertSubstitution(monoRegular, "IBM Plex Mono");
    QFont::insertSubstitution(proMedium, "IBM Plex Sans Medium");
    QFont::insertSubstitution(proRegular, "IBM Plex Sans");
    // In a style sheet Qt reads the bare word Medium as the font size of that name and writes the
    // number of its keyword into the family.
    QFont::insertSubstitution("NB Akademie Mono Pro 7", "IBM Plex Mono Medium");
}

} // namespace

int scaledPointSize(int referenceSize, int digitWidth)
{
    return static_cast<int>(static_cast<float>(referenceSize * 28) /
                            static_cast<float>(digitWidth));
}

Style::Style()
{
    for (const char* file :
         {":/font/Roboto-Medium.ttf", ":/font/Roboto-Bold.ttf", ":/font/Roboto-Regular.ttf",
          ":/font/Helvetica-Neue.ttf", ":/font/NBAkademiePro-Regular.ttf",
          ":/font/NBAkademiePro-Medium.ttf", ":/font/NBAkademieMonoPro-Regular.ttf",
          ":/font/NBAkademieMonoPro-Medium.ttf"}) {
        QFontDatabase::addApplicationFont(file);
    }
    insertFamilySubstitutions();

    QFont reference(monoMedium);
    reference.setPointSize(10);
    digitWidth = QFontMetrics(reference).horizontalAdvance("123");

    makeFonts();
    makeFontTexts();
    makeControlStyles();
    makeImageButtonStyles();
    makePanelStyles();
}

void Style::makeFonts()
{
    const auto size = [this](int referenceSize) {
        return scaledPointSize(referenceSize, digitWidth);
    };
    fontMonoMedium11 = makeFont(monoMedium, size(11), 57);
    fontMonoHeavy10 = makeFont(monoMedium, size(10), 81);
    fontMonoTitle15 = makeFont(monoMedium, size(15), 57, 0, true);
    fontMonoCaps9 = makeFont(monoRegular, size(9), 50, 98, true);
    fontMono9 = makeFont(monoRegular, size(9), 50, 98);
    fontPro9 = makeFont(proRegular, size(9), 50, 97);
    fontPro12 = makeFont(proRegular, size(12), 50);
    fontMonoBold10 = makeFont(monoMedium, size(10), 75, 98);
    fontPro8 = makeFont(proRegular, size(8), 50);
    fontPro7 = makeFont(proRegular, size(7), 50, 98);
    fontMonoLight10 = makeFont(monoRegular, size(10), 25);
    fontMonoMedium9 = makeFont(monoMedium, size(9), 57, 97);
    fontProLarge27 = makeFont(proMedium, size(27), 57);
}

void Style::makeFontTexts()
{
    const auto size = [this](int referenceSize) {
        return scaledPointSize(referenceSize, digitWidth);
    };
    cssExtraBold15 = fontText(monoMedium, "ExtraBold", size(15));
    cssRegular11 = fontText(monoRegular, "Regular", size(11));
    cssMedium19 = fontText(monoMedium, "Medium", size(19));
    cssBold12 = fontText(monoMedium, "Bold", size(12));
    cssMedium19b = fontText(monoMedium, "Medium", size(19));
    cssMedium15 = fontText(monoMedium, "Medium", size(15));
    cssMedium12 = fontText(monoMedium, "Medium", size(12));
    cssMedium11 = fontText(monoMedium, "Medium", size(11));
    cssRegular11b = fontText(monoRegular, "Regular", size(11));
    cssRegular12 = fontText(monoRegular, "Regular", size(12));
    cssMedium10 = fontText(monoMedium, "Medium", size(10));
    cssRegular11c = fontText(monoRegular, "Regular", size(11));
    cssLight19 = fontText(monoRegular, "Light", size(19));
}
