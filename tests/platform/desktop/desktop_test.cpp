#include "platform/desktop/xdg_folders.h"
#include "platform/transfer_key_offer.h"
#include "support/fake_platform.h"
#include "support/files.h"

#include <QCoreApplication>

namespace verrabel {
namespace {

TEST(XdgFolders, ADesktopThatIsTheHomeFolderCountsAsNone) {
    const testing::Files home;
    const QByteArray saved[] = {qgetenv("HOME"), qgetenv("XDG_CONFIG_HOME")};
    qputenv("HOME", home.native({}));
    qputenv("XDG_CONFIG_HOME", home.native({}));
    // user-dirs' way of switching the Desktop off: it would otherwise list the whole home.
    home.write("user-dirs.dirs", "XDG_DESKTOP_DIR=\"$HOME/\"\n");
    EXPECT_EQ(XdgFolders().desktop(), QString());
    qputenv("HOME", saved[0]);
    qputenv("XDG_CONFIG_HOME", saved[1]);
}

TEST(TransferKeyOffer, MakesAKeyOnlyWhenAskedAndNeverHandsOutAnotherDragsKey) {
    testing::FakeTransfers transfers;
    testing::FakeQueues queues;
    TransferKeyOffer offer(transfers, queues);
    testing::ManualQueue& making = *queues.made.value("Verrabel.transfers");
    std::vector<std::optional<QByteArray>> answers;
    const auto ask = [&offer, &answers] {
        offer.request([&answers](const std::optional<QByteArray>& key) { answers.push_back(key); });
    };
    const auto makeKeys = [&making] {
        making.runAll();
        QCoreApplication::processEvents();
    };
    offer.reset({"/d/a.txt"});
    EXPECT_TRUE(making.items.empty()); // not before a target asks
    ask();
    ask();
    EXPECT_EQ(making.items.size(), 1U); // one key for both
    makeKeys();
    const std::optional<QByteArray> a("/d/a.txt");
    EXPECT_EQ(answers, (std::vector{a, a}));
    ask();
    EXPECT_EQ(answers.back(), a); // known: at once

    // The next drag stops the last one's key; requests still waiting get none, and a key made
    // for a drag that is over is stopped, never handed out.
    offer.reset({"/d/b.txt"});
    EXPECT_EQ(transfers.stopped, QStringList{"/d/a.txt"});
    ask();
    offer.reset({"/d/c.txt"});
    EXPECT_EQ(answers.size(), 4U);
    EXPECT_EQ(answers.back(), std::nullopt);
    makeKeys();
    EXPECT_EQ(transfers.stopped, (QStringList{"/d/a.txt", "/d/b.txt"}));
    EXPECT_EQ(answers.size(), 4U);

    // A portal that makes none: none, and it is not asked again for the same drag.
    transfers.offersNone = true;
    ask();
    makeKeys();
    ask();
    EXPECT_TRUE(making.items.empty());
    EXPECT_EQ(answers, (std::vector{a, a, a, std::optional<QByteArray>(),
                                    std::optional<QByteArray>(), std::optional<QByteArray>()}));
}

} // namespace
} // namespace verrabel
