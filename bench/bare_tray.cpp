// The reference for the agent's idle cost and first window: a bare Qt tray
// program, a tray icon, a 1-second timer that does nothing, and a window.
#include <QApplication>
#include <QIcon>
#include <QLabel>
#include <QSystemTrayIcon>
#include <QTimer>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QSystemTrayIcon tray(QIcon(argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString()));
    tray.show();
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, [] {});
    tick.start(1000);
    QLabel window(QStringLiteral("Bare"));
    window.setWindowTitle(QStringLiteral("Bare"));
    window.resize(480, 420);
    window.show();
    return QApplication::exec();
}
