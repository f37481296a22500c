#include "platform/IrcMessage.h"

#include <QtTest>

using namespace orvex::platform;
using namespace Qt::StringLiterals;

static QList<QByteArray> bytesOf(const QByteArray &text)
{
    QList<QByteArray> characters;
    for (const char c : text)
        characters << QByteArray(1, c);
    return characters;
}

// How lines are cut, parsed and judged is seen through the client, against a
// scripted server (tst_ircclient_linux); here what no server shows.
class TestIrcMessage : public QObject
{
    Q_OBJECT
private slots:
    void longTextsAreCutBetweenWords()
    {
        // The characters; the pieces joined by '|', each at most 8 bytes.
        const std::pair<QList<QByteArray>, QByteArray> rows[] = {
            // At the last blank, and inside a word longer than a piece.
            {bytesOf("la direcci\xF3n nueva"), "la|direcci\xF3|n nueva"},
            // A run of blanks, and the blank that does not fit.
            {bytesOf("ab   abcdefgh  ijk"), "ab|abcdefgh|ijk"},
            {bytesOf("  abcdefghij"), "  abcdef|ghij"}, // leading blanks are kept
            // A character of two bytes stays whole.
            {bytesOf("abcdefg") + QList<QByteArray>{"\x82\xA0", "h"}, "abcdefg|\x82\xA0h"}};
        for (const auto &[characters, pieces] : rows)
            QCOMPARE(irc::splitText(characters, 8).join('|'), pieces);
    }

    // Random and truncated input: no crash, every byte consumed, nothing
    // longer than the limits kept waiting; random texts cut into pieces that
    // fit and lose no character but the blanks at the cuts.
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
            while (!rest.isEmpty()) {
                const irc::LineCut c = irc::cutLine(rest, skipping);
                if (c.kind == irc::LineCut::NeedMore) {
                    QVERIFY(rest.size() < irc::kMaxLine + irc::kMaxTags);
                    break;
                }
                QVERIFY(c.consumed > 0 && c.consumed <= rest.size());
                if (const auto m = c.kind == irc::LineCut::Line ? irc::parse(c.line) : std::nullopt)
                    (void)irc::unusable(*m);
                skipping =
                    c.kind == irc::LineCut::TooLong && !rest.first(c.consumed).endsWith('\n');
                rest = rest.sliced(c.consumed);
            }
            const QList<QByteArray> text = bytesOf(buffer.left(300));
            const qsizetype room = 16 + rng->bounded(50);
            QByteArray kept;
            for (const QByteArray &piece : irc::splitText(text, room)) {
                QVERIFY(!piece.isEmpty() && piece.size() <= room);
                kept += piece;
            }
            QCOMPARE(kept.replace(' ', ""), buffer.left(300).replace(' ', ""));
        }
    }
};

QTEST_GUILESS_MAIN(TestIrcMessage)
#include "tst_ircmessage.moc"
