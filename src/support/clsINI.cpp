#include "support/clsINI.h"

#include "support/AnsiCodec.h"

#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSaveFile>

#include <exception>
#include <filesystem>
#include <new>

using namespace Qt::StringLiterals;

Q_LOGGING_CATEGORY(lcIni, "orvex.ini")

namespace orvex {
namespace {

struct Fault
{
    int number = 0;
    QString description;
};

// Containers can still run out of memory; that must not escape a routine any
// more than a file error does.
template <typename Fn> bool guarded(Fault &fault, Fn &&fn)
{
    try {
        fn();
        return true;
    } catch (const std::bad_alloc &) {
        fault = {7, u"Out of memory"_s};
    } catch (const std::exception &) {
        fault = {51, u"Internal error"_s};
    }
    return false;
}

Fault fileFault(const QFileDevice &file)
{
    // Some failures (a short write) leave no error code behind.
    const int number = file.error() == QFileDevice::NoError ? int(QFileDevice::UnspecifiedError)
                                                            : int(file.error());
    return {number, file.errorString()};
}

QString errorPrefix(const Fault &fault)
{
    return u"Error "_s + QString::number(fault.number) + u" ("_s + fault.description + u")"_s;
}

// A fault while a value moved between the caller and the store in memory;
// `doing` is "reading a value from" or "writing a value to".
QString storeFaultMessage(const Fault &fault, const QString &doing, const QString &fileName,
                          const QString &section, const QString &key)
{
    return errorPrefix(fault) + u" occurred while "_s + doing +
           u" the data structure containing "_s + fileName + u".\r\nIni Section Name = "_s +
           section + u", Item Key = "_s + key;
}

// A fault while the whole file moved between the store and the disk; `doing`
// is "reading" or "writing", `direction` "from" or "to".
QString diskFaultMessage(const Fault &fault, const QString &doing, const QString &path,
                         const QString &direction)
{
    return errorPrefix(fault) + u" occurred while "_s + doing + u' ' + path + u' ' + direction +
           u" disk."_s;
}

// Settings live in regular files. Anything else under the name is neither
// read nor replaced: opening a FIFO waits for a writer (at start-up, for
// ever), a device may never end, and replacing either would destroy it.
enum class OnDisk { Missing, RegularFile, Other };

OnDisk onDisk(const QString &path)
{
    std::error_code error;
    const auto status = std::filesystem::status(path.toStdU16String(), error);
    if (std::filesystem::is_regular_file(status))
        return OnDisk::RegularFile;
    return std::filesystem::exists(status) ? OnDisk::Other : OnDisk::Missing;
}

const QString kNotRegular = u"Not a regular file"_s;

} // namespace

QStringView trimmedBlanks(QStringView text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && text[begin] == u' ')
        ++begin;
    while (end > begin && text[end - 1] == u' ')
        --end;
    return text.sliced(begin, end - begin);
}

QString trimBlanks(QStringView text)
{
    return trimmedBlanks(text).toString();
}

// A line's blanks go before it is decoded: a space is the same byte in
// every ANSI code page and never the second byte of a character.
QByteArrayView trimmedBlankBytes(QByteArrayView line)
{
    qsizetype begin = 0;
    qsizetype end = line.size();
    while (begin < end && line[begin] == ' ')
        ++begin;
    while (end > begin && line[end - 1] == ' ')
        --end;
    return line.sliced(begin, end - begin);
}

QStringList splitIniLines(QByteArrayView bytes)
{
    QStringList lines;
    lines.reserve(bytes.count('\n') + 1);
    const qsizetype size = bytes.size();
    qsizetype start = 0;
    for (qsizetype i = 0; i < size; ++i) {
        const char c = bytes[i];
        if (c != '\r' && c != '\n')
            continue;
        lines.append(ansi::decode(trimmedBlankBytes(bytes.sliced(start, i - start))));
        if (c == '\r' && i + 1 < size && bytes[i + 1] == '\n')
            ++i;
        start = i + 1;
    }
    if (start < size)
        lines.append(ansi::decode(trimmedBlankBytes(bytes.sliced(start))));
    return lines;
}

QByteArray joinIniLines(const QStringList &lines)
{
    QByteArray out;
    for (const QString &line : lines) {
        out += ansi::encode(trimBlanks(line));
        out += "\r\n";
    }
    return out;
}

QVariant clsINI::FileName() const
{
    return m_fileName;
}

