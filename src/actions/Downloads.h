#pragma once
// Fetches a file of the home server into the program's "Instalables" folder
// (or another target) through the transfer helper, and runs it when asked.
#include "actions/ActionContext.h"

#include <QMap>
#include <QString>

namespace orvex {

class Downloads
{
public:
    explicit Downloads(const ActionContext &context);

    // Fetches "http://" host + ServerPath + FileName into LocalFileName, or
    // into "Instalables" under the program folder, unless the target already
    // exists, then runs the target with Parameters unless DontRun. While it
    // waits, events run and cmdAccion is disabled. True when the file was
    // there or its transfer ended.
    bool DownloadAndRun(const QString &FileName, const QString &Parameters,
                        const QString &ServerPath, bool Overwrite, bool CheckExisting, bool DontRun,
                        const QString &LocalFileName = {});

    void FileTransfer_FileReadProgress(const QString &name, qint64 bytesRead, qint64 bytesMax);
    void FileTransfer_FileReadComplete(const QString &name, const QString &tempFile, bool whole);

    bool FileTransfer_Finished = false;
    bool FileTransfer_Success = false;

    // The server path as it goes into the URL: "/" around it, escaped as a
    // query value is, with "/" kept and a blank as "%20".
    static QString serverPathForUrl(const QString &ServerPath);

private:
    ActionContext m_ctx;
    // Where each running transfer's file goes, by the name it was started with.
    QMap<QString, QString> m_targets;
};

// Puts `source` in place of `target` in one step, so that the old file stays
// whole until the new one is complete; a program keeps its run permission.
// `source` is consumed.
bool replaceFile(const QString &source, const QString &target);

} // namespace orvex
