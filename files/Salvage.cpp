#include "files/Salvage.h"

#include "files/BWFUtils.h"
#include "files/CutHeader.h"
#include "files/FileLayer.h"
#include "files/HeaderJournal.h"
#include "platform/FileBytes.h"
#include "platform/Log.h"
#include "platform/Text.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <utility>

namespace vurl {
namespace {

constexpr size_t kTextsEnd = 16384; ///< the end of what is not filler in most headers, in bytes
constexpr size_t kSizes = 512;      ///< bytes at a header's end that hold the size of the samples
constexpr int64_t kQuietTime = 60;  ///< seconds without a change after which nobody is writing

/// File systems that other computers may write to.
constexpr std::array<uint32_t, 6> kShared{NFS_SUPER_MAGIC,  SMB_SUPER_MAGIC,  CIFS_SUPER_MAGIC,
                                          SMB2_SUPER_MAGIC, FUSE_SUPER_MAGIC, V9FS_MAGIC};

/// For the journal of a repair, with the blocks that a file system adds.
constexpr const char* kMakeRoom = ": make 300 kB of room on its disk, and it can be completed";

/// Completes one file.
class Repair {
public:
  Repair(const std::string& path, const UserDefaults& user_defaults) : defaults(user_defaults) {
    result.path = path;
    descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  }
  ~Repair() {
    if (descriptor >= 0) close(descriptor);
  }
  Repair(const Repair&) = delete;
  Repair& operator=(const Repair&) = delete;

  Salvage run(bool dry_run) {
    if (descriptor < 0) return whyNotOpen();
    if (fstat(descriptor, &status) != 0) return failed(errno);
    if (!S_ISREG(status.st_mode) || status.st_size <= kHeaderSize) return result;
    const HeaderJournal journal(result.path);
    if (!journal.exists() && !looksCut()) return noneOrUnread();
    if (isHeld()) return inUse();
    if (fstat(descriptor, &status) != 0) return failed(errno); // it may have been finished before the lock
    if (!dry_run && journal.exists()) return finishWhatWasBegun(journal);
    const auto header = readHeader();
    if (!header) return noneOrUnread();
    describe(*header);
    if (dry_run) return result;
    return complete(*header, journal);
  }

private:
  /// A file that can only be read may be complete all the same; only one that was cut off is a failure.
  Salvage whyNotOpen() {
    const int error = errno;
    if (lstat(result.path.c_str(), &status) != 0) return errno == ENOENT ? result : failed(errno);
    if (!S_ISREG(status.st_mode) || status.st_size <= kHeaderSize) return result;
    descriptor = open(result.path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0 || fstat(descriptor, &status) != 0) return failed(error);
    const auto header = readHeader();
    if (!header) return noneOrUnread();
    if (isHeld()) return inUse(); // by its date: only who may write can ask for the lock
    describe(*header);
    return failed(error);
  }

  /// Reads `size` bytes of the header from byte `offset`.
  bool read(size_t size, size_t offset) {
    read_error = readAt(descriptor, block.data() + offset, size, static_cast<int64_t>(offset));
    return read_error == 0;
  }

  std::optional<CutHeader> readHeader() {
    block.resize(kHeaderSize);
    return read(kHeaderSize, 0) ? CutHeader::read(block.data(), status.st_size) : std::nullopt;
  }

  /// The same, without reading the filler of complete headers, for there may be thousands.
  bool looksCut() {
    block.assign(kHeaderSize, 0);
    if (!read(kTextsEnd, 0) || !read(kSizes, kHeaderSize - kSizes)) return false;
    return CutHeader::read(block.data(), status.st_size) && readHeader();
  }

  Salvage noneOrUnread() { return read_error == 0 ? result : failed(read_error); }

  /// A recorder holds a lock on what it writes. Taking it keeps a second repair out as well. Another computer may
  /// write to a shared file system and its locks be known there alone: the date tells then.
  bool isHeld() const {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    const bool is_locked = fcntl(descriptor, F_OFD_SETLK, &whole) == 0;
    if (!is_locked && (errno == EAGAIN || errno == EACCES)) return true;
    return (!is_locked || isShared()) && !isQuiet();
  }

  /// A date well ahead of the clock tells of a clock that was set back since, not of somebody who writes.
  bool isQuiet() const { return std::abs(std::time(nullptr) - status.st_mtim.tv_sec) >= kQuietTime; }

  bool isShared() const {
    struct statfs about {};
    const bool is_told = fstatfs(descriptor, &about) == 0;
    return !is_told || std::find(kShared.begin(), kShared.end(), about.f_type) != kShared.end();
  }

