#include "files/HeaderTexts.h"

#include "platform/Log.h"
#include "platform/Text.h"

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace vurl {
namespace {

/// A text that the user may make as long as the disk.
struct UserText {
  std::string name; ///< for the log
  size_t times;     ///< how often it stands in the document at full length
  std::string value;
  std::function<void(MetaData&, const std::string&)> set;
};

/// Those in the document of `file`; channels that the file lacks take no room in it.
std::vector<UserText> userTexts(const MetaData& meta_data, int32_t file) {
  std::vector<UserText> texts{
      {"project", 1, meta_data.project(), &MetaData::setProject},
      {"scene", 2, meta_data.scene(), &MetaData::setScene},
      {"slate", 1, meta_data.slate(), &MetaData::setSlate},
      {"take", 2, meta_data.take(), &MetaData::setTake},
      {"roll", 1, meta_data.roll(), &MetaData::setRoll},
      {"note", 1, meta_data.note(), &MetaData::setNote},
      {"contact_info", 1, meta_data.contactInfo(), &MetaData::setContactInfo},
      {"session_note", 1, meta_data.sessionNote(), &MetaData::setSessionNote},
  };
  const ChannelMask mask = meta_data.channelMaskForFile(file);
  for (int32_t channel = 0; channel < MetaData::kMaximumChannels; channel++) {
    if (!BitTst(&mask, channel)) continue;
    texts.push_back({text("name of channel %i", channel + 1), 1, meta_data.nameForChannel(channel),
                     [channel](MetaData& fitting, const std::string& name) { fitting.setName(name, channel); }});
  }
  return texts;
}

/// Takes `excess` bytes out of the document by shortening `longest`, but at most half of it: the next text may be the
/// longest then.
void shorten(UserText& longest, size_t excess) {
  const size_t length = longest.value.size();
  const size_t cut = (excess + longest.times - 1) / longest.times;
  longest.value = firstBytes(longest.value, cut > length - length / 2 ? length / 2 : length - cut);
}

std::string joined(const std::set<std::string>& names) {
  std::string list;
  for (const auto& name : names) list += (list.empty() ? "" : ", ") + name;
  return list;
}

} // namespace

std::optional<MetaData> headerFitting(const MetaData& meta_data, int32_t file, size_t room) {
  size_t size = meta_data.iXMLForFile(file).size();
  if (size <= room) return std::nullopt;
  MetaData fitting = meta_data;
  fitting.setFilename(meta_data.filenameForFile(file), file);
  std::vector<UserText> texts = userTexts(meta_data, file);
  std::set<std::string> shortened;
  while (size > room) {
    const auto longest = std::max_element(texts.begin(), texts.end(),
                                          [](const auto& a, const auto& b) { return a.value.size() < b.value.size(); });
    if (longest->value.empty()) break;
    shorten(*longest, size - room);
    longest->set(fitting, longest->value);
    shortened.insert(longest->name);
    size = fitting.iXMLForFile(file).size();
  }
  warn("The header of file '%@' has no room for all texts, shortened in it: %@", fitting.filenameForFile(file),
       joined(shortened));
  return fitting;
}

} // namespace vurl
