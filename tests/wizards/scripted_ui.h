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
    util::Icon icon;
    std::string title;
};

class ScriptedUi : public wizards::WizardUi {
public:
    // Runs `onEvents` each time the core lets events through: the moment to
    // look at a window in the middle of its work.
    void DoEvents() override {
        ++eventPumps;
        if (onEvents) {
            onEvents();
        }
        wizards::WizardUi::DoEvents();
    }
    util::Answer MessageBox(const std::string& text, util::Buttons buttons, util::Icon icon,
                            const std::string& title) override {
        boxes.push_back({text, buttons, icon, title});
        if (!answers.empty()) {
            const util::Answer a = answers.front();
            answers.pop_front();
            return a;
        }
        return buttons == util::Buttons::OK || buttons == util::Buttons::OKCancel
                   ? util::Answer::OK
                   : util::Answer::Yes;
    }
    std::optional<std::string> BrowseFolder(QWidget*, const std::string& title,
                                            const std::string& start) override {
        folderTitles.push_back(title);
        folderStarts.push_back(start);
        return folderAnswer;
    }
    std::optional<std::string> ChooseOpenFile(QWidget*, const std::string& title,
                                              const std::string&, const std::string&) override {
        fileTitles.push_back(title);
        return openAnswer;
    }
    std::optional<std::string> ChooseSaveFile(QWidget*, const std::string&,
                                              const std::string&) override {
        return saveAnswer;
    }

    std::function<void()> onEvents;
    int eventPumps = 0;
    std::deque<util::Answer> answers;
    std::vector<AskedBox> boxes;
    std::optional<std::string> folderAnswer;
    std::vector<std::string> folderTitles;
    std::vector<std::string> folderStarts;
    std::vector<std::string> opened; // what went to the desktop's viewer
    bool viewerTakes = true;         // false: no viewer on this desktop
    std::optional<std::string> saveAnswer;
    std::optional<std::string> openAnswer;
    std::vector<std::string> fileTitles;

protected:
    bool LaunchViewer(const std::string& path) override {
        opened.push_back(path);
        return viewerTakes;
    }
};

} // namespace wizardtest
