#pragma once
#include "platform/IrcClient.h"

#include <QDateTime>
#include <QString>
#include <QtGlobal>

#include <memory>
#include <optional>

namespace orvex {

// One dynamic-IP server of the centre. Element 0 of the table is the
// built-in support server; the others come from the INI file.
struct DynIpServer
{
    QString Host;
    QString Port;
    QString Version;
    QString Name;
    QString Domain;
    qint16 KeepAliveSeconds = 0;
    std::unique_ptr<platform::IrcClient> ChatClient;

    // Working fields of the scan cycle.
    QDateTime LastAttempt;
    QDateTime NextKeepAlive;
    qint32 PrevState = 0;
    qint32 State = 0;
    // For the server's tool tip: the last keep-alive that succeeded, and why
    // the last one that failed did.
    QDateTime LastSuccess;
    QString LastFailure;
};

// What one "DynIP Server N" value says: Name/Domain/Host[:Port]/Version[/Seconds].
struct DynIpServerValue
{
    bool hasSeparator = false; // the value held a "/" at all
    QString domainField;       // the second field, valid entry or not
    bool valid = false;        // host and domain both present
    QString Name;
    QString Domain;
    QString Host;
    QString Port;
    QString Version;
    qint16 KeepAliveSeconds = 0;
};

DynIpServerValue parseDynIpServerValue(const QString &value);

// The leading number of a text as the old BASIC runtime reads it: optional
// blanks and sign, then digits; anything else ends it. "60s" is 60, "abc" 0.
// A number that does not fit the 16-bit field gives 0.
qint16 leadingInt16(const QString &text);

} // namespace orvex
