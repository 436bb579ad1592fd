// The migrations in their order, and their texts.

#include "upgrade/migration_statements.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>
#include <vector>

using namespace upgrade;

namespace {

// Each item as its text; the record conversions by name.
std::vector<std::string> Texts(std::span<const MigrationItem> items) {
    std::vector<std::string> out;
    for (const auto& item : items)
        out.push_back(item.kind == MigrationKind::TenantContacts          ? "(contacts)"
                      : item.kind == MigrationKind::MortgageRecalculation ? "(mortgages)"
                                                                          : std::string(item.sql));
    return out;
}

} // namespace

// The places support compares with the suite's own: the ends of each group,
// the record conversions (contacts after the configuration columns, the
// mortgages after the lease columns) and the unit copy's two blanks. Which
// version gets which group the old databases' upgrades show.
TEST(Migrations, StatementTextsAndWhereTheConversionsRun) {
    const auto a = Texts(MigrationGroupA()), b = Texts(MigrationGroupB());
    ASSERT_EQ(a.size(), 28u);
    ASSERT_EQ(b.size(), 55u);
    const std::pair<const std::string&, const char*> anchors[] = {
        {a[0], "UPDATE Analysis SET Exp1 = ExpLandscape"},
        {a[27], "UPDATE Unit SET IdBuilding = IdUnit"},
        {b[0], "UPDATE Account SET TaxIDFed = TaxID"},
        {b[8], "(contacts)"},
        {b[47], "(mortgages)"},
        {b[54], "UPDATE WOItem SET Notes = ''"},
    };
    for (const auto& [text, wanted] : anchors)
        EXPECT_EQ(text, wanted);
    EXPECT_EQ(std::count_if(b.begin(), b.end(), [](auto& t) { return t[0] == '('; }), 2);
    EXPECT_NE(a[24].find("SELECT IdProperty, Unit, Status, "), std::string::npos);
    EXPECT_NE(a[24].find(" DepositDamage,  DepositClean, "), std::string::npos);
}
