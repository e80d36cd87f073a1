// The recorder as scripts work it over the session bus, and as others disturb it there.
#include "tests/support/JackServer.h"
#include "tests/support/PrivateBus.h"
#include "tests/system/Feed.h"

#include <map>

namespace vurl {

constexpr const char *kName = "org.vurl.Recorder", *kPath = "/org/vurl/Recorder";

/// A script on the bus. What fails is told by its error's name.
struct Script {
  using Texts = std::map<std::string, std::string>;

  Script() {
    EXPECT_TRUE(eventually([&] { return sd_bus_open_user(&bus) >= 0; }));
    sd_bus_match_signal(bus, nullptr, kName, kPath, "org.freedesktop.DBus.Properties", "PropertiesChanged", noteChange,
                        this);
  }
  ~Script() { sd_bus_close_unref(bus); }
  Script(Script&&) = delete;

  template <typename... Arguments>
  std::string call(const char* method, const char* types = "", Arguments... arguments) const {
    Error error;
    sd_bus_call_method(bus, kName, kPath, kName, method, &error.error, nullptr, types, arguments...);
    return error.name();
  }

  /// Keys and values in turn. What fails is told by its error's message.
  template <typename... Words>
  std::string write(Words... texts) const {
    Error error;
    sd_bus_set_property(bus, kName, kPath, kName, "metaData", &error.error, "a{ss}", int(sizeof...(texts) / 2),
                        texts...);
    return error.error.message == nullptr ? "" : error.error.message;
  }

  Texts metaData() const {
    Texts texts;
    sd_bus_message* reply = nullptr;
    EXPECT_GE(sd_bus_get_property(bus, kName, kPath, kName, "metaData", nullptr, &reply, "a{ss}"), 0);
    sd_bus_message_enter_container(reply, 'a', "{ss}");
    const char *key = nullptr, *value = nullptr;
    while (sd_bus_message_read(reply, "{ss}", &key, &value) > 0) texts[key] = value;
    sd_bus_message_unref(reply);
    return texts;
  }

  Words files() const {
    char** list = nullptr;
    EXPECT_GE(sd_bus_get_property_strv(bus, kName, kPath, kName, "files", nullptr, &list), 0);
    Words words;
    for (char** file = list; file != nullptr && *file != nullptr; free(*file++)) words.emplace_back(*file);
    free(list);
    return words;
  }

  /// Waits until the change to `wanted` has been told; what was told before counts.
  bool sees(const std::string& wanted) {
    return eventually([&] {
      while (sd_bus_process(bus, nullptr) > 0) continue;
      return std::find(states.begin(), states.end(), wanted) != states.end();
    });
  }

  static int noteChange(sd_bus_message* message, void* me, sd_bus_error*) {
    auto& self = *static_cast<Script*>(me);
    const char *interface = nullptr, *name = nullptr, *value = nullptr;
    sd_bus_message_read(message, "s", &interface);
    sd_bus_message_enter_container(message, 'a', "{sv}");
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
      sd_bus_message_read(message, "s", &name);
      ++self.changes[name];
      if (std::string(name) == "state" && sd_bus_message_read(message, "v", "s", &value) >= 0)
        self.states.emplace_back(value);
      else
        sd_bus_message_skip(message, "v");
      sd_bus_message_exit_container(message);
    }
    return 0;
  }

  struct Error {
    ~Error() { sd_bus_error_free(&error); }
    std::string name() const { return error.name == nullptr ? "" : error.name; }
    sd_bus_error error{};
  };

  sd_bus* bus = nullptr;
  Words states;
  std::map<std::string, int> changes; ///< how often each property was told
};

const std::string kRefused = "org.vurl.Recorder.Error.Refused";

