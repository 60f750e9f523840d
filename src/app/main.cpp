#include "app/app_delegate.h"
#include "listing/list_accessibility.h"
#include "platform/system_platform.h"

#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTimer>
#include <QTranslator>

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Verrabel"));
    QApplication::setApplicationName(QStringLiteral("Verrabel"));
    QApplication::setDesktopFileName(QStringLiteral("verrabel"));
    // Qt's own words (byte counts, standard buttons) in the user's language.
    QTranslator qtTexts;
    if (qtTexts.load(QLocale(), QStringLiteral("qt"), QStringLiteral("_"),
                     QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        QApplication::installTranslator(&qtTexts);
    }

    verrabel::installListAccessibility();

    const verrabel::SystemPlatform platform;
    verrabel::AppDelegate delegate(platform.services());
    QTimer::singleShot(0, &delegate, &verrabel::AppDelegate::applicationDidFinishLaunching);
    QApplication::exec();
    return 0;
}
