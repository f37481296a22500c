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
        QTest::addColumn<bool>("valid");
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("port");
        QTest::addColumn<QString>("version");
        QTest::addColumn<int>("seconds");
        QTest::addColumn<QString>("domainField");

        QTest::newRow("v2 defaults") << u"Alpha/prov1/10.0.0.5/V2"_s << true << u"10.0.0.5"_s
                                     << u"9751"_s << u"V2"_s << 120 << u"prov1"_s;
        QTest::newRow("v1 port and interval")
            << u"Alpha/prov1/10.0.0.5:8000/V1/60"_s << true << u"10.0.0.5"_s << u"8000"_s << u"V1"_s
            << 60 << u"prov1"_s;
        QTest::newRow("other version") << u"Alpha/prov1/10.0.0.5/V3"_s << true << u"10.0.0.5"_s
                                       << u"9745"_s << u"V3"_s << 120 << u"prov1"_s;
        QTest::newRow("lower-case v2 is not V2")
            << u"Alpha/prov1/h/v2"_s << true << u"h"_s << u"9745"_s << u"v2"_s << 120 << u"prov1"_s;
        QTest::newRow("empty interval after fourth slash")
            << u"Alpha/prov1/h/V2/"_s << true << u"h"_s << u"9751"_s << u"V2"_s << 0 << u"prov1"_s;
        QTest::newRow("non-numeric interval") << u"Alpha/prov1/h/V2/abc"_s << true << u"h"_s
                                              << u"9751"_s << u"V2"_s << 0 << u"prov1"_s;
        QTest::newRow("interval with trailing text") << u"Alpha/prov1/h/V2/45s"_s << true << u"h"_s
                                                     << u"9751"_s << u"V2"_s << 45 << u"prov1"_s;
        QTest::newRow("interval too big for the field")
            << u"Alpha/prov1/h/V2/99999"_s << true << u"h"_s << u"9751"_s << u"V2"_s << 0
            << u"prov1"_s;
        // An empty version field with text after it: that text is the version.
        QTest::newRow("empty version field") << u"Alpha/prov1/h//60"_s << true << u"h"_s
                                             << u"9745"_s << u"60"_s << 120 << u"prov1"_s;
        QTest::newRow("port after first colon only")
            << u"A/d/h:81:82/V2"_s << true << u"h"_s << u"81:82"_s << u"V2"_s << 120 << u"d"_s;
        QTest::newRow("empty domain") << u"Alpha//10.0.0.5/V2"_s << false << QString() << QString()
                                      << QString() << 0 << QString();
        QTest::newRow("no host field") << u"Alpha/prov1/host"_s << false << QString() << QString()
                                       << QString() << 0 << u"prov1"_s;
        QTest::newRow("empty host before port")
            << u"A/d/:80/V2"_s << false << QString() << QString() << QString() << 0 << u"d"_s;
    }
    void parsesServerValues()
    {
        QFETCH(QString, value);
        QFETCH(bool, valid);
        const DynIpServerValue v = parseDynIpServerValue(value);
        QVERIFY(v.hasSeparator);
        QCOMPARE(v.valid, valid);
        QTEST(v.domainField, "domainField");
        if (!valid)
            return;
        QTEST(v.Host, "host");
        QTEST(v.Port, "port");
        QTEST(v.Version, "version");
        QTEST(int(v.KeepAliveSeconds), "seconds");
        QCOMPARE(v.Name, value.section(u'/', 0, 0));
    }

    void valueWithoutSlashIsNotAnEntry()
    {
        for (const QString &v : {u"\u00B7"_s, QString(), u"Alpha prov1 host V2"_s}) {
            const DynIpServerValue parsed = parseDynIpServerValue(v);
            QVERIFY(!parsed.hasSeparator);
            QVERIFY(!parsed.valid);
        }
    }
};

QTEST_GUILESS_MAIN(TestDynIpServer)
#include "tst_dynipserver.moc"
