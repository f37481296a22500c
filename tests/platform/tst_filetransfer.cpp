#include "common/LoopbackHttpServer.h"
#include "platform/FileTransfer.h"

#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;
using test::Answer;

// The real transfer helper: the URL goes out exactly as escaped, the body to
// a part file beside the target, whole only when all of it came with a
// success status. One that ends early (the program closing) says nothing and
// leaves nothing.
class TestFileTransfer : public QObject
{
    Q_OBJECT

private slots:
    void transfer_data()
    {
        QTest::addColumn<Answer>("answer");
        QTest::addColumn<bool>("whole");
        QTest::addColumn<qint64>("size"); // -1: abandoned while it comes
        const QByteArray body(200000, 'z');
        QTest::newRow("announced")
            << Answer::ok(body, "Content-Length: 200000\r\n") << true << qint64(200000);
        QTest::newRow("until close") << Answer::ok(body) << true << qint64(200000);
        QTest::newRow("empty, left open") // whole once the announced nothing is in
            << Answer().send("HTTP/1.0 200 OK\r\nContent-Length: 0\r\n\r\n") << true << qint64(0);
        QTest::newRow("short") << Answer::ok(body, "Content-Length: 300000\r\n") << false
                               << qint64(200000);
        QTest::newRow("not found")
            << Answer::reply("HTTP/1.0 404 No\r\n\r\nnada") << false << qint64(4);
        QTest::newRow("not HTTP") << Answer::reply("XTTP 200 OK\r\n\r\nnada") << false << qint64(4);
        QTest::newRow("nobody there") << Answer() << false << qint64(0);
        QTest::newRow("abandoned")
            << Answer().trickle("HTTP/1.0 200 OK\r\n\r\n" + body, 100, 50) << false << qint64(-1);
    }
    void transfer()
    {
        QFETCH(Answer, answer);
        QFETCH(qint64, size);
        auto http = std::make_unique<test::LoopbackHttpServer>();
        http->otherwise = answer;
        const quint16 port = http->port();
        if (answer.steps.isEmpty())
            http.reset(); // a port nobody listens on any more
        QTemporaryDir folder;
        auto transfer = platform::createFileTransfer();
        QSignalSpy progress(transfer.get(), &platform::FileTransfer::FileReadProgress);
        QSignalSpy complete(transfer.get(), &platform::FileTransfer::FileReadComplete);
        const QString query = u"/f/x.zip?e=Gr%FAas+del+Sur+S%2EA%2E&p=%7E"_s;
        // Bytes outside printable ASCII go escaped, DEL included.
        transfer->ReadFile(u"x.zip"_s, u"http://127.0.0.1:%1"_s.arg(port) + query + u"\x7F"_s, 1,
                           folder.filePath(u"x.zip"_s));
        if (size < 0) {
            QVERIFY(progress.wait(10000));
            transfer.reset();
            QVERIFY(complete.isEmpty() && QDir(folder.path()).isEmpty(QDir::Files | QDir::Hidden));
            return;
        }
        QVERIFY(complete.wait(10000));
        QCOMPARE(complete[0][0].toString(), u"x.zip"_s);
        const QFileInfo part(complete[0][1].toString());
        QVERIFY(part.absoluteFilePath().startsWith(QFileInfo(folder.path()).absoluteFilePath() +
                                                   u"/.orvex-"_s));
        QCOMPARE(part.size(), size);
        QTEST(complete[0][2].toBool(), "whole");
        if (http)
            QCOMPARE(http->requestLines(),
                     QByteArrayList{"GET " + query.toLatin1() + "%7F HTTP/1.0"});
    }

    // Port 1 is the lowest there is (listening there takes root); 0 is none.
    void portsAtTheEnds()
    {
        test::LoopbackHttpServer http(QHostAddress::LocalHost, 1);
        if (http.port() != 1)
            QSKIP("only root may listen on port 1");
        http.otherwise = Answer::ok("uno");
        QTemporaryDir folder;
        auto transfer = platform::createFileTransfer();
        QSignalSpy complete(transfer.get(), &platform::FileTransfer::FileReadComplete);
        for (const QString &port : {u"1"_s, u"0"_s})
            transfer->ReadFile(port, u"http://127.0.0.1:"_s + port + u"/x"_s, 1,
                               folder.filePath(port));
        QTRY_COMPARE(complete.size(), 2);
        for (const QList<QVariant> &c : complete)
            QCOMPARE(c[2].toBool(), c[0] == u"1"_s);
    }
};

QTEST_GUILESS_MAIN(TestFileTransfer)
#include "tst_filetransfer.moc"