  /// Since `status` was read.
  bool hasChanged() const {
    struct stat now {};
    const auto same = [](const timespec& a, const timespec& b) {
      return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
    };
    return fstat(descriptor, &now) != 0 || now.st_size != status.st_size || !same(now.st_mtim, status.st_mtim);
  }

  void describe(const CutHeader& header) {
    std::vector<uint8_t> completed = block;
    result.outcome = Salvage::Outcome::cut;
    result.duration = header.complete(completed.data(), defaults);
    result.take_reference = header.takeReference();
    result.nr_frames = header.nrFrames();
    result.sample_rate = header.sampleRate();
    result.lost_bytes = status.st_size - header.wholeSize();
    new_block = std::move(completed);
  }

  Salvage complete(const CutHeader& header, const HeaderJournal& journal) {
    const HeaderJournal::Entry entry{block, new_block, header.wholeSize()};
    if (const int error = journal.write(entry); error != 0) {
      failed(error);
      if (error == ENOSPC || error == EDQUOT) result.reason += kMakeRoom;
      if (error == EEXIST) result.reason = text("Another file is called %@", journal.path());
      return result;
    }
    if (hasChanged()) {
      journal.remove();
      return inUse();
    }
    return carryOut(entry, journal);
  }

  Salvage finishWhatWasBegun(const HeaderJournal& journal) {
    const auto entry = journal.read();
    block.resize(kHeaderSize);
    if (!read(kHeaderSize, 0)) return failed(read_error);
    if (entry && entry->isBetween(block)) {
      // What was begun follows from the old header and the file's own length; an entry that says otherwise is not ours.
      const auto header = CutHeader::read(entry->old_block.data(), status.st_size);
      std::vector<uint8_t> completed = entry->old_block;
      if (header) header->complete(completed.data(), defaults);
      if (header && header->wholeSize() == entry->whole_size && completed == entry->new_block) {
        block = entry->old_block;
        describe(*header);
        return hasChanged() ? inUse() : carryOut(*entry, journal);
      }
    }
    // It was not written to its end, so that the header is untouched; or the file is another one now.
    journal.remove();
    const auto header = readHeader();
    if (!header) return noneOrUnread();
    describe(*header);
    return complete(*header, journal);
  }

  Salvage carryOut(const HeaderJournal::Entry& entry, const HeaderJournal& journal) {
    int error = 0;
    const bool has_stray_bytes = status.st_size > entry.whole_size;
    if (has_stray_bytes && ftruncate(descriptor, entry.whole_size) != 0) error = errno; // at once: it has not grown
    if (error == 0) error = writeAt(descriptor, entry.new_block.data(), entry.new_block.size(), 0);
    const timespec times[2] = {status.st_atim, status.st_mtim};
    if (error == 0 && futimens(descriptor, times) != 0) log("A repaired file has a new date, %s.", systemError(errno));
    if (error == 0 && fsync(descriptor) != 0) error = errno;
    if (error != 0) return failed(error);
    journal.remove();
    result.outcome = Salvage::Outcome::completed;
    return result;
  }

  Salvage inUse() const {
    Salvage in_use;
    in_use.outcome = Salvage::Outcome::in_use;
    in_use.path = result.path;
    return in_use;
  }

  Salvage failed(int error) {
    result.outcome = Salvage::Outcome::failed;
    result.reason = systemError(error);
    return result;
  }

  const UserDefaults& defaults;
  Salvage result;
  int descriptor = -1;
  struct stat status {};
  int read_error = 0; ///< errno of the last read
  std::vector<uint8_t> block;
  std::vector<uint8_t> new_block;
};

bool isShorter(const Salvage& one, const Salvage& other) { return one.nr_frames < other.nr_frames; }

} // namespace

Salvage salvageFile(const std::string& path, const UserDefaults& defaults, bool dry_run) {
  return Repair(path, defaults).run(dry_run);
}

const Salvage& SalvagedTake::longest() const { return *std::max_element(files.begin(), files.end(), isShorter); }
const Salvage& SalvagedTake::shortest() const { return *std::min_element(files.begin(), files.end(), isShorter); }

std::vector<SalvagedTake> takesOf(const std::vector<Salvage>& files) {
  std::vector<SalvagedTake> takes;
  for (const Salvage& file : files) {
    if (file.outcome == Salvage::Outcome::none) continue;
    const auto same = std::find_if(takes.begin(), takes.end(), [&](const SalvagedTake& take) {
      return !file.take_reference.empty() && take.files[0].take_reference == file.take_reference;
    });
    if (same == takes.end()) {
      takes.push_back({{file}});
    } else {
      same->files.push_back(file);
    }
  }
  return takes;
}

} // namespace vurl
