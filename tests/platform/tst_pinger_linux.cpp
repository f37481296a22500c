#include "platform/HostResolver.h"
#include "platform/Pinger_linux.h"

#include <QtTest>

using namespace orvex::platform;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint16_t kId = 0x1234, kSeq = 0x0102;

// `head`, an IPv4 header of `words` 32-bit words, then `message`.
static Bytes withIp(const Bytes &message, std::uint8_t words = 5, Bytes head = {})
{
    head.push_back(static_cast<std::uint8_t>(0x40 | words));
    head.resize(head.size() + words * 4u - 1, 0);
    head.insert(head.end(), message.begin(), message.end());
    return head;
}

static Bytes reply(std::uint16_t id, std::uint16_t seq)
{
    Bytes m = icmp::buildEchoRequest(id, seq);
    return m[0] = 0, m;
}

// An ICMP error quoting the IP header and first 8 bytes of a request (RFC 792).
static Bytes error(std::uint8_t type, std::uint8_t code, std::uint16_t seq)
{
    const Bytes request = icmp::buildEchoRequest(kId, seq);
    return withIp(
        withIp({request.begin(), request.begin() + 8}, 5, {type, code, 0, 0, 0, 0, 0, 0}));
}

// The echo itself, sent and answered, is the seams' test (tests/seams/tst_pinger.cpp).
class TestPingerLinux : public QObject
{
    Q_OBJECT

private slots:
    // RFC 1071 section 3 works the first through (sum 0xddf2); an odd length
    // pads a low zero byte; with its checksum in place a message sums to all ones.
    void checksum()
    {
        QCOMPARE(int(icmp::checksum(Bytes{0x00, 0x01, 0xf2, 0x03, 0xf4, 0xf5, 0xf6, 0xf7})),
                 0x220d);
        QCOMPARE(int(icmp::checksum(Bytes{0x01})), 0xfeff);
        QCOMPARE(int(icmp::checksum(icmp::buildEchoRequest(kId, kSeq))), 0);
    }

    // What a datagram or raw socket hands back: ours, someone else's, or an error about ours.
    void matchReply()
    {
        Bytes altered = reply(kId, kSeq);
        altered.back() ^= 1;
        // Received, whether from a raw socket, the status (-1: not ours).
        const std::tuple<const char *, Bytes, bool, int> rows[] = {
            {"reply, datagram", reply(kId, kSeq), false, 0},
            {"reply, raw with IP options", withIp(reply(kId, kSeq), 6), true, 0},
            {"other sequence", reply(kId, kSeq + 1), false, -1},
            {"other program", withIp(reply(kId + 1, kSeq)), true, -1},
            {"own request on loopback", withIp(icmp::buildEchoRequest(kId, kSeq)), true, -1},
            {"data altered", altered, false, -1},
            {"host unreachable", error(3, 1, kSeq), true, 11003},
            {"time exceeded", error(11, 0, kSeq), true, 11013},
            {"error about another echo", error(3, 1, kSeq + 1), true, -1}};
        for (const auto &[name, received, raw, status] : rows)
            QVERIFY2(int(icmp::matchReply(received, raw, kId, kSeq).value_or(-1)) == status, name);
    }

    // The answer comes through the caller's event loop, never blocking it.
    void resolvesWithoutBlocking()
    {
        std::optional<std::uint32_t> answer;        // in network order
        const auto resolver = createHostResolver(); // its answers end with it
        resolver->lookupIPv4("localhost", [&](auto a) { answer = a; });
        QTRY_COMPARE(answer.value_or(0), qToBigEndian(0x7f000001u));
    }
};

QTEST_GUILESS_MAIN(TestPingerLinux)
#include "tst_pinger_linux.moc"
