#include "actions/Downloads.h"

#include "platform/FileTransfer.h"
#include "platform/MessageBoxes.h"
#include "support/Adds.h"
#include "support/EventWait.h"
#include "support/ProgressCaption.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>

#include <filesystem>
#include <system_error>

Q_LOGGING_CATEGORY(lcActions, "orvex.actions")

using namespace Qt::Literals::StringLiterals;

namespace orvex {

bool replaceFile(const QString &source, const QString &target)
{
    const QFileInfo old(target);
    if (old.exists()) {
        // The executable bits and the rest of the old file's permissions.
        QFile::setPermissions(source, QFile::permissions(target));
    }
    QDir().mkpath(old.absolutePath());
    std::error_code error;
    std::filesystem::rename(std::filesystem::path(source.toStdU16String()),
                            std::filesystem::path(target.toStdU16String()), error);
    if (error) {
        qCWarning(lcActions).noquote() << "cannot replace" << target << error.message().c_str();
        QFile::remove(source);
        return false;
    }
    return true;
}

Downloads::Downloads(const ActionContext &context) : m_ctx(context)
{
    if (m_ctx.transfer) {
        QObject::connect(m_ctx.transfer, &platform::FileTransfer::FileReadProgress, m_ctx.transfer,
                         [this](const QString &n, qint64 r, qint64 m) {
                             FileTransfer_FileReadProgress(n, r, m);
                         });
        QObject::connect(m_ctx.transfer, &platform::FileTransfer::FileReadComplete, m_ctx.transfer,
                         [this](const QString &n, const QString &t, bool whole) {
                             FileTransfer_FileReadComplete(n, t, whole);
                         });
    }
}

QString Downloads::serverPathForUrl(const QString &ServerPath)
{
    QString path = ServerPath;
    if (!path.startsWith(u'/'))
        path.prepend(u'/');
    if (!path.endsWith(u'/'))
        path.append(u'/');
    return AddsUtilities::URL_Encode(path).replace(u"%2F"_s, u"/"_s).replace(u"+"_s, u"%20"_s);
}

bool Downloads::DownloadAndRun(const QString &FileName, const QString &Parameters,
                               const QString &ServerPath, bool Overwrite, bool CheckExisting,
                               bool DontRun, const QString &LocalFileName)
{
    Adds &adds = *m_ctx.adds;
    if (m_ctx.enableCmdAccion)
        m_ctx.enableCmdAccion(false);
    const QString defaultTarget = m_ctx.programFolder + u"/Instalables/"_s + FileName;
    // A file to be fetched again is set aside rather than deleted, and comes
    // back when the new one does not arrive whole. Named ".orvex-*" like
    // every file the agent leaves while it waits, so a run that is killed
    // meanwhile leaves nothing the next start does not sweep.
    const QFileInfo defaultInfo(toLocalPath(defaultTarget));
    const QString setAside =
        defaultInfo.absolutePath() + u"/.orvex-old-"_s + defaultInfo.fileName();
    bool wasSetAside = false;
    if (CheckExisting && adds.File_Exists(defaultTarget)) {
        bool remove = Overwrite;
        if (!Overwrite && m_ctx.boxes) {
            remove = m_ctx.boxes->question(
                         QCoreApplication::applicationName(),
                         u"Ya existe el fichero en su equipo, desea volver a descargarlo?"_s) ==
                     platform::Answer::Yes;
        }
        if (remove) {
            QFile::remove(setAside);
            wasSetAside = QFile::rename(toLocalPath(defaultTarget), setAside);
        }
    }
    // The file name is not escaped: it may carry a query of its own.
    const QString url = u"http://"_s + m_ctx.homeHost + serverPathForUrl(ServerPath) + FileName;
    const QString target = LocalFileName.isEmpty() ? defaultTarget : LocalFileName;

    if (!adds.File_Exists(target)) {
        FileTransfer_Finished = false;
        FileTransfer_Success = false;
        if (m_ctx.transfer) {
            m_targets.insert(FileName, toLocalPath(target));
            m_ctx.transfer->ReadFile(FileName, url, 1, toLocalPath(target));
            // The transfer always ends with its completion event; there is
            // no time limit.
            waitUntil([this] { return FileTransfer_Finished; }, -1);
        }
    } else {
        FileTransfer_Success = true;
    }
    if (wasSetAside) {
        if (adds.File_Exists(defaultTarget))
            QFile::remove(setAside);
        else
            QFile::rename(setAside, toLocalPath(defaultTarget));
    }

    if (!DontRun && FileTransfer_Success) {
        const QString program = toLocalPath(target);
        // A program fetched from the server arrives without its run
        // permission where the file system keeps one.
        QFile::setPermissions(program, QFile::permissions(program) | QFile::ExeOwner |
                                           QFile::ExeGroup | QFile::ExeOther);
        adds.Win_RunAppAndWait(u'"' + QDir::toNativeSeparators(program) + u"\" "_s + Parameters);
    }
    if (m_ctx.enableCmdAccion)
        m_ctx.enableCmdAccion(true);
    return FileTransfer_Success;
}

void Downloads::FileTransfer_FileReadProgress(const QString &, qint64 bytesRead, qint64 bytesMax)
{
    if (m_ctx.labelStatus)
        m_ctx.labelStatus->setCaption(QString::number(bytesRead) + u'/' +
                                      QString::number(bytesMax));
}

void Downloads::FileTransfer_FileReadComplete(const QString &name, const QString &tempFile,
                                              bool whole)
{
    const QString target = m_targets.take(name);
    if (QFileInfo(tempFile).size() > 1 && !target.isEmpty()) {
        if (whole)
            replaceFile(tempFile, target);
        else
            qCWarning(lcActions).noquote() << name << "arrived incomplete; kept" << target;
    }
    QFile::remove(tempFile);
    // An ended transfer counts as a success, whatever it brought: callers
    // judge the content.
    FileTransfer_Success = true;
    FileTransfer_Finished = true;
}

} // namespace orvex
