#include "centre/CentreServer.h"

#include "support/PeVersion.h"

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QTcpSocket>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;

namespace orvex::centre {
namespace {

QByteArray field(const HttpRequest &r, QByteArrayView key)
{
    return unescape(r.value(key).value_or(QByteArrayView())).value_or(QByteArray());
}

// "a.b.c.d" as four numbers; missing parts are 0.
PeFileVersion versionOf(const QByteArray &text)
{
    PeFileVersion v{0, 0, 0, 0};
    const QList<QByteArray> parts = text.split('.');
    for (qsizetype i = 0; i < 4 && i < parts.size(); ++i)
        v[size_t(i)] = std::uint16_t(parts[i].toUInt());
    return v;
}

QString htmlEscaped(const QString &text)
{
    return text.toHtmlEscaped().replace(u"\r\n"_s, u"<br>"_s).replace(u'\t', u"&emsp;"_s);
}

} // namespace

CentreServer::CentreServer(CentreOptions options, QObject *parent)
    : QObject(parent), m_options(std::move(options)), m_store(m_options.dataFolder)
{
    connect(&m_datagrams, &QUdpSocket::readyRead, this, &CentreServer::readDatagrams);
}

CentreServer::~CentreServer() = default;

bool CentreServer::start()
{
    for (const quint16 port : {m_options.keepAlivePort, m_options.delaysPort, m_options.homePort}) {
        auto server = std::make_unique<QTcpServer>();
        if (!server->listen(m_options.listen, port)) {
            std::fprintf(stderr, "orvex-centre: cannot listen on %s port %u: %s\n",
                         qPrintable(m_options.listen.toString()), unsigned(port),
                         qPrintable(server->errorString()));
            return false;
        }
        QTcpServer *s = server.get();
        connect(s, &QTcpServer::newConnection, this, [this, s] { accept(*s); });
        m_servers.push_back(std::move(server));
    }
    if (!m_datagrams.bind(m_options.listen, m_options.datagramPort)) {
        std::fprintf(stderr, "orvex-centre: cannot listen for datagrams on port %u: %s\n",
                     unsigned(m_options.datagramPort), qPrintable(m_datagrams.errorString()));
        return false;
    }
    return true;
}

CentreServer::Ports CentreServer::ports() const
{
    Ports p;
    if (m_servers.size() == 3) {
        p.keepAlive = m_servers[0]->serverPort();
        p.delays = m_servers[1]->serverPort();
        p.home = m_servers[2]->serverPort();
    }
    p.datagram = m_datagrams.localPort();
    return p;
}

void CentreServer::accept(QTcpServer &server)
{
    while (QTcpSocket *socket = server.nextPendingConnection()) {
        if (m_admission.open()) {
            new Connection(
                socket, m_options.limits, m_admission,
                [this](const HttpRequest &r, const QHostAddress &peer) { return answer(r, peer); });
            continue;
        }
        qCInfo(lcCentre) << "refused: already" << m_options.limits.maxConnections << "connections";
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        socket->write(reply(503, "Service Unavailable", "R:ERROR centro ocupado\r\n" + kEnd));
        socket->disconnectFromHost();
    }
}

void CentreServer::readDatagrams()
{
    while (m_datagrams.hasPendingDatagrams()) {
        QHostAddress from;
        QByteArray data(int(m_datagrams.pendingDatagramSize()), '\0');
        const qint64 n = m_datagrams.readDatagram(data.data(), data.size(), &from);
        if (n <= 0)
            continue;
        data.truncate(n);
        // A "V1" keep-alive is the domain and nothing else: anything else
        // that comes to the port is no provider.
        if (!m_store.keepAlive(data, u"udp"_s, from.toString(), data, QDateTime::currentDateTime()))
            qCDebug(lcCentre).noquote() << "datagram from" << from.toString() << "ignored";
    }
}

QByteArray CentreServer::answer(const HttpRequest &r, const QHostAddress &peer)
{
    // The fields come in the query of a GET or, from a client whose GET a
    // web server refused for its length, as a form POST.
    if (r.method == "POST" && !r.isForm())
        return reply(415, "Unsupported Media Type", "R:ERROR solo formularios\r\n" + kEnd);
    if (r.method != "GET" && r.method != "POST")
        return reply(405, "Method Not Allowed", "R:ERROR solo GET o POST\r\n" + kEnd);
    std::optional<QByteArray> out = route(r, peer);
    if (!out)
        return reply(404, "Not Found", "R:ERROR no existe\r\n" + kEnd);
    const QByteArrayView path = r.path();
    if (path != "/status.json" && path != "/")
        ++m_served[QString::fromLatin1(path)];
    return *out;
}

std::optional<QByteArray> CentreServer::route(const HttpRequest &r, const QHostAddress &peer)
{
    const QByteArrayView path = r.path();
    if (path == "/DynIP")
        return keepAliveReply(r, peer);
    if (path == "/ox//demoras.cgi" || path == "/ox/demoras.cgi")
        return delaysReply(r);
    if (path == "/ox/uploadconfiguration.cgi")
        return uploadReply(r);
    if (path == "/ox/downloadconfiguration.cgi")
        return downloadReply(r);
    if (path == "/ox/updatelistfiles.cgi")
        return listReply(r);
    if (path == "/ox/updategetfile.cgi")
        return fileReply(r);
    if (path == "/pkzip25.exe")
        return archiverReply();
    if (path == "/control")
        return controlReply(r, peer);
    if (path == "/status.json")
        return reply(200, "OK", statusJson(), "application/json");
    if (path == "/")
        return reply(200, "OK", statusPage(), "text/html; charset=utf-8");
    return std::nullopt;
}

QByteArray CentreServer::keepAliveReply(const HttpRequest &r, const QHostAddress &peer)
{
    if (r.value("CMD") != "KEEPALIVE")
        return reply(400, "Bad Request", "R:ERROR comando desconocido\r\n" + kEnd);
    // The domain travels as it is, not escaped.
    const QByteArray domain = r.value("DOMAINNAME").value_or(QByteArrayView()).toByteArray();
    if (!CentreStore::isDomain(domain))
        return reply(400, "Bad Request", "R:ERROR dominio no valido\r\n" + kEnd);
    if (!m_store.keepAlive(domain, u"http"_s, peer.toString(), r.head().toByteArray(),
                           QDateTime::currentDateTime()))
        return reply(500, "Internal Server Error", "R:ERROR no se pudo guardar\r\n" + kEnd);
    if (m_options.failKeepAlives)
        return reply(503, "Service Unavailable", "R:ERROR servicio detenido\r\n" + kEnd);
    return reply(200, "OK", "R:OK Lumaris\r\n" + kEnd);
}

QByteArray CentreServer::delaysReply(const HttpRequest &r)
{
    // The provider's name comes as it is (lower case), the text escaped.
    const QByteArray provider = r.value("Prestador").value_or(QByteArrayView()).toByteArray();
    const std::optional<QByteArray> text = unescape(r.value("Content").value_or("x%"));
    if (!text || !m_store.delays(provider, *text, QDateTime::currentDateTime()))
        return reply(400, "Bad Request", "R:ERROR demoras ilegibles\r\n" + kEnd);
    return reply(200, "OK", "R:OK\r\n" + kEnd);
}

QByteArray CentreServer::uploadReply(const HttpRequest &r)
{
    const QByteArray company = field(r, "empresa"), computer = field(r, "pcname");
    const std::optional<QByteArray> archive = unescape(r.value("content").value_or("x%"));
    if (!archive || archive->isEmpty() || computer.isEmpty())
        return reply(400, "Bad Request", "R:ERROR sin archivo\r\n" + kEnd);
    if (!m_store.storeConfiguration(company, computer, *archive))
        return reply(500, "Internal Server Error", "R:ERROR no se pudo guardar\r\n" + kEnd);
    qCInfo(lcCentre).noquote() << "configuration of" << fromAnsi(company) << fromAnsi(computer);
    return reply(200, "OK", "R:OK\r\n" + kEnd);
}

QByteArray CentreServer::downloadReply(const HttpRequest &r)
{
    const auto archive = m_store.configuration(field(r, "empresa"), field(r, "pcname"));
    if (!archive)
        return reply(404, "Not Found", {});
    return reply(200, "OK", *archive, "application/zip");
}

QByteArray CentreServer::listReply(const HttpRequest &r)
{
    // One name a line; the empty line ends the list before the end marker.
    QByteArray body;
    for (const QString &name : m_store.moduleFiles(field(r, "group")))
        body += name.toLatin1() + "\r\n";
    return reply(200, "OK", body + "\r\n" + kEnd);
}

QByteArray CentreServer::fileReply(const HttpRequest &r)
{
    const QByteArray name = field(r, "filename");
    const auto path = m_store.moduleFile(field(r, "group"), name);
    QFile file(path.value_or(QString()));
    if (!path || !file.open(QIODevice::ReadOnly))
        return reply(404, "Not Found", "NO");
    const QByteArray bytes = file.readAll();
    // A file with a version resource goes when it is newer than the
    // provider's. One without cannot be compared (the agent says 0.0.0.0 for
    // a missing file and for such a file alike), so it always goes.
    if (const auto mine = peFileVersion(bytes); mine && *mine <= versionOf(field(r, "version")))
        return reply(200, "OK", "OK");
    if (m_options.truncate.contains(fromAnsi(name))) {
        QByteArray out = reply(200, "OK", bytes, "application/octet-stream");
        out.chop(bytes.size() / 2);
        return out;
    }
    return reply(200, "OK", bytes, "application/octet-stream");
}

QByteArray CentreServer::archiverReply()
{
    QFile file(m_options.archiver);
    if (m_options.archiver.isEmpty() || !file.open(QIODevice::ReadOnly))
        return reply(404, "Not Found", {});
    return reply(200, "OK", file.readAll(), "application/octet-stream");
}

QByteArray CentreServer::controlReply(const HttpRequest &r, const QHostAddress &peer)
{
    // Only this machine may switch the centre's behaviour.
    if (!peer.isLoopback())
        return reply(403, "Forbidden", "R:ERROR solo desde esta computadora\r\n" + kEnd);
    const QByteArrayView fail = r.value("fail").value_or(QByteArrayView());
    if (fail != "0" && fail != "1")
        return reply(400, "Bad Request", "R:ERROR fail=0 o fail=1\r\n" + kEnd);
    m_options.failKeepAlives = fail == "1";
    qCInfo(lcCentre) << "keep-alives" << (m_options.failKeepAlives ? "fail" : "answered");
    return reply(200, "OK", "R:OK\r\n" + kEnd);
}

QByteArray CentreServer::statusJson() const
{
    QJsonObject served;
    for (auto it = m_served.begin(); it != m_served.end(); ++it)
        served[it.key()] = it.value();
    return QJsonDocument(QJsonObject{{u"failing"_s, m_options.failKeepAlives},
                                     {u"providers"_s, m_store.providers()},
                                     {u"served"_s, served}})
        .toJson();
}

QByteArray CentreServer::statusPage() const
{
    QString html =
        u"<!DOCTYPE html><html><head><meta charset=\"utf-8\">"
        u"<title>Centro de referencia</title><style>body{font-family:sans-serif}"
        u"td,th{border:1px solid #999;padding:4px 8px;vertical-align:top}"
        u"table{border-collapse:collapse}</style></head><body>"
        u"<h1>Centro de referencia</h1><p>Keep-alives: %1</p>"
        u"<table><tr><th>Prestador</th><th>Último keep-alive</th><th>Demoras</th></tr>"_s.arg(
            m_options.failKeepAlives ? u"fallan a propósito"_s : u"se responden"_s);
    const QJsonObject all = m_store.providers();
    for (auto it = all.begin(); it != all.end(); ++it) {
        const QJsonObject state = it.value().toObject();
        QString seen;
        const QJsonObject keepAlives = state[u"keepalive"_s].toObject();
        for (auto k = keepAlives.begin(); k != keepAlives.end(); ++k) {
            const QJsonObject one = k.value().toObject();
            seen += k.key().toUpper() + u": "_s + one[u"time"_s].toString() + u" desde "_s +
                    one[u"address"_s].toString() + u"<br>"_s;
        }
        html += u"<tr><td>%1</td><td>%2</td><td>%3</td></tr>"_s.arg(
            htmlEscaped(it.key()), seen,
            htmlEscaped(state[u"delays"_s].toObject()[u"text"_s].toString()));
    }
    html += u"</table></body></html>"_s;
    return html.toUtf8();
}

} // namespace orvex::centre
