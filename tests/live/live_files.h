#pragma once
// Files of the live tests: plain bytes, and what they hand the structure engine on disk: field elements of a
// structure file, a structure file holding one DataTable, and a product root that picks the built-in bulk
// copier.
#include <QDomElement>
#include <QString>
#include <QTemporaryDir>

namespace qldb::test {

// The bytes of a file; "<unreadable>" when it cannot be read.
QByteArray FileBytes(const QString& sPath);
// Writes the bytes to a file, replacing it and making its folder; a test failure when it cannot.
void WriteFileBytes(const QString& sPath, const QByteArray& bytes);

// A <Field> element of a table in a structure file; its position child is left empty.
QString FieldXml(const QString& sName, const QString& sType, const QString& sSize, const QString& sAllowsNull,
                 const QString& sDefault = QString(), const QString& sPrimaryKey = QStringLiteral("False"),
                 const QString& sDescription = QString());

// Writes <Database><DataTables>dataTable</DataTables></Database> to sPath; gives sPath.
QString WriteDataTableFile(const QDomElement& dataTable, const QString& sPath);

// The product folders under a temporary root, with the built-in bulk copier chosen; the root is
// unset again when it goes.
class ScopedProductRoot {
public:
    ScopedProductRoot();
    ~ScopedProductRoot();
    bool isValid() const { return m_root.isValid(); }
    QString filePath(const QString& sName) const { return m_root.filePath(sName); }

private:
    QTemporaryDir m_root;
};

} // namespace qldb::test
