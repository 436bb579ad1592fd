#include "wizards/wizard_ui.h"

#include "platform/process.h"
#include "wizards/text_viewer.h"

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>

#include <algorithm>

namespace wizards {

namespace {

// What a file dialog answered: nothing when the user cancelled it.
std::optional<std::string> Chosen(const QString& name) {
    if (name.isEmpty()) {
        return std::nullopt;
    }
    return name.toStdString();
}

} // namespace

void WizardUi::DoEvents() {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
}

void WizardUi::SetBusy(bool busy) {
    if (busy) {
        QApplication::setOverrideCursor(Qt::WaitCursor);
        ++busyDepth_;
    } else if (busyDepth_ > 0) {
        QApplication::restoreOverrideCursor();
        --busyDepth_;
    }
}

util::Answer WizardUi::MessageBox(const std::string& text, util::Buttons buttons, util::Icon icon,
                                  const std::string& title) {
    QMessageBox box(owner_);
    box.setWindowTitle(QString::fromStdString(title));
    box.setText(QString::fromStdString(text));
    switch (icon) {
    case util::Icon::None:
        box.setIcon(QMessageBox::NoIcon);
        break;
    case util::Icon::Information:
        box.setIcon(QMessageBox::Information);
        break;
    case util::Icon::Question:
        box.setIcon(QMessageBox::Question);
        break;
    case util::Icon::Exclamation:
        box.setIcon(QMessageBox::Warning);
        break;
    case util::Icon::Critical:
        box.setIcon(QMessageBox::Critical);
        break;
    }
    switch (buttons) {
    case util::Buttons::OK:
        box.setStandardButtons(QMessageBox::Ok);
        box.setEscapeButton(QMessageBox::Ok);
        break;
    case util::Buttons::OKCancel:
        box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
        box.setDefaultButton(QMessageBox::Ok);
        box.setEscapeButton(QMessageBox::Cancel);
        break;
    case util::Buttons::YesNo:
    case util::Buttons::YesNoDefaultNo:
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        box.setDefaultButton(buttons == util::Buttons::YesNo ? QMessageBox::Yes : QMessageBox::No);
        box.setEscapeButton(QMessageBox::No);
        break;
    }
    // A question asked while the busy pointer shows must still look clickable.
    const bool busy = busyDepth_ > 0;
    if (busy) {
        QApplication::setOverrideCursor(Qt::ArrowCursor);
    }
    const int pressed = box.exec();
    if (busy) {
        QApplication::restoreOverrideCursor();
    }
    switch (pressed) {
    case QMessageBox::Cancel:
        return util::Answer::Cancel;
    case QMessageBox::Yes:
        return util::Answer::Yes;
    case QMessageBox::No:
        return util::Answer::No;
    default:
        return util::Answer::OK;
    }
}

std::optional<std::string> WizardUi::BrowseFolder(QWidget* parent, const std::string& title,
                                                  const std::string& start) {
    return Chosen(QFileDialog::getExistingDirectory(parent, QString::fromStdString(title),
                                                    QString::fromStdString(start),
                                                    QFileDialog::ShowDirsOnly));
}

std::optional<std::string> WizardUi::ChooseOpenFile(QWidget* parent, const std::string& title,
                                                    const std::string& start,
                                                    const std::string& filter) {
    return Chosen(QFileDialog::getOpenFileName(parent, QString::fromStdString(title),
                                               QString::fromStdString(start),
                                               QString::fromStdString(filter)));
}

std::optional<std::string> WizardUi::ChooseSaveFile(QWidget* parent, const std::string& title,
                                                    const std::string& start) {
    return Chosen(QFileDialog::getSaveFileName(parent, QString::fromStdString(title),
                                               QString::fromStdString(start)));
}

WizardUi::~WizardUi() {
    for (const QPointer<QWidget>& viewer : viewers_) {
        delete viewer.data();
    }
}

void WizardUi::OpenDocument(const std::string& path) {
    if (LaunchViewer(path)) {
        return;
    }
    auto* viewer = new TextViewer(path, *this);
    viewers_.emplace_back(viewer);
    viewer->show();
    viewer->raise();
    viewer->activateWindow();
}

bool WizardUi::ShowingDocument() const {
    return std::any_of(viewers_.begin(), viewers_.end(), [](const QPointer<QWidget>& viewer) {
        return viewer && viewer->isVisible();
    });
}

bool WizardUi::LaunchViewer(const std::string& path) {
    // The window stays responsive while the opener makes up its mind.
    return platform::OpenDocument(path, std::chrono::seconds(3), [this] { DoEvents(); });
}

} // namespace wizards
