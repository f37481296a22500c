#include "common/MessageLog.h"
#include "helpers/AgentHarness.h"

#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// Name|Domain|Host|Port|Version|seconds, then the chat connection if any.
QString describe(const DynIpServer &s)
{
    QString text = QStringList{s.Name, s.Domain,  s.Host,
                               s.Port, s.Version, QString::number(s.KeepAliveSeconds)}
                       .join(u'|');
    if (const platform::IrcClient *c = s.ChatClient.get())
        text += u" chat %1:%2 %3 %4/%5"_s.arg(c->ServerHost())
                    .arg(c->Port())
                    .arg(c->Channel(), c->NickName(), c->UserName());
    return text;
}

} // namespace

class TestServerTable : public QObject
{
    Q_OBJECT
private slots:
    void parsesServerValues_data()
    {
        QTest::addColumn<QString>("value");
        // Host|Port|Version|seconds|domain field, or what makes it no entry.
        QTest::addColumn<QString>("parsed");
        const auto row = [](const char *name, const QString &value, const QString &parsed) {
            QTest::newRow(name) << value << parsed;
        };
        row("v2 defaults", u"Alpha/prov1/10.0.0.5/V2"_s, u"10.0.0.5|9751|V2|120|prov1"_s);
        row("v1 port and interval", u"Alpha/prov1/10.0.0.5:8000/V1/60"_s,
            u"10.0.0.5|8000|V1|60|prov1"_s);
        row("lower-case v2 is not V2", u"Alpha/prov1/h/v2"_s, u"h|9745|v2|120|prov1"_s);
        row("empty interval after fourth slash", u"Alpha/prov1/h/V2/"_s, u"h|9751|V2|0|prov1"_s);
        row("interval with trailing text", u"Alpha/prov1/h/V2/45s"_s, u"h|9751|V2|45|prov1"_s);
        row("interval too big for the field", u"Alpha/prov1/h/V2/99999"_s, u"h|9751|V2|0|prov1"_s);
        // An empty version field with text after it: that text is the version.
        row("empty version field", u"Alpha/prov1/h//60"_s, u"h|9745|60|120|prov1"_s);
        row("port after first colon only", u"A/d/h:81:82/V2"_s, u"h|81:82|V2|120|d"_s);
        row("empty domain", u"Alpha//10.0.0.5/V2"_s, u"invalid, domain "_s);
        row("no host field", u"Alpha/prov1/host"_s, u"invalid, domain prov1"_s);
        row("empty host before port", u"A/d/:80/V2"_s, u"invalid, domain d"_s);
        row("no slash", u"Alpha prov1 host V2"_s, u"no slash"_s);
        row("empty", QString(), u"no slash"_s);
    }
    void parsesServerValues()
    {
        QFETCH(QString, value);
        const DynIpServerValue v = parseDynIpServerValue(value);
        QString parsed = u"invalid, domain "_s + v.domainField;
        if (!v.hasSeparator)
            parsed = u"no slash"_s;
        else if (v.valid)
            parsed = QStringList{v.Host, v.Port, v.Version, QString::number(v.KeepAliveSeconds),
                                 v.domainField}
                         .join(u'|');
        QTEST(parsed, "parsed");
        if (v.valid)
            QCOMPARE(v.Name, value.section(u'/', 0, 0));
    }

    void tableFromTheSettings_data()
    {
        QTest::addColumn<QByteArray>("ini"); // null: no settings file
        QTest::addColumn<QString>("commandLine");
        QTest::addColumn<QStringList>("servers"); // element 0 is the support server
        // The support server takes the domain of the last value with a "/"
        // ("sin barra" has none; Roto's counts although it is skipped), and
        // its chat follows the home server while its keep-alive host stays
        // the centre's.
        const auto support = [](const QString &domain, const QString &host, const QString &chat) {
            return u"Sendaro|%1|%2|9751|V2|900 chat %3:9744 #ox2k4 %1/%1"_s.arg(domain, host, chat);
        };
        const QByteArray ini = "; servidores\r\n[Centro]\r\nHost=127.0.0.1\r\n\r\n[DynIP]\r\n"
                               "DynIP Server 1=Alpha/prov1/127.0.0.1/V2\r\n"
                               "DynIP Server 3=Beta/prov2/127.0.0.1:8000/V1/60\r\n"
                               "DynIP Server 5=Gama/prov3/127.0.0.1/V2/300\r\n"
                               "DynIP Server 7=sin barra\r\n";
        const QString local = u"127.0.0.1"_s, fixed = u"centro.sendaro.net"_s;
        const QStringList servers{
            u"Alpha|prov1|127.0.0.1|9751|V2|120 chat 127.0.0.1:9744 #Alpha prov1/prov1"_s,
            u"Beta|prov2|127.0.0.1|8000|V1|60"_s,
            u"Gama|prov3|127.0.0.1|9751|V2|300 chat 127.0.0.1:9744 #Gama prov3/prov3"_s};
        QTest::newRow("servers") << ini << QString()
                                 << QStringList{support(u"prov3"_s, local, local)} + servers;
        QTest::newRow("home server on the command line")
            << ini << u" 127.0.0.9 "_s
            << QStringList{support(u"prov3"_s, local, u"127.0.0.9"_s)} + servers;
        QTest::newRow("last value with a slash is skipped")
            << QByteArray("[DynIP]\r\nDynIP Server 1=A/d1/127.0.0.1/V2\r\n"
                          "DynIP Server 10=B//h/V2\r\n")
            << QString()
            << QStringList{support({}, fixed, fixed),
                           u"A|d1|127.0.0.1|9751|V2|120 chat 127.0.0.1:9744 #A d1/d1"_s};
        QTest::newRow("no settings file")
            << QByteArray() << QString() << QStringList{support({}, fixed, fixed)};
    }
    void tableFromTheSettings()
    {
        QFETCH(QByteArray, ini);
        QFETCH(QString, commandLine);
        test::AgentHarness h(ini);
        h.commandLine = commandLine;
        test::MessageLog log("orvex.start"); // where support looks for skipped entries
        const ServerTable &table = h.table();
        QCOMPARE(log.contains(u"DynIP Server 10 skipped"_s), ini.contains("B//"));
        QStringList servers;
        for (const DynIpServer &s : table.servers())
            servers << describe(s);
        QTEST(servers, "servers");
        QCOMPARE(table.serverName(0), u"Sendaro"_s);
        QVERIFY(table.serverName(int(table.size())).isEmpty());
        QVERIFY(!table.chatClient(-1));
    }
};

QTEST_MAIN(TestServerTable)
#include "tst_servertable.moc"
