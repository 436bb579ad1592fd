#include "db/schema.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <unordered_map>

namespace db {

namespace {

using startup::Log;

std::string Upper(std::string_view s) {
    std::string out(s);
    for (char& c : out) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return out;
}

// Blanks only, as the suite's text handling trims.
std::string_view Trim(std::string_view s) {
    while (!s.empty() && s.front() == ' ') {
        s.remove_prefix(1);
    }
    while (!s.empty() && s.back() == ' ') {
        s.remove_suffix(1);
    }
    return s;
}

std::vector<std::string_view> SplitCommas(std::string_view line) {
    std::vector<std::string_view> parts;
    size_t start = 0;
    while (true) {
        size_t comma = line.find(',', start);
        if (comma == std::string_view::npos) {
            parts.push_back(line.substr(start));
            return parts;
        }
        parts.push_back(line.substr(start, comma - start));
        start = comma + 1;
    }
}

// The engine's own tables, as the suite has always recognised them.
bool IsSystemTable(std::string_view table) {
    return Upper(table.substr(0, 4)) == "MSYS";
}

std::string FieldKey(std::string_view table, std::string_view column) {
    return Upper(table) + '\x1f' + Upper(column);
}

} // namespace

std::string TemplateFileName(const startup::RunSettings& settings) {
    return startup::DataFolder(settings) + "Ketrova.ddf";
}

bool LoadTemplate(startup::RunSettings& settings, SchemaLists& lists, int16_t initialAction) {
    return LoadTemplateFile(settings, lists, TemplateFileName(settings), initialAction);
}

bool LoadTemplateFile(startup::RunSettings& settings, SchemaLists& lists, const std::string& file,
                      int16_t initialAction) {
    lists.Template.clear();
    std::error_code ec;
    if (!std::filesystem::is_regular_file(file, ec)) {
        Log(settings, "{*} Database template file not found: " + file);
        return false;
    }
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        Log(settings, "{*} Error reading database template file: " + file);
        return false;
    }
    std::string line;
    long lineNo = 0;
    while (std::getline(in, line)) {
        ++lineNo;
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        // An editor may have put a byte-order mark before a first comment line.
        if (lineNo == 1 && line.rfind("\xEF\xBB\xBF", 0) == 0) {
            line.erase(0, 3);
        }
        if (line.empty() || line.front() == '#' || Trim(line).empty() ||
            line.find(',') == std::string::npos) {
            continue;
        }
        std::vector<std::string_view> parts = SplitCommas(line);
        if (parts.size() < 5) {
            Log(settings, "{*} Error in database template file " + file + ", line " +
                              std::to_string(lineNo) + ": " + std::to_string(parts.size()) +
                              " of 5 fields: " + line);
            lists.Template.clear();
            return false;
        }
        Field f;
        f.TableName = std::string(Trim(parts[0]));
        f.FieldName = std::string(Trim(parts[1]));
        if (f.TableName.empty() || f.FieldName.empty()) {
            continue;
        }
        const std::string keyword = Upper(Trim(parts[2]));
        if (keyword == "MEMO") {
            f.DataType = adLongVarWChar;
        } else if (keyword == "DATE") {
            f.DataType = adDate;
        } else if (keyword == "FLOAT") {
            f.DataType = adDouble;
        } else if (keyword == "CURRENCY") {
            f.DataType = adCurrency;
        } else if (keyword == "TEXT") {
            f.DataType = adVarWChar;
            std::string_view size = Trim(parts[3]);
            if (!size.empty()) {
                int32_t n = 0;
                auto [ptr, err] = std::from_chars(size.data(), size.data() + size.size(), n);
                if (err != std::errc() || ptr != size.data() + size.size() || n < 0) {
                    Log(settings, "{*} Error in database template file " + file + ", line " +
                                      std::to_string(lineNo) +
                                      ": text size is not a number: " + line);
                    lists.Template.clear();
                    return false;
                }
                f.Size = n;
            }
        } else if (keyword == "BOOLEAN") {
            f.DataType = adBoolean;
        } else {
            // No keyword of its own: LONG, INTEGER or nothing all mean a
            // 32-bit integer.
            f.DataType = adInteger;
        }
        f.Indexed = parts[4] == "idx";
        f.Action = initialAction;
        lists.Template.push_back(std::move(f));
    }
    if (lists.Template.empty()) {
        Log(settings, "{*} No fields found in template file: " + file);
        return false;
    }
    return true;
}

