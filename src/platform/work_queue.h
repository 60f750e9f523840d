#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace verrabel {

/// How eagerly a queue's work competes for the processor and the disk.
enum class QueuePriority { Utility, Default, UserInitiated };

/// Runs work items one after another, in submission order, off the main thread.
class WorkQueue {
public:
    virtual ~WorkQueue() = default;
    virtual void submit(std::function<void()> work) = 0;
};

class QueueFactory {
public:
    virtual ~QueueFactory() = default;
    [[nodiscard]] virtual std::unique_ptr<WorkQueue> makeSerialQueue(const QString& label,
                                                                     QueuePriority priority) = 0;
};

} // namespace verrabel
