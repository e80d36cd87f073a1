#include "app/ChannelLayoutControler.h"

#include "metadata/MetaData.h"
#include "platform/Log.h"

#include <algorithm>
#include <optional>

namespace vurl {
namespace {

struct Count {
  const char* key;
  int32_t offered; ///< the menu's last item
};

constexpr std::array kCounts = {Count{"nr_channels", MetaData::kMaximumChannels},
                                Count{"nr_files", ChannelLayoutControler::kFilesOffered}, Count{"nr_folders", 16}};
constexpr std::array kCountMenus = {CountMenu::channels, CountMenu::files, CountMenu::folders};

const Count& countOf(CountMenu which) { return kCounts[static_cast<size_t>(which)]; }

/// How an automatic configuration fills its files.
struct Layout {
  enum First { none, stereo, poly }; ///< a file of its own in the first folder
  First first;
  bool mono; ///< the others hold one channel each, or else all
};

constexpr std::array kLayouts = {Layout{Layout::none, true}, Layout{Layout::none, false}, Layout{Layout::stereo, true},
                                 Layout{Layout::stereo, false}, Layout{Layout::poly, true}};

/// A layout for a number of channels and folders, both at least 1 where they are divided by.
class Routing {
public:
  Routing(const Layout& of, int32_t channels, int32_t nr_folders)
      : layout(of),
        nr_channels(channels),
        per_folder(layout.mono ? channels : 1),
        first(layout.first == Layout::none ? 0 : 1),
        nr_files(first + (nr_folders - first) * per_folder) {}

  int32_t nrFiles() const { return nr_files; }

  int32_t folderOf(int32_t file) const { return file < first ? 0 : (file - first) / per_folder + first; }

  bool holds(int32_t file, int32_t channel) const {
    if (file < first) return layout.first == Layout::poly || channel < 2;
    return !layout.mono || channel == (file - first) % nr_channels;
  }

private:
  Layout layout;
  int32_t nr_channels;
  int32_t per_folder; ///< files in each folder
  int32_t first;      ///< files before them
  int32_t nr_files;
};

std::optional<Routing> routingFor(int32_t tag, int32_t nr_channels, int32_t nr_folders) {
  if (tag < 1 || tag > static_cast<int32_t>(kLayouts.size()) || nr_folders < 1) return std::nullopt;
  const Layout& layout = kLayouts[static_cast<size_t>(tag - 1)];
  if (layout.mono && nr_channels < 1) return std::nullopt;
  return Routing(layout, nr_channels, nr_folders);
}

int32_t limited(int64_t count, int64_t highest) { return static_cast<int32_t>(std::clamp<int64_t>(count, 0, highest)); }

} // namespace

ChannelLayoutControler::ChannelLayoutControler(UserDefaults& user_defaults, ChannelLayoutView& shown_in)
    : defaults(user_defaults), view(shown_in), channel_layout_matrix(defaults) {
  follow(CountMenu::channels, &ChannelLayoutControler::setNrChannels);
  follow(CountMenu::files, &ChannelLayoutControler::setNrFiles);
  follow(CountMenu::folders, &ChannelLayoutControler::setNrFolders);
}

void ChannelLayoutControler::follow(CountMenu which, void (ChannelLayoutControler::*set)(int64_t)) {
  const char* const key = countOf(which).key;
  (this->*set)(defaults.integerForKey(key));
  observations[static_cast<size_t>(which)] = defaults.observe(key, [this, which, set](const std::string& changed) {
    (this->*set)(defaults.integerForKey(changed));
    showMenu(which);
  });
}

// Menus

void ChannelLayoutControler::resetMenus() {
  for (const CountMenu which : kCountMenus) {
    PopupMenu& menu = menus[static_cast<size_t>(which)];
    menu = PopupMenu();
    for (int32_t number = 1; number <= countOf(which).offered; ++number)
      menu.items.push_back({text("%i", number), number});
    menu.enabled = true;
    limitStored(which);
    showMenu(which);
  }
}

/// A negative number of channels stays; one of files or folders counts as more than there can be.
void ChannelLayoutControler::limitStored(CountMenu which) {
  const auto& [key, offered] = countOf(which);
  const int64_t stored = defaults.integerForKey(key);
  if (stored <= offered && (stored >= 0 || which == CountMenu::channels)) return;
  warn("The setting %@ was %qi; it is %i from now on.", key, stored, offered);
  if (defaults.isSetForRun(key)) {
    defaults.setForRun(int64_t{offered}, key); // what the user has stored stays
  } else {
    defaults.setInteger(offered, key);
  }
}

void ChannelLayoutControler::showMenu(CountMenu which) {
  PopupMenu& menu = menus[static_cast<size_t>(which)];
  if (menu.items.empty()) return;
  menu.selected = -1;
  menu.selectTag(defaults.integerForKey(countOf(which).key));
  view.showCountMenu(which, menu);
}

bool ChannelLayoutControler::choose(CountMenu which, int64_t tag) {
  PopupMenu chosen = menu(which);
  if (!chosen.selectTag(tag)) return false;
  defaults.setInteger(tag, countOf(which).key);
  return true;
}

// Routing

void ChannelLayoutControler::autoConfiguration(int32_t tag) {
  if (const auto routing = routingFor(tag, nr_channels, nr_folders)) {
    defaults.setInteger(routing->nrFiles(), "nr_files");
    for (int32_t file = 0; file < nr_files; ++file) {
      defaults.setInteger(routing->folderOf(file), text("folder_for_file%03i", file));
      for (int32_t channel = 0; channel < nr_channels; ++channel)
        defaults.setBool(routing->holds(file, channel), text("channel%02i_in_file%03i", channel, file));
    }
  }
  view.redrawMatrix();
}

void ChannelLayoutControler::clicked(int32_t row, int32_t column) {
  channel_layout_matrix.toggle(channel_layout_matrix.cellAt(row, column));
  view.redrawMatrix();
}

// Counts and names

void ChannelLayoutControler::setNrChannels(int64_t count) {
  nr_channels = limited(count, MetaData::kMaximumChannels);
  channel_layout_matrix.setNrChannels(nr_channels);
  view.redrawMatrix();
}

void ChannelLayoutControler::setNrFiles(int64_t count) {
  nr_files = limited(count, MetaData::kMaximumFiles);
  channel_layout_matrix.setNrFiles(nr_files);
  view.redrawMatrix();
}

void ChannelLayoutControler::setNrFolders(int64_t count) {
  nr_folders = limited(count, countOf(CountMenu::folders).offered);
  channel_layout_matrix.setNrFolders(nr_folders);
  view.redrawMatrix();
}

void ChannelLayoutControler::setInputNames(const Names& names) {
  input_names = names;
  channel_layout_matrix.setInputNames(names);
  view.redrawMatrix();
}

void ChannelLayoutControler::setOutputNames(const Names& names) {
  output_names = names;
  channel_layout_matrix.setOutputNames(names);
  view.redrawMatrix();
}

} // namespace vurl