void clsINI::FileName(const QVariant &name)
{
    m_fileName = name.toString();
}

QString clsINI::ReadFrom(QString section, const QString &key, const QString &defaultValue)
{
    QString result = defaultValue;
    Fault fault;
    const bool ok = guarded(fault, [&] {
        FormatSection(section);
        const KeyPlace place = locateKey(section, key);
        if (place.line < 0)
            return;
        const QString &line = m_lines.at(place.line);
        result = trimBlanks(QStringView(line).sliced(line.indexOf(u'=') + 1));
    });
    if (!ok) {
        ReportError(u"ReadFrom"_s,
                    storeFaultMessage(fault, u"reading a value from"_s, m_fileName, section, key));
    }
    return result;
}

void clsINI::WriteTo(QString section, const QString &key, const QString &value)
{
    Fault fault;
    const bool ok = guarded(fault, [&] {
        FormatSection(section);
        // The key goes in as the caller spelled it; only the value is trimmed.
        const QString newLine = key + u'=' + trimBlanks(value);
        const int s = FindSection(section);
        if (s < 0) {
            AddSection(section);
            m_lines.append(newLine);
            m_sectionItemCount.last() = 1;
            m_dirty = true;
            return;
        }
        const qint32 found = FindKey(s, key);
        if (found >= 0) {
            // An unchanged line keeps the store clean, so the file is not
            // rewritten for nothing.
            if (m_lines.at(found) != newLine) {
                m_lines[found] = newLine;
                m_dirty = true;
            }
            return;
        }
        // A section usually ends with the blank line that separates it from
        // the next header; the new key goes before that one blank line.
        qint32 at = m_sectionStart.at(s) + m_sectionItemCount.at(s) + 1;
        if (m_lines.at(at - 1).isEmpty())
            --at;
        m_lines.insert(at, newLine);
        ++m_sectionItemCount[s];
        for (int t = s + 1; t < SectionCount(); ++t)
            ++m_sectionStart[t];
        m_dirty = true;
    });
    if (!ok) {
        ReportError(u"WriteTo"_s,
                    storeFaultMessage(fault, u"writing a value to"_s, m_fileName, section, key));
    }
}

void clsINI::LoadIniFile(const QString &path)
{
    Clear();
    m_fileName = path;
    // The store now mirrors what is on disk, even when that is nothing: a
    // missing file is an empty store that the first write creates.
    m_dirty = false;
    Fault fault;
    const bool ok = guarded(fault, [&] {
        if (const OnDisk kind = onDisk(path); kind != OnDisk::RegularFile) {
            fault = {int(QFileDevice::OpenError),
                     kind == OnDisk::Missing ? u"File not found"_s : kNotRegular};
            return;
        }
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            fault = fileFault(file);
            return;
        }
        const QByteArray bytes = file.readAll();
        if (file.error() != QFileDevice::NoError) {
            fault = fileFault(file);
            return;
        }
        LoadIniBytes(path, bytes);
    });
    if (!ok || fault.number != 0) {
        ReportError(u"LoadIniFile"_s, diskFaultMessage(fault, u"reading"_s, path, u"from"_s));
    }
}

void clsINI::LoadIniBytes(const QString &path, QByteArrayView bytes)
{
    Clear();
    m_fileName = path;
    m_lines = splitIniLines(bytes);
    for (qint32 i = 0; i < LineCount(); ++i) {
        if (IsSection(m_lines.at(i))) {
            m_sectionNames.append(m_lines.at(i));
            m_sectionStart.append(i);
            m_sectionItemCount.append(0);
        } else if (!m_sectionItemCount.isEmpty()) {
            ++m_sectionItemCount.last();
        }
    }
    m_dirty = false;
}

void clsINI::WriteIniFile()
{
    if (m_fileName.isEmpty() || !m_dirty)
        return;
    Fault fault;
    const bool ok = guarded(fault, [&] {
        if (onDisk(m_fileName) == OnDisk::Other) {
            fault = {int(QFileDevice::WriteError), kNotRegular};
            return;
        }
        // Written beside the target and renamed over it: a crash or a full
        // disk leaves the old file whole, never a truncated one.
        QSaveFile file(m_fileName);
        const QByteArray bytes = joinIniLines(m_lines);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() ||
            !file.commit()) {
            fault = fileFault(file);
            return;
        }
        m_dirty = false;
    });
    if (!ok || fault.number != 0) {
        ReportError(u"WriteIniFile"_s, diskFaultMessage(fault, u"writing"_s, m_fileName, u"to"_s));
    }
}

