#pragma once
// One mortgage loan of the suite: its terms, its optional balloon,
// prepayment-penalty and adjustable-rate features, its per-period rate and
// extra-principal tables, and the month-by-month schedule derived from them.
// It loads itself from and saves itself to a row of the Mortgage table.
//
// Rates here are fractions (0.05 is 5 %), unlike the percent rates of the
// stored amortization text.

#include "loan/currency.h"
#include "loan/dates.h"
#include "loan/grid.h"
#include "platform/clock.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace db {
class Connection;
class Recordset;
} // namespace db

namespace loan {

// One computed period of a mortgage.
struct MortgagePeriod {
    int32_t No = 0;
    Date Due;
    double Rate = 0; // annual, fraction
    double BeginBalance = 0;
    double Pmt = 0, PmtYr = 0, PmtTTD = 0; // scheduled payments, without extra principal
    double Pri = 0, XtraPri = 0, PriYr = 0, PriTTD = 0; // PriYr and PriTTD include extra principal
    double Int = 0, IntYr = 0, IntTTD = 0;
    double Balance = 0;    // after the period
    int32_t Remaining = 0; // periods left after this one
    double PPMPenalty = 0;
};

class clsMortgage {
public:
    // A new mortgage with the suite's defaults; FirstDue is the first of the
    // clock's current month. The clock must outlive the object.
    explicit clsMortgage(const platform::Clock& clock);

    // ---- Operations, in the suite's interface order. ----

    // Recomputes OrigPmt, BalloonPmt (the balance left after the balloon
    // period, 0 without one) and the schedule; clears the dirty mark. A loan
    // repaid early by extra principal ends at the period that repays it.
    // False when a calculation fails (the schedule is then empty).
    bool ReCalc();
    // Resets every term to the defaults of a new mortgage and recomputes.
    void CreateMtg();
    // Re-bases the loan on a known balance at the start of the current
    // period: the difference to the computed balance becomes extra principal
    // of the period before (or the amount borrowed, in period 1).
    bool BalanceMtg(double currentBalance);

    // Load and save by key or through a recordset the caller positioned.
    // False on a database error (a missing row or column included); values
    // read before it are kept. LoadMtg reads the balloon flag from
    // BalloonMtg, LoadRS from the old Balloon column (kept as it is when the
    // recordset has none); both saves write BalloonMtg. Null xPri and xRate
    // columns load as empty tables.
    bool LoadMtg(db::Connection& connection, int32_t IdMortgage);
    bool LoadRS(db::Recordset& recordset);
    bool SaveMtg(db::Connection& connection, int32_t IdMortgage);
    bool SaveRS(db::Recordset& recordset);

    void ShowGrid(GridData& grid);

    double GetXPRI(int32_t period) const;
    void SetXPri(int32_t period, double amount);
    // Due date of the current period (no date without a schedule).
    Date NextDue();
    void ClearXPri();

    // The schedule laid out as a grid (recomputed first when dirty).
    GridData GetAmortization();

    // Fills the rate table of an ARM loan with the highest rates its caps allow.
    void SetMaxRates();
    void ClearRate();
    double GetRate(int32_t period) const;
    void SetRate(int32_t period, double rate);

    // Figures of the computed schedule at a period. A period below 1 means
    // the current period; a later one than the schedule has means the last.
    // 0 without a schedule.
    double GetPV(int32_t period = 0);
    double GetPriTTD(int32_t period = 0);
    double GetIntTTD(int32_t period = 0);
    double GetIntYTD(int32_t period = 0);
    double GetPriYTD(int32_t period = 0);
    int32_t GetPeriods();
    int32_t GetPeriodsRemaining();
    // "Pending" before FirstDue's month, "Current" while AsOf is within the
    // schedule, "Closed" after it.
    std::string GetStatus(Date AsOf);
    double GetPPMT(int32_t period = 0);
    double GetPMT(int32_t period = 0);
    double GetIPMT(int32_t period = 0);
    int32_t GetPeriod(int32_t period = 0);

    // ---- Properties, in the suite's order. ----

