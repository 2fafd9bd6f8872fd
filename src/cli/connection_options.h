#pragma once
// The connection settings that qldb's commands take on the command line, and how they are put on
// a qlConnection.
#include "connection/ql_connection.h"

#include <QCommandLineParser>
#include <QString>
#include <optional>

namespace qldb::cli {

void AddConnectionOptions(QCommandLineParser& parser);

// Puts the parsed settings on the connection. Returns an error text for a value it cannot read.
std::optional<QString> ApplyConnectionOptions(const QCommandLineParser& parser, qlConnection& connection);

// True when the command line names no database at all, so the demo database is meant.
bool NamesNoConnection(const QCommandLineParser& parser);

// The SQLite demo database in the user's data folder; the folder is made when missing.
QString DemoDatabasePath();

} // namespace qldb::cli
