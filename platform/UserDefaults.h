// The user's settings: one flat key space in three layers. A value set for this run only lies above what the user's
// file holds, which lies above the registered values that every key starts with. Observers run on the thread that
// sets. Reading is safe from the main and the processing thread; setting is for the main thread.
#pragma once

#include "platform/PropertyList.h"
#include "platform/SettingsFile.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vurl {

class UserDefaults {
public:
  using Observer = std::function<void(const std::string& key)>;

  /// Keeps an observer registered; destroy it on the main thread to end it.
  class Observation {
  public:
    virtual ~Observation() = default;
  };
  using ObservationHandle = std::unique_ptr<Observation>;

  /// Settings without a file: nothing is stored. For tests.
  UserDefaults();

  /// Settings kept in the property list at `path`, read now. A file that does not parse is renamed to
  /// "PATH.unreadable", or with a number behind when that is taken, told in warnings(), and the program starts
  /// on the registered values.
  explicit UserDefaults(std::string path);

  ~UserDefaults();
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;

  /// $XDG_CONFIG_HOME/vurl-recorder/settings.plist, with ~/.config when the variable is not set to a full path.
  static std::string standardPath();

  /// The settings file's path as it was given; empty for settings without a file.
  const std::string& file() const { return path; }

  /// Whether there was no settings file when this object was made: the user's first start.
  bool isNew() const { return is_new; }

  /// What went wrong with the settings file so far, in words for the user; empty when all is well.
  std::vector<std::string> warnings() const;

  /// Puts `values` beneath what the user's file holds, replacing registered values of the same keys. Observers are
  /// not called.
  void registerDefaults(const SettingMap& values);

  /// The value as an integer: a boolean as 0 or 1, a text's leading integer, a real towards zero; 0 for no value.
  int64_t integerForKey(const std::string& key) const;

  /// The value as a boolean: a number that is not 0; a text "YES", "true" or with a leading integer that is not 0.
  bool boolForKey(const std::string& key) const;

  /// The value as a text: numbers in decimal, booleans as "1" and "0"; empty for no value.
  std::string stringForKey(const std::string& key) const;

  /// The value as it is held, or nothing.
  std::optional<SettingValue> objectForKey(const std::string& key) const;

  /// The registered value alone, or nothing.
  std::optional<SettingValue> registeredValueForKey(const std::string& key) const;

  /// Stores a value for the user and calls the observers of the key when it differs from what was read before. A value
  /// set for the run is dropped. The file follows at the next synchronize().
  void setInteger(int64_t value, const std::string& key);
  void setBool(bool value, const std::string& key);
  void setObject(const SettingValue& value, const std::string& key);

  /// Takes away what the user has set, and what was set for the run: reading `key` gives the registered value again.
  /// The observers are called as above, and the file follows at the next synchronize().
  void removeObject(const std::string& key);

  /// Sets a value for this run only: it is never written to the file, and a later set of the same key replaces it.
  /// Observers are called as above.
  void setForRun(const SettingValue& value, const std::string& key);

  /// Whether reading `key` gives a value that was set for this run only.
  bool isSetForRun(const std::string& key) const;

  /// Calls `observer` with the key after each change of `key`; with an empty key, of any key.
  [[nodiscard]] ObservationHandle observe(const std::string& key, Observer observer);

  /// All keys that have a value, sorted, with the value that reading gives.
  SettingMap all() const;

  /// Writes what the user has set to the file, when anything changed since: to a new file beside it, synced, then
  /// renamed over the old one, and the folder synced. What another program has written there meanwhile stays, except
  /// under the keys that were set here since the last time; this object goes on with the values that it has read.
  /// Returns nothing, or the reason of the failure, which is logged as well. The folder is made when it is missing.
  /// Thread: main.
  std::optional<std::string> synchronize();

private:
  struct ObserverEntry;
  struct ObserverLink;

  const SettingValue* find(const std::string& key) const;
  void load();
  void change(const std::string& key, const std::function<void()>& set);
  std::optional<std::string> writeFile();
  std::optional<std::string> readWhatOthersWrote();

  const std::string path;
  bool is_new = false;
  bool dirty = false;
  bool may_write = true;    ///< off while an unreadable file stands at `path`: it is never written over
  mutable std::mutex mutex; ///< guards the three layers; never held while observers run
  SettingMap for_run;
  SettingMap stored;
  SettingMap registered;
  SettingMap on_disk;            ///< what the file held when it was last read or written, at on_disk_stamp
  FileStamp on_disk_stamp;       ///< what the file looked like then
  std::set<std::string> changed; ///< keys to be written
  std::vector<std::string> load_warnings;
  std::shared_ptr<std::vector<std::shared_ptr<ObserverEntry>>> observers;
};

} // namespace vurl
