// Owns an open file descriptor, and closes it unasked: for files that were only read, since what close() tells is lost.
// One thread at a time.
#pragma once

#include <unistd.h>

#include <utility>

namespace vurl {

class Descriptor {
public:
  Descriptor() = default;
  explicit Descriptor(int opened) : number(opened) {}
  ~Descriptor() {
    if (number >= 0) ::close(number);
  }
  Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number, other.number);
    return *this;
  }

  bool isOpen() const { return number >= 0; }
  int get() const { return number; }

private:
  int number = -1;
};

} // namespace vurl
