#include "app/AppServices.h"
#include "app/ProgramEnd.h"
#include "app/TrayMenu.h"
#include "app/wnPrincipal.h"
#include "platform/SingleInstance.h"
#include "platform/Termination.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QPixmap>
#include <QStringList>
#include <QTimer>

namespace {

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

// Unattended runs: ORVEX_ACTIONS lists maintenance actions (separated by
// ";") that are chosen and run one after another once the agent is up
// (ORVEX_ACTIONS_AFTER_MS, default 1000), as the dispatcher would with
// "Realizar"; with ORVEX_EXIT_AFTER_ACTIONS=1 the program then ends as its
// exit command ends it.
void runActionsWhenAsked(orvex::wnPrincipal &main)
{
    const QStringList actions =
        qEnvironmentVariable("ORVEX_ACTIONS").split(QLatin1Char(';'), Qt::SkipEmptyParts);
    if (actions.isEmpty())
        return;
    const int after = qEnvironmentVariableIsSet("ORVEX_ACTIONS_AFTER_MS")
                          ? qEnvironmentVariableIntValue("ORVEX_ACTIONS_AFTER_MS")
                          : 1000;
    QTimer::singleShot(after, &main, [&main, actions] {
        auto *combo = main.findChild<QComboBox *>(QStringLiteral("Accion_Combo"));
        for (const QString &action : actions) {
            combo->setCurrentText(action);
            main.cmdAccion_Click();
        }
        if (qEnvironmentVariableIntValue("ORVEX_EXIT_AFTER_ACTIONS") == 1)
            main.mnuEmergente_Click(orvex::TrayMenu::Close);
    });
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Orvex"));
    QApplication::setOrganizationName(QStringLiteral("Lumaris"));
    // The agent lives in the notification area: hiding its last window must
    // not end it.
    QApplication::setQuitOnLastWindowClosed(false);

    orvex::AppServices services;
    const auto instance = orvex::platform::createSingleInstance();

    orvex::wnPrincipal form(
        services.formContext(instance.get(), QApplication::applicationDirPath(),
                             QApplication::arguments().mid(1).join(QLatin1Char(' ')),
                             QApplication::applicationFilePath(),
                             [] { orvex::endProgram(QApplication::applicationDirPath()); }));
    orvex::platform::onTerminationRequest([&form] { form.Form_Unload(); });
    if (!form.Form_Load())
        return 0;
    takePicturesWhenAsked(form);
    runActionsWhenAsked(form);
    return QApplication::exec();
}
