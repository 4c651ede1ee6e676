/// @file
/// The style sheets and fonts of the windows.
#pragma once

#include <QFont>
#include <QString>

/// The point size that a font needs on this screen: referenceSize * 28 / digitWidth, truncated.
/// @param referenceSize points
/// @param digitWidth    width of "123" in the reference font at 10 points, pixels, above 0
int scaledPointSize(int referenceSize, int digitWidth);

/// The look of the program: style sheets and fonts, ready for setStyleSheet and setFont. A window
/// creates one, passes its members to its widgets, and keeps it only if later code needs it.
///
/// Needs a QApplication, because it measures a font; interface thread only. Constant after
/// construction. The user of a sheet with %1, %2, %3 fills these with QString::arg.
class Style
{
public:
    /// Registers the bundled fonts and builds all members. Each Style registers them again; Qt
    /// keeps each copy, about 1.5 MB, until the program ends.
    Style();

    // Windows and buttons
    QString windowBlackStyle;
    QString closeButtonStyle;
    QString windowSoilStyle;
    QString primaryButtonStyle;
    QString outlineButtonStyle;
    QString linkButtonStyle;
    QString segmentLeftStyle;
    QString segmentMiddleStyle;
    QString segmentRightStyle;
    QString upperTabButtonStyle;
    QString lowerTabButtonStyle;
    QString alertButtonStyle;
    QString limeDarkButtonStyle;
    QString limeOutlineButtonStyle;

    // Combo boxes, sliders and line edits
    QString comboDarkStyle;
    QString comboLightStyle;
    QString emptyStyleA;
    QString comboPopupStyle;
    QString comboPopupTopStyle;
    QString sliderStyle;
    QString plainPanelStyle;
    QString lineEditStyle;
    QString lineEditDimStyle;
    QString lineEditAlertStyle;
    QString lineEditYellowStyle;
    QString lineEditWhiteStyle;
    QString lineEditClearStyle;

    // Check boxes, spin boxes, radio buttons and containers
    QString checkBoxLargeStyle;
    QString checkBoxLockedStyle;
    QString checkBoxLargeCopyStyle;
    QString checkBoxGreyStyle;
    QString checkBoxAshStyle;
    QString checkBoxScaleStyle;
    QString spinBoxFlatStyle;
    QString spinBoxStyle;
    QString radioButtonStyle;
    QString tabWidgetStyle;
    QString listWidgetStyle;
    QString groupBoxPlainStyle;
    QString frameRoundedStyle;
    QString frameFlatStyle;
    QString menuItemStyle;

    // Fonts; the number is the reference size in points
    QFont fontMonoMedium11;
    QFont fontMonoHeavy10;
    QFont fontMonoTitle15;
    QFont fontMonoCaps9;
    QFont fontMono9;
    QFont fontPro9;
    QFont fontPro12;
    QFont fontMonoBold10;
    QFont fontPro8;
    QFont fontPro7;
    QFont fontMonoLight10;
    QFont fontMonoMedium9;
    QFont fontProLarge27;

    // Buttons and labels that show an image
    QString pausePlayStyle;
    QString stopStyle;
    QString gearStyle;
    QString refreshStyle;
    QString photoStyle;
    QString videoStyle;
    QString aspectStyle;
    QString folderStyle;
    QString folderPlainStyle;
    QString streamStyle;
    QString createStreamStyle;
    QString recStyle;
    QString textToolStyle;
    QString labelImageStyle;

    // Font declarations for use inside a style sheet
    QString cssExtraBold15;
    QString cssRegular11;
    QString cssMedium19;
    QString cssBold12;
    QString cssMedium19b;
    QString cssMedium15;
    QString cssMedium12;
    QString cssMedium11;
    QString cssRegular11b;
    QString cssRegular12;
    QString cssMedium10;
    QString cssRegular11c;
    QString cssLight19;
    QString emptyStyleB;

    // Value fields, panels and labels. An axis has one colour in fields, curves and 3D view.
    QString comboFlatStyle;
    QString xAxisEditStyle;
    QString yAxisEditStyle;
    QString zAxisEditStyle;
    QString singleAxisEditStyle;
    QString plainEditStyle;
    QString plainEditCopyStyle;
    QString groupBoxTitleStyle;
    QString groupBoxIndentStyle;
    QString panelPearlStyle;
    QString panelSoilStyle;
    QString labelTemplateStyle;
    QString labelAshStyle;
    QString labelPearlStyle;
    QString labelWhiteStyle;
    QString labelAlertStyle;
    QString labelLimeStyle;
    QString labelBaseStyle;
    QString labelMedStyle;
    QString labelXStyle;
    QString labelYStyle;
    QString labelCompanyStyle;
    QString labelAshCopyStyle;

    // Actions, status and progress
    QString saveButtonStyle;
    QString sensorButtonStyle;
    QString sensorButtonCopyStyle;
    QString iconToolStyle;
    QString sideFrameStyle;
    QString splashStyle;
    QString statusOnStyle;
    QString statusOffStyle;
    QString statusErrorStyle;
    QString progressStyle;
    QString scrollBarStyle;

    // Width of "123" in pixels at 10 points in the reference font. It determines all sizes.
    int digitWidth = 0;

private:
    void makeFonts();
    void makeFontTexts();
    void makeControlStyles();
    void makeImageButtonStyles();
    void makePanelStyles();
};
