#pragma once
// A private ngircd for the chat tests: its own configuration in a temporary
// folder, listening on 127.0.0.1 only, on a port that was free.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <signal.h>

namespace orvex::test {

class Ngircd
{
public:
    ~Ngircd() { kill(); }

    static QString program()
    {
        return QStandardPaths::findExecutable(QStringLiteral("ngircd"),
                                              {QStringLiteral("/usr/sbin"),
                                               QStringLiteral("/usr/local/sbin"),
                                               QStringLiteral("/usr/bin")});
    }

    // Starts it (again, on the same port, after kill()).
    bool start()
    {
        if (m_port == 0) {
            QTcpServer probe;
            probe.listen(QHostAddress::LocalHost, 0);
            m_port = probe.serverPort();
        }
        const QString dir = m_dir.path();
        QFile motd(dir + QStringLiteral("/motd"));
        motd.open(QIODevice::WriteOnly);
        motd.write("Bienvenido al centro de pruebas\n");
        motd.close();
        QFile conf(dir + QStringLiteral("/ngircd.conf"));
        conf.open(QIODevice::WriteOnly);
        conf.write(QStringLiteral("[Global]\nName = irc.orvex.test\nInfo = Orvex\n"
                                  "Listen = 127.0.0.1\nPorts = %1\nMotdFile = %2/motd\n"
                                  "PidFile = %2/ngircd.pid\n[Limits]\nMaxNickLength = 30\n"
                                  "[Options]\nIdent = no\nPAM = no\nDNS = no\n")
                       .arg(m_port)
                       .arg(dir)
                       .toUtf8());
        conf.close();
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start(program(), {QStringLiteral("-n"), QStringLiteral("-f"),
                                    dir + QStringLiteral("/ngircd.conf")});
        return m_process.waitForStarted(5000);
    }

    // True once it accepts connections.
    bool accepting() const
    {
        QTcpSocket s;
        s.connectToHost(QHostAddress::LocalHost, m_port);
        const bool up = s.waitForConnected(200);
        s.abort();
        return up;
    }

    void kill()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        ::kill(pid_t(m_process.processId()), SIGKILL);
        m_process.waitForFinished(5000);
    }

    quint16 port() const { return m_port; }

private:
    QTemporaryDir m_dir;
    QProcess m_process;
    quint16 m_port = 0;
};

// An IRC user of its own, driven line by line by the test: what the support
// staff at the centre would type.
class RawIrcPeer
{
public:
    RawIrcPeer(quint16 port, const QByteArray &nick, const QByteArray &channel = {})
    {
        QObject::connect(&socket, &QTcpSocket::readyRead, [this] {
            received += socket.readAll();
            // Answer the server's PING, as any client must.
            qsizetype at;
            while ((at = received.indexOf("PING :", m_pinged)) >= 0) {
                const qsizetype end = received.indexOf("\r\n", at);
                if (end < 0)
                    break;
                socket.write("PONG " + received.mid(at + 5, end - at - 5) + "\r\n");
                m_pinged = end;
            }
        });
        socket.connectToHost(QHostAddress::LocalHost, port);
        send("NICK " + nick);
        send("USER " + nick + " 0 * :" + nick);
        if (!channel.isEmpty())
            send("JOIN " + channel);
    }
    void send(const QByteArray &line) { socket.write(line + "\r\n"); }
    bool welcomed() const { return received.contains(" 001 "); }

    QTcpSocket socket;
    QByteArray received;

private:
    qsizetype m_pinged = 0;
};

} // namespace orvex::test
