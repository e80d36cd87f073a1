// The takes of the history, one entry a take however many files it has, found by the reference that its files share.
// Entries never change: a change puts another in their place, so that whoever holds one needs no lock. Any thread.
#pragma once

#include "metadata/MetaData.h"

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace vurl {

/// One file of a take, as it was found on disk.
struct TakeFile {
  int32_t number;         ///< within its take, from 0
  std::string path;       ///< full
  std::string track_list; ///< the TRACK_LIST element of its own iXML document; empty when there is none
};

/// The TRACK_LIST element of an iXML document; empty when it has none. Any thread.
std::string trackListOf(const std::string& document);

/// A take in the list.
class ListedTake {
public:
  ListedTake(MetaData record, std::vector<TakeFile> files_on_disk);

  const MetaData meta_data;
  const std::string reference; ///< bwfOriginatorReferenceForFile(-1): the takes' order, and what joins their files

  /// What was read from disk, by ascending number; none for a take that was recorded since the program started.
  const std::vector<TakeFile> files;

  /// Whether it was read from the very file that `recorded` has written.
  bool isReadFrom(const MetaData& recorded) const;

  /// The take's document in the XML report, made when it is first asked for.
  std::string reportText() const;

private:
  mutable std::once_flag made;
  mutable std::string document; ///< without the blanks behind
  mutable size_t nr_blanks = 0;
};

using TakePointer = std::shared_ptr<const ListedTake>;

class TakeList {
public:
  /// Puts a finished take at the end. An entry that was read from the take's files while it ran goes.
  void append(const MetaData& finished);

  /// Puts a file into the list: with the first take that has its reference, or as a new one at the end. `record` is as
  /// it was read, its data at file 0; `file` is its number within its take. A file that a finished take has written is
  /// that take's whatever its header said before the end.
  void addFile(MetaData record, int32_t file);

  /// Sorts by the time of the takes' start.
  void sort();

  /// The takes as they stand now.
  std::vector<TakePointer> takes() const;

private:
  void makeIndex();

  mutable std::mutex mutex; ///< guards what follows, held for a change or a look only
  std::vector<TakePointer> list;
  std::unordered_map<std::string, size_t> index; ///< of the first entry with a reference
  std::unordered_set<std::string> finished_files;
};

} // namespace vurl
