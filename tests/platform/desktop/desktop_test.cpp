#include "platform/desktop/xdg_folders.h"
#include "support/files.h"

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

} // namespace
} // namespace verrabel
