#include "app/AppServices.h"
#include "app/wnPrincipal.h"
#include "platform/SingleInstance.h"

#include <QApplication>
#include <QPixmap>
#include <QStringList>
#include <QTimer>

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

    orvex::wnPrincipalContext context;
    context.adds = &services.adds();
    context.messageBoxes = &services.messageBoxes();
    context.instance = instance.get();
    context.programFolder = QApplication::applicationDirPath();
    context.commandLine = QApplication::arguments().mid(1).join(QLatin1Char(' '));

    orvex::wnPrincipal form(context);
    if (!form.Form_Load())
        return 0;
    form.show();

    // Unattended runs (the demo under Xvfb) leave a picture of the window.
    const QString screenshot = qEnvironmentVariable("ORVEX_SCREENSHOT");
    if (!screenshot.isEmpty()) {
        QTimer::singleShot(3000, &form, [&form, screenshot] { form.grab().save(screenshot); });
    }
    return QApplication::exec();
}
