// vurl layout: the routing of the next take, as a summary or as a grid, and the automatic configurations.
#include "app/ChannelLayoutControler.h"
#include "app/Commands.h"
#include "metadata/MetaData.h"
#include "platform/Text.h"

#include <algorithm>
#include <cstdio>

namespace vurl {
namespace {

constexpr int32_t kFilesAbreast = 50; ///< columns of files in one part of the grid; more parts follow below
constexpr int32_t kFilesInAGroup = 10;
constexpr size_t kNameWidth = 16;
constexpr size_t kFolderWidth = kNameWidth + 10; ///< a folder has no input and output
constexpr size_t kLabelWidth = 33;               ///< number, name, input and output

struct NobodyLooks final : ChannelLayoutView {
  void showCountMenu(CountMenu, const PopupMenu&) override {}
  void redrawMatrix() override {}
};

/// `name` in a column, its end where it is too long, without the controls that would move a terminal's cursor.
std::string inColumn(const std::string& name, size_t width) {
  const size_t count = nrCodePoints(name);
  std::string shown = name;
  if (count > width) shown = "…" + name.substr(firstCodePoints(name, count - width + 1).size());
  std::replace_if(
      shown.begin(), shown.end(), [](char c) { return (c >= 0 && c < ' ') || c == '\x7F'; }, '?');
  return shown + std::string(width - nrCodePoints(shown), ' ');
}

/// A device's channel as people count; "-" for none.
std::string deviceChannel(const UserDefaults& defaults, const std::string& key) {
  const int64_t index = defaults.integerForKey(key);
  return index < 0 || index >= LayoutMatrix::kNoDeviceChannel ? "-" : text("%qi", index + 1);
}

class LayoutPrinter {
public:
  LayoutPrinter(const UserDefaults& user_defaults, const ChannelLayoutControler& of)
      : defaults(user_defaults), controler(of) {}

  /// One line a file: its channels, in runs, and where it goes.
  void printSummary() const {
    std::printf("%s, %s, %s\n\n", counted(controler.nrChannels(), "channel").c_str(),
                counted(controler.nrFiles(), "file").c_str(), counted(controler.nrFolders(), "folder").c_str());
    std::printf("file  tracks  %-24s  goes to\n", "channels");
    const std::string format = defaults.stringForKey("filename_format");
    for (int32_t file = 0; file < controler.nrFiles(); ++file) {
      const auto channels = channelsIn(file);
      std::printf("%4d  %6zu  %-24s  %s/%s\n", file + 1, channels.size(), runs(channels).c_str(),
                  folderOf(file).c_str(), format.c_str());
    }
  }

  void printMatrix() const {
    for (int32_t first = 0; first == 0 || first < controler.nrFiles(); first += kFilesAbreast) {
      const int32_t end = std::min(first + kFilesAbreast, controler.nrFiles());
      std::printf("%s", first == 0 ? "" : "\n");
      printFileNumbers(first, end);
      for (int32_t channel = 0; channel < controler.nrChannels(); ++channel) {
        const std::string input = deviceChannel(defaults, text("input_for_channel%02i", channel));
        const std::string output = deviceChannel(defaults, text("output_for_channel%02i", channel));
        const std::string name = inColumn(controler.matrix().rowName(channel), kNameWidth);
        printRow(channel, text("%3i  %@ %4s %4s", channel + 1, name, input.c_str(), output.c_str()), first, end);
      }
      std::printf(" no  folder\n");
      for (int32_t folder = 0; folder < controler.nrFolders(); ++folder) printFolder(folder, first, end);
    }
  }

private:
  static std::string counted(int32_t count, const char* noun) {
    return text("%i %@%@", count, noun, count == 1 ? "" : "s");
  }

  std::vector<int32_t> channelsIn(int32_t file) const {
    std::vector<int32_t> channels;
    for (int32_t channel = 0; channel < controler.nrChannels(); ++channel)
      if (defaults.boolForKey(text("channel%02i_in_file%03i", channel, file))) channels.push_back(channel);
    return channels;
  }

  /// "1-4,7" for channels 0 to 3 and 6.
  static std::string runs(const std::vector<int32_t>& channels) {
    std::string words;
    for (size_t i = 0; i < channels.size(); ++i) {
      const size_t begin = i;
      while (i + 1 < channels.size() && channels[i + 1] == channels[i] + 1) ++i;
      words += text("%@%i", words.empty() ? "" : ",", channels[begin] + 1);
      if (i > begin) words += text("-%i", channels[i] + 1);
    }
    return words.empty() ? "none" : words;
  }

  /// Where the file will really go: a folder that a take does not have becomes the last that it has.
  std::string folderOf(int32_t file) const {
    const int64_t last = std::min(controler.nrFolders(), MetaData::kMaximumFolders) - 1;
    const int64_t folder = std::min(defaults.integerForKey(text("folder_for_file%03i", file)), last);
    const std::string path = defaults.stringForKey(text("path_for_folder%02i", std::max<int64_t>(folder, 0)));
    return folder < 0 || path.empty() ? text("(folder %qi has no path)", std::max<int64_t>(folder, 0) + 1) : path;
  }

  /// The files' numbers, written downwards.
  static void printFileNumbers(int32_t first, int32_t end) {
    for (const int32_t power : {100, 10, 1}) {
      std::string line = power == 1 ? text(" no  %-16s   in  out  ", "name") : std::string(kLabelWidth, ' ');
      for (int32_t file = first; file < end; ++file) {
        if (file > first && (file - first) % kFilesInAGroup == 0) line += ' ';
        line += file + 1 < power ? ' ' : static_cast<char>('0' + (file + 1) / power % 10);
      }
      if (line.find_first_not_of(' ') != std::string::npos) std::printf("%s\n", line.c_str());
    }
  }

  void printFolder(int32_t folder, int32_t first, int32_t end) const {
    const int32_t row = controler.matrix().folderRow(folder);
    printRow(row, text("%3i  %@", folder + 1, inColumn(controler.matrix().rowName(row), kFolderWidth)), first, end);
  }

  void printRow(int32_t row, const std::string& label, int32_t first, int32_t end) const {
    const LayoutMatrix& matrix = controler.matrix();
    std::string line = label + "  ";
    for (int32_t file = first; file < end; ++file) {
      if (file > first && (file - first) % kFilesInAGroup == 0) line += ' ';
      line += matrix.isChecked(matrix.cellAt(row, matrix.fileColumn(file))) ? 'x' : '.';
    }
    std::printf("%s\n", line.c_str());
  }

  const UserDefaults& defaults;
  const ChannelLayoutControler& controler;
};

} // namespace

int runLayout(UserDefaults& defaults, const LayoutOptions& options) {
  NobodyLooks view;
  ChannelLayoutControler controler(defaults, view);
  if (options.auto_configuration) {
    if (controler.nrFolders() < 1 || controler.nrChannels() < 1) {
      std::fprintf(stderr, "vurl: A layout needs a channel and a folder at least (nr_channels, nr_folders).\n");
      return kExitUsage;
    }
    controler.autoConfiguration(*options.auto_configuration);
    if (defaults.synchronize()) return kExitHarmed;
  }
  const LayoutPrinter printer(defaults, controler);
  if (options.matrix) {
    printer.printMatrix();
  } else {
    printer.printSummary();
  }
  const int32_t offered = ChannelLayoutControler::kFilesOffered;
  if (controler.nrFiles() > offered) {
    std::fprintf(stderr, "vurl: The recorder takes the first %d of these files: no menu offers more.\n", offered);
  }
  return kExitFine;
}

} // namespace vurl
