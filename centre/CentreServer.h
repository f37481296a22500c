#pragma once
// The reference centre: answers every request the agent makes, keeps what it
// receives, and shows it. Every TCP port answers every path (they differ
// only in their defaults), so any host and port the agent is given works.
#include "centre/CentreStore.h"
#include "centre/Connection.h"

#include <QHostAddress>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QTcpServer>
#include <QUdpSocket>

#include <memory>
#include <vector>

namespace orvex::centre {

struct CentreOptions
{
    QString dataFolder;
    QHostAddress listen = QHostAddress::LocalHost;
    // 0 picks a free port; the ports taken are in ports().
    quint16 keepAlivePort = 9751;
    quint16 datagramPort = 9745;
    quint16 delaysPort = 9750;
    quint16 homePort = 0;
    // The archiver served as "/pkzip25.exe".
    QString archiver;
    // Keep-alives are answered as failed (also switched at run time).
    bool failKeepAlives = false;
    // Update files sent short of their announced length, by name.
    QSet<QString> truncate;
    Limits limits;
};

class CentreServer : public QObject
{
    Q_OBJECT
public:
    explicit CentreServer(CentreOptions options, QObject *parent = nullptr);
    ~CentreServer() override;

    // False (and a line on standard error) when a port cannot be taken.
    bool start();
    struct Ports
    {
        quint16 keepAlive = 0, datagram = 0, delays = 0, home = 0;
    };
    Ports ports() const;
    bool failing() const { return m_options.failKeepAlives; }
    CentreStore &store() { return m_store; }

    // The answer to one request from `peer` (a whole HTTP/1.0 reply).
    QByteArray answer(const HttpRequest &request, const QHostAddress &peer);

private:
    void accept(QTcpServer &server);
    void readDatagrams();
    // Nothing for a path the centre does not know.
    std::optional<QByteArray> route(const HttpRequest &r, const QHostAddress &peer);

    QByteArray keepAliveReply(const HttpRequest &r, const QHostAddress &peer);
    QByteArray delaysReply(const HttpRequest &r);
    QByteArray uploadReply(const HttpRequest &r);
    QByteArray downloadReply(const HttpRequest &r);
    QByteArray listReply(const HttpRequest &r);
    QByteArray fileReply(const HttpRequest &r);
    QByteArray archiverReply();
    QByteArray controlReply(const HttpRequest &r, const QHostAddress &peer);
    QByteArray statusPage() const;
    QByteArray statusJson() const;

    CentreOptions m_options;
    CentreStore m_store;
    // Requests answered, by path: shows what a client really asked for.
    QMap<QString, int> m_served;
    Admission m_admission{m_options.limits};
    std::vector<std::unique_ptr<QTcpServer>> m_servers; // keep-alive, delays, home
    QUdpSocket m_datagrams;
};

} // namespace orvex::centre
