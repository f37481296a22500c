#include "helpers/Ngircd.h"
#include "platform/IrcClient.h"

#include <QSignalSpy>
#include <QtTest>

using namespace orvex;
using namespace orvex::platform;
using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<IrcClient> client(quint16 port, const QString &nick,
                                  const QString &channel = u"#Alpha"_s)
{
    auto c = std::make_unique<IrcClient>();
    c->setServerHost(u"127.0.0.1"_s);
    c->setPort(port);
    c->setChannel(channel);
    c->setNickName(nick);
    c->setUserName(nick);
    c->Connect();
    return c;
}

// Every PRIVMSG text the peer received, in order.
QByteArrayList textsTo(const QByteArray &received, const QByteArray &nick)
{
    QByteArrayList texts;
    for (const QByteArray &line : received.split('\n')) {
        const qsizetype at = line.indexOf(QByteArray(" PRIVMSG " + nick + " :"));
        if (at >= 0)
            texts << line.mid(at + 11 + nick.size()).chopped(line.endsWith('\r') ? 1 : 0);
    }
    return texts;
}

} // namespace

// Against a real chat server started by the test.
class TestIrcClient : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::Ngircd> m_server;

private slots:
    void init()
    {
        if (test::Ngircd::program().isEmpty())
            QSKIP("ngircd is not installed (scripts/install-deps installs it)");
        m_server = std::make_unique<test::Ngircd>();
        QVERIFY(m_server->start());
        QTRY_VERIFY_WITH_TIMEOUT(m_server->accepting(), 10000);
    }
    void cleanup() { m_server.reset(); }

    void messagesBothWaysAndTheChannelsNicknames()
    {
        const auto c = client(m_server->port(), u"prov1"_s);
        QTRY_VERIFY(c->isConnected());
        QCOMPARE(c->CurrentNick(), u"prov1"_s);

        test::RawIrcPeer peer(m_server->port(), "soporte1", "#Alpha");
        QTRY_COMPARE(c->Nicknames(), QStringList{u"soporte1"_s});
        // From a peer writing its ANSI code page, then one writing UTF-8.
        peer.send("PRIVMSG prov1 :A\xF1o nuevo");
        peer.send("PRIVMSG prov1 :A\xC3\xB1o nuevo\ttab");
        peer.send("PRIVMSG #Alpha :al canal, no a mi");
        QStringList items;
        QTRY_COMPARE((items += c->takeReceived()).filter(u"PRIVMSG"_s).size(), 2);
        const QStringList msgs = items.filter(u"PRIVMSG"_s);
        QVERIFY2(msgs[0].startsWith(u"PRIVMSG\tsoporte1\t"_s), qPrintable(msgs[0]));
        QVERIFY(msgs[0].endsWith(u"\tAño nuevo\tprov1"_s));
        QVERIFY(msgs[1].endsWith(u"\tAño nuevo tab\tprov1"_s)); // a tab would split the item
        // Server traffic comes as DATA with its number: the message of the day.
        QVERIFY(items.filter(u"DATA\tirc.orvex.test\t372\t- Bienvenido"_s).size() == 1);

        // Out: the ANSI bytes, CR and LF inside the text never leaving as such.
        QVERIFY(c->SendPrivMsg(u"soporte1"_s, u"Grúa en camino\r\nQUIT"_s));
        QTRY_COMPARE(textsTo(peer.received, "soporte1"), QByteArrayList{"Gr\xFA"
                                                                        "a en camino  QUIT"});

        // The channel's names follow renames and departures.
        test::RawIrcPeer other(m_server->port(), "aux", "#Alpha");
        QTRY_COMPARE(c->Nicknames(), (QStringList{u"soporte1"_s, u"aux"_s}));
        other.send("NICK aux2");
        QTRY_COMPARE(c->Nicknames(), (QStringList{u"soporte1"_s, u"aux2"_s}));
        other.send("QUIT :chau");
        QTRY_COMPARE(c->Nicknames(), QStringList{u"soporte1"_s});
        peer.send("PART #Alpha");
        QTRY_VERIFY(c->Nicknames().isEmpty());
    }

    void aLongMessageArrivesWhole()
    {
        const auto c = client(m_server->port(), u"prov1"_s);
        test::RawIrcPeer peer(m_server->port(), "soporte1");
        QTRY_VERIFY(c->isConnected() && peer.welcomed());
        QString text;
        for (int i = 0; text.size() < 1500; ++i)
            text += u"línea %1 del parte; "_s.arg(i);
        text.truncate(1500);
        QVERIFY(c->SendPrivMsg(u"soporte1"_s, text));
        QByteArray joined;
        QTRY_COMPARE((joined = textsTo(peer.received, "soporte1").join()).size(), 1500);
        QCOMPARE(QString::fromLatin1(joined), text); // Latin-1 = the ANSI page for this text
        QVERIFY(textsTo(peer.received, "soporte1").size() >= 3);
    }

    void aTakenNicknameGetsUnderscores()
    {
        const auto first = client(m_server->port(), u"prov1"_s);
        QTRY_VERIFY(first->isConnected());
        const auto second = client(m_server->port(), u"prov1"_s);
        QTRY_VERIFY(second->isConnected());
        QCOMPARE(second->CurrentNick(), u"prov1_"_s);
        const auto third = client(m_server->port(), u"prov1"_s);
        QTRY_VERIFY(third->isConnected());
        QCOMPARE(third->CurrentNick(), u"prov1__"_s);
    }

    void aLostServerShowsAndAReconnectWorks()
    {
        const auto c = client(m_server->port(), u"prov1"_s);
        QTRY_VERIFY(c->isConnected());
        QSignalSpy changes(c.get(), &IrcClient::connectedChanged);
        m_server->kill();
        QTRY_VERIFY(!c->isConnected());
        QCOMPARE(changes.size(), 1);
        QVERIFY(!c->SendPrivMsg(u"x"_s, u"nadie escucha"_s));
        c->Connect(); // refused: no harm, still not connected
        QTRY_VERIFY(m_server->start() && m_server->accepting());
        c->Connect();
        QTRY_VERIFY(c->isConnected());
    }
};

