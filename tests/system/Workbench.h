// What a test of whole programs works with: other programs as child processes that never outlive it, and a home folder
// in which vurl finds its settings and leaves its takes. TakeFile.h looks into what was recorded. Thread: main.
#pragma once

#include "tests/support/Test.h"

#include <nlohmann/json.hpp>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <fcntl.h>
#include <pty.h>
#include <sched.h>
#include <unistd.h>

#include <csignal>

namespace vurl {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSlow = true; ///< everything takes longer: tests record less
#else
inline constexpr bool kSlow = false;
#endif

/// JACK servers are found by their sockets. Where the system allows it, these tests and all that they start have a
/// network of their own, so that no server of somebody else ends a take.
inline const bool kHasOwnNetwork = unshare(CLONE_NEWNET) == 0;

using Words = std::vector<std::string>;

inline void sleepFor(int milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

/// Whether `condition`, which may take its own time, comes true within a patience that no test should ever need.
inline bool eventually(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(2);
  bool is_true = false;
  while (!(is_true = condition()) && std::chrono::steady_clock::now() < end) sleepFor(2);
  return is_true;
}

inline void expectParts(const std::string& whole, const Words& parts) {
  for (const auto& part : parts) EXPECT_NE(whole.find(part), std::string::npos) << part << " in\n" << whole;
}

/// A program that runs beside the test. Killed, if it must be, and reaped with this object.
class Program {
public:
  enum class Stdin { nothing, keyboard }; ///< a keyboard is a terminal of the program's own

  explicit Program(Words words, Stdin from = Stdin::nothing) {
    const Words files = {"/dev/null", streams.file("1"), streams.file("2")};
    std::vector<char*> arguments;
    for (auto& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid = from == Stdin::keyboard ? forkpty(&keyboard, nullptr, nullptr, nullptr) : fork();
    if (pid != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (const int number : {SIGINT, SIGHUP}) std::signal(number, SIG_DFL); // ignored when tests run in the background
    for (int stream = from == Stdin::keyboard ? 1 : 0; stream < 3; ++stream)
      dup2(open(files[static_cast<size_t>(stream)].c_str(), O_RDWR | O_CREAT, 0600), stream);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  ~Program() {
    signal(SIGKILL);
    if (pid > 0) waitpid(pid, nullptr, 0);
    if (keyboard >= 0) close(keyboard);
  }
  Program(Program&&) = delete;

  void signal(int number) const {
    if (pid > 0) kill(pid, number);
  }

  void type(char key) const { EXPECT_EQ(write(keyboard, &key, 1), 1); }

  /// Waits for the end. The exit code; 128 and the signal's number if one ended it; -1 if it never ends.
  int wait() {
    int status = 0;
    if (pid <= 0 || !eventually([&] { return waitpid(pid, &status, WNOHANG) == pid; })) return -1;
    pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  std::string output() const { return fileBytes(streams.file("1")); }
  std::string errors() const { return fileBytes(streams.file("2")); }

private:
  TemporaryFolder streams;
  pid_t pid = -1;
  int keyboard = -1; ///< the other end of it
};

/// What `words` print, blanks in a row made one; a failure of the test when they fail.
inline std::string printedBy(const Words& words) {
  Program program(words);
  EXPECT_EQ(program.wait(), 0) << words[0] << ": " << program.errors();
  std::string printed = program.output();
  const auto both_blank = [](char one, char next) { return one == ' ' && next == ' '; };
  printed.erase(std::unique(printed.begin(), printed.end(), both_blank), printed.end());
  return printed;
}

/// What vurl reports of each finished take, or piece of one: "files", "samples", "timestamp", "reason".
using Take = nlohmann::json;

inline std::vector<Take> takesOf(const Program& program) {
  std::vector<Take> takes;
  std::istringstream lines(program.output());
  for (std::string line; std::getline(lines, line);) takes.push_back(Take::parse(line));
  return takes;
}

/// The one take that `program` has reported.
inline Take takeOf(const Program& program) {
  const auto takes = takesOf(program);
  EXPECT_EQ(takes.size(), 1U) << program.errors();
  return takes.at(0);
}

/// What is reported by a recording that ends well.
inline std::vector<Take> takesBy(const Words& words) {
  Program program(words);
  EXPECT_EQ(program.wait(), 0) << program.errors();
  return takesOf(program);
}

/// A user's home with a folder for takes, and the JACK server that this user's programs find first.
class Home {
public:
  explicit Home(std::string server = "vurl-test-no-server") : jack_server(std::move(server)) {
    std::filesystem::create_directory(takes());
  }

  std::filesystem::path takes() const { return folder.path / "Recordings"; }
  std::string file(const std::string& name) const { return folder.file(name); }
  /// What the settings file holds.
  std::string settings() const { return fileBytes(file("vurl-recorder/settings.plist")); }

  /// `vurl` with `arguments`, ready to be started by this user.
  Words vurl(const Words& arguments) const {
    Words words = {"env",
                   "HOME=" + folder.path.string(),
                   "XDG_CONFIG_HOME=" + folder.path.string(),
                   "JACK_DEFAULT_SERVER=" + jack_server,
                   "JACK_NO_AUDIO_RESERVATION=1",
                   VURL_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
  }

  /// `vurl record --json` with `settings` ("KEY=VALUE") and `options`, ready to be started by this user. Files are
  /// called "x" unless a setting says otherwise.
  Words recording(const Words& settings, const Words& options) const {
    Words words = vurl({"record", "--json", "--set", "filename_format=x"});
    for (const auto& setting : settings) words.insert(words.end(), {"--set", setting});
    words.insert(words.end(), options.begin(), options.end());
    return words;
  }

  /// Not the reports beside them.
  Words takeFiles() const {
    Words paths;
    for (const auto& entry : std::filesystem::directory_iterator(takes()))
      if (entry.path().extension() == ".wav" || entry.path().extension() == ".caf") paths.push_back(entry.path());
    return paths;
  }

  /// Waits until a take's file has `size` bytes on disk.
  bool hasGrownTo(const std::string& name, uintmax_t size) const {
    const auto path = takes() / name;
    return eventually([&] { return std::filesystem::exists(path) && std::filesystem::file_size(path) >= size; });
  }

private:
  TemporaryFolder folder;
  std::string jack_server;
};

} // namespace vurl
