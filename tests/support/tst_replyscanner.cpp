#include "support/ReplyScanner.h"

#include <QtTest>

using namespace orvex;

namespace {

ReplyScanner scanInPieces(QByteArrayView bytes, qsizetype piece)
{
    ReplyScanner scanner;
    for (qsizetype at = 0; at < bytes.size(); at += piece)
        scanner.feed(bytes.sliced(at, std::min(piece, bytes.size() - at)));
    return scanner;
}

const qsizetype kPieces[] = {1, 2, 3, 5, 7, 16, 17, 1 << 20};

} // namespace

class TestReplyScanner : public QObject
{
    Q_OBJECT

private slots:
    void endMarker_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<bool>("ends");
        QTest::newRow("end line") << QByteArray("HTTP/1.0 200 OK\r\n\r\nR:OK\r\n.END.\r\n") << true;
        QTest::newRow("end line, lower case") << QByteArray("R:OK\r\n.end.\r\n") << true;
        QTest::newRow("html close, any case") << QByteArray("A\xF1o</p></HtMl>") << true;
        QTest::newRow("end without CR") << QByteArray("R:OK\r\n.END.\n") << false;
        QTest::newRow("end without LF") << QByteArray("R:OK\r\n.END.\r") << false;
        QTest::newRow("html close unfinished") << QByteArray("<html></HTML") << false;
    }

    void endMarker()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, ends);
        for (const qsizetype piece : kPieces) {
            QCOMPARE(scanInPieces(reply, piece).endMarkerSeen(), ends);
            // Every marker stands at the end of its row: one byte short is none.
            QVERIFY(!scanInPieces(QByteArrayView(reply).chopped(1), piece).endMarkerSeen());
            QCOMPARE(scanInPieces(reply, piece).received(), reply.size());
        }
    }

    void contentLength_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<int>("length");
        const QByteArray status("HTTP/1.0 200 OK\r\n");
        QTest::newRow("announced") << status + "Content-length: 20480\r\n\r\nbody" << 20480;
        QTest::newRow("blanks, then text") << status + "Content-length:  42 B\r\n" << 42;
        QTest::newRow("first one counts")
            << QByteArray("Content-length: 5\r\nContent-length: 9\r\n") << 5;
        QTest::newRow("zero") << status + "Content-length: 0\r\n\r\n" << -1;
        QTest::newRow("not a number") << status + "Content-length: many\r\n\r\n" << -1;
        QTest::newRow("beyond 32 bits") << status + "Content-length: 4294967296\r\n" << -1;
        QTest::newRow("usual spelling") << status + "Content-Length: 20\r\n\r\nbody" << 0;
        QTest::newRow("line not finished") << status + "Content-length: 20" << 0;
    }

    void contentLength()
    {
        QFETCH(QByteArray, reply);
        QFETCH(int, length);
        for (const qsizetype piece : kPieces)
            QCOMPARE(scanInPieces(reply, piece).contentLength(), length);
    }

    void headerlessLimit()
    {
        const QByteArray filler(99999, 'x');
        ReplyScanner scanner;
        scanner.feed(filler);
        QCOMPARE(scanner.contentLength(), 0);
        scanner.feed("C");
        QCOMPARE(scanner.contentLength(), -1);
        scanner.feed("ontent-length: 7\r\n");
        QCOMPARE(scanner.contentLength(), -1);

        // All of what arrived is looked at before the size rule applies.
        ReplyScanner big;
        big.feed(QByteArray(filler + filler + "Content-length: 7\r\n"));
        QCOMPARE(big.contentLength(), 7);
    }
};

QTEST_GUILESS_MAIN(TestReplyScanner)
#include "tst_replyscanner.moc"
