#pragma once
// The database layer's scratch folder (run log open, empty database), read
// back line by line as the maintenance reports are checked.

#include "db/db_fixture.h"
#include "startup/registry.h"
#include "support/temp_dir.h"

#include <filesystem>

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

// For ostrand-cli runs: a program folder and a current database in a data
// folder registered as "Default", open on `connection` until the test closes it.
class CliTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* sub : {"home", "data", "tmp"}) {
            std::filesystem::create_directory(dir / sub);
        }
        platform::RegistryStore reg(dir.str() + "registry.reg");
        startup::RegWriteString(reg, startup::DatabasesKey, "Default", data);
        std::string error;
        ASSERT_TRUE(db::CreateDatabaseFile(data + "Ketrova.mdb", error)) << error;
        testsupport::WriteFile(data + "Version", "9\r\n");
        connection.Open(data + "Ketrova.mdb");
    }
    testsupport::TempDir dir;
    const std::string home = dir.str() + "home/", data = dir.str() + "data/";
    db::Connection connection;
};

} // namespace mainttest
