#include "xds_promises.h"

#include "held_drops.h"
#include "platform/main_thread.h"
#include "x11_transfer_keys.h"
#include "xcb_calls.h"
#include "xds_exchange.h"

#include <QDir>
#include <QMimeData>

#include <pthread.h>

namespace verrabel {

namespace {

constexpr auto kDirectSave = "XdndDirectSave0";
// How long the exchange waits for the source's answer before it finishes the drop; sources
// answer at once, and a later answer is still heard, only too late for fetching the bytes of one
// that gives up its selection.
constexpr double kAnswerWait = 0.1;

/// One drop's promise: the source window and the drop's time.
class XdsPromise final : public FilePromise {
public:
    XdsPromise(XdsFilePromises& promises, xcb_window_t source, xcb_timestamp_t time)
        : m_promises(promises)
        , m_source(source)
        , m_time(time) {}

    void receive(const QString& folder, std::unique_ptr<DeliveryRules> rules,
                 Delivered delivered) override {
        m_promises.watch(folder, m_source, m_time, std::move(rules), std::move(delivered));
    }

private:
    XdsFilePromises& m_promises;
    xcb_window_t m_source;
    xcb_timestamp_t m_time;
};

} // namespace

XdsFilePromises::XdsFilePromises(X11HeldDrops& drops, X11TransferKeys& keys)
    : m_drops(drops)
    , m_keys(keys) {
    m_drops.holdWhen([this](const QMimeData& data) { return offers(data); });
}

XdsFilePromises::~XdsFilePromises() = default;

bool XdsFilePromises::offers(const QMimeData& data) const {
    return data.hasFormat(QString::fromLatin1(kDirectSave));
}

QList<std::shared_ptr<FilePromise>> XdsFilePromises::receivers(const QMimeData& data) {
    if (qtX11Connection() == nullptr || !offers(data) || m_drops.source() == XCB_NONE) {
        return {};
    }
    return {std::make_shared<XdsPromise>(*this, m_drops.source(), m_drops.time())};
}

bool XdsFilePromises::readTransferKey(const QMimeData& data, TransferKeyRead read) {
    return m_keys.read(data, std::move(read));
}

void XdsFilePromises::watch(const QString& folder, std::uint32_t source, std::uint32_t time,
                            std::unique_ptr<DeliveryRules> rules,
                            FilePromise::Delivered delivered) {
    m_watches.remove_if([](const Watch& watch) { return watch.done.load(); });
    Watch& watch = m_watches.emplace_back();
    // A drop held back is finished by its exchange; one that Qt handled, by Qt.
    watch.thread = std::jthread([this, &watch, folder, source, time, finish = m_drops.takeFinish(),
                                 rules = std::move(rules),
                                 delivered = std::move(delivered)](const std::stop_token& stop) {
        pthread_setname_np(pthread_self(), "Verrabel.xds");
        XdsExchange exchange(source, time, folder, kAnswerWait, finish);
        const Delivery delivery = awaitDelivery(folder, *rules, stop, exchange);
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
