#pragma once
// A scratch folder with a run log open on it and an empty database, for the
// tests of the database layer.

#include "db/connection.h"
#include "startup/run_settings.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <string>

namespace dbtest {

class DbTest : public ::testing::Test {
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

    // Everything logged so far; the log stays open for more.
    std::string Log() {
        std::fflush(settings.Files.Get(settings.LogFileNo));
        return testsupport::ReadFile(dir / "Ostrand.log");
    }

    void Exec(const std::string& sql) { connection.Execute(sql); }
    db::Value Scalar(const std::string& sql) { return connection.Scalar(sql); }

    testsupport::TempDir dir;
    startup::RunSettings settings;
    std::string dbFile;
    db::Connection connection;
};

} // namespace dbtest
