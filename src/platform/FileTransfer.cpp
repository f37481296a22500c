#include "platform/FileTransfer.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QTemporaryFile>
#include <QUrl>

Q_LOGGING_CATEGORY(lcTransfer, "orvex.transfer")

namespace orvex::platform {
namespace {

class NetworkFileTransfer final : public FileTransfer
{
public:
    void ReadFile(const QString &name, const QString &url, int, const QString &localTarget) override
    {
        // The temporary file sits beside the target, so that putting it in
        // place later is a rename on the same disk.
        // QTemporaryFile only reserves the name: its close() keeps the file
        // open, and a program fetched this way could then not be started
        // (the system refuses to run a file open for writing).
        QString partName;
        {
            QTemporaryFile reserve(QFileInfo(localTarget).absolutePath() +
                                   QStringLiteral("/.orvex-XXXXXX.part"));
            reserve.setAutoRemove(false);
            if (reserve.open())
                partName = reserve.fileName();
        }
        auto file = std::make_shared<QFile>(partName);
        const QUrl target(url, QUrl::TolerantMode);
        if (partName.isEmpty() || !file->open(QIODevice::WriteOnly) || !target.isValid()) {
            qCWarning(lcTransfer) << "cannot start" << url << file->errorString();
            finish(name, file, false);
            return;
        }
        QNetworkRequest request(target);
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                             QNetworkRequest::NoLessSafeRedirectPolicy);
        QNetworkReply *reply = m_network.get(request);
        // The body goes to the file as it comes, a buffer at a time.
        connect(reply, &QNetworkReply::readyRead, this, [reply, file] {
            while (reply->bytesAvailable() > 0) {
                const QByteArray chunk = reply->read(256 * 1024);
                if (file->write(chunk) != chunk.size()) {
                    qCWarning(lcTransfer) << "cannot write" << file->fileName();
                    reply->abort();
                    return;
                }
            }
        });
        connect(reply, &QNetworkReply::downloadProgress, this,
                [this, name](qint64 received, qint64 total) {
                    emit FileReadProgress(name, received, total > 0 ? total : 0);
                });
        connect(reply, &QNetworkReply::finished, this, [this, reply, file, name] {
            file->write(reply->readAll());
            const QVariant announced = reply->header(QNetworkRequest::ContentLengthHeader);
            const bool whole = reply->error() == QNetworkReply::NoError &&
                               (!announced.isValid() || announced.toLongLong() == file->size());
            if (!whole)
                qCInfo(lcTransfer)
                    << reply->url().toString() << "ended short:" << reply->errorString()
                    << file->size() << "of" << announced.toLongLong() << "bytes";
            reply->deleteLater();
            finish(name, file, whole);
        });
    }

private:
    void finish(const QString &name, const std::shared_ptr<QFile> &file, bool whole)
    {
        file->close();
        emit FileReadComplete(name, file->fileName(), whole);
    }

    QNetworkAccessManager m_network;
};

} // namespace

std::unique_ptr<FileTransfer> createFileTransfer()
{
    return std::make_unique<NetworkFileTransfer>();
}

} // namespace orvex::platform
