#include "look/formtree.h"

#include <QFile>
#include <QMap>
#include <QRegularExpression>
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

// Everything in an element by name: for parts that a form may have but no form of this program has.
QString plainText(const Node& node)
{
    QStringList parts;
    for (const QXmlStreamAttribute& attribute : node.attributes) {
        parts += attribute.name().toString() + "=" + attribute.value().toString();
    }
    for (const Node& child : node.children) {
        parts += plainText(child);
    }
    if (parts.isEmpty() || !node.text.trimmed().isEmpty()) {
        parts += node.text;
    }
    return node.name + "(" + parts.join(",") + ")";
}

// The attributes except for the named ones, each with a leading blank.
QString otherAttributes(const Node& node, const QStringList& without)
{
    QString text;
    for (const QXmlStreamAttribute& attribute : node.attributes) {
        if (!without.contains(attribute.name().toString())) {
            text += " " + attribute.name().toString() + "=" + attribute.value().toString();
        }
    }
    return text;
}

QString valueText(const Node& value)
{
    if (value.name == "string") {
        const bool untranslated = value.attribute("notr") == "true";
        return (untranslated ? "notr" : "") + quoted(value.text) +
               otherAttributes(value, untranslated ? QStringList("notr") : QStringList());
    }
    if (value.name == "size") {
        return sizeText(value);
    }
    if (value.name == "rect") {
        return value.childText("x") + "," + value.childText("y") + "," + sizeText(value);
    }
    if (value.name == "sizepolicy") {
        QString text = value.attribute("hsizetype") + "," + value.attribute("vsizetype");
        const QString stretch = value.childText("horstretch") + "," + value.childText("verstretch");
        return stretch == "0,0" ? text : text + "," + stretch;
    }
    if (value.name == "iconset" && value.children.size() == 1 && value.attributes.isEmpty()) {
        return value.childText("normaloff");
    }
    static const QMap<QString, QRegularExpression> plainForms = {
        {"number", QRegularExpression("^-?[0-9]+$")},
        {"bool", QRegularExpression("^(true|false)$")},
        {"enum", QRegularExpression("^\\w+::\\w+$")},
        {"set", QRegularExpression("^\\w+::\\w+([|]\\w+::\\w+)*$")},
    };
    const bool isBare = value.children.isEmpty() && value.attributes.isEmpty();
    if (isBare && plainForms.contains(value.name) &&
        plainForms[value.name].match(value.text).hasMatch()) {
        return value.text;
    }
    return plainText(value);
}

// The short words of the header's description.
QString shortName(const QString& property)
{
    static const QMap<QString, QString> names = {
        {"sizePolicy", "policy"},
        {"minimumSize", "min"},
        {"maximumSize", "max"},
        {"styleSheet", "style"},
        {"horizontalSpacing", "hspacing"},
        {"verticalSpacing", "vspacing"},
    };
    return names.value(property, property);
}

QString propertyText(const Node& property, const QString& name)
{
    QStringList values;
    for (const Node& part : property.children) {
        values += valueText(part);
    }
    return name + "=" + values.join("+") + otherAttributes(property, {"name"});
}

// The texts of a combo box, or other content of a widget's item.
QString itemText(const Node& item)
{
    const Node* caption = item.children.size() == 1 ? &item.children.first() : nullptr;
    if (caption != nullptr && caption->name == "property" && caption->attributes.size() == 1 &&
        caption->attribute("name") == "text" && caption->children.size() == 1 &&
        item.attributes.isEmpty()) {
        return valueText(caption->children.first());
    }
    return plainText(item);
}

QString propertiesText(const Node& node)
{
    const QStringList inTheTree = {"widget", "layout", "spacer"};
    QString text;
    QMap<QString, QString> margins;
    QString others;
    QString items;
    for (const Node& child : node.children) {
        const QString name = child.attribute("name");
        if (child.name == "item" && node.name == "widget") {
            items += (items.isEmpty() ? "" : ",") + itemText(child);
        } else if (child.name == "property" && name.endsWith("Margin")) {
            margins.insert(name, propertyText(child, QString()).mid(1));
        } else if (child.name == "property") {
            text += " " + propertyText(child, shortName(name));
        } else if (!inTheTree.contains(child.name) && child.name != "item") {
            others += " " + plainText(child);
        }
    }
    if (!margins.isEmpty()) {
        text = " margins=" + margins.value("leftMargin", "-") + "," +
               margins.value("topMargin", "-") + "," + margins.value("rightMargin", "-") + "," +
               margins.value("bottomMargin", "-") + text;
    }
    text += otherAttributes(node, {"class", "name"}) + others;
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
    QString others = otherAttributes(spacer, {"name"});
    for (const Node& property : spacer.children) {
        const QString name = property.attribute("name");
        const QString value =
            property.children.size() == 1 ? valueText(property.children.first()) : QString();
        if (name == "orientation") {
            horizontal = value == "Qt::Horizontal";
        } else if (name == "sizeType") {
            type = QString(value).remove("QSizePolicy::");
        } else if (name == "sizeHint") {
            hint = value;
        } else {
            others += " " + plainText(property);
        }
    }
    return "spacer " + hint + " " + (horizontal ? type + ",Minimum" : "Minimum," + type) + others;
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
                if (!child.attribute("rowspan").isEmpty()) {
                    place += " down " + child.attribute("rowspan");
                }
                place += "]";
            }
            place += otherAttributes(child, {"row", "column", "colspan", "rowspan"});
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
            QStringList parts;
            for (const Node& part : widget.children) {
                parts += part.text + otherAttributes(part, {});
            }
            found += parts.join(" ");
        }
    }
    return found;
}

QStringList otherParts(const QString& fileName)
{
    const QStringList elsewhere = {"class", "widget", "customwidgets"};
    QStringList found;
    for (const Node& part : readForm(fileName).children) {
        const bool isEmpty = part.children.isEmpty() && part.attributes.isEmpty();
        if (!elsewhere.contains(part.name) &&
            !((part.name == "resources" || part.name == "connections") && isEmpty)) {
            found += plainText(part);
        }
    }
    return found;
}
