// The naming language: formats, user texts, channel names and folders as they come, and what all names promise however
// they are made.
#include "fuzz/Rig.h"
#include "metadata/MetaData.h"
#include "platform/Text.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>

namespace vurl::fuzz {
namespace {

bool isClean(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
}

bool isClean(std::string_view name) {
  return std::all_of(name.begin(), name.end(), [](char c) { return isClean(c); });
}

std::string word(FuzzedDataProvider& input) { return input.ConsumeRandomLengthString(40); }

MetaData recordOf(FuzzedDataProvider& input, const UserDefaults& defaults) {
  MetaData record(defaults);
  record.setOriginationDate(input.ConsumeIntegral<int64_t>());
  record.setTimestamp(input.ConsumeIntegral<uint64_t>());
  record.setSampleRate(input.ConsumeIntegral<int32_t>());
  record.setFrameRate(input.ConsumeBool() ? input.ConsumeIntegralInRange(0, 7) : input.ConsumeIntegral<int32_t>());
  record.setCount(input.ConsumeIntegral<int32_t>());
  record.setNrFiles(input.ConsumeIntegral<int32_t>());
  record.setNrFolders(input.ConsumeIntegralInRange(-1, 9));
  record.setNrChannels(input.ConsumeIntegralInRange(0, 64));
  record.setFileFormat(input.ConsumeIntegralInRange(0, 4));
  for (const auto set : {&MetaData::setProject, &MetaData::setScene, &MetaData::setSlate, &MetaData::setTake,
                         &MetaData::setRoll, &MetaData::setNote})
    (record.*set)(word(input));
  for (int32_t folder = 0; folder < 2; folder++) record.setPath(word(input), folder);
  return record;
}

void checkNames(const MetaData& record, int32_t file, const std::string& format) {
  const std::string plain = record.stringWithFormat(format, false, static_cast<uint32_t>(file));
  const std::string base = record.stringWithFormat(format, true, static_cast<uint32_t>(file));
  require(isClean(base), "a name has clean characters only");
  if (format.find('%') == std::string::npos) require(plain == format, "a format without tokens stands for itself");
  if (format.find('N') == std::string::npos)
    require(nrCodePoints(plain) == base.size(), "characters are cleaned one by one");

  const std::string folder = expandTilde(record.pathForFolder(record.folderForFile(file)) + '/');
  const std::string path = record.filenameForFile(file);
  const std::string name = path.substr(std::min(folder.size(), path.size()));
  require(path.starts_with(folder) && name.ends_with(record.fileFormat() == MetaData::kBWF   ? ".wav"
                                                     : record.fileFormat() == MetaData::kCAF ? ".caf"
                                                                                             : ".txt"),
          "a file is made in its folder and has an ending");
  require(isClean(name), "no name leaves its folder");
}

} // namespace
} // namespace vurl::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vurl;
  FuzzedDataProvider input(data, size);
  UserDefaults defaults;
  const std::string format = input.ConsumeRandomLengthString(60);
  defaults.setObject(format, "filename_format");
  defaults.setObject(input.ConsumeRandomLengthString(20), "csv_filename_format");
  MetaData record = fuzz::recordOf(input, defaults);
  const auto file = input.ConsumeIntegralInRange(-1, 512);
  const auto channel = input.ConsumeIntegralInRange(-1, 64);
  record.setFolder(input.ConsumeIntegral<int32_t>(), file);
  record.setEnable(true, channel, file);
  record.setEnable(input.ConsumeBool(), 63, file);
  record.setName(fuzz::word(input), channel);
  const std::string csv_folder = fuzz::word(input);
  defaults.setObject(csv_folder, "csv_folder");

  fuzz::checkNames(record, file, format);
  fuzz::checkNames(record, file, format + input.ConsumeRemainingBytesAsString());
  const std::string folder = expandTilde(csv_folder + '/');
  const std::string report = record.csvFilename();
  fuzz::require(report.starts_with(folder) && report.ends_with(".csv") && fuzz::isClean(report.substr(folder.size())),
                "the report is made in its folder");
  return 0;
}
