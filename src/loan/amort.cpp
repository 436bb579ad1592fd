#include "loan/amort.h"

#include "loan/finance.h"
#include "util/format.h"
#include "util/strings.h"
#include "util/vb_number.h"

#include <cmath>

namespace loan {

namespace {

// Period numbers are 16-bit in the suite's stored schedules.
constexpr int32_t MaxPeriods = 32767;

// A result stored as a Single; false when it does not fit one.
bool Store(float& field, double value) {
    float f = static_cast<float>(value);
    if (!std::isfinite(f)) {
        return false;
    }
    field = f;
    return true;
}

// The monthly rate as the suite computes it: a percent Single divided into
// a Single, then widened for the annuity functions.
double MonthlyRate(float annualPercent) {
    return static_cast<double>(
        static_cast<float>(static_cast<double>(annualPercent) / 12.0 / 100.0));
}

std::optional<Date> DateOf(const std::string& text) {
    return ParseDateText(text);
}

std::string DisplayDate(const std::string& text) {
    if (auto d = DateOf(text)) {
        return util::FormatDateTime(platform::LocalDateTime{d->year, d->month, d->day, 0, 0, 0},
                                    "mm/dd/yyyy");
    }
    return util::Trim(text);
}

// "1" (and the forms other writers used for true) reads as true.
bool ReadFlag(std::string_view field) {
    std::string t = util::Trim(field);
    return t == "1" || t == "-1" || util::EqualsNoCase(t, "True");
}

} // namespace

std::string Text10(std::string_view text) {
    std::string s(text.substr(0, 10));
    s.resize(10, ' ');
    return s;
}

cShared_Amort::cShared_Amort() = default;

cShared_Amort::cShared_Amort(const platform::Clock& clock, util::UiServices& ui)
    : clock_(&clock), ui_(&ui) {}

bool cShared_Amort::CreateAmortization(double PV, double Rate, double Periods, Date FirstDueDate,
                                       int16_t BalloonPer, bool IntOnly,
                                       std::string_view Interval) {
    isBuilt_ = false;
    if (!(Periods >= 1) || Periods > MaxPeriods || !std::isfinite(PV) || !std::isfinite(Rate)) {
        return false;
    }
    double count = RoundHalfEven(Periods);
    if (BalloonPer != 0 && !IntOnly && BalloonPer < Periods) {
        count = BalloonPer;
    }
    if (count < 1) {
        return false;
    }
    Date due = FirstDueDate;
    if (!simpleMode_) {
        if (due.IsNull()) {
            due = clock_ ? Today(*clock_) : Today(platform::SystemClock());
        }
        if (!IsValidDate(due)) {
            return false;
        }
    }

    std::vector<PeriodRecord> schedule(static_cast<size_t>(count));
    for (size_t i = 0; i < schedule.size(); ++i) {
        PeriodRecord& p = schedule[i];
        if (!Store(p.BeginBalance, PV) || !Store(p.AnnualRate, Rate)) {
            return false;
        }
        p.BasisPV = p.BeginBalance;
        p.OrigTerm = p.BasisTerm = static_cast<float>(Periods);
        p.BalloonPer = BalloonPer;
        p.ExtraPrincipal = 0;
        p.InterestOnly = IntOnly;
        if (!simpleMode_) {
            p.AmountPaid = 0;
            p.DueDate = Text10(ShortDateText(due));
            p.Paid = false;
            auto next = AddInterval(Interval, 1, due);
            if (!next) {
                return false; // an interval the calendar does not know
            }
            due = *next;
        }
    }
    schedule_ = std::move(schedule);
    currentPeriod_ = 1;
    isBuilt_ = true;
    if (!Recalculate(1)) {
        isBuilt_ = false;
        return false;
    }
    return true;
}

bool cShared_Amort::Recalculate(int16_t StartPeriod) {
    if (!isBuilt_ || StartPeriod < 1 || StartPeriod > PeriodCount()) {
        return false;
    }
    // k counts the periods paid on the current basis. A re-basing starts a
    // new loan from the balance reached, so the next period is that loan's
    // first; counting on from the run's start would split its payment as a
    // later one, and past the new term the annuity functions refuse it.
    int32_t k = 0;
    for (int32_t i = StartPeriod; i <= PeriodCount(); ++i) {
        PeriodRecord& p = At(i);
        if (k > 0) {
            // No re-basing at the period before: this one is paid on the
            // same basis. What it held came from an earlier run, and would
            // be the basis of a rate change or extra payment since taken back.
            const PeriodRecord& prev = At(i - 1);
            p.BasisPV = prev.BasisPV;
            p.BasisTerm = prev.BasisTerm;
        }
        ++k;
        double r = MonthlyRate(p.AnnualRate);
        if (!p.InterestOnly) {
            auto pmt = Pmt(r, p.BasisTerm, p.BasisPV);
            auto ipmt = IPmt(r, k, p.BasisTerm, p.BasisPV);
            if (!pmt || !ipmt) {
                return false;
            }
            // Principal is PPmt, which is Pmt - IPmt with the same arguments.
            if (!Store(p.Payment, -*pmt) || !Store(p.Principal, -(*pmt - *ipmt)) ||
                !Store(p.Interest, -*ipmt)) {
                return false;
            }
        } else {
            if (!Store(p.Payment, r * p.BasisPV) || !Store(p.Interest, r * p.BasisPV)) {
                return false;
            }
            p.Principal = 0;
        }

        double paid = static_cast<double>(p.ExtraPrincipal) + p.Principal;
        if (i == 1) {
            p.PrincipalToDate = static_cast<float>(paid);
            p.InterestToDate = p.Interest;
        } else {
            const PeriodRecord& prev = At(i - 1);
            p.PrincipalToDate =
                static_cast<float>(static_cast<double>(prev.PrincipalToDate) + paid);
            p.InterestToDate =
                static_cast<float>(static_cast<double>(prev.InterestToDate) + p.Interest);
        }
        double end = static_cast<double>(p.BeginBalance) - paid;
        if (!Store(p.EndBalance, end < 0 ? 0.0 : end)) {
            return false;
        }

        if (i < PeriodCount()) {
            PeriodRecord& next = At(i + 1);
            next.BeginBalance = p.EndBalance;
            if (next.AnnualRate != p.AnnualRate) {
                // Re-based on the term left of the current basis, so that a
                // second run over the same rates gives the same schedule.
                float term = static_cast<float>(static_cast<double>(p.BasisTerm) - k);
                for (int32_t j = i + 1; j <= PeriodCount(); ++j) {
                    At(j).BasisPV = p.EndBalance;
                    At(j).BasisTerm = term;
                }
                k = 0;
            }
        }

        if (p.ExtraPrincipal != 0 && !p.InterestOnly) {
            // The payment stays; the extra principal shortens the loan.
            auto n = NPer(r, -static_cast<double>(p.Payment), p.EndBalance);
            if (!n) {
                return false;
            }
            double count = RoundHalfEven(i + *n);
            if (p.BalloonPer != 0 && p.BalloonPer < count) {
                count = p.BalloonPer;
            }
            if (count < i) {
                count = i;
            }
            if (count > MaxPeriods) {
                return false;
            }
            auto newCount = static_cast<int32_t>(count);
            // Growing the schedule moves its records: `p` is not used past here.
            const float endBalance = p.EndBalance;
            schedule_.reserve(static_cast<size_t>(newCount));
            while (PeriodCount() < newCount) {
                const PeriodRecord& before = schedule_.back();
                PeriodRecord added;
                added.OrigTerm = before.OrigTerm;
                added.BalloonPer = before.BalloonPer;
                added.BasisTerm = before.BasisTerm;
                added.AnnualRate = before.AnnualRate;
                added.InterestOnly = before.InterestOnly;
                if (auto d = DateOf(before.DueDate)) {
                    if (auto nd = AddInterval("m", 1, *d)) {
                        added.DueDate = Text10(ShortDateText(*nd));
                    }
                }
                schedule_.push_back(std::move(added));
            }
            schedule_.resize(static_cast<size_t>(newCount));
            if (i < PeriodCount()) {
                At(i + 1).BeginBalance = endBalance;
            }
            for (int32_t j = i + 1; j <= PeriodCount(); ++j) {
                At(j).BasisPV = endBalance;
                At(j).BasisTerm = static_cast<float>(*n);
            }
            // Less than one payment left ends the loan: with under half a
            // payment the schedule already ends at i; with more, the one
            // period left is still worked out below, since leaving it as it
            // stood would show the balance of a schedule that no longer is.
            k = 0;
        }
    }
    for (int32_t i = 1; i <= PeriodCount(); ++i) {
        At(i).PaymentsRemaining = static_cast<float>(PeriodCount() - i);
    }
    return true;
}

bool cShared_Amort::AdjustBal(float NewBalance, float Rate, Date AsOf) {
    if (!isBuilt_ || PeriodCount() < 1 || !IsValidDate(AsOf) || !std::isfinite(NewBalance) ||
        !std::isfinite(Rate)) {
        return false;
    }
    At(1).AnnualRate = Rate;
    if (!Recalculate(1)) {
        return false;
    }
    PeriodRecord& first = At(1);
    // The balance the period reaches by its scheduled principal alone, less
    // the balance wanted, is what the adjustment paid.
    double reached = static_cast<double>(first.BeginBalance) - first.Principal;
    if (!Store(first.ExtraPrincipal, reached - NewBalance)) {
        return false;
    }
    first.DatePaid = Text10(ShortDateText(AsOf));
    first.Paid = true;
    first.CheckNumber = Text10("Adjustment");
    if (PeriodCount() >= 2) {
        Date due = AsOf;
        At(2).DueDate = Text10(ShortDateText(due));
        for (int32_t j = 3; j <= PeriodCount(); ++j) {
            auto next = AddInterval("m", 1, due);
            At(j).DueDate = next ? Text10(ShortDateText(*next)) : Text10("");
            if (next) {
                due = *next;
            }
        }
    }
    currentPeriod_ = 2;
    return Recalculate(1);
}

const PeriodRecord* cShared_Amort::Current() const {
    if (currentPeriod_ < 1 || currentPeriod_ > PeriodCount()) {
        return nullptr;
    }
    return &Period(currentPeriod_);
}

float cShared_Amort::PayOff() const {
    const PeriodRecord* p = Current();
    return p ? p->EndBalance - p->Principal : 0.0f;
}

std::string cShared_Amort::DataString() const {
    std::string out;
    out.reserve(schedule_.size() * 200);
    auto number = [&out](float v) {
        out += util::SingleToText(v);
        out += ':';
    };
    auto flag = [&out](bool v) {
        out += v ? '1' : '0';
        out += ':';
    };
    for (size_t i = 0; i < schedule_.size(); ++i) {
        const PeriodRecord& p = schedule_[i];
        if (i > 0) {
            out += '|';
        }
        number(p.BeginBalance);
        number(p.BasisPV);
        number(p.OrigTerm);
        number(p.BalloonPer);
        number(p.BasisTerm);
        number(p.PaymentsRemaining);
        number(p.Payment);
        number(p.Principal);
        number(p.ExtraPrincipal);
        number(p.PrincipalToDate);
        number(p.AnnualRate);
        flag(p.InterestOnly);
        number(p.Interest);
        number(p.InterestToDate);
        number(p.EndBalance);
        number(p.AmountPaid);
        out += Text10(p.DueDate);
        out += ':';
        flag(p.Paid);
        out += Text10(p.DatePaid);
        out += ':';
        out += Text10(p.CheckNumber);
    }
    return out;
}

bool cShared_Amort::SetDataString(std::string_view text) {
    if (text.empty()) {
        return true;
    }
    std::vector<PeriodRecord> schedule;
    std::string_view fields[20];
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('|', start);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        std::string_view record = text.substr(start, end - start);
        // The first 20 fields; anything after them is not the schedule's.
        size_t count = 0;
        size_t pos = 0;
        while (count < 20) {
            size_t colon = record.find(':', pos);
            if (colon == std::string_view::npos) {
                fields[count++] = record.substr(pos);
                break;
            }
            fields[count++] = record.substr(pos, colon - pos);
            pos = colon + 1;
        }
        if (count < 20) {
            return false;
        }
        PeriodRecord p;
        float* numbers[] = {&p.BeginBalance,   &p.BasisPV,           &p.OrigTerm,  &p.BalloonPer,
                            &p.BasisTerm,      &p.PaymentsRemaining, &p.Payment,   &p.Principal,
                            &p.ExtraPrincipal, &p.PrincipalToDate,   &p.AnnualRate};
        for (size_t f = 0; f < 11; ++f) {
            auto v = util::TextToSingle(fields[f]);
            if (!v) {
                return false;
            }
            *numbers[f] = *v;
        }
        p.InterestOnly = ReadFlag(fields[11]);
        float* more[] = {&p.Interest, &p.InterestToDate, &p.EndBalance, &p.AmountPaid};
        for (size_t f = 0; f < 4; ++f) {
            auto v = util::TextToSingle(fields[12 + f]);
            if (!v) {
                return false;
            }
            *more[f] = *v;
        }
        p.DueDate = Text10(util::Trim(fields[16]));
        p.Paid = ReadFlag(fields[17]);
        p.DatePaid = Text10(util::Trim(fields[18]));
        p.CheckNumber = Text10(util::Trim(fields[19]));
        schedule.push_back(std::move(p));
        if (end == text.size()) {
            break;
        }
        start = end + 1;
    }
    if (schedule.size() > static_cast<size_t>(MaxPeriods)) {
        return false;
    }
    schedule_ = std::move(schedule);
    isBuilt_ = true;
    // The text does not carry the current period: it is the first unpaid
    // one, as the payments recorded in order left it.
    currentPeriod_ = PeriodCount();
    for (int32_t i = 1; i <= PeriodCount(); ++i) {
        if (!Period(i).Paid) {
            currentPeriod_ = i;
            break;
        }
    }
    return true;
}

