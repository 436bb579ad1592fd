#pragma once
// The user-interface services every window shares: the core's UiServices
// answered with Qt (event pumping, the busy pointer, message boxes), plus what
// only the windows ask for: the folder and file dialogs and the viewer of the
// report and the help pages. Tests derive from it to pre-answer questions
// instead of clicking through modal boxes.

#include "util/services.h"

#include <QPointer>

#include <optional>
#include <string>
#include <vector>

class QWidget;

namespace wizards {

class WizardUi : public util::UiServices {
public:
    ~WizardUi() override;

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
    // An existing file chosen to open, starting at `start`, offered by the
    // Qt name filter `filter`; nullopt when cancelled.
    virtual std::optional<std::string> ChooseOpenFile(QWidget* parent, const std::string& title,
                                                      const std::string& start,
                                                      const std::string& filter);
    // A file name chosen to save under, starting at `start`; nullopt when cancelled.
    virtual std::optional<std::string> ChooseSaveFile(QWidget* parent, const std::string& title,
                                                      const std::string& start);
    // The one way the report and the help pages are shown: in the desktop's
    // viewer, else in a window of Ostrand's own, so the user always sees them.
    virtual void OpenDocument(const std::string& path);
    // True while a window of Ostrand's own shows a document; the program
    // must not end under it.
    bool ShowingDocument() const;

    // The window that message boxes belong to (none: they float).
    void SetOwner(QWidget* owner) { owner_ = owner; }
    QWidget* Owner() const { return owner_; }

protected:
    // Hands the document to the desktop's viewer; false when none took it.
    virtual bool LaunchViewer(const std::string& path);

private:
    QWidget* owner_ = nullptr;
    std::vector<QPointer<QWidget>> viewers_;
    int busyDepth_ = 0;
};

} // namespace wizards
