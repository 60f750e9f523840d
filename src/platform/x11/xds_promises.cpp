#include "xds_promises.h"

#include "platform/main_thread.h"
#include "xcb_calls.h"
#include "xds_exchange.h"

#include <QCoreApplication>
#include <QDir>
#include <QGuiApplication>
#include <QMimeData>
#include <QUrl>

#include <pthread.h>

namespace verrabel {

namespace {

constexpr auto kDirectSave = "XdndDirectSave0";
constexpr std::uint32_t kLongestProperty = 4096; // in 32-bit units, as xcb counts
// How long the drop waits for the source's answer; sources answer at once, and a later answer
// is still heard, only too late for fetching the bytes of one that gives up its selection.
constexpr double kAnswerWait = 0.1;

xcb_connection_t* connection() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 != nullptr ? x11->connection() : nullptr;
}

/// One drop's promise: the source window, the drop's time and the name the source proposes.
class XdsPromise final : public FilePromise {
public:
    XdsPromise(XdsFilePromises& promises, xcb_window_t source, xcb_timestamp_t time,
               QByteArray proposed)
        : m_promises(promises)
        , m_source(source)
        , m_time(time)
        , m_proposed(std::move(proposed)) {}

    [[nodiscard]] QStringList fileNames() const override {
        return m_proposed.isEmpty() ? QStringList() : QStringList{safeFileName(m_proposed)};
    }

    void receive(const QString& folder, std::unique_ptr<DeliveryRules> rules,
                 Delivered delivered) override {
        const QString target = folder + QLatin1Char('/') + safeFileName(m_proposed);
        m_promises.watch(folder,
                         std::make_unique<XdsExchange>(m_source, m_time,
                                                       QUrl::fromLocalFile(target).toEncoded(),
                                                       target, kAnswerWait),
                         std::move(rules), std::move(delivered));
    }

private:
    XdsFilePromises& m_promises;
    xcb_window_t m_source;
    xcb_timestamp_t m_time;
    QByteArray m_proposed;
};

} // namespace

XdsFilePromises::XdsFilePromises() {
    if (xcb_connection_t* x11 = connection()) {
        m_dropAtom = internAtom(x11, "XdndDrop");
        QCoreApplication::instance()->installNativeEventFilter(this);
    }
}

XdsFilePromises::~XdsFilePromises() = default;

bool XdsFilePromises::nativeEventFilter(const QByteArray& /*eventType*/, void* message,
                                        qintptr* /*result*/) {
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE) {
        const auto* client = static_cast<const xcb_client_message_event_t*>(message);
        if (client->type == m_dropAtom && client->format == 32) {
            m_dropSource = client->data.data32[0];
            m_dropTime = client->data.data32[2];
        }
    }
    return false; // Qt handles the drop itself
}

bool XdsFilePromises::offers(const QMimeData& data) const {
    return data.hasFormat(QString::fromLatin1(kDirectSave));
}

QList<std::shared_ptr<FilePromise>> XdsFilePromises::receivers(const QMimeData& data) {
    xcb_connection_t* x11 = connection();
    if (x11 == nullptr || !offers(data) || m_dropSource == XCB_NONE) {
        return {};
    }
    // The source keeps the name it proposes on its window.
    const XcbReply<xcb_get_property_reply_t> name(
        xcb_get_property_reply(x11,
                               xcb_get_property(x11, 0, m_dropSource, internAtom(x11, kDirectSave),
                                                XCB_GET_PROPERTY_TYPE_ANY, 0, kLongestProperty),
                               nullptr),
        &std::free);
    QByteArray proposed;
    if (name && name->format == 8) {
        proposed = QByteArray(static_cast<const char*>(xcb_get_property_value(name.get())),
                              xcb_get_property_value_length(name.get()));
    }
    return {std::make_shared<XdsPromise>(*this, m_dropSource, m_dropTime, proposed)};
}

void XdsFilePromises::watch(const QString& folder, std::unique_ptr<XdsExchange> exchange,
                            std::unique_ptr<DeliveryRules> rules,
                            FilePromise::Delivered delivered) {
    m_watches.remove_if([](const Watch& watch) { return watch.done.load(); });
    Watch& watch = m_watches.emplace_back();
    watch.thread = std::jthread([this, &watch, folder, exchange = std::move(exchange),
                                 rules = std::move(rules),
                                 delivered = std::move(delivered)](const std::stop_token& stop) {
        pthread_setname_np(pthread_self(), "Verrabel.xds");
        const Delivery delivery = awaitDelivery(folder, *rules, stop, *exchange);
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
