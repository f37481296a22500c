// Long replies: the room a reply is read into keeps every byte through its
// growth and its move to a spool file, and a spool lasts as long as its reply.
// (The socket's end of it is in the HTTP tests' reply-end table.)
#include "support/ReplyRoom.h"

#include <QBuffer>
#include <QtTest>

using namespace orvex;
using namespace Qt::Literals::StringLiterals;

namespace {

// Byte i is char(i): a lost or repeated piece shows.
QByteArray counting(qsizetype n)
{
    QByteArray out(n, Qt::Uninitialized);
    for (qsizetype i = 0; i < n; ++i)
        out[i] = char(i);
    return out;
}

// Appends `n` bytes the way the socket does: into the room, then resized.
void land(ReplyRoom &room, qsizetype n, qsizetype &total)
{
    QByteArray &to = room.prepare(n);
    const qsizetype old = to.size();
    QVERIFY(to.capacity() >= old + n); // the room was made beforehand
    to.resize(old + n);
    for (qsizetype i = old; i < to.size(); ++i)
        to.data()[i] = char(total++);
    QVERIFY(room.commit());
}

} // namespace

class TestHttpLong : public QObject
{
    Q_OBJECT

private slots:
    // Reads of these sizes, kept in memory or spooled past 1 MB; sizes cross
    // the points where the room grows or moves.
    void keepsEveryByte_data()
    {
        QTest::addColumn<QList<qsizetype>>("reads");
        QTest::addColumn<bool>("spooled");
        QTest::newRow("one byte at a time") << QList<qsizetype>(300, 1) << false;
        QTest::newRow("past the spool threshold")
            << QList<qsizetype>{1000, (1 << 20) - 1000, 1, 70001, 3 << 20} << true;
        QTest::newRow("nothing at all") << QList<qsizetype>{0, 0} << false;
    }
    void keepsEveryByte()
    {
        QFETCH(QList<qsizetype>, reads);
        QTemporaryDir folder;
        ReplyRoom room(1 << 20, folder.path());
        qsizetype total = 0;
        for (const qsizetype n : reads)
            land(room, n, total);
        QCOMPARE(room.size(), total);
        // A short reply takes short room, not a long one's block up front.
        if (total < 1000)
            QVERIFY(room.prepare(0).capacity() < (1 << 20));
        {
            const AnsiText reply = room.take();
            QTEST(reply.isSpooled(), "spooled");
            QCOMPARE(reply.size(), total);
            QVERIFY(reply.bytes() == counting(total));
            QVERIFY(reply.mid(total / 2, 70000) == counting(total).mid(total / 2, 70000));
            QBuffer full; // a write that fails is told, in memory and spooled alike
            QVERIFY(full.open(QIODevice::ReadOnly));
            QVERIFY(total == 0 || !reply.writeTo(full, 0));
        }
        QVERIFY(
            QDir(folder.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    }
};

QTEST_GUILESS_MAIN(TestHttpLong)
#include "tst_httplong.moc"
