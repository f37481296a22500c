#pragma once
// The utility class shared by every form. Its routines come in families, one
// file each (settings store, HTTP and sockets, tray icon, utilities,
// processes and windows); this class puts them together under one object and
// adds the connection-state check.
#include "support/AddsHttp.h"
#include "support/AddsServices.h"
#include "support/AddsSettings.h"
#include "support/AddsSystem.h"
#include "support/AddsTray.h"
#include "support/AddsUtilities.h"
#include "support/Clock.h"

#include <QtGlobal>

namespace orvex {

class Adds : public AddsSettings,
             public AddsHttp,
             public AddsTray,
             public AddsUtilities,
             public AddsSystem
{
public:
    explicit Adds(const AddsServices &services);

    // True only while running inside the development environment; a built
    // program always takes the "false" branch.
    static constexpr bool Win_InDevelopment = false;

    // True when the system reports the connection bit `flag` (one of the
    // single-bit values 1..64); any other value is False.
    bool NET_CheckState(qint32 flag);

    // The services the routines work through, for forms that need the same.
    const AddsServices &services() const { return m_services; }
    const Clock &clock() const { return clockOr(m_services.clock); }

private:
    AddsServices m_services;
};

} // namespace orvex
