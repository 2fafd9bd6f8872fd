#pragma once
// The XML structure file as the engine reads it: by child position, never by element name unless a
// routine says so. Loading drops text that is only white space, so a file saved indented reads the
// same positions as one written on a single line. The XML declaration is the document's first
// child and the root its second.
#include <QDomDocument>
#include <QDomNode>
#include <QString>

namespace qldb {

// Fixed positions of the format. Header children of the root:
inline constexpr int kHeaderDatabaseName = 0;
inline constexpr int kHeaderCompany = 1;
inline constexpr int kHeaderProductName = 2;
inline constexpr int kHeaderStructureVersion = 3;
inline constexpr int kHeaderDataTimeVersion = 4;
// Containers of the root, after the header.
inline constexpr int kContainerTables = 5;
inline constexpr int kContainerFunctions = 6;
inline constexpr int kContainerViews = 7;
inline constexpr int kContainerProcedures = 8;
inline constexpr int kContainerTriggers = 9;
inline constexpr int kContainerDataTables = 10;

// Loads a file without validation. False, with a reason in sError, when it can't be read or isn't
// well-formed XML; the document is then empty.
bool LoadStructureDocument(const QString& sFileName, QDomDocument& doc, QString* sError = nullptr);
// The same for text in memory.
bool ParseStructureDocument(const QByteArray& xml, QDomDocument& doc, QString* sError = nullptr);

// The child at a position counted from 0, of any node type; a null node when there is none.
QDomNode ChildAt(const QDomNode& node, int index);
// ChildAt over a path of positions: ChildPath(doc, {1, 5}) is the Tables container.
QDomNode ChildPath(const QDomNode& node, std::initializer_list<int> path);
int ChildCount(const QDomNode& node);
// The node's name without a namespace prefix; empty for a null node.
QString BaseName(const QDomNode& node);
// The node's text: all text beneath it, joined; empty for a null node.
QString NodeText(const QDomNode& node);
// The text of the child at a position; empty when there is none.
QString ChildText(const QDomNode& node, int index);

// Creates a detached element with text content, as the writers build every leaf of the file.
QDomElement TextElement(QDomDocument& factory, const QString& sName, const QString& sText);

} // namespace qldb
