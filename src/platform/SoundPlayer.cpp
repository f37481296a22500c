#include "platform/SoundPlayer.h"

#include <QtEndian>

#include <algorithm>

namespace orvex::platform {

namespace {

quint16 le16(QByteArrayView bytes, qsizetype at)
{
    return qFromLittleEndian<quint16>(bytes.data() + at);
}

quint32 le32(QByteArrayView bytes, qsizetype at)
{
    return qFromLittleEndian<quint32>(bytes.data() + at);
}

} // namespace

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
