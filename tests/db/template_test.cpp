// The template that ships builds the suite's database; every column the
// migrations write is in it, with a type that holds what is written, and
// none of the old mortgage columns whose presence would convert the loans
// again at every upgrade.

#include "db/schema.h"
#include "db_fixture.h"
#include "upgrade/migration_statements.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>

using namespace db;

namespace {

class ShippedTemplate : public dbtest::DbTest {
protected:
    void SetUp() override {
        DbTest::SetUp();
        ASSERT_TRUE(LoadTemplateFile(settings, lists, shipped, ActionAdd));
        for (const auto& f : lists.Template) {
            columns[f.TableName + "." + f.FieldName] = &f;
        }
    }
    const Field* Get(const std::string& key) const {
        auto it = columns.find(key);
        return it == columns.end() ? nullptr : it->second;
    }

    const std::string shipped = std::string(OSTRAND_SOURCE_DIR) + "/data/Ketrova.ddf";
    SchemaLists lists;
    std::map<std::string, const Field*> columns;
};

} // namespace

// Read back, the database built from it equals the template: an upgrade of a
// fresh database has nothing to do. Every line is CR LF, as the suite writes
// text files, and no column stands twice.
TEST_F(ShippedTemplate, BuildsTheSuitesDatabase) {
    util::UiServices ui;
    ASSERT_TRUE(AddFields(settings, connection, lists, ui)) << Log();
    ASSERT_TRUE(AddIndexes(settings, connection, lists)) << Log();
    SchemaLists fresh;
    ASSERT_TRUE(LoadTemplateFile(settings, fresh, shipped, ActionNone));
    ASSERT_TRUE(ReadDBSchema(settings, connection, fresh));
    ASSERT_TRUE(CompareSchema(settings, fresh));
    for (const auto* list : {&fresh.Template, &fresh.Database}) {
        for (const auto& f : *list) {
            EXPECT_EQ(f.Action, ActionNone) << f.TableName << "." << f.FieldName;
        }
    }
    const std::string raw = testsupport::ReadFile(shipped);
    EXPECT_EQ(std::count(raw.begin(), raw.end(), '\n'), std::count(raw.begin(), raw.end(), '\r'));
    EXPECT_EQ(columns.size(), lists.Template.size());
}

TEST_F(ShippedTemplate, HoldsEveryColumnThatMigrationsWrite) {
    // Columns only read by the statements and dropped afterwards.
    const std::set<std::string> readOnce = {"Building.DeprTerm"};
    const std::regex update(R"(^UPDATE (\w+) SET (\w+) =)");
    const std::regex insert(R"(^INSERT INTO (\w+) \(([^)]*)\))");
    const std::regex name(R"(\w+)");
    int checked = 0;
    for (auto group : {upgrade::MigrationGroupA(), upgrade::MigrationGroupB()}) {
        for (const auto& item : group) {
            std::string sql(item.sql);
            std::smatch m;
            if (std::regex_search(sql, m, update)) {
                EXPECT_NE(Get(m[1].str() + "." + m[2].str()), nullptr) << sql;
                ++checked;
            } else if (std::regex_search(sql, m, insert)) {
                const std::string list = m[2].str();
                for (auto it = std::sregex_iterator(list.begin(), list.end(), name);
                     it != std::sregex_iterator(); ++it) {
                    const std::string key = m[1].str() + "." + it->str();
                    EXPECT_TRUE(readOnce.contains(key) || Get(key)) << key;
                    ++checked;
                }
            }
        }
    }
    EXPECT_GT(checked, 100);
}

// Money, rates and schedules keep their kinds, links are indexed, and neither
// the old table nor the old mortgage columns are there to convert again.
TEST_F(ShippedTemplate, TypesHoldWhatIsWrittenAndLinksAreIndexed) {
    const std::pair<const char*, int16_t> kinds[] = {{"Mortgage.OrigRate", adDouble},
                                                     {"Mortgage.CurrentPmt", adCurrency},
                                                     {"Mortgage.xPri", adLongVarWChar},
                                                     {"Lease.Pets", adBoolean}};
    for (const auto& [key, type] : kinds) {
        EXPECT_EQ(Get(key) ? Get(key)->DataType : -1, type) << key;
    }
    for (const auto& f : lists.Template) {
        if (f.FieldName.rfind("Id", 0) == 0 && f.FieldName != "IdConfig") {
            EXPECT_TRUE(f.Indexed) << f.TableName << "." << f.FieldName;
        }
        EXPECT_NE(f.TableName, "Property");
    }
    for (const char* old :
         {"PV", "T", "i", "Payment", "InterestOnly", "Balloon", "PrePayPenalty", "Amortization"}) {
        EXPECT_EQ(Get(std::string("Mortgage.") + old), nullptr) << old;
    }
}
