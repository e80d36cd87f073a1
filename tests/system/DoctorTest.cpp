// The program and the computer it runs on: the doctor's word on it, and what it asks the computer for while it records.
#include "tests/support/PrivateBus.h"
#include "tests/system/Workbench.h"

namespace vurl {

TEST(Doctor, LeavesTheDisksOfARecorderAloneThatHasPriorityAndHoldsSleepOff) {
  const PrivateBus bus(PrivateBus::Services::grant);
  ASSERT_TRUE(bus.isServing());
  const Home home;
  Words words = home.recording({}, {"--device", "generator"});
  words.insert(words.begin(), {"prlimit", "--rtprio=0:0"}); // it has no right of its own
  if (geteuid() == 0) words.insert(words.begin(), {"setpriv", "--bounding-set", "-sys_nice"});
  Program recorder(words);
  EXPECT_TRUE(eventually([&] { return bus.nrHeld() == 1 && !home.takeFiles().empty(); }));
  EXPECT_EQ(bus.priorities().size(), 1U) << "one thread makes the cycles";
  Program doctor(home.vurl({"doctor", "--json"}));
  const int exit_code = doctor.wait();
  const auto told = nlohmann::json::parse(doctor.output());
  std::map<std::string, std::string> marks;
  for (const auto& finding : told["findings"]) marks[finding["topic"]] = finding["mark"];
  const bool must_change = std::ranges::any_of(marks, [](const auto& mark) { return mark.second == "change"; });
  EXPECT_TRUE(told["fine"] == !must_change && exit_code == (must_change ? 1 : 0)) << exit_code << doctor.output();
  for (const char* topic : {"real_time", "locked_memory", "processor", "servers", "devices", "sleep", "disk"})
    EXPECT_TRUE(marks.contains(topic)) << topic;
  expectParts(doctor.output(), {"A recorder runs", "speed was not measured"});
  EXPECT_EQ(bus.nrHeld(), 1) << "the recorder's";
  recorder.signal(SIGTERM);
  EXPECT_EQ(recorder.wait(), 0) << recorder.errors();
  EXPECT_EQ(bus.nrHeld(), 0);
}

} // namespace vurl
