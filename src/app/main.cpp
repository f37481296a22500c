#include "app/AppServices.h"
#include "app/wnPrincipal.h"
#include "platform/SingleInstance.h"
#include "platform/Termination.h"

#include <QApplication>
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

    orvex::wnPrincipalContext context;
    context.adds = &services.adds();
    context.messageBoxes = &services.messageBoxes();
    context.instance = instance.get();
    context.programFolder = QApplication::applicationDirPath();
    context.commandLine = QApplication::arguments().mid(1).join(QLatin1Char(' '));

    orvex::wnPrincipal form(context);
    orvex::platform::onTerminationRequest([&form] { form.Form_Unload(); });
    if (!form.Form_Load())
        return 0;
    form.show();
    takePicturesWhenAsked(form);
    return QApplication::exec();
}
