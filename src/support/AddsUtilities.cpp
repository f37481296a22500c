#include "support/AddsUtilities.h"

#include "support/AnsiCodec.h"
#include "support/PeVersion.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSaveFile>

#include <array>
#include <cstring>
#include <vector>

namespace orvex {

QString toLocalPath(const QString &path)
{
    QString local = path;
    local.replace(u'\\', u'/');
    return local;
}

namespace {

Q_LOGGING_CATEGORY(lcFiles, "orvex.files")

// Wildcard matching as the system's file search does it. The search turns
// the pattern into the DOS wildcard set before matching: "?" matches one
// character but nothing at a "." or at the end of the name (so "a?.txt" finds
// "a.txt"); a "." before "?", "*" or the end matches a "." or the end of the
// name (so "abc.*" finds "abc" and "*." finds names without extension); a "*"
// before "." may not run past the name's last "."; "*.*" is plain "*".
class FilePattern
{
public:
    explicit FilePattern(QStringView pattern)
    {
        if (pattern == u"*.*")
            pattern = u"*";
        for (qsizetype i = 0; i < pattern.size(); ++i) {
            const QChar c = pattern[i];
            const QChar next = i + 1 < pattern.size() ? pattern[i + 1] : QChar();
            if (c == u'?')
                m_items.push_back({Kind::DosQuestion, {}});
            else if (c == u'*')
                m_items.push_back({next == u'.' ? Kind::DosStar : Kind::Star, {}});
            else if (c == u'.' && (next.isNull() || next == u'?' || next == u'*'))
                m_items.push_back({Kind::DosDot, {}});
            else
                m_items.push_back({Kind::Literal, c.toCaseFolded()});
        }
    }

    bool matches(QStringView name) const
    {
        m_name = name;
        m_lastDot = name.lastIndexOf(u'.');
        m_memo.assign((m_items.size() + 1) * (name.size() + 1), Unknown);
        return match(0, 0);
    }

private:
    enum class Kind { Literal, Star, DosStar, DosQuestion, DosDot };
    struct Item
    {
        Kind kind;
        QChar c;
    };
    enum : signed char { Unknown = -1, No = 0, Yes = 1 };

    // Memoised over (pattern position, name position), so "*a*a*a*b" against
    // a long name costs a table, not an exponential search.
    bool match(std::size_t p, qsizetype n) const
    {
        signed char &memo = m_memo[p * (m_name.size() + 1) + n];
        if (memo != Unknown)
            return memo == Yes;
        const bool result = step(p, n);
        memo = result ? Yes : No;
        return result;
    }

    bool step(std::size_t p, qsizetype n) const
    {
        const qsizetype size = m_name.size();
        if (p == m_items.size())
            return n == size;
        const Item &item = m_items[p];
        switch (item.kind) {
        case Kind::Literal:
            return n < size && m_name[n].toCaseFolded() == item.c && match(p + 1, n + 1);
        case Kind::Star:
            for (qsizetype k = n; k <= size; ++k) {
                if (match(p + 1, k))
                    return true;
            }
            return false;
        case Kind::DosStar: {
            const qsizetype limit = m_lastDot >= n ? m_lastDot : size;
            for (qsizetype k = n; k <= limit; ++k) {
                if (match(p + 1, k))
                    return true;
            }
            return false;
        }
        case Kind::DosQuestion:
            if (n == size || m_name[n] == u'.')
                return match(p + 1, n);
            return match(p + 1, n + 1);
        case Kind::DosDot:
            if (n == size)
                return match(p + 1, n);
            return m_name[n] == u'.' && match(p + 1, n + 1);
        }
        return false;
    }

