#include "platform/SoundPlayer.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QProcess>
#include <QStandardPaths>

#include <utility>

Q_LOGGING_CATEGORY(lcSound, "orvex.sound")

namespace orvex::platform {

namespace {

// Starting the player and opening the audio device come on top of the
// sound's own length.
constexpr qint64 StartMarginMs = 1500;
// Enough for every header chunk a real WAV file puts before its samples.
constexpr qint64 HeadBytes = 64 * 1024;

// Sounds go to the PulseAudio server (PipeWire offers one too) through its
// own small player program, started for each sound: an agent that plays a
// few seconds of sound a day keeps no audio libraries in memory for it.
// Without a server or a player every sound would fail: the agent plays its
// sounds silently (same length, so callers waiting for the end wait the
// same) and says so once.
QString soundProgram()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const bool server = qEnvironmentVariableIsSet("PULSE_SERVER") ||
                        (!runtime.isEmpty() && QFileInfo::exists(runtime + u"/pulse/native"));
    return server ? QStandardPaths::findExecutable(QStringLiteral("paplay")) : QString();
}

class ServerSoundPlayer final : public SoundPlayer
{
public:
    ~ServerSoundPlayer() override { stop(); }

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
        static const QString program = soundProgram();
        m_active = true;
        if (program.isEmpty()) {
            static bool said = false;
            if (!std::exchange(said, true))
                qCInfo(lcSound) << "no sound server or no paplay: sounds are not played";
            m_deadline = QDeadlineTimer(*length * count);
            return true;
        }
        m_deadline = QDeadlineTimer(*length * count + StartMarginMs);
        m_player = std::make_unique<QProcess>();
        m_player->setProgram(program);
        m_player->setArguments({wavPath});
        m_player->setStandardOutputFile(QProcess::nullDevice());
        m_player->setStandardErrorFile(QProcess::nullDevice());
        // The repetitions play one after the other; a player that fails
        // ends the sound.
        QObject::connect(m_player.get(), &QProcess::finished, m_player.get(),
                         [this, left = count - 1](int code, QProcess::ExitStatus status) mutable {
                             if (code != 0 || status != QProcess::NormalExit || left-- <= 0)
                                 m_active = false;
                             else
                                 m_player->start();
                         });
        QObject::connect(m_player.get(), &QProcess::errorOccurred, m_player.get(),
                         [this](QProcess::ProcessError error) {
                             if (error == QProcess::FailedToStart)
                                 m_active = false;
                         });
        m_player->start();
        return true;
    }

    bool isPlaying() const override { return m_active && !m_deadline.hasExpired(); }

    void stop() override
    {
        m_active = false;
        if (m_player) {
            m_player->disconnect();
            m_player->kill();
            m_player->waitForFinished(1000);
            m_player.reset();
        }
    }

private:
    std::unique_ptr<QProcess> m_player;
    QDeadlineTimer m_deadline;
    bool m_active = false;
};

} // namespace

std::unique_ptr<SoundPlayer> createSoundPlayer()
{
    return std::make_unique<ServerSoundPlayer>();
}

} // namespace orvex::platform