Currency cShared_Amort::CurrentPV() const {
    const PeriodRecord* p = Current();
    return p ? Currency::FromDoubleOrZero(p->BeginBalance) : Currency{};
}

float cShared_Amort::CurrentI() const {
    const PeriodRecord* p = Current();
    return p ? p->AnnualRate : 0.0f;
}

float cShared_Amort::RemainingTerm() const {
    const PeriodRecord* p = Current();
    return p ? p->PaymentsRemaining : 0.0f;
}

Currency cShared_Amort::CurrentPmt() const {
    const PeriodRecord* p = Current();
    return p ? Currency::FromDoubleOrZero(p->Payment) : Currency{};
}

Currency cShared_Amort::CurrentPPmt() const {
    const PeriodRecord* p = Current();
    return p ? Currency::FromDoubleOrZero(p->Principal) : Currency{};
}

Currency cShared_Amort::CurrentIPmt() const {
    const PeriodRecord* p = Current();
    return p ? Currency::FromDoubleOrZero(p->Interest) : Currency{};
}

std::string cShared_Amort::xRate() const {
    std::string out;
    for (size_t i = 0; i < schedule_.size(); ++i) {
        if (i > 0) {
            out += ',';
        }
        out += util::DoubleToText(static_cast<double>(schedule_[i].AnnualRate) * 0.01);
    }
    return out;
}

