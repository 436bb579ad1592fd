// The record conversions on old databases whose new columns and tables have
// just been added, as the upgrade leaves them before its migrations run.

#include "old_databases.h"
#include "support/temp_dir.h"
#include "upgrade/conversions.h"

#include "loan/amort.h"

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

TEST(TenantContacts, NoTenantsMeansNoContactsAndNoNumbersTaken) {
    Widened w(4);
    w.connection.Execute("DELETE FROM Tenant");
    EXPECT_EQ(upgrade::ConvertTenantContacts(w.connection, w.clock), 0);
    EXPECT_EQ(w.Int("SELECT Count(*) FROM Contact"), 0);
    EXPECT_EQ(w.Int("SELECT NextId FROM Configuration"), kNextIdStart);
}

namespace {

// One mortgage row, its columns read by name.
class MortgageRow {
public:
    MortgageRow(db::Connection& c, int32_t id) {
        rs_.Open(c, "SELECT * FROM Mortgage WHERE IdMortgage = " + std::to_string(id));
    }
    std::string Text(const char* name) { return rs_.Field(std::string_view(name)).AsText(); }
    int64_t Int(const char* name) { return rs_.Field(std::string_view(name)).AsInt(); }
    double Real(const char* name) { return rs_.Field(std::string_view(name)).AsDouble(); }

private:
    db::Recordset rs_;
};

} // namespace

TEST(MortgageConversion, OldColumnsAndTheStoredScheduleFillTheNewColumns) {
    Widened w(4);
    const Population pop;
    EXPECT_EQ(upgrade::RecalculateMortgages(w.connection), pop.mortgages);
    for (int k = 1; k <= pop.mortgages; ++k) {
        SCOPED_TRACE(k);
        const double pv = 100000 + 1000 * k;
        const double rate = 6.5 + 0.25 * (k % 4);
        const int paid = 2 + k % 3;
        MortgageRow m(w.connection, kFirstMortgage + k - 1);

        EXPECT_EQ(m.Text("AccountNumber"), "Loan-" + std::to_string(k));
        EXPECT_EQ(m.Text("NextEscrowReview"), "");
        EXPECT_EQ(m.Int("EscrowReviewInterval"), 3);
        EXPECT_EQ(m.Int("EscrowReviewPeriods"), 1);
        EXPECT_DOUBLE_EQ(m.Real("OrigPV"), pv);
        EXPECT_EQ(m.Int("OrigPer"), 360);
        EXPECT_NEAR(m.Real("OrigRate"), rate / 100, 1e-12);
        EXPECT_DOUBLE_EQ(m.Real("OrigPmt"), 650.25);
        EXPECT_EQ(m.Int("IntOnly"), k % 3 == 0 ? 1 : 0);
        // Odd loans have no balloon; even ones a balloon at period 60.
        EXPECT_EQ(m.Int("BalloonMtg"), k % 2 == 0 ? 1 : 0);
        EXPECT_EQ(m.Int("BalloonPer"), k % 2 == 0 ? 60 : 0);
        EXPECT_EQ(m.Real("BalloonPmt"), 0);
        EXPECT_EQ(m.Int("PPM"), k % 2 == 0 ? 1 : 0);
        for (const char* zero : {"PPMPct", "PPMTrigger", "PPMPer", "xPriAll", "ARMLockedPer",
                                 "ARMAdjPer", "ARMLifeCap", "ARMPerCap"})
            EXPECT_EQ(m.Real(zero), 0) << zero;
        EXPECT_EQ(m.Int("ARM"), 1);

        // From the stored schedule: the first unpaid period is current, the
        // extra principal sits in period 2, the rates are fractions.
        loan::cShared_Amort schedule;
        ASSERT_TRUE(schedule.SetDataString(ScheduleText(pv, rate, pop.periods, paid, 250)));
        EXPECT_EQ(m.Int("CurrentPeriod"), paid + 1);
        EXPECT_EQ(m.Text("FirstDue"), "1/1/2020");
        EXPECT_EQ(m.Text("xPri").substr(0, 6), "0,250,");
        EXPECT_EQ(m.Text("xPri"), schedule.xPri());
        EXPECT_EQ(m.Text("xRate"), schedule.xRate());
        EXPECT_GT(m.Real("CurrentPmt"), 0);
        EXPECT_DOUBLE_EQ(m.Real("CurrentPmt"), schedule.CurrentPmt().ToDouble());
        EXPECT_DOUBLE_EQ(m.Real("CurrentPPmt"), schedule.CurrentPPmt().ToDouble());
        EXPECT_DOUBLE_EQ(m.Real("CurrentIPmt"), schedule.CurrentIPmt().ToDouble());
        // Singles: 7 digits.
        EXPECT_NEAR(m.Real("CurrentPPmt") + m.Real("CurrentIPmt"), m.Real("CurrentPmt"), 0.01);
    }
}

TEST(MortgageConversion, AnEmptyOrUnreadableScheduleGivesEmptyFigures) {
    Widened w(4);
    w.connection.Execute("UPDATE Mortgage SET Amortization = '' WHERE IdMortgage = 30001");
    w.connection.Execute("UPDATE Mortgage SET Amortization = 'garbage' WHERE IdMortgage = 30002");
    upgrade::RecalculateMortgages(w.connection);
    for (int32_t id : {30001, 30002}) {
        MortgageRow m(w.connection, id);
        EXPECT_EQ(m.Real("CurrentPmt"), 0);
        EXPECT_EQ(m.Text("xPri"), "");
        EXPECT_EQ(m.Text("FirstDue"), "");
        // The old columns still come across.
        EXPECT_EQ(m.Int("ARM"), 1);
        EXPECT_EQ(m.Int("OrigPer"), 360);
    }
}
