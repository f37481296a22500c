#pragma once
// A private chat server for the chat tests, ngircd or InspIRCd: its own
// configuration in a temporary folder, on 127.0.0.1 only, on a port that
// was free. It ends with the object.
#include "common/TestSupport.h"

#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

namespace orvex::test {

class IrcServer
{
public:
    enum Kind { Ngircd, InspIRCd };
    explicit IrcServer(Kind kind) : m_kind(kind) {}

    QString program() const
    {
        return m_kind == Ngircd ? QStringLiteral("/usr/sbin/ngircd")
                                : QStringLiteral("/usr/sbin/inspircd");
    }

    // accepting() says when it takes connections.
    bool start()
    {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost, 0);
        m_port = probe.serverPort();
        probe.close();
        const QString dir = m_dir.path(), conf = dir + QStringLiteral("/server.conf");
        const QString text = QString::fromLatin1(m_kind == Ngircd ? kNgircd : kInspIRCd);
        if (!writeBytes(dir + QStringLiteral("/motd"), "Bienvenido al centro\n") ||
            !writeBytes(conf, text.arg(m_port).arg(dir).toUtf8()))
            return false;
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(program(),
                        m_kind == Ngircd
                            ? QStringList{QStringLiteral("-n"), QStringLiteral("-f"), conf}
                            : QStringList{QStringLiteral("--nofork"), QStringLiteral("--runasroot"),
                                          QStringLiteral("--config=") + conf});
        return m_process.waitForStarted(5000);
    }

    bool accepting() const
    {
        QTcpSocket s;
        s.connectToHost(QHostAddress::LocalHost, m_port);
        return s.waitForConnected(1000);
    }

    quint16 port() const { return m_port; }

private:
    static constexpr const char *kNgircd =
        "[Global]\nName = irc.orvex.test\nInfo = Orvex\nListen = 127.0.0.1\nPorts = %1\n"
        "MotdFile = %2/motd\nPidFile = %2/pid\n[Options]\nIdent = no\nPAM = no\nDNS = no\n";
    static constexpr const char *kInspIRCd =
        "<server name=\"irc.orvex.test\" description=\"Orvex\" network=\"Orvex\">\n"
        "<admin name=\"Orvex\" nick=\"orvex\" email=\"orvex@localhost\">\n"
        "<bind address=\"127.0.0.1\" port=\"%1\" type=\"clients\">\n"
        "<connect allow=\"*\" fakelag=\"no\" localmax=\"100\" globalmax=\"100\" "
        "resolvehostnames=\"no\" useident=\"no\">\n<files motd=\"%2/motd\">\n"
        "<pid file=\"%2/pid\">\n<path configdir=\"%2\" datadir=\"%2\" logdir=\"%2\">\n";

    Kind m_kind;
    QTemporaryDir m_dir;
    QProcess m_process;
    quint16 m_port = 0;
};

} // namespace orvex::test
