#include "support/AnsiCodec.h"
#include "support/AnsiText.h"

#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

class TestAnsiCodec : public QObject
{
    Q_OBJECT
private slots:
    // The byte tables themselves are the platform seam's (tests/seams); here
    // the Qt side of the boundary.
    void qtTextCrossesWhole()
    {
        QCOMPARE(ansi::encode(u"A\u00F1o \u20AC"_s), QByteArray("A\xF1o \x80"));
        QCOMPARE(ansi::decode("A\xF1o \x80"), u"A\u00F1o \u20AC"_s);
        QByteArray all;
        for (int b = 0; b < 256; ++b)
            all.append(char(b));
        QCOMPARE(ansi::encode(ansi::decode(all)), all); // NUL included
        QVERIFY(ansi::encode(QString()).isEmpty());
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
