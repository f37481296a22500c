#include "platform/SingleInstance.h"

#include <QTest>

#include <array>

using namespace orvex::platform;
using namespace Qt::StringLiterals;

// One agent per user: the key names the user, from USER or, where there is
// none (as on Windows), USERNAME, unless it is set outright.
class TestSingleInstance : public QObject
{
    Q_OBJECT

private slots:
    void keyNamesTheUser_data()
    {
        QTest::addColumn<QByteArrayList>("environment"); // ORVEX_INSTANCE_KEY, USER, USERNAME
        QTest::addColumn<QString>("key");
        QTest::newRow("user") << QByteArrayList{"", "ana", "luis"} << u"orvex-agent-ana"_s;
        QTest::newRow("no user") << QByteArrayList{"", "", "luis"} << u"orvex-agent-luis"_s;
        QTest::newRow("set outright") << QByteArrayList{"k", "ana", "luis"} << u"k"_s;
    }
    void keyNamesTheUser()
    {
        QFETCH(QByteArrayList, environment);
        for (int i = 0; i < 3; ++i)
            qputenv(std::array{"ORVEX_INSTANCE_KEY", "USER", "USERNAME"}[i], environment[i]);
        QTEST(defaultInstanceKey(), "key");
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
