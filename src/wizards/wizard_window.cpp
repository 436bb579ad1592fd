#include "wizards/wizard_window.h"

#include "platform/environment.h"
#include "startup/network_share.h"
#include "startup/run_log.h"
#include "util/paths.h"
#include "wizards/access.h"
#include "wizards/pictures.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <utility>

namespace wizards {

namespace {

constexpr int kBannerWidth = 150;
constexpr int kWindowWidth = 640;
constexpr int kWindowHeight = 430;

const char* const kTagProperty = "tag";
const char* const kStyleProperty = "faceStyle";
const char* const kHeadingProperty = "heading";

// The picture down the left of every page, drawn to whatever height the window gives it.
class Banner : public QWidget {
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent*) override {
        if (picture_.isNull() || picture_.deviceIndependentSize().toSize() != size()) {
            picture_ = BannerPicture(width(), height());
        }
        QPainter(this).drawPixmap(0, 0, picture_);
    }

private:
    QPixmap picture_;
};

} // namespace

QString FailureText(const QString& firstSentence, const std::string& logFolder) {
    return firstSentence + "\n\n" +
           QCoreApplication::translate(
               "wizards::WizardWindow",
               "A log has been created that can be used for troubleshooting the problem. Please "
               "contact %1 for assistance or you can view the log file called Ostrand.log "
               "located in the %2 directory.")
               .arg(QString(kSupportContact), QString::fromStdString(logFolder));
}

QString BackupAdvice() {
    return QCoreApplication::translate(
        "wizards::WizardWindow",
        "Performing regular backups will help prevent data loss in the future due to disk "
        "failures or computer problems. Please read the help file for more information "
        "about database backups.");
}

QString SafetyCopyNote(const std::string& safetyCopy) {
    return safetyCopy.empty()
               ? QString()
               : "\n\n" + QCoreApplication::translate("wizards::WizardWindow", "Safety copy: %1")
                              .arg(QString::fromStdString(safetyCopy));
}

QString SuccessPageText(const QString& firstSentence, const std::string& safetyCopy) {
    return firstSentence + "\n\n" + BackupAdvice() + SafetyCopyNote(safetyCopy);
}

QString FailurePageText(const QString& firstSentence, const startup::RunSettings& settings,
                        const std::string& safetyCopy) {
    QString text = FailureText(firstSentence, startup::RunLogFolder(settings));
    const std::string cause = startup::LastErrorLine(startup::RunLogPath(settings));
    if (!cause.empty()) {
        text += "\n\n" + QCoreApplication::translate("wizards::WizardWindow", "Cause: %1")
                             .arg(QString::fromStdString(cause));
    }
    return text + SafetyCopyNote(safetyCopy);
}

std::string HelpPage(const std::string& dataPath, const std::string& topic) {
    const std::string page = "help/" + topic + ".html";
    if (util::FileExists(dataPath + page)) {
        return dataPath + page;
    }
    const std::string besideProgram = platform::ExecutableFolder() + page;
    return util::FileExists(besideProgram) ? besideProgram : dataPath + page;
}

RunLogScope::RunLogScope(startup::RunSettings& settings) : settings_(settings) {
    settings_.LogFileNo =
        startup::OpenLogFile(settings_.Files, startup::RunLogPath(settings_), 1, 0);
}

RunLogScope::~RunLogScope() {
    startup::CloseFile(settings_.Files, settings_.LogFileNo);
    settings_.LogFileNo = 0;
}

