#include "app/AppServices.h"
#include "app/ProgramEnd.h"
#include "app/UnattendedRun.h"
#include "app/wnPrincipal.h"
#include "platform/DisplaySetup.h"
#include "platform/SingleInstance.h"
#include "platform/Termination.h"

#include <QApplication>
#include <QNetworkProxy>

int main(int argc, char *argv[])
{
    orvex::platform::prepareDisplay();
    QApplication app(argc, argv);
    orvex::logToFileWhenAsked();
    // The agent reaches the centre's addresses directly, as plain sockets
    // do: no proxy from the desktop's settings is put in between (and none
    // is looked up for every connection).
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
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
                             [] { orvex::endProgramNow(QApplication::applicationDirPath()); }));
    orvex::platform::onTerminationRequest([&form] { form.Form_Unload(); });
    if (!form.Form_Load())
        return 0;
    orvex::takePicturesWhenAsked(form);
    orvex::runActionsWhenAsked(form);
    return QApplication::exec();
}
