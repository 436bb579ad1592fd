#include "upgrade/migrations.h"

#include "db/connection.h"
#include "upgrade/conversions.h"
#include "upgrade/migration_statements.h"

#include <exception>
#include <memory>
#include <string>

namespace upgrade {

namespace {

void RunItem(db::Connection& connection, const platform::Clock& clock, const MigrationItem& item) {
    switch (item.kind) {
    case MigrationKind::Statement:
        // Refused statements are expected: each group is written for the
        // oldest database it may meet.
        db::ExecuteSQL(connection, item.sql);
        break;
    case MigrationKind::TenantContacts:
        ConvertTenantContacts(connection, clock);
        break;
    case MigrationKind::MortgageRecalculation:
        RecalculateMortgages(connection);
        break;
    }
}

} // namespace

void RunMigrations(startup::RunSettings& settings, db::Connection& connection,
                   const platform::Clock& clock, util::UiServices& ui, int16_t version) {
    const auto items = MigrationsForVersion(version);
    if (items.empty())
        return;
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
            RunItem(connection, clock, item);
        } catch (const std::exception& e) {
            startup::Log(settings, std::string("{*} SQL update broke off: ") + e.what());
        }
        ui.DoEvents();
    }
    if (transaction) {
        try {
            transaction->Commit();
        } catch (const std::exception& e) {
            startup::Log(settings, std::string("{*} SQL updates not committed: ") + e.what());
        }
    }
}

} // namespace upgrade
