#pragma once
// Keeps the sibling exchange program running beside the agent.
#include <QString>

#include <cstdint>

namespace orvex {

class Adds;

class ExchangeHelper
{
public:
    ExchangeHelper(Adds &adds, QString programFolder);
    ~ExchangeHelper();
    ExchangeHelper(const ExchangeHelper &) = delete;
    ExchangeHelper &operator=(const ExchangeHelper &) = delete;

    // Starts the program when its window is not up and it is in the program
    // folder. A copy this agent started and that still runs counts as up
    // too: its window may take longer than a tick to appear, and without a
    // window list (Wayland) it is the only sign there is.
    // True when it started the program now.
    bool tick();

private:
    Adds &m_adds;
    QString m_programFolder;
    std::uint64_t m_started = 0;
};

} // namespace orvex
