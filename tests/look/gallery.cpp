// Shows the styles of the program on widgets of their kind, in their states, for visual checks.
//     tests/support/run-test --display build/<preset>/bin/look_gallery picture.png
// Without an argument it stays open.
#include "look/Style.h"

#include "look/clr.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFontInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QMouseEvent>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QScrollBar>
#include <QSlider>
#include <QSpinBox>
#include <QTabWidget>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <functional>
#include <utility>
#include <vector>

namespace {

enum class Look { Normal, Hovered, Checked, Disabled };

void put(QWidget* widget, Look look)
{
    if (look == Look::Hovered) {
        widget->ensurePolished();
        widget->setAttribute(Qt::WA_UnderMouse);
        if (qobject_cast<QPushButton*>(widget)) {
            // This one reacts to mouse movements instead.
            QMouseEvent move(QEvent::MouseMove, QPointF(8, 8), Qt::NoButton, Qt::NoButton,
                             Qt::NoModifier);
            QCoreApplication::sendEvent(widget, &move);
        }
    }
    if (look == Look::Checked) {
        if (auto* button = qobject_cast<QAbstractButton*>(widget)) {
            button->setCheckable(true);
            button->setChecked(true);
        }
    }
    widget->setEnabled(look != Look::Disabled);
}

// A block of rows "name: the widget in up to four states".
class Block
{
public:
    Block(QBoxLayout* parent, const Style& look) : m_style(look), m_grid(new QGridLayout)
    {
        m_grid->setHorizontalSpacing(8);
        m_grid->setVerticalSpacing(2);
        m_grid->setColumnStretch(5, 1);
        parent->addLayout(m_grid);
    }

    void add(const QString& name, const QString& sheet, const std::function<QWidget*()>& make,
             const std::vector<Look>& looks)
    {
        auto* label = new QLabel(name);
        label->setFixedWidth(120);
        label->setStyleSheet(m_style.labelAshStyle);
        label->setFont(m_style.fontPro8);
        const int row = m_grid->rowCount();
        m_grid->addWidget(label, row, 0);
        int column = 1;
        for (const Look look : looks) {
            QWidget* widget = make();
            widget->setStyleSheet(sheet);
            put(widget, look);
            m_grid->addWidget(widget, row, column++);
        }
    }

private:
    Q_DISABLE_COPY(Block)

