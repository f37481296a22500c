#include "support/AnsiCodec.h"

#include "platform/CodePage.h"

namespace orvex::ansi {

QByteArray encode(const QString &text)
{
    const std::string bytes = platform::encodeAnsi(std::u16string_view(
        reinterpret_cast<const char16_t *>(text.utf16()), std::size_t(text.size())));
    return QByteArray(bytes.data(), qsizetype(bytes.size()));
}

QString decode(QByteArrayView bytes)
{
    const std::u16string text =
        platform::decodeAnsi(std::string_view(bytes.data(), std::size_t(bytes.size())));
    return QString(reinterpret_cast<const QChar *>(text.data()), qsizetype(text.size()));
}

} // namespace orvex::ansi
