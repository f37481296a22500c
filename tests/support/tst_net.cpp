#include "common/FakeProbes.h"
#include "support/Net.h"

#include <QTest>
#include <QTimer>

using namespace orvex;
using namespace Qt::Literals::StringLiterals;

namespace {

constexpr auto net = test::ipv4;

// A Net that knows only the name "centre".
struct Centre : test::FakeNet
{
    Centre() { resolver.names["centre"] = test::ipv4(127, 1, 2, 250); }
};

} // namespace

class TestNet : public QObject
{
    Q_OBJECT

private slots:
    void doPing_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<uint>("replies");
        QTest::addColumn<uint>("status");
        QTest::addColumn<QString>("error"); // empty: success
        QTest::newRow("answered") << u"centre"_s << 1u << 0u << QString();
        QTest::newRow("no reply") << u"centre"_s << 0u << 11010u << u"Ping failed, error = 11010"_s;
        QTest::newRow("error status")
            << u"centre"_s << 1u << 11003u << u"Ping failed to complete, error = 11003"_s;
        // A name that does not resolve fails without sending anything.
        QTest::newRow("unresolved")
            << u"no-such-host"_s << 0u << 11050u << u"Ping failed, error = 11050"_s;
    }
    void doPing()
    {
        QFETCH(QString, host);
        QFETCH(uint, replies);
        QFETCH(uint, status);
        QFETCH(QString, error);
        Centre f;
        f.pinger.answer = platform::EchoResult{replies, status, 7, {}};
        const bool known = host == u"centre";
        QCOMPARE(f.net.DoPing(host), error.isEmpty());
        QCOMPARE(f.net.PingError, error);
        QCOMPARE(f.net.PingOK, error.isEmpty() ? 7 : -1);
        QCOMPARE(f.net.lastIP, known ? u"127.1.2.250"_s : u"No IP"_s);
        using Sent = decltype(f.pinger.sent);
        QCOMPARE(f.pinger.sent, known ? Sent{net(127, 1, 2, 250)} : Sent{});
        QCOMPARE(f.pinger.timeouts, known ? Sent{500u} : Sent{});
        // A later success keeps the last error.
        f.pinger.answer = platform::EchoResult{1, 0, 3, {}};
        QVERIFY(f.net.DoPing(u"centre"_s));
        QCOMPARE(f.net.PingError, error);
    }

    // The echo and the name's look-up are waited for with events running, so
    // the window goes on while a server does not answer.
    void doPingLetsEventsRunWhileItWaits()
    {
        Centre f;
        f.pinger.held = true;
        QTimer::singleShot(0, [&] { f.pinger.releaseAll(); });
        QVERIFY(!f.net.DoPing(u"centre"_s)); // released by the event: a time-out
        QCOMPARE(f.net.PingError, u"Ping failed to complete, error = 11010"_s);
    }

    // The name is padded to 64 characters in place; the look-up reads it as
    // a C string, in ANSI.
    void padding()
    {
        test::FakeNet f;
        QString empty, year = u"a\u00F1o"_s;
        QCOMPARE(f.net.pingGetHostByName(empty), u"No IP"_s);
        f.net.pingGetHostByName(year);
        QCOMPARE(empty, QString(64, QChar(0)));
        QCOMPARE(year, u"a\u00F1o"_s + QString(61, QChar(0)));
        QCOMPARE(f.resolver.asked, (std::vector<std::string>{"", "a\xF1o"}));
    }

    void ip2Long_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<uint>("address");
        const uint none = 0xFFFFFFFFu;
        QTest::newRow("dotted") << u"1.2.3.4"_s << net(1, 2, 3, 4);
        QTest::newRow("three parts") << u"1.2.300"_s << net(1, 2, 1, 44);
        QTest::newRow("two parts") << u"10.65538"_s << net(10, 1, 0, 2);
        QTest::newRow("one part") << u"3232235521"_s << net(192, 168, 0, 1);
        QTest::newRow("hex and octal") << u"0x7F.010.00.0XaA"_s << net(127, 8, 0, 0xAA);
        QTest::newRow("empty") << QString() << none;
        QTest::newRow("five parts") << u"1.2.3.4.5"_s << none;
        QTest::newRow("byte too large") << u"256.1.1.1"_s << none;
        QTest::newRow("last of three too large") << u"1.2.65536"_s << none;
        QTest::newRow("last of two too large") << u"1.16777216"_s << none;
        QTest::newRow("over 32 bits") << u"4294967296"_s << none;
        QTest::newRow("not octal") << u"08.1.1.1"_s << none;
        QTest::newRow("bare 0x") << u"0x.1.1.1"_s << none;
        QTest::newRow("blank") << u"1.2.3.4 "_s << none;
    }
    void ip2Long()
    {
        QFETCH(QString, text);
        QTEST(uint(Net::IP2Long(text)), "address");
    }
};

QTEST_GUILESS_MAIN(TestNet)
#include "tst_net.moc"
