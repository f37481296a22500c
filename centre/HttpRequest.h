#pragma once
// HTTP requests as the agent sends them (RFC 1945: HTTP/1.0, no Host header,
// the query inside the request line, which may be many megabytes long, or
// the same fields as a form POST) and as any other client does. A pure
// parser: bytes in, what was found and how much it took.
#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QPair>

#include <optional>

namespace orvex::centre {

struct HttpRequest
{
    QByteArray method;
    QByteArray version;
    QList<QPair<QByteArray, QByteArray>> headers;
    // The request as it came, shared with the buffer it was read into (an
    // upload's target may be hundreds of megabytes); the views look into it.
    QByteArray raw;
    qsizetype targetFrom = 0, targetSize = 0, headSize = 0;

    QByteArrayView target() const { return QByteArrayView(raw).sliced(targetFrom, targetSize); }
    // The request line and the headers, up to the empty line that ends them.
    QByteArrayView head() const { return QByteArrayView(raw).first(headSize); }
    QByteArrayView body() const { return QByteArrayView(raw).sliced(headSize); }
    QByteArrayView path() const; // up to the '?'
    // The escaped fields: the query of a GET, the body of a form POST.
    QByteArrayView fields() const;
    // A field by its key, still escaped; the agent separates pairs with "&"
    // and with "&&" alike.
    std::optional<QByteArrayView> value(QByteArrayView key) const;
    std::optional<QByteArray> header(QByteArrayView name) const;
    // A POST whose body holds fields as a query does (HTML 4.01, 17.13.4).
    bool isForm() const;
};

struct ParsedRequest
{
    enum Kind { NeedMore, Complete, Malformed, TooLarge } kind = NeedMore;
    HttpRequest request;
    qsizetype consumed = 0;
};

constexpr qsizetype kMaxHeaders = 64 * 1024;

// Looks at the front of `buffer`, which holds what a client sent so far; a
// request (line, headers and body) longer than `maxRequest` is TooLarge.
// `scannedUpTo` lets a caller that feeds a long line piece by piece skip what
// was already searched for the line's end (it is updated).
ParsedRequest parseRequest(const QByteArray &buffer, qsizetype &scannedUpTo, qsizetype maxRequest);

// The agent's query escape undone: "+" is a blank, "%XX" the byte XX. Empty
// when an escape is broken.
std::optional<QByteArray> unescape(QByteArrayView value);

} // namespace orvex::centre
