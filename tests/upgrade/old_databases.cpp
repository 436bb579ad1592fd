#include "old_databases.h"

#include "db/catalog.h"
#include "db/connection.h"
#include "db/schema.h"
#include "loan/amort.h"
#include "startup/run_settings.h"

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace upgradetest {

namespace {

std::string N(long long v) {
    return std::to_string(v);
}

// Rows 1..count as the driving set of a generated INSERT ... SELECT.
std::string Numbers(long long count) {
    return "WITH RECURSIVE n(k) AS (SELECT 1 UNION ALL SELECT k + 1 FROM n WHERE k < " + N(count) +
           ") ";
}

// Creates every table and column of a field list, and the indexes it marks.
void CreateStructure(db::Connection& c, const std::vector<db::Field>& fields) {
    std::string table;
    for (const auto& f : fields) {
        if (f.TableName != table) {
            db::CreateTable(c, f.TableName, f.FieldName, f.DataType, f.Size);
            table = f.TableName;
        } else {
            db::AddColumn(c, f.TableName, f.FieldName, f.DataType, f.Size);
        }
    }
    for (const auto& f : fields) {
        if (f.Indexed)
            db::CreateIndex(c, f.TableName, f.FieldName);
    }
}

std::vector<db::Field> LoadStructure(const std::string& file) {
    startup::RunSettings quiet;
    db::SchemaLists lists;
    if (!db::LoadTemplateFile(quiet, lists, file, db::ActionAdd))
        throw std::runtime_error("cannot read fixture structure " + file);
    return lists.Template;
}

// Versions 6 to 8: today's structure less what came later (the escrow review
// columns; the work-order history before 8; the file objects before 7), and
// still with a narrower tenant name, one column and one table the suite has
// since dropped.
std::vector<db::Field> StructureOfVersion(int version) {
    auto fields = LoadStructure(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf");
    std::vector<db::Field> out;
    for (auto f : fields) {
        if ((f.TableName == "Mortgage" && f.FieldName.find("EscrowReview") != std::string::npos) ||
            (version <= 7 && f.TableName == "WOHistory") ||
            (version <= 6 && f.TableName == "FileObject"))
            continue;
        if (f.TableName == "Tenant" && f.FieldName == "LastName")
            f.Size = 30;
        out.push_back(f);
        if (f.TableName == "Tenant" && f.FieldName == "Notes")
            out.push_back({"Tenant", "OldFlag", db::adInteger, 0, false, db::ActionAdd});
    }
    out.push_back({"Reminder", "IdReminder", db::adInteger, 0, true, db::ActionAdd});
    out.push_back({"Reminder", "Text", db::adVarWChar, 100, false, db::ActionAdd});
    return out;
}

void FillCommon(db::Connection& c) {
    c.Execute("INSERT INTO TransCategory (Category, IEN) VALUES ('Rent Payment', 0)");
    c.Execute("INSERT INTO Reminder (IdReminder, Text) VALUES (1, 'Call the roofer')");
}

// Each tenant with its three sets of details in its own columns, but the
// last, who left every one of them empty (NULL).
void FillTenants(db::Connection& c, int tenants) {
    c.Execute(
        Numbers(tenants) +
        "INSERT INTO Tenant (IdTenant, LastName, FirstName, Phone, PermRelationship, PermContact, "
        "PermAddress, PermCity, PermState, PermZip, PermPhone, PrevContact, PrevAddress, "
        "PrevCity, PrevState, PrevZip, PrevPhone, PrevVDiscrepency, EmpName, EmpAddress, EmpCity, "
        "EmpState, EmpZip, EmpPhone, EmpPosition, Notes) SELECT 5000 + k, 'Tenant' || k, 'Pat', "
        "'555-0' || k, 'Mother', 'Mom' || k, k || ' Home Rd', 'Dayton', 'OH', '45402', "
        "'555-1' || k, 'Landlord' || k, k || ' Old St', 'Xenia', 'OH', '45385', '555-2' || k, "
        "'Paid late twice', 'Acme' || k, k || ' Works Ave', 'Kettering', 'OH', '45429', "
        "'555-3' || k, 'Welder', 'note' FROM n WHERE k < " +
        N(tenants));
    c.Execute("INSERT INTO Tenant (IdTenant, LastName, FirstName) VALUES (" +
              N(kFirstTenant + tenants - 1) + ", 'Quiet', 'Sam')");
}

// Version 4: every record points at a property by IdProperty.
void FillVersion4(db::Connection& c, const Population& p) {
    const int props = p.properties;
    const int tenants = p.properties * p.tenantsPerProperty;
    c.Execute("INSERT INTO Configuration (IdConfig, NextId, CompanyName, Term, DefaultMortgagePmt) "
              "VALUES (0, " +
              N(kNextIdStart) + ", '" + kCompanyName + "', 12, 77)");
    // The columns the upgrade copies; the others are left NULL.
    c.Execute(Numbers(props) +
              "INSERT INTO Property (IdProperty, PropType, Address, City, Region, Pool, Notes, "
              "GasAvaliable, PurchDate, DeprBasis, DeprTerm, Unit, Status, Bathrooms, SqFt, Rent, "
              "DepositDamage, DepositClean, DepositPet, Ad) SELECT 1000 + k, 'House', k || ' Elm "
              "Street', 'Springfield', CASE WHEN k = 1 THEN NULL ELSE 'North' END, k % 2, 'Roof "
              "' || k, 1, '3/1/1999', 100000 + k, 27, 'Main', 'Rented', 1.5, 1200, 800 + k, 500, "
              "100, 150, 'Ad ' || k FROM n");
    FillTenants(c, tenants);
    // The first lease keeps pets but asked no deposit at all.
    c.Execute(Numbers(tenants) +
              "INSERT INTO Lease (IdLease, IdProperty, IdTenant, StartDate, TermType, Term, Rent, "
              "Pets, DepositDamage, DepositClean, DepositPet, DepositKey, DepositOther1, "
              "DepositOther2, LateFee, LateDays, WarningFee, WarningDays) SELECT 20000 + k, "
              "1000 + (k - 1) % " +
              N(props) +
              " + 1, 5000 + k, '1/1/2020', CASE k % 3 WHEN 1 THEN 'Monthly' WHEN 2 "
              "THEN 'Weekly' ELSE 'Yearly' END, 12, 900, k % 2, "
              "(k > 1) * 500, (k > 1) * 100, (k > 1) * 150, (k > 1) * 25, (k > 1) * 10, "
              "(k > 1) * 5, 25, 5, 2, 3 FROM n");
    c.Execute(Numbers(static_cast<long long>(tenants) * p.rentLogsPerLease) +
              "INSERT INTO RentLog (IdRentLog, IdLease, DueDate, DatePaid, AmountDue, AmountPaid) "
              "SELECT 100000 + k, 20000 + (k - 1) % " +
              N(tenants) +
              " + 1, ((k - 1) % 12 + 1) || '/1/2019', ((k - 1) % 12 + 1) || '/3/2019', 900, "
              "CASE WHEN k % 100 = 0 THEN NULL ELSE 900 END FROM n");
    // One transaction in ten without a description: the NULL clean-up has
    // real work on the largest table.
    c.Execute(Numbers(p.transactions) +
              "INSERT INTO Transactions (IdTransaction, IdProperty, IdAccount, TransDate, "
              "Category, Description, Amount) SELECT 10000000 + k, 1000 + (k - 1) % " +
              N(props) + " + 1, 4001, '2/' || ((k - 1) % 28 + 1) || '/2019', 'Rent Payment', " +
              "CASE WHEN k % 10 = 0 THEN NULL ELSE 'Rent' END, 900 FROM n");
    c.Execute("INSERT INTO Account (IdAccount, AccountType, Name, TaxID) VALUES "
              "(4001, 'Property Owner', 'Jo Owner', '11-1111111'), "
              "(4002, 'Property Manager', 'Max Manager', '22-2222222'), "
              "(4003, 'Bank', 'First Bank', NULL)");
    // One row per property in each table that hangs off a property.
    const char* const perProperty[][3] = {
        {"OwnerLink", "IdOwnerLink, IdAccount, IdProperty", "40000 + k, 4001, 1000 + k"},
        {"AutoEvent", "IdAutoEvent, IdProperty, Description", "47000 + k, 1000 + k, 'Rent due'"},
        {"WorkOrder", "IdWorkOrder, IdProperty, Status", "48000 + k, 1000 + k, 'Open'"},
        {"WOItem", "IdWOItem, IdWorkOrder, Notes", "49000 + k, 48000 + k, 'old note'"},
    };
    for (const auto& [table, columns, values] : perProperty)
        c.Execute(Numbers(props) + "INSERT INTO " + table + " (" + columns + ") SELECT " + values +
                  " FROM n");
    c.Execute("INSERT INTO Analysis (IdAnalysis, IdProperty, Description, ExpLandscape, ExpTrash, "
              "ExpPest, ExpPool) VALUES (6001, 1001, 'Buy?', 100, 200, 300, 400)");
    c.Execute("INSERT INTO Incident (IdIncident, IdTenant, Severity, Description) VALUES "
              "(6101, 5001, 'High', 'Noise')");
    c.Execute("INSERT INTO Doc (IdDoc, SelProperty, Description) VALUES (6201, 1002, 'Lease')");
}

// Version 5: buildings and units apart; tenants, leases, mortgages, accounts
// and configuration still in their old form.
void FillVersion5(db::Connection& c, const Population& p) {
    const int props = p.properties;
    const int tenants = p.properties * p.tenantsPerProperty;
    c.Execute("INSERT INTO Configuration (IdConfig, NextId, CompanyName, DefaultMortgagePmt, "
              "DocDirectory, FileDirectory, CFAExp1) VALUES (0, " +
              N(kNextIdStart) + ", '" + kCompanyName + "', 77, '/srv/ketrova/docs', '', 'Lawn')");
    c.Execute(Numbers(props) +
              "INSERT INTO Building (IdBuilding, Status, Multi, PropType, Address, City, DeprTerm, "
              "InsDate, HOALastDate) SELECT 1000 + k, 'Owned', 0, 'House', k || ' Elm Street', "
              "'Springfield', 27, '6/1/2019', '7/1/2019' FROM n");
    c.Execute(Numbers(props) + "INSERT INTO Unit (IdUnit, IdBuilding, Unit, Status, Rent) "
                               "SELECT 1000 + k, 1000 + k, 'Main', 'Rented', 900 FROM n");
    FillTenants(c, tenants);
    c.Execute(Numbers(tenants) +
              "INSERT INTO Lease (IdLease, IdUnit, IdTenant, TermType, Rent, Pets, DepositDamage, "
              "DepositClean, DepositPet, DepositKey, DepositOther1, DepositOther2, LateFee, "
              "LateDays, WarningFee, WarningDays) SELECT 20000 + k, 1000 + (k - 1) % " +
              N(props) +
              " + 1, 5000 + k, 'Weekly', 900, k % 2, 500, 100, 150, 25, 10, 5, 25, 5, 2, 3 "
              "FROM n");
    c.Execute("INSERT INTO Account (IdAccount, AccountType, Name, TaxID) VALUES "
              "(4001, 'Building Owner', 'Jo Owner', '11-1111111')");
    c.Execute("INSERT INTO Analysis (IdAnalysis, IdBuilding, Exp1, Exp2, Exp3, Exp4) VALUES "
              "(6001, 1001, 1, 2, 3, 4)");
    c.Execute("INSERT INTO Incident (IdIncident, IdTenant, Severity) VALUES (6101, 5001, 'High')");
}

// Versions 6 to 8: today's columns, already converted; the upgrade must only
// change the structure. Values are chosen so that any migration statement
// that ran by mistake would change them.
void FillVersion6To8(db::Connection& c) {
    c.Execute("INSERT INTO Configuration (IdConfig, NextId, CompanyName, OneTimeFee, DocDirectory) "
              "VALUES (7300, " +
              N(kNextIdStart) + ", '" + kCompanyName + "', 35, '/srv/ketrova/docs')");
    c.Execute("INSERT INTO Building (IdBuilding, Name, Status, Multi, Hide, Distance) VALUES "
              "(1001, 'Elm', 'Sold', 1, 1, 4.5)");
    c.Execute("INSERT INTO Tenant (IdTenant, LastName, FirstName, Hide, OldFlag) VALUES "
              "(5001, 'Tenant1', 'Pat', 1, 9)");
    c.Execute("INSERT INTO Lease (IdLease, IdUnit, IdTenant, TermType, Pets, DepositDamage, "
              "DepositTotal, DepositPaid, DepositDue, Hide, OneTimeFee) VALUES "
              "(20001, 1001, 5001, 'Monthly', 1, 500, 500, 200, 300, 1, 40)");
    c.Execute("INSERT INTO Account (IdAccount, AccountType, Balance, Hide) VALUES "
              "(4001, 'Property Owner', 123.45, 1)");
    c.Execute("INSERT INTO Mortgage (IdMortgage, IdBuilding, Description, OrigPV, OrigRate, ARM, "
              "CurrentPeriod) VALUES (30001, 1001, 'First', 150000, 0.045, 0, 7)");
    c.Execute("INSERT INTO Transactions (IdTransaction, IdBuilding, Amount, Class, Reconciled) "
              "VALUES (10000001, 1001, 900, 7, 1)");
    c.Execute("INSERT INTO WOItem (IdWOItem, IdWorkOrder, Notes) VALUES (49001, 48001, 'keep')");
}

void FillMortgages(db::Connection& c, const Population& p, const char* linkColumn) {
    for (int k = 1; k <= p.mortgages; ++k) {
        const int pv = 100000 + 1000 * k;
        const double rate = 6.5 + 0.25 * (k % 4);  // a Single holds these exactly
        const int balloon = (k % 2 == 1) ? 0 : 60; // the first has no balloon
        c.Execute(std::string("INSERT INTO Mortgage (IdMortgage, ") + linkColumn +
                  ", IdAccount, Description, PV, T, i, Payment, InterestOnly, Balloon, "
                  "PrePayPenalty, Amortization) VALUES (" +
                  N(kFirstMortgage + k - 1) + ", " + N(1000 + (k - 1) % p.properties + 1) +
                  ", 4003, 'Loan-" + N(k) + "', " + N(pv) + ", 360, " + std::to_string(rate) +
                  ", 650.25, " + (k % 3 == 0 ? "1" : "0") + ", " + N(balloon) + ", " +
                  (k % 2 == 0 ? "1" : "0") + ", '" +
                  ScheduleText(pv, rate, p.periods, 2 + k % 3, 250) + "')");
    }
}

} // namespace

std::string ScheduleText(double pv, double ratePercent, int periods, int paid, double extra) {
    loan::cShared_Amort schedule;
    if (!schedule.CreateAmortization(pv, ratePercent, periods, {2020, 1, 1}, 0, false, "m") ||
        !schedule.PayExtra(2, static_cast<float>(extra)))
        throw std::runtime_error("cannot build a schedule");
    for (int i = 1; i <= paid; ++i)
        schedule.MakePayment(schedule.DueDate(), "10" + N(i), 0,
                             static_cast<float>(schedule.CurrentPmt().ToDouble()));
    return schedule.DataString();
}

void BuildOldDatabase(const std::string& folder, int version, const Population& population) {
    const std::string file = folder + "Ketrova.mdb";
    std::string error;
    if (!db::CreateDatabaseFile(file, error))
        throw std::runtime_error("cannot create " + file + ": " + error);
    db::Connection c;
    c.Open(file);
    std::vector<db::Field> structure;
    if (version == 4 || version == 5)
        structure = LoadStructure(OSTRAND_SOURCE_DIR "/tests/upgrade/data/v" + N(version) + ".ddf");
    else if (version >= 6 && version <= 8)
        structure = StructureOfVersion(version);
    else
        throw std::invalid_argument("no fixture for version " + N(version));
    {
        // One transaction: each statement on its own would wait for the disk.
        db::Transaction t(c);
        CreateStructure(c, structure);
        FillCommon(c);
        if (version == 4) {
            FillVersion4(c, population);
            FillMortgages(c, population, "IdProperty");
        } else if (version == 5) {
            FillVersion5(c, population);
            FillMortgages(c, population, "IdBuilding");
        } else {
            FillVersion6To8(c);
        }
        t.Commit();
    }
    c.Close();
    std::ofstream(folder + "Version", std::ios::binary) << version << "\r\n";
}

} // namespace upgradetest
