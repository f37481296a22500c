#pragma once
// The agent's one way of waiting: let pending events run until a condition
// holds or a deadline passes, sleeping in the event loop between checks.
#include <functional>

namespace orvex {

class Clock;

// Runs events until `done()` is true or `timeoutMs` of `clock` have passed (a
// negative timeout waits without limit). Returns the last value of `done()`.
// Events that wake the loop (socket data, timers, input) are handled at once;
// a wake-up timer re-checks the condition every `pollMs` for conditions that
// no event announces (a child process ending, a file appearing). Without a
// clock the deadline is the system's.
bool waitUntil(const std::function<bool()> &done, int timeoutMs, int pollMs = 50,
               const Clock *clock = nullptr);

// Lets events run for `ms` milliseconds without spinning.
void pauseWithEvents(int ms);

} // namespace orvex
