#include "look/formtree.h"

#include <QFile>
#include <QMap>
#include <QXmlStreamReader>

namespace {

struct Node
{
    QString name;
    QXmlStreamAttributes attributes;
    QString text;
    QList<Node> children;

    const Node* child(const QString& wanted) const
    {
        for (const Node& node : children) {
            if (node.name == wanted) {
                return &node;
            }
        }
        return nullptr;
    }
    QString childText(const QString& wanted) const
    {
        const Node* node = child(wanted);
        return node != nullptr ? node->text : QString();
    }
    QString attribute(const char* wanted) const { return attributes.value(wanted).toString(); }
};

Node read(QXmlStreamReader& xml)
{
    Node node;
    node.name = xml.name().toString();
    node.attributes = xml.attributes();
    while (!xml.atEnd()) {
        switch (xml.readNext()) {
        case QXmlStreamReader::StartElement:
            node.children += read(xml);
            break;
        case QXmlStreamReader::Characters:
            node.text += xml.text();
            break;
        case QXmlStreamReader::EndElement:
            return node;
        default:
            break;
        }
    }
    return node;
}

Node readForm(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        qFatal("no form %s", qPrintable(fileName));
    }
    QXmlStreamReader xml(&file);
    xml.readNextStartElement();
    Node form = read(xml);
    if (xml.hasError()) {
        qFatal("%s: %s", qPrintable(fileName), qPrintable(xml.errorString()));
    }
    return form;
}

QString extent(const QString& number)
{
    return number == "16777215" ? "Inf" : number;
}

QString sizeText(const Node& size)
{
    return extent(size.childText("width")) + "x" + extent(size.childText("height"));
}

QString quoted(QString text)
{
    return "\"" + text.replace("\n", "\\n") + "\"";
}

QString valueText(const Node& value)
{
    if (value.name == "string") {
        return quoted(value.text);
    }
    if (value.name == "size" || value.name == "rect") {
        return sizeText(value);
    }
    if (value.name == "sizepolicy") {
        return value.attribute("hsizetype") + "," + value.attribute("vsizetype");
    }
    if (value.name == "iconset") {
        return value.childText("normaloff");
    }
    if (value.name == "font") {
        return value.childText("pointsize") +
               (value.childText("italic") == "true" ? " italic" : "");
    }
    return value.text;
}

// The short words of the header's description.
QString shortName(const QString& property)
{
    static const QMap<QString, QString> names = {
        {"sizePolicy", "policy"},        {"minimumSize", "min"}, {"maximumSize", "max"},
        {"styleSheet", "style"},         {"geometry", "size"},   {"horizontalSpacing", "hspacing"},
        {"verticalSpacing", "vspacing"},
    };
    return names.value(property, property);
}

QString propertiesText(const Node& node)
{
    QString text;
    QMap<QString, QString> margins;
    QString items;
    for (const Node& child : node.children) {
        if (child.name == "item" && node.name == "widget") {
            const Node* caption = child.child("property");
            items += (items.isEmpty() ? "" : ",") + quoted(caption->childText("string"));
            continue;
        }
        if (child.name != "property") {
            continue;
        }
        const QString name = child.attribute("name");
        QString value;
        for (const Node& part : child.children) {
            value = valueText(part);
        }
        if (name.endsWith("Margin")) {
            margins.insert(name, value);
        } else {
            text += " " + shortName(name) + "=" + value;
        }
    }
    if (!margins.isEmpty()) {
        text = " margins=" + margins.value("leftMargin", "-") + "," +
               margins.value("topMargin", "-") + "," + margins.value("rightMargin", "-") + "," +
               margins.value("bottomMargin", "-") + text;
    }
    if (!node.attribute("stretch").isEmpty()) {
        text += " stretch=" + node.attribute("stretch");
    }
    if (!items.isEmpty()) {
        text += " items=" + items;
    }
    return text;
}

QString spacerText(const Node& spacer)
{
    bool horizontal = true;
    QString type = "Expanding";
    QString hint;
    for (const Node& property : spacer.children) {
        const QString name = property.attribute("name");
        for (const Node& value : property.children) {
            if (name == "orientation") {
                horizontal = value.text == "Qt::Horizontal";
            } else if (name == "sizeType") {
                type = QString(value.text).remove("QSizePolicy::");
            } else if (name == "sizeHint") {
                hint = sizeText(value);
            }
        }
    }
    return "spacer " + hint + " " + (horizontal ? type + ",Minimum" : "Minimum," + type);
}

void walk(const Node& node, int depth, const QString& cell, QStringList& lines)
{
    const QString lead = QString(depth, '.') + cell;
    if (node.name == "spacer") {
        lines += lead + spacerText(node);
        return;
    }
    lines += lead + node.attribute("name") + " " + node.attribute("class") + propertiesText(node);
    for (const Node& child : node.children) {
        if (child.name == "widget" || child.name == "layout") {
            walk(child, depth + 1, QString(), lines);
        } else if (child.name == "item" && node.name == "layout") {
            QString place;
            if (!child.attribute("row").isEmpty()) {
                place = "[" + child.attribute("row") + "," + child.attribute("column");
                if (!child.attribute("colspan").isEmpty()) {
                    place += " over " + child.attribute("colspan");
                }
                place += "]";
            }
            for (const Node& inside : child.children) {
                walk(inside, depth + 1, place, lines);
            }
        }
    }
}

} // namespace

QStringList formTree(const QString& fileName)
{
    QStringList lines;
    const Node form = readForm(fileName);
    const Node* window = form.child("widget");
    if (window != nullptr && window->attribute("name") == form.childText("class")) {
        walk(*window, 0, QString(), lines);
    }
    return lines;
}

QStringList promotedClasses(const QString& fileName)
{
    QStringList found;
    const Node form = readForm(fileName);
    if (const Node* list = form.child("customwidgets")) {
        for (const Node& widget : list->children) {
            found += widget.childText("class") + " " + widget.childText("extends") + " " +
                     widget.childText("header");
        }
    }
    return found;
}
