// The template that ships: that it builds the suite's database and holds
// every column the migrations write, the upgrade of each old fixture version
// checks (no failed statement, the structure read back equals it). Here, what
// those runs would not notice.

#include "db/schema.h"
#include "db_fixture.h"

#include <gtest/gtest.h>

#include <map>

using namespace db;
using ShippedTemplate = dbtest::DbTest;

// Money, rates and schedules keep their kinds, links are indexed, and neither
// the old table nor the old mortgage columns are there to convert again.
TEST_F(ShippedTemplate, TypesHoldWhatIsWrittenAndLinksAreIndexed) {
    SchemaLists lists;
    ASSERT_TRUE(LoadTemplateFile(settings, lists, OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", 0));
    std::map<std::string, int16_t> types;
    for (const auto& f : lists.Template) {
        types[f.TableName + "." + f.FieldName] = f.DataType;
        if (f.FieldName.rfind("Id", 0) == 0 && f.FieldName != "IdConfig") {
            EXPECT_TRUE(f.Indexed) << f.TableName << "." << f.FieldName;
        }
        EXPECT_NE(f.TableName, "Property");
    }
    const std::pair<const char*, int16_t> kinds[] = {{"Mortgage.OrigRate", adDouble},
                                                     {"Mortgage.CurrentPmt", adCurrency},
                                                     {"Mortgage.xPri", adLongVarWChar},
                                                     {"Lease.Pets", adBoolean}};
    for (const auto& [key, type] : kinds) {
        EXPECT_EQ(types[key], type) << key;
    }
    for (const char* old :
         {"PV", "T", "i", "Payment", "InterestOnly", "Balloon", "PrePayPenalty", "Amortization"}) {
        EXPECT_FALSE(types.contains(std::string("Mortgage.") + old)) << old;
    }
}
