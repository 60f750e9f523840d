#include "xds_promises.h"

#include "main_thread.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <QUrl>

#include <xcb/xcb.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <string_view>
#include <unistd.h>

namespace verrabel {

namespace {

constexpr auto kDirectSave = "XdndDirectSave0";
constexpr std::uint32_t kLongestProperty = 4096; // in 32-bit units, as xcb counts

template <typename T>
using XcbReply = std::unique_ptr<T, decltype(&std::free)>;

xcb_connection_t* connection() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 != nullptr ? x11->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t* x11, std::string_view name) {
    // Three names, asked for on every drop: one round trip each, once.
    static std::map<std::string_view, xcb_atom_t> known;
    if (const auto found = known.find(name); found != known.end()) {
        return found->second;
    }
    const XcbReply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(
            x11, xcb_intern_atom(x11, 0, static_cast<std::uint16_t>(name.size()), name.data()),
            nullptr),
        &std::free);
    if (!reply) {
        return XCB_ATOM_NONE;
    }
    known.emplace(name, reply->atom);
    return reply->atom;
}

/// One drop's promise: the source window and the name it proposes. Lives only as long as the
/// drop, since the drop's data is asked for while receiving.
class XdsPromise final : public FilePromise {
public:
    XdsPromise(XdsFilePromises& promises, const QMimeData& data, xcb_window_t source,
               QByteArray proposed)
        : m_promises(promises)
        , m_data(data)
        , m_source(source)
        , m_proposed(std::move(proposed)) {}

    [[nodiscard]] QStringList fileNames() const override {
        return m_proposed.isEmpty() ? QStringList() : QStringList{safeFileName(m_proposed)};
    }

    void receive(const QString& folder, Delivered delivered) override {
        const QString target = folder + QLatin1Char('/') + safeFileName(m_proposed);
        xcb_connection_t* x11 = connection();
        const QByteArray url = QUrl::fromLocalFile(target).toEncoded();
        xcb_change_property(x11, XCB_PROP_MODE_REPLACE, m_source, atom(x11, kDirectSave),
                            atom(x11, "text/plain"), 8, static_cast<std::uint32_t>(url.size()),
                            url.constData());
        xcb_flush(x11);

        // Qt fetches selection data synchronously, within the drop, for at most 5 seconds;
        // a source that has not answered by then may still write the file.
        const QByteArray answer = m_data.data(QString::fromLatin1(kDirectSave));
        QByteArray bytes;
        if (answer == "F") {
            bytes = m_data.data(QStringLiteral("application/octet-stream"));
        }
        m_promises.watch(folder, answer == "E" || (answer == "F" && bytes.isEmpty()), bytes, target,
                         std::move(delivered));
    }

private:
    XdsFilePromises& m_promises;
    const QMimeData& m_data;
    xcb_window_t m_source;
    QByteArray m_proposed;
};

/// The source left the writing to us: the bytes go to the name we proposed, in our folder and
/// nowhere else. A file that cannot be written whole is not left half there.
void writeOwnFile(const QString& path, const QByteArray& bytes) {
    const QByteArray native = QFile::encodeName(path);
    const int fd =
        open(native.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) {
        return;
    }
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t put = write(fd, bytes.constData() + written, bytes.size() - written);
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put <= 0) {
            break;
        }
        written += put;
    }
    close(fd);
    if (written < bytes.size()) {
        unlink(native.constData());
    }
}

} // namespace

XdsFilePromises::XdsFilePromises(DeliveryTimes times)
    : m_times(times) {}

XdsFilePromises::~XdsFilePromises() = default;

bool XdsFilePromises::offers(const QMimeData& data) const {
    return data.hasFormat(QString::fromLatin1(kDirectSave));
}

QList<std::shared_ptr<FilePromise>> XdsFilePromises::receivers(const QMimeData& data) {
    xcb_connection_t* x11 = connection();
    if (x11 == nullptr || !offers(data)) {
        return {};
    }
    // The drag's source owns the drag's selection, and keeps the proposed name on that window.
    const XcbReply<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(x11, xcb_get_selection_owner(x11, atom(x11, "XdndSelection")),
                                      nullptr),
        &std::free);
    if (!owner || owner->owner == XCB_NONE) {
        return {};
    }
    const XcbReply<xcb_get_property_reply_t> name(
        xcb_get_property_reply(x11,
                               xcb_get_property(x11, 0, owner->owner, atom(x11, kDirectSave),
                                                XCB_GET_PROPERTY_TYPE_ANY, 0, kLongestProperty),
                               nullptr),
        &std::free);
    QByteArray proposed;
    if (name && name->format == 8) {
        proposed = QByteArray(static_cast<const char*>(xcb_get_property_value(name.get())),
                              xcb_get_property_value_length(name.get()));
    }
    return {std::make_shared<XdsPromise>(*this, data, owner->owner, proposed)};
}

void XdsFilePromises::watch(const QString& folder, bool refused, const QByteArray& bytes,
                            const QString& ownFile, FilePromise::Delivered delivered) {
    m_watches.remove_if([](const Watch& watch) { return watch.done.load(); });
    Watch& watch = m_watches.emplace_back();
    watch.thread = std::jthread([this, &watch, folder, refused, bytes, ownFile,
                                 delivered = std::move(delivered)](const std::stop_token& stop) {
        if (!bytes.isEmpty()) {
            writeOwnFile(ownFile, bytes);
        }
        const Delivery delivery = awaitDelivery(folder, refused, m_times, stop);
        if (stop.stop_requested()) {
            // Verrabel is quitting: nobody will take what is in the folder.
            QDir(folder).removeRecursively();
        } else {
            postToMain(this, [delivered, delivery] { delivered(delivery); });
        }
        watch.done = true;
    });
}

} // namespace verrabel
