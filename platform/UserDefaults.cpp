#include "platform/UserDefaults.h"

#include "platform/Log.h"
#include "platform/SettingsFile.h"

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
  on_disk_stamp = FileStamp::of(path);
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
    on_disk = stored;
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
    changed.insert(key);
    dirty = true;
  });
}

void UserDefaults::removeObject(const std::string& key) {
  change(key, [&] {
    for_run.erase(key);
    if (stored.erase(key) == 0) return;
    changed.insert(key);
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

bool UserDefaults::isSetForRun(const std::string& key) const {
  const std::lock_guard lock(mutex);
  return for_run.count(key) > 0;
}

std::optional<std::string> UserDefaults::synchronize() {
  if (path.empty() || (!dirty && !is_new)) return std::nullopt;
  if (!may_write) return text("The settings are not written: %s", load_warnings.back());
  std::error_code made;
  const auto folder = std::filesystem::path(path).parent_path();
  if (!folder.empty()) std::filesystem::create_directories(folder, made);
  const auto failure = made ? std::optional(systemError(made.value())) : writeFile();
  if (!failure) return std::nullopt;
  const std::string reason = text("The settings could not be written to %s: %s.", path, *failure);
  warn("%@", reason);
  return reason;
}

/// Returns nothing, or what went wrong.
std::optional<std::string> UserDefaults::writeFile() {
  const WriteTurn turn(path);
  if (FileStamp::of(path) != on_disk_stamp) {
    if (auto failure = readWhatOthersWrote()) return failure;
  }
  for (const std::string& key : changed) {
    const SettingValue* const value = findIn(stored, key);
    if (value == nullptr) {
      on_disk.erase(key);
    } else {
      on_disk[key] = *value;
    }
  }
  const int error = replaceFile(path, writePropertyList(on_disk));
  if (error != 0) return systemError(error);
  on_disk_stamp = FileStamp::of(path);
  changed.clear();
  dirty = false;
  is_new = false;
  return std::nullopt;
}

/// Brings on_disk up to date. Where no settings are left, all that the user has set here is the best there is.
std::optional<std::string> UserDefaults::readWhatOthersWrote() {
  std::string reason;
  int error_number = 0;
  const auto document = readWholeFile(path, reason, error_number);
  if (!document && error_number != ENOENT) return reason;
  auto values = document ? parsePropertyList(*document, reason) : std::nullopt;
  if (document && !values) {
    const auto aside = setAside(path);
    if (!aside) return reason;
    warn("The settings file %s could not be understood any more (%s). It is kept as %s.", path, reason, *aside);
  }
  on_disk = values ? std::move(*values) : stored;
  return std::nullopt;
}

} // namespace vurl
