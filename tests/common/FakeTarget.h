#ifndef FAKETARGET_H
#define FAKETARGET_H

#include <QByteArray>
#include <QList>
#include <QObject>

class QTcpServer;
class QTcpSocket;

// A stand-in for a profiled application: a TCP server on 127.0.0.1 keeping one
// client at a time, recording what each connection sent and writing whatever
// bytes a test gives it.
class FakeTarget : public QObject
{
    Q_OBJECT

public:
    FakeTarget();
    ~FakeTarget() override;

    quint16 port() const { return listenPort; }
    // Stops accepting: further attempts are refused. listen() takes up the
    // same port again.
    void stopListening();
    bool listen();

    int connectionCount() const { return int(receivedBytes.size()); }
    bool hasClient() const;
    // Bytes received on the latest connection.
    QByteArray received() const;

    // Writes to the current client at once.
    void send(const QByteArray& bytes);
    // An orderly close from the target's side.
    void closeClient();

    // A bare header that announces size bytes, whatever follows.
    static QByteArray header(quint32 size, quint8 kind, quint8 subKind = 0);
    // A port on 127.0.0.1 on which nothing listens.
    static quint16 unusedPort();

private Q_SLOTS:
    void slotNewConnection();
    void slotReadyRead();

private:
    QTcpServer* server;
    QTcpSocket* client;
    quint16 listenPort;
    QList<QByteArray> receivedBytes;
};

#endif
