#include "fuzz/Rig.h"

#include "platform/Log.h"

#include <sys/stat.h>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace vurl::fuzz {

void require(bool is_kept, const char* promise) {
  if (is_kept) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

ScratchFile::ScratchFile(const char* name) {
  const char* const parent = getenv("VURL_FUZZ_FOLDER");
  std::string pattern = std::string(parent != nullptr ? parent : "/dev/shm") + "/vurl-fuzz.XXXXXX";
  require(mkdtemp(pattern.data()) != nullptr, "a folder in memory can be made");
  folder = pattern;
  file = folder + '/' + name;
}

ScratchFile::~ScratchFile() {
  std::error_code error;
  std::filesystem::remove_all(folder, error);
}

void ScratchFile::write(std::string_view bytes, int64_t size) const {
  const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  const auto length = static_cast<int64_t>(bytes.size());
  require(descriptor >= 0 && ::write(descriptor, bytes.data(), bytes.size()) == length &&
              ftruncate(descriptor, std::max(length, size)) == 0 && close(descriptor) == 0,
          "the file in memory can be written");
}

std::string ScratchFile::read(size_t most) const {
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  std::string bytes(most, '\0');
  const ssize_t count = ::read(descriptor, bytes.data(), most);
  require(count >= 0 && close(descriptor) == 0, "the file in memory can be read");
  bytes.resize(static_cast<size_t>(count));
  return bytes;
}

int64_t ScratchFile::size() const {
  struct stat status {};
  return stat(file.c_str(), &status) == 0 ? status.st_size : -1;
}

} // namespace vurl::fuzz

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  setenv("TZ", "UTC", 1);
  setenv("HOME", "/home/u", 1);
  vurl::Log::setSink([](std::string_view) {});
  return 0;
}
