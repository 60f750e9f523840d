#include "receiving/delivery_policy.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

namespace verrabel {
namespace {

using Time = DeliveryRules::Clock::time_point;

Time at(double seconds) {
    return Time{} + std::chrono::duration_cast<DeliveryRules::Clock::duration>(
                        std::chrono::duration<double>(seconds));
}

const QList<QUrl> kFiles{QUrl::fromLocalFile("/tmp/f/a.txt"), QUrl::fromLocalFile("/tmp/f/b")};

FolderLook files(bool working = false, bool writerAlive = false) {
    return {.deliverable = kFiles,
            .anything = true,
            .working = working,
            .writerAlive = working || writerAlive};
}

/// A policy with the usual times, the folder last changed at 0 by what arrived (or not, when
/// `arrived` is false), its source's answer given.
DeliveryPolicy policy(SourceAnswer answer, bool arrived = true) {
    DeliveryPolicy rules;
    rules.changed(at(0)); // the watch began
    if (arrived) {
        rules.changed(at(0));
    }
    rules.heard(answer);
    return rules;
}

TEST(DeliveryPolicy, PublishesTheFolderOnceSettledTrustedAndWithNobodyAtWork) {
    DeliveryPolicy saved = policy(SourceAnswer::Saved);
    EXPECT_FALSE(saved.settled(at(0.49)));
    EXPECT_EQ(saved.nextLook(at(0)), at(0.5));
    ASSERT_TRUE(saved.settled(at(0.5)));
    const std::optional<Delivery> whole = saved.decide(files(), at(0.5));
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->items, kFiles);
    EXPECT_FALSE(whole->error);

    // A process at work in the folder may still write or rename over any name in it: nothing
    // is published, however long the folder stays quiet, and it is looked at again now and then.
    DeliveryPolicy working = policy(SourceAnswer::Saved);
    EXPECT_FALSE(working.decide(files(true), at(1)));
    EXPECT_EQ(working.nextLook(at(1)), at(3));
    EXPECT_FALSE(working.decide(files(true), at(599.9)));
    const std::optional<Delivery> givenUp = working.decide(files(true), at(600));
    ASSERT_TRUE(givenUp);
    EXPECT_TRUE(givenUp->items.isEmpty()); // nothing half-written is published
    EXPECT_EQ(givenUp->error, "来源程序在 600 秒内没有写完文件。");
    EXPECT_TRUE(givenUp->folderInUse);
    // Once it is gone and the folder has settled, the whole folder goes.
    working.changed(at(700));
    EXPECT_EQ(working.decide(files(), at(700.5))->items, kFiles);
}

TEST(DeliveryPolicy, ASourceNotTrustedToBeDoneGetsTheLongQuietEachTimeItWritesAgain) {
    DeliveryPolicy rules = policy(SourceAnswer::None);
    EXPECT_FALSE(rules.decide(files(), at(0.5)));
    EXPECT_EQ(rules.nextLook(at(0.5)), at(10));
    rules.changed(at(6)); // written again after a pause
    EXPECT_FALSE(rules.decide(files(), at(15.9)));
    EXPECT_EQ(rules.decide(files(), at(16))->items, kFiles);
    // "Saved" said before anything arrived: a helper of the source's that never worked in the
    // folder (a long-lived child) holds nothing, and what arrived is whole after a shorter quiet.
    FolderLook child = files();
    child.helpersFollowed = child.helperAlive = true;
    rules = policy(SourceAnswer::Saved, false);
    rules.changed(at(1));
    EXPECT_FALSE(rules.decide(child, at(3.4)));
    EXPECT_EQ(rules.nextLook(at(3.4)), at(3.5));
    EXPECT_EQ(rules.decide(child, at(3.5))->items, kFiles);
    // An extractor seen at work that still runs may come back, as between far-apart entries of
    // an archive; once it has ended, the short quiet will do.
    DeliveryPolicy extracting = policy(SourceAnswer::Saved, false);
    EXPECT_FALSE(extracting.decide(files(true), at(0.5)));
    extracting.changed(at(1));
    EXPECT_FALSE(extracting.decide(files(false, true), at(1.5)));
    EXPECT_EQ(extracting.nextLook(at(1.5)), at(11));
    EXPECT_EQ(extracting.decide(files(), at(1.6))->items, kFiles);
    // A known source's helpers, never seen in the folder (a quick unzip), have all ended; that
    // says nothing of a source that writes itself and has not answered.
    const FolderLook helped{.deliverable = kFiles, .anything = true, .helpersFollowed = true};
    EXPECT_TRUE(policy(SourceAnswer::Saved, false).decide(helped, at(0.5)));
    EXPECT_FALSE(policy(SourceAnswer::None).decide(helped, at(0.5)));
    // Its word after writing is trusted.
    extracting = policy(SourceAnswer::None);
    EXPECT_FALSE(extracting.decide(files(), at(0.5)));
    extracting.heard(SourceAnswer::Saved);
    EXPECT_TRUE(extracting.decide(files(), at(0.6)));
}

TEST(DeliveryPolicy, GivesUpWithWordsThatSayWhy) {
    const FolderLook empty;
    DeliveryPolicy silent = policy(SourceAnswer::None);
    EXPECT_FALSE(silent.decide(empty, at(29.9)));
    EXPECT_EQ(silent.decide(empty, at(30))->error, "来源程序在 30 秒内没有送来文件。");
    DeliveryPolicy refused = policy(SourceAnswer::Refused);
    EXPECT_EQ(refused.nextLook(at(0.5)), at(5));
    EXPECT_EQ(refused.decide(empty, at(5))->error, "来源程序没能提供这个文件。");
    // Bytes we fetch ourselves that stop coming are not a file.
    DeliveryPolicy sending = policy(SourceAnswer::Sending);
    EXPECT_FALSE(sending.decide(files(), at(29.9)));
    const std::optional<Delivery> half = sending.decide(files(), at(30));
    EXPECT_TRUE(half->items.isEmpty());
    EXPECT_EQ(half->error, "来源程序在 30 秒内没有写完文件。");
    // A source that failed after writing, or a file system that filled up under it, leaves no
    // file: each item it left is named with the reason.
    const std::optional<Delivery> failed = policy(SourceAnswer::Refused).decide(files(), at(0.5));
    EXPECT_TRUE(failed->items.isEmpty());
    EXPECT_EQ(failed->error, "来源程序没能提供这个文件。");
    EXPECT_EQ(failed->failed, (QStringList{"a.txt", "b"}));
    FolderLook full = files(true);
    full.full = true;
    EXPECT_FALSE(policy(SourceAnswer::Saved).decide(full, at(0.5))); // its writer is at work
    full.working = full.writerAlive = false;
    EXPECT_EQ(policy(SourceAnswer::Saved).decide(full, at(0.5))->error,
              QString::fromLocal8Bit(std::strerror(ENOSPC)));
    // Only a link or a pipe.
    const std::optional<Delivery> special =
        policy(SourceAnswer::Saved).decide({.deliverable = {}, .anything = true}, at(0.5));
    EXPECT_TRUE(special->items.isEmpty());
    EXPECT_EQ(special->error, "来源程序送来的不是普通文件或文件夹。");
}

} // namespace
} // namespace verrabel
