#include "upgrade/migrations.h"

#include "db/connection.h"
#include "upgrade/conversions.h"
#include "upgrade/migration_statements.h"

#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace upgrade {

namespace {

// What a conversion reads and writes through its own recordsets; each is
// brought up to date before it runs.
std::vector<std::string> TablesOf(MigrationKind kind) {
    switch (kind) {
    case MigrationKind::TenantContacts:
        return {"Tenant", "Contact", "Configuration"};
    case MigrationKind::MortgageRecalculation:
        return {"Mortgage"};
    case MigrationKind::Statement:
        break;
    }
    return {};
}

// Refused statements are expected: each group is written for the oldest
// database it may meet. They are told, since a statement that a database of
// its version should take and does not leaves data unconverted.
void RunItem(startup::RunSettings& settings, db::Connection& connection, DeferredUpdates& updates,
             const platform::Clock& clock, const MigrationItem& item,
             RecordConversions& conversions, int& failedStatements) {
    for (const std::string& table : TablesOf(item.kind)) {
        updates.Flush(table);
    }
    switch (item.kind) {
    case MigrationKind::Statement:
        if (std::string error = updates.Run(item.sql); !error.empty()) {
            ++failedStatements;
            startup::Log(settings,
                         "{*} SQL update failed: " + std::string(item.sql) + " (" + error + ")");
        }
        break;
    case MigrationKind::TenantContacts:
        conversions.TenantContacts(connection, clock);
        break;
    case MigrationKind::MortgageRecalculation:
        conversions.Mortgages(connection);
        break;
    }
}

const char* ItemName(const MigrationItem& item) {
    switch (item.kind) {
    case MigrationKind::TenantContacts:
        return "tenant contacts";
    case MigrationKind::MortgageRecalculation:
        return "mortgage recalculation";
    case MigrationKind::Statement:
        break;
    }
    return "statement";
}

} // namespace

int64_t PropertiesNotCopied(db::Connection& connection) {
    try {
        return connection
            .Scalar("SELECT Count(*) FROM Property WHERE IdProperty NOT IN "
                    "(SELECT IdBuilding FROM Building WHERE IdBuilding IS NOT NULL) OR "
                    "IdProperty NOT IN (SELECT IdUnit FROM Unit WHERE IdUnit IS NOT NULL)")
            .AsInt();
    } catch (const std::exception&) {
        return 0; // no Property table: converted by an earlier run
    }
}

bool RunMigrations(startup::RunSettings& settings, db::Connection& connection,
                   DeferredUpdates& updates, const platform::Clock& clock, util::UiServices& ui,
                   int16_t version, RecordConversions& conversions, int& failedStatements) {
    const auto items = MigrationsForVersion(version);
    if (items.empty())
        return true;
    // One transaction for the whole step: otherwise every record a conversion
    // saves is a disk sync of its own, and a large database takes minutes.
    // A failure here is no worse than without it: the upgrade's backup covers
    // the database either way.
    std::unique_ptr<db::Transaction> transaction;
    try {
        transaction = std::make_unique<db::Transaction>(connection);
    } catch (const std::exception& e) {
        startup::Log(settings,
                     std::string("{*} SQL updates run without a transaction: ") + e.what());
    }
    for (const auto& item : items) {
        try {
            RunItem(settings, connection, updates, clock, item, conversions, failedStatements);
        } catch (const std::exception& e) {
            // The old columns a conversion reads are dropped by the next
            // step; going on would lose every record not yet converted.
            startup::Log(settings, std::string("{*} SQL updates: ") + ItemName(item) +
                                       " broke off: " + e.what());
            return false;
        }
        ui.DoEvents();
    }
    // The old properties are dropped with their table; each must be a
    // building and a unit by now, or those it is not would be lost.
    int64_t lost = 0;
    if (RunsGroupA(version)) {
        try {
            for (const char* table : {"Property", "Building", "Unit"}) {
                updates.Flush(table);
            }
        } catch (const std::exception& e) {
            startup::Log(settings, std::string("{*} SQL updates: ") + e.what());
            return false;
        }
        lost = PropertiesNotCopied(connection);
    }
    if (lost > 0) {
        startup::Log(settings, "{*} SQL updates: " + std::to_string(lost) +
                                   " properties were not copied to buildings and units");
        return false;
    }
    if (transaction) {
        try {
            transaction->Commit();
        } catch (const std::exception& e) {
            startup::Log(settings, std::string("{*} SQL updates not committed: ") + e.what());
            return false;
        }
    }
    return true;
}

} // namespace upgrade
