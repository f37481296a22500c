#include "support/AnsiCodec.h"
#include "support/AnsiText.h"

#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

class TestAnsiCodec : public QObject
{
    Q_OBJECT
private slots:
    void windowsRangeMapsToItsCharacters_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        QByteArray all;
        for (int b = 0; b < 256; ++b)
            all.append(char(b));
        QTest::newRow("every byte") << all << ansi::decode(all); // a round trip, one to one
        QTest::newRow("latin-1 letters") << "A\xF1o"_ba << u"Año"_s;
        QTest::newRow("euro and quotes") << "\x80\x93\x94"_ba << u"€“”"_s;
        QTest::newRow("hole stays a control") << "\x81"_ba << QString(QChar(0x81));
    }
    void windowsRangeMapsToItsCharacters()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        QCOMPARE(ansi::decode(bytes), text);
        QCOMPARE(text.size(), bytes.size());
        QCOMPARE(ansi::encode(text), bytes);
    }

    void windowsOnlyByteDeepInsideLongTextIsStillConverted()
    {
        // The quick check works in blocks: a byte in a later block, or at a
        // block's last position, must still be found.
        for (qsizetype at : {qsizetype(0), qsizetype(4095), qsizetype(4096), qsizetype(70001)}) {
            QByteArray bytes(80000, 'x');
            bytes[at] = '\x80';
            const QString text = ansi::decode(bytes);
            QCOMPARE(text.at(at), QChar(0x20AC));
            QCOMPARE(text.count(QChar(0x20AC)), 1);
        }
    }

    void textOutsideTheCodePageAndAnsiText()
    {
        QCOMPARE(ansi::encode(u"a\u4E2Db"_s), QByteArray("a?b"));
        // AnsiText searches its bytes without widening them.
        const AnsiText reply(QByteArray("HTTP/1.0 200 OK\r\n\r\nR:OK Lumaris A\xF1o\r\n.END.\r\n"));
        QVERIFY(reply.startsWith(u"HTTP/1.0"_s));
        QVERIFY(reply.contains(u"R:"_s) && reply.contains(u"Año"_s));
        QVERIFY(!reply.contains(u"r:ok"_s));
        QCOMPARE(reply.size(), reply.toString().size());
        QVERIFY(reply == reply.toString());
        QCOMPARE(AnsiText::fromString(u"Año"_s).bytes(), QByteArray("A\xF1o"));
    }
};

QTEST_GUILESS_MAIN(TestAnsiCodec)
#include "tst_ansicodec.moc"
