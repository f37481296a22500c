#pragma once
// Short WAV sounds (the warning and chat sounds). Starting is immediate;
// whoever wants to wait for the end polls isPlaying() in the event loop.
#include <QByteArrayView>
#include <QString>

#include <memory>
#include <optional>

namespace orvex::platform {

class SoundPlayer
{
public:
    virtual ~SoundPlayer() = default;
    // Starts playing the WAV file `count` times in a row, replacing whatever
    // this player was playing. False when the file is missing, is not a WAV
    // file, or count < 1.
    virtual bool play(const QString &wavPath, int count) = 0;
    // True until the last repetition has ended. Never longer than the sound's
    // length times the count plus a short margin, even when no audio device
    // reports the end.
    virtual bool isPlaying() const = 0;
    virtual void stop() = 0;
};

std::unique_ptr<SoundPlayer> createSoundPlayer();

// Length of a RIFF/WAVE sound in milliseconds, read from the start of the file
// (`head`, at least up to the data chunk's header) and the file's size. Empty
// when the bytes are not a PCM or float WAV file.
std::optional<qint64> wavDurationMs(QByteArrayView head, qint64 fileSize);

} // namespace orvex::platform
