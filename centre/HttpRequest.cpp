#include "centre/HttpRequest.h"

namespace orvex::centre {
namespace {

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

bool isToken(QByteArrayView word)
{
    if (word.isEmpty())
        return false;
    for (const char c : word) {
        if (c <= ' ' || c == 0x7F)
            return false;
    }
    return true;
}

} // namespace

QByteArray HttpRequest::path() const
{
    const qsizetype q = target.indexOf('?');
    return q < 0 ? target : target.first(q);
}

QByteArray HttpRequest::query() const
{
    const qsizetype q = target.indexOf('?');
    return q < 0 ? QByteArray() : target.sliced(q + 1);
}

std::optional<QByteArray> HttpRequest::queryValue(QByteArrayView key) const
{
    const QByteArray q = query();
    qsizetype at = 0;
    while (at <= q.size()) {
        qsizetype end = q.indexOf('&', at);
        if (end < 0)
            end = q.size();
        const QByteArrayView pair = QByteArrayView(q).sliced(at, end - at);
        const qsizetype eq = pair.indexOf('=');
        if (eq >= 0 && pair.first(eq) == key)
            return pair.sliced(eq + 1).toByteArray();
        at = end + 1;
    }
    return std::nullopt;
}

ParsedRequest parseRequest(QByteArrayView buffer, qsizetype &scannedUpTo)
{
    ParsedRequest out;
    // The request line: the long part of an upload, searched once only.
    const qsizetype from = std::max<qsizetype>(0, scannedUpTo - 1);
    const qsizetype lineEnd = buffer.indexOf("\r\n", from);
    if (lineEnd < 0) {
        scannedUpTo = buffer.size();
        out.kind =
            buffer.size() > kMaxRequestLine ? ParsedRequest::TooLarge : ParsedRequest::NeedMore;
        return out;
    }
    if (lineEnd > kMaxRequestLine) {
        out.kind = ParsedRequest::TooLarge;
        return out;
    }
    // The headers, up to the empty line.
    const qsizetype end = buffer.indexOf("\r\n\r\n", lineEnd);
    if (end < 0) {
        scannedUpTo = lineEnd;
        out.kind = buffer.size() - lineEnd > kMaxHeaders ? ParsedRequest::TooLarge
                                                         : ParsedRequest::NeedMore;
        return out;
    }
    out.consumed = end + 4;
    const QByteArrayView line = buffer.first(lineEnd);
    const qsizetype s1 = line.indexOf(' ');
    const qsizetype s2 = s1 < 0 ? -1 : line.indexOf(' ', s1 + 1);
    if (s1 <= 0 || s2 <= s1 + 1 || line.indexOf(' ', s2 + 1) >= 0) {
        out.kind = ParsedRequest::Malformed;
        return out;
    }
    HttpRequest &r = out.request;
    r.method = line.first(s1).toByteArray();
    r.target = line.sliced(s1 + 1, s2 - s1 - 1).toByteArray();
    r.version = line.sliced(s2 + 1).toByteArray();
    if (!isToken(r.method) || !r.target.startsWith('/') || !r.version.startsWith("HTTP/1.")) {
        out.kind = ParsedRequest::Malformed;
        return out;
    }
    // With no headers the empty line follows the request line at once.
    QByteArrayView rest =
        end > lineEnd ? buffer.sliced(lineEnd + 2, end - lineEnd - 2) : QByteArrayView();
    while (!rest.isEmpty()) {
        qsizetype eol = rest.indexOf("\r\n");
        if (eol < 0)
            eol = rest.size();
        const QByteArrayView header = rest.first(eol);
        const qsizetype colon = header.indexOf(':');
        if (colon <= 0) {
            out.kind = ParsedRequest::Malformed;
            return out;
        }
        r.headers.append({header.first(colon).trimmed().toByteArray(),
                          header.sliced(colon + 1).trimmed().toByteArray()});
        rest = eol + 2 <= rest.size() ? rest.sliced(eol + 2) : QByteArrayView();
    }
    out.kind = ParsedRequest::Complete;
    return out;
}

std::optional<QByteArray> unescape(QByteArrayView value)
{
    QByteArray out;
    out.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        const char c = value[i];
        if (c == '+') {
            out.append(' ');
        } else if (c == '%') {
            if (i + 2 >= value.size())
                return std::nullopt;
            const int hi = hexValue(value[i + 1]), lo = hexValue(value[i + 2]);
            if (hi < 0 || lo < 0)
                return std::nullopt;
            out.append(char(hi * 16 + lo));
            i += 2;
        } else {
            out.append(c);
        }
    }
    return out;
}

} // namespace orvex::centre
