#include "platform/IrcMessage.h"

#include <QRandomGenerator>
#include <QtTest>

using namespace orvex::platform;
using namespace Qt::StringLiterals;

class TestIrcMessage : public QObject
{
    Q_OBJECT
private slots:
    void linesSplitIntoTheirParts_data()
    {
        QTest::addColumn<QByteArray>("line");
        // prefix|command|params joined by "/", or "none"
        QTest::addColumn<QString>("parts");
        QTest::newRow("no prefix") << "PING :irc.orvex.test"_ba << u"|PING|irc.orvex.test"_s;
        QTest::newRow("full prefix") << ":sop!~s@127.0.0.1 PRIVMSG prov1 :Hola, ¿cómo va?"_ba
                                     << u"sop!~s@127.0.0.1|PRIVMSG|prov1/Hola, ¿cómo va?"_s;
        QTest::newRow("numeric with middles") << ":irc.t 353 prov1 = #Alpha :@sop +aux prov1"_ba
                                              << u"irc.t|353|prov1/=/#Alpha/@sop +aux prov1"_s;
        QTest::newRow("colons inside the trailing")
            << ":a PRIVMSG b :R: 10:30 :)"_ba << u"a|PRIVMSG|b/R: 10:30 :)"_s;
        QTest::newRow("empty trailing") << ":a PRIVMSG b :"_ba << u"a|PRIVMSG|b/"_s;
        QTest::newRow("no trailing") << "JOIN #ox2k4"_ba << u"|JOIN|#ox2k4"_s;
        QTest::newRow("several blanks") << ":a   NICK    b"_ba << u"a|NICK|b"_s;
        QTest::newRow("tags read past")
            << "@time=2026-03-02T09:00:00.000Z :a PRIVMSG b :x"_ba << u"a|PRIVMSG|b/x"_s;
        QTest::newRow("fifteenth parameter is the rest")
            << "C 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16"_ba
            << u"|C|1/2/3/4/5/6/7/8/9/10/11/12/13/14/15 16"_s;
        QTest::newRow("empty") << QByteArray() << u"none"_s;
        QTest::newRow("blanks") << "   "_ba << u"none"_s;
        QTest::newRow("prefix alone") << ":irc.t"_ba << u"none"_s;
    }
    void linesSplitIntoTheirParts()
    {
        QFETCH(QByteArray, line);
        const auto m = irc::parse(line);
        QString parts = u"none"_s;
        if (m) {
            QStringList params;
            for (const QByteArray &p : m->params)
                params << QString::fromUtf8(p);
            parts = QString::fromUtf8(m->prefix) + u'|' + QString::fromUtf8(m->command) + u'|' +
                    params.join(u'/');
        }
        QTEST(parts, "parts");
    }

    void nickOfAPrefix()
    {
        QCOMPARE(irc::parse(":sop!~s@h X")->nick(), "sop"_ba);
        QCOMPARE(irc::parse(":sop@h X")->nick(), "sop"_ba);
        QCOMPARE(irc::parse(":irc.t X")->nick(), "irc.t"_ba);
    }

    void cuttingLinesOutOfTheStream()
    {
        const QByteArray two = "PING :a\r\nPING :b\nPIN";
        irc::LineCut c = irc::cutLine(two, false);
        QCOMPARE(c.kind, irc::LineCut::Line);
        QCOMPARE(c.line.toByteArray(), "PING :a"_ba);
        c = irc::cutLine(QByteArrayView(two).sliced(c.consumed), false);
        QCOMPARE(c.line.toByteArray(), "PING :b"_ba); // a bare LF ends a line too
        QCOMPARE(irc::cutLine("PIN", false).kind, irc::LineCut::NeedMore);

        // 512 bytes with the line end is the most a line may be.
        const QByteArray most = QByteArray(510, 'x') + "\r\n";
        QCOMPARE(irc::cutLine(most, false).kind, irc::LineCut::Line);
        const QByteArray over = QByteArray(511, 'x') + "\r\nNEXT\r\n";
        c = irc::cutLine(over, false);
        QCOMPARE(c.kind, irc::LineCut::TooLong);
        QCOMPARE(c.consumed, 513);
        // Garbage without a line end is dropped as it comes, bounded.
        const QByteArray garbage(600, 'g');
        c = irc::cutLine(garbage, false);
        QCOMPARE(c.kind, irc::LineCut::TooLong);
        QCOMPARE(c.consumed, 600);
        // Nothing left while dropping: nothing to take.
        QCOMPARE(irc::cutLine(QByteArrayView(), true).kind, irc::LineCut::NeedMore);
        c = irc::cutLine("rest of it\r\nPING :x\r\n", true);
        QCOMPARE(c.kind, irc::LineCut::TooLong);
        QCOMPARE(c.consumed, 12);
        // Tags may make a line longer.
        const QByteArray tagged = '@' + QByteArray(2000, 't') + " :a PRIVMSG b :x\r\n";
        QCOMPARE(irc::cutLine(tagged, false).kind, irc::LineCut::Line);
    }

    void fieldsNeverCarryLineBreaks() { QCOMPARE(irc::safeField("a\r\nb\0c"_ba), "a  b c"_ba); }

    // Random and truncated input: no crash, every byte consumed, nothing
    // longer than the limits kept waiting.
    void randomInput()
    {
        auto *rng = QRandomGenerator::global();
        const QByteArray sample = ":sop!~s@h PRIVMSG prov1 :hola\r\n:irc 353 p = #c :@a +b\r\n";
        for (int round = 0; round < 3000; ++round) {
            QByteArray buffer(rng->bounded(2000), '\0');
            for (char &c : buffer)
                c = rng->bounded(4) == 0 ? "\r\n :@!"[rng->bounded(6)] : char(rng->bounded(256));
            if (round % 3 == 0)
                buffer = sample.left(rng->bounded(sample.size())) + buffer;
            bool skipping = false;
            QByteArrayView rest(buffer);
            for (int guard = 0; guard < 10000; ++guard) {
                const irc::LineCut c = irc::cutLine(rest, skipping);
                if (c.kind == irc::LineCut::NeedMore) {
                    QVERIFY(rest.size() < irc::kMaxLine + irc::kMaxTags);
                    break;
                }
                QVERIFY(c.consumed > 0 && c.consumed <= rest.size());
                QVERIFY(irc::cutLine(QByteArrayView(), skipping).kind == irc::LineCut::NeedMore);
                if (c.kind == irc::LineCut::Line)
                    (void)irc::parse(c.line);
                skipping =
                    c.kind == irc::LineCut::TooLong && !rest.first(c.consumed).endsWith('\n');
                rest = rest.sliced(c.consumed);
                if (rest.isEmpty())
                    break;
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestIrcMessage)
#include "tst_ircmessage.moc"
