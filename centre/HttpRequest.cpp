#include "centre/HttpRequest.h"

#include <algorithm>

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

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
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

QByteArrayView HttpRequest::path() const
{
    const QByteArrayView t = target();
    const qsizetype q = t.indexOf('?');
    return q < 0 ? t : t.first(q);
}

QByteArrayView HttpRequest::fields() const
{
    if (method == "POST")
        return body();
    const QByteArrayView t = target();
    const qsizetype q = t.indexOf('?');
    return q < 0 ? QByteArrayView() : t.sliced(q + 1);
}

std::optional<QByteArrayView> HttpRequest::value(QByteArrayView key) const
{
    const QByteArrayView q = fields();
    qsizetype at = 0;
    while (at <= q.size()) {
        qsizetype end = q.indexOf('&', at);
        if (end < 0)
            end = q.size();
        const QByteArrayView pair = q.sliced(at, end - at);
        const qsizetype eq = pair.indexOf('=');
        if (eq >= 0 && pair.first(eq) == key)
            return pair.sliced(eq + 1);
        at = end + 1;
    }
    return std::nullopt;
}

std::optional<QByteArray> HttpRequest::header(QByteArrayView name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return std::nullopt;
}

bool HttpRequest::isForm() const
{
    const QByteArray type = header("Content-Type").value_or(QByteArray());
    return method == "POST" && type.split(';').front().trimmed().compare(
                                   "application/x-www-form-urlencoded", Qt::CaseInsensitive) == 0;
}

ParsedRequest parseRequest(const QByteArray &received, qsizetype &scannedUpTo, qsizetype maxRequest)
{
    const QByteArrayView buffer(received); // looked at, never copied
    ParsedRequest out;
    // The request line: the long part of an upload, searched once only.
    const qsizetype from = std::max<qsizetype>(0, scannedUpTo - 1);
    const qsizetype lineEnd = buffer.indexOf("\r\n", from);
    if (lineEnd < 0) {
        scannedUpTo = buffer.size();
        out.kind = buffer.size() > maxRequest ? ParsedRequest::TooLarge : ParsedRequest::NeedMore;
        return out;
    }
    scannedUpTo = lineEnd;
    if (lineEnd > maxRequest) {
        out.kind = ParsedRequest::TooLarge;
        return out;
    }
    // The headers, up to the empty line.
    const qsizetype end = buffer.indexOf("\r\n\r\n", lineEnd);
    if (end < 0) {
        out.kind = buffer.size() - lineEnd > kMaxHeaders ? ParsedRequest::TooLarge
                                                         : ParsedRequest::NeedMore;
        return out;
    }
    out.kind = ParsedRequest::Malformed;
    const QByteArrayView line = buffer.first(lineEnd);
    const qsizetype s1 = line.indexOf(' ');
    const qsizetype s2 = s1 < 0 ? -1 : line.indexOf(' ', s1 + 1);
    if (s1 <= 0 || s2 <= s1 + 1 || line.indexOf(' ', s2 + 1) >= 0)
        return out;
    HttpRequest &r = out.request;
    r.method = line.first(s1).toByteArray();
    r.targetFrom = s1 + 1;
    r.targetSize = s2 - s1 - 1;
    r.version = line.sliced(s2 + 1).toByteArray();
    if (!isToken(r.method) || line[s1 + 1] != '/' || !r.version.startsWith("HTTP/1."))
        return out;
    // With no headers the empty line follows the request line at once.
    QByteArrayView rest =
        end > lineEnd ? buffer.sliced(lineEnd + 2, end - lineEnd - 2) : QByteArrayView();
    while (!rest.isEmpty()) {
        qsizetype eol = rest.indexOf("\r\n");
        if (eol < 0)
            eol = rest.size();
        const QByteArrayView header = rest.first(eol);
        const qsizetype colon = header.indexOf(':');
        if (colon <= 0)
            return out;
        r.headers.append({header.first(colon).trimmed().toByteArray(),
                          header.sliced(colon + 1).trimmed().toByteArray()});
        rest = eol + 2 <= rest.size() ? rest.sliced(eol + 2) : QByteArrayView();
    }
    // A body is as long as its Content-Length says; HTTP/1.0 requires one
    // on every POST (RFC 1945 7.2.2).
    const std::optional<QByteArray> length = r.header("Content-Length");
    qsizetype bodySize = 0;
    if (length) {
        bool ok = false;
        bodySize = length->toLongLong(&ok);
        if (!ok || bodySize < 0 || !std::all_of(length->begin(), length->end(), isDigit))
            return out;
    } else if (r.method == "POST") {
        return out;
    }
    const qsizetype headEnd = end + 4;
    if (bodySize > maxRequest - headEnd) {
        out.kind = ParsedRequest::TooLarge;
        return out;
    }
    if (buffer.size() - headEnd < bodySize) {
        out.kind = ParsedRequest::NeedMore;
        return out;
    }
    out.consumed = headEnd + bodySize;
    r.raw = out.consumed == received.size() ? received : received.first(out.consumed);
    r.headSize = headEnd;
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
