#include "platform/SoundPlayer.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSoundEffect>
#include <QUrl>

#include <algorithm>
#include <utility>

Q_LOGGING_CATEGORY(lcSound, "orvex.sound")

namespace orvex::platform {

namespace {

// Loading the file and opening the audio device come on top of the sound's
// own length.
constexpr qint64 StartMarginMs = 1500;
// Enough for every header chunk a real WAV file puts before its samples.
constexpr qint64 HeadBytes = 64 * 1024;

// Qt plays sounds through a PulseAudio server (PipeWire offers one too).
// Without one every sound would fail with Qt's own warnings: the agent plays
// its sounds silently (same length, so callers waiting for the end wait the
// same) and says so once.
bool soundServerReachable()
{
    if (qEnvironmentVariableIsSet("PULSE_SERVER"))
        return true;
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !runtime.isEmpty() && QFileInfo::exists(runtime + QStringLiteral("/pulse/native"));
}

class QtSoundPlayer final : public SoundPlayer
{
public:
    ~QtSoundPlayer() override { stop(); }

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
        static const bool server = soundServerReachable();
        if (!server) {
            static bool said = false;
            if (!std::exchange(said, true))
                qCInfo(lcSound) << "no sound server (PulseAudio or PipeWire): sounds are not played";
            m_active = true;
            m_deadline = QDeadlineTimer(*length * count);
            return true;
        }

        m_effect = std::make_unique<QSoundEffect>();
        QSoundEffect *effect = m_effect.get();
        QObject::connect(effect, &QSoundEffect::statusChanged, effect, [this, effect] {
            if (effect->status() == QSoundEffect::Error)
                m_active = false;
        });
        QObject::connect(effect, &QSoundEffect::playingChanged, effect, [this, effect] {
            if (effect->isPlaying())
                m_sawPlaying = true;
            else if (m_sawPlaying)
                m_active = false;
        });
        effect->setLoopCount(count);
        effect->setSource(QUrl::fromLocalFile(wavPath));
        // Plays as soon as the file has loaded.
        effect->play();
        m_active = true;
        m_sawPlaying = false;
        m_deadline = QDeadlineTimer(*length * count + StartMarginMs);
        return true;
    }

    bool isPlaying() const override { return m_active && !m_deadline.hasExpired(); }

    void stop() override
    {
        m_active = false;
        if (m_effect) {
            m_effect->stop();
            m_effect.reset();
        }
    }

private:
    std::unique_ptr<QSoundEffect> m_effect;
    QDeadlineTimer m_deadline;
    bool m_active = false;
    bool m_sawPlaying = false;
};

} // namespace

std::unique_ptr<SoundPlayer> createSoundPlayer()
{
    return std::make_unique<QtSoundPlayer>();
}

} // namespace orvex::platform
