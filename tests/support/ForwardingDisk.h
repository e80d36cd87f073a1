// The computer's file system for tests that put faults into some of its calls.
#pragma once

#include "files/FileLayer.h"

namespace vurl {

struct ForwardingDisk : FileLayer {
  int createExclusive(const std::string& path) override { return disk.createExclusive(path); }
  int openForReading(const std::string& path) override { return disk.openForReading(path); }
  ssize_t read(int descriptor, void* bytes, size_t size) override { return disk.read(descriptor, bytes, size); }
  ssize_t write(int descriptor, const void* bytes, size_t size) override { return disk.write(descriptor, bytes, size); }
  int64_t seek(int descriptor, int64_t offset) override { return disk.seek(descriptor, offset); }
  int truncate(int descriptor, int64_t size) override { return disk.truncate(descriptor, size); }
  int startWriting(int descriptor) override { return disk.startWriting(descriptor); }
  int sync(int descriptor) override { return disk.sync(descriptor); }
  int syncFolder(const std::string& path) override { return disk.syncFolder(path); }
  int close(int descriptor) override { return disk.close(descriptor); }

  PosixFileLayer disk;
};

} // namespace vurl
