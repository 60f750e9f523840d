#pragma once

#include <QDBusAbstractInterface>

namespace verrabel {

/// The extension's signals as Qt signals (Qt D-Bus relays a remote signal to the proxy's signal
/// of the same name and arguments). Never introspects: no call is made on construction.
class ShellProxy final : public QDBusAbstractInterface {
    Q_OBJECT
public:
    static constexpr const char* kService = "org.verrabel.Shell";
    static constexpr const char* kPath = "/org/verrabel/Shell";
    static constexpr const char* kInterface = "org.verrabel.Shell2";

    explicit ShellProxy(const QDBusConnection& bus)
        : QDBusAbstractInterface(QString::fromLatin1(kService), QString::fromLatin1(kPath),
                                 kInterface, bus, nullptr) {}

Q_SIGNALS:
    // NOLINTBEGIN(readability-identifier-naming): the extension's names
    void EdgePushed(int index);
    void PointerMoved(double x, double y);
    void StateChanged(int x, int y, int width, int height, const QList<int>& fullscreen);
    void MenuActivated(int index);
    // NOLINTEND(readability-identifier-naming)
};

} // namespace verrabel
