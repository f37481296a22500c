#pragma once
// Reachability of a host by one ICMP echo, plus the small name and address
// routines around it and the system's URL cache.
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <memory>

namespace orvex::platform {
struct EchoResult;
class Pinger;
class HostResolver;
class UrlCache;
} // namespace orvex::platform

namespace orvex {

class Net
{
public:
    // Time-out of one echo.
    static constexpr quint32 PingTimeoutMs = 500;

    // The collaborators are not owned and must outlive this object.
    Net(platform::Pinger &pinger, platform::HostResolver &resolver, platform::UrlCache &urlCache);
    virtual ~Net() = default;

    // Dotted address of the last successful resolution, or "No IP" after a
    // failed one.
    QString lastIP;
    // Failure text of the last failed ping; kept until the next failure.
    QString PingError;
    // Round-trip time in ms of the last successful ping; -1 before one.
    qint32 PingOK = -1;
    // Filled by GetCacheURLList.
    QStringList GetCacheURLList_Result;

    // One echo to `host` (a name or a dotted address); true when it was
    // answered with success. Waits, with events running, for the name's
    // resolution and at most the echo's time-out.
    bool DoPing(const QString &host);

    // Pads `host` on the right with zero characters to 64 (in place; longer
    // names are left as they are), resolves it (events run meanwhile) and
    // returns the dotted text of its first IPv4 address, or "No IP". The
    // result is also kept in lastIP.
    QString pingGetHostByName(QString &host);

    // The address in network byte order, parsed as inet_addr() does: one to
    // four parts separated by '.', each decimal, octal (leading 0) or hex
    // (leading 0x); the last part fills the remaining bytes ("10.1" is
    // 10.0.0.1, "3232235521" is 192.168.0.1). Anything else - empty text, an
    // empty part, a part too large, surrounding blanks - gives all ones
    // (0xFFFFFFFF, which is also what "255.255.255.255" parses to).
    static quint32 IP2Long(const QString &dotted);

    // Replaces GetCacheURLList_Result with the URL of every entry of the
    // system's URL cache (none where the system has no such cache).
    void GetCacheURLList();
    void DeleteItemInCache(const QString &url);

private:
    platform::EchoResult waitForEcho(quint32 address);

    platform::Pinger &m_pinger;
    platform::HostResolver &m_resolver;
    platform::UrlCache &m_urlCache;
};

// A Net on the system's own pinger, resolver and URL cache.
std::unique_ptr<Net> createSystemNet();

} // namespace orvex
