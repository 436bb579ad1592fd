#include "upgrade/conversions.h"

#include "db/connection.h"
#include "loan/amort.h"

#include <string>

namespace upgrade {

namespace {

// The columns of the old mortgage record that the conversion reads.
constexpr const char* kOldColumns[] = {"Description", "PV",           "T",       "i",
                                       "Payment",     "InterestOnly", "Balloon", "PrePayPenalty",
                                       "Amortization"};

// A column the old table lacks held nothing: it reads as NULL.
db::Value Old(const db::Recordset& rs, const char* column) {
    if (rs.FieldIndex(column) < 0)
        return db::Value();
    return rs.Field(std::string_view(column));
}

} // namespace

int32_t RecalculateMortgages(db::Connection& connection) {
    db::Recordset rs;
    if (db::OpenRecordset("SELECT * FROM Mortgage", rs, connection, false) <= 0) {
        db::CloseRecordset(rs);
        return 0;
    }
    // Without the schedule text and the old figures the table has been
    // converted already; recalculating would only blank the new columns.
    bool hasOldColumns = false;
    for (const char* column : kOldColumns)
        hasOldColumns = hasOldColumns ||
                        (std::string_view(column) != "Description" && rs.FieldIndex(column) >= 0);
    if (!hasOldColumns) {
        db::CloseRecordset(rs);
        return 0;
    }
    int32_t converted = 0;
    for (; !rs.IsEOF(); rs.MoveNext()) {
        // A text the engine cannot read leaves the schedule empty, and the
        // figures taken from it are then those of an empty schedule.
        loan::cShared_Amort schedule;
        schedule.SetDataString(Old(rs, "Amortization").AsText());

        rs.SetField("AccountNumber", Old(rs, "Description"));
        rs.SetField("NextEscrowReview", "");
        rs.SetField("EscrowReviewInterval", int16_t{3});
        rs.SetField("EscrowReviewPeriods", int16_t{1});
        rs.SetField("OrigPV", Old(rs, "PV"));
        rs.SetField("OrigPer", Old(rs, "T"));
        // The old rate was a percentage; the mortgage record keeps a fraction.
        rs.SetField("OrigRate", Old(rs, "i").AsDouble() * 0.01);
        rs.SetField("OrigPmt", Old(rs, "Payment"));
        rs.SetField("IntOnly", Old(rs, "InterestOnly").AsInt() != 0);
        // The old Balloon column held the balloon period itself.
        const db::Value balloon = Old(rs, "Balloon");
        rs.SetField("BalloonMtg", balloon.AsDouble() > 0);
        rs.SetField("BalloonPer", balloon);
        rs.SetField("BalloonPmt", 0);
        rs.SetField("PPM", Old(rs, "PrePayPenalty").AsInt() != 0);
        rs.SetField("PPMPct", 0);
        rs.SetField("PPMTrigger", 0);
        rs.SetField("PPMPer", 0);
        rs.SetField("xPri", schedule.xPri());
        rs.SetField("xPriAll", 0);
        rs.SetField("xRate", schedule.xRate());
        // Every converted loan is marked adjustable while all four limits
        // stay 0. Odd as it looks, that is how old loans have always come
        // across; keep it.
        rs.SetField("ARM", true);
        rs.SetField("ARMLockedPer", 0);
        rs.SetField("ARMAdjPer", 0);
        rs.SetField("ARMLifeCap", 0);
        rs.SetField("ARMPerCap", 0);
        rs.SetField("CurrentPeriod", static_cast<int16_t>(schedule.CurrentPeriod()));
        rs.SetField("CurrentPmt", schedule.CurrentPmt().ToDouble());
        rs.SetField("CurrentPPmt", schedule.CurrentPPmt().ToDouble());
        rs.SetField("CurrentIPmt", schedule.CurrentIPmt().ToDouble());
        rs.SetField("FirstDue", loan::ShortDateText(schedule.FirstDueDate()));
        ++converted;
    }
    db::CloseRecordset(rs);
    return converted;
}

} // namespace upgrade
