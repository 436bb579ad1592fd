#pragma once
// The page flow all three wizards share: page frames `fraWiz` of which one is
// visible, a row of `cmdAction` buttons whose tags hold command words, and the
// reset that enables the buttons and puts one of three faces on the main
// action button. A pressed button runs the procedure registered for its tag;
// a word nobody registered does nothing, so a page can park a button on a
// harmless word.

#include "maintenance/diagnostics.h"
#include "startup/run_settings.h"
#include "wizards/wizard_ui.h"

#include <QHash>
#include <QString>
#include <QWidget>

#include <functional>
#include <string>
#include <vector>

class QFrame;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QVBoxLayout;

namespace wizards {

// Where the failure pages send users: the same desk the troubleshooting report names.
inline constexpr const char* kSupportContact = maintenance::SupportAddress;

// The failure text of a wizard's last page: its first sentence, then where
// the run log lies, naming its folder exactly as RunLogFolder gives it (the
// program folder, AppPath, in a portable home).
QString FailureText(const QString& firstSentence, const std::string& logFolder);

// The closing sentences of every success page.
QString BackupAdvice();

// The line that tells where the copy of the database taken before the
// operation lies; "" when none was taken.
QString SafetyCopyNote(const std::string& safetyCopy);

// A success page: the first sentence, the backup advice, and where the
// safety copy lies.
QString SuccessPageText(const QString& firstSentence, const std::string& safetyCopy);

// A failure page: FailureText, then the cause (the last error line of the run
// log just closed, so that the user need not open it to learn what went
// wrong), and where the safety copy lies.
QString FailurePageText(const QString& firstSentence, const startup::RunSettings& settings,
                        const std::string& safetyCopy);

// The help page of a window's topic: in the shipped data's "help" folder
// (DataFolder), else beside the executable, where the build puts it (a
// program folder set by KETROVA_HOME may hold only the suite's data).
std::string HelpPage(const std::string& dataPath, const std::string& topic);

// Opens the run log afresh for one operation and keeps its number
// in LogFileNo; closes it and sets LogFileNo back to 0 on every way out. A log
// that cannot be opened leaves LogFileNo at 0 and the operation runs without.
class RunLogScope {
public:
    explicit RunLogScope(startup::RunSettings& settings);
    ~RunLogScope();
    RunLogScope(const RunLogScope&) = delete;
    RunLogScope& operator=(const RunLogScope&) = delete;

private:
    startup::RunSettings& settings_;
};

class WizardWindow : public QWidget {
    Q_OBJECT
public:
    // Faces of the main action button.
    static constexpr int16_t FaceNext = 0;
    static constexpr int16_t FaceStart = 2;
    static constexpr int16_t FaceSuccess = 3;
    static constexpr int16_t FaceFailure = 4;

    static constexpr int HelpButton = 0;
    static constexpr int CancelButton = 1;
    static constexpr int BackButton = 2;
    static constexpr int ActionButton = 3;

    WizardWindow(startup::RunSettings& settings, WizardUi& ui, const QString& formName,
                 const QString& caption, int pageCount, const QString& helpTopic,
                 QWidget* parent = nullptr);
    ~WizardWindow() override;

    // flag1 enables the back button, flag2 the action button, flag3 button 0;
    // every page is hidden; the action button takes the face: 0 "&Next",
    // 2 "&Start", 3 "&Finish" with tag "EXIT", 4 "&Finish" with tag "FAILED".
    void ResetAll(bool flag1, bool flag2, bool flag3, int16_t face);

    QFrame* Page(int index) const;
    int PageCount() const { return static_cast<int>(pages_.size()); }
    // Shows one page (hiding the others) and its heading, and puts the
    // focus on the page's first control.
    void ShowPage(int index);
    // The visible page, -1 when none is.
    int VisiblePage() const;

    QPushButton* Button(int index) const;
    QString Tag(int index) const;
    void SetTag(int index, const QString& word);
    // The picture style of the action button's face: "NEXT", "START" or "FINISH".
    QString FaceStyle() const;

    // True while an operation runs: every button is off and the window stays open.
    bool Running() const { return running_; }

    // What a press of a button with this tag does; unknown words do nothing.
    void RunCommand(const QString& word);

    // Once the window is on screen, the network-share warning for the
    // database folder it works on.
    void WarnAboutFolderWhenShown(const std::string& folder) { folderToCheck_ = folder; }

protected:
    void Register(const QString& word, std::function<void()> procedure);

    // Runs long work with every button disabled and closing refused, so that
    // nothing can be pressed twice while the work lets events through. Cancel
    // is given back afterwards; the page's reset decides the rest.
    void RunLocked(const std::function<void()>& work);
    // RunLocked with the run log open around it (RunLogScope). Whatever
    // escapes `operation` counts as its failure: the user must land on the
    // failure page, which with the log carries the cause.
    bool RunLogged(const std::function<bool()>& operation);

    // Page building: the page's heading and its column of widgets.
    void SetPageHeading(int index, const QString& heading);
    QVBoxLayout* PageLayout(int index) const;
    // A wrapped text label added to a page; `description` says what it is
    // for to a screen reader (a page's own text when none is given).
    QLabel* AddText(int index, const QString& text, const QString& objectName = {},
                    const QString& description = {});
    // A folder box with a browse button beside it that runs `word`; the box
    // is called `folderName` to a screen reader.
    QLineEdit* AddFolderRow(int index, const QString& editName, const QString& buttonName,
                            const QString& word, const QString& folderName = {});
    // The caption, progress bar and status line of a page that runs an operation.
    struct RunWidgets {
        QLabel* caption = nullptr;
        QProgressBar* bar = nullptr;
        QLabel* status = nullptr;
        // Out of sight until the run starts.
        void Hide() const;
        // In sight as the run starts: at 0, without a status.
        void ShowEmpty() const;
    };
    RunWidgets AddRunWidgets(int index, const QString& caption);

    void OpenHelp();
    // Warns when `folder` is on a network file system, once per run.
    void WarnIfOnNetworkShare(const std::string& folder);
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    // Enter presses the action button; Esc goes back, or cancels where the
    // page has no way back.
    void keyPressEvent(QKeyEvent* event) override;

    startup::RunSettings& settings_;
    WizardUi& ui_;

private:
    void OnButton(int index);
    void FocusPage(QFrame* page);

    QString helpTopic_;
    QLabel* heading_ = nullptr;
    std::vector<QFrame*> pages_;
    std::vector<QPushButton*> buttons_;
    QHash<QString, std::function<void()>> commands_;
    bool running_ = false;
    std::string folderToCheck_;
};

} // namespace wizards