WizardWindow::WizardWindow(startup::RunSettings& settings, WizardUi& ui, const QString& formName,
                           const QString& caption, int pageCount, const QString& helpTopic,
                           QWidget* parent)
    : QWidget(parent, Qt::Window), settings_(settings), ui_(ui), helpTopic_(helpTopic) {
    setObjectName(formName);
    setWindowTitle(caption);
    // The layouts set the least size; larger fonts, a scaled screen or a
    // longer translation make it grow instead of pushing controls out.
    resize(kWindowWidth, kWindowHeight);

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);

    auto* body = new QHBoxLayout;
    body->setContentsMargins(0, 0, 0, 0);
    body->setSpacing(0);
    auto* banner = new Banner(this);
    banner->setObjectName("imgBanner");
    banner->setFixedWidth(kBannerWidth);
    Describe(banner, tr("Ketrova"),
             tr("A database before the houses of a town: the picture of the Ketrova wizards"));
    body->addWidget(banner);

    auto* right = new QVBoxLayout;
    right->setContentsMargins(22, 18, 22, 12);
    right->setSpacing(12);
    heading_ = new QLabel(this);
    heading_->setObjectName("lblTopMessage");
    QFont headingFont = heading_->font();
    headingFont.setPointSizeF(headingFont.pointSizeF() * 1.35);
    headingFont.setBold(true);
    heading_->setFont(headingFont);
    heading_->setWordWrap(true);
    Describe(heading_, {}, tr("The heading of the page"));
    right->addWidget(heading_);

    // The pages share one cell, so each replaces the other in the same place.
    // A page longer than the window (a long path, a long cause of a failure)
    // scrolls rather than spilling over the buttons.
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setFocusPolicy(Qt::NoFocus);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // Room for a usual page whole at the least size, measured in the window's
    // font so that it grows with the font.
    const QFontMetrics metrics(font());
    scroll->setMinimumSize(metrics.averageCharWidth() * 48, metrics.lineSpacing() * 12);
    auto* pageArea = new QWidget(scroll);
    auto* stack = new QGridLayout(pageArea);
    stack->setContentsMargins(0, 0, 0, 0);
    for (int i = 0; i < pageCount; ++i) {
        auto* page = new QFrame(pageArea);
        page->setObjectName(QString("fraWiz_%1").arg(i));
        auto* column = new QVBoxLayout(page);
        column->setContentsMargins(0, 0, 0, 0);
        column->setSpacing(10);
        page->hide();
        stack->addWidget(page, 0, 0);
        pages_.push_back(page);
    }
    scroll->setWidget(pageArea);
    pageArea->setAutoFillBackground(false); // the window's own colour shows through
    right->addWidget(scroll, 1);
    body->addLayout(right, 1);
    outer->addLayout(body, 1);

    auto* rule = new QFrame(this);
    rule->setFrameShape(QFrame::HLine);
    rule->setFrameShadow(QFrame::Sunken);
    outer->addWidget(rule);

    auto* row = new QHBoxLayout;
    row->setContentsMargins(12, 10, 12, 12);
    row->setSpacing(8);
    const QString captions[] = {tr("&Help"), tr("&Cancel"), tr("&Previous"), tr("&Next")};
    const QString tags[] = {"HELP", "CANCEL", "", ""};
    for (int i = 0; i < 4; ++i) {
        auto* button = new QPushButton(captions[i], this);
        button->setObjectName(QString("cmdAction_%1").arg(i));
        button->setProperty(kTagProperty, tags[i]);
        button->setMinimumWidth(96);
        // A button that has the focus takes Enter itself, as in a dialog.
        button->setAutoDefault(true);
        connect(button, &QPushButton::clicked, this, [this, i] { OnButton(i); });
        buttons_.push_back(button);
    }
    buttons_[BackButton]->setIcon(FacePicture("PREVIOUS"));
    buttons_[ActionButton]->setDefault(true);
    Describe(buttons_[HelpButton], {}, tr("Opens the help page of this wizard"));
    Describe(buttons_[CancelButton], {}, tr("Closes the wizard without going on"));
    Describe(buttons_[BackButton], {}, tr("Goes back to the page before"));
    row->addWidget(buttons_[HelpButton]);
    row->addStretch(1);
    row->addWidget(buttons_[BackButton]);
    row->addWidget(buttons_[ActionButton]);
    row->addSpacing(10);
    row->addWidget(buttons_[CancelButton]);
    outer->addLayout(row);

    KeepLeastHeightForWidth(this);
    ui_.SetOwner(this);
    Register("HELP", [this] { OpenHelp(); });
}

WizardWindow::~WizardWindow() {
    if (ui_.Owner() == this) {
        ui_.SetOwner(nullptr);
    }
}

