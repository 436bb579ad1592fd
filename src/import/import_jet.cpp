#include "import/import_jet.h"

#include "db/catalog.h"
#include "db/schema.h"
#include "import/jet_file.h"
#include "platform/disk.h"
#include "platform/environment.h"
#include "platform/output_capture.h"
#include "safety/operation_guard.h"
#include "safety/replacement.h"
#include "safety/safety_copy.h"
#include "startup/locator.h"
#include "upgrade/upgrade_db.h"
#include "util/paths.h"
#include "util/strings.h"

#include <sqlite3.h>

#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <system_error>

namespace import {

namespace {

namespace fs = std::filesystem;
using startup::Log;

// A reason the import stops, worded for the user.
class ImportError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The library prints its warnings (a page past the end of the file, say),
// a screenful for one damaged file, to standard error and some stray lines
// to standard output. They go to the run log, where support reads them,
// instead of burying the message that matters or mixing into what a script
// reads from standard output.
class LibraryMessages {
public:
    explicit LibraryMessages(startup::RunSettings& settings) : settings_(settings) {}
    LibraryMessages(const LibraryMessages&) = delete;
    LibraryMessages& operator=(const LibraryMessages&) = delete;
    ~LibraryMessages() {
        constexpr int MostLines = 20;
        int lines = 0;
        try {
            for (const std::string& line : util::Split(capture_.Release(), "\n")) {
                const std::string text = util::Trim(line);
                if (!text.empty() && ++lines <= MostLines) {
                    Log(settings_, "{ } mdbtools: " + text);
                }
            }
            if (lines > MostLines) {
                Log(settings_, "{ } mdbtools: " + std::to_string(lines - MostLines) +
                                   " more lines like these");
            }
        } catch (...) {
            // A log that cannot take them loses only the library's words.
        }
    }

private:
    startup::RunSettings& settings_;
    platform::OutputCapture capture_;
};

// How many rows go in between two chances for the window to repaint.
constexpr int64_t RowsPerBreath = 4096;

int16_t AdoType(JetType type) {
    switch (type) {
    case JetType::Boolean:
        return db::adBoolean;
    case JetType::Byte:
    case JetType::Integer:
        return db::adSmallInt;
    case JetType::Long:
        return db::adInteger;
    case JetType::Currency:
        return db::adCurrency;
    case JetType::Single:
        return db::adSingle;
    case JetType::Double:
        return db::adDouble;
    case JetType::DateTime:
        return db::adDate;
    case JetType::Binary:
    case JetType::Ole:
        return db::adLongVarBinary;
    case JetType::Text:
    case JetType::ReplicationId:
        return db::adVarWChar;
    case JetType::Memo:
        return db::adLongVarWChar;
    case JetType::Decimal:
        return db::adNumeric;
    case JetType::Other:
        break;
    }
    return db::adEmpty; // declared without a type: the column keeps what it is given
}

std::string CreateTableSql(const std::string& table, const std::vector<JetColumn>& columns) {
    std::string sql = "CREATE TABLE " + db::QuoteName(table) + " (";
    for (size_t i = 0; i < columns.size(); ++i) {
        const JetColumn& c = columns[i];
        const int32_t size = c.Type == JetType::ReplicationId ? 38 : c.Size;
        sql += (i ? ", " : "") + db::QuoteName(c.Name) + " " +
               db::DeclaredFromType(AdoType(c.Type), size);
    }
    return sql + ")";
}

void Bind(sqlite3_stmt* statement, int index, const Cell& cell) {
    switch (cell.kind) {
    case Cell::Kind::Null:
        sqlite3_bind_null(statement, index);
        break;
    case Cell::Kind::Integer:
        sqlite3_bind_int64(statement, index, cell.integer);
        break;
    case Cell::Kind::Real:
        sqlite3_bind_double(statement, index, cell.real);
        break;
    case Cell::Kind::Text:
        sqlite3_bind_text(statement, index, cell.bytes.data(), static_cast<int>(cell.bytes.size()),
                          SQLITE_STATIC);
        break;
    case Cell::Kind::Blob:
        sqlite3_bind_blob(statement, index, cell.bytes.data(), static_cast<int>(cell.bytes.size()),
                          SQLITE_STATIC);
        break;
    }
}

// Rows of one table into the new database, in the order the file keeps them.
int64_t CopyRows(db::Connection& connection, JetTable& table, const std::string& name,
                 util::UiServices& ui) {
    const std::vector<JetColumn>& columns = table.Columns();
    std::string sql = "INSERT INTO " + db::QuoteName(name) + " VALUES (";
    for (size_t i = 0; i < columns.size(); ++i) {
        sql += i ? ", ?" : "?";
    }
    db::StatementPtr insert = db::Prepare(connection.handle(), sql + ")");
    std::vector<Cell> row;
    int badColumn = -1;
    std::string why;
    int64_t count = 0;
    while (table.Next(row, badColumn, why)) {
        ++count;
        if (badColumn >= 0) {
            throw ImportError("Table " + name + ", column " + columns[badColumn].Name + ", row " +
                              std::to_string(count) + ": the value cannot be converted (" + why +
                              ")");
        }
        for (size_t i = 0; i < row.size(); ++i) {
            Bind(insert.get(), static_cast<int>(i) + 1, row[i]);
        }
        if (sqlite3_step(insert.get()) != SQLITE_DONE) {
            throw db::Error(sqlite3_errcode(connection.handle()),
                            "Table " + name + ", row " + std::to_string(count) + ": " +
                                sqlite3_errmsg(connection.handle()));
        }
        sqlite3_reset(insert.get());
        if (count % RowsPerBreath == 0) {
            ui.DoEvents();
        }
    }
    // The library ends a table quietly when a page cannot be read: only the
    // count the table's definition keeps tells a complete table from a cut one.
    if (count != table.DeclaredRows()) {
        throw ImportError("Table " + name + ": " + std::to_string(count) + " of its " +
                          std::to_string(table.DeclaredRows()) +
                          " rows could be read; the file is damaged or incomplete");
    }
    return count;
}

// The template's indexes on the imported tables, as a new database of the
// current version has them (an older one gets them from the upgrade).
void AddTemplateIndexes(startup::RunSettings& settings, db::Connection& connection,
                        const std::set<std::string>& columns) {
    db::SchemaLists lists;
    if (!db::LoadTemplate(settings, lists, db::ActionNone)) {
        return; // logged; the database stays usable without them
    }
    std::erase_if(lists.Template, [&](const db::Field& f) {
        return !f.Indexed || !columns.count(util::LCase(f.TableName + "." + f.FieldName));
    });
    if (!db::AddIndexes(settings, connection, lists)) {
        throw ImportError("The indexes of the new database cannot be created");
    }
}

int16_t SourceVersion(const std::string& sourceFolder) {
    startup::RunSettings at;
    at.DBPath = sourceFolder;
    return startup::ReadDBVersion(at);
}

} // namespace

bool ImportJet(startup::RunSettings& settings, db::Connection& connection, util::Progress& progress,
               util::UiServices& ui, const platform::Clock& clock, const ImportRequest& request,
               ImportOutcome& outcome) {
    outcome = ImportOutcome{};
    std::error_code ec;
    const std::string source = fs::absolute(request.Source, ec).lexically_normal().string();
    const std::string sourceFolder = util::ParentFolder(source);
    const std::string folder =
        request.Folder.empty()
            ? sourceFolder
            : util::AddBackslash(fs::absolute(request.Folder, ec).lexically_normal().string());
    const std::string target = folder + "Ketrova.mdb";
    outcome.Database = target;

    ui.SetBusy(true);
    progress.SetStatus("Opening Windows database ...");
    progress.SetValue(0);
    Log(settings, "{-} ImportJet started");
    Log(settings, "{ } Source file           : " + source);
    Log(settings, "{ } Database file         : " + target);

    // Held to the end of the import, so that no other run works on the
    // folder's database meanwhile and a run cut off leaves a marker naming
    // the file it was writing.
    safety::OperationGuard guard(target, "import", clock);
    std::string working; // the new database while it is written
    bool imported = false;
    try {
        if (!util::FileExists(source)) {
            throw ImportError("There is no file " + source);
        }
        if (!util::FolderExists(folder) || !platform::FolderWritable(folder)) {
            throw ImportError("The folder " + folder + " does not exist or cannot be written");
        }
        if (util::FileExists(target) && !request.Overwrite) {
            throw ImportError("A database already exists at " + target +
                              "; it is only replaced when asked to");
        }
        std::string error;
        if (!guard.Begin(error)) {
            throw ImportError(error);
        }

        std::unique_ptr<JetFile> file;
        {
            LibraryMessages quiet(settings);
            file = JetFile::Open(source, error);
        }
        if (!file) {
            throw ImportError("The file " + source + " cannot be imported: " + error);
        }
        const std::vector<std::string>& tables = file->UserTables();
        Log(settings, "{ } Source format         : " + file->FormatName());
        Log(settings, "{ } Tables                : " + std::to_string(tables.size()));
        outcome.Version = SourceVersion(sourceFolder);

        working = safety::WorkingNameBeside(target, "import");
        if (!guard.AddLeftover(working) || !db::CreateDatabaseFile(working, error)) {
            throw ImportError("The new database cannot be made in " + folder + ": " + error);
        }
        db::Connection out;
        out.Open(working);
        // The file is not the database until it is complete and flushed, so
        // nothing is gained by journalling or syncing each step of it.
        out.Execute("PRAGMA journal_mode = OFF");
        out.Execute("PRAGMA synchronous = OFF");
        db::Transaction transaction(out);
        std::set<std::string> columns; // "table.column", lower case
        for (size_t i = 0; i < tables.size(); ++i) {
            const std::string& name = tables[i];
            progress.SetStatus("Importing table " + name + " ...");
            progress.SetValue(5.0 + 80.0 * static_cast<double>(i) / tables.size());
            Log(settings, "{-} Importing table {" + name + "}");
            LibraryMessages quiet(settings);
            std::unique_ptr<JetTable> table = file->OpenTable(name, error);
            if (!table) {
                throw ImportError("The file " + source + " cannot be imported: " + error);
            }
            out.Execute(CreateTableSql(name, table->Columns()));
            const int64_t rows = CopyRows(out, *table, name, ui);
            Log(settings, "{ } " + std::to_string(rows) + " rows");
            for (const JetColumn& c : table->Columns()) {
                columns.insert(util::LCase(name + "." + c.Name));
            }
            ++outcome.Tables;
            outcome.Rows += rows;
            ui.DoEvents();
        }
        if (outcome.Version >= startup::CurrentDBVersion) {
            progress.SetStatus("Writing new indexes ...");
            progress.SetValue(85);
            AddTemplateIndexes(settings, out, columns);
        }
        transaction.Commit();
        out.Close();
        if (!platform::FlushToDisk(working, error)) {
            throw ImportError(error);
        }

        if (!safety::KeepBeforeReplacing(guard, target, "import", clock, outcome.Kept, error)) {
            throw ImportError(error);
        }

        progress.SetStatus("Writing version file ...");
        progress.SetValue(90);
        Log(settings, "{-} Writing version file");
        Log(settings, "{ } Version               : " + std::to_string(outcome.Version));
        // The Version file beside the source is the new database's own when
        // it is made in the same folder.
        const safety::VersionChange version{fs::equivalent(sourceFolder, folder, ec)
                                                ? safety::VersionChange::Kind::Keep
                                                : safety::VersionChange::Kind::Write,
                                            outcome.Version};
        bool replaced = false;
        if (!safety::ReplaceDatabase(guard, working, target, version, replaced, error)) {
            if (replaced) {
                working.clear();
            }
            throw ImportError("The new database cannot be put in place at " + target + ": " +
                              error);
        }
        working.clear();
        imported = true;
    } catch (const std::exception& e) {
        outcome.Error = e.what();
        Log(settings, std::string("{*} ") + e.what());
    }
    safety::EndRun(guard, working); // the upgrade takes the database's lock for itself

    const std::string counts =
        std::to_string(outcome.Tables) + " tables, " + std::to_string(outcome.Rows) + " rows";
    bool ok = imported;
    if (!imported) {
        outcome.Status = "Database import failed.";
    } else if (outcome.Version >= startup::CurrentDBVersion) {
        outcome.Status = "Database imported: " + counts + ".";
    } else if (!request.Upgrade) {
        outcome.Status = "Database imported: " + counts + "; its version " +
                         std::to_string(outcome.Version) + " needs an upgrade.";
    } else {
        Log(settings,
            "{-} Upgrading the imported database from version " + std::to_string(outcome.Version));
        settings.DBPath = folder;
        settings.DBFile = target;
        outcome.Upgraded = upgrade::UpgradeDB(settings, connection, progress, ui, clock);
        ok = outcome.Upgraded;
        if (ok) {
            outcome.Status = "Database imported and upgraded: " + counts + ".";
        } else {
            outcome.Status = "Database imported (" + counts + "), but its upgrade failed.";
            outcome.Error = "The upgrade of the imported database failed; it is left at " + target +
                            " as imported, at version " + std::to_string(outcome.Version);
        }
    }
    if (imported && !outcome.Kept.path.empty()) {
        Log(settings, "{ } Safety copy           : " + outcome.Kept.path);
        safety::PruneSafetyCopies(target);
    }
    Log(settings, (ok ? "{-} " : "{*} ") + outcome.Status);
    progress.SetStatus(outcome.Status);
    progress.SetValue(100);
    ui.SetBusy(false);
    return ok;
}

} // namespace import
