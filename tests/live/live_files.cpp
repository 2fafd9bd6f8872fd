#include "live/live_files.h"

#include "platform/tools/configuration.h"
#include "platform/tools/product_folders.h"

#include <QDir>
#include <QDomDocument>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>

namespace qldb::test {

QByteArray FileBytes(const QString& sPath) {
    QFile f(sPath);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<unreadable>");
}

void WriteFileBytes(const QString& sPath, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(sPath).path());
    QFile f(sPath);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(bytes) != bytes.size())
        ADD_FAILURE() << "cannot write " << sPath.toStdString();
}

QString FieldXml(const QString& sName, const QString& sType, const QString& sSize, const QString& sAllowsNull,
                 const QString& sDefault, const QString& sPrimaryKey, const QString& sDescription) {
    return QStringLiteral("<Field><FieldName>%1</FieldName><O/><Description>%2</Description><DataType>%3"
                          "</DataType><FieldSize>%4</FieldSize><AllowsNull>%5</AllowsNull><DefaultValue>%6"
                          "</DefaultValue><PrimaryKey>%7</PrimaryKey></Field>")
        .arg(sName, sDescription, sType, sSize, sAllowsNull, sDefault, sPrimaryKey);
}

QString WriteDataTableFile(const QDomElement& dataTable, const QString& sPath) {
    QDomDocument doc;
    QDomElement root = doc.appendChild(doc.createElement(QStringLiteral("Database"))).toElement();
    root.appendChild(doc.createElement(QStringLiteral("DataTables")))
        .appendChild(doc.importNode(dataTable, true));
    WriteFileBytes(sPath, doc.toByteArray());
    return sPath;
}

ScopedProductRoot::ScopedProductRoot() {
    if (!m_root.isValid())
        return;
    setProductRoot(m_root.path());
    WriteSetting(QStringLiteral("BulkCopyProgram"), QStringLiteral("builtin"));
}

ScopedProductRoot::~ScopedProductRoot() {
    setProductRoot(QString());
}

} // namespace qldb::test