void WizardWindow::ResetAll(bool flag1, bool flag2, bool flag3, int16_t face) {
    buttons_[BackButton]->setEnabled(flag1);
    buttons_[ActionButton]->setEnabled(flag2);
    buttons_[HelpButton]->setEnabled(flag3);
    for (QFrame* page : pages_) {
        page->hide();
    }
    QPushButton* action = buttons_[ActionButton];
    QString style;
    QString description;
    switch (face) {
    case FaceNext:
        action->setText(tr("&Next"));
        action->setProperty(kTagProperty, QString("NEXT"));
        style = "NEXT";
        description = tr("Goes on to the next page");
        break;
    case FaceStart:
        action->setText(tr("&Start"));
        action->setProperty(kTagProperty, QString("START"));
        style = "START";
        description = tr("Starts the work this page describes");
        break;
    case FaceSuccess:
        action->setText(tr("&Finish"));
        action->setProperty(kTagProperty, QString("EXIT"));
        style = "FINISH";
        description = tr("Finishes the wizard");
        break;
    case FaceFailure:
        action->setText(tr("&Finish"));
        action->setProperty(kTagProperty, QString("FAILED"));
        style = "FINISH";
        description = tr("Closes the wizard");
        break;
    default:
        return; // no such face: the button keeps the one it has
    }
    action->setProperty(kStyleProperty, style);
    action->setIcon(FacePicture(style));
    Describe(action, {}, description);
    // Arrows point the way the button leads, so "Next" carries its picture on the right.
    action->setLayoutDirection(style == "NEXT" ? Qt::RightToLeft : Qt::LeftToRight);
}

QFrame* WizardWindow::Page(int index) const {
    if (index < 0 || index >= PageCount()) {
        return nullptr;
    }
    return pages_[static_cast<size_t>(index)];
}

void WizardWindow::ShowPage(int index) {
    for (int i = 0; i < PageCount(); ++i) {
        pages_[static_cast<size_t>(i)]->setVisible(i == index);
    }
    if (QFrame* page = Page(index)) {
        heading_->setText(page->property(kHeadingProperty).toString());
        FocusPage(page);
    }
}

void WizardWindow::FocusPage(QFrame* page) {
    // The page's first control in the tab order, else the button that leads on,
    // so that typing, Tab and Space start where the page does. The order is
    // laid anew each time: a page may have gained controls since.
    SetTabOrderByLayout(this);
    for (QWidget* w = nextInFocusChain(); w != this; w = w->nextInFocusChain()) {
        if (page->isAncestorOf(w) && w->isVisibleTo(this) && w->isEnabled() &&
            (w->focusPolicy() & Qt::TabFocus)) {
            w->setFocus(Qt::OtherFocusReason);
            return;
        }
    }
    if (buttons_[ActionButton]->isEnabled()) {
        buttons_[ActionButton]->setFocus(Qt::OtherFocusReason);
    }
}

int WizardWindow::VisiblePage() const {
    for (int i = 0; i < PageCount(); ++i) {
        if (!pages_[static_cast<size_t>(i)]->isHidden()) {
            return i;
        }
    }
    return -1;
}

QPushButton* WizardWindow::Button(int index) const {
    if (index < 0 || index >= static_cast<int>(buttons_.size())) {
        return nullptr;
    }
    return buttons_[static_cast<size_t>(index)];
}

QString WizardWindow::Tag(int index) const {
    QPushButton* button = Button(index);
    return button ? button->property(kTagProperty).toString() : QString();
}

void WizardWindow::SetTag(int index, const QString& word) {
    if (QPushButton* button = Button(index)) {
        button->setProperty(kTagProperty, word);
    }
}

QString WizardWindow::FaceStyle() const {
    return buttons_[ActionButton]->property(kStyleProperty).toString();
}

void WizardWindow::RunCommand(const QString& word) {
    if (running_) {
        return;
    }
    const auto it = commands_.constFind(word.toUpper());
    if (it != commands_.constEnd()) {
        // A copy: the procedure may register or replace commands.
        const std::function<void()> procedure = it.value();
        procedure();
    }
}

void WizardWindow::Register(const QString& word, std::function<void()> procedure) {
    commands_.insert(word, std::move(procedure));
}

void WizardWindow::RunLocked(const std::function<void()>& work) {
    for (QPushButton* button : buttons_) {
        button->setEnabled(false);
    }
    running_ = true;
    struct Release {
        WizardWindow* window;
        ~Release() {
            window->running_ = false;
            window->buttons_[CancelButton]->setEnabled(true);
        }
    } release{this};
    work();
}

bool WizardWindow::RunLogged(const std::function<bool()>& operation) {
    bool ok = false;
    RunLocked([&] {
        RunLogScope log(settings_);
        try {
            ok = operation();
        } catch (...) {
            ok = false;
        }
    });
    return ok;
}

void WizardWindow::SetPageHeading(int index, const QString& heading) {
    if (QFrame* page = Page(index)) {
        page->setProperty(kHeadingProperty, heading);
        if (!page->isHidden()) {
            heading_->setText(heading);
        }
    }
}

