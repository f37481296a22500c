#include "platform/SoundPlayer.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QTimer>

#include <windows.h>

#include <mmsystem.h>

Q_LOGGING_CATEGORY(lcSound, "orvex.sound")

namespace orvex::platform {

namespace {

// Enough for every header chunk a real WAV file puts before its samples.
constexpr qint64 HeadBytes = 64 * 1024;
// Loading the file and opening the audio device come on top of the sound's
// own length.
constexpr qint64 StartMarginMs = 500;

// The system's own player (winmm), asynchronous: each repetition starts when
// the one before has had its length.
class WinmmSoundPlayer final : public SoundPlayer
{
public:
    WinmmSoundPlayer()
    {
        m_next.setSingleShot(true);
        QObject::connect(&m_next, &QTimer::timeout, [this] { playOnce(); });
    }
    ~WinmmSoundPlayer() override { stop(); }

    bool play(const QString &wavPath, int count) override
    {
        stop();
        if (count < 1)
            return false;
        QFile file(wavPath);
        if (!file.open(QIODevice::ReadOnly))
            return false;
        const std::optional<qint64> length = wavDurationMs(file.read(HeadBytes), file.size());
        if (!length)
            return false;
        m_path = QDir::toNativeSeparators(wavPath).toStdWString();
        m_lengthMs = *length;
        m_left = count;
        m_deadline = QDeadlineTimer(*length * count + StartMarginMs);
        playOnce();
        return true;
    }

    bool isPlaying() const override { return m_left > 0 && !m_deadline.hasExpired(); }

    void stop() override
    {
        m_next.stop();
        if (m_left > 0)
            PlaySoundW(nullptr, nullptr, 0);
        m_left = 0;
    }

private:
    void playOnce()
    {
        if (m_left <= 0)
            return;
        const BOOL started =
            PlaySoundW(m_path.c_str(), nullptr, SND_FILENAME | SND_ASYNC | SND_NODEFAULT);
        qCInfo(lcSound).noquote() << "PlaySoundW" << QString::fromStdWString(m_path) << "->"
                                  << (started ? "playing" : "no sound output");
        if (!started) {
            m_left = 0;
            return;
        }
        if (--m_left > 0)
            m_next.start(int(std::max<qint64>(m_lengthMs, 1)));
    }

    std::wstring m_path;
    qint64 m_lengthMs = 0;
    int m_left = 0;
    QDeadlineTimer m_deadline;
    QTimer m_next;
};

} // namespace

std::unique_ptr<SoundPlayer> createSoundPlayer()
{
    return std::make_unique<WinmmSoundPlayer>();
}

} // namespace orvex::platform
