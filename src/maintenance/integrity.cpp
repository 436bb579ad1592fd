#include "maintenance/integrity.h"

#include "maintenance/report_lines.h"

#include <exception>

namespace maintenance {

namespace {

std::string ProblemLine(std::string_view caption, std::string_view value) {
    return Labelled(caption, SystemCaptionWidth, value, ProblemMarker);
}

void AddCheck(std::vector<std::string>& lines, std::string_view caption,
              const std::vector<std::string>& findings, std::string_view what) {
    if (findings.empty()) {
        lines.push_back(Labelled(caption, SystemCaptionWidth, "ok"));
        return;
    }
    lines.push_back(ProblemLine(caption, std::to_string(findings.size()) + std::string(what)));
    for (const std::string& finding : findings) {
        lines.push_back("{*}   " + finding);
    }
}

} // namespace

IntegrityResult CheckIntegrity(db::Connection& connection) {
    IntegrityResult result;
    try {
        db::Recordset rs;
        rs.Open(connection,
                "PRAGMA integrity_check(" + std::to_string(IntegrityFindingsShown) + ")");
        for (; !rs.IsEOF(); rs.MoveNext()) {
            const std::string finding = rs.Field(0).AsText();
            if (finding != "ok") {
                result.problems.push_back(finding);
            }
        }
        rs.Open(connection, "PRAGMA foreign_key_check");
        for (; !rs.IsEOF() && result.orphans.size() < IntegrityFindingsShown; rs.MoveNext()) {
            result.orphans.push_back(rs.Field(0).AsText() + " row " + rs.Field(1).AsText() +
                                     " refers to a missing " + rs.Field(2).AsText());
        }
        result.ran = true;
    } catch (const std::exception& e) {
        // A file damaged badly enough fails the check itself.
        result.error = e.what();
    }
    return result;
}

std::vector<std::string> IntegrityLines(const IntegrityResult& result) {
    std::vector<std::string> lines;
    if (!result.ran) {
        lines.push_back(ProblemLine("Integrity check", "could not be run: " + result.error));
        lines.push_back(SalvageAdvice());
        return lines;
    }
    AddCheck(lines, "Integrity check", result.problems, " problems found");
    AddCheck(lines, "Foreign key check", result.orphans, " rows refer to missing rows");
    if (!result.problems.empty()) {
        lines.push_back(SalvageAdvice());
    }
    return lines;
}

std::string SalvageAdvice() {
    return ProblemLine("Salvage recommended",
                       "run 'ostrand-cli salvage', or choose \"Salvage a damaged database\" in "
                       "the maintenance wizard, to read every row that can still be read into a "
                       "new database; the damaged one is kept");
}

} // namespace maintenance
