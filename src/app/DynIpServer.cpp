#include "app/DynIpServer.h"

#include "support/AddsUtilities.h"
#include "support/LeadingNumber.h"

#include <limits>

namespace orvex {
namespace {
const QString kSlash = QStringLiteral("/");
const QString kColon = QStringLiteral(":");

QString takeField(QString &rest, const QString &sep)
{
    return AddsUtilities::Var_GetPart(rest, sep, true);
}
} // namespace

qint16 leadingInt16(const QString &text)
{
    // Magnitudes up to 32768 are read so that -32768 fits; anything outside
    // the 16-bit range is 0.
    const qint64 value = leadingNumber(text, 32768, OnOverflow::Zero);
    return value > std::numeric_limits<qint16>::max() ? 0 : static_cast<qint16>(value);
}

DynIpServerValue parseDynIpServerValue(const QString &value)
{
    DynIpServerValue out;
    if (!value.contains(kSlash))
        return out;
    out.hasSeparator = true;

    QString rest = value;
    const QString name = takeField(rest, kSlash);
    const QString domain = takeField(rest, kSlash);
    const QString address = takeField(rest, kSlash);
    out.domainField = domain;

    QString host = address;
    QString portText;
    const qsizetype colon = address.indexOf(kColon);
    if (colon >= 0) {
        host = address.left(colon);
        portText = address.mid(colon + 1);
    }

    // Without a fourth "/" the remaining text is the version and the
    // interval defaults to two minutes.
    QString version = takeField(rest, kSlash);
    QString interval;
    if (version.isEmpty() && !rest.isEmpty()) {
        version = rest;
        interval = QStringLiteral("120");
    } else {
        interval = rest;
    }

    if (host.isEmpty() || domain.isEmpty())
        return out;

    out.valid = true;
    out.Name = name;
    out.Domain = domain;
    out.Host = host;
    if (!portText.isEmpty())
        out.Port = portText;
    else
        out.Port =
            version == QStringLiteral("V2") ? QStringLiteral("9751") : QStringLiteral("9745");
    out.Version = version;
    out.KeepAliveSeconds = leadingInt16(interval);
    return out;
}

} // namespace orvex