std::string cShared_Amort::xPri() const {
    std::string out;
    for (size_t i = 0; i < schedule_.size(); ++i) {
        if (i > 0) {
            out += ',';
        }
        out += util::DoubleToText(static_cast<double>(schedule_[i].ExtraPrincipal));
    }
    return out;
}

Date cShared_Amort::DueDate() const {
    const PeriodRecord* p = Current();
    if (!p) {
        return Date{};
    }
    return DateOf(p->DueDate).value_or(Date{});
}

Date cShared_Amort::FirstDueDate() const {
    if (schedule_.empty()) {
        return Date{};
    }
    return DateOf(schedule_.front().DueDate).value_or(Date{});
}

bool cShared_Amort::MakePayment(Date DatePaid, std::string_view CheckNumber, float ExtraPrincipal,
                                float AmountPaid) {
    if (!isBuilt_ || currentPeriod_ < 1 || currentPeriod_ > PeriodCount() ||
        !std::isfinite(ExtraPrincipal) || !std::isfinite(AmountPaid)) {
        return false;
    }
    PeriodRecord& p = At(currentPeriod_);
    p.ExtraPrincipal = ExtraPrincipal;
    p.Paid = true;
    p.DatePaid = Text10(ShortDateText(DatePaid));
    p.CheckNumber = Text10(CheckNumber);
    p.AmountPaid = AmountPaid;
    if (currentPeriod_ < PeriodCount()) {
        ++currentPeriod_;
    }
    bool ok = Recalculate(1);
    if (currentPeriod_ > PeriodCount()) {
        currentPeriod_ = PeriodCount(); // the extra principal ended the loan early
    }
    return ok;
}

