// qldb: the command-line front end to the library, for people and scripts without a host program.
#include "cli/command_support.h"
#include "cli/commands.h"

#include <QCoreApplication>
#include <QTextStream>

using namespace qldb;

namespace {

struct CommandEntry {
    const char* Name;
    const char* Summary;
    int (*Run)(const QStringList&, QTextStream&, QTextStream&);
};

const CommandEntry kCommands[] = {
    {"connstr", "print the connection string composed from the given settings", cli::RunConnstr},
    {"sql", "run statements and print the rows they return", cli::RunSql},
    {"export", "write a structure file (and a documentation workbook) from the database", cli::RunExport},
    {"verify", "compare the database with a structure file; exit 2 when it differs", cli::RunVerify},
    {"update", "bring the database in step with a structure file (--dry-run prints the plan)",
     cli::RunUpdate},
    {"data", "export or import the data of tables through a structure file", cli::RunData},
    {"version", "the structure version of a database code, and whether a structure file is newer",
     cli::RunVersion},
};

void PrintUsage(QTextStream& stream) {
    stream << "Usage: qldb <command> [options]\n\nCommands:\n";
    for (const CommandEntry& command : kCommands)
        stream << "  " << QString::fromLatin1(command.Name).leftJustified(9) << ' ' << command.Summary
               << '\n';
    stream << "\nRun 'qldb <command> --help' for the options of a command.\n";
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qldb"));
    QTextStream out(stdout);
    QTextStream err(stderr);
    QStringList args = QCoreApplication::arguments();
    if (args.size() < 2) {
        PrintUsage(err);
        return cli::kExitFailure;
    }
    const QString command = args.takeAt(1);
    if (command == QLatin1String("--help") || command == QLatin1String("-h") ||
        command == QLatin1String("help")) {
        PrintUsage(out);
        return cli::kExitOk;
    }
    for (const CommandEntry& entry : kCommands) {
        if (command == QLatin1String(entry.Name)) {
            args[0] = QStringLiteral("qldb ") + command;
            return entry.Run(args, out, err);
        }
    }
    err << "qldb: unknown command \"" << command << "\" (see 'qldb --help')\n";
    return cli::kExitFailure;
}
