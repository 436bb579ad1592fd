// The record conversions on old databases whose new columns and tables have
// just been added, as the upgrade leaves them before its migrations run.

#include "old_databases.h"
#include "support/temp_dir.h"
#include "upgrade/conversions.h"

#include "db/connection.h"
#include "db/schema.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace upgradetest;
using testsupport::TempDir;

namespace {

// An old database of `version`, opened, with the template's missing tables
// and columns added and nothing else changed.
struct Widened {
    TempDir dir;
    startup::RunSettings settings;
    db::Connection connection;
    platform::FixedClock clock{{2026, 11, 22, 12, 0, 0}};

    explicit Widened(int version, const Population& population = {}) {
        BuildOldDatabase(dir.str(), version, population);
        connection.Open(dir.str() + "Ketrova.mdb");
        db::SchemaLists lists;
        util::UiServices ui;
        EXPECT_TRUE(db::LoadTemplateFile(settings, lists, OSTRAND_SOURCE_DIR "/data/Ketrova.ddf",
                                         db::ActionNone));
        EXPECT_TRUE(db::ReadDBSchema(settings, connection, lists));
        db::CompareSchema(settings, lists);
        EXPECT_TRUE(db::AddFields(settings, connection, lists, ui));
    }
    int64_t Int(const std::string& sql) { return connection.Scalar(sql).AsInt(); }
    std::string Text(const std::string& sql) { return connection.Scalar(sql).AsText(); }
};

struct ContactRow {
    std::string description, company, lastName, firstName, address1, address2, city, state, zip,
        phone, mobile, fax, email, web, notes;
    bool operator==(const ContactRow&) const = default;
};

std::vector<ContactRow> ContactsOf(db::Connection& c, int32_t idTenant) {
    db::Recordset rs;
    rs.Open(c, "SELECT * FROM Contact WHERE IdRelated = " + std::to_string(idTenant) +
                   " ORDER BY IdContact");
    std::vector<ContactRow> rows;
    for (; !rs.IsEOF(); rs.MoveNext()) {
        EXPECT_EQ(rs.Field("dbType").AsInt(), 5);
        EXPECT_EQ(rs.Field("IconFlag").AsInt(), 0);
        auto t = [&](const char* n) { return rs.Field(std::string_view(n)).AsText(); };
        rows.push_back({t("Description"), t("Company"), t("LastName"), t("FirstName"),
                        t("Address1"), t("Address2"), t("City"), t("State"), t("Zip"), t("Phone"),
                        t("Mobile"), t("FAX"), t("Email"), t("Web"), t("Notes")});
    }
    return rows;
}

} // namespace

TEST(TenantContacts, EachTenantGetsItsThreeDetailSetsWithFreshNumbers) {
    for (int version : {4, 5}) {
        SCOPED_TRACE(version);
        Widened w(version);
        const int tenants = Population{}.properties * Population{}.tenantsPerProperty;
        EXPECT_EQ(upgrade::ConvertTenantContacts(w.connection, w.clock), 3 * tenants);
        EXPECT_EQ(w.Int("SELECT Count(*) FROM Contact"), 3 * tenants);

        // Numbers come from the shared counter, one after the other, in
        // tenant order; the counter is left after the last one.
        EXPECT_EQ(w.Int("SELECT Min(IdContact) FROM Contact"), kNextIdStart);
        EXPECT_EQ(w.Int("SELECT Max(IdContact) FROM Contact"), kNextIdStart + 3 * tenants - 1);
        EXPECT_EQ(w.Int("SELECT Count(DISTINCT IdContact) FROM Contact"), 3 * tenants);
        EXPECT_EQ(w.Int("SELECT NextId FROM Configuration"), kNextIdStart + 3 * tenants);
        EXPECT_EQ(w.Int("SELECT IdRelated FROM Contact WHERE IdContact = " +
                        std::to_string(kNextIdStart + 3)),
                  kFirstTenant + 1);

        const std::vector<ContactRow> expected = {
            {"Mother", "", "Mom1", "", "1 Home Rd", "", "Dayton", "OH", "45402", "555-11", "", "",
             "", "", ""},
            {"Previous Address", "", "Landlord1", "", "1 Old St", "", "Xenia", "OH", "45385",
             "555-21", "", "", "", "", "Paid late twice"},
            {"Employer", "Acme1", "", "", "1 Works Ave", "", "Kettering", "OH", "45429", "555-31",
             "", "", "", "", "Welder"}};
        EXPECT_EQ(ContactsOf(w.connection, kFirstTenant), expected);
    }
}

TEST(TenantContacts, ATenantWithoutDetailsStillGetsThreeRecords) {
    Widened w(4);
    const int tenants = Population{}.properties * Population{}.tenantsPerProperty;
    upgrade::ConvertTenantContacts(w.connection, w.clock);
    auto rows = ContactsOf(w.connection, kFirstTenant + tenants - 1);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].description, ""); // no relationship recorded
    EXPECT_EQ(rows[1].description, "Previous Address");
    EXPECT_EQ(rows[2].description, "Employer");
    for (const auto& r : rows)
        EXPECT_EQ(r.address1 + r.city + r.phone + r.company + r.lastName, "");
}

TEST(TenantContacts, NoTenantsMeansNoContactsAndNoNumbersTaken) {
    Widened w(4);
    w.connection.Execute("DELETE FROM Tenant");
    EXPECT_EQ(upgrade::ConvertTenantContacts(w.connection, w.clock), 0);
    EXPECT_EQ(w.Int("SELECT Count(*) FROM Contact"), 0);
    EXPECT_EQ(w.Int("SELECT NextId FROM Configuration"), kNextIdStart);
}
