#include "common/FakeProbes.h"
#include "common/MessageLog.h"
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
    // A name that does not resolve fails without sending anything; a later
    // success keeps the last error. A failure's log line says why.
    void doPing()
    {
        // Host, replies, status, error (empty: success).
        const std::tuple<QString, uint, uint, QString> rows[] = {
            {u"centre"_s, 1, 0, QString()},
            {u"centre"_s, 0, 11010, u"Ping failed, error = 11010"_s},
            {u"centre"_s, 1, 11003, u"Ping failed to complete, error = 11003"_s},
            {u"no-such-host"_s, 0, 11050, u"Ping failed, error = 11050"_s}};
        for (const auto &[host, replies, status, error] : rows) {
            Centre f;
            f.pinger.answer = platform::EchoResult{replies, status, 7, "echo detail"};
            const bool known = host == u"centre";
            test::MessageLog log("orvex.net");
            const bool ok = f.net.DoPing(host);
            QCOMPARE(log.contains(known ? u"echo detail"_s : u"no address to ping"_s), !ok);
            QCOMPARE(std::tuple(ok, f.net.PingError, f.net.PingOK, f.net.lastIP),
                     std::tuple(error.isEmpty(), error, error.isEmpty() ? 7 : -1,
                                known ? u"127.1.2.250"_s : u"No IP"_s));
            using Sent = decltype(f.pinger.sent);
            QCOMPARE(std::tuple(f.pinger.sent, f.pinger.timeouts),
                     known ? std::tuple(Sent{net(127, 1, 2, 250)}, Sent{500u})
                           : std::tuple(Sent{}, Sent{}));
            f.pinger.answer = platform::EchoResult{1, 0, 3, {}};
            QVERIFY(f.net.DoPing(u"centre"_s));
            QCOMPARE(f.net.PingError, error);
        }
    }

    // The echo and the name's look-up are waited for with events running, so
    // the window goes on while a server does not answer; an echo that never
    // ends is given up a second after its own time-out.
    void doPingLetsEventsRunWhileItWaits()
    {
        Centre f;
        f.pinger.held = true;
        bool ran = false;
        QTimer::singleShot(0, [&] { ran = true; });
        QVERIFY(!f.net.DoPing(u"centre"_s) && ran);
        QCOMPARE(f.net.PingError, u"Ping failed, error = 11010"_s);
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

    // Fewer parts than four fill the last one; parts may be hex or octal.
    void ip2Long()
    {
        const std::pair<QString, uint> valid[] = {{u"1.2.3.4"_s, net(1, 2, 3, 4)},
                                                  {u"1.2.300"_s, net(1, 2, 1, 44)},
                                                  {u"10.65538"_s, net(10, 1, 0, 2)},
                                                  {u"3232235521"_s, net(192, 168, 0, 1)},
                                                  {u"0x7F.010.00.0XaA"_s, net(127, 8, 0, 0xAA)}};
        for (const auto &[text, address] : valid)
            QCOMPARE(uint(Net::IP2Long(text)), address);
        for (const QString &bad :
             {QString(), u"1.2.3.4.5"_s, u"256.1.1.1"_s, u"1.2.65536"_s, u"1.16777216"_s,
              u"4294967296"_s, u"08.1.1.1"_s, u"0x.1.1.1"_s, u"1.2.3.4 "_s})
            QVERIFY2(uint(Net::IP2Long(bad)) == 0xFFFFFFFFu, qPrintable(bad));
    }
};

QTEST_GUILESS_MAIN(TestNet)
#include "tst_net.moc"
