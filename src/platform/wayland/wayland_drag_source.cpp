#include "wayland_drag_source.h"

#include "platform/main_thread.h"

#include <sys/eventfd.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>
#include <memory>
#include <poll.h>
#include <unistd.h>
#include <wayland-client.h>

namespace verrabel {

namespace {

constexpr std::uint32_t kManagerVersion = 3; // drag actions and the drop's own events
// Up to 4: a buffer's offset comes with its attach, as a drag icon's hot spot needs.
constexpr std::uint32_t kCompositorVersion = 4;

/// Writes all of `bytes` to `fd`. A reader that has gone is no reason to die of SIGPIPE: the
/// signal is held back on this thread and taken away again.
void writeAll(int fd, const QByteArray& bytes) {
    sigset_t pipe;
    sigset_t before;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, &before);
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t now = ::write(fd, bytes.constData() + written,
                                    static_cast<std::size_t>(bytes.size() - written));
        if (now < 0 && errno == EINTR) {
            continue;
        }
        if (now <= 0) {
            break;
        }
        written += now;
    }
    const timespec none{};
    while (sigtimedwait(&pipe, nullptr, &none) == SIGPIPE) {
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

/// The pipe a target reads from, closed when the last answer that could write into it goes.
struct Pipe {
    explicit Pipe(int end)
        : fd(end) {}
    ~Pipe() { ::close(fd); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    const int fd;
};

void noteGlobal(void* source, wl_registry* registry, std::uint32_t name, const char* interface,
                std::uint32_t version) {
    static_cast<WaylandDragSource*>(source)->offered(registry, name, interface, version);
}

void forgetGlobal(void* /*source*/, wl_registry* /*registry*/, std::uint32_t /*name*/) {}

const wl_registry_listener kGlobals{&noteGlobal, &forgetGlobal};

void noteListed(void* source, wl_callback* /*callback*/, std::uint32_t /*data*/) {
    static_cast<WaylandDragSource*>(source)->listed();
}

const wl_callback_listener kGlobalsListed{&noteListed};

void noTarget(void* /*source*/, wl_data_source* /*data*/, const char* /*type*/) {}

void sendData(void* source, wl_data_source* data, const char* type, std::int32_t fd) {
    static_cast<WaylandDragSource*>(source)->send(data, type, fd);
}

void dropPerformed(void* source, wl_data_source* data) {
    static_cast<WaylandDragSource*>(source)->dropped(data);
}

void sourceOver(void* source, wl_data_source* data) {
    static_cast<WaylandDragSource*>(source)->over(data);
}

void noAction(void* /*source*/, wl_data_source* /*data*/, std::uint32_t /*action*/) {}

const wl_data_source_listener kSourceEvents{&noTarget,      &sendData,   &sourceOver,
                                            &dropPerformed, &sourceOver, &noAction};

// What the drag's own device is offered is Qt's business, read through Qt's own device. The
// offers are kept until the drag is over: wlroots takes an offer given back during the drag as
// its target giving up, and cancels the drag.
void keepOffer(void* source, wl_data_device* /*device*/, wl_data_offer* offer) {
    static_cast<WaylandDragSource*>(source)->keep(offer);
}
void noEnter(void* /*source*/, wl_data_device* /*device*/, std::uint32_t /*serial*/,
             wl_surface* /*surface*/, wl_fixed_t /*x*/, wl_fixed_t /*y*/,
             wl_data_offer* /*offer*/) {}
void noLeave(void* /*source*/, wl_data_device* /*device*/) {}
void noMotion(void* /*source*/, wl_data_device* /*device*/, std::uint32_t /*time*/,
              wl_fixed_t /*x*/, wl_fixed_t /*y*/) {}
void noSelection(void* /*source*/, wl_data_device* /*device*/, wl_data_offer* /*offer*/) {}

const wl_data_device_listener kDeviceEvents{&keepOffer, &noEnter, &noLeave,
                                            &noMotion,  &noLeave, &noSelection};

} // namespace

WaylandDragSource::WaylandDragSource(wl_display* display, Asked asked, Ended ended)
    : m_display(display)
    , m_asked(std::move(asked))
    , m_ended(std::move(ended))
    , m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , m_thread([this] { run(); }) {}

WaylandDragSource::~WaylandDragSource() {
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t woken = ::write(m_wake, &one, sizeof one);
    m_thread.join();
    ::close(m_wake);
}

int WaylandDragSource::start(Drag drag) {
    const int number = ++m_drags;
    submit([this, number, drag = std::move(drag)] { begin(number, drag); });
    return number;
}

void WaylandDragSource::submit(std::function<void()> command) {
    {
        const std::lock_guard lock(m_mutex);
        m_commands.push_back(std::move(command));
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t woken = ::write(m_wake, &one, sizeof one);
}

void WaylandDragSource::run() {
    m_queue = wl_display_create_queue(m_display);
    auto* display = static_cast<wl_display*>(wl_proxy_create_wrapper(m_display));
    wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(display), m_queue);
    m_registry = wl_display_get_registry(display);
    wl_registry_add_listener(m_registry, &kGlobals, this);
    // The globals are listed before the compositor answers the sync that follows.
    m_listing = wl_display_sync(display);
    wl_callback_add_listener(m_listing, &kGlobalsListed, this);
    wl_proxy_wrapper_destroy(display);

    bool broken = false;
    while (!broken) {
        std::vector<std::function<void()>> commands;
        {
            const std::lock_guard lock(m_mutex);
            if (m_stopping) {
                break;
            }
            commands.swap(m_commands);
        }
        for (const auto& command : commands) {
            command();
        }
        while (wl_display_prepare_read_queue(m_display, m_queue) != 0) {
            wl_display_dispatch_queue_pending(m_display, m_queue);
        }
        wl_display_flush(m_display);
        std::array<pollfd, 2> watched{pollfd{wl_display_get_fd(m_display), POLLIN, 0},
                                      pollfd{m_wake, POLLIN, 0}};
        if (::poll(watched.data(), watched.size(), -1) > 0 && (watched[0].revents & POLLIN) != 0) {
            broken = wl_display_read_events(m_display) < 0;
        } else {
            wl_display_cancel_read(m_display);
            broken = (watched[0].revents & (POLLERR | POLLHUP)) != 0;
        }
        std::uint64_t woken = 0;
        [[maybe_unused]] const ssize_t taken = ::read(m_wake, &woken, sizeof woken);
        if (wl_display_dispatch_queue_pending(m_display, m_queue) < 0) {
            broken = true;
        }
    }
    m_ready = false;
    clear();
    if (m_listing != nullptr) {
        wl_callback_destroy(m_listing);
    }
    if (m_manager != nullptr) {
        wl_data_device_manager_destroy(m_manager);
    }
    if (m_compositor != nullptr) {
        wl_compositor_destroy(m_compositor);
    }
    if (m_shm != nullptr) {
        wl_shm_destroy(m_shm);
    }
    wl_registry_destroy(m_registry);
    wl_display_flush(m_display);
    wl_event_queue_destroy(m_queue);
}

void WaylandDragSource::offered(wl_registry* registry, std::uint32_t name, const char* interface,
                                std::uint32_t version) {
    const auto bind = [&](const wl_interface& kind, std::uint32_t wanted) {
        return wl_registry_bind(registry, name, &kind, std::min(version, wanted));
    };
    if (m_manager == nullptr && version >= kManagerVersion &&
        std::strcmp(interface, wl_data_device_manager_interface.name) == 0) {
        m_manager = static_cast<wl_data_device_manager*>(
            bind(wl_data_device_manager_interface, kManagerVersion));
    } else if (m_compositor == nullptr && version >= kCompositorVersion &&
               std::strcmp(interface, wl_compositor_interface.name) == 0) {
        m_compositor =
            static_cast<wl_compositor*>(bind(wl_compositor_interface, kCompositorVersion));
    } else if (m_shm == nullptr && std::strcmp(interface, wl_shm_interface.name) == 0) {
        m_shm = static_cast<wl_shm*>(bind(wl_shm_interface, 1));
    }
}

void WaylandDragSource::listed() {
    wl_callback_destroy(m_listing);
    m_listing = nullptr;
    m_ready = m_manager != nullptr && m_compositor != nullptr && m_shm != nullptr;
}

void WaylandDragSource::begin(int number, const Drag& drag) {
    clear();
    m_current = number;
    if (!m_ready) {
        postToMain(&m_context, [this, number] { m_ended(number, false); });
        return;
    }
    m_source = wl_data_device_manager_create_data_source(m_manager);
    wl_data_source_add_listener(m_source, &kSourceEvents, this);
    for (const auto& [type, bytes] : drag.data) {
        wl_data_source_offer(m_source, type.constData());
    }
    if (!drag.askedType.isEmpty()) {
        wl_data_source_offer(m_source, drag.askedType.constData());
    }
    wl_data_source_set_actions(m_source, WL_DATA_DEVICE_MANAGER_DND_ACTION_COPY);
    m_data = drag.data;
    m_askedType = drag.askedType;
    m_icon = wl_compositor_create_surface(m_compositor);
    // A device of its own, for this drag alone: what a device is offered (drags over Verrabel's
    // windows, the selection) stays Qt's to read through its own, also where a compositor gives
    // it to one device of a client only.
    m_device = wl_data_device_manager_get_data_device(m_manager, drag.seat);
    wl_data_device_add_listener(m_device, &kDeviceEvents, this);
    wl_data_device_start_drag(m_device, m_source, drag.origin, m_icon, drag.serial);
    // The icon takes its role with the drag; its first picture comes after that.
    if (!paint(drag)) {
        wl_surface_commit(m_icon);
    }
}

bool WaylandDragSource::paint(const Drag& drag) {
    const QImage image = drag.image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const auto size = static_cast<std::size_t>(image.sizeInBytes());
    if (image.isNull()) {
        return false;
    }
    const int fd = memfd_create("verrabel-drag-icon", MFD_CLOEXEC);
    if (fd < 0 || ::ftruncate(fd, static_cast<off_t>(size)) != 0) {
        if (fd >= 0) {
            ::close(fd);
        }
        return false;
    }
    void* pixels = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (pixels == MAP_FAILED) {
        ::close(fd);
        return false;
    }
    std::memcpy(pixels, image.constBits(), size);
    munmap(pixels, size);
    wl_shm_pool* pool = wl_shm_create_pool(m_shm, fd, static_cast<std::int32_t>(size));
    // ARGB8888 is Qt's premultiplied ARGB32 as it lies in memory on a little-endian machine.
    m_buffer = wl_shm_pool_create_buffer(pool, 0, image.width(), image.height(),
                                         static_cast<std::int32_t>(image.bytesPerLine()),
                                         WL_SHM_FORMAT_ARGB8888);
    wl_shm_pool_destroy(pool);
    ::close(fd);
    wl_surface_set_buffer_scale(m_icon, drag.scale);
    wl_surface_attach(m_icon, m_buffer, -drag.hotSpot.x(), -drag.hotSpot.y());
    wl_surface_damage_buffer(m_icon, 0, 0, INT32_MAX, INT32_MAX);
    wl_surface_commit(m_icon);
    return true;
}

void WaylandDragSource::send(wl_data_source* source, const char* type, int fd) {
    if (source != m_source) {
        ::close(fd);
        return;
    }
    for (const auto& [offered, bytes] : m_data) {
        if (offered == type) {
            writeAll(fd, bytes);
            ::close(fd);
            return;
        }
    }
    if (m_askedType == type) {
        auto pipe = std::make_shared<Pipe>(fd);
        Answer answer = [pipe](const QByteArray& bytes) { writeAll(pipe->fd, bytes); };
        postToMain(&m_context,
                   [this, drag = m_current, answer = std::move(answer)] { m_asked(drag, answer); });
        return;
    }
    ::close(fd);
}

void WaylandDragSource::dropped(wl_data_source* source) {
    if (source == m_source) {
        postToMain(&m_context, [this, drag = m_current] { m_ended(drag, true); });
    }
}

void WaylandDragSource::over(wl_data_source* source) {
    if (source != m_source) {
        return;
    }
    // A drop the target took, or a drag cancelled (before or after the drop): a second word
    // for a drag that ended is one the main thread passes over.
    postToMain(&m_context, [this, drag = m_current] { m_ended(drag, false); });
    clear();
}

void WaylandDragSource::keep(wl_data_offer* offer) {
    m_offers.push_back(offer);
}

void WaylandDragSource::clear() {
    if (m_source != nullptr) {
        wl_data_source_destroy(m_source);
        m_source = nullptr;
    }
    for (wl_data_offer* offer : std::exchange(m_offers, {})) {
        wl_data_offer_destroy(offer);
    }
    if (m_icon != nullptr) {
        wl_surface_destroy(m_icon);
        m_icon = nullptr;
    }
    if (m_buffer != nullptr) {
        wl_buffer_destroy(m_buffer);
        m_buffer = nullptr;
    }
    if (m_device != nullptr) {
        wl_data_device_release(m_device);
        m_device = nullptr;
    }
    m_data.clear();
    m_askedType.clear();
}

} // namespace verrabel
