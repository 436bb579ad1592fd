#include "upgrade/conversions.h"

#include "db/connection.h"
#include "loan/amort.h"

#include <string>

namespace upgrade {

int32_t RecalculateMortgages(db::Connection& connection) {
    db::Recordset rs;
    if (db::OpenRecordset("SELECT * FROM Mortgage", rs, connection, false) <= 0) {
        db::CloseRecordset(rs);
        return 0;
    }
    int32_t converted = 0;
    for (; !rs.IsEOF(); rs.MoveNext()) {
        // A text the engine cannot read leaves the schedule empty, and the
        // figures taken from it are then those of an empty schedule.
        loan::cShared_Amort schedule;
        schedule.SetDataString(rs.Field("Amortization").AsText());

        rs.SetField("AccountNumber", rs.Field("Description"));
        rs.SetField("NextEscrowReview", "");
        rs.SetField("EscrowReviewInterval", int16_t{3});
        rs.SetField("EscrowReviewPeriods", int16_t{1});
        rs.SetField("OrigPV", rs.Field("PV"));
        rs.SetField("OrigPer", rs.Field("T"));
        // The old rate was a percentage; the mortgage record keeps a fraction.
        rs.SetField("OrigRate", rs.Field("i").AsDouble() * 0.01);
        rs.SetField("OrigPmt", rs.Field("Payment"));
        rs.SetField("IntOnly", rs.Field("InterestOnly"));
        // The old Balloon column held the balloon period itself.
        const db::Value balloon = rs.Field("Balloon");
        rs.SetField("BalloonMtg", balloon.AsDouble() > 0);
        rs.SetField("BalloonPer", balloon);
        rs.SetField("BalloonPmt", 0);
        rs.SetField("PPM", rs.Field("PrePayPenalty"));
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
