#include "app/app_delegate.h"
#include "listing/list_accessibility.h"
#include "platform/session.h"
#include "platform/system_platform.h"

#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTimer>
#include <QTranslator>

#include <cstdio>

int main(int argc, char* argv[]) {
    if (const std::optional<QString> problem = verrabel::prepareSession()) {
        std::fprintf(stderr, "%s\n", problem->toLocal8Bit().constData());
        return 1;
    }
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
