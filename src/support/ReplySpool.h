#pragma once
// A reply too long to be held in memory, kept in a file while it arrives and
// for as long as anyone holds the reply. The file is named ".orvex-reply-*"
// in the folder it is made in (the program's "Instalables") and is removed
// with the spool; spools of a run that was killed are swept from that folder
// the next time one is made there.
#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QTemporaryFile>

#include <memory>

class QIODevice;

namespace orvex {

class ReplySpool
{
public:
    // An empty spool in `folder`; null when no file can be made there.
    static std::unique_ptr<ReplySpool> create(const QString &folder);
    ~ReplySpool();
    ReplySpool(const ReplySpool &) = delete;
    ReplySpool &operator=(const ReplySpool &) = delete;

    bool append(QByteArrayView bytes);
    qint64 size() const { return m_size; }
    QString fileName() const { return m_file.fileName(); }
    QString errorString() const { return m_file.errorString(); }

    // Up to `n` bytes from `from`.
    QByteArray read(qint64 from, qint64 n) const;
    // Where `what` first occurs at or after `from`, or -1; read a block at a time.
    qint64 indexOf(QByteArrayView what, qint64 from = 0) const;
    // Copies the bytes from `from` to the end into `out`, a block at a time.
    bool copyTo(QIODevice &out, qint64 from) const;

private:
    explicit ReplySpool(const QString &folder);

    mutable QTemporaryFile m_file;
    qint64 m_size = 0;
};

} // namespace orvex
