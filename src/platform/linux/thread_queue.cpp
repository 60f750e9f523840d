#include "thread_queue.h"

#include <sys/resource.h>
#include <sys/syscall.h>

#include <pthread.h>
#include <unistd.h>

namespace verrabel {

namespace {

// From linux/ioprio.h, which glibc does not wrap.
constexpr int kIoprioWhoProcess = 1;
constexpr int kIoprioClassBestEffort = 2;
constexpr int kIoprioClassShift = 13;

struct Scheduling {
    int nice;
    int ioLevel; // best-effort level, 0 (first) to 7 (last); the kernel's default is 4
};

Scheduling schedulingFor(QueuePriority priority) {
    switch (priority) {
    case QueuePriority::Utility:
        return {10, 7};
    case QueuePriority::UserInitiated:
        return {0, 2};
    case QueuePriority::Default:
        break;
    }
    return {0, 4};
}

// Both settings apply to the calling thread only; failures leave the defaults, which is fine.
void applyToThisThread(QueuePriority priority) {
    const Scheduling scheduling = schedulingFor(priority);
    const auto tid = static_cast<id_t>(gettid());
    setpriority(PRIO_PROCESS, tid, scheduling.nice);
    syscall(SYS_ioprio_set, kIoprioWhoProcess, tid,
            (kIoprioClassBestEffort << kIoprioClassShift) | scheduling.ioLevel);
}

} // namespace

ThreadQueue::ThreadQueue(const QString& label, QueuePriority priority)
    : m_thread([this, label, priority] { run(label, priority); }) {}

ThreadQueue::~ThreadQueue() {
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
        m_items.clear();
    }
    m_wake.notify_all();
    m_thread.join();
}

void ThreadQueue::submit(std::function<void()> work) {
    {
        const std::lock_guard lock(m_mutex);
        m_items.push_back(std::move(work));
    }
    m_wake.notify_one();
}

void ThreadQueue::waitUntilIdle() {
    std::unique_lock lock(m_mutex);
    m_idle.wait(lock, [this] { return m_items.empty() && !m_working; });
}

void ThreadQueue::run(const QString& label, QueuePriority priority) {
    if (!label.isEmpty()) {
        // The kernel keeps 15 bytes of a thread's name.
        pthread_setname_np(pthread_self(), label.toUtf8().left(15).constData());
    }
    applyToThisThread(priority);

    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stopping || !m_items.empty(); });
        if (m_stopping) {
            return;
        }
        std::function<void()> work = std::move(m_items.front());
        m_items.pop_front();
        m_working = true;
        lock.unlock();
        work();
        work = nullptr; // release what the item captured before reporting idle
        lock.lock();
        m_working = false;
        if (m_items.empty()) {
            m_idle.notify_all();
        }
    }
}

std::unique_ptr<WorkQueue> ThreadQueueFactory::makeSerialQueue(const QString& label,
                                                               QueuePriority priority) {
    return std::make_unique<ThreadQueue>(label, priority);
}

} // namespace verrabel
