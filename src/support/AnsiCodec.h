#pragma once
// The one place where text becomes bytes and back. Every boundary (INI files,
// sockets, datagrams, IRC lines, URL encoding, command lines) goes through
// here, so "Año" is 41 F1 6F everywhere.
#include <QByteArray>
#include <QByteArrayView>
#include <QString>

namespace orvex::ansi {

// Text -> bytes in the ANSI code page. Characters the code page cannot hold
// become '?'.
QByteArray encode(const QString &text);

// Bytes in the ANSI code page -> text. Every byte maps to one character.
QString decode(QByteArrayView bytes);

} // namespace orvex::ansi