    std::vector<Item> m_items;
    mutable QStringView m_name;
    mutable qsizetype m_lastDot = -1;
    mutable std::vector<signed char> m_memo;
};

// The part of `text` after the leading run of `find`s, and how many there were.
qsizetype leadingRun(QStringView text, QStringView find, Qt::CaseSensitivity cs, qsizetype &rest)
{
    qsizetype count = 0;
    rest = 0;
    while (text.sliced(rest).startsWith(find, cs)) {
        rest += find.size();
        ++count;
    }
    return count;
}

QString replaceLeading(const QString &text, const QString &find, const QString &replacement,
                       Qt::CaseSensitivity cs)
{
    qsizetype rest = 0;
    const qsizetype count = leadingRun(text, find, cs, rest);
    if (count == 0)
        return text;
    return replacement.repeated(count) + QStringView(text).sliced(rest);
}

QString replaceTrailing(const QString &text, const QString &find, const QString &replacement,
                        Qt::CaseSensitivity cs)
{
    return AddsUtilities::Var_Reverse(replaceLeading(AddsUtilities::Var_Reverse(text),
                                                     AddsUtilities::Var_Reverse(find),
                                                     AddsUtilities::Var_Reverse(replacement), cs));
}

// What each byte becomes in a query: letters and digits stay, a blank is
// "+", every other byte "%" and two upper-case hex digits. Looked up, not
// worked out, because an archive of many megabytes goes through it.
struct UrlEscape
{
    char text[3];
    unsigned char size;
};
constexpr char kHex[] = "0123456789ABCDEF";
constexpr std::array<UrlEscape, 256> kUrlEscapes = [] {
    std::array<UrlEscape, 256> table{};
    for (int b = 0; b < 256; ++b) {
        const auto c = static_cast<char>(b);
        if ((b >= 'a' && b <= 'z') || (b >= 'A' && b <= 'Z') || (b >= '0' && b <= '9'))
            table[b] = {{c, 0, 0}, 1};
        else if (b == ' ')
            table[b] = {{'+', 0, 0}, 1};
        else
            table[b] = {{'%', kHex[b >> 4], kHex[b & 0x0F]}, 3};
    }
    return table;
}();

} // namespace

QString AddsUtilities::Var_GetPart(QString &text, const QString &separator, bool dropSeparator)
{
    if (separator.isEmpty())
        return {};
    const qsizetype p = text.indexOf(separator);
    if (p < 0)
        return {};
    QString part = text.left(p + 1);
    text.remove(0, p + separator.size());
    if (dropSeparator && !part.isEmpty())
        part.chop(1);
    return part;
}

QString AddsUtilities::Var_GetFieldAt(const QString &text, int position, const QString &separator)
{
    if (position < 1)
        return {};
    if (separator.isEmpty())
        return position == 1 ? text : QString();
    qsizetype start = 0;
    for (int field = 1; field < position; ++field) {
        const qsizetype p = text.indexOf(separator, start);
        if (p < 0)
            return {};
        start = p + separator.size();
    }
    const qsizetype end = text.indexOf(separator, start);
    return text.mid(start, end < 0 ? -1 : end - start);
}

QString AddsUtilities::Var_Reverse(const QString &text)
{
    QString out;
    out.reserve(text.size());
    for (qsizetype i = text.size() - 1; i >= 0; --i) {
        if (text[i].isLowSurrogate() && i > 0 && text[i - 1].isHighSurrogate()) {
            out.append(text[i - 1]);
            out.append(text[i]);
            --i;
        } else {
            out.append(text[i]);
        }
    }
    return out;
}

QString AddsUtilities::Var_Translate(const QString &text, const QString &find,
                                     const QString &replacement, QChar mode, Qt::CaseSensitivity cs)
{
    if (find.isEmpty())
        return text;
    switch (mode.toUpper().unicode()) {
    case u'A': {
        QString out = text;
        return out.replace(find, replacement, cs);
    }
    case u'L':
        return replaceLeading(text, find, replacement, cs);
    case u'T':
        return replaceTrailing(text, find, replacement, cs);
    case u'B':
        return replaceTrailing(replaceLeading(text, find, replacement, cs), find, replacement, cs);
    default:
        return text;
    }
}

void AddsUtilities::appendUrlEncoded(QByteArray &out, QByteArrayView bytes)
{
    const qsizetype start = out.size();
    out.resize(start + 3 * bytes.size());
    char *to = out.data() + start;
    for (const char b : bytes) {
        const UrlEscape &e = kUrlEscapes[static_cast<unsigned char>(b)];
        std::memcpy(to, e.text, 3);
        to += e.size;
    }
    out.truncate(to - out.constData());
}

QString AddsUtilities::URL_Encode(const QString &text)
{
    QByteArray out;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (c < 0x80) {
            const char byte = static_cast<char>(c);
            appendUrlEncoded(out, QByteArrayView(&byte, 1));
            continue;
        }
        // A surrogate pair is one character; a double-byte code page gives
        // two bytes, high byte first, each its own escape (even a trail byte
        // that reads as a letter).
        const qsizetype length =
            (QChar::isHighSurrogate(c) && i + 1 < text.size() && text[i + 1].isLowSurrogate()) ? 2
                                                                                               : 1;
        QByteArray bytes = ansi::encode(text.mid(i, length));
        // The codec answers per UTF-16 unit, so a pair it cannot hold comes
        // back as "??"; the system gives one '?' per character.
        if (length == 2 && bytes == "??")
            bytes.chop(1);
        for (const char b : bytes) {
            const auto byte = static_cast<unsigned char>(b);
            const char escape[3] = {'%', kHex[byte >> 4], kHex[byte & 0x0F]};
            out.append(escape, 3);
        }
        i += length - 1;
    }
    return QString::fromLatin1(out);
}

