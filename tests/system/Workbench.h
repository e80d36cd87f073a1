// What a test of whole programs works with: other programs as child processes that never outlive it, and a home folder
// in which vurl finds its settings and leaves its takes. TakeFile.h looks into what was recorded. Thread: main.
#pragma once

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>

#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vurl {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSlow = true; ///< everything takes longer: tests record less
#else
inline constexpr bool kSlow = false;
#endif

/// JACK servers are found by their sockets. Where the system allows it, these tests and all that they start have a
/// network of their own, so that no server of somebody else ends a take.
struct OwnNetwork final : testing::Environment {
  void SetUp() override { static_cast<void>(unshare(CLONE_NEWNET)); }
};
inline const auto* const own_network = testing::AddGlobalTestEnvironment(new OwnNetwork);

using Words = std::vector<std::string>;

inline void sleepFor(int milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

/// Whether `condition` comes true within a patience that no test should ever need.
inline bool eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    sleepFor(2);
  }
  return true;
}

/// A program that runs beside the test. Killed, if it must be, and reaped with this object.
class Program {
public:
  /// Starts `words` with `variables` ("NAME=value") in place of the test's own of the same names.
  explicit Program(Words words, Words variables = {}) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    for (const int stream : {1, 2})
      posix_spawn_file_actions_addopen(&actions, stream, streamPath(stream).c_str(), O_WRONLY | O_CREAT, 0600);
    for (char** own = environ; *own != nullptr; ++own) {
      const std::string name(*own, std::strchr(*own, '=') + 1);
      const auto replaced = [&](const std::string& variable) { return variable.starts_with(name); };
      if (std::none_of(variables.begin(), variables.end(), replaced)) variables.emplace_back(*own);
    }
    if (posix_spawnp(&pid, words[0].c_str(), &actions, nullptr, pointers(words).data(), pointers(variables).data()))
      pid = -1;
    posix_spawn_file_actions_destroy(&actions);
  }
  ~Program() {
    signal(SIGKILL);
    if (pid > 0) waitpid(pid, nullptr, 0);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void signal(int number) const {
    if (pid > 0) kill(pid, number);
  }

  /// Waits for the end. The exit code; 128 and the signal's number if one ended it; -1 if it never ends.
  int wait() {
    if (pid <= 0) return -1;
    int status = 0;
    if (!eventually([&] { return waitpid(pid, &status, WNOHANG) == pid; })) return -1;
    pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  std::string output() const { return fileBytes(streamPath(1)); }
  std::string errors() const { return fileBytes(streamPath(2)); }

private:
  static std::vector<char*> pointers(Words& words) {
    std::vector<char*> result;
    for (auto& word : words) result.push_back(word.data());
    result.push_back(nullptr);
    return result;
  }
  std::string streamPath(int stream) const { return streams.file(std::to_string(stream)); }

  TemporaryFolder streams;
  pid_t pid = -1;
};

/// What `words` print; a failure of the test when they fail.
inline std::string printedBy(const Words& words) {
  Program program(words);
  EXPECT_EQ(program.wait(), 0) << words[0] << ": " << program.errors();
  return program.output();
}

/// A finished take, or piece of one, as vurl reports it.
struct Take {
  Words files;
  int64_t samples = 0;
  int64_t timestamp = 0;
  nlohmann::json reason = {};
};

inline std::vector<Take> takesIn(const std::string& output) {
  std::vector<Take> takes;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    const auto json = nlohmann::json::parse(line, nullptr, false);
    EXPECT_FALSE(json.is_discarded()) << line;
    if (!json.is_discarded()) takes.push_back({json["files"], json["samples"], json["timestamp"], json["reason"]});
  }
  return takes;
}

/// The one take that `program` has reported.
inline Take takeOf(const Program& program) {
  const auto takes = takesIn(program.output());
  EXPECT_EQ(takes.size(), 1U) << program.errors();
  return takes.empty() || takes[0].files.empty() ? Take{{"no file"}} : takes[0];
}

/// A user's home with a folder for takes, and the JACK server that this user's programs find first.
class Home {
public:
  explicit Home(std::string server = "vurl-test-no-server") : jack_server(std::move(server)) {
    std::filesystem::create_directory(takes());
  }

  std::filesystem::path takes() const { return folder.path / "Recordings"; }
  std::string file(const std::string& name) const { return folder.file(name); }

  /// `vurl record --json` on a device, with `settings` ("KEY=VALUE") and `options`, ready to be started. Files are
  /// called "x", whatever the counters do.
  Words recording(const std::string& device, const Words& settings, const Words& options = {}) const {
    Words words = {VURL_PROGRAM, "record", "--json", "--device", device, "--set", "filename_format=x"};
    for (const auto& setting : settings) words.insert(words.end(), {"--set", setting});
    words.insert(words.end(), options.begin(), options.end());
    return words;
  }

  Words environment() const {
    return {"HOME=" + folder.path.string(), "XDG_CONFIG_HOME=" + file("config"), "JACK_DEFAULT_SERVER=" + jack_server,
            "JACK_NO_AUDIO_RESERVATION=1"};
  }

  Words takeFiles() const {
    Words paths;
    for (const auto& entry : std::filesystem::directory_iterator(takes())) paths.push_back(entry.path());
    return paths;
  }

  /// Waits until a take's file has `size` bytes on disk.
  bool hasGrownTo(const std::string& name, uintmax_t size) const {
    return eventually([&] {
      std::error_code error;
      const uintmax_t now = std::filesystem::file_size(takes() / name, error);
      return !error && now >= size;
    });
  }

private:
  TemporaryFolder folder;
  std::string jack_server;
};

} // namespace vurl
