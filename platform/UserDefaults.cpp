#include "platform/UserDefaults.h"

#include "platform/Log.h"

#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <limits>

namespace vurl {
namespace {

struct IntegerReader {
  int64_t operator()(bool value) const { return value ? 1 : 0; }
  int64_t operator()(int64_t value) const { return value; }
  int64_t operator()(double value) const {
    if (!(value > -9.2e18 && value < 9.2e18)) return 0;
    return static_cast<int64_t>(value);
  }
  int64_t operator()(const std::string& value) const { return leadingInteger(value); }
};

struct BoolReader {
  bool operator()(bool value) const { return value; }
  bool operator()(int64_t value) const { return value != 0; }
  bool operator()(double value) const { return value != 0; }
  bool operator()(const std::string& value) const {
    return value == "YES" || value == "true" || leadingInteger(value) != 0;
  }
};

struct StringReader {
  std::string operator()(bool value) const { return value ? "1" : "0"; }
  std::string operator()(int64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const { return text("%g", value); }
  std::string operator()(const std::string& value) const { return value; }
};

const SettingValue* findIn(const SettingMap& map, const std::string& key) {
  const auto found = map.find(key);
  return found == map.end() ? nullptr : &found->second;
}

/// Writes `bytes` to `descriptor` and syncs it; returns 0 or the errno of the step that failed.
int writeAndSync(int descriptor, const std::string& bytes) {
  size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t count = write(descriptor, bytes.data() + written, bytes.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count < 0 ? errno : EIO;
    written += static_cast<size_t>(count);
  }
  return fsync(descriptor) < 0 ? errno : 0;
}

/// Replaces the file at `path` by one that holds `bytes`: after a power cut the old or the new one is there, whole.
/// Returns 0 or an errno.
int replaceFile(const std::string& name, const std::string& bytes) {
  std::error_code ignored;
  const std::filesystem::path target = std::filesystem::weakly_canonical(name, ignored); // a link stays a link
  const std::string path = ignored ? name : target.string();
  std::string fresh = path + ".XXXXXX";
  const int descriptor = mkostemp(fresh.data(), O_CLOEXEC);
  if (descriptor < 0) return errno;
  int error = writeAndSync(descriptor, bytes);
  if (close(descriptor) < 0 && error == 0) error = errno;
  if (error == 0 && rename(fresh.c_str(), path.c_str()) < 0) error = errno;
  if (error != 0) {
    unlink(fresh.c_str());
    return error;
  }
  const std::string folder = std::filesystem::path(path).parent_path().string();
  const int folder_descriptor = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder_descriptor < 0) return errno;
  error = fsync(folder_descriptor) < 0 ? errno : 0;
  close(folder_descriptor);
  return error == EINVAL ? 0 : error; // some file systems cannot sync a folder
}

/// Moves the file at `path` out of the way; returns its new path, or nothing when that failed.
std::optional<std::string> setAside(const std::string& path) {
  std::string aside = path + ".unreadable";
  for (int number = 2; access(aside.c_str(), F_OK) == 0; ++number) aside = text("%s.unreadable-%i", path, number);
  if (rename(path.c_str(), aside.c_str()) < 0) return std::nullopt;
  return aside;
}

} // namespace

struct UserDefaults::ObserverEntry {
  std::string key;
  Observer observer;
  bool ended = false;
};

struct UserDefaults::ObserverLink final : Observation {
  explicit ObserverLink(std::shared_ptr<ObserverEntry> linked) : entry(std::move(linked)) {}
  ~ObserverLink() override { entry->ended = true; }
  std::shared_ptr<ObserverEntry> entry;
};

UserDefaults::UserDefaults() : observers(std::make_shared<std::vector<std::shared_ptr<ObserverEntry>>>()) {}

UserDefaults::UserDefaults(std::string file)
    : path(std::move(file)), observers(std::make_shared<std::vector<std::shared_ptr<ObserverEntry>>>()) {
  load();
}

UserDefaults::~UserDefaults() = default;

std::string UserDefaults::standardPath() {
  const char* configured = std::getenv("XDG_CONFIG_HOME");
  const bool usable = configured != nullptr && configured[0] == '/';
  return (usable ? std::string(configured) : expandTilde("~/.config")) + "/vurl-recorder/settings.plist";
}

void UserDefaults::load() {
  std::string reason;
  int error_number = 0;
  const auto document = readWholeFile(path, reason, error_number);
  if (!document && error_number == ENOENT) {
    is_new = true;
    return;
  }
  may_write = false;
  if (!document) {
    load_warnings.push_back(text("The settings file %s could not be read: %s.", path, reason));
  } else if (auto values = parsePropertyList(*document, reason)) {
    stored = std::move(*values);
    may_write = true;
    return;
  } else if (const auto aside = setAside(path)) {
    may_write = true;
    dirty = true; // so that a file stands there again: this is not the first start
    load_warnings.push_back(text("The settings file %s could not be understood (%s). It is kept as %s; the program "
                                 "starts with its standard settings.",
                                 path, reason, *aside));
  } else {
    load_warnings.push_back(text("The settings file %s could not be understood (%s), nor be set aside: %s.", path,
                                 reason, systemError(errno)));
  }
  warn("%@", load_warnings.back());
}

std::vector<std::string> UserDefaults::warnings() const { return load_warnings; }

void UserDefaults::registerDefaults(const SettingMap& values) {
  const std::lock_guard lock(mutex);
  for (const auto& [key, value] : values) registered[key] = value;
}

const SettingValue* UserDefaults::find(const std::string& key) const {
  for (const SettingMap* layer : {&for_run, &stored, &registered}) {
    if (const SettingValue* value = findIn(*layer, key)) return value;
  }
  return nullptr;
}

int64_t UserDefaults::integerForKey(const std::string& key) const {
  const std::lock_guard lock(mutex);
  const SettingValue* const value = find(key);
  return value == nullptr ? 0 : std::visit(IntegerReader(), *value);
}

bool UserDefaults::boolForKey(const std::string& key) const {
  const std::lock_guard lock(mutex);
  const SettingValue* const value = find(key);
  return value != nullptr && std::visit(BoolReader(), *value);
}

std::string UserDefaults::stringForKey(const std::string& key) const {
  const std::lock_guard lock(mutex);
  const SettingValue* const value = find(key);
  return value == nullptr ? std::string() : std::visit(StringReader(), *value);
}

std::optional<SettingValue> UserDefaults::objectForKey(const std::string& key) const {
  const std::lock_guard lock(mutex);
  const SettingValue* const value = find(key);
  return value == nullptr ? std::nullopt : std::optional(*value);
}

std::optional<SettingValue> UserDefaults::registeredValueForKey(const std::string& key) const {
  const std::lock_guard lock(mutex);
  const SettingValue* const value = findIn(registered, key);
  return value == nullptr ? std::nullopt : std::optional(*value);
}

void UserDefaults::setInteger(int64_t value, const std::string& key) { setObject(SettingValue(value), key); }

void UserDefaults::setBool(bool value, const std::string& key) { setObject(SettingValue(value), key); }

void UserDefaults::setObject(const SettingValue& value, const std::string& key) {
  change(key, [&] {
    for_run.erase(key);
    const SettingValue* const old = findIn(stored, key);
    if (old != nullptr && *old == value) return;
    stored[key] = value;
    dirty = true;
  });
}

void UserDefaults::setForRun(const SettingValue& value, const std::string& key) {
  change(key, [&] { for_run[key] = value; });
}

void UserDefaults::change(const std::string& key, const std::function<void()>& set) {
  const auto before = objectForKey(key);
  {
    const std::lock_guard lock(mutex);
    set();
  }
  if (objectForKey(key) == before) return;
  const auto ended = [](const auto& entry) { return entry->ended; };
  observers->erase(std::remove_if(observers->begin(), observers->end(), ended), observers->end());
  const auto to_call = *observers; // an observer may set, observe or end another
  for (const auto& entry : to_call) {
    if (!entry->ended && (entry->key.empty() || entry->key == key)) entry->observer(key);
  }
}

UserDefaults::ObservationHandle UserDefaults::observe(const std::string& key, Observer observer) {
  const auto entry = std::make_shared<ObserverEntry>(ObserverEntry{key, std::move(observer)});
  observers->push_back(entry);
  return std::make_unique<ObserverLink>(entry);
}

SettingMap UserDefaults::all() const {
  const std::lock_guard lock(mutex);
  SettingMap values = for_run;
  values.insert(stored.begin(), stored.end());
  values.insert(registered.begin(), registered.end());
  return values;
}

std::optional<std::string> UserDefaults::synchronize() {
  std::string document;
  {
    const std::lock_guard lock(mutex);
    if (path.empty() || (!dirty && !is_new)) return std::nullopt;
    if (!may_write) return text("The settings are not written: %s", load_warnings.back());
    document = writePropertyList(stored);
    dirty = false;
  }
  std::error_code made;
  const auto folder = std::filesystem::path(path).parent_path();
  if (!folder.empty()) std::filesystem::create_directories(folder, made);
  const int error = made ? made.value() : replaceFile(path, document);
  if (error == 0) {
    is_new = false;
    return std::nullopt;
  }
  const std::lock_guard lock(mutex);
  dirty = true;
  const std::string reason = text("The settings could not be written to %s: %s.", path, systemError(error));
  warn("%@", reason);
  return reason;
}

} // namespace vurl