// Against a scripted server, for what a real one does not do on demand.
class TestIrcClientScripted : public QObject
{
    Q_OBJECT

    QTcpServer m_server;
    QTcpSocket *m_link = nullptr;
    QByteArray m_heard;

private slots:
    void init()
    {
        m_heard.clear();
        m_link = nullptr;
        QVERIFY(m_server.listen(QHostAddress::LocalHost, 0));
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            m_link = m_server.nextPendingConnection();
            connect(m_link, &QTcpSocket::readyRead, this, [this] { m_heard += m_link->readAll(); });
        });
    }
    void cleanup()
    {
        m_server.close();
        disconnect(&m_server, nullptr, this, nullptr);
    }

    // Welcomes the client, then says what the test scripts.
    void welcome(IrcClient &c)
    {
        QTRY_VERIFY(m_link && m_heard.contains("USER "));
        m_link->write(":irc.t 001 prov1 :Bienvenido\r\n");
        QTRY_VERIFY(c.isConnected());
    }

    void aSilentLinkIsAskedAndThenDropped()
    {
        const auto c = client(m_server.serverPort(), u"prov1"_s);
        c->setLinkCheck(100, 100);
        welcome(*c);
        QVERIFY(m_heard.contains("JOIN #Alpha\r\n"));
        m_link->write("PING :irc.t\r\n"); // traffic: answered, and the link is alive
        QTRY_VERIFY(m_heard.contains("PONG :irc.t\r\n"));
        // Then nothing more: the client asks, gets no answer, and gives up.
        QTRY_VERIFY(m_heard.contains("PING :orvex\r\n"));
        QTRY_VERIFY(!c->isConnected());
    }

    void overLongLinesAndGarbageAreSkipped()
    {
        const auto c = client(m_server.serverPort(), u"prov1"_s);
        welcome(*c);
        m_link->write(QByteArray(700, 'x') + "\r\n");
        m_link->write(QByteArray(100000, 'y')); // no line end at all
        m_link->write("\r\n:sop!s@h PRIVMSG prov1 :sigo aqui\r\n");
        QStringList items;
        QTRY_COMPARE((items += c->takeReceived()).size(), 1);
        QVERIFY(items[0].startsWith(u"PRIVMSG\tsop\ts@h\tsigo aqui"_s));
        QVERIFY(c->isConnected());
    }
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    TestIrcClient real;
    TestIrcClientScripted scripted;
    return QTest::qExec(&real, argc, argv) | QTest::qExec(&scripted, argc, argv);
}

#include "tst_ircclient_linux.moc"
