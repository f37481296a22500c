#include "platform/SingleInstance.h"

#include <QtTest>

#include <unistd.h>

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

    // The old copy is asked to close and the new one takes the name over
    // once it has gone; the old one hears the request.
    void theNewCopyTakesOverOnceTheOldHasGone()
    {
        qputenv("ORVEX_INSTANCE_KEY", "orvex-test-takeover-" + QByteArray::number(getpid()));
        auto old = createSingleInstance();
        old->claim();
        QSignalSpy asked(old.get(), &SingleInstance::closeRequested);
        auto next = createSingleInstance();
        QVERIFY(old->isClaimed() && next->anotherIsRunning() && next->askOtherToClose());
        next->claim();
        QVERIFY(!next->isClaimed());
        QTRY_COMPARE(asked.size(), 1);
        old.reset();
        QTRY_VERIFY(next->isClaimed());
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
