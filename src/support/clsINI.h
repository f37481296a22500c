#pragma once
// One INI file held in memory as its list of lines plus an index of its
// sections. Reads are answered from memory; a rewrite puts the lines back in
// the same order, so comments, blank lines and keys nobody asks for survive.
// The operating system's profile functions are never used: they normalise
// the file, and other programs read these files line by line.
#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QStringList>
#include <QStringView>
#include <QVariant>

namespace orvex {

// Blanks are spaces only; a tab at either end of a line is part of it.
QString trimBlanks(QStringView text);
// The same, as a view into `text`.
QStringView trimmedBlanks(QStringView text);

// The loader proper: the bytes of an INI file (ANSI code page) as lines,
// each trimmed of blanks. CR LF, LF and a lone CR all end a line; a last line
// without an ending is still a line.
QStringList splitIniLines(QByteArrayView bytes);

// What a rewrite puts on disk: each line trimmed, ANSI, ended by CR LF.
QByteArray joinIniLines(const QStringList &lines);

// Indexes are 0-based: FindSection gives a section number, FindKey a line
// number, both -1 when nothing matches.
class clsINI
{
public:
    QVariant FileName() const;
    void FileName(const QVariant &name);

    QString ReadFrom(QString section, const QString &key, const QString &defaultValue);
    void WriteTo(QString section, const QString &key, const QString &value);
    void LoadIniFile(const QString &path);
    void WriteIniFile();
    void Clear();
    void AddSection(QString section);
    void DeleteSection(QString section);
    QStringList ListSections() const;
    void DeleteKey(QString section, const QString &key);
    static bool IsSection(const QString &line);
    static void FormatSection(QString &section);
    int FindSection(const QString &section) const;
    qint32 FindKey(int section, const QString &key) const;
    QStringList ListKeys(QString section) const;
    static bool FileExists(const QString &path);
    void ReportError(const QString &source, const QString &message);

    // LoadIniFile without the disk: takes the bytes of the file at `path`.
    void LoadIniBytes(const QString &path, QByteArrayView bytes);

    const QStringList &Lines() const { return m_lines; }
    qint32 LineCount() const { return qint32(m_lines.size()); }
    int SectionCount() const { return int(m_sectionNames.size()); }
    const QStringList &SectionNames() const { return m_sectionNames; }
    const QList<qint32> &SectionStart() const { return m_sectionStart; }
    const QList<qint32> &SectionItemCount() const { return m_sectionItemCount; }
    bool Dirty() const { return m_dirty; }

private:
    // Where a key of a bracketed section stands; -1s when either is missing.
    struct KeyPlace
    {
        int section = -1;
        qint32 line = -1;
    };
    KeyPlace locateKey(const QString &formattedSection, const QString &key) const;

    QString m_fileName;
    QStringList m_lines;
    // Header lines as they stand in the file, brackets included.
    QStringList m_sectionNames;
    // Line number of each header; the section's lines follow it.
    QList<qint32> m_sectionStart;
    QList<qint32> m_sectionItemCount;
    bool m_dirty = false;
};

} // namespace orvex
