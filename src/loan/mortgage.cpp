#include "loan/mortgage.h"

#include "db/connection.h"
#include "loan/finance.h"
#include "util/format.h"
#include "util/strings.h"
#include "util/vb_number.h"

#include <cmath>
#include <random>

namespace loan {

namespace {

constexpr int32_t MaxPeriods = 32767;
const char* const Amounts = "#,###.00;(#,###.00);0.00;0.00";

// Below a hundredth of a cent a balance is paid off: the floating sums of a
// long schedule leave such crumbs behind.
constexpr double Crumb = 1e-6;

std::vector<double> ParseList(const std::string& text) {
    std::vector<double> values;
    for (const std::string& piece : util::Split(text, ",")) {
        values.push_back(util::TextToDouble(piece).value_or(0.0));
    }
    return values;
}

std::string JoinList(const std::vector<double>& values) {
    std::string out;
    for (size_t i = 0; i < values.size(); ++i) {
        if (i > 0) {
            out += ',';
        }
        out += util::DoubleToText(values[i]);
    }
    return out;
}

int16_t ToInt16(const db::Value& v) {
    int64_t i = v.AsInt();
    return static_cast<int16_t>(i < INT16_MIN ? INT16_MIN : i > INT16_MAX ? INT16_MAX : i);
}

std::string DisplayDate(const Date& d) {
    if (d.IsNull()) {
        return "";
    }
    return util::FormatDateTime(platform::LocalDateTime{d.year, d.month, d.day, 0, 0, 0},
                                "mm/dd/yyyy");
}

} // namespace

clsMortgage::clsMortgage(const platform::Clock& clock) : clock_(&clock) {
    std::random_device seed;
    std::mt19937 gen(seed());
    key_ = std::generate_canonical<float, 24>(gen);
    if (key_ >= 1.0f) {
        key_ = 0; // generate_canonical may round up to 1
    }
    SetDefaults();
}

void clsMortgage::SetDefaults() {
    currentPeriod_ = 1;
    description_ = "New Mortgage";
    origPV_ = 100000;
    origPer_ = 360;
    origRate_ = 0.05;
    origPmt_ = 0;
    intOnly_ = false;
    Date today = Today(*clock_);
    // The month is not zero padded, the day is: the suite's own default form.
    firstDue_ = std::to_string(today.month) + "/01/" + std::to_string(today.year);
    balloon_ = false;
    balloonPer_ = 60;
    balloonPmt_ = 0;
    ppm_ = false;
    ppmPct_ = 0.05;
    ppmTrigger_ = 0.2;
    ppmPer_ = 60;
    schedule_.clear();
    dirty_ = false;
    xPri_.clear();
    xPriAll_ = 0;
    rates_.clear();
    arm_ = false;
    armLockedPer_ = 12;
    armAdjPer_ = 12;
    armLifeCap_ = 0.06;
    armPerCap_ = 0.02;
}

int32_t clsMortgage::ScheduledPeriods() const {
    double count = RoundHalfEven(origPer_);
    if (balloon_ && balloonPer_ > 0 && balloonPer_ < origPer_) {
        count = balloonPer_;
    }
    if (!(count >= 1)) {
        return 0;
    }
    return count > MaxPeriods ? MaxPeriods : static_cast<int32_t>(count);
}

bool clsMortgage::ReCalc() {
    schedule_.clear();
    balloonPmt_ = 0;
    dirty_ = false;
    if (intOnly_) {
        origPmt_ = origRate_ / 12 * origPV_;
    } else {
        auto pmt = Pmt(origRate_ / 12, origPer_, origPV_);
        if (!pmt) {
            origPmt_ = 0;
            return false;
        }
        origPmt_ = -*pmt;
    }
    int32_t periods = ScheduledPeriods();
    if (periods < 1 || !std::isfinite(origPV_)) {
        return false;
    }
    if (rates_.size() < static_cast<size_t>(periods)) {
        rates_.resize(static_cast<size_t>(periods), origRate_);
    }

    std::optional<Date> due = ParseDateText(firstDue_);
    double balance = origPV_;
    double term = origPer_;
    double pmtYr = 0, priYr = 0, intYr = 0, ppmSum = 0;
    double pmtTTD = 0, priTTD = 0, intTTD = 0;
    bool penaltyCharged = false;
    std::vector<MortgagePeriod> rows;
    rows.reserve(static_cast<size_t>(periods));
    for (int32_t i = 1; i <= periods; ++i) {
        MortgagePeriod row;
        row.No = i;
        row.Due = due.value_or(Date{});
        row.Rate = arm_ ? rates_[static_cast<size_t>(i - 1)] : origRate_;
        row.BeginBalance = balance;
        double r = row.Rate / 12;
        if (intOnly_) {
            row.Int = r * balance;
            row.Pri = 0;
            row.Pmt = row.Int;
        } else {
            // Re-amortized every period: a rate change or an extra payment
            // is carried into the payment over the term that is left.
            auto pmt = Pmt(r, term, balance);
            auto ipmt = IPmt(r, 1, term, balance);
            if (!pmt || !ipmt) {
                return false;
            }
            row.Pmt = -*pmt;
            row.Int = -*ipmt;
            row.Pri = row.Pmt - row.Int;
        }
        double entry =
            i <= static_cast<int32_t>(xPri_.size()) ? xPri_[static_cast<size_t>(i - 1)] : 0;
        row.XtraPri = entry != 0 ? entry : xPriAll_;
        // The last payment pays what is owed and no more.
        if (row.Pri > balance) {
            row.Pri = balance;
            row.Pmt = row.Pri + row.Int;
        }
        if (row.Pri + row.XtraPri > balance) {
            row.XtraPri = balance - row.Pri;
        }
        balance -= row.Pri + row.XtraPri;
        if (std::fabs(balance) < Crumb) {
            balance = 0;
        }
        row.Balance = balance;

        if (i == 1 || row.Due.month == 1) {
            pmtYr = priYr = intYr = ppmSum = 0;
            penaltyCharged = false;
        }
        pmtYr += row.Pmt;
        priYr += row.Pri + row.XtraPri;
        intYr += row.Int;
        pmtTTD += row.Pmt;
        priTTD += row.Pri + row.XtraPri;
        intTTD += row.Int;
        row.PmtYr = pmtYr;
        row.PriYr = priYr;
        row.IntYr = intYr;
        row.PmtTTD = pmtTTD;
        row.PriTTD = priTTD;
        row.IntTTD = intTTD;

        if (ppm_ && origPV_ != 0) {
            ppmSum += (row.Pri + row.XtraPri) / origPV_;
            // Charged once a year, in the period whose prepayments take the
            // year's share of the loan past the trigger.
            if ((ppmPer_ == 0 || i <= ppmPer_) && ppmSum > ppmTrigger_ && !penaltyCharged) {
                row.PPMPenalty = ppmPct_ * origPV_;
                penaltyCharged = true;
            }
        }
        rows.push_back(row);
        if (balance <= 0) {
            break; // repaid early: the schedule ends here
        }

        if (intOnly_) {
            term -= 1;
        } else {
            auto left = NPer(r, -row.Pmt, balance);
            if (!left) {
                return false;
            }
            term = *left;
        }
        if (due) {
            due = AddInterval("m", 1, *due);
        }
    }
    for (MortgagePeriod& row : rows) {
        row.Remaining = static_cast<int32_t>(rows.size()) - row.No;
    }
    if (balloon_ && periods < RoundHalfEven(origPer_) && !rows.empty()) {
        balloonPmt_ = rows.back().Balance;
    }
    schedule_ = std::move(rows);
    return true;
}

void clsMortgage::CreateMtg() {
    SetDefaults();
    ReCalc();
}

bool clsMortgage::BalanceMtg(double currentBalance) {
    if (!std::isfinite(currentBalance) || !ReCalc()) {
        return false;
    }
    const MortgagePeriod* row = Row(0);
    if (currentPeriod_ <= 1 || !row) {
        origPV_ = currentBalance;
    } else {
        size_t before = static_cast<size_t>(row->No - 2);
        if (xPri_.size() <= before) {
            xPri_.resize(before + 1, 0.0);
        }
        xPri_[before] += row->BeginBalance - currentBalance;
    }
    return ReCalc();
}

void clsMortgage::ReadColumns(db::Recordset& rs, bool balloonFromBalloonMtg) {
    description_ = rs.Field("Description").AsText();
    currentPeriod_ = ToInt16(rs.Field("CurrentPeriod"));
    origPV_ = rs.Field("OrigPV").AsDouble();
    origPer_ = rs.Field("OrigPer").AsDouble();
    origRate_ = rs.Field("OrigRate").AsDouble();
    origPmt_ = rs.Field("OrigPmt").AsDouble();
    intOnly_ = rs.Field("IntOnly").AsBool();
    firstDue_ = rs.Field("FirstDue").AsText();
    if (balloonFromBalloonMtg) {
        balloon_ = rs.Field("BalloonMtg").AsBool();
    } else if (rs.FieldIndex("Balloon") >= 0) {
        // The upgrade drops the old Balloon column; a current table has
        // none, and the flag then stays as it was.
        balloon_ = rs.Field("Balloon").AsBool();
    }
    balloonPer_ = ToInt16(rs.Field("BalloonPer"));
    balloonPmt_ = rs.Field("BalloonPmt").AsDouble();
    ppm_ = rs.Field("PPM").AsBool();
    ppmPct_ = rs.Field("PPMPct").AsDouble();
    ppmTrigger_ = rs.Field("PPMTrigger").AsDouble();
    ppmPer_ = ToInt16(rs.Field("PPMPer"));
    const db::Value& xPri = rs.Field("xPri");
    xPri_ = xPri.IsNull() ? std::vector<double>{} : ParseList(xPri.AsText());
    const db::Value& xRate = rs.Field("xRate");
    rates_ = xRate.IsNull() ? std::vector<double>{} : ParseList(xRate.AsText());
    const db::Value& xPriAll = rs.Field("xPriAll");
    if (!xPriAll.IsNull()) {
        xPriAll_ = xPriAll.AsDouble();
    }
    arm_ = rs.Field("ARM").AsBool();
    armLockedPer_ = ToInt16(rs.Field("ARMLockedPer"));
    armAdjPer_ = ToInt16(rs.Field("ARMAdjPer"));
    armLifeCap_ = rs.Field("ARMLifeCap").AsDouble();
    armPerCap_ = rs.Field("ARMPerCap").AsDouble();
}

bool clsMortgage::LoadMtg(db::Connection& connection, int32_t IdMortgage) {
    lastError_.clear();
    db::Recordset rs;
    int32_t count =
        db::OpenRecordset("SELECT * FROM Mortgage WHERE IdMortgage = " + std::to_string(IdMortgage),
                          rs, connection, false);
    if (count < 1) {
        lastError_ = count < 0 ? "the Mortgage table cannot be read"
                               : "no mortgage " + std::to_string(IdMortgage);
        return false;
    }
    return LoadRSAs(rs, true);
}

bool clsMortgage::LoadRS(db::Recordset& recordset) {
    return LoadRSAs(recordset, false);
}

bool clsMortgage::LoadRSAs(db::Recordset& rs, bool balloonFromBalloonMtg) {
    lastError_.clear();
    // Whatever happens, the schedule must be derived again from what was read.
    schedule_.clear();
    dirty_ = true;
    try {
        if (!rs.IsOpen() || rs.IsEOF()) {
            lastError_ = "no current mortgage row";
            return false;
        }
        ReadColumns(rs, balloonFromBalloonMtg);
        return true;
    } catch (const std::exception& e) {
        lastError_ = e.what();
        return false;
    }
}

bool clsMortgage::WriteColumns(db::Recordset& rs) {
    if (dirty_ || schedule_.empty()) {
        ReCalc();
    }
    rs.SetField("Description", description_);
    rs.SetField("CurrentPeriod", currentPeriod_);
    rs.SetField("OrigPV", origPV_);
    rs.SetField("OrigPer", origPer_);
    rs.SetField("OrigRate", origRate_);
    rs.SetField("OrigPmt", origPmt_);
    rs.SetField("IntOnly", intOnly_);
    rs.SetField("FirstDue", firstDue_);
    rs.SetField("BalloonMtg", balloon_);
    rs.SetField("BalloonPer", balloonPer_);
    rs.SetField("BalloonPmt", balloonPmt_);
    rs.SetField("PPM", ppm_);
    rs.SetField("PPMPct", ppmPct_);
    rs.SetField("PPMTrigger", ppmTrigger_);
    rs.SetField("PPMPer", ppmPer_);
    rs.SetField("xPri", JoinList(xPri_));
    rs.SetField("xRate", JoinList(rates_));
    rs.SetField("xPriAll", xPriAll_);
    rs.SetField("ARM", arm_);
    rs.SetField("ARMLockedPer", armLockedPer_);
    rs.SetField("ARMAdjPer", armAdjPer_);
    rs.SetField("ARMLifeCap", armLifeCap_);
    rs.SetField("ARMPerCap", armPerCap_);
    const MortgagePeriod* row = Row(0);
    rs.SetField("NextDue", row ? ShortDateText(row->Due) : std::string());
    // Currency columns hold four decimals.
    auto money = [](double v) { return Currency::FromDoubleOrZero(v).ToDouble(); };
    rs.SetField("CurrentPV", money(row ? row->BeginBalance : 0));
    rs.SetField("CurrentI", money(row ? row->Rate : 0));
    rs.SetField("CurrentPmt", money(row ? row->Pmt : 0));
    rs.SetField("RemainingT", row ? row->Remaining : 0);
    return true;
}

bool clsMortgage::SaveMtg(db::Connection& connection, int32_t IdMortgage) {
    lastError_.clear();
    db::Recordset rs;
    int32_t count =
        db::OpenRecordset("SELECT * FROM Mortgage WHERE IdMortgage = " + std::to_string(IdMortgage),
                          rs, connection, false);
    if (count < 0) {
        lastError_ = "the Mortgage table cannot be read";
        return false;
    }
    try {
        if (count == 0) {
            rs.AddNew();
            rs.SetField("IdMortgage", IdMortgage);
        }
        WriteColumns(rs);
        rs.Update();
        return true;
    } catch (const std::exception& e) {
        lastError_ = e.what();
        return false;
    }
}

bool clsMortgage::SaveRS(db::Recordset& recordset) {
    lastError_.clear();
    try {
        WriteColumns(recordset);
        return true;
    } catch (const std::exception& e) {
        lastError_ = e.what();
        return false;
    }
}

void clsMortgage::ShowGrid(GridData& grid) {
    grid = GetAmortization();
}

double clsMortgage::GetXPRI(int32_t period) const {
    if (period < 1 || period > static_cast<int32_t>(xPri_.size())) {
        return 0;
    }
    return xPri_[static_cast<size_t>(period - 1)];
}

void clsMortgage::SetXPri(int32_t period, double amount) {
    if (period < 1 || period > MaxPeriods) {
        return;
    }
    if (xPri_.size() < static_cast<size_t>(period)) {
        xPri_.resize(static_cast<size_t>(period), 0.0);
    }
    xPri_[static_cast<size_t>(period - 1)] = amount;
    dirty_ = true;
}

Date clsMortgage::NextDue() {
    const MortgagePeriod* row = Row(0);
    return row ? row->Due : Date{};
}

void clsMortgage::ClearXPri() {
    xPri_.clear();
    dirty_ = true;
}

GridData clsMortgage::GetAmortization() {
    GridData grid;
    grid.headers = {"No.",     "Due",      "Rate",      "Pmt",        "Pmt Yr", "Pmt TTD",
                    "Pri",     "Xtra Pri", "Pri Yr",    "Pri TTD",    "Int",    "Int Yr",
                    "Int TTD", "Balance",  "Remaining", "PPM Penalty"};
    grid.formats = {"",      "mm/dd/yyyy", "#.00",  Amounts, Amounts, Amounts, Amounts, Amounts,
                    Amounts, Amounts,      Amounts, Amounts, Amounts, Amounts, "",      Amounts};
    if (dirty_ || schedule_.empty()) {
        ReCalc();
    }
    for (const MortgagePeriod& p : schedule_) {
        grid.rows.push_back({std::to_string(p.No), DisplayDate(p.Due),
                             util::Format(p.Rate * 100, "#.00") + "%", util::Format(p.Pmt, Amounts),
                             util::Format(p.PmtYr, Amounts), util::Format(p.PmtTTD, Amounts),
                             util::Format(p.Pri, Amounts), util::Format(p.XtraPri, Amounts),
                             util::Format(p.PriYr, Amounts), util::Format(p.PriTTD, Amounts),
                             util::Format(p.Int, Amounts), util::Format(p.IntYr, Amounts),
                             util::Format(p.IntTTD, Amounts), util::Format(p.Balance, Amounts),
                             std::to_string(p.Remaining), util::Format(p.PPMPenalty, Amounts)});
    }
    if (currentPeriod_ >= 1 && currentPeriod_ <= static_cast<int32_t>(schedule_.size())) {
        grid.highlightRow = currentPeriod_ - 1;
    }
    return grid;
}

void clsMortgage::SetMaxRates() {
    double ceiling = origRate_ + armLifeCap_;
    if (ceiling > 0.3) {
        ceiling = 0.3; // no loan is taken to more than 30 % a year
    }
    if (!arm_) {
        return;
    }
    int32_t periods = ScheduledPeriods();
    rates_.assign(static_cast<size_t>(periods), origRate_);
    double rate = origRate_;
    int32_t counter = 0;
    for (int32_t i = 1; i <= periods; ++i) {
        ++counter;
        bool adjust = i == armLockedPer_ + 1 || (i > armLockedPer_ && counter == armAdjPer_) ||
                      (armLockedPer_ == 0 && i == 1);
        if (adjust) {
            rate += armPerCap_;
            if (rate >= ceiling) {
                rate = ceiling;
            }
            counter = 0;
        }
        rates_[static_cast<size_t>(i - 1)] = rate;
    }
    dirty_ = true;
}

void clsMortgage::ClearRate() {
    rates_.clear();
    dirty_ = true;
}

double clsMortgage::GetRate(int32_t period) const {
    if (period < 1 || period > static_cast<int32_t>(rates_.size())) {
        return origRate_;
    }
    return rates_[static_cast<size_t>(period - 1)];
}

void clsMortgage::SetRate(int32_t period, double rate) {
    if (period < 1 || period > MaxPeriods) {
        return;
    }
    if (rates_.size() < static_cast<size_t>(period)) {
        rates_.resize(static_cast<size_t>(period), origRate_);
    }
    rates_[static_cast<size_t>(period - 1)] = rate;
    dirty_ = true;
}

const MortgagePeriod* clsMortgage::Row(int32_t period) {
    if (dirty_ || schedule_.empty()) {
        ReCalc();
    }
    if (schedule_.empty()) {
        return nullptr;
    }
    int32_t p = period < 1 ? currentPeriod_ : period;
    if (p < 1) {
        p = 1;
    }
    if (p > static_cast<int32_t>(schedule_.size())) {
        p = static_cast<int32_t>(schedule_.size());
    }
    return &schedule_[static_cast<size_t>(p - 1)];
}

double clsMortgage::GetPV(int32_t period) {
    const MortgagePeriod* r = Row(period);
    return r ? r->BeginBalance : 0;
}

double clsMortgage::GetPriTTD(int32_t period) {
    const MortgagePeriod* r = Row(period);
    return r ? r->PriTTD : 0;
}

double clsMortgage::GetIntTTD(int32_t period) {
    const MortgagePeriod* r = Row(period);
    return r ? r->IntTTD : 0;
}

double clsMortgage::GetIntYTD(int32_t period) {
    const MortgagePeriod* r = Row(period);
    return r ? r->IntYr : 0;
}

double clsMortgage::GetPriYTD(int32_t period) {
    const MortgagePeriod* r = Row(period);
    return r ? r->PriYr : 0;
}

int32_t clsMortgage::GetPeriods() {
    Row(0);
    return static_cast<int32_t>(schedule_.size());
}

int32_t clsMortgage::GetPeriodsRemaining() {
    const MortgagePeriod* r = Row(0);
    return r ? r->Remaining : 0;
}

std::string clsMortgage::GetStatus(Date AsOf) {
    auto first = ParseDateText(firstDue_);
    if (!first) {
        return "Pending"; // a loan without a first due date has not started
    }
    int n = MonthDiff(*first, AsOf) + 1;
    if (n < 1) {
        return "Pending";
    }
    if (n <= GetPeriods()) {
        return "Current";
    }
    return "Closed";
}

double clsMortgage::GetPPMT(int32_t period) {
    const MortgagePeriod* r = Row(period);
    return r ? r->Pri : 0;
}

double clsMortgage::GetPMT(int32_t period) {
    const MortgagePeriod* r = Row(period);
    return r ? r->Pmt : 0;
}

double clsMortgage::GetIPMT(int32_t period) {
    const MortgagePeriod* r = Row(period);
    return r ? r->Int : 0;
}

int32_t clsMortgage::GetPeriod(int32_t period) {
    const MortgagePeriod* r = Row(period);
    return r ? r->No : 0;
}

void clsMortgage::SetFirstDue(std::string_view v) {
    firstDue_ = util::Trim(v.substr(0, 10));
    dirty_ = true;
}

std::string clsMortgage::XPriText() const {
    return JoinList(xPri_);
}

std::string clsMortgage::XRateText() const {
    return JoinList(rates_);
}

} // namespace loan
