#include "platform/ConnectionState_linux.h"

#include "common/TestSupport.h"

#include <QTest>

using namespace orvex::platform;
namespace flag = orvex::platform::connection_flag;
using namespace Qt::Literals::StringLiterals;

namespace {

struct Interface
{
    QString name;
    QByteArray flags;   // empty: no such attribute
    QByteArray carrier; // empty: unreadable, as for an interface that is down
    QByteArray type = "1\n";
    QByteArray operstate{};
};
using Interfaces = QList<Interface>;

bool writeTree(const QString &root, const Interfaces &interfaces)
{
    for (const Interface &i : interfaces) {
        const QString dir = root + u"/class/net/"_s + i.name + u'/';
        if (!QDir().mkpath(dir))
            return false;
        for (const auto &[file, value] : {std::pair{u"flags"_s, i.flags},
                                          {u"carrier"_s, i.carrier},
                                          {u"type"_s, i.type},
                                          {u"operstate"_s, i.operstate}}) {
            if (!value.isEmpty() && !orvex::test::writeBytes(dir + file, value))
                return false;
        }
    }
    return true;
}

const Interface kLoopback{u"lo"_s, "0x9\n", "1\n", "772\n"};

} // namespace

class TestConnectionStateLinux : public QObject
{
    Q_OBJECT

private slots:
    void flags_data()
    {
        QTest::addColumn<Interfaces>("interfaces");
        QTest::addColumn<uint>("expected");

        const uint lanUp = flag::Lan | flag::Configured;
        const uint offline = flag::Offline | flag::Configured;

        QTest::newRow("no interfaces at all") << Interfaces{} << uint(flag::Offline);
        QTest::newRow("loopback only") << Interfaces{kLoopback} << uint(flag::Offline);
        QTest::newRow("ethernet with carrier")
            << Interfaces{kLoopback, {u"eth0"_s, "0x1003\n", "1\n"}} << lanUp;
        QTest::newRow("cable pulled")
            << Interfaces{kLoopback, {u"eth0"_s, "0x1003\n", "0\n"}} << offline;
        QTest::newRow("administratively down")
            << Interfaces{kLoopback, {u"eth0"_s, "0x1002\n", QByteArray()}} << offline;
        QTest::newRow("point-to-point by type")
            << Interfaces{{u"umts"_s, "0x10d1\n", "1\n", "512\n"}}
            << uint(flag::Modem | flag::Configured);
        QTest::newRow("modem and lan")
            << Interfaces{{u"wwan0"_s, "0x1091\n", "1\n"}, {u"wlan0"_s, "0x1003\n", "1\n"}}
            << uint(flag::Modem | flag::Lan | flag::Configured);
        // Loopback by its flags or by its type, whatever its name.
        QTest::newRow("loopback by flags")
            << Interfaces{{u"lo2"_s, "0X9\n", "1\n", "1\n"}} << uint(flag::Offline);
        QTest::newRow("loopback by type")
            << Interfaces{{u"lo3"_s, "0x1003\n", "1\n", "772\n"}} << uint(flag::Offline);
        QTest::newRow("no flags attribute, operstate up")
            << Interfaces{{u"eth0"_s, QByteArray(), "1\n", "1\n", "up\n"}} << lanUp;
        QTest::newRow("garbled flags fall back to operstate")
            << Interfaces{{u"eth0"_s, "0x1003zz\n", "1\n", "1\n", "down\n"}} << offline;
    }

    void flags()
    {
        QFETCH(Interfaces, interfaces);

        QTemporaryDir root;
        QVERIFY(writeTree(root.path(), interfaces));
        SysfsConnectionState state(root.path().toStdString());
        QTEST(uint(state.flags()), "expected");
    }
};

QTEST_GUILESS_MAIN(TestConnectionStateLinux)
#include "tst_connectionstate_linux.moc"
