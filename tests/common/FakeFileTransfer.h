#pragma once
// A transfer helper that delivers what the test says, a moment later (from
// the event loop, as the real one does).
#include "platform/FileTransfer.h"

#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <QTimer>

namespace orvex::test {

class FakeFileTransfer final : public platform::FileTransfer
{
public:
    void ReadFile(const QString &name, const QString &url, int mode,
                  const QString &localTarget) override
    {
        reads << name + u'|' + url + u'|' + QString::number(mode) + u'|' + localTarget;
        const QString temp = QFileInfo(localTarget).absolutePath() + QStringLiteral("/.fake.part");
        const QByteArray content = body;
        const bool arrivedWhole = whole;
        QTimer::singleShot(0, this, [=, this] {
            QFile f(temp);
            if (f.open(QIODevice::WriteOnly))
                f.write(content);
            f.close();
            emit FileReadProgress(name, content.size(), content.size());
            emit FileReadComplete(name, temp, arrivedWhole);
        });
    }

    // What the next transfers bring.
    QByteArray body = "PK-archivo";
    bool whole = true;
    // "name|url|mode|target" of each transfer started.
    QStringList reads;
};

} // namespace orvex::test