bool ReadDBSchema(startup::RunSettings& settings, Connection& connection, SchemaLists& lists) {
    lists.Database.clear();
    try {
        for (const std::string& table : ListTables(connection)) {
            if (IsSystemTable(table)) {
                continue;
            }
            for (const ColumnInfo& c : ListColumns(connection, table)) {
                Field f;
                f.TableName = table;
                f.FieldName = c.Name;
                f.DataType = c.DataType;
                f.Size = c.Size;
                lists.Database.push_back(std::move(f));
            }
        }
    } catch (const std::exception& e) {
        Log(settings, "{*} ReadDBSchema: " + ErrorText(e));
        lists.Database.clear();
        return false;
    }
    return !lists.Database.empty();
}

bool CompareSchema(startup::RunSettings& settings, SchemaLists& lists) {
    std::unordered_map<std::string, size_t> database;
    for (size_t i = 0; i < lists.Database.size(); ++i) {
        database.emplace(FieldKey(lists.Database[i].TableName, lists.Database[i].FieldName), i);
    }
    std::unordered_map<std::string, size_t> wanted;
    for (size_t i = 0; i < lists.Template.size(); ++i) {
        Field& t = lists.Template[i];
        const std::string key = FieldKey(t.TableName, t.FieldName);
        wanted.emplace(key, i);
        auto found = database.find(key);
        if (found == database.end()) {
            t.Action = ActionAdd;
            continue;
        }
        // Only a text size is compared: a column of another type keeps its
        // type, so an upgrade never converts data it was not asked to.
        const Field& d = lists.Database[found->second];
        if ((t.DataType == adVarWChar || t.DataType == adWChar) && t.Size != d.Size) {
            t.Action = ActionUpdate;
            Log(settings, "{ } Marking field {" + t.FieldName + "} for update");
        }
    }
    for (Field& d : lists.Database) {
        if (!wanted.contains(FieldKey(d.TableName, d.FieldName))) {
            d.Action = ActionRemove;
        }
    }
    return true;
}

bool AddFields(startup::RunSettings& settings, Connection& connection, const SchemaLists& lists,
               util::UiServices& ui) {
    try {
        // All or nothing: a half-built structure is worse than none.
        Transaction transaction(connection);
        std::string lastTable;
        for (const Field& f : lists.Template) {
            if (f.Action != ActionAdd) {
                continue;
            }
            Log(settings, "{ } Adding field {" + f.FieldName + "} to {" + f.TableName + "}");
            bool created = false;
            if (f.TableName != lastTable) {
                if (!TableExists(connection, f.TableName)) {
                    Log(settings, "{ } Table {" + f.TableName + "} being created");
                    // A table cannot exist without a column: it is made with
                    // its first one.
                    CreateTable(connection, f.TableName, f.FieldName, f.DataType, f.Size);
                    created = true;
                }
                lastTable = f.TableName;
            }
            if (!created) {
                AddColumn(connection, f.TableName, f.FieldName, f.DataType, f.Size);
            }
            ui.DoEvents();
        }
        transaction.Commit();
        return true;
    } catch (const std::exception& e) {
        Log(settings, "{*} AddFields: " + ErrorText(e));
        return false;
    }
}

bool UpdateField(startup::RunSettings& settings, Connection& connection, const Field& f) {
    try {
        // Whole or not at all: a failure in the copy must not leave the data
        // stranded in "t_Column".
        Transaction transaction(connection);
        ReplaceColumn(connection, f.TableName, f.FieldName, f.DataType, f.Size, "t_Column", [&] {
            connection.Execute("UPDATE " + f.TableName + " SET " + f.FieldName + " = t_Column");
        });
        transaction.Commit();
        return true;
    } catch (const std::exception& e) {
        Log(settings, "{*} UpdateFields: field {" + f.FieldName + "} of {" + f.TableName +
                          "}: " + ErrorText(e));
        return false;
    }
}

