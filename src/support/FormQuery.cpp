#include "support/FormQuery.h"

#include "support/AddsUtilities.h"

#include <QFile>

#include <algorithm>

namespace orvex {
namespace {

// At most three bytes go out for each byte read.
constexpr qsizetype kEscapedPerByte = 3;

// Feeds `take` the escaped content of `path` in pieces of at most `piece`
// bytes.
bool escapeFile(const QString &path, qsizetype piece,
                const std::function<bool(QByteArrayView)> &take)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return true;
    const qsizetype readSize = std::max<qsizetype>(piece / kEscapedPerByte, 1);
    QByteArray raw(readSize, Qt::Uninitialized);
    QByteArray escaped;
    escaped.reserve(readSize * kEscapedPerByte);
    for (;;) {
        const qint64 n = file.read(raw.data(), readSize);
        if (n <= 0)
            return true;
        escaped.clear();
        AddsUtilities::appendUrlEncoded(escaped, QByteArrayView(raw).first(n));
        if (!take(escaped))
            return false;
    }
}

} // namespace

FormQuery &FormQuery::append(QByteArrayView escaped)
{
    m_parts.emplace_back(escaped.toByteArray());
    return *this;
}

FormQuery &FormQuery::appendEncodedFile(const QString &path)
{
    m_parts.emplace_back(File{path});
    return *this;
}

qint64 FormQuery::size() const
{
    qint64 total = 0;
    forEachPiece(qsizetype(1) << 20, [&](QByteArrayView piece) {
        total += piece.size();
        return true;
    });
    return total;
}

bool FormQuery::forEachPiece(qsizetype piece, const std::function<bool(QByteArrayView)> &take) const
{
    piece = std::max<qsizetype>(piece, kEscapedPerByte);
    for (const auto &part : m_parts) {
        if (const auto *text = std::get_if<QByteArray>(&part)) {
            for (qsizetype at = 0; at < text->size(); at += piece) {
                if (!take(QByteArrayView(*text).sliced(at, std::min(piece, text->size() - at))))
                    return false;
            }
        } else if (!escapeFile(std::get<File>(part).path, piece, take)) {
            return false;
        }
    }
    return true;
}

} // namespace orvex
