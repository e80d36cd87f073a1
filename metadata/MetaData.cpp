#include "metadata/MetaData.h"

#include "platform/Text.h"

#include <time.h>

#include <algorithm>
#include <utility>

namespace vurl {
namespace {

constexpr int16_t kSubframeDivisor = 80;

const std::string kNoText;

/// Whether `index` is one of the elements of `array`.
template <typename Array>
bool has(const Array& array, int32_t index) {
  return index >= 0 && static_cast<size_t>(index) < array.size();
}

template <typename Array>
auto& at(Array& array, int32_t index) {
  return array[static_cast<size_t>(index)];
}

/// The channels 0 to `nr_channels` - 1.
ChannelMask firstChannels(int32_t nr_channels) {
  ChannelMask mask = 0;
  for (int32_t channel = 0; channel < nr_channels; channel++) BitSet(&mask, channel);
  return mask;
}

} // namespace

const MetaData::FileSlot& MetaData::slot(int32_t file) const {
  static const FileSlot kNothing;
  return has(slots, file) ? at(slots, file) : kNothing;
}

MetaData::FileSlot& MetaData::writableSlot(int32_t file) {
  if (!has(slots, file)) slots.resize(static_cast<size_t>(file) + 1);
  return at(slots, file);
}

MetaData::MetaData(const UserDefaults& user_defaults, const WallClock& clock)
    : defaults(&user_defaults), origination_date(clock().seconds) {}

void MetaData::setNrChannels(int32_t value) {
  nr_channels = std::clamp(value, 0, kMaximumChannels);
  const ChannelMask in_use = firstChannels(nr_channels);
  for (FileSlot& file : slots) file.adjusted_channel_mask = file.channel_mask & in_use;
}

void MetaData::setNrFiles(int32_t value) { nr_files = std::clamp(value, 0, kMaximumFiles); }

void MetaData::setNrFolders(int32_t value) { nr_folders = std::clamp(value, 0, kMaximumFolders); }

std::string MetaData::originationDateString(const char* format) const {
  const time_t seconds = origination_date;
  tm local{};
  if (localtime_r(&seconds, &local) == nullptr) {
    const time_t epoch = 0;
    localtime_r(&epoch, &local);
  }
  char string[64] = "";
  return {string, strftime(string, sizeof string, format, &local)};
}

const std::string& MetaData::nameForChannel(int32_t channel) const {
  return has(channel_names, channel) ? at(channel_names, channel) : kNoText;
}

void MetaData::setName(const std::string& name, int32_t channel) {
  if (has(channel_names, channel)) at(channel_names, channel) = name;
}

const std::string& MetaData::pathForFolder(int32_t folder) const {
  return has(path_for_folder, folder) ? at(path_for_folder, folder) : kNoText;
}

void MetaData::setPath(const std::string& path, int32_t folder) {
  if (has(path_for_folder, folder)) at(path_for_folder, folder) = path;
}

int32_t MetaData::folderForFile(int32_t file) const {
  if (nr_folders == 0) return -1;
  return std::clamp(slot(file).folder, 0, nr_folders - 1);
}

void MetaData::setFolder(int32_t folder, int32_t file) {
  if (hasFile(file)) writableSlot(file).folder = folder;
}

void MetaData::setEnable(bool enable, int32_t channel, int32_t file) {
  if (!has(channel_names, channel) || !hasFile(file)) return;
  if (enable) {
    BitSet(&writableSlot(file).channel_mask, channel);
  } else {
    BitClr(&writableSlot(file).channel_mask, channel);
  }
  setNrChannels(nr_channels);
}

ChannelMask MetaData::channelMaskForFile(int32_t file) const { return slot(file).adjusted_channel_mask; }

int32_t MetaData::nrTracksForFile(int32_t file) const {
  const ChannelMask mask = channelMaskForFile(file);
  return BitCount(&mask, kMaximumChannels);
}

int32_t MetaData::bits() const { return bytes() * 8; }

int32_t MetaData::bytes() const { return static_cast<int32_t>(sampleSize(static_cast<uint32_t>(bit_depth))); }

int32_t MetaData::blockAlignForFile(int32_t file) const { return nrTracksForFile(file) * bytes(); }

// Rates and lengths may come from a stranger's file: these products wrap where they do not fit.

int32_t MetaData::byteRateForFile(int32_t file) const {
  return static_cast<int32_t>(int64_t{blockAlignForFile(file)} * sample_rate);
}

int64_t MetaData::dataSizeForFile(int32_t file) const {
  return static_cast<int64_t>(static_cast<uint64_t>(blockAlignForFile(file)) * static_cast<uint64_t>(nr_samples));
}

int64_t MetaData::fileSizeForFile(int32_t file) const {
  return static_cast<int64_t>(static_cast<uint64_t>(dataSizeForFile(file)) + static_cast<uint64_t>(sample_offset));
}

void MetaData::smpteTimestamp(SMPTETime& smpte_time, uint64_t samples) const {
  smpte_time.mType = static_cast<uint32_t>(frame_rate);
  smpte_time.mSubframeDivisor = kSubframeDivisor;
  spd_to_smpte(static_cast<int64_t>(samples), sample_rate, smpte_time);
  if (frame_rate == FRAME_RATE_23_976) smpte_time.mType = FRAME_RATE_24;
}

int32_t MetaData::frameNr() const {
  SMPTETime smpte_time;
  smpteTimestamp(smpte_time);
  return static_cast<int32_t>(smpte_to_fpd(smpte_time));
}

std::string MetaData::timestampStringForCounter(uint64_t counter) const {
  SMPTETime smpte_time;
  smpteTimestamp(smpte_time, counter);
  return text("%02hi:%02hi:%02hi:%02hi", smpte_time.mHours, smpte_time.mMinutes, smpte_time.mSeconds,
              smpte_time.mFrames);
}

int32_t MetaData::compare(const MetaData& other) const {
  return bwfOriginatorReferenceForFile(-1).compare(other.bwfOriginatorReferenceForFile(-1));
}

void MetaData::moveToFile(int32_t file) {
  if (file == 0 || !hasFile(file)) return;
  FileSlot moved = slot(0);
  writableSlot(file) = std::move(moved);
  slots.front() = {};
}

void MetaData::combine(const MetaData& other, int32_t /*file*/) {
  const FileSlot& source = other.slot(0);
  for (int32_t file = 0; file < nr_files; file++) {
    if (!other.slot(file).filename.empty()) writableSlot(file) = source;
  }
}

void MetaData::setFilename(const std::string& filename, int32_t file) {
  if (hasFile(file)) writableSlot(file).filename = filename;
}

} // namespace vurl
