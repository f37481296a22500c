// The room a reply is read into: what was received survives every growth
// and the move to a spool file, and a spool lasts exactly as long as the
// reply that holds it.
#include "common/TestSupport.h"
#include "support/ReplyRoom.h"

#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// Appends `n` bytes the way the socket does: into the room, then resized.
void land(ReplyRoom &room, qsizetype n, char &next)
{
    QByteArray &to = room.prepare(n);
    const qsizetype old = to.size();
    QVERIFY(to.capacity() >= old + n); // the room was made beforehand
    to.resize(old + n);
    for (qsizetype i = old; i < to.size(); ++i)
        to.data()[i] = next++;
    QVERIFY(room.commit());
}

QByteArray expectedBytes(qsizetype n)
{
    QByteArray out(n, Qt::Uninitialized);
    char c = 0;
    for (char &b : out)
        b = c++;
    return out;
}

QStringList spoolsIn(const QString &folder)
{
    return QDir(folder).entryList({u".orvex-reply-*"_s}, QDir::Files | QDir::Hidden);
}

} // namespace

class TestReplyRoom : public QObject
{
    Q_OBJECT

private slots:
    // Reads of these sizes, one after another, kept in memory or spooled
    // past 1 MB; sizes cross the points where the room grows or moves.
    void keepsEveryByte_data()
    {
        QTest::addColumn<QList<qsizetype>>("reads");
        QTest::addColumn<bool>("spooled");
        QTest::newRow("one byte at a time") << QList<qsizetype>(300, 1) << false;
        QTest::newRow("typical socket reads")
            << QList<qsizetype>{17, 4096, 65536, 1, 200000} << false;
        QTest::newRow("past the spool threshold")
            << QList<qsizetype>{1000, (1 << 20) - 1000, 1, 70001, 3 << 20} << true;
        QTest::newRow("nothing at all") << QList<qsizetype>{0, 0} << false;
    }
    void keepsEveryByte()
    {
        QFETCH(QList<qsizetype>, reads);
        QFETCH(bool, spooled);
        QTemporaryDir folder;
        ReplyRoom room(1 << 20, folder.path());
        char next = 0;
        qsizetype total = 0;
        for (const qsizetype n : reads) {
            land(room, n, next);
            total += n;
        }
        QCOMPARE(room.size(), total);
        {
            const AnsiText reply = room.take();
            QCOMPARE(reply.isSpooled(), spooled);
            QCOMPARE(reply.size(), total);
            QVERIFY(reply.bytes() == expectedBytes(total));
            // Read where it lies, the same bytes.
            QVERIFY(reply.mid(total / 2, 70000) == expectedBytes(total).mid(total / 2, 70000));
        }
        QVERIFY(spoolsIn(folder.path()).isEmpty()); // gone with the reply
    }

    // A spool left by a killed run goes when the next is made, one still
    // held does not; without a place for a spool the reply stays in memory.
    void spoolsAreSweptOrDoneWithout()
    {
        QTemporaryDir folder;
        QVERIFY(test::writeBytes(folder.filePath(u".orvex-reply-stale"_s), "viejo"));
        char next = 0;
        ReplyRoom room(10, folder.path());
        land(room, 20, next);
        QVERIFY(!QFile::exists(folder.filePath(u".orvex-reply-stale"_s)));
        ReplyRoom second(10, folder.path());
        land(second, 20, next);
        QVERIFY(room.take().bytes() == expectedBytes(20));

        ReplyRoom nowhere(10, folder.filePath(u"missing"_s));
        next = 0;
        land(nowhere, 20, next);
        const AnsiText reply = nowhere.take();
        QVERIFY(!reply.isSpooled());
        QVERIFY(reply.bytes() == expectedBytes(20));
    }
};

QTEST_GUILESS_MAIN(TestReplyRoom)
#include "tst_replyroom.moc"
