#include "common/TestSupport.h"
#include "platform/SoundPlayer.h"

#include <QtTest>

using namespace Qt::StringLiterals;
using orvex::platform::createSoundPlayer;

namespace {

template <typename T> QByteArray le(T value)
{
    value = qToLittleEndian(value);
    return QByteArray(reinterpret_cast<const char *>(&value), sizeof value);
}

// A WAV file's head up to its data chunk's header: the format chunk (8-bit
// samples), `between`, then a data chunk of `dataBytes`.
QByteArray wavHead(quint16 format, quint16 channels, quint32 bytesPerSecond, quint32 dataBytes,
                   const QByteArray &between = {})
{
    return "RIFF"_ba + le(36 + dataBytes) + "WAVEfmt "_ba + le(16u) + le(format) + le(channels) +
           le(bytesPerSecond / std::max<quint32>(channels, 1)) + le(bytesPerSecond) + le(channels) +
           le(quint16(8)) + between + "data"_ba + le(dataBytes);
}

} // namespace

class TestSoundPlayer : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    // A sound server is announced by its socket, and the player program is
    // found on the PATH: here a script that logs what it was asked to play
    // and fails on a file whose name says so.
    void initTestCase()
    {
        const QString fake = m_dir.filePath(u"paplay"_s);
        QVERIFY(QDir(m_dir.path()).mkpath(u"pulse"_s) &&
                orvex::test::writeBytes(m_dir.filePath(u"pulse/native"_s), {}) &&
                orvex::test::writeBytes(fake, "#!/bin/sh\necho \"$1\" >> \"$SOUND_LOG\"\n"
                                              "case \"$1\" in *fails*) exit 1;; esac\n") &&
                QFile(fake).setPermissions(QFile::ReadOwner | QFile::ExeOwner));
        qputenv("XDG_RUNTIME_DIR", m_dir.path().toUtf8());
        qunsetenv("PULSE_SERVER");
        qputenv("PATH", m_dir.path().toUtf8() + ":/usr/bin:/bin");
        qputenv("SOUND_LOG", m_dir.filePath(u"log"_s).toUtf8());
    }

    // The length that bounds a play, from the file's head alone.
    void wavLength()
    {
        const QByteArray pcm = wavHead(1, 1, 8000, 800);
        const QByteArray padded = "junk"_ba + le(3u) + "abc\0"_ba; // odd length, padded
        // The head, the file's size, the length in ms (-1: not a sound).
        for (const auto &[head, fileSize, ms] :
             {std::tuple{pcm, pcm.size() + 800, 100},
              {pcm, pcm.size() + 400, 50},                    // cut to the file
              {wavHead(3, 2, 8000, 800), 10000, 100},         // float
              {wavHead(0xFFFE, 1, 16000, 800), 10000, 50},    // extensible
              {wavHead(1, 1, 8000, 800, padded), 10000, 100}, // another chunk first
              {wavHead(2, 1, 8000, 800), 10000, -1},          // compressed
              {wavHead(1, 0, 8000, 800), 10000, -1},          // no channels
              {wavHead(1, 1, 0, 800), 10000, -1},             // no rate
              {"RIFF\0\0\0\0WAVE"_ba + padded + "data"_ba + le(8u), 100, -1}}) // no fmt chunk
            QCOMPARE(orvex::platform::wavDurationMs(head, fileSize).value_or(-1), ms);
    }

    // Each repetition is one run of the player, one after the other; a
    // player that fails ends the sound; what is not a sound is not played.
    void playsThroughTheServersPlayer()
    {
        const QByteArray sound = wavHead(1, 1, 8000, 800) + QByteArray(800, char(0x80));
        const QString good = m_dir.filePath(u"corto.wav"_s), bad = m_dir.filePath(u"fails.wav"_s),
                      notSound = m_dir.filePath(u"falso.wav"_s);
        QVERIFY(orvex::test::writeBytes(good, sound) && orvex::test::writeBytes(bad, sound) &&
                orvex::test::writeBytes(notSound, "RIFX"_ba + sound.mid(4)));
        auto player = createSoundPlayer();
        QVERIFY(!player->play(notSound, 1) && !player->play(good, 0) &&
                !player->play(m_dir.filePath(u"no-existe.wav"_s), 1));
        QVERIFY(player->play(good, 3) && player->isPlaying());
        QTRY_VERIFY(!player->isPlaying());
        QVERIFY(player->play(bad, 5));
        QTRY_VERIFY(!player->isPlaying());
        QCOMPARE(orvex::test::readBytes(m_dir.filePath(u"log"_s)),
                 (QStringList(3, good) << bad).join(u'\n').toUtf8() + '\n');
    }
};

QTEST_GUILESS_MAIN(TestSoundPlayer)
#include "tst_soundplayer_linux.moc"
