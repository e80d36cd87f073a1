// What a repair is about to do to a header, on disk before it begins: a hidden file beside the take with the old
// header, the new one and the file's length behind, and a sum over all of it. Who uses it: files/Salvage.cpp. Any
// thread but the I/O thread; waits for the disk.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vurl {

class HeaderJournal {
public:
  struct Entry {
    std::vector<uint8_t> old_block; ///< kHeaderSize bytes, as the next
    std::vector<uint8_t> new_block;
    int64_t whole_size; ///< bytes of the take file when the repair is done

    /// Whether each 512 bytes of `block` are those of one of the two: what a death in the middle can have left.
    bool isBetween(const std::vector<uint8_t>& block) const;
  };

  /// Of the take file at `path`.
  explicit HeaderJournal(const std::string& path);

  /// Whether it is there, or a beginning of it. Another file of its name is none.
  bool exists() const;

  /// Writes `entry` and waits until it is on disk; a journal that was there goes. Returns 0 or the errno; EEXIST when
  /// another file has its name. Of a failure nothing stays.
  [[nodiscard]] int write(const Entry& entry) const;

  /// Nothing when there is none, or not a whole one.
  std::optional<Entry> read() const;

  /// Removes it, and no other file of its name.
  void remove() const;

  /// Its path.
  const std::string& path() const { return file; }

private:
  std::string folder;
  std::string file;
};

} // namespace vurl
