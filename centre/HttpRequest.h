#pragma once
// HTTP requests as the agent sends them (RFC 1945: HTTP/1.0, no Host header,
// the query inside the request line, which may be many megabytes long) and
// as any other client does. A pure parser: bytes in, what was found and how
// much it took.
#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QPair>

#include <optional>

namespace orvex::centre {

struct HttpRequest
{
    QByteArray method;
    QByteArray target; // path and query, exactly as sent
    QByteArray version;
    QList<QPair<QByteArray, QByteArray>> headers;
    // The request line and headers as they came, when the caller wants them.
    QByteArray head;

    QByteArray path() const;  // up to the '?'
    QByteArray query() const; // after the '?'
    // A query value by its key, still escaped; the agent separates pairs with
    // "&" and with "&&" alike.
    std::optional<QByteArray> queryValue(QByteArrayView key) const;
};

struct ParsedRequest
{
    enum Kind { NeedMore, Complete, Malformed, TooLarge } kind = NeedMore;
    HttpRequest request;
    qsizetype consumed = 0;
};

// A request line of the configuration upload holds a whole archive, escaped:
// up to this many bytes are taken.
constexpr qsizetype kMaxRequestLine = qsizetype(512) << 20;
constexpr qsizetype kMaxHeaders = 64 * 1024;

// Looks at the front of `buffer`, which holds what a client sent so far.
// `scannedUpTo` lets a caller that feeds a long line piece by piece skip what
// was already searched for the line's end (it is updated).
ParsedRequest parseRequest(QByteArrayView buffer, qsizetype &scannedUpTo);

// The agent's query escape undone: "+" is a blank, "%XX" the byte XX. Empty
// when an escape is broken.
std::optional<QByteArray> unescape(QByteArrayView value);

} // namespace orvex::centre
