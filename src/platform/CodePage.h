#pragma once

namespace orvex::platform {

// True where the system has an ANSI code page of its own (Windows): text is
// then converted with it. Elsewhere the agent uses Windows-1252.
bool systemAnsiCodePageIsNative();

} // namespace orvex::platform
