// The database of ports' properties that JACK's library keeps in the system's shared memory, for all programs of a
// user. A program that dies while it makes a part of it leaves that part without a byte, and from then on every program
// that opens the database dies at once: this one when it is started again, and JACK's own server.
#pragma once

#include <filesystem>

namespace vurl {

class JackDatabase {
public:
  /// Of this user.
  static std::filesystem::path folder();

  /// Takes away a database that a program has left unfinished, which the library then makes anew. One that is just
  /// being made is waited for, a second at most. Thread: any but the I/O thread.
  static void mend();
};

} // namespace vurl
