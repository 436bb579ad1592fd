#include "wizards/text_viewer.h"

#include "util/paths.h"
#include "wizards/wizard_ui.h"

#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSaveFile>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace wizards {

TextViewer::TextViewer(const std::string& path, WizardUi& ui, QWidget* parent)
    : QWidget(parent, Qt::Window), path_(path), ui_(ui) {
    setObjectName("frmViewer");
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QString::fromStdString("Ostrand - " + util::FileNamePart(path)));
    resize(760, 560);

    QFile file(QString::fromStdString(path));
    const bool read = file.open(QIODevice::ReadOnly);
    if (read) {
        bytes_ = file.readAll();
    }

    auto* layout = new QVBoxLayout(this);
    auto* where =
        new QLabel(read ? QString("No viewer on this desktop opened %1, so here it is.")
                              .arg(QString::fromStdString(path))
                        : QString("%1 could not be read.").arg(QString::fromStdString(path)),
                   this);
    where->setObjectName("lblPath");
    where->setWordWrap(true);
    where->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(where);

    text_ = new QTextBrowser(this);
    text_->setObjectName("txtDocument");
    text_->setOpenExternalLinks(false);
    // The window titles in a report end in the NULs of the system's buffer;
    // they mean nothing on screen or in a mail.
    QString shown = QString::fromUtf8(bytes_).remove(QChar(u'\0'));
    if (path.ends_with(".html")) {
        text_->setHtml(shown);
    } else {
        text_->setLineWrapMode(QTextEdit::NoWrap);
        text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
        text_->setPlainText(shown);
    }
    layout->addWidget(text_, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto addButton = [&](const QString& caption, const char* name) {
        auto* b = new QPushButton(caption, this);
        b->setObjectName(name);
        buttons->addWidget(b);
        return b;
    };
    QPushButton* save = addButton("&Save...", "cmdSave");
    QPushButton* copy = addButton("&Copy", "cmdCopy");
    QPushButton* close = addButton("C&lose", "cmdClose");
    save->setEnabled(read);
    copy->setEnabled(read);
    close->setDefault(true);
    connect(save, &QPushButton::clicked, this, &TextViewer::Save);
    connect(copy, &QPushButton::clicked, this, &TextViewer::Copy);
    connect(close, &QPushButton::clicked, this, &QWidget::close);
    layout->addLayout(buttons);
}

QString TextViewer::Text() const {
    return text_->toPlainText();
}

void TextViewer::Save() {
    const auto target =
        ui_.ChooseSaveFile(this, "Save a copy of " + util::FileNamePart(path_), path_);
    if (!target || *target == path_) {
        return;
    }
    // Through a temporary file and a rename: a failed save never leaves the
    // chosen file half written.
    QSaveFile out(QString::fromStdString(*target));
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes_) != bytes_.size() || !out.commit()) {
        ui_.MessageBox("The copy could not be written to " + *target + ": " +
                           out.errorString().toStdString(),
                       util::Buttons::OK, util::Icon::Exclamation, "Save");
    }
}

void TextViewer::Copy() {
    QApplication::clipboard()->setText(Text());
}

} // namespace wizards
