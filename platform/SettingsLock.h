// One recorder per settings: two programs that recorded on the same ones would move each other's counters on and write
// over each other's takes. The lock is the kernel's, on a file beside the settings file, so it ends with the program
// however that ends. Programs that only read need none. Thread: main.
#pragma once

#include <optional>
#include <string>

namespace vurl {

class SettingsLock {
public:
  /// Takes the lock of the settings file at `settings_path`, by whatever links that leads there; an empty path needs
  /// none. Returns nothing, with a sentence for the user in `reason`, when another program holds it. Where there can be
  /// no lock (a folder that cannot be written, a file system without locks) a warning is logged and all goes on: that
  /// must not keep anyone from recording.
  static std::optional<SettingsLock> take(const std::string& settings_path, std::string& reason);

  ~SettingsLock();
  SettingsLock(SettingsLock&& other) noexcept;
  SettingsLock(const SettingsLock&) = delete;
  SettingsLock& operator=(const SettingsLock&) = delete;

private:
  explicit SettingsLock(int locked) : descriptor(locked) {}

  int descriptor; ///< of the locked file, -1 for none
};

} // namespace vurl
