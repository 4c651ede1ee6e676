#include "look/Style.h"

#include "look/clr.h"

#include <QHash>

// The sheets themselves. A palette name in braces is replaced by the colour's text; all other
// braces belong to the sheet. Some rows name images that are not in the bundle (aspect,
// combo_arrow_top, drop_arrow_black, drop_arrow_company_color, top_arrow_black, top_arrow_blue,
// video_on): there the widget shows only its background.
namespace {

const QHash<QString, QString>& palette()
{
    static const QHash<QString, QString> entries = {
        {"black", clr::black},
        {"company_clr", clr::company_clr},
        {"company_clr_h", clr::company_clr_h},
        {"concrete", clr::concrete},
        {"grey", clr::grey},
        {"med_black", clr::med_black},
        {"om_ash", clr::om_ash},
        {"om_black", clr::om_black},
        {"om_charcoal", clr::om_charcoal},
        {"om_iron", clr::om_iron},
        {"om_lime", clr::om_lime},
        {"om_pearl", clr::om_pearl},
        {"om_soil", clr::om_soil},
        {"om_steel", clr::om_steel},
        {"om_white", clr::om_white},
        {"red", clr::red},
        {"red_h", clr::red_h},
        {"singleAxis", clr::singleAxis},
        {"transparent", clr::transparent},
        {"white", clr::white},
        {"xAxis", clr::xAxis},
        {"yAxis", clr::yAxis},
        {"yellow", clr::yellow},
        {"zAxis", clr::zAxis},
    };
    return entries;
}

QString sheet(const QString& text)
{
    QString filled;
    filled.reserve(text.size() * 2);
    int from = 0;
    for (int open = text.indexOf('{'); open >= 0; open = text.indexOf('{', open + 1)) {
        const int close = text.indexOf('}', open);
        const auto colour = palette().constFind(text.mid(open + 1, close - open - 1));
        if (colour == palette().constEnd()) {
            continue;
        }
        filled += text.mid(from, open - from) + colour.value();
        from = close + 1;
    }
    return filled + text.mid(from);
}

// One piece of a segmented control; the outer pieces round their outer corners.
QString segment(const QString& corners)
{
    return sheet("QAbstractButton{color:{om_pearl};background-color:{om_soil};"
                 "border: 1px solid {om_iron};" +
                 corners +
                 "}"
                 "QAbstractButton:hover{background-color:{om_charcoal};}"
                 "QAbstractButton:checked{color:{om_soil};background-color:{company_clr};"
                 "border-color:{company_clr};}"
                 "QAbstractButton:disabled{color:{om_ash};border-color:{om_ash};}");
}

// A button of a row of tabs, with a line on the side of its page.
QString tabButton(const QString& side)
{
    return sheet("QAbstractButton{color:{om_iron};background-color:{om_soil};border: 0px;"
                 "border-radius: 0px;border-" +
                 side +
                 ": 2px solid {om_charcoal};}"
                 "QAbstractButton:hover{color:{om_pearl};border-color:{om_iron};}"
                 "QAbstractButton:checked{color:{company_clr};border-color:{company_clr};}"
                 "QAbstractButton:disabled{color:{om_ash};border-color:{om_steel};}");
}

// A combo box whose list pops up under, or over, a flat field.
QString comboPopup(const QString& arrow, const QString& arrowHovered)
{
    return sheet("QComboBox{border: 0px;border-radius: 4px;color: {om_pearl};"
                 "background-color:{om_charcoal};selection-color: {om_soil};"
                 "selection-background-color: {company_clr};padding-left: 8px;}"
                 "QComboBox:disabled{color:{om_ash};background-color:{om_steel};}"
                 "QComboBox::drop-down{border: 0px;subcontrol-origin: padding;"
                 "subcontrol-position: top right;width: 20px;}"
                 "QComboBox::down-arrow{border: 0px;image: url(" +
                 arrow +
                 ");width: 15px;height: 15px;}"
                 "QComboBox::down-arrow:hover{image: url(" +
                 arrowHovered +
                 ");}"
                 "QComboBox QAbstractItemView{border: 1px solid {om_ash};color: {om_pearl};"
                 "background-color:{om_charcoal};selection-color: {om_soil};"
                 "selection-background-color: {company_clr};}");
}

QString lineEdit(const QString& text, const QString& ground, const QString& border,
                 const QString& focusedBorder)
{
    return sheet("QLineEdit{border: 1px solid {" + border + "};border-radius: 4px;color: {" + text +
                 "};background-color:{" + ground +
                 "};selection-color: {om_soil};selection-background-color: {om_iron};}"
                 "QLineEdit:focus{border-color: {" +
                 focusedBorder +
                 "};}"
                 "QLineEdit:disabled{border-color: {om_ash};color:{om_ash};}");
}

// A check box or radio button with the small square.
QString smallBox(const QString& control, const QString& text, const QString& size)
{
    return sheet(QString("@{color:{" + text +
                         "};border: 0px;spacing: 8px;background-color:{transparent};}"
                         "@:disabled{color:{om_ash};}"
                         "@::indicator{width: " +
                         size + ";height: " + size +
                         ";}"
                         "@::indicator:unchecked{image:url(:/images/box_off.png);}"
                         "@::indicator:unchecked:hover{image:url(:/images/box_off_hover.png);}"
                         "@::indicator:checked{image:url(:/images/box_on.png);}"
                         "@::indicator:disabled{image:url(:/images/box_u.png);}")
                     .replace("@", control));
}

QString spinBox(const QString& border, const QString& ground, const QString& up,
                const QString& upHovered, const QString& down, const QString& downHovered)
{
    return sheet("QAbstractSpinBox{border: " + border +
                 ";border-radius: 4px;color: {om_pearl};background-color:{" + ground +
                 "};selection-color: {om_soil};selection-background-color: {om_iron};}"
                 "QAbstractSpinBox:disabled{color:{om_ash};}"
                 "QAbstractSpinBox::up-button{border: 0px;subcontrol-origin: border;"
                 "subcontrol-position: top right;width: 18px;}"
                 "QAbstractSpinBox::down-button{border: 0px;subcontrol-origin: border;"
                 "subcontrol-position: bottom right;width: 18px;}"
                 "QAbstractSpinBox::up-arrow{image: url(" +
                 up +
                 ");width: 10px;height: 10px;}"
                 "QAbstractSpinBox::up-arrow:hover{image: url(" +
                 upHovered +
                 ");}"
                 "QAbstractSpinBox::down-arrow{image: url(" +
                 down +
                 ");width: 10px;height: 10px;}"
                 "QAbstractSpinBox::down-arrow:hover{image: url(" +
                 downHovered + ");}");
}

// A tool button that is an image, by the name of its file. An empty name leaves the state out.
QString imageButton(const QString& normal, const QString& hovered, const QString& disabled = {},
                    const QString& checked = {}, const QString& checkedHovered = {})
{
    const auto rule = [](const QString& state, const QString& image) {
        return image.isEmpty() ? QString()
                               : "QToolButton" + state + "{image:url(:/images/" + image + ".png);}";
    };
    return sheet("QToolButton{border:0px solid;color:{white};image:url(:/images/" + normal +
                 ".png);}") +
           rule(":hover", hovered) + rule(":checked", checked) +
           rule(":checked:hover", checkedHovered) + rule(":disabled", disabled);
}

// A value field in the colour of its axis. Text selected in it shows no selection.
QString axisEdit(const QString& colour)
{
    return sheet("border:0px;border-radius: 0px;color:{" + colour +
                 "};background-color:{om_soil};selection-color:{" + colour +
                 "};selection-background-color:{om_soil}");
}

QString label(const QString& colour)
{
    return sheet("QLabel {color: {" + colour +
                 "};border: 0px;}QLabel:disabled{ color: {om_ash};border: 0px;}");
}

QString status(const QString& text, const QString& ground)
{
    return sheet("border: 0px;border-radius: 4px;color: {" + text + "};background-color: {" +
                 ground + "};width: 95px;height: 18px;");
}

} // namespace

