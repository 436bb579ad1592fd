#pragma once
// A scratch program folder with the run log open on it and an empty database
// file, for the maintenance tests.

#include "db/connection.h"
#include "startup/run_settings.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
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

class MaintTest : public ::testing::Test {
protected:
    void SetUp() override {
        settings.AppPath = dir.str();
        settings.LogFileNo =
            startup::OpenLogFile(settings.Files, (dir / "Ostrand.log").string(), 1, 0);
        ASSERT_NE(settings.LogFileNo, 0);
        dbFile = (dir / "Ketrova.mdb").string();
        std::string error;
        ASSERT_TRUE(db::CreateDatabaseFile(dbFile, error)) << error;
        connection.Open(dbFile);
    }

    // The log's lines so far, without their CR LF; the log stays open.
    std::vector<std::string> LogLines() {
        if (settings.LogFileNo != 0) {
            std::fflush(settings.Files.Get(settings.LogFileNo));
        }
        return SplitLines(testsupport::ReadFile(dir / "Ostrand.log"));
    }

    void Exec(const std::string& sql) { connection.Execute(sql); }
    db::Value Scalar(const std::string& sql) { return connection.Scalar(sql); }

    testsupport::TempDir dir;
    startup::RunSettings settings;
    std::string dbFile;
    db::Connection connection;
};

} // namespace mainttest
