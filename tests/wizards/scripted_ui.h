#pragma once
// The windows' UI services with every question pre-answered, so tests never
// block on a modal box. Events are still pumped for real: the windows must
// repaint and stay consistent while work runs.

#include "wizards/wizard_ui.h"

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace wizardtest {

struct AskedBox {
    std::string text;
    util::Buttons buttons;
    std::string title;
};

class ScriptedUi : public wizards::WizardUi {
public:
    // Runs `onEvents` each time the core lets events through: the moment to
    // look at a window in the middle of its work.
    void DoEvents() override {
        if (onEvents) {
            onEvents();
        }
        wizards::WizardUi::DoEvents();
    }
    // Answers from `answers` first, then OK or Yes.
    util::Answer MessageBox(const std::string& text, util::Buttons buttons, util::Icon,
                            const std::string& title) override {
        boxes.push_back({text, buttons, title});
        if (answers.empty()) {
            return buttons == util::Buttons::OK || buttons == util::Buttons::OKCancel
                       ? util::Answer::OK
                       : util::Answer::Yes;
        }
        const util::Answer a = answers.front();
        answers.pop_front();
        return a;
    }
    std::optional<std::string> BrowseFolder(QWidget*, const std::string&,
                                            const std::string&) override {
        return folderAnswer;
    }
    std::optional<std::string> ChooseOpenFile(QWidget*, const std::string&, const std::string&,
                                              const std::string&) override {
        return openAnswer;
    }
    std::optional<std::string> ChooseSaveFile(QWidget*, const std::string&,
                                              const std::string&) override {
        return std::nullopt;
    }

    std::function<void()> onEvents;
    std::deque<util::Answer> answers;
    std::vector<AskedBox> boxes;
    std::optional<std::string> folderAnswer, openAnswer;
    std::vector<std::string> opened; // what went to the desktop's viewer

protected:
    bool LaunchViewer(const std::string& path) override {
        opened.push_back(path);
        return true;
    }
};

} // namespace wizardtest
