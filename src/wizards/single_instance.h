#pragma once
// One copy of the program per user and desktop. The first copy listens on a
// local socket named after the application title; a later copy finds it
// there, asks it to bring its window forward, and ends.

#include <QObject>
#include <QString>

class QLocalServer;

namespace wizards {

class SingleInstance : public QObject {
    Q_OBJECT
public:
    // `title` names the socket; the user's home folder name is added so that two people on
    // one machine each get their own copy.
    explicit SingleInstance(const QString& title, QObject* parent = nullptr);
    ~SingleInstance() override;

    // True when this is the first copy: it now listens for later ones. False
    // when another copy runs; that copy has been asked to come forward.
    bool Claim();

    QString SocketName() const { return name_; }

signals:
    // A later copy asked this one to show its window.
    void activationRequested();

private:
    bool AskRunningCopy();
    void OnConnection();

    QString name_;
    QLocalServer* server_ = nullptr;
};

} // namespace wizards
