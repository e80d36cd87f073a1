// The file system as the take files see it, so that a full disk, a stalled disk and a failing close can be tested. What
// is read is files that this program or others have recorded, which may be cut short or be no files at all.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace vurl {

/// Calls mean what their POSIX namesakes mean: on failure they return -1 and leave the reason in `errno`. Any thread
/// but the I/O thread; all may block.
class FileLayer {
public:
  virtual ~FileLayer() = default;

  /// Creates a new file for writing, mode 0666 less the process's mask; fails with EEXIST when the name is taken,
  /// by a link as well.
  /// Until it is closed it is locked, where the file system can do that, so that nobody takes it for one that was left
  /// behind (files/Salvage.h). Returns a descriptor.
  [[nodiscard]] virtual int createExclusive(const std::string& path) = 0;

  /// Opens a file for reading without waiting for anybody; only a regular file is one, anything else fails with EINVAL,
  /// or EISDIR. Returns a descriptor.
  [[nodiscard]] virtual int openForReading(const std::string& path) = 0;

  /// Reads at the file position. Returns the bytes read, which may be fewer than asked for; 0 at the file's end.
  [[nodiscard]] virtual ssize_t read(int descriptor, void* bytes, size_t size) = 0;

  /// Writes at the file position. Returns the bytes written, which may be fewer than asked for.
  [[nodiscard]] virtual ssize_t write(int descriptor, const void* bytes, size_t size) = 0;

  /// Sets the file position to `offset` bytes from the start. Returns it.
  [[nodiscard]] virtual int64_t seek(int descriptor, int64_t offset) = 0;

  /// Cuts off what stands behind the first `size` bytes of the file, which has at least as many. Returns 0.
  [[nodiscard]] virtual int truncate(int descriptor, int64_t size) = 0;

  /// Has the system begin to write to disk what it holds of the file, without waiting for it.
  virtual int startWriting(int descriptor) = 0;

  /// Waits until the file is on disk, as a power failure would find it.
  [[nodiscard]] virtual int sync(int descriptor) = 0;

  /// The same for the names in the folder at `path`.
  [[nodiscard]] virtual int syncFolder(const std::string& path) = 0;

  /// Closes the descriptor, which is free again whatever the result. Returns 0.
  [[nodiscard]] virtual int close(int descriptor) = 0;
};

/// The computer's own file system.
class PosixFileLayer final : public FileLayer {
public:
  [[nodiscard]] int createExclusive(const std::string& path) override;
  [[nodiscard]] int openForReading(const std::string& path) override;
  [[nodiscard]] ssize_t read(int descriptor, void* bytes, size_t size) override;
  [[nodiscard]] ssize_t write(int descriptor, const void* bytes, size_t size) override;
  [[nodiscard]] int64_t seek(int descriptor, int64_t offset) override;
  [[nodiscard]] int truncate(int descriptor, int64_t size) override;
  int startWriting(int descriptor) override;
  [[nodiscard]] int sync(int descriptor) override;
  [[nodiscard]] int syncFolder(const std::string& path) override;
  [[nodiscard]] int close(int descriptor) override;
};

/// Writes all `size` bytes, going on after short writes so that the true reason of a failure shows. Returns 0, or the
/// errno of the write that failed.
[[nodiscard]] int writeAll(FileLayer& layer, int descriptor, const uint8_t* bytes, size_t size);

/// Reads all `size` bytes, going on after short reads. Returns 0, the errno of the read that failed, or ENODATA when
/// the file ends before.
[[nodiscard]] int readAll(FileLayer& layer, int descriptor, uint8_t* bytes, size_t size);

} // namespace vurl