void cShared_Amort::Complain(const std::string& complaints) const {
    if (ui_) {
        ui_->MessageBox("The following errors have occured:\r\n\r\n" + complaints,
                        util::Buttons::OK, util::Icon::None, "Ostrand");
    }
}

bool cShared_Amort::AdjustI(float NewRate, int16_t Period) {
    if (!isBuilt_) {
        return false;
    }
    std::string complaints;
    if (Period < 1 || Period > PeriodCount()) {
        complaints += "Invalid period entered for interest rate change\r\n";
    }
    if (Period < currentPeriod_) {
        complaints += "Cannot change interest rate for payment already made.\r\n";
    }
    if (!complaints.empty()) {
        Complain(complaints);
        return false;
    }
    for (int32_t j = Period; j <= PeriodCount(); ++j) {
        At(j).AnnualRate = NewRate;
    }
    return Recalculate(1);
}

bool cShared_Amort::PayExtra(int16_t Period, float Amount) {
    if (!isBuilt_) {
        return false;
    }
    std::string complaints;
    if (Period < 0 || Period > PeriodCount()) {
        complaints += "Invalid period entered for extra payment.\r\n";
    }
    if (!(Amount >= 0)) {
        complaints += "Invalid amount entered for extra payment amount.\r\n";
    }
    if (!complaints.empty()) {
        Complain(complaints);
        return false;
    }
    // Period 0 passes the check but names no period of the schedule.
    if (Period >= 1) {
        At(Period).ExtraPrincipal = Amount;
    }
    return Recalculate(1);
}

