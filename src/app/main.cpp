#include "app/app_delegate.h"
#include "listing/list_accessibility.h"
#include "platform/desktop/dbus_single_instance.h"
#include "platform/linux/exit_deadline.h"
#include "platform/session.h"
#include "platform/system_platform.h"
#include "shelf/shelf_controller.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QLibraryInfo>
#include <QLocale>
#include <QTimer>
#include <QTranslator>

#include <chrono>
#include <cstdio>
#include <vector>

int main(int argc, char* argv[]) {
    std::vector<char*> arguments(argv, argv + argc);
    verrabel::Session session =
        verrabel::prepareSession(QByteArrayList(arguments.begin(), arguments.end()));
    if (session.problem) {
        std::fprintf(stderr, "%s\n", session.problem->toLocal8Bit().constData());
        return 1;
    }
    // The platform goes to Qt as an argument, not through the environment: that stays the
    // session's, for the programs Verrabel opens.
    QByteArray platformOption("-platform");
    if (!session.platform.isEmpty()) {
        arguments.insert(arguments.begin() + 1, {platformOption.data(), session.platform.data()});
    }
    arguments.push_back(nullptr);
    int count = static_cast<int>(arguments.size()) - 1;
    QByteArrayList flagsSet;
    for (const QByteArray& flag : session.startFlags) {
        if (!qEnvironmentVariableIsSet(flag.constData())) {
            qputenv(flag.constData(), "1");
            flagsSet.append(flag);
        }
    }
    QApplication application(count, arguments.data());
    for (const QByteArray& flag : flagsSet) {
        qunsetenv(flag.constData());
    }
    QApplication::setOrganizationName(QStringLiteral("Verrabel"));
    QApplication::setApplicationName(QStringLiteral("Verrabel"));
    QApplication::setDesktopFileName(QStringLiteral("org.verrabel.Verrabel"));
    // Qt's own words (byte counts, standard buttons) in the user's language.
    QTranslator qtTexts;
    if (qtTexts.load(QLocale(), QStringLiteral("qt"), QStringLiteral("_"),
                     QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        QApplication::installTranslator(&qtTexts);
    }

    // One Verrabel per session: a later start shows the running one's shelf and ends.
    verrabel::DbusSingleInstance instance(
        verrabel::instanceName(QStringLiteral("org.verrabel.Verrabel")));
    if (!instance.claim()) {
        return 0;
    }

    verrabel::installListAccessibility();

    const verrabel::SystemPlatform platform;
    verrabel::AppDelegate delegate(platform.services());
    instance.onShowAsked([&delegate] {
        if (delegate.shelf) {
            delegate.shelf->showShelf();
        }
    });
    QTimer::singleShot(0, &delegate, &verrabel::AppDelegate::applicationDidFinishLaunching);
    QApplication::exec();
    // Quitting: the session is free for a new start at once. Files being saved get up to ten
    // seconds (a source that never answers would hold a promise for minutes; what is cut short
    // stays hidden and goes at the next start); after that a worker still busy with a slow file
    // (a thumbnail) is not waited for.
    instance.release();
    const QDeadlineTimer saving(std::chrono::seconds(10));
    QTimer wake; // the count falls on the main thread, between events: look now and then
    wake.start(std::chrono::milliseconds(100));
    while (delegate.shelf && delegate.shelf->busy > 0 && !saving.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    verrabel::endProcessWithin(std::chrono::milliseconds(800));
    return 0;
}
