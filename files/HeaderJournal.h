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

  bool exists() const;

  /// Writes `entry` and waits until it is on disk; what was there goes. Returns 0 or the errno.
  [[nodiscard]] int write(const Entry& entry) const;

  /// Nothing when there is none, or not a whole one.
  std::optional<Entry> read() const;

  void remove() const;

private:
  std::string folder;
  std::string file;
};

} // namespace vurl
