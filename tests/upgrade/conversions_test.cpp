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

struct MortgageRow {
    std::string accountNumber, nextEscrow, xPri, xRate, firstDue;
    int64_t escrowInterval, escrowPeriods, origPer, intOnly, balloonMtg, balloonPer, ppm, arm,
        armLimits, currentPeriod;
    double origPV, origRate, origPmt, balloonPmt, ppmFigures, xPriAll, currentPmt, currentPPmt,
        currentIPmt;
};

MortgageRow ReadMortgage(db::Connection& c, int32_t id) {
    db::Recordset rs;
    rs.Open(c, "SELECT * FROM Mortgage WHERE IdMortgage = " + std::to_string(id));
    auto t = [&](const char* n) { return rs.Field(std::string_view(n)).AsText(); };
    auto i = [&](const char* n) { return rs.Field(std::string_view(n)).AsInt(); };
    auto d = [&](const char* n) { return rs.Field(std::string_view(n)).AsDouble(); };
    return {t("AccountNumber"),
            t("NextEscrowReview"),
            t("xPri"),
            t("xRate"),
            t("FirstDue"),
            i("EscrowReviewInterval"),
            i("EscrowReviewPeriods"),
            i("OrigPer"),
            i("IntOnly"),
            i("BalloonMtg"),
            i("BalloonPer"),
            i("PPM"),
            i("ARM"),
            i("ARMLockedPer") + i("ARMAdjPer") + i("ARMLifeCap") + i("ARMPerCap"),
            i("CurrentPeriod"),
            d("OrigPV"),
            d("OrigRate"),
            d("OrigPmt"),
            d("BalloonPmt"),
            d("PPMPct") + d("PPMTrigger") + d("PPMPer"),
            d("xPriAll"),
            d("CurrentPmt"),
            d("CurrentPPmt"),
            d("CurrentIPmt")};
}

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
        MortgageRow m = ReadMortgage(w.connection, kFirstMortgage + k - 1);

        EXPECT_EQ(m.accountNumber, "Loan-" + std::to_string(k));
        EXPECT_EQ(m.nextEscrow, "");
        EXPECT_EQ(m.escrowInterval, 3);
        EXPECT_EQ(m.escrowPeriods, 1);
        EXPECT_DOUBLE_EQ(m.origPV, pv);
        EXPECT_EQ(m.origPer, 360);
        EXPECT_NEAR(m.origRate, rate / 100, 1e-12);
        EXPECT_DOUBLE_EQ(m.origPmt, 650.25);
        EXPECT_EQ(m.intOnly, k % 3 == 0 ? 1 : 0);
        // Odd loans have no balloon; even ones a balloon at period 60.
        EXPECT_EQ(m.balloonMtg, k % 2 == 0 ? 1 : 0);
        EXPECT_EQ(m.balloonPer, k % 2 == 0 ? 60 : 0);
        EXPECT_EQ(m.balloonPmt, 0);
        EXPECT_EQ(m.ppm, k % 2 == 0 ? 1 : 0);
        EXPECT_EQ(m.ppmFigures, 0);
        EXPECT_EQ(m.arm, 1);
        EXPECT_EQ(m.armLimits, 0);
        EXPECT_EQ(m.xPriAll, 0);

        // From the stored schedule: the first unpaid period is current, the
        // extra principal sits in period 2, the rates are fractions.
        loan::cShared_Amort schedule;
        ASSERT_TRUE(schedule.SetDataString(ScheduleText(pv, rate, pop.periods, paid, 250)));
        EXPECT_EQ(m.currentPeriod, paid + 1);
        EXPECT_EQ(m.firstDue, "1/1/2020");
        EXPECT_EQ(m.xPri.substr(0, 6), "0,250,");
        EXPECT_EQ(m.xPri, schedule.xPri());
        EXPECT_EQ(m.xRate, schedule.xRate());
        EXPECT_GT(m.currentPmt, 0);
        EXPECT_DOUBLE_EQ(m.currentPmt, schedule.CurrentPmt().ToDouble());
        EXPECT_DOUBLE_EQ(m.currentPPmt, schedule.CurrentPPmt().ToDouble());
        EXPECT_DOUBLE_EQ(m.currentIPmt, schedule.CurrentIPmt().ToDouble());
        EXPECT_NEAR(m.currentPPmt + m.currentIPmt, m.currentPmt, 0.01); // Singles: 7 digits
    }
}

TEST(MortgageConversion, AnEmptyOrUnreadableScheduleGivesEmptyFigures) {
    Widened w(4);
    w.connection.Execute("UPDATE Mortgage SET Amortization = '' WHERE IdMortgage = 30001");
    w.connection.Execute("UPDATE Mortgage SET Amortization = 'garbage' WHERE IdMortgage = 30002");
    upgrade::RecalculateMortgages(w.connection);
    for (int32_t id : {30001, 30002}) {
        MortgageRow m = ReadMortgage(w.connection, id);
        EXPECT_EQ(m.currentPmt, 0);
        EXPECT_EQ(m.xPri, "");
        EXPECT_EQ(m.firstDue, "");
        // The old columns still come across.
        EXPECT_EQ(m.arm, 1);
        EXPECT_EQ(m.origPer, 360);
    }
}
