#pragma once
// The commands of qldb, one source file each. Every runner takes the command's arguments (the
// first being the command's own name, for help texts) and returns the exit status.
#include <QStringList>
#include <QTextStream>

namespace qldb::cli {

int RunConnstr(const QStringList& args, QTextStream& out, QTextStream& err);
int RunSql(const QStringList& args, QTextStream& out, QTextStream& err);
int RunExport(const QStringList& args, QTextStream& out, QTextStream& err);
int RunVerify(const QStringList& args, QTextStream& out, QTextStream& err);
int RunUpdate(const QStringList& args, QTextStream& out, QTextStream& err);
int RunData(const QStringList& args, QTextStream& out, QTextStream& err);
int RunVersion(const QStringList& args, QTextStream& out, QTextStream& err);

} // namespace qldb::cli
