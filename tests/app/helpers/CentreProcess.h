#pragma once
// The reference centre as its own process on loopback, every port chosen by
// the system; the archiver it serves is the real one built beside it.
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

namespace orvex::test {

class CentreProcess
{
public:
    explicit CentreProcess(const QStringList &extra = {})
    {
        const QString bin = qEnvironmentVariable("ORVEX_BINARY_DIR") + QStringLiteral("/src/app/");
        m_process.setProgram(bin + QStringLiteral("orvex-centre"));
        m_process.setArguments(
            QStringList{QStringLiteral("--data"), data.path(), QStringLiteral("--listen"),
                        QStringLiteral("127.0.0.1"), QStringLiteral("--keepalive-port"),
                        QStringLiteral("0"), QStringLiteral("--datagram-port"), QStringLiteral("0"),
                        QStringLiteral("--delays-port"), QStringLiteral("0"),
                        QStringLiteral("--home-port"), QStringLiteral("0"),
                        QStringLiteral("--archiver"), bin + QStringLiteral("oxzip")} +
            extra);
        m_process.start();
        if (!m_process.waitForStarted())
            return;
        // The first line names the ports it took.
        while (!m_process.canReadLine() && m_process.waitForReadyRead(20000)) {
        }
        const QString line = QString::fromLatin1(m_process.readLine());
        const auto m = QRegularExpression(QStringLiteral("home=(\\d+)")).match(line);
        if (m.hasMatch())
            m_homePort = quint16(m.captured(1).toUInt());
    }
    ~CentreProcess()
    {
        m_process.terminate();
        if (!m_process.waitForFinished(10000))
            m_process.kill();
        m_process.waitForFinished();
    }

    bool running() const { return m_homePort != 0; }
    // As the agent names its home server.
    QString host() const { return QStringLiteral("127.0.0.1:%1").arg(m_homePort); }

    // How many requests the centre answered for a path.
    int served(const QString &path)
    {
        QTcpSocket s;
        s.connectToHost(QHostAddress::LocalHost, m_homePort);
        s.write("GET /status.json HTTP/1.0\r\n\r\n");
        QByteArray reply;
        while (s.waitForReadyRead(20000))
            reply += s.readAll();
        reply = reply.mid(reply.indexOf("\r\n\r\n") + 4);
        return QJsonDocument::fromJson(reply)
            .object()[QStringLiteral("served")]
            .toObject()[path]
            .toInt();
    }

    QTemporaryDir data;

private:
    QProcess m_process;
    quint16 m_homePort = 0;
};

} // namespace orvex::test
