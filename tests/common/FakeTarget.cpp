#include "FakeTarget.h"

#include "PacketHeader.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

FakeTarget::FakeTarget() : server(new QTcpServer()), client(nullptr), listenPort(0)
{
    connect(server, SIGNAL(newConnection()), this, SLOT(slotNewConnection()));
    listen();
}

// The clients are children of the server and go with it.
FakeTarget::~FakeTarget()
{
    delete server;
}

void FakeTarget::stopListening()
{
    server->close();
}

bool FakeTarget::listen()
{
    if (!server->listen(QHostAddress::LocalHost, listenPort))
        return false;
    listenPort = server->serverPort();
    return true;
}

bool FakeTarget::hasClient() const
{
    return client != nullptr && client->state() == QAbstractSocket::ConnectedState;
}

QByteArray FakeTarget::received() const
{
    return receivedBytes.isEmpty() ? QByteArray() : receivedBytes.last();
}

void FakeTarget::send(const QByteArray& bytes)
{
    if (client == nullptr)
        return;
    client->write(bytes);
    client->flush();
}

void FakeTarget::closeClient()
{
    if (client != nullptr)
        client->disconnectFromHost();
}

QByteArray FakeTarget::header(quint32 size, quint8 kind, quint8 subKind)
{
    QByteArray bytes(PacketHeader::headerSize, '\0');
    PacketHeader head;
    head.size = size;
    head.kind = kind;
    head.subKind = subKind;
    head.write(bytes.data());
    return bytes;
}

quint16 FakeTarget::unusedPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

// One client at a time, as a target serves one profiler: a newer
// connection replaces the older one.
void FakeTarget::slotNewConnection()
{
    while (QTcpSocket* next = server->nextPendingConnection()) {
        if (client != nullptr)
            client->deleteLater();
        client = next;
        receivedBytes.append(QByteArray());
        connect(client, SIGNAL(readyRead()), this, SLOT(slotReadyRead()));
    }
}

void FakeTarget::slotReadyRead()
{
    QTcpSocket* socket = qobject_cast<QTcpSocket*>(sender());
    if (socket == client && !receivedBytes.isEmpty())
        receivedBytes.last() += socket->readAll();
}
