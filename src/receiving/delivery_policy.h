#pragma once

#include "platform/delivery_rules.h"

namespace verrabel {

/// How long to wait for a source that writes a promised file into a folder.
struct DeliveryTimes {
    /// The folder unchanged this long has settled and is looked at. Settled with nothing
    /// working in it, it is complete once the source is trusted to be done: it said so after
    /// writing, or every process seen working there has ended.
    double quiet = 0.5;
    /// The quiet that completes the folder of a source that is not trusted to be done: long
    /// enough for pauses between its writes.
    double untrustedQuiet = 10;
    /// With nothing changing for this long and nothing working in the folder, the file is not
    /// coming.
    double idleLimit = 30;
    /// The same while a process works in the folder without changing it (an extractor
    /// decompressing what it skips): it is given up only after this long.
    double workingLimit = 600;
    /// After the source has said it could not save, an empty folder gets only this long.
    double afterRefusal = 5;
    /// How often to look again while a process works in the folder, besides when one ends or
    /// the folder changes.
    double workerCheck = 2;
    /// The quiet that completes the folder of a source that said it saved before anything
    /// arrived, with no writer seen still running: the helpers it left running that never
    /// worked in the folder hold nothing, and pauses between writes are shorter.
    double savedFirstQuiet = 2.5;
};

/// A promised file's folder is published whole, once, or not at all: only when nothing works
/// in it, it has been quiet, and the source is trusted to be done or has had the long quiet.
/// A name that is reserved and then replaced by a rename, or a file written again after a
/// pause, is therefore only ever published in its final state.
class DeliveryPolicy final : public DeliveryRules {
public:
    explicit DeliveryPolicy(DeliveryTimes times = {});

    void changed(Clock::time_point now) override;
    void heard(SourceAnswer answer) override;
    [[nodiscard]] bool settled(Clock::time_point now) const override;
    [[nodiscard]] std::optional<Delivery> decide(const FolderLook& look,
                                                 Clock::time_point now) override;
    [[nodiscard]] std::optional<Clock::time_point> nextLook(Clock::time_point now) const override;

private:
    [[nodiscard]] bool trusted() const;
    [[nodiscard]] Clock::duration quietNeeded() const;

    DeliveryTimes m_times;
    SourceAnswer m_answer = SourceAnswer::None;
    bool m_begun = false;
    bool m_changedSinceBegin = false;
    /// The source said it saved before anything arrived.
    bool m_savedFirst = false;
    Clock::time_point m_changed;
    Clock::time_point m_looked;
    /// What the last look saw.
    bool m_anything = false;
    bool m_working = false;
    bool m_workerSeen = false;
    bool m_helpersFollowed = false;
    bool m_writerAlive = false;
    bool m_helperAlive = false;
};

} // namespace verrabel
