#include "platform/SingleInstance.h"

#include <QtTest>

using namespace orvex::platform;
using namespace Qt::StringLiterals;

// One agent per user, under a key of its own.
class TestSingleInstance : public QObject
{
    Q_OBJECT

private slots:
    // The old copy is asked to close and the new one takes the name over
    // once it has gone; the old one hears the request.
    void theNewCopyTakesOverOnceTheOldHasGone()
    {
        qputenv("ORVEX_INSTANCE_KEY",
                "orvex-test-takeover-" + QByteArray::number(QCoreApplication::applicationPid()));
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
