// Table alteration, the keys: the primary key made again from the file's key columns, and the
// secondary indexes dropped and made again from the file's own text.
#include "structure/table_pass.h"

namespace qldb {

void qlDatabase::RebuildPrimaryKey(TablePass& pass) {
    qlConnection& conn = connection();
    // The constructor holds the file's key columns from the key stage: it is not reset here.
    pass.Query.SetTable(pass.TableName, QString());
    QString primary;
    pass.Step([&] { primary = conn.GetPrimaryIndexName(pass.TableName); });
    if (!primary.isEmpty()) {
        QString sql;
        pass.Step([&] {
            pass.Query.AddDropIndex(primary, false);
            sql = pass.Query.MakeQuery(ql_eQueryType::DropIndex, ql_eAlterAction::Alter_AddField,
                                       ql_KeyType::KeyTypePrimary);
        });
        ExecuteAndLog(sql);
    }
    if (!pass.XmlHasKey)
        return;
    QStringList indexes;
    pass.Step([&] { indexes = SplitNames(conn.GetIndexes(pass.TableName)); });
    QString sql;
    pass.Step([&] {
        // The names only steer the constraint's name away from those already taken; the dropped
        // key's name stays among them, so a key named after the table comes back with a number.
        for (const QString& index : indexes)
            pass.Query.AddDropIndex(index, false);
        sql = pass.Query.MakeQuery(ql_eQueryType::CreatePrimaryKey, ql_eAlterAction::Alter_AddField,
                                   ql_KeyType::KeyTypeSecondary);
    });
    ExecuteAndLog(sql);
}

void qlDatabase::RebuildIndex(TablePass& pass, const QString& sIndexName, const QString& sXmlCode) {
    QString sql;
    pass.Step([&] {
        pass.Query.Reset();
        pass.Query.SetTable(pass.TableName, QString());
        pass.Query.AddDropIndex(sIndexName, false);
        sql = pass.Query.MakeQuery(ql_eQueryType::DropIndex, ql_eAlterAction::Alter_AddField,
                                   ql_KeyType::KeyTypeSecondary);
    });
    ExecuteAndLog(sql);
    ExecuteAndLog(sXmlCode);
}

void qlDatabase::DropUserIndex(TablePass& pass, const QString& sIndexName, const QString& sLastXmlIndexName) {
    QString primary;
    pass.Step([&] { primary = connection().GetPrimaryIndexName(pass.TableName); });
    // The key type is chosen by comparing the primary index with the last index name of the file,
    // not with the index being dropped: a user index goes with DROP INDEX unless the file's last
    // index happens to be the primary one (or the table has neither a primary key nor an index in
    // the file). Hosts' databases were repaired this way and keep being so.
    const bool primaryType = primary.toUpper() == sLastXmlIndexName.toUpper();
    QString sql;
    pass.Step([&] {
        pass.Query.Reset();
        pass.Query.SetTable(pass.TableName, QString());
        pass.Query.AddDropIndex(sIndexName, false);
        sql = pass.Query.MakeQuery(ql_eQueryType::DropIndex, ql_eAlterAction::Alter_AddField,
                                   primaryType ? ql_KeyType::KeyTypePrimary : ql_KeyType::KeyTypeSecondary);
    });
    ExecuteAndLog(sql);
}

} // namespace qldb
