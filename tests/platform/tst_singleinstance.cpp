#include "platform/SingleInstance.h"

#include <QTest>

using namespace orvex::platform;
using namespace Qt::StringLiterals;

// One agent per user: the key names the user, from USER or, where there is
// none (as on Windows), USERNAME, unless it is set outright.
class TestSingleInstance : public QObject
{
    Q_OBJECT

private slots:
    void keyNamesTheUser()
    {
        const auto key = [](const char *set, const char *user, const char *username) {
            qputenv("ORVEX_INSTANCE_KEY", set);
            qputenv("USER", user);
            qputenv("USERNAME", username);
            return defaultInstanceKey();
        };
        QCOMPARE(key("", "ana", "luis"), u"orvex-agent-ana"_s);
        QCOMPARE(key("", "", "luis"), u"orvex-agent-luis"_s);
        QCOMPARE(key("k", "ana", "luis"), u"k"_s);
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
