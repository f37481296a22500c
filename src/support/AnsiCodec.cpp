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
    // Straight into the string: a settings file decodes line by line.
    QString text(bytes.size(), Qt::Uninitialized);
    const std::size_t units =
        platform::decodeAnsiTo(std::string_view(bytes.data(), std::size_t(bytes.size())),
                               reinterpret_cast<char16_t *>(text.data()));
    text.truncate(qsizetype(units));
    return text;
}

} // namespace orvex::ansi
