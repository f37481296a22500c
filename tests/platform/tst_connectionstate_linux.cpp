#include "platform/ConnectionState_linux.h"

#include "common/TestSupport.h"

#include <QtTest>

using namespace orvex::platform;
namespace flag = orvex::platform::connection_flag;
using namespace Qt::StringLiterals;

// A sysfs tree written from rows: interfaces split by ';', each
// "name flags carrier type operstate", with '-' for a file that is not there
// (as the carrier of an interface that is down). Each file ends in a newline,
// as the kernel writes it.
class TestConnectionStateLinux : public QObject
{
    Q_OBJECT

private slots:
    void flags_data()
    {
        QTest::addColumn<QString>("interfaces");
        QTest::addColumn<uint>("expected");
        const uint lanUp = flag::Lan | flag::Configured;
        const QString lo = u"lo - 1 - up;"_s; // by its name alone
        QTest::newRow("no interfaces at all") << QString() << uint(flag::Offline);
        // Loopback by its flags or by its type, whatever its name.
        QTest::newRow("loopbacks")
            << lo + u"lo2 0X9 1 1 -;lo3 0x1003 1 772 -"_s << uint(flag::Offline);
        QTest::newRow("ethernet with carrier") << lo + u"eth0 0x1003 1 1 -"_s << lanUp;
        QTest::newRow("cable pulled, down, or garbled flags and operstate down")
            << lo + u"eth0 0x1003 0 1 -;eth1 0x1002 - 1 -;eth2 0x1003zz 1 1 down"_s
            << uint(flag::Offline | flag::Configured);
        QTest::newRow("point-to-point by type")
            << u"umts 0x10d1 1 512 -"_s << uint(flag::Modem | flag::Configured);
        QTest::newRow("modem and lan") << u"wwan0 0x1091 1 1 -;wlan0 0x1003 1 1 -"_s
                                       << uint(flag::Modem | flag::Lan | flag::Configured);
        QTest::newRow("no flags attribute, operstate up; blanks after")
            << u"eth0 - 1\r 1 up\t"_s << lanUp;
    }

    void flags()
    {
        QFETCH(QString, interfaces);
        QTemporaryDir root;
        const QStringList files{u"flags"_s, u"carrier"_s, u"type"_s, u"operstate"_s};
        for (const QString &row : interfaces.split(u';', Qt::SkipEmptyParts)) {
            const QStringList values = row.split(u' ');
            const QString dir = root.path() + u"/class/net/"_s + values[0] + u'/';
            QVERIFY(QDir().mkpath(dir));
            for (qsizetype i = 0; i < files.size(); ++i)
                QVERIFY(values[i + 1] == u"-"_s ||
                        orvex::test::writeBytes(dir + files[i], values[i + 1].toLatin1() + '\n'));
        }
        QTEST(uint(SysfsConnectionState(root.path().toStdString()).flags()), "expected");
    }
};

QTEST_GUILESS_MAIN(TestConnectionStateLinux)
#include "tst_connectionstate_linux.moc"
