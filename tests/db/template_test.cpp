// The template that ships: every column the suite's procedures write or read
// in a current database is there, with a type that holds what is written,
// and none of the columns an upgrade reads once and then drops.

#include "db/schema.h"
#include "upgrade/migration_statements.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>

using namespace db;

namespace {

class ShippedTemplate : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(LoadTemplateFile(
            settings, lists, std::string(OSTRAND_SOURCE_DIR) + "/data/Ketrova.ddf", ActionAdd));
        for (const auto& f : lists.Template) {
            columns[f.TableName + "." + f.FieldName] = &f;
        }
    }

    const Field* Get(const std::string& key) const {
        auto it = columns.find(key);
        return it == columns.end() ? nullptr : it->second;
    }

    startup::RunSettings settings;
    SchemaLists lists;
    std::map<std::string, const Field*> columns;
};

} // namespace

TEST_F(ShippedTemplate, HoldsEveryColumnThatMigrationsWrite) {
    // Columns only read by the statements and dropped afterwards.
    const std::set<std::string> readOnce = {"Building.DeprTerm"};
    const std::regex update(R"(^UPDATE (\w+) SET (\w+) =)");
    const std::regex insert(R"(^INSERT INTO (\w+) \(([^)]*)\))");
    int checked = 0;
    for (auto group : {upgrade::MigrationGroupA(), upgrade::MigrationGroupB()}) {
        for (const auto& item : group) {
            std::string sql(item.sql);
            std::smatch m;
            if (std::regex_search(sql, m, update)) {
                EXPECT_NE(Get(m[1].str() + "." + m[2].str()), nullptr) << sql;
                ++checked;
            } else if (std::regex_search(sql, m, insert)) {
                std::string list = m[2].str();
                std::regex name(R"(\w+)");
                for (auto it = std::sregex_iterator(list.begin(), list.end(), name);
                     it != std::sregex_iterator(); ++it) {
                    std::string key = m[1].str() + "." + it->str();
                    if (!readOnce.contains(key)) {
                        EXPECT_NE(Get(key), nullptr) << key;
                        ++checked;
                    }
                }
            }
        }
    }
    EXPECT_GT(checked, 100);
}

TEST_F(ShippedTemplate, HoldsTheColumnsOfTheDefaultsConversionsAndReport) {
    const char* wanted[] = {
        // the configuration writer and the diagnostics report
        "Configuration.NextId", "Configuration.IdConfig", "Configuration.CompanyName",
        "Configuration.TaxIDState", "Configuration.DefaultMortgagee", "Configuration.ExpireOption",
        "Configuration.KeepAlerts", "Configuration.DocDirectory", "Configuration.NoteScoreTable",
        "Configuration.CFAVacancyRate", "Configuration.EnableAdvanced",
        "Configuration.ReceiptTemplate", "Configuration.RptIncludeGraphic",
        "Configuration.RptGraphicPath", "TransCategory.Category", "TransCategory.IEN",
        // the tenant contacts conversion
        "Contact.IdContact", "Contact.IdRelated", "Contact.dbType", "Contact.IconFlag",
        "Contact.Description", "Contact.Company", "Contact.Address2", "Contact.Web",
        "Contact.Notes",
        // the mortgage conversion and the mortgage record
        "Mortgage.IdMortgage", "Mortgage.Description", "Mortgage.AccountNumber",
        "Mortgage.NextEscrowReview", "Mortgage.EscrowReviewPeriods", "Mortgage.OrigRate",
        "Mortgage.BalloonMtg", "Mortgage.PPMTrigger", "Mortgage.xPri", "Mortgage.xPriAll",
        "Mortgage.xRate", "Mortgage.ARMPerCap", "Mortgage.CurrentIPmt", "Mortgage.FirstDue",
        "Mortgage.NextDue", "Mortgage.CurrentPV", "Mortgage.CurrentI", "Mortgage.RemainingT",
        // the stray-record checks
        "FileObject.dbType", "FileObject.IdOwner", "RentLog.IdRentLog", "RentLog.IdLease",
        "MortgageLog.IdMortgageLog", "MortgageLog.IdMortgage", "Account.IdAccount",
        "WorkOrder.IdWorkOrder", "Lease.IdLease", "Tenant.IdTenant", "Unit.IdUnit",
        "Building.IdBuilding"};
    for (const char* key : wanted) {
        EXPECT_NE(Get(key), nullptr) << key;
    }
    // Types that hold what is written into them.
    EXPECT_EQ(Get("Configuration.ShowAllAccounts")->DataType, adBoolean);
    EXPECT_EQ(Get("Configuration.NoteScoreTable")->DataType, adVarWChar);
    EXPECT_GE(Get("Configuration.NoteScoreTable")->Size, 30);
    EXPECT_GE(Get("Configuration.DocDirectory")->Size, 255);
    EXPECT_EQ(Get("Mortgage.OrigRate")->DataType, adDouble);
    EXPECT_EQ(Get("Mortgage.CurrentPmt")->DataType, adCurrency);
    EXPECT_EQ(Get("Mortgage.xPri")->DataType, adLongVarWChar);
    EXPECT_EQ(Get("Mortgage.FirstDue")->Size, 10);
    EXPECT_EQ(Get("Lease.Pets")->DataType, adBoolean);
    EXPECT_EQ(Get("Building.GasAvaliable")->DataType, adBoolean);
    // Every link column is indexed.
    for (const auto& f : lists.Template) {
        if (f.FieldName.rfind("Id", 0) == 0 && f.FieldName != "IdConfig") {
            EXPECT_TRUE(f.Indexed) << f.TableName << "." << f.FieldName;
        }
    }
}

TEST_F(ShippedTemplate, LeavesOutTheColumnsAnUpgradeDrops) {
    const char* obsolete[] = {"Analysis.ExpLandscape",
                              "Analysis.ExpTrash",
                              "Analysis.ExpPest",
                              "Analysis.ExpPool",
                              "Analysis.IdProperty",
                              "Transactions.IdProperty",
                              "Lease.IdProperty",
                              "Doc.SelProperty",
                              "Account.TaxID",
                              "Configuration.DefaultMortgagePmt",
                              "Tenant.PermAddress",
                              "Tenant.PrevVDiscrepency",
                              "Tenant.EmpPosition",
                              "Building.InsDate",
                              "Building.HOALastDate",
                              "Building.DeprTerm",
                              "Lease.LateFee",
                              "Lease.WarningDays",
                              "Mortgage.PV",
                              "Mortgage.T",
                              "Mortgage.i",
                              "Mortgage.Payment",
                              "Mortgage.InterestOnly",
                              "Mortgage.Balloon",
                              "Mortgage.PrePayPenalty",
                              "Mortgage.Amortization"};
    for (const char* key : obsolete) {
        EXPECT_EQ(Get(key), nullptr) << key;
    }
    for (const auto& f : lists.Template) {
        EXPECT_NE(f.TableName, "Property");
    }
}