TEST(Scripting, ASessionFromTheFirstTextToTheFiles) {
  const PrivateBus bus(PrivateBus::Services::none);
  const Home home;
  Program vurl(home.recording({"filename_format=%s-%t"}, {"--device", "generator"}));
  Script script;
  ASSERT_TRUE(script.sees("recording")) << vurl.errors();
  const Home other; // another recorder goes on without the name
  Program second(other.recording({}, {"--device", "generator", "--duration", "0.5"}));

  EXPECT_EQ(script.call("Record"), kRefused);
  EXPECT_EQ(script.write("scene", "7", "take", "5", "session_note", "Größe <&>", "count", "1"), "");
  const auto before = script.metaData();
  EXPECT_EQ(before.size(), 9U);
  EXPECT_EQ(before.at("session_note"), "Größe <&>");
  expectParts(script.write("note", "x", "camera", "A"), {"\"camera\""});
  EXPECT_EQ(script.metaData(), before);
  EXPECT_EQ(script.call("Abort"), "");
  ASSERT_TRUE(script.sees("idle"));
  EXPECT_EQ(script.call("Stop"), kRefused);

  EXPECT_EQ(script.call("Watch", "u", 60), "");
  EXPECT_EQ(script.write("scene", "8"), ""); // takes begin with 1 again
  EXPECT_EQ(script.write("count", "1"), "");
  EXPECT_EQ(script.call("Record"), "");
  ASSERT_TRUE(home.hasGrownTo("8-1.wav", TakeFile::kHeaderSize + 200000));
  script.states.clear();
  EXPECT_EQ(script.call("Stop"), "");
  ASSERT_TRUE(script.sees("idle"));
  EXPECT_EQ(script.files(), Words{home.takes() / "8-1.wav"});
  for (const char* const name : {"metaData", "freeSpace", "files", "timecode", "takeLength", "levels"})
    EXPECT_GT(script.changes[name], 0) << name;
  const TakeFile file(script.files().at(0));
  EXPECT_GT(file.frames, 0);
  EXPECT_NE(file.bytes.find("<SCENE>8</SCENE>"), std::string::npos);
  EXPECT_EQ(second.wait(), 0) << second.errors();
  vurl.signal(SIGTERM);
  EXPECT_EQ(vurl.wait(), 1) << "for the take that was aborted";
}

/// Calls that are all refused, from as fast a sender as the bus allows; meanwhile the bus itself stands still once.
TEST(Scripting, AStormOfBadCallsLosesNoSample) {
  constexpr int kCalls = 2000;
  const PrivateBus bus(PrivateBus::Services::none);
  JackServer server;
  server.start();
  const Feed feed(server.name(), 8);
  const Home home(server.name());
  Program vurl(home.recording({"nr_channels=8"}, {"--device", server.name()}));
  Script script;
  ASSERT_TRUE(script.sees("recording")) << vurl.errors();
  const auto before = script.metaData();
  EXPECT_EQ(script.call("Watch", "u", 3600), "");

  const std::string long_text(20000, 'x'), vast_text(4 << 20, 'x');
  const char* const properties = "org.freedesktop.DBus.Properties";
  const auto storm = [&](int i, sd_bus_message_handler_t count, int& refused) {
    const char* const texts[] = {"", "a\nb", "\x1b[2J", long_text.c_str(),
                                 i % 400 == 36 ? vast_text.c_str() : "\u202e"};
    const char* const text = texts[i / 8 % 5];
    const auto call = [&](const char* path, const char* interface, const char* member, const char* types,
                          auto... with) {
      return sd_bus_call_method_async(script.bus, nullptr, kName, path, interface, member, count, &refused, types,
                                      with...);
    };
    switch (i % 8) {
    case 0: return call(kPath, kName, "Explode", "s", text);
    case 1: return call(kPath, kName, "Stop", "s", text);
    case 2: return call(kPath, kName, "Watch", "as", 2, text, text);
    case 3: return call(kPath, properties, "Set", "ssv", kName, "metaData", "s", text);
    case 4: return call(kPath, properties, "Set", "ssv", kName, "metaData", "a{ss}", 2, "note", "n", "scenery", text);
    case 5: return call(kPath, properties, "Get", "ss", kName, text);
    case 6: return call("/org/vurl", kName, "Abort", "");
    default: return call(kPath, kName, "Record", "");
    }
  };
  int refused = 0;
  const auto count = [](sd_bus_message* message, void* number, sd_bus_error*) {
    *static_cast<int*>(number) += sd_bus_message_is_method_error(message, nullptr) > 0 ? 1 : 0;
    return 1;
  };
  for (int i = 0; i < kCalls; ++i) {
    ASSERT_GE(storm(i, count, refused), 0);
    while (sd_bus_process(script.bus, nullptr) > 0) continue;
    if (i != kCalls / 2) continue;
    bus.signal(SIGSTOP);
    sleepFor(1500);
    bus.signal(SIGCONT);
  }
  const auto all_refused = [&] {
    while (sd_bus_process(script.bus, nullptr) > 0) continue;
    return refused == kCalls;
  };
  ASSERT_TRUE(eventually(all_refused)) << refused;
  EXPECT_EQ(script.metaData(), before);
  EXPECT_EQ(script.call("Stop"), "");
  ASSERT_TRUE(eventually([&] { return !takesOf(vurl).empty(); }));
  vurl.signal(SIGTERM);
  EXPECT_EQ(vurl.wait(), 0) << vurl.errors();
  const Take take = takeOf(vurl);
  const TakeFile file(take["files"][0]);
  EXPECT_EQ(file.frames, take["samples"]);
  EXPECT_GE(expectSequence(file, firstChannels(8), feed.played()).frames, 48000);
}

} // namespace vurl
