// What the doctor makes of what it finds.
#include "app/DeviceChecks.h"
#include "app/DiskChecks.h"
#include "platform/UserDefaults.h"
#include "tests/support/Test.h"

namespace vurl {
namespace {

using Mark = Finding::Mark;

constexpr int64_t kMega = 1'000'000;

void expectFinding(const Finding& finding, Mark mark, const std::vector<std::string>& parts) {
  EXPECT_EQ(finding.mark, mark) << finding.text;
  EXPECT_EQ(finding.advice.empty(), mark != Mark::change) << finding.text << finding.advice;
  for (const auto& part : parts)
    EXPECT_NE((finding.text + finding.advice).find(part), std::string::npos) << finding.text;
}

DiskState disk(int64_t speed, int64_t free_bytes, uint64_t number = 1, const std::string& error = "") {
  return {true, true, DiskRoom{free_bytes, number}, {speed, error}};
}

} // namespace

TEST(Doctor, ComparesADiskWithAllThatGoesOntoIt) {
  const std::vector<TakeFolder> folders = {{"/a", 1, 10 * kMega, "t.wav", ""}, {"/b", 1, 20 * kMega, "", ""}};
  const int64_t hour = 3600 * 30 * kMega;
  const DiskState other = disk(500 * kMega, hour, 2);
  const std::tuple<DiskState, DiskState, Mark, std::vector<std::string>> cases[] = {
      {disk(20 * kMega, hour), other, Mark::fine, {"/a: ", "20.0 MB/s", "need 10.0 MB/s", "3 h 00 min"}},
      {disk(19 * kMega, hour), other, Mark::change, {"19.0 MB/s", "faster disk"}},
      {disk(59 * kMega, hour), disk(59 * kMega, hour), Mark::change, {"need 30.0 MB/s"}},
      {disk(60 * kMega, hour), disk(60 * kMega, hour), Mark::fine, {"1 h 00 min"}},
      {disk(60 * kMega, hour - 1), disk(60 * kMega, hour), Mark::change, {"59 min 59 s", "Make room"}},
      {disk(0, hour), other, Mark::note, {"not measured"}},
      {disk(0, hour, 1, "Read-only file system"), other, Mark::change, {"cannot be written: Read-only"}},
      {{true, true, DiskRoom{hour, 1, FolderState::ready, 1 << 20}, {60 * kMega, ""}},
       other,
       Mark::change,
       {"larger than 0.0 GB", "smaller maximum file size"}},
      {{true, true, DiskRoom{hour, 1, FolderState::read_only}, {0, ""}}, other, Mark::change, {"is read-only"}},
      {{true, false, {}, {}}, other, Mark::change, {"not there"}},
      {{true, true, DiskRoom{hour, 1}, {60 * kMega, ""}, DiskRoom{0, 0, FolderState::file}},
       other,
       Mark::change,
       {"t.wav is there already", "take's number"}},
      {{}, other, Mark::change, {"has not answered"}}};
  for (const auto& [first, second, mark, parts] : cases) {
    const auto findings = checkDisks(folders, {first, second});
    ASSERT_EQ(findings.size(), 2U);
    expectFinding(findings[0], mark, parts);
  }
  EXPECT_EQ(checkDisks({}, {})[0].mark, Mark::change);
}

TEST(Doctor, WantsTheChosenDeviceWithAnInputForEachChannel) {
  const DeviceRow generator{2, "Vurl - Test Generator", 64, 64, 48000, 256}, card{3, "ALSA - Cart", 8, 2, 96000, 256},
      server{4, "JACK - default", 16, 16, 48000, 256};
  const std::tuple<std::vector<DeviceRow>, std::string, int64_t, std::vector<Mark>, std::vector<std::string>> cases[] =
      {{{}, "", 8, {Mark::note, Mark::change}, {"no audio interface"}},
       {{generator}, "", 8, {Mark::note, Mark::change, Mark::note}, {"from the test generator"}},
       {{card, generator}, "", 8, {Mark::note, Mark::fine, Mark::fine}, {"ALSA - Cart (8 inputs, 2 out"}},
       {{server, card}, card.name, 12, {Mark::fine, Mark::fine, Mark::change}, {"4 of 12 channels", "them is 9"}},
       {{server}, server.name, 16, {Mark::fine, Mark::note, Mark::fine}, {"from JACK - default"}},
       {{server}, card.name, 8, {Mark::fine, Mark::note, Mark::change}, {"Cart is not there", "from JACK"}}};
  for (const auto& [rows, chosen, channels, marks, parts] : cases) {
    UserDefaults defaults;
    defaults.setObject(chosen, "selected_device");
    defaults.setInteger(channels, "nr_channels");
    for (int i = 0; i < 64; ++i) defaults.setInteger(i, text("input_for_channel%02i", i));
    const auto findings = checkDevices(rows, defaults);
    ASSERT_EQ(findings.size(), marks.size()) << chosen;
    for (size_t i = 0; i + 1 < marks.size(); ++i) expectFinding(findings[i], marks[i], {});
    expectFinding(findings.back(), marks.back(), parts);
  }
}

TEST(Doctor, MeasuresADiskAndLeavesNothingOnIt) {
  const TemporaryFolder folder;
  const auto start = std::chrono::steady_clock::now();
  const DiskSpeed speed = measureDiskSpeed(folder.path, std::chrono::milliseconds(200), 8 << 20);
  EXPECT_GT(speed.bytes_per_second, 0) << speed.error;
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  EXPECT_GE(static_cast<double>(speed.bytes_per_second) * taken.count(), 1 << 20) << "it was not written";
  EXPECT_TRUE(std::filesystem::is_empty(folder.path));
  for (const std::string& impossible : {std::string("/proc"), folder.file("missing")})
    EXPECT_FALSE(measureDiskSpeed(impossible, std::chrono::milliseconds(200), 1 << 20).error.empty());
  EXPECT_FALSE(examineDisk({folder.file("missing"), 1, 1, "", ""}, true).is_there);
}

} // namespace vurl
