#pragma once
// Downloads over HTTP with progress, the body going to a temporary file as
// it arrives (so memory stays small whatever the size).
#include <QObject>
#include <QString>

#include <memory>

namespace orvex::platform {

class FileTransfer : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    // Starts reading `url` into a new temporary file in the folder of
    // `localTarget` and returns at once. `name` comes back with every event.
    // FileReadComplete always follows, also when nothing could be read.
    // `mode` is kept for callers; every transfer is a binary read.
    virtual void ReadFile(const QString &name, const QString &url, int mode,
                          const QString &localTarget) = 0;

signals:
    // `bytesMax` is what the server announced, 0 while unknown.
    void FileReadProgress(const QString &name, qint64 bytesRead, qint64 bytesMax);
    // `tempFile` holds what arrived (the caller takes it over and deletes
    // it); `whole` is false when the body ended short of its announced
    // length or the transfer broke off, so that a partial file never
    // replaces a good one.
    void FileReadComplete(const QString &name, const QString &tempFile, bool whole);
};

std::unique_ptr<FileTransfer> createFileTransfer();

} // namespace orvex::platform
