#include "support/AnsiCodec.h"
#include "support/AnsiText.h"

#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

// The byte tables are the code page seam's (tests/seams); here the Qt side.
class TestAnsiCodec : public QObject
{
    Q_OBJECT
private slots:
    void qtTextCrossesWhole()
    {
        QByteArray all;
        for (int b = 0; b < 256; ++b)
            all.append(char(b));
        const QString text = ansi::decode(all);
        QCOMPARE(text.size(), all.size()); // NUL included
        QCOMPARE(text.at(0xF1), QChar(u'\u00F1'));
        QCOMPARE(ansi::encode(text), all);
        QVERIFY(ansi::encode(QString()).isEmpty());
        QVERIFY(ansi::decode(QByteArrayView()).isEmpty());
    }

    // AnsiText searches its bytes without widening them.
    void ansiText()
    {
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