void Style::makeControlStyles()
{
    windowBlackStyle = sheet("QWidget{background-color : {om_black};color : {om_pearl};}");
    closeButtonStyle = windowBlackStyle + "QToolButton,QPushButton{border: 0px solid;"
                                          "image:url(:/images/closeCross_om_pearl.png);}"
                                          "QToolButton:hover,QPushButton:hover{"
                                          "image:url(:/images/closeCross_om_pearl.png);}";
    windowSoilStyle = sheet("QWidget{background-color : {om_soil};color : {om_pearl};}");

    primaryButtonStyle =
        sheet("QAbstractButton{color:{om_soil};background-color:{company_clr};border: 0px;"
              "border-radius: 4px;}"
              "QAbstractButton:checked{background-color:{company_clr};}"
              "QAbstractButton:hover{background-color:{company_clr_h};"
              "border-color:{company_clr_h};}"
              "QAbstractButton:disabled{color:{om_pearl};background-color:{om_soil};"
              "border: 1px solid {om_ash};}");
    outlineButtonStyle =
        sheet("QAbstractButton{color:{om_pearl};background-color:{om_soil};"
              "border: 1px solid {om_iron};border-radius: 4px;}"
              "QAbstractButton:checked{color:{om_soil};background-color:{om_iron};}"
              "QAbstractButton:hover{color:{om_soil};background-color:{om_pearl};"
              "border-color:{om_pearl};}"
              "QAbstractButton:disabled{color:{om_ash};background-color:{om_soil};"
              "border: 1px solid {om_ash};}");
    linkButtonStyle = sheet("QAbstractButton{color:{company_clr};background-color:{transparent};"
                            "border: 0px;text-decoration: underline;}"
                            "QAbstractButton:hover{color:{company_clr_h};}"
                            "QAbstractButton:disabled{color:{om_ash};}");
    segmentLeftStyle =
        segment("border-top-left-radius: 4px;border-bottom-left-radius: 4px;border-right: 0px;");
    segmentMiddleStyle = segment("border-radius: 0px;border-right: 0px;");
    segmentRightStyle = segment("border-top-right-radius: 4px;border-bottom-right-radius: 4px;");
    upperTabButtonStyle = tabButton("bottom");
    lowerTabButtonStyle = tabButton("top");
    alertButtonStyle = sheet("QAbstractButton{color:{om_soil};background-color:{red};border: 0px;"
                             "border-radius: 4px;}"
                             "QAbstractButton:checked{background-color:{red};}"
                             "QAbstractButton:hover{background-color:{red_h};"
                             "border-color:{red_h};}"
                             "QAbstractButton:disabled{color:{om_pearl};background-color:{om_soil};"
                             "border: 1px solid {om_ash};}");
    limeDarkButtonStyle =
        sheet("QAbstractButton{color:{om_lime};background-color:{om_steel};border: 0px;"
              "border-radius: 4px;}"
              "QAbstractButton:checked{color:{om_soil};background-color:{om_lime};}"
              "QAbstractButton:hover{color:{om_soil};background-color:{company_clr_h};}"
              "QAbstractButton:disabled{color:{om_ash};background-color:{om_steel};}");
    limeOutlineButtonStyle =
        sheet("QAbstractButton{color:{om_lime};background-color:{om_soil};"
              "border: 1px solid {om_lime};border-radius: 4px;}"
              "QAbstractButton:checked{color:{om_soil};background-color:{om_lime};}"
              "QAbstractButton:hover{color:{om_soil};background-color:{company_clr_h};"
              "border-color:{company_clr_h};}"
              "QAbstractButton:disabled{color:{om_ash};background-color:{om_soil};"
              "border: 1px solid {om_ash};}");

    comboDarkStyle =
        sheet("QComboBox{border: 1px solid {om_iron};border-radius: 4px;color: {om_pearl};"
              "background-color:{om_soil};selection-color: {om_soil};"
              "selection-background-color: {om_iron};}"
              "QComboBox:disabled{border: 1px solid {om_iron};color:{om_iron};}"
              "QComboBox::drop-down{border: 0px;subcontrol-origin: padding;"
              "subcontrol-position: top right;width: 20px;}"
              "QComboBox::down-arrow{border: 0px;image: url(:/images/drop_arrow_om_iron.png);"
              "width: 15px;height: 15px;}"
              "QComboBox::down-arrow:hover{image: url(:/images/drop_arrow_om_pearl.png);}"
              "QComboBox QAbstractItemView{border: 1px solid {om_iron};color: {om_pearl};"
              "background-color:{om_soil};selection-color: {om_soil};"
              "selection-background-color: {om_iron};}");
    comboLightStyle =
        sheet("QComboBox{border: 1px solid {om_ash};border-radius: 4px;color: {om_pearl};"
              "background-color:{om_charcoal};selection-color: {om_soil};"
              "selection-background-color: {om_pearl};}"
              "QComboBox:disabled{border: 1px solid {om_charcoal};color:{om_ash};}"
              "QComboBox::drop-down{border: 0px;subcontrol-origin: padding;"
              "subcontrol-position: top right;width: 20px;}"
              "QComboBox::down-arrow{border: 0px;image: url(:/images/drop_arrow_om_iron.png);"
              "width: 15px;height: 15px;}"
              "QComboBox::down-arrow:hover{image: url(:/images/drop_arrow_om_pearl.png);}"
              "QComboBox QAbstractItemView{border: 1px solid {om_ash};color: {om_pearl};"
              "background-color:{om_charcoal};selection-color: {om_soil};"
              "selection-background-color: {om_pearl};}");
    comboPopupStyle =
        comboPopup(":/images/drop_arrow_black.png", ":/images/drop_arrow_company_color.png");
    comboPopupTopStyle =
        comboPopup(":/images/combo_arrow_top.png", ":/images/drop_arrow_company_color.png");
    sliderStyle = sheet("QSlider{background-color:{transparent};}"
                        "QSlider::groove:horizontal{border: 0px;height: 4px;border-radius: 2px;"
                        "background-color:{om_charcoal};}"
                        "QSlider::sub-page:horizontal{border-radius: 2px;"
                        "background-color:{company_clr};}"
                        "QSlider::handle:horizontal{width: 18px;height: 18px;margin: -7px 0px;"
                        "image:url(:/images/slider_on.png);}"
                        "QSlider::handle:horizontal:hover{image:url(:/images/slider_on_h.png);}"
                        "QSlider::sub-page:horizontal:disabled{background-color:{om_ash};}"
                        "QSlider::handle:horizontal:disabled{image:url(:/images/slider_off.png);}"
                        "QSlider::groove:vertical{border: 0px;width: 4px;border-radius: 2px;"
                        "background-color:{om_charcoal};}"
                        "QSlider::add-page:vertical{border-radius: 2px;"
                        "background-color:{company_clr};}"
                        "QSlider::handle:vertical{width: 18px;height: 18px;margin: 0px -7px;"
                        "image:url(:/images/slider_on.png);}"
                        "QSlider::handle:vertical:hover{image:url(:/images/slider_on_h.png);}"
                        "QSlider::add-page:vertical:disabled{background-color:{om_ash};}"
                        "QSlider::handle:vertical:disabled{image:url(:/images/slider_off.png);}");
    plainPanelStyle = sheet("QWidget{border: 0px;background-color:{om_steel};color:{om_pearl};}");

    lineEditStyle = lineEdit("om_pearl", "om_soil", "om_iron", "company_clr");
    lineEditDimStyle = lineEdit("om_ash", "om_soil", "om_charcoal", "om_ash");
    lineEditAlertStyle = lineEdit("red", "om_soil", "red", "red_h");
    lineEditYellowStyle = lineEdit("yellow", "om_soil", "yellow", "om_pearl");
    lineEditWhiteStyle = lineEdit("om_soil", "om_white", "om_iron", "company_clr_h");
    // Also for labels that replace a field, such as a path.
    lineEditClearStyle = sheet("QLineEdit,QLabel{border: 0px;border-radius: 0px;color: {om_pearl};"
                               "background-color:{transparent};selection-color: {om_soil};"
                               "selection-background-color: {om_iron};}"
                               "QLineEdit:disabled,QLabel:disabled{color:{om_ash};}");

    checkBoxLargeStyle =
        sheet("QCheckBox{color:{om_pearl};border: 0px;spacing: 10px;"
              "background-color:{transparent};}"
              "QCheckBox:disabled{color:{om_ash};}"
              "QCheckBox::indicator{width: 18px;height: 18px;}"
              "QCheckBox::indicator:unchecked{image:url(:/images/check_off.png);}"
              "QCheckBox::indicator:unchecked:hover{image:url(:/images/check_off_h.png);}"
              "QCheckBox::indicator:checked{image:url(:/images/check_on.png);}"
              "QCheckBox::indicator:checked:hover{image:url(:/images/check_on_h.png);}"
              "QCheckBox::indicator:disabled{image:url(:/images/check_na_off.png);}");
    // Shows a choice that the user cannot change; it does not react to the mouse.
    checkBoxLockedStyle =
        sheet("QCheckBox{color:{om_ash};border: 0px;spacing: 10px;"
              "background-color:{transparent};}"
              "QCheckBox::indicator{width: 18px;height: 18px;}"
              "QCheckBox::indicator:unchecked{image:url(:/images/check_na_off.png);}"
              "QCheckBox::indicator:checked{image:url(:/images/check_on.png);}");
    checkBoxLargeCopyStyle = checkBoxLargeStyle;
    checkBoxGreyStyle = smallBox("QCheckBox", "grey", "14px");
    checkBoxAshStyle = smallBox("QCheckBox", "om_ash", "14px");
    checkBoxScaleStyle = smallBox("QCheckBox", "om_pearl", "%1px");
    spinBoxFlatStyle =
        spinBox("0px", "om_steel", ":/images/top_arrow_black.png", ":/images/top_arrow_blue.png",
                ":/images/drop_arrow_black.png", ":/images/drop_arrow_company_color.png");
    spinBoxStyle = spinBox("1px solid {om_iron}", "om_soil", ":/images/top_arrow_om_iron.png",
                           ":/images/top_arrow_om_pearl.png", ":/images/drop_arrow_om_iron.png",
                           ":/images/drop_arrow_om_pearl.png");
    radioButtonStyle = smallBox("QRadioButton", "om_pearl", "14px");

    tabWidgetStyle =
        sheet("QTabWidget{background-color:{om_soil};}"
              "QTabWidget::pane{border-top:0px solid {company_clr};border-radius : 0px;"
              "position:absolute;top:0px;}"
              "QTabBar::tab{min-width:100px;width: %1 px;padding: 10px;}"
              "QTabBar::tab:selected{background:{company_clr};color:{om_soil};}"
              "QTabBar::tab:!selected{background:{om_charcoal};color:{om_pearl};}"
              "QTabBar::tab:disabled{ background:{om_iron};color:{om_soil};}");
    listWidgetStyle =
        sheet("QListWidget{border: 1px solid {om_charcoal};border-radius: 4px;color: {om_pearl};"
              "background-color:{om_soil};outline: none;}"
              "QListWidget::item{padding: 4px;border: 0px;}"
              "QListWidget::item:hover{background-color:{om_charcoal};}"
              "QListWidget::item:selected{background-color:{company_clr};color:{om_soil};}"
              "QListWidget::item:disabled{color:{om_ash};}");
    groupBoxPlainStyle = sheet("QGroupBox {border: 0px;border-radius: 0px;margin-top: 20px;}"
                               "QGroupBox::title {color:{om_pearl};subcontrol-origin: margin;"
                               "subcontrol-position: top left;}"
                               "QGroupBox::title:disabled {color:{om_ash};}");
    frameRoundedStyle =
        sheet("QFrame{border-radius: 20px;border: 0px solid;border-color: {om_charcoal};}");
    frameFlatStyle = "QFrame{border: 0px;margin: 0px;padding: 0px;}";
    menuItemStyle = sheet("QMenu{border: 1px solid {om_charcoal};color: {om_pearl};"
                          "background-color:{om_steel};}"
                          "QMenu::item{padding: 6px 24px;background-color:{transparent};}"
                          "QMenu::item:selected{color:{om_soil};background-color:{company_clr};}"
                          "QMenu::item:disabled{color:{om_ash};background-color:{transparent};}"
                          "QMenu::separator{height: 1px;margin: 4px 8px;"
                          "background-color:{om_charcoal};}");
}

