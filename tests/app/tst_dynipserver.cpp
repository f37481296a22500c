#include "app/DynIpServer.h"

#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

class TestDynIpServer : public QObject
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
        QVERIFY(v.hasSeparator || !v.valid);
        if (v.valid)
            QCOMPARE(v.Name, value.section(u'/', 0, 0));
    }
};

QTEST_GUILESS_MAIN(TestDynIpServer)
#include "tst_dynipserver.moc"
