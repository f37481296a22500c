#pragma once
// What the servers' states add up to: the overall state, the problem list,
// and the texts and picture the window and the tray show for it. Pure: the
// scan cycle hands in the table and applies what comes back.
#include "app/DynIpServer.h"

#include <QString>

#include <vector>

namespace orvex {

namespace server_state {
constexpr qint32 NotTried = 0;
constexpr qint32 Unreachable = 1; // no keep-alive, no ping
constexpr qint32 ServiceDown = 2; // no keep-alive, but the host answers a ping
constexpr qint32 Online = 3;
} // namespace server_state

// The state column of a server's line in the list ("OK", ...); empty for a
// server not tried yet, whose line keeps its "...".
QString serverStateText(qint32 state);

// A server's line in ListaDestinos: its name, a tab, the state column.
QString serverLine(const QString &name, qint32 state);

// A server's tool tip: where its keep-alives go, when it was last tried and
// last answered, and why it failed.
QString serverTip(const DynIpServer &server);

struct ScanStatus
{
    // The lowest State of all servers (element 0 included), 3 when all are on line.
    qint32 overall = server_state::Online;
    // "Name: Sin conexión" / "Name: Sin internet" joined by " / ", the
    // separator written before every server after the first problem, so
    // healthy servers after a problem leave trailing separators.
    QString problems;
    // Some server's State differs from its PrevState.
    bool changed = false;

    // The row of the overall state; for state 0 none applies and the window
    // keeps what it shows.
    bool hasRow() const { return overall >= 1 && overall <= 3; }
    QString statusText() const;
    QString recommendation() const;
    // Index into Pics of the picture the tray blinks from.
    int basePicture() const;
    // The tray tip: "Orvex - " and the status text, the problem list when no
    // row applies, "Sistema en linea" when that is empty too.
    QString trayTip() const;
};

ScanStatus judgeServers(const std::vector<DynIpServer> &servers);

} // namespace orvex
