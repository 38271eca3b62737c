#include "Orvel/platform/qt/SingleInstance.h"

#include "Orvel/platform/posix/PrivateFolder.h"
#include "Orvel/platform/qt/QtText.h"
#include "OrvelCore/text/Digest.h"

#include <cstdlib>

#include <QByteArray>
#include <QDataStream>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>
#include <QTimer>

namespace orvel {

namespace {

constexpr int patience = 2000;               // Milliseconds for each step of a hand-over.
constexpr qint64 maximumRequest = 1'048'576; // Bytes; command lines are far smaller.
constexpr char acknowledgement = '+';

// The socket lies where only the user may enter: in the session's runtime folder, or else beside Orvel's own
// files.
std::string nameFor(const std::string& dataFolder) {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime && *runtime == '/')
        return std::string(runtime) + "/orvel-" + sha256Hex({dataFolder}).substr(0, 16);
    makePrivateFolder(dataFolder, "use");
    return dataFolder + "/window.socket";
}

} // namespace

struct SingleInstance::Server {
    QLocalServer server;
    std::function<void(const Request&)> received;

    void accept() {
        auto* socket = server.nextPendingConnection();
        QObject::connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        QObject::connect(socket, &QLocalSocket::readyRead, socket, [this, socket] { read(*socket); });
        QTimer::singleShot(patience, socket, [socket] { socket->abort(); });
    }

    void read(QLocalSocket& socket) const {
        if (socket.bytesAvailable() > maximumRequest) {
            socket.abort();
            return;
        }
        QDataStream stream(&socket);
        stream.setVersion(QDataStream::Qt_6_0);
        stream.startTransaction();
        QList<QByteArray> pieces;
        stream >> pieces;
        if (!stream.commitTransaction()) return; // More is to come.
        Request request;
        for (const auto& piece : pieces) request.push_back(piece.toStdString());
        socket.write(&acknowledgement, 1);
        socket.flush();
        socket.disconnectFromServer();
        received(request);
    }
};

SingleInstance::SingleInstance(const std::string& dataFolder) : socketName(nameFor(dataFolder)) {}

SingleInstance::~SingleInstance() = default;

bool SingleInstance::handOver(const Request& request) {
    QLocalSocket socket;
    socket.connectToServer(qtText(socketName));
    if (!socket.waitForConnected(patience)) return false;
    QList<QByteArray> pieces;
    for (const auto& piece : request) pieces.append(QByteArray::fromStdString(piece));
    QDataStream stream(&socket);
    stream.setVersion(QDataStream::Qt_6_0);
    stream << pieces;
    char answer = 0;
    return socket.waitForBytesWritten(patience) && socket.waitForReadyRead(patience) &&
           socket.read(&answer, 1) == 1 && answer == acknowledgement;
}

bool SingleInstance::listen(std::function<void(const Request&)> received) {
    server = std::make_unique<Server>();
    server->received = std::move(received);
    server->server.setSocketOptions(QLocalServer::UserAccessOption);
    QObject::connect(&server->server, &QLocalServer::newConnection, [this] { server->accept(); });
    if (server->server.listen(qtText(socketName))) return true;
    // A socket that nobody answers is left over from a crash.
    QLocalSocket probe;
    probe.connectToServer(qtText(socketName));
    if (probe.waitForConnected(patience)) return false;
    QLocalServer::removeServer(qtText(socketName));
    return server->server.listen(qtText(socketName));
}

} // namespace orvel
