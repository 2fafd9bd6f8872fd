#pragma once
// The SQL Server catalog statements of qlConnection, kept apart from the routines that read their
// rows so that each text stands whole in one place. Names given as arguments are plain names; the
// functions quote them as text literals of the provider where the statement wants a literal.
#include "platform/provider_type.h"

#include <QString>
#include <cstdint>

namespace qldb::catalog_sql {

QString TableKeys(ql_eProviderType provider, const QString& sTable);
QString PrimaryIndexName(ql_eProviderType provider, const QString& sTable);
QString Functions();
QString Procedures();
QString DatabaseUsers();
QString HelpIndex(ql_eProviderType provider, const QString& sTable);
QString ForeignKeys(int32_t lTableId);
QString References(int32_t lTableId);
// The triggers of one table, or of all tables when lTableId is not above 0.
QString Triggers(int32_t lTableId);
QString SybaseTriggers(ql_eProviderType provider, const QString& sTable);
QString HelpText(ql_eProviderType provider, const QString& sObject);
QString ObjectId(ql_eProviderType provider, const QString& sName);
QString IdentityProperty(ql_eProviderType provider, const QString& sTable, const QString& sField);
QString ColumnCount(ql_eProviderType provider, const QString& sTable, const QString& sSchema,
                    const QString& sField);
QString TableExists(ql_eProviderType provider, const QString& sTable);
// Names go into the text unquoted, as the extended-property function takes them.
QString ColumnDescription(const QString& sTable, const QString& sColumn);
// sAttributeColumn is the INFORMATION_SCHEMA column to read (may be empty for an unknown attribute).
QString ColumnAttribute(ql_eProviderType provider, const QString& sAttributeColumn, const QString& sDatabase,
                        const QString& sTable, const QString& sColumn);
QString FirmTableProbe(const QString& sPrefixFirm);

// The FROM clause that both view statements share: every view, or only those of the list.
QString ViewsFrom(ql_eProviderType provider, const QString& slistViews, const QString& sDelimiter);
QString Views(const QString& sFrom);
QString ViewDependencies(const QString& sFrom);

// The CREATE statement of one index, built by the server from its catalog views.
QString IndexCode(const QString& sTable, const QString& sIndex);

} // namespace qldb::catalog_sql