    const Style& m_style;
    QGridLayout* m_grid;
};

const std::vector<Look> four = {Look::Normal, Look::Hovered, Look::Checked, Look::Disabled};
const std::vector<Look> two = {Look::Normal, Look::Disabled};
const std::vector<Look> one = {Look::Normal};

void buttons(Block& block, const Style& s)
{
    const auto push = [&s] {
        auto* button = new QPushButton("Record");
        button->setFont(s.fontMonoCaps9);
        button->setFixedSize(66, 22);
        return button;
    };
    const std::pair<const char*, QString> rows[] = {
        {"primaryButtonStyle", s.primaryButtonStyle},
        {"outlineButtonStyle", s.outlineButtonStyle},
        {"linkButtonStyle", s.linkButtonStyle},
        {"segmentLeftStyle", s.segmentLeftStyle},
        {"segmentMiddleStyle", s.segmentMiddleStyle},
        {"segmentRightStyle", s.segmentRightStyle},
        {"upperTabButtonStyle", s.upperTabButtonStyle},
        {"lowerTabButtonStyle", s.lowerTabButtonStyle},
        {"alertButtonStyle", s.alertButtonStyle},
        {"limeDarkButtonStyle", s.limeDarkButtonStyle},
        {"limeOutlineButtonStyle", s.limeOutlineButtonStyle},
        {"saveButtonStyle", s.saveButtonStyle},
        {"statusOnStyle", s.statusOnStyle},
        {"statusOffStyle", s.statusOffStyle},
        {"statusErrorStyle", s.statusErrorStyle},
    };
    for (const auto& [name, sheet] : rows) {
        block.add(name, sheet, push, four);
    }
    block.add(
        "sensorButtonStyle", s.sensorButtonStyle,
        [&s] {
            auto* button = new QPushButton(" Store");
            QFont font = s.fontPro9;
            font.setPointSize(12);
            button->setFont(font);
            button->setIcon(QIcon(":/images/saveIcon.png"));
            button->setIconSize(QSize(20, 20));
            button->setFixedSize(96, 40);
            return button;
        },
        four);
}

void tools(Block& block, const Style& s)
{
    const auto tool = [] {
        auto* button = new QToolButton;
        button->setMinimumSize(28, 28);
        return button;
    };
    const std::pair<const char*, QString> rows[] = {
        {"closeButtonStyle", s.closeButtonStyle},
        {"pausePlayStyle", s.pausePlayStyle},
        {"stopStyle", s.stopStyle},
        {"gearStyle", s.gearStyle},
        {"refreshStyle", s.refreshStyle},
        {"photoStyle", s.photoStyle},
        {"videoStyle", s.videoStyle},
        {"aspectStyle", s.aspectStyle},
        {"folderStyle", s.folderStyle},
        {"folderPlainStyle", s.folderPlainStyle},
        {"streamStyle", s.streamStyle},
        {"createStreamStyle", s.createStreamStyle},
        {"recStyle", s.recStyle},
        {"iconToolStyle",
         s.iconToolStyle.arg(":/images/rec.png", ":/images/rec_on.png", ":/images/rec_h.png")},
    };
    for (const auto& [name, sheet] : rows) {
        block.add(name, sheet, tool, four);
    }
    block.add(
        "textToolStyle", s.textToolStyle,
        [&s] {
            auto* button = new QToolButton;
            button->setFont(s.fontMonoCaps9);
            button->setText("Text");
            return button;
        },
        four);
}

void fields(Block& block, const Style& s)
{
    const auto combo = [&s] {
        auto* box = new QComboBox;
        box->setFont(s.fontMonoCaps9);
        box->addItems({"Last 5 sec", "Last 10 sec"});
        box->setFixedWidth(112);
        return box;
    };
    const std::vector<Look> three = {Look::Normal, Look::Hovered, Look::Disabled};
    block.add("comboDarkStyle", s.comboDarkStyle, combo, three);
    block.add("comboLightStyle", s.comboLightStyle, combo, three);
    block.add("comboPopupStyle", s.comboPopupStyle, combo, three);
    block.add("comboPopupTopStyle", s.comboPopupTopStyle, combo, three);
    block.add("comboFlatStyle", s.comboFlatStyle, combo, three);
    const auto slider = [] {
        auto* control = new QSlider(Qt::Horizontal);
        control->setFixedWidth(110);
        control->setValue(40);
        return control;
    };
    block.add("sliderStyle", s.sliderStyle, slider, three);
    block.add(
        "sliderStyle", s.sliderStyle,
        [] {
            auto* control = new QSlider(Qt::Vertical);
            control->setValue(40);
            control->setFixedHeight(60);
            return control;
        },
        three);
    const auto edit = [&s] {
        auto* line = new QLineEdit("12.345 m/s²");
        line->setFixedWidth(110);
        line->setFont(s.fontMono9);
        return line;
    };
    const std::pair<const char*, QString> edits[] = {
        {"lineEditStyle", s.lineEditStyle},
        {"lineEditDimStyle", s.lineEditDimStyle},
        {"lineEditAlertStyle", s.lineEditAlertStyle},
        {"lineEditYellowStyle", s.lineEditYellowStyle},
        {"lineEditWhiteStyle", s.lineEditWhiteStyle},
        {"lineEditClearStyle", s.lineEditClearStyle},
        {"xAxisEditStyle", s.xAxisEditStyle},
        {"yAxisEditStyle", s.yAxisEditStyle},
        {"zAxisEditStyle", s.zAxisEditStyle},
        {"singleAxisEditStyle", s.singleAxisEditStyle},
        {"plainEditStyle", s.plainEditStyle},
    };
    for (const auto& [name, sheet] : edits) {
        block.add(name, sheet, edit, two);
    }
    const auto spin = [&s] {
        auto* box = new QSpinBox;
        box->setFont(s.fontMono9);
        box->setValue(42);
        box->setFixedSize(110, 24);
        return box;
    };
    block.add("spinBoxFlatStyle", s.spinBoxFlatStyle, spin, two);
    block.add("spinBoxStyle", s.spinBoxStyle, spin, two);
    block.add(
        "progressStyle", s.progressStyle,
        [] {
            auto* bar = new QProgressBar;
            bar->setFixedWidth(110);
            bar->setValue(60);
            return bar;
        },
        one);
}

void choices(Block& block, const Style& s)
{
    const auto box = [&s] {
        auto* check = new QCheckBox("Gyro");
        check->setFont(s.fontMonoCaps9);
        return check;
    };
    block.add("checkBoxLargeStyle", s.checkBoxLargeStyle, box, four);
    block.add("checkBoxLockedStyle", s.checkBoxLockedStyle, box, four);
    block.add("checkBoxGreyStyle", s.checkBoxGreyStyle, box, four);
    block.add("checkBoxAshStyle", s.checkBoxAshStyle, box, four);
    block.add("checkBoxScaleStyle 20", s.checkBoxScaleStyle.arg(20), box, four);
    block.add(
        "radioButtonStyle", s.radioButtonStyle,
        [&s] {
            auto* radio = new QRadioButton("Gyro");
            radio->setAutoExclusive(false);
            radio->setFont(s.fontMonoCaps9);
            return radio;
        },
        four);
}

void labels(Block& block, const Style& s)
{
    const auto text = [&s] {
        auto* label = new QLabel("4 Hz");
        label->setFont(s.fontMonoCaps9);
        return label;
    };
    const std::pair<const char*, QString> rows[] = {
        {"labelTemplateStyle", s.labelTemplateStyle.arg(clr::blue)},
        {"labelAshStyle", s.labelAshStyle},
        {"labelPearlStyle", s.labelPearlStyle},
        {"labelWhiteStyle", s.labelWhiteStyle},
        {"labelAlertStyle", s.labelAlertStyle},
        {"labelLimeStyle", s.labelLimeStyle},
        {"labelBaseStyle", s.labelBaseStyle},
        {"labelMedStyle", s.labelMedStyle},
        {"labelXStyle", s.labelXStyle},
        {"labelYStyle", s.labelYStyle},
        {"labelCompanyStyle", s.labelCompanyStyle},
        {"labelImageStyle", s.labelImageStyle.arg(":/images/info.png")},
        {"panelPearlStyle", s.panelPearlStyle},
        {"panelSoilStyle", s.panelSoilStyle},
        {"plainPanelStyle", s.plainPanelStyle},
        {"windowBlackStyle", s.windowBlackStyle},
        {"windowSoilStyle", s.windowSoilStyle},
    };
    for (const auto& [name, sheet] : rows) {
        block.add(name, sheet, text, two);
    }
}

void groups(Block& block, const Style& s)
{
    const std::pair<const char*, QString> rows[] = {
        {"groupBoxTitleStyle", s.groupBoxTitleStyle},
        {"groupBoxPlainStyle", s.groupBoxPlainStyle},
        {"groupBoxIndentStyle", s.groupBoxIndentStyle},
    };
    for (const auto& [name, sheet] : rows) {
        block.add(
            name, sheet,
            [&s] {
                auto* group = new QGroupBox("Selection");
                group->setFont(s.fontMonoCaps9);
                auto* inside = new QVBoxLayout(group);
                inside->setContentsMargins(8, 35, 8, 8); // as the forms do
                auto* check = new QCheckBox("Moving");
                check->setStyleSheet(s.checkBoxLargeStyle);
                inside->addWidget(check);
                group->setFixedWidth(130);
                return group;
            },
            two);
    }
    block.add(
        "scrollBarStyle", s.scrollBarStyle,
        [] {
            auto* bar = new QScrollBar(Qt::Vertical);
            bar->setFixedHeight(50);
            bar->setPageStep(40);
            return bar;
        },
        one);
}

void containers(QBoxLayout* pair, const Style& s)
{
    auto* left = new QVBoxLayout;
    auto* right = new QVBoxLayout;
    pair->addLayout(left);
    pair->addLayout(right);
    auto* list = new QListWidget;
    list->addItems({"TIV_Q 31415926", "TIV_P 27182818", "TIV_N 14142135"});
    list->item(2)->setFlags(Qt::NoItemFlags);
    list->setCurrentRow(0);
    list->setFont(s.fontMonoCaps9);
    list->setStyleSheet(s.listWidgetStyle);
    list->setFixedSize(260, 90);
    left->addWidget(list);

    auto* tabs = new QTabWidget;
    tabs->addTab(new QLabel("First page"), "One");
    tabs->addTab(new QLabel("Second page"), "Two");
    tabs->addTab(new QLabel("Third page"), "Three");
    tabs->setTabEnabled(2, false);
    tabs->setStyleSheet(s.tabWidgetStyle.arg(60));
    tabs->setFixedSize(260, 80);
    right->addWidget(tabs);

    auto* menu = new QMenu;
    menu->addAction("Open");
    menu->addAction("Save")->setEnabled(false);
    menu->addSeparator();
    menu->setActiveAction(menu->addAction("Close"));
    menu->setFont(s.fontPro9);
    menu->setStyleSheet(s.menuItemStyle);
    menu->setWindowFlags(Qt::Widget);
    left->addWidget(menu);

    auto* box = new QMessageBox(QMessageBox::Warning, "Warning!",
                                "Pressing OK the current Magnetometer Calibration setting will be "
                                "overwritten. Continue?");
    box->setWindowFlags(Qt::Widget);
    box->setStyleSheet(s.splashStyle);
    box->setFont(s.fontPro9);
    for (const auto& [text, sheet] :
         {std::pair{"Cancel", s.statusErrorStyle}, std::pair{"Ok", s.statusOnStyle}}) {
        auto* button = box->addButton(text, QMessageBox::AcceptRole);
        button->setStyleSheet(sheet);
        button->setFont(s.fontPro9);
    }
    box->setFixedWidth(260);
    right->addWidget(box);
}

void fonts(QBoxLayout* column, const Style& s)
{
    const std::pair<const char*, QFont> rows[] = {
        {"fontMonoMedium11", s.fontMonoMedium11},
        {"fontMonoHeavy10", s.fontMonoHeavy10},
        {"fontMonoTitle15", s.fontMonoTitle15},
        {"fontMonoCaps9", s.fontMonoCaps9},
        {"fontMono9", s.fontMono9},
        {"fontPro9", s.fontPro9},
        {"fontPro12", s.fontPro12},
        {"fontMonoBold10", s.fontMonoBold10},
        {"fontPro8", s.fontPro8},
        {"fontPro7", s.fontPro7},
        {"fontMonoLight10", s.fontMonoLight10},
        {"fontMonoMedium9", s.fontMonoMedium9},
        {"fontProLarge27", s.fontProLarge27},
    };
    for (const auto& [name, font] : rows) {
        auto* label = new QLabel(QString("%1 12.4° %2").arg(name).arg(font.pointSize()));
        label->setFont(font);
        label->setStyleSheet(s.labelBaseStyle);
        column->addWidget(label);
    }
    for (const QString& text : {s.cssExtraBold15, s.cssRegular11, s.cssMedium19, s.cssBold12,
                                s.cssMedium12, s.cssLight19}) {
        auto* label = new QLabel(text.section("Pro ", 1).section("; font-size", 0, 0));
        label->setStyleSheet("QLabel{color:" + clr::om_pearl + ";" + text + "}");
        column->addWidget(label);
    }
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const Style style;

    QWidget window;
    QPalette palette = window.palette();
    palette.setBrush(QPalette::Window, QBrush(clr::om_soil_clr));
    window.setPalette(palette);
    auto* columns = new QHBoxLayout(&window);
    columns->setSpacing(8);
    QVBoxLayout* column[3];
    for (auto*& layout : column) {
        layout = new QVBoxLayout;
        columns->addLayout(layout);
    }
    Block first(column[0], style);
    buttons(first, style);

    Block second(column[1], style);
    tools(second, style);
    choices(second, style);
    labels(second, style);
    fonts(column[0], style);
    Block third(column[2], style);
    fields(third, style);
    groups(third, style);
    auto* pair = new QHBoxLayout;
    column[2]->addLayout(pair);
    containers(pair, style);
    for (auto* layout : column) {
        layout->addStretch();
    }
    window.setWindowTitle("Styles");
    window.move(0, 0);
    window.show();

    if (argc > 1) {
        const QString file = QString::fromLocal8Bit(argv[1]);
        QTimer::singleShot(1000, &app, [&window, file] {
            const bool written = window.screen()->grabWindow(0).save(file);
            QApplication::exit(written ? 0 : 1);
        });
    }
    return QApplication::exec();
}
