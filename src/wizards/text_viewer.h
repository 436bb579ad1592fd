#pragma once
// Ostrand's own window for the troubleshooting report and the help pages,
// shown when the desktop has no viewer that opens them, so the user always
// sees them. Read-only; Save writes a copy of the file where the user wants
// it, Copy puts the whole text on the clipboard for an e-mail to support.

#include <QWidget>

#include <string>

class QPushButton;
class QTextBrowser;

namespace wizards {

class WizardUi;

class TextViewer : public QWidget {
    Q_OBJECT
public:
    // Shows `path`: HTML help pages as formatted text, anything else as plain text.
    TextViewer(const std::string& path, WizardUi& ui, QWidget* parent = nullptr);

    const std::string& Path() const { return path_; }
    // The text as shown (and as Copy puts it on the clipboard).
    QString Text() const;

    void Save();
    void Copy();

protected:
    // Enter and Esc close the window, as they would a dialog with one button.
    void keyPressEvent(QKeyEvent* event) override;

private:
    std::string path_;
    QByteArray bytes_; // the file as read: Save writes exactly these
    WizardUi& ui_;
    QTextBrowser* text_ = nullptr;
    QPushButton* close_ = nullptr;
};

} // namespace wizards
