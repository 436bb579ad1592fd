#pragma once
// The suite's amortization-schedule engine: one loan's month-by-month
// schedule, recomputed when a rate, an extra principal payment or a payment
// changes, and serialised to the one text (DataString) that the suite keeps
// in the Mortgage table's Amortization column.
//
// Numbers are Singles (float) as the stored text carries them; nothing is
// rounded to cents. Periods are numbered from 1.

#include "loan/currency.h"
#include "loan/dates.h"
#include "loan/grid.h"
#include "platform/clock.h"
#include "util/services.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace loan {

// One period of a schedule, its fields in the order of the stored text.
struct PeriodRecord {
    float BeginBalance = 0;
    float BasisPV = 0; // the amount this period's payment is amortized from
    float OrigTerm = 0;
    float BalloonPer = 0; // 0: no balloon
    float BasisTerm = 0;  // periods over which BasisPV is amortized
    float PaymentsRemaining = 0;
    float Payment = 0; // principal + interest
    float Principal = 0;
    float ExtraPrincipal = 0;
    float PrincipalToDate = 0; // principal + extra principal since period 1
    float AnnualRate = 0;      // percent: 7.5 means 7.5 %
    bool InterestOnly = false;
    float Interest = 0;
    float InterestToDate = 0;
    float EndBalance = 0; // never below 0
    float AmountPaid = 0;
    std::string DueDate = std::string(10, ' '); // the three texts are always 10 characters
    bool Paid = false;
    std::string DatePaid = std::string(10, ' ');
    std::string CheckNumber = std::string(10, ' ');
};

// The fixed width of a schedule's texts: longer values are cut, shorter
// ones padded with blanks.
std::string Text10(std::string_view text);

class cShared_Amort {
public:
    // "Today" comes from `clock`, validation complaints go to `ui`'s message
    // box. Both must outlive the object. Without them the machine's clock is
    // used and complaints are dropped (the upgrade only reads schedules).
    cShared_Amort();
    cShared_Amort(const platform::Clock& clock, util::UiServices& ui);

    // ---- The public members, in the suite's interface order. ----

    // Builds a new schedule of PV at Rate percent a year over Periods
    // periods, the first due on FirstDueDate (today when it is no date),
    // each next one Interval later ("m": a month). A balloon loan that is not
    // interest-only is scheduled up to BalloonPer but amortized over Periods.
    // False when nothing was built (Periods below 1, a bad interval, an
    // arithmetic failure); the object is then not built.
    bool CreateAmortization(double PV, double Rate, double Periods, Date FirstDueDate,
                            int16_t BalloonPer, bool IntOnly, std::string_view Interval);

    // Re-bases the schedule on a known balance as of a date: period 1
    // becomes a paid adjustment that brings the balance to NewBalance.
    bool AdjustBal(float NewBalance, float Rate, Date AsOf);

    // EndBalance - Principal of the current period (the principal is
    // subtracted once more, as the suite's payoff figure has always been).
    float PayOff() const;

    // The serialised schedule: per period 20 fields joined by ":", periods
    // joined by "|".
    std::string DataString() const;
    // Reads a serialised schedule. An empty text changes nothing (true).
    // A text that cannot be read whole (a period of fewer than 20 fields, a
    // number that is not one) is refused: false, and the object is unchanged.
    // A schedule read is built, and its current period is its first unpaid one.
    bool SetDataString(std::string_view text);

    // Figures of the current period; the Currency ones are 0 when the
    // current period is 0 or beyond the schedule.
    Currency CurrentPV() const;
    float CurrentI() const;
    float RemainingTerm() const;
    Currency CurrentPmt() const;
    Currency CurrentPPmt() const;
    Currency CurrentIPmt() const;

    // Every period's rate as a fraction (7.5 % gives 0.075), and every
    // period's extra principal, each list joined by ",": the tables of the
    // mortgage record, whose values are Doubles and keep the exact value of
    // each Single here (7.3 % gives 0.07300000190734864).
    std::string xRate() const;
    std::string xPri() const;

    // Due dates of the current period and of period 1 (no date when absent
    // or unreadable).
    Date DueDate() const;
    Date FirstDueDate() const;

    // Records the payment of the current period and moves to the next one
    // (never past the last). False, and nothing recorded, while not built.
    bool MakePayment(Date DatePaid, std::string_view CheckNumber, float ExtraPrincipal,
                     float AmountPaid);

    int32_t CurrentPeriod() const { return currentPeriod_; }

    // Changes the rate (percent) from Period on. Complaints are shown in one
    // message box and nothing is changed; false then.
    bool AdjustI(float NewRate, int16_t Period);
    // Sets the extra principal of a period, validated as AdjustI. Period 0
    // passes the check (unlike AdjustI's) and changes no period.
    bool PayExtra(int16_t Period, float Amount);

    // The schedule as a grid and as chart series; empty while not built.
    void ShowGrid(GridData& grid) const;
    void ShowChart(ChartData& chart) const;

    // Interest and principal paid: with an empty year everything before the
    // current period (extra principal included); with a year the paid
    // periods whose payment date falls in it (principal alone).
    double TotalIntPaid(std::string_view Year) const;
    double TotalPriPaid(std::string_view Year) const;

    const std::string& Description() const { return description_; }
    void SetDescription(std::string_view text) { description_ = std::string(text); }
    bool SimpleMode() const { return simpleMode_; }
    void SetSimpleMode(bool on) { simpleMode_ = on; }

    // ---- Inspection, for callers that show or check a schedule. ----

    int32_t PeriodCount() const { return static_cast<int32_t>(schedule_.size()); }
    bool IsBuilt() const { return isBuilt_; }
    // Period i (1 .. PeriodCount).
    const PeriodRecord& Period(int32_t i) const { return schedule_[static_cast<size_t>(i - 1)]; }

private:
    PeriodRecord& At(int32_t i) { return schedule_[static_cast<size_t>(i - 1)]; }
    const PeriodRecord* Current() const;
    bool Recalculate(int16_t StartPeriod);
    void Complain(const std::string& complaints) const;

    std::vector<PeriodRecord> schedule_;
    int32_t currentPeriod_ = 0;
    std::string description_;
    bool simpleMode_ = false;
    bool isBuilt_ = false;

    // Null: the machine's clock, and no one to complain to.
    const platform::Clock* clock_ = nullptr;
    util::UiServices* ui_ = nullptr;
};

} // namespace loan
