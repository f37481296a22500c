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

using namespace Qt::StringLiterals;

class IrcServer
{
public:
    enum Kind { Ngircd, InspIRCd };
    explicit IrcServer(Kind kind) : m_ngircd(kind == Ngircd) {}

    QString program() const { return m_ngircd ? u"/usr/sbin/ngircd"_s : u"/usr/sbin/inspircd"_s; }

    // accepting() says when it takes connections.
    bool start()
    {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost, 0);
        m_port = probe.serverPort();
        probe.close();
        const QString dir = m_dir.path(), conf = dir + u"/server.conf"_s;
        const QString text = QString::fromLatin1(m_ngircd ? kNgircd : kInspIRCd);
        if (!writeBytes(dir + u"/motd"_s, "Bienvenido al centro\n") ||
            !writeBytes(conf, text.arg(m_port).arg(dir).toUtf8()))
            return false;
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(program(), m_ngircd ? QStringList{u"-n"_s, u"-f"_s, conf}
                                            : QStringList{u"--nofork"_s, u"--runasroot"_s,
                                                          u"--config="_s + conf});
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

    bool m_ngircd;
    QTemporaryDir m_dir;
    QProcess m_process;
    quint16 m_port = 0;
};

} // namespace orvex::test
