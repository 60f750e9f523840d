#include "app/app_delegate.h"
#include "platform/system_platform.h"

#include <QApplication>
#include <QTimer>

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Verrabel"));
    QApplication::setApplicationName(QStringLiteral("Verrabel"));
    QApplication::setDesktopFileName(QStringLiteral("verrabel"));

    const verrabel::SystemPlatform platform;
    verrabel::AppDelegate delegate(platform.services());
    QTimer::singleShot(0, &delegate, &verrabel::AppDelegate::applicationDidFinishLaunching);
    QApplication::exec();
    return 0;
}
