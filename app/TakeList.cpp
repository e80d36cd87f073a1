#include "app/TakeList.h"

#include <algorithm>
#include <utility>

namespace vurl {
namespace {

/// `take` with the file that `record` was read from.
TakePointer withFile(const ListedTake& take, MetaData record, TakeFile part) {
  MetaData merged = take.meta_data;
  if (part.number != 0) {
    // combine() fills each file that has a name in `record` from its file 0: the name marks the one that is meant.
    record.setFilename("", 0);
    record.setFilename(part.path, part.number);
  }
  merged.combine(record, part.number);
  if (part.number < merged.nrFiles()) merged.setFilename(part.path, part.number);

  std::vector<TakeFile> files = take.files;
  const auto place =
      std::find_if(files.begin(), files.end(), [&](const auto& file) { return file.number >= part.number; });
  if (place != files.end() && place->number == part.number) {
    *place = std::move(part);
  } else {
    files.insert(place, std::move(part));
  }
  return std::make_shared<ListedTake>(std::move(merged), std::move(files));
}

} // namespace

std::string trackListOf(const std::string& document) {
  constexpr std::string_view kEnd = "</TRACK_LIST>";
  const size_t begin = document.find("<TRACK_LIST>");
  const size_t end = document.find(kEnd, begin);
  return end == std::string::npos ? "" : document.substr(begin, end + kEnd.size() - begin);
}

ListedTake::ListedTake(MetaData record, std::vector<TakeFile> files_on_disk)
    : meta_data(std::move(record)),
      reference(meta_data.bwfOriginatorReferenceForFile(-1)),
      files(std::move(files_on_disk)) {}

bool ListedTake::isReadFrom(const MetaData& recorded) const {
  return std::any_of(files.begin(), files.end(),
                     [&](const TakeFile& file) { return file.path == recorded.filenameForFile(file.number); });
}

std::string ListedTake::reportText() const {
  std::call_once(made, [this] {
    std::string whole = meta_data.iXMLForFile(0);
    const size_t size = whole.find_last_not_of(' ') + 1;
    nr_blanks = whole.size() - size;
    document.assign(whole, 0, size);
  });
  return document + std::string(nr_blanks, ' ');
}

void TakeList::append(const MetaData& finished) {
  MetaData record = finished;
  record.setPlayback(true);
  auto take = std::make_shared<ListedTake>(std::move(record), std::vector<TakeFile>());
  const std::lock_guard lock(mutex);
  const auto is_read = [&](const TakePointer& other) {
    return !other->meta_data.playback() && other->isReadFrom(finished);
  };
  if (std::erase_if(list, is_read) > 0) makeIndex();
  for (int32_t file = 0; file < finished.nrFiles(); file++) finished_files.insert(finished.filenameForFile(file));
  index.emplace(take->reference, list.size());
  list.push_back(std::move(take));
}

void TakeList::addFile(MetaData record, int32_t file) {
  TakeFile part{file, record.filenameForFile(0), trackListOf(record.ixmlDocument())};
  record.setIXMLDocument(""); // the list of a long shoot holds thousands of them
  const std::string reference = record.bwfOriginatorReferenceForFile(-1);
  const std::lock_guard lock(mutex);
  const auto found = index.find(reference);
  if (found == index.end()) {
    if (finished_files.contains(part.path)) return;
    index.emplace(reference, list.size());
    record.moveToFile(file);
    list.push_back(std::make_shared<ListedTake>(std::move(record), std::vector{std::move(part)}));
  } else {
    list[found->second] = withFile(*list[found->second], std::move(record), std::move(part));
  }
}

void TakeList::sort() {
  const std::lock_guard lock(mutex);
  std::stable_sort(list.begin(), list.end(),
                   [](const TakePointer& a, const TakePointer& b) { return a->reference < b->reference; });
  makeIndex();
}

std::vector<TakePointer> TakeList::takes() const {
  const std::lock_guard lock(mutex);
  return list;
}

void TakeList::makeIndex() {
  index.clear();
  for (size_t i = 0; i < list.size(); i++) index.emplace(list[i]->reference, i);
}

} // namespace vurl
