#pragma once
// The database layer's scratch folder (run log open, empty database), read
// back line by line as the maintenance reports are checked.

#include "db/db_fixture.h"

#include <string>
#include <vector>

namespace mainttest {

// The lines of a text ended by CR LF, without their ends.
inline std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find("\r\n", start);
        if (end == std::string::npos) {
            lines.push_back(text.substr(start));
            break;
        }
        lines.push_back(text.substr(start, end - start));
        start = end + 2;
    }
    return lines;
}

class MaintTest : public dbtest::DbTest {
protected:
    // The log's lines so far; also after the log was closed.
    std::vector<std::string> LogLines() { return SplitLines(Log()); }
};

} // namespace mainttest
