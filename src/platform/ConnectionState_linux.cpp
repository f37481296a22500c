#include "platform/ConnectionState_linux.h"

#include <charconv>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>

namespace orvex::platform {
namespace {

// From <linux/if.h> and <linux/if_arp.h>.
constexpr unsigned kIffUp = 0x1;
constexpr unsigned kIffLoopback = 0x8;
constexpr unsigned kArphrdPpp = 512;
constexpr unsigned kArphrdLoopback = 772;

// The first line of a sysfs attribute; empty when it cannot be read (reading
// "carrier" of an interface that is down fails, for instance).
std::string readAttribute(const std::filesystem::path &file)
{
    std::ifstream in(file);
    std::string line;
    if (!in || !std::getline(in, line))
        return {};
    while (!line.empty() && (line.back() == ' ' || line.back() == '\r' || line.back() == '\t'))
        line.pop_back();
    return line;
}

std::optional<unsigned> parseNumber(std::string text)
{
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.erase(0, 2);
        base = 16;
    }
    unsigned value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (ec != std::errc() || end != text.data() + text.size() || text.empty())
        return std::nullopt;
    return value;
}

bool startsWith(const std::string &s, const char *prefix)
{
    return s.rfind(prefix, 0) == 0;
}

} // namespace

SysfsConnectionState::SysfsConnectionState(std::filesystem::path sysRoot)
    : m_sysRoot(std::move(sysRoot))
{}

std::uint32_t SysfsConnectionState::flags()
{
    std::uint32_t result = 0;
    bool anyInterface = false;
    bool anyConnected = false;

    std::error_code ec;
    std::filesystem::directory_iterator it(m_sysRoot / "class" / "net", ec);
    for (; !ec && it != std::filesystem::directory_iterator(); it.increment(ec)) {
        const auto dir = it->path();
        const std::string name = dir.filename().string();
        const auto ifFlags = parseNumber(readAttribute(dir / "flags"));
        const auto type = parseNumber(readAttribute(dir / "type"));
        if (name == "lo" || (ifFlags && (*ifFlags & kIffLoopback)) || type == kArphrdLoopback)
            continue;
        anyInterface = true;

        const bool up =
            ifFlags ? (*ifFlags & kIffUp) != 0 : readAttribute(dir / "operstate") == "up";
        if (!up || readAttribute(dir / "carrier") != "1")
            continue;
        anyConnected = true;
        const bool modem =
            startsWith(name, "ppp") || startsWith(name, "wwan") || type == kArphrdPpp;
        result |= modem ? connection_flag::Modem : connection_flag::Lan;
    }

    if (anyInterface)
        result |= connection_flag::Configured;
    if (!anyConnected)
        result |= connection_flag::Offline;
    return result;
}

std::unique_ptr<ConnectionState> createConnectionState()
{
    return std::make_unique<SysfsConnectionState>();
}

} // namespace orvex::platform