    const std::string& Description() const { return description_; }
    void SetDescription(std::string_view v) { description_ = std::string(v); }
    int16_t CurrentPeriod() const { return currentPeriod_; }
    void SetCurrentPeriod(int16_t v) { currentPeriod_ = v; }
    double OrigPV() const { return origPV_; }
    void SetOrigPV(double v) { origPV_ = v, dirty_ = true; }
    double OrigPer() const { return origPer_; }
    void SetOrigPer(double v) { origPer_ = v, dirty_ = true; }
    double OrigRate() const { return origRate_; }
    void SetOrigRate(double v) { origRate_ = v, dirty_ = true; }
    double OrigPmt() const { return origPmt_; }
    const std::string& FirstDue() const { return firstDue_; }
    void SetFirstDue(std::string_view v);
    bool IntOnly() const { return intOnly_; }
    void SetIntOnly(bool v) { intOnly_ = v, dirty_ = true; }
    bool Balloon() const { return balloon_; }
    void SetBalloon(bool v) { balloon_ = v, dirty_ = true; }
    int16_t BalloonPer() const { return balloonPer_; }
    void SetBalloonPer(int16_t v) { balloonPer_ = v, dirty_ = true; }
    double BalloonPmt() const { return balloonPmt_; }
    bool PPM() const { return ppm_; }
    void SetPPM(bool v) { ppm_ = v, dirty_ = true; }
    int16_t PPMPer() const { return ppmPer_; }
    void SetPPMPer(int16_t v) { ppmPer_ = v, dirty_ = true; }
    double PPMPct() const { return ppmPct_; }
    void SetPPMPct(double v) { ppmPct_ = v, dirty_ = true; }
    double PPMTrigger() const { return ppmTrigger_; }
    void SetPPMTrigger(double v) { ppmTrigger_ = v, dirty_ = true; }
    bool ARM() const { return arm_; }
    void SetARM(bool v) { arm_ = v, dirty_ = true; }
    int16_t ARMLockedPer() const { return armLockedPer_; }
    void SetARMLockedPer(int16_t v) { armLockedPer_ = v, dirty_ = true; }
    int16_t ARMAdjPer() const { return armAdjPer_; }
    void SetARMAdjPer(int16_t v) { armAdjPer_ = v, dirty_ = true; }
    double ARMLifeCap() const { return armLifeCap_; }
    void SetARMLifeCap(double v) { armLifeCap_ = v, dirty_ = true; }
    double ARMPerCap() const { return armPerCap_; }
    void SetARMPerCap(double v) { armPerCap_ = v, dirty_ = true; }

    // ---- Beyond the suite's interface. ----

    // The extra principal paid every period whose own entry is 0.
    double XPriAll() const { return xPriAll_; }
    void SetXPriAll(double v) { xPriAll_ = v, dirty_ = true; }
    float Key() const { return key_; }
    bool IsDirty() const { return dirty_; }
    // The computed schedule, period 1 first.
    const std::vector<MortgagePeriod>& Schedule() const { return schedule_; }
    // The tables as stored: values joined by ",".
    std::string XPriText() const;
    std::string XRateText() const;
    // Text of the last failed database call ("" after a success).
    const std::string& LastError() const { return lastError_; }

private:
    void SetDefaults();
    int32_t ScheduledPeriods() const;
    const MortgagePeriod* Row(int32_t period);
    bool LoadRSAs(db::Recordset& recordset, bool balloonFromBalloonMtg);
    void ReadColumns(db::Recordset& recordset, bool balloonFromBalloonMtg);
    bool WriteColumns(db::Recordset& recordset);

    const platform::Clock* clock_;
    float key_ = 0;
    int16_t currentPeriod_ = 1;
    std::string description_;
    double origPV_ = 0, origPer_ = 0, origRate_ = 0, origPmt_ = 0;
    bool intOnly_ = false;
    std::string firstDue_;
    bool balloon_ = false;
    int16_t balloonPer_ = 0;
    double balloonPmt_ = 0;
    bool ppm_ = false;
    double ppmPct_ = 0, ppmTrigger_ = 0;
    int16_t ppmPer_ = 0;
    std::vector<MortgagePeriod> schedule_;
    bool dirty_ = false;
    std::vector<double> xPri_; // [0] is period 1
    double xPriAll_ = 0;
    std::vector<double> rates_; // [0] is period 1
    bool arm_ = false;
    int16_t armLockedPer_ = 0, armAdjPer_ = 0;
    double armLifeCap_ = 0, armPerCap_ = 0;
    std::string lastError_;
};

} // namespace loan
