#include "platform/SoundPlayer.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QSoundEffect>
#include <QUrl>
#include <QtEndian>

#include <algorithm>

namespace orvex::platform {

namespace {

// Loading the file and opening the audio device come on top of the sound's
// own length.
constexpr qint64 StartMarginMs = 1500;
// Enough for every header chunk a real WAV file puts before its samples.
constexpr qint64 HeadBytes = 64 * 1024;

quint16 le16(QByteArrayView bytes, qsizetype at)
{
    return qFromLittleEndian<quint16>(bytes.data() + at);
}

quint32 le32(QByteArrayView bytes, qsizetype at)
{
    return qFromLittleEndian<quint32>(bytes.data() + at);
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

std::optional<qint64> wavDurationMs(QByteArrayView head, qint64 fileSize)
{
    if (head.size() < 12 || head.first(4) != "RIFF" || head.sliced(8, 4) != "WAVE")
        return std::nullopt;
    std::optional<quint32> bytesPerSecond;
    qsizetype at = 12;
    while (at + 8 <= head.size()) {
        const QByteArrayView id = head.sliced(at, 4);
        const quint32 size = le32(head, at + 4);
        const qsizetype body = at + 8;
        if (id == "fmt ") {
            if (size < 16 || body + 16 > head.size())
                return std::nullopt;
            const quint16 format = le16(head, body);
            const quint16 channels = le16(head, body + 2);
            const quint32 rate = le32(head, body + 8);
            // 1 = PCM, 3 = float, 0xFFFE = extensible (which wraps one of those).
            if ((format != 1 && format != 3 && format != 0xFFFE) || channels == 0 || rate == 0)
                return std::nullopt;
            bytesPerSecond = rate;
        } else if (id == "data") {
            if (!bytesPerSecond)
                return std::nullopt;
            // A header that claims more samples than the file holds is cut to the file.
            const qint64 present = std::clamp<qint64>(fileSize - body, 0, size);
            return present * 1000 / *bytesPerSecond;
        }
        // Chunks are padded to an even length.
        at = body + qsizetype(size) + qsizetype(size & 1);
    }
    return std::nullopt;
}

} // namespace orvex::platform
