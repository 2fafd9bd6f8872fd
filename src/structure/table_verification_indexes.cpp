// Table verification, the keys: the primary key's columns and the secondary indexes against the
// file.
#include "structure/table_pass.h"

namespace qldb {

namespace {

const QString kIndex = QStringLiteral("Index");

} // namespace

void qlDatabase::CheckPrimaryKey(TablePass& pass) {
    qlConnection& conn = connection();
    QStringList keys;
    pass.Step([&] { keys = SplitNames(conn.GetTableKeys(pass.TableName)); });
    pass.Query.Reset();

    // Only the file's side is tested: a key column that the file doesn't list changes nothing.
    pass.XmlHasKey = false;
    bool changed = false;
    for (QDomNode field = pass.XmlFields.firstChild(); !field.isNull(); field = field.nextSibling()) {
        if (!XmlTrue(ChildText(field, kFieldPrimaryKey)))
            continue;
        ql_tField key;
        key.FieldName = ChildText(field, kFieldName);
        pass.Step([&] { pass.Query.AddField(key, false); });
        pass.XmlHasKey = true;
        const QString wanted = key.FieldName.toUpper();
        if (std::none_of(keys.begin(), keys.end(), [&](const QString& k) { return k.toUpper() == wanted; }))
            changed = true;
    }

    if (!changed && !m_rebuildIndexes)
        return;
    pass.AddRow(QStringLiteral("PK_") + pass.CatalogName, QStringLiteral("Primary Key"),
                changed ? QStringLiteral("Primary Key Changed") : QStringLiteral("Rebuild"));
    if (!changed)
        ++pass.RebuildOnly;
    if (pass.Update)
        RebuildPrimaryKey(pass);
}

void qlDatabase::CheckTableIndexes(TablePass& pass) {
    qlConnection& conn = connection();
    QStringList indexes;
    pass.Step([&] { indexes = SplitNames(conn.GetIndexes(pass.TableName)); });

    // The name of the last Index node stays here after the walk: the drop of a user index below
    // tests the primary index against it.
    QString xmlName;
    for (QDomNode node = pass.XmlIndexes.firstChild(); !node.isNull(); node = node.nextSibling()) {
        xmlName = pass.FirstPrefixed(ChildText(node, kIndexName));
        const QString xmlCode = pass.FirstPrefixed(ChildText(node, kIndexSql));
        const QString wanted = xmlName.toUpper();
        const auto found = std::find_if(indexes.begin(), indexes.end(),
                                        [&](const QString& i) { return i.toUpper() == wanted; });
        if (found == indexes.end()) {
            pass.AddRow(xmlName, kIndex, QStringLiteral("New Index"));
            if (pass.Update)
                ExecuteAndLog(xmlCode);
            continue;
        }
        QString dbCode;
        pass.Step([&] { dbCode = conn.GetIndexCode(pass.TableName, *found); });
        const bool differs = DeleteSpace(dbCode) != DeleteSpace(xmlCode);
        if (!differs && !m_rebuildIndexes)
            continue;
        pass.AddRow(ChildText(node, kIndexName), kIndex,
                    differs ? QStringLiteral("Index Changed") : QStringLiteral("Rebuid"));
        if (!differs)
            ++pass.RebuildOnly;
        if (pass.Update)
            RebuildIndex(pass, *found, xmlCode);
    }

    // From the database's side the names must match exactly: an index whose name differs from the
    // file's only in case is reported as the user's too.
    for (const QString& index : indexes) {
        bool inFile = false;
        for (QDomNode node = pass.XmlIndexes.firstChild(); !node.isNull() && !inFile;
             node = node.nextSibling())
            inFile = pass.FirstPrefixed(ChildText(node, kIndexName)) == index;
        if (inFile)
            continue;
        pass.AddRow(index, kIndex, QStringLiteral("User Defined"));
        ++pass.UserDefined;
        if (pass.Update && m_deleteObjects)
            DropUserIndex(pass, index, xmlName);
    }
}

} // namespace qldb
