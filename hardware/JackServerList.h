// Which JACK servers run for this user, told by the sockets they listen on, so that nobody is disturbed by asking.
// Thread: main. JackHardware polls this.
#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace vurl {

/// The names of the servers of user `user` among the listening sockets in `table`, which is laid out as
/// /proc/net/unix is (proc(5)); sorted, each once.
std::vector<std::string> jackServersIn(std::istream& table, uint32_t user);

/// The names of the servers that run now for this user. Servers that offer no socket of their own, such as those
/// within another sound server, are not among them.
std::vector<std::string> runningJackServers();

/// The server that a JACK program connects to when it is not told otherwise.
std::string defaultJackServer();

} // namespace vurl
