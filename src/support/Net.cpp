#include "support/Net.h"

#include "platform/HostResolver.h"
#include "platform/Pinger.h"
#include "platform/UrlCache.h"
#include "support/AnsiCodec.h"
#include "support/EventWait.h"

#include <QLoggingCategory>
#include <QSocketNotifier>
#include <QtEndian>

#include <array>
#include <cstring>
#include <memory>
#include <optional>

Q_LOGGING_CATEGORY(lcNet, "orvex.net")

using namespace Qt::Literals::StringLiterals;

namespace orvex {
namespace {

constexpr qsizetype kPaddedHostLength = 64;
// How long a name may take to resolve before it counts as unknown.
constexpr int kLookupWaitMs = 30000;
constexpr quint32 kInvalidAddress = 0xFFFFFFFFu;

// One part of an inet_addr() address; nothing when it is not a number or does
// not fit in 32 bits.
std::optional<quint64> parsePart(QStringView part)
{
    int base = 10;
    if (part.size() > 1 && part[0] == u'0') {
        if (part[1] == u'x' || part[1] == u'X') {
            base = 16;
            part = part.mid(2);
        } else {
            base = 8;
            part = part.mid(1);
        }
    }
    if (part.isEmpty())
        return std::nullopt;
    quint64 value = 0;
    for (const QChar c : part) {
        const char16_t u = c.unicode();
        int digit;
        if (u >= u'0' && u <= u'9')
            digit = u - u'0';
        else if (u >= u'a' && u <= u'f')
            digit = u - u'a' + 10;
        else if (u >= u'A' && u <= u'F')
            digit = u - u'A' + 10;
        else
            return std::nullopt;
        if (digit >= base)
            return std::nullopt;
        value = value * base + digit;
        if (value > 0xFFFFFFFFu)
            return std::nullopt;
    }
    return value;
}

QString dotted(quint32 networkOrder)
{
    std::array<unsigned char, 4> b{};
    std::memcpy(b.data(), &networkOrder, b.size());
    return QString::number(b[0]) + u'.' + QString::number(b[1]) + u'.' + QString::number(b[2]) +
           u'.' + QString::number(b[3]);
}

} // namespace

Net::Net(platform::Pinger &pinger, platform::HostResolver &resolver, platform::UrlCache &urlCache)
    : m_pinger(pinger), m_resolver(resolver), m_urlCache(urlCache)
{}

bool Net::DoPing(const QString &host)
{
    QString name = host;
    const quint32 address = IP2Long(pingGetHostByName(name));
    // A name that did not resolve leaves the all-ones address, which is the
    // local network's broadcast: fail as the echo library fails there, with
    // no reply, instead of sending to every host on the dispatcher's LAN.
    platform::EchoResult reply;
    if (address != kInvalidAddress)
        reply = waitForEcho(address);
    else
        reply.detail = "no address to ping";
    if (reply.replies > 0 && reply.status == platform::echo_status::Success) {
        PingOK = static_cast<qint32>(reply.roundTripMs);
        return true;
    }
    PingError = QString::fromStdString(platform::echoFailureText(reply));
    qCInfo(lcNet) << "ping" << host << lastIP << PingError << reply.detail.c_str();
    return false;
}

platform::EchoResult Net::waitForEcho(quint32 address)
{
    const std::unique_ptr<platform::PendingEcho> echo = m_pinger.send(address, PingTimeoutMs);
    std::optional<platform::EchoResult> result;
    // The reply wakes the event loop through its socket where there is one;
    // elsewhere the echo is looked at on a short timer.
    std::unique_ptr<QSocketNotifier> notifier;
    if (echo->readableSocket() >= 0)
        notifier = std::make_unique<QSocketNotifier>(echo->readableSocket(), QSocketNotifier::Read);
    waitUntil([&] { return (result = echo->check()).has_value(); }, int(PingTimeoutMs) + 1000,
              notifier ? 100 : 10);
    if (result)
        return *result;
    platform::EchoResult late;
    late.status = platform::echo_status::RequestTimedOut;
    late.detail = "no answer from the echo within its time-out";
    return late;
}

QString Net::pingGetHostByName(QString &host)
{
    host = host.leftJustified(kPaddedHostLength, QChar(u'\0'));
    // The lookup reads the name as a C string: it ends at the first zero.
    QByteArray name = ansi::encode(host);
    const qsizetype end = name.indexOf('\0');
    if (end >= 0)
        name.truncate(end);

    // The answer comes through the event loop; the window goes on meanwhile.
    struct Lookup
    {
        bool done = false;
        std::optional<std::uint32_t> address;
    };
    const auto lookup = std::make_shared<Lookup>();
    m_resolver.lookupIPv4(name.toStdString(), [lookup](std::optional<std::uint32_t> a) {
        lookup->address = a;
        lookup->done = true;
    });
    waitUntil([&] { return lookup->done; }, kLookupWaitMs);

    if (lookup->address) {
        lastIP = dotted(*lookup->address);
    } else {
        lastIP = u"No IP"_s;
        qCInfo(lcNet) << "cannot resolve" << ansi::decode(name) << (lookup->done ? "" : "in time");
    }
    return lastIP;
}

quint32 Net::IP2Long(const QString &text)
{
    const QList<QStringView> parts = QStringView(text).split(u'.');
    if (parts.size() > 4)
        return kInvalidAddress;
    quint32 hostOrder = 0;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        const auto value = parsePart(parts[i]);
        if (!value)
            return kInvalidAddress;
        const bool last = i == parts.size() - 1;
        // Every part but the last is one byte; the last fills the rest (a
        // part never holds more than 32 bits, so a shift by 32 leaves 0).
        const int bits = last ? 8 * int(4 - i) : 8;
        if (*value >> bits)
            return kInvalidAddress;
        if (last)
            hostOrder |= static_cast<quint32>(*value);
        else
            hostOrder |= static_cast<quint32>(*value) << (24 - 8 * i);
    }
    return qToBigEndian(hostOrder);
}

void Net::GetCacheURLList()
{
    GetCacheURLList_Result.clear();
    for (const std::string &url : m_urlCache.entryUrls())
        GetCacheURLList_Result.append(ansi::decode(QByteArrayView(url.data(), url.size())));
}

namespace {

struct SystemProbes
{
    std::unique_ptr<platform::Pinger> pinger = platform::createPinger();
    std::unique_ptr<platform::HostResolver> resolver = platform::createHostResolver();
    std::unique_ptr<platform::UrlCache> urlCache = platform::createUrlCache();
};

// The probes come first among the bases, so they exist when Net takes them.
class SystemNet final : private SystemProbes, public Net
{
public:
    SystemNet() : Net(*pinger, *resolver, *urlCache) {}
};

} // namespace

std::unique_ptr<Net> createSystemNet()
{
    return std::make_unique<SystemNet>();
}

void Net::DeleteItemInCache(const QString &url)
{
    if (!m_urlCache.deleteEntry(ansi::encode(url).toStdString()))
        qCInfo(lcNet) << "cannot delete cache entry" << url;
}

} // namespace orvex