bool UpdateFields(startup::RunSettings& settings, Connection& connection, const SchemaLists& lists,
                  util::UiServices& ui) {
    for (const Field& f : lists.Template) {
        if (f.Action != ActionUpdate) {
            continue;
        }
        if (!UpdateField(settings, connection, f)) {
            return false;
        }
        ui.DoEvents();
    }
    return true;
}

bool DeleteObsoleteFields(startup::RunSettings& settings, Connection& connection,
                          const SchemaLists& lists) {
    try {
        Transaction transaction(connection);
        for (const Field& f : lists.Database) {
            if (f.Action != ActionRemove) {
                continue;
            }
            if (ListColumns(connection, f.TableName).size() <= 1) {
                // The engine keeps no table without columns; the table itself
                // is dropped when it is obsolete.
                Log(settings, "{ } Field {" + f.FieldName + "} kept as the last column of {" +
                                  f.TableName + "}");
                continue;
            }
            DropColumn(connection, f.TableName, f.FieldName);
        }
        transaction.Commit();
        return true;
    } catch (const std::exception& e) {
        Log(settings, "{*} DeleteObsoleteFields: " + ErrorText(e));
        return false;
    }
}

bool AddIndexes(startup::RunSettings& settings, Connection& connection, const SchemaLists& lists) {
    try {
        Transaction transaction(connection);
        for (const Field& f : lists.Template) {
            if (f.Indexed) {
                CreateIndex(connection, f.TableName, f.FieldName);
            }
        }
        transaction.Commit();
        return true;
    } catch (const std::exception& e) {
        Log(settings, "{*} AddIndexes: " + ErrorText(e));
        return false;
    }
}

bool DeleteIndexes(startup::RunSettings& settings, Connection& connection) {
    std::vector<std::string> tables;
    try {
        tables = ListTables(connection);
    } catch (const std::exception& e) {
        Log(settings, "{*} DeleteIndexes: " + ErrorText(e));
        return false;
    }
    for (const std::string& table : tables) {
        if (IsSystemTable(table)) {
            continue;
        }
        std::vector<IndexInfo> indexes;
        try {
            indexes = ListIndexes(connection, table);
        } catch (const std::exception&) {
            Log(settings, "{*} prv_DeleteIndexes: error deleting database index");
            continue;
        }
        for (const IndexInfo& ix : indexes) {
            if (ix.EngineOwned) {
                continue; // belongs to a constraint; goes only with its table
            }
            try {
                DropIndex(connection, ix);
            } catch (const std::exception&) {
                Log(settings, "{*} prv_DeleteIndexes: error deleting database index");
            }
        }
    }
    return true;
}

std::optional<Value> NeutralValue(int16_t dataType) {
    switch (dataType) {
    case adInteger:
    case adDouble:
    case adCurrency:
        return Value(0);
    case adBoolean:
        return Value(false);
    case adVarWChar:
    case adLongVarWChar:
        return Value("");
    default:
        return std::nullopt; // a date, or a type the suite never repairs
    }
}

int16_t RepairNullValues(Recordset& recordset, startup::RunSettings& settings) {
    int16_t found = 0;
    if (recordset.IsEOF()) {
        return 0;
    }
    try {
        for (int i = 0; i < recordset.FieldCount(); ++i) {
            if (!recordset.Field(i).IsNull()) {
                continue;
            }
            const FieldInfo& info = recordset.FieldAt(i);
            Log(settings, "{*} NULL value detected in field " + info.Name);
            ++found;
            if (auto neutral = NeutralValue(info.Type)) {
                recordset.SetField(i, std::move(*neutral));
            }
        }
        if (recordset.EditPending()) {
            recordset.Update();
        }
    } catch (const std::exception& e) {
        Log(settings, "{*} RepairNullValues: " + ErrorText(e));
        recordset.CancelUpdate();
    }
    return found;
}

std::vector<std::string> DistinctTables(const std::vector<Field>& fields) {
    std::vector<std::string> tables;
    std::unordered_map<std::string, bool> seen;
    for (const Field& f : fields) {
        if (seen.emplace(Upper(f.TableName), true).second) {
            tables.push_back(f.TableName);
        }
    }
    return tables;
}

} // namespace db
