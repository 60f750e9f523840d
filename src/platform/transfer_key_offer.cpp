#include "transfer_key_offer.h"

#include "file_transfers.h"
#include "main_thread.h"
#include "work_queue.h"

#include <utility>

namespace verrabel {

TransferKeyOffer::TransferKeyOffer(FileTransfers& transfers, QueueFactory& queues)
    : m_transfers(transfers)
    , m_queue(queues.makeSerialQueue(QStringLiteral("Verrabel.transfers"),
                                     QueuePriority::UserInitiated)) {}

TransferKeyOffer::~TransferKeyOffer() {
    if (m_state == State::Made) {
        m_transfers.stop(m_key);
    }
}

void TransferKeyOffer::reset(const QList<QByteArray>& paths) {
    ++m_drag;
    if (m_state == State::Made) {
        m_transfers.stop(m_key);
    }
    m_state = paths.isEmpty() ? State::Failed : State::Unasked;
    m_key.clear();
    m_paths = paths;
    answerWaiting();
}

void TransferKeyOffer::request(Answer answer) {
    m_waiting.push_back(std::move(answer));
    if (m_state != State::Unasked) {
        if (m_state != State::Making) {
            answerWaiting();
        }
        return;
    }
    m_state = State::Making;
    m_queue->submit([this, paths = m_paths, drag = m_drag] {
        auto offered = m_transfers.offer(paths);
        const QString* key = std::get_if<QString>(&offered);
        postToMain(&m_context,
                   [this, drag, key = key != nullptr ? *key : QString()] { made(drag, key); });
    });
}

void TransferKeyOffer::made(int drag, const QString& key) {
    if (drag != m_drag) {
        if (!key.isEmpty()) {
            m_transfers.stop(key); // the drag it was made for is over
        }
        return;
    }
    m_key = key;
    m_state = key.isEmpty() ? State::Failed : State::Made;
    answerWaiting();
}

void TransferKeyOffer::answerWaiting() {
    const std::optional<QByteArray> key =
        m_state == State::Made ? std::optional(m_key.toUtf8()) : std::nullopt;
    for (const Answer& answer : std::exchange(m_waiting, {})) {
        answer(key);
    }
}

} // namespace verrabel