bool AddsUtilities::NET_IPNumberIsValid(const QString &host)
{
    const QList<QStringView> parts = QStringView(host).split(u'.');
    if (parts.size() != 4)
        return false;
    for (const QStringView part : parts) {
        if (part.isEmpty() || part.size() > 3 || (part.size() > 1 && part.front() == u'0'))
            return false;
        int value = 0;
        for (const QChar c : part) {
            if (c < u'0' || c > u'9')
                return false;
            value = value * 10 + (c.unicode() - u'0');
        }
        if (value > 255)
            return false;
    }
    return true;
}

qint32 AddsUtilities::File_ContarArchivos(const QString &folder, const QString &pattern,
                                          bool includeFolders)
{
    File_ContarArchivos_Lista.clear();
    // The pattern may carry folders of its own ("sub\*.txt"); only its last
    // part holds wildcards.
    const QString full = toLocalPath(folder + u'/' + pattern);
    const qsizetype slash = full.lastIndexOf(u'/');
    const QString directory = full.left(slash + 1);
    const QString namePattern = full.mid(slash + 1);
    if (namePattern.isEmpty())
        return 0;

    const FilePattern matcher(namePattern);
    QDir::Filters filters = QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    filters |= includeFolders ? QDir::AllEntries : QDir::Files;
    QDirIterator it(directory, filters);
    while (it.hasNext()) {
        it.next();
        const QString name = it.fileName();
        if (matcher.matches(name))
            File_ContarArchivos_Lista.append(name);
    }
    File_ContarArchivos_Lista.sort(Qt::CaseInsensitive);
    return static_cast<qint32>(File_ContarArchivos_Lista.size());
}

void AddsUtilities::Disk_CrearRutaDirectorios(const QString &path)
{
    const QString local = toLocalPath(path);
    if (local.isEmpty())
        return;
    if (!QDir().mkpath(local))
        qCWarning(lcFiles) << "cannot create folder" << local;
}

bool AddsUtilities::File_Exists(const QString &path)
{
    const QString local = toLocalPath(path);
    return !local.isEmpty() && QFileInfo::exists(local);
}

QString AddsUtilities::File_ReadBinary(const QString &path)
{
    QFile file(toLocalPath(path));
    if (!file.open(QIODevice::ReadOnly)) {
        qCDebug(lcFiles) << "cannot read" << file.fileName() << file.errorString();
        return {};
    }
    return ansi::decode(file.readAll());
}

bool AddsUtilities::File_SaveBinary(const QString &path, const QString &text, bool append)
{
    const QString local = toLocalPath(path);
    if (local.isEmpty())
        return false;
    const QFileInfo info(local);
    Disk_CrearRutaDirectorios(info.path());
    const QByteArray bytes = ansi::encode(text);

    if (append) {
        QFile file(local);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Append) ||
            file.write(bytes) != bytes.size()) {
            qCWarning(lcFiles) << "cannot append to" << local << file.errorString();
            return false;
        }
        return true;
    }
    QSaveFile file(local);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        qCWarning(lcFiles) << "cannot write" << local << file.errorString();
        return false;
    }
    return true;
}

QVariant AddsUtilities::File_GetVersion(const QString &path, bool numericMode)
{
    std::optional<PeFileVersion> version;
    QFile file(toLocalPath(path));
    if (file.open(QIODevice::ReadOnly) && file.size() > 0) {
        // Programs can be large and the resource sits near the end; mapping
        // spares reading the whole file.
        if (const uchar *mapped = file.map(0, file.size())) {
            version =
                peFileVersion(QByteArrayView(reinterpret_cast<const char *>(mapped), file.size()));
            file.unmap(const_cast<uchar *>(mapped));
        } else {
            version = peFileVersion(file.readAll());
        }
    }
    const PeFileVersion v = version.value_or(PeFileVersion{0, 0, 0, 0});
    // The number is read from the text "major.minor", as callers compare it
    // with figures like 2.5 (so minor 10 reads as .1, not as .10).
    const QString majorMinor = QString::number(v[0]) + u'.' + QString::number(v[1]);
    if (numericMode)
        return majorMinor.toDouble();
    return QString(majorMinor + u'.' + QString::number(v[2]) + u'.' + QString::number(v[3]));
}

} // namespace orvex
