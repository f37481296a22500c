#pragma once
// The HTTP and datagram routines of the utility class. Both run on the
// caller's socket, keep the event loop running while they wait, and leave the
// socket closed.
#include "support/AnsiText.h"

#include <QString>
#include <QtGlobal>

namespace orvex::platform {
class SocketX;
} // namespace orvex::platform

namespace orvex {

class Clock;
class FormQuery;
class ProgressCaption;

enum class HttpMethod { Get, Post };

class AddsHttp
{
public:
    // Without a clock of its own it settles on the system clock.
    explicit AddsHttp(const Clock *clock = nullptr);

    // One HTTP/1.0 GET. `URL` is [scheme "://"] host [":" port] [path]; a
    // non-empty `Path` or `Port` replaces what the URL says. `TimeOutSeconds`
    // (0 means 10) bounds the wait for the reply, which ends early only on
    // "</HTML>" or ".END." CR LF (any letter case) or when the server
    // closes. `ExtraHeader` is one header line without its line end.
    // Returns the whole reply as received (status line, headers and body),
    // "Error: (" number ") " description after a run-time error, or an empty
    // text when no connection was made or the socket is already in use. The
    // reply stays in its ANSI bytes until it is read as a QString.
    AnsiText NET_HTTPget(platform::SocketX &Socket, const QString &URL, const QString &Path,
                         const QString &Port, qint16 &TimeOutSeconds,
                         const QString &ExtraHeader = {},
                         ProgressCaption *ProgressControl = nullptr);
    AnsiText NET_HTTPget(platform::SocketX &Socket, const QString &URL, const QString &Path = {},
                         const QString &Port = {}, int TimeOutSeconds = 0,
                         const QString &ExtraHeader = {},
                         ProgressCaption *ProgressControl = nullptr);

    // The same exchange for a form built by the caller: `URL` names host,
    // port and path, and `Fields` go after "?" in a GET or as the
    // application/x-www-form-urlencoded body of a POST, exactly as they
    // are: nothing is escaped again.
    AnsiText NET_HTTPform(platform::SocketX &Socket, HttpMethod Method, const QString &URL,
                          const FormQuery &Fields, int TimeOutSeconds = 0,
                          ProgressCaption *ProgressControl = nullptr);

    // Replies longer than `above` bytes are kept in a spool file in `folder`
    // instead of memory (by default: above kSpoolAbove, in the program's
    // "Instalables"). The reply reads the same either way.
    void setReplySpool(const QString &folder, qint64 above = kSpoolAbove);
    // Low enough that a reply of any length keeps the agent well below
    // 200 MB resident; high enough that the replies a centre sends (lists,
    // program files, archives) are held in memory.
    static constexpr qint64 kSpoolAbove = qint64(128) << 20;

    // Sends `Data` as one UDP datagram. With an empty `Port`, `Destination`
    // is host ":" port (false when it has no ":"); otherwise it is the host.
    // True when no run-time error occurred.
    bool SocketX_UDP(platform::SocketX &Socket, const QString &Destination, const QString &Port,
                     const QString &Data);

private:
    // The receive deadline and the settle pause after each exchange run on
    // this clock.
    const Clock &m_clock;
    QString m_spoolFolder;
    qint64 m_spoolAbove;
};

} // namespace orvex
