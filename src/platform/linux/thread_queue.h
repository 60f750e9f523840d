#pragma once

#include "platform/work_queue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace verrabel {

/// A serial queue on a thread of its own, niced and I/O-prioritised by its priority.
class ThreadQueue final : public WorkQueue {
public:
    ThreadQueue(const QString& label, QueuePriority priority);
    /// Lets the running item finish and drops the ones still waiting.
    ~ThreadQueue() override;
    ThreadQueue(const ThreadQueue&) = delete;
    ThreadQueue& operator=(const ThreadQueue&) = delete;

    void submit(std::function<void()> work) override;
    /// Blocks until every submitted item has run.
    void waitUntilIdle();

private:
    void run(const QString& label, QueuePriority priority);

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::deque<std::function<void()>> m_items;
    bool m_working = false;
    bool m_stopping = false;
    std::thread m_thread;
};

class ThreadQueueFactory final : public QueueFactory {
public:
    [[nodiscard]] std::unique_ptr<WorkQueue> makeSerialQueue(const QString& label,
                                                             QueuePriority priority) override;
};

} // namespace verrabel