void cShared_Amort::ShowGrid(GridData& grid) const {
    grid = GridData{};
    if (!isBuilt_) {
        return;
    }
    const std::string money = "$#,###.00";
    grid.headers = {"Month #",  "Balance", "I Rate",  "Payment", "Pri Amt",
                    "P Adjust", "Pri TTD", "Int Amt", "Int TTD"};
    grid.formats = {"", money, "#.00", money, money, money, money, money, money};
    if (!simpleMode_) {
        grid.headers.insert(grid.headers.end(),
                            {"Date Due", "Date Paid", "Check Number", "Payments Remaining"});
        grid.formats.insert(grid.formats.end(), {"mm/dd/yyyy", "mm/dd/yyyy", "", ""});
    }
    grid.rows.reserve(schedule_.size());
    for (int32_t i = 1; i <= PeriodCount(); ++i) {
        const PeriodRecord& p = Period(i);
        std::vector<std::string> row = {std::to_string(i),
                                        util::FormatSingle(p.EndBalance, money),
                                        util::FormatSingle(p.AnnualRate, "#.00"),
                                        util::FormatSingle(p.Payment, money),
                                        util::FormatSingle(p.Principal, money),
                                        util::FormatSingle(p.ExtraPrincipal, money),
                                        util::FormatSingle(p.PrincipalToDate, money),
                                        util::FormatSingle(p.Interest, money),
                                        util::FormatSingle(p.InterestToDate, money)};
        if (!simpleMode_) {
            row.push_back(DisplayDate(p.DueDate));
            row.push_back(DisplayDate(p.DatePaid));
            row.push_back(util::Trim(p.CheckNumber));
            row.push_back(util::SingleToText(p.PaymentsRemaining));
        }
        grid.rows.push_back(std::move(row));
    }
    if (Current()) {
        grid.highlightRow = currentPeriod_ - 1;
    }
}

void cShared_Amort::ShowChart(ChartData& chart) const {
    chart = ChartData{};
    if (!isBuilt_ || schedule_.empty()) {
        return;
    }
    chart.legends = {"Balance", "Principal Paid", "Interest Paid", "Principal Amount",
                     "Interest Amount"};
    double principal = 0;
    double interest = 0;
    for (int32_t i = 1; i <= PeriodCount(); ++i) {
        const PeriodRecord& p = Period(i);
        chart.rowLabels.push_back("Month " + std::to_string(i));
        chart.values.push_back(
            {p.EndBalance, p.PrincipalToDate, p.InterestToDate, p.Principal, p.Interest});
        principal += p.Principal;
        interest += p.Interest;
    }
    const PeriodRecord& last = schedule_.back();
    chart.rowLabels.push_back("TOTALS");
    chart.values.push_back(
        {last.EndBalance, last.PrincipalToDate, last.InterestToDate, principal, interest});
}

double cShared_Amort::TotalIntPaid(std::string_view Year) const {
    if (!isBuilt_) {
        return 0;
    }
    std::string year = util::Trim(Year);
    if (year.empty()) {
        if (currentPeriod_ >= 2 && currentPeriod_ - 1 <= PeriodCount()) {
            return Period(currentPeriod_ - 1).InterestToDate;
        }
        return 0;
    }
    auto y = util::TextToDouble(year);
    double total = 0;
    for (const PeriodRecord& p : schedule_) {
        auto paid = DateOf(p.DatePaid);
        if (y && p.Paid && paid && paid->year == *y) {
            total += p.Interest;
        }
    }
    return total;
}

double cShared_Amort::TotalPriPaid(std::string_view Year) const {
    if (!isBuilt_) {
        return 0;
    }
    std::string year = util::Trim(Year);
    if (year.empty()) {
        if (currentPeriod_ >= 2 && currentPeriod_ - 1 <= PeriodCount()) {
            return Period(currentPeriod_ - 1).PrincipalToDate;
        }
        return 0;
    }
    auto y = util::TextToDouble(year);
    double total = 0;
    for (const PeriodRecord& p : schedule_) {
        auto paid = DateOf(p.DatePaid);
        // A year's figure is the scheduled principal; extra principal counts
        // only in the all-time figure.
        if (y && p.Paid && paid && paid->year == *y) {
            total += p.Principal;
        }
    }
    return total;
}

} // namespace loan
