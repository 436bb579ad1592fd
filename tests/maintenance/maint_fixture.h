#pragma once
// The database layer's scratch folder (run log open, empty database), read
// back line by line as the maintenance reports are checked.

#include "db/db_fixture.h"
#include "startup/registry.h"
#include "support/temp_dir.h"
#include "util/services.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace mainttest {

// The lines of a text ended by CR LF, without their ends.
inline std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find("\r\n", start), text.size());
        lines.push_back(text.substr(start, end - start));
        start = end + 2;
    }
    return lines;
}

// Notes each box and the busy pointer, answers a question of OK and Cancel
// with `answer`, and runs `onEvents` at each hand-over to the window events.
class ScriptedUi : public util::UiServices {
public:
    util::Answer MessageBox(const std::string& text, util::Buttons buttons, util::Icon icon,
                            const std::string& title) override {
        boxes.push_back({text, buttons, icon, title});
        return buttons == util::Buttons::OKCancel ? answer : util::Answer::OK;
    }
    void SetBusy(bool on) override { busy.push_back(on); }
    void DoEvents() override {
        if (onEvents) {
            onEvents();
        }
    }

    struct Box {
        std::string text;
        util::Buttons buttons;
        util::Icon icon;
        std::string title;
    };
    util::Answer answer = util::Answer::OK;
    std::vector<Box> boxes;
    std::vector<bool> busy;
    std::function<void()> onEvents;
};

class MaintTest : public dbtest::DbTest {
protected:
    // The log's lines so far; also after the log was closed.
    std::vector<std::string> LogLines() { return SplitLines(Log()); }

    // Garbles page `page` (counted from 1) of the database file as a failing
    // disk would: all of it, only what follows its header's first 8 bytes,
    // or, given a leaf's `cell`, that row's record, leaving a page that reads.
    void SpoilPage(int64_t page, const std::string& over = "", int cell = -1) {
        constexpr size_t PageSize = 4096;
        std::string bytes = testsupport::ReadFile(dbFile);
        const size_t at = static_cast<size_t>(page - 1) * PageSize;
        if (over.empty()) {
            bytes.replace(at, PageSize, PageSize, '\x13');
        } else if (cell < 0) {
            bytes.replace(at + 8, over.size(), over);
        } else {
            // The cell's pointer; in the cell, a length of 1 byte and a row number of 2.
            const auto byte = [&](size_t i) { return static_cast<unsigned char>(bytes[at + i]); };
            const size_t pointer = 8 + 2 * static_cast<size_t>(cell);
            bytes.replace(at + (byte(pointer) << 8 | byte(pointer + 1)) + 3, over.size(), over);
        }
        testsupport::WriteFile(dbFile, bytes);
    }
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
