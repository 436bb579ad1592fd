#include "upgrade/migration_statements.h"

#include <gtest/gtest.h>

#include <string>

using namespace upgrade;

TEST(MigrationGate, OlderThanFiveGetsBothGroupsFiveOnlyTheSecondNewerNone) {
    struct Case {
        int16_t version;
        bool a, b;
    };
    const Case cases[] = {{-1, true, true},  {0, true, true},   {4, true, true},  {5, false, true},
                          {6, false, false}, {8, false, false}, {9, false, false}};
    const auto sizeA = MigrationGroupA().size();
    const auto sizeB = MigrationGroupB().size();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.version);
        EXPECT_EQ(RunsGroupA(c.version), c.a);
        EXPECT_EQ(RunsGroupB(c.version), c.b);
        EXPECT_EQ(MigrationsForVersion(c.version).size(), (c.a ? sizeA : 0) + (c.b ? sizeB : 0));
    }
    // Group A runs first: a version-4 database needs its buildings before the
    // second group sets their new columns.
    auto v4 = MigrationsForVersion(4);
    EXPECT_EQ(v4.front().sql, MigrationGroupA().front().sql);
    EXPECT_EQ(v4[sizeA].sql, MigrationGroupB().front().sql);
    EXPECT_EQ(MigrationsForVersion(5).front().sql, MigrationGroupB().front().sql);
}

TEST(MigrationStatements, CountsEndsAndConversionPlaces) {
    auto a = MigrationGroupA();
    auto b = MigrationGroupB();
    ASSERT_EQ(a.size(), 28u);
    ASSERT_EQ(b.size(), 55u);
    for (const auto& item : a)
        EXPECT_EQ(item.kind, MigrationKind::Statement) << item.sql;
    EXPECT_EQ(a.front().sql, "UPDATE Analysis SET Exp1 = ExpLandscape");
    EXPECT_EQ(a.back().sql, "UPDATE Unit SET IdBuilding = IdUnit");
    EXPECT_EQ(b.front().sql, "UPDATE Account SET TaxIDFed = TaxID");
    EXPECT_EQ(b.back().sql, "UPDATE WOItem SET Notes = ''");

    // The contacts come after the configuration columns and before the Hide
    // flags; the mortgages after the lease columns and before the transactions.
    EXPECT_EQ(b[7].sql, "UPDATE Configuration SET DailyDays = 0");
    EXPECT_EQ(b[8].kind, MigrationKind::TenantContacts);
    EXPECT_EQ(b[9].sql, "UPDATE Account SET Hide = False");
    EXPECT_EQ(b[46].sql, "UPDATE Lease SET DailyDays = WarningDays");
    EXPECT_EQ(b[47].kind, MigrationKind::MortgageRecalculation);
    EXPECT_EQ(b[48].sql, "UPDATE Transactions SET Class = 0");
    int conversions = 0;
    for (const auto& item : b) {
        if (item.kind == MigrationKind::Statement)
            EXPECT_FALSE(item.sql.empty());
        else {
            ++conversions;
            EXPECT_TRUE(item.sql.empty());
        }
    }
    EXPECT_EQ(conversions, 2);
}

TEST(MigrationStatements, JoinedCopiesOfTheOldPropertiesAreExact) {
    auto a = MigrationGroupA();
    EXPECT_EQ(a[22].sql, "UPDATE WorkOrder SET IdUnit = IdProperty");
    EXPECT_EQ(
        a[23].sql,
        "INSERT INTO Building (IdBuilding, PropType, Address, City, County, State, Zip, Legal, "
        "ParcelID, YearBuilt, Zoning, PropDesc, Region, Construction, StoryHeight, LotShape, "
        "LotSize, KeyType, KeyCode, Pool, Fence, LawnIrrigation, Shed, Deck, Waterfront, Notes, "
        "WaterSource, GasAvaliable, PurchDate, SaleDate, DeprBasis, DeprTerm, DeprMethod) SELECT "
        "IdProperty, PropType, Address, City, County, State, Zip, Legal, ParcelID, YearBuilt, "
        "Zoning, PropDesc, Region, Construction, StoryHeight, LotShape, LotSize, KeyType, KeyCode, "
        "Pool, Fence, LawnIrrigation, Shed, Deck, Waterfront, Notes, WaterSource, GasAvaliable, "
        "PurchDate, SaleDate, DeprBasis, DeprTerm, DeprMethod FROM Property");
    // The selected list has two blanks after DepositDamage, the inserted one.
    EXPECT_EQ(a[24].sql,
              "INSERT INTO Unit (IdUnit, Unit, Status, Faces, Smoke, Bedrooms, Bathrooms, Split, "
              "Garage, WDHookup, Fireplace, SqFt, Rent, DepositDamage, DepositClean, DepositPet, "
              "DepositKey, DepositOther1, DepositOther2, KeyType, KeyCode, SecTenant, Ad, Notes) "
              "SELECT IdProperty, Unit, Status, Faces, Smoke, Bedrooms, Bathrooms, Split, Garage, "
              "WDHookup, Fireplace, SqFt, Rent, DepositDamage,  DepositClean, DepositPet, "
              "DepositKey, DepositOther1, DepositOther2, KeyType, KeyCode, SecTenant, Ad, Notes "
              "FROM Property");
    EXPECT_EQ(a[25].sql, "UPDATE Building SET Multi = False");
}
