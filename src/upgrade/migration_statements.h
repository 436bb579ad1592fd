#pragma once
// The data migrations an upgrade runs after the structure steps have added
// the new columns and before the obsolete ones are dropped, so a statement may
// read an old column and write its replacement. The statement texts are the
// suite's own and are run exactly as written here; a statement that names a
// column a database lacks simply fails and the run goes on.

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace upgrade {

// Most items are one SQL statement; two items of the second group are record
// conversions done in code (they need the schedule engine or fresh ids).
enum class MigrationKind { Statement, TenantContacts, MortgageRecalculation };

struct MigrationItem {
    MigrationKind kind = MigrationKind::Statement;
    std::string_view sql; // empty for the conversions
};

// Group A: a pre-5 database, where a property was building and unit at once.
std::span<const MigrationItem> MigrationGroupA();
// Group B: what a pre-6 database lacks (contacts, mortgages, lease deposits...).
std::span<const MigrationItem> MigrationGroupB();

// Version gate: below 5 both groups (A first), 5 the second only, 6 and up none.
bool RunsGroupA(int16_t version);
bool RunsGroupB(int16_t version);

// The items a database of `version` receives, in the order they run.
std::vector<MigrationItem> MigrationsForVersion(int16_t version);

// An old column that the statements move data through.
struct RunColumn {
    std::string_view table;
    std::string_view column;
    int16_t dataType; // ADO type code
};

// The old columns of the Building table that the statements write and read
// (the copy from Property fills them, the second group moves them on). An
// old database may have kept its buildings as properties only; when the
// upgrade creates the Building table, the table gets these for the run, and
// they go with the other obsolete columns. None when no group runs.
std::span<const RunColumn> ColumnsForTheRun(int16_t version);

} // namespace upgrade
