// The room a reply is read into: what was received survives every growth,
// and an announced length is reserved once, so the bytes never move after.
#include "support/ReplyRoom.h"

#include <QtTest>

using namespace orvex;

namespace {

// Appends `n` bytes the way the socket does: into the room, then resized.
void land(QByteArray &reply, qsizetype n, char &next)
{
    const qsizetype old = reply.size();
    QVERIFY(reply.capacity() >= old + n); // the room was made beforehand
    reply.resize(old + n);
    char *data = reply.data();
    for (qsizetype i = old; i < reply.size(); ++i)
        data[i] = next++;
}

QByteArray expectedBytes(qsizetype n)
{
    QByteArray out(n, Qt::Uninitialized);
    char c = 0;
    for (char &b : out)
        b = c++;
    return out;
}

} // namespace

class TestReplyRoom : public QObject
{
    Q_OBJECT

private slots:
    // Reads of these sizes, one after another; sizes cross the point where
    // the room is grown, and reach several megabytes so large pages apply.
    void keepsEveryByte_data()
    {
        QTest::addColumn<QList<qsizetype>>("reads");
        QTest::newRow("one byte at a time") << QList<qsizetype>(300, 1);
        QTest::newRow("typical socket reads") << QList<qsizetype>{17, 4096, 65536, 1, 200000};
        QTest::newRow("past several doublings")
            << QList<qsizetype>{1 << 20, 3 << 20, 5 << 20, 123, 9 << 20};
        QTest::newRow("nothing at all") << QList<qsizetype>{0, 0};
    }
    void keepsEveryByte()
    {
        QFETCH(QList<qsizetype>, reads);
        QByteArray reply;
        ReplyRoom room(reply);
        char next = 0;
        qsizetype total = 0;
        for (const qsizetype n : reads) {
            room.makeRoomFor(n);
            land(reply, n, next);
            total += n;
        }
        QCOMPARE(reply.size(), total);
        QVERIFY(reply == expectedBytes(total));
    }

    void announcedLengthIsReservedOnce_data()
    {
        QTest::addColumn<qsizetype>("head");
        QTest::addColumn<qsizetype>("announced");
        QTest::newRow("small") << qsizetype(40) << qsizetype(20480);
        QTest::newRow("large") << qsizetype(1000) << qsizetype(12 << 20);
    }
    void announcedLengthIsReservedOnce()
    {
        QFETCH(qsizetype, head);
        QFETCH(qsizetype, announced);
        QByteArray reply;
        ReplyRoom room(reply);
        char next = 0;
        room.makeRoomFor(head);
        land(reply, head, next);
        room.reserveTotal(head + announced);
        const char *const data = reply.constData();
        for (qsizetype left = announced; left > 0;) {
            const qsizetype n = std::min<qsizetype>(left, 70001);
            room.makeRoomFor(n);
            land(reply, n, next);
            left -= n;
        }
        QCOMPARE(reply.constData(), data);
        QVERIFY(reply == expectedBytes(head + announced));

        // Past the announced length it still grows, keeping what it had.
        room.makeRoomFor(5);
        land(reply, 5, next);
        QVERIFY(reply == expectedBytes(head + announced + 5));
    }
};

QTEST_GUILESS_MAIN(TestReplyRoom)
#include "tst_replyroom.moc"
