#include "maintenance/table_check.h"

#include "db/catalog.h"
#include "db/schema.h"
#include "util/strings.h"

#include <exception>
#include <optional>
#include <vector>

namespace maintenance {

namespace {

using db::ErrorText;
using startup::Log;

// Repairs are committed in batches: one transaction per repaired row would
// cost a disk flush each, and one for a whole table would lose every repair
// already logged if the scan failed half-way.
constexpr int kRowsPerCommit = 2000;
// How many repaired rows pass between two runs of pending window events.
constexpr int kRowsPerEvents = 500;

bool IsSuiteTable(const std::string& name) {
    return !util::EqualsNoCase(name.substr(0, 4), "MSYS");
}

// The rows of the table that hold at least one NULL: exactly the rows the
// repair would change or report, found by the engine without handing every
// row of a large table across. NOT INDEXED keeps the scan in rowid order, so
// a row written back is never met a second time.
std::string RowsWithNulls(const std::string& table, const std::vector<db::ColumnInfo>& columns) {
    std::string sql = "SELECT * FROM " + table + " NOT INDEXED WHERE ";
    for (size_t i = 0; i < columns.size(); ++i) {
        sql += i ? " OR " : "";
        sql += db::QuoteName(columns[i].Name) + " IS NULL";
    }
    return sql;
}

// Hands each row holding a NULL to the repair. Throws when the table cannot be read.
void RepairTable(startup::RunSettings& settings, db::Connection& connection,
                 const std::string& table, const std::vector<db::ColumnInfo>& columns,
                 util::UiServices& ui) {
    db::Recordset rs;
    std::optional<db::Transaction> batch;
    int inBatch = 0;
    int repaired = 0;
    try {
        rs.Open(connection, RowsWithNulls(table, columns));
        while (!rs.IsEOF()) {
            if (!batch) {
                batch.emplace(connection);
            }
            db::RepairNullValues(rs, settings);
            rs.MoveNext();
            if (++inBatch == kRowsPerCommit) {
                batch->Commit();
                batch.reset();
                inBatch = 0;
            }
            if (++repaired % kRowsPerEvents == 0) {
                ui.DoEvents();
            }
        }
    } catch (...) {
        // Keep the repairs already made (and logged) before reporting the failure.
        rs.Close();
        if (batch) {
            try {
                batch->Commit();
            } catch (const std::exception&) {
            }
        }
        throw;
    }
    rs.Close();
    if (batch) {
        batch->Commit();
    }
}

// Logs the NULLs of the table as RepairNullValues would, row by row in the
// same order, without changing a row; gives the columns to repair. Only
// whether each field is NULL is read, and the lines go to the log in blocks:
// a large table may hold hundreds of thousands of them.
std::vector<db::ColumnInfo> LogNulls(startup::RunSettings& settings, db::Connection& connection,
                                     const std::string& table,
                                     const std::vector<db::ColumnInfo>& columns,
                                     util::UiServices& ui) {
    std::string flags;
    for (size_t i = 0; i < columns.size(); ++i) {
        flags += (i ? ", " : "") + db::QuoteName(columns[i].Name) + " IS NULL";
    }
    const std::string rows = RowsWithNulls(table, columns);
    db::Recordset rs;
    rs.Open(connection, "SELECT " + flags + rows.substr(rows.find(" FROM ")));
    std::vector<bool> found(columns.size(), false);
    std::string block;
    int inBlock = 0;
    auto write = [&] {
        if (inBlock > 0) {
            Log(settings, block);
        }
        block.clear();
        inBlock = 0;
    };
    for (int row = 1; !rs.IsEOF(); rs.MoveNext(), ++row) {
        for (size_t i = 0; i < columns.size(); ++i) {
            if (rs.Field(static_cast<int>(i)).AsInt() != 0) {
                block += (inBlock++ ? "\r\n" : "") +
                         std::string("{*} NULL value detected in field ") + columns[i].Name;
                found[i] = true;
            }
        }
        if (row % kRowsPerEvents == 0) {
            write();
            ui.DoEvents();
        }
    }
    write();
    std::vector<db::ColumnInfo> repaired;
    for (size_t i = 0; i < columns.size(); ++i) {
        if (found[i] && db::NeutralValue(columns[i].DataType)) {
            repaired.push_back(columns[i]);
        }
    }
    return repaired;
}

} // namespace

std::string TableLine(const std::string& table, int32_t fields, int32_t records) {
    return "{ } Database Table Name  : " + table + " {" + std::to_string(fields) + " fields, " +
           std::to_string(records) + " records} ";
}

bool CheckTables(startup::RunSettings& settings, db::Connection& connection, util::UiServices& ui,
                 NullRepairs* deferred) {
    std::vector<std::string> tables;
    try {
        tables = db::ListTables(connection);
    } catch (const std::exception& e) {
        Log(settings, "{*} Error reading the table catalogue: " + ErrorText(e));
        return false;
    }
    bool ok = true;
    for (const std::string& table : tables) {
        if (!IsSuiteTable(table)) {
            continue;
        }
        try {
            const std::vector<db::ColumnInfo> columns = db::ListColumns(connection, table);
            const int32_t records = static_cast<int32_t>(
                connection.Scalar("SELECT Count(*) AS RecordCount FROM " + table).AsInt());
            Log(settings, TableLine(table, static_cast<int32_t>(columns.size()), records));
            if (records > 0 && !columns.empty()) {
                if (deferred && deferred->Takes(table)) {
                    deferred->Repair(table, LogNulls(settings, connection, table, columns, ui));
                } else {
                    RepairTable(settings, connection, table, columns, ui);
                }
            }
        } catch (const std::exception& e) {
            Log(settings, "{*} Error checking table " + table + ": " + ErrorText(e));
            ok = false;
        }
        ui.DoEvents();
    }
    return ok;
}

} // namespace maintenance
