#pragma once
// The user-interface services every window shares: the core's UiServices
// answered with Qt (event pumping, the busy pointer, message boxes), plus what
// only the windows ask for: the folder dialog and the help viewer. Tests
// derive from it to pre-answer questions instead of clicking through modal
// boxes.

#include "util/services.h"

#include <optional>
#include <string>

class QWidget;

namespace wizards {

class WizardUi : public util::UiServices {
public:
    // Repaints and takes input between steps of long work; the windows disable
    // their buttons first, so this never re-enters a run.
    void DoEvents() override;
    // Nests: the pointer returns only when every SetBusy(true) has been undone.
    void SetBusy(bool busy) override;
    util::Answer MessageBox(const std::string& text, util::Buttons buttons, util::Icon icon,
                            const std::string& title) override;

    // A folder chosen by the user, starting at `start`; nullopt when cancelled.
    virtual std::optional<std::string> BrowseFolder(QWidget* parent, const std::string& title,
                                                    const std::string& start);
    // Shows a help page (or any document) in the desktop's viewer.
    virtual void OpenDocument(const std::string& path);

    // The window that message boxes belong to (none: they float).
    void SetOwner(QWidget* owner) { owner_ = owner; }
    QWidget* Owner() const { return owner_; }

private:
    QWidget* owner_ = nullptr;
    int busyDepth_ = 0;
};

} // namespace wizards
