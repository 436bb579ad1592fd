#pragma once
// The database template ("Ketrova.ddf") and the comparison of the template
// with a database's live structure, with the operations that bring the one
// to the other. Every procedure writes to the run log only while one is
// open, reports failure by its result and never throws.

#include "db/catalog.h"
#include "db/connection.h"
#include "startup/run_settings.h"
#include "util/services.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace db {

// What the schema operations do with a field.
inline constexpr int16_t ActionNone = 0;
inline constexpr int16_t ActionAdd = 1;
inline constexpr int16_t ActionRemove = 2; // obsolete
inline constexpr int16_t ActionUpdate = 3; // re-create with the template's type and size

// One column, as the template wants it or as the database has it.
struct Field {
    std::string TableName;
    std::string FieldName;
    int16_t DataType = adInteger; // ADO type code
    int32_t Size = 0;             // text columns only
    bool Indexed = false;         // template only
    int16_t Action = ActionNone;
};

// The two field lists: what the template wants and what the database has.
// Each read empties its list first.
struct SchemaLists {
    std::vector<Field> Template;
    std::vector<Field> Database;
};

// The template's file name: DataFolder(settings) + "Ketrova.ddf".
std::string TemplateFileName(const startup::RunSettings& settings);

// Reads the template into lists.Template, every field with `initialAction`.
// True when at least one field was read. A missing template, an empty one
// and a data line with fewer than five positions each write a "{*}" line
// and give false (the list is left empty).
bool LoadTemplate(startup::RunSettings& settings, SchemaLists& lists, int16_t initialAction);
// The same from a named file (tools and tests).
bool LoadTemplateFile(startup::RunSettings& settings, SchemaLists& lists, const std::string& file,
                      int16_t initialAction);

// Reads the columns of every user table into lists.Database (tables whose
// names start with "MSYS" are skipped, as the engine's own). True when at
// least one column was read.
bool ReadDBSchema(startup::RunSettings& settings, Connection& connection, SchemaLists& lists);

// Marks template fields 1 (missing in the database) or 3 (text size
// differs), database fields 2 (not in the template). Always true.
bool CompareSchema(startup::RunSettings& settings, SchemaLists& lists);

// Creates missing tables and adds every template field marked 1, all in one
// transaction; false (and nothing changed) on the first error.
bool AddFields(startup::RunSettings& settings, Connection& connection, const SchemaLists& lists,
               util::UiServices& ui);

// Re-creates every template field marked 3 with its data: rename to
// "t_Column", add the new column, copy, drop "t_Column". Each field is one
// transaction; false on the first field that fails (that field is unchanged).
bool UpdateFields(startup::RunSettings& settings, Connection& connection, const SchemaLists& lists,
                  util::UiServices& ui);
// The same for one field, whatever its Action.
bool UpdateField(startup::RunSettings& settings, Connection& connection, const Field& field);

// Drops every database field marked 2. The last column of a table stays
// (a table cannot be left without columns; an obsolete table is dropped whole
// by the upgrade).
bool DeleteObsoleteFields(startup::RunSettings& settings, Connection& connection,
                          const SchemaLists& lists);

// Creates an index named after each indexed template column.
bool AddIndexes(startup::RunSettings& settings, Connection& connection, const SchemaLists& lists);

// Drops every index of every user table; a failure is logged
// ("{*} prv_DeleteIndexes: error deleting database index") and the rest go on.
bool DeleteIndexes(startup::RunSettings& settings, Connection& connection);

// The value that stands for "nothing" in a column of the type: 0 for whole
// numbers, doubles and currency, false for yes/no, "" for texts; none for
// dates and the other types, which have no such value and stay NULL.
std::optional<Value> NeutralValue(int16_t dataType);

// Replaces the NULL values of the recordset's current row by its type's
// neutral value (0, false, "") and saves the row; dates and other types stay
// NULL. Logs "{*} NULL value detected in field " + name for each NULL.
// Returns the number of NULL fields found.
int16_t RepairNullValues(Recordset& recordset, startup::RunSettings& settings);

// The distinct table names of a field list, in first-seen order, compared
// without regard to case.
std::vector<std::string> DistinctTables(const std::vector<Field>& fields);

} // namespace db
