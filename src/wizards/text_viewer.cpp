#include "wizards/text_viewer.h"

#include "util/paths.h"
#include "wizards/access.h"
#include "wizards/wizard_ui.h"

#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QKeyEvent>
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
    setWindowTitle(tr("Ostrand - %1").arg(QString::fromStdString(util::FileNamePart(path))));
    resize(760, 560);

    QFile file(QString::fromStdString(path));
    const bool read = file.open(QIODevice::ReadOnly);
    if (read) {
        bytes_ = file.readAll();
    }

    auto* layout = new QVBoxLayout(this);
    auto* where = new QLabel(read ? tr("No viewer on this desktop opened %1, so here it is.")
                                        .arg(QString::fromStdString(path))
                                  : tr("%1 could not be read.").arg(QString::fromStdString(path)),
                             this);
    where->setObjectName("lblPath");
    where->setWordWrap(true);
    where->setTextInteractionFlags(Qt::TextSelectableByMouse);
    Describe(where, {}, tr("Which file this window shows"));
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
    Describe(text_, tr("Document"), tr("The text of the file, read-only"));
    layout->addWidget(text_, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto addButton = [&](const QString& caption, const char* name, const QString& description) {
        auto* b = new QPushButton(caption, this);
        b->setObjectName(name);
        b->setAutoDefault(true);
        Describe(b, {}, description);
        buttons->addWidget(b);
        return b;
    };
    QPushButton* save = addButton(tr("&Save..."), "cmdSave", tr("Saves a copy of the file"));
    QPushButton* copy =
        addButton(tr("&Copy"), "cmdCopy", tr("Puts the whole text on the clipboard, for a mail"));
    close_ = addButton(tr("C&lose"), "cmdClose", tr("Closes this window"));
    save->setEnabled(read);
    copy->setEnabled(read);
    close_->setDefault(true);
    connect(save, &QPushButton::clicked, this, &TextViewer::Save);
    connect(copy, &QPushButton::clicked, this, &TextViewer::Copy);
    connect(close_, &QPushButton::clicked, this, &QWidget::close);
    layout->addLayout(buttons);
    SetTabOrderByLayout(this);
    KeepLeastHeightForWidth(this);
}

void TextViewer::keyPressEvent(QKeyEvent* event) {
    if (ReadWindowKey(event) != WindowKey::Other) {
        close_->click(); // the one thing either key can mean in a read-only window
        return;
    }
    QWidget::keyPressEvent(event);
}

QString TextViewer::Text() const {
    return text_->toPlainText();
}

void TextViewer::Save() {
    const auto target =
        ui_.ChooseSaveFile(this,
                           tr("Save a copy of %1")
                               .arg(QString::fromStdString(util::FileNamePart(path_)))
                               .toStdString(),
                           path_);
    if (!target || *target == path_) {
        return;
    }
    // Through a temporary file and a rename: a failed save never leaves the
    // chosen file half written.
    QSaveFile out(QString::fromStdString(*target));
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes_) != bytes_.size() || !out.commit()) {
        ui_.MessageBox(tr("The copy could not be written to %1: %2")
                           .arg(QString::fromStdString(*target), out.errorString())
                           .toStdString(),
                       util::Buttons::OK, util::Icon::Exclamation, tr("Save").toStdString());
    }
}

void TextViewer::Copy() {
    QApplication::clipboard()->setText(Text());
}

} // namespace wizards
