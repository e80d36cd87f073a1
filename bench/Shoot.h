// A folder of many one-file takes for the benchmarks: headers without sound.
#pragma once

#include "files/BWFUtils.h"
#include "platform/Text.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace vurl {

/// A header with holes in the file where it is zero: a header is 128 KiB, and the takes are thousands.
inline void writeSparse(const std::string& path, const std::vector<uint8_t>& bytes) {
  constexpr size_t kBlock = 4096;
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  bool fine = ftruncate(descriptor, static_cast<off_t>(bytes.size())) == 0;
  for (size_t at = 0; at < bytes.size(); at += kBlock) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    if (std::all_of(begin, begin + kBlock, [](uint8_t byte) { return byte == 0; })) continue;
    fine = fine && pwrite(descriptor, &*begin, kBlock, static_cast<off_t>(at)) == kBlock;
  }
  close(descriptor);
  if (!fine) throw std::filesystem::filesystem_error("The takes could not be written", {});
}

/// Writes `count` takes of 8 channels, a minute apart, into `folder`.
inline void writeTakes(const std::string& folder, int64_t count) {
  UserDefaults defaults;
  defaults.setObject(std::string("T%t"), "filename_format");
  std::vector<uint8_t> area(static_cast<size_t>(kHeaderSize));
  for (int64_t number = 0; number < count; number++) {
    MetaData take(defaults, [number] { return WallTime{1500000000 + number * 60, 0, 0}; });
    take.setFileFormat(MetaData::kBWF);
    take.setBitDepth(INTEGER24);
    take.setSampleRate(48000);
    take.setTake(text("%05i", number));
    take.setNrFiles(1);
    take.setNrFolders(1);
    take.setPath(folder, 0);
    take.setNrChannels(8);
    for (int32_t channel = 0; channel < 8; channel++) take.setEnable(true, channel, 0);
    add_bwf(area.data(), 0, take, 0);
    writeSparse(take.filenameForFile(0), area);
  }
}

} // namespace vurl
