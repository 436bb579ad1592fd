// ostrand-cli schema: what an upgrade's structure steps would do to the
// located database, without doing it.

#include "app/cli_common.h"
#include "db/connection.h"
#include "db/schema.h"
#include "startup/locator.h"
#include "startup/run_log.h"

#include <cstdio>
#include <iostream>
#include <memory>
#include <unistd.h>

namespace cli {

namespace {

const char* ActionWord(int16_t action) {
    switch (action) {
    case db::ActionAdd:
        return "add";
    case db::ActionUpdate:
        return "update";
    case db::ActionRemove:
        return "remove";
    default:
        return "";
    }
}

void PrintField(const db::Field& f) {
    std::cout << ActionWord(f.Action) << '\t' << f.TableName << '\t' << f.FieldName << '\t'
              << f.DataType << '\t' << f.Size << '\n';
}

startup::FileHandle DuplicateStderr() {
    int fd = ::dup(STDERR_FILENO);
    if (fd < 0) {
        return nullptr;
    }
    startup::FileHandle file(::fdopen(fd, "ab"));
    if (!file) {
        ::close(fd);
    }
    return file;
}

struct SchemaOptions {
    std::string dbFile;
    std::string templateFile;
};

int RunSchema(Context& ctx, const SchemaOptions& opt) {
    PrepareSettings(ctx);
    startup::RunSettings& s = ctx.settings;
    // The steps' log lines go to stderr: a dry run must not replace the
    // Ostrand.log of the last real operation, which support may still need.
    // A copy of the descriptor rather than a fresh open of /dev/stderr: that
    // would have a file position of its own, and with both streams sent to
    // one file the changes printed on stdout would overwrite the log lines.
    s.LogFileNo = s.Files.Add(DuplicateStderr());
    struct LogCloser {
        startup::RunSettings& s;
        ~LogCloser() {
            startup::CloseFile(s.Files, s.LogFileNo);
            s.LogFileNo = 0;
        }
    } closer{s};

    db::SchemaLists lists;
    startup::Log(s, "{-} Loading template");
    bool ok = opt.templateFile.empty()
                  ? db::LoadTemplate(s, lists, db::ActionNone)
                  : db::LoadTemplateFile(s, lists, opt.templateFile, db::ActionNone);
    if (!ok) {
        return 1;
    }
    std::string file = opt.dbFile;
    if (file.empty()) {
        startup::LocateDatabase(s, s.LogFileNo);
        if (s.DBPath.empty()) {
            std::cerr << "No database folder is registered for \"" << s.AltDB
                      << "\": give --db FILE, or register one with 'ostrand-cli connect FOLDER'.\n";
            return 1;
        }
        if (InterruptedRunPending(s)) {
            return 1;
        }
        file = s.DBFile;
    }
    db::Connection connection;
    startup::Log(s, "{-} Opening database");
    if (!db::OpenDB(s, connection, file)) {
        return 1;
    }
    startup::Log(s, "{-} Reading DB schema");
    if (!db::ReadDBSchema(s, connection, lists)) {
        startup::Log(s, "{*} No fields found in database: " + file);
        return 1;
    }
    startup::Log(s, "{-} Comparing structure");
    db::CompareSchema(s, lists);
    db::CloseDB(connection);

    for (const auto& f : lists.Template) {
        if (f.Action != db::ActionNone) {
            PrintField(f);
        }
    }
    for (const auto& f : lists.Database) {
        if (f.Action != db::ActionNone) {
            PrintField(f);
        }
    }
    return 0;
}

} // namespace

void RegisterDbCommands(CLI::App& app, Context& ctx) {
    auto opt = std::make_shared<SchemaOptions>();
    CLI::App* schema = app.add_subcommand(
        "schema", "Compare the database's structure with the template and print, tab-separated, "
                  "each column an upgrade would add, update or remove: action, table, column, "
                  "type code, size. Changes nothing; the steps' log lines go to stderr");
    AddAltDbOption(schema, ctx);
    schema->add_option("--db", opt->dbFile, "Database file to compare instead of the located one");
    schema->add_option("--template", opt->templateFile,
                       "Template to compare with instead of the shipped Ketrova.ddf");
    schema->callback([&ctx, opt] {
        try {
            ctx.exitCode = RunSchema(ctx, *opt);
        } catch (const std::exception& e) {
            std::cerr << "schema: " << e.what() << "\n";
            ctx.exitCode = 1;
        }
    });
}

} // namespace cli