QVBoxLayout* WizardWindow::PageLayout(int index) const {
    QFrame* page = Page(index);
    return page ? static_cast<QVBoxLayout*>(page->layout()) : nullptr;
}

QLabel* WizardWindow::AddText(int index, const QString& text, const QString& objectName,
                              const QString& description) {
    auto* label = new QLabel(text, Page(index));
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    // Paths and error texts on a page are for copying into a mail to support.
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    if (!objectName.isEmpty()) {
        label->setObjectName(objectName);
    }
    Describe(label, {}, description.isEmpty() ? tr("Text of the page") : description);
    PageLayout(index)->addWidget(label);
    return label;
}

QLineEdit* WizardWindow::AddFolderRow(int index, const QString& editName, const QString& buttonName,
                                      const QString& word, const QString& folderName) {
    auto* row = new QHBoxLayout;
    row->setSpacing(6);
    auto* edit = new QLineEdit(Page(index));
    edit->setObjectName(editName);
    Describe(edit, folderName, tr("The folder's path, typed or chosen with Browse"));
    auto* browse = new QPushButton(tr("&Browse..."), Page(index));
    browse->setObjectName(buttonName);
    browse->setAutoDefault(true);
    Describe(browse, {}, tr("Chooses the folder in a folder dialog"));
    connect(browse, &QPushButton::clicked, this, [this, word] { RunCommand(word); });
    row->addWidget(edit, 1);
    row->addWidget(browse);
    PageLayout(index)->addLayout(row);
    return edit;
}

WizardWindow::RunWidgets WizardWindow::AddRunWidgets(int index, const QString& caption) {
    RunWidgets w;
    w.caption = AddText(index, caption, "lblDBCreate", tr("What the progress bar below shows"));
    w.bar = new QProgressBar(Page(index));
    w.bar->setObjectName("pgbMakeDB");
    w.bar->setRange(0, 100);
    w.bar->setValue(0);
    w.bar->setTextVisible(true);
    Describe(w.bar, tr("Progress"), tr("How far the work has come, in percent"));
    PageLayout(index)->addWidget(w.bar);
    w.status = AddText(index, {}, "lblCreateStatus", tr("The step the work is at"));
    return w;
}

void WizardWindow::RunWidgets::Hide() const {
    caption->hide();
    bar->hide();
    status->hide();
}

void WizardWindow::RunWidgets::ShowEmpty() const {
    caption->show();
    bar->setValue(0);
    bar->show();
    status->clear();
    status->show();
}

void WizardWindow::OpenHelp() {
    ui_.OpenDocument(HelpPage(startup::DataFolder(settings_), helpTopic_.toStdString()));
}

void WizardWindow::WarnIfOnNetworkShare(const std::string& folder) {
    const std::string warning = startup::TakeNetworkShareWarning(settings_, folder);
    if (!warning.empty()) {
        ui_.MessageBox(warning, util::Buttons::OK, util::Icon::Exclamation,
                       windowTitle().toStdString());
    }
}

void WizardWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!folderToCheck_.empty()) {
        // After the window is up, so the warning has a window to stand over.
        QMetaObject::invokeMethod(
            this,
            [this, folder = std::exchange(folderToCheck_, {})] { WarnIfOnNetworkShare(folder); },
            Qt::QueuedConnection);
    }
}

void WizardWindow::closeEvent(QCloseEvent* event) {
    if (running_) {
        event->ignore(); // the operation must finish and close its log first
        return;
    }
    QWidget::closeEvent(event);
}

void WizardWindow::keyPressEvent(QKeyEvent* event) {
    switch (ReadWindowKey(event)) {
    case WindowKey::Enter:
        if (buttons_[ActionButton]->isEnabled()) {
            buttons_[ActionButton]->click();
        }
        return;
    case WindowKey::Escape:
        // Back where the page leads back somewhere, else Cancel; while work
        // runs both are off, and after it the page's reset says which is on.
        if (buttons_[BackButton]->isEnabled() && commands_.contains(Tag(BackButton).toUpper())) {
            buttons_[BackButton]->click();
        } else if (buttons_[CancelButton]->isEnabled()) {
            buttons_[CancelButton]->click();
        }
        return;
    case WindowKey::Other:
        break;
    }
    QWidget::keyPressEvent(event);
}

void WizardWindow::OnButton(int index) {
    RunCommand(Tag(index));
}

} // namespace wizards
