#include "upgrade/migration_statements.h"

#include "db/connection.h"

#include <array>

namespace upgrade {

namespace {

constexpr MigrationItem Sql(std::string_view text) {
    return {MigrationKind::Statement, text};
}
constexpr MigrationItem Conversion(MigrationKind kind) {
    return {kind, {}};
}

// clang-format off
// The texts are kept on one line each (the joined INSERTs piece by piece) so
// that they can be compared with the suite's own by eye.
constexpr std::array kGroupA = {
    Sql("UPDATE Analysis SET Exp1 = ExpLandscape"),
    Sql("UPDATE Analysis SET Exp2 = ExpTrash"),
    Sql("UPDATE Analysis SET Exp3 = ExpPest"),
    Sql("UPDATE Analysis SET Exp4 = ExpPool"),
    Sql("UPDATE Account SET AccountType = 'Building Owner' WHERE AccountType = 'Property Owner'"),
    Sql("UPDATE Account SET AccountType = 'Building Manager' WHERE AccountType = 'Property Manager'"),
    Sql("UPDATE Incident SET Severity = '0 - Informational'"),
    Sql("UPDATE Analysis SET IdBuilding = IdProperty"),
    Sql("UPDATE AutoEvent SET IdBuilding = IdProperty"),
    Sql("UPDATE ManagerLink SET IdBuilding = IdProperty"),
    Sql("UPDATE Mileage SET IdBuilding = IdProperty"),
    Sql("UPDATE Mortgage SET IdBuilding = IdProperty"),
    Sql("UPDATE OwnerLink SET IdBuilding = IdProperty"),
    Sql("UPDATE SvcContract SET IdBuilding = IdProperty"),
    Sql("UPDATE Transactions SET IdBuilding = IdProperty"),
    Sql("UPDATE Appliance SET IdUnit = IdProperty"),
    Sql("UPDATE AutoEvent SET IdUnit = IdProperty"),
    Sql("UPDATE Content SET IdUnit = IdProperty"),
    Sql("UPDATE Doc SET SelUnit = SelProperty"),
    Sql("UPDATE Lease SET IdUnit = IdProperty"),
    Sql("UPDATE Room SET IdUnit = IdProperty"),
    Sql("UPDATE Transactions SET IdUnit = IdProperty"),
    Sql("UPDATE WorkOrder SET IdUnit = IdProperty"),
    // One old property becomes one building with the same identifier.
    // "GasAvaliable" is the column's real name.
    Sql("INSERT INTO Building ("
        "IdBuilding, PropType, Address, City, County, State, Zip, Legal, ParcelID, YearBuilt, Zoning, PropDesc, Region, "
        "Construction, StoryHeight, LotShape, LotSize, KeyType, KeyCode, Pool, Fence, LawnIrrigation, Shed, Deck, Waterfront, "
        "Notes, WaterSource, GasAvaliable, PurchDate, SaleDate, DeprBasis, DeprTerm, DeprMethod) "
        "SELECT "
        "IdProperty, PropType, Address, City, County, State, Zip, Legal, ParcelID, YearBuilt, Zoning, PropDesc, Region, "
        "Construction, StoryHeight, LotShape, LotSize, KeyType, KeyCode, Pool, Fence, LawnIrrigation, Shed, Deck, Waterfront, "
        "Notes, WaterSource, GasAvaliable, PurchDate, SaleDate, DeprBasis, DeprTerm, DeprMethod "
        "FROM Property"),
    // ... and one unit with that same identifier.
    Sql("INSERT INTO Unit ("
        "IdUnit, Unit, Status, Faces, Smoke, Bedrooms, Bathrooms, Split, Garage, WDHookup, Fireplace, SqFt, Rent, DepositDamage, "
        "DepositClean, DepositPet, DepositKey, DepositOther1, DepositOther2, KeyType, KeyCode, SecTenant, Ad, Notes) "
        "SELECT "
        "IdProperty, Unit, Status, Faces, Smoke, Bedrooms, Bathrooms, Split, Garage, WDHookup, Fireplace, SqFt, Rent, DepositDamage,  "
        "DepositClean, DepositPet, DepositKey, DepositOther1, DepositOther2, KeyType, KeyCode, SecTenant, Ad, Notes "
        "FROM Property"),
    Sql("UPDATE Building SET Multi = False"),
    Sql("UPDATE Building SET Status = 'Owned'"),
    Sql("UPDATE Unit SET IdBuilding = IdUnit"),
};

constexpr std::array kGroupB = {
    Sql("UPDATE Account SET TaxIDFed = TaxID"),
    Sql("UPDATE Account SET Balance = 0"),
    Sql("UPDATE Configuration SET DefaultMortgageAccount = DefaultMortgagePmt"),
    Sql("UPDATE Configuration SET FileDirectory = DocDirectory"),
    Sql("UPDATE Configuration SET OneTimeFee = 0"),
    Sql("UPDATE Configuration SET OneTimeDays = 0"),
    Sql("UPDATE Configuration SET DailyFee = 0"),
    Sql("UPDATE Configuration SET DailyDays = 0"),
    // The three contact sets a tenant kept in its own columns become Contact records.
    Conversion(MigrationKind::TenantContacts),
    Sql("UPDATE Account SET Hide = False"),
    Sql("UPDATE Building SET Hide = False"),
    Sql("UPDATE Lease SET Hide = False"),
    Sql("UPDATE Mortgage SET Hide = False"),
    Sql("UPDATE Tenant SET Hide = False"),
    Sql("UPDATE Unit SET Hide = False"),
    Sql("UPDATE Vendor SET Hide = False"),
    Sql("UPDATE WorkOrder SET Hide = False"),
    Sql("UPDATE Building SET Distance = 0"),
    Sql("UPDATE Building SET InsFlood = False"),
    Sql("UPDATE Building SET InsNextDue = InsDate"),
    Sql("UPDATE Building SET HOANextDue = HOALastDate"),
    Sql("UPDATE Building SET HOAAutoInc = False"),
    Sql("UPDATE Building SET PurchTitleIns = False"),
    Sql("UPDATE Building SET SaleTitleIns = False"),
    Sql("UPDATE Building SET DeprPeriod = DeprTerm"),
    Sql("UPDATE Lease SET DepositAccount = 0"),
    Sql("UPDATE Lease SET DepositBalance = 0"),
    Sql("UPDATE Lease SET DepositPaid = 0"),
    Sql("UPDATE Lease SET DepositRefunded = 0"),
    Sql("UPDATE Lease SET DepositCharged = 0"),
    Sql("UPDATE Lease SET RentAccount = 0"),
    Sql("UPDATE Lease SET RentDue = 0"),
    Sql("UPDATE Lease SET Subs = False"),
    Sql("UPDATE Lease SET SubsAmt = 0"),
    Sql("UPDATE Lease SET SubsDue = 0"),
    Sql("UPDATE Lease SET SubsidyType = 0"),
    Sql("UPDATE Lease SET SubsidyId = 0"),
    // A lease whose Pets is NULL matches neither and keeps no total.
    Sql("UPDATE Lease SET DepositTotal = DepositDamage + DepositClean + DepositKey + DepositPet + DepositOther1 + DepositOther2 WHERE Pets = True"),
    Sql("UPDATE Lease SET DepositTotal = DepositDamage + DepositClean + DepositKey + DepositOther1 + DepositOther2 WHERE Pets = False"),
    // DepositPaid was zeroed above, so the amount due is the whole total.
    Sql("UPDATE Lease SET DepositDue = DepositTotal - DepositPaid"),
    Sql("UPDATE Lease SET TermType = 'Week(s)' WHERE TermType = 'Weekly'"),
    Sql("UPDATE Lease SET TermType = 'Month(s)' WHERE TermType = 'Monthly'"),
    Sql("UPDATE Lease SET TermType = 'Year(s)' WHERE TermType = 'Yearly'"),
    Sql("UPDATE Lease SET OneTimeFee = LateFee"),
    Sql("UPDATE Lease SET OneTimeDays = LateDays"),
    Sql("UPDATE Lease SET DailyFee = WarningFee"),
    Sql("UPDATE Lease SET DailyDays = WarningDays"),
    // The new mortgage summary columns come from the old columns and the stored schedule.
    Conversion(MigrationKind::MortgageRecalculation),
    Sql("UPDATE Transactions SET Class = 0"),
    Sql("UPDATE Transactions SET Flags = 0"),
    Sql("UPDATE Transactions SET Reconciled = False"),
    Sql("UPDATE Transactions SET IdLedger = 0"),
    Sql("UPDATE Transactions SET IdMileage = 0"),
    Sql("UPDATE WorkOrder SET LaborHours = 0"),
    Sql("UPDATE WOItem SET Notes = ''"),
};
// clang-format on

constexpr std::array kRunColumns = {
    RunColumn{"Building", "DeprTerm", db::adInteger},
    RunColumn{"Building", "InsDate", db::adDate},
    RunColumn{"Building", "HOALastDate", db::adDate},
};

} // namespace

std::span<const MigrationItem> MigrationGroupA() {
    return kGroupA;
}
std::span<const MigrationItem> MigrationGroupB() {
    return kGroupB;
}

bool RunsGroupA(int16_t version) {
    return version < 5;
}
bool RunsGroupB(int16_t version) {
    return version < 6;
}

std::span<const RunColumn> ColumnsForTheRun(int16_t version) {
    if (!RunsGroupB(version)) {
        return {};
    }
    return kRunColumns;
}

std::vector<MigrationItem> MigrationsForVersion(int16_t version) {
    std::vector<MigrationItem> items;
    if (RunsGroupA(version))
        items.insert(items.end(), kGroupA.begin(), kGroupA.end());
    if (RunsGroupB(version))
        items.insert(items.end(), kGroupB.begin(), kGroupB.end());
    return items;
}

} // namespace upgrade
