#pragma once
// String, file and folder routines of the utility class. The string routines
// keep no state and are static, so code outside the class can call them as
// AddsUtilities::Var_GetPart(...). Paths may use "\" or "/" as separator:
// callers build them the Windows way (folder + "\resources\x.wav").
#include <QString>
#include <QStringList>
#include <QVariant>

namespace orvex {

// The path with every "\" turned into "/", which Qt accepts on every platform.
QString toLocalPath(const QString &path);

class AddsUtilities
{
public:
    // Cuts the first field off `text`: returns everything up to and including
    // the first character of the first `separator`, and leaves in `text`
    // what follows the separator. With `dropSeparator` the returned part loses
    // that last character. When the separator does not occur (or is empty)
    // the result is empty and `text` stays as it was.
    static QString Var_GetPart(QString &text, const QString &separator, bool dropSeparator);

    // The field at 1-based `position` of a `separator`-delimited text; empty
    // when there are fewer fields. An empty separator makes the whole text
    // the only field.
    static QString Var_GetFieldAt(const QString &text, int position, const QString &separator);

    // The characters in reverse order; a surrogate pair stays one character.
    static QString Var_Reverse(const QString &text);

    // Replaces `find` by `replacement`. Mode (either case): 'A' every
    // occurrence, left to right without overlap; 'L' the run of consecutive
    // occurrences at the start of the text; 'T' the same at the end; 'B' both.
    // Any other mode, or an empty `find`, gives the text back unchanged.
    static QString Var_Translate(const QString &text, const QString &find,
                                 const QString &replacement, QChar mode = u'A',
                                 Qt::CaseSensitivity cs = Qt::CaseSensitive);

    // Query-string escape: ASCII letters and digits as they are, a blank as
    // "+", every other character as "%XX" per byte of its ANSI code.
    static QString URL_Encode(const QString &text);
    // The same rule over bytes that already are ANSI (a file's content),
    // appended to `out`.
    static void appendUrlEncoded(QByteArray &out, QByteArrayView bytes);

    // True for a dotted IPv4 number: exactly four parts separated by ".",
    // each 1 to 3 ASCII digits with a value 0..255 and no leading zero
    // ("0" itself is fine). Leading zeros are refused because the system's
    // address parsers read them as octal, so "010" would not mean ten.
    static bool NET_IPNumberIsValid(const QString &host);

    // Counts the entries of `folder` (files and, unless `includeFolders` is
    // false, folders) whose names match `pattern` ("*" and "?", case
    // ignored, "*.*" matching every name), and lists their names in
    // File_ContarArchivos_Lista, which is emptied first. 0 for a missing
    // folder.
    qint32 File_ContarArchivos(const QString &folder, const QString &pattern = QStringLiteral("*"),
                               bool includeFolders = true);
    QStringList File_ContarArchivos_Lista;

    // Creates every missing folder of `path`; existing ones are not an error.
    void Disk_CrearRutaDirectorios(const QString &path);

    // True when `path` names an existing file or folder.
    bool File_Exists(const QString &path);

    // The whole file as text, one character per byte of the ANSI code page;
    // empty when the file is missing or unreadable.
    QString File_ReadBinary(const QString &path);

    // Writes `text` as ANSI bytes after creating the folders of the path.
    // Without `append` the file is replaced as a whole (a crash leaves the
    // old content); with it the text is added at the end.
    bool File_SaveBinary(const QString &path, const QString &text, bool append = false);

    // The file's version resource as "major.minor.build.revision", or in
    // numeric mode the number major.minor as a double (2.5). "0.0.0.0" / 0.0
    // when the file is missing or carries no version.
    QVariant File_GetVersion(const QString &path, bool numericMode = false);
};

} // namespace orvex
