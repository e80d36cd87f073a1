// Lists the take files of folders, completes those that were cut off (files/Salvage.h), and then reads their headers,
// on a thread of its own: a disk that does not answer must hold up neither the main loop nor the end of the program.
// The thread is left behind then. Thread: main.
#pragma once

#include "files/Salvage.h"
#include "metadata/MetaData.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace vurl {

class TakeReader {
public:
  /// What has been read from a file.
  struct Header {
    MetaData record;
    int32_t file; ///< its number within its take; negative when it is no take that can be listed
  };

  /// Adds the full paths of a folder's take files to `paths`, as addTakeFiles() does. Called on the thread.
  using Lister = std::function<int(const std::string& folder, std::vector<std::string>& paths)>;

  /// Begins with `folders`, which are full paths. `defaults` is what the records have their name formats from.
  TakeReader(const UserDefaults& defaults, std::vector<std::string> folders, bool salvages, Lister lister);

  /// Ends with the file in hand; one whose disk does not answer is not waited for.
  ~TakeReader();
  TakeReader(const TakeReader&) = delete;
  TakeReader& operator=(const TakeReader&) = delete;

  /// Leaves the files that were not looked at yet to the next salvage.
  void endSalvage();

  /// The headers are being read, or have been: all files are listed, and those that were cut off are completed.
  bool isReading() const;

  /// From here on while isReading(). How many files there are.
  size_t nrFiles() const;

  /// The last folder that could be opened; empty when none could.
  std::string lastFolder() const;

  /// The next header, in the order of the folders and of the names in each; nothing when it has not been read yet, or
  /// all have been taken.
  std::optional<Header> next();

  /// Waits for the next header, some milliseconds at most.
  void wait();

  /// The files that were cut off, as far as they have been found. At any time.
  std::vector<Salvage> salvaged() const;

  /// The folder whose disk has not answered for two seconds; empty while all is well. At any time.
  std::string silentFolder() const;

private:
  struct Shared;
  const std::shared_ptr<Shared> shared; ///< with the thread, which may outlive this object
  std::thread thread;
};

} // namespace vurl
