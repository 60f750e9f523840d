#pragma once

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QObject>
#include <QPoint>

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

struct wl_buffer;
struct wl_callback;
struct wl_compositor;
struct wl_data_device;
struct wl_data_device_manager;
struct wl_data_offer;
struct wl_data_source;
struct wl_display;
struct wl_event_queue;
struct wl_registry;
struct wl_seat;
struct wl_shm;
struct wl_surface;

namespace verrabel {

/// A native drag through a wl_data_source of Verrabel's own, with its own event queue and
/// thread: the data is written when a target asks for it, also while the main thread waits (Qt
/// reads a drop into Verrabel's own window there, blocking). The compositor's events come back to
/// the main thread through the callbacks.
class WaylandDragSource final {
public:
    struct Drag {
        wl_surface* origin = nullptr;
        wl_seat* seat = nullptr;
        std::uint32_t serial = 0;
        /// Its top-left corner goes `hotSpot` up and left of the pointer; `scale` pixels a point.
        QImage image;
        int scale = 1;
        QPoint hotSpot;
        /// Offered in this order; answered at once on the source's own thread.
        QList<std::pair<QByteArray, QByteArray>> data;
        /// Offered last, answered through `asked` on the main thread.
        QByteArray askedType;
    };
    /// Writes its bytes to the target that asked, once, on any thread; unused, the target
    /// gets nothing.
    using Answer = std::function<void(const QByteArray& bytes)>;
    /// A target asked for `askedType`.
    using Asked = std::function<void(int drag, Answer answer)>;
    /// The drag is over for the user: dropped (`dropped`), or cancelled or refused.
    using Ended = std::function<void(int drag, bool dropped)>;

    WaylandDragSource(wl_display* display, Asked asked, Ended ended);
    ~WaylandDragSource();
    WaylandDragSource(const WaylandDragSource&) = delete;
    WaylandDragSource& operator=(const WaylandDragSource&) = delete;

    /// Whether the compositor offers what a drag of ours needs; false until its globals are in.
    [[nodiscard]] bool ready() const { return m_ready; }
    /// Starts a drag in place of the last one, whose data no one can ask for any more. Returns
    /// its number, which the callbacks carry.
    int start(Drag drag);

    // The compositor's events, on the source's own thread.
    void offered(wl_registry* registry, std::uint32_t name, const char* interface,
                 std::uint32_t version);
    void send(wl_data_source* source, const char* type, int fd);
    void dropped(wl_data_source* source);
    void over(wl_data_source* source);
    void keep(wl_data_offer* offer);
    void listed();

private:
    void run();
    void submit(std::function<void()> command);
    void begin(int number, const Drag& drag);
    void clear();
    [[nodiscard]] bool paint(const Drag& drag);

    wl_display* m_display;
    Asked m_asked;
    Ended m_ended;
    /// Where the callbacks are posted to; goes with this object.
    QObject m_context;
    std::atomic<bool> m_ready{false};
    std::atomic<int> m_drags{0};
    int m_wake = -1;

    std::mutex m_mutex;
    std::vector<std::function<void()>> m_commands;
    bool m_stopping = false;

    // The source's own thread only.
    wl_event_queue* m_queue = nullptr;
    wl_registry* m_registry = nullptr;
    wl_callback* m_listing = nullptr;
    wl_data_device_manager* m_manager = nullptr;
    wl_compositor* m_compositor = nullptr;
    wl_shm* m_shm = nullptr;
    wl_data_device* m_device = nullptr;
    std::vector<wl_data_offer*> m_offers;
    wl_data_source* m_source = nullptr;
    wl_surface* m_icon = nullptr;
    wl_buffer* m_buffer = nullptr;
    int m_current = 0;
    QList<std::pair<QByteArray, QByteArray>> m_data;
    QByteArray m_askedType;

    /// Last: it starts once the rest is there.
    std::thread m_thread;
};

} // namespace verrabel
