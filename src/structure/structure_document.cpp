#include "structure/structure_document.h"

#include <QFile>

namespace qldb {

bool ParseStructureDocument(const QByteArray& xml, QDomDocument& doc, QString* sError) {
    // The default parse drops text nodes that hold only white space, which is what makes an
    // indented file read by the same positions as a flat one.
    QString message;
    int line = 0;
    int column = 0;
    if (!doc.setContent(xml, &message, &line, &column)) {
        doc.clear();
        if (sError)
            *sError = QStringLiteral("%1 (line %2, column %3)").arg(message).arg(line).arg(column);
        return false;
    }
    return true;
}

bool LoadStructureDocument(const QString& sFileName, QDomDocument& doc, QString* sError) {
    QFile file(sFileName);
    if (!file.open(QIODevice::ReadOnly)) {
        doc.clear();
        if (sError)
            *sError = file.errorString();
        return false;
    }
    return ParseStructureDocument(file.readAll(), doc, sError);
}

QDomNode ChildAt(const QDomNode& node, int index) {
    if (node.isNull() || index < 0)
        return {};
    const QDomNodeList children = node.childNodes();
    return index < children.size() ? children.at(index) : QDomNode();
}

QDomNode ChildPath(const QDomNode& node, std::initializer_list<int> path) {
    QDomNode current = node;
    for (int index : path)
        current = ChildAt(current, index);
    return current;
}

int ChildCount(const QDomNode& node) {
    return node.isNull() ? 0 : static_cast<int>(node.childNodes().size());
}

QString BaseName(const QDomNode& node) {
    if (node.isNull())
        return {};
    const QString name = node.nodeName();
    const qsizetype colon = name.indexOf(u':');
    return colon < 0 ? name : name.mid(colon + 1);
}

QString NodeText(const QDomNode& node) {
    if (node.isNull())
        return {};
    if (node.isElement())
        return node.toElement().text();
    if (node.isDocument())
        return node.toDocument().documentElement().text();
    return node.nodeValue();
}

QString ChildText(const QDomNode& node, int index) {
    return NodeText(ChildAt(node, index));
}

QDomElement TextElement(QDomDocument& factory, const QString& sName, const QString& sText) {
    QDomElement element = factory.createElement(sName);
    if (!sText.isEmpty())
        element.appendChild(factory.createTextNode(sText));
    return element;
}

} // namespace qldb
