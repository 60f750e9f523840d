#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace verrabel {

class FileTransfers;
class QueueFactory;
class WorkQueue;

/// The document-portal transfer key of the files being dragged out: made the first time a target
/// asks for it, on a queue of its own, and handed to every request meanwhile; stopped when the
/// next drag begins. Main thread only.
class TransferKeyOffer final {
public:
    TransferKeyOffer(FileTransfers& transfers, QueueFactory& queues);
    ~TransferKeyOffer();
    TransferKeyOffer(const TransferKeyOffer&) = delete;
    TransferKeyOffer& operator=(const TransferKeyOffer&) = delete;

    /// The key, or none when the portal made none or the drag it was asked for is over.
    using Answer = std::function<void(const std::optional<QByteArray>& key)>;

    /// A new drag of the files at `paths` (none: no drag): the last one's key is stopped, and
    /// requests still waiting for it are answered with none.
    void reset(const QList<QByteArray>& paths = {});
    /// Answers at once when the key is known or cannot be had, else once it is made.
    void request(Answer answer);

private:
    void made(int drag, const QString& key);
    void answerWaiting();

    FileTransfers& m_transfers;
    QList<QByteArray> m_paths;
    enum class State { Unasked, Making, Made, Failed } m_state = State::Unasked;
    QString m_key;
    std::vector<Answer> m_waiting;
    /// Counts drags: a key made for an earlier one is stopped, never handed out.
    int m_drag = 0;
    /// Where made keys come back to; goes with this object.
    QObject m_context;
    /// Last: it stops, and posts nothing more, before the rest goes.
    std::unique_ptr<WorkQueue> m_queue;
};

} // namespace verrabel
