#include "delivery_policy.h"

#include <QStringList>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

namespace verrabel {

namespace {

DeliveryRules::Clock::duration seconds(double value) {
    return std::chrono::duration_cast<DeliveryRules::Clock::duration>(
        std::chrono::duration<double>(value));
}

QString unfinished(double limit) {
    return QStringLiteral("来源程序在 %1 秒内没有写完文件。").arg(limit);
}

/// None of what the source left is the file: each item it left is named with the reason.
Delivery failed(const FolderLook& look, const QString& reason) {
    Delivery delivery{.items = {}, .error = reason};
    for (const QUrl& item : look.deliverable) {
        delivery.failed.append(item.fileName());
    }
    return delivery;
}

} // namespace

DeliveryPolicy::DeliveryPolicy(DeliveryTimes times)
    : m_times(times) {}

void DeliveryPolicy::changed(Clock::time_point now) {
    m_changed = now;
    m_changedSinceBegin = std::exchange(m_begun, true);
}

void DeliveryPolicy::heard(SourceAnswer answer) {
    if (answer == SourceAnswer::Saved && m_answer != SourceAnswer::Saved) {
        m_savedFirst = !m_changedSinceBegin;
    }
    m_answer = answer;
}

bool DeliveryPolicy::settled(Clock::time_point now) const {
    return now - m_changed >= seconds(m_times.quiet);
}

bool DeliveryPolicy::trusted() const {
    if (m_answer == SourceAnswer::Saved && !m_savedFirst) {
        return true;
    }
    // A writer that still runs may come back to the folder, as an extractor does between
    // far-apart entries. A source that said "saved" first left the writing to helpers: done
    // once they are, when they can be told.
    return !m_writerAlive &&
           (m_workerSeen || (m_savedFirst && m_helpersFollowed && !m_helperAlive));
}

DeliveryRules::Clock::duration DeliveryPolicy::quietNeeded() const {
    if (trusted()) {
        return seconds(m_times.quiet);
    }
    return seconds(m_savedFirst && !m_writerAlive ? m_times.savedFirstQuiet
                                                  : m_times.untrustedQuiet);
}

std::optional<Delivery> DeliveryPolicy::decide(const FolderLook& look, Clock::time_point now) {
    m_looked = now;
    m_working = look.working;
    m_workerSeen = m_workerSeen || look.working;
    m_helpersFollowed = look.helpersFollowed;
    m_writerAlive = look.writerAlive;
    m_helperAlive = look.helperAlive;
    m_anything = look.anything;
    const Clock::duration unchanged = now - m_changed;
    if (look.working) {
        // Given up, but the folder stays for whatever still works in it.
        if (unchanged >= seconds(m_times.workingLimit)) {
            return Delivery{
                .items = {}, .error = unfinished(m_times.workingLimit), .folderInUse = true};
        }
        return std::nullopt;
    }
    if (m_answer == SourceAnswer::Sending) {
        if (unchanged >= seconds(m_times.idleLimit)) {
            return Delivery{{}, unfinished(m_times.idleLimit)};
        }
        return std::nullopt;
    }
    // A source that failed, or ran out of room, left at best part of the file: none of it is
    // published, and the folder goes.
    if (look.anything && (look.full || m_answer == SourceAnswer::Refused)) {
        return failed(look, look.full ? QString::fromLocal8Bit(std::strerror(ENOSPC))
                                      : QStringLiteral("来源程序没能提供这个文件。"));
    }
    if (look.anything && unchanged >= quietNeeded()) {
        if (look.deliverable.isEmpty()) {
            return Delivery{{}, QStringLiteral("来源程序送来的不是普通文件或文件夹。")};
        }
        return Delivery{look.deliverable, std::nullopt};
    }
    if (!look.anything && m_answer == SourceAnswer::Refused &&
        unchanged >= seconds(m_times.afterRefusal)) {
        return Delivery{{}, QStringLiteral("来源程序没能提供这个文件。")};
    }
    if (!look.anything && unchanged >= seconds(m_times.idleLimit)) {
        return Delivery{{},
                        QStringLiteral("来源程序在 %1 秒内没有送来文件。").arg(m_times.idleLimit)};
    }
    return std::nullopt;
}

std::optional<DeliveryRules::Clock::time_point>
DeliveryPolicy::nextLook(Clock::time_point now) const {
    std::vector<Clock::time_point> due{m_changed + seconds(m_times.quiet)};
    if (m_working) {
        due.push_back(m_looked + seconds(m_times.workerCheck));
        due.push_back(m_changed + seconds(m_times.workingLimit));
    } else if (m_answer == SourceAnswer::Sending) {
        due.push_back(m_changed + seconds(m_times.idleLimit));
    } else if (m_anything) {
        due.push_back(m_changed + quietNeeded());
    } else {
        due.push_back(m_changed + seconds(m_times.idleLimit));
        if (m_answer == SourceAnswer::Refused) {
            due.push_back(m_changed + seconds(m_times.afterRefusal));
        }
    }
    std::optional<Clock::time_point> next;
    for (const Clock::time_point time : due) {
        if (time > now && (!next || time < *next)) {
            next = time;
        }
    }
    return next;
}

} // namespace verrabel