void Style::makeImageButtonStyles()
{
    // Shows the pause symbol; checked, while paused, the play symbol.
    pausePlayStyle = imageButton("pause", "pause_h", {}, "play", "play_h");
    stopStyle = imageButton("stop", "stop_h");
    gearStyle = imageButton("gear", "gear_h", "gear_off");
    refreshStyle = imageButton("refresh", "refresh_h");
    photoStyle = imageButton("photo", "photo_h", "photo_u");
    videoStyle = imageButton("video", "video_h", "video_u", "video_on", "video_on_h");
    aspectStyle = imageButton("aspect", "aspect_hover");
    folderStyle = imageButton("folder", "folder_h", "folder_u");
    folderPlainStyle = sheet("QAbstractButton{border:0px solid;background-color:{transparent};"
                             "image:url(:/images/folder.png);}"
                             "QAbstractButton:hover{image:url(:/images/folder_h.png);}"
                             "QAbstractButton:disabled{image:url(:/images/folder_u.png);}");
    streamStyle = imageButton("stream", "stream_h");
    createStreamStyle = imageButton("TIVAtlasCreateStream", "TIVAtlasCreateStream_h");
    recStyle = imageButton("rec", "rec_h", "rec_u", "rec_on", "rec_on_h");
    textToolStyle = sheet("QToolButton{border:0px solid;color:{om_pearl};"
                          "background-color:{transparent};}"
                          "QToolButton:checked{color:{company_clr};}"
                          "QToolButton:hover{color:{company_clr_h};}"
                          "QToolButton:disabled{color:{om_ash};}");
    // "Qlabel" matches no class of Qt: a label with this sheet keeps its text and shows no image.
    labelImageStyle = "Qlabel{border:0px solid;color: transparent;background-color:transparent;"
                      "image:url(%1);}";
    iconToolStyle = sheet("QToolButton{border: 0px solid;color: {om_pearl};image: url(%1);}"
                          "QToolButton:checked{image: url(%2);}"
                          "QToolButton:hover{image: url(%3);}");
}

