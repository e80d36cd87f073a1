#include "platform/SettingsLock.h"

#include "tests/support/Test.h"

#include <unistd.h>

namespace vurl {

TEST(SettingsLock, OneHolderAtATimeByWhateverName) {
  const TemporaryFolder folder;
  const CapturedLog log;
  const std::string settings = folder.file("settings.plist"), link = folder.file("link"), other = folder.file("other");
  for (const std::string& name : {settings, other}) writeFile(name, "");
  std::filesystem::create_symlink(settings, link);
  std::string reason;
  for (int round = 0; round < 2; ++round) { // the second round: the first has let go
    const auto held = SettingsLock::take(settings, reason);
    ASSERT_TRUE(held);
    std::filesystem::rename(other, settings); // as a settings file is replaced
    writeFile(other, "");
    for (const std::string& name : {settings, link}) EXPECT_FALSE(SettingsLock::take(name, reason)) << name;
    EXPECT_NE(reason.find(text("process %i)", getpid())), std::string::npos) << reason;
    EXPECT_TRUE(SettingsLock::take(other, reason) && SettingsLock::take(folder.file("new/settings.plist"), reason));
  }
  EXPECT_TRUE(SettingsLock::take("/proc/settings.plist", reason)) << "what cannot be locked can be recorded with";
  EXPECT_EQ(log.lines().size(), 1U);
}

} // namespace vurl
