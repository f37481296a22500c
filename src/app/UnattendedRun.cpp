#include "app/UnattendedRun.h"

#include "app/TrayMenu.h"
#include "app/wnPrincipal.h"

#include <QApplication>
#include <QComboBox>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QPixmap>
#include <QStringList>
#include <QTimer>

namespace orvex {

// ORVEX_LOG names a file the log is appended to, besides the standard error:
// on Windows the program has no console, and support staff ask for the log.
void logToFileWhenAsked()
{
    static QFile file(qEnvironmentVariable("ORVEX_LOG"));
    if (file.fileName().isEmpty() || !file.open(QIODevice::Append | QIODevice::Text))
        return;
    static const QtMessageHandler previous = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext &context, const QString &message) {
            const QString line = QDateTime::currentDateTime().toString(Qt::ISODateWithMs) + u' ' +
                                 QString::fromLatin1(context.category) + u": " + message + u'\n';
            file.write(line.toUtf8());
            file.flush();
            if (previous)
                previous(type, context, message);
        });
}

// Unattended runs (the demo under Xvfb) leave pictures: ORVEX_SCREENSHOT the
// main window, ORVEX_SCREENSHOTS a folder with every window then on screen.
void takePicturesWhenAsked(QWidget &main)
{
    const QString one = qEnvironmentVariable("ORVEX_SCREENSHOT");
    const QString folder = qEnvironmentVariable("ORVEX_SCREENSHOTS");
    const int after = qEnvironmentVariableIsSet("ORVEX_SCREENSHOT_AFTER_MS")
                          ? qEnvironmentVariableIntValue("ORVEX_SCREENSHOT_AFTER_MS")
                          : 3000;
    if (one.isEmpty() && folder.isEmpty())
        return;
    QTimer::singleShot(after, &main, [&main, one, folder] {
        if (!one.isEmpty())
            main.grab().save(one);
        if (folder.isEmpty())
            return;
        QDir().mkpath(folder);
        int n = 0;
        for (QWidget *w : QApplication::topLevelWidgets()) {
            if (w->isVisible() && !w->windowTitle().isEmpty())
                w->grab().save(
                    QDir(folder).filePath(QStringLiteral("%1-%2.png")
                                              .arg(++n)
                                              .arg(QString::fromLatin1(w->metaObject()->className())
                                                       .section(QStringLiteral("::"), -1))));
        }
    });
}

// Unattended runs: ORVEX_ACTIONS_FILE names a file that scripts drop
// commands into, one a line: a maintenance action's text is chosen in the
// list and run as "Realizar" runs it; "Cerrar el programa" is the tray menu's
// exit command. The file is read and removed once a second.
void runActionsWhenAsked(wnPrincipal &main)
{
    const QString path = qEnvironmentVariable("ORVEX_ACTIONS_FILE");
    if (path.isEmpty())
        return;
    auto *poll = new QTimer(&main);
    QObject::connect(poll, &QTimer::timeout, &main, [&main, path, poll] {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return;
        const QStringList commands =
            QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        file.remove();
        poll->stop(); // an action waits with events running: no second round meanwhile
        auto *combo = main.findChild<QComboBox *>(QStringLiteral("Accion_Combo"));
        for (QString command : commands) {
            command = command.trimmed();
            if (command == QStringLiteral("Cerrar el programa")) {
                main.mnuEmergente_Click(orvex::TrayMenu::Close);
                return;
            }
            combo->setCurrentText(command);
            main.cmdAccion_Click();
        }
        poll->start();
    });
    poll->start(1000);
}

} // namespace orvex