void Style::makePanelStyles()
{
    comboFlatStyle =
        sheet("QComboBox{border: 0px;border-radius: 0px;color: {om_pearl};"
              "background-color:{transparent};selection-color: {om_soil};"
              "selection-background-color: {om_iron};}"
              "QComboBox:disabled{border: 0px;color:{om_ash};}"
              "QComboBox::drop-down{border: 0px;subcontrol-origin: padding;"
              "subcontrol-position: top right;width: 20px;}"
              "QComboBox::down-arrow{border: 0px;image: url(:/images/drop_arrow_om_iron.png);"
              "width: 15px;height: 15px;}"
              "QComboBox::down-arrow:hover{image: url(:/images/drop_arrow_om_pearl.png);}"
              "QComboBox QAbstractItemView{border: 0px;color: {om_pearl};"
              "background-color:{om_steel};selection-color: {om_soil};"
              "selection-background-color: {om_iron};}");
    xAxisEditStyle = axisEdit("xAxis");
    yAxisEditStyle = axisEdit("yAxis");
    zAxisEditStyle = axisEdit("zAxis");
    singleAxisEditStyle = axisEdit("singleAxis");
    plainEditStyle = axisEdit("om_pearl");
    plainEditCopyStyle = plainEditStyle;
    groupBoxTitleStyle =
        sheet("QGroupBox {border: 1px solid {om_charcoal};border-radius: 4px;margin-top: 24px;}"
              "QGroupBox::title {color:{om_pearl};subcontrol-origin: margin;"
              "subcontrol-position: top left;}"
              "QGroupBox::title:disabled {color:{om_ash};}");
    groupBoxIndentStyle =
        sheet("QGroupBox {border: 0px;border-radius: 0px;margin-top: 8px;margin-left: 20px;}"
              "QGroupBox::title {color:{om_pearl};subcontrol-origin: border;}");
    panelPearlStyle = sheet("QWidget{background-color : {om_pearl};color : {om_soil};}");
    panelSoilStyle = sheet("QWidget{border: 0px;background-color : {om_soil};color : {om_pearl};}");

    labelTemplateStyle = "QLabel {color: %1;border: 0px;}QLabel:disabled{ color: %1;border: 0px;}";
    labelAshStyle = label("om_ash");
    labelPearlStyle = label("om_pearl");
    labelWhiteStyle = label("white");
    labelAlertStyle = label("red");
    labelLimeStyle = label("om_lime");
    labelBaseStyle = sheet("QLabel {color: {om_pearl};border: 0px;}"
                           "QLabel:disabled{ color: {om_pearl};border: 0px;}");
    labelMedStyle = label("med_black");
    labelXStyle = label("xAxis");
    labelYStyle = label("yAxis");
    labelCompanyStyle = label("company_clr");
    labelAshCopyStyle = labelAshStyle;

    // A checked save button is red: a recording runs.
    saveButtonStyle = sheet("QAbstractButton{color:{om_soil};background-color:{company_clr};"
                            "border-radius: 4px;}"
                            "QAbstractButton:checked{background-color:{xAxis};}"
                            "QAbstractButton:hover{background-color:{company_clr_h};}"
                            "QAbstractButton:disabled{color:{black};background-color:{concrete};}");
    sensorButtonStyle =
        sheet("QAbstractButton{color:{white};background-color:{transparent};font-size: 11pt;"
              "border-radius:0px;text-align: left;padding-left: 20px;}"
              "QAbstractButton:checked{background-color:{company_clr};color:{om_soil};}"
              "QAbstractButton:hover{background-color:{company_clr_h};color:{om_soil};}"
              "QAbstractButton:focus{border: none;outline: none;}"
              "QAbstractButton:disabled{background-color:{om_ash};}");
    sensorButtonCopyStyle = sensorButtonStyle;
    sideFrameStyle = sheet("QFrame{border: 0px;border-radius: 0px;"
                           "border-right: 1px solid {om_steel};margin-top: 0px;"
                           "margin-bottom: 0px;padding: 0px;alignment: left;}");
    // Splash screens and message boxes
    splashStyle = sheet("QWidget{background-color : {om_soil};color : {om_pearl};}"
                        "QLabel{border: 0px;color : {om_pearl};}");
    statusOnStyle = status("om_soil", "company_clr");
    statusOffStyle = status("om_pearl", "om_charcoal");
    statusErrorStyle = status("om_soil", "red");
    progressStyle = sheet("QProgressBar{text-align: center;color: {om_soil};"
                          "background-color: {om_steel};}"
                          "QProgressBar::chunk{background-color: {company_clr};}");
    scrollBarStyle = sheet("QScrollBar{max-width: 4px;background-color: {om_soil};}"
                           "QScrollBar::handle{background-color: {om_pearl};"
                           "border: 1px solid {om_pearl};border-radius: 20px;}");
}
