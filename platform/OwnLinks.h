// Files that the program writes again and again, in folders where others may write too: somebody else could put a link
// of that name there, to a file of this user's that would be written over.
#pragma once

#include <string>

namespace vurl {

/// open(2) with `flags`, O_CLOEXEC and mode 0666 less the process's mask. A link in place of the file is followed when
/// this user or root made it, to where it points, and so on; one of anybody else fails with ELOOP, whatever happens in
/// the folder meanwhile. Returns a descriptor, or -1 with the reason in `errno`. Any thread but the I/O thread; waits
/// for the disk.
[[nodiscard]] int openPastOwnLinks(const std::string& path, int flags);

} // namespace vurl
