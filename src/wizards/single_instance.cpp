#include "wizards/single_instance.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>

namespace wizards {

namespace {

constexpr int kWaitMs = 1000;
const QByteArray kRaise = "raise\n";

} // namespace

SingleInstance::SingleInstance(const QString& title, QObject* parent)
    : QObject(parent), name_(title + "-" + QDir::home().dirName()) {}

SingleInstance::~SingleInstance() = default;

bool SingleInstance::AskRunningCopy() {
    QLocalSocket socket;
    socket.connectToServer(name_);
    if (!socket.waitForConnected(kWaitMs)) {
        return false;
    }
    socket.write(kRaise);
    socket.waitForBytesWritten(kWaitMs);
    socket.disconnectFromServer();
    return true;
}

bool SingleInstance::Claim() {
    if (AskRunningCopy()) {
        return false;
    }
    server_ = new QLocalServer(this);
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_->listen(name_)) {
        // A socket left behind by a copy that crashed: nobody answered on it
        // above, so it is safe to take over.
        QLocalServer::removeServer(name_);
        if (!server_->listen(name_)) {
            // Without the socket the program still runs; it just cannot be found.
            return true;
        }
    }
    connect(server_, &QLocalServer::newConnection, this, &SingleInstance::OnConnection);
    return true;
}

void SingleInstance::OnConnection() {
    while (QLocalSocket* socket = server_->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (socket->readAll().contains("raise")) {
                emit activationRequested();
            }
        });
        // The request may have arrived with the connection itself.
        if (socket->bytesAvailable() > 0 && socket->readAll().contains("raise")) {
            emit activationRequested();
        }
    }
}

} // namespace wizards
