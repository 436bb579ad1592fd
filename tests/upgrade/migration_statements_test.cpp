// Which migrations each version receives, in which order, and their texts.

#include "upgrade/migration_statements.h"

#include <gtest/gtest.h>

#include <algorithm>
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

TEST(Migrations, BelowFiveBothGroupsFirstAThenBFiveOnlyBNewerNone) {
    const auto a = Texts(MigrationGroupA()), b = Texts(MigrationGroupB());
    struct Case {
        int16_t version;
        bool a, b;
    };
    for (const Case& c : {Case{-1, true, true}, Case{0, true, true}, Case{4, true, true},
                          Case{5, false, true}, Case{6, false, false}, Case{9, false, false}}) {
        SCOPED_TRACE(c.version);
        std::vector<std::string> wanted = c.a ? a : std::vector<std::string>{};
        if (c.b)
            wanted.insert(wanted.end(), b.begin(), b.end());
        EXPECT_EQ(Texts(MigrationsForVersion(c.version)), wanted);
        EXPECT_EQ(ColumnsForTheRun(c.version).size(), c.b ? 3u : 0u);
    }
}

// The places support compares with the suite's own: the ends of each group,
// the record conversions (contacts after the configuration columns, the
// mortgages after the lease columns) and the unit copy's two blanks.
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
