#include "app/shell/first_window.h"

#include <QCryptographicHash>
#include <QLocalSocket>
#include <QStandardPaths>
#include <utility>

#include "app/parts/texts.h"

namespace lumato::app {
namespace {

constexpr int kPatience = 2000;                  // milliseconds
constexpr qint64 kMostBytes = 16 * 1024 * 1024;  // of the files' names

// A socket's name may be no longer than about 100 bytes, and a folder's may.
QString SocketFor(const Path& home) {
    std::error_code error;
    const Path whole = std::filesystem::weakly_canonical(home, error);
    const QByteArray name = QByteArray::fromStdString((error ? home : whole).string());
    return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) + QStringLiteral("/lumato-") +
           QString::fromLatin1(QCryptographicHash::hash(name, QCryptographicHash::Sha256).toHex().left(16));
}

}  // namespace

FirstWindow::FirstWindow(const Path& home, ComeForward comeForward) : m_comeForward(std::move(comeForward)) {
    QLocalServer::removeServer(SocketFor(home));  // one that was killed left it
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&m_server, &QLocalServer::newConnection, this, &FirstWindow::Take);
    m_server.listen(SocketFor(home));  // without it a second program says that the folder is in use
}

void FirstWindow::Take() {
    while (QLocalSocket* caller = m_server.nextPendingConnection()) {
        const auto end = [this, caller] {
            std::vector<Path> files;
            for (const QByteArray& name : caller->readAll().split('\0')) {
                if (!name.isEmpty())
                    files.emplace_back(name.toStdString());
            }
            caller->deleteLater();
            m_comeForward(std::move(files));
        };
        caller->setReadBufferSize(kMostBytes);
        if (caller->state() == QLocalSocket::UnconnectedState)
            end();
        else
            connect(caller, &QLocalSocket::disconnected, this, end);
    }
}

bool FirstWindow::Call(const Path& home, const std::vector<Path>& files) {
    QLocalSocket socket;
    socket.connectToServer(SocketFor(home), QIODevice::WriteOnly);
    if (!socket.waitForConnected(kPatience))
        return false;
    for (const Path& file : files)
        socket.write(QByteArray::fromStdString(file.string() + '\0'));
    while (socket.bytesToWrite() > 0) {
        if (!socket.waitForBytesWritten(kPatience))
            return false;
    }
    socket.disconnectFromServer();
    return true;
}

}  // namespace lumato::app