void clsINI::Clear()
{
    m_lines.clear();
    m_sectionNames.clear();
    m_sectionStart.clear();
    m_sectionItemCount.clear();
}

void clsINI::AddSection(QString section)
{
    // A new section always follows exactly one blank line. That line belongs
    // to the section before it, as it will once the file is read back.
    if (!m_lines.isEmpty() && !m_lines.last().isEmpty()) {
        m_lines.append(QString());
        if (!m_sectionItemCount.isEmpty())
            ++m_sectionItemCount.last();
    }
    FormatSection(section);
    m_lines.append(section);
    m_sectionNames.append(section);
    m_sectionStart.append(LineCount() - 1);
    m_sectionItemCount.append(0);
    m_dirty = true;
}

void clsINI::DeleteSection(QString section)
{
    FormatSection(section);
    const int s = FindSection(section);
    if (s < 0)
        return;
    const qint32 removed = m_sectionItemCount.at(s) + 1;
    m_lines.remove(m_sectionStart.at(s), removed);
    m_sectionNames.removeAt(s);
    m_sectionStart.removeAt(s);
    m_sectionItemCount.removeAt(s);
    for (int t = s; t < SectionCount(); ++t)
        m_sectionStart[t] -= removed;
    m_dirty = true;
}

QStringList clsINI::ListSections() const
{
    return m_sectionNames;
}

clsINI::KeyPlace clsINI::locateKey(const QString &formattedSection, const QString &key) const
{
    KeyPlace place;
    place.section = FindSection(formattedSection);
    if (place.section >= 0)
        place.line = FindKey(place.section, key);
    return place;
}

void clsINI::DeleteKey(QString section, const QString &key)
{
    FormatSection(section);
    const KeyPlace place = locateKey(section, key);
    if (place.line < 0)
        return;
    m_lines.removeAt(place.line);
    --m_sectionItemCount[place.section];
    for (int t = place.section + 1; t < SectionCount(); ++t)
        --m_sectionStart[t];
    m_dirty = true;
}

bool clsINI::IsSection(const QString &line)
{
    return line.startsWith(u'[') && line.endsWith(u']');
}

void clsINI::FormatSection(QString &section)
{
    if (!section.startsWith(u'['))
        section = u'[' + trimBlanks(section);
    if (!section.endsWith(u']'))
        section = trimBlanks(section) + u']';
}

int clsINI::FindSection(const QString &section) const
{
    // Not trimmed on purpose: "[ Name ]" in a file is not the section "Name".
    const QString header = section.startsWith(u'[') ? section : u'[' + section + u']';
    for (int s = 0; s < SectionCount(); ++s) {
        if (m_sectionNames.at(s).compare(header, Qt::CaseInsensitive) == 0)
            return s;
    }
    return -1;
}

qint32 clsINI::FindKey(int section, const QString &key) const
{
    if (section < 0 || section >= SectionCount())
        return -1;
    // The line's side is trimmed, the caller's key is not: a key passed with
    // blanks around it never matches.
    const qint32 first = m_sectionStart.at(section) + 1;
    const qint32 last = m_sectionStart.at(section) + m_sectionItemCount.at(section);
    for (qint32 i = first; i <= last; ++i) {
        const QString &line = m_lines.at(i);
        const qsizetype eq = line.indexOf(u'=');
        if (eq >= 0 &&
            trimmedBlanks(QStringView(line).first(eq)).compare(key, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

QStringList clsINI::ListKeys(QString section) const
{
    QStringList keys;
    FormatSection(section);
    const int s = FindSection(section);
    if (s < 0)
        return keys;
    const qint32 last = m_sectionStart.at(s) + m_sectionItemCount.at(s);
    for (qint32 i = m_sectionStart.at(s) + 1; i <= last; ++i) {
        const QString &line = m_lines.at(i);
        const qsizetype eq = line.indexOf(u'=');
        if (eq >= 0)
            keys.append(trimBlanks(QStringView(line).first(eq)));
    }
    return keys;
}

bool clsINI::FileExists(const QString &path)
{
    return !path.isEmpty() && QFileInfo::exists(path);
}

void clsINI::ReportError(const QString &source, const QString &message)
{
    // Never shown to the user; support staff can ask for the log.
    qCWarning(lcIni).noquote() << source << message;
}

} // namespace orvex
